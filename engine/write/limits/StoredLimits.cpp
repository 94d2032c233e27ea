// SPDX-License-Identifier: Apache-2.0
#include "engine/write/limits/StoredLimits.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "engine/catalogue/References.h"
#include "engine/chunks/StreamWalk.h"
#include "engine/sql/counter.h"
#include "engine/store/phases.h"
#include "engine/time/calendar.h"
#include "engine/write/change/version.h"
#include "engine/write/log/Json.h"
#include "engine/write/log/texts.h"
#include "engine/write/phases.h"
#include "platform/Actor.h"
#include "platform/ChartWord.h"
#include "platform/TimeText.h"

namespace orvspc::engine::limits {
namespace {

using log::Json;

// How the figures of a row are made beyond what it says itself: its entries of the log do.
constexpr const char *kCentreKey = "centre", *kWithinKey = "sw_estimator";

std::string ObjectOf(std::int32_t id) { return "limit " + std::to_string(id); }

LimitState StateOf(std::string_view word) {
  const auto found = std::ranges::find(kLimitStates, word);
  if (found == std::end(kLimitStates)) {
    throw std::runtime_error("The database is damaged: a row of control limits is " +
                             std::string(word));
  }
  return static_cast<LimitState>(found - std::begin(kLimitStates));
}
std::string_view WordOf(LimitState state) { return kLimitStates[static_cast<std::size_t>(state)]; }

bool Holds(const ListedLimit& row) {
  return row.state == LimitState::Active || row.state == LimitState::Retired;
}
std::int64_t EndOf(const ListedLimit& row) {
  return row.until ? std::int64_t{*row.until} : catalogue::kNever;
}

bool SameStream(const ListedLimit& a, const ListedLimit& b) {
  return a.part == b.part && a.process == b.process && a.test == b.test;
}
// One takes over from the other: rows of one stream, or for any process, that serve the same
// charts.
bool ShareCharts(const ListedLimit& a, const ListedLimit& b) {
  return SameStream(a, b) && catalogue::ShareCharts(a.chart_word, b.chart_word);
}

std::string NameIn(sql::Connection& db, catalogue::ItemKind kind, std::int32_t id) {
  static const auto texts = catalogue::TextsByKind([](catalogue::ItemKind each) {
    return "SELECT name FROM " + catalogue::TableOf(each) + " WHERE id = ?1";
  });
  sql::Query query(db, texts[static_cast<std::size_t>(kind)], id);
  return query.Step() ? std::string(query.Text(0)) : std::string();
}

using platform::IsoText;

// What a step can change, as the log has it.
Json StateJson(const ListedLimit& row) {
  Json json = {{"status", WordOf(row.state)}};
  if (row.effective != INT32_MIN) json["effective"] = IsoText(row.effective);
  if (row.until) json["until"] = IsoText(*row.until);
  if (row.replaced_by != 0) json["replaced_by"] = row.replaced_by;
  return json;
}

// made: where the figures are new.
Json WholeJson(sql::Connection& db, const ListedLimit& row,
               const std::vector<LimitExclusion>& exclusions, const LimitProposal* made = nullptr) {
  Json json = {{"part", NameIn(db, catalogue::ItemKind::Part, row.part)}};
  if (row.process != 0) json["process"] = NameIn(db, catalogue::ItemKind::Process, row.process);
  json["test"] = NameIn(db, catalogue::ItemKind::Test, row.test);
  json.update(StateJson(row));
  json["mean"] = log::Number(row.mean);
  for (const auto& [name, value] : {std::pair{"sp", row.sp}, {"sw", row.sw}}) {
    if (value != 0.0) json[name] = log::Number(value);
  }
  json["chart_word"] = row.chart_word;
  json["start"] = IsoText(row.start);
  json["finish"] = IsoText(row.finish);
  json["used"] = row.used;
  json["estimator"] = row.estimator;
  if (made != nullptr) {
    json[kCentreKey] = made->mean_name;
    if (row.sw != 0.0) json[kWithinKey] = made->within_estimator;
  }
  json["digest"] = row.digest;
  if (!row.rule.empty()) json["rule"] = row.rule;
  for (const auto& each : exclusions) {
    json["exclusions"].push_back({{"subgroup", each.subgroup}, {"reason", each.reason}});
  }
  return json;
}

void StoreState(log::Writing& writing, const ListedLimit& before, const ListedLimit& after) {
  sql::Query(writing.Db(),
             "UPDATE control_limit SET status = ?2, effective = ?3, until = ?4, "
             "replaced_by = ?5, state_at = ?6, approved_at = ?7, reason = ?8 WHERE id = ?1",
             after.id, WordOf(after.state), after.effective, after.until,
             after.replaced_by == 0 ? std::nullopt : std::optional(after.replaced_by),
             writing.Seconds(), after.approved_at, writing.Reason())
      .Run();
  writing.Add("limit", ObjectOf(after.id), log::CanonicalText(StateJson(before)),
              log::CanonicalText(StateJson(after)));
}

// The row that a step is for.
ListedLimit Stepping(log::Writing& writing, std::int32_t id, Expected expected) {
  writing.NeedReason();
  auto row = NeedLimit(writing.Db(), id);
  change::CheckVersion(writing.Db(), ObjectOf(id), "limits: " + std::to_string(id), expected);
  return row;
}

[[noreturn]] void RefuseState(const ListedLimit& row, std::string_view needed) {
  throw Refused("state", "limit", std::to_string(row.id),
                "limits: " + std::to_string(row.id) + " is " + std::string(WordOf(row.state)) +
                    ", not " + std::string(needed));
}

void EndProposed(log::Writing& writing, std::int32_t id, Expected expected, LimitState state) {
  const auto before = Stepping(writing, id, expected);
  if (before.state != LimitState::Proposed) RefuseState(before, "proposed");
  auto after = before;
  after.state = state;
  StoreState(writing, before, after);
}

// Both of them, or one, agree to what only one proposed.
void CheckApprover(const log::Writing& writing, const ListedLimit& row) {
  sql::Query setting(writing.Db(),
                     "SELECT value FROM setting WHERE key = 'approval' ORDER BY id DESC LIMIT 1");
  if (!setting.Step() || setting.Text(0) != "two" || row.who != writing.Who()) return;
  throw Refused("approval", "by", row.who,
                "approve: the one who proposed (" + row.who + ") cannot approve");
}

// Rows that held on at a time and of which this one takes over; where one began at this very time,
// it is retired or came before this one.
void EndAt(log::Writing& writing, const ListedLimit& by, std::int32_t time) {
  for (const auto& row : ReadLimits(writing.Db(), {by.part, by.process, by.test})) {
    if (row.id == by.id || !Holds(row) || !ShareCharts(row, by)) continue;
    if (row.effective > time || EndOf(row) <= time) continue;
    if (row.effective == time && row.state == LimitState::Active && row.id > by.id) continue;
    auto ended = row;
    ended.until = time;
    ended.state = LimitState::Retired;
    ended.replaced_by = by.id;
    StoreState(writing, row, ended);
  }
}

// When a row ends by itself, whatever takes over from it before: where it was retired, or how it
// was stored. By the log: ends that another row gave it name that row.
std::optional<std::int32_t> OwnEnd(sql::Connection& db, const ListedLimit& row) {
  std::optional<std::int32_t> end;
  const auto take = [&](const Json& state) {
    const auto until = state.value("until", std::string());
    const auto time = platform::ParseIsoTime(until);
    if (time && !state.contains("replaced_by")) end = static_cast<std::int32_t>(*time);
  };
  const auto object = ObjectOf(row.id);  // a query reads its texts at each step
  sql::Query log(db, "SELECT before, after FROM log WHERE object = ?1 ORDER BY seq", object);
  while (log.Step()) {
    for (const int column : {0, 1}) {
      const auto json = log::ReadJson(log.Text(column));
      if (json.is_object()) take(json);
    }
  }
  return end;
}

// The figures of what was computed, in the order of the columns below.
template <class Store>
void WithFigures(const Computed& computed, Store store) {
  const auto given = [](double value) {
    return std::isnan(value) ? std::nullopt : std::optional(value);
  };
  std::array<std::optional<double>, std::size(catalogue::kLimitFigures)> figures;
  for (std::size_t i = 0; i < figures.size(); ++i) {
    figures[i] = given(computed.figures.*catalogue::kLimitFigures[i].figure);
  }
  const auto& shown = computed.shown;
  store(shown.mean, given(shown.sp).value_or(0.0), given(shown.sw).value_or(0.0), shown.start,
        shown.finish, shown.chart_word, shown.digest, shown.estimator, shown.used, figures);
}

// Whether the stream of a row has a point from a time up to and without another one.
bool HasPoints(sql::Connection& db, const ListedLimit& row, std::int32_t start, std::int32_t end) {
  const auto stream =
      sql::Query(db, "SELECT id FROM stream WHERE part = ?1 AND process = ?2 AND test = ?3",
                 row.part, row.process, row.test)
          .RunForInt();
  bool has = false;
  if (!stream || start >= end) return has;
  store::StreamWalk(db, *stream, false, start, end - 1).ForEach([&](const store::RecordView& each) {
    has = each.Flag() == sfEnabled;
    return !has;
  });
  return has;
}

// The phase that begins with a row: of the given name, or that of its policy, unless the time is
// the first one of a phase, or lies in one of other streams, too.
std::string PhaseBegunBy(sql::Connection& db, const ListedLimit& row,
                         const LimitApproval& approval) {
  if (!approval.new_phase.empty() || !PresetOf(row.rule).begins_phase) return approval.new_phase;
  for (const auto& phase : store::ReadPhases(db)) {
    if (!store::HoldsFor(phase, row.part, row.process, row.test) || !phase.Holds(row.effective)) {
      continue;
    }
    if (phase.part != row.part || phase.process != row.process || phase.test != row.test ||
        !HasPoints(db, row, phase.start, row.effective)) {
      return {};
    }
  }
  return "limits " + std::to_string(row.id);
}

std::int32_t Behind(std::int32_t time) { return time == INT32_MAX ? time : time + 1; }

void StoreExclusions(sql::Connection& db, std::int32_t id,
                     const std::vector<LimitExclusion>& exclusions) {
  sql::Query(db, "DELETE FROM limit_exclusion WHERE limit_row = ?1", id).Run();
  for (const auto& each : exclusions) {
    sql::Query(db, "INSERT INTO limit_exclusion(limit_row, subgroup, reason) VALUES(?1, ?2, ?3)",
               id, each.subgroup, each.reason)
        .Run();
  }
}

void CheckProposable(const LimitRequest& request, const LimitProposal& shown) {
  if (request.force || shown.missing.empty()) return;
  std::string text;
  for (const auto& each : shown.missing) text += (text.empty() ? "" : "; ") + each;
  throw Refused("missing", "window", "", "limits: not proposed: " + text + " (--force)");
}

}  // namespace

std::vector<ListedLimit> ReadLimits(sql::Connection& db, const store::StreamIds& of) {
  std::vector<ListedLimit> rows;
  sql::Query query(
      db,
      "SELECT id, part, coalesce(process, 0), test, status, effective, until, mean, "
      "sp, spl, sw, swl, chart_word, start, finish, estimator, rule, reason, who, "
      "digest, used, average_size, coalesce(replaced_by, 0), made, state_at, approved_at "
      "FROM control_limit WHERE (part = ?1 OR ?1 = 0) AND (test = ?3 OR ?3 = 0) "
      "AND (coalesce(process, 0) IN (0, ?2) OR ?2 = 0) "
      "ORDER BY part, test, coalesce(process, 0), effective, id",
      of.part, of.process, of.test);
  while (query.Step()) {
    auto& row = rows.emplace_back();
    std::string state;
    query.Read(row.id, row.part, row.process, row.test, state, row.effective, row.until, row.mean,
               row.sp, row.spl, row.sw, row.swl, row.chart_word, row.start, row.finish,
               row.estimator, row.rule, row.reason, row.who, row.digest, row.used, row.average_size,
               row.replaced_by, row.made, row.state_at, row.approved_at);
    row.state = StateOf(state);
  }
  const auto now = time::Now();
  const auto holds_now = [&](const ListedLimit& row) {
    return Holds(row) && row.effective <= now && now < EndOf(row);
  };
  // Of one part, test and process they follow one another, the newest last.
  for (auto row = rows.begin(); row != rows.end(); ++row) {
    row->in_force = holds_now(*row);
    for (auto next = row + 1; row->in_force && next != rows.end() && SameStream(*next, *row);
         ++next) {
      row->in_force = !holds_now(*next) || !ShareCharts(*next, *row);
    }
  }
  return rows;
}

ListedLimit NeedLimit(sql::Connection& db, std::int32_t id) {
  auto rows = ReadLimits(db);
  const auto found = std::ranges::find(rows, id, &ListedLimit::id);
  if (found == rows.end()) {
    throw Refused(
        "unknown", "limit", std::to_string(id),
        "limits: there is no row " + std::to_string(id) + " (orvspc limits list shows them)");
  }
  return *found;
}

std::vector<LimitExclusion> ExclusionsOf(sql::Connection& db, std::int32_t id) {
  return sql::Query(db,
                    "SELECT subgroup, reason FROM limit_exclusion WHERE limit_row = ?1 "
                    "ORDER BY subgroup",
                    id)
      .All<LimitExclusion>(&LimitExclusion::subgroup, &LimitExclusion::reason);
}

std::vector<LimitExclusion> LeftOut(sql::Connection& db, const store::StreamIds& stream) {
  auto all =
      sql::Query(db,
                 "SELECT e.subgroup, e.reason FROM control_limit l "
                 "JOIN limit_exclusion e ON e.limit_row = l.id WHERE l.part = ?1 "
                 "AND coalesce(l.process, ?2) = ?2 AND l.test = ?3 "
                 "AND l.status IN ('active', 'retired') "
                 "AND (l.until IS NULL OR l.until > l.effective) ORDER BY e.subgroup, l.id DESC",
                 stream.part, stream.process, stream.test)
          .All<LimitExclusion>(&LimitExclusion::subgroup, &LimitExclusion::reason);
  const auto behind = std::unique(all.begin(), all.end(), [](const auto& left, const auto& right) {
    return left.subgroup == right.subgroup;
  });
  all.erase(behind, all.end());
  return all;
}

std::int32_t Propose(log::Writing& writing, const LimitRequest& request, const Computed& computed) {
  writing.NeedReason();
  log::NeedText("rule", request.rule);
  for (const auto& each : request.exclusions) log::NeedText("exclude", each.reason);
  CheckProposable(request, computed.shown);
  auto& db = writing.Db();
  const auto id = static_cast<std::int32_t>(sql::TakeIds(db, "control_limit"));
  const auto& shown = computed.shown;
  static const auto text =
      "INSERT INTO control_limit(id, part, process, test, effective, status, rule, reason, who, "
      "made, state_at, spl, swl, mean, sp, sw, start, finish, chart_word, digest, estimator, "
      "used, " +
      catalogue::LimitFigureColumns() +
      ") VALUES(?1, ?2, ?3, ?4, ?5, 'proposed', ?6, ?7, ?8, ?9, ?9, 0, 0, ?10, ?11, ?12, ?13, "
      "?14, ?15, ?16, ?17, ?18, ?19, ?20, ?21, ?22, ?23, ?24, ?25, ?26, ?27)";
  WithFigures(computed, [&](const auto&... figures) {
    sql::Query(db, text, id, shown.part, shown.process, shown.test,
               request.effective.value_or(Behind(shown.finish)), request.rule, writing.Reason(),
               writing.Who(), writing.Seconds(), figures...)
        .Run();
  });
  StoreExclusions(db, id, shown.exclusions);
  writing.Add("limit", ObjectOf(id), {},
              log::CanonicalText(WholeJson(db, NeedLimit(db, id), shown.exclusions, &shown)));
  return id;
}

void Revise(log::Writing& writing, std::int32_t id, const LimitRequest& request,
            const Computed& computed) {
  auto& db = writing.Db();
  const auto before = NeedLimit(db, id);
  if (before.state != LimitState::Proposed) RefuseState(before, "proposed");
  const auto former = WholeJson(db, before, ExclusionsOf(db, id));
  static const auto text = [] {
    std::string set =
        "UPDATE control_limit SET rule = ?2, reason = ?3, effective = ?4, mean = ?5, sp = ?6, "
        "sw = ?7, start = ?8, finish = ?9, chart_word = ?10, digest = ?11, estimator = ?12, "
        "used = ?13";
    int place = 14;
    for (const auto& each : catalogue::kLimitFigures) {
      set.append(", ").append(each.column).append(" = ?" + std::to_string(place++));
    }
    return set + " WHERE id = ?1";
  }();
  WithFigures(computed, [&](const auto&... figures) {
    sql::Query(db, text, id, request.rule, writing.Reason(),
               request.effective.value_or(before.effective), figures...)
        .Run();
  });
  StoreExclusions(db, id, computed.shown.exclusions);
  writing.Add("limit", ObjectOf(id), log::CanonicalText(former),
              log::CanonicalText(
                  WholeJson(db, NeedLimit(db, id), computed.shown.exclusions, &computed.shown)));
}

void Approve(log::Writing& writing, std::int32_t id, const LimitApproval& approval,
             Expected expected) {
  auto& db = writing.Db();
  const auto before = Stepping(writing, id, expected);
  if (before.state != LimitState::Proposed) RefuseState(before, "proposed");
  CheckApprover(writing, before);
  if (const auto minimum = MinimumOf(before.rule); before.used < minimum && !approval.force) {
    throw Refused("few", "limit", std::to_string(id),
                  "limits: " + std::to_string(id) + " is of " + std::to_string(before.used) +
                      " subgroups; " + std::to_string(minimum) +
                      " are needed by its policy (--force)");
  }
  auto after = before;
  after.state = LimitState::Active;
  after.approved_at = writing.Seconds();
  after.effective = approval.effective.value_or(before.effective);
  for (const auto& row : ReadLimits(db, {before.part, before.process, before.test})) {
    if (row.id == id || !Holds(row) || !ShareCharts(row, before)) continue;
    if (row.effective == after.effective && row.state == LimitState::Active) {
      throw Refused("effective", "effective", IsoText(after.effective),
                    "limits: an active row is effective at this very time (" +
                        std::to_string(row.id) + "); retire or void it");
    }
    // The next one begins where this one ends.
    if (row.effective > after.effective && row.effective < EndOf(row) &&
        row.effective < EndOf(after)) {
      after.until = row.effective;
      after.replaced_by = row.id;
      after.state = LimitState::Retired;
    }
  }
  EndAt(writing, after, after.effective);
  StoreState(writing, before, after);
  if (const auto name = PhaseBegunBy(db, after, approval); !name.empty()) {
    Phase phase;
    phase.part = before.part;
    phase.process = before.process;
    phase.test = before.test;
    phase.start = after.effective;
    phase.name = name;
    write::BeginPhase(writing, std::move(phase));
  }
}

void Reject(log::Writing& writing, std::int32_t id, Expected expected) {
  EndProposed(writing, id, expected, LimitState::Rejected);
}

void Withdraw(log::Writing& writing, std::int32_t id) {
  EndProposed(writing, id, {}, LimitState::Void);
}

void Retire(log::Writing& writing, std::int32_t id, std::int32_t at, Expected expected) {
  const auto before = Stepping(writing, id, expected);
  if (!Holds(before)) RefuseState(before, "active");
  if (at <= before.effective) {
    throw Refused("at", "at", IsoText(at),
                  "limits: " + std::to_string(id) + " holds from " + IsoText(before.effective) +
                      " on; retire it later, or void it");
  }
  if (EndOf(before) <= at) {
    throw Refused("at", "at", IsoText(at),
                  "limits: " + std::to_string(id) + " ends at " + IsoText(*before.until) +
                      " as it is; --at names a time before that");
  }
  // What it silently took over from ends where it began, and does not come back.
  EndAt(writing, before, before.effective);
  auto after = before;
  after.state = LimitState::Retired;
  after.until = at;
  after.replaced_by = 0;  // a row that was to follow begins after its end
  StoreState(writing, before, after);
}

void Void(log::Writing& writing, std::int32_t id, Expected expected) {
  const auto before = Stepping(writing, id, expected);
  if (!Holds(before)) RefuseState(before, "active or retired");
  for (const auto& row : ReadLimits(writing.Db(), {before.part, before.process, before.test})) {
    if (row.replaced_by != id || !Holds(row)) continue;
    auto again = row;
    again.until = before.until;
    again.replaced_by = before.replaced_by;
    if (const auto own = OwnEnd(writing.Db(), row); own && *own < EndOf(again)) {
      again.until = own;
      again.replaced_by = 0;
    }
    again.state = again.until ? LimitState::Retired : LimitState::Active;
    StoreState(writing, row, again);
  }
  auto after = before;
  after.state = LimitState::Void;
  StoreState(writing, before, after);
}

LimitDetails Details(store::SqlStore& store, sql::Connection& db, std::int32_t id) {
  LimitDetails details;
  details.row = NeedLimit(db, id);
  details.exclusions = ExclusionsOf(db, id);
  std::int64_t first = 0;
  {
    const auto object = ObjectOf(id);  // a query reads its texts at each step
    sql::Query log(db, "SELECT seq, at, who, after, reason FROM log WHERE object = ?1 ORDER BY seq",
                   object);
    while (log.Step()) {
      auto& step = details.steps.emplace_back();
      std::string after;
      log.Read(step.version, step.at, step.who, after, step.reason);
      const auto json = log::ReadJson(after);
      step.what = json.value("status", std::string());
      // The entry that figures and data of the row are of.
      if (json.contains("digest")) {
        first = step.version;
        details.mean_name = json.value(kCentreKey, std::string());
        details.within_estimator = json.value(kWithinKey, std::string());
      }
      details.version = step.version;
    }
  }
  details.digest_now = DigestNow(store, details.row, details.exclusions);
  if (details.digest_now.empty()) return details;
  details.data_changed = details.digest_now != details.row.digest;
  if (!*details.data_changed) return details;
  const auto& row = details.row;
  for (const auto& stream : store.Cache().streams) {
    if (stream.part != row.part || stream.process != row.process || stream.test != row.test) {
      continue;
    }
    store::ForEachRecord(
        db, stream.id,
        [&](const store::RecordView& record) {
          const bool is_of_them =
              std::ranges::find(details.exclusions, record.Subgroup(), &LimitExclusion::subgroup) ==
              details.exclusions.end();
          details.changed += is_of_them && record.Entry() > first;
        },
        row.start, row.finish);
  }
  return details;
}

namespace {

// Standard errors of centre and sigma of a row, by how its figures are made; NaN: not known.
struct Errors {
  double centre = platform::kNaN, sigma = platform::kNaN;
};
Errors ErrorsOf(const ListedLimit& row) {
  Errors errors;
  const double size = row.average_size.value_or(0.0), used = row.used;
  if (!(size > 0.0) || used < 2.0) return errors;
  const double units = size * used;
  switch (catalogue::RateKindOf(row.chart_word)) {
    case catalogue::RateKind::Share:
      errors.centre = std::sqrt(row.mean * (1.0 - row.mean) / units);
      return errors;
    case catalogue::RateKind::PerUnit:
    case catalogue::RateKind::PerOpportunity:
      errors.centre = std::sqrt(row.mean / units);
      return errors;
    case catalogue::RateKind::None:
      break;
  }
  if (!(row.sp > 0.0)) return errors;
  errors.centre = row.sp / std::sqrt(units);
  // A sigma of moving ranges knows as much as 0.62 of as many independent differences.
  constexpr double kOfMovingRanges = 0.62;
  const double freedom =
      row.estimator.starts_with("MR") ? kOfMovingRanges * (used - 1.0) : used * (size - 1.0);
  if (freedom > 0.0) errors.sigma = row.sp / std::sqrt(2.0 * freedom);
  return errors;
}

LimitDifference DifferenceOf(double first, double second, double error, double other) {
  LimitDifference difference{first, second, platform::kNaN};
  const double both = std::hypot(error, other);
  if (both > 0.0) difference.errors = (second - first) / both;
  return difference;
}

}  // namespace

LimitComparison Compare(const ListedLimit& first, const ListedLimit& second) {
  const auto of_counts = catalogue::RateKindOf(first.chart_word);
  if (of_counts != catalogue::RateKindOf(second.chart_word)) {
    throw Refused("chart", "limit", std::to_string(second.id),
                  "limits: the two rows are of different kinds of charts");
  }
  const auto of_first = ErrorsOf(first), of_second = ErrorsOf(second);
  LimitComparison result;
  result.centre = DifferenceOf(first.mean, second.mean, of_first.centre, of_second.centre);
  if (of_counts != catalogue::RateKind::None) return result;
  const auto given = [](double sigma) { return sigma > 0.0 ? sigma : platform::kNaN; };
  result.sigma = DifferenceOf(given(first.sp), given(second.sp), of_first.sigma, of_second.sigma);
  return result;
}

}  // namespace orvspc::engine::limits
