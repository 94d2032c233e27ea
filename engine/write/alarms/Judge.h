// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "engine/chunks/chunk.h"
#include "engine/write/alarms/StreamStore.h"
#include "engine/write/log/Log.h"
#include "platform/Alarm.h"

// Alarms: the signals of charts and the values beyond specification limits, found when values
// arrive, in the transaction that stores them.
namespace orvspc::engine::alarms {

// A stream that values came to, were changed in or taken out of, from the first of these on up to
// the last.
struct Touched {
  std::int64_t stream = 0;
  store::RecordKey first, last;
  // Entries of the log about some of these; without any it is the latest one that changed them.
  std::map<store::RecordKey, std::int64_t> entries = {};
};

// The streams that one transaction touches.
class TouchedStreams {
 public:
  // entry: of the log, 0: none of its own
  void Add(std::int64_t stream, store::RecordKey key, std::int64_t entry = 0);
  // By stream.
  std::vector<Touched> All() const;

 private:
  std::map<std::int64_t, Touched> ends_;
};

// Judges the streams by the limits in force and the rules that are on, as their charts do, opens
// what signals and withdraws what no longer does. Each change is an entry of the log, and a row of
// the outbox. Returns what was opened.
//   - From when its limits are effective and stored on, and not further back than the setting
//     alarm_horizon from the newest point.
//   - A rule that goes on marking has one alarm, from the point that completes it on.
//   - What it costs does not grow with the history: only the points that the rules look at beside
//     those that were touched are read.
//   - Without control limits in force only specification limits are judged; without_limits, where
//     given, takes the streams.
std::vector<Alarm> Judge(log::Writing& writing, std::span<const Touched> touched,
                         std::vector<std::int64_t>* without_limits = nullptr);
// With what is known from former calls over the same connection.
std::vector<Alarm> Judge(log::Writing& writing, std::span<const Touched> touched, ChartRows& known,
                         std::vector<std::int64_t>* without_limits = nullptr);

// Judges streams anew from a time on, since limits or phases of theirs have changed; 0 is any part,
// process or test. entry: of the log, about that change.
void JudgeFrom(log::Writing& writing, const store::StreamIds& of, std::int32_t from,
               std::int64_t entry);

// What is said of a stream without control limits.
inline constexpr const char* kNoLimitsCode = "no-limits";
inline constexpr const char* kNoLimitsText = "no control limits in force: orvspc limits propose";

}  // namespace orvspc::engine::alarms
