// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <functional>
#include <string>
#include <thread>

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

}  // namespace orvspc::engine::import
