// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

// The program as a function, so that tests can run it in their own process.
namespace orvspc::cli {

struct Console {
  std::ostream& out;
  std::ostream& err;
  bool out_is_terminal = false;
  bool err_is_terminal = false;
  std::size_t columns = 80;
};

// words: the command line without the program's name. Exit status: 0 done, 1 failed, 2 misused.
// Nothing is thrown; a failure is one line on err.
int RunProgram(const std::vector<std::string>& words, Console& console);

}  // namespace orvspc::cli
