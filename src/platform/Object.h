// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace orvspc::platform {

// Base of every object that a host hands over untyped, so that a cast to what is needed can fail.
// Objects are shared, never copied or moved; those that can be duplicated have Clone.
class Object {
 public:
  Object() = default;
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;
  virtual ~Object() = default;
};

}  // namespace orvspc::platform
