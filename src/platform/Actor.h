// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <utility>

#include "platform/ExternalFailure.h"

namespace orvspc {

// Who changes a database, as they say it. The login, the computer and the program are kept beside
// it and cannot be chosen.
struct Actor {
  std::string by;       // becomes an employee; empty: the login
  std::string station;  // where it was done, such as a gage; may be empty
};

// Data that are not stored, and why. Nothing has changed.
//   code   says which rule they break, and stays the same in all releases: "name", "unknown", ...
//   field  and value are those that break it; empty where it is none of one field
class Refused : public platform::ExternalFailure {
 public:
  Refused(std::string code_is, std::string field_is, std::string value_is, const std::string& text)
      : ExternalFailure(kNumber, "QualityDatabase", text),
        code(std::move(code_is)),
        field(std::move(field_is)),
        value(std::move(value_is)) {}

  std::string code, field, value;

 private:
  static constexpr std::int32_t kNumber = -2147221504;
};

// Somebody else has changed it since the version that the caller saw.
class Conflict : public Refused {
 public:
  Conflict(std::string field_is, std::string value_is, const std::string& text)
      : Refused("conflict", std::move(field_is), std::move(value_is), text) {}
};

}  // namespace orvspc
