// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "engine/studies/RunLengths.h"
#include "engine/studies/StudyData.h"
#include "platform/Database.h"
#include "platform/Reports.h"
#include "platform/SelectionRecord.h"

// What judges the streams of a database.
namespace orvspc::studies {

// The chart of each stream of a selection with the rules that judge it.
struct ChartInUse {
  std::int32_t part = 0, process = 0, test = 0;
  ShewhartRunOptions options;
  // Seconds in which the process runs from one point to the next, where a sampling requirement that
  // is in force at the newest point asks for one so often; NaN: none does.
  double interval = platform::kNaN;
  std::vector<Note> notes;
};
// As ReadStudyData: failures are kept in the open database. options.chart_word as there.
std::vector<ChartInUse> ReadChartsInUse(platform::Database& database, const API_DSInfo& selection,
                                        std::span<const std::int32_t> filter,
                                        const ReadOptions& options = {});

}  // namespace orvspc::studies
