// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/LimitTable.h"

namespace orvspc::platform {

// Rows of defect opportunities.
class DefOpp : public LimitTable {};

}  // namespace orvspc::platform
