// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <utility>

namespace orvspc::platform {

// What an external object throws: a database object, a rule or limit table, a helper, the logger,
// the XML layer. Source becomes the tail of the library's own trail.
class ExternalFailure : public std::exception {
 public:
  ExternalFailure(std::int32_t number, std::string source, std::string description)
      : number_(number), source_(std::move(source)), description_(std::move(description)) {}

  std::int32_t Number() const { return number_; }
  const std::string& Source() const { return source_; }
  const std::string& Description() const { return description_; }
  const char* what() const noexcept override { return description_.c_str(); }

 private:
  std::int32_t number_;
  std::string source_;
  std::string description_;
};

}  // namespace orvspc::platform
