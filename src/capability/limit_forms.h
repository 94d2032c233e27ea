// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "capability/StatisticsRecord.h"

// The two records with a text, from the library's own form to that of the capability library and
// back. Only the text changes its form, character for character; all else is the same bytes.
namespace orvspc::limit_forms {

API_CASpecLim8 Narrow(const API_CASpecLim& wide);
API_CANccLim8 Narrow(const API_CANccLim& wide);
API_CASpecLim Widen(const API_CASpecLim8& narrow);
API_CANccLim Widen(const API_CANccLim8& narrow);

}  // namespace orvspc::limit_forms
