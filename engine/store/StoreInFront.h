// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "engine/store/Store.h"

namespace orvspc::engine::store {

// A store that shows another one; derived classes change what charts see of it. Phases and limits
// that are provisional are theirs to show.
class StoreInFront : public Store {
 public:
  explicit StoreInFront(Store& behind) : behind_(behind) {}

  bool Select(API_DSInfo& info, std::span<const std::int32_t> filter, const SelectOptions& options,
              DataSet& out) override {
    return behind_.Select(info, filter, options, out);
  }
  std::int32_t TestType(std::int32_t test) override { return behind_.TestType(test); }
  std::vector<API_CCSpecLim> SpecLimits(std::int32_t part, std::int32_t test) override {
    return behind_.SpecLimits(part, test);
  }
  std::vector<ControlLimit> ControlLimits(std::int32_t part, std::int32_t process,
                                          std::int32_t test) override {
    return behind_.ControlLimits(part, process, test);
  }
  std::vector<API_CCDefOpp> Opportunities(std::int32_t part, std::int32_t test) override {
    return behind_.Opportunities(part, test);
  }
  const std::vector<StoredRule>& Rules() override { return behind_.Rules(); }
  std::uint32_t AlarmBits(std::int32_t part, std::int32_t process, std::int32_t test,
                          std::int32_t graph) override {
    return behind_.AlarmBits(part, process, test, graph);
  }
  std::string Setting(std::string_view key, std::string_view fallback) override {
    return behind_.Setting(key, fallback);
  }
  std::string StreamName(std::int32_t part, std::int32_t process, std::int32_t test) override {
    return behind_.StreamName(part, process, test);
  }
  void Fail(std::int32_t number, std::string description) override {
    behind_.Fail(number, std::move(description));
  }

 protected:
  Store& Behind() { return behind_; }

 private:
  Store& behind_;
};

}  // namespace orvspc::engine::store
