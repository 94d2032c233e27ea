// SPDX-License-Identifier: Apache-2.0
#include "summary/PSAnalysis.h"

#include <cstdint>

#include "frame/Failure.h"
#include "frame/Friend.h"
#include "frame/Outside.h"
#include "frame/Trail.h"

namespace orvspc {
namespace {

using platform::PrcsStateLog;

// The most records that are read.
constexpr std::int32_t kRowLimit = 10000;

// Deliberate: of several processes only the first counts.
std::int32_t GetProcessID(const DataSelect& select) {
  return Traced("PSAnalysis.GetProcessID", [&] {
    const auto processes = select.Descriptors()->GetDescriptor(dtProcess);
    // Deliberate: failures are ignored from here on, so a selection without a process gives 0.
    try {
      return Needed(processes).ItemID(1);
    } catch (...) {
      return std::int32_t{0};
    }
  });
}

// The state in force at the start of the range began before it, so the log is read from there.
double GetPreviousProcessStateTime(const std::shared_ptr<platform::Database>& database,
                                   const DataSelect& select) {
  return Traced("PSAnalysis.GetPreviousProcessStateTime", [&] {
    // Deliberate: no process is set, so the latest record of any process counts.
    const auto before = PlatformInForce()->MakePrcsStateLog();
    Needed(before).Time(select.DateRangeStart());
    before->QueryType(PrcsStateLog::kLatestBefore);
    return before->Read(database, 0) ? before->Time() : select.DateRangeStart();
  });
}

// Deliberate: null when nothing was found, but a list without records when all lie after the end of
// the range.
std::shared_ptr<PrcsStateLog> GetProcessStateLogs(
    const std::shared_ptr<platform::Database>& database, const DataSelect& select) {
  return Traced("PSAnalysis.GetProcessStateLogs", [&]() -> std::shared_ptr<PrcsStateLog> {
    const auto platform = PlatformInForce();
    const auto reader = platform->MakePrcsStateLog();
    Needed(reader).RowLimit(kRowLimit);
    reader->ProcessID(GetProcessID(select));
    reader->KeyMode(1);
    reader->Time(GetPreviousProcessStateTime(database, select));
    reader->QueryType(PrcsStateLog::kForward);
    if (!reader->Read(database, 0)) return nullptr;

    auto list = platform->MakePrcsStateLog();
    do {
      if (reader->Time() > select.DateRangeEnd()) break;
      Needed(list).Add(*reader);
    } while (reader->MoveNext());
    return list;
  });
}

}  // namespace

std::shared_ptr<PSProcessing> PSProcessing::Clone() const {
  return Traced("PSProcessing.Clone", [] { return std::make_shared<PSProcessing>(); });
}

void PSResults::PrcsStateLog(const Friend&, const std::shared_ptr<platform::Object>& value) {
  Traced("PSResults.PrcsStateLog(s)", [&] {
    auto log = std::dynamic_pointer_cast<platform::PrcsStateLog>(value);
    if (value && !log) FailTypeMismatch();
    prcs_state_log_ = std::move(log);
  });
}

std::shared_ptr<PSResults> PSAnalysis::AnalyzeDataSelect(
    const std::shared_ptr<platform::Object>& Database,
    const std::shared_ptr<orvspc::DataSelect>& DataSelect,
    const std::shared_ptr<PSProcessing>& Processing) {
  return Traced("PSAnalysis.AnalyzeDataSelect", [&] {
    const auto database = ResolveDatabase(Database);
    auto results = std::make_shared<PSResults>();
    results->Processing(Friend{}, Needed(Processing).Clone());
    results->DataSelect(Friend{}, Needed(DataSelect).Clone());
    orvspc::DataSelect& select = *results->DataSelect();
    // The subgroups go first: their retrieval writes the resolved time range into the selection,
    // which bounds the log.
    results->SubgroupData(Friend{}, select.GetSubgroupData(database));
    results->EventData(Friend{}, select.GetEventData(database));
    results->PrcsStateLog(Friend{}, GetProcessStateLogs(database, select));
    return results;
  });
}

}  // namespace orvspc
