// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>

#include "host/cli/Command.h"
#include "tests/host/ProgramTest.h"

namespace orvspc::host {
namespace {

class VersionsTest : public ProgramTest {
 protected:
  // 30 subgroups of two tests, specification limits that raise alarms, and a value beyond them.
  void Make() {
    std::string values = "part,process,test,subgroup,time,value\n";
    for (int i = 1; i <= 30; ++i) {
      for (const std::string test : {"T", "U"}) {
        values += "A,P," + test + "," + std::to_string(i) + ",2024-01-" + (i < 10 ? "0" : "") +
                  std::to_string(i) + "," + std::to_string(i * 7 % 11) + "\n";
      }
    }
    Write("values.csv", values);
    Write("specs.csv", "part,test,usl,alarms\nA,T,50,usl\n");
    ASSERT_EQ(Run("import values.csv --db q.db").status, 0);
    ASSERT_EQ(Run("import specs.csv --kind limits --db q.db").status, 0);
    ASSERT_EQ(Run("set alarm_needs none --db q.db").status, 0);
    const auto recorded = Run("record --db q.db --part A --process P --test T 60");
    ASSERT_EQ(recorded.status, 0) << recorded.err;
  }
  std::string Alarm() {
    const auto listed = Run("alarm list --db q.db --format json").out;
    return nlohmann::json::parse(listed)["alarm"][0]["Id"].dump();
  }
};

}  // namespace

// Of each verb: refused with another version, done with that which the refusal names.
TEST_F(VersionsTest, EachChangeIsRefusedWhereAnotherVersionWasSeen) {
  Make();
  for (int i = 0; i < 3; ++i) {
    const auto proposed =
        Run("limits propose --db q.db --part A --process P --test U --reason 'a new baseline'");
    ASSERT_EQ(proposed.status, 0) << proposed.err;
  }
  const auto alarm = Alarm();
  ASSERT_EQ(Run("comment add --db q.db '#1' first").out, "comment 1\n");
  const struct {
    std::string command, verb, arguments;
  } cases[] = {{"edit", "flag", "'#1' --to disabled"},
               {"edit", "value", "'#1' --test T --tsno 1 --to 3"},
               {"edit", "subgroup", "'#2' --new-label two"},
               {"edit", "delete", "'#3' --test T"},
               {"edit", "rename", "test U --to V"},
               {"edit", "deactivate", "test V"},
               {"edit", "activate", "test V"},
               {"edit", "merge", "process P2 --to P"},
               {"edit", "undo-import", "1 --keep-changed"},
               {"edit", "restore", "ENTRY"},
               {"comment", "add", "'#31' second"},
               {"comment", "edit", "1 'first of all'"},
               {"comment", "remove", "1"},
               {"limits", "approve", "1"},
               {"limits", "reject", "2"},
               {"limits", "retire", "1 --at 2030-01-01"},
               {"limits", "void", "1"},
               {"alarm", "ack", alarm},
               {"alarm", "close", alarm},
               {"alarm", "reopen", alarm},
               {"phase", "end", "Next --end 2035-06-01"},
               {"phase", "remove", "Next"},
               {"set", "", "subgroup_size 5"}};
  ASSERT_EQ(std::size(cases), std::size(cli::kVersioned));
  ASSERT_EQ(Run("record --db q.db --part A --process P2 --test T 5 --create").status, 0);
  ASSERT_EQ(Run("phase add --db q.db --name Next --start 2035-01-01 --reason 'it is time'").status,
            0);
  for (const auto& each : cli::kVersioned) {
    const auto found = std::ranges::find_if(cases, [&](const auto& one) {
      return one.command == each.command && one.verb == each.verb;
    });
    EXPECT_NE(found, std::end(cases)) << each.command << " " << each.verb;
  }
  for (const auto& each : cases) {
    auto arguments = each.arguments;
    if (each.verb == "restore") {
      const auto log = Run("log --db q.db --operation delete --format json");
      const auto json = nlohmann::json::parse(log.out, nullptr, false);
      for (const auto& list : json) {
        if (list.is_array() && !list.empty()) arguments = std::to_string(list[0].value("Seq", 0));
      }
    }
    const auto line = each.command + (each.verb.empty() ? "" : " " + each.verb) +
                      " --db q.db --reason 'it is time' " + arguments + " --expect ";
    const auto refused = Run(line + "999999");
    EXPECT_EQ(refused.status, 1) << line << refused.out;
    const auto at = refused.err.find("(version ");
    EXPECT_NE(at, std::string::npos) << line << refused.err;
    EXPECT_NE(refused.err.find(", you saw 999999)"), std::string::npos) << line << refused.err;
    if (at == std::string::npos) continue;
    const auto version = std::to_string(std::stoll(refused.err.substr(at + 9)));
    const auto done = Run(line + version);
    EXPECT_EQ(done.status, 0) << line << version << "\n" << done.err;
  }
}

TEST_F(VersionsTest, WhatHasNoVersionRefusesTheOption) {
  Make();
  const auto outcome = Run("alarm list --db q.db --expect 3");
  EXPECT_EQ(outcome.status, 2);
  EXPECT_NE(outcome.err.find("--expect does not go with \"alarm list\""), std::string::npos)
      << outcome.err;
  EXPECT_EQ(Run("limits list --db q.db --expect 3").status, 2);
  const auto phase = Run("phase add --db q.db --name A --start 2035-01-01 --reason new --expect 3");
  EXPECT_EQ(phase.status, 2);
  EXPECT_NE(phase.err.find("--expect does not go with \"phase add\""), std::string::npos)
      << phase.err;
}

}  // namespace orvspc::host
