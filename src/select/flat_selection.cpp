// SPDX-License-Identifier: Apache-2.0
// The flat form of a selection: the record API_DSInfo, and the filter array of blocks. A block has
// a group cell, a count cell and the items.
#include <algorithm>
#include <cstddef>
#include <vector>

#include "frame/Checked.h"
#include "frame/Failure.h"
#include "frame/Friend.h"
#include "frame/Outside.h"
#include "frame/Trail.h"
#include "select/DataSelect.h"

namespace orvspc {
namespace {

// The fixed blocks in their order, each with the field of its filter type.
struct Block {
  DescriptorTypes type;
  std::int32_t API_DSInfo::*filter;
};

// Deliberate: employees come before defect codes, against the order of their numbers.
constexpr Block kBlocks[] = {
    {dtPart, &API_DSInfo::AllPart},         {dtProcess, &API_DSInfo::AllProcess},
    {dtTest, &API_DSInfo::AllTest},         {dtJob, &API_DSInfo::AllJob},
    {dtLot, &API_DSInfo::AllLot},           {dtShift, &API_DSInfo::AllShift},
    {dtEmployee, &API_DSInfo::AllEmployee}, {dtDefect, &API_DSInfo::AllCode},
};

constexpr std::int32_t kEnabledBit = 1, kDisabledBit = 2, kIncompleteBit = 4;
constexpr std::int32_t kAllStates = kEnabledBit | kDisabledBit | kIncompleteBit;

// The array while it is being filled. Cells that are not written are 0.
class FilterWriter {
 public:
  static constexpr std::size_t kHighestIndex = 30000;

  // Fails with 9 behind the highest index.
  void Put(std::int32_t value) {
    if (cells_.size() > kHighestIndex) FailSubscript();
    cells_.push_back(value);
  }

  // Passes a cell, which stays 0. Nothing is written, so it never fails.
  void Skip() { cells_.push_back(0); }

  // Everything that was put and one spare cell, which is never read.
  Array<std::int32_t> Cut() const {
    Array<std::int32_t> filter;
    filter.Dimension(0, static_cast<std::int64_t>(cells_.size()));
    std::ranges::copy(cells_, filter.Elements().begin());
    return filter;
  }

 private:
  std::vector<std::int32_t> cells_;
};

FilterTypes GetFilterType(const DataSelectDescriptor* descriptor) {
  return Traced("DataSelect.GetFilterType",
                [&] { return descriptor == nullptr ? ftUnlimited : descriptor->FilterType(); });
}

void PutItemList(FilterWriter& out, const DataSelectDescriptor& descriptor) {
  const std::int32_t count = descriptor.ItemCount();
  if (count == 0) FailMessage("Invalid ItemCount!");
  // Deliberate: the group cell holds the first item, which so comes back as GroupID too.
  out.Put(descriptor.DescriptorType() == dtOther ? descriptor.ItemID(1) : 0);
  out.Put(count);
  for (std::int32_t i = 1; i <= count; ++i) out.Put(descriptor.ItemID(i));
}

// The block of one descriptor; null is an unlimited dimension.
void LoadDSFilter(FilterWriter& out, const DataSelectDescriptor* descriptor) {
  Traced("DataSelect.LoadDSFilter", [&] {
    switch (GetFilterType(descriptor)) {
      case ftItemList:
        PutItemList(out, *descriptor);
        return;
      case ftGroup:
        out.Put(descriptor->GroupID());
        out.Put(1);
        // Deliberate: a group without an item has the item 0, and comes back with one.
        out.Put(descriptor->ItemID(1));
        return;
      case ftUnlimited:
        out.Put(0);
        out.Put(0);
        return;
    }
    FailMessage("Invalid FilterType!");
  });
}

// The cells by the indices of the host's array, whose first one may be another than 0.
struct FilterCells {
  const Array<std::int32_t>& cells;
  std::int32_t lower;

  std::int32_t operator[](std::int64_t index) const { return cells[index - lower]; }
};

// Reads the block at index, moves index past it, and adds the descriptor to the collection.
void LoadDescriptors(const FilterCells& filter, std::int32_t& index,
                     DataSelectDescriptors& descriptors, DescriptorTypes type,
                     std::int32_t filter_type) {
  Traced("DataSelect.LoadDescriptors", [&] {
    const auto skip = [&] { index = checked::Add(index, 2); };
    // Deliberate: an unlimited dimension does not come back as a descriptor.
    if (filter_type == ftUnlimited) return skip();
    const std::int32_t group = filter[index];
    const std::int32_t count = filter[std::int64_t{index} + 1];
    if (group == 0 && count == 0) return skip();
    const auto descriptor = descriptors.Add(type);
    descriptor->GroupID(group);
    skip();
    descriptor->FilterType(static_cast<FilterTypes>(filter_type));
    for (std::int32_t i = 0; i < count; ++i) {
      descriptor->AddItemID(filter[index]);
      index = checked::Add(index, 1);
    }
  });
}

}  // namespace

API_DSInfo DataSelect::GetDSInfo() const {
  return Traced("DataSelect.GetDSInfo", [&] {
    API_DSInfo info = {};
    info.Count = settings_.MaximumItems;
    info.Filter = descriptors_->GetDescriptor(dtOther) ? 1 : 0;
    info.DECFGID = -1;
    info.TimeType = settings_.DateRangeTimeType;
    info.TimePeriod = settings_.DateRangePeriod;
    info.TimeCount = settings_.DateRangeInterval;
    info.TimeStart = DateToTimeStamp(settings_.DateRangeStart);
    info.TimeEnd = DateToTimeStamp(settings_.DateRangeEnd);
    info.ItemNo = settings_.Tsno;
    info.Type = settings_.ItemTypes;
    const std::int32_t states = (settings_.IncludeEnabled ? kEnabledBit : 0) |
                                (settings_.IncludeDisabled ? kDisabledBit : 0) |
                                (settings_.IncludeIncomplete ? kIncompleteBit : 0);
    info.Status = states == kAllStates ? 0 : states;
    for (const Block& block : kBlocks)
      info.*block.filter = GetFilterType(descriptors_->GetDescriptor(block.type).get());
    info.TestType = (settings_.IncludeVariableTests ? ttVariable : 0) |
                    (settings_.IncludeDefectTests ? ttDefects : 0) |
                    (settings_.IncludeDefectiveTests ? ttDefectives : 0);
    info.SubgroupStart = settings_.SubgroupStart;
    info.SubgroupEnd = settings_.SubgroupEnd;
    return info;
  });
}

Array<std::int32_t> DataSelect::GetDSFilter() const {
  return Traced("DataSelect.GetDSFilter", [&] {
    FilterWriter out;
    for (const Block& block : kBlocks)
      LoadDSFilter(out, descriptors_->GetDescriptor(block.type).get());
    std::int32_t others = 0;
    for (const auto& descriptor : *descriptors_)
      if (descriptor->DescriptorType() == dtOther) ++others;
    if (others != 0) {
      out.Put(others);
    } else {
      out.Skip();
    }
    for (const auto& descriptor : *descriptors_)
      if (descriptor->DescriptorType() == dtOther) LoadDSFilter(out, descriptor.get());
    return out.Cut();
  });
}

bool DataSelect::API_GetData(API_DSInfo& DSInfo, Array<std::int32_t>& DSFilter) const {
  return Traced("DataSelect.API_GetData", [&] {
    DSInfo = GetDSInfo();
    DSFilter = GetDSFilter();
    return true;
  });
}

bool DataSelect::API_SetData(const API_DSInfo& DSInfo, const Array<std::int32_t>& DSFilter) {
  return API_SetData(Friend{}, DSInfo, DSFilter, 0);
}

bool DataSelect::API_SetData(const Friend&, const API_DSInfo& DSInfo,
                             const Array<std::int32_t>& DSFilter, std::int32_t LowerBound) {
  return Traced("DataSelect.API_SetData", [&] {
    settings_.ItemTypes = DSInfo.Type;
    settings_.MaximumItems = DSInfo.Count;
    settings_.Tsno = DSInfo.ItemNo;
    // Deliberate: a Status of 0 gives all three false, though all three true are written as 0.
    settings_.IncludeEnabled = (DSInfo.Status & kEnabledBit) != 0;
    settings_.IncludeDisabled = (DSInfo.Status & kDisabledBit) != 0;
    settings_.IncludeIncomplete = (DSInfo.Status & kIncompleteBit) != 0;
    settings_.DateRangeTimeType = static_cast<DateRangeTimeTypes>(DSInfo.TimeType);
    settings_.DateRangeInterval = DSInfo.TimeCount;
    settings_.DateRangePeriod = static_cast<DateRangePeriods>(DSInfo.TimePeriod);
    settings_.DateRangeStart = TimeStampToDate(DSInfo.TimeStart);
    settings_.DateRangeEnd = TimeStampToDate(DSInfo.TimeEnd);
    settings_.IncludeVariableTests = (DSInfo.TestType & ttVariable) != 0;
    settings_.IncludeDefectTests = (DSInfo.TestType & ttDefects) != 0;
    settings_.IncludeDefectiveTests = (DSInfo.TestType & ttDefectives) != 0;
    settings_.SubgroupStart = DSInfo.SubgroupStart;
    settings_.SubgroupEnd = DSInfo.SubgroupEnd;

    descriptors_->Clear();
    const FilterCells cells{DSFilter, LowerBound};
    std::int32_t index = 0;
    for (const Block& block : kBlocks)
      LoadDescriptors(cells, index, *descriptors_, block.type, DSInfo.*block.filter);
    if (DSInfo.Filter != 0) {
      const std::int32_t others = cells[index];
      index = checked::Add(index, 1);
      // Deliberate: the filter is a constant, so that a dtOther group comes back as an item list.
      for (std::int32_t i = 0; i < others; ++i)
        LoadDescriptors(cells, index, *descriptors_, dtOther, ftItemList);
    }
    return true;
  });
}

}  // namespace orvspc
