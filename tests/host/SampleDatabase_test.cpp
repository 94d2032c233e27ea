// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/host/SampleDatabaseTest.h"

namespace orvspc::host {
namespace {

TEST_F(SampleDatabaseTest, AChangedByteOrACutIsReportedOrHarmless) {
  const auto count = Damage({45, 15});
  EXPECT_GT(count.failed, 15U * 13);
  EXPECT_GT(count.same, 0U);
  RecordProperty("failed", std::to_string(count.failed));
  RecordProperty("same", std::to_string(count.same));
}

// By a user who is not the superuser, who may write anywhere.
TEST_F(SampleDatabaseTest, EveryCommandReadsWhatMayOnlyBeRead) {
  const auto expected = Expected();
  const auto commands = Commands();
  ASSERT_EQ(chmod(path_.c_str(), 0444), 0);
  ASSERT_EQ(chmod(folder_.Path().c_str(), 0555), 0);
  const auto child = fork();
  if (child == 0) {
    if (geteuid() == 0 && setuid(65534) != 0) _exit(100);
    int others = 0;
    for (std::size_t k = 0; k < commands.size(); ++k)
      if (!IsSame(Run(commands[k]), expected[k])) ++others;
    const auto refused = Run({"set", "time_zone", "UTC", "--db", path_});
    if (refused.status != 1 ||
        refused.err != "orvspc set: " + path_ + ": may not be written to\n") {
      ++others;
    }
    _exit(others);
  }
  int status = 0;
  waitpid(child, &status, 0);
  ASSERT_EQ(chmod(folder_.Path().c_str(), 0755), 0);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

}  // namespace
}  // namespace orvspc::host
