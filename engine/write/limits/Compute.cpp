// SPDX-License-Identifier: Apache-2.0
#include "engine/write/limits/Compute.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <set>
#include <utility>

#include "engine/charts/AttributeRun.h"
#include "engine/charts/VariableRun.h"
#include "engine/chunks/StreamWalk.h"
#include "engine/chunks/subgroups.h"
#include "engine/write/limits/WindowStore.h"
#include "engine/write/record_rules.h"
#include "platform/Actor.h"
#include "platform/ChartWord.h"
#include "platform/Enumerations.h"
#include "system/Sha256.h"

namespace orvspc::engine::limits {
namespace {

using platform::ArrayRef;
using platform::ChartData;

constexpr std::int32_t kNeeded = 5;   // below, nothing is computed
constexpr std::int32_t kEnough = 20;  // subgroups of several pieces, or of counts
constexpr std::int32_t kEnoughSingles = 25;
constexpr std::int32_t kSilent = 15;  // points at the end without a signal
constexpr int kMaxRounds = 10;
constexpr std::int32_t kLeastAfterScreening = 15;
constexpr double kLeastShareAfterScreening = 0.8;

struct Point : PointOfWindow {
  bool used = false;
};

// One chart of the window, taken out of its run.
struct Chart {
  std::int32_t word = 0;
  std::vector<Point> points;
  charts::StreamEstimates estimates;
  statistics::Rate rate;  // of counts
  bool counts = false, single_pieces = false;
  std::array<std::vector<std::uint32_t>, 3> marks;  // of the graphs, all rules
  std::array<bool, 3> judges{};  // whether a point of the graph can be a candidate
  std::vector<LimitLines> lines;
  catalogue::LimitFigures figures;
  std::string digest;

  std::int32_t Used() const { return static_cast<std::int32_t>(estimates.mean_used); }
};

void AddNumber(system::Sha256& sha, std::uint64_t value) {
  std::array<std::byte, 8> bytes{};
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = static_cast<std::byte>(value >> (8 * i));
  }
  sha.Add(bytes);
}
void AddNumber(system::Sha256& sha, double value) {
  AddNumber(sha, std::bit_cast<std::uint64_t>(value));
}
void AddNumber(system::Sha256& sha, std::int32_t value) {
  AddNumber(sha, static_cast<std::uint64_t>(static_cast<std::int64_t>(value)));
}

// Of the subgroups that count: time, inspected size and values. Nothing in it is an identifier.
std::string DigestOf(const store::DataSet& data, std::size_t end) {
  system::Sha256 sha;
  sha.Add("orvspc-limits-1");
  for (std::size_t i = 0; i < end; ++i) {
    if (data.subgroups[i].Flag != sfEnabled) continue;
    const auto rows = store::RowsOf(data, i);
    AddNumber(sha, data.subgroups[i].Sgtm);
    AddNumber(sha, data.SizeOf(i));
    AddNumber(sha, static_cast<std::uint64_t>(rows.count));
    for (std::size_t row = 0; row < rows.count; ++row) {
      const auto at = rows.begin + row;
      const auto key = data.keys.empty() ? store::PlainKey(row) : data.keys[at];
      AddNumber(sha, key.Tsno);
      AddNumber(sha, key.Sbno);
      AddNumber(sha, data.values[at]);
    }
  }
  return system::HexOf(sha.Finish());
}

template <class T, class Run>
std::vector<T> Column(Run& run, std::size_t count, ChartData code, std::int32_t graph) {
  std::vector<T> column(count);
  const ArrayRef array{column.data(), sizeof(T), column.size()};
  if (run.Deliver(array, code, graph) == 0) column.clear();
  return column;
}

// The lines of a graph at the newest point that counts.
template <class Run>
LimitLines LinesOf(Run& run, const Chart& chart, std::int32_t graph) {
  LimitLines lines;
  lines.graph = graph;
  constexpr std::pair<ChartData, double LimitLines::*> kLines[] = {
      {ChartData::cCLs, &LimitLines::centre},
      {ChartData::cUCLs, &LimitLines::upper},
      {ChartData::cLCLs, &LimitLines::lower}};
  for (const auto& [code, line] : kLines) {
    const auto column = Column<double>(run, chart.points.size(), code, graph);
    bool is_newest = true;
    for (auto i = column.size(); i-- > 0;) {
      if (!chart.points[i].used) continue;
      if (is_newest) lines.*line = column[i];
      is_newest = false;
      const bool both = std::isnan(column[i]) && std::isnan(lines.*line);
      lines.differ = lines.differ || (column[i] != lines.*line && !both);
    }
  }
  return lines;
}

template <class Run>
void TakeOut(Run& run, Chart& chart) {
  for (const auto& subgroup : run.Rows().Data().subgroups) {
    chart.points.push_back({{subgroup.Sgrp, subgroup.Sgtm}, subgroup.Flag == sfEnabled});
  }
  chart.digest = DigestOf(run.Rows().Data(), run.Rows().Data().subgroups.size());
  chart.estimates = run.EstimatesOf(0);
  for (std::int32_t graph = 1; graph <= run.Plan().GraphCount(); ++graph) {
    const auto at = static_cast<std::size_t>(graph) - 1;
    const auto kind = run.Plan().KindOf(at);
    if (kind == charts::ChartKind::None) continue;
    // Moving ranges are not screened: a large one has two points, of which one may be good.
    chart.judges[at] =
        kind != charts::ChartKind::MovingRange && kind != charts::ChartKind::PreControl;
    if (kind != charts::ChartKind::PreControl) chart.lines.push_back(LinesOf(run, chart, graph));
    for (const auto marks :
         Column<std::int32_t>(run, chart.points.size(), ChartData::cOOCs, graph)) {
      chart.marks[at].push_back(static_cast<std::uint32_t>(marks));
    }
  }
}

// What a row of limits of this chart needs beside mean and sigmas.
catalogue::LimitFigures FiguresOf(const charts::ChartPlan& plan,
                                  const charts::StreamEstimates& estimates, bool single_pieces) {
  catalogue::LimitFigures figures;
  figures.average_size = estimates.mean_size;
  figures.sp_bar = estimates.sp.sbar;
  figures.sw_bar = estimates.sw.sbar;
  if (plan.SigmaFromPoints() && !single_pieces) {
    figures.within = estimates.within.value;
    figures.within_bar = estimates.within.sbar;
  }
  if (estimates.own_moving) figures.moving = estimates.moving.value;
  if (estimates.gamma.Exists()) figures.gamma = estimates.gamma.value;
  return figures;
}

Chart VariableChart(store::Store& store, Window window, std::int32_t word) {
  Chart chart;
  charts::VariableRun run;
  run.JoinPhases();
  API_CCVarOptions options{};
  options.ChartWord = word;
  options.Constant = 2;
  chart.word = run.Process(store, window.info, window.filter, options);
  if (chart.word == 0) return chart;
  TakeOut(run, chart);
  std::int32_t largest = 0;
  for (std::size_t i = 0; i < chart.points.size(); ++i) {
    if (!chart.points[i].used) continue;
    // The pieces of a subgroup, whatever readings they have.
    store::PieceReader reader(run.Rows().Data());
    largest = std::max(largest, static_cast<std::int32_t>(reader.Pieces(i).size()));
  }
  chart.single_pieces = largest <= 1;
  chart.figures = FiguresOf(run.Plan(), chart.estimates, chart.single_pieces);
  return chart;
}

Chart CountChart(store::Store& store, Window window, std::int32_t word) {
  Chart chart;
  chart.counts = true;
  charts::AttributeRun run;
  run.JoinPhases();
  chart.word = run.Process(store, window.info, window.filter, {word, 0, 0.0});
  if (chart.word == 0) return chart;
  TakeOut(run, chart);
  chart.rate = run.RateOf(0);
  chart.figures.numerator = chart.rate.numerator;
  chart.figures.denominator = chart.rate.denominator;
  chart.figures.average_size = chart.estimates.mean_size;
  return chart;
}

std::string NameOf(store::Store& store, const LimitRequest& request) {
  return store.StreamName(request.part, request.process, request.test);
}

const store::Stream* StreamOf(store::SqlStore& store, const store::StreamIds& ids) {
  const auto& streams = store.Cache().streams;
  const auto found = std::ranges::find_if(streams, [&](const store::Stream& each) {
    return store::StreamIds{each.part, each.process, each.test} == ids;
  });
  return found == streams.end() ? nullptr : &*found;
}

// With the stream that it means where it leaves part, process or test open.
LimitRequest OfOneStream(store::SqlStore& store, LimitRequest request) {
  if (request.part != 0 && request.process != 0 && request.test != 0) return request;
  std::vector<store::StreamIds> fitting;
  for (const auto& stream : store.Cache().streams) {
    const auto fits = [](std::int32_t asked, std::int32_t id) { return asked == 0 || asked == id; };
    if (fits(request.part, stream.part) && fits(request.process, stream.process) &&
        fits(request.test, stream.test)) {
      fitting.push_back({stream.part, stream.process, stream.test});
    }
  }
  if (fitting.size() != 1) {
    throw Refused(fitting.empty() ? "unknown" : "several", "window", std::to_string(fitting.size()),
                  fitting.empty()
                      ? std::string("limits: there are no values of that part, process and test")
                      : "limits: " + std::to_string(fitting.size()) + " streams fit (" +
                            store.StreamName(fitting[0].part, fitting[0].process, fitting[0].test) +
                            ", ...); name one by its process");
  }
  request.part = fitting[0].part;
  request.process = fitting[0].process;
  request.test = fitting[0].test;
  return request;
}

// What the limits of a window are made of.
struct Basis {
  LimitRequest request;  // its window is that of the phase
  std::optional<Phase> phase;
  std::string warning;
};

Phase PhaseNamed(const std::vector<Phase>& phases, const std::string& name,
                 const std::string& stream) {
  const auto count = std::ranges::count(phases, name, &Phase::name);
  if (count == 1) return *std::ranges::find(phases, name, &Phase::name);
  throw Refused("unknown", "phase", name,
                "limits: " + stream +
                    (count == 0 ? " has no phase \"" + name + "\" with limits"
                                : " has " + std::to_string(count) + " phases \"" + name +
                                      "\"; name one by --since and --until"));
}

// The newest phase with subgroups of the window that count; its place among the phases.
std::optional<std::size_t> NewestPhase(store::SqlStore& store, const LimitRequest& request,
                                       const std::set<std::int32_t>& left_out,
                                       const std::vector<Phase>& phases, std::string& warning) {
  auto window = WindowOf({request.part, request.process, request.test},
                         request.since.value_or(INT32_MIN), request.until.value_or(INT32_MAX));
  WindowStore view(store, left_out, 0);
  store::DataSet data;
  if (!view.Select(window.info, window.filter, {}, data)) return std::nullopt;
  std::vector<std::int32_t> counts(phases.size());
  std::int32_t all = 0, first_counted = 0;
  for (const auto& subgroup : data.subgroups) {
    if (subgroup.Flag != sfEnabled) continue;
    if (all++ == 0) first_counted = subgroup.Sgtm;
    for (std::size_t p = 0; p < phases.size(); ++p) counts[p] += phases[p].Holds(subgroup.Sgtm);
  }
  const auto with_points = counts.size() - static_cast<std::size_t>(std::ranges::count(counts, 0));
  if (with_points == 0) {
    const auto before = std::find_if(phases.rbegin(), phases.rend(), [&](const Phase& phase) {
      return all != 0 && phase.start <= first_counted;
    });
    if (before != phases.rend()) {
      warning = "the window lies behind phase \"" + before->name +
                "\"; charts of it have the limits of that phase";
    }
    return std::nullopt;
  }
  const auto newest =
      static_cast<std::size_t>(counts.rend() -
                               std::ranges::find_if(counts.rbegin(), counts.rend(),
                                                    [](std::int32_t count) { return count != 0; }) -
                               1);
  if (counts[newest] != all) {
    warning = "newest of " + std::to_string(with_points) +
              (with_points == 1 ? " phase, " : " phases, ") + std::to_string(counts[newest]) +
              " of " + std::to_string(all) + " subgroups: " + phases[newest].name;
  }
  return newest;
}

Basis BasisOf(store::SqlStore& store, const LimitRequest& asked,
              const std::set<std::int32_t>& left_out) {
  Basis basis{asked, {}, {}};
  auto& request = basis.request;
  if (request.all_phases) return basis;
  auto phases = store.Phases(request.part, request.process, request.test);
  std::erase_if(phases, [](const Phase& phase) { return !phase.Counts(); });
  if (!request.phase.empty()) {
    basis.phase = PhaseNamed(phases, request.phase, NameOf(store, request));
  } else if (const auto newest = NewestPhase(store, request, left_out, phases, basis.warning)) {
    basis.phase = phases[*newest];
  }
  if (!basis.phase) return basis;
  const auto& phase = *basis.phase;
  request.since = std::max(request.since.value_or(phase.start), phase.start);
  if (phase.finish) {
    request.until = std::min(request.until.value_or(INT32_MAX), *phase.finish - 1);
  }
  const auto frozen = phase.freeze_after;
  if (frozen == 0) return basis;
  request.since = phase.start;
  request.first = request.first == 0 ? frozen : std::min(request.first, frozen);
  return basis;
}

std::int32_t ResolvedTest(store::Store& store, const LimitRequest& request) {
  const auto type = store.TestType(request.test);
  const bool of_counts = type != ttVariable;
  const bool is_known =
      request.chart_word == 0 || (of_counts ? charts::IsAttributeWord(request.chart_word)
                                            : charts::IsVariableWord(request.chart_word));
  constexpr std::int32_t kPreControl = 5;
  if (platform::ChartCodesOf(request.chart_word).graph1 == kPreControl) {
    throw Refused("chart", "chart", std::to_string(request.chart_word),
                  "limits: a pre-control chart has the lines of its specification limits");
  }
  if (type != 0 && !is_known) {
    throw Refused("chart", "chart", std::to_string(request.chart_word),
                  NameOf(store, request) +
                      (of_counts ? " counts; its limits are those of a chart of counts"
                                 : " has values; its limits are those of a chart of values"));
  }
  return type;
}

Chart MakeChart(store::SqlStore& store, const LimitRequest& request,
                const std::set<std::int32_t>& left_out) {
  const auto window =
      WindowOf({request.part, request.process, request.test}, request.since.value_or(INT32_MIN),
               request.until.value_or(INT32_MAX));
  const auto notes = store::NoteCount();
  const auto type = ResolvedTest(store, request);
  WindowStore view(store, left_out, request.first, request.screen_mr,
                   type == ttVariable ? std::nullopt : std::optional(request.chart_word),
                   request.all_phases);
  auto chart = type == ttVariable ? VariableChart(view, window, request.chart_word)
                                  : CountChart(view, window, request.chart_word);
  // What the chart says of itself is none of these limits.
  store::KeepNotes(notes);
  if (chart.word == 0) {
    throw Refused("unknown", "window", "",
                  "limits: " + NameOf(store, request) + " has no subgroup in the window");
  }
  return chart;
}

std::uint32_t BitsOfLimits(store::Store& store) {
  std::uint32_t bits = 0;
  for (const auto& rule : store.Rules()) {
    if (rule.kind == statistics::NameOf(statistics::RuleKind::Limit)) {
      bits |= statistics::RuleBit(rule.number);
    }
  }
  return bits;
}

// The subgroups beyond a limit, by place: of the graphs of spread, or of all.
std::vector<std::size_t> CandidatesOf(const Chart& chart, std::uint32_t of_limits, bool all) {
  const auto beyond = [&](std::size_t graph, std::size_t i) {
    return chart.judges[graph] && chart.points[i].used && (chart.marks[graph][i] & of_limits) != 0;
  };
  std::vector<std::size_t> candidates;
  for (std::size_t i = 0; i < chart.points.size(); ++i) {
    if (beyond(1, i) || beyond(2, i) || (all && beyond(0, i))) candidates.push_back(i);
  }
  return candidates;
}

constexpr std::string_view kNoCause = "beyond a limit, no cause recorded";

// Why stored limits of the stream were made without a subgroup. Empty: none was.
std::string ExclusionOf(sql::Connection& db, const LimitRequest& request, std::int32_t subgroup) {
  constexpr std::string_view kExclusion = "exclusion: ";
  sql::Query query(db,
                   "SELECT e.reason FROM limit_exclusion e JOIN control_limit l "
                   "ON l.id = e.limit_row WHERE e.subgroup = ?1 AND l.part = ?2 "
                   "AND coalesce(l.process, ?3) = ?3 AND l.test = ?4 AND e.reason <> ?5 "
                   "AND l.status NOT IN ('rejected', 'void') ORDER BY l.id DESC LIMIT 1",
                   subgroup, request.part, request.process, request.test, kNoCause);
  if (!query.Step()) return {};
  std::string reason(query.Text(0));
  // That of an earlier screening says where it is from.
  for (const auto* const word : {"comment: ", "event: ", "exclusion: "}) {
    if (reason.starts_with(word)) return reason;
  }
  return std::string(kExclusion) + reason;
}

std::string Number(std::int32_t subgroup) { return "#" + std::to_string(subgroup); }

// Left out for a reason, as far as the screening may; the others are open.
struct Screened {
  std::vector<LimitExclusion> left_out;
  std::vector<std::int32_t> open;
};
Screened Screen(store::SqlStore& store, sql::Connection& db, const LimitRequest& request,
                const Chart& chart, const std::vector<std::size_t>& candidates) {
  const store::StreamIds stream{request.part, request.process, request.test};
  Screened result;
  for (const auto place : candidates) {
    const auto& point = chart.points[place];
    std::string reason;
    if (request.screening != LimitScreening::None) {
      // The first of the window, too, has a point before.
      const auto points = place == 0 ? PointsUpTo(db, StreamOf(store, stream)->id, point, 2)
                                     : std::vector<PointOfWindow>{point, chart.points[place - 1]};
      reason = CauseOf(db, stream, point, points.size() < 2 ? INT32_MIN : points[1].time);
      if (reason.empty()) reason = ExclusionOf(db, request, point.subgroup);
      if (reason.empty() && request.screening == LimitScreening::Every) reason = kNoCause;
    }
    if (reason.empty()) {
      result.open.push_back(point.subgroup);
    } else {
      result.left_out.push_back({point.subgroup, reason});
    }
  }
  return result;
}

void CheckExclusions(const Chart& chart, const Basis& basis) {
  for (const auto& each : basis.request.exclusions) {
    if (std::ranges::find(chart.points, each.subgroup, &Point::subgroup) == chart.points.end()) {
      throw Refused("window", "exclude", Number(each.subgroup),
                    "limits: " + Number(each.subgroup) + " lies outside the window" +
                        (basis.phase ? ", of which phase \"" + basis.phase->name + "\" is taken"
                                     : std::string()));
    }
  }
}

void CheckFigures(const Chart& chart) {
  if (chart.counts) {
    if (chart.rate.Exists()) return;
    throw Refused("limits", "size", "",
                  "limits: no subgroup that counts has a size, so there is no rate");
  }
  const bool has_sigma = chart.estimates.sp.value > 0.0 && chart.estimates.sw.value > 0.0;
  if (!std::isnan(chart.estimates.mean) && has_sigma) return;
  throw Refused("limits", "sigma", "",
                "limits: the values do not spread, or there is nothing to estimate sigma from");
}

std::string Listed(const std::vector<std::int32_t>& subgroups) {
  constexpr std::size_t kShown = 10;
  std::string text;
  for (std::size_t i = 0; i < std::min(subgroups.size(), kShown); ++i) {
    text += (i == 0 ? "" : " ") + Number(subgroups[i]);
  }
  if (subgroups.size() > kShown)
    text += " and " + std::to_string(subgroups.size() - kShown) + " more";
  return text;
}

std::vector<LimitSignal> SignalsOf(store::Store& store, const LimitRequest& request,
                                   const Chart& chart) {
  std::vector<LimitSignal> signals;
  for (std::size_t graph = 0; graph < chart.marks.size(); ++graph) {
    const auto number = static_cast<std::int32_t>(graph) + 1;
    const auto on = store.AlarmBits(request.part, request.process, request.test, number);
    for (std::size_t i = 0; i < chart.marks[graph].size(); ++i) {
      const auto marks = chart.marks[graph][i] & on;
      if (marks == 0) continue;
      LimitSignal signal{chart.points[i].subgroup, chart.points[i].time, number, {}};
      for (const auto& rule : store.Rules()) {
        if ((statistics::RuleBit(rule.number) & marks) != 0) signal.rules.push_back(rule.number);
      }
      signals.push_back(std::move(signal));
    }
  }
  return signals;
}

// The newest points that count have a signal.
bool SignalsAtTheEnd(const Chart& chart, const std::vector<LimitSignal>& signals) {
  std::set<std::int32_t> last;
  for (auto i = chart.points.size(); i-- > 0 && std::ssize(last) < kSilent;) {
    if (chart.points[i].used) last.insert(chart.points[i].subgroup);
  }
  return std::ranges::any_of(
      signals, [&](const LimitSignal& signal) { return last.contains(signal.subgroup); });
}

// What keeps the limits from being proposed, and what is to be known about them.
void Judge(const Basis& basis, const Chart& chart, const std::vector<std::int32_t>& open,
           bool out_of_control, LimitProposal& shown) {
  const auto minimum = basis.request.minimum;
  const auto frozen = basis.phase ? basis.phase->freeze_after : 0;
  const auto usual = chart.single_pieces && !chart.counts ? kEnoughSingles : kEnough;
  const auto enough = minimum > 0 ? minimum : frozen > 0 ? std::min(frozen, usual) : usual;
  if (!basis.warning.empty()) shown.warnings.push_back(basis.warning);
  if (frozen > 0) {
    shown.warnings.push_back("the limits of phase \"" + basis.phase->name +
                             "\" are frozen after its first " + std::to_string(frozen) +
                             " subgroups");
  }
  if (basis.request.screen_mr && chart.estimates.sp.name != statistics::kScreenedName &&
      chart.estimates.moving.name != statistics::kScreenedName) {
    shown.warnings.emplace_back("sigma is not that of moving ranges, so none was left out");
  }
  const auto count = std::to_string(shown.used) + " subgroups; ";
  if (shown.used < usual) {
    shown.warnings.push_back(count + "limits from fewer than " + std::to_string(usual) +
                             " change much with the next ones");
  }
  if (enough < usual) {
    shown.warnings.push_back(std::to_string(enough) + " subgroups are enough here, since the " +
                             (minimum > 0 ? "policy" : "phase") + " says so");
  }
  if (shown.used < enough) {
    shown.missing.push_back(count + std::to_string(enough) + " are needed");
  }
  if (out_of_control) {
    shown.missing.emplace_back("not in control: too many points lie beyond the limits");
  } else if (!open.empty()) {
    // A review leaves out by itself what has a cause.
    shown.missing.push_back(Listed(open) + (open.size() == 1 ? " lies" : " lie") +
                            " beyond a limit" +
                            (minimum > 0 ? ", no cause recorded"
                                         : "; leave out what has a cause (--exclude, --iterate)"));
  }
  if (SignalsAtTheEnd(chart, shown.signals)) {
    shown.missing.push_back("there are signals among the last " +
                            std::to_string(std::min(kSilent, shown.used)) + " points");
  }
}

}  // namespace

std::vector<PointOfWindow> PointsUpTo(sql::Connection& db, std::int64_t stream,
                                      const PointOfWindow& point, std::size_t count) {
  std::vector<PointOfWindow> points;
  store::StreamWalk(db, stream, false, INT32_MIN, point.time)
      .ForEach([&](const store::RecordView& record) {
        if (record.Subgroup() == point.subgroup) {
          points.push_back(point);
        } else if (!points.empty() && record.Flag() == sfEnabled) {
          points.push_back({record.Subgroup(), record.Time()});
        }
        return points.size() < count;
      });
  return points;
}

std::string CauseOf(sql::Connection& db, const store::StreamIds& stream, const PointOfWindow& point,
                    std::int32_t before) {
  {
    sql::Query comment(db,
                       "SELECT note FROM comment WHERE subgroup = ?1 AND (test IS NULL OR "
                       "test = ?2) ORDER BY id",
                       point.subgroup, stream.test);
    if (comment.Step()) return "comment: " + std::string(comment.Text(0));
  }
  // An alarm that nobody explained is what is to be explained. General events without a
  // name, and those of these names, come from changes of data and from reviews.
  sql::Query event(
      db,
      "SELECT coalesce(n.name, ''), coalesce(a.name, '') FROM event e "
      "LEFT JOIN event_name n ON n.id = e.name LEFT JOIN acc_code a ON a.id = e.acc "
      "WHERE coalesce(e.process, ?1) = ?1 AND coalesce(e.part, ?2) = ?2 "
      "AND coalesce(e.test, ?3) = ?3 AND (e.subgroup_time = ?4 OR (e.subgroup_time IS NULL "
      "AND e.time <= ?4 AND (e.time > ?5 OR e.finish > ?5))) "
      "AND (e.acc IS NOT NULL OR e.type = ?6 OR (e.type = ?7 AND n.name <> '' "
      "AND n.name NOT IN (?8, ?9, ?10))) ORDER BY e.time, e.id",
      stream.process, stream.part, stream.test, point.time, before, etDonwtime, etGeneral,
      kProposedEvent, kWithdrawnEvent, write::kUnreasonable);
  if (!event.Step()) return {};
  std::string text(event.Text(1));
  const auto name = event.Text(0);
  if (!name.empty()) text.append(text.empty() ? "" : ", ").append(name);
  return "event: " + (text.empty() ? std::string("downtime") : text);
}

Computed Compute(store::SqlStore& store, sql::Connection& db, const LimitRequest& wanted) {
  const auto asked = OfOneStream(store, wanted);
  std::set<std::int32_t> left_out;
  for (const auto& each : asked.exclusions) {
    if (left_out.insert(each.subgroup).second) continue;
    throw Refused("twice", "exclude", Number(each.subgroup),
                  "--exclude: " + Number(each.subgroup) + " is named twice");
  }
  const auto basis = BasisOf(store, asked, left_out);
  const auto& request = basis.request;
  auto chart = MakeChart(store, request, left_out);
  CheckExclusions(chart, basis);
  const auto used_first = chart.Used();
  const auto frozen = basis.phase ? basis.phase->freeze_after : 0;
  const auto needed = frozen > 0 ? std::min(frozen, kNeeded) : kNeeded;
  if (used_first < needed && !request.force) {
    throw Refused("few", "window", std::to_string(used_first),
                  "limits: " + std::to_string(used_first) + " subgroups; " +
                      std::to_string(needed) + " are needed (--force)");
  }
  CheckFigures(chart);

  Computed result;
  auto& shown = result.shown;
  shown.exclusions = request.exclusions;
  const auto of_limits = BitsOfLimits(store);
  // A policy waits for the points that take the places of those left out.
  const auto least_left = request.minimum > 0 ? 0
                          : frozen > 0        ? std::min(kLeastAfterScreening, frozen)
                                              : kLeastAfterScreening;
  bool out_of_control = false;
  Screened screened;
  while (true) {
    // The limits of graph 1 follow from the spread, which is screened first.
    auto candidates = CandidatesOf(chart, of_limits, false);
    screened = Screen(store, db, request, chart, candidates);
    if (screened.left_out.empty()) {
      candidates = CandidatesOf(chart, of_limits, true);
      screened = Screen(store, db, request, chart, candidates);
    }
    if (request.screening == LimitScreening::None) break;
    auto& round = shown.rounds.emplace_back();
    round.centre = chart.estimates.mean;
    round.sigma = chart.estimates.sp.value;
    for (const auto place : candidates) round.candidates.push_back(chart.points[place].subgroup);
    if (screened.left_out.empty()) break;
    for (const auto& each : screened.left_out) left_out.insert(each.subgroup);
    // Of the first N, others take the places of those left out.
    std::optional<Chart> next;
    if (std::ssize(screened.left_out) < chart.Used()) next = MakeChart(store, request, left_out);
    const auto left = next ? next->Used() : 0;
    const auto out = std::ssize(left_out) - std::ssize(request.exclusions);
    out_of_control = left < least_left ||
                     left < kLeastShareAfterScreening * static_cast<double>(left + out) ||
                     std::ssize(shown.rounds) > kMaxRounds;
    if (out_of_control) break;
    round.left_out = screened.left_out;
    shown.exclusions.insert(shown.exclusions.end(), screened.left_out.begin(),
                            screened.left_out.end());
    chart = std::move(*next);
    CheckFigures(chart);
  }

  shown.part = request.part;
  shown.process = request.process;
  shown.test = request.test;
  shown.chart_word = chart.word;
  if (basis.phase) shown.phase = basis.phase->name;
  shown.subgroups = static_cast<std::int32_t>(chart.points.size());
  shown.used = chart.Used();
  for (const auto& point : chart.points) {
    if (!point.used) continue;
    if (shown.start == 0 && shown.finish == 0) shown.start = point.time;
    shown.finish = point.time;
  }
  const auto& estimates = chart.estimates;
  shown.mean = estimates.mean;
  shown.mean_name = estimates.mean_name;
  if (!chart.counts) {
    shown.sp = estimates.sp.value;
    shown.sw = estimates.sw.value;
    shown.estimator = estimates.sp.name;
    shown.within_estimator = estimates.sw.name;
    shown.constant = estimates.sp.constant;
  } else {
    shown.estimator = estimates.mean_name;
  }
  shown.average_size = estimates.mean_size;
  shown.lines = std::move(chart.lines);
  shown.signals = SignalsOf(store, request, chart);
  shown.digest = chart.digest;
  result.figures = chart.figures;
  Judge(basis, chart, screened.open, out_of_control, shown);
  return result;
}

std::string DigestNow(store::SqlStore& store, const ListedLimit& row,
                      const std::vector<LimitExclusion>& exclusions) {
  if (row.digest.empty()) return {};
  std::set<std::int32_t> left_out;
  for (const auto& each : exclusions) left_out.insert(each.subgroup);
  auto window = WindowOf({row.part, row.process, row.test}, row.start, row.finish);
  WindowStore view(store, left_out, 0);
  store::DataSet data;
  view.Select(window.info, window.filter, {}, data);
  // Of several subgroups at the last time, some may come after the first N that the row is of.
  auto end = data.subgroups.size();
  auto all = DigestOf(data, end);
  while (end > 1 && data.subgroups[end - 2].Sgtm == row.finish) {
    if (DigestOf(data, --end) == row.digest) return row.digest;
  }
  return all;
}

}  // namespace orvspc::engine::limits
