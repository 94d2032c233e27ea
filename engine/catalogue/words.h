// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/Enumerations.h"

// The words by which files and lists name enumerated values.
namespace orvspc::engine::catalogue {

struct NamedValue {
  std::string_view word;
  std::int32_t value;
};

// A to Z in lower case; the rest as it is.
inline std::string Lower(std::string_view text) {
  std::string lower(text);
  for (auto& c : lower)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return lower;
}

// How files and lists call the types of process states.
inline constexpr NamedValue kStateTypes[] = {{"none", pst_None},
                                             {"start", pst_Start},
                                             {"run", pst_Run},
                                             {"pause", pst_Pause},
                                             {"end", pst_End},
                                             {"idle", pst_Idle},
                                             {"scheduled-down", pst_ScheduledDown},
                                             {"unscheduled-down", pst_UnscheduledDown}};

// And the types of events.
inline constexpr NamedValue kEventTypes[] = {{"subgroup-alarm", etSubgroupAlarm},
                                             {"general", etGeneral},
                                             {"sampling-violation", etSamplingViolation},
                                             {"subgroup-disable", etSubgroupDisable},
                                             {"subgroup-delete", etSubgroupDelete},
                                             {"subgroup-edit", etSubgroupEdit},
                                             {"downtime", etDonwtime}};

}  // namespace orvspc::engine::catalogue
