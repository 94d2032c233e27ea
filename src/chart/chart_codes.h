// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "chart/CCProcessing.h"

// The two packed words of the chart library, from the settings and back. The chart word has a
// nibble for each graph (platform/ChartWord.h). What a table does not hold becomes 0.
namespace orvspc::chart_codes {

inline constexpr std::int32_t kGraph1Bits = 3840;
inline constexpr std::int32_t kGraph2Bits = 240;
inline constexpr std::int32_t kGraph3Bits = 15;

std::int32_t GetAPIChartID(const CCProcessing& processing);
std::int32_t GetAPIGraph1(const CCProcessing& processing);
std::int32_t GetAPIGraph2(const CCProcessing& processing);
std::int32_t GetAPIGraph3(const CCProcessing& processing);

std::int32_t GetAPIProcessingEx(const CCProcessing& processing);
// Deliberate: nothing calls it; how data is normalised does not reach the chart library.
std::int32_t GetAPIProcessing(const CCProcessing& processing);
std::int32_t GetAPIGroupBy(const CCProcessing& processing);
std::int32_t GetAPICusum(const CCProcessing& processing);
std::int32_t GetAPIEWMA(const CCProcessing& processing);

// Each takes the returned chart word cut to the bits of its graph.
ccGraph1Types Graph1FromAPI(std::int32_t code);
ccGraph2Types Graph2FromAPI(std::int32_t code);
ccGraph3Types Graph3FromAPI(std::int32_t code);

}  // namespace orvspc::chart_codes
