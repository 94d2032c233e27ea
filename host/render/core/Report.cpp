// SPDX-License-Identifier: Apache-2.0
#include "host/render/core/Report.h"

#include <cmath>

#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"

namespace orvspc::render {

std::vector<Note> PlainNotes(std::vector<Note> notes) {
  for (auto& note : notes) {
    note.text = PlainText(note.text);
    note.stream = PlainText(note.stream);
  }
  return notes;
}

std::string Counted(std::size_t count, const std::string& one, const std::string& many) {
  return std::to_string(count) + " " + (count == 1 ? one : many.empty() ? one + "s" : many);
}

std::string BasisText(const Estimate& estimate) {
  std::string text;
  if (std::isfinite(estimate.constant) && estimate.constant != 0.0)
    text += ", constant " + Significant(estimate.constant, 7);
  if (estimate.used > 0) text += ", from " + std::to_string(estimate.used);
  return text;
}

std::string EstimatorText(const std::string& name) {
  struct Words {
    const char* start;
    const char* text;
  };
  static constexpr Words kWords[] = {
      {"MR-est", "mean moving range / d2"}, {"R-est", "mean of R/d2"}, {"S-est", "mean of s/c4"}};
  for (const auto& words : kWords) {
    const std::string start = words.start;
    if (name.rfind(start, 0) != 0) continue;
    std::string kind = name.substr(start.size());
    kind.erase(0, kind.find_first_not_of(' '));
    // Weighted for least variance is the rule and the same as unweighted where sizes do not differ.
    return kind.empty() || kind == "mvlue" ? words.text : words.text + (" (" + kind + ")");
  }
  return name;
}

}  // namespace orvspc::render
