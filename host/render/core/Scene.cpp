// SPDX-License-Identifier: Apache-2.0
#include "host/render/core/Scene.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

#include "host/render/core/Assets.h"
#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"

namespace orvspc::render {

namespace {

constexpr std::size_t kDense = 3200;  // points of a line across the picture

bool IsFinite(const Shape& shape) {
  const auto all = [](auto... numbers) { return (std::isfinite(numbers) && ...); };
  return std::visit(
      [all](const auto& placed) {
        if constexpr (requires { placed.line; })
          return std::ranges::all_of(
              placed.line, [all](const auto& point) { return all(point.first, point.second); });
        else if constexpr (requires { placed.width; })
          return all(placed.x, placed.y, placed.width, placed.height);
        else
          return all(placed.x, placed.y);
      },
      shape);
}

std::string N(double value) { return Coordinate(value); }

// The end of an element that may have a tip.
std::string Tipped(const std::string& name, const std::string& tip) {
  return tip.empty() ? "/>" : fmt::format("><title>{}</title></{}>", EscapeMarkup(tip), name);
}

// Corners of a shape of about the area of a circle of radius 1.
const Polyline& ShapeOf(std::int32_t stream) {
  static const Polyline kCross = {{-.5, -1.3}, {.5, -1.3}, {.5, -.5},   {1.3, -.5},
                                  {1.3, .5},   {.5, .5},   {.5, 1.3},   {-.5, 1.3},
                                  {-.5, .5},   {-1.3, .5}, {-1.3, -.5}, {-.5, -.5}};
  static const Polyline kShapes[] = {
      {},                                    // a circle
      {{-1, -1}, {1, -1}, {1, 1}, {-1, 1}},  // square
      {{0, -1.3}, {1.2, 1}, {-1.2, 1}},      // triangle, up
      {{0, 1.3}, {1.2, -1}, {-1.2, -1}},     // triangle, down
      kCross,
      {{-1.2, -1.2}, {1.2, -1.2}, {-1.2, 1.2}, {1.2, 1.2}},  // hourglass
      {{-1.3, 0}, {1, -1.2}, {1, 1.2}},                      // triangle, left
      {{1.3, 0}, {-1, -1.2}, {-1, 1.2}},                     // triangle, right
  };
  return kShapes[static_cast<std::size_t>(stream) % std::size(kShapes)];
}

std::string PathData(const Polyline& line, double x = 0.0, double y = 0.0, double size = 1.0) {
  std::string text = "M";
  for (std::size_t i = 0; i < line.size(); ++i) {
    text += i == 0 ? "" : i == 1 ? "L" : " ";
    text += N(x + line[i].first * size);
    text += ' ';
    text += N(y + line[i].second * size);
  }
  return text;
}

// A symbol without the end of its element: a circle where it has no corners.
std::string Outline(const std::string& style, const Polyline& corners, double x, double y,
                    double size) {
  if (corners.empty())
    return fmt::format(R"(<circle class="{}" cx="{}" cy="{}" r="{}")", style, N(x), N(y), N(size));
  return fmt::format(R"(<path class="{}" d="{}Z")", style, PathData(corners, x, y, size));
}

// Each shape as one element and a line feed.
struct Writer {
  std::string& out;

  void operator()(const TextShape& shape) const {
    constexpr const char* kAnchors[] = {"", R"( text-anchor="middle")", R"( text-anchor="end")"};
    const char* const anchor = kAnchors[static_cast<int>(shape.anchor)];
    const std::string text = EscapeMarkup(shape.text);
    if (shape.turn == Turn::Slanted) {
      out +=
          fmt::format("<text class=\"{}\"{} transform=\"translate({} {}) rotate(-55)\">{}</text>\n",
                      shape.style, anchor, N(shape.x), N(shape.y), text);
      return;
    }
    const bool up = shape.turn == Turn::Up;
    out += fmt::format("{}<text x=\"{}\" y=\"{}\" class=\"{}\"{}>{}</text>\n{}",
                       up ? "<g transform=\"rotate(-90)\">" : "", N(up ? -shape.y : shape.x),
                       N(up ? shape.x : shape.y), shape.style, anchor, text, up ? "</g>\n" : "");
  }
  void operator()(const CaptionShape& shape) const {
    out += fmt::format(R"(<text x="{}" y="{}"><tspan class="t">{}</tspan>)", N(shape.x), N(shape.y),
                       EscapeMarkup(shape.title));
    if (!shape.caption.empty())
      out += fmt::format(R"(<tspan class="s" dx="12">{}</tspan>)", EscapeMarkup(shape.caption));
    out += "</text>\n";
  }
  void operator()(const PathShape& shape) const {
    out += fmt::format("<path class=\"{}\" d=\"{}\"/>\n", shape.style, PathData(shape.line));
  }
  void operator()(const RectangleShape& shape) const {
    out += fmt::format("<rect class=\"{}\" x=\"{}\" y=\"{}\" width=\"{}\" height=\"{}\"{}\n",
                       shape.style, N(shape.x), N(shape.y), N(shape.width), N(shape.height),
                       Tipped("rect", shape.tip));
  }
  void operator()(const CircleShape& shape) const {
    out += Outline(shape.style, {}, shape.x, shape.y, shape.radius) + Tipped("circle", shape.tip) +
           '\n';
  }
  void operator()(const SymbolShape& shape) const {
    static const Polyline kDiamond = {{0, -1}, {1, 0}, {0, 1}, {-1, 0}};
    const auto& [style, stream, several_streams, size] = shape.look;
    // Small points have small marks; then the shapes inside would look alike.
    const bool inner = style == "m" && several_streams && size > 2.0;
    const Polyline* corners = &ShapeOf(stream);
    double drawn = size;
    if (style == "m") {
      corners = &kDiamond;
      drawn = size < 1.0 ? 1.8 : size + (inner ? 3.6 : 2.4);
    } else if (style == "o") {
      corners = &ShapeOf(1);
      drawn = size < 1.0 ? 3.0 : size + (several_streams ? 4.6 : 4.0);
    }
    out += Outline(style == "p" ? StreamClass("p", stream) : style, *corners, shape.x, shape.y,
                   drawn) +
           Tipped(corners->empty() ? "circle" : "path", shape.tip);
    if (inner)
      out += Outline("in", ShapeOf(stream), shape.x, shape.y, size * 0.68) +
             R"( pointer-events="none"/>)";
    out += '\n';
  }
};

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

Scene::Scene(const View& view, bool in_page, const std::string& family_name)
    : title(view.title), family(family_name), embedded(in_page) {
  if (embedded) return;
  Text(14, 22, "h", Anchor::Start, FittingText(view.title, 640));
  Text(14, 38, "s", Anchor::Start, FittingText(view.subtitle, 960));
  notes_ = NoteLines(view.notes);
}

void Scene::Add(Shape shape) {
  if (IsFinite(shape)) shapes.push_back(std::move(shape));
}

double Scene::Notes(double y) {
  for (const auto& note : notes_) {
    Text(14, y, "s", Anchor::Start, note);
    y += 15.0;
  }
  return y;
}

std::vector<std::string> NoteLines(const std::vector<Note>& notes) {
  constexpr std::size_t kMaxNotes = 6;
  constexpr double kNoteWidth = 950.0;
  std::vector<std::string> lines;
  for (std::size_t n = 0; n < notes.size() && n < kMaxNotes; ++n) {
    const auto wrapped =
        Wrapped("Note: " + notes[n].Sentence(), static_cast<std::size_t>(kNoteWidth / kCharacter));
    lines.insert(lines.end(), wrapped.begin(), wrapped.end());
  }
  if (notes.size() > kMaxNotes)
    lines.push_back("and " + Counted(notes.size() - kMaxNotes, "more note"));
  return lines;
}

std::string StreamClass(const std::string& style, std::int32_t stream) {
  const std::int32_t colour = stream % 7, dashes = stream / 7 % 4;
  std::string text = style;
  if (colour != 0) text += " k" + std::to_string(colour);
  if (dashes != 0 && style != "p") text += " h" + std::to_string(dashes);
  return text;
}

std::string Coordinate(double value) {
  const double rounded = std::round(value * 100.0) / 100.0;
  return Shortest(rounded == 0.0 ? 0.0 : rounded);
}

std::string WriteSvg(const Scene& scene) {
  const std::string height = N(scene.height);
  std::string out = fmt::format(
      R"({}<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 1000 {}" width="1000" height="{}" role="img">
<title>{}</title>
<style>{}{}</style>
<rect width="1000" height="{}" fill="#fff"/>
{})",
      scene.embedded ? "" : "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n", height, height,
      EscapeMarkup(scene.title), StyleSheet("picture.css"), StyleSheet(scene.family + ".css"),
      height, Asset(scene.family + ".svg"));
  for (const auto& shape : scene.shapes) std::visit(Writer{out}, shape);
  return out + "</svg>\n";
}

}  // namespace orvspc::render
