// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/Reports.h"

namespace orvspc {

// A window of a sampling requirement that is over with fewer samples than were asked for. It has an
// event of its own.
struct MissedWindow {
  std::int32_t event = 0, requirement = 0;
  std::string name;                              // of the requirement
  std::int32_t part = 0, process = 0, test = 0;  // part 0: any
  std::int32_t due = 0;                          // its last second
  std::int32_t expected = 0, collected = 0;
};

// What a check of the samples found that was not known before.
struct SamplingCheck {
  std::vector<MissedWindow> missed;
  std::vector<MissedWindow> withdrawn;  // missed by an earlier check, and filled since
  std::vector<Note> notes;              // of requirements that could not be checked
};

}  // namespace orvspc
