// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <set>

#include "engine/write/log/Json.h"
#include "tests/engine/write/change/change_fixture.h"

namespace orvspc::engine::change {
namespace {

using catalogue::ItemKind;

// "part A" and so on of all names in use.
std::set<std::string> NamesInUse(const QualityDatabase& data) {
  std::set<std::string> names;
  for (const auto kind : {ItemKind::Part, ItemKind::Process, ItemKind::Test, ItemKind::Lot,
                          ItemKind::Shift, ItemKind::Serial, ItemKind::Defect, ItemKind::Gage}) {
    for (const auto& each : data.Items(kind)) {
      if (each.active) names.insert(std::string(WordOf(kind)) + " " + each.name);
    }
  }
  return names;
}

class BatchesTest : public store::StoreTest {
 protected:
  static ChangeOptions Why() { return BecauseOf("wrong file"); }
  static ImportOptions ForAReason() {
    ImportOptions options;
    options.reason = "tool broke";
    return options;
  }
  UndoReport Undo(std::int64_t batch, bool keep_changed = false) {
    return Data().UndoImport(batch, keep_changed, Why());
  }
  // Objects of such entries.
  std::multiset<std::string> OfOperation(const std::string& operation) {
    std::multiset<std::string> objects;
    for (const auto& entry : Data().Log()) {
      if (entry.operation == operation) objects.insert(entry.object);
    }
    return objects;
  }
  std::int64_t CountOf(const std::string& table) {
    static const std::string kComments = "SELECT count(*) FROM comment",
                             kDescriptors = "SELECT count(*) FROM subgroup_descriptor",
                             kDeletions = "SELECT count(*) FROM event WHERE type = 5";
    std::int64_t count = 0;
    Opened()->ReadOrThrow([&](sql::Connection& db) {
      const auto& text = table == "comment"               ? kComments
                         : table == "subgroup_descriptor" ? kDescriptors
                                                          : kDeletions;
      count = sql::Query(db, text).RunForInt().value_or(-1);
    });
    return count;
  }
  void ExpectWhole() {
    LogCheckOptions options;
    options.with_data = true;
    EXPECT_TRUE(Data().VerifyLog(options).finds.empty());
  }

  const std::string kFirst =
      "part,process,test,subgroup,time,value,lot\n"
      "A,P,T,1,2024-01-01,1,L1\nA,P,T,1,2024-01-01,2,L1\nA,P,T,2,2024-01-02,3,L1\n";
  const std::string kSecond =
      "part,process,test,subgroup,time,value,lot,gage,comment,descriptor:Colour\n"
      "A,P,T,3,2024-01-03,4,L1,G,note,red\nA,P,U,1,2024-01-01,5,L2,,tick,blue\n"
      "B,P,T,4,2024-01-04,6,L2,,,\n";
};

}  // namespace

TEST_F(BatchesTest, ImportsAreListedTheNewestFirst) {
  EXPECT_TRUE(Data().Imports().empty());
  ImportOptions options;
  options.actor.by = "Bob";
  Import(kFirst, ImportKind::Values, options);
  Import("part,test,usl\nA,T,9\n", ImportKind::Limits);
  const auto imports = Data().Imports();
  ASSERT_EQ(imports.size(), 2U);
  EXPECT_EQ(imports[0].kind, "limits");
  EXPECT_EQ(imports[1].kind, "values");
  EXPECT_EQ(imports[1].who, "Bob");
  EXPECT_EQ(imports[1].source, folder_.File("in.csv"));
  EXPECT_EQ(imports[1].lines, 3);
  EXPECT_EQ(imports[1].records, 2);
  EXPECT_EQ(imports[1].state, "stored");
  EXPECT_LT(std::abs(imports[1].made - CurrentTime()), 600);
}

TEST_F(BatchesTest, UndoingTakesOutWhatWasAdded) {
  Import(kFirst);
  const auto digest = DigestOf(Db());
  const auto names = NamesInUse(Data());
  const auto batch = Import(kSecond).batch;
  EXPECT_EQ(CountOf("comment"), 2);
  EXPECT_EQ(CountOf("subgroup_descriptor"), 2);
  const auto report = Undo(batch);
  EXPECT_EQ(report.records, 3);
  EXPECT_EQ(report.kept, 0);
  EXPECT_EQ(report.names, 4) << "part B, test U, lot L2, gage G";
  EXPECT_EQ(DigestOf(Db()), digest);
  EXPECT_EQ(NamesInUse(Data()), names);
  EXPECT_EQ(CountOf("comment"), 0);
  EXPECT_EQ(CountOf("subgroup_descriptor"), 0) << "also of #1, which has values still";
  EXPECT_EQ(CountOf("event"), 1);
  EXPECT_EQ(Data().Imports()[0].state, "undone");
  const auto latest = Data().Log().back();
  EXPECT_EQ(latest.operation, "undo");
  EXPECT_EQ(latest.object, "batch " + std::to_string(batch));
  EXPECT_EQ(latest.after, R"({"state":"undone","records":3})");
  ExpectWhole();
}

TEST_F(BatchesTest, WhatCannotBeUndoneIsRefused) {
  const auto batch = Import(kFirst).batch;
  EXPECT_EQ(RefusalOf([&] { Undo(99); }), "unknown: there is no batch 99");
  const auto limits = Import("part,test,usl\nA,T,9\n", ImportKind::Limits).batch;
  EXPECT_EQ(RefusalOf([&] { Undo(limits); }),
            "kind: batch " + std::to_string(limits) +
                " is an import of limits; only values, records, flags and comments can be undone");
  EXPECT_EQ(RefusalOf([&] { Data().UndoImport(batch, false, {}); }),
            "reason: --reason: say why, in 3 to 500 characters");
  Undo(batch);
  EXPECT_EQ(RefusalOf([&] { Undo(batch); }),
            "undone: batch " + std::to_string(batch) + " is undone already");
}

TEST_F(BatchesTest, WhatWasChangedSinceIsListedAndMayBeKept) {
  const auto batch = Import(kFirst).batch;
  const auto entry = Data().ChangeFlag({1}, {}, sfDisabled, Why())[0].version;
  EXPECT_EQ(RefusalOf([&] { Undo(batch); }), "changed: batch " + std::to_string(batch) +
                                                 ": 1 of 2 records were changed since (entries " +
                                                 std::to_string(entry) +
                                                 "); --keep-changed leaves these");
  const auto report = Undo(batch, true);
  EXPECT_EQ(report.records, 1);
  EXPECT_EQ(report.kept, 1);
  EXPECT_EQ(report.names, 0);
  EXPECT_EQ(Data().CountedItems(ItemKind::Test)[0].subgroups, 1);
}

TEST_F(BatchesTest, AnImportIsUndoneAfterThatOfItsFlags) {
  Import(kFirst);
  const auto digest = DigestOf(Db());
  const auto names = NamesInUse(Data());
  const auto values = Import(kSecond).batch;
  const auto flags =
      Import("flag,subgroup\ndisabled,#3\ndisabled,#4\n", ImportKind::Flags, ForAReason()).batch;
  Data().Rename(ItemKind::Lot, "L2", "Lot 2", Why());
  Undo(flags);
  Data().Merge(ItemKind::Lot, "Lot 2", "L1", Why());
  const auto report = Undo(values);
  EXPECT_EQ(report.records, 3);
  EXPECT_EQ(report.kept, 0);
  EXPECT_EQ(DigestOf(Db()), digest);
  EXPECT_EQ(NamesInUse(Data()), names);
  ExpectWhole();
}

TEST_F(BatchesTest, WhatWasChangedBackCountsAsUnchanged) {
  const auto batch = Import(kFirst).batch;
  const auto test = Id(ItemKind::Test, "T");
  const auto deleted = Data().DeleteSubgroups({1}, test, Why()).at(0).version;
  Data().Restore(deleted, Why());
  Data().ChangeValue(2, test, {ValueChange::What::Set, 1, 0, 7}, Why());
  const auto changed = Data().LogHead().seq;
  Data().ChangeFlag({2}, {}, sfDisabled, Why());
  const auto entry = Data().ChangeFlag({2}, {}, sfEnabled, Why()).at(0).version;
  EXPECT_EQ(RefusalOf([&] { Undo(batch); }), "changed: batch " + std::to_string(batch) +
                                                 ": 1 of 2 records were changed since (entries " +
                                                 std::to_string(entry) +
                                                 "); --keep-changed leaves these")
      << "the value is another one, whatever the flag is";
  Data().Restore(changed, Why());
  SubgroupChange elsewhere;
  elsewhere.label = "somewhere else";
  Data().ChangeSubgroups({1}, {}, elsewhere, Why());
  EXPECT_NE(RefusalOf([&] { Undo(batch); }).find(": 1 of 2 records"), std::string::npos);
  elsewhere.label = "1";
  Data().ChangeSubgroups({1}, {}, elsewhere, Why());
  const auto report = Undo(batch);
  EXPECT_EQ(report.records, 2);
  EXPECT_EQ(report.kept, 0);
  EXPECT_TRUE(NamesInUse(Data()).empty());
  ExpectWhole();
}

TEST_F(BatchesTest, AnImportOfWhichAllWasChangedIsNotUndone) {
  const auto batch = Import(kFirst).batch;
  const auto changed = Data().ChangeFlag({1, 2}, {}, sfDisabled, Why());
  ASSERT_EQ(changed.size(), 2U);
  const auto flags =
      Import("flag,subgroup\nincomplete,#1\n", ImportKind::Flags, ForAReason()).batch;
  const auto entry = Data().ChangeFlag({1}, {}, sfDisabled, Why()).at(0).version;
  const auto head = Data().LogHead().seq;
  for (const bool keep_changed : {false, true}) {
    EXPECT_EQ(RefusalOf([&] { Undo(batch, keep_changed); }),
              "changed: batch " + std::to_string(batch) +
                  ": 2 of 2 records were changed since (entries " +
                  std::to_string(changed[1].version) + ", " + std::to_string(entry) +
                  "); no other is left to undo");
    EXPECT_EQ(RefusalOf([&] { Undo(flags, keep_changed); }),
              "changed: batch " + std::to_string(flags) +
                  ": 1 of 1 record was changed since (entries " + std::to_string(entry) +
                  "); no other is left to undo");
  }
  for (const auto& each : Data().Imports()) EXPECT_EQ(each.state, "stored") << each.id;
  EXPECT_EQ(Data().LogHead().seq, head);
}

TEST_F(BatchesTest, ADryRunUndoesNothing) {
  const auto batch = Import(kFirst).batch;
  const auto digest = DigestOf(Db());
  auto options = Why();
  options.dry_run = true;
  EXPECT_EQ(Data().UndoImport(batch, false, options).records, 2);
  EXPECT_EQ(DigestOf(Db()), digest);
  EXPECT_EQ(Data().Imports()[0].state, "stored");
}

TEST_F(BatchesTest, TheEntriesOfAnUndoBringRecordsBackWithTheirTexts) {
  Import(kFirst);
  const auto batch = Import(kSecond).batch;
  const auto digest = DigestOf(Db());
  Undo(batch);
  auto log = Data().Log();
  std::ranges::reverse(log);
  for (const auto& entry : log) {
    if (entry.operation == "delete") Data().Restore(entry.seq, Why());
  }
  EXPECT_EQ(DigestOf(Db()), digest);
  EXPECT_EQ(CountOf("comment"), 2);
  EXPECT_EQ(CountOf("subgroup_descriptor"), 2);
}

TEST_F(BatchesTest, CommentsThatPeopleWroteStay) {
  const auto batch = Import(kSecond).batch;
  Data().AddComment(1, Id(ItemKind::Test, "T"), 0, "who was here", {});
  Undo(batch);
  EXPECT_EQ(CountOf("comment"), 1);
}

TEST_F(BatchesTest, AnUndoneFileIsImportedAgain) {
  const auto batch = Import(kFirst).batch;
  const auto digest = DigestOf(Db());
  const auto names = NamesInUse(Data());
  Undo(batch);
  EXPECT_TRUE(NamesInUse(Data()).empty());
  Import(kFirst);
  EXPECT_EQ(DigestOf(Db()), digest);
  EXPECT_EQ(NamesInUse(Data()), names);
  Data().SetActive(ItemKind::Lot, "L1", false, Why());
  Import("part,process,test,subgroup,time,value,lot\nA,P,T,9,2024-01-09,1,L1\n");
  EXPECT_FALSE(NamesInUse(Data()).contains("lot L1")) << "somebody wanted it so";
}

TEST_F(BatchesTest, WhatWasUndoneIsNewToTheNextFile) {
  const std::string file =
      "part,process,test,subgroup,time,value,lot\n"
      "A,P,T,1,2024-01-01,1,L1\nRing,P,T,1,2024-01-01,1,L1\n";
  const auto words = [](const ImportReport& report) {
    std::string text = std::to_string(report.new_names) + ":";
    for (const auto& each : report.new_items) {
      text += " " + std::string(WordOf(each.kind)) + " " + each.name +
              (each.similar.empty() ? "" : " (" + each.similar + ")");
    }
    return text;
  };
  const auto first = Import(file);
  EXPECT_EQ(words(first), "5: part A process P test T part Ring");
  Undo(first.batch);
  const auto refusal = [&](const std::string& text, ImportKind kind, bool no_create = false) {
    ImportOptions options;
    options.reason = "tool broke";
    options.refuse_new_items = no_create;
    return store::FailureOf([&] { Import(text, kind, options); });
  };
  EXPECT_NE(refusal(file, ImportKind::Values, true).find("there is no part \"A\""),
            std::string::npos);
  const std::string limits = "part,test,usl\nA,T,9\n";
  EXPECT_NE(refusal(limits, ImportKind::Limits, true).find("there is no part \"A\""),
            std::string::npos);
  const std::string missing = "is not in the database";
  EXPECT_NE(refusal("flag,part,label\ndisabled,A,1\n", ImportKind::Flags).find(missing),
            std::string::npos);
  EXPECT_NE(refusal("comment,subgroup,test\nnew tool,#1,T\n", ImportKind::Comments).find(missing),
            std::string::npos);
  EXPECT_NE(refusal("test,number,on\nT,1,yes\n", ImportKind::Alarms).find("nothing of this name"),
            std::string::npos);
  EXPECT_EQ(words(Import(limits, ImportKind::Limits)), "2: part A test T");
  EXPECT_EQ(refusal(limits, ImportKind::Limits, true), "") << "in use since";
  EXPECT_EQ(words(Import("part,process,test,subgroup,time,value\nRing,P,T,1,2024-01-01,1\n"
                         "Rings,P,T,1,2024-01-01,1\n")),
            "3: part Ring process P part Rings")
      << "names of one file are not taken for each other";
}

TEST_F(BatchesTest, NamesThatWereThereBeforeStayInUse) {
  Import("part,factor\nA,2\n", ImportKind::Parts);
  const auto names = NamesInUse(Data());
  const auto first = Import(kFirst).batch;
  const auto second =
      Import("part,process,test,subgroup,time,value,lot\nA,P,T,9,2024-01-09,1,L1\n").batch;
  EXPECT_EQ(Undo(first).names, 0) << "the second one has the others";
  EXPECT_EQ(Undo(second).names, 3) << "which nothing but the first one brought";
  EXPECT_EQ(NamesInUse(Data()), names) << "part A";
}

TEST_F(BatchesTest, ANameThatSomebodyDeactivatedIsNotedByImports) {
  Import(kFirst);
  Data().SetActive(ItemKind::Part, "A", false, Why());
  const auto report = Import("part,process,test,subgroup,time,value\nA,P,T,9,2024-01-09,1\n");
  ASSERT_FALSE(report.notes.empty());
  EXPECT_EQ(report.notes[0].code, "inactive");
  EXPECT_TRUE(report.notes[0].text.starts_with("\"A\" is deactivated since 20"));
  EXPECT_TRUE(report.notes[0].text.ends_with("; orvspc edit activate part takes it back"));
}

// What came with one import goes, what another or a record brought, too, stays.
TEST_F(BatchesTest, DescriptorsOfSharedSubgroupsGoWithTheImportThatBroughtThem) {
  const auto line = [](const char* test, const char* colour) {
    return std::string("part,process,test,subgroup,time,value,descriptor:Colour\nA,P,") + test +
           ",1,2024-01-01,1," + colour + "\n";
  };
  const auto red = Import(line("T", "red")).batch;
  const auto both = Import(line("U", "red")).batch;
  const auto blue = Import(line("V", "blue")).batch;
  EXPECT_EQ(CountOf("subgroup_descriptor"), 2);
  Undo(blue);
  EXPECT_EQ(CountOf("subgroup_descriptor"), 1);
  Undo(red);
  EXPECT_EQ(CountOf("subgroup_descriptor"), 1) << "the other import brought it, too";
  const auto seq = Data().Log().back().seq;
  Undo(both);
  EXPECT_EQ(CountOf("subgroup_descriptor"), 0);
  for (const auto& entry : Data().Log()) {
    if (entry.seq > seq && entry.operation == "delete") Data().Restore(entry.seq, Why());
  }
  EXPECT_EQ(CountOf("subgroup_descriptor"), 1);
  ExpectWhole();
}

TEST_F(BatchesTest, DescriptorsOfADeletedRecordComeBackAlsoAfterAnUndo) {
  const auto first = Import(
                         "part,process,test,subgroup,time,value,descriptor:Colour\n"
                         "A,P,T,1,2024-01-01,1,red\nA,P,T,9,2024-01-09,1,\n")
                         .batch;
  const auto second = Import(kSecond).batch;
  const auto test = Id(ItemKind::Test, "T");
  const auto entry = Data().DeleteSubgroups({1}, test, Why()).at(0).version;
  EXPECT_EQ(Undo(second).records, 3);
  Data().Restore(entry, Why());
  EXPECT_EQ(CountOf("subgroup_descriptor"), 1) << "red of the first import, which stands";
  const auto again = Data().DeleteSubgroups({1}, test, Why()).at(0).version;
  const auto report = Undo(first, true);
  EXPECT_EQ(report.records, 1);
  EXPECT_EQ(report.kept, 1);
  EXPECT_EQ(CountOf("subgroup_descriptor"), 0);
  Data().Restore(again, Why());
  EXPECT_EQ(CountOf("subgroup_descriptor"), 1) << "and of one that does not";
  ExpectWhole();
}

TEST_F(BatchesTest, WhatWasDeletedSinceIsListedToo) {
  const auto batch = Import(kFirst).batch;
  const auto test = Id(ItemKind::Test, "T");
  const auto entry = Data().DeleteSubgroups({1}, test, Why()).at(0).version;
  const auto refusal = ": 1 of 2 records were changed since (entries " + std::to_string(entry) +
                       "); --keep-changed leaves these";
  EXPECT_EQ(RefusalOf([&] { Undo(batch); }), "changed: batch " + std::to_string(batch) + refusal);
  Import("part,process,test,subgroup,time,value\nZ,P,Width,1,2024-01-01,1\n");
  Data().Merge(ItemKind::Test, "T", "Width", Why());
  EXPECT_EQ(RefusalOf([&] { Undo(batch); }), "changed: batch " + std::to_string(batch) + refusal)
      << "under its present name";
  const auto report = Undo(batch, true);
  EXPECT_EQ(report.records, 1);
  EXPECT_EQ(report.kept, 1);
  Data().Restore(entry, Why());
  EXPECT_EQ(Data().Streams().size(), 2U);
}

TEST_F(BatchesTest, NamesOfRestoredRecordsAreInUseAgain) {
  const auto batch = Import(kFirst).batch;
  const auto names = NamesInUse(Data());
  Undo(batch);
  EXPECT_TRUE(NamesInUse(Data()).empty());
  for (const auto& entry : Data().Log()) {
    if (entry.operation == "delete") Data().Restore(entry.seq, Why());
  }
  EXPECT_EQ(NamesInUse(Data()), names);
  EXPECT_EQ(OfOperation("activate"), OfOperation("deactivate"));
  EXPECT_FALSE(OfOperation("activate").empty());
}

TEST_F(BatchesTest, NamesThatAreImportedAgainHaveAnEntry) {
  const auto batch = Import(kFirst).batch;
  Undo(batch);
  const auto out_of_use = OfOperation("deactivate");
  EXPECT_FALSE(out_of_use.empty());
  Import(kFirst);
  EXPECT_EQ(OfOperation("activate"), out_of_use);
  EXPECT_EQ(Data().Log().back().after, R"({"active":true})");
  ExpectWhole();
}

TEST_F(BatchesTest, AFileThatWasUndoneIsImportedIntoTheSameSubgroupsAlsoWhenTheyAreSealed) {
  Undo(Import(kFirst).batch);
  for (int file = 0; file < 3; ++file) {
    std::string text = "part,process,test,subgroup,time,value\n";
    for (int i = 0; i < 250; ++i) {
      text += "Z,P,T,m" + std::to_string(file) + "-" + std::to_string(i) + ",2024-02-01,1\n";
    }
    Import(text);
  }
  EXPECT_EQ(Import(kFirst).subgroups, 0);
  ExpectWhole();
}

TEST_F(BatchesTest, FlagsAreAgainWhatTheyWereBeforeTheirImport) {
  Import(kFirst);
  Data().ChangeFlag({2}, {}, sfIncomplete, Why());
  const auto digest = DigestOf(Db());
  ImportOptions options;
  options.reason = "tool broke";
  const auto batch =
      Import("flag,subgroup\ndisabled,#1\ndisabled,#2\nenabled,#2\n", ImportKind::Flags, options)
          .batch;
  EXPECT_NE(DigestOf(Db()), digest);
  auto dry = Why();
  dry.dry_run = true;
  EXPECT_EQ(Data().UndoImport(batch, false, dry).records, 2);
  const auto report = Undo(batch);
  EXPECT_EQ(report.records, 2);
  EXPECT_EQ(DigestOf(Db()), digest);
  EXPECT_EQ(Data().Log().back().operation, "undo");
  EXPECT_EQ(Data().Imports()[0].state, "undone");
  ExpectWhole();
}

TEST_F(BatchesTest, ImportsOfFlagsAreUndoneOneAfterTheOther) {
  Import(kFirst);
  const auto before = DigestOf(Db());
  const auto first =
      Import("flag,subgroup\ndisabled,#1\ndisabled,#2\n", ImportKind::Flags, ForAReason()).batch;
  const auto between = DigestOf(Db());
  const auto second =
      Import("flag,subgroup\nenabled,#1\nincomplete,#2\n", ImportKind::Flags, ForAReason()).batch;
  EXPECT_EQ(Undo(second).records, 2);
  EXPECT_EQ(DigestOf(Db()), between);
  EXPECT_EQ(Undo(first).records, 2);
  EXPECT_EQ(DigestOf(Db()), before);
  ExpectWhole();
}

// The subgroup had two tests, of which one record was deleted before they became one.
TEST_F(BatchesTest, FlagsOfTestsThatBecameOneAreThoseOfTheirOwnRecords) {
  Import(
      "part,process,test,subgroup,time,value\n"
      "A,P,L,1,2024-01-01,1\nA,P,D,1,2024-01-01,2\nA,P,D,2,2024-01-02,3\n");
  const auto flags = Import("flag,subgroup\ndisabled,#1\n", ImportKind::Flags, ForAReason()).batch;
  const auto deleted = Data().DeleteSubgroups({1}, Id(ItemKind::Test, "D"), Why()).at(0).version;
  Data().Merge(ItemKind::Test, "L", "D", Why());
  EXPECT_NE(RefusalOf([&] {
              Undo(flags);
            }).find("changed since (entries " + std::to_string(deleted) + ")"),
            std::string::npos);
  const auto report = Undo(flags, true);
  EXPECT_EQ(report.records, 1);
  EXPECT_EQ(report.kept, 1);
  store::FlatSelection all;
  const auto data = Select(all.info, all.Filter());
  EXPECT_EQ(data.subgroups.size(), 2U);
  EXPECT_EQ(std::ranges::count(data.subgroups, sfDisabled, &API_SubgroupData::Flag), 0);
  ExpectWhole();
}

TEST_F(BatchesTest, FlagsThatWereChangedSinceTheirImportAreListed) {
  Import(kFirst);
  ImportOptions options;
  options.reason = "tool broke";
  const auto batch =
      Import("flag,subgroup\ndisabled,#1\ndisabled,#2\n", ImportKind::Flags, options).batch;
  const auto entry = Data().ChangeFlag({2}, {}, sfIncomplete, Why()).at(0).version;
  EXPECT_EQ(RefusalOf([&] { Undo(batch); }), "changed: batch " + std::to_string(batch) +
                                                 ": 1 of 2 records were changed since "
                                                 "(entries " +
                                                 std::to_string(entry) +
                                                 "); --keep-changed leaves these");
  const auto report = Undo(batch, true);
  EXPECT_EQ(report.records, 1);
  EXPECT_EQ(report.kept, 1);
  store::FlatSelection all;
  EXPECT_EQ(std::ranges::count(Select(all.info, all.Filter()).subgroups, sfIncomplete,
                               &API_SubgroupData::Flag),
            1);
  ExpectWhole();
}

TEST_F(BatchesTest, AnUndoneEmployeeIsInUseAgainByWhateverNamesThem) {
  Import(kFirst);
  const auto batch = Import(
                         "part,process,test,subgroup,time,value,employee\n"
                         "A,P,T,7,2024-02-01,1,Zoe\nA,P,T,8,2024-02-02,1,Yan\n"
                         "A,P,T,9,2024-02-03,1,Xia\nA,P,T,10,2024-02-04,1,Wim\n")
                         .batch;
  const auto by = [](const char* who) {
    auto options = Why();
    options.actor.by = who;
    return options;
  };
  const auto comment = Data().AddComment(1, 0, 0, "seen", by("Xia"));
  Data().RemoveComment(comment, Why());
  const auto removed = Data().Log().back().seq;
  Data().Rename(ItemKind::Employee, "Yan", "Yan Li", Why());
  EXPECT_EQ(Data().UndoImport(batch, false, by("Wim")).names, 3) << "Wim undid it";
  const auto is_active = [&](const char* name) {
    const auto items = Data().Items(ItemKind::Employee);
    const auto found = std::ranges::find(items, name, &ListedItem::name);
    return found != items.end() && found->active;
  };
  EXPECT_TRUE(is_active("Wim"));
  const struct {
    const char* name;
    std::function<void()> use;
  } uses[] = {{"Zoe", [&] { Data().AddComment(1, 0, 0, "hi", by("Zoe")); }},
              {"Yan Li", [&] { Data().ChangeFlag({2}, {}, sfDisabled, by("Yan")); }},
              {"Xia", [&] { Data().Restore(removed, Why()); }}};
  for (const auto& [name, use] : uses) {
    SCOPED_TRACE(name);
    EXPECT_FALSE(is_active(name));
    const auto object = "employee " + std::to_string(Id(ItemKind::Employee, name));
    use();
    EXPECT_TRUE(is_active(name));
    EXPECT_EQ(OfOperation("activate").count(object), 1U);
  }
}

TEST_F(BatchesTest, CommentsGoWithTheirImportUnlessTheyWereChanged) {
  Import(kFirst);
  const auto own = Data().AddComment(1, 0, 0, "of a person", {});
  const auto batch =
      Import("comment,subgroup\nnew tool,#1\nold tool,#2\n", ImportKind::Comments).batch;
  EXPECT_EQ(CountOf("comment"), 3);
  Data().ChangeComment(own + 2, "older tool", Why());
  EXPECT_TRUE(RefusalOf([&] { Undo(batch); }).ends_with("--keep-changed leaves these"));
  EXPECT_EQ(Undo(batch, true).records, 1);
  EXPECT_EQ(CountOf("comment"), 2);
  EXPECT_EQ(RefusalOf([&] { Undo(batch); }),
            "undone: batch " + std::to_string(batch) + " is undone already");
  ExpectWhole();
}

// Whatever is undone, what is left is what a database has that never saw it.
TEST_F(BatchesTest, AfterRandomUndoingNothingReminds) {
  std::mt19937 random(5);
  const auto below = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
  std::vector<std::string> files;
  std::set<std::string> taken;
  for (int file = 0; file < 12; ++file) {
    std::string text = "part,process,test,subgroup,time,value,lot,serial\n";
    for (int line = 0; line < 60; ++line) {
      const auto part = "P" + std::to_string(below(3)), test = "T" + std::to_string(below(3)),
                 subgroup = std::to_string(1 + below(28));
      if (!taken.insert(part + "/" + test + "/" + subgroup).second) continue;
      text += part + ",Q," + test + "," + subgroup + ",2024-02-" +
              (subgroup.size() == 1 ? "0" : "") + subgroup + "," + std::to_string(below(100)) +
              ",L" + std::to_string(below(9)) + ",S" + std::to_string(below(200)) + "\n";
    }
    files.push_back(text);
  }
  std::vector<std::int64_t> batches;
  std::ranges::transform(files, std::back_inserter(batches),
                         [&](const auto& text) { return Import(text).batch; });
  const auto other = folder_.Store("other.db");
  const auto never = OpenDatabase(other, true);
  for (std::size_t i = 0; i < files.size(); ++i) {
    if (below(2) == 0) {
      Undo(batches[i]);
    } else {
      store::WriteFile(folder_.File("again.csv"), files[i]);
      import::ImportCsv(folder_.File("again.csv"), *never, ImportKind::Values, {});
    }
  }
  EXPECT_EQ(DigestOf(Db()), DigestOf(*never));
  EXPECT_EQ(NamesInUse(Data()), NamesInUse(QualityDatabase(never)));
  ExpectWhole();
}

TEST_F(BatchesTest, FormerNamesAreUnderstoodByFilesWithANote) {
  Import(kFirst);
  Data().Rename(ItemKind::Part, "A", "Ring", Why());
  const auto report = Import("part,process,test,subgroup,time,value\nA,P,T,9,2024-01-09,1\n");
  ASSERT_EQ(report.notes.size(), 2U);
  EXPECT_EQ(report.notes[0].code, "former-name");
  EXPECT_EQ(report.notes[1].code, "no-limits");
  EXPECT_EQ(report.notes[0].text, "\"A\" is now called \"Ring\"");
  EXPECT_EQ(report.new_names, 0);
  EXPECT_EQ(Data().Items(ItemKind::Part).size(), 1U);
  EXPECT_EQ(Data().Find(ItemKind::Part, "A"), Data().Find(ItemKind::Part, "Ring"));
  EXPECT_EQ(Data().Require(ItemKind::Part, "A"), Id(ItemKind::Part, "Ring"));
}

}  // namespace orvspc::engine::change
