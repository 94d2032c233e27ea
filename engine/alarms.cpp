// SPDX-License-Identifier: Apache-2.0
#include <functional>

#include "engine/QualityDatabase.h"
#include "engine/change_once.h"
#include "engine/store/SqlStore.h"
#include "engine/write/alarms/Life.h"
#include "engine/write/alarms/Samples.h"
#include "engine/write/change/Comments.h"
#include "engine/write/change/version.h"

// The alarms of a database, for hosts.
namespace orvspc {

using namespace engine;

namespace {

Alarm ChangeAlarm(EmbeddedDatabase& database, std::int32_t event, const ChangeOptions& options,
                  const std::function<void(log::Writing&, const Alarm&)>& step) {
  Alarm changed;
  Change(database, options, [&](log::Writing& writing) {
    auto& db = writing.Db();
    const auto object = "alarm " + std::to_string(event);
    const auto alarm = alarms::NeededAlarm(db, event);
    change::CheckVersion(db, object, object, options.expected);
    step(writing, alarm);
    changed = alarms::NeededAlarm(db, event);
  });
  return changed;
}

}  // namespace

std::vector<Alarm> QualityDatabase::Alarms(const AlarmFilter& filter) const {
  return store::Read(*database_, [&](store::SqlStore&, sql::Connection& db) {
    return alarms::ListAlarms(db, filter);
  });
}

Alarm QualityDatabase::AcknowledgeAlarm(std::int32_t event, const ChangeOptions& options) {
  return ChangeAlarm(*database_, event, options, alarms::Acknowledge);
}

Alarm QualityDatabase::CloseAlarm(std::int32_t event, const AlarmClosing& closing,
                                  const ChangeOptions& options) {
  return ChangeAlarm(*database_, event, options, [&](log::Writing& writing, const Alarm& alarm) {
    alarms::Close(writing, alarm, closing);
    if (closing.comment.empty()) return;
    change::AddComment(writing, alarm.first_subgroup, alarm.test, 0, closing.comment, {});
  });
}

Alarm QualityDatabase::ReopenAlarm(std::int32_t event, const ChangeOptions& options) {
  return ChangeAlarm(*database_, event, options, alarms::Reopen);
}

SamplingCheck QualityDatabase::CheckSamples(const ChangeOptions& options) {
  SamplingCheck found;
  Change(*database_, options, [&](log::Writing& writing) {
    found = alarms::CheckSamples(*store::SqlStoreOf(*database_), writing);
  });
  return found;
}

}  // namespace orvspc
