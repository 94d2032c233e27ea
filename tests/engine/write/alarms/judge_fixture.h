// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "engine/QualityDatabase.h"
#include "engine/charts/ChartLibrary.h"
#include "engine/chunks/subgroups.h"
#include "engine/sql/counter.h"
#include "engine/store/alarm_rules.h"
#include "engine/write/alarms/Judge.h"
#include "engine/write/chunks/StreamWriter.h"
#include "engine/write/chunks/SubgroupWriter.h"
#include "platform/CtrlChrt6.h"
#include "platform/TimeText.h"
#include "tests/engine/store/store_fixture.h"

namespace orvspc::engine::alarms {

using store::FlatSelection;

// graph, rule, first and last subgroup, points
using Found =
    std::set<std::tuple<std::int32_t, std::int32_t, std::int32_t, std::int32_t, std::int32_t>>;

// One stream with stored limits: mean 10, sigma of the points 1.
class JudgeTest : public store::StoreTest {
 protected:
  JudgeTest() { Begin(); }

  void Begin() {
    Import("part,process,test,subgroup,time,value\nA,P,T,0,2024-01-01T00:00:00Z,10\n");
    Import("part,process,test,mean,sp,sw\nA,P,T,10,1,1\n", ImportKind::ControlLimits);
    start_ = CurrentTime() + 60;
    first_start_ = start_;
  }
  // In a database without anything of before.
  void BeginAnew() {
    db_.reset();
    folder_.RemoveStore("q.db");
    limits_since_.clear();
    Begin();
  }

  // Stores a value, as late as its time says, and judges it.
  std::vector<Alarm> Record(std::int32_t minute, double value) {
    std::vector<Alarm> opened;
    Opened()->Write({}, "", [&](log::Writing& writing) {
      const auto key = Store(writing, minute, value);
      const Touched touched{1, key, key};
      opened = Judge(writing, std::span(&touched, 1));
      latest_ = key.subgroup;
    });
    return opened;
  }
  store::RecordKey Store(log::Writing& writing, std::int32_t minute, double value) const {
    auto& db = writing.Db();
    const auto id = static_cast<std::int32_t>(sql::TakeIds(db, "subgroup"));
    const auto time = static_cast<std::int32_t>(start_) + minute * 60;
    const auto label = std::to_string(id);
    store::SubgroupWriter subgroups(db);
    subgroups.Add({id, 1, 1, time, label});
    subgroups.Flush();
    store::Measurement record;
    record.time = time;
    record.subgroup = id;
    record.size = 1.0;
    record.values = std::span(&value, 1);
    store::StreamWriter writer(db);
    writer.Write(1, std::span(&record, 1));
    writer.Finish();
    return {time, id};
  }
  static ChangeOptions Why() {
    ChangeOptions options;
    options.reason = "trial run";
    return options;
  }

  // Alarms that are not withdrawn.
  Found Stored() {
    Found found;
    Opened()->ReadOrThrow([&](sql::Connection& db) {
      sql::Query query(db,
                       "SELECT graph, rule, first_subgroup, last_subgroup, points FROM alarm "
                       "WHERE state <> 'withdrawn'");
      while (query.Step()) {
        found.emplace(query.Int(0), query.Int(1), query.Int(2), query.Int(3), query.Int(4));
      }
    });
    return found;
  }
  std::int64_t Count(std::string_view text) {
    std::int64_t count = 0;
    Opened()->ReadOrThrow(
        [&](sql::Connection& db) { count = sql::Query(db, text).RunForInt().value_or(0); });
    return count;
  }

  // What one sees on the chart of everything.
  Found Charted() {
    charts::ChartLibrary library;
    FlatSelection all;
    all.info.Status = 7;
    auto filter = all.Filter();
    API_CCVarOptions options{};
    options.ChartWord = 0x330;
    Found found;
    if (library.VLXCRT_VCHART_PROCESS_LT(0, Db().ConnectionHandle(), all.info, filter, options,
                                         0) == 0) {
      return found;
    }
    const auto points = Select(all.info, all.Filter()).subgroups;
    const auto rules = Opened()->Rules();
    for (std::int32_t graph = 1; graph <= 2; ++graph) {
      std::vector<std::int32_t> marks(points.size());
      library.VLXCRT_VAR_DATA(0, {marks.data(), sizeof marks[0], marks.size()},
                              platform::ChartData::OOCs, graph);
      const auto on =
          Opened()->AlarmBits(1, 1, 1, graph) & store::ApplicableRules(rules, 0x330, graph);
      for (const auto& rule : rules) {
        bool goes_on = false;
        std::int32_t first = 0, last = 0, count = 0;
        std::int64_t before = 0;
        const auto end = [&] {
          if (goes_on) found.emplace(graph, rule.number, first, last, count);
          goes_on = false;
        };
        for (std::size_t i = 0; i < points.size(); ++i) {
          if (points[i].Sgtm < first_start_ || points[i].Flag != sfEnabled) continue;
          if ((static_cast<std::uint32_t>(marks[i]) & on & 1U << rule.number) == 0) {
            end();
            continue;
          }
          const bool has_new_limits = std::ranges::any_of(limits_since_, [&](std::int64_t time) {
            return before < time && time <= points[i].Sgtm;
          });
          if (rule.m <= 1 || has_new_limits) end();
          if (!goes_on) {
            first = points[i].Sgrp;
            count = 0;
          }
          last = points[i].Sgrp;
          before = points[i].Sgtm;
          ++count;
          goes_on = true;
        }
        end();
      }
    }
    library.VLXCRT_VAR_END();
    return found;
  }

  // Values come late, are corrected, disabled and deleted, and limits change; then the alarms are
  // those of somebody who sees the end.
  void RunHistory(unsigned seed) {
    SCOPED_TRACE("history " + std::to_string(seed));
    std::mt19937 random(seed);
    const auto below = [&](int n) {
      return static_cast<std::int32_t>(random() % static_cast<unsigned>(n));
    };
    start_ += 2 * 24 * 60 * 60;
    const int late = seed % 3 == 0 ? 5 : 1, calm = seed % 4 == 0 ? 40 : 12;
    std::vector<std::int32_t> subgroups;
    double level = 10.0;
    std::int32_t newest = 0;
    for (int i = 0; i < 70; ++i) {
      if (below(calm) == 0) level = 10.0 + (below(7) - 3) / 2.0;
      const auto kind = below(14);
      if (kind < 10 || subgroups.empty()) {
        const auto minute = kind < late ? below(60) * 10 + 5 : i * 10;
        newest = std::max(newest, minute);
        Record(minute, level + (below(2000) - 1000) / 500.0);
        subgroups.push_back(latest_);
        continue;
      }
      if (kind == 10) {
        ChangeLimits(newest, below(5), 1 + below(2) / 2.0);
        continue;
      }
      const auto subgroup =
          subgroups[static_cast<std::size_t>(below(static_cast<int>(subgroups.size())))];
      try {
        if (kind == 11) {
          Data().ChangeFlag({subgroup}, {}, below(2) == 0 ? sfDisabled : sfEnabled, Why());
        } else if (kind == 12) {
          ValueChange change;
          change.tsno = 1;
          change.value = level + (below(2000) - 1000) / 300.0;
          Data().ChangeValue(subgroup, 1, change, Why());
        } else {
          Data().DeleteSubgroups({subgroup}, {}, Why());
        }
      } catch (const Refused&) {
        // It is deleted already.
      }
    }
    Found stored = Stored(), charted = Charted();
    const auto is_older = [&](const auto& each) { return std::get<2>(each) < subgroups.front(); };
    std::erase_if(stored, is_older);
    std::erase_if(charted, is_older);
    EXPECT_EQ(stored, charted);
    alarms_ += charted.size();
    ASSERT_EQ(Count("SELECT count(*) FROM (SELECT stream, graph, rule, first_subgroup FROM alarm "
                    "GROUP BY stream, graph, rule, first_subgroup HAVING count(*) > 1) AS twice"),
              0);
  }

  // From just after that minute on.
  void ChangeLimits(std::int32_t minute, std::int32_t tenths, double sigma) {
    const auto time = start_ + std::int64_t{minute} * 60 + 1;
    if (std::ranges::find(limits_since_, time) != limits_since_.end()) return;
    limits_since_.push_back(time);
    Import("part,process,test,mean,sp,sw,effective\nA,P,T," + std::to_string(10.0 + tenths / 10.0) +
               "," + std::to_string(sigma) + "," + std::to_string(sigma) + "," +
               platform::IsoText(static_cast<std::int32_t>(time)) + "Z\n",
           ImportKind::ControlLimits);
  }

  std::int64_t start_ = 0, first_start_ = 0;
  std::int32_t latest_ = 0;
  std::vector<std::int64_t> limits_since_;
  std::size_t alarms_ = 0;
};

}  // namespace orvspc::engine::alarms
