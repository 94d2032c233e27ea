// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "host/cli/Console.h"

// The program as a function, so that tests can run it in their own process.
namespace orvspc::cli {

// words: the command line without the program's name. Exit status: 0 done, 1 failed, 2 misused.
// Nothing is thrown; a failure is one line on err.
int RunProgram(const std::vector<std::string>& words, Console& console);

}  // namespace orvspc::cli
