// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string_view>

namespace orvspc {

// In builds for tests every procedure with a handler reports here that it was entered, inside its
// handler; what the hook throws is a failure of that procedure. Nothing of it is in a release.
class FailPoint {
 public:
  using Hook = std::function<void(std::string_view procedure)>;

  // Sets the hook of this thread; an empty one takes it away.
  static void Set(Hook hook);
  static void Enter(std::string_view procedure);
};

}  // namespace orvspc
