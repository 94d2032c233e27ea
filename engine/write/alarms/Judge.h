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
};

// The streams that one transaction touches.
class TouchedStreams {
 public:
  void Add(std::int64_t stream, store::RecordKey key);
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
std::vector<Alarm> Judge(log::Writing& writing, std::span<const Touched> touched);
// With what is known from former calls over the same connection.
std::vector<Alarm> Judge(log::Writing& writing, std::span<const Touched> touched, ChartRows& known);

}  // namespace orvspc::engine::alarms
