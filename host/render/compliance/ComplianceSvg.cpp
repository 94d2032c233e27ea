// SPDX-License-Identifier: Apache-2.0
// Compliance as a picture: the requirements as a table with bars, and a map of shifts by days for
// each process.
#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>

#include "host/render/chart/ChartLayout.h"
#include "host/render/compliance/ComplianceView.h"
#include "host/render/core/Html.h"
#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"
#include "host/render/core/Svg.h"

namespace orvspc::render {

namespace {

// The fewer samples were taken, the darker; numbers in the cells say the same without colours.
constexpr const char* kStyles =
    ".h0{fill:#fff;stroke:#ccc}.h1{fill:#dcefe6}.h2{fill:#fdeac7}.h3{fill:#fdbb6b}"
    ".h4{fill:#e8762d}.h5{fill:#9c2f0f}.h1,.h2,.h3,.h4,.h5{stroke:#fff;stroke-width:1}"
    ".v{fill:#fff}.got{fill:#2a7f9e}.not{fill:#e3e3e3}.th{fill:#555;font-weight:bold}";

struct Step {
  double from;  // percent
  const char* style;
  const char* text;
};
constexpr Step kSteps[] = {{100.0, "h1", "all"},
                           {90.0, "h2", "90 % and more"},
                           {75.0, "h3", "75 %"},
                           {50.0, "h4", "50 %"},
                           {-1.0, "h5", "less"}};

const Step& StepOf(double percent) {
  return *std::find_if(std::begin(kSteps), std::end(kSteps) - 1,
                       [percent](const Step& step) { return percent >= step.from; });
}

constexpr const char* kTitles[] = {"process",  "part",      "test",   "requirement",
                                   "expected", "collected", "missed", "percent"};
constexpr std::size_t kMostLines = 30, kMostRows = 1000;

class Picture {
 public:
  explicit Picture(const ComplianceView& view) : view_(view) {}

  std::string Write(bool embedded) {
    // Drawn once to see how tall it becomes.
    SvgSheet measured(view_.title, 0.0, embedded);
    const double height = Draw(measured, embedded);
    SvgSheet sheet(view_.title, height, embedded, kStyles);
    Draw(sheet, embedded);
    return sheet.Finished();
  }

 private:
  // Returns the height.
  double Draw(SvgSheet& sheet, bool embedded) {
    sheet_ = &sheet;
    double y = embedded ? 10.0 : 62.0;
    if (!embedded) {
      sheet_->Text(14, 22, "h", "start", FittingText(view_.title, 640));
      sheet_->Text(14, 38, "s", "start", FittingText(view_.subtitle, 960));
    }
    if (view_.Empty()) {
      sheet_->Text(14, y + 14, "t", "start", "No data selected");
      y += 40.0;
    } else {
      y = Requirements(y + 4.0);
      for (const auto& map : view_.maps) y = Map(map, y + 30.0);
      if (!view_.maps.empty()) y = Legend(y + 20.0);
    }
    return (embedded ? y : sheet_->Notes(view_.notes, y + 21.0) - 15.0) + 8.0;
  }

  // Places of the four texts, wide enough for what stands there as far as there is room.
  std::array<double, 5> TextPlaces() const {
    constexpr double kFirst = 14.0, kRoom = 582.0;
    std::array<double, 4> widths{};
    for (std::size_t c = 0; c < 4; ++c) {
      widths[c] = kCharacter * static_cast<double>(Width(kTitles[c])) + 18.0;
      for (const auto& line : view_.requirements)
        widths[c] =
            std::max(widths[c], kCharacter * static_cast<double>(Width(*TextsOf(line)[c])) + 18.0);
    }
    double sum = widths[0] + widths[1] + widths[2] + widths[3];
    for (; sum > kRoom; --sum) --*std::max_element(widths.begin(), widths.end());
    std::array<double, 5> places{kFirst};
    for (std::size_t c = 0; c < 4; ++c) places[c + 1] = places[c] + widths[c];
    return places;
  }

  static std::array<const std::string*, 4> TextsOf(const RequirementLine& line) {
    return {&line.process, &line.part, &line.test, &line.requirement};
  }

  double Requirements(double y) {
    constexpr double kNumbers[] = {650, 720, 780, 846};
    const auto places = TextPlaces();
    for (std::size_t c = 0; c < 4; ++c) {
      sheet_->Text(places[c], y, "th", "start", kTitles[c]);
      sheet_->Text(kNumbers[c], y, "th", "end", kTitles[c + 4]);
    }
    y += 6.0;
    sheet_->Line(14, y, 986, y, "tick");
    const std::size_t shown = std::min(view_.requirements.size(), kMostLines);
    for (std::size_t i = 0; i < shown; ++i) {
      const auto& line = view_.requirements[i];
      y += 18.0;
      const std::string numbers[] = {
          std::to_string(line.count.expected), std::to_string(line.count.collected),
          std::to_string(line.count.missed), Fixed(line.count.Percent(), 1)};
      for (std::size_t c = 0; c < 4; ++c) {
        sheet_->Text(places[c], y - 4, "", "start",
                     FittingText(*TextsOf(line)[c], places[c + 1] - places[c] - 10.0));
        sheet_->Text(kNumbers[c], y - 4, "", "end", numbers[c]);
      }
      const double share = std::clamp(line.count.Percent(), 0.0, 100.0) / 100.0;
      if (line.count.expected != 0) {
        sheet_->Rectangle(860, y - 13, 126, 10, "not");
        sheet_->Rectangle(860, y - 13, 126 * share, 10, "got", CountText(line.count));
      }
      sheet_->Line(14, y, 986, y, "grid");
    }
    if (shown < view_.requirements.size()) {
      y += 16.0;
      sheet_->Text(14, y - 2, "s", "start",
                   "and " + std::to_string(view_.requirements.size() - shown) + " more");
    }
    return y;
  }

  double Map(const HeatMap& map, double y) {
    constexpr double kLeft = 70.0, kHeight = 24.0;
    sheet_->Text(14, y, "t", "start", FittingText(map.process, 900.0));
    y += 20.0;
    const double width = std::min(
        (986.0 - kLeft) / static_cast<double>(std::max<std::size_t>(map.days.size(), 1)), 96.0);
    const std::size_t step = LabelStep(map.days.size(), width, 5 * kDigit + 8.0);
    for (std::size_t day = 0; day < map.days.size(); day += step) {
      const std::string& text = map.days[day];
      // The year where there is room for it.
      const bool whole = width * static_cast<double>(step) > 10 * kDigit + 8.0;
      sheet_->Text(kLeft + width * (static_cast<double>(day) + 0.5), y, "s", "middle",
                   whole || text.size() < 10 ? text : text.substr(5));
    }
    y += 5.0;
    for (std::size_t shift = 0; shift < map.shifts.size(); ++shift, y += kHeight) {
      sheet_->Text(kLeft - 8, y + kHeight / 2 + 4, "s", "end", map.shifts[shift]);
      for (std::size_t day = 0; day < map.days.size(); ++day)
        Cell(map, shift, day, kLeft + width * static_cast<double>(day), y, width, kHeight);
    }
    return y;
  }

  void Cell(const HeatMap& map, std::size_t shift, std::size_t day, double x, double y,
            double width, double height) {
    const auto& cell = map.At(shift, day);
    const std::string where = map.process + ", " + map.days[day] + " from " + map.shifts[shift];
    if (!cell || cell->expected == 0) {
      sheet_->Rectangle(x + 0.5, y + 0.5, width - 1, height - 1, "h0",
                        where + ": nothing expected");
      return;
    }
    const Step& step = StepOf(cell->Percent());
    sheet_->Rectangle(x, y, width, height, step.style, where + ": " + CountText(*cell));
    const std::string text = Fixed(cell->Percent(), 0);
    if (kDigit * static_cast<double>(text.size()) + 4.0 > width) return;
    const bool dark = step.from < 75.0;
    sheet_->Text(x + width / 2, y + height / 2 + 4, dark ? "v" : "", "middle", text);
  }

  double Legend(double y) {
    double x = 14.0;
    const auto entry = [&](const char* style, const std::string& text) {
      sheet_->Rectangle(x, y - 10, 16, 12, style);
      sheet_->Text(x + 22, y, "s", "start", text);
      x += 40.0 + kCharacter * static_cast<double>(Width(text));
    };
    sheet_->Text(x, y, "s", "start", "percent collected of what fell due in the shift:");
    x += 300.0;
    for (const auto& step : kSteps) entry(step.style, step.text);
    entry("h0", "nothing expected");
    return y + 4.0;
  }

  const ComplianceView& view_;
  SvgSheet* sheet_ = nullptr;
};

using Rows = std::vector<std::vector<std::string>>;

void Cut(Page& page, const Rows& rows, std::size_t all) {
  if (rows.size() < all)
    page.Paragraph("sub", "and " + std::to_string(all - rows.size()) + " more");
}

void Samples(Page& page, const ComplianceView& view) {
  Rows rows;
  for (std::size_t i = 0; i < view.lines.size() && i < kMostRows; ++i) {
    const auto& line = view.lines[i];
    rows.push_back({line.start, Fixed(line.minutes, 1), line.process, line.part, line.test,
                    line.state, line.requirement, std::to_string(line.count.expected),
                    std::to_string(line.count.collected), std::to_string(line.count.missed),
                    line.count.expected == 0 ? "" : Fixed(line.count.Percent(), 1)});
  }
  page.Heading("Samples in each stay");
  page.Table({"@from (UTC)", "#minutes", "process", "part", "test", "state", "requirement",
              "#expected", "#collected", "#missed", "#percent"},
             rows);
  Cut(page, rows, view.lines.size());
}

void Values(Page& page, const ComplianceView& view) {
  Rows rows;
  std::size_t all = 0;
  const auto figure = [](double value, int digits) {
    return std::isfinite(value) ? Significant(value, digits) : std::string();
  };
  for (const auto& line : view.lines) {
    if (line.values == 0 || ++all > kMostRows) continue;
    rows.push_back({line.start, line.process, line.part, line.test, std::to_string(line.values),
                    figure(line.least, 8), figure(line.mean, 8), figure(line.most, 8),
                    figure(line.deviation, 6), figure(line.pp, 4), figure(line.ppk, 4),
                    figure(line.outside, 4)});
  }
  if (rows.empty()) return;
  page.Heading("Values in each stay");
  page.Table({"@from (UTC)", "process", "part", "test", "#values", "#least", "#mean", "#most",
              "#deviation", "#Pp", "#Ppk", "#% out of specification"},
             rows);
  Cut(page, rows, all);
}

}  // namespace

std::string RenderComplianceSvg(const ComplianceView& view, bool embedded) {
  return Picture(view).Write(embedded);
}

std::string RenderComplianceHtml(const ComplianceView& view) {
  Page page(view.title);
  page.Paragraph("sub", view.subtitle);
  page.Add(RenderComplianceSvg(view, true));
  for (const auto& note : view.notes) page.Paragraph("note", note.Sentence());
  if (view.Empty()) return page.Text();
  Samples(page, view);
  Values(page, view);
  return page.Text();
}

}  // namespace orvspc::render
