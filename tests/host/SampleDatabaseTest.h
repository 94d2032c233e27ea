// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "engine/Embedded.h"
#include "host/cli/Command.h"
#include "tests/host/ProgramTest.h"

// The sample database, whole and damaged, and commands that read all that it holds.
namespace orvspc::host {

class SampleDatabaseTest : public testing::Test {
 protected:
  struct Places {
    std::size_t bytes, cuts;
  };
  struct Count {
    std::size_t failed = 0, same = 0;
  };

  SampleDatabaseTest() {
    InstallEmbedded();
    EXPECT_EQ(Run({"demo", folder_.Path(), "--no-pictures"}).status, 0);
    path_ = folder_.File("sample.db");
    whole_ = Text(path_);
  }

  static Outcome Run(const std::vector<std::string>& words) {
    std::ostringstream out, err;
    cli::Console console{out, err, false, false, 120};
    const int status = cli::RunProgram(words, console);
    return {status, out.str(), err.str()};
  }

  std::vector<std::vector<std::string>> Commands() const {
    std::vector<std::vector<std::string>> commands = {
        {"list", "streams"},
        {"list", "defects"},
        {"list", "limits"},
        {"list", "control-limits", "--format", "json"},
        {"chart", "--part", "Wafer", "--max", "100", "--format", "json"},
        {"chart", "--part", "Purchase order", "--graph1", "p", "--max", "100"},
        {"capability", "--part", "Ring"},
        {"pareto", "--part", "Door panel", "--by", "defect,process", "--bins", "15"},
        {"pareto", "--part", "Door panel", "--from", "events", "--by", "acc-code", "--measure",
         "hours", "--since", "2024-03-18", "--until", "2024-03-24"},
        {"data", "--max", "1000", "--format", "json"},
        {"events", "--max", "1000"},
        {"states", "--process", "Capper", "--since", "2024-04-08", "--until", "2024-04-13"},
        {"compliance", "--process", "Capper", "--since", "2024-04-08", "--until", "2024-04-13"}};
    for (auto& command : commands) command.insert(command.end(), {"--db", path_});
    return commands;
  }

  // What the commands write about the whole file.
  std::vector<Outcome> Expected() const {
    std::vector<Outcome> expected;
    for (const auto& command : Commands()) {
      expected.push_back(Run(command));
      EXPECT_EQ(expected.back().status, 0) << command[0] << ": " << expected.back().err;
    }
    return expected;
  }
  static bool IsSame(const Outcome& outcome, const Outcome& expected) {
    return outcome.status == 0 && outcome.out == expected.out && outcome.err == expected.err;
  }

  // With a changed byte or cut short, every command must fail or write the same.
  Count Damage(const Places& places) {
    const auto commands = Commands();
    const auto expected = Expected();
    std::mt19937 random(4711);
    Count count;
    for (std::size_t i = 0; i < places.bytes + places.cuts; ++i) {
      auto damaged = whole_;
      std::string where;
      if (i < places.bytes) {
        const auto place = random() % damaged.size();
        const int bit = static_cast<int>(random() % 8);
        damaged[place] = static_cast<char>(damaged[place] ^ (1 << bit));
        where = "bit " + std::to_string(bit) + " of byte " + std::to_string(place);
      } else {
        damaged.resize(random() % damaged.size());
        where = "cut to " + std::to_string(damaged.size());
      }
      for (const char* ending : {"-wal", "-shm"}) std::filesystem::remove(path_ + ending);
      std::ofstream(path_, std::ios::binary) << damaged;
      for (std::size_t k = 0; k < commands.size(); ++k) {
        const auto outcome = Run(commands[k]);
        const auto lines = std::ranges::count(outcome.err, '\n');
        if (outcome.status == 1 && lines == 1) {
          ++count.failed;
        } else {
          ++count.same;
          EXPECT_TRUE(IsSame(outcome, expected[k]))
              << where << ", " << commands[k][0] << " " << commands[k][1] << ": " << outcome.status
              << " " << outcome.err;
        }
      }
      EXPECT_EQ(Text(path_), damaged) << where << ": the file was written";
    }
    return count;
  }

  TemporaryFolder folder_;
  std::string path_, whole_;
};

}  // namespace orvspc::host
