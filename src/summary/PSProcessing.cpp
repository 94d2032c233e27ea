// SPDX-License-Identifier: Apache-2.0
#include "summary/PSProcessing.h"

#include "frame/Trail.h"

namespace orvspc {

std::shared_ptr<PSProcessing> PSProcessing::Clone() const {
  return Traced("PSProcessing.Clone", [] { return std::make_shared<PSProcessing>(); });
}

}  // namespace orvspc
