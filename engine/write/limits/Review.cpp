// SPDX-License-Identifier: Apache-2.0
#include "engine/write/limits/Review.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <optional>
#include <set>
#include <utility>

#include "engine/charts/AttributeRun.h"
#include "engine/charts/VariableRun.h"
#include "engine/chunks/StreamWalk.h"
#include "engine/sql/counter.h"
#include "engine/write/change/events.h"
#include "engine/write/limits/WindowStore.h"
#include "engine/write/log/Json.h"
#include "platform/Actor.h"
#include "platform/Enumerations.h"
#include "platform/TimeText.h"

namespace orvspc::engine::limits {
namespace {

using platform::ChartData;

constexpr std::size_t kBeforeTheFirst = 2;  // points at which its cause may lie

// Which of the policies a stream has; null for none.
const BaselinePolicy* PolicyOf(const std::vector<BaselinePolicy>& policies,
                               const store::Stream& stream) {
  const BaselinePolicy* best = nullptr;
  int named = -1;
  for (const auto& each : policies) {
    const auto fits = [](std::int32_t asked, std::int32_t id) { return asked == 0 || asked == id; };
    if (!fits(each.part, stream.part) || !fits(each.process, stream.process) ||
        !fits(each.test, stream.test)) {
      continue;
    }
    const int names = (each.part != 0) + (each.process != 0) + (each.test != 0);
    if (names < named) continue;
    named = names;
    best = &each;
  }
  return best;
}

// Graph 1 of a stream under one row of limits, the points that count and have a value.
struct Judged {
  std::vector<PointOfWindow> points;
  std::vector<int> sides;  // of the centre: -1, 1, or 0 on it
  std::vector<double> centre;
  std::vector<bool> spread_signals;  // of graph 2, beyond a limit
  std::vector<bool> begins;          // the first of a phase, or after one
  bool has_moving_ranges = false;    // as graph 2
  int decimals = 0;                  // of the centre in a text
};

constexpr int kMaxDecimals = 6;  // of values

// The most that a value has; that of a piece with readings may be their mean.
int DecimalsOf(const store::DataSet& data) {
  int most = 0;
  for (std::size_t s = 0; s < data.subgroups.size() && most < kMaxDecimals; ++s) {
    const auto rows = store::RowsOf(data, s);
    std::set<std::int32_t> with_readings;
    for (auto row = rows.begin; !data.keys.empty() && row < rows.begin + rows.count; ++row) {
      if (data.keys[row].Sbno != 0) with_readings.insert(data.keys[row].Tsno);
    }
    for (auto row = rows.begin; row < rows.begin + rows.count; ++row) {
      if (!data.keys.empty() && data.keys[row].Sbno == 0 &&
          with_readings.contains(data.keys[row].Tsno)) {
        continue;
      }
      auto scaled = std::fabs(data.values[row]) * std::pow(10.0, most);
      for (; most < kMaxDecimals &&
             std::fabs(scaled - std::round(scaled)) > 1e-9 * std::max(1.0, scaled);
           scaled *= 10.0) {
        ++most;
      }
    }
  }
  return most;
}

// One more than the values, whose specification may say how many they have. Those of rates, and of
// values of endless digits, follow from the distance of a limit, too.
int DecimalsOfCentre(int of_values, bool is_rate, bool is_endless, double distance) {
  int decimals = of_values + 1;
  if ((is_rate || is_endless) && distance > 0.0 && std::isfinite(distance)) {
    const int magnitude = static_cast<int>(std::floor(std::log10(distance)));
    const int fitting = std::clamp(decimals, 2 - magnitude, 4 - magnitude);
    decimals = is_rate ? fitting : std::max(decimals, fitting);
  }
  return std::clamp(decimals, 0, 10);
}

// word: of the chart that the run has made. scale: decimals by the specification limits.
template <class Run>
void Read(Run& run, std::int32_t word, std::optional<int> scale, Judged& out) {
  const auto& rows = run.Rows();
  const auto count = rows.Data().subgroups.size();
  if (!rows.HasStoredLimits() || count == 0) return;
  const auto column = [&](auto zero, ChartData code, std::int32_t graph) {
    std::vector<decltype(zero)> values(count, zero);
    run.Deliver({values.data(), sizeof zero, count}, code, graph);
    return values;
  };
  const auto points = column(platform::kNaN, ChartData::Points, 1);
  const auto centre = column(platform::kNaN, ChartData::Cls, 1);
  const auto upper = column(platform::kNaN, ChartData::UCLs, 1);
  const auto marks = column(std::int32_t{0}, ChartData::OOCs, 2);
  const int of_values = scale ? *scale : DecimalsOf(rows.Data());
  const bool is_rate =
      run.Plan().KindOf(0) == charts::ChartKind::Attribute && !charts::BearsNoSize(word);
  out.decimals = DecimalsOfCentre(of_values, is_rate, !scale && of_values == kMaxDecimals,
                                  upper.back() - centre.back());
  out.has_moving_ranges = run.Plan().KindOf(1) == charts::ChartKind::MovingRange;
  const auto row = rows.LimitRowAt(count - 1);
  std::size_t begin = count - 1;
  while (begin > 0 && rows.LimitRowAt(begin - 1) == row) --begin;
  const auto stretches = run.Streams();
  std::size_t stretch = 0, latest = stretches.size();
  for (auto i = begin; i < count; ++i) {
    while (stretches[stretch].end <= i) ++stretch;
    const auto& subgroup = rows.Data().subgroups[i];
    if (!run.Points().IsUsed(i) || std::isnan(points[i])) continue;
    out.begins.push_back(stretch != latest);
    latest = stretch;
    out.points.push_back({subgroup.Sgrp, subgroup.Sgtm});
    const bool on = statistics::Tied(points[i], centre[i], 0.0);
    out.sides.push_back(on ? 0 : points[i] > centre[i] ? 1 : -1);
    out.centre.push_back(centre[i]);
    out.spread_signals.push_back(marks[i] != 0);
  }
}

struct RunOfPoints {
  std::size_t first = 0, count = 0;
  bool is_over = false;
};
// Each lies in one phase.
std::vector<RunOfPoints> RunsOf(const Judged& judged) {
  const auto& sides = judged.sides;
  std::vector<RunOfPoints> runs;
  for (std::size_t i = 0; i < sides.size(); ++i) {
    if (judged.begins[i] || sides[i] != sides[i - 1] || sides[i] == 0) {
      if (!runs.empty()) runs.back().is_over = true;
      runs.push_back({i, 0, false});
    }
    ++runs.back().count;
  }
  std::erase_if(runs, [&](const RunOfPoints& run) { return sides[run.first] == 0; });
  return runs;
}

std::string CentreText(double centre, int decimals) {
  constexpr double kTooLarge = 1e12;
  if (!(std::fabs(centre) < kTooLarge)) return log::CanonicalText(log::Number(centre));
  std::array<char, 32> text{};
  const auto end = std::to_chars(text.data(), text.data() + text.size(), centre,
                                 std::chars_format::fixed, decimals)
                       .ptr;
  return {text.data(), end};
}

// One stream under review.
class StreamReview {
 public:
  StreamReview(store::SqlStore& store, log::Writing& writing, const store::Stream& stream,
               const BaselinePolicy& policy)
      : store_(store), writing_(writing), stream_(stream), policy_(policy) {}

  std::optional<LimitReview> Do();

 private:
  LimitReview Said(std::string_view code, const std::string& text, std::int32_t limit = 0) const {
    return {stream_.part,
            stream_.process,
            stream_.test,
            std::string(code),
            store_.StreamName(stream_.part, stream_.process, stream_.test) + ": " + text,
            limit};
  }
  bool FindRow();
  Judged Judge();
  std::vector<RunOfPoints> FindRuns(const std::vector<ListedLimit>& stored);
  std::string Why(const RunOfPoints& run, const std::string& cause) const;
  std::string CauseOfRun(const RunOfPoints& run);
  std::optional<LimitReview> Answer(const RunOfPoints& run, const ListedLimit* waiting);
  LimitReview Withdraw(const ListedLimit& waiting, const std::string& why);
  void AddEvent(std::string_view name, std::int32_t subgroup_time) {
    change::AddEvent(writing_, etGeneral,
                     {stream_.process, stream_.part, stream_.test, subgroup_time, name});
  }
  bool IsOfPolicy(const ListedLimit& row) const {
    return row.process == stream_.process && MinimumOf(row.rule) > 0;
  }

  // Whether a run has points from a time up to another one.
  bool Reaches(const RunOfPoints& run, std::int32_t start, std::int32_t finish) const {
    return judged_.points[run.first].time <= finish &&
           start <= judged_.points[run.first + run.count - 1].time;
  }
  bool HasItsData(const ListedLimit& row) const {
    return DigestNow(store_, row, ExclusionsOf(writing_.Db(), row.id)) == row.digest;
  }
  bool SpreadChanged(const RunOfPoints& run) const;
  std::string NotReady(const LimitRequest& request, const ListedLimit* waiting,
                       const std::vector<std::string>& missing) const;

  store::SqlStore& store_;
  log::Writing& writing_;
  const store::Stream& stream_;
  const BaselinePolicy& policy_;
  catalogue::ControlLimit row_{};  // in force at the newest point
  std::int32_t newest_ = 0;
  Judged judged_;
};

bool StreamReview::FindRow() {
  bool found = false;
  store::StreamWalk(writing_.Db(), stream_.id, false, INT32_MIN, INT32_MAX)
      .ForEach([&](const store::RecordView& record) {
        newest_ = record.Time();
        found = true;
        return false;
      });
  if (!found) return false;
  auto rows = store_.ControlLimits(stream_.part, stream_.process, stream_.test);
  charts::SortForProcess(rows);
  const auto* const row = catalogue::EffectiveAt(std::span(std::as_const(rows)), newest_);
  if (row == nullptr) return false;
  row_ = *row;
  return true;
}

Judged StreamReview::Judge() {
  Judged judged;
  auto window = WindowOf({stream_.part, stream_.process, stream_.test}, row_.row.F_EFTM, INT32_MAX);
  const auto notes = store::NoteCount();
  std::optional<int> scale;
  for (const auto& row : store_.SpecLimits(stream_.part, stream_.test)) {
    scale = std::max(scale.value_or(row.F_SCAL), int{row.F_SCAL});
  }
  if (stream_.test_type == ttVariable) {
    charts::VariableRun run;
    API_CCVarOptions options{};
    options.ChartWord = row_.chart_word;
    options.Constant = 2;
    const auto word = run.Process(store_, window.info, window.filter, options);
    if (word != 0) Read(run, word, scale, judged);
  } else {
    charts::AttributeRun run;
    const auto word = run.Process(store_, window.info, window.filter, {row_.chart_word, 0, 0.0});
    if (word != 0) Read(run, word, scale, judged);
  }
  store::KeepNotes(notes);
  return judged;
}

// Runs that are long enough, and last or lasted for the minimum, unless limits out of them were
// rejected.
std::vector<RunOfPoints> StreamReview::FindRuns(const std::vector<ListedLimit>& stored) {
  auto runs = RunsOf(judged_);
  std::erase_if(runs, [&](const RunOfPoints& run) {
    if (std::cmp_less(run.count, policy_.run)) return true;
    if (run.is_over && std::cmp_less(run.count, policy_.minimum)) return true;
    return std::ranges::any_of(stored, [&](const ListedLimit& row) {
      return row.state == LimitState::Rejected && IsOfPolicy(row) &&
             Reaches(run, row.start, row.start);
    });
  });
  return runs;
}

// Of the first point of the run or one of those just before it, which may have been judged by
// other limits.
std::string StreamReview::CauseOfRun(const RunOfPoints& run) {
  const auto points =
      PointsUpTo(writing_.Db(), stream_.id, judged_.points[run.first], kBeforeTheFirst + 2);
  const store::StreamIds stream{stream_.part, stream_.process, stream_.test};
  for (std::size_t i = 0; i <= kBeforeTheFirst && i < points.size(); ++i) {
    const auto before = i + 1 < points.size() ? points[i + 1].time : INT32_MIN;
    auto cause = CauseOf(writing_.Db(), stream, points[i], before);
    if (!cause.empty()) return cause;
    // Somebody said that another process begins there.
    for (const auto& phase : store_.Phases(stream.part, stream.process, stream.test)) {
      if (phase.Counts() && before < phase.start && phase.start <= points[i].time) {
        return "phase: " + phase.name;
      }
    }
  }
  return {};
}

std::string StreamReview::Why(const RunOfPoints& run, const std::string& cause) const {
  return policy_.rule + ": " + std::to_string(run.count) + " points " +
         (judged_.sides[run.first] > 0 ? "above " : "below ") +
         CentreText(judged_.centre[run.first], judged_.decimals) + " since " +
         platform::IsoText(judged_.points[run.first].time) + (cause.empty() ? "" : "; " + cause);
}

LimitReview StreamReview::Withdraw(const ListedLimit& waiting, const std::string& why) {
  limits::Withdraw(writing_, waiting.id);
  AddEvent(kWithdrawnEvent, waiting.effective);
  return Said("withdrawn", "limits " + std::to_string(waiting.id) + " are withdrawn: " + why,
              waiting.id);
}

// A step of the centre is none of the spread: on moving ranges it is the first of the run, which
// reaches to the point before.
bool StreamReview::SpreadChanged(const RunOfPoints& run) const {
  const auto signals = judged_.spread_signals.begin() + static_cast<std::ptrdiff_t>(run.first);
  const auto first = signals + (judged_.has_moving_ranges ? 1 : 0);
  return std::find(first, judged_.spread_signals.end(), true) != judged_.spread_signals.end();
}

std::string StreamReview::NotReady(const LimitRequest& request, const ListedLimit* waiting,
                                   const std::vector<std::string>& missing) const {
  std::string text;
  for (const auto& each : missing) text += "; " + each;
  text += "; the next review leaves out what has a comment or an event with its cause";
  if (waiting != nullptr) text += ", limits reject " + std::to_string(waiting->id) + " ends it";
  const auto since = platform::IsoText(*request.since);
  return text + ", and limits propose of this part, process and test with --since " + since +
         " --first " + std::to_string(request.first) + " --force, approved with --effective " +
         since + (PresetOf(request.rule).begins_phase ? " and --new-phase NAME" : "") +
         ", takes them all";
}

std::optional<LimitReview> StreamReview::Answer(const RunOfPoints& run,
                                                const ListedLimit* waiting) {
  const auto& first = judged_.points[run.first];
  const auto cause = CauseOfRun(run);
  // One that has all its points stays, unless they are other ones now or its cause is gone.
  if (waiting != nullptr && waiting->used >= policy_.minimum && waiting->effective <= first.time &&
      (!cause.empty() || waiting->effective < first.time) && HasItsData(*waiting)) {
    return std::nullopt;
  }
  const auto why = Why(run, cause);
  if (cause.empty()) {
    const auto text = why + "; no cause is recorded at its first point or the two before";
    return waiting == nullptr ? Said("no-cause", text) : Withdraw(*waiting, text);
  }
  LimitRequest request;
  request.part = stream_.part;
  request.process = stream_.process;
  request.test = stream_.test;
  request.since = first.time;
  request.until = judged_.points[run.first + run.count - 1].time;
  request.all_phases = true;  // the run lies in one
  request.effective = first.time;
  request.first = policy_.minimum;
  request.minimum = policy_.minimum;
  request.chart_word = row_.chart_word;
  request.rule = why;
  if (std::cmp_greater_equal(run.count, policy_.minimum)) {
    request.screening = LimitScreening::WithCause;
  }
  auto computed = Compute(store_, writing_.Db(), request);
  auto& shown = computed.shown;
  // Some may have been left out, whose places others take when they come.
  const bool is_enough = shown.used >= policy_.minimum;
  request.force = !is_enough;
  if ((is_enough || run.is_over) && !shown.missing.empty()) {
    return Said("not-ready", why + NotReady(request, waiting, shown.missing));
  }
  if (waiting != nullptr && waiting->effective == first.time && waiting->used == shown.used &&
      waiting->digest == shown.digest) {
    return std::nullopt;
  }
  // Until there are enough, the width is that of before, unless the spread has changed, too.
  if (!is_enough && !SpreadChanged(run) && row_.row.F_SP > 0.0) {
    shown.sp = row_.row.F_SP;
    shown.sw = row_.row.F_SW > 0.0 ? double(row_.row.F_SW) : platform::kNaN;
    shown.estimator = shown.within_estimator = "of the limits before";
    computed.figures = row_.figures;
  }
  auto text = is_enough ? "; " + why
                        : ", provisional: " + std::to_string(shown.used) + " of " +
                              std::to_string(policy_.minimum) + " points; " + why;
  for (const auto& each : shown.exclusions) {
    text += "; left out: #" + std::to_string(each.subgroup) + " " + each.reason;
  }
  if (is_enough) {
    for (const auto& each : shown.warnings) text += "; " + each;
  }
  if (waiting != nullptr) {
    Revise(writing_, waiting->id, request, computed);
    return Said("updated", "limits " + std::to_string(waiting->id) + text, waiting->id);
  }
  const auto id = Propose(writing_, request, computed);
  AddEvent(kProposedEvent, first.time);
  return Said("proposed", "limits " + std::to_string(id) + text, id);
}

std::optional<LimitReview> StreamReview::Do() {
  const auto stored = ReadLimits(writing_.Db(), {stream_.part, stream_.process, stream_.test});
  if (!FindRow()) {
    // Limits that hold only after the newest point have nothing to be compared with yet.
    const bool is_to_come = std::ranges::any_of(stored, [&](const ListedLimit& row) {
      return row.state == LimitState::Active && row.effective > newest_;
    });
    if (is_to_come) return std::nullopt;
    return Said("no-limits", "no control limits in force: orvspc limits propose");
  }
  judged_ = Judge();
  const auto runs = FindRuns(stored);
  const auto waiting = std::ranges::find_if(stored, [&](const ListedLimit& row) {
    return row.state == LimitState::Proposed && IsOfPolicy(row);
  });
  if (waiting != stored.end()) {
    // Its run may have lost the first of the points that the row is of.
    const auto own = std::ranges::find_if(runs, [&](const RunOfPoints& run) {
      return Reaches(run, waiting->start, waiting->finish);
    });
    if (own != runs.end()) return Answer(*own, &*waiting);
    // One that has all its points waits for a person, whatever came after them.
    if (waiting->used >= MinimumOf(waiting->rule) && HasItsData(*waiting)) return std::nullopt;
    return Withdraw(*waiting,
                    HasItsData(*waiting)
                        ? "the run was over before there were " +
                              std::to_string(MinimumOf(waiting->rule)) + " points"
                        : "their data have changed, and no run that is long enough has them any "
                          "more");
  }
  // The first that can be proposed; one that is over and cannot be keeps no later one from it.
  std::optional<LimitReview> said;
  for (const auto& run : runs) {
    auto answer = Answer(run, nullptr);
    if (!answer) continue;
    const bool proposed = answer->limit != 0;
    if (proposed || !said) said = std::move(answer);
    if (proposed || !run.is_over) break;
  }
  return said;
}

}  // namespace

std::vector<BaselinePolicy> ReadPolicies(sql::Connection& db) {
  using Row = BaselinePolicy;
  return sql::Query(db,
                    "SELECT id, coalesce(part, 0), coalesce(process, 0), coalesce(test, 0), run, "
                    "minimum, rule FROM baseline_policy WHERE id IN (SELECT max(id) "
                    "FROM baseline_policy GROUP BY part, process, test) ORDER BY id")
      .All<Row>(&Row::id, &Row::part, &Row::process, &Row::test, &Row::run, &Row::minimum,
                &Row::rule);
}

std::int32_t SetPolicy(log::Writing& writing, const store::StreamIds& of, std::string_view word) {
  const auto preset = std::ranges::find(kBaselinePresets, word, &BaselinePreset::word);
  if (preset == std::end(kBaselinePresets)) {
    throw Refused("unknown", "policy", std::string(word),
                  "limits: there is no policy \"" + std::string(word) + "\"");
  }
  writing.NeedReason();
  auto& db = writing.Db();
  std::string before;
  for (const auto& each : ReadPolicies(db)) {
    if (store::StreamIds{each.part, each.process, each.test} == of) {
      before = log::CanonicalText({{"rule", each.rule}});
    }
  }
  const auto id = static_cast<std::int32_t>(sql::TakeIds(db, "baseline_policy"));
  sql::Query(db,
             "INSERT INTO baseline_policy(id, part, process, test, run, minimum, rule, who, made) "
             "VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9)",
             id, sql::Reference{of.part}, sql::Reference{of.process}, sql::Reference{of.test},
             preset->run, preset->minimum, word, writing.Who(), writing.Seconds())
      .Run();
  writing.Add(
      "policy", "policy " + std::to_string(id), before,
      log::CanonicalText({{"rule", word}, {"run", preset->run}, {"minimum", preset->minimum}}));
  return id;
}

namespace {

// Calls visit(stream, policy) for those that are wanted and have a policy that is on.
template <class IsWanted, class Visit>
void ForEachWithPolicy(store::SqlStore& store, sql::Connection& db, IsWanted is_wanted,
                       Visit visit) {
  const auto policies = ReadPolicies(db);
  if (policies.empty()) return;
  const auto streams = store.Cache().streams;
  for (const auto& stream : streams) {
    if (!is_wanted(stream)) continue;
    const auto* const policy = PolicyOf(policies, stream);
    if (policy != nullptr && policy->run != 0) visit(stream, *policy);
  }
}

template <class IsWanted>
std::vector<LimitReview> ReviewWanted(store::SqlStore& store, log::Writing& writing,
                                      IsWanted is_wanted) {
  std::vector<LimitReview> all;
  ForEachWithPolicy(store, writing.Db(), is_wanted,
                    [&](const store::Stream& stream, const BaselinePolicy& policy) {
                      if (auto said = StreamReview(store, writing, stream, policy).Do()) {
                        all.push_back(std::move(*said));
                      }
                    });
  return all;
}

auto IsAmong(const std::vector<std::int64_t>& streams) {
  return [&streams](const store::Stream& stream) {
    return std::ranges::find(streams, stream.id) != streams.end();
  };
}

}  // namespace

std::vector<LimitReview> Review(store::SqlStore& store, log::Writing& writing,
                                const store::StreamIds& of) {
  return ReviewWanted(store, writing, [&](const store::Stream& stream) {
    const auto asked = [](std::int32_t wanted, std::int32_t id) {
      return wanted == 0 || wanted == id;
    };
    return asked(of.part, stream.part) && asked(of.process, stream.process) &&
           asked(of.test, stream.test);
  });
}

std::vector<LimitReview> Review(store::SqlStore& store, log::Writing& writing,
                                const std::vector<std::int64_t>& streams) {
  return ReviewWanted(store, writing, IsAmong(streams));
}

bool HavePolicy(store::SqlStore& store, sql::Connection& db,
                const std::vector<std::int64_t>& streams) {
  bool have = false;
  ForEachWithPolicy(store, db, IsAmong(streams),
                    [&](const store::Stream&, const BaselinePolicy&) { have = true; });
  return have;
}

}  // namespace orvspc::engine::limits
