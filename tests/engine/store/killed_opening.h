// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <random>
#include <string>
#include <thread>

#include "tests/engine/store/store_fixture.h"
#include "tests/engine/store/stored_record.h"

namespace orvspc::engine::store {

// Opens a database in another process and kills that within about the time that all of it takes.
// That time becomes less where the process came through: it may have been that of a slow moment,
// after which every kill would come too late.
inline void OpenAndKill(const std::string& path, std::mt19937& random,
                        std::chrono::microseconds& whole) {
  const auto child = fork();
  if (child == 0) _exit(FailureOf([&] { OpenDatabase(path); }).empty() ? 0 : 1);
  const auto delay = whole * Below(random, 1100) / 1000;
  std::this_thread::sleep_for(delay);
  kill(child, SIGKILL);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFSIGNALED(status) || WEXITSTATUS(status) == 0);
  if (WIFEXITED(status)) whole = std::min(whole, delay);
}

}  // namespace orvspc::engine::store
