// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "capability/CAProcessing.h"
#include "capability/CAResults.h"
#include "platform/Object.h"
#include "select/DataSelect.h"

namespace orvspc {

// The capability of the data of a selection: statistics, histogram and fitted curve. Keeps nothing
// between calls.
class CAAnalysis : public platform::Object {
 public:
  // Neither the selection nor the settings is changed: the result holds corrected clones. Never
  // null. No data and a failure inside the capability library both give an empty result. Fails with
  // 13 when Database is no database object, with 91 when an object is missing, with 6 when a
  // setting is too large for its place in the options, and as DataSelect.API_GetData does on a bad
  // selection.
  std::shared_ptr<CAResults> AnalyzeDataSelect(
      const std::shared_ptr<platform::Object>& Database,
      const std::shared_ptr<orvspc::DataSelect>& DataSelect,
      const std::shared_ptr<CAProcessing>& Processing);
};

}  // namespace orvspc
