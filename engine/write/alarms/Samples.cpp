// SPDX-License-Identifier: Apache-2.0
#include "engine/write/alarms/Samples.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "engine/compliance/SamplingInput.h"
#include "engine/sql/counter.h"
#include "engine/store/conditions.h"
#include "engine/time/calendar.h"
#include "engine/write/alarms/alarm_rows.h"
#include "engine/write/log/Json.h"
#include "platform/Enumerations.h"
#include "platform/TimeText.h"

namespace orvspc::engine::alarms {
namespace {

using compliance::Requirement;
using compliance::SamplingWindow;

// A requirement and how far it is judged.
struct Judged {
  std::int32_t id = 0, part = 0, process = 0, test = 0;
  std::string name;
  bool is_by_item = false;  // asks for samples of each lot or job, any of which may be old
  std::optional<std::int64_t> valid_from;
  std::optional<std::int64_t> mark;  // windows that are due then or earlier are settled
};

std::vector<Judged> ReadJudged(sql::Connection& db) {
  sql::Query query(db,
                   "SELECT r.id, r.part, r.process, r.test, r.name, "
                   "CASE WHEN r.kind IN ('lot', 'job') THEN 1 ELSE 0 END, r.valid_from, m.due "
                   "FROM requirement r LEFT JOIN sampling_mark m ON m.requirement = r.id "
                   "WHERE r.active <> 0 ORDER BY r.id");
  std::vector<Judged> all;
  while (query.Step()) {
    auto& each = all.emplace_back();
    query.Read(each.id, each.part, each.process, each.test, each.name, each.is_by_item,
               each.valid_from, each.mark);
  }
  return all;
}

// The event of a window that was short.
struct Known {
  std::int32_t event = 0;
  bool is_withdrawn = false;
};

std::map<std::int64_t, Known> ReadKnown(sql::Connection& db, std::int32_t requirement) {
  sql::Query query(db, "SELECT due, event, is_withdrawn FROM missed_sample WHERE requirement = ?1",
                   requirement);
  std::map<std::int64_t, Known> known;
  while (query.Step()) known[query.Int64(0)] = {query.Int(1), query.Int(2) != 0};
  return known;
}

bool IsShort(const SamplingWindow& window) { return window.collected < window.expected; }

// Judges one requirement.
class RequirementCheck {
 public:
  RequirementCheck(store::Store& store, log::Writing& writing, Judged judged)
      : store_(store), writing_(writing), db_(writing.Db()), judged_(std::move(judged)) {}

  void Run(SamplingCheck& found) {
    ReadInput();
    if (!requirement_) return;
    if (!judged_.mark && requirement_->kind == compliance::SamplingKind::Interval) {
      // However long the history is, only the windows since the horizon are made.
      const auto first =
          compliance::BeginOfNewest(input_.segments.at(requirement_->process), requirement_->valid,
                                    requirement_->every, requirement_->grace, now_, Horizon());
      if (!first) return;
      StoreMark(*first - 1);
    }
    auto windows = OverSince(judged_.mark);
    if (windows.empty() && !judged_.mark) return;
    const auto horizon = (windows.empty() ? *judged_.mark : windows.back().due) - Horizon();
    if (!judged_.mark) {
      StoreMark(MarkBefore(windows, horizon));
      windows = OverSince(judged_.mark);
    }
    Settle(windows, found);
    Advance(windows, horizon);
  }

 private:
  // The samples since the mark, and what they are counted by.
  void ReadInput() {
    auto start = judged_.mark ? std::optional(*judged_.mark + 1) : judged_.valid_from;
    if (judged_.is_by_item) start.reset();
    // What nobody has measured yet is missed since the process began, or the part on it.
    if (!start) {
      start = compliance::BeginOfProcess(db_, store_.Cache(), judged_.process, judged_.part);
    }
    if (!start) return;
    const auto range = store::SelectionOf({judged_.part, judged_.process, judged_.test},
                                          static_cast<std::int32_t>(*start), time::kNoStamp);
    auto info = range.info;
    store::DataSet data;
    store_.Select(info, range.filter, {}, data);
    input_ = compliance::ReadSamplingInput(store_, db_, range.info, range.filter, data.subgroups);
    const auto same = std::ranges::find(input_.requirements, judged_.id, &Requirement::id);
    if (same == input_.requirements.end()) return;
    requirement_ = *same;
    for (const auto& subgroup : data.subgroups) {
      if (subgroup.Flag == sfEnabled && requirement_->Covers(subgroup)) {
        samples_.push_back(compliance::SampleOf(*requirement_, subgroup));
      }
    }
  }

  std::int64_t Horizon() { return SecondsOfHorizon(store_.Setting("alarm_horizon", "")); }

  bool IsOver(const SamplingWindow& window) const {
    if (!judged_.is_by_item) return window.due < now_;
    return std::ranges::any_of(
        input_.occasions.at(judged_.id),
        [&](const compliance::Occasion& other) { return other.start > window.due; });
  }

  // The windows that are over and were due after that time, in their order.
  std::vector<SamplingWindow> OverSince(std::optional<std::int64_t> mark) const {
    auto requirement = *requirement_;
    if (mark && !judged_.is_by_item) {
      requirement.valid.start = std::max(requirement.valid.start, *mark + 1);
    }
    auto windows = compliance::WindowsOf(input_, requirement, samples_);
    std::erase_if(windows, [&](const SamplingWindow& window) {
      return !IsOver(window) || (mark && window.due <= *mark);
    });
    std::ranges::sort(windows, {}, &SamplingWindow::due);
    return windows;
  }

  // The end of what lies before the last window that begins by then; before the first one, where
  // none does.
  std::int64_t MarkBefore(const std::vector<SamplingWindow>& windows, std::int64_t time) const {
    if (judged_.is_by_item) return time;
    auto mark = windows.front().begin - 1;
    for (const auto& window : windows) {
      if (window.begin <= time) mark = window.begin - 1;
    }
    return mark;
  }

  void StoreMark(std::int64_t mark) {
    judged_.mark = mark;
    sql::Query(db_,
               "INSERT INTO sampling_mark(requirement, due) VALUES(?1, ?2) "
               "ON CONFLICT(requirement) DO UPDATE SET due = excluded.due",
               judged_.id, mark)
        .Run();
  }

  // Opens what is new, withdraws what is no more.
  void Settle(const std::vector<SamplingWindow>& windows, SamplingCheck& found) {
    auto known = ReadKnown(db_, judged_.id);
    for (const auto& window : windows) {
      if (!IsShort(window)) continue;
      const auto same = known.find(window.due);
      if (same == known.end()) {
        found.missed.push_back(Open(window));
        continue;
      }
      if (same->second.is_withdrawn) found.missed.push_back(Change(same->second, window, false));
      known.erase(same);
    }
    for (const auto& [due, event] : known) {
      if (event.is_withdrawn || due <= *judged_.mark) continue;
      const auto now = std::ranges::find(windows, due, &SamplingWindow::due);
      const auto window = now == windows.end() ? SamplingWindow{due, 0, 0, 0} : *now;
      found.withdrawn.push_back(Change(event, window, true));
    }
  }

  MissedWindow MissedOf(std::int32_t event, const SamplingWindow& window) const {
    return {event,
            judged_.id,
            judged_.name,
            judged_.part,
            judged_.process,
            judged_.test,
            static_cast<std::int32_t>(window.due),
            static_cast<std::int32_t>(window.expected),
            static_cast<std::int32_t>(window.collected)};
  }

  MissedWindow Open(const SamplingWindow& window) {
    const auto event = static_cast<std::int32_t>(sql::TakeIds(db_, "event"));
    auto missed = MissedOf(event, window);
    sql::Query(db_,
               "INSERT INTO event(id, type, name, time, process, part, test, flag) "
               "VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, 0)",
               event, etSamplingViolation, EventName(db_, judged_.name), window.due,
               judged_.process, sql::Reference{judged_.part}, judged_.test)
        .Run();
    sql::Query(db_, "INSERT INTO missed_sample(event, requirement, due) VALUES(?1, ?2, ?3)", event,
               judged_.id, window.due)
        .Run();
    Note(missed, "", false);
    return missed;
  }

  // It was filled later, or is short again.
  MissedWindow Change(const Known& known, const SamplingWindow& window, bool withdraw) {
    sql::Query(db_,
               "UPDATE missed_sample SET is_withdrawn = ?2, revision = revision + 1 "
               "WHERE event = ?1",
               known.event, withdraw ? 1 : 0)
        .Run();
    auto missed = MissedOf(known.event, window);
    Note(missed, log::CanonicalText({{"state", withdraw ? "missed" : "withdrawn"}}), withdraw);
    return missed;
  }

  // In the log and for hooks.
  void Note(const MissedWindow& missed, const std::string& before, bool withdraw) {
    const log::Json says = {
        {"requirement", missed.name},
        {"part", NameOf(db_, "SELECT name FROM part WHERE id = ?1", missed.part)},
        {"process", NameOf(db_, "SELECT name FROM process WHERE id = ?1", missed.process)},
        {"test", NameOf(db_, "SELECT name FROM test WHERE id = ?1", missed.test)},
        {"due", platform::IsoText(missed.due) + "Z"},
        {"expected", missed.expected},
        {"collected", missed.collected}};
    writing_.Add(withdraw ? "samples-withdraw" : "samples-missed",
                 "event " + std::to_string(missed.event), before, log::CanonicalText(says));
    const auto revision =
        sql::Query(db_, "SELECT revision FROM missed_sample WHERE event = ?1", missed.event)
            .RunForInt();
    log::Json message = {{"samples", missed.event},
                         {"what", withdraw ? "samples withdrawn" : "samples missed"}};
    message.update(says);
    TellOf(writing_, missed.event, revision.value_or(0), message);
  }

  // Moves the mark up to the first window that is short, and no nearer to the newest than that
  // time.
  void Advance(const std::vector<SamplingWindow>& windows, std::int64_t latest) {
    if (judged_.is_by_item || windows.empty()) return;
    const auto first = std::ranges::find_if(windows, IsShort);
    if (first != windows.end()) latest = std::min(latest, first->begin);
    const auto mark = MarkBefore(windows, latest);
    if (mark <= *judged_.mark) return;
    // A sample in the grace of the window before may count for that one or for the next.
    auto rest = windows;
    std::erase_if(rest, [&](const SamplingWindow& window) { return window.begin <= mark; });
    const auto same = [](const SamplingWindow& a, const SamplingWindow& b) {
      return a.due == b.due && a.collected == b.collected;
    };
    if (std::ranges::equal(rest, OverSince(mark), same)) StoreMark(mark);
  }

  store::Store& store_;
  log::Writing& writing_;
  sql::Connection& db_;
  Judged judged_;
  std::int64_t now_ = time::Now();
  compliance::SamplingInput input_;
  std::optional<Requirement> requirement_;
  std::vector<compliance::TakenSample> samples_;
};

}  // namespace

SamplingCheck CheckSamples(store::Store& store, log::Writing& writing) {
  SamplingCheck found;
  const auto notes = store::NoteCount();
  for (auto& each : ReadJudged(writing.Db())) {
    const auto name = each.name;
    try {
      RequirementCheck(store, writing, std::move(each)).Run(found);
    } catch (const compliance::TooManyIntervals& failure) {
      found.notes.push_back({"not-checked", failure.what(), name});
    }
  }
  store::KeepNotes(notes);  // of the analysis: nobody sees it
  return found;
}

}  // namespace orvspc::engine::alarms
