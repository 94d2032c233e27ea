// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <utility>
#include <vector>

#include "engine/charts/ChartPlan.h"
#include "engine/charts/RunRows.h"
#include "engine/store/StoreInFront.h"
#include "platform/NaN.h"
#include "platform/Reports.h"

// Limits that are proposed and wait for more points, along the points of a chart.
namespace orvspc::engine::charts {

// A store in which one row of provisional limits holds.
class TrialStore final : public store::StoreInFront {
 public:
  TrialStore(store::Store& behind, const catalogue::ControlLimit& limit)
      : StoreInFront(behind), limit_(limit) {}

  std::vector<catalogue::ControlLimit> ControlLimits(std::int32_t part, std::int32_t process,
                                                     std::int32_t test) override {
    auto rows = Behind().ControlLimits(part, process, test);
    const auto& row = limit_.row;
    if (row.F_PART != part || row.F_PRCS != process || row.F_TEST_ != test) return rows;
    const auto later = std::ranges::find_if(
        rows, [&](const catalogue::ControlLimit& each) { return each.row.F_EFTM > row.F_EFTM; });
    rows.insert(later, limit_);
    return rows;
  }
  std::vector<Phase> Phases(std::int32_t part, std::int32_t process, std::int32_t test) override {
    return Behind().Phases(part, process, test);
  }
  bool JoinsPhases() const override { return behind_joins_; }
  std::optional<store::ChosenOption> ChartOption(std::int32_t part, std::int32_t process,
                                                 std::int32_t test, std::int32_t graph,
                                                 std::string_view key) override {
    return Behind().ChartOption(part, process, test, graph, key);
  }

 private:
  const catalogue::ControlLimit& limit_;
  bool behind_joins_ = Behind().JoinsPhases();
};

template <class Run>
ProvisionalLimits LinesOfTrial(Run& trial, const catalogue::ProvisionalLimit& limit) {
  using platform::ChartData;
  const auto& row = limit.row;
  ProvisionalLimits found{row.Word0,  row.F_PART, row.F_PRCS,   row.F_TEST_,
                          row.F_EFTM, limit.used, limit.needed, {}};
  const auto count = trial.Points().Count();
  // Where the row would hold, in the order of the data set.
  std::vector<bool> holds(count);
  for (std::size_t s = 0; trial.Rows().HasStoredLimits() && s < trial.Streams().size(); ++s) {
    const auto& stream = trial.Streams()[s];
    for (auto place = stream.begin; place < stream.end; ++place) {
      const auto at = trial.Rows().LimitRowAt(place);
      if (at == kNoRow) continue;
      const auto& holding = trial.Rows().Of(s).limits[static_cast<std::size_t>(at)].row;
      holds[trial.Points().SubgroupAt(place)] = holding.Word0 == row.Word0;
    }
  }
  if (std::ranges::find(holds, true) == holds.end()) return found;
  for (std::int32_t graph = 1; graph <= trial.Plan().GraphCount(); ++graph) {
    const auto kind = trial.Plan().KindOf(static_cast<std::size_t>(graph) - 1);
    if (kind == ChartKind::None || kind == ChartKind::PreControl) continue;
    auto& lines = found.lines.emplace_back();
    lines.graph = graph;
    for (const auto& [code, line] : {std::pair{ChartData::Cls, &lines.centre},
                                     {ChartData::UCLs, &lines.upper},
                                     {ChartData::LCLs, &lines.lower}}) {
      line->assign(count, platform::kNaN);
      trial.Deliver({line->data(), sizeof(double), count}, code, graph);
      for (std::size_t i = 0; i < count; ++i) {
        if (!holds[i]) (*line)[i] = platform::kNaN;
      }
    }
  }
  return found;
}

// Those of the streams of a chart. process(trial, store) makes the same chart of another store.
template <class Run, class Process>
std::vector<ProvisionalLimits> ProvisionalOf(store::Store& store, const Run& run, Process process) {
  std::vector<ProvisionalLimits> all;
  // Sums and means over time start anew with new limits: their lines say nothing of these.
  if (run.Plan().cusum || run.Plan().IsWeighted(0)) return all;
  const auto streams = run.Streams();
  for (std::size_t s = 0; s < streams.size(); ++s) {
    const auto& stream = streams[s];
    if (s > 0 && streams[s - 1].number == stream.number) continue;
    for (const auto& limit : store.ProvisionalLimits(stream.part, stream.process, stream.test)) {
      TrialStore trial_store(store, limit);
      Run trial;
      const auto notes = store::NoteCount();
      const auto word = process(trial, trial_store);
      if (word != 0) {
        auto found = LinesOfTrial(trial, limit);
        if (!found.lines.empty()) all.push_back(std::move(found));
      }
      store::KeepNotes(notes);
    }
  }
  for (const auto& each : all) {
    store::AddNote("provisional-limits",
                   "limits " + std::to_string(each.limit) + " are proposed, from " +
                       std::to_string(each.used) + " of " + std::to_string(each.needed) +
                       " points so far; they are drawn in short dashes and hold nowhere",
                   store.StreamName(each.part, each.process, each.test));
  }
  return all;
}

}  // namespace orvspc::engine::charts
