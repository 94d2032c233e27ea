// SPDX-License-Identifier: Apache-2.0
#include "tests/fake/CallLog.h"

#include <algorithm>

#include "platform/ExternalFailure.h"

namespace orvspc::fake {

std::vector<std::string> CallLog::LinesOf(
    std::initializer_list<std::string_view> beginnings) const {
  std::vector<std::string> found;
  for (const auto& line : lines_) {
    const bool wanted = std::ranges::any_of(
        beginnings, [&](std::string_view beginning) { return line.starts_with(beginning); });
    if (wanted || beginnings.size() == 0) found.push_back(line);
  }
  return found;
}

int CallLog::Count(std::string_view beginning) const {
  return static_cast<int>(LinesOf({beginning}).size());
}

void CallLog::FailOn(std::string beginning, int nth, std::int32_t number) {
  failing_ = std::move(beginning);
  until_failure_ = nth;
  number_ = number;
}

void CallLog::ThrowIfTold() {
  if (until_failure_ == 0 || !lines_.back().starts_with(failing_)) return;
  if (--until_failure_ == 0) throw platform::ExternalFailure(number_, kSource, kDescription);
}

}  // namespace orvspc::fake
