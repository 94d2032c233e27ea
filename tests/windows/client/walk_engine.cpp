// SPDX-License-Identifier: Apache-2.0
// The objects of the engine that a host can use by itself.
#include "tests/windows/client/Walk.h"

namespace orvspc::windows::tests {

namespace {

void Rules(Walk& walk, const Object& database) {
  walk.Section("RuleDef");
  const auto rules = Create("RuleDef");
  walk.List(rules);
  walk.SayLet(rules, "FirstSetting", {100});
  walk.SayLet(rules, "SecondSetting", {256});
  walk.Say(rules, "Read", {database, 0});
  walk.List(rules);
  const auto other = Create("RuleDef");
  walk.Say(rules, "MoveFirst");
  walk.Say(other, "Add", {rules});
  walk.List(other);
}

void Tables(Walk& walk) {
  for (const char* type : {"SpecLim", "CtrlLim", "DefOpp"}) {
    walk.Section(type);
    const auto table = Create(type), row = Create(type);
    walk.Say(table, "MoveFirst");
    for (std::int32_t line = 1; line <= 2; ++line) {
      walk.SayLet(row, "Value", {std::string("F_PART"), line});
      walk.SayLet(row, "Value", {std::string("F_USL"), 1.5 * line});
      walk.SayLet(row, "Value", {std::string("Name"), std::string("täxt ") + "½"});
      walk.Say(table, "Add", {row});
    }
    for (const char* move : {"MoveFirst", "MoveNext", "MoveNext"}) {
      walk.Say(table, move);
      for (const char* column : {"F_PART", "F_USL", "Name", "F_LSL"})
        walk.Say(table, "Value", {std::string(column)});
    }
  }
}

struct RecordClass {
  const char* type;
  const char* kind;
  const char* name;
};

constexpr RecordClass kRecords[] = {
    {"Part", "part", "Wafer"},
    {"Process", "process", "Capper"},
    {"Test", "test", "Fill volume"},
    {"SamplingRequirement", "requirement", "Volume of filler 1 every 2 hours"},
    {"StateCode", "state-code", "Running"},
};

void Records(Walk& walk, const Object& database) {
  for (const auto& each : kRecords) {
    walk.Section(each.type);
    const auto record = Create(each.type), list = Create(each.type);
    walk.SayLet(record, "KeyMode", {1});
    for (const auto& id :
         {walk.Say(database, "Find", {std::string(each.kind), std::string(each.name)}), Value(1),
          Value(100000)}) {
      walk.SayLet(record, "ID", {id});
      if (std::get<bool>(walk.Say(record, "Read", {database, 0}))) walk.Say(list, "Add", {record});
      walk.Reads(record);
    }
    walk.List(list);
  }
}

void StateLog(Walk& walk, const Object& database) {
  walk.Section("PrcsStateLog");
  const auto log = Create("PrcsStateLog"), list = Create("PrcsStateLog");
  walk.SayLet(log, "RowLimit", {5});
  walk.SayLet(log, "KeyMode", {1});
  walk.SayLet(log, "ProcessID",
              {Call(database, "Find", {std::string("process"), std::string("Capper")})});
  walk.SayLet(log, "Time", {45390.0});
  walk.SayLet(log, "QueryType", {259});
  walk.Say(log, "Read", {database, 0});
  walk.Reads(log);
  walk.Say(list, "Add", {log});
  walk.List(log);
  walk.List(list);
}

// What an analysis of a damaged file keeps, and what comes beside results.
void Kept(Walk& walk) {
  walk.Section("Database, failures and notes");
  const auto damaged = Create("Database");
  walk.Say(damaged, "TakeFailure");
  walk.Say(damaged, "TakeNotes");
  walk.Say(damaged, "FailureNumber");
  walk.Say(damaged, "FailureText");
  Call(damaged, "Open", {std::string("damaged.db")});
  walk.Say(damaged, "TakeFailure");
  const auto analysis = Create("CCAnalysis");
  const auto chart =
      walk.SayObject(analysis, "AnalyzeDataSelect",
                     {damaged, Selection(damaged, "Flour 500 g"), Create("CCProcessing")});
  walk.Say(chart, "TotalSubgroups");
  for (int round = 1; round <= 2; ++round) {
    walk.Say(damaged, "TakeFailure");
    walk.Say(damaged, "FailureNumber");
    walk.Say(damaged, "FailureText");
  }
  // A selection without subgroups, which is a note.
  Call(damaged, "TakeNotes");
  const auto select = Selection(damaged, "Flour 500 g");
  SetRange(select, 40000.0, 40001.0);
  walk.SayObject(analysis, "AnalyzeDataSelect", {damaged, select, Create("CCProcessing")});
  walk.Say(damaged, "TakeFailure");
  walk.Say(damaged, "TakeNotes");
  walk.Say(damaged, "TakeNotes");
}

void Groups(Walk& walk, const Object& database) {
  walk.Section("Database, groups and descriptors");
  walk.Say(database, "Import", {std::string("groups.csv"), std::string("groups")});
  const std::string part = "part", flour = "Flour 500 g", bags = "Bags";
  walk.Say(database, "FindGroup", {part, bags});
  walk.Say(database, "FindGroup", {part, flour});
  walk.Say(database, "FindGroup", {std::string("test"), bags});
  walk.Say(database, "FindGroup", {std::string("no such kind"), bags});
  const Value colour = walk.Say(database, "FindDescriptorGroup", {std::string("Colour")});
  walk.Say(database, "FindDescriptorGroup", {std::string("Taste")});
  walk.Say(database, "FindDescriptor", {colour, std::string("white")});
  walk.Say(database, "FindDescriptor", {colour, std::string("loud")});
  walk.Say(database, "FindDescriptor", {99, std::string("white")});
}

}  // namespace

void WalkEngine(Walk& walk, const Object& database) {
  walk.Section("Database");
  const auto made = Create("Database");
  walk.Say(made, "ConnectionHandle");
  walk.Say(made, "Open", {std::string("missing.db")});
  walk.Say(made, "Create", {std::string("new.db")});
  walk.Say(made, "Import", {std::string("flour.csv"), std::string("values")});
  walk.Say(made, "Import", {std::string("flour-limits.csv"), std::string("limits")});
  walk.Say(made, "Import", {std::string("flour.csv"), std::string("values")});
  walk.Say(made, "Import", {std::string("flour.csv"), std::string("no such kind")});
  walk.Say(made, "Find", {std::string("part"), std::string("Flour 500 g")});
  walk.Say(made, "Find", {std::string("part"), std::string("Sugar")});
  walk.Say(made, "Find", {std::string("no such kind"), std::string("Sugar")});
  walk.Note("Database.ConnectionHandle is not 0",
            std::get<std::int32_t>(Get(made, "ConnectionHandle")) != 0);
  walk.Note("Database.ConnectionHandle differs",
            std::get<std::int32_t>(Get(made, "ConnectionHandle")) !=
                std::get<std::int32_t>(Get(database, "ConnectionHandle")));
  walk.Say(made, "DatabaseValue", {5});
  walk.Say(made, "DatabaseValue", {0});
  walk.Say(made, "Import", {std::string("flour-target.csv"), std::string("limits")});
  walk.Say(made, "TakeNotes");
  walk.Say(made, "TakeNotes");
  Groups(walk, made);
  Kept(walk);
  Rules(walk, database);
  Tables(walk);
  Records(walk, database);
  StateLog(walk, database);
  walk.Section("helpers");
  const auto time = Create("TimeConversion");
  walk.Say(time, "TimeStampToDate", {1710000000});
  walk.Say(time, "DateToTimeStamp", {45000.25});
  walk.Say(time, "DateToTimeStamp", {1.0});
  const auto trimmer = Create("TextTrimmer");
  walk.SayChanged(trimmer, "TrimFixedString", std::string("padded text ½   "));
  walk.SayChanged(trimmer, "TrimFixedString", std::string());
  const auto log = Create("Error");
  walk.Say(log, "Log",
           {std::string("Walk.Log"), 13, std::string("a description"), std::string("a source"),
            std::string("an application")});
}

}  // namespace orvspc::windows::tests
