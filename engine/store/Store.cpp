// SPDX-License-Identifier: Apache-2.0
#include "engine/store/Store.h"

#include <stdexcept>

namespace orvspc::engine::store {
namespace {

thread_local OpenRun open_run;

}  // namespace

// Default implementations for stores that do not override them.

bool Store::SelectInBatches(API_DSInfo& info, std::span<const std::int32_t> filter,
                            const SelectOptions& options, BatchTaker& taker) {
  DataSet all;
  if (!Select(info, filter, options, all)) return false;
  taker.Begin(1);
  taker.Take(0, all);
  return true;
}

std::vector<API_CANccLim8> Store::NetContents(std::int32_t, std::int32_t) { return {}; }

std::vector<catalogue::ProvisionalLimit> Store::ProvisionalLimits(std::int32_t, std::int32_t,
                                                                  std::int32_t) {
  return {};
}

std::vector<Phase> Store::Phases(std::int32_t, std::int32_t, std::int32_t) { return {}; }

bool Store::JoinsPhases() const { return false; }

std::optional<ChosenOption> Store::ChartOption(std::int32_t, std::int32_t, std::int32_t,
                                               std::int32_t, std::string_view) {
  return std::nullopt;
}

void Store::ReadOrThrow(const std::function<void(sql::Connection&)>&) {
  throw std::logic_error("The store has no database");
}

void Store::InOneState(const API_DSInfo&, const std::function<void()>& work) { work(); }

StoreCache& Store::Cache() { throw std::logic_error("The store has no database"); }

const std::string& Store::Path() const {
  static const std::string none;
  return none;
}

bool Store::Read(const std::function<void(sql::Connection&)>& work) {
  return KeepFailures(this, [&] {
    ReadOrThrow(work);
    return true;
  });
}

void Store::KeepCurrentFailure() noexcept {
  try {
    auto failure = sql::CurrentFailure(Path());
    Fail(failure.number, std::move(failure.text));
  } catch (...) {
    // No memory for the text: the result must do.
  }
}

std::array<std::uint32_t, 3> AlarmBitsOf(Store& store, std::span<const StreamIds> streams) {
  std::array<std::uint32_t, 3> bits{};
  for (const auto& stream : streams) {
    for (std::size_t graph = 0; graph < bits.size(); ++graph) {
      bits[graph] |= store.AlarmBits(stream.part, stream.process, stream.test,
                                     static_cast<std::int32_t>(graph) + 1);
    }
  }
  return bits;
}

void SetOpenRun(Store& store, std::int32_t handle, std::span<const StreamIds> streams) {
  ClearOpenRun();
  open_run.handle = handle;
  open_run.alarms = AlarmBitsOf(store, streams);
  open_run.rules = store.Rules();
  open_run.streams.assign(streams.begin(), streams.end());
}

void ClearOpenRun() { open_run.streams.clear(); }

const OpenRun* OpenRunOf(std::int32_t handle) {
  return open_run.handle == handle && !open_run.streams.empty() ? &open_run : nullptr;
}

statistics::EstimatorSetting EstimatorSettingOf(Store& store) {
  const std::string usual(statistics::NameOf(statistics::kUsualEstimator));
  const auto name = store.Setting("sigma_estimator", usual);
  if (const auto setting = statistics::EstimatorSettingFromName(name)) return *setting;
  AddNote("setting-unknown",
          "The setting sigma_estimator \"" + name + "\" is unknown; " + usual + " is used.");
  return statistics::kUsualEstimator;
}

}  // namespace orvspc::engine::store
