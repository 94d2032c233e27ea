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
#include "engine/charts/ChartPlan.h"
#include "engine/charts/Lines.h"
#include "engine/charts/RunRows.h"
#include "engine/charts/VariableRun.h"
#include "engine/chunks/StreamWalk.h"
#include "engine/chunks/subgroups.h"
#include "engine/store/alarm_rules.h"
#include "engine/time/calendar.h"
#include "engine/write/alarms/StreamStore.h"
#include "engine/write/alarms/alarm_rows.h"
#include "engine/write/log/Json.h"
#include "platform/CtrlChrt6.h"
#include "platform/Enumerations.h"
#include "platform/SpecificationBounds.h"

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

// The newest record of a stream; empty: there is none.
std::optional<store::RecordKey> NewestOf(sql::Connection& db, std::int64_t stream) {
  std::optional<store::RecordKey> newest;
  store::StreamWalk(db, stream, false, INT32_MIN, INT32_MAX)
      .ForEach([&](const store::RecordView& record) {
        newest = record.Key();
        return false;
      });
  return newest;
}

// Whether a row is one that the charts of a test of that type take; they leave out the others.
bool Suits(const catalogue::ControlLimit& limit, std::int32_t test_type) {
  using catalogue::RateKind;
  auto kind = catalogue::RateKindOf(limit.chart_word);
  if (test_type == ttVariable) return kind == RateKind::None;
  if (limit.chart_word == 0) kind = test_type == ttDefectives ? RateKind::Share : RateKind::PerUnit;
  return kind != RateKind::None && catalogue::IsRate(kind, limit.row.F_MEAN);
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
        touched_(touched),
        entry_(writing.Next() - 1) {}

  // Returns whether control limits are in force at the newest point.
  bool Run(std::vector<Alarm>& opened) {
    limits_ = store_.ControlLimits(Of().part, Of().process, Of().test);
    charts::SortForProcess(limits_);
    std::erase_if(limits_, [&](const auto& limit) { return !Suits(limit, Of().test_type); });
    const bool has_limits =
        catalogue::EffectiveRows<catalogue::ControlLimit>(limits_).PlaceAt(touched_.last.time) >= 0;
    JudgeAll(opened);
    return has_limits;
  }

 private:
  void JudgeAll(std::vector<Alarm>& opened) {
    specs_ = store_.SpecLimits(Of().part, Of().test);
    if (limits_.empty() && specs_.empty() && !HasAlarms(db_, Of().id)) return;
    mark_ = ReadMark(db_, Of().id);
    // What came after all that was judged is the newest.
    newest_ = mark_ && *mark_ < touched_.last ? touched_.last : NewestOf(db_, Of().id);
    ReadRules();
    TakeInUnjudged();
    LeaveOutOld();
    auto known = Read(touched_.first, touched_.last);
    const bool is_behind = mark_ && !(*mark_ < touched_.first);
    if (is_behind && !Points().empty()) {
      const auto [first, last] = EndsOf(known);
      if (first < touched_.first || touched_.last < last) {
        known = Read(std::min(first, touched_.first), std::max(last, touched_.last));
      }
    }
    FindStretches();
    FindEligible();
    const auto is_of_limits = [](const Alarm& each) {
      return each.graph != kNoGraph && each.state != "withdrawn";
    };
    if (std::ranges::count(eligible_, 1) != 0 || std::ranges::any_of(known, is_of_limits)) Judge();
    Settle(Signals(known), known, opened);
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
  std::int64_t OldestToJudge() { return newest_.value_or(touched_.last).time - Horizon(); }
  std::int64_t Horizon() { return SecondsOfHorizon(store_.Setting("alarm_horizon", "")); }

  // Beside a wrong date that was the newest all others were too old, or those of its first days.
  void TakeInUnjudged() {
    if (!mark_ || !newest_ || *mark_ <= *newest_) return;
    const auto oldest = std::max<std::int64_t>(OldestToJudge(), INT32_MIN);
    touched_.first = std::min(touched_.first, {static_cast<std::int32_t>(oldest), INT32_MIN});
  }

  // Of years that are imported only the newest days are read, unless there are older alarms.
  void LeaveOutOld() {
    auto first = OldestToJudge();
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

  // What phases separate, and what they leave out.
  void FindStretches() {
    const auto& points = Points();
    const auto phases = store_.Phases(Of().part, Of().process, Of().test);
    stretch_.assign(points.size(), 0);
    counts_.assign(points.size(), 1);
    for (std::size_t i = 0; i < points.size(); ++i) {
      const auto time = points[i].Sgtm;
      if (points[i].Flag != sfEnabled) counts_[i] = 0;
      for (const auto& phase : phases) {
        stretch_[i] += phase.start <= time ? 1 : 0;
        stretch_[i] += phase.finish && *phase.finish <= time ? 1 : 0;
        if (!phase.Counts() && phase.Holds(time)) counts_[i] = 0;
      }
    }
  }

  // Points that may raise an alarm of limits: such as came after their row was in use.
  void FindEligible() {
    const auto& points = Points();
    eligible_.assign(points.size(), 0);
    in_force_.assign(points.size(), -1);
    if (points.empty()) return;
    newest_ = std::max(newest_, std::optional(KeyOf(points.back())));
    oldest_ = OldestToJudge();
    catalogue::EffectiveRows<catalogue::ControlLimit> effective(limits_);
    for (std::size_t i = 0; i < points.size(); ++i) {
      const auto place = effective.PlaceAt(points[i].Sgtm);
      in_force_[i] = place;
      if (place < 0) continue;
      const auto id = limits_[static_cast<std::size_t>(place)].row.Word0;
      eligible_[i] = points[i].Sgtm >= rows_.InUseSince(db_, id);
      if (i + 1 == points.size()) limit_row_ = id;
    }
  }

  // The usual chart for the sizes.
  std::int32_t UsualWord() const {
    constexpr std::int32_t kIndividuals = 0x330, kRanges = 0x110, kDeviations = 0x120;
    constexpr std::int32_t kP = 0xD00, kC = 0xE00, kU = 0xF00;
    constexpr std::int32_t kMaxForRanges = 10;
    if (Of().test_type == ttDefectives) return kP;
    if (Of().test_type == ttDefects) {
      const auto has_size = [](const API_SubgroupData& each) { return each.Size > 0; };
      const bool has_sizes =
          !store_.Data().sizes.empty() || std::ranges::any_of(Points(), has_size);
      return has_sizes ? kU : kC;
    }
    std::int32_t size = 0;
    for (const auto& each : Points()) size = std::max(size, each.Test_End - each.Test_Start + 1);
    return size <= 1 ? kIndividuals : size <= kMaxForRanges ? kRanges : kDeviations;
  }

  const catalogue::ControlLimit& LimitAt(std::size_t place) const {
    return limits_[static_cast<std::size_t>(in_force_[place])];
  }

  // Of the points whose row was made from the chart, on the graphs whose lines the row gives.
  template <class Run, class Gives>
  void TakeMarks(Run& run, std::int32_t word, const std::vector<std::int32_t>& words,
                 const Gives& gives) {
    std::vector<std::int32_t> marks(Points().size());
    for (std::size_t g = 0; g < kGraphs; ++g) {
      const auto graph = static_cast<std::int32_t>(g) + 1;
      std::ranges::fill(marks, 0);
      run.Deliver({marks.data(), sizeof marks[0], marks.size()}, platform::ChartData::OOCs, graph);
      const auto wanted = bits_[g] & store::ApplicableRules(store_.Rules(), word, graph);
      for (std::size_t i = 0; i < marks.size(); ++i) {
        if (words[i] != word || !gives(LimitAt(i), g)) continue;
        marks_[g][i] = static_cast<std::int32_t>(static_cast<std::uint32_t>(marks[i]) & wanted);
      }
    }
  }

  // By the functions of the charts that the rows in force were made from.
  void Judge() {
    if (Points().empty()) return;  // there the test may have lost its type
    const auto usual = UsualWord();
    std::vector<std::int32_t> words(Points().size(), 0);  // 0: no row
    for (std::size_t i = 0; i < words.size(); ++i) {
      if (in_force_[i] < 0) continue;
      words[i] = LimitAt(i).chart_word != 0 ? LimitAt(i).chart_word : usual;
    }
    for (auto& marks : marks_) marks.assign(Points().size(), 0);
    const auto notes = store::NoteCount();
    for (const auto word : std::set(words.begin(), words.end())) {
      if (word != 0) JudgeBy(word, words);
    }
    store::KeepNotes(notes);
  }

  void JudgeBy(std::int32_t word, const std::vector<std::int32_t>& words) {
    API_DSInfo info{};
    info.Status = 7;
    if (Of().test_type == ttVariable) {
      charts::VariableRun run;
      run.KeepToSelection();
      API_CCVarOptions options{};
      options.ChartWord = word;
      if (run.Process(store_, info, {}, options) == 0) return;
      TakeMarks(run, word, words, [&](const catalogue::ControlLimit& limit, std::size_t graph) {
        return charts::GivesSigma(limit, run.EstimatesOf(0), run.Plan(), graph);
      });
    } else {
      charts::AttributeRun run;
      run.KeepToSelection();
      if (run.Process(store_, info, {}, {word, 0, 0.0}) == 0) return;
      TakeMarks(run, word, words, [](const catalogue::ControlLimit&, std::size_t) { return true; });
    }
  }

  // Each stretch of violations: whether it may raise an alarm or only keeps the one that it raised.
  std::vector<Signal> Signals(const std::vector<Alarm>& known) {
    std::vector<Signal> signals;
    FindSignals(signals);
    FindBeyondSpecification(signals);
    EndWhereClosed(signals, known);
    return signals;
  }

  void FindSignals(std::vector<Signal>& signals) const {
    for (const auto& rule : *store_.Rows().rules) {
      const bool is_single = rule.m <= 1;
      for (std::size_t g = 0; g < kGraphs; ++g) {
        if (marks_[g].empty()) continue;
        const Cause cause{static_cast<std::int32_t>(g) + 1, rule.number};
        Collect(
            cause, is_single,
            [&](std::size_t i) {
              return in_force_[i] >= 0 &&
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
      if (counts_[i] == 0 || !is_marked(i)) {
        goes_on = false;
        continue;
      }
      // New limits or a phase end a run.
      if (goes_on && !is_single && in_force_[signals.back().last] == in_force_[i] &&
          stretch_[signals.back().last] == stretch_[i]) {
        signals.back().last = i;
        ++signals.back().points;
      } else {
        signals.push_back({cause, i, i, 1});
      }
      goes_on = true;
    }
  }

  // By the comparison that the charts make.
  void FindBeyondSpecification(std::vector<Signal>& signals) {
    if (specs_.empty()) return;
    catalogue::EffectiveRows<API_CCSpecLim> effective(specs_);
    const auto& data = store_.Data();
    std::vector<std::uint8_t> beyond(Points().size(), 0);
    spec_eligible_.assign(Points().size(), 0);
    const API_CCSpecLim* bounded = nullptr;
    std::optional<platform::SpecificationBounds> bounds;
    for (std::size_t i = 0; i < Points().size(); ++i) {
      const auto& point = Points()[i];
      const auto* const row = effective.At(point.Sgtm);
      if (row == nullptr) continue;
      if (row != bounded) bounds.emplace(*row);
      bounded = row;
      spec_eligible_[i] = point.Sgtm >= row->Stamp4;
      if (bounds->Active() == 0) continue;
      for (auto at = point.Test_Start; at <= point.Test_End; ++at) {
        const auto place = static_cast<std::size_t>(at);
        const auto reading = data.keys.empty() ? 0 : data.keys[place].Sbno;
        if (bounds->BrokenBy(data.values[place], reading) != 0) beyond[i] = 1;
      }
    }
    Collect(
        {kNoGraph, kSpecification}, true, [&](std::size_t i) { return beyond[i] != 0; }, signals);
  }

  // The first point of a signal that may raise an alarm: one that came after what judges it was
  // stored, and is not too old; past the last one where none may.
  std::size_t FirstOf(const Signal& signal) const {
    const auto& eligible = signal.cause.rule == kSpecification ? spec_eligible_ : eligible_;
    auto i = signal.first;
    while (i <= signal.last &&
           (counts_[i] == 0 || eligible[i] == 0 || Points()[i].Sgtm < oldest_)) {
      ++i;
    }
    return i;
  }
  std::size_t CountOf(std::size_t from, std::size_t to) const {
    return static_cast<std::size_t>(
        std::count(counts_.begin() + static_cast<std::ptrdiff_t>(from),
                   counts_.begin() + static_cast<std::ptrdiff_t>(to) + 1, std::uint8_t{1}));
  }
  // Of a subgroup in a signal, past the last one where it is in none of its points.
  std::size_t PlaceIn(const Signal& signal, std::int32_t subgroup) const {
    auto i = signal.first;
    while (i <= signal.last && Points()[i].Sgrp != subgroup) ++i;
    return i;
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

  // Also one that was withdrawn and comes back with the signal.
  bool IsClosed(const Alarm& alarm, const Signal& signal, const std::vector<Alarm>& known) const {
    if (alarm.state != "withdrawn") return alarm.state == "closed";
    return Find(signal, FirstOf(signal), known) == &alarm && StateBefore(db_, alarm) == "closed";
  }

  // What is marked after an alarm was closed is another one.
  void EndWhereClosed(std::vector<Signal>& signals, const std::vector<Alarm>& known) const {
    for (std::size_t s = 0; s < signals.size(); ++s) {
      for (const auto& each : known) {
        const auto signal = signals[s];
        if (each.graph != signal.cause.graph || each.rule != signal.cause.rule) continue;
        if (!IsClosed(each, signal, known)) continue;
        const auto end = PlaceIn(signal, each.last_subgroup);
        if (end >= signal.last) continue;
        auto next = end + 1;
        while (counts_[next] == 0) ++next;  // the last one does
        signals[s] = {signal.cause, signal.first, end, CountOf(signal.first, end)};
        signals.push_back({signal.cause, next, signal.last, CountOf(next, signal.last)});
      }
    }
  }

  // Opens what is new, extends what goes on, withdraws what is no more.
  void Settle(const std::vector<Signal>& signals, const std::vector<Alarm>& known,
              std::vector<Alarm>& opened) {
    std::set<std::int32_t> confirmed;
    for (auto signal : signals) {
      const auto first = FirstOf(signal);
      const auto* const same = Find(signal, first, known);
      if (same != nullptr) {
        confirmed.insert(same->event);
        BeginAt(signal, PlaceIn(signal, same->first_subgroup));
        auto alarm = AlarmOf(signal);
        // The rules did not see all that came before the first of these points.
        if (IsTouched(signal.last) || IsExact(signal.first) ||
            alarm.first_subgroup == same->first_subgroup) {
          alarm.points = PointsOf(signal, *same);
          Extend(writing_, *same, alarm);
        }
        continue;
      }
      if (first > signal.last || !IsTouched(signal.last)) continue;
      BeginAt(signal, first);
      auto alarm = AlarmOf(signal);
      alarm.is_late = mark_ && KeyOf(Points()[first]) <= *mark_;
      Open(writing_, Of().id, alarm);
      opened.push_back(alarm);
    }
    const auto end =
        Points().empty() ? touched_.last : std::max(touched_.last, KeyOf(Points().back()));
    for (const auto& each : known) {
      const store::RecordKey key{each.time, each.first_subgroup};
      const bool was_judged = !(key < touched_.first) && !(end < key);
      if (was_judged && each.state != "withdrawn" && !confirmed.contains(each.event)) {
        Withdraw(writing_, each, EntryBehind(each));
      }
    }
  }

  // Leaves out what lies before a point of a signal; nothing where the point is not in it.
  void BeginAt(Signal& signal, std::size_t place) const {
    if (place > signal.last) return;
    signal = {signal.cause, place, signal.last, CountOf(place, signal.last)};
  }

  // The alarm that a signal belongs to: one that begins with it, or that it goes on from.
  //   - first: of its points that may raise an alarm. Those before keep the one that they raised,
  //     which is older than the limits in force now, or than the horizon.
  const Alarm* Find(const Signal& signal, std::size_t first,
                    const std::vector<Alarm>& known) const {
    const Alarm* withdrawn = nullptr;
    const Alarm* found = nullptr;
    std::size_t place_of_found = 0;
    for (const auto& each : known) {
      if (each.graph != signal.cause.graph || each.rule != signal.cause.rule) continue;
      const auto place = PlaceIn(signal, each.first_subgroup);
      if (each.state == "withdrawn") {
        // It comes back only where the rules see all that they look at, or something is new.
        const bool may_come_back = IsExact(first) || IsTouched(signal.last);
        if (place == first && place <= signal.last && may_come_back) withdrawn = &each;
        continue;
      }
      if (place <= signal.last) {
        if (place <= first && (found == nullptr || place < place_of_found)) {
          found = &each;
          place_of_found = place;
        }
        continue;
      }
      // It may have begun where they do not see enough of what came before.
      const store::RecordKey begin{each.time, each.first_subgroup};
      if (IsExact(signal.first) || !(begin < KeyOf(Points()[signal.first]))) continue;
      if (PlaceIn(signal, each.last_subgroup) <= signal.last) return &each;
    }
    return found != nullptr ? found : withdrawn;
  }

  // The entry of the log that changed what an alarm is about: of several the last one before its
  // end.
  std::int64_t EntryBehind(const Alarm& alarm) const {
    if (touched_.entries.empty()) return entry_;
    store::RecordKey last{alarm.time, alarm.first_subgroup};
    for (const auto& point : Points()) {
      if (point.Sgrp == alarm.last_subgroup) last = KeyOf(point);
    }
    const auto behind = touched_.entries.upper_bound(last);
    return behind == touched_.entries.begin() ? behind->second : std::prev(behind)->second;
  }

  // The points of an alarm that has come to a signal. Those before what was read are known.
  std::int32_t PointsOf(const Signal& signal, const Alarm& known) const {
    const auto& points = Points();
    auto count = static_cast<std::int32_t>(signal.points);
    if (points[signal.first].Sgrp == known.first_subgroup) return count;
    auto i = signal.first;
    for (; i < signal.last && points[i].Sgrp != known.last_subgroup; ++i) {
      if (counts_[i] != 0) --count;
    }
    return known.points + count - 1;
  }

  // No later than the newest record: what comes after one that was taken out is not late.
  void StoreMark() {
    if (!newest_) {
      sql::Query(db_, "DELETE FROM alarm_mark WHERE stream = ?1", Of().id).Run();
      return;
    }
    if (Points().empty()) return;
    const auto judged = std::min(
        mark_ ? std::max(*mark_, KeyOf(Points().back())) : KeyOf(Points().back()), *newest_);
    if (judged == mark_) return;
    sql::Query(
        db_,
        "INSERT INTO alarm_mark(stream, time, subgroup, limit_row, rules) "
        "VALUES(?1, ?2, ?3, ?4, ?5) ON CONFLICT(stream) DO UPDATE SET "
        "time = excluded.time, subgroup = excluded.subgroup, "
        "limit_row = excluded.limit_row, rules = excluded.rules",
        Of().id, judged.time, judged.subgroup, limit_row_,
        std::to_string(bits_[0]) + " " + std::to_string(bits_[1]) + " " + std::to_string(bits_[2]))
        .Run();
  }

  log::Writing& writing_;
  sql::Connection& db_;
  ChartRows& rows_;
  StreamStore store_;
  Touched touched_;
  std::int64_t entry_;                      // the latest one of the log before judging
  std::optional<store::RecordKey> mark_;    // up to where it was judged before
  std::optional<store::RecordKey> newest_;  // stored
  std::vector<catalogue::ControlLimit> limits_;
  std::vector<API_CCSpecLim> specs_;
  std::array<std::uint32_t, kGraphs> bits_{};
  std::size_t look_back_ = 3;  // of moving averages
  // At each point.
  std::vector<std::uint8_t> counts_, eligible_, spec_eligible_;
  std::vector<std::int32_t> stretch_;
  std::vector<std::ptrdiff_t> in_force_;  // rows of limits
  std::array<std::vector<std::int32_t>, kGraphs> marks_;
  std::int64_t oldest_ = INT64_MIN;
  std::int32_t limit_row_ = 0;
};

}  // namespace

void TouchedStreams::Add(std::int64_t stream, store::RecordKey key, std::int64_t entry) {
  auto& ends = ends_.try_emplace(stream, Touched{stream, key, key}).first->second;
  ends.first = std::min(ends.first, key);
  ends.last = std::max(ends.last, key);
  if (entry != 0) ends.entries[key] = entry;
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

void JudgeFrom(log::Writing& writing, const store::StreamIds& of, std::int32_t from,
               std::int64_t entry) {
  auto& db = writing.Db();
  std::vector<Touched> touched;
  for (sql::Query query(db,
                        "SELECT id FROM stream WHERE (?1 = 0 OR part = ?1) "
                        "AND (?2 = 0 OR process = ?2) AND (?3 = 0 OR test = ?3) ORDER BY id",
                        of.part, of.process, of.test);
       query.Step();) {
    const store::RecordKey first{from, INT32_MIN};
    touched.push_back({query.Int64(0), first, first, {{first, entry}}});
  }
  for (auto& each : touched) {
    each.last = std::max(each.first, NewestOf(db, each.stream).value_or(each.first));
  }
  std::erase_if(touched, [](const Touched& each) { return each.first == each.last; });
  Judge(writing, touched);
}

}  // namespace orvspc::engine::alarms
