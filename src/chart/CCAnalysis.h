// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "chart/CCProcessing.h"
#include "chart/CCResults.h"
#include "platform/Object.h"
#include "select/DataSelect.h"

namespace orvspc {

// Draws control charts of the data of a selection. Keeps nothing between calls; two analyses must
// not overlap on one thread's chart library.
class CCAnalysis : public platform::Object {
 public:
  // Neither the selection nor the settings is changed: the result holds corrected clones. Never
  // null. No data and a failure inside the chart library both give an empty result whose settings
  // still ask for what was asked for. Fails with 13 when Database is no database object, with 91
  // when an object is missing, as DataSelect.API_GetData does on a bad selection, and with 9 when
  // the chart library contradicts itself.
  std::shared_ptr<CCResults> AnalyzeDataSelect(
      const std::shared_ptr<platform::Object>& Database,
      const std::shared_ptr<orvspc::DataSelect>& DataSelect,
      const std::shared_ptr<CCProcessing>& Processing);
};

}  // namespace orvspc
