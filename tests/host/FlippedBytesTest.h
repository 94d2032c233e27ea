// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "engine/Embedded.h"
#include "engine/QualityDatabase.h"
#include "engine/sql/sqlite/SqliteConnection.h"
#include "host/cli/Command.h"
#include "tests/host/ProgramTest.h"

// A small database on pages of 512 bytes, of which one byte after the other is changed.
namespace orvspc::host {

class FlippedBytesTest : public testing::Test {
 protected:
  FlippedBytesTest() {
    InstallEmbedded();
    // Files of the program have pages of 4096 bytes unless they have a first page already.
    engine::sql::sqlite::OpenFile(path_, true, [](engine::sql::Connection& db) {
      db.Execute("PRAGMA page_size=512; PRAGMA user_version=0");
    });
    std::string values = "part,process,test,subgroup,time,value,lot,serial\n";
    for (int i = 0; i < 60; ++i) {
      values += "Ring,Press,Diameter," + std::to_string(i) + ",2024-03-" + (i < 18 ? "0" : "") +
                std::to_string(i / 2 + 1) + (i % 2 == 0 ? "T06:00" : "T18:00") + "," +
                std::to_string(74 + i % 5) + ",L" + std::to_string(i / 30) + "," +
                (i % 20 == 7 ? "S" + std::to_string(i) : "") + "\n";
    }
    Store("values.csv", values);
    Store("limits.csv", "part,test,usl,lsl\nRing,Diameter,80,70\n");
    Expect({"import", folder_.File("values.csv"), "--db", path_});
    Expect({"import", folder_.File("limits.csv"), "--kind", "limits", "--db", path_});
  }

  // Changes every so many bytes, one at a time: the check finds it, or data and chart say what
  // they said before.
  void FlipEach(std::size_t stride) {
    const std::vector<std::string> check = {"check", "--db", path_};
    const std::vector<std::vector<std::string>> others = {
        {"data", "--format", "json", "--db", path_}, {"chart", "--format", "json", "--db", path_}};
    const auto whole = Text(path_);
    ASSERT_EQ(whole[16], 2) << "pages of 512 bytes";
    ASSERT_EQ(Run(check).out, "checked: 60 subgroups, whole\n") << Run(check).err;
    std::vector<Outcome> expected;
    for (const auto& words : others) {
      expected.push_back(Run(words));
      ASSERT_EQ(expected.back().status, 0) << expected.back().err;
    }
    std::size_t found = 0, places = 0;
    for (std::size_t at = 0; at < whole.size(); at += stride) {
      Put(at, static_cast<char>(whole[at] ^ (1 << at % 8)));
      ++places;
      const auto outcome = Run(check);
      EXPECT_EQ(outcome.status == 0, outcome.out == "checked: 60 subgroups, whole\n") << at;
      if (outcome.status != 0) {
        ++found;
        EXPECT_NE(outcome.out + outcome.err, "") << at;
      } else {
        for (std::size_t i = 0; i < others.size(); ++i) {
          const auto now = Run(others[i]);
          EXPECT_EQ(now.status, 0) << at;
          EXPECT_EQ(now.out, expected[i].out) << at;
        }
      }
      Put(at, whole[at]);
    }
    EXPECT_EQ(Text(path_), whole) << "a check writes nothing";
    EXPECT_EQ(Run(check).out, "checked: 60 subgroups, whole\n");
    // Each page has its checksum.
    EXPECT_GT(found, places * 99 / 100);
    RecordProperty("places", std::to_string(places));
    RecordProperty("found", std::to_string(found));
  }

 private:
  static Outcome Run(const std::vector<std::string>& words) {
    std::ostringstream out, err;
    cli::Console console{out, err, false, false, 120};
    const int status = cli::RunProgram(words, console);
    return {status, out.str(), err.str()};
  }
  static void Expect(const std::vector<std::string>& words) {
    const auto outcome = Run(words);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
  }
  void Store(const std::string& name, const std::string& text) const {
    std::ofstream(folder_.File(name), std::ios::binary) << text;
  }
  void Put(std::size_t at, char byte) const {
    std::fstream file(path_, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(static_cast<std::streamoff>(at));
    file.put(byte);
  }

  TemporaryFolder folder_;
  std::string path_ = folder_.File("q.db");
};

}  // namespace orvspc::host
