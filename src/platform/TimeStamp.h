// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

// Stamps are seconds since 1970-01-01 UTC; dates are days since 1899-12-30, the fraction being the
// time of day.
namespace orvspc::platform {

// Nearest second; saturates at the two ends of 32 bits and takes NaN as the lower end.
// Date 0, "not given", lies below the range and becomes the lower end.
std::int32_t DateToTimeStamp(double date);

// Exact inverse of DateToTimeStamp for whole seconds: 25569 + stamp / 86400.
double TimeStampToDate(std::int32_t stamp);

}  // namespace orvspc::platform
