// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "platform/ErrorLog.h"

#ifdef ORVSPC_FAIL_POINTS
#include "frame/FailPoint.h"
#endif

namespace orvspc {

// Inside a catch block of a constructor: makes the logger "orvError6.Error" and hands it the
// failure that is under way as one of "<class_name>.Class_Initialize". Whatever fails from then on,
// the joining of that name too, is ignored. The logger is to be kept by the object; null when it
// could not be made.
std::shared_ptr<platform::ErrorLog> LogConstructorFailure(std::string_view class_name) noexcept;

// The name that a constructor has in the log and at its fail point.
inline std::string ConstructorName(std::string_view class_name) {
  return std::string(class_name) + ".Class_Initialize";
}

// The body of a constructor that has work to do. A failure cannot leave a constructor: it is
// logged, and the object keeps the members that were set before it. Returns the logger if one was
// made.
template <class Body>
std::shared_ptr<platform::ErrorLog> Constructed(std::string_view class_name, Body&& body) noexcept {
  try {
#ifdef ORVSPC_FAIL_POINTS
    FailPoint::Enter(ConstructorName(class_name));
#endif
    std::forward<Body>(body)();
    return nullptr;
  } catch (...) {
    return LogConstructorFailure(class_name);
  }
}

}  // namespace orvspc
