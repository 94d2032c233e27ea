// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/LimitTable.h"

namespace orvspc::platform {

// Stored control-limit rows.
class CtrlLim : public LimitTable {};

}  // namespace orvspc::platform
