// SPDX-License-Identifier: Apache-2.0
#include "engine/charts/RunRows.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <map>
#include <tuple>
#include <utility>

#include "engine/charts/Marks.h"
#include "engine/charts/PointTable.h"
#include "engine/chunks/large_data.h"
#include "platform/NaN.h"

namespace orvspc::engine::charts {
namespace {

using platform::kNaN;

using platform::ArrayRef;
using platform::ChartData;

constexpr std::int32_t kOverflow = 6;

template <class T>
std::int32_t CopyRows(const ArrayRef& array, const std::vector<T>& rows) {
  const auto out = Room<T>(array, rows.size());
  store::ForHalves(out.size(), [&](std::size_t begin, std::size_t end) {
    std::copy_n(rows.data() + begin, end - begin, out.data() + begin);
  });
  return static_cast<std::int32_t>(out.size());
}

struct SpecCode {
  ChartData code;
  double catalogue::SpecLimits::*line;
};
constexpr SpecCode kSpecCodes[] = {
    {ChartData::USLs, &catalogue::SpecLimits::usl},
    {ChartData::Targets, &catalogue::SpecLimits::target},
    {ChartData::LSLs, &catalogue::SpecLimits::lsl},
};

}  // namespace

void SortForProcess(std::vector<catalogue::ControlLimit>& limits) {
  std::stable_sort(limits.begin(), limits.end(), [](const auto& a, const auto& b) {
    return std::make_tuple(a.row.F_EFTM, a.row.F_PRCS != 0) <
           std::make_tuple(b.row.F_EFTM, b.row.F_PRCS != 0);
  });
}

void RunRows::Clear() {
  Forget(data_.subgroups);
  Forget(data_.values);
  Forget(data_.keys);
  Forget(data_.sizes);
  Forget(stamps_);
  subgroups_taken_ = false;
  test_count_ = 0;
  streams_.clear();
  Forget(limit_row_);
  spec_rows_.clear();
  opp_rows_.clear();
  limit_rows_.clear();
  alarms_differ_ = false;
  noted_.clear();
}

bool RunRows::Select(store::Store& store, API_DSInfo& info, std::span<const std::int32_t> filter,
                     std::int32_t test_types, const char* nothing) {
  store::SelectOptions select;
  select.test_types = test_types;
  if (!store.Select(info, filter, select, data_)) return false;
  if (data_.subgroups.empty()) {
    store::AddNote("no-data", nothing);
    return false;
  }
  if (data_.values.size() > std::numeric_limits<std::int32_t>::max()) {
    store.Fail(kOverflow, "The selection has more test values than can be counted.");
    return false;
  }
  test_count_ = static_cast<std::int32_t>(data_.values.size());
  return true;
}

void RunRows::Load(store::Store& store, bool attributes,
                   const std::function<Suits(const catalogue::ControlLimit&)>& suits) {
  const auto streams = table_.Streams();
  // Kept from run to run: for a small chart the conversion takes as long as its figures.
  if (store.Rules() != stored_rules_) {
    stored_rules_ = store.Rules();
    ConvertRules(stored_rules_, rules_);
  }
  streams_.resize(streams.size());
  for (std::size_t s = 0; s < streams.size(); ++s) {
    const auto& stream = streams[s];
    auto& rows = streams_[s];
    rows.specs = store.SpecLimits(stream.part, stream.test);
    rows.limits = store.ControlLimits(stream.part, stream.process, stream.test);
    SortForProcess(rows.limits);
    std::erase_if(rows.limits, [&](const catalogue::ControlLimit& limit) {
      const auto answer = suits(limit);
      if (answer == Suits::OtherChart) rows.unsuited_limits = true;
      if (answer == Suits::NoSuchMean && !rows.unsuited_mean) rows.unsuited_mean = limit.row.F_MEAN;
      return answer != Suits::Yes;
    });
    if (attributes) rows.opportunities = store.Opportunities(stream.part, stream.test);
  }
  spec_rows_ = NewestOfPairs(&OfStream::specs, &OfStream::specs_change);
  opp_rows_ = NewestOfPairs(&OfStream::opportunities, &OfStream::opportunities_change);
  CollectLimitRows();
  LoadAlarms(store);
}

// For each part and test the one row in force at the newest point of the pair. Readers of these
// rows hold every value against that row, whatever its time.
template <class Row>
std::vector<Row> RunRows::NewestOfPairs(std::vector<Row> OfStream::*rows, bool OfStream::*change) {
  const auto streams = table_.Streams();
  struct Pair {
    std::vector<std::size_t> streams;
    std::int32_t last = std::numeric_limits<std::int32_t>::min();
  };
  std::vector<Pair> pairs;
  std::map<std::pair<std::int32_t, std::int32_t>, std::size_t> numbers;
  std::vector<std::int32_t> first(streams.size(), std::numeric_limits<std::int32_t>::max());
  for (std::size_t s = 0; s < streams.size(); ++s) {
    if ((streams_[s].*rows).empty()) continue;
    const auto number =
        numbers.try_emplace({streams[s].part, streams[s].test}, pairs.size()).first->second;
    if (number == pairs.size()) pairs.emplace_back();
    auto& pair = pairs[number];
    pair.streams.push_back(s);
    for (auto place = streams[s].begin; place < streams[s].end; ++place) {
      first[s] = std::min(first[s], StampAt(place));
      pair.last = std::max(pair.last, StampAt(place));
    }
  }
  std::vector<Row> newest_rows;
  for (const auto& pair : pairs) {
    const auto& of_pair = streams_[pair.streams.front()].*rows;
    catalogue::EffectiveRows<Row> effective(of_pair);
    const auto newest = effective.PlaceAt(pair.last);
    if (newest != kNoRow) newest_rows.push_back(of_pair[static_cast<std::size_t>(newest)]);
    // A stream that ends before the change is judged by the newest row as well.
    for (const auto s : pair.streams) streams_[s].*change = effective.PlaceAt(first[s]) != newest;
  }
  return newest_rows;
}

void RunRows::CollectLimitRows() {
  if (std::all_of(streams_.begin(), streams_.end(),
                  [](const OfStream& rows) { return rows.limits.empty(); })) {
    return;
  }
  limit_row_.resize(table_.Count());
  std::size_t first = 0;  // place of the part, process and test
  for (std::size_t s = 0; s < streams_.size(); ++s) {
    const auto& stream = table_.Streams()[s];
    auto& rows = streams_[s];
    catalogue::EffectiveRows<catalogue::ControlLimit> effective(rows.limits);
    std::vector<std::uint8_t> seen(rows.limits.size(), 0);
    if (s == 0 || stream.number != table_.Streams()[s - 1].number) first = stream.begin;
    for (auto place = stream.begin; place < stream.end; ++place) {
      const auto row = effective.PlaceAt(StampAt(place));
      limit_row_[place] = row;
      rows.limits_change = rows.limits_change || row != limit_row_[first];
      if (row != kNoRow) seen[static_cast<std::size_t>(row)] = 1;
    }
    rows.delivered.assign(seen.size(), kNoRow);
    for (std::size_t i = 0; i < seen.size(); ++i) {
      if (seen[i] == 0) continue;
      // A row for any process may serve several streams.
      const auto& row = rows.limits[i].row;
      const auto known = std::find_if(
          limit_rows_.begin(), limit_rows_.end(),
          [&](const auto& other) { return std::memcmp(&other, &row, sizeof row) == 0; });
      rows.delivered[i] = static_cast<std::int32_t>(known - limit_rows_.begin());
      if (known == limit_rows_.end()) limit_rows_.push_back(row);
    }
  }
}

std::vector<std::int32_t> RunRows::DeliveredLimitRows() const {
  std::vector<std::int32_t> rows(limit_row_.size(), kNoRow);
  if (rows.empty()) return rows;
  const auto streams = table_.Streams();
  for (std::size_t s = 0; s < streams.size(); ++s) {
    for (auto place = streams[s].begin; place < streams[s].end; ++place) {
      const auto row = limit_row_[place];
      if (row == kNoRow) continue;
      rows[table_.SubgroupAt(place)] = streams_[s].delivered[static_cast<std::size_t>(row)];
    }
  }
  return rows;
}

void RunRows::LoadAlarms(store::Store& store) {
  const auto streams = table_.Streams();
  if (streams.size() < 2) return;
  for (std::size_t s = 0; s < streams.size(); ++s) {
    for (std::size_t graph = 0; graph < 3; ++graph) {
      streams_[s].alarms[graph] =
          store.AlarmBits(streams[s].part, streams[s].process, streams[s].test,
                          static_cast<std::int32_t>(graph) + 1);
    }
    alarms_differ_ = alarms_differ_ || streams_[s].alarms != streams_[0].alarms;
  }
}

bool RunRows::HasOlderLimits(std::size_t stream) const {
  const auto& of = table_.Streams()[stream];
  const auto* const phase = table_.PhaseOf(of);
  if (!HasStoredLimits() || phase == nullptr || !phase->Counts()) return false;
  const auto row = of.begin == of.end ? kNoRow : limit_row_[of.end - 1];
  return row != kNoRow &&
         catalogue::EffectiveTime(streams_[stream].limits[static_cast<std::size_t>(row)]) <
             phase->start;
}

std::int32_t RunRows::StampAt(std::size_t place) const {
  return stamps_.empty() ? data_.subgroups[table_.SubgroupAt(place)].Sgtm : stamps_[place];
}

bool RunRows::RestartsAt(const ChartStream& stream, std::size_t place, bool calculated) const {
  if (!Restarts(calculated) || !table_.IsUsed(place)) return false;
  bool anew = false;
  for (auto before = place; before > stream.begin;) {
    anew = anew || table_.BeginsAnew(before);
    if (!table_.IsUsed(--before)) continue;
    return anew || (!calculated && HasStoredLimits() && limit_row_[before] != limit_row_[place]);
  }
  return false;
}

void RunRows::KeepAlarms(std::size_t graph, std::vector<std::uint32_t>& marks) const {
  if (!alarms_differ_) return;
  for (std::size_t s = 0; s < streams_.size(); ++s) {
    const auto& stream = table_.Streams()[s];
    for (auto place = stream.begin; place < stream.end; ++place) {
      marks[place] &= streams_[s].alarms[graph];
    }
  }
}

std::int32_t RunRows::Deliver(const ArrayRef& array, ChartData code) {
  switch (code) {
    case ChartData::Totals: {
      const auto count = [](const auto& rows) { return static_cast<std::int32_t>(rows.size()); };
      const auto subgroups = static_cast<std::int32_t>(table_.Count());
      const API_CCTotals totals{.SubgroupCount = subgroups,
                                .TestCount = test_count_,
                                .SpecLimCount = count(spec_rows_),
                                .CtrlLimCount = count(limit_rows_),
                                .DefOppCount = count(opp_rows_),
                                .Spare1 = 0,
                                .Spare2 = 0};
      return CopyRows<API_CCTotals>(array, {totals});
    }
    case ChartData::Subgroups: {
      const auto written = CopyRows(array, data_.subgroups);
      subgroups_taken_ = subgroups_taken_ || written != 0;
      return written;
    }
    case ChartData::Tests:
      return DeliverTests(array);
    case ChartData::CtrlLims:
      return CopyRows(array, limit_rows_);
    case ChartData::SpecLims:
      return CopyRows(array, spec_rows_);
    case ChartData::DefOpps:
      return CopyRows(array, opp_rows_);
    default:
      return 0;
  }
}

// The values go with it: nothing that is asked for later needs them, and they are the largest part
// of a run. So do subgroups that were taken before.
std::int32_t RunRows::DeliverTests(const ArrayRef& array) {
  const auto out = Room<API_TestData>(array, data_.values.size());
  if (out.empty()) return 0;
  data_.WriteTests(out);
  Forget(data_.values);
  Forget(data_.keys);
  if (subgroups_taken_) ReleaseSubgroups();
  return test_count_;
}

void RunRows::ReleaseSubgroups() {
  stamps_.resize(table_.Count());
  store::ForHalves(stamps_.size(), [&](std::size_t begin, std::size_t end) {
    for (auto place = begin; place < end; ++place) {
      stamps_[place] = data_.subgroups[table_.SubgroupAt(place)].Sgtm;
    }
  });
  Forget(data_.subgroups);
}

bool RunRows::WriteSpecs(ChartData code, std::span<double> out) const {
  const auto* const wanted = std::find_if(std::begin(kSpecCodes), std::end(kSpecCodes),
                                          [&](const auto& each) { return each.code == code; });
  if (wanted == std::end(kSpecCodes)) return false;
  const auto streams = table_.Streams();
  for (std::size_t s = 0; s < streams.size(); ++s) {
    catalogue::EffectiveRows<API_CCSpecLim> rows(streams_[s].specs);
    const API_CCSpecLim* latest = nullptr;
    double value = kNaN;
    for (auto place = streams[s].begin; place < streams[s].end; ++place) {
      const auto* const row = streams_[s].specs.empty() ? nullptr : rows.At(StampAt(place));
      if (row != latest) {
        latest = row;
        value = row == nullptr ? kNaN : catalogue::SpecLimitsOf(*row).*(wanted->line);
      }
      out[table_.SubgroupAt(place)] = value;
    }
  }
  return true;
}

void RunRows::NoteIf(bool applies, store::Store& store, std::size_t stream, std::string_view code,
                     std::string_view text) {
  if (!applies) return;
  const auto& of = table_.Streams()[stream];
  if (table_.IsCut()) {
    const std::pair note(of.number, std::string(text));
    if (std::find(noted_.begin(), noted_.end(), note) != noted_.end()) return;
    noted_.push_back(note);
  }
  store::AddNote(std::string(code), std::string(text),
                 store.StreamName(of.part, of.process, of.test));
}

std::string RunRows::Stretch(std::size_t stream) const {
  const auto* const phase = table_.PhaseOf(table_.Streams()[stream]);
  return phase == nullptr ? std::string() : "Phase \"" + phase->name + "\": ";
}

void RunRows::AddNotes(store::Store& store, std::size_t stream) {
  const auto& rows = streams_[stream];
  NoteIf(rows.unsuited_limits, store, stream, "limits-unsuited",
         "Stored control limits that were made from another kind of chart are not used.");
  NoteIf(rows.limits_change, store, stream, "limits-changed",
         "The control limits in force changed inside the chart.");
  NoteIf(HasOlderLimits(stream), store, stream, "limits-before-phase",
         Stretch(stream) + "The control limits in force are from before it began.");
  NoteIf(rows.specs_change, store, stream, "specification-changed",
         "The specification limits in force changed inside the chart; values are judged by the "
         "newest.");
}

}  // namespace orvspc::engine::charts
