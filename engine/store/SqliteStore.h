// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <vector>

#include "engine/catalogue/ItemKind.h"
#include "engine/catalogue/References.h"
#include "engine/sql/sqlite.h"
#include "engine/store/Store.h"
#include "engine/store/second_reader.h"
#include "platform/Database.h"

namespace orvspc::engine::store {

struct TwoThreads;  // of select.h

struct Stream {
  std::int32_t part = 0, process = 0, test = 0;
  std::int32_t test_type = 0;
  std::int64_t id = 0;
};

// Who and where of a subgroup; many subgroups share one.
struct Context {
  std::int32_t workstation = 0, job = 0, lot = 0, shift = 0, revision = 0, employee = 0;
  friend bool operator==(const Context&, const Context&) = default;
  friend auto operator<=>(const Context&, const Context&) = default;
};

struct AlarmRow {
  std::int32_t part = 0, process = 0, test = 0, graph = 0;  // 0: any
  std::int32_t number = 0;
  bool is_on = false;
};

// What is reread only after the file has changed.
struct StoreCache {
  std::vector<Stream> streams;            // by part, process, test
  std::vector<Context> contexts;          // by identifier; the first is "none"
  std::vector<std::int64_t> context_ids;  // beside contexts; the first is 0
  std::int64_t highest_subgroup = 0;
  std::shared_ptr<const std::vector<StoredRule>> rules;
  std::vector<std::pair<std::string, std::vector<std::int32_t>>> rule_sets;
  std::vector<AlarmRow> alarms;
  std::map<std::string, std::string, std::less<>> settings;
  std::map<std::pair<std::int32_t, std::int32_t>, std::vector<API_CCSpecLim>> spec_limits;
  std::map<std::pair<std::int32_t, std::int32_t>, std::vector<ControlLimit>> control_limits;
  std::map<std::pair<std::int32_t, std::int32_t>, std::vector<API_CCDefOpp>> opportunities;
  std::map<std::pair<std::int32_t, std::int32_t>, std::vector<API_CANccLim8>> net_contents;
  std::array<std::unordered_map<std::int32_t, std::string>, catalogue::kItemKinds> names;
  std::array<bool, catalogue::kItemKinds> names_read{};
  catalogue::References references;  // filled as they are asked for
  std::int32_t zone_offset = 0;

  // The place of a context; none when the file has no such context.
  std::optional<std::size_t> PlaceOfContext(std::int64_t id) const {
    // Identifiers count up without a gap in every file of ours.
    const auto place = static_cast<std::size_t>(id);
    if (place < context_ids.size() && context_ids[place] == id) return place;
    const auto found = std::lower_bound(context_ids.begin(), context_ids.end(), id);
    if (found == context_ids.end() || *found != id) return std::nullopt;
    return static_cast<std::size_t>(found - context_ids.begin());
  }
};

// The store on one SQLite file. One connection, one mutex: calls of several threads take turns.
class SqliteStore final : public Store {
 public:
  // The connection is open, checked and of the present schema.
  SqliteStore(sql::Connection connection, std::string path);

  bool Select(API_DSInfo& info, std::span<const std::int32_t> filter, const SelectOptions& options,
              DataSet& out) override;
  std::int32_t TestType(std::int32_t test) override;
  bool SelectInBatches(API_DSInfo& info, std::span<const std::int32_t> filter,
                       const SelectOptions& options, BatchTaker& taker) override;
  std::vector<API_CCSpecLim> SpecLimits(std::int32_t part, std::int32_t test) override;
  std::vector<ControlLimit> ControlLimits(std::int32_t part, std::int32_t process,
                                          std::int32_t test) override;
  std::vector<API_CCDefOpp> Opportunities(std::int32_t part, std::int32_t test) override;
  std::vector<API_CANccLim8> NetContents(std::int32_t part, std::int32_t test) override;
  const std::vector<StoredRule>& Rules() override;
  std::uint32_t AlarmBits(std::int32_t part, std::int32_t process, std::int32_t test,
                          std::int32_t graph) override;
  std::string Setting(std::string_view key, std::string_view fallback) override;
  std::string StreamName(std::int32_t part, std::int32_t process, std::int32_t test) override;
  void Fail(std::int32_t number, std::string description) override;

  // The first failure since the last call.
  std::optional<EngineFailure> TakeFailure();

  const std::string& Path() const { return path_; }

  // Rule numbers of graph 1 in place of the alarm rows; empty: the rows.
  void UseRuleNumbers(std::optional<std::vector<std::int32_t>> numbers);

  // Runs work with the connection inside a read transaction, the cache being current; returns
  // false after a failure, which is kept. What work throws never leaves.
  bool Read(const std::function<void(sql::Connection&)>& work);
  // The same, but failures leave as SqlError and others; for hosts' calls.
  void ReadOrThrow(const std::function<void(sql::Connection&)>& work);
  // In one write transaction. Failures leave.
  void Write(const std::function<void(sql::Connection&)>& work);

  // Valid inside Read, ReadOrThrow or Write only.
  const StoreCache& Cache() const { return cache_; }
  const std::unordered_map<std::int32_t, std::string>& Names(catalogue::ItemKind kind);
  // What these hand out stays as it is when the file changes.
  std::shared_ptr<const catalogue::ItemList> Items(catalogue::ItemKind kind);
  std::shared_ptr<const std::vector<catalogue::ItemGroup>> Groups(catalogue::ItemKind kind);
  std::shared_ptr<const std::vector<catalogue::ProcessPlace>> Places();
  std::shared_ptr<const std::vector<catalogue::Descriptor>> Descriptors();
  std::shared_ptr<const std::vector<catalogue::Item>> DescriptorGroups();

  // Statements prepared so far.
  std::size_t PreparedCount();
  // From how many subgroups on a selection may be read by two threads, and how many were.
  void ShareFrom(std::int64_t subgroups);
  std::size_t SharedCount();

 private:
  // Rereads the cache if the file has changed. With slack a check of the last millisecond is
  // enough.
  void Refresh();
  void RefreshSoon();
  bool MayShare(const API_DSInfo& info);
  // Runs work(connection, threads, info) inside a read transaction, a second thread being offered
  // for large selections; writes info back when it succeeds.
  bool RunShared(
      API_DSInfo& info,
      const std::function<void(sql::Connection&, TwoThreads& threads, API_DSInfo& info)>& work);
  // Runs work on the current cache; a failure is kept and gives the default answer.
  template <class Result, class Work>
  Result FromCache(Work work);

  std::recursive_mutex mutex_;
  sql::Connection connection_;
  std::string path_;
  StoreCache cache_;
  bool loaded_ = false;
  std::int64_t data_version_ = 0;
  std::uint64_t generation_ = 0;
  std::int64_t checked_ = 0;
  std::optional<std::vector<std::int32_t>> rule_numbers_;
  std::unique_ptr<SecondReader> second_;  // opened for the first large selection
  std::int64_t share_from_;
  std::size_t shared_ = 0;

  std::mutex failure_mutex_;
  std::optional<EngineFailure> failure_;
};

// Opens a file with the engine's settings. Throws platform::ExternalFailure with file and reason.
sql::Connection OpenConnection(const std::string& path, bool create);

// Tells every store of the process that a file was written through another connection.
void NoteWrite();

// Puts the exception being handled into words and keeps it in the store.
void KeepCurrentFailure(SqliteStore& store) noexcept;

// The number under which an open store is found while this lives.
class StoreHandle {
 public:
  explicit StoreHandle(std::shared_ptr<SqliteStore> store);
  StoreHandle(const StoreHandle&) = delete;
  StoreHandle& operator=(const StoreHandle&) = delete;
  ~StoreHandle();
  std::int32_t Number() const { return number_; }

 private:
  std::int32_t number_;
};

// The store of an open database of ours. Throws platform::ExternalFailure.
std::shared_ptr<SqliteStore> SqliteStoreOf(platform::Database& database);
// By handle; null when it is closed or unknown.
std::shared_ptr<SqliteStore> SqliteStoreOf(std::int32_t handle);

}  // namespace orvspc::engine::store
