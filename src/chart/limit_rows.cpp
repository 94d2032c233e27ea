// SPDX-License-Identifier: Apache-2.0
#include "chart/limit_rows.h"

#include <iterator>
#include <string>
#include <string_view>
#include <variant>

#include "frame/Outside.h"

namespace orvspc::limit_rows {
namespace {

using platform::Cell;
using platform::WireDouble;

template <class Row>
struct Stamp {
  std::int32_t Row::*field;
};
template <class Row>
Stamp(std::int32_t Row::*) -> Stamp<Row>;  // clang 14 deduces none of its own

template <class Row>
using Field =
    std::variant<std::int32_t Row::*, Stamp<Row>, WireDouble Row::*, char16_t (Row::*)[256]>;

// One Let of a row; the order of a table is the order of the Lets. A column that the database does
// not name is called after its offset in the record.
template <class Row>
struct Column {
  std::string_view name;
  Field<Row> field;
};

using Ctrl = API_CCCtrlLim;
// Deliberate: F_SWL is not handed on.
constexpr Column<Ctrl> kCtrlLim[] = {
    {"Word0", &Ctrl::Word0},
    {"Stamp4", Stamp{&Ctrl::Stamp4}},
    {"Stamp8", Stamp{&Ctrl::Stamp8}},
    {"F_PART", &Ctrl::F_PART},
    {"F_PRCS", &Ctrl::F_PRCS},
    {"F_TEST", &Ctrl::F_TEST_},
    {"F_EFTM", Stamp{&Ctrl::F_EFTM}},
    {"F_MEAN", &Ctrl::F_MEAN},
    {"F_SP", &Ctrl::F_SP},
    {"F_SPL", &Ctrl::F_SPL},
    {"F_SW", &Ctrl::F_SW},
    {"F_STTM", Stamp{&Ctrl::F_STTM}},
    {"F_FNTM", Stamp{&Ctrl::F_FNTM}},
    {"Double76", &Ctrl::Double76},
    {"Word84", &Ctrl::Word84},
    {"Word88", &Ctrl::Word88},
    {"Word92", &Ctrl::Word92},
};

using Spec = API_CCSpecLim;
constexpr Column<Spec> kSpecLim[] = {
    {"Word0", &Spec::Word0},          {"Stamp4", Stamp{&Spec::Stamp4}},
    {"Stamp8", Stamp{&Spec::Stamp8}}, {"F_PART", &Spec::F_PART},
    {"F_TEST", &Spec::F_TEST_},       {"Word20", &Spec::Word20},
    {"Word24", &Spec::Word24},        {"Word28", &Spec::Word28},
    {"Word32", &Spec::Word32},        {"Name", &Spec::Name},
    {"Word552", &Spec::Word552},      {"F_SCAL", &Spec::F_SCAL},
    {"F_USL", &Spec::F_USL},          {"F_TAR", &Spec::F_TAR},
    {"F_LSL", &Spec::F_LSL},          {"F_UGB", &Spec::F_UGB},
    {"F_LGB", &Spec::F_LGB},          {"F_URL", &Spec::F_URL},
    {"F_LRL", &Spec::F_LRL},          {"F_UWP", &Spec::F_UWP},
    {"F_LWP", &Spec::F_LWP},          {"F_USG", &Spec::F_USG},
    {"F_LSG", &Spec::F_LSG},          {"F_UDS", &Spec::F_UDS},
    {"F_LDS", &Spec::F_LDS},          {"F_CP", &Spec::F_CP},
    {"F_CPK", &Spec::F_CPK},          {"F_RRMAR", &Spec::F_RRMAR},
    {"F_RRMAX", &Spec::F_RRMAX},      {"Double712", &Spec::Double712},
    {"F_EFLAG", &Spec::F_EFLAG},      {"F_AFLAG", &Spec::F_AFLAG},
    {"Word728", &Spec::Word728},      {"Word732", &Spec::Word732},
    {"Word736", &Spec::Word736},
};

using Opps = API_CCDefOpp;
constexpr Column<Opps> kDefOpp[] = {
    {"Word0", &Opps::Word0},   {"Stamp4", Stamp{&Opps::Stamp4}}, {"Stamp8", Stamp{&Opps::Stamp8}},
    {"F_PART", &Opps::F_PART}, {"F_TEST", &Opps::F_TEST_},       {"F_OPPS", &Opps::F_OPPS},
    {"Word24", &Opps::Word24}, {"Word28", &Opps::Word28},        {"Word32", &Opps::Word32},
};

template <class Row>
struct CellOf {
  const Row& row;

  Cell operator()(std::int32_t Row::*field) const { return row.*field; }
  Cell operator()(WireDouble Row::*field) const { return double{row.*field}; }
  Cell operator()(Stamp<Row> stamp) const {
    return platform::Date{TimeStampToDate(row.*stamp.field)};
  }
  Cell operator()(char16_t (Row::*field)[256]) const {
    const auto& text = row.*field;
    return std::u16string(std::begin(text), std::end(text));
  }
};

template <class Row, std::size_t N>
void LoadRows(platform::LimitTable& table, platform::LimitTable& row, const Array<Row>& records,
              std::int32_t count, const Column<Row> (&columns)[N]) {
  for (std::int32_t i = 0; i < count; ++i) {
    for (const auto& column : columns)
      row.Let(column.name, std::visit(CellOf<Row>{records[i]}, column.field));
    table.Add(row);
  }
  table.MoveFirst();
}

}  // namespace

void Load(platform::LimitTable& table, platform::LimitTable& row,
          const Array<API_CCCtrlLim>& records, std::int32_t count) {
  LoadRows(table, row, records, count, kCtrlLim);
}

void Load(platform::LimitTable& table, platform::LimitTable& row,
          const Array<API_CCSpecLim>& records, std::int32_t count) {
  LoadRows(table, row, records, count, kSpecLim);
}

void Load(platform::LimitTable& table, platform::LimitTable& row,
          const Array<API_CCDefOpp>& records, std::int32_t count) {
  LoadRows(table, row, records, count, kDefOpp);
}

}  // namespace orvspc::limit_rows
