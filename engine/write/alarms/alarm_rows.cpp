// SPDX-License-Identifier: Apache-2.0
#include "engine/write/alarms/alarm_rows.h"

#include <algorithm>

#include "engine/sql/counter.h"
#include "engine/write/log/Json.h"
#include "platform/Enumerations.h"
#include "platform/TimeText.h"

namespace orvspc::engine::alarms {
namespace {

// By names, for the log and for hooks.
log::Json JsonOf(sql::Connection& db, const Alarm& alarm) {
  return {{"part", NameOf(db, "SELECT name FROM part WHERE id = ?1", alarm.part)},
          {"process", NameOf(db, "SELECT name FROM process WHERE id = ?1", alarm.process)},
          {"test", NameOf(db, "SELECT name FROM test WHERE id = ?1", alarm.test)},
          {"graph", alarm.graph},
          {"rule", alarm.rule},
          {"text", alarm.text},
          {"time", platform::IsoText(alarm.time) + "Z"},
          {"first", alarm.first_subgroup},
          {"last", alarm.last_subgroup},
          {"points", alarm.points}};
}

}  // namespace

std::string NameOf(sql::Connection& db, std::string_view text, std::int32_t id) {
  sql::Query query(db, text, id);
  return query.Step() ? std::string(query.Text(0)) : std::string();
}

std::int64_t EventName(sql::Connection& db, const std::string& text) {
  sql::Query known(db, "SELECT id FROM event_name WHERE name = ?1", text);
  if (known.Step()) return known.Int64(0);
  const auto id = sql::TakeIds(db, "event_name");
  sql::Query(db, "INSERT INTO event_name(id, name) VALUES(?1, ?2)", id, text).Run();
  return id;
}

std::string ObjectOf(const Alarm& alarm) { return "alarm " + std::to_string(alarm.event); }

std::int32_t NeededCodes(sql::Connection& db) {
  sql::Query query(db, "SELECT value FROM setting WHERE key = 'alarm_needs' ORDER BY id DESC");
  const std::string words = query.Step() ? std::string(query.Text(0)) : "acc cac";
  std::int32_t flag = 0;
  if (words.find("acc") != std::string::npos) flag |= efOpenACC;
  if (words.find("cac") != std::string::npos) flag |= efOpenCAC;
  return flag;
}

bool HasAlarms(sql::Connection& db, std::int64_t stream) {
  return sql::Query(db, "SELECT 1 FROM alarm WHERE stream = ?1 LIMIT 1", stream)
      .RunForInt()
      .has_value();
}

std::optional<std::int64_t> OldestAlarm(sql::Connection& db, std::int64_t stream,
                                        std::int32_t time) {
  sql::Query query(db,
                   "SELECT min(coalesce(e.subgroup_time, 0)) FROM alarm a "
                   "JOIN event e ON e.id = a.event WHERE a.stream = ?1 "
                   "AND (e.subgroup_time >= ?2 OR a.state IN ('open', 'acknowledged'))",
                   stream, time);
  if (!query.Step() || query.IsNull(0)) return std::nullopt;
  return query.Int64(0);
}

std::vector<Alarm> ReadAlarms(sql::Connection& db, std::int64_t stream, std::int32_t time,
                              std::int32_t subgroup) {
  // By an index each, events first, so that no long history of alarms is walked.
  sql::Query query(db,
                   "SELECT a.event, a.graph, a.rule, a.first_subgroup, a.last_subgroup, a.points, "
                   "a.state, a.is_late, a.detected, coalesce(e.subgroup_time, 0), "
                   "coalesce(n.name, ''), s.part, s.process, s.test FROM alarm a "
                   "JOIN event e ON e.id = a.event LEFT JOIN event_name n ON n.id = e.name "
                   "JOIN stream s ON s.id = a.stream WHERE a.event IN ("
                   "SELECT b.event FROM alarm b WHERE b.stream = ?1 AND b.last_subgroup >= ?3 "
                   "AND b.state <> 'withdrawn' "
                   "UNION ALL SELECT f.id FROM event f CROSS JOIN alarm c "
                   "WHERE f.subgroup_time >= ?2 AND c.event = f.id AND c.stream = ?1) "
                   "ORDER BY a.event",
                   stream, time, subgroup);
  std::vector<Alarm> alarms;
  while (query.Step()) {
    auto& alarm = alarms.emplace_back();
    query.Read(alarm.event, alarm.graph, alarm.rule, alarm.first_subgroup, alarm.last_subgroup,
               alarm.points, alarm.state, alarm.is_late, alarm.detected, alarm.time, alarm.text,
               alarm.part, alarm.process, alarm.test);
  }
  return alarms;
}

std::optional<store::RecordKey> ReadMark(sql::Connection& db, std::int64_t stream) {
  sql::Query query(db, "SELECT time, subgroup FROM alarm_mark WHERE stream = ?1", stream);
  if (!query.Step()) return std::nullopt;
  return store::RecordKey{query.Int(0), query.Int(1)};
}

void Open(log::Writing& writing, std::int64_t stream, Alarm& alarm) {
  auto& db = writing.Db();
  alarm.event = static_cast<std::int32_t>(sql::TakeIds(db, "event"));
  sql::Query(db,
             "INSERT INTO event(id, type, name, time, process, part, test, subgroup_time, flag) "
             "VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9)",
             alarm.event, etSubgroupAlarm, EventName(db, alarm.text), writing.Seconds(),
             alarm.process, alarm.part, alarm.test, alarm.time, NeededCodes(db))
      .Run();
  sql::Query(db,
             "INSERT INTO alarm(event, stream, graph, rule, first_subgroup, last_subgroup, points, "
             "state, is_late, detected) VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, 'open', ?8, ?9)",
             alarm.event, stream, alarm.graph, alarm.rule, alarm.first_subgroup,
             alarm.last_subgroup, alarm.points, alarm.is_late, alarm.detected)
      .Run();
  writing.Add("alarm-open", ObjectOf(alarm), "", log::CanonicalText(JsonOf(db, alarm)));
  Tell(writing, alarm, "opened");
}

std::string StateBefore(sql::Connection& db, const Alarm& alarm) {
  const auto object = ObjectOf(alarm);
  sql::Query query(db,
                   "SELECT before FROM log WHERE object = ?1 AND operation = 'alarm-withdraw' "
                   "ORDER BY seq DESC LIMIT 1",
                   object);
  const std::string open = "open";
  return query.Step() ? log::ReadJson(query.Text(0)).value("state", open) : open;
}

void Extend(log::Writing& writing, const Alarm& known, const Alarm& now) {
  auto& db = writing.Db();
  const bool comes_back = known.state == "withdrawn";
  if (!comes_back && known.last_subgroup == now.last_subgroup && known.points == now.points) return;
  sql::Query(db, "UPDATE alarm SET last_subgroup = ?2, points = ?3 WHERE event = ?1", known.event,
             now.last_subgroup, now.points)
      .Run();
  if (!comes_back) return;
  auto present = known;
  present.state = StateBefore(db, known);
  const bool is_open = present.state == "open";
  sql::Query(db, "UPDATE event SET flag = ?2 WHERE id = ?1", known.event,
             present.state == "closed" ? 0 : NeededCodes(db))
      .Run();
  sql::Query(db, "UPDATE alarm SET state = ?2, revision = revision + 1 WHERE event = ?1",
             known.event, present.state)
      .Run();
  present.last_subgroup = now.last_subgroup;
  present.points = now.points;
  auto after = JsonOf(db, present);
  if (!is_open) after["state"] = present.state;
  writing.Add(is_open ? "alarm-open" : "alarm-return", ObjectOf(known),
              log::CanonicalText({{"state", known.state}}), log::CanonicalText(after));
  Tell(writing, present, is_open ? "opened" : present.state);
}

void Withdraw(log::Writing& writing, const Alarm& alarm, std::int64_t entry) {
  auto& db = writing.Db();
  sql::Query(db, "UPDATE alarm SET state = 'withdrawn', revision = revision + 1 WHERE event = ?1",
             alarm.event)
      .Run();
  sql::Query(db, "UPDATE event SET flag = 0 WHERE id = ?1", alarm.event).Run();
  writing.Add("alarm-withdraw", ObjectOf(alarm), log::CanonicalText({{"state", alarm.state}}),
              log::CanonicalText({{"state", "withdrawn"}, {"entry", entry}}));
  Tell(writing, alarm, "withdrawn", entry);
}

void Tell(log::Writing& writing, const Alarm& alarm, std::string_view what, std::int64_t entry) {
  auto& db = writing.Db();
  const auto revision =
      sql::Query(db, "SELECT revision FROM alarm WHERE event = ?1", alarm.event).RunForInt();
  log::Json says = {{"alarm", alarm.event}, {"what", what}};
  says.update(JsonOf(db, alarm));
  if (entry != 0) says["entry"] = entry;
  TellOf(writing, alarm.event, revision.value_or(0), says);
}

void TellOf(log::Writing& writing, std::int32_t event, std::int64_t revision,
            const log::Json& says) {
  auto& db = writing.Db();
  log::Json message = {
      {"id", log::IdentityOf(db) + ":" + std::to_string(event) + ":" + std::to_string(revision)}};
  message.update(says);
  sql::Query(
      db, "INSERT INTO outbox(id, event, revision, made, message) VALUES(?1, ?2, ?3, ?4, ?5)",
      sql::TakeIds(db, "outbox"), event, revision, writing.Seconds(), log::CanonicalText(message))
      .Run();
}

std::int64_t SecondsOfHorizon(const std::string& days) {
  constexpr std::int64_t kUsual = 7, kSecondsOfDay = 24 * 60 * 60;
  return (days.empty() ? kUsual : std::stoll(days)) * kSecondsOfDay;
}

}  // namespace orvspc::engine::alarms
