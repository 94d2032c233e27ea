// SPDX-License-Identifier: Apache-2.0
#include "tests/host/ParsedJson.h"
#include "tests/host/ProgramTest.h"

namespace orvspc::host {
namespace {

class LimitsCommand : public ProgramTest {
 protected:
  LimitsCommand() {
    std::string text = "part,process,test,subgroup,time,value\n";
    for (int i = 0; i < 30; ++i) {
      const std::string day = (i < 9 ? "0" : "") + std::to_string(i + 1);
      for (int piece = 0; piece < 3; ++piece) {
        text += "Ring,Press A,Diameter," + std::to_string(i + 1) + ",2026-01-" + day + "," +
                std::to_string(74.0 + (i * 7 + piece * 5) % 11 / 1000.0) + "\n";
      }
    }
    Write("values.csv", text);
    EXPECT_EQ(Run("import values.csv --db q.db").status, 0);
  }
  Outcome Limits(const std::string& arguments) { return Run("limits " + arguments + " --db q.db"); }
  // On standard error, with the status of what failed.
  void ExpectFailure(const std::string& arguments, int status, const std::string& text) {
    const auto outcome = Limits(arguments);
    EXPECT_EQ(outcome.status, status) << arguments;
    EXPECT_EQ(outcome.err, "orvspc limits: " + text + "\n");
    EXPECT_EQ(outcome.out, "");
  }
};

TEST_F(LimitsCommand, LargeMovingRangesAreScreenedWhereThatIsAskedFor) {
  const std::string chart = "compute --graph1 individuals --graph2 mr";
  EXPECT_EQ(Limits(chart).out.find("screened"), std::string::npos);
  const auto done = Limits(chart + " --screen-mr");
  EXPECT_NE(done.out.find("screened"), std::string::npos) << done.out << done.err;
  EXPECT_EQ(ParseJson(Limits(chart + " --screen-mr --format json").out).At("Estimator").text,
            "MR-est screened");
}

TEST_F(LimitsCommand, TheLifeOfALimit) {
  auto done = Limits("compute --until 2026-01-20");
  EXPECT_EQ(done.status, 0) << done.err;
  EXPECT_TRUE(done.out.starts_with("Ring / Press A / Diameter\n")) << done.out;
  EXPECT_NE(done.out.find("20 of 20 subgroups, 2026-01-01T00:00:00 to 2026-01-20T00:00:00"),
            std::string::npos)
      << done.out;
  EXPECT_EQ(Limits("list").out.find("Ring"), std::string::npos) << "nothing is stored";

  done = Limits("propose --until 2026-01-20 --reason first --by Ann --force");
  EXPECT_EQ(done.out, "limits 1: proposed\n") << done.err;
  done = Limits("approve 1 --effective 2026-01-21 --reason agreed --by Bob --dry-run");
  EXPECT_EQ(done.out, "not done: limits 1 would be approved\n") << done.err;
  done = Limits("approve 1 --effective 2026-01-21 --reason agreed --by Bob");
  EXPECT_EQ(done.out, "limits 1: active from 2026-01-21T00:00:00\n") << done.err;
  done = Limits(
      "freeze --first 25 --effective 2026-01-26 --reason later --force --new-phase \"Tool B\"");
  EXPECT_EQ(done.out, "limits 2: active from 2026-01-26T00:00:00\n") << done.err;
  EXPECT_EQ(Limits("list").out.find("retired"), std::string::npos);
  const auto history = Limits("list --history").out;
  EXPECT_NE(history.find("retired"), std::string::npos) << history;
  // The column is narrow.
  EXPECT_NE(history.find("active,"), std::string::npos) << history;
  EXPECT_NE(history.find("force"), std::string::npos) << history;

  done = Limits("retire 2 --at 2026-01-28 --reason over");
  EXPECT_EQ(done.out, "limits 2: retired from 2026-01-26T00:00:00 to 2026-01-28T00:00:00\n");
  done = Limits("void 2 --reason wrong");
  EXPECT_EQ(
      done.out,
      "limits 2: void\n"
      "note: phase \"Tool B\" begins there and stays; \"orvspc phase remove 1\" removes it\n");
  EXPECT_EQ(Run("phase remove 1 --db q.db --reason wrong").status, 0);
  done = Limits("propose --reason again --force");
  EXPECT_EQ(done.out, "limits 3: proposed\n");
  EXPECT_EQ(Limits("reject 3 --reason no-use").out, "limits 3: rejected\n");

  done = Limits("show 1");
  EXPECT_NE(done.out.find("unchanged since"), std::string::npos) << done.out;
  EXPECT_NE(done.out.find("Bob"), std::string::npos) << done.out;
  done = Limits("compare 1 2");
  EXPECT_NE(done.out.find("in standard errors"), std::string::npos) << done.out;
  EXPECT_EQ(Limits("compare 1 computed --since 2026-01-10").status, 0);
}

TEST_F(LimitsCommand, JsonHasTheFigures) {
  const auto computed =
      Limits("compute --graph1 xbar --graph2 range --exclude '#3=worn' --format json");
  ASSERT_EQ(computed.status, 0) << computed.err;
  const auto limits = JsonParser(computed.out).Parse();
  EXPECT_EQ(limits.At("Part").text, "Ring");
  EXPECT_EQ(limits.At("ChartWord").number, 0x110);
  EXPECT_EQ(limits.At("Used").number, 29);
  EXPECT_EQ(limits.At("Exclusions[0].Reason").text, "worn");
  EXPECT_EQ(limits.At("Graphs").elements.size(), 2U);
  Limits("freeze --effective 2026-01-01 --graph1 xbar --graph2 range --reason first --force");
  const auto shown = JsonParser(Limits("show 1 --format json").out).Parse();
  EXPECT_EQ(shown.At("Status").text, "active");
  EXPECT_EQ(shown.At("DataChanged").kind, ParsedJson::Kind::Boolean);
  EXPECT_FALSE(shown.At("DataChanged").boolean);
  EXPECT_EQ(shown.At("Steps").elements.size(), 2U);
  const auto list = JsonParser(Limits("list --format json").out).Parse();
  EXPECT_EQ(list.At("control-limits[0].Mean").number, shown.At("Mean").number);
  const auto compared = JsonParser(Limits("compare 1 1 --format json").out).Parse();
  EXPECT_EQ(compared.At("Centre.StandardErrors").number, 0.0);
  // The chart has them as they are.
  const auto chart =
      JsonParser(Run("chart --db q.db --graph1 xbar --graph2 range --max 0 --format json").out)
          .Parse();
  EXPECT_EQ(chart.At("Graphs[0].Cls[0]").number, shown.At("Mean").number);
  EXPECT_EQ(chart.At("Graphs[0].cUCLs[29]").number, chart.At("Graphs[0].UCLs[29]").number);
}

TEST_F(LimitsCommand, PoliciesAndReviews) {
  EXPECT_EQ(Limits("policy shewhart --test Diameter --reason agreed").out,
            "policy 1: shewhart for any part / any process / Diameter\n");
  EXPECT_NE(Limits("policy").out.find("shewhart"), std::string::npos);
  EXPECT_EQ(Limits("review").out,
            "no-limits: Ring / Press A / Diameter: no control limits in force: orvspc limits "
            "propose\n");
  EXPECT_EQ(Limits("policy off --test Diameter --reason enough").status, 0);
  EXPECT_EQ(Limits("review").out, "nothing to propose\n");
}

TEST_F(LimitsCommand, PoliciesAreListedAsTheyHold) {
  EXPECT_EQ(Limits("policy shewhart").status, 1) << "no reason";
  Limits("policy shewhart --test Diameter --reason agreed");
  Limits("policy public-health --test Diameter --reason better");
  EXPECT_EQ(Limits("policy").out.find("shewhart"), std::string::npos);
  const auto policies = JsonParser(Limits("policy --format json").out).Parse();
  ASSERT_EQ(policies.At("Policies").elements.size(), 1U);
  EXPECT_EQ(policies.At("Policies[0].Policy").text, "public-health");
  EXPECT_EQ(policies.At("Policies[0].Test").text, "Diameter");
  EXPECT_EQ(policies.At("Policies[0].Minimum").number, 12);
}

TEST_F(LimitsCommand, ShowSaysHowEachFigureWasMade) {
  Limits("freeze --effective 2026-01-01 --graph1 xbar --graph2 range --reason first --force");
  const auto text = Limits("show 1").out;
  const auto json = JsonParser(Limits("show 1 --format json").out).Parse();
  EXPECT_NE(text.find(", " + json.At("MeanName").text + "\n"), std::string::npos) << text;
  EXPECT_FALSE(json.At("MeanName").text.empty());
  EXPECT_FALSE(json.At("SWEstimator").text.empty());
  EXPECT_EQ(json.At("SP").number, json.At("SW").number);
  EXPECT_EQ(text.find("sigma w"), std::string::npos) << "it is the same\n" << text;
}

TEST_F(LimitsCommand, ARowForAnyProcessIsComparedWithTheOneThatIsNamed) {
  Write("row.csv", "part,test,mean,sp\nRing,Diameter,10,1\n");
  Write("b.csv", "part,process,test,subgroup,time,value\nRing,Press B,Diameter,1,2026-01-01,10\n");
  EXPECT_EQ(Run("import row.csv --kind control-limits --db q.db").status, 0);
  EXPECT_EQ(Limits("compare 1 computed").status, 0);
  EXPECT_EQ(Run("import b.csv --db q.db").status, 0);
  EXPECT_NE(Limits("compare 1 computed").err.find("2 streams fit"), std::string::npos);
  EXPECT_EQ(Limits("compare 1 computed --process 'Press A'").status, 0);
  EXPECT_EQ(Limits("compare 1 1 --process 'Press A'").status, 2);
}

TEST_F(LimitsCommand, AWindowOfSeveralPhasesHasThoseOfOne) {
  for (const auto* const phase : {"--name \"Tool A\" --start 2026-01-01 --end 2026-01-11",
                                  "--name \"Tool B\" --start 2026-01-11"}) {
    EXPECT_EQ(
        Run(std::string("phase add --db q.db --test Diameter --reason tried ") + phase).status, 0);
  }
  auto done = Limits("compute");
  EXPECT_NE(done.out.find("data      20 of 20 subgroups, 2026-01-11"), std::string::npos)
      << done.out;
  EXPECT_NE(done.out.find("phase     Tool B\n"), std::string::npos) << done.out;
  EXPECT_NE(done.out.find("note: newest of 2 phases, 20 of 30 subgroups: Tool B\n"),
            std::string::npos)
      << done.out;
  const auto json = [&](const std::string& options) {
    return JsonParser(Limits("compute --format json" + options).out).Parse();
  };
  EXPECT_EQ(json("").At("Phase").text, "Tool B");
  EXPECT_EQ(json(" --phase \"Tool A\"").At("Phase").text, "Tool A");
  EXPECT_EQ(json(" --phase \"Tool A\"").At("Used").number, 10);
  EXPECT_EQ(json(" --all-phases").At("Phase").kind, ParsedJson::Kind::Null);
  EXPECT_EQ(json(" --all-phases").At("Used").number, 30);
  ExpectFailure("compute --all-phases --phase \"Tool A\"", 2,
                "--phase and --all-phases exclude each other");
  done = Limits("propose --force --reason first");
  EXPECT_EQ(done.out, "limits 1: proposed\n");
  EXPECT_NE(done.err.find("note: Ring / Press A / Diameter: newest of 2 phases, 20 of 30 "
                          "subgroups: Tool B\n"),
            std::string::npos)
      << done.err;
}

TEST_F(LimitsCommand, AnImportProposesWhatWaitsIsDrawnAndWhatChangedIsTold) {
  EXPECT_EQ(Limits("freeze --until 2026-01-20 --effective 2026-01-21 --force --reason first "
                   "--graph1 xbar --graph2 range")
                .status,
            0);
  EXPECT_EQ(Limits("policy public-health --reason agreed").status, 0);
  const std::string chart = "chart --db q.db --graph1 xbar --graph2 range --max 0";
  const auto without = Run(chart + " --format svg").out;
  EXPECT_EQ(without.find("pv\""), std::string::npos);
  std::string text = "part,process,test,subgroup,time,value,comment\n";
  for (int i = 0; i < 9; ++i) {
    for (int piece = 0; piece < 3; ++piece) {
      text += "Ring,Press A,Diameter,n" + std::to_string(i) + ",2026-02-0" + std::to_string(i + 1) +
              "," + std::to_string(73.98 + (i * 7 + piece * 5) % 11 / 1000.0) + ",new tool\n";
    }
  }
  Write("more.csv", text);
  const auto done = Run("import more.csv --db q.db --by Eve");
  EXPECT_NE(done.err.find("note: Ring / Press A / Diameter: limits 2, provisional: 9 of 12 points; "
                          "public-health: 9 points below "),
            std::string::npos)
      << done.err;
  EXPECT_NE(Limits("list").out.find("proposed"), std::string::npos);
  const auto picture = Run(chart + " --format svg").out;
  for (const auto* const style : {"class=\"cl pv\"", "class=\"lim pv\""}) {
    EXPECT_NE(picture.find(style), std::string::npos) << style;
  }
  EXPECT_NE(picture.find("limits 2 are proposed, from 9 of 12 points so far"), std::string::npos);
  const auto document = JsonParser(Run(chart + " --format json").out).Parse();
  EXPECT_EQ(document.At("Streams[0].Provisional[0].ID").number, 2);
  EXPECT_EQ(document.At("Streams[0].Provisional[0].Needed").number, 12);
  const auto row = JsonParser(Limits("show 2 --format json").out).Parse();
  EXPECT_EQ(document.At("Streams[0].Provisional[0].Limits[0].CL").number, row.At("Mean").number);
  EXPECT_EQ(row.At("DigestNow").text, row.At("Digest").text);
  EXPECT_EQ(Run("edit flag '#31' --to disabled --reason worn --db q.db").status, 0);
  const auto changed = JsonParser(Limits("show 2 --format json").out).Parse();
  EXPECT_TRUE(changed.At("DataChanged").boolean);
  EXPECT_NE(changed.At("DigestNow").text, changed.At("Digest").text);
  EXPECT_NE(Limits("show 2").out.find("now       " + changed.At("DigestNow").text),
            std::string::npos);
}

TEST_F(LimitsCommand, Messages) {
  ExpectFailure("", 2,
                "what is to be done? compute, propose, approve, reject, retire, void, freeze, "
                "list, show, compare, review or policy");
  ExpectFailure("melt", 2,
                "there is no \"melt\", only compute, propose, approve, reject, retire, void, "
                "freeze, list, show, compare, review or policy");
  ExpectFailure("approve --reason agreed", 2, "which row? orvspc limits list shows their numbers");
  ExpectFailure("approve one --reason agreed", 2, "\"one\" is no number of a row");
  ExpectFailure("approve 1 2 --reason agreed", 2, "\"2\" is one word too many");
  ExpectFailure("compute --reason agreed", 2, "--reason does not go with \"limits compute\"");
  ExpectFailure("list --effective 2026-01-01", 2, "--effective does not go with \"limits list\"");
  ExpectFailure("compute --auto", 2, "--auto needs --iterate");
  ExpectFailure("compute --since 2026-01-03 --until 2026-01-01", 2, "--since lies after --until");
  ExpectFailure("compute --exclude 57", 2,
                "--exclude takes a subgroup and the reason, as \"#57=tool broke\", not \"57\"");
  ExpectFailure("compute --since never", 2,
                "--since takes a time such as 2024-02-29T12:30, not \"never\"");
  ExpectFailure("compare 1", 2, "compared with which row? or \"computed\"");
  ExpectFailure("policy often --reason agreed", 2,
                "a policy is off, public-health or shewhart, not \"often\"");
  ExpectFailure("compute --exclude '#57=tool broke'", 1, "#57 lies outside the window");
  ExpectFailure("compute --part Bolt", 1, "no part is called \"Bolt\"");
  ExpectFailure("approve 9 --reason agreed", 1,
                "there is no row 9 (orvspc limits list shows them)");
  ExpectFailure("propose --force", 1, "--reason: say why, in 3 to 500 characters");
  ExpectFailure("compute --until 2026-01-04", 1, "4 subgroups; 5 are needed (--force)");
  Write("more.csv",
        "part,process,test,subgroup,time,value\nRing,Press B,Diameter,1,2026-01-01,74\n");
  Run("import more.csv --db q.db");
  ExpectFailure("compute", 1,
                "2 streams fit (Ring / Press A / Diameter, ...); name one by --part, --process, "
                "--test");
}

}  // namespace
}  // namespace orvspc::host
