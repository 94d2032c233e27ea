// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace orvspc {

// A signal of a stream, or a value of it beyond a specification limit.
struct Alarm {
  std::int32_t event = 0;  // the identifier of its event, and its own
  std::int32_t part = 0, process = 0, test = 0;
  std::int32_t graph = 0;  // 1 to 3; 0: a specification limit
  std::int32_t rule = 0;   // its number; 0: a specification limit
  std::string text;        // of the rule
  std::int32_t first_subgroup = 0, last_subgroup = 0, points = 0;
  std::int32_t time = 0;      // of the first subgroup
  std::int32_t detected = 0;  // when it was found
  std::string state;          // "open", "acknowledged", "closed", "withdrawn"
  bool is_late = false;       // found among points that were judged before
  // Where alarms are listed:
  std::string acc = {}, cac = {};  // codes of cause and action; empty: none was given
  std::int64_t version = 0;        // the latest entry of the log about it
  std::int32_t dead = 0;           // deliveries of it that were given up
  std::int64_t withdrawn_by = 0;   // the entry of the log that took away what it was about
};

// Which alarms; all of these hold.
struct AlarmFilter {
  bool is_open = false;                          // neither closed nor withdrawn
  std::int32_t part = 0, process = 0, test = 0;  // 0: any
  std::optional<std::int32_t> since = {};        // found then or later
  std::int32_t event = 0;                        // 0: any
};

// How an alarm is closed.
struct AlarmClosing {
  std::string acc, cac;  // codes of cause and action; the setting alarm_needs says which are needed
  std::string comment;   // of the alarm's first subgroup and its test; may be empty
};

}  // namespace orvspc
