// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string_view>

#include "platform/Enumerations.h"

// The words by which files, command lines and documents name the values of enumerations.
namespace orvspc::platform {

struct Word {
  std::string_view word;
  std::int32_t value = 0;
};

// Types of process states.
inline constexpr Word kStateTypes[] = {{"none", pst_None},
                                       {"start", pst_Start},
                                       {"run", pst_Run},
                                       {"pause", pst_Pause},
                                       {"end", pst_End},
                                       {"idle", pst_Idle},
                                       {"scheduled-down", pst_ScheduledDown},
                                       {"unscheduled-down", pst_UnscheduledDown}};

// Types of events.
inline constexpr Word kEventTypes[] = {{"subgroup-alarm", etSubgroupAlarm},
                                       {"general", etGeneral},
                                       {"sampling-violation", etSamplingViolation},
                                       {"subgroup-disable", etSubgroupDisable},
                                       {"subgroup-delete", etSubgroupDelete},
                                       {"subgroup-edit", etSubgroupEdit},
                                       {"downtime", etDonwtime}};

}  // namespace orvspc::platform
