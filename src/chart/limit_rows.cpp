// SPDX-License-Identifier: Apache-2.0
#include "chart/limit_rows.h"

#include <iterator>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>

#include "frame/Outside.h"

namespace orvspc::limit_rows {
namespace {

using platform::Cell;

// One Let of a row. A column that the database does not name is called after its offset in the
// record.
template <class Row, class T>
struct Column {
  std::string_view name;
  T Row::*field;

  Cell Of(const Row& row) const {
    if constexpr (std::is_array_v<T>) {
      return std::u16string(std::begin(row.*field), std::end(row.*field));
    } else if constexpr (std::is_same_v<T, platform::WireDouble>) {
      return double{row.*field};
    } else {
      return row.*field;
    }
  }
};
// Deduction guides, since clang 14 deduces none of its own.
template <class Row, class T>
Column(const char*, T Row::*) -> Column<Row, T>;

// A stamp, which becomes a date.
template <class Row>
struct Stamp {
  std::string_view name;
  std::int32_t Row::*field;

  Cell Of(const Row& row) const { return platform::Date{TimeStampToDate(row.*field)}; }
};
template <class Row>
Stamp(const char*, std::int32_t Row::*) -> Stamp<Row>;

// The order of the columns is the order of the Lets. Not defined: each Row has its own below.
template <class Row>
extern const std::tuple<> kColumns;

using Ctrl = API_CCCtrlLim;
// Deliberate: F_SWL is not handed on.
template <>
constexpr auto kColumns<Ctrl> = std::tuple{
    Column{"Word0", &Ctrl::Word0},   Stamp{"Stamp4", &Ctrl::Stamp4},
    Stamp{"Stamp8", &Ctrl::Stamp8},  Column{"F_PART", &Ctrl::F_PART},
    Column{"F_PRCS", &Ctrl::F_PRCS}, Column{"F_TEST", &Ctrl::F_TEST_},
    Stamp{"F_EFTM", &Ctrl::F_EFTM},  Column{"F_MEAN", &Ctrl::F_MEAN},
    Column{"F_SP", &Ctrl::F_SP},     Column{"F_SPL", &Ctrl::F_SPL},
    Column{"F_SW", &Ctrl::F_SW},     Stamp{"F_STTM", &Ctrl::F_STTM},
    Stamp{"F_FNTM", &Ctrl::F_FNTM},  Column{"Double76", &Ctrl::Double76},
    Column{"Word84", &Ctrl::Word84}, Column{"Word88", &Ctrl::Word88},
    Column{"Word92", &Ctrl::Word92},
};

using Spec = API_CCSpecLim;
template <>
constexpr auto kColumns<Spec> = std::tuple{
    Column{"Word0", &Spec::Word0},     Stamp{"Stamp4", &Spec::Stamp4},
    Stamp{"Stamp8", &Spec::Stamp8},    Column{"F_PART", &Spec::F_PART},
    Column{"F_TEST", &Spec::F_TEST_},  Column{"Word20", &Spec::Word20},
    Column{"Word24", &Spec::Word24},   Column{"Word28", &Spec::Word28},
    Column{"Word32", &Spec::Word32},   Column{"Name", &Spec::Name},
    Column{"Word552", &Spec::Word552}, Column{"F_SCAL", &Spec::F_SCAL},
    Column{"F_USL", &Spec::F_USL},     Column{"F_TAR", &Spec::F_TAR},
    Column{"F_LSL", &Spec::F_LSL},     Column{"F_UGB", &Spec::F_UGB},
    Column{"F_LGB", &Spec::F_LGB},     Column{"F_URL", &Spec::F_URL},
    Column{"F_LRL", &Spec::F_LRL},     Column{"F_UWP", &Spec::F_UWP},
    Column{"F_LWP", &Spec::F_LWP},     Column{"F_USG", &Spec::F_USG},
    Column{"F_LSG", &Spec::F_LSG},     Column{"F_UDS", &Spec::F_UDS},
    Column{"F_LDS", &Spec::F_LDS},     Column{"F_CP", &Spec::F_CP},
    Column{"F_CPK", &Spec::F_CPK},     Column{"F_RRMAR", &Spec::F_RRMAR},
    Column{"F_RRMAX", &Spec::F_RRMAX}, Column{"Double712", &Spec::Double712},
    Column{"F_EFLAG", &Spec::F_EFLAG}, Column{"F_AFLAG", &Spec::F_AFLAG},
    Column{"Word728", &Spec::Word728}, Column{"Word732", &Spec::Word732},
    Column{"Word736", &Spec::Word736},
};

using Opps = API_CCDefOpp;
template <>
constexpr auto kColumns<Opps> = std::tuple{
    Column{"Word0", &Opps::Word0},    Stamp{"Stamp4", &Opps::Stamp4},
    Stamp{"Stamp8", &Opps::Stamp8},   Column{"F_PART", &Opps::F_PART},
    Column{"F_TEST", &Opps::F_TEST_}, Column{"F_OPPS", &Opps::F_OPPS},
    Column{"Word24", &Opps::Word24},  Column{"Word28", &Opps::Word28},
    Column{"Word32", &Opps::Word32},
};

}  // namespace

template <class Row>
void Load(platform::LimitTable& table, platform::LimitTable& row, const Array<Row>& records,
          std::int32_t count) {
  for (std::int32_t i = 0; i < count; ++i) {
    const Row& record = records[i];
    std::apply([&](const auto&... column) { (row.Let(column.name, column.Of(record)), ...); },
               kColumns<Row>);
    table.Add(row);
  }
  table.MoveFirst();
}

template void Load(platform::LimitTable&, platform::LimitTable&, const Array<Ctrl>&, std::int32_t);
template void Load(platform::LimitTable&, platform::LimitTable&, const Array<Spec>&, std::int32_t);
template void Load(platform::LimitTable&, platform::LimitTable&, const Array<Opps>&, std::int32_t);

}  // namespace orvspc::limit_rows
