// SPDX-License-Identifier: Apache-2.0
#include "chart/chart_codes.h"

#include <string_view>

#include "frame/Trail.h"

namespace orvspc::chart_codes {
namespace {

template <class Value>
struct Pair {
  Value value;
  std::int32_t code;
};

// Deliberate: both best guesses send 0; the chart library relies on which function is called.
constexpr Pair<ccGraph1Types> kGraph1[] = {
    {ccGraph1BestGuessVariable, 0x000},
    {ccGraph1XBar, 0x100},
    {ccGraph1XMed, 0x200},
    {ccGraph1Ix, 0x300},
    {ccGraph1Ma, 0x400},
    {ccGraph1Pc, 0x500},
    {ccGraph1BestGuessAttribute, 0x000},
    {ccGraph1Ppt, 0x800},
    {ccGraph1Dpto, 0x900},
    {ccGraph1Ppm, 0xA00},
    {ccGraph1Dpmo, 0xB00},
    {ccGraph1Np, 0xC00},
    {ccGraph1P, 0xD00},
    {ccGraph1C, 0xE00},
    {ccGraph1U, 0xF00},
};

// Deliberate: 0x600 and 0x700 are missing and come back 0; GraphCount then counts no first graph.
constexpr Pair<ccGraph1Types> kGraph1Back[] = {
    {ccGraph1XBar, 0x100}, {ccGraph1XMed, 0x200}, {ccGraph1Ix, 0x300},   {ccGraph1Ma, 0x400},
    {ccGraph1Pc, 0x500},   {ccGraph1Ppt, 0x800},  {ccGraph1Dpto, 0x900}, {ccGraph1Ppm, 0xA00},
    {ccGraph1Dpmo, 0xB00}, {ccGraph1P, 0xC00},  // Deliberate: an Np chart comes back as a P chart.
    {ccGraph1P, 0xD00},    {ccGraph1C, 0xE00},    {ccGraph1U, 0xF00},
};

constexpr Pair<ccGraph2Types> kGraph2[] = {
    {ccGraph2None, 0x00}, {ccGraph2Range, 0x10}, {ccGraph2Sd, 0x20},
    {ccGraph2Mr, 0x30},   {ccGraph2Cv, 0x40},
};

constexpr Pair<ccGraph3Types> kGraph3[] = {
    {ccGraph3None, 0},
    {ccGraph3Range, 1},
    {ccGraph3Sd, 2},
};

constexpr Pair<ccGroupByTypes> kGroupBy[] = {
    {ccGroupByNone, 0},
    {ccGroupByPart, 1},
    {ccGroupByProcess, 2},
    {ccGroupByTest, 3},
};

constexpr Pair<ccCusumTypes> kCusum[] = {
    {ccCusumNone, 0},
    {ccCusumStandard, 16},
};

constexpr Pair<ccEWMATypes> kEWMA[] = {
    {ccEwmaNone, 0},
    {ccEwmaStandard, 1},
    {ccEwmaWanderingMean, 2},
};

constexpr Pair<ccProcessingTypes> kProcessing[] = {
    {ccTraditional, 0},  {ccNominal, 4096},       {ccTarget, 8192},
    {ccShortrun, 12288}, {ccStandardized, 16384}, {ccProcessMean, 20480},
};

template <class Value, std::size_t N>
std::int32_t CodeOf(std::string_view entry, const Pair<Value> (&table)[N], Value value) {
  return Traced(entry, [&] {
    for (const auto& pair : table)
      if (pair.value == value) return pair.code;
    return 0;
  });
}

template <class Value, std::size_t N>
Value ValueOf(std::string_view entry, const Pair<Value> (&table)[N], std::int32_t code) {
  return Traced(entry, [&] {
    for (const auto& pair : table)
      if (pair.code == code) return pair.value;
    return Value{0};
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
  return ValueOf("CCAnalysis.Graph1FromAPI", kGraph1Back, code);
}

ccGraph2Types Graph2FromAPI(std::int32_t code) {
  return ValueOf("CCAnalysis.Graph2FromAPI", kGraph2, code);
}

ccGraph3Types Graph3FromAPI(std::int32_t code) {
  return ValueOf("CCAnalysis.Graph3FromAPI", kGraph3, code);
}

}  // namespace orvspc::chart_codes
