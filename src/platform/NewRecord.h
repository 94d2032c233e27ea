// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Actor.h"
#include "platform/Alarm.h"
#include "platform/Reports.h"

namespace orvspc {

// A record as a line of JSON has no more bytes.
inline constexpr std::size_t kMaxLineOfRecord = std::size_t{64} << 20;

// What is said of the time 0 where people give one: in NewRecord it is now.
inline constexpr std::string_view kNoTimeOfRecord =
    "1970-01-01T00:00:00 cannot be recorded; without a time the record is of now";

// A value of a record, or a count of a counting test.
struct NewPiece {
  double value = 0.0;
  std::int32_t tsno = 0;  // number of the piece; 0: the next one, or no unit of a counting test
  std::int32_t sbno = 0;  // number of a reading inside the piece; 0: the piece itself
  std::string serial, gage, defect;
};

// A comment of a piece, or by somebody else or of another time than the record.
struct NewComment {
  std::string text;
  std::int32_t tsno = 0;             // 0: of the record
  std::string employee;              // empty: that of the record, else who records
  std::optional<std::int64_t> time;  // empty: that of the record
  friend bool operator==(const NewComment&, const NewComment&) = default;
};

// "Colour=red", of the subgroup or a piece of it.
struct NewDescriptor {
  std::string group, name;
  std::int32_t tsno = 0;  // 0: of the subgroup
  friend auto operator<=>(const NewDescriptor&, const NewDescriptor&) = default;
};

// What is recorded of one subgroup and test.
struct NewRecord {
  std::string part, process, test;
  std::string label;      // empty: the next number of part and process
  std::int64_t time = 0;  // seconds since 1970 UTC; 0: now
  std::vector<NewPiece> pieces;
  double size = 0.0;      // inspected; 0: not given
  std::int32_t flag = 0;  // sfEnabled, sfDisabled, sfIncomplete
  // By "job", "lot", "shift", "revision", "workstation", "employee", "descriptor:NAME".
  std::map<std::string, std::string> context;
  std::vector<NewDescriptor> descriptors;  // beside those of the context
  std::vector<std::string> comments;
  std::vector<NewComment> other_comments;
  // A record that is sent again under its key is stored once. Empty: none.
  std::string key;
  bool force = false;  // store values beyond the reasonable limits, too
};

// What becomes of a part, process or test that the database lacks; other names are always added.
enum class NewNames { Refuse, Create };

// A record that is stored.
struct Recorded {
  std::int32_t subgroup = 0;
  std::string label;
  std::int64_t time = 0;
  std::int64_t version = 0;  // number of the log's entry about it
  bool repeated = false;     // it was stored under its key before
  std::vector<Note> notes;
  // That it raised; of a batch each is with the record of its last subgroup.
  std::vector<Alarm> alarms = {};
};

struct BatchOptions {
  NewNames names = NewNames::Refuse;
  // A batch that is sent again under its key is stored once. Empty: none.
  std::string key;
  // Leave out the records that are refused and store the others; otherwise the first one throws.
  bool skip_refused = false;
};

struct BatchRecorded {
  std::int64_t batch = 0;  // 0: nothing was stored
  bool repeated = false;   // it was stored under its key before; of the records there is only this:
  std::vector<Alarm> alarms = {};  // what all of them raised, and the notes about them
  std::vector<Note> notes = {};
  std::vector<Recorded> records;           // in the order in which they were added
  std::map<std::size_t, Refused> refused;  // by place among them; their records are empty
};

}  // namespace orvspc
