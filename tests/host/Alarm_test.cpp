// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <random>
#include <set>
#include <string>

#include "engine/QualityDatabase.h"
#include "platform/TimeText.h"
#include "tests/host/ProgramTest.h"

namespace orvspc::host {
namespace {

using Json = nlohmann::json;

// One stream with stored limits: mean 10, sigma 1; only points beyond limits signal.
class AlarmTest : public ProgramTest {
 protected:
  AlarmTest() {
    start_ = CurrentTime() + 30;
    Write("v.csv",
          "part,process,test,subgroup,time,value\nRing,Press,Width,0,2024-01-01T00:00:00Z,10\n");
    Write("c.csv", "part,process,test,mean,sp,sw\nRing,Press,Width,10,1,1\n");
    Write("a.csv", "number,graph,on\n1,1,yes\n1,2,no\n");
    Write("acc.csv", "code,name\nTWEAR,tool wear\n");
    Write("cac.csv", "code,name\nTCHANGE,tool changed\n");
    for (const auto* const import : {"v.csv", "c.csv --kind control-limits", "a.csv --kind alarms",
                                     "acc.csv --kind acc-codes", "cac.csv --kind cac-codes"}) {
      const auto done = Run("import --db q.db " + std::string(import));
      EXPECT_EQ(done.status, 0) << done.err;
    }
  }
  Outcome Record(int second, const std::string& value, const std::string& options = "") {
    return Run("record --db q.db --part Ring --process Press --test Width --at " +
               platform::IsoText(start_ + second) + " " + value + " " + options);
  }
  std::int64_t start_ = 0;
};

TEST_F(AlarmTest, RecordSaysWhatItRaisedAndExitsWith3WhereAsked) {
  const auto quiet = Record(1, "10.5", "--exit-code");
  EXPECT_EQ(quiet.status, 0) << quiet.err;
  const auto raised = Record(2, "14", "--exit-code");
  EXPECT_EQ(raised.status, 3) << raised.err;
  EXPECT_NE(raised.out.find("\nalarm 1: Ring / Press / Width, graph 1: 1 point beyond a control "
                            "limit, #3\n"),
            std::string::npos)
      << raised.out;
  EXPECT_EQ(Record(3, "14").status, 0) << "not asked for";
}

TEST_F(AlarmTest, ACorrectionSaysWhatItRaised) {
  ASSERT_EQ(Record(1, "10").status, 0);
  ASSERT_EQ(Record(2, "14").status, 0);
  const std::string edit = "edit value '#2' --test Width --to ";
  const std::string why = " --reason 'typed wrongly' --db q.db";
  EXPECT_EQ(Run(edit + "10.2" + why).out.find("alarm"), std::string::npos);
  EXPECT_EQ(Run(edit + "14" + why + " --dry-run").out.find("alarm"), std::string::npos);
  const auto raised = Run(edit + "14" + why);
  EXPECT_EQ(raised.status, 0) << raised.err;
  const auto line = ": Ring / Press / Width, graph 1: 1 point beyond a control limit, #2, late\n";
  EXPECT_NE(raised.out.find(line), std::string::npos) << raised.out;
}

TEST_F(AlarmTest, ARetryExitsWith3AsTheFirstTimeDid) {
  const auto first = Record(2, "14", "--exit-code --key g7");
  EXPECT_EQ(first.status, 3) << first.err;
  const auto again = Record(2, "14", "--exit-code --key g7");
  EXPECT_EQ(again.status, 3) << again.err;
  EXPECT_NE(again.out.find("stored before"), std::string::npos);
  const auto alarms = [](const std::string& text) { return text.substr(text.find('\n')); };
  EXPECT_EQ(alarms(again.out), alarms(first.out));
  EXPECT_EQ(Record(3, "10", "--exit-code --key g8").status, 0);
  EXPECT_EQ(Record(3, "10", "--exit-code --key g8").status, 0) << "nothing was raised";
}

// Of values, of pieces, of readings inside pieces, and of counts, with every kind of limit.
TEST_F(AlarmTest, AlarmsOfSpecificationsAreTheMarksOfTheChart) {
  Write("n.csv",
        "part,process,test,subgroup,time,count,size,test-type\n"
        "Ring,Press,Counts,0,2024-01-01T00:00:00Z,1,50,defects\n");
  Write("m.csv",
        "part,process,test,subgroup,time,value\n"
        "Ring,Press,Singles,0,2024-01-01T00:00:00Z,10\n"
        "Ring,Press,Pieces,0,2024-01-01T00:00:00Z,10\n"
        "Ring,Press,Readings,0,2024-01-01T00:00:00Z,10\n");
  Write("s.csv",
        "part,test,usl,lsl,ugb,lgb,url,lrl,uwp,lwp,alarms\n"
        "Ring,Singles,12,8,,,,,11,9,usl lsl uwp lwp\n"
        "Ring,Pieces,12,8,11,7,13,5,10.5,9.5,lsl ugb url uwp lwp\n"
        "Ring,Readings,12,8,,,13,7,11,9,usl lsl url uwp lwp\n"
        "Ring,Counts,12,2,,,,,,,usl lsl\n");
  for (const auto* const import : {"n.csv", "m.csv", "s.csv --kind limits"}) {
    const auto done = Run("import --db q.db " + std::string(import));
    ASSERT_EQ(done.status, 0) << done.err;
  }
  std::mt19937 random(7);
  const auto next = [&](int below) {
    return static_cast<int>(random() % static_cast<unsigned>(below));
  };
  const auto value = [&] { return std::to_string(6 + next(80) / 10.0); };
  std::string values = "part,process,test,subgroup,time,flag,value,tsno,sbno\n";
  std::string counts = "part,process,test,subgroup,time,flag,count,size\n";
  for (int i = 1; i <= 60; ++i) {
    const auto head = [&](const std::string& test) {
      return "Ring,Press," + test + "," + std::to_string(i) + "," +
             platform::IsoText(start_ + 60 * i) + (i % 9 == 0 ? ",disabled," : ",enabled,");
    };
    values += head("Singles") + value() + ",1,0\n";
    for (int piece = 1; piece <= 3; ++piece) {
      const auto number = std::to_string(piece);
      values += head("Pieces") + value() + "," + number + ",0\n";
      values += head("Readings") + "10," + number + ",0\n";
      for (int reading = 1; reading <= 2; ++reading) {
        values += head("Readings") + std::to_string(8.5 + next(28) / 10.0) + "," + number + "," +
                  std::to_string(reading) + "\n";
      }
    }
    counts += head("Counts") + std::to_string(next(15)) + ",50\n";
  }
  Write("values.csv", values);
  Write("counts.csv", counts);
  for (const auto* const import : {"values.csv", "counts.csv"}) {
    const auto done = Run("import --db q.db " + std::string(import));
    ASSERT_EQ(done.status, 0) << done.err;
  }
  for (const std::string test : {"Singles", "Pieces", "Readings", "Counts"}) {
    const auto options = " --db q.db --part Ring --test " + test + " --format json";
    std::set<int> alarms, marks;
    const auto listed = Json::parse(Run("alarm list" + options).out);
    for (const auto& alarm : listed["alarm"]) {
      if (alarm["Graph"] == 0) alarms.insert(alarm["FirstSubgroup"].get<int>());
    }
    const auto chart = Json::parse(Run("chart --max 0" + options).out);
    const auto& points = chart["Subgroups"];
    ASSERT_EQ(points.size(), 61U);
    for (std::size_t i = 1; i < points.size(); ++i) {
      if (chart["Graphs"][0]["OOSs"][i] != 0) marks.insert(points[i]["Sgrp"].get<int>());
    }
    EXPECT_EQ(alarms, marks) << test;
    EXPECT_GT(marks.size(), 5U) << test;
    EXPECT_LT(marks.size(), 54U) << test;
  }
}

TEST_F(AlarmTest, LinesOfJsonCarryTheirAlarms) {
  Write("r.jsonl", R"({"part":"Ring","process":"Press","test":"Width","time":")" +
                       platform::IsoText(start_) +
                       R"(Z","pieces":[{"value":14}]})"
                       "\n");
  const auto raised = Run("record --db q.db --jsonl r.jsonl --exit-code");
  EXPECT_EQ(raised.status, 3) << raised.err;
  EXPECT_EQ(Json::parse(raised.out)["alarms"][0]["id"], 1) << raised.out;
}

TEST_F(AlarmTest, ImportShowsTenAndCountsTheOthers) {
  std::string text = "part,process,test,subgroup,time,value\n";
  for (int i = 0; i < 17; ++i) {
    text += "Ring,Press,Width," + std::to_string(i) + "," + platform::IsoText(start_ + i) + ",14\n";
  }
  Write("n.csv", text);
  const auto raised = Run("import --db q.db n.csv --exit-code");
  EXPECT_EQ(raised.status, 3) << raised.err;
  EXPECT_NE(raised.out.find("\nalarm 10: "), std::string::npos) << raised.out;
  EXPECT_EQ(raised.out.find("\nalarm 11: "), std::string::npos) << raised.out;
  EXPECT_TRUE(raised.out.ends_with("\nand 7 more\n")) << raised.out;
}

TEST_F(AlarmTest, CausesOfDailyWorkAreThoseOfThePareto) {
  Record(1, "14");
  Record(2, "14");
  EXPECT_EQ(Run("alarm list --db q.db --exit-code").status, 3);
  EXPECT_EQ(Run("alarm ack 1 --db q.db").out.substr(0, 31), "alarm 1: acknowledged, version ");
  for (const auto* const id : {"1", "2"}) {
    const auto closed =
        Run("alarm close " + std::string(id) + " --acc TWEAR --cac TCHANGE --db q.db");
    EXPECT_EQ(closed.status, 0) << closed.err;
  }
  EXPECT_EQ(Run("alarm list --db q.db --exit-code").status, 0) << "none is open";
  EXPECT_EQ(Run("alarm list --open --db q.db").out, "no alarms\n");
  const auto listed = Json::parse(Run("alarm list --db q.db --format json").out);
  EXPECT_EQ(listed["alarm"].size(), 2U);
  EXPECT_EQ(listed["alarm"][0]["State"], "closed");
  EXPECT_EQ(listed["alarm"][0]["Acc"], "TWEAR");
  const auto pareto = Run("pareto --db q.db --from events --by acc --format json");
  EXPECT_EQ(pareto.status, 0) << pareto.err;
  const auto bins = Json::parse(pareto.out)["Bins"];
  ASSERT_EQ(bins.size(), 1U) << pareto.out;
  EXPECT_EQ(bins[0]["Name"], "tool wear");
  EXPECT_EQ(bins[0]["Value"], 2);
}

TEST_F(AlarmTest, AChartExitsWith3OnASignalInItsNewestPointOrInAny) {
  const std::string chart = "chart --db q.db --part Ring --test Width ";
  EXPECT_EQ(Run(chart + "--exit-code").status, 0);
  Record(1, "14");
  for (const std::string format : {"text", "json", "xml", "svg", "html"}) {
    const auto shown = Run(chart + "--format " + format + " --exit-code");
    EXPECT_EQ(shown.status, 3) << format << shown.err;
    EXPECT_EQ(shown.out, Run(chart + "--format " + format).out) << format;
  }
  EXPECT_EQ(Run(chart).status, 0) << "not asked for";
  // The moving range of the next one would signal, too.
  for (const int second : {2, 3}) Record(second, second == 2 ? "12.2" : "10.1");
  EXPECT_EQ(Run(chart + "--exit-code").status, 0) << "it is no more the newest";
  EXPECT_EQ(Run(chart + "--exit-code=newest").status, 0);
  EXPECT_EQ(Run(chart + "--exit-code=any").status, 3);
  EXPECT_EQ(Run(chart + "--exit-code=any --format xml").status, 3);
  EXPECT_EQ(Run(chart + "--exit-code=some").status, 2);
  EXPECT_NE(Run("chart --help").out.find("exit with 3"), std::string::npos);
}

TEST_F(AlarmTest, OfTestsMeasuredTogetherTheNewestPointOfEachIsLookedAt) {
  std::string values = "part,process,test,subgroup,time,value\n";
  for (const std::string test : {"Height", "Weight"}) {
    for (int i = 1; i <= 3; ++i) {
      const bool is_out = test == "Height" && i == 3;
      values += "Disc,Press," + test + "," + std::to_string(i) + "," +
                platform::IsoText(start_ + i) + "," + (is_out ? "14" : "10") + "\n";
    }
  }
  Write("two.csv", values);
  Write("l.csv",
        "part,process,test,mean,sp,sw\nDisc,Press,Height,10,1,1\nDisc,Press,Weight,10,1,1\n");
  for (const auto* const import : {"two.csv", "l.csv --kind control-limits"}) {
    ASSERT_EQ(Run("import --db q.db " + std::string(import)).status, 0) << import;
  }
  const std::string chart = "chart --db q.db --part Disc --exit-code ";
  const auto rows = Json::parse(Run(chart + "--format json").out)["Subgroups"];
  ASSERT_EQ(rows.back()["TestName"], "Weight") << "the last row is not the one that signals";
  EXPECT_EQ(Run(chart).status, 3);
  EXPECT_EQ(Run(chart + "--format xml").status, 3);
  EXPECT_EQ(Run(chart + "--test Height").status, 3);
  EXPECT_EQ(Run(chart + "--test Weight").status, 0);
}

TEST_F(AlarmTest, TheNewestPointThatCountsIsLookedAt) {
  const std::string chart = "chart --db q.db --part Ring --test Width --state enabled,disabled ";
  Record(1, "14");
  const auto last = Json::parse(Run("data --db q.db --part Ring --format json").out)["Subgroups"]
                        .back()["Sgrp"]
                        .dump();
  Record(2, "10");
  ASSERT_EQ(Run(chart + "--exit-code").status, 0);
  ASSERT_EQ(Run("edit flag '#" + std::to_string(std::stoi(last) + 1) +
                "' --to disabled --reason 'wrong part' --db q.db")
                .status,
            0);
  EXPECT_EQ(Run(chart + "--exit-code").status, 3) << "the newest one is disabled";
  ASSERT_EQ(Run("edit flag '#" + last + "' --to disabled --reason 'wrong part' --db q.db").status,
            0);
  EXPECT_EQ(Run(chart + "--exit-code").status, 0);
  EXPECT_EQ(Run(chart + "--exit-code=any").status, 0);
}

TEST_F(AlarmTest, AChartOfNothingExitsWith4WhereAsked) {
  const std::string chart = "chart --db q.db --part Ring --test Width --since 2030-01-01 ";
  for (const std::string format : {"text", "json", "xml", "svg"}) {
    EXPECT_EQ(Run(chart + "--exit-code --format " + format).status, 4) << format;
    EXPECT_EQ(Run(chart + "--format " + format).status, 0) << format;
  }
  const auto page = Run(chart + "--exit-code --format html");
  EXPECT_EQ(page.status, 4);
  EXPECT_TRUE(page.out.empty());
  EXPECT_NE(page.err.find("--allow-empty"), std::string::npos);
  EXPECT_EQ(Run(chart + "--format html").status, 1);
  EXPECT_EQ(Run(chart + "--format html --exit-code --allow-empty").status, 4);
}

TEST_F(AlarmTest, SamplesThatAreMissedAreFoundOnceAndFilledLater) {
  Write("r.csv",
        "part,process,test,kind,n,minutes,from,to,name\n"
        "Ring,Press,Width,interval,1,30,2024-01-01T00:00:00Z,2024-01-01T01:00:00Z,Half\n");
  ASSERT_EQ(Run("import --db q.db r.csv --kind requirements").status, 0);
  const auto trial = Run("check-samples --db q.db --exit-code --dry-run");
  EXPECT_EQ(trial.status, 3) << trial.err;
  const auto found = Run("check-samples --db q.db --exit-code");
  EXPECT_EQ(found.status, 3) << found.err;
  EXPECT_EQ(found.out,
            "event 1: Half, Ring / Press / Width: 0 of 1 sample until 2024-01-01T00:59:59\n"
            "1 window missed, 0 withdrawn\n");
  const auto again = Run("check-samples --db q.db --exit-code");
  EXPECT_EQ(again.status, 0);
  EXPECT_EQ(again.out, "0 windows missed, 0 withdrawn\n");
  EXPECT_NE(Run("events --db q.db").out.find("sampling-violation"), std::string::npos);
  Write("late.csv",
        "part,process,test,subgroup,time,value\nRing,Press,Width,9,2024-01-01T00:40:00Z,10\n");
  ASSERT_EQ(Run("import --db q.db late.csv").status, 0);
  const auto filled = Run("check-samples --db q.db --format json --exit-code");
  EXPECT_EQ(filled.status, 0) << filled.err;
  const auto json = Json::parse(filled.out);
  EXPECT_TRUE(json["missed"].empty());
  EXPECT_EQ(json["withdrawn"][0]["Event"], 1);
  EXPECT_EQ(json["withdrawn"][0]["Requirement"], "Half");
  EXPECT_EQ(Run("log --db q.db --verify --data").status, 0);
}

TEST_F(AlarmTest, MisuseIsOneLine) {
  EXPECT_EQ(Run("alarm ack --db q.db").err, "orvspc alarm: which alarm?\n");
  EXPECT_EQ(Run("alarm ack x --db q.db").err, "orvspc alarm: an alarm has a number, not \"x\"\n");
  EXPECT_EQ(Run("alarm list 1 --db q.db").status, 2);
  const auto unknown = Run("alarm ack 9 --db q.db");
  EXPECT_EQ(unknown.status, 1);
  EXPECT_EQ(unknown.err, "orvspc alarm: alarm 9: there is no such alarm\n");
}

}  // namespace
}  // namespace orvspc::host
