// SPDX-License-Identifier: Apache-2.0
// Events, process states and sampling compliance as a user sees them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "engine/dom/Dom.h"
#include "host/render/compliance/Compliance.h"
#include "host/render/core/Numbers.h"
#include "host/render/events/Events.h"
#include "host/render/states/States.h"
#include "tests/host/ParsedJson.h"
#include "tests/host/ProgramTest.h"

namespace orvspc::host {

using namespace render;
namespace {

using Kind = ParsedJson::Kind;
using Texts = std::vector<std::string>;

std::string Clock(int hour, int minute) {
  return "2024-03-04T" + std::string(hour < 10 ? "0" : "") + std::to_string(hour) + ":" +
         (minute < 10 ? "0" : "") + std::to_string(minute) + ":00";
}

// A day of a press that runs from 6 to 14 and from 15 to 23, and of a lathe. The press is to be
// sampled every hour; the samples of the windows 10 to 11 and 20 to 21 are missing.
class Summary : public ProgramTest {
 protected:
  void Import(const std::string& name, const std::string& text, const std::string& kind) {
    Write(name, text);
    const Outcome outcome = Run("import " + name + " --db q.db --kind " + kind);
    ASSERT_EQ(outcome.status, 0) << outcome.err;
  }
  void ImportDay() {
    std::string values = "part,process,test,subgroup,time,value\n";
    for (int hour = 6; hour < 23; ++hour)
      if (hour != 10 && hour != 14 && hour != 20)
        values += "Ring,Press,Diameter," + std::to_string(hour) + "," + Clock(hour, 30) + "," +
                  (hour % 2 == 0 ? "9.9\n" : "10.1\n");
    Import("values.csv", values, "values");
    Import("states.csv",
           "process,time,state,type\nPress," + Clock(6, 0) + ",Production,run\nLathe," +
               Clock(8, 0) + ",Turning,run\nPress," + Clock(14, 0) + ",Break,pause\nPress," +
               Clock(15, 0) + ",Production,run\nPress," + Clock(23, 0) + ",Jam,unscheduled-down\n",
           "states");
    Import("events.csv",
           "type,time,name,process,part,test,employee,acc,acc-employee,acc-time,open\n"
           "sampling-violation," +
               Clock(11, 0) + ",Sample missed,Press,Ring,Diameter,,,,,acc\ndowntime," +
               Clock(23, 0) + ",Jam at <feeder>,Press,,,Ann,feeder jammed,Bob," + Clock(23, 5) +
               ",\ngeneral," + Clock(9, 0) + ",Audit,,,,,,,,\n",
           "events");
    Import("requirements.csv",
           "process,test,kind,n,minutes,name\nPress,Diameter,interval,1,60,hourly\n",
           "requirements");
  }
  ParsedJson Json(const std::string& command) {
    const Outcome outcome = Run(command + " --db q.db --format json");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return ParseJson(outcome.out);
  }
};

constexpr const char* kDay = " --since 2024-03-04 --until 2024-03-04";

TEST_F(Summary, EventsInJsonHaveNamesBesideIdentifiers) {
  ImportDay();
  const ParsedJson document = Json("events");
  EXPECT_EQ(document.Keys(), (Texts{"DataSelect", "Events", "Notes"}));
  ASSERT_EQ(document.At("Events").elements.size(), 3U);
  EXPECT_EQ(document.At("Events[0]").Keys(), (Texts{"Evnt",
                                                    "EventType",
                                                    "Name",
                                                    "Empl",
                                                    "EmplName",
                                                    "EventTime",
                                                    "Prcs",
                                                    "PrcsName",
                                                    "Part",
                                                    "PartName",
                                                    "Test",
                                                    "TestName",
                                                    "Sgtm",
                                                    "ACC",
                                                    "ACCName",
                                                    "ACCEmployee",
                                                    "ACCEmployeeName",
                                                    "ACCTime",
                                                    "CAC",
                                                    "CACName",
                                                    "CACEmployee",
                                                    "CACEmployeeName",
                                                    "CACTime",
                                                    "Flag"}));
  EXPECT_EQ(document.At("Events[0].EventTime").text, Clock(9, 0));  // by time
  EXPECT_EQ(document.At("Events[0].Prcs").number, 0.0);
  EXPECT_EQ(document.At("Events[0].ACCTime").kind, Kind::Null);
  EXPECT_EQ(document.At("Events[1].Flag").number, 1.0);
  EXPECT_EQ(document.At("Events[2].EventType").number, 7.0);
  EXPECT_EQ(document.At("Events[2].Name").text, "Jam at <feeder>");
  EXPECT_EQ(document.At("Events[2].EmplName").text, "Ann");
  EXPECT_EQ(document.At("Events[2].ACCName").text, "feeder jammed");
  EXPECT_EQ(document.At("Events[2].ACCEmployeeName").text, "Bob");
  EXPECT_EQ(document.At("Events[2].ACCTime").text, Clock(23, 5));
}

TEST_F(Summary, EventsInTextTellWhatIsOpen) {
  ImportDay();
  const Outcome outcome = Run("events --db q.db");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out.rfind("3 events, 1 open\n", 0), 0U) << outcome.out;
  for (const char* piece : {"sampling-violation", "Press / Ring / Diameter  [open ACC]",
                            "by Ann; ACC: feeder jammed (Bob, 2024-03-04T23:05:00)"})
    EXPECT_NE(outcome.out.find(piece), std::string::npos) << piece;
}

TEST_F(Summary, EventsHaveTheirWholeNames) {
  ImportDay();
  const std::string name = "4 of 5 points in zone B or beyond on the same side";
  Import("long.csv", "type,time,name\ngeneral," + Clock(23, 30) + "," + name + "\n", "events");
  const ParsedJson document = Json("events");
  EXPECT_EQ(document.At("Events").elements.back().At("Name").text, name);
  std::string text = Run("events --db q.db").out;
  EXPECT_NE(text.find("same side"), std::string::npos) << text;
  EXPECT_NE(text.find("Audit"), std::string::npos) << "short ones, too";
}

TEST_F(Summary, MaximumAndProcessNarrowTheEvents) {
  ImportDay();
  EXPECT_EQ(Json("events --max 1").At("Events[0].EventTime").text, Clock(23, 0));
  EXPECT_EQ(Json("events --process Press").At("Events").elements.size(), 2U);
}

TEST_F(Summary, StoredEventsAreShownWithoutTheDatabase) {
  ImportDay();
  ASSERT_EQ(Run("events --db q.db -o e.xml").status, 0);
  const Outcome again = Run("show e.xml --format xml");
  EXPECT_EQ(again.out, Text(folder_.File("e.xml")));
  const ParsedJson document = ParseJson(Run("show e.xml --format json").out);
  EXPECT_EQ(document.At("DataSelect").kind, Kind::Null);
  EXPECT_EQ(document.At("Events[2].EventTime").text, Clock(23, 0));
  EXPECT_EQ(document.At("Events[2].Evnt").number, 0.0);
  EXPECT_NE(Run("show e.xml").out.find("downtime"), std::string::npos);
}

TEST_F(Summary, AStoredSetWithoutEventsIsRefused) {
  ImportDay();
  const Outcome empty = Run("events --db q.db --since 2025-01-01 -o e.xml");
  EXPECT_EQ(empty.status, 0);
  EXPECT_EQ(empty.err, "no data: 3 events without --since 2025-01-01\n");
  EXPECT_EQ(Text(folder_.File("e.xml")), "<EventData/>\n");
  const Outcome shown = Run("show e.xml");
  EXPECT_EQ(shown.status, 1);
  EXPECT_EQ(shown.err, "orvspc show: Subscript out of range\n");
}

TEST_F(Summary, StatesInJsonHaveLogEventsAndSubgroups) {
  ImportDay();
  const ParsedJson document = Json(std::string("states") + kDay);
  EXPECT_EQ(document.Keys(), (Texts{"DataSelect", "StateLog", "Events", "Subgroups", "Notes"}));
  ASSERT_EQ(document.At("StateLog").elements.size(), 5U);
  EXPECT_EQ(document.At("StateLog[1]").Keys(),
            (Texts{"Prcs", "PrcsName", "Time", "StateID", "StateName", "StateType"}));
  EXPECT_EQ(document.At("StateLog[1].PrcsName").text, "Lathe");
  EXPECT_EQ(document.At("StateLog[4].StateName").text, "Jam");
  EXPECT_EQ(document.At("StateLog[4].StateType").number, 7000.0);
  EXPECT_EQ(document.At("StateLog[4].Time").text, Clock(23, 0));
  EXPECT_EQ(document.At("Events").elements.size(), 3U);
  EXPECT_EQ(document.At("Subgroups").elements.size(), 14U);
}

TEST_F(Summary, EachNamedProcessHasItsLog) {
  ImportDay();
  EXPECT_EQ(Json(std::string("states --process Press") + kDay).At("StateLog").elements.size(), 4U);
  const ParsedJson both = Json(std::string("states --process Press --process Lathe") + kDay);
  EXPECT_EQ(both.At("StateLog").elements.size(), 5U);
  EXPECT_EQ(both.At("StateLog[1].PrcsName").text, "Lathe");
}

TEST_F(Summary, ALogWithoutRecordsIsNull) {
  ImportDay();
  Import("saw.csv",
         "part,process,test,subgroup,time,value\nBeam,Saw,Length,1," + Clock(9, 0) + ",1\n",
         "values");
  EXPECT_EQ(Json("states --since 2025-01-01 --until 2025-01-02 --process Saw").At("StateLog").kind,
            Kind::Null);
}

TEST_F(Summary, StatesSinceATimeGoOnUntilNow) {
  ImportDay();
  const ParsedJson document = Json("states --since 2024-03-04");
  EXPECT_EQ(document.At("StateLog").elements.size(), 5U);
  EXPECT_GT(document.At("DataSelect.DateRangeEnd").text, Clock(23, 0));
  EXPECT_EQ(Json("states --until 2024-03-04").At("StateLog").elements.size(), 5U);
  // A clock that was wrong: the newest thing lies after now.
  Import("late.csv",
         "part,process,test,subgroup,time,value\nRing,Press,Diameter,99,2037-12-30T10:00:00,10\n",
         "values");
  EXPECT_EQ(Json("states --since 2024-03-04").At("DataSelect.DateRangeEnd").text,
            "2037-12-30T10:00:00");
  Import("later.csv", "type,time,name\ngeneral,2037-12-31T10:00:00,Party\n", "events");
  EXPECT_EQ(Json("states --since 2024-03-04").At("DataSelect.DateRangeEnd").text,
            "2037-12-31T10:00:00");
}

TEST_F(Summary, TheStateInForceIsThatOfAnyTimeBefore) {
  ImportDay();
  struct Row {
    const char* command;
    Texts processes, states;
    const char* reason;
  };
  for (const Row& row :
       {Row{"states --since 2024-03-06 --until 2024-03-07",
            {"Lathe", "Press"},
            {"Turning", "Jam"},
            "nothing in the range, every process"},
        {"states --since 2024-03-06 --until 2024-03-07 --process Lathe",
         {"Lathe"},
         {"Turning"},
         "nothing in the range, one process"},
        {"states --since 2030-01-01 --until 2030-01-02",
         {"Lathe", "Press"},
         {"Turning", "Jam"},
         "more than five years later"},
        {"states --since 2024-03-04T14:00:01 --until 2024-03-04T14:30 --process Lathe --process "
         "Press",
         {"Lathe", "Press"},
         {"Turning", "Break"},
         "a second after a record"},
        {"states --since 2024-03-04T07:00 --until 2024-03-04T07:30",
         {"Press"},
         {"Production"},
         "the other process begins later"}}) {
    const ParsedJson document = Json(row.command);
    Texts processes, states;
    for (const auto& record : document.At("StateLog").elements) {
      processes.push_back(record.At("PrcsName").text);
      states.push_back(record.At("StateName").text);
    }
    EXPECT_EQ(processes, row.processes) << row.reason;
    EXPECT_EQ(states, row.states) << row.reason;
    EXPECT_TRUE(document.At("Notes").elements.empty()) << row.reason;
  }
  const Outcome text = Run("states --db q.db --since 2024-03-06 --until 2024-03-07");
  EXPECT_NE(text.out.find("Press     UUUU"), std::string::npos) << text.out;
}

// Records every minute, 10000 of which are read: the last of those at 166:39 hours.
TEST_F(Summary, ALaneEndsWhereItsLogWasCut) {
  std::string log = "process,time,state,type\n";
  for (int i = 0; i < 10'100; ++i) {
    const int day = 4 + i / 1440, hour = i / 60 % 24, minute = i % 60;
    std::string time = Clock(hour, minute);
    time.replace(8, 2, (day < 10 ? "0" : "") + std::to_string(day));
    for (const char* process : {"Lathe", "Press"})
      log += std::string(process) + "," + time + (i % 2 == 0 ? ",Work,run\n" : ",Rest,pause\n");
  }
  Import("log.csv", log, "states");
  const std::string days = " --since 2024-03-04 --until 2024-03-14";
  const ParsedJson one = Json("states --process Press" + days);
  EXPECT_EQ(one.At("StateLog").elements.size(), 10'000U);
  ASSERT_EQ(one.At("Notes").elements.size(), 1U);
  EXPECT_EQ(one.At("Notes[0].Code").text, "states-cut");
  const Outcome text = Run("states --db q.db --process Press" + days);
  // 5000 stays at work and 4999 at rest; the last record holds for a time that is not known.
  EXPECT_NE(text.out.find("   4999  83.32     50.0\n"), std::string::npos) << text.out;
  EXPECT_NE(text.out.find("   5000  83.33     50.0\n"), std::string::npos) << text.out;
  EXPECT_NE(text.out.find("note: The log of states"), std::string::npos) << text.out;

  const ParsedJson both = Json("states --process Press --process Lathe" + days);
  ASSERT_EQ(both.At("Notes").elements.size(), 2U);
  EXPECT_EQ(both.At("Notes[0].Stream").text, "Press");
  EXPECT_EQ(both.At("Notes[1].Stream").text, "Lathe");
  const Outcome every = Run("states --db q.db" + days);  // each as far as alone
  EXPECT_NE(every.out.find("Lathe    Rest"), std::string::npos) << every.out;
  EXPECT_NE(every.out.find("   4999  83.32"), std::string::npos) << every.out;
  EXPECT_NE(every.out.find("   5000  83.33"), std::string::npos) << every.out;

  const ParsedJson whole = Json("states --process Press --since 2024-03-04 --until 2024-03-05");
  EXPECT_EQ(whole.At("StateLog").elements.size(), 2880U);
  EXPECT_TRUE(whole.At("Notes").elements.empty()) << "what was not read lies after the range";
}

TEST_F(Summary, TheStateInForceAtTheStartIsDrawn) {
  ImportDay();
  // The latest record before noon is the lathe's; the press began at 6.
  const Outcome outcome = Run("states --db q.db --since 2024-03-04T12:00 --until 2024-03-04");
  EXPECT_NE(outcome.out.find("Press     RRRR"), std::string::npos) << outcome.out;
  EXPECT_NE(outcome.out.find("Lathe     RRRR"), std::string::npos) << outcome.out;
}

TEST_F(Summary, StatesAreDrawnInEveryFormat) {
  ImportDay();
  const std::string states = std::string("states --db q.db") + kDay;
  const Outcome text = Run(states);
  EXPECT_NE(text.out.find("14 subgroups"), std::string::npos) << text.out;
  // 16 of the 18 hours whose state is known.
  EXPECT_NE(text.out.find("  16.00     88.9\n"), std::string::npos) << text.out;
  const Outcome svg = Run(states + " --format svg");
  EXPECT_TRUE(engine::dom::MakeXmlDocument()->LoadXml(svg.out));
  EXPECT_NE(svg.out.find("Jam at &lt;feeder&gt;"), std::string::npos);
  EXPECT_NE(svg.out.find("Press: Break (pause)"), std::string::npos);
  const Outcome html = Run(states + " --format html");
  EXPECT_NE(html.out.find("Time in each state"), std::string::npos);
  EXPECT_NE(html.out.find("<td>Jam</td><td>unscheduled-down</td>"), std::string::npos);
}

TEST_F(Summary, StatesAndComplianceHaveNoXmlAndSayWhatTheyHave) {
  ImportDay();
  for (const std::string command : {"states", "compliance"}) {
    for (const std::string option : {" --format xml", " -o s.xml"}) {
      const Outcome outcome = Run(command + " --db q.db" + option);
      EXPECT_EQ(outcome.status, 2);
      EXPECT_EQ(outcome.err,
                "orvspc " + command +
                    ": there is no format \"xml\" here, only text, json, svg or html\n");
      EXPECT_FALSE(Exists("s.xml"));
    }
  }
}

// By hand: 16 windows of an hour while the press runs, 14 with a sample.
TEST_F(Summary, ComplianceCountsTheWindowsWhileThePressRuns) {
  ImportDay();
  const ParsedJson document = Json(std::string("compliance") + kDay);
  EXPECT_EQ(document.Keys(), (Texts{"DataSelect", "Rows", "Shifts", "Notes"}));
  const auto& rows = document.At("Rows").elements;
  ASSERT_FALSE(rows.empty());
  EXPECT_EQ(rows[0].Keys(), (Texts{"ResultType",
                                   "Part",
                                   "Process",
                                   "Test",
                                   "StateType",
                                   "State",
                                   "SmplReq",
                                   "StartTime",
                                   "Duration",
                                   "SamplesCollected",
                                   "SamplesMissed",
                                   "SamplesExpected",
                                   "PercentComplete",
                                   "TestCount",
                                   "MinimumValue",
                                   "MaximumValue",
                                   "AverageValue",
                                   "StandardDeviation",
                                   "PP",
                                   "PPK",
                                   "PercentAboveUSL",
                                   "PercentBelowLSL",
                                   "PercentOOS",
                                   "PPM",
                                   "PercentAboveLSC",
                                   "PercentBelowLSC",
                                   "PercentBelowMAVL",
                                   "PercentBelowT1L",
                                   "PercentBelowT2L",
                                   "PercentAboveMAVU",
                                   "PercentAboveT1U",
                                   "PercentAboveT2U"}));
  const ParsedJson& whole = rows.back();
  EXPECT_EQ(whole.At("ResultType").number, 16.0);
  EXPECT_EQ(whole.At("SamplesExpected").number, 16.0);
  EXPECT_EQ(whole.At("SamplesCollected").number, 14.0);
  EXPECT_EQ(whole.At("SamplesMissed").number, 2.0);
  EXPECT_EQ(whole.At("PercentComplete").number, 87.5);
  EXPECT_EQ(whole.At("StartTime").kind, Kind::Null);
  EXPECT_EQ(whole.At("AverageValue").kind, Kind::Null);
}

TEST_F(Summary, OneLimitHasAnIndexAndNoLimitNone) {
  ImportDay();
  // Of the stay from 6 to 14: 9.9 at 6, 8 and 12, 10.1 at 7, 9, 11 and 13.
  const double mean = (3 * 9.9 + 4 * 10.1) / 7;
  const double deviation =
      std::sqrt((3 * std::pow(9.9 - mean, 2) + 4 * std::pow(10.1 - mean, 2)) / 6);
  const std::string compliance = std::string("compliance") + kDay;
  EXPECT_EQ(Json(compliance).At("Rows[1].PP").kind, Kind::Null);
  EXPECT_EQ(Json(compliance).At("Rows[1].PPK").kind, Kind::Null);
  Import("limits.csv", "part,test,usl\nRing,Diameter,10.5\n", "limits");
  const ParsedJson document = Json(compliance);
  EXPECT_NEAR(document.At("Rows[1].PP").number, (10.5 - mean) / (3 * deviation), 1e-9);
  EXPECT_NEAR(document.At("Rows[1].PPK").number, (10.5 - mean) / (3 * deviation), 1e-9);
  EXPECT_EQ(document.At("Rows[1].PercentOOS").kind, Kind::Null);
  EXPECT_EQ(document.At("Rows").elements.back().At("PP").kind, Kind::Null);
}

TEST_F(Summary, ShiftsTellWhereSamplesWereMissedAndAddUp) {
  ImportDay();
  const ParsedJson document = Json(std::string("compliance") + kDay);
  struct Row {
    const char *day, *shift, *start;
    double expected, collected;
  };
  const Row wanted[] = {{"2024-03-04", "06:00", "2024-03-04T06:00:00", 8.0, 7.0},
                        {"2024-03-04", "14:00", "2024-03-04T14:00:00", 7.0, 6.0},
                        {"2024-03-04", "22:00", "2024-03-04T22:00:00", 1.0, 1.0}};
  ASSERT_EQ(document.At("Shifts").elements.size(), std::size(wanted));
  for (std::size_t i = 0; i < std::size(wanted); ++i) {
    const ParsedJson& shift = document.At("Shifts").elements[i];
    EXPECT_EQ(shift.At("Process").text, "Press");
    EXPECT_EQ(shift.At("Day").text, wanted[i].day);
    EXPECT_EQ(shift.At("Shift").text, wanted[i].shift);
    EXPECT_EQ(shift.At("Start").text, wanted[i].start);
    EXPECT_EQ(shift.At("SamplesExpected").number, wanted[i].expected) << i;
    EXPECT_EQ(shift.At("SamplesCollected").number, wanted[i].collected) << i;
    EXPECT_EQ(shift.At("SamplesMissed").number, wanted[i].expected - wanted[i].collected) << i;
  }
}

TEST_F(Summary, AShiftWithoutWindowsStandsBetweenThoseThatHaveSome) {
  ImportDay();
  Import("more.csv",
         "process,time,state,type\nPress,2024-03-05T14:00:00,Production,run\n"
         "Press,2024-03-05T16:00:00,Break,pause\n",
         "states");
  const ParsedJson document =
      Json("compliance --process Press --since 2024-03-04 --until 2024-03-05");
  const auto& shifts = document.At("Shifts").elements;
  ASSERT_EQ(shifts.size(), 5U);  // from 6 on the first day to 22 on the second
  EXPECT_EQ(shifts[3].At("SamplesExpected").number, 0.0);
  EXPECT_EQ(shifts[4].At("Day").text, "2024-03-05");
  EXPECT_EQ(shifts[4].At("SamplesMissed").number, 2.0);
  const auto& whole = document.At("Rows").elements.back();
  double expected = 0.0, missed = 0.0;
  for (const auto& shift : shifts) {
    expected += shift.At("SamplesExpected").number;
    missed += shift.At("SamplesMissed").number;
  }
  EXPECT_EQ(expected, whole.At("SamplesExpected").number);
  EXPECT_EQ(missed, whole.At("SamplesMissed").number);
}

TEST_F(Summary, ShiftsFollowTheSettingsOfTheDatabase) {
  ImportDay();
  ASSERT_EQ(Run("set --db q.db shift_starts \"07:00 19:00\"").status, 0);
  ASSERT_EQ(Run("set --db q.db time_zone +01:00").status, 0);
  // The day in UTC; the shifts begin at 6 and 18 UTC.
  const ParsedJson document = Json(std::string("compliance") + kDay);
  const auto& shifts = document.At("Shifts").elements;
  ASSERT_EQ(shifts.size(), 2U);
  EXPECT_EQ(shifts[0].At("Shift").text, "07:00");
  EXPECT_EQ(shifts[0].At("Start").text, Clock(6, 0));
  EXPECT_EQ(shifts[0].At("End").text, Clock(18, 0));
  EXPECT_EQ(shifts[0].At("SamplesExpected").number, 11.0);
  EXPECT_EQ(shifts[1].At("SamplesExpected").number, 5.0);
}

// Three samples of a lot are taken in two shifts; the lot is due with its last subgroup.
TEST_F(Summary, ALotCountsInTheShiftInWhichItEnds) {
  Import("values.csv",
         "part,process,test,subgroup,time,value,lot\nBeam,Saw,Length,1," + Clock(13, 30) +
             ",1,L1\nBeam,Saw,Length,2," + Clock(14, 30) + ",1,L1\nBeam,Saw,Length,3," +
             Clock(15, 30) + ",1,L1\n",
         "values");
  Import("requirements.csv", "process,test,kind,n\nSaw,Length,lot,4\n", "requirements");
  const ParsedJson document = Json(std::string("compliance") + kDay);
  ASSERT_EQ(document.At("Shifts").elements.size(), 1U);
  EXPECT_EQ(document.At("Shifts[0].Process").text, "Saw");
  EXPECT_EQ(document.At("Shifts[0].Shift").text, "14:00");
  EXPECT_EQ(document.At("Shifts[0].SamplesExpected").number, 4.0);
  EXPECT_EQ(document.At("Shifts[0].SamplesCollected").number, 3.0);
  EXPECT_EQ(document.At("Shifts[0].SamplesMissed").number, 1.0);
  ASSERT_EQ(document.At("Notes").elements.size(), 1U);
  EXPECT_EQ(document.At("Notes[0].Code").text, "no-state-log");
}

TEST_F(Summary, ComplianceIsDrawnInEveryFormat) {
  ImportDay();
  const std::string compliance = std::string("compliance --db q.db") + kDay;
  const Outcome text = Run(compliance);
  EXPECT_NE(text.out.find("14 of 16 expected samples, 2 missed, 87.5 %"), std::string::npos)
      << text.out;
  EXPECT_NE(text.out.find("hourly"), std::string::npos);
  const Outcome svg = Run(compliance + " --format svg");
  EXPECT_TRUE(engine::dom::MakeXmlDocument()->LoadXml(svg.out));
  EXPECT_NE(svg.out.find("Press, 2024-03-04 from 06:00: 7 of 8 expected samples"),
            std::string::npos);
  const Outcome html = Run(compliance + " --format html");
  EXPECT_NE(html.out.find("Samples in each stay"), std::string::npos);
  EXPECT_NE(html.out.find("Values in each stay"), std::string::npos);
}

TEST_F(Summary, TheDemoHasStatesAndSamplesThatWereMissed) {
  ASSERT_EQ(Run("demo here --no-pictures").status, 0);
  const std::string week =
      " --db here/sample.db --process Capper --process 'Filler 1' --process 'Filler 2' --since "
      "2024-04-08 --until 2024-04-13";
  const ParsedJson states = ParseJson(Run("states" + week + " --format json").out);
  EXPECT_FALSE(states.At("StateLog").elements.empty());
  EXPECT_FALSE(states.At("Events").elements.empty());
  const ParsedJson compliance = ParseJson(Run("compliance" + week + " --format json").out);
  EXPECT_GT(compliance.At("Rows").elements.back().At("SamplesMissed").number, 0.0);
}

TEST_F(Summary, WithoutDataEveryFormatSaysSo) {
  ImportDay();
  // Everything is younger than --since, so it is no cause. Lathe has a state and nothing else.
  for (const auto& [command, said] :
       {std::pair("events", "no data: 3 events without --process Lathe and --until 2023-01-02\n"),
        {"states", "no data: 1 state without --until 2023-01-02\n"},
        {"compliance", "no data: 1 requirement without --process Lathe\n"}}) {
    const std::string nothing =
        std::string(command) + " --db q.db --since 2023-01-01 --until 2023-01-02 --process Lathe";
    const Outcome json = Run(nothing + " --format json");
    EXPECT_EQ(json.status, 0);
    EXPECT_EQ(json.err, said) << command;
  }
}

TEST(StatesView, TotalsAreOfTheTimeThatIsKnown) {
  StatesView view;
  view.end = 36'000;
  view.lanes = {{"Press",
                 true,
                 {{3600, 7200, 2000, "Production"},
                  {7200, 10'800, 3000, "Break"},
                  {10'800, 18'000, 2000, "Production"}},
                 {},
                 {}}};
  const auto totals = StateTotals(view);
  ASSERT_EQ(totals.size(), 2U);
  EXPECT_EQ(totals[0].state, "Production");
  EXPECT_EQ(totals[0].stays, 2U);
  EXPECT_DOUBLE_EQ(totals[0].hours, 3.0);
  EXPECT_DOUBLE_EQ(totals[0].percent, 75.0);
  EXPECT_DOUBLE_EQ(totals[1].percent, 25.0);
}

TEST(StatesView, TheTextHasALetterForEachStretchOfTime) {
  StatesView view;
  view.title = "states";
  view.end = 8 * 3600;
  view.lanes = {
      {"A", true, {{2 * 3600, 4 * 3600, 2000, "x"}, {4 * 3600, 8 * 3600, 9999, "y"}}, {}, {}}};
  const std::string text = RenderStatesText(view, {60, false});
  const auto line = text.substr(text.find("A  "));
  const std::string letters = line.substr(line.find('.'), line.find('\n') - line.find('.'));
  EXPECT_EQ(std::count(letters.begin(), letters.end(), '.') * 2,
            std::count(letters.begin(), letters.end(), '?'));
  EXPECT_NEAR(static_cast<double>(std::count(letters.begin(), letters.end(), 'R')),
              static_cast<double>(letters.size()) / 4.0, 1.0);
}

TEST(StatesView, AMinuteHasNoGapsInTheText) {
  StatesView view;
  view.end = 60;
  view.lanes = {{"A", true, {{0, 60, 2000, "x"}}, {}, {}}};
  const std::string text = RenderStatesText(view, {90, false});
  EXPECT_NE(text.find("A         " + std::string(79, 'R') + "\n"), std::string::npos) << text;
}

TEST(StatesView, ANarrowBarHasNoOutline) {
  StatesView view;
  view.end = 100'000;
  view.lanes = {{"A", true, {{0, 100, 2000, "blink"}, {100, 100'000, 2000, "long"}}, {}, {}}};
  const std::string svg = RenderStatesSvg(view);
  EXPECT_NE(svg.find(".n{stroke:none}"), std::string::npos);
  const auto tag_before = [&](const std::string& text) {
    const auto end = svg.find(text), start = svg.rfind("<rect", end);
    return svg.substr(start, end - start);
  };
  EXPECT_NE(tag_before("A: blink").find("class=\"s2 n\""), std::string::npos);
  EXPECT_NE(tag_before("A: long").find("class=\"s2\""), std::string::npos);
}

TEST(StatesView, NumbersWithoutAWordAreShown) {
  EXPECT_EQ(StateTypeWord(7000), "unscheduled-down");
  EXPECT_EQ(StateTypeWord(7001), "type 7001");
  EXPECT_EQ(EventTypeWord(7), "downtime");
  EXPECT_EQ(EventTypeWord(0), "type 0");
  EXPECT_EQ(OpenText(3), "open ACC and CAC");
  EXPECT_EQ(OpenText(4), "open (4)");
}

TEST(ComplianceSvg, ManyDaysAndProcessesAreCutAndCounted) {
  ComplianceView view;
  view.lines.resize(1);
  HeatMap map{"Press", {"06:00", "14:00", "22:00"}, {}, {}};
  for (int day = 0; day < 2000; ++day) map.days.push_back("day " + std::to_string(day));
  map.cells.resize(map.shifts.size() * map.days.size(), SampleCount{4, 3, 1});
  view.maps.assign(29, map);
  const std::string svg = RenderComplianceSvg(view);
  EXPECT_LT(svg.size(), 1'500'000U);
  EXPECT_NE(svg.find("the newest 100 of 2000 days"), std::string::npos);
  EXPECT_NE(svg.find("and 13 more processes"), std::string::npos);
  EXPECT_NE(svg.find("day 1999"), std::string::npos) << "the newest are drawn";
  EXPECT_EQ(svg.find("day 1899 "), std::string::npos);
  view.maps.resize(2);
  for (auto& each : view.maps) {
    each.days.resize(100);
    each.cells.resize(300);
  }
  EXPECT_EQ(RenderComplianceSvg(view).find("the newest"), std::string::npos) << "all are drawn";
}

TEST(SampleCount, NothingExpectedIsComplete) {
  EXPECT_EQ(SampleCount{}.Percent(), 100.0);
  EXPECT_EQ((SampleCount{4, 1, 3}).Percent(), 25.0);
}

TEST(RoundTimes, MarksAreRoundAndInsideTheRange) {
  struct Row {
    std::int64_t start, length;
    const char *first, *reason;
  };
  constexpr std::int64_t kMonday = 1'709'510'400;  // 2024-03-04
  for (const Row& row : {Row{kMonday, 86'400, "2024-03-04", "a day"},
                         {kMonday + 1, 86'400, "03:00", "a day that begins a second late"},
                         {kMonday - 3600, 7 * 86'400, "2024-03-04", "a week"},
                         {kMonday + 60, 400 * 86'400, "2024-04-29", "more than a year"},
                         {kMonday, 600, "2024-03-04", "ten minutes"}}) {
    const TimeTicks times = RoundTimes(row.start, row.start + row.length, 10);
    ASSERT_FALSE(times.ticks.empty()) << row.reason;
    EXPECT_LE(times.ticks.size(), 11U) << row.reason;
    EXPECT_GE(times.ticks.front().first, row.start) << row.reason;
    EXPECT_LE(times.ticks.back().first, row.start + row.length) << row.reason;
    EXPECT_EQ(times.ticks.front().second, row.first) << row.reason;
  }
}

}  // namespace
}  // namespace orvspc::host
