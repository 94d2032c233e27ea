// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <utility>

#include "dataset/EventData.h"
#include "dataset/SubgroupData.h"
#include "platform/PrcsStateLog.h"
#include "select/ResultsOf.h"
#include "summary/PSProcessing.h"

namespace orvspc {

class Friend;

// What the process-state analysis gathered: subgroups, events and the log of states, side by side
// over one selection, which is as the retrieval of the subgroups left it. Every Get gives the
// object itself; all are null in a new object.
class PSResults : public ResultsOf<PSProcessing> {
 public:
  std::shared_ptr<orvspc::SubgroupData> SubgroupData() const { return subgroup_data_; }
  std::shared_ptr<orvspc::EventData> EventData() const { return event_data_; }
  // The records of the process from the state in force at the start of the range to its end. Null
  // when the process has no records from there on; an empty list when all of them lie after the
  // end.
  std::shared_ptr<platform::PrcsStateLog> PrcsStateLog() const { return prcs_state_log_; }

  // For the library.
  void SubgroupData(const Friend&, std::shared_ptr<orvspc::SubgroupData> value) {
    subgroup_data_ = std::move(value);
  }
  void EventData(const Friend&, std::shared_ptr<orvspc::EventData> value) {
    event_data_ = std::move(value);
  }
  // An object that is no state log fails with 13, and the old one stays; null empties the field.
  void PrcsStateLog(const Friend&, const std::shared_ptr<platform::Object>& value);

 private:
  std::shared_ptr<orvspc::SubgroupData> subgroup_data_;
  std::shared_ptr<orvspc::EventData> event_data_;
  std::shared_ptr<platform::PrcsStateLog> prcs_state_log_;
};

}  // namespace orvspc
