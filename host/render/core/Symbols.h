// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

// Styles and symbols of the pictures.
namespace orvspc::render {

// The picture's style sheet.
extern const char* const kPictureStyle;

// A coordinate: two decimals at most.
std::string Coordinate(double value);

// Classes of a stream's line and symbols: colours that colour-blind readers tell apart, and dashes.
// style: "d", "dd" for lines, "p" for points.
std::string StreamClass(const std::string& style, std::int32_t stream);

// A point's symbol. Streams differ in shape: eight of them, then again in other colours.
//   p   a point          pu  one that nothing uses
//   m   the diamond of a broken rule; several streams: with the stream's shape inside
//   o   the square of a broken specification
struct SymbolLook {
  std::string style = "p";
  std::int32_t stream = 0;
  bool several_streams = false;
  double size = 3.2;
};
std::string Symbol(const SymbolLook& look, double x, double y, const std::string& tip = {});

}  // namespace orvspc::render
