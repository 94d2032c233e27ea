// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

#include "host/cli/Options.h"

// --exit-code of commands that draw points with signals.
namespace orvspc::cli {

enum class SignalOf { Newest, Any };
inline constexpr render::Word kSignalWords[] = {
    {"newest", static_cast<std::int32_t>(SignalOf::Newest)},
    {"any", static_cast<std::int32_t>(SignalOf::Any)}};
inline constexpr Choice<SignalOf> kSignalExit{
    {"exit-code", "WORD",
     "exit with 3 where the newest point of a stream signals, or with any where any point shown "
     "does, and with 4 where nothing is selected",
     "", false, kSignalWords, true}};

// What the program exits with. streams: of each stream whether its points signal, those that count
// alone, oldest first. empty: nothing was selected.
int SignalStatus(const Arguments& arguments, bool empty,
                 const std::vector<std::vector<bool>>& streams);

}  // namespace orvspc::cli
