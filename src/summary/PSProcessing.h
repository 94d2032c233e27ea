// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "platform/Object.h"

namespace orvspc {

// The settings of the process-state analysis. There are none; the class gives that analysis the
// shape of the others.
class PSProcessing : public platform::Object {
 public:
  std::shared_ptr<PSProcessing> Clone() const;
};

}  // namespace orvspc
