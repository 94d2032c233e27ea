// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <optional>
#include <string>

#include "engine/write/import/import_kind.h"
#include "engine/write/import/replaced_row.h"

namespace orvspc::engine::import {
namespace {

constexpr ImportColumn kColumns[] = {
    {"part", kRequired, "name"},
    {"test", kRequired, "name"},
    {"nominal", kRequired, "the stated content, above 0"},
    {"class", kOptional, "R87, HB133 or own; own unless given"},
    {"quantity", kOptional, "mass, volume, length, area or count; mass unless given"},
    {"mav", kOptional,
     "maximum allowable variation, the largest shortfall; above 0 and below nominal"},
    {"upper", kOptional, "yes: derive upper limits too, as far above nominal; no unless given"},
    {"mavl", kOptional, "lower limit, nominal less the maximum allowable variation"},
    {"mavlp", kOptional, "percent of packages allowed beyond mavl, 0 to 100; so are the others"},
    {"mavu", kOptional, "upper limit of the maximum allowable variation"},
    {"mavup", kOptional, "percent of packages allowed beyond mavu"},
    {"t1l", kOptional, "lower limit T1"},
    {"t1lp", kOptional, "percent of packages allowed beyond t1l"},
    {"t1u", kOptional, "upper limit T1"},
    {"t1up", kOptional, "percent of packages allowed beyond t1u"},
    {"t2l", kOptional, "lower limit T2"},
    {"t2lp", kOptional, "percent of packages allowed beyond t2l"},
    {"t2u", kOptional, "upper limit T2"},
    {"t2up", kOptional, "percent of packages allowed beyond t2u"},
    {"factor", kOptional, "values are multiplied by it first (density, unit); 1 unless given"},
    {"effective", kOptional, "time from which the row holds; without it the row always held"},
    {"name", kOptional, "any text"}};
using At = PlaceIn<kColumns>;

constexpr std::string_view kClasses[] = {"R87", "HB133", "own"};
constexpr std::string_view kQuantities[] = {"mass", "volume", "length", "area", "count"};

// The word of an optional column.
std::string_view WordIn(const ImportTable& table, std::size_t column,
                        std::span<const std::string_view> words, std::string_view fallback) {
  return table.Cell(column).empty() ? fallback : words[table.WordOf(column, words)];
}

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
constexpr double kMinQuantity = 5.0;
constexpr Tolerable kTolerable[] = {
    {50, 9, 0},  {100, 0, 4.5}, {200, 4.5, 0},   {300, 0, 9},
    {500, 3, 0}, {1000, 0, 15}, {10000, 1.5, 0},
};

double TolerableDeficiency(const ImportTable& table, double nominal) {
  const auto quantity = catalogue::Lower(table.Cell(At("quantity")));
  if (!quantity.empty() && quantity != "mass") {
    table.Refuse(At("quantity"),
                 "deficiencies are known for mass only; use class own and give t1l and t2l");
  }
  if (nominal < kMinQuantity || nominal > kTolerable[std::size(kTolerable) - 1].up_to) {
    table.Refuse(At("nominal"),
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
    table.Refuse(At("nominal"),
                 "the deficiency of this quantity would have to be rounded; use class own and "
                 "give t1l and t2l");
  }
  return std::round(amount / step) * step;
}

// To twelve digits of the nominal quantity, which removes the error of binary subtraction:
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

// Figures that a class or mav derives; another figure in their place is refused.
struct Derivation {
  const ImportTable& table;
  std::string name, way_out;  // what derives, and what to do about another figure
  double nominal;
  bool with_upper;
  Figures& figures;

  // A limit below the nominal quantity, and above it when asked for.
  void Limit(std::size_t lower, std::size_t upper, double amount) const {
    Set(lower, Rounded(nominal - amount, nominal));
    if (with_upper) Set(upper, Rounded(nominal + amount, nominal));
  }
  void Set(std::size_t figure, double value) const {
    constexpr double kTolerance = 1e-9;
    if (figures[figure] && std::fabs(*figures[figure] - value) > kTolerance * nominal) {
      std::array<char, 32> text;
      const auto end = std::to_chars(text.data(), text.data() + text.size(), value).ptr;
      table.Refuse(At("mavl") + figure, name + " derives another figure, " +
                                            std::string(text.data(), end) + "; " + way_out);
    }
    figures[figure] = value;
  }
};

// The largest shortfall of the line; none when it gives none.
std::optional<double> ShortfallOf(const ImportTable& table, const std::string& name, double nominal,
                                  const Figures& figures) {
  if (const auto mav = table.OptionalNumber(At("mav"))) {
    if (!(*mav > 0.0)) table.Refuse(At("mav"), "must be above 0");
    if (!(*mav < nominal)) table.Refuse(At("mav"), "must be below the nominal quantity");
    return mav;
  }
  if (name != "HB133") return std::nullopt;
  if (!figures[kMavL]) {
    table.Refuse(At("class"), "HB133 needs mav, the maximum allowable variation, or mavl");
  }
  return nominal - *figures[kMavL];
}

void DeriveByClass(const ImportTable& table, const std::string& name, double nominal,
                   bool with_upper, Figures& figures) {
  if (name == "R87") {
    const Derivation derivation{
        table,   name,       "leave it out, or use class own and give the figures",
        nominal, with_upper, figures};
    constexpr double kMaxBeyondT1 = 2.5;  // percent of the packages
    const double t = TolerableDeficiency(table, nominal);
    derivation.Limit(kT1L, kT1U, t);
    derivation.Limit(kT2L, kT2U, 2.0 * t);
    derivation.Set(kT1L + 1, kMaxBeyondT1);
    derivation.Set(kT2L + 1, 0.0);
  }
  if (const auto shortfall = ShortfallOf(table, name, nominal, figures)) {
    Derivation{table, "mav", "give one of the two", nominal, with_upper, figures}.Limit(
        kMavL, kMavU, *shortfall);
    if (!figures[kMavL + 1]) figures[kMavL + 1] = 0.0;
  } else if (with_upper && name == "own") {
    table.Refuse(At("upper"),
                 "class own derives no upper limit without mav; give mavu, t1u and t2u instead");
  }
}

void Check(const ImportTable& table, double nominal, const Figures& figures) {
  for (std::size_t i = 0; i < figures.size(); i += 2) {
    const auto column = At("mavl") + i;
    if (const auto limit = figures[i]) {
      if (!std::isfinite(*limit))
        table.Refuse(At("nominal"), "is too large to derive upper limits");
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
    table.Refuse(At("mavl") + kT2L, "the lower T2 does not lie above the lower T1");
  }
  if (figures[kT1U] && figures[kT2U] && *figures[kT2U] < *figures[kT1U]) {
    table.Refuse(At("mavl") + kT2U, "the upper T2 does not lie below the upper T1");
  }
}

void TakeNetContents(ImportFile& file) {
  static const auto insert = InsertNew(
      "net_content(part, test, effective, class, quantity, nominal, mav, with_upper, factor, name, "
      "who, made, mavl, mavlp, mavu, mavup, t1l, t1lp, t1u, t1up, t2l, t2lp, t2u, t2up)");
  const auto& table = file.table;
  const auto version = file.Version(At("part"), At("test"), At("effective"));
  const double nominal = table.Number(At("nominal"));
  if (!(nominal > 0.0)) table.Refuse(At("nominal"), "must be above 0");
  Figures figures;
  for (std::size_t i = 0; i < figures.size(); ++i) {
    figures[i] = table.OptionalNumber(At("mavl") + i);
  }
  const auto name = WordIn(table, At("class"), kClasses, "own");
  const bool with_upper = !table.Cell(At("upper")).empty() && table.YesOrNo(At("upper"));
  DeriveByClass(table, std::string(name), nominal, with_upper, figures);
  Check(table, nominal, figures);
  const double factor = table.OptionalNumber(At("factor")).value_or(1.0);
  if (!(factor > 0.0)) table.Refuse(At("factor"), "must be above 0");
  const auto quantity = WordIn(table, At("quantity"), kQuantities, "mass");
  file.Store(insert, version, name, quantity, nominal, table.OptionalNumber(At("mav")), with_upper,
             factor, table.Cell(At("name")), file.who, file.made, figures);
  using enum FigureColumn::Type;
  static const DatedRows rows("net_content", "net-content",
                              {{"class", kText},
                               {"quantity", kText},
                               {"nominal"},
                               {"mav"},
                               {"with_upper", kInt},
                               {"factor"},
                               {"name", kText},
                               {"mavl"},
                               {"mavlp"},
                               {"mavu"},
                               {"mavup"},
                               {"t1l"},
                               {"t1lp"},
                               {"t1u"},
                               {"t1up"},
                               {"t2l"},
                               {"t2lp"},
                               {"t2u"},
                               {"t2up"}});
  rows.AddReplaced(file, version);
}

}  // namespace

constinit const KindOfFile kNetContentsKind{{ImportKind::NetContents, "net-contents",
                                             "what packages of stated content must hold", kColumns},
                                            EachLine<TakeNetContents>};

}  // namespace orvspc::engine::import
