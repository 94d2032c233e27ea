// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <functional>
#include <random>
#include <string>
#include <thread>

#include "engine/chunks/subgroups.h"
#include "tests/engine/store/reference_store.h"
#include "tests/engine/store/store_fixture.h"

namespace orvspc::engine::import {
using namespace sql;
using namespace catalogue;
using namespace store;

// Imports a file in a child process that is killed on the way; what is then in the database is all
// of the file or nothing of it.
class ImportKillTest : public StoreTest {
 protected:
  void WriteSubgroups(int subgroups) {
    std::string text = "part,process,test,subgroup,time,value\n";
    for (int i = 0; i < subgroups; ++i) {
      const auto number = std::to_string(i);
      char time[40];
      std::snprintf(time, sizeof time, "20%02d-%02d-%02dT%02d:%02d:00", 10 + i / 518400 % 20,
                    1 + i / 43200 % 12, 1 + i / 1440 % 28, i / 60 % 24, i % 60);
      for (const char* value : {"10.1", "9.9", "10.0", "10.2", "9.8"}) {
        text += "A,P,T," + number + "," + time + "," + value + "\n";
      }
    }
    WriteFile(folder_.File("many.csv"), text);
    subgroups_ = static_cast<std::size_t>(subgroups);
  }

  // The child's own import; progress may kill it.
  pid_t Start(std::function<void(std::int64_t, std::int64_t)> progress) {
    Db();
    db_.reset();
    const auto child = fork();
    if (child != 0) return child;
    ImportOptions options;
    options.progress = std::move(progress);
    ImportCsv(folder_.File("many.csv"), *OpenDatabase(Path()), ImportKind::Values, options);
    _exit(0);
  }

  // Strikes when that share of the file has been read.
  void KillAtShare(double share) {
    const auto child = Start([&](std::int64_t done, std::int64_t size) {
      if (static_cast<double>(done) >= share * static_cast<double>(size)) kill(getpid(), SIGKILL);
    });
    Check(child);
  }

  // Strikes from outside at any moment, of the commit too.
  void KillAfter(std::chrono::microseconds delay) {
    const auto child = Start(nullptr);
    std::this_thread::sleep_for(delay);
    kill(child, SIGKILL);
    Check(child);
  }

  void Check(pid_t child) {
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    FlatSelection all;
    const auto data = Select(all.info, all.Filter());
    if (data.subgroups.empty()) {
      EXPECT_TRUE(Data().CountedItems(ItemKind::Part).empty());
      ++nothing_;
    } else {
      EXPECT_EQ(data.subgroups.size(), subgroups_);
      EXPECT_EQ(data.values.size(), subgroups_ * 5);
      ++complete_;
    }
    db_.reset();
    folder_.RemoveStore("q.db");
  }

  std::size_t subgroups_ = 0;
  int complete_ = 0, nothing_ = 0;
};

// Imports into a database that holds something already, in many batches that seal as they go: late
// and new subgroups of the same streams. After a kill there is what was there before, or that and
// all of the file.
class ImportIntoKillTest : public StoreTest {
 protected:
  void SetUp() override {
    WriteFile(folder_.File("first.csv"), File(0, 3000, 2));
    WriteFile(folder_.File("second.csv"), File(1, 6000, 1));
    Db();
    ImportInBatches("first.csv");
    before_ = All();
    db_.reset();
    std::filesystem::copy_file(Path(), folder_.File("before.db"));
    const auto start = std::chrono::steady_clock::now();
    ImportInBatches("second.csv");
    duration_ = std::chrono::duration_cast<std::chrono::microseconds>(
        std::chrono::steady_clock::now() - start);
    after_ = All();
    ASSERT_GT(after_.subgroups.size(), before_.subgroups.size() + 5000);
  }

  void KillAtRandom(int rounds, unsigned seed) {
    std::mt19937 random(seed);
    for (int round = 0; round < rounds; ++round) {
      SCOPED_TRACE("round " + std::to_string(round));
      db_.reset();
      for (const char* end : {"", "-wal", "-shm"}) std::filesystem::remove(Path() + end);
      std::filesystem::copy_file(folder_.File("before.db"), Path());
      const auto child = fork();
      if (child == 0) {
        ImportInBatches("second.csv");
        _exit(0);
      }
      const std::chrono::microseconds delay = duration_ * (random() % 1200) / 1000;
      std::this_thread::sleep_for(delay);
      kill(child, SIGKILL);
      int status = 0;
      ASSERT_EQ(waitpid(child, &status, 0), child);
      Check(WIFEXITED(status));
      // The first time may have been a slow one, after which every kill would come too late.
      if (WIFEXITED(status)) duration_ = std::min(duration_, delay);
    }
  }

  int complete_ = 0, nothing_ = 0;

 private:
  // Two streams and subgroups of both, out of order of time.
  static std::string File(int which, int subgroups, int step) {
    std::string text = "part,process,test,subgroup,time,value\n";
    for (int i = 0; i < subgroups; ++i) {
      const int minute = (i * 7919 % subgroups) * step;
      char time[40];
      std::snprintf(time, sizeof time, "2024-01-%02dT%02d:%02d:%02d", 1 + minute / 1440,
                    minute / 60 % 24, minute % 60, which);
      for (const char* test : {"T1", "T2"}) {
        if (test[1] == '2' && i % 3 == 0) continue;
        text += std::string("A,P,") + test + "," + std::to_string(i) + "," + time + "," +
                std::to_string(i) + "\n";
      }
    }
    return text;
  }
  void ImportInBatches(const std::string& file) {
    ImportOptions options;
    options.most_held = 300;
    ImportCsv(folder_.File(file), Db(), ImportKind::Values, options);
  }
  DataSet All() {
    FlatSelection all;
    return Select(all.info, all.Filter());
  }
  static bool AreSame(const DataSet& a, const DataSet& b) {
    return a.subgroups.size() == b.subgroups.size() && a.values == b.values && a.keys == b.keys &&
           std::memcmp(a.subgroups.data(), b.subgroups.data(),
                       a.subgroups.size() * sizeof a.subgroups[0]) == 0;
  }
  void Check(bool has_ended) {
    const auto found = All();
    const bool is_complete = AreSame(found, after_);
    EXPECT_TRUE(is_complete || AreSame(found, before_))
        << found.subgroups.size() << " subgroups, neither " << before_.subgroups.size() << " nor "
        << after_.subgroups.size();
    EXPECT_TRUE(is_complete || !has_ended) << "what was committed is gone";
    ++(is_complete ? complete_ : nothing_);
    Opened()->ReadOrThrow([](Connection& db) {
      ExpectSound(db);
      const auto subgroups = ReadLabels(db, 1, INT32_MAX).size();
      EXPECT_EQ(static_cast<std::int64_t>(subgroups), LastId(db, "subgroup"));
    });
  }

  DataSet before_, after_;
  std::chrono::microseconds duration_{};
};

}  // namespace orvspc::engine::import
