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
// failure that is under way as one of `procedure`. Whatever fails from then on is ignored. The
// logger is to be kept by the object; null when it could not be made.
std::shared_ptr<platform::ErrorLog> LogConstructorFailure(const std::string& procedure) noexcept;

// The body of a constructor that has work to do. A failure cannot leave a constructor: it is
// logged, and the object keeps the members that were set before it. Returns the logger if one was
// made.
template <class Body>
std::shared_ptr<platform::ErrorLog> Constructed(std::string_view class_name, Body&& body) noexcept {
  try {
#ifdef ORVSPC_FAIL_POINTS
    FailPoint::Enter(std::string(class_name) + ".Class_Initialize");
#endif
    std::forward<Body>(body)();
    return nullptr;
  } catch (...) {
    return LogConstructorFailure(std::string(class_name) + ".Class_Initialize");
  }
}

}  // namespace orvspc
