// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace orvspc::platform {

// Base of every object that a host hands over untyped, so that a cast to what is needed can fail.
class Object {
 public:
  Object() = default;
  Object(const Object&) = default;
  Object(Object&&) = default;
  Object& operator=(const Object&) = default;
  Object& operator=(Object&&) = default;
  virtual ~Object() = default;
};

}  // namespace orvspc::platform
