// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/Hook.h"

// Files of hooks.
namespace orvspc::engine::hooks {

// Two words of "on": whatever becomes of an alarm, and the head of the log.
inline constexpr std::string_view kAlarmWord = "alarm", kLogHeadWord = "log head";

// The hooks of a file, in its order, with the secrets that their files hold. Throws Refused (code
// "hooks"), "FILE line N: ...", for a line that cannot be meant; and for a file that others than
// the user and the administrator may write to, since it says what is run.
std::vector<Hook> ReadHookFile(const std::string& file);

// A message as far as hooks choose by it.
struct Subject {
  std::string what;  // "alarm opened", "log head"
  std::string part, process, test;
};
bool Wants(const Hook& hook, const Subject& subject);

}  // namespace orvspc::engine::hooks
