// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "engine/catalogue/StoredLimits.h"
#include "platform/CapabilityRecords.h"
#include "platform/ChartRecords.h"
#include "platform/Reports.h"
#include "platform/RowRecords.h"
#include "platform/SelectionRecord.h"

// The quality database as the calculation libraries of the engine see it.
namespace orvspc::engine::store {

// The part of a test row that is not its value. In a plain row Tsno counts 1, 2, ... inside the
// subgroup and the rest is 0.
struct RowKey {
  std::int32_t Sn, Tsno, Sbno, Def, Gage;
};

// A selected data set, oldest subgroup first. Test_Start and Test_End of a subgroup are places in
// values; every subgroup has at least one row.
struct DataSet {
  std::vector<API_SubgroupData> subgroups;
  std::vector<double> values;  // one for each test row
  std::vector<RowKey> keys;    // beside values, or empty when every row is plain

  // A row of a subgroup; row 0 is its first.
  API_TestData Row(std::size_t subgroup, std::size_t row) const;
  // Every row in its wire form; a span that is too short gets the first ones.
  void WriteTests(std::span<API_TestData> out) const;
};

// Whether subgroups in every state count, by the Status of a selection: those that are not enabled
// count only where enabled ones were not asked for.
inline bool EveryStateCounts(std::int32_t status) {
  constexpr std::int32_t kEnabledAsked = 1;
  return status != 0 && (status & kEnabledAsked) == 0;
}

// A selection without a Status is one of every state, and is told so.
inline void ResolveStatus(API_DSInfo& info) {
  constexpr std::int32_t kEveryState = 7;
  if (info.Status == 0) info.Status = kEveryState;
}

struct SelectOptions {
  std::int32_t test_types = 0;             // TestTypes bits that the caller can use; 0: all
  bool defect_filter_narrows_rows = true;  // false: it selects subgroups, whole (plain retrieval)
};

using catalogue::ControlLimit;
using catalogue::StoredRule;
using enum catalogue::NetContentFlag;

// Takes a large selection as it is read, so that nobody need hold all of it.
class BatchTaker {
 public:
  virtual ~BatchTaker() = default;
  // Once, before the first batch. Parts put one after the other are the selection stream by stream.
  virtual void Begin(std::size_t parts) = 0;
  // The next subgroups of a part, oldest first; a batch of the only part may mix streams. Two
  // threads may bring batches of different parts at the same time.
  virtual void Take(std::size_t part, const DataSet& batch) = 0;
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

  // Net contents, all versions by effective time, which is the sixth word of the head.
  virtual std::vector<API_CANccLim8> NetContents(std::int32_t part, std::int32_t test);

  // The rule list by priority, then number.
  virtual const std::vector<StoredRule>& Rules() = 0;
  // Bits of the rules that are on for a stream and graph (1..3); bit 15 for 15 and 31.
  virtual std::uint32_t AlarmBits(std::int32_t part, std::int32_t process, std::int32_t test,
                                  std::int32_t graph) = 0;

  // Database setting such as sigma_estimator; the default when it is not set.
  virtual std::string Setting(std::string_view key, std::string_view fallback) = 0;

  // "part / process / test" by name.
  virtual std::string StreamName(std::int32_t part, std::int32_t process, std::int32_t test) = 0;

  // Keeps a failure for TakeFailure.
  virtual void Fail(std::int32_t number, std::string description) = 0;
};

// The open database behind a connection handle; null when the handle is closed or unknown.
std::shared_ptr<Store> StoreOf(std::int32_t handle);

// Adds to the thread's notes.
void AddNote(std::string code, std::string text, std::string stream = {});

}  // namespace orvspc::engine::store
