// SPDX-License-Identifier: Apache-2.0
#include "engine/compliance/ComplianceLibrary.h"

#include <algorithm>
#include <array>
#include <limits>
#include <map>
#include <tuple>
#include <utility>

#include "engine/compliance/RowStatistics.h"
#include "engine/compliance/SamplingInput.h"
#include "engine/store/Store.h"
#include "platform/Enumerations.h"

namespace orvspc::engine::compliance {
namespace {

std::int32_t Int32(std::int64_t value) {
  return static_cast<std::int32_t>(
      std::min<std::int64_t>(value, std::numeric_limits<std::int32_t>::max()));
}

void AddTo(std::int32_t& sum, std::int32_t value) { sum = Int32(std::int64_t{sum} + value); }

void Complete(API_SCRow& row) {
  row.SamplesMissed = row.SamplesExpected - row.SamplesCollected;
  row.PercentComplete =
      row.SamplesExpected == 0 ? 100.0 : 100.0 * row.SamplesCollected / row.SamplesExpected;
}

// One stream of samples, with a requirement or without.
struct Sampled {
  std::int32_t part = 0, process = 0, test = 0;
  const Requirement* requirement = nullptr;
  std::vector<std::size_t> subgroups;  // places in the data set, oldest first; used ones only
};

class Compliance {
 public:
  Compliance(store::Store& store, const store::DataSet& data, const SamplingInput& input,
             bool enabled_only)
      : store_(store), data_(data), input_(input), enabled_only_(enabled_only) {}

  // The windows are everything that was due, requirement by requirement.
  void Run(std::vector<API_SCRow>& rows, std::vector<SamplingDue>& windows) {
    for (const auto& sampled : Streams()) AppendDetails(sampled);
    std::stable_sort(rows_.begin(), rows_.end(), [](const API_SCRow& a, const API_SCRow& b) {
      return std::tie(a.ProcessID, a.StartStamp, a.PartID, a.TestID, a.SmplReqID) <
             std::tie(b.ProcessID, b.StartStamp, b.PartID, b.TestID, b.SmplReqID);
    });
    AppendSums();
    rows = std::move(rows_);
    windows = std::move(report_);
  }

 private:
  std::vector<Sampled> Streams() const {
    std::vector<Sampled> streams;
    for (const auto& each : input_.requirements) {
      streams.push_back({each.part, each.process, each.test, &each, {}});
    }
    std::map<std::array<std::int32_t, 3>, Sampled> others;
    for (std::size_t i = 0; i < data_.subgroups.size(); ++i) {
      const auto& subgroup = data_.subgroups[i];
      if (enabled_only_ && subgroup.Flag != sfEnabled) continue;
      bool covered = false;
      for (auto& each : streams) {
        if (!each.requirement->Covers(subgroup)) continue;
        each.subgroups.push_back(i);
        covered = true;
      }
      if (covered) continue;
      auto& other = others[{subgroup.Part, subgroup.Prcs, subgroup.Test}];
      std::tie(other.part, other.process, other.test) =
          std::tie(subgroup.Part, subgroup.Prcs, subgroup.Test);
      other.subgroups.push_back(i);
    }
    for (auto& [key, other] : others) streams.push_back(std::move(other));
    return streams;
  }

  std::vector<SamplingWindow> WindowsOf(const Sampled& sampled) const {
    std::vector<TakenSample> samples;
    for (const auto place : sampled.subgroups) {
      samples.push_back(SampleOf(*sampled.requirement, data_.subgroups[place]));
    }
    return compliance::WindowsOf(input_, *sampled.requirement, samples);
  }

  void AppendDetails(const Sampled& sampled) {
    const auto& segments = input_.segments.at(sampled.process);
    std::vector<SamplingWindow> windows;
    if (sampled.requirement != nullptr) windows = WindowsOf(sampled);
    const auto due = DueBySegment(segments, windows);
    for (const auto& window : windows) {
      report_.push_back({sampled.requirement->id, sampled.process,
                         static_cast<std::int32_t>(window.due), Int32(window.expected),
                         Int32(window.collected)});
    }
    auto next = sampled.subgroups.begin();
    for (std::size_t i = 0; i < segments.size(); ++i) {
      const auto& segment = segments[i];
      const auto first = next;
      while (next != sampled.subgroups.end() && data_.subgroups[*next].Sgtm < segment.end) ++next;
      if (sampled.requirement == nullptr && first == next) continue;
      API_SCRow row{};
      row.ProcessID = sampled.process;
      row.PartID = sampled.part;
      row.TestID = sampled.test;
      row.StartStamp = static_cast<std::int32_t>(segment.start);
      row.StateID = segment.state;
      row.StateType = segment.type;
      row.Duration = static_cast<double>(segment.end - segment.start) / 60.0;
      row.SmplReqID = sampled.requirement == nullptr ? 0 : sampled.requirement->id;
      row.SamplesExpected = Int32(due[i].expected);
      row.SamplesCollected = Int32(due[i].collected);
      Complete(row);
      FillStatistics(store_, data_, {first, next}, row);
      rows_.push_back(row);
    }
  }

  // Sums of the details for each item of the columns that a kind of row names.
  void AppendSums() {
    static constexpr std::int32_t kKinds[] = {rt_Part | rt_Process | rt_Test, rt_Part, rt_Process,
                                              rt_Test, rt_Summary};
    const auto details = rows_.size();
    for (const auto kind : kKinds) {
      std::map<std::array<std::int32_t, 3>, API_SCRow> sums;
      for (std::size_t i = 0; i < details; ++i) {
        const auto& detail = rows_[i];
        const std::array<std::int32_t, 3> key{(kind & rt_Part) != 0 ? detail.PartID : 0,
                                              (kind & rt_Process) != 0 ? detail.ProcessID : 0,
                                              (kind & rt_Test) != 0 ? detail.TestID : 0};
        auto& sum = sums.try_emplace(key, API_SCRow{}).first->second;
        sum.Duration = sum.Duration + detail.Duration;
        AddTo(sum.SamplesExpected, detail.SamplesExpected);
        AddTo(sum.SamplesCollected, detail.SamplesCollected);
        AddTo(sum.TestCount, detail.TestCount);
      }
      for (auto& [key, sum] : sums) {
        sum.ResultType = kind;
        std::tie(sum.PartID, sum.ProcessID, sum.TestID) = std::tie(key[0], key[1], key[2]);
        Complete(sum);
        rows_.push_back(sum);
      }
    }
  }

  store::Store& store_;
  const store::DataSet& data_;
  const SamplingInput& input_;
  bool enabled_only_;
  std::vector<API_SCRow> rows_;
  std::vector<SamplingDue> report_;
};

// Filters that narrow the samples but not what intervals and shifts ask for.
bool NarrowsSamples(const API_DSInfo& info) {
  return info.AllJob != ftUnlimited || info.AllLot != ftUnlimited || info.AllShift != ftUnlimited ||
         info.AllEmployee != ftUnlimited || info.Filter != 0 || info.ItemNo != 0;
}

// The rows of a selection, in the order of delivery; its Count is no bound. Writes the resolved
// range and states into info. Throws, or is false after a failure that the store keeps.
bool RunCompliance(store::Store& store, API_DSInfo& info, std::span<const std::int32_t> filter,
                   std::vector<API_SCRow>& rows, std::vector<SamplingDue>& windows) {
  auto selection = info;
  selection.Count = 0;
  store::DataSet data;
  if (!store.Select(selection, filter, {}, data)) return false;
  SamplingInput input;
  store.ReadOrThrow([&](sql::Connection& db) {
    input = ReadSamplingInput(store, db, selection, filter, data.subgroups);
  });
  const bool names_parts = info.AllPart != ftUnlimited &&
                           std::ranges::any_of(input.requirements, [](const Requirement& each) {
                             return each.part == 0;
                           });
  if (names_parts || (!input.requirements.empty() && NarrowsSamples(info))) {
    store::AddNote(
        "samples-narrowed",
        "The selection narrows the samples that count, but not what intervals, shifts and "
        "requirements for any part ask for.");
  }
  const bool enabled_only = !store::EveryStateCounts(info.Status);
  Compliance(store, data, input, enabled_only).Run(rows, windows);
  info.TimeStart = selection.TimeStart;
  info.TimeEnd = selection.TimeEnd;
  info.Status = selection.Status;
  return true;
}

// What the thread keeps.
struct ThreadState {
  std::vector<API_SCRow> rows;  // of the latest computation
  store::LatestReports<std::vector<SamplingDue>> reports;
};

ThreadState& ThisThread() {
  thread_local ThreadState state;
  return state;
}

}  // namespace

std::int32_t ComplianceLibrary::VLXSREQ_SREQ_COMPLIANCE(std::int32_t, std::int32_t Connection,
                                                        API_DSInfo& DSInfo,
                                                        std::span<std::int32_t> DSFilter) {
  auto& state = ThisThread();
  state.rows = {};
  state.reports.Forget(Connection);
  const auto count =
      store::AnalyseWithStore(Connection, DSInfo, [&](const auto& store) -> std::int32_t {
        std::vector<SamplingDue> windows;
        if (!RunCompliance(*store, DSInfo, DSFilter, state.rows, windows)) return 0;
        state.reports.Begin(Connection) = std::move(windows);
        return static_cast<std::int32_t>(state.rows.size());
      });
  if (count == 0) {
    state.rows = {};
    state.reports.Forget(Connection);
  }
  return count;
}

std::int32_t ComplianceLibrary::VLXSREQ_SREQ_COMPLIANCE_GETDATA(std::span<API_SCRow> Rows,
                                                                std::int32_t Count) {
  const auto& kept = ThisThread().rows;
  const auto count = std::min(
      {kept.size(), Rows.size(), static_cast<std::size_t>(std::max<std::int32_t>(Count, 0))});
  std::copy_n(kept.begin(), count, Rows.begin());
  return static_cast<std::int32_t>(count);
}

std::int32_t ComplianceLibrary::VLXSREQ_SREQ_COMPLIANCE_FREEDATA() {
  ThisThread().rows = {};
  return 0;
}

std::vector<SamplingDue> ComplianceLibrary::TakeReport(std::int32_t handle) {
  return ThisThread().reports.Take(handle);
}

}  // namespace orvspc::engine::compliance
