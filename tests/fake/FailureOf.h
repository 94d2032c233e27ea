// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ostream>
#include <string>
#include <utility>

#include "frame/Failure.h"

namespace orvspc {

// For messages of tests.
inline void PrintTo(const Failure& failure, std::ostream* out) {
  *out << failure.Number() << " \"" << failure.Description() << "\" from " << failure.Source();
}

namespace fake {

// What the call fails with; number 0 when it does not fail.
template <class Call>
Failure FailureOf(Call&& call) {
  try {
    std::forward<Call>(call)();
  } catch (const Failure& failure) {
    return failure;
  }
  return {0, "", ""};
}

template <class Call>
std::int32_t NumberOf(Call&& call) {
  return FailureOf(std::forward<Call>(call)).Number();
}

template <class Call>
std::string DescriptionOf(Call&& call) {
  return FailureOf(std::forward<Call>(call)).Description();
}

template <class Call>
std::string SourceOf(Call&& call) {
  return FailureOf(std::forward<Call>(call)).Source();
}

}  // namespace fake
}  // namespace orvspc
