// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/windows/com/automation.h"

namespace orvspc::windows::com {

// A plain object that wraps a COM object of another component. Hosts that ask for it get that
// object itself.
class ComBacked {
 public:
  // Never null; no reference is added.
  virtual IDispatch* Dispatch() const = 0;

 protected:
  ~ComBacked() = default;
};

}  // namespace orvspc::windows::com
