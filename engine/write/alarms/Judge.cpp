// SPDX-License-Identifier: Apache-2.0
#include "engine/write/alarms/Judge.h"

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <set>
#include <tuple>
#include <utility>

#include "engine/charts/AttributeRun.h"
#include "engine/charts/RunRows.h"
#include "engine/charts/VariableRun.h"
#include "engine/chunks/subgroups.h"
#include "engine/store/alarm_rules.h"
#include "engine/time/calendar.h"
#include "engine/write/alarms/StreamStore.h"
#include "engine/write/alarms/alarm_rows.h"
#include "engine/write/log/Json.h"
#include "platform/CtrlChrt6.h"
#include "platform/Enumerations.h"

namespace orvspc::engine::alarms {
namespace {

constexpr std::size_t kGraphs = 3;
constexpr std::int32_t kNoGraph = 0, kSpecification = 0;
constexpr const char* kSpecificationText = "a value beyond a specification limit";

// What opens an alarm: a rule of a graph, or a specification limit.
struct Cause {
  std::int32_t graph = 0, rule = 0;
};

// A stretch of points that a rule marks.
struct Signal {
  Cause cause;
  std::size_t first = 0, last = 0, points = 0;  // places in the data
};

bool IsBeyond(const API_CCSpecLim& row, double value) {
  const std::pair<std::int32_t, double> upper[] = {
      {slfURL, row.F_URL}, {slfUSL, row.F_USL}, {slfUGB, row.F_UGB}, {slfUWP, row.F_UWP}};
  const std::pair<std::int32_t, double> lower[] = {
      {slfLRL, row.F_LRL}, {slfLSL, row.F_LSL}, {slfLGB, row.F_LGB}, {slfLWP, row.F_LWP}};
  const auto counts = [&](std::int32_t bit) { return (row.F_EFLAG & row.F_AFLAG & bit) != 0; };
  return std::ranges::any_of(
             upper, [&](const auto& each) { return counts(each.first) && value > each.second; }) ||
         std::ranges::any_of(
             lower, [&](const auto& each) { return counts(each.first) && value < each.second; });
}

// Judges one stream.
class StreamJudge {
 public:
  StreamJudge(log::Writing& writing, ChartRows& rows, const store::Stream& stream,
              const Touched& touched)
      : writing_(writing),
        db_(writing.Db()),
        rows_(rows),
        store_(rows, stream),
        touched_(touched) {}

  // Returns whether control limits are in force at the newest point.
  bool Run(std::vector<Alarm>& opened) {
    limits_ = store_.ControlLimits(Of().part, Of().process, Of().test);
    charts::SortForProcess(limits_);
    const bool has_limits =
        catalogue::EffectiveRows<catalogue::ControlLimit>(limits_).PlaceAt(touched_.last.time) >= 0;
    JudgeBy(opened);
    return has_limits;
  }

 private:
  void JudgeBy(std::vector<Alarm>& opened) {
    specs_ = store_.SpecLimits(Of().part, Of().test);
    if (limits_.empty() && specs_.empty() && !HasAlarms(db_, Of().id)) return;
    mark_ = ReadMark(db_, Of().id);
    ReadRules();
    LeaveOutOld();
    auto known = Read(touched_.first, touched_.last);
    const bool is_behind = mark_ && !(*mark_ < touched_.first);
    if (is_behind && !Points().empty()) {
      const auto [first, last] = EndsOf(known);
      if (first < touched_.first || touched_.last < last) {
        known = Read(std::min(first, touched_.first), std::max(last, touched_.last));
      }
    }
    FindEligible();
    if (std::ranges::count(eligible_, 1) != 0) Judge();
    const auto is_old = [&](const Alarm& each) { return each.time < oldest_; };
    std::set<std::int32_t> confirmed;
    if (std::ranges::any_of(known, is_old)) {
      // What is too old to raise an alarm still holds the one that it raised.
      for (const auto& signal : SignalsSince(INT64_MIN, known)) {
        const auto* const same = Find(signal, AlarmOf(signal), known);
        if (same != nullptr && is_old(*same)) confirmed.insert(same->event);
      }
    }
    Settle(SignalsSince(oldest_, known), known, confirmed, opened);
    StoreMark();
  }

  const store::Stream& Of() const { return store_.Of(); }
  const std::vector<API_SubgroupData>& Points() const { return store_.Data().subgroups; }
  static store::RecordKey KeyOf(const API_SubgroupData& point) { return {point.Sgtm, point.Sgrp}; }
  bool IsTouched(std::size_t place) const { return !(KeyOf(Points()[place]) < touched_.first); }

  // Whether the rules see all that they look at before a point.
  bool IsExact(std::size_t place) const { return store_.IsFromStart() || place > look_back_; }

  // How far back the rules look that are on.
  void ReadRules() {
    for (std::size_t g = 0; g < kGraphs; ++g) {
      bits_[g] =
          store_.AlarmBits(Of().part, Of().process, Of().test, static_cast<std::int32_t>(g) + 1);
    }
    for (const auto& rule : store_.Rules()) {
      look_back_ = std::max(look_back_, static_cast<std::size_t>(rule.m) + 1);
    }
  }

  // What is older raises no alarm.
  std::int64_t OldestBehind(std::int32_t newest) {
    const auto horizon = SecondsOfHorizon(store_.Setting("alarm_horizon", ""));
    return std::max(newest, mark_ ? mark_->time : INT32_MIN) - horizon;
  }

  // Of years that are imported only the newest days are read, unless there are older alarms.
  void LeaveOutOld() {
    auto first = OldestBehind(touched_.last.time);
    if (first <= touched_.first.time) return;
    if (const auto oldest = OldestAlarm(db_, Of().id, touched_.first.time)) {
      first = std::min(first, *oldest);
    }
    if (first <= touched_.first.time) return;
    touched_.first = {static_cast<std::int32_t>(first), INT32_MIN};
  }

  // Reads the records from first to last and what the rules look at beside them; returns the alarms
  // that these may be part of.
  std::vector<Alarm> Read(store::RecordKey first, store::RecordKey last) {
    store_.Read(db_, first, last, 2 * look_back_);
    auto time = first.time;
    auto lowest = INT32_MAX;
    for (const auto& point : Points()) {
      time = std::min(time, point.Sgtm);
      lowest = std::min(lowest, point.Sgrp);
    }
    // Those that go on into what was read, too.
    return ReadAlarms(db_, Of().id, time, lowest);
  }

  // Where the alarms of runs begin and end that reach beyond what was read: a run that is corrected
  // in its middle is judged whole.
  std::pair<store::RecordKey, store::RecordKey> EndsOf(const std::vector<Alarm>& known) const {
    auto first = touched_.first, last = touched_.last;
    const auto front = KeyOf(Points().front()), back = KeyOf(Points().back());
    for (const auto& each : known) {
      if (each.state == "withdrawn" || each.first_subgroup == each.last_subgroup) continue;
      const store::RecordKey begin{each.time, each.first_subgroup};
      auto end = begin;
      store::ForEachSubgroup(db_, each.last_subgroup, each.last_subgroup,
                             [&](const store::SubgroupFacts& subgroup) {
                               end = {subgroup.time, subgroup.id};
                             });
      if (end < front || back < begin) continue;
      if (begin < front) first = std::min(first, begin);
      if (back < end) last = std::max(last, end);
    }
    return {first, last};
  }

  // Points that may raise an alarm of limits: such as came after their row was in use.
  void FindEligible() {
    const auto& points = Points();
    eligible_.assign(points.size(), 0);
    in_force_.assign(points.size(), -1);
    if (points.empty()) return;
    oldest_ = OldestBehind(points.back().Sgtm);
    catalogue::EffectiveRows<catalogue::ControlLimit> effective(limits_);
    for (std::size_t i = 0; i < points.size(); ++i) {
      const auto place = effective.PlaceAt(points[i].Sgtm);
      in_force_[i] = place;
      if (place < 0) continue;
      const auto id = limits_[static_cast<std::size_t>(place)].row.Word0;
      eligible_[i] = points[i].Sgtm >= rows_.InUseSince(db_, id);
      if (i + 1 == points.size()) limit_row_ = id;
      word_ = limits_[static_cast<std::size_t>(place)].chart_word;
    }
  }

  // Of the chart that the limits were made from, else the usual one for the sizes.
  std::int32_t ChartWord() const {
    constexpr std::int32_t kIndividuals = 0x330, kRanges = 0x110, kDeviations = 0x120;
    constexpr std::int32_t kDefectives = 0xC00, kDefects = 0xE00;
    constexpr std::int32_t kMaxForRanges = 10;
    if (word_ != 0) return word_;
    if (Of().test_type == ttDefectives) return kDefectives;
    if (Of().test_type == ttDefects) return kDefects;
    std::int32_t size = 0;
    for (const auto& each : Points()) size = std::max(size, each.Test_End - each.Test_Start + 1);
    return size <= 1 ? kIndividuals : size <= kMaxForRanges ? kRanges : kDeviations;
  }

  template <class Run>
  void TakeMarks(Run& run, std::int32_t word) {
    for (std::size_t g = 0; g < kGraphs; ++g) {
      const auto graph = static_cast<std::int32_t>(g) + 1;
      auto& marks = marks_[g];
      marks.assign(Points().size(), 0);
      run.Deliver({marks.data(), sizeof marks[0], marks.size()}, platform::ChartData::OOCs, graph);
      const auto wanted = bits_[g] & store::ApplicableRules(store_.Rules(), word, graph);
      for (auto& each : marks) {
        each = static_cast<std::int32_t>(static_cast<std::uint32_t>(each) & wanted);
      }
    }
  }

  // By the functions of the chart.
  void Judge() {
    API_DSInfo info{};
    info.Status = 7;
    const auto word = ChartWord();
    const auto notes = store::NoteCount();
    if (Of().test_type == ttVariable) {
      charts::VariableRun run;
      run.KeepToSelection();
      API_CCVarOptions options{};
      options.ChartWord = word;
      if (run.Process(store_, info, {}, options) != 0) TakeMarks(run, word);
    } else {
      charts::AttributeRun run;
      run.KeepToSelection();
      if (run.Process(store_, info, {}, {word, 0, 0.0}) != 0) TakeMarks(run, word);
    }
    store::KeepNotes(notes);
  }

  // Each stretch of marks, of points of that time or later.
  std::vector<Signal> SignalsSince(std::int64_t oldest, const std::vector<Alarm>& known) const {
    std::vector<Signal> signals;
    FindSignals(oldest, signals);
    FindBeyondSpecification(oldest, signals);
    EndWhereClosed(signals, known);
    return signals;
  }

  void FindSignals(std::int64_t oldest, std::vector<Signal>& signals) const {
    for (const auto& rule : *store_.Rows().rules) {
      const bool is_single = rule.m <= 1;
      for (std::size_t g = 0; g < kGraphs; ++g) {
        if (marks_[g].empty()) continue;
        const Cause cause{static_cast<std::int32_t>(g) + 1, rule.number};
        Collect(
            cause, is_single,
            [&](std::size_t i) {
              return eligible_[i] != 0 && Points()[i].Sgtm >= oldest &&
                     (marks_[g][i] >> (rule.number == 31 ? 15 : rule.number) & 1);
            },
            signals);
      }
    }
  }

  template <class IsMarked>
  void Collect(Cause cause, bool is_single, const IsMarked& is_marked,
               std::vector<Signal>& signals) const {
    const auto& points = Points();
    bool goes_on = false;
    for (std::size_t i = 0; i < points.size(); ++i) {
      if (points[i].Flag != sfEnabled) continue;
      if (!is_marked(i)) {
        goes_on = false;
        continue;
      }
      // New limits end a run.
      if (goes_on && !is_single && in_force_[signals.back().last] == in_force_[i]) {
        signals.back().last = i;
        ++signals.back().points;
      } else {
        signals.push_back({cause, i, i, 1});
      }
      goes_on = true;
    }
  }

  void FindBeyondSpecification(std::int64_t oldest, std::vector<Signal>& signals) const {
    if (specs_.empty() || Of().test_type != ttVariable) return;
    catalogue::EffectiveRows<API_CCSpecLim> effective(specs_);
    const auto& data = store_.Data();
    std::vector<std::uint8_t> beyond(Points().size(), 0);
    for (std::size_t i = 0; i < Points().size(); ++i) {
      const auto& point = Points()[i];
      const auto* const row = effective.At(point.Sgtm);
      if (row == nullptr || point.Sgtm < row->Stamp4 || point.Sgtm < oldest) continue;
      for (auto at = point.Test_Start; at <= point.Test_End; ++at) {
        if (IsBeyond(*row, data.values[static_cast<std::size_t>(at)])) beyond[i] = 1;
      }
    }
    Collect(
        {kNoGraph, kSpecification}, true, [&](std::size_t i) { return beyond[i] != 0; }, signals);
  }

  std::string TextOf(const Cause& cause) const {
    if (cause.rule == kSpecification) return kSpecificationText;
    for (const auto& rule : *store_.Rows().rules) {
      if (rule.number == cause.rule) return rule.text;
    }
    return std::to_string(cause.rule);
  }

  Alarm AlarmOf(const Signal& signal) const {
    const auto& first = Points()[signal.first];
    Alarm alarm;
    alarm.part = Of().part;
    alarm.process = Of().process;
    alarm.test = Of().test;
    alarm.graph = signal.cause.graph;
    alarm.rule = signal.cause.rule;
    alarm.text = TextOf(signal.cause);
    alarm.first_subgroup = first.Sgrp;
    alarm.last_subgroup = Points()[signal.last].Sgrp;
    alarm.points = static_cast<std::int32_t>(signal.points);
    alarm.time = first.Sgtm;
    alarm.detected = writing_.Seconds();
    alarm.state = "open";
    return alarm;
  }

  // What is marked after an alarm was closed is another one.
  void EndWhereClosed(std::vector<Signal>& signals, const std::vector<Alarm>& known) const {
    const auto& points = Points();
    for (std::size_t s = 0; s < signals.size(); ++s) {
      for (const auto& each : known) {
        const auto signal = signals[s];
        if (each.state != "closed" || each.graph != signal.cause.graph ||
            each.rule != signal.cause.rule) {
          continue;
        }
        auto end = signal.first;
        while (end < signal.last && points[end].Sgrp != each.last_subgroup) ++end;
        if (end == signal.last) continue;
        const auto count = [&](std::size_t from, std::size_t to) {
          std::size_t enabled = 0;
          for (auto i = from; i <= to; ++i) enabled += points[i].Flag == sfEnabled ? 1 : 0;
          return enabled;
        };
        auto next = end + 1;
        while (points[next].Flag != sfEnabled) ++next;  // the last one is
        signals[s] = {signal.cause, signal.first, end, count(signal.first, end)};
        signals.push_back({signal.cause, next, signal.last, count(next, signal.last)});
      }
    }
  }

  // Opens what is new, extends what goes on, withdraws what is no more.
  void Settle(const std::vector<Signal>& signals, const std::vector<Alarm>& known,
              std::set<std::int32_t> confirmed, std::vector<Alarm>& opened) {
    for (const auto& signal : signals) {
      auto alarm = AlarmOf(signal);
      const auto* const same = Find(signal, alarm, known);
      if (same != nullptr) {
        confirmed.insert(same->event);
        // The rules did not see all that came before the first of these points.
        if (IsTouched(signal.last) || IsExact(signal.first) ||
            alarm.first_subgroup == same->first_subgroup) {
          alarm.points = PointsOf(signal, *same);
          Extend(writing_, *same, alarm);
        }
        continue;
      }
      if (!IsTouched(signal.last)) continue;
      alarm.is_late = mark_ && KeyOf(Points()[signal.first]) <= *mark_;
      Open(writing_, Of().id, alarm);
      opened.push_back(alarm);
    }
    const auto end =
        Points().empty() ? touched_.last : std::max(touched_.last, KeyOf(Points().back()));
    for (const auto& each : known) {
      const store::RecordKey key{each.time, each.first_subgroup};
      const bool was_judged = !(key < touched_.first) && !(end < key);
      if (was_judged && each.state != "withdrawn" && !confirmed.contains(each.event)) {
        Withdraw(writing_, each);
      }
    }
  }

  // The alarm that a signal belongs to: one that begins with it, or that it goes on from.
  const Alarm* Find(const Signal& signal, const Alarm& alarm,
                    const std::vector<Alarm>& known) const {
    const Alarm* withdrawn = nullptr;
    for (const auto& each : known) {
      if (each.graph != alarm.graph || each.rule != alarm.rule) continue;
      const bool begins_with_it = each.first_subgroup == alarm.first_subgroup;
      if (each.state == "withdrawn") {
        // It comes back only where the rules see all that they look at, or something is new.
        const bool may_come_back = IsExact(signal.first) || IsTouched(signal.last);
        if (begins_with_it && may_come_back) withdrawn = &each;
        continue;
      }
      if (begins_with_it) return &each;
      // It may have begun where they do not see enough of what came before.
      const store::RecordKey begin{each.time, each.first_subgroup};
      if (IsExact(signal.first) || !(begin < KeyOf(Points()[signal.first]))) continue;
      for (auto i = signal.first; i <= signal.last; ++i) {
        if (Points()[i].Sgrp == each.last_subgroup) return &each;
      }
    }
    return withdrawn;
  }

  // The points of an alarm that has come to a signal. Those before what was read are known.
  std::int32_t PointsOf(const Signal& signal, const Alarm& known) const {
    const auto& points = Points();
    auto count = static_cast<std::int32_t>(signal.points);
    if (points[signal.first].Sgrp == known.first_subgroup) return count;
    auto i = signal.first;
    for (; i < signal.last && points[i].Sgrp != known.last_subgroup; ++i) {
      if (points[i].Flag == sfEnabled) --count;
    }
    return known.points + count - 1;
  }

  void StoreMark() {
    if (Points().empty()) return;
    const auto newest = KeyOf(Points().back());
    sql::Query(
        db_,
        "INSERT INTO alarm_mark(stream, time, subgroup, limit_row, rules) "
        "VALUES(?1, ?2, ?3, ?4, ?5) ON CONFLICT(stream) DO UPDATE SET "
        "time = excluded.time, subgroup = excluded.subgroup, "
        "limit_row = excluded.limit_row, rules = excluded.rules "
        "WHERE (alarm_mark.time, alarm_mark.subgroup) < (excluded.time, excluded.subgroup)",
        Of().id, newest.time, newest.subgroup, limit_row_,
        std::to_string(bits_[0]) + " " + std::to_string(bits_[1]) + " " + std::to_string(bits_[2]))
        .Run();
  }

  log::Writing& writing_;
  sql::Connection& db_;
  ChartRows& rows_;
  StreamStore store_;
  Touched touched_;
  std::optional<store::RecordKey> mark_;  // up to where it was judged before
  std::vector<catalogue::ControlLimit> limits_;
  std::vector<API_CCSpecLim> specs_;
  std::array<std::uint32_t, kGraphs> bits_{};
  std::size_t look_back_ = 3;  // of moving averages
  std::vector<std::uint8_t> eligible_;
  std::vector<std::ptrdiff_t> in_force_;  // rows of limits, at each point
  std::array<std::vector<std::int32_t>, kGraphs> marks_;
  std::int64_t oldest_ = INT64_MIN;
  std::int32_t word_ = 0, limit_row_ = 0;
};

}  // namespace

void TouchedStreams::Add(std::int64_t stream, store::RecordKey key) {
  auto& ends = ends_.try_emplace(stream, Touched{stream, key, key}).first->second;
  ends.first = std::min(ends.first, key);
  ends.last = std::max(ends.last, key);
}

std::vector<Touched> TouchedStreams::All() const {
  std::vector<Touched> all;
  for (const auto& [stream, ends] : ends_) all.push_back(ends);
  return all;
}

std::vector<Alarm> Judge(log::Writing& writing, std::span<const Touched> touched,
                         std::vector<std::int64_t>* without_limits) {
  ChartRows known;
  return Judge(writing, touched, known, without_limits);
}

std::vector<Alarm> Judge(log::Writing& writing, std::span<const Touched> touched, ChartRows& known,
                         std::vector<std::int64_t>* without_limits) {
  std::vector<Alarm> opened;
  for (const auto& each : touched) {
    const auto* const stream = known.Stream(writing.Db(), each.stream);
    if (stream == nullptr) continue;
    if (!StreamJudge(writing, known, *stream, each).Run(opened) && without_limits != nullptr) {
      without_limits->push_back(each.stream);
    }
  }
  return opened;
}

}  // namespace orvspc::engine::alarms
