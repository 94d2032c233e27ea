// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "host/cli/Command.h"

// How commands show alarms, and what they return where there are any.
namespace orvspc::cli {

inline constexpr int kAlarmStatus = 3, kEmptyStatus = 4;
inline constexpr Option kExitCode{"exit-code", nullptr, "exit with 3 where there is a new alarm"};

// "alarm 12: Ring / Press A / Diameter, graph 1: 1 point beyond 3 sigma, #4711"
std::string AlarmLine(const QualityDatabase& database, const Alarm& alarm);

// Each alarm on a line of standard output, max of them and "and 7 more".
void ShowAlarms(const QualityDatabase& database, const std::vector<Alarm>& alarms, std::size_t max,
                Console& console);

// The exit status of what raised so many alarms.
int StatusOf(const Arguments& arguments, std::size_t alarms);

}  // namespace orvspc::cli
