// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "engine/write/log/Log.h"
#include "platform/Alarm.h"

// What becomes of alarms: open, acknowledged, closed with codes of cause and action, opened again.
// Each step is an entry of the log and a row of the outbox. Refused where a step does not go.
namespace orvspc::engine::alarms {

// By identifier.
std::vector<Alarm> ListAlarms(sql::Connection& db, const AlarmFilter& filter);
// Throws Refused (code "unknown").
Alarm NeededAlarm(sql::Connection& db, std::int32_t event);

void Acknowledge(log::Writing& writing, const Alarm& alarm);
// Codes go into the event, with who gave them and when. Not the comment.
void Close(log::Writing& writing, const Alarm& alarm, const AlarmClosing& closing);
void Reopen(log::Writing& writing, const Alarm& alarm);

}  // namespace orvspc::engine::alarms
