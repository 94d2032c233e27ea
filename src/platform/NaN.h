// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <limits>

namespace orvspc::platform {

// A double that holds no value. Test with std::isnan; it equals nothing, itself included.
inline constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

}  // namespace orvspc::platform
