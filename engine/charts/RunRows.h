// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/catalogue/limits.h"
#include "engine/charts/PointTable.h"
#include "engine/statistics/RunRules.h"
#include "engine/store/Store.h"
#include "platform/ArrayRef.h"
#include "platform/CtrlChrt6.h"

namespace orvspc::engine::charts {

using catalogue::kNoRow;

// The first count elements of the array; empty when it holds something else or too few.
template <class T>
std::span<T> Room(const platform::ArrayRef& array, std::size_t count) {
  const auto all = array.As<T>();
  return all.size() < count ? std::span<T>() : all.first(count);
}

// By effective time; of two rows from the same moment that of the process itself comes last and
// wins over the one for any process.
void SortForProcess(std::vector<catalogue::ControlLimit>& limits);

// Whether a stored row serves a chart.
enum class Suits { Yes, OtherChart, NoSuchMean };

// What a run holds of the database beside its points: the data set, and for each stream the limits,
// opportunities and alarms that judge it. Delivers all of that.
class RunRows {
 public:
  // table: of the run that has these rows, built from the data that Select reads.
  explicit RunRows(const StreamTable& table) : table_(table) {}
  RunRows(const RunRows&) = delete;
  RunRows& operator=(const RunRows&) = delete;

  struct OfStream {
    std::vector<API_CCSpecLim> specs;
    std::vector<catalogue::ControlLimit> limits;
    std::vector<API_CCDefOpp> opportunities;
    std::array<std::uint32_t, 3> alarms{};  // bits of the rules that are on; only with many streams
    bool specs_change = false, limits_change = false, opportunities_change = false;  // in the chart
    std::vector<std::int32_t> delivered;  // place of each of the limits among those handed out
    bool unsuited_limits = false;         // some of another chart were left out
    std::optional<double> unsuited_mean;  // of the first row left out for it
  };

  // test_types: bits of TestTypes. False when there is nothing: a failure, which the store keeps,
  // or no subgroup, which becomes a note with these words.
  bool Select(store::Store& store, API_DSInfo& info, std::span<const std::int32_t> filter,
              std::int32_t test_types, const char* nothing);
  // Everything of the streams of the table; opportunities only for attributes. Stored limits are
  // taken where `suits` says so.
  void Load(store::Store& store, bool attributes,
            const std::function<Suits(const catalogue::ControlLimit&)>& suits);
  // Forgets all. Storage of a small run is kept for the next.
  void Clear();

  const store::DataSet& Data() const { return data_; }
  std::int32_t StampAt(std::size_t place) const;
  const OfStream& Of(std::size_t stream) const { return streams_[stream]; }
  std::span<const statistics::RunRule> Rules() const { return rules_; }

  bool HasStoredLimits() const { return !limit_row_.empty(); }
  // Place among the limits of the stream; kNoRow for none. Only with stored limits.
  std::int32_t LimitRowAt(std::size_t place) const { return limit_row_[place]; }
  // For each subgroup in the order of the data set, the place of its row of control limits among
  // the rows that Deliver hands out; kNoRow for none. Empty without stored limits.
  std::vector<std::int32_t> DeliveredLimitRows() const;
  // The stored control limits in force at the newest point of a phase are from before its start.
  bool HasOlderLimits(std::size_t stream) const;
  // Between a point that counts and the one before lies a border of phases or, where the lines are
  // not the calculated ones, a change of the row of control limits.
  bool RestartsAt(const ChartStream& stream, std::size_t place, bool calculated) const;
  // Whether it does anywhere.
  bool Restarts(bool calculated) const {
    return !table_.Anew().empty() || (!calculated && HasStoredLimits());
  }

  // Clears the bits of rules that are off for a stream, where streams differ in that.
  void KeepAlarms(std::size_t graph, std::vector<std::uint32_t>& marks) const;

  // Totals and rows: fills the array, returns the elements written. Writes nothing and returns 0
  // for another code, element size, or an array that is too short. Tests can be taken once, and
  // subgroups as long as not both were taken.
  std::int32_t Deliver(const platform::ArrayRef& array, platform::ChartData code);
  // Specification lines along the points, in the order of the data set; false for another code.
  bool WriteSpecs(platform::ChartData code, std::span<double> out) const;

  // Not in an excluded phase.
  bool Counts(std::size_t stream) const {
    const auto* const phase = table_.PhaseOf(table_.Streams()[stream]);
    return phase == nullptr || phase->Counts();
  }
  // Adds a note about a stream if it applies; the same one about its stretches once.
  void NoteIf(bool applies, store::Store& store, std::size_t stream, std::string_view code,
              std::string_view text);
  // Of rows that change inside the chart.
  void AddNotes(store::Store& store, std::size_t stream);
  // "Phase "Tool B": ", for a text about one stretch alone.
  std::string Stretch(std::size_t stream) const;

 private:
  template <class Row>
  std::vector<Row> NewestOfPairs(std::vector<Row> OfStream::*rows, bool OfStream::*change);
  void CollectLimitRows();
  void LoadAlarms(store::Store& store);
  std::int32_t DeliverTests(const platform::ArrayRef& array);
  void ReleaseSubgroups();

  const StreamTable& table_;
  store::DataSet data_;
  std::vector<std::int32_t> stamps_;  // of the places, once the subgroups are gone
  bool subgroups_taken_ = false;
  std::int32_t test_count_ = 0;
  std::vector<OfStream> streams_;
  std::vector<std::int32_t> limit_row_;    // control-limit row at each place; empty: no rows
  std::vector<API_CCSpecLim> spec_rows_;   // one for each part and test
  std::vector<API_CCDefOpp> opp_rows_;     // likewise
  std::vector<API_CCCtrlLim> limit_rows_;  // those in use, each once
  std::vector<store::StoredRule> stored_rules_;
  std::vector<statistics::RunRule> rules_;  // made of them
  bool alarms_differ_ = false;
  std::vector<std::pair<std::size_t, std::string>> noted_;  // by number of a stream that is cut
};

}  // namespace orvspc::engine::charts
