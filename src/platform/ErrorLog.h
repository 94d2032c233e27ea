// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "platform/Object.h"

namespace orvspc::platform {

// Records the failures that cannot leave a constructor.
class ErrorLog : public Object {
 public:
  virtual void Log(const std::string& Procedure, std::int32_t Number,
                   const std::string& Description, const std::string& Source,
                   const std::string& Application) = 0;
};

}  // namespace orvspc::platform
