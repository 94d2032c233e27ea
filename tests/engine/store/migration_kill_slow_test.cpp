// SPDX-License-Identifier: Apache-2.0
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <iterator>
#include <random>
#include <string>
#include <thread>

#include "engine/schema/schema.h"
#include "engine/store/digest.h"
#include "tests/engine/store/former_file.h"
#include "tests/engine/store/store_fixture.h"
#include "tests/engine/write/import/every_kind.h"

// The short forms are in migration_test.cpp and migration_of_v3_test.cpp.
namespace orvspc::engine::store {
namespace {

class MigrationKillTest : public StoreTest {
 protected:
  static constexpr int kSubgroups = 100'000, kKills = 100;

  static DatabaseDigest DigestIn(const std::string& path) {
    const auto db = OpenConnection(path, false);
    const Transaction reading(*db, TransactionKind::Read);
    return DigestOf(*db);
  }
  static std::int32_t VersionOf(const std::string& path) {
    return OpenAnother(path)->Mark().version;
  }
  void RemoveFiles() const {
    for (const char* end : {"", "-wal", "-shm", "-journal"}) std::filesystem::remove(Path() + end);
  }

  // Whether schema 1 has a place for all that the file of a kind says.
  static bool IsOfVersion1(ImportKind kind) {
    constexpr ImportKind kKinds[] = {ImportKind::Values,        ImportKind::Limits,
                                     ImportKind::ControlLimits, ImportKind::Opportunities,
                                     ImportKind::Rules,         ImportKind::Alarms,
                                     ImportKind::Groups};
    return std::ranges::find(kKinds, kind) != std::end(kKinds);
  }
  // Rows in every table, and many values.
  void WriteFormer(std::int32_t version, const std::string& path) {
    const auto wanted = folder_.File("wanted.db"), input = folder_.File("in.csv");
    for (const auto& [kind, text] : import::kEveryKind) {
      if (version == 1 && !IsOfVersion1(kind)) continue;
      WriteFile(input, text);
      QualityDatabase::ImportInto(wanted, input, kind);
    }
    std::string text = "part,process,test,subgroup,time,value,lot\n";
    for (int i = 0; i < kSubgroups; ++i) {
      text += "P" + std::to_string(i % 7) + ",Line,Width," + std::to_string(i) + "," +
              platform::IsoText(1'600'000'000 + i) + "Z," + std::to_string(i * 37 % 1000) + ",L" +
              std::to_string(i / 5000) + "\n";
    }
    WriteFile(input, text);
    QualityDatabase::ImportInto(wanted, input, ImportKind::Values);
    expected_ = DigestIn(wanted);
    if (version == 3) {
      WriteVersion3File(wanted, path);
    } else {
      WriteFormerFile(wanted, path, version);
    }
  }

  void KillAHundredTimes(std::int32_t version) {
    using Clock = std::chrono::steady_clock;
    const auto old = folder_.File("old.db");
    WriteFormer(version, old);
    std::filesystem::copy_file(old, Path());
    const auto start = Clock::now();
    OpenDatabase(Path());
    auto whole = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start);
    std::mt19937 random(static_cast<unsigned>(version));
    int former = 0;
    for (int kills = 0; kills < kKills; ++kills) {
      SCOPED_TRACE("kill " + std::to_string(kills));
      RemoveFiles();
      std::filesystem::copy_file(old, Path());
      const auto child = fork();
      if (child == 0) _exit(FailureOf([&] { OpenDatabase(Path()); }).empty() ? 0 : 1);
      const auto delay = whole * Below(random, 1050) / 1000;
      std::this_thread::sleep_for(delay);
      kill(child, SIGKILL);
      int status = 0;
      ASSERT_EQ(waitpid(child, &status, 0), child);
      ASSERT_TRUE(WIFSIGNALED(status) || WEXITSTATUS(status) == 0);
      const auto now = VersionOf(Path());
      ASSERT_TRUE(now == version || now == schema::kSchemaVersion) << now;
      former += now == version ? 1 : 0;
      // The first time may have been a slow one, after which every kill would come too late.
      if (WIFEXITED(status)) whole = std::min(whole, delay);
      // Brings it forward where it is the former one.
      ASSERT_EQ(DigestIn(Path()), expected_);
      ASSERT_EQ(VersionOf(Path()), schema::kSchemaVersion);
    }
    EXPECT_GT(former, kKills / 5);  // else few kills came in time
    RecordProperty("former", former);
  }

  DatabaseDigest expected_;
};

TEST_F(MigrationKillTest, AHundredKillsLeaveAFileOfSchema1OrAllOfTheNewOne) {
  KillAHundredTimes(1);
}

TEST_F(MigrationKillTest, AHundredKillsLeaveAFileOfSchema2OrAllOfTheNewOne) {
  KillAHundredTimes(2);
}

TEST_F(MigrationKillTest, AHundredKillsLeaveAFileOfSchema3OrAllOfTheNewOne) {
  KillAHundredTimes(3);
}

}  // namespace
}  // namespace orvspc::engine::store
