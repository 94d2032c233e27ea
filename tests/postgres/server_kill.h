// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <iostream>
#include <random>
#include <thread>
#include <vector>

#include "engine/chunks/subgroups.h"
#include "engine/store/digest.h"
#include "tests/engine/store/reference_store.h"
#include "tests/postgres/server_fixture.h"

namespace orvspc::engine::store {

// Imports that seal as they go into a database that holds something already, in another process.
// That process, its connection or the whole server is killed at a random moment; what is then in
// the database is what was there, with all of the file or nothing of it: the same as in a file into
// which every whole import went.
class ServerKillTest : public ServerTest {
 protected:
  void KillAtRandom(int rounds, unsigned seed) {
    std::mt19937 random(seed);
    const auto begin = std::chrono::steady_clock::now();
    for (int round = 0; round < 2; ++round) {
      WriteRound(round);
      ImportInBatches(Path());
      ImportInBatches(reference_);
    }
    auto whole = (std::chrono::steady_clock::now() - begin) / 2;
    ExpectSame();
    for (int round = 0; round < rounds; ++round) {
      const auto& kill = kKills[random() % std::size(kKills)];
      SCOPED_TRACE("round " + std::to_string(round) + ", " + kill.name);
      WriteRound(round + 2);
      db_.reset();
      const auto child = fork();
      if (child == 0) {
        const auto failure = FailureOf([&] { ImportInBatches(Path()); });
        _exit(failure.empty() ? 0 : 1);
      }
      const auto delay = whole * static_cast<int>(random() % 1100) / 1000;
      std::this_thread::sleep_for(delay);
      kill.strike(child);
      int status = 0;
      ASSERT_EQ(waitpid(child, &status, 0), child);
      const bool has_ended = WIFEXITED(status) && WEXITSTATUS(status) == 0;
      Check(has_ended);
      // The machine may have been slower before, or quicker.
      whole = has_ended ? std::min(whole, delay) : whole + whole / 20;
      if (HasFailure()) return;
    }
    std::cout << rounds << " kills: " << complete_ << " imports stored, " << nothing_
              << " not at all, none in part\n";
  }

  // For some time, or as long as each writer needs for so many imports, and some are read.
  void WriteAndRead(std::chrono::seconds at_least, int imports_each) {
    constexpr int kWriters = 20, kReaders = 50, kSubgroups = 40;
    Import(Values(0, kSubgroups));
    const auto end = std::chrono::steady_clock::now() + at_least;
    std::atomic<int> writing = kWriters, halves = 0, readings = 0, imports = 0, failed = 0;
    std::vector<std::thread> threads;
    for (int writer = 0; writer < kWriters; ++writer) {
      threads.emplace_back([&, writer] {
        auto database = QualityDatabase::Open(Path());
        const auto file = folder_.File("of" + std::to_string(writer) + ".csv");
        for (int i = 1;
             i <= imports_each || std::chrono::steady_clock::now() < end || readings <= kReaders;
             ++i) {
          auto text = Values(0, kSubgroups);
          const auto part = "W" + std::to_string(writer) + "x" + std::to_string(i) + ",P,";
          for (auto at = text.find("A,P,"); at != text.npos; at = text.find("A,P,", at)) {
            text.replace(at, 4, part);
          }
          WriteFile(file, text);
          if (!FailureOf([&] { database.Import(file, ImportKind::Values); }).empty()) ++failed;
          ++imports;
        }
        --writing;
      });
    }
    for (int reader = 0; reader < kReaders; ++reader) {
      threads.emplace_back([&] {
        const auto database = QualityDatabase::Open(Path());
        while (writing > 0) {
          for (const auto& stream : database.Streams()) halves += stream.subgroups != kSubgroups;
          ++readings;
        }
      });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(failed, 0);
    EXPECT_EQ(halves, 0);
    EXPECT_GT(readings, kReaders);
    // Also what came after the last reading.
    const auto streams = QualityDatabase::Open(Path()).Streams();
    EXPECT_EQ(streams.size(), static_cast<std::size_t>(1 + imports));
    for (const auto& stream : streams) {
      EXPECT_EQ(stream.subgroups, kSubgroups) << stream.part;
    }
    std::cout << kWriters << " writers, " << kReaders << " readers: " << imports << " imports, "
              << failed << " failed; " << readings << " readings, " << halves
              << " saw part of an import\n";
  }

  int complete_ = 0, nothing_ = 0;

 private:
  struct Kill {
    const char* name;
    void (*strike)(pid_t child);
  };
  static constexpr const char* kOthers =
      "FROM pg_stat_activity WHERE application_name = 'orvspc' AND pid <> pg_backend_pid()";
  static constexpr Kill kKills[] = {
      {"the importing program", [](pid_t child) { kill(child, SIGKILL); }},
      {"its connection",
       [](pid_t) { Psql(std::string("SELECT pg_terminate_backend(pid) ") + kOthers); }},
      {"the server, stopped at once",
       [](pid_t) {
         Control("ORVSPC_TEST_HALT");
         Control("ORVSPC_TEST_START");
       }},
      {"every process of the server",
       [](pid_t) {
         Control("ORVSPC_TEST_CRASH");
         Control("ORVSPC_TEST_START");
       }},
  };

  // Two streams and subgroups of both, out of order of time; half of the times are those of the
  // round before.
  void WriteRound(int round) {
    constexpr int kSubgroups = 1500;
    std::string text = "part,process,test,subgroup,time,value,lot,descriptor:Cavity\n";
    for (int i = 0; i < kSubgroups; ++i) {
      const int second = 30 * (round * kSubgroups / 2 + i * 7919 % kSubgroups) + round % 30;
      char time[40];
      std::snprintf(time, sizeof time, "2024-%02d-%02dT%02d:%02d:%02d", 1 + second / 86400 / 28,
                    1 + second / 86400 % 28, second / 3600 % 24, second / 60 % 60, second % 60);
      for (const char* test : {"T1", "T2"}) {
        if (test[1] == '2' && i % 3 == 0) continue;
        const auto label = std::to_string(round) + "-" + std::to_string(i);
        text += std::string("A,P,") + test + "," + label + "," + time + "," + std::to_string(i) +
                ",L" + std::to_string(round) + ",C" + std::to_string(i % 4) + "\n";
      }
    }
    WriteFile(file_, text);
  }
  void ImportInBatches(const std::string& path) const {
    ImportOptions options;
    options.most_held = 300;
    QualityDatabase::ImportInto(path, file_, ImportKind::Values, options);
  }
  static DatabaseDigest DigestAt(const std::string& path) {
    const auto connection = OpenConnection(path, false);
    const Transaction reading(*connection, TransactionKind::Read);
    return DigestOf(*connection);
  }
  void ExpectSame() {
    const auto found = DigestAt(Path()), expected = DigestAt(reference_);
    EXPECT_EQ(found.measurements, expected.measurements);
    EXPECT_EQ(found.rows, expected.rows);
    EXPECT_EQ(found.values, expected.values);
    EXPECT_EQ(found.all, expected.all);
  }
  void Check(bool has_ended) {
    {
      // After whatever the server was still doing for what was killed.
      const auto connection = OpenAnother(Path());
      const Transaction last(*connection, TransactionKind::Write);
    }
    const auto before = DigestAt(reference_).measurements;
    const auto found = DigestAt(Path()).measurements;
    EXPECT_TRUE(found >= before && (found > before || !has_ended)) << "what was committed is gone";
    ++(found > before ? complete_ : nothing_);
    if (found > before) ImportInBatches(reference_);
    ExpectSame();
    Opened()->ReadOrThrow([](Connection& db) {
      ExpectSound(db);
      const auto subgroups = ReadLabels(db, 1, INT32_MAX).size();
      EXPECT_EQ(static_cast<std::int64_t>(subgroups), LastId(db, "subgroup"));
    });
  }

  const std::string file_ = folder_.File("round.csv"), reference_ = folder_.File("reference.db");
};

}  // namespace orvspc::engine::store
