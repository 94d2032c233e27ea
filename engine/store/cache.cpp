// SPDX-License-Identifier: Apache-2.0
#include "engine/store/cache.h"

#include <cmath>
#include <stdexcept>

#include "engine/time/calendar.h"
#include "platform/Enumerations.h"
#include "platform/FixedText.h"

namespace orvspc::engine::store {
namespace {

void ReadStreams(sql::Connection& db, StoreCache& cache) {
  sql::Query query(db,
                   "SELECT s.part, s.process, s.test, t.type, s.id FROM stream s "
                   "JOIN test t ON t.id = s.test ORDER BY s.part, s.process, s.test");
  while (query.Step()) {
    cache.streams.push_back(
        {query.Int(0), query.Int(1), query.Int(2), query.Int(3), query.Int64(4)});
  }
  sql::Query highest(db, "SELECT max(id) FROM subgroup");
  if (highest.Step()) cache.highest_subgroup = highest.Int64(0);
}

void ReadContexts(sql::Connection& db, StoreCache& cache) {
  cache.contexts.assign(1, Context{});
  cache.context_ids.assign(1, 0);
  sql::Query query(db,
                   "SELECT id, workstation, job, lot, shift, revision, employee FROM context "
                   "ORDER BY id");
  while (query.Step()) {
    const auto id = query.Int64(0);
    if (id <= 0) {
      throw std::runtime_error("The database is damaged: its table context has a row " +
                               std::to_string(id));
    }
    cache.context_ids.push_back(id);
    cache.contexts.push_back(
        {query.Int(1), query.Int(2), query.Int(3), query.Int(4), query.Int(5), query.Int(6)});
  }
}

// Of rows with one effective time the newest, which comes last, is the one that counts.
template <class Row, class Time>
void Append(std::vector<Row>& rows, Row row, Time time_of) {
  if (!rows.empty() && time_of(rows.back()) == time_of(row)) {
    rows.back() = std::move(row);
  } else {
    rows.push_back(std::move(row));
  }
}

void ReadSpecLimits(sql::Connection& db, StoreCache& cache) {
  sql::Query query(
      db,
      "SELECT id, made, part, test, effective, usl, target, lsl, ugb, lgb, url, lrl, uwp, "
      "lwp, cp, cpk, eflag, aflag, scale, name FROM spec_limit "
      "ORDER BY part, test, effective, id");
  while (query.Step()) {
    API_CCSpecLim row{};
    row.Word0 = query.Int(0);
    row.Stamp4 = row.Stamp8 = query.Int(1);
    row.F_PART = query.Int(2);
    row.F_TEST_ = query.Int(3);
    row.Word20 = query.Int(4);
    platform::WireDouble* const values[] = {&row.F_USL, &row.F_TAR, &row.F_LSL, &row.F_UGB,
                                            &row.F_LGB, &row.F_URL, &row.F_LRL, &row.F_UWP,
                                            &row.F_LWP, &row.F_CP,  &row.F_CPK};
    for (int i = 0; i < 11; ++i) *values[i] = query.Real(5 + i);
    row.F_EFLAG = query.Int(16);
    row.F_AFLAG = query.Int(17);
    row.F_SCAL = query.Int(18);
    platform::StoreFixedText(row.Name, query.Text(19));
    Append(cache.spec_limits[{row.F_PART, row.F_TEST_}], row,
           [](const API_CCSpecLim& each) { return each.Word20; });
  }
}

void ReadControlLimits(sql::Connection& db, StoreCache& cache) {
  sql::Query query(
      db,
      "SELECT id, made, part, ifnull(process, 0), test, effective, mean, sp, spl, sw, swl, "
      "start, finish, chart_word FROM control_limit WHERE status = 'active' "
      "ORDER BY part, test, effective, ifnull(process, 0), id");
  while (query.Step()) {
    ControlLimit limit{};
    limit.row.Word0 = query.Int(0);
    limit.row.Stamp4 = limit.row.Stamp8 = query.Int(1);
    limit.row.F_PART = query.Int(2);
    limit.row.F_PRCS = query.Int(3);
    limit.row.F_TEST_ = query.Int(4);
    limit.row.F_EFTM = query.Int(5);
    limit.row.F_MEAN = query.Real(6);
    limit.row.F_SP = query.Real(7);
    limit.row.F_SPL = query.Real(8);
    limit.row.F_SW = query.Real(9);
    limit.row.F_SWL = query.Real(10);
    limit.row.F_STTM = query.Int(11);
    limit.row.F_FNTM = query.Int(12);
    limit.chart_word = query.Int(13);
    Append(cache.control_limits[{limit.row.F_PART, limit.row.F_TEST_}], limit,
           [](const ControlLimit& each) { return std::pair(each.row.F_EFTM, each.row.F_PRCS); });
  }
}

void ReadOpportunities(sql::Connection& db, StoreCache& cache) {
  sql::Query query(db,
                   "SELECT id, made, part, test, opportunities, effective FROM opportunity "
                   "ORDER BY part, test, effective, id");
  while (query.Step()) {
    API_CCDefOpp row{};
    row.Word0 = query.Int(0);
    row.Stamp4 = row.Stamp8 = query.Int(1);
    row.F_PART = query.Int(2);
    row.F_TEST_ = query.Int(3);
    row.F_OPPS = query.Int(4);
    row.Word24 = query.Int(5);
    Append(cache.opportunities[{row.F_PART, row.F_TEST_}], row,
           [](const API_CCDefOpp& each) { return each.Word24; });
  }
}

void ReadNetContents(sql::Connection& db, StoreCache& cache) {
  // The bits of the limits that a row has, in the order of the columns.
  struct Figure {
    platform::WireDouble API_CANccLim8::*field;
    std::int32_t flag;
  };
  static constexpr Figure kFigures[] = {
      {&API_CANccLim8::MavL, catalogue::nclMavL}, {&API_CANccLim8::MavLp, catalogue::nclMavLp},
      {&API_CANccLim8::MavU, catalogue::nclMavU}, {&API_CANccLim8::MavUp, catalogue::nclMavUp},
      {&API_CANccLim8::T1L, catalogue::nclT1L},   {&API_CANccLim8::T1Lp, catalogue::nclT1Lp},
      {&API_CANccLim8::T1U, catalogue::nclT1U},   {&API_CANccLim8::T1Up, catalogue::nclT1Up},
      {&API_CANccLim8::T2L, catalogue::nclT2L},   {&API_CANccLim8::T2Lp, catalogue::nclT2Lp},
      {&API_CANccLim8::T2U, catalogue::nclT2U},   {&API_CANccLim8::T2Up, catalogue::nclT2Up},
  };
  sql::Query query(
      db,
      "SELECT id, made, part, test, effective, name, nominal, factor, mavl, mavlp, mavu, "
      "mavup, t1l, t1lp, t1u, t1up, t2l, t2lp, t2u, t2up FROM net_content "
      "ORDER BY part, test, effective, id");
  while (query.Step()) {
    API_CANccLim8 row{};
    row.Head[0] = query.Int(0);
    row.Head[1] = row.Head[2] = query.Int(1);
    row.Head[3] = query.Int(2);
    row.Head[4] = query.Int(3);
    row.Head[5] = query.Int(4);
    char16_t name[std::size(row.Text)];
    platform::StoreFixedText(name, query.Text(5));
    platform::To8Bit(name, row.Text);
    row.Lsc = query.Real(6);
    row.Fctr = query.Real(7);
    int column = 8;
    for (const auto& figure : kFigures) {
      if (!query.IsNull(column)) {
        row.*figure.field = query.Real(column);
        row.EFlag |= figure.flag;
      }
      ++column;
    }
    row.AFlag = row.EFlag;
    Append(cache.net_contents[{row.Head[3], row.Head[4]}], row,
           [](const API_CANccLim8& each) { return each.Head[5]; });
  }
}

void ReadRules(sql::Connection& db, StoreCache& cache) {
  auto rules = std::make_shared<std::vector<StoredRule>>();
  sql::Query query(db,
                   "SELECT number, priority, kind, k, m, zone, side, text FROM rule "
                   "ORDER BY priority, number");
  while (query.Step()) {
    StoredRule rule;
    if (query.Int64(0) < 0 || query.Int64(0) > 31) {
      throw std::runtime_error("The database is damaged: its table rule has a rule " +
                               std::to_string(query.Int64(0)));
    }
    rule.number = query.Int(0);
    rule.priority = query.Int(1);
    rule.kind = query.Text(2);
    rule.k = query.Int(3);
    rule.m = query.Int(4);
    rule.zone = query.Real(5);
    rule.side = query.Text(6);
    rule.text = query.Text(7);
    rules->push_back(std::move(rule));
  }
  cache.rules = std::move(rules);
  sql::Query sets(db,
                  "SELECT s.name, m.number FROM rule_set s LEFT JOIN rule_set_member m "
                  "ON m.rule_set = s.id ORDER BY s.id, m.number");
  while (sets.Step()) {
    if (cache.rule_sets.empty() || cache.rule_sets.back().first != sets.Text(0)) {
      cache.rule_sets.emplace_back(sets.Text(0), std::vector<std::int32_t>());
    }
    if (!sets.IsNull(1)) cache.rule_sets.back().second.push_back(sets.Int(1));
  }
  sql::Query alarms(
      db,
      "SELECT ifnull(part, 0), ifnull(process, 0), ifnull(test, 0), ifnull(graph, 0), "
      "number, is_on FROM rule_alarm ORDER BY id");
  while (alarms.Step()) {
    cache.alarms.push_back({alarms.Int(0), alarms.Int(1), alarms.Int(2), alarms.Int(3),
                            alarms.Int(4), alarms.Int(5) != 0});
  }
}

void ReadSettings(sql::Connection& db, StoreCache& cache) {
  sql::Query query(db, "SELECT key, value FROM setting ORDER BY id");
  while (query.Step()) {
    cache.settings.insert_or_assign(std::string(query.Text(0)), std::string(query.Text(1)));
  }
  const auto zone = cache.settings.find("time_zone");
  if (zone == cache.settings.end()) return;
  const auto offset = time::ZoneOffset(zone->second);
  if (!offset) {
    throw std::runtime_error("The time zone " + zone->second +
                             " of the database is neither UTC nor a fixed offset");
  }
  cache.zone_offset = *offset;
}

}  // namespace

void RaiseUnknownContext(std::int64_t context, std::int32_t subgroup) {
  throw std::runtime_error("The database is damaged: subgroup " + std::to_string(subgroup) +
                           " refers to context " + std::to_string(context) +
                           ", which is not there");
}

StoreCache ReadCache(sql::Connection& connection) {
  StoreCache cache;
  ReadStreams(connection, cache);
  ReadContexts(connection, cache);
  ReadSpecLimits(connection, cache);
  ReadControlLimits(connection, cache);
  ReadOpportunities(connection, cache);
  ReadNetContents(connection, cache);
  ReadRules(connection, cache);
  ReadSettings(connection, cache);
  return cache;
}

}  // namespace orvspc::engine::store
