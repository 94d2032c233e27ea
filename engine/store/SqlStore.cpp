// SPDX-License-Identifier: Apache-2.0
#include "engine/store/SqlStore.h"

#include <algorithm>
#include <charconv>
#include <chrono>

#include "engine/sql/address.h"
#include "engine/store/alarm_rules.h"
#include "engine/store/phases.h"

namespace orvspc::engine::store {
namespace {

// Grows with each write of this process, so that a second connection to the file sees it at once.
std::atomic<std::uint64_t> writes_of_process{0};

std::int64_t Milliseconds() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

// The rows of a part and test; empty when there are none.
template <class Row>
std::vector<Row> RowsOf(const ByPartAndTest<Row>& all, std::int32_t part, std::int32_t test) {
  const auto found = all.find({part, test});
  return found == all.end() ? std::vector<Row>() : found->second;
}

}  // namespace

void NoteWrite() { ++writes_of_process; }

std::chrono::seconds PatienceOf(std::string_view setting) {
  std::int64_t seconds = 0;
  const auto error = std::from_chars(setting.data(), setting.data() + setting.size(), seconds).ec;
  return error == std::errc() ? std::chrono::seconds(seconds) : kPatience;
}

std::unique_ptr<sql::Transaction> BeginWrite(sql::Connection& connection, const std::string& path,
                                             std::chrono::seconds patience) {
  connection.WaitForWriters(patience, {});
  try {
    return std::make_unique<sql::Transaction>(connection, sql::TransactionKind::Write);
  } catch (const sql::SqlError& error) {
    if (error.Which() != sql::SqlError::Kind::Locked) throw;
    throw platform::ExternalFailure(sql::kRefused, kHostCall,
                                    path + ": another program has been writing for " +
                                        std::to_string(patience.count()) + " s; try again");
  }
}

SqlStore::SqlStore(std::unique_ptr<sql::Connection> connection, std::string path)
    : connection_(std::move(connection)),
      path_(std::move(path)),
      shown_path_(sql::WithoutPasswords(path_)) {}

void SqlStore::Refresh() {
  const auto version = connection_->DataVersion();
  const auto generation = writes_of_process.load();
  if (!loaded_ || version != data_version_ || generation != generation_) {
    loaded_ = false;
    cache_ = StoreCache(*connection_);
    data_version_ = version;
    generation_ = generation;
    loaded_ = true;
  }
  checked_ = Milliseconds();
}

// As of what is in the cache.
std::chrono::seconds SqlStore::Patience() {
  if (!loaded_) RefreshSoon();
  const auto found = cache_.settings.find(kPatienceSetting);
  return PatienceOf(found == cache_.settings.end() ? std::string_view() : found->second);
}

std::unique_ptr<sql::Transaction> SqlStore::BeginCurrent(
    sql::TransactionKind kind, std::optional<std::chrono::seconds> patience) {
  const auto begin = [&] {
    auto transaction = kind == sql::TransactionKind::Write
                           ? BeginWrite(*connection_, Path(), patience ? *patience : Patience())
                           : std::make_unique<sql::Transaction>(*connection_, kind);
    Refresh();
    return transaction;
  };
  try {
    return begin();
  } catch (const sql::SqlError& error) {
    if (error.Which() != sql::SqlError::Kind::Lost || !connection_->Reconnect()) throw;
  }
  return begin();
}

void SqlStore::RefreshSoon() {
  if (connection_->InTransaction()) return;
  if (loaded_ && writes_of_process.load() == generation_ && Milliseconds() - checked_ < 2) return;
  BeginCurrent(sql::TransactionKind::Read)->Commit();
}

void SqlStore::ReadOrThrow(const std::function<void(sql::Connection&)>& work) {
  const std::lock_guard lock(mutex_);
  if (connection_->InTransaction()) return work(*connection_);
  const auto read = [&] {
    const auto transaction = BeginCurrent(sql::TransactionKind::Read);
    work(*connection_);
    transaction->Commit();
  };
  const auto notes = NoteCount();
  try {
    return read();
  } catch (const sql::SqlError& error) {
    if (error.Which() != sql::SqlError::Kind::Lost) throw;
  }
  KeepNotes(notes);
  read();
}

void SqlStore::Write(const std::function<void(sql::Connection&)>& work,
                     std::optional<std::chrono::seconds> patience) {
  const std::lock_guard lock(mutex_);
  const auto transaction = BeginCurrent(sql::TransactionKind::Write, patience);
  work(*connection_);
  transaction->Commit();
  NoteWrite();
}

void SqlStore::Write(const Actor& actor, const std::string& reason,
                     const std::function<void(log::Writing&)>& work) {
  Write([&](sql::Connection& db) {
    log::Writing writing(db, actor, reason);
    work(writing);
  });
}

template <class Work>
auto SqlStore::FromCache(Work work) -> decltype(work()) {
  return KeepFailures(this, [&] {
    const std::lock_guard lock(mutex_);
    RefreshSoon();
    return work();
  });
}

std::int32_t SqlStore::TestType(std::int32_t test) {
  return FromCache([&] {
    const auto found = std::ranges::find(cache_.streams, test, &Stream::test);
    return found == cache_.streams.end() ? 0 : found->test_type;
  });
}

std::vector<API_CCSpecLim> SqlStore::SpecLimits(std::int32_t part, std::int32_t test) {
  return FromCache([&] { return RowsOf(cache_.spec_limits, part, test); });
}

std::vector<ControlLimit> SqlStore::ControlLimits(std::int32_t part, std::int32_t process,
                                                  std::int32_t test) {
  return FromCache([&] {
    auto rows = RowsOf(cache_.control_limits, part, test);
    std::erase_if(rows, [&](const ControlLimit& limit) {
      return limit.row.F_PRCS != 0 && limit.row.F_PRCS != process;
    });
    return rows;
  });
}

std::vector<API_CCDefOpp> SqlStore::Opportunities(std::int32_t part, std::int32_t test) {
  return FromCache([&] { return RowsOf(cache_.opportunities, part, test); });
}

std::vector<catalogue::ProvisionalLimit> SqlStore::ProvisionalLimits(std::int32_t part,
                                                                     std::int32_t process,
                                                                     std::int32_t test) {
  return FromCache([&] {
    std::vector<catalogue::ProvisionalLimit> rows;
    std::ranges::copy_if(
        cache_.provisional_limits, std::back_inserter(rows), [&](const auto& each) {
          return each.row.F_PART == part && each.row.F_PRCS == process && each.row.F_TEST_ == test;
        });
    return rows;
  });
}

std::vector<API_CANccLim8> SqlStore::NetContents(std::int32_t part, std::int32_t test) {
  return FromCache([&] { return RowsOf(cache_.net_contents, part, test); });
}

std::vector<Phase> SqlStore::Phases(std::int32_t part, std::int32_t process, std::int32_t test) {
  return FromCache([&] { return PhasesOf(cache_.phases, part, process, test); });
}

const std::vector<StoredRule>& SqlStore::Rules() {
  // Held for the thread, so that another thread's refresh does not pull the list from under it.
  thread_local std::shared_ptr<const std::vector<StoredRule>> held;
  held = FromCache([&] { return cache_.rules; });
  if (!held) held = std::make_shared<const std::vector<StoredRule>>();
  return *held;
}

std::uint32_t SqlStore::AlarmBits(std::int32_t part, std::int32_t process, std::int32_t test,
                                  std::int32_t graph) {
  return FromCache([&] { return RulesOn(cache_, rule_numbers_, part, process, test, graph); });
}

std::string SqlStore::Setting(std::string_view key, std::string_view fallback) {
  return FromCache([&] {
    const auto found = cache_.settings.find(key);
    return found == cache_.settings.end() ? std::string(fallback) : found->second;
  });
}

std::string SqlStore::StreamName(std::int32_t part, std::int32_t process, std::int32_t test) {
  return FromCache([&] {
    const auto name = [&](catalogue::ItemKind kind, std::int32_t id) {
      const auto& names = cache_.Names(kind);
      const auto found = names.find(id);
      return found == names.end() ? std::to_string(id) : found->second;
    };
    return name(catalogue::ItemKind::Part, part) + " / " +
           name(catalogue::ItemKind::Process, process) + " / " +
           name(catalogue::ItemKind::Test, test);
  });
}

std::optional<ChosenOption> SqlStore::ChartOption(std::int32_t part, std::int32_t process,
                                                  std::int32_t test, std::int32_t graph,
                                                  std::string_view key) {
  return FromCache([&]() -> std::optional<ChosenOption> {
    const auto given = chart_options_.find(key);
    if (graph == 1 && given != chart_options_.end()) return ChosenOption{given->second, false};
    if (cache_.chart_options.empty()) return std::nullopt;
    const auto stored = OptionInForce(cache_, part, process, test, graph, key);
    return stored ? std::optional(ChosenOption{*stored, true}) : std::nullopt;
  });
}

void SqlStore::UseChartOptions(std::map<std::string, std::string, std::less<>> options) {
  const std::lock_guard lock(mutex_);
  chart_options_ = std::move(options);
}

void SqlStore::UseRuleNumbers(std::optional<std::vector<std::int32_t>> numbers) {
  const std::lock_guard lock(mutex_);
  rule_numbers_ = std::move(numbers);
}

void SqlStore::Fail(std::int32_t number, std::string description) {
  const std::lock_guard lock(failure_mutex_);
  // The first is the cause, what follows it is not.
  if (!failure_) failure_ = sql::Failure{number, std::move(description)};
}

std::optional<sql::Failure> SqlStore::TakeFailure() {
  const std::lock_guard lock(failure_mutex_);
  return std::exchange(failure_, std::nullopt);
}

bool SqlStore::AsksForMany(const API_DSInfo& info) const {
  return info.Count <= 0 || info.Count >= sharing_.from;
}

SecondReader* SqlStore::NotedSecond() {
  RefreshSoon();
  if (cache_.highest_subgroup < sharing_.from) return nullptr;
  auto& second = sharing_.second;
  if (!second) second = SecondReader::Open(*connection_);
  return second && second->Note() ? second.get() : nullptr;
}

void SqlStore::InOneState(const API_DSInfo& first, const std::function<void()>& work) {
  const std::lock_guard lock(mutex_);
  if (connection_->InTransaction()) return work();
  if (sharing_.on && AsksForMany(first)) noted_second_ = NotedSecond();
  try {
    ReadOrThrow([&](sql::Connection&) { work(); });
  } catch (...) {
    noted_second_ = nullptr;
    throw;
  }
  noted_second_ = nullptr;
}

bool SqlStore::RunShared(API_DSInfo& info, std::span<const std::int32_t> filter,
                         const SelectOptions& options, DataSet* out, BatchTaker* taker) {
  const std::lock_guard lock(mutex_);
  if (!connection_->InTransaction()) {
    return KeepFailures(this, [&] {
      auto resolved = info;
      InOneState(info, [&] {
        resolved = info;
        RunShared(resolved, filter, options, out, taker);
      });
      info = resolved;
      return true;
    });
  }
  TwoThreads threads;
  threads.from = sharing_.from;
  threads.is_large = AsksForMany(info) && cache_.highest_subgroup >= sharing_.from;
  if (threads.is_large) threads.second = noted_second_;
  if (out != nullptr) *out = {};
  RunSelection(*connection_, cache_, info, filter, options, threads, out, taker);
  if (threads.used) ++sharing_.count;
  return true;
}

bool SqlStore::Select(API_DSInfo& info, std::span<const std::int32_t> filter,
                      const SelectOptions& options, DataSet& out) {
  const bool done = RunShared(info, filter, options, &out, nullptr);
  if (!done) out = {};
  return done;
}

bool SqlStore::SelectInBatches(API_DSInfo& info, std::span<const std::int32_t> filter,
                               const SelectOptions& options, BatchTaker& taker) {
  return RunShared(info, filter, options, nullptr, &taker);
}

}  // namespace orvspc::engine::store
