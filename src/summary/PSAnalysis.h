// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "platform/Object.h"
#include "select/DataSelect.h"
#include "summary/PSProcessing.h"
#include "summary/PSResults.h"

namespace orvspc {

// Gathers the subgroups, the events and the log of process states of one selection. Nothing is
// computed or joined here; the selection with its time range ties the three together. Keeps nothing
// between calls.
class PSAnalysis : public platform::Object {
 public:
  // The log is that of the first process that the selection lists, of process 0 when it lists none.
  // The selection itself is not changed. Never null; sets without rows are no failure. Fails with
  // 13 when Database is no database object, with 91 when an object is missing, and as GetEventData
  // and DataSelect.API_GetData do on a bad selection.
  std::shared_ptr<PSResults> AnalyzeDataSelect(
      const std::shared_ptr<platform::Object>& Database,
      const std::shared_ptr<orvspc::DataSelect>& DataSelect,
      const std::shared_ptr<PSProcessing>& Processing);
};

}  // namespace orvspc
