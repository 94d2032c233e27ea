// SPDX-License-Identifier: Apache-2.0
#include "engine/store/flat_filter.h"

#include <stdexcept>
#include <string>

#include "platform/Enumerations.h"

namespace orvspc::engine::store {
namespace {

class Cells {
 public:
  explicit Cells(std::span<const std::int32_t> cells) : cells_(cells) {}

  std::int32_t Next() {
    if (at_ >= cells_.size()) {
      throw std::out_of_range("The filter of the selection ends inside a block, at cell " +
                              std::to_string(at_));
    }
    return cells_[at_++];
  }
  // A count that the rest of the array can hold.
  std::size_t NextCount() {
    const auto place = at_;
    const auto count = Next();
    if (count < 0 || static_cast<std::size_t>(count) > cells_.size() - at_) {
      throw std::out_of_range("The filter of the selection has a count of " +
                              std::to_string(count) + " at cell " + std::to_string(place) +
                              ", more than there are cells");
    }
    return static_cast<std::size_t>(count);
  }

 private:
  std::span<const std::int32_t> cells_;
  std::size_t at_ = 0;
};

FilterBlock ReadBlock(Cells& cells, std::int32_t filter_type) {
  if (filter_type != ftItemList && filter_type != ftGroup && filter_type != ftUnlimited) {
    throw std::out_of_range("The selection has the unknown filter type " +
                            std::to_string(filter_type));
  }
  FilterBlock block;
  block.group = cells.Next();
  if (filter_type == ftUnlimited) {
    cells.Next();
    return block;
  }
  block.items.resize(cells.NextCount());
  for (auto& item : block.items) item = cells.Next();
  block.limited = block.group != 0 || !block.items.empty();
  block.is_group = filter_type == ftGroup;
  return block;
}

}  // namespace

FlatFilter ReadFilter(const API_DSInfo& info, std::span<const std::int32_t> cells) {
  Cells reader(cells);
  FlatFilter filter;
  filter.part = ReadBlock(reader, info.AllPart);
  filter.process = ReadBlock(reader, info.AllProcess);
  filter.test = ReadBlock(reader, info.AllTest);
  filter.job = ReadBlock(reader, info.AllJob);
  filter.lot = ReadBlock(reader, info.AllLot);
  filter.shift = ReadBlock(reader, info.AllShift);
  filter.employee = ReadBlock(reader, info.AllEmployee);
  filter.defect = ReadBlock(reader, info.AllCode);
  if (info.Filter == 0) return filter;
  const auto others = reader.NextCount();
  for (std::size_t i = 0; i < others; ++i) {
    // These blocks carry no filter type: an item list or a group have the same form.
    auto block = ReadBlock(reader, ftItemList);
    if (block.limited) filter.others.push_back(std::move(block));
  }
  return filter;
}

}  // namespace orvspc::engine::store
