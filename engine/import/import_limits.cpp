// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <tuple>

#include "engine/catalogue/stored_rate.h"
#include "engine/import/import_table.h"
#include "engine/store/packing.h"
#include "engine/time/calendar.h"
#include "platform/Enumerations.h"

namespace orvspc::engine::import {
namespace {

struct LimitColumn {
  std::string_view name;
  std::int32_t flag;  // SpecLimitFlags; 0 for what is no limit
};
constexpr LimitColumn kLimits[] = {
    {"usl", slfUSL}, {"target", slfTAR}, {"lsl", slfLSL}, {"ugb", slfUGB},
    {"lgb", slfLGB}, {"url", slfURL},    {"lrl", slfLRL}, {"uwp", slfUWP},
    {"lwp", slfLWP}, {"cp", 0},          {"cpk", 0},
};
constexpr std::size_t kLimitCount = std::size(kLimits);

// One row for each of these in a file.
template <class... Key>
class Once {
 public:
  explicit Once(const ImportTable& table) : table_(table) {}
  void Take(std::size_t column, Key... key) {
    if (!seen_.emplace(key...).second) {
      table_.Refuse(column, "the file has a line for the same time already");
    }
  }

 private:
  const ImportTable& table_;
  std::set<std::tuple<Key...>> seen_;
};

// The limits that a text such as "usl lsl" names, as flags.
std::int32_t NamedLimits(const ImportTable& table, std::size_t column, std::int32_t given) {
  auto text = table.Cell(column);
  if (text.empty()) return given;
  if (text == "none") return 0;
  std::int32_t flags = 0;
  while (!text.empty()) {
    const auto stop = std::min(text.find(' '), text.size());
    const auto word = text.substr(0, stop);
    text.remove_prefix(std::min(stop + 1, text.size()));
    if (word.empty()) continue;
    std::int32_t flag = 0;
    for (const auto& limit : kLimits) {
      if (limit.name == word) flag = limit.flag;
    }
    if (flag == 0) table.Refuse(column, "names something that is no limit");
    if ((flag & given) == 0) table.Refuse(column, "names a limit that the line does not give");
    flags |= flag;
  }
  return flags;
}

// An upper limit lies above its lower one, a line gives at least one limit, goals are not negative.
void CheckLimits(const ImportTable& table, std::size_t first, std::int32_t given,
                 std::span<const std::optional<double>> values, ImportReport& report) {
  enum : std::size_t { kUsl, kTarget, kLsl, kUgb, kLgb, kUrl, kLrl, kUwp, kLwp, kCp, kCpk };
  if (given == 0) table.Refuse(first, "the line gives no limit");
  constexpr std::pair<std::size_t, std::size_t> kPairs[] = {
      {kUsl, kLsl}, {kUgb, kLgb}, {kUrl, kLrl}, {kUwp, kLwp}};
  for (const auto& [upper, lower] : kPairs) {
    if (values[upper] && values[lower] && *values[upper] <= *values[lower]) {
      table.Refuse(first + upper,
                   "must lie above the lower limit " + std::string(kLimits[lower].name));
    }
  }
  for (const auto goal : {kCp, kCpk}) {
    if (values[goal] && *values[goal] < 0.0) table.Refuse(first + goal, "must not be below 0");
  }
  const auto& target = values[kTarget];
  if (target &&
      ((values[kUsl] && *target > *values[kUsl]) || (values[kLsl] && *target < *values[kLsl]))) {
    table.Remark(report, "target-outside", first + kTarget, "lies outside the specification");
  }
}

// Whether the database holds a count above 0 of an attribute test; process 0: of any process.
bool HasCounts(sql::Connection& db, std::int32_t part, std::int32_t process, std::int32_t test) {
  sql::Query query(db,
                   "SELECT m.packed FROM stream s JOIN test t ON t.id = s.test "
                   "JOIN measurement m ON m.stream = s.id "
                   "WHERE s.part = ?1 AND s.test = ?2 AND (?3 = 0 OR s.process = ?3) "
                   "AND t.type <> ?4");
  query.Bind(1, std::int64_t{part})
      .Bind(2, std::int64_t{test})
      .Bind(3, std::int64_t{process})
      .Bind(4, std::int64_t{ttVariable});
  while (query.Step()) {
    const auto view = store::PackedView::Of(query.Blob(0));
    for (std::size_t row = 0; view && row < view->Count(); ++row) {
      if (view->Value(row) > 0.0) return true;
    }
  }
  return false;
}

// Charts of counts take the mean as a rate; without a chart word it may be a measured value too.
double Mean(const ImportTable& table, std::size_t column, std::int32_t chart_word) {
  const auto mean = table.Number(column);
  const auto kind = catalogue::RateKindOf(chart_word);
  if (kind == catalogue::RateKind::None || catalogue::IsRate(kind, mean)) return mean;
  table.Refuse(column, kind == catalogue::RateKind::Share
                           ? "must be a share from 0 to 1, which the chart word asks for"
                           : "must be a rate not below 0, which the chart word asks for");
}

}  // namespace

ImportReport ImportLimits(const ImportContext& context) {
  enum Column : std::size_t {
    kPart,
    kTest,
    kFirstLimit,
    kEffective = kFirstLimit + kLimitCount,
    kScale,
    kName,
    kAlarms
  };
  static constexpr ColumnSpec kColumns[] = {
      {"part", true},  {"test", true},    {"usl", false}, {"target", false},    {"lsl", false},
      {"ugb", false},  {"lgb", false},    {"url", false}, {"lrl", false},       {"uwp", false},
      {"lwp", false},  {"cp", false},     {"cpk", false}, {"effective", false}, {"scale", false},
      {"name", false}, {"alarms", false},
  };
  static_assert(std::size(kColumns) == kAlarms + 1);
  constexpr std::int32_t kUsualScale = 4, kHighestScale = 15;

  ImportTable table(context.file, kColumns, context.options);
  ImportNames names(context.db);
  ImportReport report;
  Once<std::int32_t, std::int32_t, std::int32_t> once(table);
  while (table.Next()) {
    const auto part = names.Take(catalogue::ItemKind::Part, table.Name(kPart));
    const auto test = names.Take(catalogue::ItemKind::Test, table.Name(kTest));
    const auto effective = table.Stamp(kEffective, time::kNoStamp);
    once.Take(kTest, part, test, effective);
    sql::Query insert(
        context.db,
        "INSERT INTO spec_limit(part, test, effective, usl, target, lsl, ugb, lgb, url, "
        "lrl, uwp, lwp, cp, cpk, eflag, aflag, scale, name, who, made) VALUES(?1, ?2, ?3, "
        "?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13, ?14, ?15, ?16, ?17, ?18, ?19, ?20)");
    insert.Bind(1, std::int64_t{part}).Bind(2, std::int64_t{test}).Bind(3, std::int64_t{effective});
    std::int32_t flags = 0;
    std::array<std::optional<double>, kLimitCount> values;
    for (std::size_t i = 0; i < kLimitCount; ++i) {
      const auto& value = values[i] = table.OptionalNumber(kFirstLimit + i);
      const auto place = static_cast<int>(4 + i);
      if (value) {
        insert.Bind(place, *value);
        flags |= kLimits[i].flag;
      } else {
        insert.BindNull(place);
      }
    }
    CheckLimits(table, kFirstLimit, flags, values, report);
    insert.Bind(15, std::int64_t{flags})
        .Bind(16, std::int64_t{NamedLimits(table, kAlarms, flags)})
        .Bind(17, std::int64_t{table.Whole(kScale, 0, kHighestScale, kUsualScale)})
        .Bind(18, table.Cell(kName))
        .Bind(19, std::string_view(context.who))
        .Bind(20, context.made)
        .Run();
    ++report.rows;
  }
  report.lines = table.Lines();
  report.new_names = names.Added();
  return report;
}

ImportReport ImportControlLimits(const ImportContext& context) {
  enum Column : std::size_t {
    kPart,
    kProcess,
    kTest,
    kMean,
    kSp,
    kSpl,
    kSw,
    kSwl,
    kEffective,
    kStart,
    kFinish,
    kChartWord
  };
  static constexpr ColumnSpec kColumns[] = {
      {"part", true},       {"process", false}, {"test", true},    {"mean", true},
      {"sp", false},        {"spl", false},     {"sw", false},     {"swl", false},
      {"effective", false}, {"start", false},   {"finish", false}, {"chart-word", false},
  };
  static_assert(std::size(kColumns) == kChartWord + 1);

  ImportTable table(context.file, kColumns, context.options);
  ImportNames names(context.db);
  ImportReport report;
  Once<std::int32_t, std::int32_t, std::int32_t, std::int32_t> once(table);
  while (table.Next()) {
    const auto part = names.Take(catalogue::ItemKind::Part, table.Name(kPart));
    const auto test = names.Take(catalogue::ItemKind::Test, table.Name(kTest));
    const auto process_name = table.Cell(kProcess);
    const auto process =
        process_name.empty() ? 0 : names.Take(catalogue::ItemKind::Process, process_name);
    const auto effective = table.Stamp(kEffective, time::kNoStamp);
    once.Take(kTest, part, process, test, effective);
    const auto chart_word = table.ChartWord(kChartWord);
    sql::Query insert(
        context.db,
        "INSERT INTO control_limit(part, process, test, effective, mean, sp, spl, sw, "
        "swl, start, finish, chart_word, who, made) "
        "VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13, ?14)");
    insert.Bind(1, std::int64_t{part})
        .BindReference(2, process)
        .Bind(3, std::int64_t{test})
        .Bind(4, std::int64_t{effective})
        .Bind(5, Mean(table, kMean, chart_word));
    for (auto column = static_cast<std::size_t>(kSp); column <= kSwl; ++column) {
      const auto value = table.OptionalNumber(column).value_or(0.0);
      if (value < 0.0) table.Refuse(column, "a standard deviation is not below 0");
      insert.Bind(static_cast<int>(6 + column - kSp), value);
    }
    const auto start = table.Stamp(kStart, 0), finish = table.Stamp(kFinish, 0);
    if (start != 0 && finish != 0 && start > finish) {
      table.Refuse(kStart, "must not lie after finish");
    }
    insert.Bind(10, std::int64_t{start})
        .Bind(11, std::int64_t{finish})
        .Bind(12, std::int64_t{chart_word})
        .Bind(13, std::string_view(context.who))
        .Bind(14, context.made)
        .Run();
    if (table.Number(kMean) == 0.0 && HasCounts(context.db, part, process, test)) {
      table.Remark(report, "rate-zero", kMean,
                   "a rate of 0 holds that nothing is ever found, but the stored subgroups have "
                   "counts above 0; the rate of a chart of counts is Mean in its Streams");
    }
    ++report.rows;
  }
  report.lines = table.Lines();
  report.new_names = names.Added();
  return report;
}

ImportReport ImportOpportunities(const ImportContext& context) {
  enum Column : std::size_t { kPart, kTest, kOpportunities, kEffective };
  static constexpr ColumnSpec kColumns[] = {
      {"part", true}, {"test", true}, {"opportunities", true}, {"effective", false}};
  static_assert(std::size(kColumns) == kEffective + 1);

  ImportTable table(context.file, kColumns, context.options);
  ImportNames names(context.db);
  ImportReport report;
  Once<std::int32_t, std::int32_t, std::int32_t> once(table);
  while (table.Next()) {
    const auto part = names.Take(catalogue::ItemKind::Part, table.Name(kPart));
    const auto test = names.Take(catalogue::ItemKind::Test, table.Name(kTest));
    const auto effective = table.Stamp(kEffective, time::kNoStamp);
    once.Take(kTest, part, test, effective);
    sql::Query(context.db,
               "INSERT INTO opportunity(part, test, effective, opportunities, who, made) "
               "VALUES(?1, ?2, ?3, ?4, ?5, ?6)")
        .Bind(1, std::int64_t{part})
        .Bind(2, std::int64_t{test})
        .Bind(3, std::int64_t{effective})
        .Bind(4, std::int64_t{table.Whole(kOpportunities, 1, INT32_MAX)})
        .Bind(5, std::string_view(context.who))
        .Bind(6, context.made)
        .Run();
    ++report.rows;
  }
  report.lines = table.Lines();
  report.new_names = names.Added();
  return report;
}

}  // namespace orvspc::engine::import
