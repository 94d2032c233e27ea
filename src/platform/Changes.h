// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "platform/Actor.h"

namespace orvspc {

// Who changes something, why, and how sure they want to be.
struct ChangeOptions {
  Actor actor;
  std::string reason;  // 3 to 500 characters; only comments are added without one
  // The version of it that the caller saw: the number of the latest entry of the log about it. Of a
  // subgroup that of its newest record, of two items that of the one that gives way.
  std::optional<std::int64_t> expected = {};
  bool dry_run = false;  // all is done and found out, and nothing stored
};

// A value of a record, or a count. tsno counts pieces from 1, sbno readings inside one; 0: the
// piece itself. A piece that had the mean of its readings has it again after a change of one, and
// goes with the last of them; a first reading makes its piece, and a piece that is removed takes
// its readings along. Of a test that counts tsno is the number of a unit; 0: counts without one.
struct ValueChange {
  enum class What { Set, Add, Remove };
  What what = What::Set;
  std::int32_t tsno = 0, sbno = 0;  // of measured values 0: of Add the next piece, else
                                    // the only one that fits
  double value = 0.0;
  // Names by "serial", "defect", "gage": of Add those that the value gets, new ones are added;
  // otherwise those that the value has, empty: none. What is not given may be any.
  std::map<std::string, std::string> names = {};
  bool force = false;  // stored beyond the reasonable limits, too, with an event that says so
};

// What is said of a subgroup; what is not given stays.
struct SubgroupChange {
  std::optional<std::int32_t> time = {};
  std::optional<std::string> label = {};
  std::optional<double> size = {};
  // Names by "job", "lot", "shift", "revision", "workstation", "employee"; empty takes one away.
  std::map<std::string, std::string> context = {};
  // Moved also to a time at which values lie beyond the reasonable limits, with an event that says
  // so.
  bool force = false;
};

}  // namespace orvspc
