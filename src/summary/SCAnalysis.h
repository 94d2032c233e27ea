// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "platform/Object.h"
#include "select/DataSelect.h"
#include "summary/SCResults.h"

namespace orvspc {

// Summarises how well the samples that were required have been taken. There are no settings: the
// selection is all that goes in. Keeps nothing between calls.
class SCAnalysis : public platform::Object {
 public:
  // The selection is not changed: the result holds a clone with what the compliance library made of
  // it. Nothing found and a failure inside that library both give a result without rows. Failures:
  //
  // - 13: Database is no database object;
  //
  // - 91: an object is missing;
  //
  // - 7: the rows or their names do not fit into memory;
  //
  // - those of DataSelect.API_GetData.
  std::shared_ptr<SCResults> AnalyzeDataSelect(
      const std::shared_ptr<platform::Object>& Database,
      const std::shared_ptr<orvspc::DataSelect>& DataSelect);

  // For the library. Computes, copies the rows out, has them released, names them and loads them
  // into the results. True whenever it returns. A filter without cells fails with 9 before the
  // library is entered.
  static bool AnalyzeDS(const Friend&, const std::shared_ptr<platform::Database>& Database,
                        API_DSInfo& DSInfo, Array<std::int32_t>& DSFilter, SCResults& Results);
  // What the entry returns: null when the analysis was not done, else the results with the
  // selection as the library left it.
  static std::shared_ptr<SCResults> Finish(const Friend&, bool done,
                                           const std::shared_ptr<SCResults>& results,
                                           const API_DSInfo& info,
                                           const Array<std::int32_t>& filter);
};

}  // namespace orvspc
