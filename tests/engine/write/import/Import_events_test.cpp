// SPDX-License-Identifier: Apache-2.0
#include "engine/store/logs.h"
#include "tests/engine/store/store_fixture.h"

namespace orvspc::engine::import {
using namespace sql;
using namespace catalogue;
using namespace store;

namespace {

// Codes, events, states and where a process belongs.
class ImportEventsTest : public StoreTest {
 protected:
  std::vector<EventRow> Events(FlatSelection& selection) {
    std::vector<EventRow> rows;
    const auto cells = selection.Filter();
    Opened()->ReadOrThrow(
        [&](Connection& db) { rows = SelectEvents(db, Opened()->Cache(), selection.info, cells); });
    return rows;
  }
  std::string Text(const char* sql) {
    std::string text;
    Opened()->ReadOrThrow([&](Connection& db) {
      Query query(db, sql);
      while (query.Step()) text += std::string(query.Text(0)) + ";";
    });
    return text;
  }
};

TEST_F(ImportEventsTest, CodesHaveTextFactorAndGroups) {
  const auto report = Import(
      "code,name,group,factor\nD1,Scratch,Surface,2.5\nD1,,Costly,\nD2,Dent,Surface,\nD3,,,\n",
      ImportKind::Defects);
  EXPECT_EQ(report.rows, 4);
  EXPECT_EQ(report.new_names, 5);  // three codes, two groups
  EXPECT_EQ(Text("SELECT name || ' ' || text || ' ' || CAST(10 * factor AS INTEGER) FROM defect "
                 "ORDER BY id"),
            "D1 Scratch 25;D2 Dent 10;D3  10;");
  const auto groups = Data().Groups(ItemKind::Defect);
  ASSERT_EQ(groups.size(), 2u);
  EXPECT_EQ(groups[1].name, "Surface");
  EXPECT_EQ(groups[1].members.size(), 2u);
}

TEST_F(ImportEventsTest, ALaterLineTakesOverWhatItGives) {
  Import("code,name,factor\nA1,Worn tool,3\n", ImportKind::AccCodes);
  const ImportOptions why{.reason = "was wrong"};
  Import("code,name,factor\nA1,,4\n", ImportKind::AccCodes, why);
  Import("code,name\nA1,Broken tool\n", ImportKind::AccCodes, why);
  EXPECT_EQ(Text("SELECT name || ' ' || text || ' ' || CAST(10 * factor AS INTEGER) FROM acc_code"),
            "A1 Broken tool 40;");
  Import("code,group\nC1,Quick\n", ImportKind::CacCodes);
  EXPECT_EQ(Data().Groups(ItemKind::CacCode).size(), 1u);
  EXPECT_TRUE(Data().Groups(ItemKind::AccCode).empty());
}

TEST_F(ImportEventsTest, StateCodesHaveATypeByWordOrNumber) {
  Import("code,type,factor\nRun,run,\nIdle,IDLE,0.5\nDown,7000,\n", ImportKind::StateCodes);
  EXPECT_EQ(Text("SELECT name || ' ' || type || ' ' || CAST(10 * factor AS INTEGER) FROM "
                 "state_code ORDER BY id"),
            "Run 2000 10;Idle 5000 5;Down 7000 10;");
}

TEST_F(ImportEventsTest, PartsHaveAWeight) {
  Import("part,factor\nA,2.5\nB,\nA,2.5\nC,0\n", ImportKind::Parts);
  const auto weights = [&] {
    return Text("SELECT name || ' ' || CAST(10 * factor AS INTEGER) FROM part ORDER BY id");
  };
  EXPECT_EQ(weights(), "A 25;B 10;C 0;");
  const auto report = Import("factor,part\n3,B\n,A\n4,D\n", ImportKind::Parts);
  EXPECT_EQ(report.rows, 3);
  EXPECT_EQ(report.new_names, 1);
  EXPECT_EQ(weights(), "A 25;B 30;C 0;D 40;");
  EXPECT_EQ(ImportKindFromWord("parts"), ImportKind::Parts);
}

TEST_F(ImportEventsTest, ProcessesBelongSomewhere) {
  Import("process,company,site,production-unit\nP1,Works,North,Line 1\nP2,Works,,\n",
         ImportKind::Processes);
  Import("process,site\nP2,South\n", ImportKind::Processes);
  EXPECT_EQ(
      Text("SELECT p.name || ' ' || c.name || ' ' || s.name || ' ' || "
           "coalesce(u.name, '-') FROM process p JOIN company c ON c.id = p.company JOIN site s "
           "ON s.id = p.site LEFT JOIN production_unit u ON u.id = p.production_unit "
           "ORDER BY p.id"),
      "P1 Works North Line 1;P2 Works South -;");
  EXPECT_EQ(ItemKindFromWord("companies"), ItemKind::Company);
  EXPECT_EQ(ItemKindFromWord("production-units"), ItemKind::ProductionUnit);
}

TEST_F(ImportEventsTest, AnEventArrivesWithEverythingGiven) {
  Import(
      "type,time,name,end,process,part,test,subgroup-time,employee,acc,acc-employee,acc-time,cac,"
      "cac-employee,cac-time,open\n"
      "downtime,2024-01-01T08:00:00,Jam,2024-01-01T09:00:00,P,A,T,2024-01-01T07:55:00,Eve,A1,Bob,"
      "2024-01-01T08:10:00,C1,Eve,2024-01-01T08:40:00,none\n"
      "2,2024-01-02,,,,,,,,,,,,,,acc cac\n",
      ImportKind::Events);
  FlatSelection all;
  const auto rows = Events(all);
  ASSERT_EQ(rows.size(), 2u);
  const auto& jam = rows[0];
  constexpr std::int32_t kEight = 1704096000;
  EXPECT_EQ(jam.type, etDonwtime);
  EXPECT_EQ(jam.time, kEight);
  EXPECT_EQ(jam.finish, kEight + 3600);
  EXPECT_EQ(jam.subgroup_time, kEight - 300);
  EXPECT_EQ(jam.acc_time, kEight + 600);
  EXPECT_EQ(jam.cac_time, kEight + 2400);
  EXPECT_EQ(jam.flag, 0);
  EXPECT_EQ(Data().Name(ItemKind::EventName, jam.name), "Jam");
  EXPECT_EQ(Data().Name(ItemKind::AccCode, jam.acc), "A1");
  EXPECT_EQ(Data().Name(ItemKind::CacCode, jam.cac), "C1");
  EXPECT_EQ(Data().Name(ItemKind::Employee, jam.acc_employee), "Bob");
  EXPECT_EQ(jam.employee, jam.cac_employee);
  EXPECT_EQ(jam.process, Id(ItemKind::Process, "P"));
  EXPECT_EQ(jam.part, Id(ItemKind::Part, "A"));
  EXPECT_EQ(jam.test, Id(ItemKind::Test, "T"));
  const auto& bare = rows[1];
  EXPECT_EQ(bare.type, etGeneral);
  EXPECT_EQ(bare.flag, efOpenACC | efOpenCAC);
  EXPECT_EQ(bare.name + bare.process + bare.part + bare.test + bare.employee + bare.acc, 0);
  EXPECT_FALSE(bare.finish || bare.acc_time || bare.cac_time || bare.subgroup_time);
}

TEST_F(ImportEventsTest, ASelectionTakesTheNewestEventsThatMatch) {
  Import(
      "type,time,process,employee\n"
      "general,2024-01-01,P,Eve\ngeneral,2024-01-02,Q,Eve\ngeneral,2024-01-03,P,Bob\n"
      "general,2024-01-10,P,Eve\n",
      ImportKind::Events);
  struct Row {
    const char* reason;
    std::function<void(FlatSelection&)> change;
    std::vector<std::int32_t> ids;
  };
  const auto p = Id(ItemKind::Process, "P"), eve = Id(ItemKind::Employee, "Eve");
  const std::vector<Row> rows{
      {"everything, oldest first", [](FlatSelection&) {}, {1, 2, 3, 4}},
      {"one process", [&](FlatSelection& s) { s.List(FlatSelection::kProcess, {p}); }, {1, 3, 4}},
      {"one employee",
       [&](FlatSelection& s) { s.List(FlatSelection::kEmployee, {eve}); },
       {1, 2, 4}},
      {"the newest two", [](FlatSelection& s) { s.info.Count = 2; }, {3, 4}},
      {"the newest of a process",
       [&](FlatSelection& s) {
         s.List(FlatSelection::kProcess, {p});
         s.info.Count = 2;
       },
       {3, 4}},
      {"both ends of a range belong to it",
       [](FlatSelection& s) {
         s.info.TimeType = drttStatic;
         s.info.TimeStart = 1704153600;
         s.info.TimeEnd = 1704240000;
       },
       {2, 3}},
      {"the last seven days before the newest that matches",
       [](FlatSelection& s) {
         s.info.TimeType = drttMostRecent;
         s.info.TimePeriod = drpDay;
         s.info.TimeCount = 7;
       },
       {3, 4}},
  };
  for (const auto& row : rows) {
    FlatSelection selection;
    row.change(selection);
    const auto before = selection.info;
    std::vector<std::int32_t> ids;
    for (const auto& event : Events(selection)) ids.push_back(event.id);
    EXPECT_EQ(ids, row.ids) << row.reason;
    if (before.TimeType == drttMostRecent && before.TimeCount > 0) {
      EXPECT_EQ(selection.info.TimeEnd, 1704844800) << row.reason;
      EXPECT_EQ(selection.info.TimeStart, 1704844800 - 7 * 86400) << row.reason;
    }
    EXPECT_EQ(selection.info.Status, 7) << row.reason;
  }
}

TEST_F(ImportEventsTest, StatesFollowEachOther) {
  Import("code,type\nRun,run\n", ImportKind::StateCodes);
  const auto report = Import(
      "process,time,state,type\nP,2024-01-01T10:00:00,Run,\nP,2024-01-01T11:00:00,Broken,"
      "unscheduled-down\nP,2024-01-01T12:00:00,Run,run\n",
      ImportKind::States);
  EXPECT_EQ(report.rows, 3);
  EXPECT_EQ(Text("SELECT l.time || ' ' || c.name || ' ' || c.type FROM state_log l "
                 "JOIN state_code c ON c.id = l.state_code ORDER BY l.time"),
            "1704103200 Run 2000;1704106800 Broken 7000;1704110400 Run 2000;");
}

TEST_F(ImportEventsTest, WhatMakesNoSenseIsRefusedWithItsPlaceAndChangesNothing) {
  Import("code,type\nRun,run\n", ImportKind::StateCodes);
  Import("process,time,state\nP,2024-01-01,Run\n", ImportKind::States);
  Import("type,time,name,process\ngeneral,2024-01-01,Jam,P\n", ImportKind::Events);
  struct Row {
    ImportKind kind;
    const char* text;
    const char* place;  // line, column and value
    const char* reason;
  };
  const Row rows[] = {
      {ImportKind::Defects, "name\nScratch\n", "line 1, column \"code\"", "lacks this column"},
      {ImportKind::Defects, "code,factor\nD,-1\n", "line 2, column \"factor\", value \"-1\"",
       "below 0"},
      {ImportKind::Defects, "code,factor\nD,NaN\n", "line 2, column \"factor\"", ""},
      {ImportKind::Defects, "code,factor\nD,1\nD,2\n", "line 3, column \"factor\"", "earlier line"},
      {ImportKind::Defects, "code,name\nD,x\nD,y\n", "line 3, column \"name\"", "earlier line"},
      {ImportKind::Defects, "code\n\"\"\n", "line 2, column \"code\"", "empty"},
      {ImportKind::StateCodes, "code,name\nIdle,x\n", "line 2, column \"type\"", "needs its type"},
      {ImportKind::StateCodes, "code,type\nIdle,lazy\n", "column \"type\", value \"lazy\"",
       "must be one of none, start, run"},
      {ImportKind::StateCodes, "code,type\nI,idle\nI,run\n", "line 3, column \"type\"",
       "earlier line"},
      {ImportKind::Parts, "part\nA\n", "line 1, column \"factor\"", "lacks"},
      {ImportKind::Parts, "part,factor\n,2\n", "line 2, column \"part\"", "empty"},
      {ImportKind::Parts, "part,factor\nA,-0.5\n", "line 2, column \"factor\", value \"-0.5\"",
       "below 0"},
      {ImportKind::Parts, "part,factor\nA,heavy\n", "column \"factor\", value \"heavy\"",
       "no number"},
      {ImportKind::Parts, "part,factor\nA,1\nA,2\n", "line 3, column \"factor\"",
       "earlier line of the same part"},
      {ImportKind::Processes, "company\nX\n", "line 1, column \"process\"", "lacks"},
      {ImportKind::Events, "type,time\nparty,2024-01-01\n", "column \"type\", value \"party\"",
       "must be one of subgroup-alarm"},
      {ImportKind::Events, "type,time\n8,2024-01-01\n", "column \"type\", value \"8\"", "one of"},
      {ImportKind::Events, "type,time\ngeneral,yesterday\n", "column \"time\", value \"yesterday\"",
       ""},
      {ImportKind::Events, "type,time\ngeneral,2040-01-01\n", "column \"time\"", ""},
      {ImportKind::Events, "type,time,end\ngeneral,2024-01-02,2024-01-01\n",
       "line 2, column \"end\", value \"2024-01-01\"", "before the time of the event"},
      {ImportKind::Events, "type,time,acc-time\ngeneral,2024-01-02,2024-01-01\n",
       "column \"acc-time\"", "before"},
      {ImportKind::Events, "type,time,cac-time\ngeneral,2024-01-02,2024-01-01\n",
       "column \"cac-time\"", "before"},
      {ImportKind::Events, "type,time,open\ngeneral,2024-01-02,yes\n", "column \"open\"",
       "must be acc"},
      {ImportKind::Events, "type,time,name,process\ngeneral,2024-01-01,Jam,P\n", "column \"time\"",
       "already stored"},
      {ImportKind::Events, "type,time\ngeneral,2024-01-03\ngeneral,2024-01-03\n",
       "line 3, column \"time\"", "already stored"},
      {ImportKind::States, "process,time,state\nP,2024-01-02,Runn\n",
       "line 2, column \"state\", value \"Runn\"", "no state of the database"},
      {ImportKind::States, "process,time,state,type\nP,2024-01-02,Run,idle\n", "column \"type\"",
       "differs from the type"},
      {ImportKind::States, "process,time,state\nP,2024-01-01,Run\n", "column \"time\"", "already"},
      {ImportKind::States, "process,time,state\nQ,2024-01-02,Run\nQ,2024-01-02,Run\n",
       "line 3, column \"time\"", "already"},
      {ImportKind::Groups, "kind,group,name\nrequirement,G,x\n", "column \"kind\"", "grouped"},
      {ImportKind::Groups, "kind,group,name\nstate-code,Running,Jog\n",
       "line 2, column \"name\", value \"Jog\"", "import state-codes first"},
      {ImportKind::Defects, "code,factor\nD,1e308\n", "column \"factor\", value \"1e308\"",
       "must not be above 1000000000"},
      {ImportKind::Parts, "part,factor\nA,1000000001\n", "column \"factor\"", "not be above"},
      {ImportKind::Processes, "process,site\nQ,North\nQ,South\n",
       "line 3, column \"process\", value \"Q\"", "earlier line"},
      {ImportKind::Events, "type,time,acc,open\ngeneral,2024-01-02,A1,acc\n",
       "column \"open\", value \"acc\"", "must not name acc"},
      {ImportKind::Events, "type,time,cac,open\ngeneral,2024-01-02,C1,acc cac\n", "column \"open\"",
       "must not name cac"},
  };
  const auto state = [&] {
    return Text(
        "SELECT (SELECT count(*) FROM event) || ' ' || (SELECT count(*) FROM state_log) || ' ' || "
        "(SELECT count(*) FROM defect) || ' ' || (SELECT count(*) FROM state_code) || ' ' || "
        "(SELECT count(*) FROM process)");
  };
  const auto before = state();
  EXPECT_EQ(before, "1 1 0 1 1;");
  for (const auto& row : rows) {
    const auto failure = ImportFailure(row.text, row.kind);
    EXPECT_NE(failure.find(row.place), std::string::npos) << row.text << failure;
    EXPECT_NE(failure.find(row.reason), std::string::npos) << row.text << failure;
    EXPECT_EQ(failure.find('\n'), std::string::npos) << failure;
    EXPECT_EQ(state(), before) << row.text;
  }
}

TEST_F(ImportEventsTest, EveryKindHasItsWord) {
  const auto kinds = ImportKinds();
  for (std::size_t i = 0; i < kinds.size(); ++i) {
    EXPECT_EQ(kinds[i].kind, static_cast<ImportKind>(i)) << kinds[i].word;
    EXPECT_EQ(ImportKindFromWord(kinds[i].word), static_cast<ImportKind>(i)) << kinds[i].word;
  }
  EXPECT_GE(kinds.size(), 15u);
}

}  // namespace
}  // namespace orvspc::engine::import
