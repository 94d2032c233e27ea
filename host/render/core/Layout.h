// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

// Measures of pictures, and what finds room in them.
namespace orvspc::render {

inline constexpr double kPictureWidth = 1000.0;
// Widths of text at 11 pixels, on the wide side of the usual fonts: a character, a digit.
inline constexpr double kCharacter = 6.5;
inline constexpr double kDigit = 7.0;

double WidthOf(std::string_view text);
// Text that fits into so many units at 11 pixels, else cut with an ellipsis.
std::string FittingText(std::string_view text, double units);

// The values that an axis shows.
struct Range {
  double low = 0.0, high = 1.0;
};

// A label that wants to stand at `wanted`; PushApart gives it `at`, at least `gap` from the next
// one and inside [low, high] as long as there is room.
struct Label {
  double wanted = 0.0;
  double at = 0.0;
  std::string text;
  std::string style;
};
void PushApart(std::vector<Label>& labels, double gap, double low, double high);

// Every how many places the horizontal axis carries a label of that width: 1, 2, 5, 10, 20, ...
std::size_t LabelStep(std::size_t places, double place_width, double label_width);

// A line of more than about four points a unit is cut to the first, lowest, highest and last point
// of each half unit; its look stays the same.
using Polyline = std::vector<std::pair<double, double>>;
Polyline Thinned(const Polyline& line);

}  // namespace orvspc::render
