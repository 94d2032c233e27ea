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
  // The result is never null and holds corrected clones of the selection and the settings; the
  // host's objects stay as they are. No data and a failure inside the capability library both give
  // an empty result. Failures:
  //
  // - 13: Database is no database object;
  //
  // - 91: an object is missing;
  //
  // - 6: a setting is too large for its place in the options;
  //
  // - 7: BinCount bins or CurveCount points do not fit into memory;
  //
  // - those of DataSelect.API_GetData.
  std::shared_ptr<CAResults> AnalyzeDataSelect(
      const std::shared_ptr<platform::Object>& Database,
      const std::shared_ptr<orvspc::DataSelect>& DataSelect,
      const std::shared_ptr<CAProcessing>& Processing);
};

}  // namespace orvspc
