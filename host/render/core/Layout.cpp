// SPDX-License-Identifier: Apache-2.0
#include "host/render/core/Layout.h"

#include <algorithm>
#include <cmath>

#include "host/render/core/PlainText.h"

namespace orvspc::render {

namespace {

constexpr std::size_t kDense = 3200;  // points of a line across the picture

}  // namespace

double WidthOf(std::string_view text) { return kCharacter * static_cast<double>(Width(text)); }

std::string FittingText(std::string_view text, double units) {
  return Shortened(text, static_cast<std::size_t>(std::max(units / kCharacter, 1.0)));
}

void PushApart(std::vector<Label>& labels, double gap, double low, double high) {
  std::stable_sort(labels.begin(), labels.end(),
                   [](const Label& a, const Label& b) { return a.wanted < b.wanted; });
  double next = low;
  for (auto& label : labels) {
    label.at = std::max(label.wanted, next);
    next = label.at + gap;
  }
  double limit = high;
  for (auto label = labels.rbegin(); label != labels.rend(); ++label) {
    label->at = std::min(label->at, limit);
    limit = label->at - gap;
  }
}

std::size_t LabelStep(std::size_t places, double place_width, double label_width) {
  for (std::size_t magnitude = 1; magnitude <= places; magnitude *= 10)
    for (const std::size_t factor : {1u, 2u, 5u})
      if (static_cast<double>(factor * magnitude) * place_width >= label_width)
        return factor * magnitude;
  return std::max<std::size_t>(places, 1);
}

Polyline Thinned(const Polyline& line) {
  if (line.size() < kDense) return line;
  Polyline thin;
  for (std::size_t i = 0; i < line.size();) {
    const double column = std::floor(line[i].first * 2.0);
    std::size_t end = i, lowest = i, highest = i;
    for (; end < line.size() && std::floor(line[end].first * 2.0) == column; ++end) {
      if (line[end].second < line[lowest].second) lowest = end;
      if (line[end].second > line[highest].second) highest = end;
    }
    std::vector<std::size_t> kept{i, std::min(lowest, highest), std::max(lowest, highest), end - 1};
    kept.erase(std::unique(kept.begin(), kept.end()), kept.end());
    for (const auto k : kept) thin.push_back(line[k]);
    i = end;
  }
  return thin;
}

}  // namespace orvspc::render
