// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <random>
#include <span>
#include <string>

#include "engine/compliance/ComplianceLibrary.h"
#include "tests/engine/store/store_fixture.h"

// Compliance of many random weeks against a count that walks minute by minute.
namespace orvspc::engine::compliance {
using namespace sql;
using namespace catalogue;
using namespace store;
using namespace import;

namespace {

constexpr std::int32_t kMonday = 946857600;  // 2000-01-03T00:00:00Z
constexpr int kWeek = 7 * 24 * 60;           // minutes
constexpr int kWeeks = 500;

struct Taken {
  int minute;  // since the first Monday
  std::int32_t part, process, lot;
  bool enabled;
  double values[2];
};
struct Stay {
  int minute;
  std::int32_t state;  // 1 runs, 2 pauses
};
struct Asked {
  std::int32_t id, part, process;
  std::string kind;
  int n, minutes, grace;
};

// Identifiers are those that the import gives: in order of first mention.
const std::vector<Asked> kAsked = {{1, 0, 1, "interval", 2, 240, 30},
                                   {2, 1, 1, "interval", 1, 60, 0},
                                   {3, 0, 2, "shift", 3, 0, 0},
                                   {4, 2, 2, "lot", 2, 0, 0},
                                   {5, 0, 3, "interval", 1, 480, 500}};

class RandomWeeks : public StoreTest {
 protected:
  static std::string TimeText(int minute) {
    const auto stamp = std::int64_t{kMonday} + 60 * std::int64_t{minute};
    char text[40];
    const std::time_t time = stamp;
    std::tm parts{};
    gmtime_r(&time, &parts);
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
  }

  void Make() {
    std::mt19937 random(77);
    const auto draw = [&](int lowest, int highest) {
      return std::uniform_int_distribution<int>(lowest, highest)(random);
    };
    std::string csv =
        "part,process,test,subgroup,time,value,lot,flag\nPart1,Process1,T,a,1999-12-01,1,Lot1,\n"
        "Part2,Process2,T,a,1999-12-01,1,Lot2,\nPart2,Process3,T,a,1999-12-01,1,Lot3,\n";
    for (int week = 0; week < kWeeks; ++week) {
      std::map<int, int> used;
      for (int i = draw(0, 60); i > 0; --i) {
        Taken taken{week * kWeek + draw(0, kWeek - 1),
                    draw(1, 2),
                    draw(1, 3),
                    draw(1, 3),
                    draw(0, 9) != 0,
                    {}};
        if (!used.emplace(taken.minute, 0).second) continue;
        for (auto& value : taken.values) {
          value = 10.0 + std::normal_distribution<double>()(random);
          char text[160];
          std::snprintf(text, sizeof text, "Part%d,Process%d,T,%d,%s,%.17g,Lot%d,%s\n", taken.part,
                        taken.process, taken.minute, TimeText(taken.minute).c_str(), value,
                        taken.lot, taken.enabled ? "enabled" : "disabled");
          csv += text;
        }
        taken_.push_back(taken);
      }
    }
    std::sort(taken_.begin(), taken_.end(),
              [](const Taken& a, const Taken& b) { return a.minute < b.minute; });
    Import(csv);
    std::string sql =
        "INSERT INTO state_code(id, name, type) VALUES(1, 'Run', 2000), (2, 'Wait', 3000);";
    for (int process = 1; process <= 2; ++process) {
      std::vector<Stay> stays;
      for (int minute = draw(0, 5000); minute < kWeeks * kWeek; minute += draw(1, 4000)) {
        stays.push_back({minute, draw(0, 3) == 0 ? 2 : 1});
      }
      auto& runs = runs_[process];
      runs.resize(static_cast<std::size_t>(kWeeks) * kWeek);
      for (std::size_t i = 0; i < stays.size(); ++i) {
        const auto end = i + 1 < stays.size() ? stays[i + 1].minute : kWeeks * kWeek;
        std::fill(runs.begin() + stays[i].minute, runs.begin() + end, stays[i].state == 1);
      }
      for (const auto& stay : stays) {
        sql += "INSERT INTO state_log VALUES(" + std::to_string(process) + ", " +
               std::to_string(kMonday + 60 * stay.minute) + ", " + std::to_string(stay.state) +
               ");";
      }
    }
    for (const auto& asked : kAsked) {
      sql +=
          "INSERT INTO requirement(id, name, part, process, test, kind, n, minutes, grace, who, "
          "made) VALUES(" +
          std::to_string(asked.id) + ", 'R" + std::to_string(asked.id) + "', " +
          (asked.part == 0 ? "NULL" : std::to_string(asked.part)) + ", " +
          std::to_string(asked.process) + ", 1, '" + asked.kind + "', " + std::to_string(asked.n) +
          ", " + std::to_string(asked.minutes) + ", " + std::to_string(asked.grace) +
          ", 'test', 0);";
    }
    RunSql(Path(), "BEGIN;" + sql + "COMMIT;");
    Reopen();
  }

  // Process 3 has no log.
  bool Runs(int process, int minute) const {
    return process == 3 || runs_.at(process)[static_cast<std::size_t>(minute)];
  }

  // Samples from a minute up to and without another.
  std::span<const Taken> Between(int from, int to) const {
    const auto place = [&](int minute) {
      return std::ranges::partition_point(taken_,
                                          [&](const Taken& each) { return each.minute < minute; });
    };
    return {place(from), place(to)};
  }

  std::vector<Taken> Of(const Asked& asked, int from, int to) const {
    std::vector<Taken> found;
    for (const auto& taken : Between(from, to)) {
      if (taken.process == asked.process && taken.enabled &&
          (asked.part == 0 || taken.part == asked.part)) {
        found.push_back(taken);
      }
    }
    return found;
  }

  struct Count {
    int expected = 0, collected = 0;
  };

  Count Intervals(const Asked& asked, int week) const {
    std::vector<int> clock(kWeek + 1);
    for (int t = 0; t < kWeek; ++t) {
      clock[static_cast<std::size_t>(t) + 1] =
          clock[static_cast<std::size_t>(t)] + (Runs(asked.process, week * kWeek + t) ? 1 : 0);
    }
    const auto samples = Of(asked, week * kWeek, (week + 1) * kWeek);
    std::vector<bool> used(samples.size());
    Count count;
    for (int j = 1; j * asked.minutes + asked.grace <= clock.back(); ++j) {
      count.expected += asked.n;
      int taken = 0;
      for (std::size_t i = 0; i < samples.size() && taken < asked.n; ++i) {
        const int t = clock[static_cast<std::size_t>(samples[i].minute - week * kWeek)];
        if (used[i] || t < (j - 1) * asked.minutes || t >= j * asked.minutes + asked.grace)
          continue;
        used[i] = true;
        ++taken;
      }
      count.collected += taken;
    }
    return count;
  }

  // Each occasion as its minutes; lots by their first and last subgroup.
  Count Occasions(const Asked& asked, int week) const {
    std::map<int, std::pair<int, int>> spans;  // first and last minute
    for (int t = week * kWeek; t < (week + 1) * kWeek; ++t) {
      if (asked.kind != "shift") break;
      const int shift = (t - 6 * 60 + 8 * 60) / (8 * 60);  // from 06:00 on, every eight hours
      auto [span, is_new] = spans.try_emplace(shift, t, t);
      span->second.second = t;
    }
    for (const auto& taken : Between(week * kWeek, (week + 1) * kWeek)) {
      if (asked.kind != "lot" || taken.process != asked.process ||
          (asked.part != 0 && taken.part != asked.part)) {
        continue;
      }
      auto [span, is_new] = spans.try_emplace(taken.lot, taken.minute, taken.minute);
      span->second.second = taken.minute;
    }
    Count count;
    for (const auto& [item, span] : spans) {
      bool ran = false;
      for (int t = span.first; t <= span.second; ++t) ran = ran || Runs(asked.process, t);
      if (!ran) continue;
      int taken = 0;
      for (const auto& each : Of(asked, span.first, span.second + 1)) {
        if (asked.kind == "shift" || each.lot == item) ++taken;
      }
      count.expected += asked.n;
      count.collected += std::min(taken, asked.n);
    }
    return count;
  }

  std::vector<API_SCRow> Compliance(int week) {
    FlatSelection selection;
    selection.info.Count = 25;
    selection.info.TimeType = drttStatic;
    selection.info.TimeStart = kMonday + 60 * week * kWeek;
    selection.info.TimeEnd = selection.info.TimeStart + 60 * kWeek - 1;
    auto filter = selection.Filter();
    ComplianceLibrary library;
    const auto count =
        library.VLXSREQ_SREQ_COMPLIANCE(0, Db().ConnectionHandle(), selection.info, filter);
    if (const auto failure = Db().TakeFailure()) ADD_FAILURE() << failure->description;
    std::vector<API_SCRow> rows(static_cast<std::size_t>(count));
    EXPECT_EQ(library.VLXSREQ_SREQ_COMPLIANCE_GETDATA(rows, count), count);
    library.VLXSREQ_SREQ_COMPLIANCE_FREEDATA();
    return rows;
  }

  void CheckStatistics(const API_SCRow& row) const {
    const int from = (row.StartStamp - kMonday) / 60, to = from + static_cast<int>(row.Duration);
    std::vector<double> values;
    for (const auto& taken : Between(from, to)) {
      if (!taken.enabled || taken.process != row.ProcessID ||
          (row.PartID != 0 && taken.part != row.PartID)) {
        continue;
      }
      values.insert(values.end(), std::begin(taken.values), std::end(taken.values));
    }
    ASSERT_EQ(static_cast<std::size_t>(row.TestCount), values.size());
    if (values.empty()) return;
    long double sum = 0.0L, squares = 0.0L;
    for (const auto value : values) sum += value;
    const auto mean = sum / static_cast<long double>(values.size());
    for (const auto value : values) squares += (value - mean) * (value - mean);
    const auto sd = std::sqrt(squares / static_cast<long double>(values.size() - 1));
    EXPECT_NEAR(row.AverageValue, static_cast<double>(mean),
                1e-12 * std::abs(static_cast<double>(mean)));
    EXPECT_NEAR(row.StandardDeviation, static_cast<double>(sd), 1e-12 * static_cast<double>(sd));
    EXPECT_EQ(row.MinimumValue, *std::min_element(values.begin(), values.end()));
    EXPECT_EQ(row.MaximumValue, *std::max_element(values.begin(), values.end()));
  }

  std::vector<Taken> taken_;
  std::map<int, std::vector<bool>> runs_;  // by process and minute
};

TEST_F(RandomWeeks, AgreeWithACountMinuteByMinute) {
  Make();
  for (int week = 0; week < kWeeks; ++week) {
    SCOPED_TRACE("week " + std::to_string(week));
    std::map<std::int32_t, Count> found;
    std::int64_t expected = 0, collected = 0;
    for (const auto& row : Compliance(week)) {
      EXPECT_EQ(row.SamplesMissed, row.SamplesExpected - row.SamplesCollected);
      if (row.ResultType == 0) {
        found[row.SmplReqID].expected += row.SamplesExpected;
        found[row.SmplReqID].collected += row.SamplesCollected;
        CheckStatistics(row);
      }
      if (row.ResultType == rt_Summary) {
        expected = row.SamplesExpected;
        collected = row.SamplesCollected;
      }
    }
    for (const auto& asked : kAsked) {
      const auto count = asked.kind == "interval" ? Intervals(asked, week) : Occasions(asked, week);
      EXPECT_EQ(found[asked.id].expected, count.expected) << asked.id;
      EXPECT_EQ(found[asked.id].collected, count.collected) << asked.id;
      expected -= count.expected;
      collected -= count.collected;
    }
    EXPECT_EQ(expected, 0) << "the whole is the sum of the details";
    EXPECT_EQ(collected, 0);
    if (HasFailure()) return;
  }
}

}  // namespace
}  // namespace orvspc::engine::compliance
