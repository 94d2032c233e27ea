// SPDX-License-Identifier: Apache-2.0
#include "chart/groups.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <span>
#include <unordered_map>

#include "frame/Checked.h"
#include "frame/Trail.h"

namespace orvspc::groups {
namespace {

// What the grouping compares, by the number of its ccGroupByTypes.
constexpr std::int32_t API_SubgroupData::*kIdentifiers[] = {
    &API_SubgroupData::Sgrp, &API_SubgroupData::Part, &API_SubgroupData::Prcs,
    &API_SubgroupData::Test};
static_assert(std::size(kIdentifiers) == ccGroupByTest + 1);

// The group being built; subgroups are added in order. Looks at each subgroup once: a newcomer fits
// when its identifier has not occurred in the group and it is near to both the earliest and the
// latest member. Only the subgroup that closes a group is compared with each member.
class OpenGroup {
 public:
  OpenGroup(std::span<const API_SubgroupData> subgroups, std::span<const std::int32_t> ids,
            std::int32_t threshold)
      : subgroups_(subgroups), ids_(ids), threshold_(threshold) {
    Open(0);
  }

  // Takes subgroup i into the group if it is compatible with every member.
  bool Takes(std::int32_t i) {
    const auto at = static_cast<std::size_t>(i);
    const std::int32_t stamp = subgroups_[at].Sgtm;
    const auto met = latest_.find(ids_[at]);
    const bool known = met != latest_.end() && met->second >= start_;
    const std::int64_t furthest =
        std::max(std::int64_t{stamp} - earliest_stamp_, std::int64_t{latest_stamp_} - stamp);
    if (known || furthest > threshold_) {
      FailIfDistanceOverflows(i);
      return false;
    }
    earliest_stamp_ = std::min(earliest_stamp_, stamp);
    latest_stamp_ = std::max(latest_stamp_, stamp);
    latest_[ids_[at]] = i;
    return true;
  }

  void Open(std::int32_t start) {
    const auto at = static_cast<std::size_t>(start);
    start_ = start;
    earliest_stamp_ = latest_stamp_ = subgroups_[at].Sgtm;
    latest_[ids_[at]] = start;
  }

 private:
  // The members are compared in their order up to the first that is not compatible; a distance
  // that 32 bits cannot say fails only if it is reached.
  void FailIfDistanceOverflows(std::int32_t i) const {
    const auto& newcomer = subgroups_[static_cast<std::size_t>(i)];
    for (auto j = static_cast<std::size_t>(start_); j < static_cast<std::size_t>(i); ++j) {
      if (ids_[j] == ids_[static_cast<std::size_t>(i)]) return;
      const std::int32_t distance =
          checked::Absolute(checked::Subtract(newcomer.Sgtm, subgroups_[j].Sgtm));
      if (distance > threshold_) return;
    }
  }

  std::span<const API_SubgroupData> subgroups_;
  std::span<const std::int32_t> ids_;
  std::int32_t threshold_;
  std::int32_t start_ = 0;
  std::int32_t earliest_stamp_ = 0, latest_stamp_ = 0;
  std::unordered_map<std::int32_t, std::int32_t> latest_;  // identifier -> where it was last
};

void EachItsOwnGroup(API_CCResults& record) {
  for (auto* array : {&record.GroupIndex, &record.GroupStart, &record.GroupEnd}) {
    std::int32_t i = 0;
    for (std::int32_t& element : array->Elements()) element = i++;
  }
}

void WalkGroups(std::int32_t threshold, API_CCResults& record) {
  const std::int32_t count = record.Totals.SubgroupCount;
  OpenGroup open(record.Subgroups.Elements(), record.GroupIDs.Elements(), threshold);
  std::int32_t group = 0;
  for (std::int32_t i = 1; i < count; ++i) {
    if (!open.Takes(i)) {
      record.GroupEnd[group] = i - 1;
      record.GroupStart[++group] = i;
      open.Open(i);
    }
    record.GroupIndex[i] = group;
  }
  record.GroupEnd[group] = count - 1;
  record.GroupStart.Preserve(0, group);
  record.GroupEnd.Preserve(0, group);
}

// Fills GroupIDs, which has its length already, with what the grouping compares.
void BuildGroupIDs(const CCProcessing& processing, API_CCResults& record) {
  Traced("CCAnalysis.BuildGroupIDs", [&] {
    const std::int32_t by = processing.GroupBy();
    // Deliberate: for a value outside the enumeration the identifiers stay 0, and the walk relies
    // on that to part every subgroup.
    if (by < 0 || by >= std::ssize(kIdentifiers)) return;
    for (std::int32_t i = 0; i < record.Totals.SubgroupCount; ++i)
      record.GroupIDs[i] = record.Subgroups[i].*kIdentifiers[by];
  });
}

}  // namespace

void BuildGroupInformation(const CCProcessing& processing, API_CCResults& record) {
  Traced("CCAnalysis.BuildGroupInformation", [&] {
    const std::int32_t last = checked::Subtract(record.Totals.SubgroupCount, 1);
    for (auto* array : {&record.GroupIDs, &record.GroupIndex, &record.GroupStart, &record.GroupEnd})
      array->Dimension(0, last);
    BuildGroupIDs(processing, record);
    if (processing.GroupBy() == ccGroupByNone) {
      EachItsOwnGroup(record);
    } else {
      WalkGroups(processing.GroupThreshold(), record);
    }
  });
}

}  // namespace orvspc::groups
