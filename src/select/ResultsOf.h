// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <utility>

#include "platform/Object.h"
#include "select/DataSelect.h"

namespace orvspc {

class Friend;

// Base of the results of an analysis: the settings and the selection that it used. Null in a new
// object; the objects themselves, not copies.
template <class ProcessingClass>
class ResultsOf : public platform::Object {
 public:
  std::shared_ptr<ProcessingClass> Processing() const { return processing_; }
  std::shared_ptr<orvspc::DataSelect> DataSelect() const { return data_select_; }

  // For the library.
  void Processing(const Friend&, std::shared_ptr<ProcessingClass> value) {
    processing_ = std::move(value);
  }
  void DataSelect(const Friend&, std::shared_ptr<orvspc::DataSelect> value) {
    data_select_ = std::move(value);
  }

 protected:
  std::shared_ptr<ProcessingClass> processing_;
  std::shared_ptr<orvspc::DataSelect> data_select_;
};

}  // namespace orvspc
