// SPDX-License-Identifier: Apache-2.0
#include "engine/write/alarms/Life.h"

#include <optional>
#include <string_view>

#include "engine/catalogue/nearest.h"
#include "engine/chunks/StreamWalk.h"
#include "engine/chunks/subgroups.h"
#include "engine/write/alarms/alarm_rows.h"
#include "engine/write/log/Json.h"
#include "platform/Enumerations.h"

namespace orvspc::engine::alarms {
namespace {

// A code that is given when an alarm is closed.
struct CodeKind {
  std::int32_t flag;
  const char *option, *what;  // "acc", "cause"
  ItemKind kind;
  std::string AlarmClosing::*given;
  std::string_view find, store;
};
constexpr CodeKind kCodes[] = {
    {efOpenACC, "acc", "cause", ItemKind::AccCode, &AlarmClosing::acc,
     "SELECT id, active FROM acc_code WHERE name = ?1",
     "UPDATE event SET acc = ?2, acc_employee = ?3, acc_time = ?4 WHERE id = ?1"},
    {efOpenCAC, "cac", "action", ItemKind::CacCode, &AlarmClosing::cac,
     "SELECT id, active FROM cac_code WHERE name = ?1",
     "UPDATE event SET cac = ?2, cac_employee = ?3, cac_time = ?4 WHERE id = ?1"}};

[[noreturn]] void RefuseState(const Alarm& alarm, const std::string& reason) {
  throw Refused("state", "alarm", std::to_string(alarm.event), ObjectOf(alarm) + ": " + reason);
}

// Of a code that is offered.
std::int32_t CodeOf(sql::Connection& db, const CodeKind& kind, const std::string& name) {
  const std::string option = kind.option;
  const std::string_view known = db.Holds(name) ? std::string_view(name) : std::string_view();
  sql::Query query(db, kind.find, known);
  if (query.Step()) {
    if (query.Int(1) != 0) return query.Int(0);
    throw Refused("inactive", option, name,
                  option + ": the " + kind.what + " code \"" + name + "\" is no longer in use");
  }
  std::string text = option + ": there is no " + kind.what + " code \"" + name + "\"";
  const auto nearest = catalogue::NearestNames(db, kind.kind, name);
  for (const auto& each : nearest) {
    text += (&each == &nearest.front() ? "; did you mean \"" : " or \"") + each + "\"";
  }
  throw Refused("unknown", option, name, nearest.empty() ? text : text + "?");
}

void SetState(log::Writing& writing, const Alarm& alarm, std::string_view state, std::int32_t flag,
              std::string_view operation, log::Json after) {
  auto& db = writing.Db();
  sql::Query(db, "UPDATE alarm SET state = ?2, revision = revision + 1 WHERE event = ?1",
             alarm.event, state)
      .Run();
  sql::Query(db, "UPDATE event SET flag = ?2 WHERE id = ?1", alarm.event, flag).Run();
  log::Json before = {{"state", alarm.state}};
  if (!alarm.acc.empty()) before["acc"] = alarm.acc;
  if (!alarm.cac.empty()) before["cac"] = alarm.cac;
  after["state"] = state;
  writing.Add(operation, ObjectOf(alarm), log::CanonicalText(before), log::CanonicalText(after));
  Tell(writing, alarm, state == "open" ? "reopened" : state);
}

// The next point of a stream after an alarm that counts; 0: there is none.
std::int32_t SubgroupAfter(sql::Connection& db, std::int64_t stream, const Alarm& alarm) {
  store::RecordKey last{alarm.time, alarm.first_subgroup};
  store::ForEachSubgroup(db, alarm.last_subgroup, alarm.last_subgroup,
                         [&](const store::SubgroupFacts& subgroup) {
                           last = {subgroup.time, subgroup.id};
                         });
  std::int32_t next = 0;
  store::StreamWalk(db, stream, true, last.time, INT32_MAX)
      .ForEach([&](const store::RecordView& record) {
        if (record.Key() <= last || record.Flag() != sfEnabled) return true;
        next = record.Subgroup();
        return false;
      });
  return next;
}

// What came to the run of a closed alarm is another one. Reopened it would take that one's points.
// Whatever the rules are now: both were opened by those of their time.
void RefuseIfItGoesOn(sql::Connection& db, const Alarm& alarm) {
  std::int64_t stream = 0;
  std::int32_t event = 0, first = 0;
  {
    sql::Query next(db,
                    "SELECT b.stream, b.event, b.first_subgroup FROM alarm a "
                    "JOIN rule r ON r.number = a.rule AND r.m > 1 "
                    "JOIN alarm b ON b.stream = a.stream AND b.graph = a.graph AND b.rule = a.rule "
                    "JOIN event e ON e.id = b.event "
                    "WHERE a.event = ?1 AND b.state <> 'withdrawn' "
                    "AND (e.subgroup_time, b.first_subgroup) > (?2, ?3) "
                    "ORDER BY e.subgroup_time, b.first_subgroup LIMIT 1",
                    alarm.event, alarm.time, alarm.first_subgroup);
    if (!next.Step()) return;
    next.Read(stream, event, first);
  }
  if (SubgroupAfter(db, stream, alarm) != first) return;
  RefuseState(alarm, "its run goes on in alarm " + std::to_string(event));
}

}  // namespace

std::vector<Alarm> ListAlarms(sql::Connection& db, const AlarmFilter& filter) {
  sql::Query query(
      db,
      "SELECT a.event, a.graph, a.rule, a.first_subgroup, a.last_subgroup, a.points, a.state, "
      "a.is_late, a.detected, coalesce(e.subgroup_time, 0), coalesce(n.name, ''), s.part, "
      "s.process, s.test, coalesce(c.name, ''), coalesce(k.name, ''), "
      "(SELECT coalesce(max(seq), 0) FROM log WHERE object = 'alarm ' || a.event), "
      "(SELECT count(*) FROM delivery d JOIN outbox o ON o.id = d.outbox "
      "WHERE o.event = a.event AND d.state = 'dead'), "
      "CASE WHEN a.state = 'withdrawn' THEN (SELECT w.after FROM log w "
      "WHERE w.object = 'alarm ' || a.event AND w.operation = 'alarm-withdraw' "
      "ORDER BY w.seq DESC LIMIT 1) END FROM alarm a "
      "JOIN event e ON e.id = a.event LEFT JOIN event_name n ON n.id = e.name "
      "JOIN stream s ON s.id = a.stream LEFT JOIN acc_code c ON c.id = e.acc "
      "LEFT JOIN cac_code k ON k.id = e.cac "
      "WHERE (?1 = 0 OR a.state IN ('open', 'acknowledged')) AND (?2 = 0 OR s.part = ?2) "
      "AND (?3 = 0 OR s.process = ?3) AND (?4 = 0 OR s.test = ?4) AND a.detected >= ?5 "
      "AND (?6 = 0 OR a.event = ?6) ORDER BY a.event",
      filter.is_open ? 1 : 0, filter.part, filter.process, filter.test,
      filter.since.value_or(INT32_MIN), filter.event);
  std::vector<Alarm> alarms;
  while (query.Step()) {
    auto& alarm = alarms.emplace_back();
    query.Read(alarm.event, alarm.graph, alarm.rule, alarm.first_subgroup, alarm.last_subgroup,
               alarm.points, alarm.state, alarm.is_late, alarm.detected, alarm.time, alarm.text,
               alarm.part, alarm.process, alarm.test, alarm.acc, alarm.cac, alarm.version,
               alarm.dead);
    constexpr int kWithdrawal = 18;
    if (!query.IsNull(kWithdrawal)) {
      alarm.withdrawn_by = log::ReadJson(query.Text(kWithdrawal)).value("entry", std::int64_t{0});
    }
  }
  return alarms;
}

Alarm NeededAlarm(sql::Connection& db, std::int32_t event) {
  AlarmFilter filter;
  filter.event = event;
  auto found = event < 1 ? std::vector<Alarm>() : ListAlarms(db, filter);
  if (!found.empty()) return std::move(found.front());
  const auto number = std::to_string(event);
  throw Refused("unknown", "alarm", number, "alarm " + number + ": there is no such alarm");
}

void Acknowledge(log::Writing& writing, const Alarm& alarm) {
  if (alarm.state != "open") RefuseState(alarm, "is " + alarm.state + " already");
  SetState(writing, alarm, "acknowledged", NeededCodes(writing.Db()), "alarm-ack",
           log::Json::object());
}

void Close(log::Writing& writing, const Alarm& alarm, const AlarmClosing& closing) {
  auto& db = writing.Db();
  if (alarm.state != "open" && alarm.state != "acknowledged") {
    RefuseState(alarm, "is " + alarm.state + " already");
  }
  const auto needed = NeededCodes(db);
  log::Json after = log::Json::object();
  for (const auto& kind : kCodes) {
    const auto& code = closing.*kind.given;
    if (code.empty()) {
      if ((needed & kind.flag) == 0) continue;
      throw Refused("missing", kind.option, "",
                    ObjectOf(alarm) + ": the " + kind.what + " is missing (--" + kind.option + ")");
    }
    const auto id = CodeOf(db, kind, code);
    sql::Query(db, kind.store, alarm.event, id, writing.Employee(), writing.Seconds()).Run();
    after[kind.option] = code;
  }
  SetState(writing, alarm, "closed", 0, "alarm-close", std::move(after));
}

void Reopen(log::Writing& writing, const Alarm& alarm) {
  writing.NeedReason();
  if (alarm.state != "closed" && alarm.state != "acknowledged") {
    RefuseState(alarm, "is " + alarm.state + ", not closed");
  }
  RefuseIfItGoesOn(writing.Db(), alarm);
  SetState(writing, alarm, "open", NeededCodes(writing.Db()), "alarm-reopen", log::Json::object());
}

}  // namespace orvspc::engine::alarms
