// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/LimitTable.h"

namespace orvspc::platform {

// Specification-limit rows.
class SpecLim : public LimitTable {};

}  // namespace orvspc::platform
