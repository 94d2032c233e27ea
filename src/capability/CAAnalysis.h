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

  // For the library. The calls of the capability library for the settings that the results hold,
  // and what came back into the results, which stay as they are when the library returns 0.
  // Deliberate: true on every path; a failure inside the library looks like no data.
  static bool AnalyzeDS(const Friend&, platform::Database& Database, API_DSInfo& DSInfo,
                        Array<std::int32_t>& DSFilter, CAResults& Results);
};

}  // namespace orvspc
