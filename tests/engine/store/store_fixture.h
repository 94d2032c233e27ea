// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "engine/QualityDatabase.h"
#include "engine/sql/sqlite/ChecksumVfs.h"
#include "engine/sql/sqlite/SqliteConnection.h"
#include "engine/store/SqlStore.h"
#include "engine/store/Store.h"
#include "engine/write/import/Import.h"
#include "platform/Enumerations.h"
#include "platform/ExternalFailure.h"
#include "tests/postgres/test_stores.h"

namespace orvspc::engine::store {
using namespace sql;
using namespace catalogue;
using namespace import;

// A folder of its own that goes with the object.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "orvspc-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) ADD_FAILURE() << "no temporary folder";
    path_ = pattern;
    stores_ = std::make_unique<tests::Stores>(path_);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    stores_.reset();
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  std::string File(const std::string& name) const { return (path_ / name).string(); }
  // Of a database: a path or an address.
  std::string Store(const std::string& name) const { return stores_->At(name); }
  void RemoveStore(const std::string& name) const { stores_->Remove(name); }

 private:
  std::filesystem::path path_;
  std::unique_ptr<tests::Stores> stores_;
};

inline void WriteFile(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

// The description of what work throws; empty when it does not.
template <class Work>
std::string FailureOf(Work work) {
  try {
    work();
  } catch (const platform::ExternalFailure& failure) {
    return failure.Description();
  }
  return {};
}

using tests::OpenBare;

// Runs SQL through a connection of its own.
inline void RunSql(const std::string& path, const std::string& sql) {
  ASSERT_NO_THROW(tests::ChangeRows(path, sql)) << sql;
}

inline std::unique_ptr<Connection> OpenAnother(const std::string& path) {
  return tests::OpenBeside(path);
}

class StoreTest : public testing::Test {
 protected:
  StoreTest() { Path(); }  // so that a child process has the same
  std::string Path() const { return folder_.Store("q.db"); }
  EmbeddedDatabase& Db() {
    if (!db_) db_ = OpenDatabase(Path(), true);
    return *db_;
  }
  QualityDatabase Data() {
    Db();
    return QualityDatabase(db_);
  }
  void Reopen() {
    db_.reset();
    db_ = OpenDatabase(Path());
  }
  ImportReport Import(const std::string& text, ImportKind kind = ImportKind::Values,
                      const ImportOptions& options = {}) {
    WriteFile(folder_.File("in.csv"), text);
    return ImportCsv(folder_.File("in.csv"), Db(), kind, options);
  }
  std::string ImportFailure(const std::string& text, ImportKind kind = ImportKind::Values) {
    return FailureOf([&] { Import(text, kind); });
  }
  std::shared_ptr<SqlStore> Opened() { return SqlStoreOf(Db()); }
  // Statements that the store has prepared so far.
  std::size_t PreparedCount() {
    std::size_t count = 0;
    Opened()->ReadOrThrow([&](Connection& db) { count = db.PreparedCount(); });
    return count;
  }
  std::int32_t Id(ItemKind kind, const std::string& name) {
    return Data().Find(kind, name).value_or(-1);
  }
  DataSet Select(API_DSInfo& info, const std::vector<std::int32_t>& filter,
                 SelectOptions options = {}) {
    DataSet data;
    EXPECT_TRUE(Opened()->Select(info, filter, options, data));
    if (const auto failure = Db().TakeFailure()) ADD_FAILURE() << failure->description;
    return data;
  }

  TemporaryFolder folder_;
  std::shared_ptr<EmbeddedDatabase> db_;
};

// A flat selection: everything unlimited until told otherwise.
struct FlatSelection {
  API_DSInfo info{};
  // In the order of the filter array.
  enum Block { kPart, kProcess, kTest, kJob, kLot, kShift, kEmployee, kDefect, kBlocks };
  std::vector<std::int32_t> blocks[kBlocks];
  std::vector<std::vector<std::int32_t>> others;

  FlatSelection() {
    info.DECFGID = -1;
    for (int block = 0; block < kBlocks; ++block) TypeOf(static_cast<Block>(block)) = ftUnlimited;
  }
  std::int32_t& TypeOf(Block block) {
    std::int32_t API_DSInfo::*const members[] = {&API_DSInfo::AllPart,     &API_DSInfo::AllProcess,
                                                 &API_DSInfo::AllTest,     &API_DSInfo::AllJob,
                                                 &API_DSInfo::AllLot,      &API_DSInfo::AllShift,
                                                 &API_DSInfo::AllEmployee, &API_DSInfo::AllCode};
    return info.*members[block];
  }
  FlatSelection& List(Block block, std::vector<std::int32_t> ids) {
    TypeOf(block) = ftItemList;
    blocks[block] = {0, static_cast<std::int32_t>(ids.size())};
    blocks[block].insert(blocks[block].end(), ids.begin(), ids.end());
    return *this;
  }
  FlatSelection& Group(Block block, std::int32_t group, std::int32_t item = 0) {
    TypeOf(block) = ftGroup;
    blocks[block] = {group, 1, item};
    return *this;
  }
  FlatSelection& Other(std::vector<std::int32_t> ids) {
    std::vector<std::int32_t> cells{ids.front(), static_cast<std::int32_t>(ids.size())};
    cells.insert(cells.end(), ids.begin(), ids.end());
    others.push_back(std::move(cells));
    info.Filter = 1;
    return *this;
  }
  FlatSelection& OtherGroup(std::int32_t group, std::int32_t item = 0) {
    others.push_back({group, 1, item});
    info.Filter = 1;
    return *this;
  }
  std::vector<std::int32_t> Filter() const {
    std::vector<std::int32_t> cells;
    for (const auto& block : blocks) {
      if (block.empty()) {
        cells.insert(cells.end(), {0, 0});
      } else {
        cells.insert(cells.end(), block.begin(), block.end());
      }
    }
    cells.push_back(static_cast<std::int32_t>(others.size()));
    for (const auto& other : others) cells.insert(cells.end(), other.begin(), other.end());
    cells.push_back(0);
    return cells;
  }
};

}  // namespace orvspc::engine::store
