// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "host/render/core/Text.h"

// A picture as a list of shapes in the order in which they are drawn: what a family says of a
// result, before it becomes markup. 1000 units wide, y grows downwards. A style names classes of
// assets/picture.css and of the family's own style sheet; a tip is shown when one points at the
// shape. It reads the same in black and white: what differs in colour differs in shape or dashes
// too.
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

// What lies further out is left out: an axis whose length is no finite number shows nothing at all.
inline constexpr double kFurthest = std::numeric_limits<double>::max() / 4.0;

// A label that wants its place at `wanted`; PushApart gives it `at`, at least `gap` from the next
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

enum class Anchor { Start, Middle, End };
enum class Turn {
  None,
  Up,      // reads upwards
  Slanted  // rises to the place from the lower left
};

struct TextShape {
  double x = 0.0, y = 0.0;  // of the base line
  std::string style;
  Anchor anchor = Anchor::Start;
  std::string text;
  Turn turn = Turn::None;
};
// A bold title with what is to be said about it behind it.
struct CaptionShape {
  double x = 0.0, y = 0.0;
  std::string title, caption;
};
struct PathShape {
  std::string style;
  Polyline line;
};
struct RectangleShape {
  double x = 0.0, y = 0.0, width = 0.0, height = 0.0;
  std::string style, tip;
};
struct CircleShape {
  double x = 0.0, y = 0.0, radius = 0.0;
  std::string style, tip;
};
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
struct SymbolShape {
  SymbolLook look;
  double x = 0.0, y = 0.0;
  std::string tip;
};
using Shape =
    std::variant<TextShape, CaptionShape, PathShape, RectangleShape, CircleShape, SymbolShape>;

class Scene {
 public:
  // Begins with title and subtitle. in_page: for use inside a page, which has these and the notes
  // itself. family_name: of the style sheet and the definitions in assets/.
  Scene(const View& view, bool in_page, const std::string& family_name = {});

  void Text(double x, double y, const std::string& style, Anchor anchor, const std::string& text,
            Turn turn = Turn::None) {
    Add(TextShape{x, y, style, anchor, text, turn});
  }
  void Line(double x1, double y1, double x2, double y2, const std::string& style) {
    Add(PathShape{style, {{x1, y1}, {x2, y2}}});
  }
  // Nothing for less than two points.
  void Path(const Polyline& line, const std::string& style) {
    if (line.size() > 1) Add(PathShape{style, line});
  }
  void Rectangle(double x, double y, double width, double rectangle_height,
                 const std::string& style, const std::string& tip = {}) {
    Add(RectangleShape{x, y, width, rectangle_height, style, tip});
  }
  // Drops a shape whose place is no finite number: a stored result can hold such figures.
  void Add(Shape shape);

  // "No data selected"
  void NoData(double y) { Text(14, y, "t", Anchor::Start, "No data selected"); }
  // Their lines from the base line y on; returns the base line behind them. None
  // inside a page.
  double Notes(double y);

  std::string title, family;
  bool embedded = false;
  double height = 0.0;
  std::vector<Shape> shapes;

 private:
  std::vector<std::string> notes_;
};

// The lines that a picture has for notes: the first six, as many lines each as it takes, and how
// many more there are.
std::vector<std::string> NoteLines(const std::vector<Note>& notes);

// Classes of a stream's line and symbols: colours that colour-blind readers distinguish, and
// dashes. style: "d", "dd" for lines, "p" for points.
std::string StreamClass(const std::string& style, std::int32_t stream);

// The scene as one SVG picture, without scripts or anything fetched from elsewhere. Texts are
// escaped. Of an embedded one the XML declaration is left out.
std::string WriteSvg(const Scene& scene);

// A coordinate: two decimals at most.
std::string Coordinate(double value);

}  // namespace orvspc::render
