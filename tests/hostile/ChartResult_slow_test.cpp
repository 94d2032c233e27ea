// SPDX-License-Identifier: Apache-2.0
// Stored charts cut at every 1,000th byte: all cuts of one of 2,500 subgroups, and of one of
// 100,000 a share of the cuts, dealt over the whole text, since each cut reads everything before
// it.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "tests/fake/FakePlatform.h"
#include "tests/hostile/chart_result.h"

namespace orvspc {
namespace {

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define ORVSPC_SANITIZED
#endif
#endif
#ifdef ORVSPC_SANITIZED
constexpr std::size_t kShares = 512;
#else
constexpr std::size_t kShares = 64;
#endif

void CutEvery(std::size_t step, std::int32_t subgroups) {
  const fake::FakeScope outside;
  const std::string text = ChartResult(subgroups)->GetXML();
  for (std::size_t cut = 0; cut < text.size(); cut += step)
    ASSERT_TRUE(HasNoRoot(std::string_view(text).substr(0, cut))) << "cut at " << cut;
}

TEST(CutChartResult, OfManySubgroupsHasNoRoot) { CutEvery(1'000, 2'500); }

TEST(CutChartResult, OfAHundredThousandSubgroupsHasNoRoot) { CutEvery(kShares * 1'000, 100'000); }

}  // namespace
}  // namespace orvspc
