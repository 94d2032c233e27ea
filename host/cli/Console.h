// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <iosfwd>

namespace orvspc::cli {

// Where a program writes, and how wide that is.
struct Console {
  std::ostream& out;
  std::ostream& err;
  bool out_is_terminal = false;
  bool err_is_terminal = false;
  std::size_t columns = 80;
};

}  // namespace orvspc::cli
