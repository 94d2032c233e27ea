// SPDX-License-Identifier: Apache-2.0
#include "engine/catalogue/limits.h"
#include "engine/chunks/StreamWalk.h"
#include "engine/store/StoreCache.h"
#include "engine/write/import/import_kind.h"
#include "engine/write/import/replaced_row.h"
#include "platform/Enumerations.h"

namespace orvspc::engine::import {
namespace {

constexpr ImportColumn kLimitColumns[] = {
    {"part", kRequired, "name"},
    {"test", kRequired, "name"},
    {"usl", kOptional, "upper specification limit; a line gives at least one limit"},
    {"target", kOptional, "target"},
    {"lsl", kOptional, "lower specification limit"},
    {"ugb", kOptional, "upper gage bound"},
    {"lgb", kOptional, "lower gage bound"},
    {"url", kOptional, "upper reasonable limit"},
    {"lrl", kOptional, "lower reasonable limit"},
    {"uwp", kOptional, "upper limit within a piece"},
    {"lwp", kOptional, "lower limit within a piece"},
    {"cp", kOptional, "goal of Cp, not below 0"},
    {"cpk", kOptional, "goal of Cpk, not below 0"},
    {"effective", kOptional, "time from which the row holds; without it the row always held"},
    {"scale", kOptional, "number of decimals shown, 0 to 15; 4 unless given"},
    {"name", kOptional, "any text"},
    {"alarms", kOptional,
     "limits that raise alarms, such as \"usl lsl\", or none; without it all that are given"}};
using At = PlaceIn<kLimitColumns>;

constexpr auto kFirstLimit = At("usl");
// SpecLimitFlags of the columns from usl on; the two goals are no limits.
constexpr std::int32_t kFlags[] = {slfUSL, slfTAR, slfLSL, slfUGB, slfLGB, slfURL,
                                   slfLRL, slfUWP, slfLWP, 0,      0};
using LimitValues = std::array<std::optional<double>, std::size(kFlags)>;

// The limits that a text such as "usl lsl" names, as flags.
std::int32_t NamedLimits(const ImportTable& table, std::int32_t given) {
  const auto text = table.Cell(At("alarms"));
  if (text.empty()) return given;
  if (text == "none") return 0;
  std::int32_t flags = 0;
  for (const auto word : WordsOf(text)) {
    std::int32_t flag = 0;
    for (std::size_t i = 0; i < std::size(kFlags); ++i) {
      if (kLimitColumns[kFirstLimit + i].name == word) flag = kFlags[i];
    }
    if (flag == 0) table.Refuse(At("alarms"), "names something that is no limit");
    if ((flag & given) == 0) {
      table.Refuse(At("alarms"), "names a limit that the line does not give");
    }
    flags |= flag;
  }
  return flags;
}

// An upper limit lies above its lower one, a line gives at least one limit, goals are not negative.
void CheckLimits(ImportFile& file, std::int32_t given, const LimitValues& values) {
  const auto& table = file.table;
  const auto value = [&](std::size_t column) { return values[column - kFirstLimit]; };
  if (given == 0) table.Refuse(kFirstLimit, "the line gives no limit");
  constexpr std::pair<std::size_t, std::size_t> kPairs[] = {{At("usl"), At("lsl")},
                                                            {At("ugb"), At("lgb")},
                                                            {At("url"), At("lrl")},
                                                            {At("uwp"), At("lwp")}};
  for (const auto& [upper, lower] : kPairs) {
    if (value(upper) && value(lower) && *value(upper) <= *value(lower)) {
      table.Refuse(upper,
                   "must lie above the lower limit " + std::string(kLimitColumns[lower].name));
    }
  }
  for (const std::size_t goal : {At("cp"), At("cpk")}) {
    if (value(goal) && *value(goal) < 0.0) table.Refuse(goal, "must not be below 0");
  }
  const auto target = value(At("target")), usl = value(At("usl")), lsl = value(At("lsl"));
  if (target && ((usl && *target > *usl) || (lsl && *target < *lsl))) {
    table.Remark(file.report, "target-outside", At("target"),
                 "lies outside the specification limits");
  }
}

void TakeLimits(ImportFile& file) {
  static const auto insert = InsertNew(
      "spec_limit(part, test, effective, usl, target, lsl, ugb, lgb, url, lrl, uwp, lwp, cp, cpk, "
      "eflag, aflag, scale, name, who, made)");
  const auto& table = file.table;
  const auto version = file.Version(At("part"), At("test"), At("effective"));
  std::int32_t flags = 0;
  LimitValues values;
  for (std::size_t i = 0; i < values.size(); ++i) {
    values[i] = table.OptionalNumber(kFirstLimit + i);
    if (values[i]) flags |= kFlags[i];
  }
  CheckLimits(file, flags, values);
  const auto alarms = NamedLimits(table, flags);
  file.Store(insert, version, values, flags, alarms, table.Whole(At("scale"), 0, 15, 4),
             table.Cell(At("name")), file.who, file.made);
  using enum FigureColumn::Type;
  static const DatedRows rows("spec_limit", "spec-limit",
                              {{"usl"},
                               {"target"},
                               {"lsl"},
                               {"ugb"},
                               {"lgb"},
                               {"url"},
                               {"lrl"},
                               {"uwp"},
                               {"lwp"},
                               {"cp"},
                               {"cpk"},
                               {"aflag", kInt},
                               {"scale", kInt},
                               {"name", kText}});
  rows.AddReplaced(file, version);
}

constexpr ImportColumn kControlColumns[] = {
    {"part", kRequired, "name"},
    {"process", kOptional, "name; without it the row is for every process"},
    {"test", kRequired, "name"},
    {"mean", kRequired, "the centre; of a test of counts the rate"},
    {"sp", kOptional, "sigma of one piece; without it sigma is calculated"},
    {"spl", kOptional, "kept with the row; charts do not use it"},
    {"sw", kOptional, "sigma within a piece"},
    {"swl", kOptional, "kept with the row; charts do not use it"},
    {"effective", kOptional, "time from which the row holds; without it the row always held"},
    {"start", kOptional, "time of the first of the data that the row was calculated from"},
    {"finish", kOptional, "time of the last of them"},
    {"chart-word", kOptional, "of the chart that the row was made from, decimal or 0x..."}};
using AtControl = PlaceIn<kControlColumns>;

// Charts of counts take the mean as a rate; without a chart word it may be a measured value too.
double Mean(const ImportTable& table, std::int32_t chart_word) {
  const auto mean = table.Number(AtControl("mean"));
  const auto kind = catalogue::RateKindOf(chart_word);
  if (kind == catalogue::RateKind::None || catalogue::IsRate(kind, mean)) return mean;
  table.Refuse(AtControl("mean"),
               kind == catalogue::RateKind::Share
                   ? "must be a share from 0 to 1, which the chart word asks for"
                   : "must be a rate not below 0, which the chart word asks for");
}

// A row serves charts of its own kind alone: of values or of counts, as its test is where that is
// known.
void CheckChartWord(const ImportFile& file, std::int32_t test, std::int32_t chart_word) {
  const auto type = sql::Query(file.db, "SELECT type FROM test WHERE id = ?1", test).RunForInt();
  if (chart_word == 0 || type.value_or(0) == 0) return;
  const bool is_measured = *type == ttVariable;
  if (is_measured == (catalogue::RateKindOf(chart_word) == catalogue::RateKind::None)) return;
  file.table.Refuse(AtControl("chart-word"),
                    is_measured ? "is that of a chart of counts, but the test has measured values"
                                : "is that of a chart of measured values, but the test has counts");
}

// Whether the database holds a count above 0 of an attribute test; no process: of any.
bool HasCounts(sql::Connection& db, const std::array<std::int32_t, 3>& version, Reference process) {
  const auto [part, test, effective] = version;
  const auto streams =
      sql::Query(db,
                 "SELECT s.id FROM stream s JOIN test t ON t.id = s.test WHERE s.part = ?1 "
                 "AND s.test = ?2 AND (s.process = ?3 OR ?3 IS NULL) AND t.type <> ?4",
                 part, test, process, ttVariable)
          .All<store::Stream>(&store::Stream::id);
  return std::ranges::any_of(streams, [&](const store::Stream& stream) {
    bool found = false;
    store::StreamWalk(db, stream.id, true, INT32_MIN, INT32_MAX)
        .ForEach([&](const store::RecordView& record) {
          for (std::size_t i = 0; i < record.Count(); ++i) found = found || record.Value(i) > 0.0;
          return !found;
        });
    return found;
  });
}

void TakeControlLimits(ImportFile& file) {
  static const auto insert = InsertNew(
      "control_limit(part, test, effective, process, mean, sp, spl, sw, swl, start, finish, "
      "chart_word, who, made)");
  const auto& table = file.table;
  const auto process = file.OptionalItem(AtControl("process"), catalogue::ItemKind::Process);
  const auto version =
      file.Version(AtControl("part"), AtControl("test"), AtControl("effective"), process);
  const auto chart_word = table.ChartWord(AtControl("chart-word"));
  const auto mean = Mean(table, chart_word);
  CheckChartWord(file, version[1], chart_word);
  if (mean == 0.0 && HasCounts(file.db, version, process)) {
    table.Remark(file.report, "rate-zero", AtControl("mean"),
                 "a rate of 0 holds that nothing is ever found, but the stored subgroups have "
                 "counts above 0; the rate of a chart of counts is Mean in its Streams");
  }
  std::array<double, 4> sigmas{};
  for (std::size_t i = 0; i < sigmas.size(); ++i) {
    sigmas[i] = table.OptionalNumber(AtControl("sp") + i).value_or(0.0);
    if (sigmas[i] < 0.0) table.Refuse(AtControl("sp") + i, "a standard deviation is not below 0");
  }
  const auto start = table.OptionalStamp(AtControl("start")).value_or(0);
  const auto finish = table.OptionalStamp(AtControl("finish")).value_or(0);
  if (start != 0 && finish != 0 && start > finish) {
    table.Refuse(AtControl("start"), "must not lie after finish");
  }
  file.Store(insert, version, process, mean, sigmas, start, finish, chart_word, file.who,
             file.made);
  static const DatedRows rows(
      "control_limit", "limit",
      {{"mean"}, {"sp"}, {"spl"}, {"sw"}, {"swl"}, {"chart_word", FigureColumn::kInt}});
  rows.AddReplaced(file, version, process);
}

constexpr ImportColumn kOpportunityColumns[] = {
    {"part", kRequired, "name"},
    {"test", kRequired, "name"},
    {"opportunities", kRequired, "chances for a defect in one unit, at least 1"},
    {"effective", kOptional, "time from which the row holds; without it the row always held"}};

void TakeOpportunities(ImportFile& file) {
  using AtOpportunity = PlaceIn<kOpportunityColumns>;
  static const auto insert =
      InsertNew("opportunity(part, test, effective, opportunities, who, made)");
  const auto version =
      file.Version(AtOpportunity("part"), AtOpportunity("test"), AtOpportunity("effective"));
  file.Store(insert, version, file.table.Whole(AtOpportunity("opportunities"), 1, INT32_MAX),
             file.who, file.made);
  static const DatedRows rows("opportunity", "opportunity",
                              {{"opportunities", FigureColumn::kInt}});
  rows.AddReplaced(file, version);
}

}  // namespace

constinit const KindOfFile kLimitsKind{
    {ImportKind::Limits, "limits", "specification limits", kLimitColumns}, EachLine<TakeLimits>};
constinit const KindOfFile kControlLimitsKind{
    {ImportKind::ControlLimits, "control-limits", "limits by which a process is judged",
     kControlColumns},
    EachLine<TakeControlLimits>};
constinit const KindOfFile kOpportunitiesKind{
    {ImportKind::Opportunities, "opportunities", "chances for a defect in one unit",
     kOpportunityColumns},
    EachLine<TakeOpportunities>};

}  // namespace orvspc::engine::import
