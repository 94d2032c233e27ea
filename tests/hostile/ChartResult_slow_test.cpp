// SPDX-License-Identifier: Apache-2.0
// A stored chart of 100,000 subgroups, cut at every 1,000th byte. Each cut reads everything before
// it, so the cuts are dealt to a number of tests that can run side by side.
#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#include "tests/fake/FakePlatform.h"
#include "tests/hostile/chart_result.h"

namespace orvspc {
namespace {

constexpr std::size_t kTests = 64;

// Under a sanitizer the whole would take most of a day; one share of the cuts is read there.
#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define ORVSPC_ONE_SHARE
#endif
#endif
#ifdef ORVSPC_ONE_SHARE
constexpr std::size_t kRun = 1;
#else
constexpr std::size_t kRun = kTests;
#endif

class CutChartResult : public ::testing::TestWithParam<std::size_t> {};

TEST_P(CutChartResult, HasNoRoot) {
  const fake::FakeScope outside;
  static const std::string text = ChartResult(100'000)->GetXML();
  for (std::size_t cut = GetParam(); cut * 1'000 < text.size(); cut += kTests)
    ASSERT_TRUE(HasNoRoot(std::string_view(text).substr(0, cut * 1'000))) << "cut at " << cut;
}

INSTANTIATE_TEST_SUITE_P(EveryThousandthByte, CutChartResult,
                         ::testing::Range(std::size_t{0}, kRun));

}  // namespace
}  // namespace orvspc
