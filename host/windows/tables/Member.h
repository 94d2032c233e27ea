// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace orvspc::windows {

// Whether a class has an operation of a signature, exactly: no argument is converted. The address
// of an overloaded name picks the one that fits.
template <class Class, class Signature>
struct Member;
template <class Class, class Result, class... Arguments>
struct Member<Class, Result(Arguments...)> {
  static constexpr bool Is(Result (Class::*)(Arguments...)) { return true; }
  static constexpr bool Is(Result (Class::*)(Arguments...) const) { return true; }
};

}  // namespace orvspc::windows
