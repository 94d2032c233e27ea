// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <string>
#include <vector>

#include "engine/store/digest.h"
#include "tests/engine/store/store_fixture.h"

// Flags and comments of many subgroups at a time.
namespace orvspc::engine::import {
namespace {

class ImportChangesTest : public store::StoreTest {
 protected:
  void SetUp() override {
    Import(
        "part,process,test,subgroup,time,value\n"
        "A,P,T,1,2024-01-01,1\nA,P,T,1,2024-01-01,2\nA,P,U,1,2024-01-01,7\n"
        "A,P,T,2,2024-01-02,3\nA,P,T,3,2024-01-03,4\nB,P,T,1,2024-01-01,5\n");
  }
  static ImportOptions Why() {
    ImportOptions options;
    options.actor.by = "Ann";
    options.reason = "tool broke";
    return options;
  }
  ImportReport Flags(const std::string& text) { return Import(text, ImportKind::Flags, Why()); }
  std::string FlagsFailure(const std::string& text) {
    return store::FailureOf([&] { Flags(text); });
  }
  // "#1 T 1" of each record that is not enabled: subgroup, test, flag.
  std::vector<std::string> Flagged() {
    store::FlatSelection all;
    all.info.Status = 7;
    std::vector<std::string> flagged;
    auto data = Data();
    for (const auto& each : Select(all.info, all.Filter()).subgroups) {
      if (each.Flag == sfEnabled) continue;
      flagged.push_back("#" + std::to_string(each.Sgrp) + " " +
                        data.Name(ItemKind::Test, each.Test) + " " + std::to_string(each.Flag));
    }
    std::ranges::sort(flagged);
    return flagged;
  }
  std::string Digest() {
    std::string digest;
    Opened()->ReadOrThrow([&](sql::Connection& db) { digest = store::DigestOf(db).all; });
    return digest;
  }
  void ExpectRefusal(const std::string& text, const std::string& reason,
                     ImportKind kind = ImportKind::Flags) {
    const auto before = Digest();
    const auto entries = Data().Log().size();
    const auto failure = store::FailureOf([&] { Import(text, kind, Why()); });
    EXPECT_NE(failure.find(reason), std::string::npos) << failure;
    EXPECT_EQ(Digest(), before) << text;
    EXPECT_EQ(Data().Log().size(), entries) << text;
  }
  void ExpectWhole() {
    LogCheckOptions options;
    options.with_data = true;
    EXPECT_TRUE(Data().VerifyLog(options).finds.empty());
  }
};

using Texts = std::vector<std::string>;

TEST_F(ImportChangesTest, FlagsNameSubgroupsByNumberOrByWhatPeopleKnow) {
  const auto report = Flags(
      "subgroup,part,process,label,at,test,flag\n"
      "#2,,,,,,disabled\n"
      ",A,P,1,2024-01-01,U,incomplete\n"
      ",B,,1,,,1\n"
      ",,,,2024-01-03,,disabled\n");
  EXPECT_EQ(report.lines, 4);
  EXPECT_EQ(report.rows, 4);
  EXPECT_EQ(Flagged(), (Texts{"#1 U 2", "#2 T 1", "#3 T 1", "#4 T 1"}));
}

TEST_F(ImportChangesTest, AFlagWithoutATestIsOfAllTests) {
  EXPECT_EQ(Flags("subgroup,flag\n1,disabled\n").rows, 2);
  EXPECT_EQ(Flagged(), (Texts{"#1 T 1", "#1 U 1"}));
  EXPECT_EQ(Flags("subgroup,flag\n#1,enabled\n").rows, 2);
  EXPECT_EQ(Flagged(), Texts{});
}

TEST_F(ImportChangesTest, EachFlagIsAnEntryAndAnEventOfItsOwn) {
  const auto before = Data().Log().size();
  const auto report = Flags("subgroup,flag\n#1,disabled\n#2,incomplete\n");
  const auto log = Data().Log();
  ASSERT_EQ(log.size(), before + 4);
  Texts found;
  for (std::size_t i = before; i < log.size(); ++i) {
    EXPECT_EQ(log[i].who, "Ann");
    EXPECT_EQ(log[i].reason, "tool broke");
    found.push_back(log[i].operation + " " + log[i].object);
  }
  EXPECT_EQ(found[3], "import batch " + std::to_string(report.batch));
  EXPECT_TRUE(found[0].starts_with("edit-flag subgroup 1 test "));
  EXPECT_TRUE(found[2].starts_with("edit-flag subgroup 2 test "));
  EXPECT_NE(log[before].before.find("\"part\":\"A\""), std::string::npos);
  std::vector<std::int32_t> types;
  for (const auto& event : Data().EventsOfSubgroups(0, INT32_MAX)) types.push_back(event.type);
  std::ranges::sort(types);
  EXPECT_EQ(types,
            (std::vector<std::int32_t>{etSubgroupDisable, etSubgroupDisable, etSubgroupEdit}));
  ExpectWhole();
}

TEST_F(ImportChangesTest, AnEntryOfAFileIsRestored) {
  const auto before = Digest();
  Flags("subgroup,flag\n#2,disabled\n");
  const auto log = Data().Log();
  ChangeOptions options;
  options.reason = "it was the other one";
  Data().Restore(log[log.size() - 2].seq, options);
  EXPECT_EQ(Flagged(), Texts{});
  ExpectWhole();
}

TEST_F(ImportChangesTest, OneBadLineLeavesAllFlags) {
  ExpectRefusal("subgroup,flag\n#1,disabled\n#99,disabled\n", "line 3, column \"subgroup\"");
  EXPECT_EQ(Flagged(), Texts{});
}

TEST_F(ImportChangesTest, FlagsAreRefusedByLine) {
  ExpectRefusal("subgroup,flag\n#1,off\n", "must be one of enabled, disabled, incomplete");
  ExpectRefusal("subgroup,flag\n#0,disabled\n", "write it as #4711");
  ExpectRefusal("subgroup,flag\nfirst,disabled\n", "write it as #4711");
  ExpectRefusal("subgroup,flag\n#99,disabled\n", "is not in the database");
  ExpectRefusal("subgroup,flag\n,disabled\n", "which subgroup?");
  ExpectRefusal("label,flag\n1,disabled\n", "2 subgroups fit (#1 #4); name one");
  ExpectRefusal("label,flag\n9,disabled\n", "there is no such subgroup");
  ExpectRefusal("part,process,label,at,flag\nA,P,1,2024-01-02,disabled\n",
                "there is no such subgroup");
  ExpectRefusal("part,at,flag\nC,2024-01-01,disabled\n", "is not in the database");
  ExpectRefusal("at,flag\ntomorrow,disabled\n", "column \"at\"");
  ExpectRefusal("subgroup,test,flag\n#1,V,disabled\n", "is not in the database");
  ExpectRefusal("subgroup,test,flag\n#2,U,disabled\n", "#2 has no values of U");
  ExpectRefusal("flag\ndisabled\n", "which subgroup?");
  ExpectRefusal("subgroup\n#1\n", "flag");
}

// A label in the column of the number would name another subgroup.
TEST_F(ImportChangesTest, ALabelIsNotTakenForANumber) {
  ExpectRefusal("part,process,subgroup,at,flag\nB,P,1,2024-01-01,disabled\n",
                "its label has the column label");
  ExpectRefusal("part,subgroup,flag\nB,#1,disabled\n", "has another part");
  Flags("part,subgroup,flag\nB,#4,disabled\n");
  EXPECT_EQ(Flagged(), Texts{"#4 T 1"});
}

TEST_F(ImportChangesTest, AFormerNameIsUnderstoodWithANote) {
  ChangeOptions options;
  options.reason = "new drawing";
  Data().Rename(ItemKind::Part, "B", "Bolt", options);
  const auto report = Flags("part,flag\nB,disabled\n");
  ASSERT_EQ(report.notes.size(), 1U);
  EXPECT_EQ(report.notes[0].code, "former-name");
  EXPECT_EQ(Flagged(), Texts{"#4 T 1"});
}

TEST_F(ImportChangesTest, FlagsNeedAReason) {
  const auto failure = ImportFailure("subgroup,flag\n#1,disabled\n", ImportKind::Flags);
  EXPECT_NE(failure.find("--reason"), std::string::npos) << failure;
  EXPECT_EQ(Flagged(), Texts{});
}

TEST_F(ImportChangesTest, AVersionThatIsNoLongerTheLatestRefusesTheFile) {
  Flags("subgroup,flag\n#2,disabled\n");
  const auto version = Data().Log().size() - 1;
  ExpectRefusal("subgroup,flag,expect\n#2,enabled,1\n",
                "(version " + std::to_string(version) + ", you saw 1)");
  Flags("subgroup,flag,expect\n#2,enabled," + std::to_string(version) + "\n");
  EXPECT_EQ(Flagged(), Texts{});
}

TEST_F(ImportChangesTest, AFlagTakesAnAlarmBack) {
  Import("part,test,usl,alarms\nA,T,10,usl\n", ImportKind::Limits);
  Import("part,process,test,subgroup,time,value\nA,P,T,9,2037-01-09,11\n");
  ASSERT_EQ(Data().Alarms().size(), 1U);
  Flags("label,flag\n9,disabled\n");
  EXPECT_EQ(Data().Alarms()[0].state, "withdrawn");
}

TEST_F(ImportChangesTest, AnImportNotesStreamsWithoutControlLimits) {
  const auto note_of = [](const ImportReport& report) {
    EXPECT_LE(report.notes.size(), 1U);
    return report.notes.empty() ? std::string() : report.notes[0].Sentence();
  };
  const std::string header = "part,process,test,subgroup,time,value\n";
  EXPECT_EQ(note_of(Import(header + "A,P,T,11,2024-01-11,1\n")),
            "A / P / T: no control limits in force: orvspc limits propose");
  EXPECT_EQ(note_of(Import(header + "A,P,T,12,2024-01-12,1\nB,P,T,12,2024-01-12,1\n")),
            "no control limits in force for 2 streams: orvspc limits propose");
  Import("part,process,test,mean,sp,effective\nA,P,T,1,1,2024-02-01\n", ImportKind::ControlLimits);
  EXPECT_NE(note_of(Import(header + "A,P,T,13,2024-01-13,1\n")), "") << "not yet in force";
  EXPECT_EQ(note_of(Import(header + "A,P,T,14,2024-02-14,1\n")), "");
  EXPECT_EQ(note_of(Flags("label,flag\n14,disabled\n")), "");
}

TEST_F(ImportChangesTest, CommentsAreStoredWithWhoAndWhere) {
  const auto report = Import(
      "subgroup,part,process,label,at,test,tsno,comment\n"
      "#2,,,,,,,new tool\n"
      ",A,P,1,2024-01-01,T,2,\"burr, \"\"left\"\"\"\n",
      ImportKind::Comments, Why());
  EXPECT_EQ(report.rows, 2);
  auto data = Data();
  const std::int32_t ids[] = {1, 2};
  const auto comments = data.Comments(ids);
  ASSERT_EQ(comments.size(), 2U);
  EXPECT_EQ(comments[0].note, "burr, \"left\"");
  EXPECT_EQ(comments[0].test, Id(ItemKind::Test, "T"));
  EXPECT_EQ(comments[0].tsno, 2);
  EXPECT_EQ(comments[1].note, "new tool");
  EXPECT_EQ(comments[1].test, 0);
  EXPECT_EQ(data.Name(ItemKind::Employee, comments[1].employee), "Ann");
  std::int64_t added = 0;
  for (const auto& entry : data.Log()) added += entry.operation == "comment-add";
  EXPECT_EQ(added, 2);
  ExpectWhole();
}

TEST_F(ImportChangesTest, CommentsNeedNoReason) {
  EXPECT_EQ(Import("subgroup,comment\n#1,odd\n", ImportKind::Comments).rows, 1);
}

TEST_F(ImportChangesTest, CommentsAreRefusedByLineAndThenNoneIsStored) {
  const auto kind = ImportKind::Comments;
  ExpectRefusal("subgroup,comment\n#1,odd\n#2,\n", "line 3, column \"comment\"", kind);
  ExpectRefusal("subgroup,comment\n#1," + std::string(4001, 'x') + "\n", "1 to 4000", kind);
  ExpectRefusal("subgroup,tsno,comment\n#1,1,odd\n", "of which test", kind);
  ExpectRefusal("subgroup,comment\n#77,odd\n", "is not in the database", kind);
  const std::int32_t ids[] = {1, 2};
  EXPECT_TRUE(Data().Comments(ids).empty());
}

TEST_F(ImportChangesTest, ADeletedSubgroupLeavesItsLabelToAnother) {
  Import("part,process,test,subgroup,time,value\nA,P,T,2,2024-01-05,3\n");
  ExpectRefusal("part,label,flag\nA,2,disabled\n", "2 subgroups fit");
  ChangeOptions options;
  options.reason = "never mind";
  Data().DeleteSubgroups({2}, {}, options);
  Flags("part,label,flag\nA,2,disabled\n");
  EXPECT_EQ(Flagged(), (Texts{"#5 T 1"}));
  EXPECT_EQ(Import("part,label,comment\nA,2,odd\n", ImportKind::Comments).rows, 1);
  ExpectRefusal("subgroup,comment\n#2,odd\n", "#2 has no values", ImportKind::Comments);
  ExpectRefusal("subgroup,test,tsno,comment\n#1,T,3,odd\n", "#1 has no piece 3 of this test",
                ImportKind::Comments);
}

// --- What a file changes of codes, places and limits ---------------------------------------------

struct Overwriting {
  ImportKind kind;
  const char *first, *more, *other;  // `more` changes nothing that was given
  const char *object, *before, *after;
};
constexpr Overwriting kOverwriting[] = {
    {ImportKind::Defects, "code,name,factor\nD1,Dent,2\n", "code,name,group\nD1,Dent,G\nD2,,\n",
     "code,name,factor\nD1,Dint,3\n", "defect 1", R"({"text":"Dent","factor":2})",
     R"({"text":"Dint","factor":3})"},
    {ImportKind::AccCodes, "code,factor\nA1,2\n", "code,name\nA1,Worn tool\n",
     "code,factor\nA1,3\n", "acc-code 1", R"({"factor":2})", R"({"factor":3})"},
    {ImportKind::StateCodes, "code,type\nRun,run\n", "code,type,name\nRun,run,runs\n",
     "code,type\nRun,idle\n", "state-code 1", R"({"type":2000})", R"({"type":5000})"},
    {ImportKind::Parts, "part,factor\nA,2\n", "part,factor\nA,2\nC,7\n", "part,factor\nA,3\n",
     "part 1", R"({"factor":2})", R"({"factor":3})"},
    {ImportKind::Processes, "process,site\nP,North\n", "process,site,area\nP,North,7\n",
     "process,site\nP,South\n", "process 1", R"({"site":"North"})", R"({"site":"South"})"},
    {ImportKind::Limits, "part,test,usl,lsl\nA,T,9,1\n",
     "part,test,usl,lsl,effective\nA,T,9,1,\nA,T,8,1,2024-01-01\n", "part,test,usl,lsl\nA,T,8,1\n",
     "spec-limit 5", R"({"row":3,"usl":9})", R"({"row":5,"usl":8})"},
    {ImportKind::ControlLimits, "part,test,mean,sp\nA,T,9,1\n",
     "part,process,test,mean,sp\nA,,T,9,1\nA,P,T,8,1\n", "part,test,mean,sp\nA,T,8,1\n", "limit 5",
     R"({"row":3,"mean":9})", R"({"row":5,"mean":8})"},
    {ImportKind::Opportunities, "part,test,opportunities\nA,T,3\n",
     "part,test,opportunities\nA,T,3\nB,T,4\n", "part,test,opportunities\nA,T,4\n", "opportunity 5",
     R"({"row":3,"opportunities":3})", R"({"row":5,"opportunities":4})"},
    {ImportKind::NetContents, "part,test,nominal,mavl\nA,T,100,90\n",
     "part,test,nominal,mavl\nA,T,100,90\nB,T,100,80\n", "part,test,nominal,mavl\nA,T,100,80\n",
     "net-content 5", R"({"row":3,"mavl":90})", R"({"row":5,"mavl":80})"}};

TEST_F(ImportChangesTest, WhatAFileOverwritesIsKeptByTheLogAndNeedsAReasonUnlessTheRowIsKept) {
  for (const auto& each : kOverwriting) {
    Import(each.first, each.kind);
    Import(each.first, each.kind);
    Import(each.more, each.kind);
    // Limits that are the same are rows of their own, as before.
    const auto before = Digest();
    const bool is_limits =
        each.kind == ImportKind::NetContents ||
        (each.kind >= ImportKind::Limits && each.kind <= ImportKind::Opportunities);
    if (!is_limits) {
      EXPECT_NE(store::FailureOf([&] {
                  Import(each.other, each.kind);
                }).find("--reason: say why, in 3 to 500 characters"),
                std::string::npos)
          << each.other;
    }
    EXPECT_EQ(Digest(), before) << each.other;
    Import(each.other, each.kind, Why());
    LogFilter of_object;
    of_object.object = each.object;
    const auto entries = Data().Log(of_object);
    ASSERT_FALSE(entries.empty()) << each.object;
    EXPECT_EQ(entries.back().before, each.before);
    EXPECT_EQ(entries.back().after, each.after);
    EXPECT_EQ(entries.back().reason, "tool broke");
    EXPECT_EQ(entries.back().who, "Ann");
  }
  ExpectWhole();
}

// A weight that nobody gave is 1; what came by itself has no entry.
TEST_F(ImportChangesTest, WhatAFileBringsNewNeedsNoReason) {
  Import("code\nD1\n", ImportKind::Defects);
  Import("code,name,factor\nD1,Dent,2\nD2,Scratch,3\n", ImportKind::Defects);
  LogFilter edits;
  edits.operation = "edit-item";
  const auto entries = Data().Log(edits);
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_EQ(entries[0].object, "defect 1");
  EXPECT_EQ(entries[0].before, R"({"text":"","factor":1})");
  // Rows of control limits that serve other charts do not replace each other.
  Import("part,test,mean,chart-word\nA,Looks,0.1,0xd00\n", ImportKind::ControlLimits);
  Import("part,test,mean,chart-word\nA,Looks,0.2,0xf00\n", ImportKind::ControlLimits);
}

TEST_F(ImportChangesTest, FilesOfChangesAreListedAndUndone) {
  const auto report = Flags("subgroup,flag\n#1,disabled\n");
  const auto imports = Data().Imports();
  ASSERT_FALSE(imports.empty());
  EXPECT_EQ(imports[0].kind, "flags");
  EXPECT_EQ(imports[0].records, 2);
  ChangeOptions options;
  options.reason = "never mind";
  EXPECT_EQ(Flagged().size(), 2U);
  EXPECT_EQ(Data().UndoImport(report.batch, false, options).records, 2);
  EXPECT_TRUE(Flagged().empty());
  EXPECT_EQ(Data().Imports()[0].state, "undone");
}

TEST_F(ImportChangesTest, ManyLinesWithoutATimeReadTheSubgroupsOnce) {
  std::string values = "part,process,test,subgroup,time,value\n";
  std::string flags = "part,label,flag\n";
  for (int i = 0; i < 2000; ++i) {
    const auto label = "s" + std::to_string(i);
    const auto time = std::to_string(10 + i / 60 % 14) + ":" + std::to_string(10 + i % 50) + ":00";
    values += "C,P,T," + label + ",2024-02-0" + std::to_string(1 + i / 400) + "T" + time + ",1\n";
    if (i % 10 == 0) flags += "C," + label + ",disabled\n";
  }
  Import(values);
  EXPECT_EQ(Flags(flags).rows, 200);
  EXPECT_EQ(Flagged().size(), 200U);
}

}  // namespace
}  // namespace orvspc::engine::import
