// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/chunks/chunk.h"
#include "engine/write/log/Json.h"
#include "engine/write/log/Log.h"
#include "platform/Alarm.h"

// The rows of alarms, with their events, entries of the log and rows of the outbox.
namespace orvspc::engine::alarms {

// Whether a stream has or had any.
bool HasAlarms(sql::Connection& db, std::int64_t stream);

// Of a stream: whose first subgroup is of that time or later, withdrawn ones too, and of the others
// those whose last subgroup is that one or a later one. By their numbers.
std::vector<Alarm> ReadAlarms(sql::Connection& db, std::int64_t stream, std::int32_t time,
                              std::int32_t subgroup);

// The time of the oldest of a stream that is open or begins then or later; empty: there is none.
std::optional<std::int64_t> OldestAlarm(sql::Connection& db, std::int64_t stream,
                                        std::int32_t time);

// "alarm 12", as the log names it.
std::string ObjectOf(const Alarm& alarm);

// Which codes have to be given before an alarm is closed, by the setting alarm_needs: EventFlags.
std::int32_t NeededCodes(sql::Connection& db);

// Up to where a stream was judged; empty: never.
std::optional<store::RecordKey> ReadMark(sql::Connection& db, std::int64_t stream);

// Opens one, which gets its event.
void Open(log::Writing& writing, std::int64_t stream, Alarm& alarm);
// The state that a withdrawn one had before, and has again when it is found again.
std::string StateBefore(sql::Connection& db, const Alarm& alarm);
// It goes on, has come to other points, or is found again after it was withdrawn.
void Extend(log::Writing& writing, const Alarm& known, const Alarm& now);
// What it was about is no more; the event stays. entry: of the log, about what changed that.
void Withdraw(log::Writing& writing, const Alarm& alarm, std::int64_t entry);

// Sends hooks the present state of an alarm. entry: the one that led to it; 0: none of its own.
void Tell(log::Writing& writing, const Alarm& alarm, std::string_view what, std::int64_t entry = 0);

// A row of the outbox about an event: its identifier, which no other revision of the event has,
// and what the message says.
void TellOf(log::Writing& writing, std::int32_t event, std::int64_t revision,
            const log::Json& says);
// The identifier of the name of an event, which is made if it is new.
std::int64_t EventName(sql::Connection& db, const std::string& text);
// The name of a row; empty where there is none. text asks for it by ?1.
std::string NameOf(sql::Connection& db, std::string_view text, std::int32_t id);

// Of the setting alarm_horizon, which has days; a week where it is empty.
std::int64_t SecondsOfHorizon(const std::string& days);

}  // namespace orvspc::engine::alarms
