// SPDX-License-Identifier: Apache-2.0
#include "engine/store/SqliteStore.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <new>
#include <stdexcept>

#include "engine/sql/failures.h"
#include "engine/store/cache.h"
#include "engine/store/parallel.h"

namespace orvspc::engine::store {
namespace {

// Grows with each write of this process, so that a second connection to the file sees it at once.
std::atomic<std::uint64_t> writes_of_process{0};

std::int64_t Milliseconds() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

constexpr std::int32_t kOutOfMemory = 7;
constexpr std::int32_t kStoreFailure = -2147221504;

// Rules that judge single pieces of a pre-control chart.
bool IsPieceRule(const StoredRule& rule) { return rule.kind == "red" || rule.kind == "yellow2"; }

// 15 and 31 share a bit, and the sign bit is never set.
std::uint32_t BitOf(std::int32_t number) {
  return std::uint32_t{1} << (number == 31 ? 15 : static_cast<unsigned>(number) & 31u);
}

// How narrowly an alarm row speaks; -1 when it does not speak of the stream and graph.
int Narrowness(const AlarmRow& row, std::int32_t part, std::int32_t process, std::int32_t test,
               std::int32_t graph) {
  int narrowness = 0;
  const std::pair<std::int32_t, std::int32_t> columns[] = {
      {row.part, part}, {row.process, process}, {row.test, test}, {row.graph, graph}};
  for (const auto& [wanted, actual] : columns) {
    if (wanted == 0) continue;
    if (wanted != actual) return -1;
    ++narrowness;
  }
  return narrowness;
}

}  // namespace

void NoteWrite() { ++writes_of_process; }

SqliteStore::SqliteStore(sql::Connection connection, std::string path)
    : connection_(std::move(connection)), path_(std::move(path)), share_from_(kWorthTwoThreads) {}

void SqliteStore::Refresh() {
  std::int64_t version = 0;
  {
    sql::Query query(connection_, "PRAGMA data_version");
    if (query.Step()) version = query.Int64(0);
  }
  const auto generation = writes_of_process.load();
  if (loaded_ && version == data_version_ && generation == generation_) {
    checked_ = Milliseconds();
    return;
  }
  loaded_ = false;
  cache_ = ReadCache(connection_);
  data_version_ = version;
  generation_ = generation;
  loaded_ = true;
  checked_ = Milliseconds();
}

void SqliteStore::RefreshSoon() {
  if (loaded_ && writes_of_process.load() == generation_ && Milliseconds() - checked_ < 2) return;
  sql::Transaction transaction(connection_, sql::Transaction::Kind::Read);
  Refresh();
  transaction.Commit();
}

void SqliteStore::ReadOrThrow(const std::function<void(sql::Connection&)>& work) {
  const std::lock_guard lock(mutex_);
  if (sqlite3_get_autocommit(connection_.Get()) == 0) return work(connection_);
  sql::Transaction transaction(connection_, sql::Transaction::Kind::Read);
  Refresh();
  work(connection_);
  transaction.Commit();
}

bool SqliteStore::Read(const std::function<void(sql::Connection&)>& work) {
  try {
    ReadOrThrow(work);
    return true;
  } catch (...) {
    KeepCurrentFailure(*this);
    return false;
  }
}

void SqliteStore::Write(const std::function<void(sql::Connection&)>& work) {
  const std::lock_guard lock(mutex_);
  sql::Transaction transaction(connection_, sql::Transaction::Kind::Write);
  Refresh();
  work(connection_);
  transaction.Commit();
  NoteWrite();
}

template <class Result, class Work>
Result SqliteStore::FromCache(Work work) {
  try {
    const std::lock_guard lock(mutex_);
    if (sqlite3_get_autocommit(connection_.Get()) != 0) RefreshSoon();
    return work();
  } catch (...) {
    KeepCurrentFailure(*this);
    return Result{};
  }
}

std::int32_t SqliteStore::TestType(std::int32_t test) {
  return FromCache<std::int32_t>([&] {
    const auto found = std::find_if(cache_.streams.begin(), cache_.streams.end(),
                                    [&](const Stream& stream) { return stream.test == test; });
    return found == cache_.streams.end() ? 0 : found->test_type;
  });
}

std::vector<API_CCSpecLim> SqliteStore::SpecLimits(std::int32_t part, std::int32_t test) {
  using Rows = std::vector<API_CCSpecLim>;
  return FromCache<Rows>([&] {
    const auto found = cache_.spec_limits.find({part, test});
    return found == cache_.spec_limits.end() ? Rows{} : found->second;
  });
}

std::vector<ControlLimit> SqliteStore::ControlLimits(std::int32_t part, std::int32_t process,
                                                     std::int32_t test) {
  using Rows = std::vector<ControlLimit>;
  return FromCache<Rows>([&] {
    Rows rows;
    const auto found = cache_.control_limits.find({part, test});
    if (found == cache_.control_limits.end()) return rows;
    for (const auto& limit : found->second) {
      if (limit.row.F_PRCS == 0 || limit.row.F_PRCS == process) rows.push_back(limit);
    }
    return rows;
  });
}

std::vector<API_CCDefOpp> SqliteStore::Opportunities(std::int32_t part, std::int32_t test) {
  using Rows = std::vector<API_CCDefOpp>;
  return FromCache<Rows>([&] {
    const auto found = cache_.opportunities.find({part, test});
    return found == cache_.opportunities.end() ? Rows{} : found->second;
  });
}

std::vector<API_CANccLim8> SqliteStore::NetContents(std::int32_t part, std::int32_t test) {
  using Rows = std::vector<API_CANccLim8>;
  return FromCache<Rows>([&] {
    const auto found = cache_.net_contents.find({part, test});
    return found == cache_.net_contents.end() ? Rows{} : found->second;
  });
}

const std::vector<StoredRule>& SqliteStore::Rules() {
  // Held for the thread, so that another thread's refresh does not pull the list from under it.
  thread_local std::shared_ptr<const std::vector<StoredRule>> held;
  held = FromCache<std::shared_ptr<const std::vector<StoredRule>>>([&] { return cache_.rules; });
  if (!held) held = std::make_shared<const std::vector<StoredRule>>();
  return *held;
}

std::uint32_t SqliteStore::AlarmBits(std::int32_t part, std::int32_t process, std::int32_t test,
                                     std::int32_t graph) {
  return FromCache<std::uint32_t>([&] {
    const auto& rules = *cache_.rules;
    std::uint32_t bits = 0;
    if (rule_numbers_ || cache_.alarms.empty()) {
      if (graph != 1) return BitOf(1);
      for (const auto& rule : rules) {
        const bool listed = rule_numbers_ ? std::count(rule_numbers_->begin(), rule_numbers_->end(),
                                                       rule.number) > 0
                                          : rule.number >= 1 && rule.number <= 8;  // Nelson's eight
        if (listed || IsPieceRule(rule)) bits |= BitOf(rule.number);
      }
      return bits;
    }
    for (const auto& rule : rules) {
      int narrowest = -1;
      bool is_on = false;
      for (const auto& row : cache_.alarms) {
        if (row.number != rule.number) continue;
        const int narrowness = Narrowness(row, part, process, test, graph);
        if (narrowness < 0 || narrowness < narrowest) continue;
        narrowest = narrowness;
        is_on = row.is_on;
      }
      if (is_on) bits |= BitOf(rule.number);
    }
    return bits;
  });
}

std::string SqliteStore::Setting(std::string_view key, std::string_view fallback) {
  return FromCache<std::string>([&] {
    const auto found = cache_.settings.find(key);
    return found == cache_.settings.end() ? std::string(fallback) : found->second;
  });
}

const std::unordered_map<std::int32_t, std::string>& SqliteStore::Names(catalogue::ItemKind kind) {
  const auto place = static_cast<std::size_t>(kind);
  if (!cache_.names_read[place]) {
    auto& names = cache_.names[place];
    names.clear();
    static const auto texts = [] {
      std::array<std::string, catalogue::kItemKinds> all;
      for (int i = 0; i < catalogue::kItemKinds; ++i) {
        all[static_cast<std::size_t>(i)] =
            "SELECT id, name FROM " +
            std::string(catalogue::TableOf(static_cast<catalogue::ItemKind>(i)));
      }
      return all;
    }();
    sql::Query query(connection_, texts[place]);
    while (query.Step()) names.emplace(query.Int(0), query.Text(1));
    cache_.names_read[place] = true;
  }
  return cache_.names[place];
}

namespace {

// Reads what is not there yet.
template <class T, class Read>
std::shared_ptr<const T> Kept(std::shared_ptr<const T>& kept, Read read) {
  if (!kept) kept = std::make_shared<const T>(read());
  return kept;
}

}  // namespace

std::shared_ptr<const catalogue::ItemList> SqliteStore::Items(catalogue::ItemKind kind) {
  return Kept(cache_.references.items[static_cast<std::size_t>(kind)],
              [&] { return catalogue::ReadItems(connection_, kind); });
}

std::shared_ptr<const std::vector<catalogue::ItemGroup>> SqliteStore::Groups(
    catalogue::ItemKind kind) {
  return Kept(cache_.references.groups[static_cast<std::size_t>(kind)],
              [&] { return catalogue::ReadGroups(connection_, kind); });
}

std::shared_ptr<const std::vector<catalogue::ProcessPlace>> SqliteStore::Places() {
  return Kept(cache_.references.places, [&] { return catalogue::ReadPlaces(connection_); });
}

std::shared_ptr<const std::vector<catalogue::Descriptor>> SqliteStore::Descriptors() {
  return Kept(cache_.references.descriptors,
              [&] { return catalogue::ReadDescriptors(connection_); });
}

std::shared_ptr<const std::vector<catalogue::Item>> SqliteStore::DescriptorGroups() {
  return Kept(cache_.references.descriptor_groups,
              [&] { return catalogue::ReadDescriptorGroups(connection_); });
}

std::string SqliteStore::StreamName(std::int32_t part, std::int32_t process, std::int32_t test) {
  return FromCache<std::string>([&] {
    const auto name = [&](catalogue::ItemKind kind, std::int32_t id) {
      const auto& names = Names(kind);
      const auto found = names.find(id);
      return found == names.end() ? std::to_string(id) : found->second;
    };
    return name(catalogue::ItemKind::Part, part) + " / " +
           name(catalogue::ItemKind::Process, process) + " / " +
           name(catalogue::ItemKind::Test, test);
  });
}

void SqliteStore::UseRuleNumbers(std::optional<std::vector<std::int32_t>> numbers) {
  const std::lock_guard lock(mutex_);
  rule_numbers_ = std::move(numbers);
}

std::size_t SqliteStore::PreparedCount() {
  const std::lock_guard lock(mutex_);
  return connection_.PreparedCount();
}

void SqliteStore::ShareFrom(std::int64_t subgroups) {
  const std::lock_guard lock(mutex_);
  share_from_ = subgroups;
}

std::size_t SqliteStore::SharedCount() {
  const std::lock_guard lock(mutex_);
  return shared_;
}

void SqliteStore::Fail(std::int32_t number, std::string description) {
  const std::lock_guard lock(failure_mutex_);
  // The first is the cause, what follows it is not.
  if (!failure_) failure_ = EngineFailure{number, std::move(description)};
}

std::optional<EngineFailure> SqliteStore::TakeFailure() {
  const std::lock_guard lock(failure_mutex_);
  return std::exchange(failure_, std::nullopt);
}

void KeepCurrentFailure(SqliteStore& store) noexcept {
  try {
    try {
      throw;
    } catch (const std::bad_alloc&) {
      store.Fail(kOutOfMemory, "Out of memory");
    } catch (const std::length_error&) {
      store.Fail(kOutOfMemory, "Out of memory");
    } catch (const sql::SqlError& error) {
      store.Fail(kStoreFailure, store.Path() + ": " + sql::ReasonOf(error));
    } catch (const std::exception& error) {
      store.Fail(kStoreFailure, store.Path() + ": " + error.what());
    }
  } catch (...) {
    // Not even the reason could be kept.
  }
}

}  // namespace orvspc::engine::store
