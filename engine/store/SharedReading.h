// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include "engine/chunks/large_data.h"
#include "engine/sql/Connection.h"
#include "engine/store/stream_reader.h"

namespace orvspc::engine::store {

// A second, reading connection to the database of another one, for a second thread. Both see the
// same state of it.
class SecondReader {
 public:
  // Null when the database cannot be opened a second time; one thread then does all the work.
  static std::unique_ptr<SecondReader> Open(sql::Connection& first) noexcept;

  // Before the transaction of the first connection begins. False when the database cannot be read.
  bool Note() noexcept;
  // Begins to read, inside that transaction. False, and nothing is begun, when the database has
  // changed since Note. Throws SqlError of kind Lost when the first has to begin its transaction
  // anew, where this then returns false until Note.
  bool Join();
  // Ends what Join began.
  void Leave() noexcept { connection_->Rollback(); }

  sql::Connection& Get() { return *connection_; }

 private:
  SecondReader(sql::Connection& first, std::unique_ptr<sql::Connection> connection)
      : first_(first), connection_(std::move(connection)) {}

  sql::Connection& first_;
  std::unique_ptr<sql::Connection> connection_;
  bool can_join_ = true;
};

// When the selections of a store are read by two threads.
struct SharedReading {
  std::atomic<std::int64_t> from = kWorthTwoThreads;  // subgroups from which on one is large
  std::atomic<bool> on = MayUseTwoThreads();
  std::atomic<std::size_t> count = 0;    // selections that were
  std::unique_ptr<SecondReader> second;  // opened for the first large one

  // For tests: whatever the processors.
  void ShareFrom(std::int64_t subgroups) {
    from = subgroups;
    on = true;
  }
};

// What one selection may use.
struct TwoThreads {
  bool is_large = false;           // it is cut at the same times whether there is a second or not
  SecondReader* second = nullptr;  // null: there is none
  std::int64_t from = 0;           // an eighth of this many subgroups is read alone
  bool used = false;               // set when the second was
};

// Runs of subgroups as a walk from the newest on finds them: each ascends, and the first is the
// newest.
struct DescendingRuns {
  DataSet data;
  std::vector<std::size_t> starts;  // of each run in data

  std::size_t Count() const { return data.subgroups.size(); }
  // Where the next run goes.
  DataSet& Next() {
    if (starts.empty() || starts.back() != Count()) starts.push_back(Count());
    return data;
  }
};

// A second thread that reads a stream from its other end. Each thread publishes its position after
// each run and stops where they meet, which halves the work wherever the subgroups lie. What both
// read in the meantime is dropped by Join.
class OtherEnd {
 public:
  OtherEnd(const StreamReader& reader, const Stream& stream, bool forward, TwoThreads& threads)
      : second_(*threads.second),
        forward_(forward),
        thread_([this, &reader, &stream] { Read(reader, stream); }) {}
  OtherEnd(const OtherEnd&) = delete;
  OtherEnd& operator=(const OtherEnd&) = delete;
  ~OtherEnd() { Stop(); }

  // For the first thread, once it is done with a run: whether the other has been there.
  bool Meets(const StreamWalk::Run& run) { return Meets(run, !forward_); }
  // The first thread needs no more.
  void Stop() {
    if (!thread_.joinable()) return;
    stopped_ = true;
    thread_.join();
    second_.Leave();
  }
  // Waits for the end. Throws what the thread has thrown.
  DescendingRuns Finish() {
    if (thread_.joinable()) thread_.join();
    second_.Leave();
    if (failure_) std::rethrow_exception(failure_);
    return std::move(set_);
  }

 private:
  bool Meets(const StreamWalk::Run& run, bool forward);
  void Read(const StreamReader& reader, const Stream& stream) noexcept;

  SecondReader& second_;
  const bool forward_;  // direction of the second thread
  DescendingRuns set_;  // its runs, which ascend if it goes forward
  std::exception_ptr failure_;
  // How far each has come: the subgroup there and all before or after it are read.
  alignas(64) std::atomic<std::uint64_t> from_oldest_ = 0;
  alignas(64) std::atomic<std::uint64_t> from_newest_ = UINT64_MAX;
  std::atomic<bool> stopped_ = false;
  std::thread thread_;  // last: it begins when everything else is there
};

// Null when there is no thread or the second connection does not see the same state.
std::unique_ptr<OtherEnd> Share(const StreamReader& reader, const Stream& stream, bool forward,
                                TwoThreads& threads);

// The newest subgroups of a set that ascends and of runs that descend, which may overlap.
DataSet Join(DataSet ascending, DescendingRuns descending, std::int64_t limit);

// Runs a selection inside a read transaction, into a set or, where that is null, in batches. Writes
// the resolved range and states into info. A Count or TimeCount below 1 is no bound. Throws; info
// and out are then worthless.
void RunSelection(sql::Connection& connection, const StoreCache& cache, API_DSInfo& info,
                  std::span<const std::int32_t> filter, const SelectOptions& options,
                  TwoThreads& threads, DataSet* out, BatchTaker* taker);

}  // namespace orvspc::engine::store
