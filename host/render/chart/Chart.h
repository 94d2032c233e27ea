// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "chart/CCProcessing.h"
#include "chart/CCResults.h"
#include "host/render/core/ResolvedOption.h"
#include "host/render/core/Scene.h"
#include "host/render/core/Words.h"
#include "host/render/data/DataReading.h"
#include "platform/Dom.h"
#include "platform/LimitTable.h"
#include "platform/Reports.h"
#include "select/DataSelect.h"

// Charts: the view, which is what the renderers draw, and the document, which has everything that a
// result object can give, read once into plain values, so that pictures and JSON need no cursor.
//
// There is no library object behind a view, so that a renderer can be fed by hand. Vectors "one a
// point" are as long as ChartView::stamps, or empty. Texts are as PlainText leaves them: the
// terminal's renderer writes them as they are.
namespace orvspc::render {

struct Rule {
  std::int32_t number = 0;
  std::string text;  // empty: not known
};

// Why a point asks for attention. At least one of the two lists has an entry.
struct PointMark {
  std::size_t point = 0;                    // from 0
  std::vector<Rule> rules;                  // run rules, the most important first
  std::vector<std::string> specifications;  // "above USL", "outside LSL"
};

// Three lines of one value a point each; NaN where there is none, so a line may step or break.
struct LineSet {
  std::vector<double> upper, centre, lower;
  bool Empty() const { return upper.empty() && centre.empty() && lower.empty(); }
};

struct GraphView {
  std::string title;                 // "X-bar: subgroup mean"
  std::string symbol;                // short, for axes and tables: "X-bar"
  std::string caption;               // what the limits rest on; empty if there is nothing to say
  std::vector<double> points;        // NaN: no value, the line breaks there
  std::vector<std::int32_t> sizes;   // pieces behind each point
  LineSet limits;                    // UCL, CL, LCL in force
  LineSet specification;             // USL, target, LSL
  std::vector<LineSet> provisional;  // of limits that are proposed and wait for more points
  std::vector<PointMark> marks;      // by point
  int decimals = 4;                  // of a limit's value
  int point_decimals = -1;           // of a point's value; -1: as of a limit's
  bool from_zero = false;            // never negative: the axis does not go below 0

  // The value of a point as it is shown.
  std::string PointText(std::size_t point) const;
};

// One (part, process, test). Points of different streams are never joined by a line.
struct StreamView {
  std::string name;
  Estimate mean, sp, sw;
};

// A text of people at a point: a comment, or the cause and the action of an alarm.
struct PointNote {
  std::size_t point = 0;  // from 0
  std::string text;
  std::int64_t id = 0;  // number of the comment; 0: not known, or of an alarm
};

// A stretch in which the process did not run, stamps; without an end, which is not known, it ends
// where it starts.
struct Downtime {
  std::int64_t start = 0, end = 0;
  std::string state;

  bool HasEnd() const { return start < end; }
};

// A stretch of the points of one stream in one phase, or between two.
struct PhaseView {
  std::string name, kind;           // empty: no phase
  std::int32_t stream = 0;          // index into stream_views
  std::size_t first = 0, last = 0;  // of its points, inclusive; of other streams some between them
  std::size_t subgroups = 0, used = 0;
  bool is_excluded = false;  // drawn, used for nothing
  Estimate mean, sp;
};

struct GroupView {
  std::size_t first = 0, last = 0;  // points, inclusive
  std::int32_t id = 0;
};

struct ChartView : View {
  std::vector<std::int64_t> stamps;     // seconds since 1970 UTC, one a point
  std::vector<std::int32_t> subgroups;  // their numbers, 0 and below: not known; empty: none is
  std::vector<std::int32_t> streams;    // index into stream_views, one a point; empty: all the same
  std::vector<std::int32_t> flags;      // 0 used, 1 disabled, 2 incomplete; empty: all used
  std::vector<std::size_t> left_out;    // points that control limits were made without, ascending
  std::vector<GraphView> graphs;
  std::vector<StreamView> stream_views;
  std::vector<GroupView> groups;  // empty: no grouping; else the points of a group share a place
  std::vector<PointNote> comments, codes;           // by point
  std::vector<Downtime> downtimes;                  // ascending
  std::function<SubgroupTexts(std::size_t)> texts;  // of a point; empty: none is known

  std::vector<PhaseView> phases;       // by stream, then time; empty: there are none
  std::vector<std::int32_t> phase_of;  // index into these, one a point
  // Whether the limits in force are from before the phase began, one a point; empty: nowhere.
  std::vector<bool> older_limits;
  std::vector<bool> excluded;  // points of excluded phases; empty: none is

  // "#4711", as changes and comments name the subgroup; by its place, "point 19", where that is not
  // known.
  std::string NameOf(std::size_t point) const {
    return HasNumber(point) ? "#" + std::to_string(subgroups[point])
                            : "point " + std::to_string(point + 1);
  }
  bool HasNumber(std::size_t point) const {
    return point < subgroups.size() && subgroups[point] > 0;
  }
  SubgroupTexts TextsOf(std::size_t point) const { return texts ? texts(point) : SubgroupTexts(); }
  std::size_t Count() const { return stamps.size(); }
  std::int32_t StreamOf(std::size_t point) const { return streams.empty() ? 0 : streams[point]; }
  std::int32_t PhaseOf(std::size_t point) const { return phases.empty() ? 0 : phase_of[point]; }
  bool IsExcluded(std::size_t point) const { return !excluded.empty() && excluded[point]; }
  bool IsLeftOut(std::size_t point) const { return std::ranges::binary_search(left_out, point); }
  bool Used(std::size_t point) const {
    return (flags.empty() || flags[point] == 0) && !IsExcluded(point);
  }
};

// embedded: for use inside a page, without title lines and notes.
Scene ChartScene(const ChartView& view, bool embedded = false);
inline std::string RenderChartSvg(const ChartView& view, bool embedded = false) {
  return WriteSvg(ChartScene(view, embedded));
}
// The picture, the estimates with where they come from, the marked points with the rules' texts,
// every point with all that was typed, the notes.
std::string RenderChartHtml(const ChartView& view);
// The chart drawn with characters, the limits' values beside it, below it the marked points with
// the rules' texts, comments, the estimates and the notes.
std::string RenderChartText(const ChartView& view, const TextOptions& options = {});

// The run rules that points break. Most points break none and take no room here.
struct BrokenRules {
  std::size_t points = 0;                       // of the graph
  std::map<std::size_t, std::vector<Rule>> at;  // by point
};

// An array that the result does not have is empty.
struct GraphRead {
  std::int32_t index = 1;  // 1 to 3
  std::int32_t type = 0;   // as the result answers
  std::vector<std::int32_t> sg_sizes, c_oocs, oocs, ooss, a_flags, e_flags;
  std::vector<double> points, usls, targets, lsls, c_ucls, c_cls, c_lcls, ucls, cls, lcls;
  BrokenRules c_rules, rules;
};

// take(name, member, getter) for each array of numbers: its name in documents, in their order,
// where it is kept, and how the result answers it.
template <class Take>
void ForEachArray(Take take) {
  take("SGSizes", &GraphRead::sg_sizes, &CCGraphData::GetSizes);
  take("Points", &GraphRead::points, &CCGraphData::GetPoints);
  take("cOOCs", &GraphRead::c_oocs, &CCGraphData::GetcOOCs);
  take("OOCs", &GraphRead::oocs, &CCGraphData::GetOOCs);
  take("OOSs", &GraphRead::ooss, &CCGraphData::GetOOSs);
  take("AFlags", &GraphRead::a_flags, &CCGraphData::GetAFlags);
  take("EFlags", &GraphRead::e_flags, &CCGraphData::GetEFlags);
  take("USLs", &GraphRead::usls, &CCGraphData::GetUSLs);
  take("Targets", &GraphRead::targets, &CCGraphData::GetTargets);
  take("LSLs", &GraphRead::lsls, &CCGraphData::GetLSLs);
  take("cUCLs", &GraphRead::c_ucls, &CCGraphData::GetcUCLs);
  take("cCLs", &GraphRead::c_cls, &CCGraphData::GetcCLs);
  take("cLCLs", &GraphRead::c_lcls, &CCGraphData::GetcLCLs);
  take("UCLs", &GraphRead::ucls, &CCGraphData::GetUCLs);
  take("Cls", &GraphRead::cls, &CCGraphData::GetCLs);
  take("LCLs", &GraphRead::lcls, &CCGraphData::GetLCLs);
}

// A row of a limit table: column and value, in the table's order.
using LimitRow = std::vector<std::pair<std::string, platform::Cell>>;

struct ChartRead {
  std::shared_ptr<CCProcessing> processing;  // null in a stored result that has none; so is select
  std::shared_ptr<DataSelect> select;
  SubgroupsRead subgroups;
  double mean_estimate = 0.0, sp_estimate = 0.0, sw_estimate = 0.0;
  std::vector<GraphRead> graphs;
  std::vector<LimitRow> spec_lims, ctrl_lims, def_opps;

  // A stored result keeps no limit rows; an empty table then says nothing.
  bool tables_known = true;
  // Decimals that mean something by the specification limits, the most of their rows.
  std::optional<int> decimals;
  std::vector<GroupView> groups;  // one a point without grouping

  bool Grouped() const { return processing && processing->GroupBy() != ccGroupByNone; }
};
// Leaves nothing in the result that XML could still write; write that first. The last reference to
// a result may be moved in: it then goes before everything is read, which spares memory.
ChartRead ReadChart(CCResults& results);
ChartRead ReadChart(std::shared_ptr<CCResults> results);

// The number or date in the cell of that column; 0 without one.
double NumberOf(const LimitRow& row, std::string_view column);

// Words of the command line and of documents for the types of graphs 1, 2 and 3.
inline constexpr Word kGraph1Words[] = {{"auto", ccGraph1BestGuessVariable},
                                        {"xbar", ccGraph1XBar},
                                        {"median", ccGraph1XMed},
                                        {"individuals", ccGraph1Ix},
                                        {"moving-average", ccGraph1Ma},
                                        {"pre-control", ccGraph1Pc},
                                        {"auto-attribute", ccGraph1BestGuessAttribute},
                                        {"ppt", ccGraph1Ppt},
                                        {"dpto", ccGraph1Dpto},
                                        {"ppm", ccGraph1Ppm},
                                        {"dpmo", ccGraph1Dpmo},
                                        {"np", ccGraph1Np},
                                        {"p", ccGraph1P},
                                        {"c", ccGraph1C},
                                        {"u", ccGraph1U}};
inline constexpr Word kGraph2Words[] = {{"none", ccGraph2None},
                                        {"range", ccGraph2Range},
                                        {"sd", ccGraph2Sd},
                                        {"mr", ccGraph2Mr},
                                        {"cv", ccGraph2Cv}};
inline constexpr Word kGraph3Words[] = {
    {"none", ccGraph3None}, {"range", ccGraph3Range}, {"sd", ccGraph3Sd}};
// The word for such a type; its number when it has none.
std::string GraphWord(std::int32_t graph, std::int32_t type);

inline constexpr std::int32_t kNotKnown = -1;

// A chart with what the engine reported beside it.
struct ChartDocument : ChartReport {
  ChartRead chart;
  std::int32_t requested[3] = {0, 0, 0};  // graph types that were asked for, or kNotKnown
  std::vector<Note> notes;
  std::vector<Downtime> downtimes;  // of the only process, ascending
  // Of each of the streams of the report, what was chosen in place of a default; empty: nothing.
  std::vector<std::vector<ResolvedOption>> options;
  // Of each point whether it lies in an excluded phase, also where phases are taken together;
  // empty: as the phases say.
  std::vector<bool> excluded;
};

std::string ChartJson(const ChartDocument& document, const Names& names);

std::string ProcessingText(const CCProcessing& processing, const TextOptions& options = {});

// Members of an open object.
void WriteProcessing(JsonWriter& json, const CCProcessing& processing);
void WriteGraphs(JsonWriter& json, const ChartDocument& document);

// What the renderers draw of a chart: the limits in force with the marks against them, titled by
// what was asked for. Moves the points out of the document, which is large where they are many.
ChartView MakeChartView(ChartDocument document, const Names& names);

// "the upper specification limit (USL)" and so on for every bit that is set.
std::vector<std::string> SpecificationTexts(std::int32_t flags);

// A chart result as its XML gives it. Names, rule texts, groups and tables are not in the text;
// what a picture needs of them is worked out again: groups from the settings and the rows, the
// meaningful decimals from the text itself. Throws Failure as CCResults.SetXMLNode does, and with
// the graph and the list where a list has another length than there are subgroups.
ChartDocument ReadStoredChart(const platform::XmlNode& root);

}  // namespace orvspc::render
