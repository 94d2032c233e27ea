// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <tuple>

#include "engine/QualityDatabase.h"
#include "engine/store/SqlStore.h"
#include "platform/Enumerations.h"

namespace orvspc {

using namespace engine;

namespace {

std::optional<double> Figure(const sql::Query& query, int column) {
  return query.IsNull(column) ? std::nullopt : std::optional(query.Real(column));
}

struct SpecificationFigure {
  std::string_view name;
  std::optional<double> SpecificationLimits::*field;
  std::int32_t flag;  // SpecLimitFlags; 0 for what raises no alarm
};
constexpr SpecificationFigure kSpecification[] = {
    {"usl", &SpecificationLimits::usl, slfUSL}, {"target", &SpecificationLimits::target, slfTAR},
    {"lsl", &SpecificationLimits::lsl, slfLSL}, {"ugb", &SpecificationLimits::ugb, slfUGB},
    {"lgb", &SpecificationLimits::lgb, slfLGB}, {"url", &SpecificationLimits::url, slfURL},
    {"lrl", &SpecificationLimits::lrl, slfLRL}, {"uwp", &SpecificationLimits::uwp, slfUWP},
    {"lwp", &SpecificationLimits::lwp, slfLWP}, {"cp", &SpecificationLimits::cp, 0},
    {"cpk", &SpecificationLimits::cpk, 0},
};

constexpr std::optional<double> NetContents::*kNetContents[] = {
    &NetContents::nominal, &NetContents::mav,   &NetContents::mavl, &NetContents::mavlp,
    &NetContents::mavu,    &NetContents::mavup, &NetContents::t1l,  &NetContents::t1lp,
    &NetContents::t1u,     &NetContents::t1up,  &NetContents::t2l,  &NetContents::t2lp,
    &NetContents::t2u,     &NetContents::t2up,
};

// Statements take part, test and process, and deliver part, process, test and effective time first,
// by the last of these and process, and among equals by age.
template <class Row>
constexpr std::string_view kText;
template <>
constexpr std::string_view kText<SpecificationLimits> =
    "SELECT part, 0, test, effective, usl, target, lsl, ugb, lgb, url, lrl, uwp, lwp, cp, cpk, "
    "aflag, scale, name FROM spec_limit WHERE part = ?1 AND test = ?2 AND ?3 = ?3 "
    "ORDER BY effective, id";
template <>
constexpr std::string_view kText<ControlLimits> =
    "SELECT part, coalesce(process, 0), test, effective, mean, sp, spl, sw, swl, start, finish, "
    "chart_word FROM control_limit WHERE part = ?1 AND test = ?2 AND status = 'active' "
    "AND coalesce(process, 0) IN (0, ?3) ORDER BY effective, coalesce(process, 0), id";
template <>
constexpr std::string_view kText<Opportunities> =
    "SELECT part, 0, test, effective, opportunities FROM opportunity "
    "WHERE part = ?1 AND test = ?2 AND ?3 = ?3 ORDER BY effective, id";
template <>
constexpr std::string_view kText<NetContents> =
    "SELECT part, 0, test, effective, nominal, mav, mavl, mavlp, mavu, mavup, t1l, t1lp, t1u, "
    "t1up, t2l, t2lp, t2u, t2up, class, quantity, with_upper, factor, name FROM net_content "
    "WHERE part = ?1 AND test = ?2 AND ?3 = ?3 ORDER BY effective, id";

void Fill(const sql::Query& query, SpecificationLimits& row) {
  int column = 4;
  for (const auto& figure : kSpecification) row.*figure.field = Figure(query, column++);
  const auto alarms = query.Int(column++);
  for (const auto& figure : kSpecification) {
    if ((alarms & figure.flag) == 0) continue;
    row.alarms.append(row.alarms.empty() ? "" : " ").append(figure.name);
  }
  if (row.alarms.empty()) row.alarms = "none";
  row.scale = query.Int(column++);
  row.name = query.Text(column);
}

void Fill(const sql::Query& query, ControlLimits& row) {
  row.process = query.Int(1);
  row.mean = query.Real(4);
  row.sp = query.Real(5);
  row.spl = query.Real(6);
  row.sw = query.Real(7);
  row.swl = query.Real(8);
  row.start = query.Int(9);
  row.finish = query.Int(10);
  row.chart_word = query.Int(11);
}

void Fill(const sql::Query& query, Opportunities& row) { row.opportunities = query.Int(4); }

void Fill(const sql::Query& query, NetContents& row) {
  int column = 4;
  for (const auto figure : kNetContents) row.*figure = Figure(query, column++);
  row.class_name = query.Text(column++);
  row.quantity = query.Text(column++);
  row.upper = query.Int(column++) != 0;
  row.factor = query.Real(column++);
  row.name = query.Text(column);
}

// Rows that one takes over from another: the same time, and of control limits the same process.
template <class Row>
bool Replaces(const Row& newer, const Row& older) {
  if constexpr (std::is_same_v<Row, ControlLimits>) {
    if (newer.process != older.process) return false;
  }
  return newer.effective == older.effective;
}

}  // namespace

template <class Row>
std::vector<Row> QualityDatabase::Versions(const StreamKey& stream) const {
  return store::Read(*database_, [&](store::SqlStore&, sql::Connection& db) {
    std::vector<Row> rows;
    sql::Query query(db, kText<Row>, stream.part, stream.test, stream.process);
    while (query.Step()) {
      Row row;
      row.part = query.Int(0);
      row.test = query.Int(2);
      row.effective = query.Int(3);
      Fill(query, row);
      if (!rows.empty() && Replaces(row, rows.back())) rows.pop_back();
      rows.push_back(std::move(row));
    }
    return rows;
  });
}

template <class Row>
std::optional<Row> QualityDatabase::InForce(const StreamKey& stream, std::int64_t time) const {
  auto rows = Versions<Row>(stream);
  const auto after = std::ranges::upper_bound(rows, time, {}, &Row::effective);
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
