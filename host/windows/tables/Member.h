// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <type_traits>

namespace orvspc::windows {

// Whether a class has an operation of a signature, exactly: no argument is converted. The address
// of an overloaded name picks the one that fits. For decltype alone.
template <class Class, class Signature>
struct Member;
template <class Class, class Result, class... Arguments>
struct Member<Class, Result(Arguments...)> {
  static std::true_type Is(Result (Class::*)(Arguments...));
  static std::true_type Is(Result (Class::*)(Arguments...) const);
};

}  // namespace orvspc::windows
