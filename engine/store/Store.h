// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/catalogue/limits.h"
#include "engine/chunks/DataSet.h"
#include "engine/sql/failure.h"
#include "engine/statistics/Estimators.h"
#include "engine/store/StoreCache.h"
#include "platform/Database.h"
#include "platform/Reports.h"
#include "platform/SelectionRecord.h"

namespace orvspc::engine::store {

// Whether subgroups in every state count, by the Status of a selection: those that are not enabled
// count only where enabled ones were not asked for.
inline bool EveryStateCounts(std::int32_t status) {
  constexpr std::int32_t kEnabledAsked = 1;
  return status != 0 && (status & kEnabledAsked) == 0;
}

// Status 0 means all states; this writes it back as all of them.
inline void ResolveStatus(API_DSInfo& info) {
  constexpr std::int32_t kEveryState = 7;
  if (info.Status == 0) info.Status = kEveryState;
}

struct SelectOptions {
  std::int32_t test_types = 0;             // TestTypes bits that the caller can use; 0: all
  bool defect_filter_narrows_rows = true;  // false: it selects subgroups, whole (plain retrieval)
};

// Takes a large selection as it is read, so that nobody need hold all of it.
class BatchTaker {
 public:
  virtual ~BatchTaker() = default;
  // Before the first batch; what came before an earlier call is void. Parts put one after the other
  // are the selection stream by stream.
  virtual void Begin(std::size_t parts) = 0;
  // The next subgroups of a part, oldest first; a batch of the only part may mix streams. Two
  // threads may bring batches of different parts at the same time.
  virtual void Take(std::size_t part, const DataSet& batch) = 0;
};

// Keys of options of charts, and their words.
inline constexpr std::string_view kLimitsOption = "chart.limits", kAlphaOption = "chart.alpha",
                                  kSigmaOption = "chart.sigma";
inline constexpr std::string_view kProbabilityLimits = "probability", kAr1Sigma = "ar1";

// An option of charts and studies, and whether the database says it; otherwise the caller does.
struct ChosenOption {
  std::string value;
  bool of_database = false;
};

class Store {
 public:
  virtual ~Store() = default;

  // Runs the selection. Writes the resolved TimeStart, TimeEnd and Status back, also when nothing
  // was selected. False on a failure, which the store keeps.
  virtual bool Select(API_DSInfo& info, std::span<const std::int32_t> filter,
                      const SelectOptions& options, DataSet& out) = 0;
  // The same selection in batches. What the taker got before a failure is worthless.
  virtual bool SelectInBatches(API_DSInfo& info, std::span<const std::int32_t> filter,
                               const SelectOptions& options, BatchTaker& taker);

  // TestTypes of a test; 0 for one that has no values.
  virtual std::int32_t TestType(std::int32_t test) = 0;

  // All versions, by effective time; empty when there are none.
  virtual std::vector<API_CCSpecLim> SpecLimits(std::int32_t part, std::int32_t test) = 0;
  // Rows for the process itself and for any process (F_PRCS 0), by effective time.
  virtual std::vector<ControlLimit> ControlLimits(std::int32_t part, std::int32_t process,
                                                  std::int32_t test) = 0;
  virtual std::vector<API_CCDefOpp> Opportunities(std::int32_t part, std::int32_t test) = 0;
  // Of the process itself, by effective time. None by default.
  virtual std::vector<catalogue::ProvisionalLimit> ProvisionalLimits(std::int32_t part,
                                                                     std::int32_t process,
                                                                     std::int32_t test);

  // Those of a stream, by start; 0 is any, so that three of these give all. None by default.
  virtual std::vector<Phase> Phases(std::int32_t part, std::int32_t process, std::int32_t test);
  // Analyses take all phases but excluded ones together, as if there were none.
  virtual bool JoinsPhases() const;

  // Net contents, all versions by effective time, which is the sixth word of the head.
  virtual std::vector<API_CANccLim8> NetContents(std::int32_t part, std::int32_t test);

  // The rule list by priority, then number.
  virtual const std::vector<StoredRule>& Rules() = 0;
  // Bits of the rules that are on for a stream and graph (1..3); bit 15 for 15 and 31.
  virtual std::uint32_t AlarmBits(std::int32_t part, std::int32_t process, std::int32_t test,
                                  std::int32_t graph) = 0;

  // Database setting such as sigma_estimator; the default when it is not set.
  virtual std::string Setting(std::string_view key, std::string_view fallback) = 0;

  // What was chosen for the charts of a stream and graph (1..3) beside the request; nothing by
  // default.
  virtual std::optional<ChosenOption> ChartOption(std::int32_t part, std::int32_t process,
                                                  std::int32_t test, std::int32_t graph,
                                                  std::string_view key);

  // Runs work, all of whose reads then see one state of the database. `first` is the selection it
  // begins with. Calls of other threads wait meanwhile. What fails inside, Select too, is thrown;
  // work that loses its connection to a server is run once more, from its beginning.
  virtual void InOneState(const API_DSInfo& first, const std::function<void()>& work);

  // "part / process / test" by name.
  virtual std::string StreamName(std::int32_t part, std::int32_t process, std::int32_t test) = 0;

  // Keeps a failure for TakeFailure; of several the first, which is the cause.
  virtual void Fail(std::int32_t number, std::string description) = 0;
  // The same for the exception being handled.
  void KeepCurrentFailure() noexcept;

  // For analyses with SQL of their own. By default a store has no database: ReadOrThrow and Cache
  // throw std::logic_error, and Path is empty.
  //
  // Runs work inside a read transaction, the cache being current. Work that loses its connection to
  // a server is run once more, from its beginning, without the notes that it has added; inside a
  // transaction of its caller, with all of that one's work. Throws what work throws.
  virtual void ReadOrThrow(const std::function<void(sql::Connection&)>& work);
  // The same, but keeps a failure and returns false.
  bool Read(const std::function<void(sql::Connection&)>& work);
  // Only inside Read and ReadOrThrow. What its functions return by pointer does not change when the
  // database does.
  virtual StoreCache& Cache();
  // Names the database in the text of a failure.
  virtual const std::string& Path() const;
};

// The open database behind a connection handle; null when the handle is closed or unknown.
std::shared_ptr<Store> StoreOf(std::int32_t handle);
// The store of an open database of ours. Throws platform::ExternalFailure.
std::shared_ptr<Store> StoreOf(platform::Database& database);

// Adds to the thread's notes. When there are kMaxNotes, one note "notes-cut" takes the place of the
// oldest half, or one for each of several databases.
inline constexpr std::size_t kMaxNotes = 100'000;
void AddNote(std::string code, std::string text, std::string stream = {});
// Those since the last call.
std::vector<Note> TakeNotes();
// How many notes of the thread there are, and none but as many of them.
std::size_t NoteCount();
void KeepNotes(std::size_t count);
// Those of one database.
std::vector<Note> TakeNotes(std::int32_t handle);

// The handle of notes that concern no open database; whoever takes notes gets these too.
inline constexpr std::int32_t kNoDatabase = 0;

// While one of these lives, notes that the thread adds belong to the database of the handle.
class NotesBelongTo {
 public:
  explicit NotesBelongTo(std::int32_t handle);
  ~NotesBelongTo();
  NotesBelongTo(const NotesBelongTo&) = delete;
  NotesBelongTo& operator=(const NotesBelongTo&) = delete;

 private:
  std::int32_t before_;
};

// What the analyses of one thread made last on each open database, by connection handle. The
// databases used last are remembered, so that closed ones are forgotten in time.
template <class T>
class LatestReports {
 public:
  // Begins a new one in place of what the database had.
  T& Begin(std::int32_t handle) {
    Forget(handle);
    if (entries_.size() == kMaxDatabases) entries_.erase(entries_.begin());
    return entries_.emplace_back(handle, T()).second;
  }
  // Removes and returns it; empty when there is none.
  T Take(std::int32_t handle) {
    T taken;
    for (auto& [owner, report] : entries_) {
      if (owner == handle) taken = std::move(report);
    }
    Forget(handle);
    return taken;
  }
  void Forget(std::int32_t handle) {
    std::erase_if(entries_, [&](const auto& entry) { return entry.first == handle; });
  }

 private:
  static constexpr std::size_t kMaxDatabases = 16;
  std::vector<std::pair<std::int32_t, T>> entries_;  // the one begun last comes last
};

// The functions of the closed libraries: no exception leaves them, and a failure returns 0.
//
// Runs the body; an exception is kept in the store, if there is one, and gives the default answer.
template <class Body>
auto KeepFailures(Store* store, Body body) noexcept -> decltype(body()) {
  try {
    return body();
  } catch (...) {
    if (store != nullptr) store->KeepCurrentFailure();
    return {};
  }
}

// The same for a store that may be gone by now. It is asked for only when there is a failure, since
// a small chart has many such calls.
template <class Body>
auto KeepFailures(const std::weak_ptr<Store>& store, Body body) noexcept -> decltype(body()) {
  try {
    return body();
  } catch (...) {
    if (const auto open = store.lock()) open->KeepCurrentFailure();
    return {};
  }
}

// Runs body(store) for the open database of a connection handle. A handle that is closed or
// unknown gives 0 and a note.
template <class Body>
std::int32_t CallWithStore(std::int32_t handle, Body body) noexcept {
  return KeepFailures(nullptr, [&]() -> std::int32_t {
    const auto store = StoreOf(handle);
    const NotesBelongTo owner(store == nullptr ? kNoDatabase : handle);
    if (store) return KeepFailures(store.get(), [&]() -> std::int32_t { return body(store); });
    AddNote("database-closed", "The database of this analysis is closed.");
    return 0;
  });
}

struct StreamIds {
  std::int32_t part = 0, process = 0, test = 0;
  friend auto operator<=>(const StreamIds&, const StreamIds&) = default;
};

// What the alarm mask of the chart run that is open on this thread is made of.
struct OpenRun {
  std::int32_t handle = 0;
  std::vector<StreamIds> streams;
  std::array<std::uint32_t, 3> alarms{};  // bits of the rules on for any of the streams, by graph
  std::vector<StoredRule> rules;
};

// The chart library calls these for the run that it opens and closes. The first reads the alarms
// and rules.
void SetOpenRun(Store& store, std::int32_t handle, std::span<const StreamIds> streams);
void ClearOpenRun();

// The run open on this thread for that connection; null when there is none.
const OpenRun* OpenRunOf(std::int32_t handle);
// Bits of the rules that are on for any of the streams, by graph.
std::array<std::uint32_t, 3> AlarmBitsOf(Store& store, std::span<const StreamIds> streams);

// The same for an analysis: body(store) reads one state of the database. It may run twice, with the
// selection as it was, and may have been in vain when it returns: what it finds is handed to the
// caller only when this does not return 0. The selection is then the resolved one.
template <class Body>
std::int32_t AnalyseWithStore(std::int32_t handle, API_DSInfo& info, Body body) noexcept {
  return CallWithStore(handle, [&](const std::shared_ptr<Store>& store) {
    const auto asked = info;
    std::int32_t answer = 0;
    try {
      store->InOneState(asked, [&] {
        info = asked;
        answer = body(store);
      });
    } catch (...) {
      info = asked;
      throw;
    }
    return answer;
  });
}

// The setting sigma_estimator; an unknown one is noted and mvlue used.
statistics::EstimatorSetting EstimatorSettingOf(Store& store);

}  // namespace orvspc::engine::store
