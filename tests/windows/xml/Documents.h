// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "platform/Dom.h"

namespace orvspc::windows::tests {

// The documents of the system while it lives: msxml3 on Windows, those of the embedded engine
// elsewhere.
class Documents {
 public:
  Documents();
  Documents(const Documents&) = delete;
  Documents& operator=(const Documents&) = delete;
  ~Documents();  // NOLINT(performance-trivially-destructible): not on Windows

  static std::shared_ptr<platform::XmlDocument> Make();
};

}  // namespace orvspc::windows::tests
