// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <iostream>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "engine/write/log/Json.h"
#include "tests/engine/write/change/change_fixture.h"

// Random changes of whatever can be changed; all of them taken back again, the newest first.
namespace orvspc::engine::change {

class ChangeRandomTest : public store::StoreTest {
 protected:
  // Makes so many changes, takes all back, and compares.
  void ChangeAtRandom(int changes, unsigned seed) {
    using catalogue::ItemKind;
    random_.seed(seed);
    Fill();
    const auto values = DigestOf(Db());
    const auto beside = Beside();
    const auto names = Names();
    const auto first = Data().Log().back().seq;
    int made = 0, refused = 0;
    for (int i = 0; made < changes; ++i) {
      ASSERT_LT(refused, 3 * changes) << made << " were made";
      const auto refusal = RefusalOf([&] { ChangeOnce(i); });
      ++(refusal.empty() ? made : refused);
      ASSERT_TRUE(refusal.empty() || kRefusals.contains(refusal.substr(0, refusal.find(':'))))
          << refusal;
    }
    EXPECT_NE(DigestOf(Db()), values);
    ExpectWhole();
    const auto log = Data().Log();
    for (const auto kind : {"edit-flag", "edit-value", "edit-subgroup", "delete", "restore", "undo",
                            "rename", "deactivate", "activate"}) {
      const auto is_of_kind = [&](const LogEntry& each) { return each.operation == kind; };
      EXPECT_TRUE(std::ranges::any_of(log, is_of_kind)) << kind;
    }
    for (auto entry = log.rbegin(); entry != log.rend() && entry->seq > first; ++entry) {
      TakeBack(*entry);
    }
    EXPECT_EQ(DigestOf(Db()), values);
    EXPECT_EQ(Beside(), beside);
    EXPECT_EQ(Names(), names);
    ExpectWhole();
    std::cout << log.size() << " entries of " << changes << " changes, " << refused
              << " more were refused" << std::endl;
  }

 private:
  static constexpr int kSubgroups = 40, kFiles = 6;
  // What a change may be refused for, since it is made without a look at what is there.
  const std::set<std::string> kRefusals{"unknown", "stored",  "several",  "size",
                                        "count",   "changed", "undone",   "entry",
                                        "type",    "name",    "inactive", "conflict"};

  int Below(int n) { return static_cast<int>(random_() % static_cast<unsigned>(n)); }
  static ChangeOptions Why() { return BecauseOf("at random"); }
  static std::string Padded(int n) { return (n < 10 ? "0" : "") + std::to_string(n); }

  // Files that share subgroups: measured values, counts, readings, names, descriptors, comments.
  void Fill() {
    std::set<std::string> taken;
    for (int file = 0; file < kFiles; ++file) {
      const bool counts = file % 3 == 2;
      std::string text = std::string("part,process,test,subgroup,time,lot,shift,serial,comment,") +
                         "descriptor:Colour," +
                         (counts ? "test-type,size,count,defect\n" : "value\n");
      for (int subgroup = 1; subgroup <= kSubgroups; ++subgroup) {
        const std::string test = (counts ? "C" : "T") + std::to_string(Below(2));
        const auto number = std::to_string(subgroup);
        if (Below(4) == 0 || !taken.insert(test + "/" + number).second) continue;
        const auto lot = "L" + std::to_string(Below(5)), shift = "S" + std::to_string(Below(3));
        for (int row = 1 + Below(4); row > 0; --row) {
          text += "A,P," + test + "," + number + ",2024-03-" + Padded(1 + subgroup % 28) + "T" +
                  Padded(subgroup / 28) + ":00:00Z," + lot + "," + shift + "," +
                  (Below(5) == 0 ? "N" + std::to_string(Below(30)) : "") + "," +
                  (Below(9) == 0 ? "note " + std::to_string(Below(5)) : "") + "," +
                  (Below(6) == 0 ? "colour " + std::to_string(Below(3)) : "") + ",";
          text += counts ? (test == "C0" ? "defectives,100," : "defects,12.5,") +
                               std::to_string(Below(20)) + "," +
                               (Below(3) == 0 ? "" : "D" + std::to_string(Below(3)))
                         : std::to_string(Below(1000) / 8.0);
          text += "\n";
        }
      }
      Import(text);
    }
  }

  std::int32_t AnySubgroup() { return 1 + Below(kSubgroups + 2); }
  std::optional<std::int32_t> AnyTest() {
    if (Below(3) == 0) return std::nullopt;
    const auto tests = Data().Items(ItemKind::Test);
    return tests[static_cast<std::size_t>(Below(static_cast<int>(tests.size())))].id;
  }
  // Of a name that is there, or of one that is not.
  std::string AnyName(ItemKind kind, int i) {
    const auto items = Data().Items(kind);
    const auto place = static_cast<std::size_t>(Below(static_cast<int>(items.size()) + 1));
    return place == items.size() ? "new " + std::to_string(i) : items[place].name;
  }

  void ChangeOnce(int i) {
    using enum ValueChange::What;
    auto data = Data();
    const auto subgroup = AnySubgroup();
    switch (Below(12)) {
      case 0:
        data.ChangeFlag({subgroup}, AnyTest(), Below(3), Why());
        return;
      case 1:
      case 2:
      case 3: {
        ValueChange change;
        change.what = std::array{Set, Add, Remove}[static_cast<std::size_t>(Below(3))];
        const auto test = AnyTest().value_or(1);
        change.tsno = Below(3);
        change.value = Below(2) == 0 ? Below(30) : Below(1000) / 7.0;
        if (Below(3) == 0) change.names["defect"] = AnyName(ItemKind::Defect, i);
        if (change.what == Add && Below(3) == 0)
          change.names["serial"] = AnyName(ItemKind::Serial, i);
        data.ChangeValue(subgroup, test, change, Why());
        return;
      }
      case 4: {
        SubgroupChange change;
        if (Below(2) == 0) change.label = "label " + std::to_string(Below(60));
        if (Below(2) == 0) change.time = 1'700'000'000 + Below(1'000'000);
        if (Below(3) == 0) change.context["lot"] = AnyName(ItemKind::Lot, i);
        data.ChangeSubgroups({subgroup}, {}, change, Why());
        return;
      }
      case 5: {
        SubgroupChange change;
        if (Below(2) == 0) change.size = 1 + Below(200) / 2.0;
        change.context["shift"] = Below(4) == 0 ? "" : AnyName(ItemKind::Shift, i);
        data.ChangeSubgroups({subgroup}, AnyTest(), change, Why());
        return;
      }
      case 6:
      case 7:
        for (const auto& each : data.DeleteSubgroups({subgroup}, AnyTest(), Why())) {
          taken_out_.push_back(each.version);
        }
        return;
      case 8:
      case 9: {
        auto entry = data.LogHead().seq - Below(30);
        if (Below(4) != 0 && !taken_out_.empty()) {
          const auto place = taken_out_.begin() + Below(static_cast<int>(taken_out_.size()));
          entry = *place;
          taken_out_.erase(place);
        }
        data.Restore(std::max<std::int64_t>(entry, 1), Why());
        return;
      }
      case 10: {
        const auto kind = std::array{ItemKind::Part, ItemKind::Test, ItemKind::Lot, ItemKind::Shift,
                                     ItemKind::Serial}[static_cast<std::size_t>(Below(5))];
        const auto from = AnyName(kind, i);
        if (Below(2) == 0) {
          data.Rename(kind, from, "name " + std::to_string(Below(40)), Why());
        } else {
          const auto items = data.Items(kind);
          const auto item = std::ranges::find(items, from, &ListedItem::name);
          data.SetActive(kind, from, item != items.end() && !item->active, Why());
        }
        return;
      }
      default: {
        const auto head = data.LogHead().seq;
        data.UndoImport(1 + Below(kFiles), Below(4) != 0, Why());
        for (auto entry = head + 1; entry < data.LogHead().seq; ++entry)
          taken_out_.push_back(entry);
        return;
      }
    }
  }

  // By the command that does the reverse.
  void TakeBack(const LogEntry& entry) {
    SCOPED_TRACE(std::to_string(entry.seq) + " " + entry.operation + " " + entry.object);
    std::int32_t subgroup = 0, test = 0;
    if (std::sscanf(entry.object.c_str(), "subgroup %d test %d", &subgroup, &test) == 2) {
      EXPECT_EQ(RefusalOf([&] {
                  if (entry.before.empty()) {
                    Data().DeleteSubgroups({subgroup}, test, Why());
                  } else {
                    Data().Restore(entry.seq, Why());
                  }
                }),
                "");
      return;
    }
    const auto before = log::ReadJson(entry.before), after = log::ReadJson(entry.after);
    const auto kind = ItemKindFromWord(entry.object.substr(0, entry.object.find(' ')));
    if (entry.operation == "rename") {
      EXPECT_EQ(RefusalOf([&] {
                  Data().Rename(*kind, after.value("name", ""), before.value("name", ""), Why());
                }),
                "");
    } else if (entry.operation == "activate" || entry.operation == "deactivate") {
      const auto id = std::stoi(entry.object.substr(entry.object.find(' ') + 1));
      const auto refusal = RefusalOf([&] {
        Data().SetActive(*kind, Data().Name(*kind, id), before.value("active", false), Why());
      });
      // A restored record may have brought the name back that its undone import left without use.
      EXPECT_TRUE(refusal.empty() || after.contains("undone")) << refusal;
    }
  }

  // Comments and descriptors, by what people know their subgroups by.
  std::multiset<std::string> Beside() {
    std::multiset<std::string> all;
    Opened()->ReadOrThrow([&](sql::Connection& db) {
      sql::Query comments(db,
                          "SELECT c.subgroup, coalesce(t.name, ''), c.tsno, c.time, c.note "
                          "FROM comment c LEFT JOIN test t ON t.id = c.test");
      while (comments.Step()) {
        all.insert("comment " + std::to_string(comments.Int(0)) + " " +
                   std::string(comments.Text(1)) + " " + std::to_string(comments.Int(2)) + " " +
                   std::to_string(comments.Int(3)) + " " + std::string(comments.Text(4)));
      }
      sql::Query descriptors(db,
                             "SELECT s.subgroup, d.name, s.tsno FROM subgroup_descriptor s "
                             "JOIN descriptor d ON d.id = s.descriptor");
      while (descriptors.Step()) {
        all.insert("descriptor " + std::to_string(descriptors.Int(0)) + " " +
                   std::string(descriptors.Text(1)) + " " + std::to_string(descriptors.Int(2)));
      }
    });
    return all;
  }
  // Those in use that values have.
  std::set<std::string> Names() {
    std::set<std::string> names;
    for (const auto kind : {ItemKind::Part, ItemKind::Process, ItemKind::Test, ItemKind::Lot,
                            ItemKind::Shift, ItemKind::Serial, ItemKind::Defect}) {
      for (const auto& each : Data().CountedItems(kind)) {
        if (each.active && each.subgroups != 0) {
          names.insert(std::string(WordOf(kind)) + " " + each.name);
        }
      }
    }
    return names;
  }
  void ExpectWhole() {
    LogCheckOptions options;
    options.with_data = true;
    const auto check = Data().VerifyLog(options);
    EXPECT_TRUE(check.finds.empty()) << check.finds.size() << " finds: " << check.finds.front();
    EXPECT_TRUE(QualityDatabase::Check(Path()).finds.empty());
  }

  std::mt19937 random_;
  std::vector<std::int64_t> taken_out_;  // entries that took records out
};

}  // namespace orvspc::engine::change
