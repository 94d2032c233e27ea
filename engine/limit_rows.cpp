// SPDX-License-Identifier: Apache-2.0
// Rows of limits as they are stored and in force.
#include <algorithm>
#include <cstdint>
#include <utility>

#include "engine/QualityDatabase.h"
#include "engine/store/SqlStore.h"
#include "platform/Enumerations.h"

namespace orvspc {

using namespace engine;

namespace {

// By effective time, among equals by age; part and test are those that were asked for.
template <class Row>
std::vector<Row> LimitRows(sql::Connection& db, const StreamKey& stream);

template <>
std::vector<SpecificationLimits> LimitRows(sql::Connection& db, const StreamKey& stream) {
  static constexpr std::pair<std::string_view, std::int32_t> kAlarms[] = {
      {"usl", slfUSL}, {"target", slfTAR}, {"lsl", slfLSL}, {"ugb", slfUGB}, {"lgb", slfLGB},
      {"url", slfURL}, {"lrl", slfLRL},    {"uwp", slfUWP}, {"lwp", slfLWP}};
  std::vector<SpecificationLimits> rows;
  sql::Query query(db,
                   "SELECT effective, usl, target, lsl, ugb, lgb, url, lrl, uwp, lwp, cp, cpk, "
                   "aflag, scale, name FROM spec_limit WHERE part = ?1 AND test = ?2 "
                   "ORDER BY effective, id",
                   stream.part, stream.test);
  while (query.Step()) {
    auto& row = rows.emplace_back();
    std::int32_t alarms = 0;
    query.Read(row.effective, row.usl, row.target, row.lsl, row.ugb, row.lgb, row.url, row.lrl,
               row.uwp, row.lwp, row.cp, row.cpk, alarms, row.scale, row.name);
    for (const auto& [name, flag] : kAlarms)
      if ((alarms & flag) != 0) row.alarms.append(row.alarms.empty() ? "" : " ").append(name);
    if (row.alarms.empty()) row.alarms = "none";
  }
  return rows;
}

// Those for any process before those for the process itself.
template <>
std::vector<ControlLimits> LimitRows(sql::Connection& db, const StreamKey& stream) {
  using Row = ControlLimits;
  return sql::Query(db,
                    "SELECT coalesce(process, 0), effective, mean, sp, spl, sw, swl, start, "
                    "finish, chart_word, used, id, until FROM control_limit WHERE part = ?1 "
                    "AND test = ?2 AND status IN ('active', 'retired') "
                    "AND (until IS NULL OR until > effective) AND coalesce(process, 0) IN (0, ?3) "
                    "ORDER BY effective, coalesce(process, 0), id",
                    stream.part, stream.test, stream.process)
      .All<Row>(&Row::process, &Row::effective, &Row::mean, &Row::sp, &Row::spl, &Row::sw,
                &Row::swl, &Row::start, &Row::finish, &Row::chart_word, &Row::used, &Row::id,
                &Row::until);
}

template <>
std::vector<Opportunities> LimitRows(sql::Connection& db, const StreamKey& stream) {
  return sql::Query(db,
                    "SELECT effective, opportunities FROM opportunity WHERE part = ?1 "
                    "AND test = ?2 ORDER BY effective, id",
                    stream.part, stream.test)
      .All<Opportunities>(&Opportunities::effective, &Opportunities::opportunities);
}

template <>
std::vector<NetContents> LimitRows(sql::Connection& db, const StreamKey& stream) {
  using Row = NetContents;
  return sql::Query(db,
                    "SELECT effective, class, quantity, nominal, mav, with_upper, mavl, mavlp, "
                    "mavu, mavup, t1l, t1lp, t1u, t1up, t2l, t2lp, t2u, t2up, factor, name "
                    "FROM net_content WHERE part = ?1 AND test = ?2 ORDER BY effective, id",
                    stream.part, stream.test)
      .All<Row>(&Row::effective, &Row::class_name, &Row::quantity, &Row::nominal, &Row::mav,
                &Row::upper, &Row::mavl, &Row::mavlp, &Row::mavu, &Row::mavup, &Row::t1l,
                &Row::t1lp, &Row::t1u, &Row::t1up, &Row::t2l, &Row::t2lp, &Row::t2u, &Row::t2up,
                &Row::factor, &Row::name);
}

// Empty: without an end.
template <class Row>
std::int64_t UntilOf(const Row& row) {
  if constexpr (std::is_same_v<Row, ControlLimits>) {
    if (row.until) return *row.until;
  }
  return catalogue::kNever;
}

// Rows that one takes over from another: the same time, and of control limits the same process and
// charts.
template <class Row>
bool Replaces(const Row& newer, const Row& older) {
  if constexpr (std::is_same_v<Row, ControlLimits>) {
    if (newer.process != older.process || UntilOf(newer) < UntilOf(older)) return false;
    if (!catalogue::ShareCharts(newer.chart_word, older.chart_word)) return false;
  }
  return newer.effective == older.effective;
}

}  // namespace

template <class Row>
std::vector<Row> QualityDatabase::Versions(const StreamKey& stream) const {
  return store::Read(*database_, [&](store::SqlStore&, sql::Connection& db) {
    std::vector<Row> rows;
    for (auto& row : LimitRows<Row>(db, stream)) {
      row.part = stream.part;
      row.test = stream.test;
      std::erase_if(rows, [&](const Row& before) { return Replaces(row, before); });
      rows.push_back(std::move(row));
    }
    return rows;
  });
}

template <class Row>
std::optional<Row> QualityDatabase::InForce(const StreamKey& stream, std::int64_t time) const {
  auto rows = Versions<Row>(stream);
  auto after = std::ranges::upper_bound(rows, time, {}, &Row::effective);
  while (after != rows.begin() && UntilOf(*std::prev(after)) <= time) --after;
  return after == rows.begin() ? std::nullopt : std::optional(std::move(*std::prev(after)));
}

template std::vector<SpecificationLimits> QualityDatabase::Versions(const StreamKey&) const;
template std::vector<ControlLimits> QualityDatabase::Versions(const StreamKey&) const;
template std::vector<Opportunities> QualityDatabase::Versions(const StreamKey&) const;
template std::vector<NetContents> QualityDatabase::Versions(const StreamKey&) const;
template std::optional<SpecificationLimits> QualityDatabase::InForce(const StreamKey&,
                                                                     std::int64_t) const;
template std::optional<ControlLimits> QualityDatabase::InForce(const StreamKey&,
                                                               std::int64_t) const;
template std::optional<Opportunities> QualityDatabase::InForce(const StreamKey&,
                                                               std::int64_t) const;
template std::optional<NetContents> QualityDatabase::InForce(const StreamKey&, std::int64_t) const;

}  // namespace orvspc
