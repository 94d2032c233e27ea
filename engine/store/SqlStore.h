// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "engine/store/SharedReading.h"
#include "engine/store/Store.h"
#include "engine/write/log/Log.h"
#include "platform/ExternalFailure.h"

namespace orvspc::engine::store {

// The store on a database with SQL. One connection, one mutex: calls of several threads take turns.
class SqlStore final : public Store {
 public:
  // The connection is open, checked and of the present schema. The path may be the address of a
  // database on a server.
  SqlStore(std::unique_ptr<sql::Connection> connection, std::string path);

  bool Select(API_DSInfo& info, std::span<const std::int32_t> filter, const SelectOptions& options,
              DataSet& out) override;
  std::int32_t TestType(std::int32_t test) override;
  bool SelectInBatches(API_DSInfo& info, std::span<const std::int32_t> filter,
                       const SelectOptions& options, BatchTaker& taker) override;
  std::vector<API_CCSpecLim> SpecLimits(std::int32_t part, std::int32_t test) override;
  std::vector<ControlLimit> ControlLimits(std::int32_t part, std::int32_t process,
                                          std::int32_t test) override;
  std::vector<API_CCDefOpp> Opportunities(std::int32_t part, std::int32_t test) override;
  std::vector<catalogue::ProvisionalLimit> ProvisionalLimits(std::int32_t part,
                                                             std::int32_t process,
                                                             std::int32_t test) override;
  std::vector<API_CANccLim8> NetContents(std::int32_t part, std::int32_t test) override;
  std::vector<Phase> Phases(std::int32_t part, std::int32_t process, std::int32_t test) override;
  bool JoinsPhases() const override { return joins_phases_; }
  const std::vector<StoredRule>& Rules() override;
  std::uint32_t AlarmBits(std::int32_t part, std::int32_t process, std::int32_t test,
                          std::int32_t graph) override;
  std::string Setting(std::string_view key, std::string_view fallback) override;
  std::string StreamName(std::int32_t part, std::int32_t process, std::int32_t test) override;
  std::optional<ChosenOption> ChartOption(std::int32_t part, std::int32_t process,
                                          std::int32_t test, std::int32_t graph,
                                          std::string_view key) override;
  void Fail(std::int32_t number, std::string description) override;
  void ReadOrThrow(const std::function<void(sql::Connection&)>& work) override;
  void InOneState(const API_DSInfo& first, const std::function<void()>& work) override;
  StoreCache& Cache() override { return cache_; }
  const std::string& Path() const override { return shown_path_; }
  // With its passwords, for another connection.
  const std::string& WholePath() const { return path_; }

  // The first failure since the last call.
  std::optional<sql::Failure> TakeFailure();

  // Rule numbers of graph 1 in place of the alarm rows; empty: the rows.
  void UseRuleNumbers(std::optional<std::vector<std::int32_t>> numbers);

  // Options of graph 1 in place of those of the database, by key.
  void UseChartOptions(std::map<std::string, std::string, std::less<>> options);

  void JoinPhases(bool join) { joins_phases_ = join; }

  // In one write transaction. Failures leave.
  // patience  in place of the setting: how long to wait for other programs that write
  void Write(const std::function<void(sql::Connection&)>& work,
             std::optional<std::chrono::seconds> patience = {});
  // The same with entries of the log, which work adds.
  void Write(const Actor& actor, const std::string& reason,
             const std::function<void(log::Writing&)>& work);

  // When large selections are read by two threads.
  SharedReading& Sharing() { return sharing_; }

 private:
  // Rereads the cache if the database has changed. The second is satisfied with a check of the
  // last millisecond.
  void Refresh();
  void RefreshSoon();
  // Begins a transaction on a current cache. One that finds the connection lost is begun once more
  // on a new one.
  std::unique_ptr<sql::Transaction> BeginCurrent(sql::TransactionKind kind,
                                                 std::optional<std::chrono::seconds> patience = {});
  std::chrono::seconds Patience();
  // Enough subgroups for two threads, if there are so many.
  bool AsksForMany(const API_DSInfo& info) const;
  // The second connection, ready to see what the next transaction of the first will see; null where
  // there is none, or the database is small.
  SecondReader* NotedSecond();
  // Runs a selection into a set or, where that is null, in batches. Large ones are offered a second
  // thread.
  bool RunShared(API_DSInfo& info, std::span<const std::int32_t> filter,
                 const SelectOptions& options, DataSet* out, BatchTaker* taker);
  // Runs work on the current cache; a failure is kept and gives the default answer.
  template <class Work>
  auto FromCache(Work work) -> decltype(work());

  std::recursive_mutex mutex_;
  std::unique_ptr<sql::Connection> connection_;
  std::string path_, shown_path_;
  StoreCache cache_;
  bool loaded_ = false;
  std::int64_t data_version_ = 0;
  std::uint64_t generation_ = 0;
  std::int64_t checked_ = 0;
  std::optional<std::vector<std::int32_t>> rule_numbers_;
  std::map<std::string, std::string, std::less<>> chart_options_;
  std::atomic<bool> joins_phases_ = false;
  SharedReading sharing_;
  SecondReader* noted_second_ = nullptr;  // inside InOneState

  std::mutex failure_mutex_;
  std::optional<sql::Failure> failure_;
};

// Opens a database with the engine's settings; with create it is made unless it is there, which
// made says. Throws platform::ExternalFailure with path and reason.
std::unique_ptr<sql::Connection> OpenConnection(const std::string& path, bool create,
                                                bool* made = nullptr);

// A database on a server, which may still be empty, for one transaction that begins with
// MakeTablesToFill: tables are then there with their first contents, or not at all. Throw
// platform::ExternalFailure.
std::unique_ptr<sql::Connection> OpenToFill(const std::string& address);
bool HasTables(sql::Connection& connection, const std::string& address);
void MakeTablesToFill(sql::Connection& connection, const std::string& address);

// Lets every store of the process see at once that another connection has written.
void NoteWrite();

// How long those who write wait for other programs that do: seconds, by a setting of the database.
inline constexpr std::string_view kPatienceSetting = "patience";
inline constexpr std::chrono::seconds kPatience{60};
// Of a text that is no number: kPatience.
std::chrono::seconds PatienceOf(std::string_view setting);
// Begins a write transaction. Throws platform::ExternalFailure where another program has been
// writing for so long.
std::unique_ptr<sql::Transaction> BeginWrite(sql::Connection& connection, const std::string& path,
                                             std::chrono::seconds patience);

// The number under which an open store is found while this lives.
class StoreHandle {
 public:
  explicit StoreHandle(std::shared_ptr<SqlStore> store);
  StoreHandle(const StoreHandle&) = delete;
  StoreHandle& operator=(const StoreHandle&) = delete;
  ~StoreHandle();
  std::int32_t Number() const { return number_; }

 private:
  std::int32_t number_;
};

// The store of an open database of ours. Throws platform::ExternalFailure.
std::shared_ptr<SqlStore> SqlStoreOf(platform::Database& database);

// How a host's calls, by the database object and the record objects, use the store.
inline constexpr const char* kHostCall = "QualityDatabase";

[[noreturn]] inline void Refuse(const SqlStore& store, const std::string& reason) {
  throw platform::ExternalFailure(sql::kRefused, kHostCall, store.Path() + ": " + reason);
}

// Rethrows every failure as one that hosts can catch.
template <class Work>
auto Guarded(SqlStore& store, Work work) {
  try {
    return work();
  } catch (...) {
    sql::RethrowAsExternal(store.Path(), kHostCall);
  }
}

// What work(store, connection) returns, run inside one read transaction.
template <class Work>
auto Read(platform::Database& database, Work work) {
  const auto store = SqlStoreOf(database);
  return Guarded(*store, [&] {
    decltype(work(*store, std::declval<sql::Connection&>())) result;
    store->ReadOrThrow([&](sql::Connection& db) { result = work(*store, db); });
    return result;
  });
}

}  // namespace orvspc::engine::store
