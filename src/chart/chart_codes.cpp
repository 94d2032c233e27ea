// SPDX-License-Identifier: Apache-2.0
#include "chart/chart_codes.h"

#include <algorithm>
#include <iterator>
#include <span>
#include <string_view>

#include "frame/Trail.h"

namespace orvspc::chart_codes {
namespace {

// The codes of each setting, by the number of its enumerator.
// Deliberate: both best guesses send 0; the chart library relies on which function is called.
constexpr std::int32_t kGraph1[] = {0x000, 0x100, 0x200, 0x300, 0x400, 0x500, 0x000, 0x800,
                                    0x900, 0xA00, 0xB00, 0xC00, 0xD00, 0xE00, 0xF00};
constexpr std::int32_t kGraph2[] = {0x00, 0x10, 0x20, 0x30, 0x40};
constexpr std::int32_t kGraph3[] = {0, 1, 2};
constexpr std::int32_t kGroupBy[] = {0, 1, 2, 3};
constexpr std::int32_t kCusum[] = {0, 16};
constexpr std::int32_t kEWMA[] = {0, 1, 2};
constexpr std::int32_t kProcessing[] = {0, 4096, 8192, 12288, 16384, 20480};
static_assert(std::size(kGraph1) == ccGraph1U + 1 && std::size(kGraph2) == ccGraph2Cv + 1 &&
              std::size(kGraph3) == ccGraph3Sd + 1 && std::size(kGroupBy) == ccGroupByTest + 1 &&
              std::size(kCusum) == ccCusumStandard + 1 &&
              std::size(kEWMA) == ccEwmaWanderingMean + 1 &&
              std::size(kProcessing) == ccProcessMean + 1);

std::int32_t CodeOf(std::string_view entry, std::span<const std::int32_t> codes,
                    std::int32_t value) {
  return Traced(entry, [&] {
    return value >= 0 && value < std::ssize(codes) ? codes[static_cast<std::size_t>(value)] : 0;
  });
}

// The enumerator of a code, the first of several.
template <class Value>
Value ValueOf(std::string_view entry, std::span<const std::int32_t> codes, std::int32_t code) {
  return Traced(entry, [&] {
    const auto found = std::ranges::find(codes, code);
    return static_cast<Value>(found == codes.end() ? 0 : found - codes.begin());
  });
}

}  // namespace

std::int32_t GetAPIChartID(const CCProcessing& processing) {
  return Traced("CCAnalysis.GetAPIChartID", [&] {
    return GetAPIGraph1(processing) | GetAPIGraph2(processing) | GetAPIGraph3(processing);
  });
}

std::int32_t GetAPIGraph1(const CCProcessing& processing) {
  return CodeOf("CCAnalysis.GetAPIGraph1", kGraph1, processing.Graph1Type());
}

std::int32_t GetAPIGraph2(const CCProcessing& processing) {
  return CodeOf("CCAnalysis.GetAPIGraph2", kGraph2, processing.Graph2Type());
}

std::int32_t GetAPIGraph3(const CCProcessing& processing) {
  return CodeOf("CCAnalysis.GetAPIGraph3", kGraph3, processing.Graph3Type());
}

std::int32_t GetAPIProcessingEx(const CCProcessing& processing) {
  // Deliberate: GroupBy and EWMA share the low bits, so the word is ambiguous.
  return Traced("CCAnalysis.GetAPIProcessingEx", [&] {
    return GetAPIGroupBy(processing) | GetAPICusum(processing) | GetAPIEWMA(processing);
  });
}

std::int32_t GetAPIProcessing(const CCProcessing& processing) {
  return CodeOf("CCAnalysis.GetAPIProcessing", kProcessing, processing.ProcessingType());
}

std::int32_t GetAPIGroupBy(const CCProcessing& processing) {
  return CodeOf("CCAnalysis.GetAPIGroupBy", kGroupBy, processing.GroupBy());
}

std::int32_t GetAPICusum(const CCProcessing& processing) {
  return CodeOf("CCAnalysis.GetAPICusum", kCusum, processing.Cusum());
}

std::int32_t GetAPIEWMA(const CCProcessing& processing) {
  return CodeOf("CCAnalysis.GetAPIEWMA", kEWMA, processing.EWMA());
}

ccGraph1Types Graph1FromAPI(std::int32_t code) {
  // Deliberate: 0x600 and 0x700 come back 0; GraphCount then counts no first graph.
  const auto type = ValueOf<ccGraph1Types>("CCAnalysis.Graph1FromAPI", kGraph1, code);
  // Deliberate: an Np chart comes back as a P chart.
  return type == ccGraph1Np ? ccGraph1P : type;
}

ccGraph2Types Graph2FromAPI(std::int32_t code) {
  return ValueOf<ccGraph2Types>("CCAnalysis.Graph2FromAPI", kGraph2, code);
}

ccGraph3Types Graph3FromAPI(std::int32_t code) {
  return ValueOf<ccGraph3Types>("CCAnalysis.Graph3FromAPI", kGraph3, code);
}

}  // namespace orvspc::chart_codes
