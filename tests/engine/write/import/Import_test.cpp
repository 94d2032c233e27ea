// SPDX-License-Identifier: Apache-2.0
#include "engine/write/import/Import.h"

#include <sys/stat.h>

#include <algorithm>
#include <map>
#include <thread>
#include <tuple>

#include "engine/chunks/StreamWalk.h"
#include "engine/time/calendar.h"
#include "engine/write/log/Json.h"
#include "tests/engine/store/store_fixture.h"

namespace orvspc::engine::import {
using namespace time;
using namespace sql;
using namespace catalogue;
using namespace store;

namespace {

const std::string kHeader = "part,process,test,subgroup,time,value\n";

class ImportTest : public StoreTest {
 protected:
  DataSet Everything() {
    FlatSelection all;
    return Select(all.info, all.Filter());
  }
  std::int64_t CountOf(const std::string& table) {
    const auto sql = "SELECT count(*) FROM " + table;
    const auto connection = OpenAnother(Path());
    Query query(*connection, sql);
    return query.Step() ? query.Int64(0) : -1;
  }
};

std::string Values(std::initializer_list<const char*> lines) {
  std::string text = kHeader;
  for (const char* line : lines) text += std::string(line) + "\n";
  return text;
}

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

// More subgroups than are held at a time, whose lines come in two rounds.
TEST_F(ImportTest, LinesOfASubgroupMayLieFarApart) {
  constexpr int kSubgroups = 40000;
  std::string text = "part,process,test,subgroup,time,value,sbno\n";
  for (int round = 0; round < 2; ++round) {
    for (int i = 1; i <= kSubgroups; ++i) {
      const auto number = std::to_string(i);
      text += "A,P,T," + number + ",2024-01-01," + std::to_string(round) + "," +
              (i == 1 ? "1" : "") + "\n";
    }
  }
  const auto report = Import(text);
  EXPECT_EQ(report.subgroups, kSubgroups);
  EXPECT_EQ(report.rows,
            2 * kSubgroups + 2);  // the two pieces of readings have values of their own
  const auto data = Everything();
  ASSERT_EQ(data.subgroups.size(), static_cast<std::size_t>(kSubgroups));
  ASSERT_EQ(data.values.size(), static_cast<std::size_t>(2 * kSubgroups + 2));
  for (std::size_t i = 0; i < data.subgroups.size(); i += 997) {
    if (i == 0) continue;
    EXPECT_EQ(data.Row(i, 0).Val, 0.0);
    EXPECT_EQ(data.Row(i, 1).Val, 1.0);
    EXPECT_EQ(data.Row(i, 1).Tsno, 2);
    EXPECT_EQ(data.subgroups[i].Size, 2);
  }
}

// A file whose subgroup is written before its next line is read says the same as one whose lines
// are held together.
class DistanceTest : public ImportTest {
 protected:
  // What a file of these lines leads to, with a line of another part after each: the refusal, or
  // what is stored of part A.
  std::string Outcome(const std::string& header, const std::vector<std::string>& lines,
                      std::size_t held) {
    const auto more = static_cast<std::size_t>(std::count(header.begin(), header.end(), ',') - 5);
    std::string text = header + "\n";
    for (std::size_t i = 0; i < lines.size(); ++i) {
      text += "A,P,T,1,2024-01-01," + lines[i] + "\n";
      text += "B,P,other," + std::to_string(i) + ",2024-01-01,1" + std::string(more, ',') + "\n";
    }
    return OutcomeOf(text, held);
  }
  std::string OutcomeOf(const std::string& text, std::size_t held) {
    db_.reset();
    folder_.RemoveStore("q.db");
    ImportOptions options;
    options.most_held = held;
    auto message = FailureOf([&] { Import(text, ImportKind::Values, options); });
    if (!message.empty()) return message;
    std::string outcome = std::to_string(CountOf("comment")) + " comments";
    FlatSelection a;
    a.List(FlatSelection::kPart, {Id(ItemKind::Part, "A")});
    const auto data = Select(a.info, a.Filter());
    for (std::size_t i = 0; i < data.subgroups.size(); ++i) {
      const auto& head = data.subgroups[i];
      for (const auto id : {head.Test, head.Size, head.Flag, head.Job, head.Lot, head.Shft}) {
        outcome += " " + std::to_string(id);
      }
      for (auto row = head.Test_Start; row <= head.Test_End; ++row) {
        const auto test = data.Row(i, static_cast<std::size_t>(row - head.Test_Start));
        outcome += "; " + std::to_string(test.Tsno) + "/" + std::to_string(test.Sbno) + " " +
                   std::to_string(test.Def) + ": " + std::to_string(test.Val);
      }
    }
    return outcome;
  }
};

TEST_F(DistanceTest, WhatAFileMaySayDoesNotDependOnHowFarItsLinesLieApart) {
  struct Row {
    const char* why;
    const char* columns;
    std::vector<std::string> lines;  // behind part to time
    const char* refused;             // null: stored
  };
  const Row rows[] = {
      {"flags", "value,flag", {"5,disabled", "6,enabled"}, "column \"flag\", value \"enabled\""},
      {"flag 0 first", "value,flag", {"5,0", "6,disabled"}, "column \"flag\", value \"disabled\""},
      {"flag later", "value,flag", {"5,", "6,2"}, nullptr},
      {"flag once", "value,flag", {"5,disabled", "6,"}, nullptr},
      {"three lines", "value,flag", {"5,", "6,", "7,1"}, nullptr},
      {"flag in the middle", "value,flag", {"5,", "6,1", "7,2"}, "value \"2\""},
      {"sizes", "value,size", {"5,1", "6,2"}, "column \"size\", value \"2\""},
      {"size later", "value,size", {"5,", "6,9"}, nullptr},
      {"size is the count so far", "value,size", {"5,1", "6,"}, nullptr},
      {"size of a count later", "count,size", {"2,", "1,50"}, nullptr},
      {"size 0 of a count", "count,size", {"2,0", "1,50"}, "column \"size\", value \"50\""},
      {"job and lot", "value,job,lot", {"5,J,", "6,,L"}, nullptr},
      {"jobs", "value,job,lot", {"5,J,L", "6,K,"}, "column \"job\", value \"K\""},
      {"shifts", "value,job,shift", {"5,J,S", "6,J,T"}, "column \"shift\", value \"T\""},
      {"comment twice", "value,comment", {"5,late", "6,late"}, nullptr},
      {"other comment", "value,comment", {"5,late", "6,later"}, nullptr},
      {"comment of another employee", "value,comment,employee", {"5,late,", "6,late,E"}, nullptr},
      {"readings go on", "value,sbno", {"5,1", "7,2"}, nullptr},
      {"next piece", "value,sbno", {"5,2", "7,1"}, nullptr},
      {"piece behind readings", "value,sbno", {"5,1", "7,"}, nullptr},
      {"given and counted", "value,tsno", {"5,3", "6,", "7,1"}, nullptr},
      {"piece twice", "value,tsno", {"5,3", "6,3"}, "column \"tsno\", value \"3\""},
      {"value of readings", "value,tsno,sbno", {"5,1,1", "7,1,2", "100,1,0"}, nullptr},
      {"too many", "count,size", {"3,5", "3,5"}, "value \"1\": more defectives (6)"},
      {"too many before the end", "count,size", {"6,5", "3,5"}, "more defectives (6)"},
      {"size later and too small", "count,size", {"6,", "3,5"}, "more defectives (9)"},
      {"type later", "count,size,test-type", {"6,5,", "0,5,defectives"}, "more defectives (6)"},
      {"defects after all", "count,size,defect", {"6,5,", "3,5,X"}, nullptr},
      {"fraction of defects", "count,size,test-type", {"6,2.5,defects", "3,2.5,"}, nullptr},
      {"fraction of defects, later", "count,size,defect", {"6,2.5,", "3,,X"}, nullptr},
      {"fractions differ",
       "count,size,test-type",
       {"1,2.5,defects", "1,2.25,"},
       "column \"size\", value \"2.25\""},
      {"fraction of defectives",
       "count,size",
       {"1,2.5", "0,2.5"},
       "as only that of a test of defects"},
      {"type of a fraction later",
       "count,size,test-type",
       {"0,2.5,", "1,,defectives"},
       "as only that of a test of defects"},
      {"fraction of pieces", "value,size", {"5,1.5", "6,1.5"}, "is no whole number"},
      {"size below 0", "count,size,test-type", {"1,-0.5,defects", "1,,"}, "value \"-0.5\""},
  };
  for (const auto& row : rows) {
    const auto header = std::string("part,process,test,subgroup,time,") + row.columns;
    const auto near = Outcome(header, row.lines, 100);
    const auto far = Outcome(header, row.lines, 1);
    EXPECT_EQ(far, near) << row.why;
    if (row.refused == nullptr) {
      EXPECT_EQ(near.find("line "), std::string::npos) << row.why << ": " << near;
    } else {
      EXPECT_NE(near.find(row.refused), std::string::npos) << row.why << ": " << near;
    }
  }
}

// So much text that the lines of a subgroup are written while more of them follow.
TEST_F(DistanceTest, LongCommentsOfOneSubgroupAreWrittenBetweenItsLines) {
  constexpr int kLines = 60;
  const auto outcome = [&](std::size_t length, const char* last_size) {
    std::string text = "comment,part,process,test,subgroup,time,value,size\n";
    for (int i = 0; i < kLines; ++i) {
      // Each comment twice, and with other words in the next line.
      text += std::string(length, static_cast<char>('A' + i / 2)) + ",A,P,T,1,2024-01-01," +
              std::to_string(i) + (i == 3 ? ",9\n" : ",\n");
    }
    return OutcomeOf(text + ",A,P,T,1,2024-01-01,7," + last_size + "\n", 100);
  };
  constexpr std::size_t kLong = 900'000;
  const auto near = outcome(10, "");
  EXPECT_TRUE(near.starts_with("30 comments")) << near;
  EXPECT_EQ(outcome(kLong, ""), near);
  EXPECT_NE(outcome(kLong, "8").find("line 62, column \"size\", value \"8\": differs"),
            std::string::npos);
}

// What is written first fails here, so this shows how far the file was read by then.
TEST_F(ImportTest, LongCommentsAreWrittenOnTheWay) {
  constexpr int kLines = 70'000;
  Db();
  RunSql(Path(), "ALTER TABLE comment RENAME COLUMN note TO words");
  std::string text = "comment,part,process,test,subgroup,time,value\n";
  for (int i = 0; i < kLines; ++i) {
    const auto number = std::to_string(i);
    text += std::string(600, 'x') + number + ",A,P,T," + number + ",2024-01-01,5\n";
  }
  double part_read = 0.0;
  ImportOptions options;
  options.most_held = kLines + 1;
  options.progress = [&](std::int64_t done, std::int64_t size) {
    part_read = static_cast<double>(done) / static_cast<double>(size);
  };
  EXPECT_NE(FailureOf([&] { Import(text, ImportKind::Values, options); }), "");
  EXPECT_LT(part_read, 0.5);
}

// The faults lie in lines behind those of a full batch, which are written by then.
TEST_F(ImportTest, LinesAreCountedAcrossBatches) {
  constexpr int kRecords = 41'000;
  ASSERT_GT(static_cast<std::size_t>(kRecords), ImportOptions().most_held);
  const std::pair<const char*, const char*> faults[] = {
      {"last,2024-01-01,bad,,J", "column \"value\", value \"bad\""},
      {"7,2024-01-01,5,1,J", "column \"tsno\", value \"1\": the subgroup has this piece"},
      {"7,2024-01-01,5,2,K", "column \"job\", value \"K\": differs from an earlier line"},
  };
  std::string text = "part,process,test,subgroup,time,value,tsno,job\n";
  for (int i = 0; i < kRecords; ++i) {
    const auto number = std::to_string(i);
    text += "A,P,T," + number + ",2024-01-01," + number + ",1,J\n";
    if (i % 20'000 == 0) text += "\n";  // counts as a line
  }
  const auto place = "line " + std::to_string(kRecords + 5) + ", ";
  for (const auto& [fault, reason] : faults) {
    const auto message = ImportFailure(text + "A,P,T," + fault + "\n");
    EXPECT_NE(message.find(place + reason), std::string::npos) << message;
  }
  EXPECT_EQ(CountOf("batch"), 0);
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

TEST_F(ImportTest, LimitsHaveTheFlagsOfWhatIsGiven) {
  Import(
      "part,test,usl,target,lsl,uwp,effective,scale,name,alarms\n"
      "A,T,10.5,10,9.5,,,,,\nA,T,11,,,2,2024-01-01,2,wider,usl\nA,U,,,1,,,,,none\n",
      ImportKind::Limits);
  const auto part = Id(ItemKind::Part, "A");
  const auto rows = Opened()->SpecLimits(part, Id(ItemKind::Test, "T"));
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(rows[0].F_EFLAG, slfUSL | slfTAR | slfLSL);
  EXPECT_EQ(rows[0].F_AFLAG, rows[0].F_EFLAG);
  EXPECT_EQ(rows[0].F_SCAL, 4);
  EXPECT_EQ(rows[0].Word20, kNoStamp);
  EXPECT_EQ(rows[0].F_USL, 10.5);
  EXPECT_EQ(rows[0].F_LSL, 9.5);
  EXPECT_EQ(rows[1].F_EFLAG, slfUSL | slfUWP);
  EXPECT_EQ(rows[1].F_AFLAG, slfUSL);
  EXPECT_EQ(rows[1].F_UWP, 2.0);
  EXPECT_EQ(rows[1].F_SCAL, 2);
  EXPECT_EQ(rows[1].Word20, 1704067200);
  EXPECT_EQ(rows[1].Name[0], u'w');
  const auto lower = Opened()->SpecLimits(part, Id(ItemKind::Test, "U"));
  ASSERT_EQ(lower.size(), 1u);
  EXPECT_EQ(lower[0].F_EFLAG, slfLSL);
  EXPECT_EQ(lower[0].F_AFLAG, 0);
  EXPECT_TRUE(Opened()->SpecLimits(part, 77).empty());
}

TEST_F(ImportTest, ALaterImportForTheSameTimeTakesOver) {
  Import("part,test,usl\nA,T,10\n", ImportKind::Limits);
  Import("part,test,usl\nA,T,12\n", ImportKind::Limits);
  const auto rows = Opened()->SpecLimits(1, 1);
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_EQ(rows[0].F_USL, 12.0);
  EXPECT_EQ(CountOf("spec_limit"), 2);  // nothing was changed in place
}

TEST_F(ImportTest, ControlLimitsAreOfTheProcessOrOfAny) {
  Import(
      "part,process,test,mean,sp,sw,effective,chart-word\n"
      "A,P,T,10,0.5,0.4,2024-01-01,0x110\nA,,T,11,,,,\nA,Q,T,12,,,,\n",
      ImportKind::ControlLimits);
  const auto rows = Opened()->ControlLimits(Id(ItemKind::Part, "A"), Id(ItemKind::Process, "P"), 1);
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(rows[0].row.F_PRCS, 0);
  EXPECT_EQ(rows[0].row.F_MEAN, 11.0);
  EXPECT_EQ(rows[0].row.F_EFTM, kNoStamp);
  EXPECT_EQ(rows[1].row.F_SP, 0.5);
  EXPECT_EQ(rows[1].row.F_SW, 0.4);
  EXPECT_EQ(rows[1].chart_word, 0x110);
}

TEST_F(ImportTest, AMeanOfControlLimitsIsARateOnlyWhereTheChartWordSaysSo) {
  Import(
      "part,test,mean,chart-word\nA,S,1,0xd00\nA,Z,0,0xa00\nA,U,12.5,0xf00\nA,V,-3,0x100\nA,W,-3,"
      "\n",
      ImportKind::ControlLimits);
  EXPECT_EQ(CountOf("control_limit"), 5);
}

TEST_F(ImportTest, AChartWordIsOneOfTheKindOfItsTest) {
  Import("part,process,test,subgroup,time,value\nA,P,T,1,2024-01-01,1\n");
  Import(
      "part,process,test,subgroup,time,count,size,test-type\nA,P,D,2,2024-01-01,1,10,defectives\n"
      "A,P,C,3,2024-01-01,1,,defects\n");
  const auto limits = [](const std::string& line) {
    return "part,process,test,mean,chart-word\nA,,T,1,0x110\nA,P," + line + "\n";
  };
  const std::pair<const char*, const char*> refused[] = {
      {"T,1,0xd00", "chart of counts, but the test has measured values"},
      {"D,0.1,0x110", "chart of measured values, but the test has counts"},
      {"C,1,0x330", "chart of measured values, but the test has counts"}};
  for (const auto& [line, says] : refused) {
    const auto message = ImportFailure(limits(line), ImportKind::ControlLimits);
    EXPECT_NE(message.find(says), std::string::npos) << message;
    EXPECT_NE(message.find("line 3"), std::string::npos) << message;
    EXPECT_NE(message.find("chart-word"), std::string::npos) << message;
    EXPECT_EQ(CountOf("control_limit"), 0);
  }
  for (const auto* const line : {"T,1,0x330", "T,1,0", "D,0.1,0xc00", "D,0.1,0xf00", "C,1,"}) {
    EXPECT_NO_THROW(Import(limits(line), ImportKind::ControlLimits)) << line;
  }
}

TEST_F(ImportTest, OpportunitiesArrive) {
  Import("part,test,opportunities,effective\nA,T,5,\nA,T,7,2024-01-01\n",
         ImportKind::Opportunities);
  const auto rows = Opened()->Opportunities(1, 1);
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(rows[0].F_OPPS, 5);
  EXPECT_EQ(rows[1].F_OPPS, 7);
}

TEST_F(ImportTest, ATargetOutsideTheLimitsIsStoredWithANote) {
  const auto report =
      Import("part,test,usl,target,lsl\nA,T,3,2,1\nA,U,3,4,1\nA,V,3,0.5,1\n", ImportKind::Limits);
  EXPECT_EQ(report.rows, 3);
  ASSERT_EQ(report.notes.size(), 2u);
  EXPECT_EQ(report.notes[0].code, "target-outside");
  EXPECT_NE(report.notes[0].text.find("line 3, column \"target\", value \"4\""), std::string::npos)
      << report.notes[0].text;
}

TEST_F(ImportTest, AGraceLongerThanTheIntervalIsStoredWithANote) {
  const auto report =
      Import("process,test,kind,n,minutes,grace\nP,T,interval,5,30,31\nP,U,interval,5,30,30\n",
             ImportKind::Requirements);
  ASSERT_EQ(report.notes.size(), 1u);
  EXPECT_EQ(report.notes[0].code, "grace-above-minutes");
}

TEST_F(ImportTest, TwentyNotesAreKept) {
  std::string text = "part,test,usl,target\n";
  for (int i = 0; i < 30; ++i) text += "A,T" + std::to_string(i) + ",1,2\n";
  EXPECT_EQ(Import(text, ImportKind::Limits).notes.size(), 20u);
}

TEST_F(ImportTest, OtherKindsAreRefusedWhereTheyMakeNoSense) {
  struct Row {
    const char* why;
    ImportKind kind;
    const char* text;
    const char* says;
  };
  const Row rows[] = {
      {"upper below lower", ImportKind::Limits, "part,test,usl,lsl\nA,T,1,2\n", "above"},
      {"guard band upside down", ImportKind::Limits, "part,test,usl,ugb,lgb\nA,T,9,1,2\n", "lgb"},
      {"reasonable limits upside down", ImportKind::Limits, "part,test,url,lrl\nA,T,1,2\n", "lrl"},
      {"warning zone upside down", ImportKind::Limits, "part,test,uwp,lwp\nA,T,1,2\n", "lwp"},
      {"no limit", ImportKind::Limits, "part,test,usl,cp\nA,T,,1.33\n", "gives no limit"},
      {"goal below 0", ImportKind::Limits, "part,test,usl,cpk\nA,T,1,-1\n", "not be below 0"},
      {"start after finish", ImportKind::ControlLimits,
       "part,test,mean,start,finish\nA,T,1,2024-02-01,2024-01-01\n", "not lie after finish"},
      {"word of no chart", ImportKind::ControlLimits, "part,test,mean,chart-word\nA,T,1,0x600\n",
       "of no chart"},
      {"word of no second graph", ImportKind::ControlLimits,
       "part,test,mean,chart-word\nA,T,1,0x150\n", "of no chart"},
      {"decimal word of no chart", ImportKind::ControlLimits,
       "part,test,mean,chart-word\nA,T,1,1792\n", "of no chart"},
      {"same time twice", ImportKind::Limits, "part,test,usl\nA,T,1\nA,T,2\n", "line 3"},
      {"alarm that is no limit", ImportKind::Limits, "part,test,usl,alarms\nA,T,1,odd\n", "odd"},
      {"alarm not given", ImportKind::Limits, "part,test,usl,alarms\nA,T,1,lsl\n", "not give"},
      {"limit is text", ImportKind::Limits, "part,test,usl\nA,T,x\n", "no number"},
      {"mean missing", ImportKind::ControlLimits, "part,test,mean\nA,T,\n", "empty"},
      {"sigma below 0", ImportKind::ControlLimits, "part,test,mean,sp\nA,T,1,-1\n", "below 0"},
      {"chart word", ImportKind::ControlLimits, "part,test,mean,chart-word\nA,T,1,0xzz\n", "0xzz"},
      {"share above 1", ImportKind::ControlLimits, "part,test,mean,chart-word\nA,T,1.5,0xd00\n",
       "share from 0 to 1"},
      {"share in percent of an np chart", ImportKind::ControlLimits,
       "part,test,mean,chart-word\nA,T,20,0xc00\n", "\"20\""},
      {"share below 0", ImportKind::ControlLimits, "part,test,mean,chart-word\nA,T,-0.1,0x800\n",
       "share from 0 to 1"},
      {"defects below 0", ImportKind::ControlLimits, "part,test,mean,chart-word\nA,T,-1,0xf00\n",
       "not below 0"},
      {"opportunities below 0", ImportKind::ControlLimits,
       "part,test,mean,chart-word\nA,T,-1,0x900\n", "not below 0"},
      {"no opportunity", ImportKind::Opportunities, "part,test,opportunities\nA,T,0\n", "between"},
      {"15 and 31", ImportKind::Rules, "number,kind\n15,limit\n31,limit\n", "share one bit"},
      {"number too large", ImportKind::Rules, "number,kind\n32,limit\n", "between"},
      {"number below 0", ImportKind::Rules, "number,kind\n-1,limit\n", "between"},
      {"other parameters", ImportKind::Rules, "number,kind,k,m,zone\n1,zone,9,9,0\n", "free one"},
      {"twice with others", ImportKind::Rules, "number,kind,m\n20,trend,7\n20,trend,8\n", "line 3"},
      {"kind", ImportKind::Rules, "number,kind\n20,odd\n", "must be limit, zone"},
      {"side", ImportKind::Rules, "number,kind,side\n20,zone,odd\n", "lower"},
      {"k of m for a trend", ImportKind::Rules, "number,kind,k,m\n20,trend,3,6\n", "equal to m"},
      {"a trend of one point", ImportKind::Rules, "number,kind\n20,trend\n", "at least 2"},
      {"two points alternate", ImportKind::Rules, "number,kind,m\n20,alternate,2\n", "at least 3"},
      {"a limit of two points", ImportKind::Rules, "number,kind,m\n20,limit,2\n", "must be 1"},
      {"a zone beyond all", ImportKind::Rules, "number,kind,m,zone\n20,zone,3,2000\n", "sigmas"},
      {"k above m", ImportKind::Rules, "number,kind,k,m\n20,zone,3,2\n", "above m"},
      {"no such rule", ImportKind::Alarms, "number,on\n29,1\n", "no rule"},
      {"no such part", ImportKind::Alarms, "number,on,part\n1,1,Nobody\n", "Nobody"},
      {"neither yes nor no", ImportKind::Alarms, "number,on\n1,perhaps\n", "yes or no"},
      {"graph", ImportKind::Alarms, "number,on,graph\n1,1,4\n", "between"},
      {"group of what", ImportKind::Groups, "kind,group,name\nodd,G,A\n", "grouped"},
  };
  for (const auto& row : rows) {
    const auto message = ImportFailure(row.text, row.kind);
    EXPECT_NE(message.find(row.says), std::string::npos) << row.why << ": " << message;
    EXPECT_EQ(CountOf("part"), 0) << row.why;
  }
  EXPECT_EQ(CountOf("rule"), 15);
}

TEST_F(ImportTest, RulesAndTheirSetsAreAdded) {
  Import(
      "number,kind,k,m,zone,side,text,set\n20,zone,3,4,1.5,upper,Mine,own nelson\n"
      "1,limit,,,,,,own\n31,trend,9,9,,,,\n",
      ImportKind::Rules);
  const auto& rules = Opened()->Rules();
  const auto mine = std::find_if(rules.begin(), rules.end(),
                                 [](const StoredRule& rule) { return rule.number == 20; });
  ASSERT_NE(mine, rules.end());
  EXPECT_EQ(mine->k, 3);
  EXPECT_EQ(mine->m, 4);
  EXPECT_EQ(mine->zone, 1.5);
  EXPECT_EQ(mine->side, "upper");
  EXPECT_EQ(mine->text, "Mine");
  Data().UseRuleSet("own");
  EXPECT_EQ(Opened()->AlarmBits(1, 1, 1, 1) & 0xffff, 1u << 1);
  EXPECT_NE(Opened()->AlarmBits(1, 1, 1, 1) & (1u << 20), 0u);
  EXPECT_NE(FailureOf([&] { Data().UseRuleSet("nobody's"); }), "");
  // 15 is refused now that 31 is there.
  EXPECT_NE(ImportFailure("number,kind\n15,limit\n", ImportKind::Rules), "");
}

TEST_F(ImportTest, AKnownRuleJoinsASetWithItsCellsLeftOpen) {
  const std::string header = "number,kind,k,m,zone,side,set\n";
  Import(header + "5,zone,,,,,mine\n7,within,,15,,,mine\n", ImportKind::Rules);
  EXPECT_EQ(CountOf("rule"), 15);
  Data().UseRuleSet("mine");
  EXPECT_EQ(Opened()->AlarmBits(1, 1, 1, 1) & 0xffff, 1u << 5 | 1u << 7);
  const auto& rules = Opened()->Rules();
  const auto fifth = std::find_if(rules.begin(), rules.end(),
                                  [](const StoredRule& rule) { return rule.number == 5; });
  ASSERT_NE(fifth, rules.end());
  EXPECT_EQ(std::tie(fifth->k, fifth->m, fifth->zone), std::make_tuple(2, 3, 2.0));
  // What is given must fit.
  for (const char* line : {"5,zone,1,,,,mine", "5,zone,,4,,,mine", "5,zone,,,1,,mine",
                           "5,zone,,,,either,mine", "5,trend,,,,,mine"}) {
    EXPECT_NE(ImportFailure(header + line + "\n", ImportKind::Rules).find("free one"),
              std::string::npos)
        << line;
  }
}

TEST_F(ImportTest, AnAlarmIsOnOrOffInAnyOfTheWordsAndAnyCase) {
  for (const char* word : {"yes", "on", "TRUE", "1", "No", "OFF", "false", "0"}) {
    const bool is_on = std::string("yes on TRUE 1").find(word) != std::string::npos;
    Import("number,on\n1," + std::string(word) + "\n", ImportKind::Alarms);
    EXPECT_EQ(Opened()->AlarmBits(1, 1, 1, 1), is_on ? 2u : 0u) << word;
  }
}

TEST_F(ImportTest, WordsOfListsMayBeInAnyCaseAndAreStoredInOurs) {
  Import("number,kind,m,side\n20,Trend,7,Upper\n", ImportKind::Rules);
  Import("process,test,kind,n\nP,T,SHIFT,4\n", ImportKind::Requirements);
  const auto connection = OpenAnother(Path());
  Query rule(*connection, "SELECT kind || side FROM rule WHERE number = 20");
  ASSERT_TRUE(rule.Step());
  EXPECT_EQ(rule.Text(0), "trendupper");
  Query requirement(*connection, "SELECT kind || name FROM requirement");
  ASSERT_TRUE(requirement.Step());
  EXPECT_EQ(requirement.Text(0), "shiftP / T / 4 per shift");
}

TEST_F(ImportTest, GroupsHaveMembers) {
  Import("kind,group,name\npart,big,A\nparts,big,B\nlot,odd,L1\n", ImportKind::Groups);
  const auto groups = Data().Groups(ItemKind::Part);
  ASSERT_EQ(groups.size(), 1u);
  EXPECT_EQ(groups[0].name, "big");
  EXPECT_EQ(groups[0].members.size(), 2u);
  EXPECT_EQ(Data().FindGroup(ItemKind::Lot, "odd"), 2);
  EXPECT_FALSE(Data().FindGroup(ItemKind::Part, "odd"));
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
TEST_F(ImportTest, StoredLimitsOfRateZeroAreRemarkedWhereCountsAreStored) {
  Import(
      "part,process,test,subgroup,time,count,size\n"
      "A,P,Bad,1,2024-01-01T00:00:00,0,50\nA,P,Bad,2,2024-01-02T00:00:00,3,50\n"
      "A,P,Good,1,2024-01-01T00:00:00,0,50\n",
      ImportKind::Values);
  const auto report =
      Import("part,process,test,mean\nA,P,Good,0\nA,P,Bad,0\nA,Q,Bad,0\nA,,Bad,0\nA,P,Bad2,0\n",
             ImportKind::ControlLimits);
  ASSERT_EQ(report.notes.size(), 2u);
  EXPECT_EQ(report.notes[0].code, "rate-zero");
  EXPECT_NE(report.notes[0].text.find("line 3, column \"mean\""), std::string::npos)
      << report.notes[0].text;
  EXPECT_NE(report.notes[1].text.find("line 5"), std::string::npos) << "of any process";
}

// --- The log of imports --------------------------------------------------------------------------

TEST_F(ImportTest, EachFileIsABatchWithAnEntry) {
  ImportOptions options;
  options.actor = {"Ann", "gauge 7"};
  options.reason = "first shift";
  options.hash_source = true;
  const auto report = Import(Values({"A,P,T,1,2024-01-01,5", "A,P,T,1,2024-01-01,6",
                                     "A,P,T,2,2024-01-02,7", "A,P,U,1,2024-01-01,8"}),
                             ImportKind::Values, options);
  EXPECT_EQ(report.batch, 1);
  EXPECT_EQ(Import("code,name\nD1,Dent\nD2,Scratch\n", ImportKind::Defects).batch, 2);
  const auto entries = Data().Log({.operation = "import"});
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_EQ(entries[0].object, "batch 1");
  EXPECT_EQ(entries[0].who, "Ann");
  EXPECT_EQ(entries[0].station, "gauge 7");
  EXPECT_EQ(entries[0].reason, "first shift");
  EXPECT_EQ(entries[0].before, "");
  const auto after = log::ReadJson(entries[0].after);
  EXPECT_EQ(after["kind"], "values");
  EXPECT_EQ(after["source"], folder_.File("in.csv"));
  EXPECT_EQ(after["lines"], 4);
  EXPECT_EQ(after["records"], 3);
  EXPECT_EQ(after["digest"].get<std::string>().size(), 64U);
  // As sha256sum prints it for these lines and their header.
  EXPECT_EQ(after["source_sha256"],
            "eed1c0e83267ed46099177f1e9018dc267af95d0b42bcfe14e0f2c3a5f9609a9");
  const auto codes = log::ReadJson(entries[1].after);
  EXPECT_EQ(codes["kind"], "defects");
  EXPECT_EQ(codes["records"], 2);
  EXPECT_FALSE(codes.contains("digest"));
  EXPECT_FALSE(codes.contains("source_sha256"));
  const auto db = OpenAnother(Path());
  Query row(*db,
            "SELECT kind, source, source_sha256, lines, records, digest, state, entry FROM batch "
            "WHERE id = 1");
  ASSERT_TRUE(row.Step());
  EXPECT_EQ(row.Text(0), "values");
  EXPECT_EQ(row.Text(1), folder_.File("in.csv"));
  EXPECT_EQ(row.Text(2), after["source_sha256"].get<std::string>());
  EXPECT_EQ(row.Int(3), 4);
  EXPECT_EQ(row.Int(4), 3);
  EXPECT_EQ(row.Text(5), after["digest"].get<std::string>());
  EXPECT_EQ(row.Text(6), "stored");
  EXPECT_EQ(row.Int(7), entries[0].seq);
}

TEST_F(ImportTest, EachMeasurementNamesItsBatch) {
  Import(Values({"A,P,T,1,2024-01-01,5"}));
  Import(Values({"A,P,T,2,2024-01-02,6", "A,P,U,1,2024-01-01,6"}));
  Opened()->ReadOrThrow([&](Connection& db) {
    std::map<std::pair<std::int64_t, std::int32_t>, std::int64_t> batches;
    for (const std::int64_t stream : {1, 2}) {
      ForEachRecord(db, stream, [&](const RecordView& record) {
        EXPECT_EQ(record.Entry(), 0);
        batches[{stream, record.Subgroup()}] = record.Batch();
      });
    }
    EXPECT_EQ(batches, (decltype(batches){{{1, 1}, 1}, {{1, 2}, 2}, {{2, 1}, 2}}));
  });
}

TEST_F(ImportTest, ARefusedFileLeavesNeitherBatchNorEntry) {
  Db();
  EXPECT_NE(ImportFailure(Values({"A,P,T,1,2024-01-01,5", "A,P,T,2,2024-01-02,x"})), "");
  EXPECT_EQ(CountOf("batch"), 0);
  EXPECT_EQ(CountOf("log"), 1);
  EXPECT_EQ(Import(Values({"A,P,T,1,2024-01-01,5"})).batch, 1);
}

TEST_F(ImportTest, WhoImportsCanBeRequired) {
  Data().Set("require_by", "yes", {"Ann", ""});
  EXPECT_EQ(ImportFailure(Values({"A,P,T,1,2024-01-01,5"})), "--by: who does this must be named");
  ImportOptions options;
  options.actor.by = "Ann";
  options.reason = "ab";
  EXPECT_EQ(
      FailureOf([&] { Import(Values({"A,P,T,1,2024-01-01,5"}), ImportKind::Values, options); }),
      "--reason: say why, in 3 to 500 characters");
  EXPECT_EQ(CountOf("measurement"), 0);
}

}  // namespace orvspc::engine::import
