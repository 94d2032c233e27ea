// SPDX-License-Identifier: Apache-2.0
#include "chart/spec_limits.h"

#include <algorithm>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "frame/Checked.h"
#include "frame/Trail.h"
#include "platform/Enumerations.h"
#include "platform/SpecificationBounds.h"

namespace orvspc {
namespace {

using Key = std::pair<std::int32_t, std::int32_t>;  // part, test

// A limit row ready for comparison.
struct ActiveRow {
  Key key;
  std::int32_t enabled;
  platform::SpecificationBounds bounds;

  explicit ActiveRow(const API_CCSpecLim& row)
      : key(row.F_PART, row.F_TEST_), enabled(row.F_EFLAG), bounds(row) {}
};

// The rows that count, by part and test; those of one key in the order of the table.
std::vector<ActiveRow> ActiveRows(API_CCResults& record) {
  std::vector<ActiveRow> rows;
  for (std::int32_t k = 0; k < record.Totals.SpecLimCount; ++k) {
    auto& row = record.SpecLims[k];
    if (row.F_EFLAG == 0 && row.F_AFLAG == 0) continue;
    row.F_AFLAG &= row.F_EFLAG;
    rows.emplace_back(row);
  }
  if (rows.size() > 1) std::ranges::stable_sort(rows, {}, &ActiveRow::key);
  return rows;
}

std::span<const ActiveRow> RowsOf(const Key& key, const std::vector<ActiveRow>& rows) {
  return {std::ranges::lower_bound(rows, key, {}, &ActiveRow::key),
          std::ranges::upper_bound(rows, key, {}, &ActiveRow::key)};
}

// The test rows of a subgroup.
std::span<const API_TestData> TestsOf(const API_SubgroupData& subgroup,
                                      std::span<const API_TestData> tests) {
  if (subgroup.Test_Start > subgroup.Test_End) return {};
  const auto first = static_cast<std::size_t>(subgroup.Test_Start);
  const auto last = static_cast<std::size_t>(subgroup.Test_End);
  if (subgroup.Test_Start < 0 || last >= tests.size()) FailSubscript();
  return tests.subspan(first, last - first + 1);
}

}  // namespace

void ProcessSpecLim(API_CCResults& record) {
  Traced("CCAnalysis.ProcessSpecLim", [&] {
    auto& graph = record.Graphs[0];
    const std::int32_t last = checked::Subtract(record.Totals.SubgroupCount, 1);
    for (auto* array : {&graph.OOSs, &graph.AFlags, &graph.EFlags}) array->Dimension(0, last);

    const std::vector<ActiveRow> rows = ActiveRows(record);
    if (rows.empty()) return;
    const auto tests = std::as_const(record.Tests).Elements();
    Key key = rows.front().key;
    std::span<const ActiveRow> matching = RowsOf(key, rows);
    for (std::int32_t i = 0; i <= last; ++i) {
      const API_SubgroupData& subgroup = record.Subgroups[i];
      if (const Key own{subgroup.Part, subgroup.Test}; own != key) {
        key = own;
        matching = RowsOf(key, rows);
      }
      std::int32_t broken = 0;
      for (const ActiveRow& row : matching) {
        // Deliberate: a later row overwrites the flags, while the violations of all rows
        // accumulate.
        graph.EFlags[i] = row.enabled;
        graph.AFlags[i] = row.bounds.Active();
        if (row.bounds.Active() == 0 || subgroup.Flag != sfEnabled) continue;
        for (const API_TestData& test : TestsOf(subgroup, tests)) {
          broken |= row.bounds.BrokenBy(test.Val, test.Sbno);
        }
      }
      graph.OOSs[i] = broken;
    }
  });
}

}  // namespace orvspc
