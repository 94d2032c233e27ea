// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <utility>

#include "engine/import/import_table.h"
#include "engine/time/calendar.h"

namespace orvspc::engine::import {
namespace {

enum Column : std::size_t {
  kPart,
  kTest,
  kNominal,
  kClass,
  kQuantity,
  kMav,
  kUpper,
  kFirstFigure,
  kFactor = kFirstFigure + 12,
  kEffective,
  kName
};
constexpr ColumnSpec kColumns[] = {
    {"part", true},       {"test", true},  {"nominal", true}, {"class", false},
    {"quantity", false},  {"mav", false},  {"upper", false},  {"mavl", false},
    {"mavlp", false},     {"mavu", false}, {"mavup", false},  {"t1l", false},
    {"t1lp", false},      {"t1u", false},  {"t1up", false},   {"t2l", false},
    {"t2lp", false},      {"t2u", false},  {"t2up", false},   {"factor", false},
    {"effective", false}, {"name", false},
};
static_assert(std::size(kColumns) == kName + 1);

// Places among the figures, in the order of the columns; each limit is followed by its companion,
// the percent of packages that may lie beyond it.
enum Figure : std::size_t { kMavL = 0, kMavU = 2, kT1L = 4, kT1U = 6, kT2L = 8, kT2U = 10 };
using Figures = std::array<std::optional<double>, 12>;
constexpr bool IsUpper(std::size_t figure) {
  return figure == kMavU || figure == kT1U || figure == kT2U;
}

// Tolerable deficiency of a package by its nominal quantity in grams: a share or an amount, for
// quantities above the former row's end. From 5 g to 10 kg, as national law has it.
// Source   OIML R 87
struct Tolerable {
  double up_to, percent, amount;
};
constexpr double kLeastQuantity = 5.0;
constexpr Tolerable kTolerable[] = {
    {50, 9, 0},  {100, 0, 4.5}, {200, 4.5, 0},   {300, 0, 9},
    {500, 3, 0}, {1000, 0, 15}, {10000, 1.5, 0},
};

double TolerableDeficiency(const ImportTable& table, double nominal) {
  const auto quantity = catalogue::Lower(table.Cell(kQuantity));
  if (!quantity.empty() && quantity != "mass") {
    table.Refuse(kQuantity,
                 "deficiencies are known for mass only; use class own and give t1l and t2l");
  }
  if (nominal < kLeastQuantity || nominal > kTolerable[std::size(kTolerable) - 1].up_to) {
    table.Refuse(kNominal,
                 "deficiencies are known from 5 to 10000 g only; use class own and give t1l and "
                 "t2l");
  }
  const auto* row = kTolerable;
  while (nominal > row->up_to) ++row;
  if (row->percent == 0.0) return row->amount;
  const double amount = nominal * row->percent / 100.0;
  // How such a share is rounded is not settled here, so only one that needs no rounding is taken.
  const double step = nominal <= 1000.0 ? 0.1 : 1.0;
  if (std::fabs(amount / step - std::round(amount / step)) > 1e-9) {
    table.Refuse(kNominal,
                 "the deficiency of this quantity would have to be rounded; use class own and "
                 "give t1l and t2l");
  }
  return std::round(amount / step) * step;
}

std::string ClassOf(const ImportTable& table) {
  const auto word = catalogue::Lower(table.Cell(kClass));
  if (word.empty() || word == "own") return "own";
  if (word == "r87") return "R87";
  if (word == "hb133") return "HB133";
  table.Refuse(kClass, "must be R87, HB133 or own");
}

bool YesOrNo(const ImportTable& table, std::size_t column) {
  const auto word = catalogue::Lower(table.Cell(column));
  if (word.empty() || word == "no" || word == "0" || word == "false") return false;
  if (word == "yes" || word == "1" || word == "true") return true;
  table.Refuse(column, "must be yes or no");
}

// To twelve digits of the nominal quantity, which takes away what binary subtraction leaves behind:
// 64.4 - 4.5 is 59.9.
double Rounded(double value, double nominal) {
  constexpr int kDigits = 12;
  const int decimals = std::max(0, kDigits - 1 - static_cast<int>(std::floor(std::log10(nominal))));
  std::array<char, 700> text;  // holds any double with any such number of decimals
  const auto end = std::to_chars(text.data(), text.data() + text.size(), value,
                                 std::chars_format::fixed, decimals);
  std::from_chars(text.data(), end.ptr, value);
  return value;
}

// What a class derives stands alone: another figure in its place is refused.
class Derivation {
 public:
  // way_out   what to do about such a figure
  Derivation(const ImportTable& table, std::string name, std::string way_out, double nominal,
             bool with_upper, Figures& figures)
      : table_(table),
        name_(std::move(name)),
        way_out_(std::move(way_out)),
        nominal_(nominal),
        with_upper_(with_upper),
        figures_(figures) {}

  // A limit below the nominal quantity, and above it when asked for.
  void Limit(std::size_t lower, std::size_t upper, double amount) {
    Set(lower, Rounded(nominal_ - amount, nominal_));
    if (with_upper_) Set(upper, Rounded(nominal_ + amount, nominal_));
  }
  void Set(std::size_t figure, double value) {
    auto& held = figures_[figure];
    constexpr double kTolerance = 1e-9;
    if (held && std::fabs(*held - value) > kTolerance * nominal_) {
      table_.Refuse(kFirstFigure + figure,
                    name_ + " derives another figure, " + Number(value) + "; " + way_out_);
    }
    held = value;
  }

 private:
  static std::string Number(double value) {
    std::array<char, 32> text;
    return {text.data(), std::to_chars(text.data(), text.data() + text.size(), value).ptr};
  }

  const ImportTable& table_;
  const std::string name_, way_out_;
  double nominal_;
  bool with_upper_;
  Figures& figures_;
};

// The largest shortfall of the line; none when it gives none.
std::optional<double> ShortfallOf(const ImportTable& table, const std::string& name, double nominal,
                                  const Figures& figures) {
  if (const auto mav = table.OptionalNumber(kMav)) {
    if (!(*mav > 0.0)) table.Refuse(kMav, "must be above 0");
    if (!(*mav < nominal)) table.Refuse(kMav, "must be below the nominal quantity");
    return mav;
  }
  if (name != "HB133") return std::nullopt;
  if (!figures[kMavL]) {
    table.Refuse(kClass, "HB133 needs mav, the maximum allowable variation, or mavl");
  }
  return nominal - *figures[kMavL];
}

void DeriveByClass(const ImportTable& table, const std::string& name, double nominal,
                   bool with_upper, Figures& figures) {
  if (name == "R87") {
    Derivation derivation(table, name, "leave it out, or use class own and give the figures",
                          nominal, with_upper, figures);
    constexpr double kMostBeyondT1 = 2.5;  // percent of the packages
    const double t = TolerableDeficiency(table, nominal);
    derivation.Limit(kT1L, kT1U, t);
    derivation.Limit(kT2L, kT2U, 2.0 * t);
    derivation.Set(kT1L + 1, kMostBeyondT1);
    derivation.Set(kT2L + 1, 0.0);
  }
  if (const auto shortfall = ShortfallOf(table, name, nominal, figures)) {
    Derivation(table, "mav", "give one of the two", nominal, with_upper, figures)
        .Limit(kMavL, kMavU, *shortfall);
    if (!figures[kMavL + 1]) figures[kMavL + 1] = 0.0;
  } else if (with_upper && name == "own") {
    table.Refuse(kUpper,
                 "class own derives no upper limit without mav; give mavu, t1u and t2u instead");
  }
}

void Check(const ImportTable& table, double nominal, const Figures& figures) {
  for (std::size_t i = 0; i < figures.size(); i += 2) {
    const auto column = kFirstFigure + i;
    if (const auto limit = figures[i]) {
      if (!std::isfinite(*limit)) table.Refuse(kNominal, "is too large to derive upper limits");
      if (*limit < 0.0) table.Refuse(column, "must not be below 0");
      if (IsUpper(i) ? *limit < nominal : *limit > nominal) {
        table.Refuse(column, IsUpper(i) ? "an upper limit does not lie below the nominal quantity"
                                        : "a lower limit does not lie above the nominal quantity");
      }
    }
    const auto percent = figures[i + 1];
    if (!percent) continue;
    if (*percent < 0.0 || *percent > 100.0) {
      table.Refuse(column + 1, "must be a percentage from 0 to 100");
    }
    if (!figures[i]) {
      const std::string limit(kColumns[column].name);
      table.Refuse(column + 1, "there is no " + limit + " that this percentage belongs to");
    }
  }
  if (figures[kT1L] && figures[kT2L] && *figures[kT2L] > *figures[kT1L]) {
    table.Refuse(kFirstFigure + std::size_t{kT2L}, "the lower T2 does not lie above the lower T1");
  }
  if (figures[kT1U] && figures[kT2U] && *figures[kT2U] < *figures[kT1U]) {
    table.Refuse(kFirstFigure + std::size_t{kT2U}, "the upper T2 does not lie below the upper T1");
  }
}

}  // namespace

ImportReport ImportNetContents(const ImportContext& context) {
  ImportTable table(context.file, kColumns, context.options);
  ImportNames names(context.db);
  ImportReport report;
  std::set<std::tuple<std::int32_t, std::int32_t, std::int32_t>> seen;
  while (table.Next()) {
    const auto part = names.Take(catalogue::ItemKind::Part, table.Name(kPart));
    const auto test = names.Take(catalogue::ItemKind::Test, table.Name(kTest));
    const auto effective = table.Stamp(kEffective, time::kNoStamp);
    if (!seen.emplace(part, test, effective).second) {
      table.Refuse(kTest, "the file has a line for the same time already");
    }
    const double nominal = table.Number(kNominal);
    if (!(nominal > 0.0)) table.Refuse(kNominal, "must be above 0");
    Figures figures;
    for (std::size_t i = 0; i < figures.size(); ++i) {
      figures[i] = table.OptionalNumber(kFirstFigure + i);
    }
    const auto name = ClassOf(table);
    const bool with_upper = YesOrNo(table, kUpper);
    DeriveByClass(table, name, nominal, with_upper, figures);
    Check(table, nominal, figures);
    const double factor = table.OptionalNumber(kFactor).value_or(1.0);
    if (!(factor > 0.0)) table.Refuse(kFactor, "must be above 0");
    auto quantity = catalogue::Lower(table.Cell(kQuantity));
    if (quantity.empty()) quantity = "mass";
    if (quantity != "mass" && quantity != "volume" && quantity != "length" && quantity != "area" &&
        quantity != "count") {
      table.Refuse(kQuantity, "must be mass, volume, length, area or count");
    }
    sql::Query insert(
        context.db,
        "INSERT INTO net_content(part, test, effective, class, quantity, nominal, mav, "
        "with_upper, factor, name, who, made, mavl, mavlp, mavu, mavup, t1l, t1lp, t1u, "
        "t1up, t2l, t2lp, t2u, t2up) VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, "
        "?11, ?12, ?13, ?14, ?15, ?16, ?17, ?18, ?19, ?20, ?21, ?22, ?23, ?24)");
    insert.Bind(1, std::int64_t{part})
        .Bind(2, std::int64_t{test})
        .Bind(3, std::int64_t{effective})
        .Bind(4, std::string_view(name))
        .Bind(5, std::string_view(quantity))
        .Bind(6, nominal);
    if (const auto mav = table.OptionalNumber(kMav)) {
      insert.Bind(7, *mav);
    } else {
      insert.BindNull(7);
    }
    insert.Bind(8, std::int64_t{with_upper})
        .Bind(9, factor)
        .Bind(10, table.Cell(kName))
        .Bind(11, std::string_view(context.who))
        .Bind(12, context.made);
    for (std::size_t i = 0; i < figures.size(); ++i) {
      const auto place = static_cast<int>(13 + i);
      if (figures[i]) {
        insert.Bind(place, *figures[i]);
      } else {
        insert.BindNull(place);
      }
    }
    insert.Run();
    ++report.rows;
  }
  report.lines = table.Lines();
  report.new_names = names.Added();
  return report;
}

}  // namespace orvspc::engine::import
