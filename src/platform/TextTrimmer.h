// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "platform/Object.h"

namespace orvspc::platform {

// Takes the padding off a fixed-width text: at least trailing blanks and terminating NUL units.
class TextTrimmer : public Object {
 public:
  virtual void TrimFixedString(std::u16string& text) = 0;
};

}  // namespace orvspc::platform
