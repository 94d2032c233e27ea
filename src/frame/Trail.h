// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "frame/Failure.h"

namespace orvspc {

#ifdef ORVSPC_FAIL_POINTS
// In builds for tests every procedure with a handler reports here that it was entered, inside its
// handler; what the hook throws is a failure of that procedure. Nothing of it is in a release.
class FailPoint {
 public:
  using Hook = std::function<void(std::string_view procedure)>;

  // Sets the hook of this thread; an empty one takes it away.
  static void Set(Hook hook);
  static void Enter(std::string_view procedure);
};
#endif

// Inside a catch block: re-raises the failure that is under way as a Failure with "entry|" in front
// of its Source. A foreign exception becomes a Failure here.
[[noreturn]] void Reraise(std::string_view entry);

// The exception that is under way as a Failure, without an entry of its own.
Failure CurrentFailure();

// The trail name "module.procedure" with its suffix, joined only where a failure needs it.
struct ProcedureName {
  std::string_view module, procedure;
  std::string_view suffix{};

  std::string operator()() const {
    return std::string(module).append(".").append(procedure).append(suffix);
  }
};

// The body of a procedure that has a failure handler: what it raises leaves with the procedure's
// trail name, "Module.Procedure", in front. The name is a text, or a callable that makes one where
// it holds an argument.
template <class Name, class Body>
decltype(auto) Traced(const Name& name, Body&& body) {
  const auto entry = [&name]() -> decltype(auto) {
    if constexpr (std::is_invocable_v<const Name&>) {
      return name();
    } else {
      return std::string_view(name);
    }
  };
  try {
#ifdef ORVSPC_FAIL_POINTS
    FailPoint::Enter(entry());
#endif
    return std::forward<Body>(body)();
  } catch (...) {
    Reraise(entry());
  }
}

// The body of a public procedure without a failure handler: what it raises gets no entry of its
// own, but leaves as a Failure, whatever it was.
template <class Body>
decltype(auto) Untraced(Body&& body) {
  try {
    return std::forward<Body>(body)();
  } catch (const Failure&) {
    throw;
  } catch (...) {
    throw CurrentFailure();
  }
}

}  // namespace orvspc
