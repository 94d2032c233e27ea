// SPDX-License-Identifier: Apache-2.0
#include "host/render/core/Svg.h"

#include <algorithm>

#include "host/render/chart/ChartLayout.h"
#include "host/render/core/Markup.h"
#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"
#include "host/render/core/Symbols.h"

namespace orvspc::render {

namespace {

constexpr std::size_t kMostNotes = 6;
constexpr double kNoteLine = 15.0;

std::string N(double value) { return Coordinate(value); }

}  // namespace

SvgSheet::SvgSheet(const std::string& title, double height, bool embedded,
                   const std::string& style) {
  if (!embedded) out_ += "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
  out_ += "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 1000 " + N(height) +
          "\" width=\"1000\" height=\"" + N(height) + "\" role=\"img\">\n<title>" +
          EscapeMarkup(title) + "</title>\n<style>" + kPictureStyle + style +
          "</style>\n<rect width=\"1000\" height=\"" + N(height) + "\" fill=\"#fff\"/>\n";
}

void SvgSheet::Text(double x, double y, const char* style, const char* anchor,
                    std::string_view text) {
  out_ += "<text x=\"" + N(x) + "\" y=\"" + N(y) + "\" class=\"" + style + "\"";
  if (std::string_view(anchor) != "start") out_ += std::string(" text-anchor=\"") + anchor + "\"";
  out_ += ">" + EscapeMarkup(text) + "</text>\n";
}

double SvgSheet::Notes(const std::vector<Note>& notes, double y) {
  for (std::size_t n = 0; n < notes.size() && n < kMostNotes; ++n, y += kNoteLine) {
    const Note& note = notes[n];
    Text(14, y, "s", "start", FittingText("Note: " + note.Sentence(), 960));
  }
  if (notes.size() <= kMostNotes) return y;
  Text(14, y, "s", "start", "and " + std::to_string(notes.size() - kMostNotes) + " more notes");
  return y + kNoteLine;
}

double SvgSheet::HeightOfNotes(const std::vector<Note>& notes) {
  return kNoteLine * static_cast<double>(std::min(notes.size(), kMostNotes + 1));
}

void SvgSheet::Line(double x1, double y1, double x2, double y2, const char* style) {
  out_ += "<path class=\"" + std::string(style) + "\" d=\"M" + N(x1) + " " + N(y1) + "L" + N(x2) +
          " " + N(y2) + "\"/>\n";
}

void SvgSheet::Path(const std::vector<std::pair<double, double>>& line, const char* style) {
  if (line.size() < 2) return;
  out_ += "<path class=\"" + std::string(style) + "\" d=\"M";
  for (std::size_t i = 0; i < line.size(); ++i)
    out_ += (i == 0 ? "" : i == 1 ? "L" : " ") + N(line[i].first) + " " + N(line[i].second);
  out_ += "\"/>\n";
}

void SvgSheet::Rectangle(double x, double y, double width, double height, const char* style,
                         const std::string& tip) {
  out_ += "<rect class=\"" + std::string(style) + "\" x=\"" + N(x) + "\" y=\"" + N(y) +
          "\" width=\"" + N(width) + "\" height=\"" + N(height) + "\"";
  out_ += tip.empty() ? "/>\n" : "><title>" + EscapeMarkup(tip) + "</title></rect>\n";
}

std::string FittingText(std::string_view text, double units) {
  const auto room = static_cast<std::size_t>(std::max(units / kCharacter, 1.0));
  if (Width(text) <= room) return std::string(text);
  return Padded(text, room - 1) + "\xE2\x80\xA6";
}

}  // namespace orvspc::render
