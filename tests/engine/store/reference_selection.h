// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "engine/time/calendar.h"
#include "tests/engine/store/store_fixture.h"

// Selections in the slowest and most obvious way: over plain records in memory.
namespace orvspc::engine::store {
using namespace time;

inline constexpr std::int64_t kNow = 1700000000;  // what the clock of a reference says

// A (subgroup, test) as a selection delivers it.
struct SelectedRecord {
  API_SubgroupData head{};
  std::int32_t type = 0;  // of the test
  double size = 0.0;      // inspected
  std::vector<API_TestData> rows;
  std::set<std::int32_t> descriptors;
};

// What a random block means, beside its flat form.
struct Wanted {
  bool limited = false;
  std::set<std::int32_t> ids;
  bool Has(std::int32_t id) const { return !limited || ids.contains(id); }
};

struct RandomSelection {
  FlatSelection flat;
  Wanted blocks[FlatSelection::kBlocks];
  std::map<int, std::set<std::int32_t>> descriptors;  // by group
};

struct Expected {
  std::vector<SelectedRecord> records;
  API_DSInfo info{};
};

class PlainSelection {
 public:
  PlainSelection(std::span<const SelectedRecord> records, const RandomSelection& selection,
                 const SelectOptions& options)
      : records_(records), selection_(selection), options_(options) {}

  Expected Run() const {
    std::vector<SelectedRecord> matching;
    for (const auto& record : records_) {
      if (auto narrowed = Match(record)) matching.push_back(*narrowed);
    }
    std::sort(matching.begin(), matching.end(),
              [](const SelectedRecord& a, const SelectedRecord& b) {
                return std::tie(a.head.Sgtm, a.head.Sgrp, a.head.Test) <
                       std::tie(b.head.Sgtm, b.head.Sgrp, b.head.Test);
              });
    Expected expected{{}, selection_.flat.info};
    auto& info = expected.info;
    if (info.Status == 0) info.Status = 7;
    const auto [from, to] = Range(matching, info);
    for (auto& record : matching) {
      if (record.head.Sgtm >= from && record.head.Sgtm <= to) expected.records.push_back(record);
    }
    const auto count = static_cast<std::size_t>(std::max(info.Count, 0));
    if (count > 0 && expected.records.size() > count) {
      expected.records.erase(expected.records.begin(),
                             expected.records.end() - static_cast<std::ptrdiff_t>(count));
    }
    return expected;
  }

 private:
  std::optional<SelectedRecord> Match(const SelectedRecord& record) const {
    const auto& head = record.head;
    const auto& info = selection_.flat.info;
    const auto& want = selection_.blocks;
    if (!want[FlatSelection::kPart].Has(head.Part) ||
        !want[FlatSelection::kProcess].Has(head.Prcs) ||
        !want[FlatSelection::kTest].Has(head.Test) || !want[FlatSelection::kJob].Has(head.Job) ||
        !want[FlatSelection::kLot].Has(head.Lot) || !want[FlatSelection::kShift].Has(head.Shft) ||
        !want[FlatSelection::kEmployee].Has(head.Empl)) {
      return std::nullopt;
    }
    if (info.TestType != 0 && (info.TestType & record.type) == 0) return std::nullopt;
    if (options_.test_types != 0 && (options_.test_types & record.type) == 0) return std::nullopt;
    const std::int32_t state_bits[] = {1, 2, 4};
    if (info.Status != 0 && (info.Status & state_bits[head.Flag]) == 0) return std::nullopt;
    if (info.SubgroupStart > 0 && head.Sgrp < info.SubgroupStart) return std::nullopt;
    if (info.SubgroupEnd > 0 && head.Sgrp > info.SubgroupEnd) return std::nullopt;
    for (const auto& [group, ids] : selection_.descriptors) {
      const bool has = std::any_of(
          ids.begin(), ids.end(), [&](std::int32_t id) { return record.descriptors.contains(id); });
      if (!has) return std::nullopt;
    }
    auto narrowed = record;
    if (info.ItemNo > 0) {
      std::erase_if(narrowed.rows,
                    [&](const API_TestData& row) { return row.Tsno != info.ItemNo; });
      if (narrowed.rows.empty()) return std::nullopt;
    }
    const auto& codes = want[FlatSelection::kDefect];
    if (!codes.limited) return narrowed;
    if (!options_.defect_filter_narrows_rows) {
      const bool has = std::any_of(record.rows.begin(), record.rows.end(),
                                   [&](const API_TestData& row) { return codes.Has(row.Def); });
      return has ? std::optional(narrowed) : std::nullopt;
    }
    if (record.type == ttVariable) return narrowed;
    std::erase_if(narrowed.rows, [&](const API_TestData& row) { return !codes.Has(row.Def); });
    if (narrowed.rows.empty()) narrowed.rows.push_back(API_TestData{});
    return narrowed;
  }

  static std::pair<std::int64_t, std::int64_t> Range(const std::vector<SelectedRecord>& matching,
                                                     API_DSInfo& info) {
    if (info.TimeType == drttStatic) {
      return {info.TimeStart, info.TimeEnd == kNoStamp ? INT32_MAX : info.TimeEnd};
    }
    const auto newest = matching.empty() ? kNow : matching.back().head.Sgtm;
    const bool bounded = info.TimeCount > 0 && StartOfPeriod(kNow, info.TimePeriod, 0).has_value();
    std::int64_t from = INT32_MIN, to = newest;
    if (bounded && info.TimeType == drttMostRecent) {
      from = *PeriodsBefore(newest, info.TimePeriod, info.TimeCount, 0);
    } else if (bounded && info.TimeType == drttCurrent) {
      from = *StartOfPeriod(kNow, info.TimePeriod, 0);
      if (info.TimeCount > 1) from = *PeriodsBefore(from, info.TimePeriod, info.TimeCount - 1, 0);
      to = kNow;
    } else if (bounded && info.TimeType == drttPrevious) {
      to = *StartOfPeriod(kNow, info.TimePeriod, 0) - 1;
      from = *PeriodsBefore(to + 1, info.TimePeriod, info.TimeCount, 0);
    }
    info.TimeStart = static_cast<std::int32_t>(from);
    info.TimeEnd = static_cast<std::int32_t>(to);
    return {from, to};
  }

  std::span<const SelectedRecord> records_;
  const RandomSelection& selection_;
  const SelectOptions& options_;
};

// That a selection, with what it wrote back into info, delivered what the reference expects.
inline void ExpectSelected(const Expected& expected, const API_DSInfo& info, const DataSet& data) {
  ASSERT_EQ(data.subgroups.size(), expected.records.size());
  EXPECT_EQ(std::memcmp(&info, &expected.info, sizeof info), 0)
      << info.TimeStart << ".." << info.TimeEnd << " for " << expected.info.TimeStart << ".."
      << expected.info.TimeEnd << ", type " << info.TimeType << ", period " << info.TimePeriod;
  std::int32_t next = 0;
  for (std::size_t i = 0; i < data.subgroups.size(); ++i) {
    auto head = expected.records[i].head;
    const auto rows = expected.records[i].rows.size();
    head.Test_Start = next;
    next += static_cast<std::int32_t>(rows);
    head.Test_End = next - 1;
    ASSERT_EQ(std::memcmp(&head, &data.subgroups[i], sizeof head), 0)
        << "subgroup " << head.Sgrp << " for " << data.subgroups[i].Sgrp;
    EXPECT_EQ(data.SizeOf(i), expected.records[i].size) << "subgroup " << head.Sgrp;
    const auto& wanted_rows = expected.records[i].rows;
    for (std::size_t row = 0; row < rows; ++row) {
      const auto actual = data.Row(i, row);
      ASSERT_EQ(std::memcmp(&actual, &wanted_rows[row], sizeof actual), 0)
          << "subgroup " << head.Sgrp << ", row " << row << ": " << actual.Tsno << " "
          << actual.Sbno << " " << actual.Def << " " << actual.Val << " for "
          << wanted_rows[row].Tsno << " " << wanted_rows[row].Sbno << " " << wanted_rows[row].Def
          << " " << wanted_rows[row].Val;
    }
  }
  EXPECT_EQ(static_cast<std::size_t>(next), data.values.size());
}

}  // namespace orvspc::engine::store
