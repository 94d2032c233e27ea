// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "engine/sql/Connection.h"
#include "engine/store/SqlStore.h"
#include "engine/write/alarms/StreamStore.h"
#include "engine/write/log/AddedNames.h"
#include "engine/write/log/Json.h"
#include "engine/write/log/Log.h"
#include "engine/write/record/KnownNames.h"
#include "platform/Database.h"
#include "platform/NewRecord.h"

namespace orvspc::engine::record {

class RecordWriter;

// Records into a database over a connection of its own, which the first call opens.
//
// Threads  Calls of several threads take turns. Those that arrive while one is flushed to the
//          device share the next transaction, at most 64; nobody waits for company.
// Throws   Refused where the data break a rule; platform::ExternalFailure for everything else.
//          Nothing has changed then.
class Recorder {
 public:
  // The store lives as long as this.
  explicit Recorder(std::shared_ptr<platform::Database> database)
      : database_(std::move(database)) {}
  // For one call, into a database on a server that has no tables yet: they are made in the
  // transaction that stores.
  explicit Recorder(std::string empty_server);

  // Records of one subgroup: they agree in part, process (by former or present names), label, time
  // and key. Returns after the durable commit.
  std::vector<Recorded> Record(std::span<const NewRecord> records, const Actor& actor,
                               NewNames names);
  // Any records, in one transaction with one entry of the log.
  BatchRecorded RecordBatch(std::span<const NewRecord> records, const Actor& actor,
                            const BatchOptions& options);

 private:
  struct Call {
    std::span<const NewRecord> records;
    const Actor& actor;
    NewNames names = NewNames::Refuse;
    const BatchOptions* batch = nullptr;  // null: a call of Record
    std::int64_t now = 0;
    // The answer.
    BatchRecorded answer;
    std::exception_ptr failure;
    bool has_written = false, is_done = false;
  };
  using Calls = std::vector<Call*>;

  BatchRecorded Await(Call& call);
  void Serve(const Calls& calls);
  // In one transaction. False where one of several calls failed in a way that spoils it; nothing
  // has changed then.
  bool ServeTogether(const Calls& calls);
  void Open();
  std::unique_ptr<sql::Transaction> Begin();
  void PerformRecord(Call& call);
  void PerformBatch(Call& call);
  void DropOldKeys(std::int64_t now);
  void Forget();
  void Judge(log::Writing& writing, const RecordWriter& writer,
             const std::vector<Recorded*>& answers);
  void AddBatch(log::Writing& writing, const RecordWriter& writer, std::int64_t batch,
                std::size_t lines, const std::string& key, const log::AddedNames& names);
  struct Known {
    Recorded record;
    std::int64_t batch = 0;
    std::vector<log::Json> answers;  // alarms and notes of each record; empty: there were none
  };
  // What was stored under the key. Throws Refused where something else was.
  std::optional<Known> FindKey(const std::string& key, const std::string& fingerprint);
  void StoreKey(const std::string& key, const std::string& fingerprint, std::int32_t subgroup,
                std::int64_t batch, std::int64_t entry, std::int64_t now,
                const std::string& answer);

  std::shared_ptr<platform::Database> database_;  // null: on the empty server
  std::string empty_server_;
  std::mutex mutex_;  // of these three
  std::condition_variable changed_;
  std::deque<Call*> waiting_;
  bool is_serving_ = false;
  // Of the thread that serves.
  std::string path_;
  std::unique_ptr<sql::Connection> connection_;
  std::optional<KnownNames> known_;
  alarms::ChartRows chart_rows_;
  std::int64_t keys_dropped_ = 0;
};

}  // namespace orvspc::engine::record
