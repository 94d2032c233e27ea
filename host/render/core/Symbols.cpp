// SPDX-License-Identifier: Apache-2.0
#include "host/render/core/Symbols.h"

#include <cmath>
#include <utility>
#include <vector>

#include "host/render/core/Markup.h"
#include "host/render/core/Numbers.h"

namespace orvspc::render {

const char* const kPictureStyle =
    "text{font-family:Helvetica,Arial,'DejaVu Sans',sans-serif;font-size:11px;fill:#222}"
    ".h{font-size:17px;font-weight:bold}.s{fill:#555}.t{font-size:13px;font-weight:bold}"
    ".frame{fill:none;stroke:#888;stroke-width:.8}.grid{stroke:#e4e4e4;stroke-width:.7}"
    ".tick{stroke:#888;stroke-width:.8}"
    ".d{fill:none;stroke:#1f4e79;stroke-width:1.3;stroke-linejoin:round}"
    ".dd{fill:none;stroke:#1f4e79;stroke-width:.7;stroke-linejoin:round}"
    ".p{fill:#1f4e79;stroke:#fff;stroke-width:.6}.pu{fill:#fff;stroke:#777;stroke-width:1.1}"
    ".cl{fill:none;stroke:#333;stroke-width:1.1}"
    ".lim{fill:none;stroke:#b02a1a;stroke-width:1.3;stroke-dasharray:7 3}"
    ".spec{fill:none;stroke:#6a3d9a;stroke-width:1.4;stroke-dasharray:12 3 2 3}"
    ".tar{fill:none;stroke:#6a3d9a;stroke-width:1;stroke-dasharray:2 3}"
    ".m{fill:#c8102e;stroke:#fff;stroke-width:.8}"
    ".o{fill:none;stroke:#6a3d9a;stroke-width:1.5}"
    ".r{font-weight:bold;fill:#c8102e;stroke:#fff;stroke-width:2.5;paint-order:stroke}"
    ".lead{stroke:#999;stroke-width:.6}.b{stroke:#bbb;stroke-width:.8;stroke-dasharray:2 2}"
    ".ll{fill:#b02a1a}.ls{fill:#6a3d9a}"
    ".in{fill:#fff;stroke:none}"
    ".p.k1{fill:#b36b00}.d.k1,.dd.k1{stroke:#b36b00}"
    ".p.k2{fill:#009e73}.d.k2,.dd.k2{stroke:#009e73}"
    ".p.k3{fill:#cc79a7}.d.k3,.dd.k3{stroke:#cc79a7}"
    ".p.k4{fill:#56b4e9}.d.k4,.dd.k4{stroke:#56b4e9}"
    ".p.k5{fill:#000}.d.k5,.dd.k5{stroke:#000}"
    ".p.k6{fill:#e69f00}.d.k6,.dd.k6{stroke:#e69f00}"
    ".d.h1{stroke-dasharray:6 2}.d.h2{stroke-dasharray:2 2}.d.h3{stroke-dasharray:8 2 2 2}";

std::string Coordinate(double value) {
  const double rounded = std::round(value * 100.0) / 100.0;
  return Shortest(rounded == 0.0 ? 0.0 : rounded);
}

std::string StreamClass(const std::string& style, std::int32_t stream) {
  const std::int32_t colour = stream % 7, dashes = stream / 7 % 4;
  std::string text = style;
  if (colour != 0) text += " k" + std::to_string(colour);
  if (dashes != 0 && style != "p") text += " h" + std::to_string(dashes);
  return text;
}

namespace {

// Corners of a shape of about the area of a circle of radius 1.
using Corners = std::vector<std::pair<double, double>>;

Corners ShapeOf(std::int32_t stream) {
  static const Corners kShapes[] = {
      {},                                    // a circle
      {{-1, -1}, {1, -1}, {1, 1}, {-1, 1}},  // square
      {{0, -1.3}, {1.2, 1}, {-1.2, 1}},      // triangle, up
      {{0, 1.3}, {1.2, -1}, {-1.2, -1}},     // triangle, down
      {{-.5, -1.3},
       {.5, -1.3},
       {.5, -.5},
       {1.3, -.5},
       {1.3, .5},
       {.5, .5},
       {.5, 1.3},
       {-.5, 1.3},
       {-.5, .5},
       {-1.3, .5},
       {-1.3, -.5},
       {-.5, -.5}},                                          // cross
      {{-1.2, -1.2}, {1.2, -1.2}, {-1.2, 1.2}, {1.2, 1.2}},  // hourglass
      {{-1.3, 0}, {1, -1.2}, {1, 1.2}},                      // triangle, left
      {{1.3, 0}, {-1, -1.2}, {-1, 1.2}},                     // triangle, right
  };
  return kShapes[static_cast<std::size_t>(stream) % std::size(kShapes)];
}

std::string Polygon(const std::string& style, const Corners& corners, double x, double y,
                    double size) {
  std::string text = "<path class=\"" + style + "\" d=\"M";
  for (std::size_t i = 0; i < corners.size(); ++i)
    text += (i == 0   ? ""
             : i == 1 ? "L"
                      : " ") +
            Coordinate(x + corners[i].first * size) + " " +
            Coordinate(y + corners[i].second * size);
  return text + "Z\"";
}

std::string StreamShape(const std::string& style, std::int32_t stream, double x, double y,
                        double size) {
  const Corners corners = ShapeOf(stream);
  if (!corners.empty()) return Polygon(style, corners, x, y, size);
  return "<circle class=\"" + style + "\" cx=\"" + Coordinate(x) + "\" cy=\"" + Coordinate(y) +
         "\" r=\"" + Coordinate(size) + "\"";
}

}  // namespace

std::string Symbol(const SymbolLook& look, double x, double y, const std::string& tip) {
  static const Corners kDiamond = {{0, -1}, {1, 0}, {0, 1}, {-1, 0}};
  static const Corners kSquare = {{-1, -1}, {1, -1}, {1, 1}, {-1, 1}};
  const double size = look.size;
  // Small points have small marks; then the shapes inside could not be told apart.
  const bool inner = look.style == "m" && look.several_streams && size > 2.0;
  std::string shape;
  if (look.style == "m") {
    const double wide = inner ? 3.6 : 2.4;
    shape = Polygon("m", kDiamond, x, y, size < 1.0 ? 1.8 : size + wide);
  } else if (look.style == "o") {
    shape =
        Polygon("o", kSquare, x, y, size < 1.0 ? 3.0 : size + (look.several_streams ? 4.6 : 4.0));
  } else {
    shape = StreamShape(look.style == "p" ? StreamClass("p", look.stream) : look.style, look.stream,
                        x, y, size);
  }
  std::string text = shape;
  if (tip.empty()) {
    text += "/>";
  } else {
    const std::string name = shape.substr(1, shape.find(' ') - 1);
    text += "><title>" + EscapeMarkup(tip) + "</title></" + name + ">";
  }
  if (inner)
    text += StreamShape("in", look.stream, x, y, size * 0.68) + " pointer-events=\"none\"/>";
  return text + "\n";
}

}  // namespace orvspc::render
