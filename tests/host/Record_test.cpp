// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "tests/host/ProgramTest.h"

namespace orvspc::host {
namespace {

using Json = nlohmann::json;

const std::string kRing = "record --db q.db --part Ring --process 'Press A' --test Diameter ";

class RecordTest : public ProgramTest {
 protected:
  // What one line of JSON says, for each line of the text.
  static std::vector<Json> LinesOf(const std::string& text) {
    std::vector<Json> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(Json::parse(line));
    return lines;
  }
  std::size_t SubgroupsOf(const std::string& test) {
    const auto listed = Json::parse(Run("list --db q.db streams --format json").out);
    for (const auto& each : listed["stream"]) {
      if (each["Test"] == test) return each["Subgroups"];
    }
    return 0;
  }
};

TEST_F(RecordTest, AnswersWithTheSubgroup) {
  const auto first = Run(kRing + "74.03 74.002 74.019 --at 2026-03-11T06:00 --create");
  EXPECT_EQ(first.status, 0) << first.err;
  EXPECT_EQ(first.out, "#1 Ring / Press A / Diameter 2026-03-11T06:00:00, 3 values\n");
  const auto next = Run(kRing + "-5 --at 2026-03-11T07:00 --lot L1 --comment 'tool changed'");
  EXPECT_EQ(next.out, "#2 Ring / Press A / Diameter 2026-03-11T07:00:00, 1 value\n") << next.err;
  const auto counts =
      Run("record --db q.db --part Ring --process 'Press A' --test Leaks --size 50 --defect SC=3 "
          "--defect BR=1 --at 2026-03-11T07:00 --create");
  EXPECT_EQ(counts.out, "#3 Ring / Press A / Leaks 2026-03-11T07:00:00, 2 counts\n") << counts.err;
}

TEST_F(RecordTest, WithoutADatabaseNothingIsMade) {
  EXPECT_EQ(Run(kRing + "1").err, "orvspc record: q.db: there is no such file\n");
  EXPECT_FALSE(Exists("q.db"));
}

// Nor where it may be made: it is with the first record that is stored.
TEST_F(RecordTest, ARefusedRecordMakesNoDatabase) {
  const auto made = [&] { return Exists("q.db") || Exists("q.db-wal") || Exists("q.db-journal"); };
  const auto refused = Run(kRing + "1e301 --create");
  EXPECT_EQ(refused.status, 1);
  EXPECT_EQ(refused.err, "orvspc record: value: 1e+301 is too large; values lie below 1e300\n");
  EXPECT_FALSE(made());
  const std::string stream = R"({"part":"Ring","process":"Press A","test":"Diameter",)";
  Write("bad.jsonl", stream + R"("pieces":[1e301]})" + "\n" + "nonsense\n");
  for (const std::string batch : {"", " --batch 10"}) {
    const auto lines = LinesOf(Run("record --db q.db --create --jsonl bad.jsonl" + batch).out);
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0]["error"]["code"], "number");
    EXPECT_EQ(lines[1]["error"]["code"], "json");
    EXPECT_FALSE(made());
  }
  Write("one.jsonl", stream + R"("pieces":[1e301]})" + "\n" + stream + R"("pieces":[1]})" + "\n" +
                         stream + R"("pieces":[2],"label":"x"})" + "\n");
  for (const std::string batch : {"", " --batch 2"}) {
    const auto lines = LinesOf(Run("record --db q.db --create --jsonl one.jsonl" + batch).out);
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[0]["error"]["code"], "number");
    EXPECT_EQ(lines[1]["subgroup"], 1);
    EXPECT_EQ(lines[2]["subgroup"], 2);
    folder_.RemoveStore("q.db");
  }
}

TEST_F(RecordTest, RefusalsAreOneLine) {
  Run(kRing + "1 --at 2026-03-11 --create");
  const struct {
    std::string arguments, says;
    int status;
  } cases[] = {
      {kRing + "74,03", "value: 74,03 is no number; the decimal sign is a point", 1},
      {kRing + "74.03x", "value: 74.03x is no number", 1},
      {"record --db q.db --part Rung --process 'Press A' --test Diameter 1",
       "part: there is no part \"Rung\"; did you mean \"Ring\"? --create makes it", 1},
      {kRing + "1 --size 7",
       "test: Diameter has measured values; give these, without --size and --defect", 1},
      {kRing + "", "which values?", 2},
      {kRing + "1 --at noon", "--at: \"noon\" is no time; write it as 2024-02-29T12:30:00", 2},
      {kRing + "1 --defect 3", "--defect takes CODE=N, not \"3\"", 2},
      {kRing + "1 --descriptor =red", "--descriptor takes GROUP=NAME, not \"=red\"", 2},
      {kRing + "1 --jsonl -",
       "--jsonl has the records on its lines; --part and values are of one record", 2},
      {"record --db q.db --jsonl - --flag disabled --lot L7 --at 2024-01-01 --comment late",
       "--jsonl has the records on its lines; --at and values are of one record", 2},
      {"record --db q.db --jsonl - --lot L7",
       "--jsonl has the records on its lines; --lot and values are of one record", 2},
      {"record --db q.db --jsonl - --key k",
       "--jsonl has the records on its lines; --key and values are of one record", 2},
      {kRing + "1 --batch 5", "--batch is for --jsonl", 2},
  };
  for (const auto& each : cases) {
    const auto outcome = Run(each.arguments);
    EXPECT_EQ(outcome.status, each.status) << each.arguments;
    EXPECT_EQ(outcome.out, "");
    EXPECT_NE(outcome.err.find("orvspc record: " + each.says), std::string::npos) << outcome.err;
    EXPECT_EQ(std::ranges::count(outcome.err, '\n'), 1) << outcome.err;
  }
}

TEST_F(RecordTest, AKeyMakesARetryHarmless) {
  const auto line = kRing + "1 2 --key g7-991 --create";
  const auto first = Run(line), again = Run(line);
  EXPECT_EQ(again.status, 0) << again.err;
  EXPECT_EQ(again.out, first.out.substr(0, first.out.size() - 1) + ", stored before\n");
  const auto other = Run(kRing + "1 3 --key g7-991");
  EXPECT_EQ(other.status, 1);
  EXPECT_EQ(other.err, "orvspc record: key: \"g7-991\" was used for other values (#1)\n");
}

TEST_F(RecordTest, EachLineOfJsonHasOneAnswer) {
  Run(kRing + "1 --at 2026-03-11 --create");
  const std::string stream = R"({"part":"Ring","process":"Press A","test":"Diameter",)";
  Write("in.jsonl",
        stream + R"("pieces":[74.1,74.2],"key":"a"})" + "\n\n" + "nonsense\n" +
            R"({"key":"b","parts":"X"})" + "\n" + stream + R"("pieces":["74,03"],"key":"c"})" +
            "\n" + stream + R"("pieces":[74.1,74.2],"key":"a"})" + "\n" + stream +
            R"("pieces":[{"value":1}],"time":"2026-03-11T08:00:00Z","label":"x"})" + "\n");
  for (const std::string arguments : {"--jsonl -", "--jsonl in.jsonl --batch 100"}) {
    const auto outcome = Run("record --db q.db " + arguments, "in.jsonl");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "");
    const auto lines = LinesOf(outcome.out);
    ASSERT_EQ(lines.size(), 6U) << outcome.out;
    const bool is_first = arguments == "--jsonl -";
    EXPECT_EQ(lines[0]["key"], "a");
    EXPECT_EQ(lines[0]["repeated"], !is_first);
    EXPECT_EQ(lines[0]["subgroup"], 2);
    EXPECT_EQ(lines[1], Json::parse(R"({"error":{"code":"json","field":"line",)"
                                    R"("text":"line: is no JSON"}})"));
    EXPECT_EQ(lines[2]["key"], "b");
    EXPECT_EQ(lines[2]["error"]["field"], "parts");
    EXPECT_EQ(lines[3]["key"], "c");
    EXPECT_EQ(lines[3]["error"]["text"], "value: 74,03 is no number; the decimal sign is a point");
    EXPECT_EQ(lines[4]["repeated"], true);
    EXPECT_EQ(lines[4]["subgroup"], 2);
    EXPECT_FALSE(lines[5].contains("key"));
    if (is_first) {
      EXPECT_EQ(lines[5]["subgroup"], 3);
      EXPECT_GT(lines[5]["version"], 0);
    } else {
      EXPECT_EQ(lines[5]["error"]["code"], "stored");
    }
  }
  EXPECT_EQ(SubgroupsOf("Diameter"), 3U);
}

// One that a server could not look for, either.
TEST_F(RecordTest, ALineThatIsNestedDeeplyIsRefused) {
  Run(kRing + "1 --at 2026-03-11 --create");
  const auto nested = [](int levels) {
    const auto count = static_cast<std::size_t>(levels);
    return R"({"pieces":)" + std::string(count, '[') + std::string(count, ']') + "}";
  };
  Write("in.jsonl", nested(200'000) + "\n" + nested(32) + "\n" + nested(31) + "\n" +
                        R"({"part":"[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[\"[","x":1})" + "\n");
  const auto outcome = Run("record --db q.db --jsonl in.jsonl");
  EXPECT_EQ(outcome.status, 1);
  const auto lines = LinesOf(outcome.out);
  ASSERT_EQ(lines.size(), 4U) << outcome.err;
  for (const std::size_t place : {0U, 1U}) {
    EXPECT_EQ(lines[place]["error"]["code"], "json");
    EXPECT_EQ(lines[place]["error"]["text"], "line: is nested deeper than 32 levels");
  }
  EXPECT_EQ(lines[2]["error"]["field"], "value");
  EXPECT_EQ(lines[3]["error"]["field"], "x") << "brackets in a text are none";
}

TEST_F(RecordTest, ALineThatIsTooLongIsRefused) {
  Run(kRing + "1 --at 2026-03-11 --create");
  Write("in.jsonl", "{" + std::string((std::size_t{64} << 20) + 9, ' ') + "}\n" + "nonsense\n");
  const auto refused = LinesOf(Run("record --db q.db --jsonl in.jsonl").out);
  ASSERT_EQ(refused.size(), 2U);
  EXPECT_EQ(refused[0]["error"]["text"], "line: is longer than 67108864 bytes");
  EXPECT_EQ(refused[1]["error"]["text"], "line: is no JSON");
}

TEST_F(RecordTest, StreamsAreListedWithTheirLimitsAndOpenAlarms) {
  const auto listed = [&] {
    return Json::parse(Run("list --db q.db streams --format json").out)["stream"];
  };
  Run(kRing + "10 --at 2026-03-11 --create");
  Run("record --db q.db --part Ring --process 'Press B' --test Diameter 10 --at 2026-03-11 "
      "--create");
  ASSERT_EQ(listed().size(), 2U);
  for (const auto& each : listed()) {
    EXPECT_TRUE(each["Limits"].is_null()) << each;
    EXPECT_EQ(each["OpenAlarms"], 0);
  }
  Write("l.csv",
        "part,process,test,mean,sp,effective\nRing,,Diameter,10,0.1,2026-01-01\n"
        "Ring,Press A,Diameter,10,0.1,2026-01-01\nRing,Press A,Diameter,9,0.1,2037-01-01\n");
  ASSERT_EQ(Run("import l.csv --db q.db --kind control-limits").status, 0);
  Run(kRing + "20");
  const auto now = listed();
  EXPECT_EQ(now[0]["Limits"], 2) << "that of the process itself, and the later one not yet";
  EXPECT_GT(now[0]["OpenAlarms"], 0);
  EXPECT_EQ(now[1]["Limits"], 1);
  EXPECT_EQ(now[1]["OpenAlarms"], 0);
  const auto alarms = Json::parse(Run("alarm list --db q.db --format json").out);
  EXPECT_EQ(now[0]["OpenAlarms"], alarms["alarm"].size()) << alarms;
}

TEST_F(RecordTest, AKeyThatIsNoneIsTheRefusalOfItsLineAlone) {
  Run(kRing + "1 --at 2026-03-11 --create");
  const std::string stream = R"({"part":"Ring","process":"Press A","test":"Diameter","pieces":[)";
  Write("in.jsonl", stream + "1],\"key\":\"good-1\"}\n" + stream + "2],\"key\":\"a\\u0000b\"}\n" +
                        stream + "3],\"key\":\"\xFF\"}\n" + stream + "4],\"key\":\"gr\u00FCn\"}\n" +
                        stream + "5],\"key\":\"good-2\"}\n");
  for (const std::string arguments : {"--jsonl in.jsonl --batch 100", "--jsonl -"}) {
    const auto outcome = Run("record --db q.db " + arguments, "in.jsonl");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "");
    const auto lines = LinesOf(outcome.out);
    ASSERT_EQ(lines.size(), 5U) << outcome.out;
    EXPECT_EQ(lines[0]["subgroup"], 2);
    EXPECT_EQ(lines[1]["key"], std::string("a\0b", 3));
    EXPECT_EQ(lines[1]["error"]["field"], "key");
    EXPECT_EQ(lines[1]["error"]["text"], "key: must be 1 to 64 printable characters of ASCII");
    EXPECT_EQ(lines[2]["error"]["text"], "line: is no JSON");
    EXPECT_EQ(lines[3]["error"]["field"], "key");
    EXPECT_EQ(lines[4]["subgroup"], 3);
    EXPECT_EQ(lines[4]["repeated"], arguments == "--jsonl -");
  }
  for (const std::string value : {"nan", "inf", "1 --defect X=inf"}) {
    EXPECT_EQ(Run(kRing + value + " --key k1").status, 1) << value << ": it is no number";
  }
  const auto one = Run(kRing + "6 --key '\xFF\xFE'");
  EXPECT_EQ(one.status, 1);
  EXPECT_EQ(one.err, "orvspc record: key: must be 1 to 64 printable characters of ASCII\n");
  EXPECT_EQ(SubgroupsOf("Diameter"), 3U);
}

TEST_F(RecordTest, WhatIsNoTextIsRefusedOnEveryStore) {
  Run(kRing + "1 --at 2026-03-11 --create");
  constexpr const char* kText = " is not text; it takes UTF-8 without control characters";
  constexpr const char* kName = "must be 1 to 255 bytes of text without control characters";
  const struct {
    std::string arguments, says;
  } cases[] = {{kRing + "2 --by 'A\xFFnn'", std::string("by: ") + kName},
               {kRing + "2 --station 'A\xFF'", std::string("station: \"A\\xFF\"") + kText},
               {kRing + "2 --lot 'A\xFF'", std::string("lot: ") + kName},
               {"comment add --db q.db '#1' 'A\xFF'", std::string("text: \"A\\xFF\"") + kText},
               {"edit rename --db q.db part Ring --to 'A\xFF' --reason 'new drawing'",
                std::string("to: ") + kName},
               {"edit rename --db q.db part Ring --to Disc --reason 'new \xFF'",
                std::string("reason: \"new \\xFF\"") + kText},
               {"edit rename --db q.db part 'Ring\xFF' --to Disc --reason 'new drawing'",
                "there is no part"}};
  for (const auto& each : cases) {
    const auto outcome = Run(each.arguments);
    EXPECT_EQ(outcome.status, 1) << each.arguments;
    EXPECT_NE(outcome.err.find(each.says), std::string::npos) << outcome.err;
    EXPECT_EQ(std::ranges::count(outcome.err, '\n'), 1) << outcome.err;
  }
}

// By arguments, by a line, and by a batch of lines; on every store.
TEST_F(RecordTest, ARefusalHasOneTextWhicheverWayARecordComes) {
  Run(kRing + "1 --at 2026-03-11 --label old --create");
  Run("record --db q.db --part Ring --process 'Press A' --test Leaks 1 --size 50 --at 2026-03-11 "
      "--create");
  Run("record --db q.db --part Ring --process 'Press B' --test Diameter 1 --at 2026-03-11 "
      "--create");
  Run(kRing + "1 --at 2026-03-11T01:00 --key used");
  Write("limits.csv", "part,test,usl,url,lrl\nRing,Diameter,75,80,-5\n");
  EXPECT_EQ(Run("import limits.csv --kind limits --db q.db").status, 0);
  EXPECT_EQ(Run("edit deactivate process 'Press B' --reason 'sold' --db q.db").status, 0);
  EXPECT_EQ(Run("set --db q.db 'subgroup_size:Ring/Press A/Diameter' 2").status, 0);
  const std::string name = ": must be 1 to 255 bytes of text without control characters";
  const std::string ring = R"("part":"Ring","process":"Press A","test":"Diameter",)";
  const std::string leaks = R"("part":"Ring","process":"Press A","test":"Leaks",)";
  const auto args = [](const std::string& part, const std::string& process,
                       const std::string& test) {
    return "record --db q.db --part '" + part + "' --process '" + process + "' --test '" + test +
           "' ";
  };
  const auto count = args("Ring", "Press A", "Leaks");
  const struct {
    std::string code, arguments, line, says;
  } cases[] = {
      {"name", args("A\x01", "P", "T") + "1",
       R"("part":"A\u0001","process":"P","test":"T","pieces":[1])", "part" + name},
      {"name", args("A\xE2\x80\xAE", "P", "T") + "1",
       R"("part":"A\u202e","process":"P","test":"T","pieces":[1])", "part" + name},
      {"name", args("A", std::string(256, 'p'), "T") + "1",
       R"("part":"A","process":")" + std::string(256, 'p') + R"(","test":"T","pieces":[1])",
       "process" + name},
      {"name", kRing + "1 2 --lot 'L\x01'", ring + R"("pieces":[1,2],"context":{"lot":"L\u0001"})",
       "lot" + name},
      {"name", kRing + "1 2 --descriptor 'Hue=\x01'",
       ring + R"("pieces":[1,2],"descriptors":{"Hue":"\u0001"})", "descriptor:Hue" + name},
      {"name", kRing + "1 2 --label 'x\x01'", ring + R"("pieces":[1,2],"label":"x\u0001")",
       "label" + name},
      {"unknown", args("Rung", "Press A", "Diameter") + "1",
       R"("part":"Rung","process":"Press A","test":"Diameter","pieces":[1])",
       "part: there is no part \"Rung\"; did you mean \"Ring\"? --create makes it"},
      {"unknown", args("Ring", "Mill", "Diameter") + "1",
       R"("part":"Ring","process":"Mill","test":"Diameter","pieces":[1])", "process: "},
      {"inactive", args("Ring", "Press B", "Diameter") + "1",
       R"("part":"Ring","process":"Press B","test":"Diameter","pieces":[1])",
       "process: \"Press B\" is deactivated since 20"},
      {"unknown", args("Ring", "Press B", "Weight") + "1",
       R"("part":"Ring","process":"Press B","test":"Weight","pieces":[1])",
       "test: there is no test \"Weight\""},
      {"number", args("Rung", "Press A", "Diameter") + "nan",
       R"("part":"Rung","process":"Press A","test":"Diameter","pieces":["nan"])",
       "value: nan is no number"},
      {"type", count + "1", leaks + R"("pieces":[1])",
       "test: Leaks counts defectives; give --size and a count"},
      {"type", kRing + "1 2 --size 7", ring + R"("pieces":[1,2],"size":7)",
       "test: Diameter has measured values; give these, without --size and --defect"},
      {"number", kRing + "74,03 2", ring + R"("pieces":["74,03",2])",
       "value: 74,03 is no number; the decimal sign is a point"},
      {"number", kRing + "x 2", ring + R"("pieces":["x",2])", "value: x is no number"},
      {"number", kRing + "nan 2", ring + R"("pieces":["nan",2])", "value: nan is no number"},
      {"number", kRing + "inf 2", ring + R"("pieces":["inf",2])", "value: inf is no number"},
      {"number", kRing + "1e300 2", ring + R"("pieces":[1e300,2])",
       "value: 1e+300 is too large; values lie below 1e300"},
      {"number", kRing + "1e400 2", ring + R"("pieces":["1e400",2])", "value: 1e400 is no number"},
      {"count", count + "1.5 --size 50", leaks + R"("pieces":[1.5],"size":50)",
       "value: must be a whole number between 0 and 1000000000"},
      {"count", count + "-1 --size 50", leaks + R"("pieces":[-1],"size":50)",
       "value: must be a whole number between 0 and 1000000000"},
      {"count", count + "51 --size 50", leaks + R"("pieces":[51],"size":50)",
       "value: more defectives (51) than units inspected (50)"},
      {"count", count + "1 --size 50.5", leaks + R"("pieces":[1],"size":50.5)",
       "size: must be a whole number, as only that of a test of defects need not be"},
      {"unreasonable", kRing + "740.3 2", ring + R"("pieces":[740.3,2])",
       "value: 740.3 lies beyond the reasonable limit 80; --force stores it"},
      {"size", kRing + "1 2 3", ring + R"("pieces":[1,2,3])",
       "value: 3 values where 2 belong to a subgroup; --flag incomplete stores them"},
      {"time", kRing + "1 2 --at 2037-01-01", ring + R"("pieces":[1,2],"time":"2037-01-01")",
       "time: lies "},
      {"time", kRing + "1 2 --at 2039-01-01", ring + R"("pieces":[1,2],"time":"2039-01-01")",
       "time: must lie between 1901-12-13T20:45:52 and 2038-01-19T03:14:07"},
      {"time", kRing + "1 2 --at 1970-01-01", ring + R"("pieces":[1,2],"time":0)",
       "time: 1970-01-01T00:00:00 cannot be recorded; without a time the record is of now"},
      {"time", kRing + "1 2 --at 1970-01-01T01:00+01",
       ring + R"("pieces":[1,2],"time":"1970-01-01T01:00+01")", "time: 1970-01-01T00:00:00 "},
      {"stored", kRing + "1 2 --at 2026-03-11 --label old",
       ring + R"("pieces":[1,2],"time":"2026-03-11","label":"old")",
       "test: this subgroup, #1, has values of this test (orvspc edit value changes them)"},
      {"key", kRing + "1 2 --key used", ring + R"("pieces":[1,2],"key":"used")",
       "key: \"used\" was used for other values (#4)"},
      {"key", kRing + "1 2 --key 'no\x01'", ring + R"("pieces":[1,2],"key":"no\u0001")",
       "key: must be 1 to 64 printable characters of ASCII"},
      {"comment", kRing + "1 2 --comment '\x01'", ring + R"("pieces":[1,2],"comments":["\u0001"])",
       "comment: must be 1 to 4000 characters of text"}};
  const auto entries = Run("log --db q.db --head").out;
  for (const auto& each : cases) {
    const auto outcome = Run(each.arguments);
    EXPECT_EQ(outcome.status, 1) << each.arguments << outcome.out;
    EXPECT_EQ(outcome.out, "");
    EXPECT_TRUE(outcome.err.starts_with("orvspc record: " + each.says)) << outcome.err;
    const auto text = outcome.err.substr(0, outcome.err.find('\n'));
    Write("in.jsonl", "{" + each.line + "}\n");
    for (const std::string batch : {"", " --batch 10"}) {
      const auto answer = Run("record --db q.db --jsonl in.jsonl" + batch);
      EXPECT_EQ(answer.status, 1) << each.line;
      const auto lines = LinesOf(answer.out);
      ASSERT_EQ(lines.size(), 1U) << answer.err;
      ASSERT_TRUE(lines[0].contains("error")) << answer.out;
      EXPECT_EQ(lines[0]["error"]["code"], each.code) << answer.out;
      EXPECT_EQ("orvspc record: " + lines[0]["error"]["text"].get<std::string>(), text);
    }
  }
  EXPECT_EQ(Run("log --db q.db --head").out, entries) << "nothing was stored";
  // Who records is asked of each line.
  EXPECT_EQ(Run("set --db q.db require_by yes --by Ann").status, 0);
  Write("in.jsonl", "{" + ring + "\"pieces\":[1,2]}\n{" + ring + "\"pieces\":[3,4]}\n");
  const auto one = Run(kRing + "1 2");
  EXPECT_EQ(one.status, 1);
  for (const std::string batch : {"", " --batch 10"}) {
    const auto answer = Run("record --db q.db --jsonl in.jsonl" + batch);
    EXPECT_EQ(answer.status, 1);
    const auto lines = LinesOf(answer.out);
    ASSERT_EQ(lines.size(), 2U) << answer.err;
    for (const auto& line : lines) {
      EXPECT_EQ(line["error"]["code"], "by");
      EXPECT_EQ("orvspc record: " + line["error"]["text"].get<std::string>() + "\n", one.err);
    }
  }
}

TEST_F(RecordTest, LinesWithoutARefusalEndWithZero) {
  std::string text;
  for (int i = 0; i < 25; ++i) {
    text += R"({"part":"Ring","process":"Press A","test":"Diameter","pieces":[)" +
            std::to_string(i) + "]}\n";
  }
  Write("in.jsonl", text);
  const auto outcome = Run("record --db q.db --jsonl - --batch 10 --create --by Ann", "in.jsonl");
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  const auto lines = LinesOf(outcome.out);
  ASSERT_EQ(lines.size(), 25U);
  for (std::size_t i = 0; i < lines.size(); ++i) EXPECT_EQ(lines[i]["subgroup"], i + 1);
  EXPECT_EQ(lines[24]["version"].get<int>() - lines[0]["version"].get<int>(), 2) << "three batches";
  EXPECT_EQ(SubgroupsOf("Diameter"), 25U);
}

TEST_F(RecordTest, AStreamMayHaveItsOwnSubgroupSize) {
  Run(kRing + "1 --create");
  EXPECT_EQ(Run("set --db q.db 'subgroup_size:Ring/Press A/Diameter' 5").status, 0);
  EXPECT_NE(Run("list --db q.db settings --format json").out.find("Ring/Press A/Diameter"),
            std::string::npos);
  EXPECT_EQ(Run(kRing + "1").err,
            "orvspc record: value: 1 value where 5 belong to a subgroup; --flag incomplete stores "
            "it\n");
  EXPECT_EQ(Run(kRing + "1 --flag incomplete").status, 0);
  const auto unknown = Run("set --db q.db 'subgroup_size:Ring/Press B/Diameter' 5");
  EXPECT_EQ(unknown.status, 1);
  EXPECT_NE(unknown.err.find("is no stream"), std::string::npos) << unknown.err;
}

}  // namespace
}  // namespace orvspc::host
