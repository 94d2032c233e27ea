// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "platform/Object.h"

namespace orvspc::platform {

// Converts between dates (days since 1899-12-30) and the database's 32-bit stamps; the two
// operations are exact inverses for whole seconds. platform/TimeStamp.h has the usual form.
class TimeConversion : public Object {
 public:
  virtual std::int32_t DateToTimeStamp(double date) = 0;
  virtual double TimeStampToDate(std::int32_t stamp) = 0;
};

}  // namespace orvspc::platform
