// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "engine/charts/Lines.h"
#include "engine/charts/Marks.h"
#include "engine/charts/PointTable.h"
#include "engine/charts/RunRows.h"
#include "engine/chunks/large_data.h"
#include "engine/statistics/TimeWeighted.h"
#include "platform/ArrayRef.h"
#include "platform/CtrlChrt6.h"
#include "platform/Enumerations.h"
#include "platform/NaN.h"
#include "platform/Reports.h"

namespace orvspc::engine::charts {

// Which line of which form a data call fills.
struct LineCode {
  platform::ChartData code;
  bool calculated;
  double statistics::PointLimits::*line;
};
inline constexpr LineCode kLineCodes[] = {
    {platform::ChartData::cUCLs, true, &statistics::PointLimits::upper},
    {platform::ChartData::cCLs, true, &statistics::PointLimits::centre},
    {platform::ChartData::cLCLs, true, &statistics::PointLimits::lower},
    {platform::ChartData::UCLs, false, &statistics::PointLimits::upper},
    {platform::ChartData::Cls, false, &statistics::PointLimits::centre},
    {platform::ChartData::LCLs, false, &statistics::PointLimits::lower},
};

// What a chart of values and one of counts share, from the process call to the end: the streams,
// their points, and reading the finished run. Columns are ordered by stream; what is delivered is
// in the order of the data set. Points are made at once; lines and signals when they are asked for.
// May throw; ChartLibrary keeps that as a failure.
//
// A Run adds
//   LinesOf(stream, graph, calculated, plain)  lines with At(place), which is asked in ascending
//                         order, and IsConstant(). plain: without cusum and EWMA, which are taken
//                         about these; otherwise as drawn
//   SizeAt(graph, place)  what is shown as the size of a point
// The StateType of a stream has `estimates`, TakeLimitsOf(another) for what calculated limits come
// from, and `no_cusum`: no sigma above 0 at some point.
template <class Run, class Table, class PlanType, class StateType>
class ChartRun {
 public:
  // Fills the array; returns the elements written. Writes nothing and returns 0 for an unknown code
  // or graph, another element size or an array that is too short. Tests can be taken once, and
  // subgroups as long as not both were taken.
  std::int32_t Deliver(const platform::ArrayRef& array, platform::ChartData code,
                       std::int32_t graph) {
    if (!is_open_) return 0;
    const auto rows = rows_.Deliver(array, code);
    if (rows != 0 || graph < 1 || graph > plan_.GraphCount()) return rows;
    return DeliverColumn(array, code, static_cast<std::size_t>(graph) - 1)
               ? static_cast<std::int32_t>(table_.Count())
               : 0;
  }

  // For who needs no calculated limits: those of points outside of the selection are not made up.
  void KeepToSelection() {
    completes_ = true;
    notes_misfit_ = false;
  }
  // For one estimate of each stream, whatever phases it has. Nothing runs across their borders.
  void JoinPhases() { joins_phases_ = true; }
  // For who looks at the points himself: no notes on whether they suit the chart.
  void NoteNoMisfit() { notes_misfit_ = false; }
  bool IsOpen() const { return is_open_; }
  const PlanType& Plan() const { return plan_; }
  std::span<const ChartStream> Streams() const { return table_.Streams(); }
  const RunRows& Rows() const { return rows_; }
  const StreamEstimates& EstimatesOf(std::size_t stream) const { return states_[stream].estimates; }
  const Table& Points() const { return table_; }

  // What other statistics of the points are taken from: graph 1 of a stream, without cusum and
  // EWMA, and the lines in force.
  struct PlainColumns {
    std::vector<double> points, centre, sigma;
    std::vector<std::uint8_t> restart;  // not 0: another row of limits holds from here
  };
  PlainColumns PlainColumnsOf(std::size_t s) const {
    const auto& stream = Streams()[s];
    const auto points = Part(points_[0], stream);
    PlainColumns columns{{points.begin(), points.end()}, {}, {}, {}};
    auto lines = static_cast<const Run&>(*this).LinesOf(s, 0, false, true);
    for (auto place = stream.begin; place < stream.end; ++place) {
      const auto at = lines.At(place);
      columns.centre.push_back(at.centre);
      columns.sigma.push_back(at.sigma);
      columns.restart.push_back(rows_.RestartsAt(stream, place, false) ? 1 : 0);
    }
    return columns;
  }

  // Nothing where no stream has phases.
  std::vector<PhaseReport> Phases() const {
    std::vector<PhaseReport> phases;
    for (std::size_t s = 0; table_.IsCut() && s < states_.size(); ++s) {
      const auto& stream = Streams()[s];
      auto& report = phases.emplace_back();
      if (const auto* const phase = table_.PhaseOf(stream)) report.phase = *phase;
      report.estimates = ReportOf(stream, states_[s].estimates);
      report.limits_of = static_cast<std::int32_t>(stream.limits_of);
      report.subgroups = static_cast<std::int32_t>(stream.Count());
      for (auto place = stream.begin; place < stream.end; ++place) {
        report.used += table_.IsUsed(place) ? 1 : 0;
      }
      report.has_older_limits = rows_.HasOlderLimits(s);
    }
    return phases;
  }
  // Points that limits are of: times, both inside, and phase; 0: between phases.
  struct Whole {
    std::int32_t start = 0, end = 0, phase = 0;
    auto operator<=>(const Whole&) const = default;

    // The selection of these, by one that lacks them.
    API_DSInfo SelectionFrom(API_DSInfo info) const {
      info.Count = 0;
      info.TimeType = drttStatic;
      info.TimeStart = start;
      info.TimeEnd = end;
      return info;
    }
  };
  // Those that the limits of a stretch are of where the run lacks them; null: it has them.
  const Whole* TakenFrom(std::size_t s) const {
    return s < taken_.size() && taken_[s] ? &*taken_[s] : nullptr;
  }
  // Which of these each point lies in, in the order of the data set.
  std::vector<std::int32_t> PhaseOfPoints() const {
    std::vector<std::int32_t> phases(table_.IsCut() ? table_.Count() : 0);
    for (std::size_t s = 0; !phases.empty() && s < states_.size(); ++s) {
      for (auto place = Streams()[s].begin; place < Streams()[s].end; ++place) {
        phases[table_.SubgroupAt(place)] = static_cast<std::int32_t>(s);
      }
    }
    return phases;
  }

 protected:
  // Storage of a small run is kept for the next.
  void ClearShared() {
    table_.Clear();
    rows_.Clear();
    plan_ = PlanType();
    states_.clear();
    taken_.clear();
    for (auto& points : points_) Forget(points);
    Forget(marks_);
    marked_.reset();
    is_open_ = false;
  }

  // Replaces the points of graph 1 by their cusum about the lines that the chart would have without
  // it; a change of the stored limits begins anew. Returns the places whose sum is beyond the
  // largest number.
  std::vector<std::size_t> MakeCusum() {
    std::vector<std::size_t> beyond;
    for (std::size_t s = 0; s < states_.size(); ++s) {
      const auto& stream = Streams()[s];
      const auto plain = PlainColumnsOf(s);
      statistics::CusumSettings settings;
      settings.k = kCusumReference;
      settings.h = kCusumDecision;
      const auto series = statistics::Cusum(
          {plain.points, plain.centre, plain.sigma, Part(table_.Used(), stream), plain.restart},
          settings);
      for (std::size_t i = 0; i < stream.Count(); ++i) {
        auto& point = points_[0][stream.begin + i];
        const bool has_sigma = plain.sigma[i] > 0.0;
        if (!std::isnan(point) && !has_sigma) states_[s].no_cusum = true;
        if (!std::isnan(point) && has_sigma && std::isnan(series.points[i])) {
          beyond.push_back(stream.begin + i);
        }
        point = series.points[i];
      }
    }
    return beyond;
  }

  // Gives stretches the limits of points that the selection lacks, or that lie in other stretches.
  // process(run, info) makes a chart like this one of another selection.
  //   a phase that is frozen after its first points   those that it has as a whole
  //   between phases, the one before is not shown     those of the phase before, with a note
  //   before all phases, cut by excluded ones         those of all of it together
  template <class Process>
  void CompleteLimits(store::Store& store, const API_DSInfo& info, Process process) {
    if (!table_.IsCut() || completes_) return;
    const auto selected = static_cast<std::int64_t>(rows_.Data().subgroups.size());
    const bool is_cut = info.Count > 0 && selected >= info.Count;
    for (std::size_t s = 0; s < states_.size(); ++s) {
      const auto& stream = Streams()[s];
      const auto* const phase = table_.PhaseOf(stream);
      if (phase == nullptr) {
        if (stream.limits_of == s) CompleteGap(store, info, s, process);
        continue;
      }
      const bool is_first = s == 0 || Streams()[s - 1].number != stream.number;
      if (phase->freeze_after == 0 || !is_first) continue;
      if (!is_cut && info.TimeStart <= phase->start) continue;
      TakeLimits(s, info, {phase->start, rows_.StampAt(stream.end - 1), phase->id}, process);
    }
  }

  // Makes marks_ of one graph: judges its points by the rules.
  void Judge(std::size_t graph, bool calculated) {
    SelectForGraph(rows_.Rules(), plan_.KindOf(graph), plan_.IsWeighted(graph), graph_rules_);
    marks_.resize(table_.Count());
    for (std::size_t s = 0; s < states_.size(); ++s) {
      const auto& stream = Streams()[s];
      store::ForHalves(stream.Count(), [&](std::size_t from, std::size_t to) {
        auto lines = Self().LinesOf(s, graph, calculated);
        MarkInput input;
        input.points = Part(points_[graph], stream);
        input.used = Part(table_.Used(), stream);
        input.lines = [&](std::size_t i) { return lines.At(stream.begin + i); };
        statistics::PointLimits constant{};
        if (lines.IsConstant()) {
          constant = lines.At(stream.begin);
          input.constant = &constant;
        }
        if (rows_.Restarts(calculated)) {
          input.restart = [&](std::size_t i) {
            return rows_.RestartsAt(stream, stream.begin + i, calculated);
          };
        }
        EvaluateMarks(input, graph_rules_, std::span(marks_).subspan(stream.begin, stream.Count()),
                      from, to);
      });
    }
  }

  Table table_;
  RunRows rows_{table_};
  PlanType plan_;
  std::vector<StateType> states_;            // of the streams
  std::vector<std::optional<Whole>> taken_;  // of the streams, or of the first ones; see TakenFrom
  std::array<std::vector<double>, 3> points_;  // of the graphs; empty: none
  std::vector<statistics::RunRule> graph_rules_;
  std::vector<std::uint32_t> marks_;  // those asked for last
  bool is_open_ = false;
  bool completes_ = false;     // nothing is taken from elsewhere, see CompleteLimits
  bool joins_phases_ = false;  // see JoinPhases
  bool notes_misfit_ = true;   // see NoteNoMisfit

 private:
  Run& Self() { return static_cast<Run&>(*this); }

  // False: there are no such points.
  template <class Process>
  bool TakeLimits(std::size_t s, const API_DSInfo& info, const Whole& of, Process process) {
    const auto& stream = Streams()[s];
    auto whole = of.SelectionFrom(info);
    Run run;
    run.completes_ = true;
    if (of.phase == 0) run.JoinPhases();
    const auto notes = store::NoteCount();
    const auto made = process(run, whole);
    store::KeepNotes(notes);
    for (std::size_t t = 0; made != 0 && t < run.states_.size(); ++t) {
      const auto& other = run.Streams()[t];
      const auto* const phase = run.table_.PhaseOf(other);
      if ((phase == nullptr ? 0 : phase->id) != of.phase || other.part != stream.part ||
          other.process != stream.process || other.test != stream.test) {
        continue;
      }
      for (std::size_t each = s; each < states_.size(); ++each) {
        if (Streams()[each].limits_of == s) states_[each].TakeLimitsOf(run.states_[t]);
      }
      taken_.resize(states_.size());
      taken_[s] = of;
      return true;
    }
    return false;
  }

  template <class Process>
  void CompleteGap(store::Store& store, const API_DSInfo& info, std::size_t s, Process process) {
    const auto& stream = Streams()[s];
    const auto begin = rows_.StampAt(stream.begin);
    auto before = store.Phases(stream.part, stream.process, stream.test);
    std::erase_if(before, [&](const Phase& each) { return !each.Counts() || each.start > begin; });
    if (before.empty()) {
      const auto [first, last] = table_.BeforePhases(stream.number);
      if (first == last) return;
      TakeLimits(s, info,
                 {rows_.StampAt(Streams()[first].begin), rows_.StampAt(Streams()[last].end - 1), 0},
                 process);
      return;
    }
    if (plan_.KindOf(0) == ChartKind::PreControl) return;
    std::string text =
        "Between phases: those before have no points, so the calculated limits are of these.";
    for (auto phase = before.rbegin(); phase != before.rend(); ++phase) {
      const auto end = phase->finish ? *phase->finish - 1 : INT32_MAX;
      if (!TakeLimits(s, info, {phase->start, end, phase->id}, process)) continue;
      text = "Between phases: the calculated limits are those of phase \"" + phase->name +
             "\", which is not shown.";
      break;
    }
    rows_.NoteIf(true, store, s, "limits-of-phase", text);
  }

  bool DeliverColumn(const platform::ArrayRef& array, platform::ChartData code, std::size_t graph) {
    using platform::ChartData;
    if (code == ChartData::SGSizes || code == ChartData::cOOCs || code == ChartData::OOCs) {
      const auto out = Room<std::int32_t>(array, table_.Count());
      if (out.empty()) return false;
      if (code != ChartData::SGSizes) return WriteMarks(graph, code == ChartData::cOOCs, out);
      store::ForHalves(out.size(), [&](std::size_t begin, std::size_t end) {
        for (auto place = begin; place < end; ++place) {
          out[table_.SubgroupAt(place)] = Self().SizeAt(graph, place);
        }
      });
      return true;
    }
    const auto out = Room<double>(array, table_.Count());
    if (out.empty()) return false;
    if (code == ChartData::Points) return WritePoints(graph, out);
    const auto* const line = std::find_if(std::begin(kLineCodes), std::end(kLineCodes),
                                          [&](const auto& each) { return each.code == code; });
    if (line == std::end(kLineCodes)) return graph == 0 && rows_.WriteSpecs(code, out);
    return WriteLine(graph, *line, out);
  }

  bool WritePoints(std::size_t graph, std::span<double> out) const {
    if (points_[graph].empty()) {
      std::fill(out.begin(), out.end(), platform::kNaN);
    } else {
      table_.Scatter(points_[graph], out);
    }
    return true;
  }

  bool WriteLine(std::size_t graph, const LineCode& line, std::span<double> out) {
    // A pre-control chart has the lines of the specification limits and nothing calculated.
    if (line.calculated && plan_.KindOf(graph) == ChartKind::PreControl) return false;
    for (std::size_t s = 0; s < states_.size(); ++s) {
      const auto& stream = Streams()[s];
      store::ForHalves(stream.Count(), [&](std::size_t from, std::size_t to) {
        auto lines = Self().LinesOf(s, graph, line.calculated);
        const bool constant = lines.IsConstant();
        double value = constant ? lines.At(stream.begin).*line.line : platform::kNaN;
        for (auto place = stream.begin + from; place < stream.begin + to; ++place) {
          if (!constant) value = lines.At(place).*line.line;
          out[table_.SubgroupAt(place)] = value;
        }
      });
    }
    return true;
  }

  bool WriteMarks(std::size_t graph, bool calculated, std::span<std::int32_t> out) {
    const auto kind = plan_.KindOf(graph);
    if (kind == ChartKind::None || (kind == ChartKind::PreControl && calculated)) {
      std::fill(out.begin(), out.end(), 0);
      return true;
    }
    // Without stored limits both forms are the same, and a reader asks for one after the other.
    const bool one_form = !rows_.HasStoredLimits() || (plan_.cusum && graph == 0);
    const std::pair wanted(graph, calculated && !one_form);
    if (marked_ != wanted) {
      Self().Judge(wanted.first, wanted.second);
      rows_.KeepAlarms(graph, marks_);
      marked_ = wanted;
    }
    table_.Scatter(marks_, out);
    return true;
  }

  std::optional<std::pair<std::size_t, bool>> marked_;  // graph and form of the marks
};

}  // namespace orvspc::engine::charts
