// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string_view>
#include <vector>

#include "platform/ItemKind.h"
#include "platform/RowRecords.h"

namespace orvspc::engine::store {

// The part of a test row that is not its value. In a plain row Tsno counts 1, 2, ... inside the
// subgroup and the rest is 0.
struct RowKey {
  std::int32_t Sn, Tsno, Sbno, Def, Gage;
  friend bool operator==(const RowKey&, const RowKey&) = default;
};
constexpr RowKey PlainKey(std::size_t row) {
  return {0, static_cast<std::int32_t>(row + 1), 0, 0, 0};
}

// The kinds of items that a test row names, with the columns of an import.
struct RowKind {
  std::string_view column;
  ItemKind kind;
  std::int32_t RowKey::*member;
};
inline constexpr RowKind kRowKinds[] = {{"serial", ItemKind::Serial, &RowKey::Sn},
                                        {"defect", ItemKind::Defect, &RowKey::Def},
                                        {"gage", ItemKind::Gage, &RowKey::Gage}};

// A selected data set, oldest subgroup first. Test_Start and Test_End of a subgroup are places in
// values; every subgroup has at least one row.
struct DataSet {
  std::vector<API_SubgroupData> subgroups;
  std::vector<double> values;  // one for each test row
  std::vector<RowKey> keys;    // beside values, or empty when every row is plain
  std::vector<double> sizes;   // inspected, beside subgroups; empty where all are whole numbers

  double SizeOf(std::size_t subgroup) const {
    return sizes.empty() ? subgroups[subgroup].Size : sizes[subgroup];
  }
  // Notes the inspected size of the last subgroup; needed once one is not a whole number. The first
  // call also notes the sizes of the subgroups before.
  void AddSize(double size);

  // A row of a subgroup; row 0 is its first.
  API_TestData Row(std::size_t subgroup, std::size_t row) const;
  // Every row in its wire form; a span that is too short gets the first ones.
  void WriteTests(std::span<API_TestData> out) const;
};

// Appends subgroups of another data set, whose rows lie side by side.
void CopySubgroups(const DataSet& from, std::size_t begin, std::size_t end, DataSet& out);

struct RowRange {
  std::size_t begin = 0, count = 0;
};

// Rows of a subgroup; none where its bounds do not lie in the data.
RowRange RowsOf(const DataSet& data, std::size_t subgroup);

// Reads the pieces of subgroups: a piece is a distinct Tsno, its value the row with Sbno 0, and the
// rows above it are readings inside it. Values that are not finite are left out.
class PieceReader {
 public:
  explicit PieceReader(const DataSet& data) : data_(data) {}

  // Finite values of the pieces in the order of Tsno. The span lives until the next call.
  std::span<const double> Pieces(std::size_t subgroup);

  // Calls once for each piece that has readings, in the order of Tsno.
  void ForEachPieceWithReadings(std::size_t subgroup,
                                const std::function<void(std::span<const double>)>& call);

 private:
  struct Row {
    std::int32_t tsno, sbno;
    double value;
  };
  void SortRows(std::size_t first, std::size_t last);

  const DataSet& data_;
  std::vector<double> pieces_;
  std::vector<Row> rows_;
};

}  // namespace orvspc::engine::store
