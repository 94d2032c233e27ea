// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <random>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "engine/QualityDatabase.h"
#include "platform/TimeText.h"
#include "tests/host/ProgramTest.h"

// A shift at five gauges, by the commands that the how-tos show: what the alarms, the chart, the
// ranking of causes and the log say of it has to agree.
namespace orvspc::host {
namespace {

using Json = nlohmann::json;

struct Gauge {
  const char *part, *process, *test;
  double mean, sigma;
  const char *cause, *action;
};
constexpr std::array<Gauge, 5> kGauges = {
    {{"Ring", "Press A", "Diameter", 74, 0.01, "SETUP", "ADJUST"},
     {"Ring", "Press B", "Diameter", 74, 0.01, "TWEAR", "TCHANGE"},
     {"Shaft", "Lathe 1", "Length", 120, 0.05, "SETUP", "ADJUST"},
     {"Shaft", "Lathe 2", "Length", 120, 0.05, "CHIP", "CLEAN"},
     {"Can", "Filler", "Weight", 330, 1.5, "FOAM", "ADJUST"}}};
constexpr int kHistory = 40, kRounds = 36, kPieces = 5;
// The tool of the second gauge is worn; the last one fills too much once; at the fourth one a value
// is mistyped.
constexpr int kWornFrom = 12, kWornUntil = 18, kFoamAt = 25, kMistypedAt = 30;

class ShiftTest : public ProgramTest {
 protected:
  Outcome Good(const std::string& arguments, const std::string& piped = "/dev/null") {
    auto outcome = Run(arguments, piped);
    EXPECT_EQ(outcome.status, 0) << arguments << "\n" << outcome.err;
    return outcome;
  }
  static std::string Stream(const Gauge& gauge) {
    return std::string("--part ") + gauge.part + " --process '" + gauge.process + "' --test " +
           gauge.test;
  }
  std::string Number(const Gauge& gauge, double shift) {
    // A sum of twelve is the same on every machine; a library's normal distribution is not.
    double sum = -6;
    for (int i = 0; i < 12; ++i) sum += static_cast<double>(random_()) / 4294967296.0;
    return std::to_string(gauge.mean + gauge.sigma * (sum + shift));
  }

  static std::string Line(const Gauge& gauge, std::int64_t time, const std::string& values) {
    return std::string(R"({"part":")") + gauge.part + R"(","process":")" + gauge.process +
           R"(","test":")" + gauge.test + R"(","time":")" + platform::IsoText(time) +
           R"(Z","pieces":[)" + values + "]}\n";
  }
  std::string Values(const Gauge& gauge, double shift) {
    std::string values;
    for (int k = 0; k < kPieces; ++k) values += (k > 0 ? "," : "") + Number(gauge, shift);
    return values;
  }

  void StoreHistory() {
    std::string lines;
    for (int i = 0; i < kHistory; ++i) {
      for (const auto& gauge : kGauges) {
        lines += Line(gauge, start_ - 86400 + 600 * i, Values(gauge, 0));
      }
    }
    Write("history.jsonl", lines);
    Good("record --db q.db --create --jsonl - --batch 1000", "history.jsonl");
    Write("acc.csv", "code\nSETUP\nTWEAR\nCHIP\nFOAM\n");
    Write("cac.csv", "code\nADJUST\nTCHANGE\nCLEAN\n");
    Good("import --db q.db acc.csv --kind acc-codes");
    Good("import --db q.db cac.csv --kind cac-codes");
    Good("set --db q.db alarm_needs 'acc cac'");
    for (const auto& gauge : kGauges) {
      Good("limits freeze --db q.db " + Stream(gauge) +
           " --iterate --auto --force --reason 'first limits' --by Ann");
    }
  }

  Json Alarms(const std::string& options = "") {
    return Json::parse(Good("alarm list --db q.db --format json " + options).out)["alarm"];
  }

  std::mt19937 random_{7};
  std::int64_t start_ = CurrentTime() + 5;
};

TEST_F(ShiftTest, AlarmsChartsCausesAndLogAgreeAtItsEnd) {
  StoreHistory();
  std::map<std::string, int> closed;
  const auto close_open = [&] {
    for (const auto& alarm : Alarms("--open")) {
      const auto gauge = std::ranges::find_if(
          kGauges, [&](const Gauge& each) { return alarm["Process"] == each.process; });
      ASSERT_NE(gauge, kGauges.end());
      Good("alarm close " + alarm["Id"].dump() + " --db q.db --acc " + gauge->cause + " --cac " +
           gauge->action + " --by Ann");
      ++closed[gauge->cause];
    }
  };
  for (int round = 0; round < kRounds; ++round) {
    std::string lines;
    for (const auto& gauge : kGauges) {
      const bool is_worn = &gauge == &kGauges[1] && round >= kWornFrom && round < kWornUntil;
      const bool is_foam = &gauge == &kGauges[4] && round == kFoamAt;
      const bool is_mistyped = &gauge == &kGauges[3] && round == kMistypedAt;
      lines += Line(gauge, start_ + 8 * round,
                    is_mistyped ? "120,120,120,120,1200"
                                : Values(gauge, is_worn   ? 4
                                                : is_foam ? 6
                                                          : 0));
    }
    Write("round.jsonl", lines);
    const auto recorded =
        Run("record --db q.db --jsonl - --exit-code --by Operator", "round.jsonl");
    std::istringstream answers(recorded.out);
    std::vector<Json> each;
    for (std::string line; std::getline(answers, line);) each.push_back(Json::parse(line));
    ASSERT_EQ(each.size(), kGauges.size()) << recorded.out << recorded.err;
    const bool has_alarm =
        std::ranges::any_of(each, [](const Json& at) { return at.contains("alarms"); });
    EXPECT_EQ(recorded.status, has_alarm ? 3 : 0) << recorded.err;
    EXPECT_TRUE(each[1].contains("alarms") || round < kWornFrom || round >= kWornUntil) << round;
    EXPECT_TRUE(each[4].contains("alarms") || round != kFoamAt);
    if (round == kMistypedAt) {
      EXPECT_TRUE(each[3].contains("alarms"));
      Good("edit value '#" + each[3]["subgroup"].dump() +
           "' --db q.db --test Length --tsno 5 --to 120 --reason 'typed wrongly' --by Ann");
    }
    if (round % 12 == 11) close_open();
  }

  // The alarms' points are those that the charts mark, by stream, graph and rule.
  std::map<std::tuple<std::string, int, int>, int> of_alarms, of_charts;
  int withdrawn = 0;
  for (const auto& alarm : Alarms()) {
    if (alarm["State"] == "withdrawn") {
      ++withdrawn;
      EXPECT_EQ(alarm["Process"], "Lathe 2");
      continue;
    }
    EXPECT_EQ(alarm["State"], "closed");
    of_alarms[{alarm["Process"], alarm["Graph"], alarm["Rule"]}] += alarm["Points"].get<int>();
  }
  EXPECT_GE(withdrawn, 1) << "the mistyped value";
  for (const auto& gauge : kGauges) {
    const auto chart =
        Json::parse(Good("chart --db q.db " + Stream(gauge) + " --max 0 --format json").out);
    ASSERT_EQ(chart["Subgroups"].size(), kHistory + kRounds);
    for (std::size_t graph = 0; graph < 2; ++graph) {
      const auto& marks = chart["Graphs"][graph]["OOCs"];
      for (std::size_t i = kHistory; i < marks.size(); ++i) {
        for (int rule = 1; rule < 32; ++rule) {
          if ((marks[i].get<unsigned>() >> rule & 1U) != 0) {
            ++of_charts[{gauge.process, static_cast<int>(graph) + 1, rule}];
          }
        }
      }
    }
  }
  EXPECT_EQ(of_alarms, of_charts);
  EXPECT_GE((of_alarms[{"Press B", 1, 1}]), kWornUntil - kWornFrom);

  // So are the causes of the events.
  const auto causes =
      Json::parse(Good("pareto --db q.db --from events --by acc --format json").out);
  std::map<std::string, int> ranked;
  for (const auto& bin : causes["Bins"]) ranked[bin["Name"]] = bin["BinCount"];
  for (const auto& [cause, count] : closed) EXPECT_EQ(ranked[cause], count) << cause;

  const auto verified = Good("log --verify --data --db q.db").out;
  EXPECT_NE(verified.find("whole"), verified.npos) << verified;
  EXPECT_NE(verified.find("as they were stored"), verified.npos) << verified;
  EXPECT_NE(Good("check --db q.db").out.find("whole"), std::string::npos);
}

}  // namespace
}  // namespace orvspc::host
