// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace orvspc::windows::tests {

// What must be in force while objects live; each face has its own.
class Session {
 public:
  Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session();
  // What is still alive after the last object was released; empty for nothing.
  std::string Left() const;
};

}  // namespace orvspc::windows::tests
