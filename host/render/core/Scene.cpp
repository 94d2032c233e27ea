// SPDX-License-Identifier: Apache-2.0
#include "host/render/core/Scene.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace orvspc::render {

namespace {

struct Finite {
  template <class... Number>
  static bool All(Number... numbers) {
    return (std::isfinite(numbers) && ...);
  }
  bool operator()(const PathShape& path) const {
    return std::all_of(path.line.begin(), path.line.end(),
                       [](const auto& point) { return All(point.first, point.second); });
  }
  bool operator()(const RectangleShape& rectangle) const {
    return All(rectangle.x, rectangle.y, rectangle.width, rectangle.height);
  }
  template <class Placed>
  bool operator()(const Placed& shape) const {
    return All(shape.x, shape.y);
  }
};

}  // namespace

Scene::Scene(const View& view, bool in_page, const std::string& family_name)
    : title(view.title), family(family_name), embedded(in_page) {
  if (embedded) return;
  Text(14, 22, "h", Anchor::Start, FittingText(view.title, 640));
  Text(14, 38, "s", Anchor::Start, FittingText(view.subtitle, 960));
  notes_ = NoteLines(view.notes);
}

void Scene::Text(double x, double y, const std::string& style, Anchor anchor,
                 const std::string& text, Turn turn) {
  Add(TextShape{x, y, style, anchor, text, turn});
}

void Scene::Line(double x1, double y1, double x2, double y2, const std::string& style) {
  Add(PathShape{style, {{x1, y1}, {x2, y2}}});
}

void Scene::Path(const Polyline& line, const std::string& style) {
  if (line.size() > 1) Add(PathShape{style, line});
}

void Scene::Rectangle(double x, double y, double width, double rectangle_height,
                      const std::string& style, const std::string& tip) {
  Add(RectangleShape{x, y, width, rectangle_height, style, tip});
}

void Scene::Add(Shape shape) {
  if (std::visit(Finite(), shape)) shapes.push_back(std::move(shape));
}

void Scene::NoData(double y) { Text(14, y, "t", Anchor::Start, "No data selected"); }

double Scene::Notes(double y) {
  for (const auto& note : notes_) {
    Text(14, y, "s", Anchor::Start, FittingText(note, 960));
    y += 15.0;
  }
  return y;
}

std::vector<std::string> NoteLines(const std::vector<Note>& notes) {
  constexpr std::size_t kMaxNotes = 6;
  std::vector<std::string> lines;
  for (std::size_t n = 0; n < notes.size() && n < kMaxNotes; ++n)
    lines.push_back("Note: " + notes[n].Sentence());
  if (notes.size() > kMaxNotes)
    lines.push_back("and " + std::to_string(notes.size() - kMaxNotes) + " more notes");
  return lines;
}

std::string StreamClass(const std::string& style, std::int32_t stream) {
  const std::int32_t colour = stream % 7, dashes = stream / 7 % 4;
  std::string text = style;
  if (colour != 0) text += " k" + std::to_string(colour);
  if (dashes != 0 && style != "p") text += " h" + std::to_string(dashes);
  return text;
}

}  // namespace orvspc::render
