// SPDX-License-Identifier: Apache-2.0
#include "engine/charts/AttributeTable.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "engine/charts/column_storage.h"
#include "platform/Enumerations.h"

namespace orvspc::engine::charts {
namespace {

struct Counts {
  double defects = 0.0, defectives = 0.0;
};

class CountReader {
 public:
  explicit CountReader(const store::DataSet& data) : data_(data) {}

  Counts Read(std::size_t subgroup, bool of_defectives) {
    Counts counts;
    units_.clear();
    const auto rows = store::RowsOf(data_, subgroup);
    for (auto row = rows.begin; row < rows.begin + rows.count; ++row) {
      const double value = data_.values[row];
      if (!std::isfinite(value)) continue;
      counts.defects += value;
      // Rows without keys count 1, 2, ... inside their subgroup.
      const auto unit = data_.keys.empty() ? static_cast<std::int32_t>(row - rows.begin) + 1
                                           : data_.keys[row].Tsno;
      if (unit == 0) {
        counts.defectives += value;
      } else {
        units_.emplace_back(unit, of_defectives ? value : (value > 0.0 ? 1.0 : 0.0));
      }
    }
    counts.defectives += UnitsThatAreBad();
    return counts;
  }

 private:
  double UnitsThatAreBad() {
    std::sort(units_.begin(), units_.end());
    double sum = 0.0;
    for (std::size_t i = 0; i < units_.size(); ++i) {
      // The last of a unit is its largest.
      if (i + 1 == units_.size() || units_[i + 1].first != units_[i].first) sum += units_[i].second;
    }
    return sum;
  }

  const store::DataSet& data_;
  std::vector<std::pair<std::int32_t, double>> units_;
};

}  // namespace

void AttributeTable::Clear() {
  ClearStreams();
  Forget(sizes);
  Forget(defects);
  Forget(defectives);
  only_defects_ = true;
}

void AttributeTable::Build(const store::DataSet& data, std::int32_t status,
                           const std::function<std::int32_t(std::int32_t test)>& type_of) {
  Clear();
  const auto count = data.subgroups.size();
  sizes.resize(count);
  defects.resize(count);
  defectives.resize(count);
  CountReader reader(data);
  std::int32_t test = 0;
  bool of_defectives = false;
  const auto fill = [&](std::size_t place, std::size_t subgroup) {
    const auto& row = data.subgroups[subgroup];
    if (place == 0 || row.Test != test) {
      test = row.Test;
      of_defectives = type_of(test) == ttDefectives;
      only_defects_ = only_defects_ && !of_defectives;
    }
    const auto counts = reader.Read(subgroup, of_defectives);
    sizes[place] = std::max(data.SizeOf(subgroup), 0.0);
    defects[place] = counts.defects;
    defectives[place] = counts.defectives;
  };
  StreamTable::Build(data, status, fill, [] {});
}

AttributeShape AttributeTable::Shape() const {
  AttributeShape shape;
  shape.only_defects = only_defects_;
  const bool any_used = Used().empty() || std::any_of(Used().begin(), Used().end(),
                                                      [](auto used) { return used != 0; });
  bool first = true;
  double size = 0.0;
  for (std::size_t place = 0; place < Count(); ++place) {
    if (any_used && !IsUsed(place)) continue;
    if (first) size = sizes[place];
    first = false;
    shape.sizes_differ = shape.sizes_differ || sizes[place] != size;
  }
  return shape;
}

}  // namespace orvspc::engine::charts
