// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "platform/Object.h"

namespace orvspc {
class Friend;
}

namespace orvspc::platform {

// The host's open database.
class Database : public Object {
 public:
  // The cast of an untyped object to a database calls it. It fails when the object turns out to be
  // none, as a host's object may when it is asked; what it is asked opens and changes nothing.
  virtual void Confirm(const Friend&) {}

  // The number of the open connection. The library reads it afresh before each native
  // call and never keeps it.
  virtual std::int32_t ConnectionHandle() = 0;

  // Takes a value and returns the former one. A chart analysis calls it with 0 before its work and
  // with the kept result afterwards.
  virtual std::int32_t DatabaseValue(std::int32_t value) = 0;
};

}  // namespace orvspc::platform
