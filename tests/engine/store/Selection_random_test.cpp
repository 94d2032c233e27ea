// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <chrono>
#include <cstring>
#include <map>
#include <random>
#include <set>
#include <tuple>

#include "engine/time/calendar.h"
#include "tests/engine/store/reference_selection.h"
#include "tests/engine/store/store_fixture.h"

// Random selections on random databases against a slow and obvious reference, which walks plain
// records in memory.
namespace orvspc::engine::store {
using namespace time;
using namespace sql;
using namespace catalogue;
using namespace import;

namespace {

constexpr int kParts = 3, kProcesses = 2, kTests = 4, kDescriptorGroups = 3, kDescriptors = 3;
const std::int32_t kTypes[kTests] = {ttVariable, ttVariable, ttDefects, ttDefectives};

// Identifiers are given in file order, so each kind counts its names from 1.
class Numbers {
 public:
  std::int32_t Of(const std::string& name) {
    if (name.empty()) return 0;
    return ids_.try_emplace(name, static_cast<std::int32_t>(ids_.size()) + 1).first->second;
  }
  std::int32_t Count() const { return static_cast<std::int32_t>(ids_.size()); }

 private:
  std::map<std::string, std::int32_t> ids_;
};

class World {
 public:
  explicit World(unsigned seed) : random_(seed) {
    // With few stamps several subgroups share one.
    const std::int64_t spread = seed % 3 == 0 ? 40 : 90 * 86400;
    std::int32_t subgroup = 0;
    for (int i = 0; i < 60; ++i) {
      const auto part = Pick(kParts), process = Pick(kProcesses);
      const auto time = static_cast<std::int32_t>(
          kNow - std::uniform_int_distribution<std::int64_t>(0, spread)(random_));
      std::set<std::int32_t> described;
      ++subgroup;
      const auto first = records.size();
      for (int test = 0; test < kTests; ++test) {
        if (Pick(3) == 0 && test != 0) continue;
        AddRecord(part, process, test, subgroup, time, described);
      }
      for (auto r = first; r < records.size(); ++r) records[r].descriptors = described;
    }
  }

  std::string csv =
      "part,process,test,subgroup,time,value,test-type,tsno,sbno,size,flag,job,lot,shift,employee,"
      "defect,descriptor:G0,descriptor:G1,descriptor:G2\n";
  std::vector<SelectedRecord> records;
  Numbers parts, processes, tests, jobs, lots, shifts, employees, defects, descriptors;

  int Pick(int n) { return std::uniform_int_distribution<int>(0, n - 1)(random_); }
  std::mt19937& Random() { return random_; }

 private:
  std::string Maybe(const char* prefix, int n) {
    const int pick = Pick(n + 1);
    return pick == 0 ? "" : prefix + std::to_string(pick);
  }

  void AddRecord(int part, int process, int test, std::int32_t subgroup, std::int32_t time,
                 std::set<std::int32_t>& described) {
    SelectedRecord record;
    record.type = kTypes[test];
    auto& head = record.head;
    const auto part_name = "P" + std::to_string(part), process_name = "R" + std::to_string(process);
    const auto test_name = "T" + std::to_string(test);
    const auto job = Maybe("J", 2), lot = Maybe("L", 3), shift = Maybe("S", 2),
               employee = Maybe("E", 2);
    head.Sgrp = subgroup;
    head.Part = parts.Of(part_name);
    head.Prcs = processes.Of(process_name);
    head.Test = tests.Of(test_name);
    head.Sgtm = time;
    head.Flag = Pick(3);
    const bool is_variable = record.type == ttVariable;
    const int pieces = 1 + Pick(4);
    head.Size = is_variable ? pieces : 50;
    record.size = head.Size;
    const auto date = FormatTime(time);
    const auto line = [&](const std::string& value, const std::string& tsno,
                          const std::string& sbno, const std::string& defect) {
      csv += part_name + "," + process_name + "," + test_name + ",s" + std::to_string(subgroup) +
             "," + date + "," + value + "," +
             (is_variable                ? "variable"
              : record.type == ttDefects ? "defects"
                                         : "defectives") +
             "," + tsno + "," + sbno + "," + (is_variable ? "" : "50") + "," +
             std::to_string(head.Flag) + "," + job + "," + lot + "," + shift + "," + employee +
             "," + defect;
      for (int group = 0; group < kDescriptorGroups; ++group) {
        const int pick = Pick(kDescriptors + 3);
        csv += ",";
        if (pick >= kDescriptors) continue;
        const auto name = "D" + std::to_string(group) + std::to_string(pick);
        csv += name;
        described.insert(descriptors.Of(name));
      }
      csv += "\n";
    };
    const auto row = [&](std::int32_t tsno, std::int32_t sbno, std::int32_t defect, double value) {
      API_TestData data{};
      data.Tsno = tsno;
      data.Sbno = sbno;
      data.Def = defect;
      data.Val = value;
      record.rows.push_back(data);
    };
    // Names count in the order of the columns' first use, defect before the others of a line.
    if (is_variable) {
      const bool readings = Pick(4) == 0;
      for (int piece = 1; piece <= pieces; ++piece) {
        const double value = 10 + Pick(100);
        const auto defect = Pick(6) == 0 ? Maybe("X", 3) : "";
        const auto code = defects.Of(defect);
        if (readings) {
          row(piece, 0, 0, value + 1);
          row(piece, 1, code, value);
          row(piece, 2, 0, value + 2);
          line(std::to_string(value), std::to_string(piece), "1", defect);
          line(std::to_string(value + 2), std::to_string(piece), "2", "");
        } else {
          row(piece, 0, code, value);
          line(std::to_string(value), "", "", defect);
        }
      }
    } else {
      for (int i = Pick(3); i-- > 0;) {
        const auto defect = Maybe("X", 3);
        const auto code = defects.Of(defect);
        const auto tsno = Pick(3);
        row(tsno, 0, code, 1 + Pick(4));
        line(std::to_string(static_cast<int>(record.rows.back().Val)),
             tsno == 0 ? "" : std::to_string(tsno), "", defect);
      }
      if (record.rows.empty()) {
        row(0, 0, 0, 0);
        line("0", "", "", "");
      }
    }
    head.Job = jobs.Of(job);
    head.Lot = lots.Of(lot);
    head.Shft = shifts.Of(shift);
    head.Empl = employees.Of(employee);
    records.push_back(std::move(record));
  }

  static std::string FormatTime(std::int32_t stamp) {
    const auto days = std::chrono::sys_days(std::chrono::days(stamp / 86400));
    const std::chrono::year_month_day date(days);
    char text[40];
    std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02d", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  stamp % 86400 / 3600, stamp % 3600 / 60, stamp % 60);
    return text;
  }

  std::mt19937 random_;
};

class SelectionRandom : public StoreTest {
 protected:
  // Groups 1, 2 of each kind hold the odd and the even identifiers.
  void MakeGroups(World& world) {
    const std::pair<const char*, std::int32_t> kinds[] = {
        {"part", world.parts.Count()},         {"process", world.processes.Count()},
        {"test", world.tests.Count()},         {"job", world.jobs.Count()},
        {"lot", world.lots.Count()},           {"shift", world.shifts.Count()},
        {"employee", world.employees.Count()}, {"defect", world.defects.Count()}};
    std::string sql;
    for (int kind = 0; kind < 8; ++kind) {
      for (int group = 0; group < 2; ++group) {
        const auto id = std::to_string(1 + kind * 2 + group);
        sql += "INSERT INTO item_group(id, kind, name) VALUES(" + id + ", '" + kinds[kind].first +
               "', '" + id + "');";
        for (std::int32_t item = 1; item <= kinds[kind].second; ++item) {
          if (item % 2 == group) {
            sql +=
                "INSERT INTO item_group_member VALUES(" + id + ", " + std::to_string(item) + ");";
          }
        }
        counts_[kind] = kinds[kind].second;
      }
    }
    RunSql(Path(), sql);
    // Descriptors by group as the import numbered them.
    for (const auto& descriptor : Data().Descriptors()) {
      groups_[descriptor.group].insert(descriptor.id);
      EXPECT_EQ(descriptor.id, world.descriptors.Of(descriptor.name));
    }
  }

  RandomSelection Draw(World& world) {
    RandomSelection selection;
    auto& info = selection.flat.info;
    const int counts[] = {0, 1, 5, 25, 1000, -1};
    info.Count = counts[world.Pick(6)];
    const std::int32_t time_types[] = {drttMostRecent, drttMostRecent, drttCurrent,
                                       drttPrevious,   drttStatic,     3};
    info.TimeType = time_types[world.Pick(6)];
    info.TimePeriod = world.Pick(8);
    info.TimeCount = world.Pick(6) == 0 ? 0 : 1 + world.Pick(20);
    if (info.TimeType == drttStatic) {
      info.TimeStart = static_cast<std::int32_t>(kNow - world.Pick(100 * 86400));
      info.TimeEnd = world.Pick(4) == 0 ? kNoStamp : info.TimeStart + world.Pick(50 * 86400);
      if (world.Pick(4) == 0) info.TimeStart = kNoStamp;
    }
    info.Status = world.Pick(8);
    info.TestType = world.Pick(8);
    info.ItemNo = world.Pick(4) == 0 ? world.Pick(4) : 0;
    if (world.Pick(5) == 0) info.SubgroupStart = 1 + world.Pick(40);
    if (world.Pick(5) == 0) info.SubgroupEnd = 1 + world.Pick(60);
    for (int block = 0; block < FlatSelection::kBlocks; ++block) {
      DrawBlock(world, selection, static_cast<FlatSelection::Block>(block));
    }
    for (int i = world.Pick(4) == 0 ? 1 + world.Pick(2) : 0; i-- > 0;) DrawOther(world, selection);
    return selection;
  }

  void DrawBlock(World& world, RandomSelection& selection, FlatSelection::Block block) {
    auto& wanted = selection.blocks[block];
    // The kind numbers follow the blocks, except that defects stand last in both.
    const std::int32_t count = counts_[block];
    switch (world.Pick(block <= FlatSelection::kTest ? 4 : 12)) {
      case 0: {
        std::vector<std::int32_t> ids;
        for (int i = 1 + world.Pick(3); i-- > 0;) ids.push_back(world.Pick(count + 2));
        wanted = {true, {ids.begin(), ids.end()}};
        selection.flat.List(block, ids);
        break;
      }
      case 1: {
        const int group = world.Pick(2);
        wanted.limited = true;
        std::int32_t item = world.Pick(3) == 0 ? 1 + world.Pick(count) : 0;
        if (item != 0) wanted.ids = {item};
        for (std::int32_t id = 1; id <= count && item == 0; ++id) {
          if (id % 2 == group) wanted.ids.insert(id);
        }
        selection.flat.Group(block, 1 + block * 2 + group, item);
        break;
      }
      default:
        break;
    }
  }

  void DrawOther(World& world, RandomSelection& selection) {
    const int group = 1 + world.Pick(static_cast<int>(groups_.size()));
    if (world.Pick(2) == 0) {
      selection.flat.OtherGroup(group);
      selection.descriptors[group].insert(groups_[group].begin(), groups_[group].end());
      return;
    }
    std::vector<std::int32_t> ids;
    for (int i = 1 + world.Pick(3); i-- > 0;) {
      ids.push_back(1 + world.Pick(world.descriptors.Count()));
      for (const auto& [each, members] : groups_) {
        if (members.contains(ids.back())) selection.descriptors[each].insert(ids.back());
      }
    }
    selection.flat.Other(ids);
  }

  void Compare(const World& world, const RandomSelection& selection, const SelectOptions& options) {
    const auto expected = PlainSelection(world.records, selection, options).Run();
    auto info = selection.flat.info;
    const auto data = Select(info, selection.flat.Filter(), options);
    ExpectSelected(expected, info, data);
    non_empty_ += data.subgroups.empty() ? 0 : 1;
  }

  std::int32_t counts_[8] = {};
  std::map<int, std::set<std::int32_t>> groups_;
  int non_empty_ = 0;
};

TEST_F(SelectionRandom, EqualsTheReference) {
  const FixedNow now(kNow);
  for (unsigned seed = 1; seed <= 6; ++seed) {
    db_.reset();
    folder_.RemoveStore("q.db");
    groups_.clear();
    World world(seed);
    Import(world.csv);
    MakeGroups(world);
    for (int i = 0; i < 150; ++i) {
      SCOPED_TRACE("seed " + std::to_string(seed) + ", selection " + std::to_string(i));
      const auto selection = Draw(world);
      SelectOptions options;
      options.defect_filter_narrows_rows = world.Pick(2) == 0;
      options.test_types = world.Pick(3) == 0 ? world.Pick(8) : 0;
      Compare(world, selection, options);
      if (HasFatalFailure()) return;
    }
  }
  EXPECT_GT(non_empty_, 200);  // else the draw compares nothing with nothing
}

}  // namespace
}  // namespace orvspc::engine::store
