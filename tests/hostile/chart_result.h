// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "chart/CCResults.h"
#include "frame/Friend.h"
#include "tests/fake/FailureOf.h"

namespace orvspc {

// A result of so many subgroups of one piece, with two graphs and short figures.
inline std::shared_ptr<CCResults> ChartResult(std::int32_t subgroups) {
  API_CCResults record;
  record.Totals.SubgroupCount = record.Totals.TestCount = subgroups;
  record.Subgroups.Dimension(0, subgroups - 1);
  record.Tests.Dimension(0, subgroups - 1);
  record.AlarmMask.Dimension(0, 2);
  record.Graphs.Dimension(0, 2);
  for (std::int32_t g = 0; g < 2; ++g) {
    auto& graph = record.Graphs[g];
    for (auto* array : {&graph.SGSizes, &graph.cOOCs, &graph.OOCs})
      array->Dimension(0, subgroups - 1);
    for (auto* array : {&graph.Points, &graph.UCLs, &graph.Cls, &graph.LCLs})
      array->Dimension(0, subgroups - 1);
  }
  for (auto* array : {&record.GroupIDs, &record.GroupIndex, &record.GroupStart, &record.GroupEnd})
    array->Dimension(0, subgroups - 1);
  for (std::int32_t i = 0; i < subgroups; ++i) {
    record.Subgroups[i].Test_Start = record.Subgroups[i].Test_End = i;
    record.Tests[i].Val = i % 10;
    record.Graphs[0].Points[i] = 0.5 * (i % 10);
  }
  auto results = std::make_shared<CCResults>();
  results->Structure(Friend{}, std::move(record));
  return results;
}

// What a text that is no result fails with.
inline bool HasNoRoot(std::string_view text) {
  CCResults read;
  const Failure failure = fake::FailureOf([&] { read.SetXML(text); });
  return failure.Number() == -2147221504 && failure.Description() == "Node does not exist!";
}

}  // namespace orvspc
