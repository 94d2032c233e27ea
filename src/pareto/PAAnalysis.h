// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "pareto/PAProcessing.h"
#include "pareto/PAResults.h"
#include "platform/Object.h"
#include "select/DataSelect.h"

namespace orvspc {

// Ranks the data of a selection in bins. Keeps nothing between calls.
class PAAnalysis : public platform::Object {
 public:
  // Neither the selection nor the settings is changed: the result holds clones, the settings
  // corrected. Never null. No data and a failure inside the Pareto library both give a result
  // without bins. Fails with 13 when Database is no database object, with 91 when an object is
  // missing, with 7 when BinCount bins do not fit into memory, and as DataSelect.API_GetData does
  // on a bad selection.
  std::shared_ptr<PAResults> AnalyzeDataSelect(
      const std::shared_ptr<platform::Object>& Database,
      const std::shared_ptr<orvspc::DataSelect>& DataSelect,
      const std::shared_ptr<PAProcessing>& Processing);

  // For the library. The call of the Pareto library for the settings that the results hold, and the
  // bins that it made into the results, which stay as they are when it made none. True whenever it
  // returns: a failure inside the library looks like no data. A filter without cells fails with 9
  // before the library is entered.
  static bool AnalyzeDS(const Friend&, platform::Database& Database, API_DSInfo& DSInfo,
                        Array<std::int32_t>& DSFilter, PAResults& Results);
  // What the entry returns: null when the analysis was not done.
  static std::shared_ptr<PAResults> Finish(const Friend&, bool done,
                                           const std::shared_ptr<PAResults>& results);
};

}  // namespace orvspc
