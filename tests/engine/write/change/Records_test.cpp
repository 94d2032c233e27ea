// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>

#include "engine/write/log/Json.h"
#include "platform/TimeText.h"
#include "tests/engine/write/change/change_fixture.h"

namespace orvspc::engine::change {
namespace {

using catalogue::ItemKind;
using store::FlatSelection;

// 40 subgroups of two tests, so that some are sealed and some are hot.
class ChangeTest : public store::StoreTest {
 protected:
  static constexpr int kSubgroups = 40;

  ChangeTest() {
    std::string text = "part,process,test,subgroup,time,value,lot\n";
    for (int i = 1; i <= kSubgroups; ++i) {
      for (const char* test : {"T", "U"}) {
        for (int piece = 1; piece <= 3; ++piece) {
          text += std::string("A,P,") + test + "," + std::to_string(i) + "," + TimeOf(i) + "," +
                  std::to_string(i + piece) + ",L" + std::to_string(i % 3) + "\n";
        }
      }
    }
    Import(text);
    test_ = Id(ItemKind::Test, "T");
  }

  static std::string TimeOf(int i) {
    const auto two = [](int n) { return (n < 10 ? "0" : "") + std::to_string(n); };
    return "2024-01-" + two(1 + i / 24) + "T" + two(i % 24) + ":00:00Z";
  }
  // So many of another stream that the block of the first ones is sealed.
  void ImportMany() {
    for (int file = 0; file < 3; ++file) {
      std::string text = "part,process,test,subgroup,time,value\n";
      for (int i = 0; i < 250; ++i) {
        text +=
            "Z,P,T,m" + std::to_string(file) + "-" + std::to_string(i) + "," + TimeOf(i) + ",1\n";
      }
      Import(text);
    }
  }
  static ChangeOptions Why() { return BecauseOf("trial run"); }
  std::string Digest() { return DigestOf(Db()); }
  std::int64_t Head() {
    std::int64_t head = 0;
    Opened()->ReadOrThrow([&](sql::Connection& db) {
      head = sql::Query(db, "SELECT max(seq) FROM log").RunForInt().value_or(0);
    });
    return head;
  }
  // Of the latest entry.
  // Without the digest of the record, which has its own tests.
  std::string LatestAfter() {
    auto after = log::ReadJson(Latest("after"));
    EXPECT_EQ(after.value("digest", "").size(), 64U);
    after.erase("digest");
    return log::CanonicalText(after);
  }
  std::string Latest(const std::string& column) {
    std::string text;
    static const std::string kTexts[] = {"SELECT operation FROM log ORDER BY seq DESC LIMIT 1",
                                         "SELECT object FROM log ORDER BY seq DESC LIMIT 1",
                                         "SELECT before FROM log ORDER BY seq DESC LIMIT 1",
                                         "SELECT after FROM log ORDER BY seq DESC LIMIT 1"};
    const auto place = column == "operation" ? 0
                       : column == "object"  ? 1
                       : column == "before"  ? 2
                                             : 3;
    Opened()->ReadOrThrow([&](sql::Connection& db) {
      sql::Query query(db, kTexts[place]);
      if (query.Step()) text = query.Text(0);
    });
    return text;
  }
  std::vector<std::int32_t> EventTypesOf(std::int32_t type) {
    std::vector<std::int32_t> found;
    Opened()->ReadOrThrow([&](sql::Connection& db) {
      sql::Query query(db, "SELECT coalesce(subgroup_time, 0) FROM event WHERE type = ?1", type);
      while (query.Step()) found.push_back(query.Int(0));
    });
    return found;
  }
  std::vector<double> ValuesOf(std::int32_t subgroup) {
    FlatSelection all;
    const auto data = Select(all.info, all.Filter());
    for (const auto& each : data.subgroups) {
      if (each.Sgrp != subgroup || each.Test != test_) continue;
      return {data.values.begin() + each.Test_Start, data.values.begin() + each.Test_End + 1};
    }
    return {};
  }

  std::int32_t test_ = 0;
};

}  // namespace

TEST_F(ChangeTest, AFlagChangesInChunksAndHotRowsAlike) {
  for (const std::int32_t subgroup : {2, kSubgroups}) {
    const auto changed = Data().ChangeFlag({subgroup}, test_, sfDisabled, Why());
    ASSERT_EQ(changed.size(), 1U);
    EXPECT_EQ(changed[0].subgroup, subgroup);
    EXPECT_EQ(changed[0].test, test_);
    EXPECT_EQ(changed[0].version, Head());
    EXPECT_EQ(Latest("operation"), "edit-flag");
    EXPECT_EQ(Latest("object"),
              "subgroup " + std::to_string(subgroup) + " test " + std::to_string(test_));
    EXPECT_EQ(LatestAfter(), R"({"flag":"disabled"})");
  }
  FlatSelection all;
  const auto data = Select(all.info, all.Filter());
  EXPECT_EQ(std::ranges::count(data.subgroups, sfDisabled, &API_SubgroupData::Flag), 2);
  EXPECT_EQ(EventTypesOf(etSubgroupDisable).size(), 2U);
  EXPECT_NE(EventTypesOf(etSubgroupDisable)[0], 0);
  Data().ChangeFlag({2}, {}, sfEnabled, Why());
  EXPECT_EQ(EventTypesOf(etSubgroupEdit).size(), 2U) << "of both tests";
}

TEST_F(ChangeTest, AValueIsSetAddedAndRemoved) {
  using enum ValueChange::What;
  Data().ChangeValue(2, test_, {Set, 3, 0, 74.031}, Why());
  EXPECT_EQ(ValuesOf(2), (std::vector<double>{3, 4, 74.031}));
  EXPECT_EQ(LatestAfter(), R"({"tsno":3,"value":74.031})");
  const auto before = log::ReadJson(Latest("before"));
  EXPECT_EQ(before["label"], "2");
  EXPECT_EQ(before["pieces"].size(), 3U);
  EXPECT_EQ(before["context"]["lot"], "L2");
  Data().ChangeValue(2, test_, {Add, 0, 0, 5}, Why());
  EXPECT_EQ(ValuesOf(2), (std::vector<double>{3, 4, 74.031, 5}));
  Data().ChangeValue(2, test_, {Remove, 2, 0, 0}, Why());
  EXPECT_EQ(ValuesOf(2), (std::vector<double>{3, 74.031, 5}));
}

TEST_F(ChangeTest, ValuesThatCannotBeAreRefused) {
  using enum ValueChange::What;
  const auto change = [&](const ValueChange& each) {
    return RefusalOf([&] { Data().ChangeValue(2, test_, each, Why()); });
  };
  EXPECT_EQ(change({Set, 9, 0, 1}), "unknown: #2 T: there is no piece 9");
  EXPECT_EQ(change({Set, 1, 2, 1}), "unknown: #2 T: there is no piece 1, reading 2");
  EXPECT_EQ(change({Add, 2, 0, 1}), "stored: #2 T: piece 2 is there already");
  EXPECT_EQ(change({Set, 1, 0, 1e300}),
            "number: #2 T: value: 1e+300 is too large; values lie below 1e300");
  EXPECT_EQ(change({Set, 1, 0, std::numeric_limits<double>::quiet_NaN()}),
            "number: #2 T: value: nan is no number");
  Data().ChangeValue(2, test_, {Remove, 1, 0, 0}, Why());
  Data().ChangeValue(2, test_, {Remove, 2, 0, 0}, Why());
  EXPECT_EQ(change({Remove, 3, 0, 0}),
            "size: #2 T: it is the last value; edit delete takes the record out");
}

TEST_F(ChangeTest, WhatIsNotThereAndWhatHasNoReasonIsRefused) {
  EXPECT_EQ(RefusalOf([&] { Data().ChangeFlag({99}, {}, sfDisabled, Why()); }),
            "unknown: there is no subgroup #99");
  EXPECT_EQ(RefusalOf([&] { Data().ChangeFlag({2}, 99, sfDisabled, Why()); }),
            "unknown: #2 has no values of 99");
  const auto head = Head();
  EXPECT_EQ(RefusalOf([&] { Data().ChangeFlag({2}, {}, sfDisabled, {}); }),
            "reason: --reason: say why, in 3 to 500 characters");
  EXPECT_EQ(Head(), head);
}

TEST_F(ChangeTest, AVersionThatWasSeenMustStillHold) {
  const auto seen = Data().ChangeFlag({2}, test_, sfDisabled, Why())[0].version;
  auto options = Why();
  options.actor.by = "Bob";
  options.expected = seen;
  Data().ChangeFlag({2}, test_, sfIncomplete, options);
  const auto refusal = RefusalOf([&] { Data().ChangeFlag({2}, test_, sfEnabled, options); });
  EXPECT_TRUE(refusal.starts_with("conflict: #2 T was changed by Bob at 20")) << refusal;
  EXPECT_TRUE(refusal.ends_with(" (version " + std::to_string(seen + 1) + ", you saw " +
                                std::to_string(seen) + ")"))
      << refusal;
  EXPECT_EQ(Head(), seen + 1);
}

// The version is that of the entry which stored the record, whatever brought it.
TEST_F(ChangeTest, TheVersionOfARecordedAnswerIsThatOfItsRecord) {
  NewRecord record;
  record.part = "A";
  record.process = "P";
  record.test = "T";
  record.pieces = {{1, 0, 0, "", "", ""}, {2, 0, 0, "", "", ""}};
  auto other = record;
  other.test = "U";
  auto options = Why();
  std::int64_t version = 0;
  const auto expect = [&](std::int64_t seen) {
    options.expected = seen;
    return options;
  };
  const auto changes = [&](const Recorded& recorded, const std::string& test) {
    const auto id = recorded.subgroup, of = Id(ItemKind::Test, test);
    version = recorded.version;
    EXPECT_EQ(RefusalOf([&] {
                Data().ChangeFlag({id}, of, sfDisabled, expect(version - 1));
              }).substr(0, 9),
              "conflict:");
    Data().AddComment(id, of, 0, "seen", expect(version));
    version = Data().ChangeFlag({id}, of, sfDisabled, expect(version))[0].version;
    version =
        Data().ChangeValue(id, of, {ValueChange::What::Set, 1, 0, 5}, expect(version))[0].version;
    version = Data().DeleteSubgroups({id}, of, expect(version))[0].version;
    const auto back = Data().Restore(version, expect(version));
    EXPECT_GT(back[0].version, version);
  };
  changes(Data().Record(record, Why().actor), "T");
  record.label = other.label = "two tests";
  const std::vector<NewRecord> both = {record, other};
  const auto pair = Data().RecordSubgroup(both, Why().actor);
  EXPECT_EQ(pair[0].version, pair[1].version);
  changes(pair[1], "U");
  // The other one is as it was; together they are the newest one.
  const auto t = Id(ItemKind::Test, "T");
  Data().ChangeFlag({pair[0].subgroup}, t, sfDisabled, expect(pair[0].version));
  const auto newest = Head();
  EXPECT_EQ(RefusalOf([&] {
              Data().ChangeFlag({pair[0].subgroup}, {}, sfEnabled, expect(pair[0].version));
            }).substr(0, 12),
            "conflict: #4");
  EXPECT_EQ(Data().ChangeFlag({pair[0].subgroup}, {}, sfEnabled, expect(newest)).size(), 2U);
  // Tests that come one after the other.
  record.label = other.label = "one by one";
  record.time = other.time = Data().Record(record, Why().actor).time;
  const auto second = Data().Record(other, Why().actor);
  changes(second, "U");
  auto batch = Data().Begin(Why().actor, {});
  record.label = "batch";
  batch.Add(record);
  changes(batch.Commit().records[0], "T");
}

TEST_F(ChangeTest, ADryRunStoresNothing) {
  const auto digest = Digest();
  const auto head = Head();
  auto options = Why();
  options.dry_run = true;
  EXPECT_EQ(Data().DeleteSubgroups({2, 3}, {}, options).size(), 4U);
  EXPECT_EQ(Digest(), digest);
  EXPECT_EQ(Head(), head);
}

TEST_F(ChangeTest, WhatIsDeletedIsKeptByTheLogAndComesBack) {
  const auto digest = Digest();
  const auto count = [&] {
    FlatSelection all;
    return Select(all.info, all.Filter()).subgroups.size();
  };
  EXPECT_EQ(count(), 2U * kSubgroups);
  Data().DeleteSubgroups({2}, {}, Why());
  EXPECT_EQ(count(), 2U * kSubgroups - 2);
  EXPECT_EQ(EventTypesOf(etSubgroupDelete).size(), 2U);
  const auto entry = Head();
  EXPECT_NE(Digest(), digest);
  const auto again = RefusalOf([&] { Data().ChangeFlag({2}, {}, sfEnabled, Why()); });
  EXPECT_EQ(again, "unknown: #2 has no values");
  Data().Restore(entry, Why());
  EXPECT_EQ(Data().Restore(entry - 1, Why()).at(0).subgroup, 2);
  EXPECT_EQ(Digest(), digest);
}

TEST_F(ChangeTest, ADeletedSubgroupIsFoundAgainByWhatComesLater) {
  Data().DeleteSubgroups({2}, {}, Why());
  Import("part,process,test,subgroup,time,value\nA,P,T,2," + TimeOf(2) + ",7\n");
  EXPECT_EQ(ValuesOf(2), std::vector<double>{7}) << "no second one of that name";
}

TEST_F(ChangeTest, ADeletedSubgroupIsFoundAlsoAfterItsBlockIsSealed) {
  const auto values = ValuesOf(2);
  const auto deleted = Data().DeleteSubgroups({2}, {}, Why());
  ImportMany();
  const auto again = "part,process,test,subgroup,time,value\nA,P,T,2," + TimeOf(2) + ",7\n";
  EXPECT_EQ(Import(again).subgroups, 0);
  EXPECT_EQ(ValuesOf(2), std::vector<double>{7}) << "no second one of that name";
  Data().DeleteSubgroups({2}, {}, Why());
  for (const auto& each : deleted) Data().Restore(each.version, Why());
  EXPECT_EQ(ValuesOf(2), values);
}

// As former releases could leave it.
TEST_F(ChangeTest, NothingIsRestoredBesideAnotherSubgroupOfItsLabelAndTime) {
  const auto deleted = Data().DeleteSubgroups({2}, {}, Why());
  ImportMany();
  Opened()->Write([](sql::Connection& db) { db.Execute("DELETE FROM subgroup WHERE id = 2"); });
  const auto again = "part,process,test,subgroup,time,value\nA,P,T,2," + TimeOf(2) + ",7\n";
  EXPECT_EQ(Import(again).subgroups, 1);
  const auto there = Data().FindSubgroups("A", {}, "2", {}).at(0);
  EXPECT_EQ(RefusalOf([&] { Data().Restore(deleted.at(0).version, Why()); }),
            "stored: #" + std::to_string(there) + " has this label and time already");
  Data().DeleteSubgroups({there}, {}, Why());
  EXPECT_EQ(Data().Restore(deleted.at(0).version, Why()).at(0).subgroup, 2);
}

TEST_F(ChangeTest, LabelAndTimeAreThoseOfTheWholeSubgroup) {
  SubgroupChange change;
  change.label = "second";
  change.time = 1'600'000'000;
  EXPECT_EQ(RefusalOf([&] { Data().ChangeSubgroups({2}, test_, change, Why()); }),
            "test: label and time are those of the whole subgroup; leave --test out");
  EXPECT_EQ(Data().ChangeSubgroups({2}, {}, change, Why()).size(), 2U);
  EXPECT_EQ(Data().SubgroupLabel(2), "second");
  EXPECT_EQ(Data().FindSubgroups("A", "P", "second", 1'600'000'000), std::vector{2});
  EXPECT_EQ(ValuesOf(2).size(), 3U);
  change.time.reset();
  EXPECT_EQ(RefusalOf([&] {
              SubgroupChange same;
              same.label = "3";
              same.time = *platform::ParseIsoTime(TimeOf(3));
              Data().ChangeSubgroups({2}, {}, same, Why());
            }),
            "stored: #3 has this label and time already");
}

TEST_F(ChangeTest, EventsThatLeaveSomethingOpenMoveWithTheirSubgroup) {
  Import("part,process,test,subgroup,time,value\nZ,P,T,z," + TimeOf(3) + ",1\nA,Q,V,q," +
         TimeOf(4) + ",1\n");
  const struct {
    int subgroup;
    const char* of;  // part, process and test
    bool moves;
  } events[] = {
      {2, "A,P,T", true},  {2, "A,P,", true}, {2, "A,,", true},   {2, ",P,", true},
      {2, ",,T", true},    {2, ",,", true},   {2, "Z,P,", false}, {2, "A,Q,", false},
      {2, "A,P,V", false}, {3, "A,P,", true}, {3, "A,,T", true},  {3, ",,U", true},
      {3, ",,T", false},   {3, ",P,", false}, {3, ",,", false},   {4, ",P,", true},
      {4, "A,P,T", true},  {4, ",,T", true},  {4, "A,,", false},  {4, ",,", false},
  };
  std::string text = "type,time,name,part,process,test,subgroup-time\n";
  for (std::size_t i = 0; i < std::size(events); ++i) {
    text += "general," + TimeOf(30) + ",e" + std::to_string(i) + "," + events[i].of + "," +
            TimeOf(events[i].subgroup) + "\n";
  }
  Import(text, ImportKind::Events);
  const auto stamp = [](int i) { return platform::ParseIsoTime(TimeOf(i)).value_or(0); };
  SubgroupChange change;
  for (const int i : {2, 3, 4}) {
    change.time = static_cast<std::int32_t>(stamp(i)) + 60;
    Data().ChangeSubgroups({i}, {}, change, Why());
  }
  std::size_t moved = 0;
  for (const auto& each : Data().EventsOfSubgroups(stamp(1), stamp(9))) {
    const auto name = Data().Name(ItemKind::EventName, each.name);
    if (!name.starts_with("e")) continue;  // of the changes
    const auto& event = events[std::stoul(name.substr(1))];
    EXPECT_EQ(each.subgroup_time, stamp(event.subgroup) + (event.moves ? 60 : 0))
        << event.of << " at the time of " << event.subgroup;
    ++moved;
  }
  EXPECT_EQ(moved, std::size(events));
}

TEST_F(ChangeTest, ADeletedSubgroupLeavesItsLabelAndTime) {
  const auto digest = Digest();
  const auto deleted = Data().DeleteSubgroups({4}, {}, Why());
  SubgroupChange change;
  change.label = "4";
  change.time = *platform::ParseIsoTime(TimeOf(4));
  const auto moved = Data().ChangeSubgroups({5}, {}, change, Why());
  EXPECT_EQ(Data().SubgroupLabel(5), "4");
  EXPECT_EQ(RefusalOf([&] { Data().Restore(deleted.at(0).version, Why()); }),
            "stored: #5 has this label and time already");
  Data().Restore(moved.at(0).version, Why());
  for (const auto& each : deleted) Data().Restore(each.version, Why());
  EXPECT_EQ(Data().SubgroupLabel(4), "4");
  EXPECT_EQ(Digest(), digest);
}

TEST_F(ChangeTest, WhatARestoredRecordWasIsWhatItsMoveLeft) {
  const auto flagged = Data().ChangeFlag({5}, test_, sfDisabled, Why()).at(0).version;
  SubgroupChange change;
  change.time = 1'600'000'000;
  Data().ChangeSubgroups({5}, {}, change, Why());
  Data().Restore(flagged, Why());
  const auto before = log::ReadJson(Latest("before"));
  EXPECT_EQ(before["changed"], Head() - 2) << "the move of this test, before that of the other";
  EXPECT_EQ(before["time"], TimeOf(5));
  EXPECT_EQ(before["flag"], sfDisabled);
  Data().Restore(Head(), Why());
  EXPECT_EQ(Data().FindSubgroups("A", "P", "5", *platform::ParseIsoTime(TimeOf(5))), std::vector{5})
      << "it changed the flag, so it moves nothing";
}

TEST_F(ChangeTest, WhoAndWhereChangeByName) {
  SubgroupChange change;
  change.context = {{"lot", "L1"}};
  Data().ChangeSubgroups({2}, {}, change, Why());
  EXPECT_EQ(LatestAfter(), R"({"context":{"lot":"L1"}})");
  change.context = {{"lot", ""}};
  Data().ChangeSubgroups({2}, {}, change, Why());
  EXPECT_EQ(log::ReadJson(Latest("before"))["context"]["lot"], "L1");
  change.context = {{"lot", "L9"}, {"shift", "night"}};
  Data().ChangeSubgroups({2}, {}, change, Why());
  EXPECT_EQ(LatestAfter(), R"({"context":{"lot":"L9","shift":"night"}})");
  EXPECT_TRUE(Data().Find(ItemKind::Lot, "L9").has_value()) << "new names are added";
  EXPECT_TRUE(Data().Find(ItemKind::Shift, "night").has_value());
  change.context = {{"lot", "L\n9"}};
  EXPECT_EQ(RefusalOf([&] { Data().ChangeSubgroups({2}, {}, change, Why()); }),
            "name: lot: must be 1 to 255 bytes of text without control characters");
  Data().SetActive(ItemKind::Lot, "L9", false, Why());
  change.context = {{"lot", "L9"}};
  EXPECT_EQ(RefusalOf([&] { Data().ChangeSubgroups({2}, {}, change, Why()); }).substr(0, 39),
            "inactive: lot: \"L9\" is deactivated sinc");
  change.context = {{"colour", "red"}};
  EXPECT_EQ(RefusalOf([&] { Data().ChangeSubgroups({2}, {}, change, Why()); }),
            "unknown: a subgroup has no colour");
}

TEST_F(ChangeTest, AnEntryThatIsNotAboutValuesBringsNothingBack) {
  EXPECT_EQ(RefusalOf([&] { Data().Restore(999, Why()); }), "entry: entry 999 is not in the log");
  EXPECT_EQ(RefusalOf([&] { Data().Restore(1, Why()); }),
            "entry: entry 1 is about database, not about values");
}

// Whatever was done, undoing it from the newest entry on gives what was there.
TEST_F(ChangeTest, RestoringEverythingNewestFirstGivesTheFirstValues) {
  using enum ValueChange::What;
  const auto digest = Digest();
  const auto first = Head();
  std::mt19937 random(3);
  const auto below = [&](int n) {
    return static_cast<std::int32_t>(random() % static_cast<unsigned>(n));
  };
  for (int i = 0; i < 200; ++i) {
    const std::int32_t subgroup = 1 + below(kSubgroups);
    const auto edit = [&]() -> std::vector<ChangedRecord> {
      switch (below(6)) {
        case 0:
          return Data().ChangeFlag({subgroup}, below(2) == 0 ? std::optional(test_) : std::nullopt,
                                   below(3), Why());
        case 1:
          return Data().ChangeValue(subgroup, test_, {Set, 1 + below(3), 0, below(1000) / 7.0},
                                    Why());
        case 2:
          return Data().ChangeValue(subgroup, test_, {Add, 0, 0, below(1000) / 7.0}, Why());
        case 3:
          return Data().ChangeValue(subgroup, test_, {Remove, 1 + below(3), 0, 0}, Why());
        case 4: {
          SubgroupChange change;
          change.label = "new " + std::to_string(i);
          change.time = 1'700'000'000 + below(1'000'000);
          return Data().ChangeSubgroups({subgroup}, {}, change, Why());
        }
        default:
          return Data().DeleteSubgroups({subgroup},
                                        below(2) == 0 ? std::optional(test_) : std::nullopt, Why());
      }
    };
    RefusalOf([&] { edit(); });
  }
  const auto last = Head();
  EXPECT_GT(last, first + 150);
  for (auto entry = last; entry > first; --entry) Data().Restore(entry, Why());
  EXPECT_EQ(Digest(), digest);
}

TEST_F(ChangeTest, CommentsComeChangeAndGo) {
  const auto id = Data().AddComment(2, test_, 0, "new tool", {});
  EXPECT_EQ(Latest("operation"), "comment-add");
  Data().ChangeComment(id, "old tool", Why());
  EXPECT_EQ(log::ReadJson(Latest("before"))["text"], "new tool");
  EXPECT_EQ(EventTypesOf(etSubgroupEdit).size(), 1U);
  EXPECT_EQ(RefusalOf([&] { Data().ChangeComment(id, "", Why()); }),
            "text: a comment has 1 to 4000 characters, this one 0");
  EXPECT_EQ(RefusalOf([&] { Data().AddComment(2, 0, 0, std::string(4001, 'x'), {}); }),
            "text: a comment has 1 to 4000 characters, this one 4001");
  EXPECT_EQ(RefusalOf([&] { Data().AddComment(9999, 0, 0, "of none", {}); }),
            "unknown: there is no subgroup #9999");
  EXPECT_EQ(RefusalOf([&] { Data().AddComment(2, 9999, 0, "of none", {}); }),
            "unknown: #2 has no values of this test");
  auto options = Why();
  options.expected = 1;
  EXPECT_TRUE(RefusalOf([&] {
                Data().RemoveComment(id, options);
              }).starts_with("conflict: comment " + std::to_string(id) + " was changed by Ann"));
  Data().RemoveComment(id, Why());
  EXPECT_EQ(RefusalOf([&] { Data().RemoveComment(id, Why()); }),
            "unknown: there is no comment " + std::to_string(id));
}

TEST_F(ChangeTest, CommentsThatWereChangedOrRemovedComeBack) {
  const auto id = Data().AddComment(2, test_, 3, "new tool", Why());
  const std::int32_t subgroups[] = {2};
  const auto first = Data().Comments(subgroups).at(0);
  const auto added = Head();
  auto bob = Why();
  bob.actor.by = "Bob";
  Data().ChangeComment(id, "old tool", bob);
  const auto edited = Head();
  Data().RemoveComment(id, bob);
  const auto removed = Head();
  EXPECT_EQ(RefusalOf([&] { Data().Restore(edited, bob); }),
            "unknown: there is no comment " + std::to_string(id));
  const auto restored = Data().Restore(removed, bob);
  ASSERT_EQ(restored.size(), 1U) << "the comment, and no record";
  EXPECT_EQ(restored[0].comment, id);
  EXPECT_EQ(restored[0].version, Head());
  EXPECT_EQ(std::tuple(restored[0].subgroup, restored[0].test, restored[0].label),
            std::tuple(2, test_, std::string("2")));
  EXPECT_EQ(Latest("operation"), "restore");
  EXPECT_EQ(Latest("object"), "comment " + std::to_string(id));
  EXPECT_EQ(RefusalOf([&] { Data().Restore(removed, bob); }),
            "stored: comment " + std::to_string(id) + " is there already");
  EXPECT_EQ(Data().Comments(subgroups).at(0).note, "old tool");
  Data().Restore(edited, bob);
  EXPECT_EQ(log::ReadJson(Latest("before"))["text"], "old tool");
  const auto back = Data().Comments(subgroups).at(0);
  EXPECT_EQ(back.id, id);
  EXPECT_EQ(std::tuple(back.note, back.employee, back.time, back.test, back.tsno),
            std::tuple(std::string("new tool"), first.employee, first.time, test_, 3));
  EXPECT_EQ(RefusalOf([&] { Data().Restore(added, bob); }),
            "entry: entry " + std::to_string(added) +
                " stored this comment first; comment remove takes it out");
}

TEST_F(ChangeTest, ACommentIsOfWhatIsThere) {
  EXPECT_EQ(RefusalOf([&] { Data().AddComment(2, 0, 3, "of which test", {}); }),
            "test: piece 3 is a piece of which test?");
  EXPECT_EQ(RefusalOf([&] { Data().AddComment(2, test_, 99, "of none", {}); }),
            "unknown: #2 has no piece 99 of this test");
  Data().DeleteSubgroups({2}, {}, Why());
  EXPECT_EQ(RefusalOf([&] { Data().AddComment(2, 0, 0, "of none", {}); }),
            "unknown: #2 has no values");
}

TEST_F(ChangeTest, ListsHaveTheVersionsThatChangesExpect) {
  EXPECT_EQ(Data().Imports().at(0).version, Head());
  EXPECT_EQ(Data().Items(ItemKind::Part).at(0).version, 0);
  Data().Rename(ItemKind::Part, "A", "B", Why());
  auto options = Why();
  options.expected = Data().Items(ItemKind::Part).at(0).version;
  EXPECT_EQ(options.expected, Head());
  Data().Rename(ItemKind::Part, "B", "A", options);
  EXPECT_EQ(Data().SettingVersion("patience"), 0);
  Data().ChangeSetting("patience", "30", Why());
  EXPECT_EQ(Data().SettingVersion("patience"), Head());
  Import("part,process,test,mean,sp\nA,P,T,5,1\n", ImportKind::ControlLimits);
  EXPECT_EQ(Data().ListLimits().at(0).version, 0);
  Data().RetireLimits(Data().ListLimits().at(0).id, static_cast<std::int32_t>(CurrentTime()),
                      Why());
  options.expected = Data().ListLimits().at(0).version;
  EXPECT_EQ(options.expected, Head());
  Data().VoidLimits(Data().ListLimits().at(0).id, options);
}

TEST_F(ChangeTest, AFormerNameIsStillUnderstood) {
  const auto id = Id(ItemKind::Part, "A");
  Data().Rename(ItemKind::Part, "A", "B", Why());
  EXPECT_EQ(Id(ItemKind::Part, "B"), id);
  EXPECT_EQ(Data().FindSubgroups("A", "P", "2", {}), std::vector{2});
  EXPECT_EQ(EventTypesOf(etGeneral).size(), 1U);
  EXPECT_EQ(RefusalOf([&] { Data().Rename(ItemKind::Part, "A", "C", Why()); }),
            "unknown: there is no part \"A\"");
  EXPECT_EQ(RefusalOf([&] { Data().Rename(ItemKind::Test, "T", "U", Why()); }),
            "name: there is a test \"U\" already; edit merge joins the two");
  Data().Rename(ItemKind::Part, "B", "A", Why());
  EXPECT_EQ(Id(ItemKind::Part, "A"), id);
}

TEST_F(ChangeTest, ItemsAreDeactivatedAndComeBack) {
  Data().SetActive(ItemKind::Process, "P", false, Why());
  EXPECT_FALSE(Data().Items(ItemKind::Process).at(0).active);
  EXPECT_EQ(RefusalOf([&] { Data().SetActive(ItemKind::Process, "P", false, Why()); }),
            "inactive: \"P\" is deactivated already");
  Data().SetActive(ItemKind::Process, "P", true, Why());
  EXPECT_TRUE(Data().Items(ItemKind::Process).at(0).active);
}

}  // namespace orvspc::engine::change
