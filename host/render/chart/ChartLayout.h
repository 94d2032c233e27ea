// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/render/chart/Chart.h"
#include "host/render/core/Numbers.h"

// What text and pictures of a chart derive from its view, and the places of things in the picture;
// kept apart from the writing so that it can be tested.
namespace orvspc::render {

// The lines of a graph with their names, limits first.
struct NamedLine {
  const char* name;
  const std::vector<double>& values;
  bool specification;
};
std::array<NamedLine, 6> LinesOf(const GraphView& graph);
// One of its values with the graph's decimals, of specifications with no more than it has.
std::string LineText(const NamedLine& line, double value, const GraphView& graph);

// Comments that are listed below a picture.
inline constexpr std::size_t kMaxComments = 12;

// The place of each point on the horizontal axis, from 0: its own number, or that of its group.
std::vector<std::size_t> Places(const ChartView& view);

// Rules that some point broke, with the number of points, by number.
struct RuleCount {
  Rule rule;
  std::size_t points = 0;
};
std::map<std::int32_t, RuleCount> RulesBroken(const ChartView& view);

// "1,5": numbers of the rules of a mark; empty if only a specification is broken.
std::string RuleNumbers(const PointMark& mark);
// "1 point beyond a control limit; above USL"
std::string MarkText(const PointMark& mark);

// "2024-03-01T05:00:00 to 2024-03-01T06:00:00"
std::string TimeText(const Downtime& down);

// Distinct marks for points and legends: "A" to "Z", "AA", ...
std::string StreamLetter(std::size_t stream);

// How the points' times are written on an axis: only the parts in which they differ, the year too
// where there are several.
class AxisTimes {
 public:
  explicit AxisTimes(const ChartView& view);
  std::string Text(std::int64_t stamp) const;

 private:
  static constexpr std::size_t kYear = 4, kDay = 10, kMinute = 16;  // ends of parts of an ISO time
  std::size_t from_ = 0, to_ = kMinute;
};

// For each stream, by number, the newest value of a line, in its newest phase; NaN for a stream
// without any.
std::vector<double> NewestValues(const ChartView& view, const std::vector<double>& line);

// The lowest and highest value that a graph's axis shows. Specification lines count only while they
// leave the points at least a third of the height.
Range AxisRange(const GraphView& graph);

// The points of each stream, ascending: every point once.
std::map<std::int32_t, std::vector<std::size_t>> PointsOfStreams(const ChartView& view);

// The plot's edges unless the labels beside it need more room.
inline constexpr double kPlotLeft = 72.0;
inline constexpr double kPlotRight = 872.0;

// One graph's rectangle and its axis.
struct Panel {
  double title = 0.0;  // y of the title
  double names = 0.0;  // height of the names of phases above the top
  double top = 0.0, bottom = 0.0;
  Range range;

  double Y(double value) const {
    return bottom - (value - range.low) / (range.high - range.low) * (bottom - top);
  }
};

struct Layout {
  double height = 0.0;
  double left = kPlotLeft, right = kPlotRight;
  double axis = 0.0;    // y of the horizontal axis below the last panel
  double footer = 0.0;  // y of the first footer line
  std::size_t places = 0;
  std::vector<Panel> panels;

  double PlaceWidth() const {
    return (right - left) / static_cast<double>(places == 0 ? 1 : places);
  }
  double X(std::size_t place) const {
    return left + (static_cast<double>(place) + 0.5) * PlaceWidth();
  }
};

Layout MakeLayout(const ChartView& view, double header, std::size_t footer_lines);

// Values of the vertical axis that carry a label.
Ticks PanelTicks(const Panel& panel);

// Whether the caption is beside the title. Where it is not, its lines are below the whole
// picture, so that what is plotted lies at the same place whatever there is to say about it.
bool CaptionFits(const GraphView& graph);
std::vector<std::string> CaptionLines(const GraphView& graph);

// The value of a line where it ends, "UCL 13.00"; where streams differ "A UCL 13.00" for each of
// them. Lines of more than kLabelledStreams values have none.
inline constexpr std::size_t kLabelledStreams = 3;
struct LimitLabel {
  double value = 0.0;
  std::string text;
  std::string style;
};
std::vector<LimitLabel> LimitLabels(const ChartView& view, const GraphView& graph);

// A rule number that wants its place above or below its point.
struct Tag {
  double x = 0.0, y = 0.0;  // of the point
  double clear = 8.0;       // distance from the point
  bool above = true;        // the side that is tried first
  std::string text;         // what must have room
  std::string whole;        // what is shown where that has room too
};
struct PlacedTag {
  double x = 0.0, y = 0.0;  // middle of the text's base line
  std::string text;
};
// Those that find room, the first ones first: inside the panel, off the other numbers and, if there
// is a choice, off the points (sorted by x).
std::vector<PlacedTag> PlaceTags(const std::vector<Tag>& tags,
                                 const std::vector<std::pair<double, double>>& points,
                                 const Layout& layout, const Panel& panel);

struct Box {
  double left = 0.0, top = 0.0, right = 0.0, bottom = 0.0;
  bool Meets(const Box& other) const {
    return left < other.right && other.left < right && top < other.bottom && other.top < bottom;
  }
};
// The box of a placed tag.
Box BoxOf(const PlacedTag& tag);

// A text near its point: the number of a comment, the codes of an alarm.
struct Remark {
  double x = 0.0, y = 0.0;  // of the point
  double width = 0.0, height = 0.0;
  bool beside = false;  // rather to the right or the left of the point than above or below it
};
// Where each finds room, the first ones first: inside the panel, off the points (sorted by x), off
// what is taken already and off each other, also with the line from the point to it; rather off the
// lines. Nothing where there is no such room. Adds what it places to what is taken.
std::vector<std::optional<Box>> PlaceRemarks(const std::vector<Remark>& remarks,
                                             std::vector<Box>& taken,
                                             const std::vector<std::pair<double, double>>& points,
                                             const std::vector<Polyline>& lines,
                                             const Layout& layout, const Panel& panel);
// The line from a point to its remark: a box as narrow as the line.
Box LeadOf(const Remark& remark, const Box& box);

// The place of a time on the horizontal axis, which has a place for each point: between two points
// as their times say. Empty where times do not ascend.
class TimePlaces {
 public:
  TimePlaces(const ChartView& view, const std::vector<std::size_t>& places);
  bool Empty() const { return times_.empty(); }
  // In places, from half a place before the first point to half a place behind the last one.
  double Of(std::int64_t time) const;

 private:
  std::vector<std::int64_t> times_;  // of each place
};

// breaks_at_phases: nothing joins limits of two phases.
//
// Runs of a limit line: it goes on level over a point's place, steps to the next point's value if
// that point follows directly in the same stream, and ends where a value is missing.
std::vector<Polyline> StepLines(const ChartView& view, const std::vector<std::size_t>& places,
                                const std::vector<double>& values, const Layout& layout,
                                const Panel& panel, bool breaks_at_phases = true);

}  // namespace orvspc::render
