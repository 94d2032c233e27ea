// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/render/chart/ChartView.h"

namespace orvspc::render {

// The markup of one picture, 1000 units wide, in the order in which it is drawn. Texts are escaped.
class SvgSheet {
 public:
  // embedded: without the XML declaration. style: style sheet beyond that of all pictures.
  SvgSheet(const std::string& title, double height, bool embedded, const std::string& style = {});

  // anchor: start, middle or end
  void Text(double x, double y, const char* style, const char* anchor, std::string_view text);
  void Line(double x1, double y1, double x2, double y2, const char* style);
  void Path(const std::vector<std::pair<double, double>>& line, const char* style);
  // tip: shown when one points at it
  void Rectangle(double x, double y, double width, double height, const char* style,
                 const std::string& tip = {});
  // One line each from the base line y on, the first six; returns the base line behind them.
  double Notes(const std::vector<Note>& notes, double y);
  static double HeightOfNotes(const std::vector<Note>& notes);
  void Add(const std::string& markup) { out_ += markup; }

  std::string Finished() const { return out_ + "</svg>\n"; }

 private:
  std::string out_;
};

// Text that fits into so many units at 11 pixels, else cut with an ellipsis.
std::string FittingText(std::string_view text, double units);

}  // namespace orvspc::render
