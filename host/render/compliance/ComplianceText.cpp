// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "host/render/compliance/ComplianceView.h"
#include "host/render/core/Numbers.h"

namespace orvspc::render {

namespace {

constexpr std::size_t kMostWorst = 15;

std::string Number(std::int64_t value, std::size_t width) {
  return Padded(std::to_string(value), width, true);
}

// The texts of a row.
using Row = std::vector<std::string>;

std::string Cut(const std::string& text, std::size_t width) {
  if (Width(text) <= width) return Padded(text, width);
  return Padded(text, width - 1) + "\xE2\x80\xA6";
}

class Text {
 public:
  Text(const ComplianceView& view, const TextOptions& options)
      : view_(view), width_(std::max<std::size_t>(options.columns, 60)) {}

  std::string Write() {
    if (view_.Empty()) {
      out_ = "no data selected\n";
    } else {
      out_ = view_.title + "\n" + view_.subtitle + "\n";
      Requirements();
      for (const auto& map : view_.maps) Shifts(map);
      if (!view_.maps.empty())
        out_ += "\npercent collected of what fell due in each shift; -- nothing expected\n";
      Worst();
    }
    for (const auto& note : view_.notes)
      out_ += "note: " + (note.stream.empty() ? "" : note.stream + ": ") + note.text + "\n";
    return out_;
  }

 private:
  // Four texts, then the counts; the texts share what is left of the line.
  void Table(const Row& heads, const std::vector<std::pair<Row, SampleCount>>& rows) {
    constexpr std::size_t kCounts = 42;
    std::vector<std::size_t> widths;
    for (const auto& head : heads) widths.push_back(Width(head));
    for (const auto& [texts, count] : rows)
      for (std::size_t c = 0; c < texts.size(); ++c)
        widths[c] = std::max(widths[c], Width(texts[c]));
    std::size_t sum = 0;
    for (auto& width : widths) sum += width += 2;
    const std::size_t room = width_ > kCounts + 20 ? width_ - kCounts : 20;
    while (sum > room) {
      const auto widest = std::max_element(widths.begin(), widths.end());
      if (*widest <= 8) break;
      --*widest;
      --sum;
    }
    const auto texts_of = [&](const Row& texts) {
      for (std::size_t c = 0; c < texts.size(); ++c) out_ += Cut(texts[c], widths[c] - 2) + "  ";
    };
    out_ += "\n";
    texts_of(heads);
    out_ += "  expected  collected    missed  percent\n";
    for (const auto& [texts, count] : rows) {
      texts_of(texts);
      out_ += Number(count.expected, 10) + Number(count.collected, 11) + Number(count.missed, 10) +
              Padded(Fixed(count.Percent(), 1), 9, true) + "\n";
    }
  }

  void Requirements() {
    std::vector<std::pair<Row, SampleCount>> rows;
    for (const auto& line : view_.requirements)
      rows.push_back({{line.process, line.part, line.test, line.requirement}, line.count});
    Table({"process", "part", "test", "requirement"}, rows);
  }

  void Shifts(const HeatMap& map) {
    constexpr std::size_t kDay = 7;
    const std::size_t at_once = std::max<std::size_t>((width_ - 8) / kDay, 1);
    out_ += "\n" + map.process + "\n";
    for (std::size_t first = 0; first < map.days.size(); first += at_once) {
      const std::size_t last = std::min(first + at_once, map.days.size());
      out_ += std::string(8, ' ');
      // Month and day; the subtitle has the year.
      for (std::size_t day = first; day < last; ++day)
        out_ += Padded(map.days[day].substr(map.days[day].size() - 5), kDay, true);
      out_ += "\n";
      for (std::size_t shift = 0; shift < map.shifts.size(); ++shift) {
        out_ += Padded(map.shifts[shift], 8);
        for (std::size_t day = first; day < last; ++day) {
          const auto& cell = map.At(shift, day);
          out_ += Padded(!cell                 ? ""
                         : cell->expected == 0 ? "--"
                                               : Fixed(cell->Percent(), 0),
                         kDay, true);
        }
        out_ += "\n";
      }
    }
  }

  void Worst() {
    std::vector<const ComplianceLine*> lines;
    for (const auto& line : view_.lines)
      if (line.count.missed > 0) lines.push_back(&line);
    if (lines.empty()) {
      out_ += "\nno sample was missed\n";
      return;
    }
    std::stable_sort(lines.begin(), lines.end(), [](const auto* a, const auto* b) {
      return a->count.missed > b->count.missed;
    });
    out_ += "\nwhere most samples were missed";
    if (lines.size() > kMostWorst)
      out_ += " (" + std::to_string(kMostWorst) + " of " + std::to_string(lines.size()) + ")";
    out_ += "\n";
    if (lines.size() > kMostWorst) lines.resize(kMostWorst);
    std::vector<std::pair<Row, SampleCount>> rows;
    for (const auto* line : lines)
      rows.push_back({{line->start.substr(0, 16), line->process, line->state, line->requirement},
                      line->count});
    Table({"from (UTC)", "process", "state", "requirement"}, rows);
  }

  const ComplianceView& view_;
  std::size_t width_;
  std::string out_;
};

}  // namespace

std::string RenderComplianceText(const ComplianceView& view, const TextOptions& options) {
  return Text(view, options).Write();
}

}  // namespace orvspc::render
