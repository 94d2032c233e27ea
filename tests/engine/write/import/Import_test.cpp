// SPDX-License-Identifier: Apache-2.0
#include "engine/write/import/Import.h"

#include <sys/stat.h>

#include <thread>

#include "tests/engine/write/import/import_fixture.h"

namespace orvspc::engine::import {
using namespace sql;
using namespace catalogue;
using namespace store;

namespace {

TEST_F(ImportTest, EachOfManyDescriptorColumnsTakesFourSteps) {
  constexpr int kColumns = 5000;
  std::string header = "part,process,test,subgroup,time,value", line = "A,P,T,1,2024-01-01,5";
  for (int i = 0; i < kColumns; ++i) {
    header += ",descriptor:D" + std::to_string(i);
    line += ",v" + std::to_string(i % 7);
  }
  Db();
  // Of the rest of a file that has one line.
  constexpr int kOthers = 200;
  FailStep(4 * kColumns + kOthers);
  const auto report = Import(header + "\n" + line + "\n");
  EXPECT_FALSE(FailStep(0));
  EXPECT_EQ(report.new_names, kColumns + 3);
  EXPECT_EQ(CountOf("descriptor_group"), kColumns);
  EXPECT_EQ(CountOf("descriptor"), kColumns);
  EXPECT_EQ(CountOf("subgroup_descriptor"), kColumns);
  EXPECT_NE(ImportFailure(header + ",descriptor:D0\n" + line + ",x\n").find("is there twice"),
            std::string::npos);
}

TEST_F(ImportTest, WhatCannotBeReadIsRefusedWithItsPlaceAndChangesNothing) {
  struct Row {
    const char* why;
    std::string text;
    std::vector<std::string> says;
  };
  const std::string good = "A,P,T,1,2024-01-01T00:00:00,5\n";
  const Row rows[] = {
      {"empty file", "", {"line 1", "empty"}},
      {"missing column", "part,process,subgroup,time,value\n", {"line 1", "\"test\"", "lacks"}},
      {"neither value nor count",
       "part,process,test,subgroup,time\n",
       {"line 1", "\"value\"", "lacks"}},
      {"value and count", "part,process,test,subgroup,time,value,count\n", {"line 1", "not both"}},
      {"unknown column",
       "part,process,test,subgroup,time,value,colour\n",
       {"line 1", "\"colour\""}},
      {"column twice",
       "part,process,test,subgroup,time,value,Part\n",
       {"line 1", "\"part\"", "twice"}},
      {"text for a number",
       kHeader + good + "A,P,T,2,2024-01-01,five\n",
       {"line 3", "\"value\"", "\"five\"", "no number"}},
      {"number with a tail", kHeader + "A,P,T,1,2024-01-01,5x\n", {"line 2", "\"5x\""}},
      {"not a number", kHeader + "A,P,T,1,2024-01-01,NaN\n", {"line 2", "\"NaN\"", "finite"}},
      {"infinite", kHeader + "A,P,T,1,2024-01-01,-inf\n", {"line 2", "\"-inf\"", "finite"}},
      {"beyond a double",
       kHeader + "A,P,T,1,2024-01-01,1e999\n",
       {"line 2", "\"1e999\"", "out of range"}},
      {"below a double",
       kHeader + "A,P,T,1,2024-01-01,-1e-400\n",
       {"line 2", "\"-1e-400\"", "out of range"}},
      {"beyond a whole number",
       "part,process,test,subgroup,time,value,size\nA,P,T,1,2024-01-01,5,99999999999999999999\n",
       {"line 2", "\"size\"", "between"}},
      {"descriptor twice",
       "part,process,test,subgroup,time,value,descriptor:A,Descriptor:A\n",
       {"line 1", "\"Descriptor:A\"", "twice"}},
      {"empty number", kHeader + "A,P,T,1,2024-01-01,\n", {"line 2", "\"value\"", "empty"}},
      {"decimal comma",
       "part;process;test;subgroup;time;value\nA;P;T;1;2024-01-01;5,2\n",
       {"line 2", "\"5,2\"", "point"}},
      {"no time",
       kHeader + "A,P,T,1,yesterday,5\n",
       {"line 2", "\"time\"", "\"yesterday\"", "no time"}},
      {"empty time", kHeader + "A,P,T,1,,5\n", {"line 2", "\"time\"", "empty"}},
      {"time too early",
       kHeader + "A,P,T,1,1901-12-13T20:45:51,5\n",
       {"line 2", "\"time\"", "1901"}},
      {"time too late",
       kHeader + "A,P,T,1,2038-01-19T03:14:08,5\n",
       {"line 2", "\"time\"", "2038"}},
      {"empty name", kHeader + ",P,T,1,2024-01-01,5\n", {"line 2", "\"part\"", "empty"}},
      {"empty label", kHeader + "A,P,T,,2024-01-01,5\n", {"line 2", "\"subgroup\"", "empty"}},
      {"too few cells", kHeader + "A,P,T,1,2024-01-01\n", {"line 2", "5 cells", "6"}},
      {"too many cells", kHeader + good + "A,P,T,2,2024-01-01,5,6\n", {"line 3", "7 cells", "6"}},
      {"open quote", kHeader + "A,P,T,\"1,2024-01-01,5\n", {"line 2", "quote"}},
      {"text behind a quote", kHeader + "A,P,T,\"1\"x,2024-01-01,5\n", {"line 2", "quote"}},
      {"no UTF-8", kHeader + "A\xff,P,T,1,2024-01-01,5\n", {"line 2", "UTF-8"}},
      {"overlong UTF-8", kHeader + "A\xc0\xaf,P,T,1,2024-01-01,5\n", {"line 2", "UTF-8"}},
      {"byte 0", kHeader + std::string("A\0,P,T,1,2024-01-01,5\n", 22), {"line 2", "byte 0"}},
      {"long line", kHeader + std::string((1 << 20) + 1, 'x') + "\n", {"line 2", "1 MB"}},
      {"long line without an end", kHeader + std::string(3 << 20, 'x'), {"line 2", "1 MB"}},
      {"piece twice",
       "part,process,test,subgroup,time,value,tsno\nA,P,T,1,2024-01-01,5,1\n"
       "A,P,T,1,2024-01-01,6,1\n",
       {"line 3", "\"tsno\"", "already"}},
      {"reading twice",
       "part,process,test,subgroup,time,value,tsno,sbno\n"
       "A,P,T,1,2024-01-01,5,1,2\nA,P,T,1,2024-01-01,6,1,2\n",
       {"line 3", "\"tsno\"", "already"}},
      {"piece 0",
       "part,process,test,subgroup,time,value,tsno\nA,P,T,1,2024-01-01,5,0\n",
       {"line 2", "\"tsno\"", "\"0\"", "between"}},
      {"size differs",
       "part,process,test,subgroup,time,value,size\nA,P,T,1,2024-01-01,5,2\n"
       "A,P,T,1,2024-01-01,6,3\n",
       {"line 3", "\"size\"", "differs"}},
      {"job differs",
       "part,process,test,subgroup,time,value,job\nA,P,T,1,2024-01-01,5,J\n"
       "A,P,T,1,2024-01-01,6,K\n",
       {"line 3", "\"job\"", "differs"}},
      {"flag",
       "part,process,test,subgroup,time,value,flag\nA,P,T,1,2024-01-01,5,3\n",
       {"line 2", "\"flag\"", "between"}},
      {"size",
       "part,process,test,subgroup,time,value,size\nA,P,T,1,2024-01-01,5,-1\n",
       {"line 2", "\"size\"", "\"-1\""}},
      {"test type",
       "part,process,test,subgroup,time,value,test-type\nA,P,T,1,2024-01-01,5,odd\n",
       {"line 2", "\"test-type\"", "\"odd\""}},
      {"test type changes",
       "part,process,test,subgroup,time,value,test-type\n"
       "A,P,T,1,2024-01-01,5,variable\nA,P,T,2,2024-01-01,5,defects\n",
       {"line 3", "\"test-type\"", "differs"}},
      {"variable test with count",
       "part,process,test,subgroup,time,count,test-type\n"
       "A,P,T,1,2024-01-01,5,variable\n",
       {"line 2", "\"count\"", "variable"}},
      {"count below 0",
       "part,process,test,subgroup,time,count\nA,P,T,1,2024-01-01,-1\n",
       {"line 2", "\"count\"", "whole number"}},
      {"part of a defect",
       "part,process,test,subgroup,time,count\nA,P,T,1,2024-01-01,1.5\n",
       {"line 2", "\"count\"", "whole number"}},
      {"count beyond every bound",
       "part,process,test,subgroup,time,count,size\nA,P,T,1,2024-01-01,1e300,5\n",
       {"line 2", "\"count\"", "\"1e300\"", "whole number"}},
      {"count just above the bound",
       "part,process,test,subgroup,time,count\nA,P,T,1,2024-01-01,1000000001\n",
       {"line 2", "\"count\"", "1000000000"}},
      {"neither count nor defect",
       "part,process,test,subgroup,time,count,defect\n"
       "A,P,T,1,2024-01-01,,\n",
       {"line 2", "\"count\"", "empty"}},
      {"more defectives than units",
       "part,process,test,subgroup,time,count,size,test-type\n"
       "A,P,T,1,2024-01-01,6,5,defectives\n",
       {"line 2", "\"subgroup\"", "6", "5"}},
      {"the same, type known at the end only",
       "part,process,test,subgroup,time,count,size\n"
       "A,P,T,1,2024-01-01,6,5\n",
       {"line 2", "\"subgroup\"", "6", "5"}},
  };
  Db();
  for (const auto& row : rows) {
    const auto message = ImportFailure(row.text);
    EXPECT_NE(message, "") << row.why;
    EXPECT_EQ(message.rfind(folder_.File("in.csv") + ": line", 0), 0u)
        << row.why << ": " << message;
    EXPECT_EQ(message.find('\n'), std::string::npos) << row.why << ": " << message;
    for (const auto& words : row.says) {
      EXPECT_NE(message.find(words), std::string::npos) << row.why << ": " << message;
    }
    EXPECT_EQ(CountOf("subgroup"), 0) << row.why;
    EXPECT_EQ(CountOf("part"), 0) << row.why;
  }
}

TEST_F(ImportTest, AValueIsCutTo60Characters) {
  const auto message = ImportFailure(kHeader + "A,P,T,1,2024-01-01," + std::string(61, 'x') + "\n");
  EXPECT_NE(message.find("\"" + std::string(60, 'x') + "...\""), std::string::npos) << message;
  std::string umlauts;
  for (int i = 0; i < 60; ++i) umlauts += "\xc3\xa4";
  EXPECT_NE(
      ImportFailure(kHeader + "A,P,T,1,2024-01-01," + umlauts + "\n").find("\"" + umlauts + "\""),
      std::string::npos);
}

TEST_F(ImportTest, AFileThatIsNotThereIsRefused) {
  EXPECT_NE(FailureOf([&] { ImportCsv(folder_.File("no.csv"), Db(), ImportKind::Values); }), "");
  EXPECT_NE(FailureOf([&] { ImportCsv(folder_.File("."), Db(), ImportKind::Values); }), "");
}

TEST_F(ImportTest, TheFormsOfAFileThatAreTakenWithoutAWord) {
  const std::string plain =
      Values({"A,P,T,1,2024-01-01T00:00:00Z,5.25", "A,P,T,1,2024-01-01,+6e0"});
  struct Row {
    const char* why;
    std::string text;
  };
  std::string semicolons = plain, tabs = plain, crlf;
  std::replace(semicolons.begin(), semicolons.end(), ',', ';');
  std::replace(tabs.begin(), tabs.end(), ',', '\t');
  for (const char c : plain) crlf += c == '\n' ? "\r\n" : std::string(1, c);
  const Row rows[] = {
      {"plain", plain},
      {"CRLF", crlf},
      {"byte order mark", "\xef\xbb\xbf" + plain},
      {"semicolons", semicolons},
      {"tabs", tabs},
      {"no line end at the end", plain.substr(0, plain.size() - 1)},
      {"blank lines", "\n" + plain + "\n\r\n  \n"},
      {"quotes", Values({"\"A\",\"P\",T,\"1\",\"2024-01-01\",\"5.25\"", "A,P,T,1,2024-01-01,6"})},
      {"other order and case",
       "VALUE,Time,subgroup,TEST,Process,Part\n5.25,2024-01-01,1,T,P,A\n6,2024-01-01,1,T,P,A\n"},
      {"blanks around cells", Values({" A , P,T,1,2024-01-01 , 5.25", "A,P,T,1,2024-01-01,6"})},
  };
  for (const auto& row : rows) {
    db_.reset();
    folder_.RemoveStore("q.db");
    EXPECT_EQ(ImportFailure(row.text), "") << row.why;
    const auto data = Everything();
    ASSERT_EQ(data.subgroups.size(), 1u) << row.why;
    EXPECT_EQ(data.values, (std::vector<double>{5.25, 6.0})) << row.why;
    EXPECT_EQ(data.subgroups[0].Sgtm, 1704067200) << row.why;
    EXPECT_EQ(Id(ItemKind::Part, "A"), 1) << row.why;
  }
}

TEST_F(ImportTest, LinesAreCountedAcrossQuotedLineEnds) {
  const auto message = ImportFailure(
      "part,process,test,subgroup,time,value,comment\n"
      "\"A, \"\"the\"\" part\",P,T,1,2024-01-01,5,\"two\nlines\"\nA2,P,T,2,2024-01-01,bad,\n");
  EXPECT_NE(message.find("line 4"), std::string::npos) << message;
  Import("part,process,test,subgroup,time,value\n\"A, \"\"the\"\" part\",P,T,1,2024-01-01,5\n");
  EXPECT_EQ(Id(ItemKind::Part, "A, \"the\" part"), 1);
}

// Lines that differ in nothing but their value, with a line end in a cell or a blank line between.
TEST_F(ImportTest, LinesAreCountedAcrossLinesThatAreAlike) {
  const std::string quoted = "\"two\nlines\",A,P,T,1,2024-01-01,";
  EXPECT_NE(ImportFailure("comment,part,process,test,subgroup,time,value\n" + quoted + "1\n" +
                          quoted + "2\n" + quoted + "3\n" + quoted + "bad\n")
                .find("line 8,"),
            std::string::npos);
  const std::string line = "A,P,T,1,2024-01-01,3,";
  const auto twice = ImportFailure("part,process,test,subgroup,time,tsno,value\n" + line +
                                   "1\n\n\n" + line + "2\n");
  EXPECT_NE(twice.find("line 5, column \"tsno\", value \"3\""), std::string::npos) << twice;
  const auto count = ImportFailure(
      "part,process,test,subgroup,time,count\nA,P,T,1,2024-01-01,1\n"
      "A,P,T,1,2024-01-01,2\nA,P,T,1,2024-01-01,2.5\n");
  EXPECT_NE(count.find("line 4, column \"count\", value \"2.5\": must be"), std::string::npos)
      << count;
}

TEST_F(ImportTest, UnknownColumnsCanBeIgnored) {
  ImportOptions options;
  options.ignore_unknown = true;
  const auto report =
      Import("part,process,test,subgroup,time,value,colour\nA,P,T,1,2024-01-01,5,red\n",
             ImportKind::Values, options);
  EXPECT_EQ(report.subgroups, 1);
}

TEST_F(ImportTest, AStoredSubgroupIsRefusedAndANewTestOfItIsNot) {
  Import(Values({"A,P,T,1,2024-01-01,5", "A,P,T,2,2024-01-01,6"}));
  const auto message = ImportFailure(Values({"A,P,T,3,2024-01-01,5", "A,P,T,2,2024-01-01,6"}));
  EXPECT_NE(message.find("line 3"), std::string::npos) << message;
  EXPECT_NE(message.find("\"2\""), std::string::npos) << message;
  EXPECT_NE(message.find("already stored"), std::string::npos) << message;
  EXPECT_EQ(CountOf("subgroup"), 2);
  Import(Values({"A,P,U,2,2024-01-01,7"}));
  const auto data = Everything();
  ASSERT_EQ(data.subgroups.size(), 3u);
  EXPECT_EQ(data.subgroups[1].Sgrp, data.subgroups[2].Sgrp);
  // The same label at another time is another subgroup.
  Import(Values({"A,P,T,2,2024-01-02,6"}));
  EXPECT_EQ(CountOf("subgroup"), 3);
}

TEST_F(ImportTest, PiecesCountInFileOrderAndReadingsGetAPieceValue) {
  Import(
      "part,process,test,subgroup,time,value,tsno,sbno\n"
      "A,P,plain,1,2024-01-01,5,,\nA,P,plain,1,2024-01-01,6,,\n"
      "A,P,read,1,2024-01-01,5,2,1\nA,P,read,1,2024-01-01,7,2,2\nA,P,read,1,2024-01-01,9,1,1\n"
      "A,P,given,1,2024-01-01,5,1,1\nA,P,given,1,2024-01-01,100,1,0\n"
      "A,P,auto,1,2024-01-01,1,,1\nA,P,auto,1,2024-01-01,3,,2\nA,P,auto,1,2024-01-01,5,,1\n");
  const auto data = Everything();
  ASSERT_EQ(data.subgroups.size(), 4u);
  struct Row {
    std::size_t subgroup;
    std::int32_t tsno, sbno;
    double value;
  };
  const Row rows[] = {
      {0, 1, 0, 5},   {0, 2, 0, 6},                                            // plain
      {1, 1, 0, 9},   {1, 1, 1, 9}, {1, 2, 0, 6}, {1, 2, 1, 5}, {1, 2, 2, 7},  // read
      {2, 1, 0, 100}, {2, 1, 1, 5},                                            // given
      {3, 1, 0, 2},   {3, 1, 1, 1}, {3, 1, 2, 3}, {3, 2, 0, 5}, {3, 2, 1, 5},  // auto
  };
  ASSERT_EQ(data.values.size(), std::size(rows));
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    const auto first = static_cast<std::size_t>(data.subgroups[rows[i].subgroup].Test_Start);
    const auto row = data.Row(rows[i].subgroup, i - first);
    EXPECT_EQ(row.Tsno, rows[i].tsno) << i;
    EXPECT_EQ(row.Sbno, rows[i].sbno) << i;
    EXPECT_EQ(row.Val, rows[i].value) << i;
  }
  EXPECT_EQ(data.subgroups[0].Size, 2);
  EXPECT_EQ(data.subgroups[1].Size, 2);
  EXPECT_EQ(data.subgroups[2].Size, 1);
}

TEST_F(ImportTest, CountsMakeAttributeTests) {
  Import(
      "part,process,test,subgroup,time,count,defect,size,tsno\n"
      "A,P,scratches,1,2024-01-01,3,deep,50,\nA,P,scratches,1,2024-01-01,,light,50,\n"
      "A,P,scratches,2,2024-01-02,0,,50,\n"
      "A,P,rejects,1,2024-01-01,4,,50,\nA,P,rejects,2,2024-01-02,0,,50,\n"
      "A,P,rejects,3,2024-01-03,0,,50,7\n");
  const auto tests = Data().CountedItems(ItemKind::Test);
  ASSERT_EQ(tests.size(), 2u);
  EXPECT_EQ(tests[0].name, "rejects");
  EXPECT_EQ(tests[0].type, ttDefectives);
  EXPECT_EQ(tests[1].type, ttDefects);
  FlatSelection scratches;
  scratches.List(FlatSelection::kTest, {Id(ItemKind::Test, "scratches")});
  const auto data = Select(scratches.info, scratches.Filter());
  ASSERT_EQ(data.subgroups.size(), 2u);
  ASSERT_EQ(data.values, (std::vector<double>{3, 1, 0}));
  EXPECT_EQ(data.Row(0, 1).Def, Id(ItemKind::Defect, "light"));
  EXPECT_EQ(data.Row(0, 0).Tsno, 0);
  const auto none = data.Row(1, 0);  // inspected, nothing found
  EXPECT_EQ(none.Tsno, 0);
  EXPECT_EQ(none.Def, 0);
  EXPECT_EQ(data.subgroups[0].Size, 50);
  FlatSelection rejects;
  rejects.List(FlatSelection::kTest, {Id(ItemKind::Test, "rejects")});
  const auto units = Select(rejects.info, rejects.Filter());
  ASSERT_EQ(units.values, (std::vector<double>{4, 0, 0}));
  EXPECT_EQ(units.Row(2, 0).Tsno, 7);  // a named unit without defect stays
}

TEST_F(ImportTest, ANamedUnitIsOneDefective) {
  const std::string header = "part,process,test,subgroup,time,count,size,tsno,test-type\n";
  Import(header +
         "A,P,T,1,2024-01-01,1,2,1,defectives\nA,P,T,1,2024-01-01,1,2,1,defectives\n"
         "A,P,T,1,2024-01-01,1,2,2,defectives\n");
  EXPECT_NE(ImportFailure(header + "A,P,T,2,2024-01-01,1,2,1,defectives\n"
                                   "A,P,T,2,2024-01-01,2,2,,defectives\n"),
            "");
  // A test of defects may have more defects than units.
  Import(header + "A,P,D,2,2024-01-01,12,2,,defects\n");
}

TEST_F(ImportTest, WhoAndWhereAndTheRestArrive) {
  Import(
      "part,process,test,subgroup,time,value,job,lot,shift,revision,workstation,employee,gage,"
      "serial,defect,flag,size,comment,descriptor:Cavity,descriptor:Mould\n"
      "A,P,T,1,2024-01-01,5,J,L,S,R,W,E,G,N,X,disabled,9,late,C1,M1\n"
      "A,P,T,1,2024-01-01,6,,,,,,,,,,,,late,C2,\n");
  const auto data = Everything();
  ASSERT_EQ(data.subgroups.size(), 1u);
  const auto& head = data.subgroups[0];
  EXPECT_EQ(head.Job, Id(ItemKind::Job, "J"));
  EXPECT_EQ(head.Lot, Id(ItemKind::Lot, "L"));
  EXPECT_EQ(head.Shft, Id(ItemKind::Shift, "S"));
  EXPECT_EQ(head.Ptrv, Id(ItemKind::Revision, "R"));
  EXPECT_EQ(head.Wkst, Id(ItemKind::Workstation, "W"));
  EXPECT_EQ(head.Empl, Id(ItemKind::Employee, "E"));
  EXPECT_EQ(head.Flag, sfDisabled);
  EXPECT_EQ(head.Size, 9);
  EXPECT_EQ(data.Row(0, 0).Gage, Id(ItemKind::Gage, "G"));
  EXPECT_EQ(data.Row(0, 0).Sn, Id(ItemKind::Serial, "N"));
  EXPECT_EQ(data.Row(0, 0).Def, Id(ItemKind::Defect, "X"));
  EXPECT_EQ(data.Row(0, 1).Gage, 0);
  EXPECT_EQ(CountOf("comment"), 2);  // the second without an employee is another
  EXPECT_EQ(CountOf("subgroup_descriptor"), 3);
  EXPECT_EQ(Data().Descriptors().size(), 3u);
  EXPECT_EQ(Data().SubgroupLabel(head.Sgrp), "1");
  EXPECT_EQ(Opened()->StreamName(head.Part, head.Prcs, head.Test), "A / P / T");
}

// Whatever names a test first, its type is that of its first values.
TEST_F(ImportTest, ATestHasNoTypeUntilItHasValues) {
  struct Row {
    const char* test;
    ImportKind kind;
    const char* text;
  };
  const Row rows[] = {
      {"U", ImportKind::Opportunities, "part,test,opportunities\nA,U,5\n"},
      {"V", ImportKind::Limits, "part,test,usl\nA,V,5\n"},
      {"W", ImportKind::ControlLimits, "part,test,mean\nA,W,5\n"},
      {"X", ImportKind::Groups, "kind,group,name\ntest,G,X\n"},
  };
  const auto type_of = [&](const std::string& name) {
    for (const auto& item : Data().CountedItems(ItemKind::Test)) {
      if (item.name == name) return item.type;
    }
    return -1;
  };
  for (const auto& row : rows) Import(row.text, row.kind);
  Import(Values({"A,P,T,1,2024-01-01,5"}));  // of another test
  for (const auto& row : rows) EXPECT_EQ(type_of(row.test), 0) << row.test;
  const std::string header = "part,process,test,subgroup,time,count,defect\n";
  Import(header + "A,P,U,1,2024-01-01,1,scratch\nA,P,W,1,2024-01-01,1,\n");
  EXPECT_EQ(type_of("U"), ttDefects);
  EXPECT_EQ(type_of("W"), ttDefectives);
  Import(Values({"A,P,V,1,2024-01-01,5"}));
  EXPECT_EQ(type_of("V"), ttVariable);
  EXPECT_EQ(type_of("X"), 0);
  EXPECT_NE(ImportFailure(header + "A,P,V,2,2024-01-01,1,\n").find("variable"), std::string::npos);
}

TEST_F(ImportTest, AHighCountIsTakenToTheBound) {
  Import("part,process,test,subgroup,time,count\nA,P,T,1,2024-01-01,1e9\n");
  EXPECT_EQ(Everything().values, std::vector<double>{1e9});
}

TEST_F(ImportTest, APipeIsReadToItsEnd) {
  const auto pipe = folder_.File("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  std::thread writer([&] { WriteFile(pipe, Values({"A,P,T,1,2024-01-01,5"})); });
  EXPECT_EQ(ImportCsv(pipe, Db(), ImportKind::Values).rows, 1);
  writer.join();
}

TEST_F(ImportTest, ProgressReachesTheFileSize) {
  std::string text = kHeader;
  for (int i = 0; i < 40000; ++i) text += "A,P,T," + std::to_string(i) + ",2024-01-01,5\n";
  std::int64_t calls = 0, last = 0, total = 0;
  ImportOptions options;
  options.progress = [&](std::int64_t done, std::int64_t size) {
    EXPECT_GE(done, last);
    ++calls;
    last = done;
    total = size;
  };
  Import(text, ImportKind::Values, options);
  EXPECT_GE(calls, 1);
  EXPECT_EQ(total, static_cast<std::int64_t>(text.size()));
  EXPECT_LE(last, total);
}

TEST_F(ImportTest, ListingCountsSubgroups) {
  Import(
      "part,process,test,subgroup,time,value,job,defect\n"
      "A,P,T,1,2024-01-01,5,J,X\nA,P,U,1,2024-01-01,6,J,\nA,P,T,2,2024-02-01,7,,X\n"
      "B,P,T,3,2024-03-01,8,J,\n");
  const auto parts = Data().CountedItems(ItemKind::Part);
  ASSERT_EQ(parts.size(), 2u);
  EXPECT_EQ(parts[0].name, "A");
  EXPECT_EQ(parts[0].subgroups, 2);
  EXPECT_EQ(parts[0].first, 1704067200);
  EXPECT_EQ(parts[0].last, 1706745600);
  EXPECT_EQ(Data().CountedItems(ItemKind::Process)[0].subgroups, 3);
  EXPECT_EQ(Data().CountedItems(ItemKind::Test)[0].subgroups, 3);
  EXPECT_EQ(Data().CountedItems(ItemKind::Job)[0].subgroups, 2);
  EXPECT_EQ(Data().CountedItems(ItemKind::Defect)[0].subgroups, 2);
  EXPECT_TRUE(Data().CountedItems(ItemKind::Gage).empty());
  EXPECT_EQ(Data().Name(ItemKind::Part, parts[1].id), "B");
  EXPECT_EQ(Data().Name(ItemKind::Part, 99), "");
  EXPECT_EQ(ItemKindFromWord("processes"), ItemKind::Process);
  EXPECT_FALSE(ItemKindFromWord("colours"));
}

TEST_F(ImportTest, ALockedDatabaseIsRefused) {
  Db();
  const auto writer = OpenAnother(Path());
  const Transaction writing(*writer, TransactionKind::Write);
  int times = 0;
  const ImportOptions options{.patience = std::chrono::seconds(1), .waiting = [&] { ++times; }};
  const auto failure =
      FailureOf([&] { Import(Values({"A,P,T,1,2024-01-01,5"}), ImportKind::Values, options); });
  EXPECT_NE(failure.find(": another program has been writing for 1 s; try again"),
            std::string::npos)
      << failure;
  EXPECT_GT(times, 1);
  // Reading goes on beside a writer.
  EXPECT_TRUE(Everything().subgroups.empty());
}

TEST_F(ImportTest, AnImportWaitsAsLongAsTheSettingSays) {
  Data().Set("patience", "1");
  const auto writer = OpenAnother(Path());
  const Transaction writing(*writer, TransactionKind::Write);
  const auto text = Values({"A,P,T,1,2024-01-01,5"});
  // Of the file that the first one writes.
  const auto of_host = [&] {
    return FailureOf(
        [&] { QualityDatabase::ImportInto(Path(), folder_.File("in.csv"), ImportKind::Values); });
  };
  const auto first = ImportFailure(text);
  for (const auto& failure : {first, of_host()}) {
    EXPECT_NE(failure.find(": another program has been writing for 1 s; try again"),
              std::string::npos)
        << failure;
  }
}

TEST_F(ImportTest, ANoteComesBeforeThereAreNoIdentifiersLeft) {
  Import(Values({"A,P,T,1,2024-01-01,5"}));
  RunSql(Path(), "UPDATE counter SET last = 1932735275 WHERE name = 'subgroup'");
  const auto said = [&](const char* line) {
    std::string text;
    for (const auto& note : Import(Values({line})).notes) {
      if (note.code == "few-identifiers") text += note.text;
    }
    return text;
  };
  EXPECT_EQ(said("A,P,T,2,2024-01-02,5"), "");
  EXPECT_EQ(said("A,P,T,3,2024-01-03,5"),
            "1932735277 of 2147483647 identifiers of subgroups are used; begin a new database "
            "before the last one");
}

}  // namespace
}  // namespace orvspc::engine::import
