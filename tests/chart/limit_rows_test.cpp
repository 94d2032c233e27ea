// SPDX-License-Identifier: Apache-2.0
// Which bytes of a limit row each column of its table gets.
#include "chart/limit_rows.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <string_view>

#include "platform/TimeStamp.h"
#include "tests/fake/FakePlatform.h"

namespace orvspc {
namespace {

// i: 32-bit integer, s: stamp, d: double, t: text of 256 units.
struct Column {
  const char* name;
  char kind;
  std::size_t offset;
};

// Words 1001, 1002, ...: no two columns of a kind hold the same.
template <class Row>
Row Numbered() {
  Row row;
  static_assert(sizeof row % 4 == 0);
  for (std::int32_t i = 0; i < static_cast<std::int32_t>(sizeof row / 4); ++i) {
    const std::int32_t word = 1001 + i;
    std::memcpy(reinterpret_cast<char*>(&row) + 4 * i, &word, sizeof word);
  }
  return row;
}

template <class T, class Row>
T At(const Row& row, std::size_t offset) {
  T value;
  std::memcpy(&value, reinterpret_cast<const char*>(&row) + offset, sizeof value);
  return value;
}

template <class Row>
platform::Cell Expected(const Row& row, const Column& column) {
  if (column.kind == 'i') return At<std::int32_t>(row, column.offset);
  if (column.kind == 'd') return At<double>(row, column.offset);
  if (column.kind == 's')
    return platform::Date{platform::TimeStampToDate(At<std::int32_t>(row, column.offset))};
  const std::string bytes(reinterpret_cast<const char*>(&row), sizeof row);
  std::u16string text(256, u'\0');
  std::memcpy(text.data(), bytes.substr(column.offset, 512).data(), 512);
  return text;
}

template <class Row, std::size_t N>
void ExpectColumns(platform::LimitTable& table, platform::LimitTable& one,
                   const Column (&columns)[N]) {
  const Row row = Numbered<Row>();
  Array<Row> rows;
  rows.Dimension(0, 0);
  rows[0] = row;
  limit_rows::Load(table, one, rows, 1);
  for (const Column& column : columns)
    EXPECT_EQ(table.Get(column.name), Expected(row, column)) << column.name;
}

TEST(LimitRows, EachColumnOfASpecLimIsItsBytes) {
  const fake::FakeScope fake;
  ExpectColumns<API_CCSpecLim>(
      *fake.platform->MakeSpecLim(), *fake.platform->MakeSpecLim(),
      {{"Word0", 'i', 0},     {"Stamp4", 's', 4},      {"Stamp8", 's', 8},    {"F_PART", 'i', 12},
       {"F_TEST", 'i', 16},   {"Word20", 'i', 20},     {"Word24", 'i', 24},   {"Word28", 'i', 28},
       {"Word32", 'i', 32},   {"Name", 't', 40},       {"Word552", 'i', 552}, {"F_SCAL", 'i', 556},
       {"F_USL", 'd', 560},   {"F_TAR", 'd', 568},     {"F_LSL", 'd', 576},   {"F_UGB", 'd', 584},
       {"F_LGB", 'd', 592},   {"F_URL", 'd', 600},     {"F_LRL", 'd', 608},   {"F_UWP", 'd', 616},
       {"F_LWP", 'd', 624},   {"F_USG", 'd', 632},     {"F_LSG", 'd', 640},   {"F_UDS", 'd', 648},
       {"F_LDS", 'd', 656},   {"F_CP", 'd', 664},      {"F_CPK", 'd', 672},   {"F_RRMAR", 'd', 696},
       {"F_RRMAX", 'd', 704}, {"Double712", 'd', 712}, {"F_EFLAG", 'i', 720}, {"F_AFLAG", 'i', 724},
       {"Word728", 'i', 728}, {"Word732", 'i', 732},   {"Word736", 'i', 736}});
}

TEST(LimitRows, EachColumnOfACtrlLimIsItsBytes) {
  const fake::FakeScope fake;
  ExpectColumns<API_CCCtrlLim>(*fake.platform->MakeCtrlLim(), *fake.platform->MakeCtrlLim(),
                               {{"Word0", 'i', 0},
                                {"Stamp4", 's', 4},
                                {"Stamp8", 's', 8},
                                {"F_PART", 'i', 12},
                                {"F_PRCS", 'i', 16},
                                {"F_TEST", 'i', 20},
                                {"F_EFTM", 's', 24},
                                {"F_MEAN", 'd', 28},
                                {"F_SP", 'd', 36},
                                {"F_SPL", 'd', 44},
                                {"F_SW", 'd', 52},
                                {"F_STTM", 's', 68},
                                {"F_FNTM", 's', 72},
                                {"Double76", 'd', 76},
                                {"Word84", 'i', 84},
                                {"Word88", 'i', 88},
                                {"Word92", 'i', 92}});
}

TEST(LimitRows, EachColumnOfADefOppIsItsBytes) {
  const fake::FakeScope fake;
  ExpectColumns<API_CCDefOpp>(*fake.platform->MakeDefOpp(), *fake.platform->MakeDefOpp(),
                              {{"Word0", 'i', 0},
                               {"Stamp4", 's', 4},
                               {"Stamp8", 's', 8},
                               {"F_PART", 'i', 12},
                               {"F_TEST", 'i', 16},
                               {"F_OPPS", 'i', 20},
                               {"Word24", 'i', 24},
                               {"Word28", 'i', 28},
                               {"Word32", 'i', 32}});
}

}  // namespace
}  // namespace orvspc
