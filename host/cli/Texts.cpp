// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <map>
#include <utility>

#include "host/cli/Analysis.h"
#include "platform/TimeStamp.h"

// What people typed beside the values: no result has it whole, so it is read when it is shown.
namespace orvspc::cli {

namespace {

using render::SubgroupRow;

using StreamIds = std::array<std::int32_t, 3>;  // part, process, test

std::vector<std::int32_t> IdsOf(const std::vector<SubgroupRow>& rows) {
  std::vector<std::int32_t> ids;
  ids.reserve(rows.size());
  for (const auto& row : rows) ids.push_back(row.sgrp);
  std::ranges::sort(ids);
  ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
  return ids;
}

render::EventRow RowOf(const ListedEvent& event, const render::Names& names) {
  return {event.id,
          event.type,
          event.employee,
          event.process,
          event.part,
          event.test,
          event.flag,
          names(ItemKind::EventName, event.name),
          event.time,
          event.subgroup_time.value_or(0),
          {event.acc, event.acc_employee, event.acc_time.value_or(0)},
          {event.cac, event.cac_employee, event.cac_time.value_or(0)}};
}

// An event that leaves one of them out is of any.
bool IsOf(const ListedEvent& event, const SubgroupRow& row) {
  const auto fits = [](std::int32_t asked, std::int32_t id) { return asked == 0 || asked == id; };
  return fits(event.part, row.part) && fits(event.process, row.prcs) && fits(event.test, row.test);
}

// The subgroups of each stream that were changed, in the stretch of time that is shown of it.
std::map<StreamIds, std::vector<std::int32_t>> ReadEdited(const QualityDatabase& database,
                                                          const std::vector<SubgroupRow>& rows) {
  std::map<StreamIds, std::pair<std::int64_t, std::int64_t>> stretches;
  for (const auto& row : rows) {
    const auto [found, is_new] =
        stretches.try_emplace({row.part, row.prcs, row.test}, row.stamp, row.stamp);
    auto& [first, last] = found->second;
    first = std::min(first, row.stamp);
    last = std::max(last, row.stamp);
  }
  std::map<StreamIds, std::vector<std::int32_t>> edited;
  for (const auto& [stream, stretch] : stretches) {
    auto found =
        database.EditedSubgroups({stream[0], stream[1], stream[2]}, stretch.first, stretch.second);
    if (!found.empty()) edited.emplace(stream, std::move(found));
  }
  return edited;
}

using DescriptorNames = std::map<std::int32_t, std::pair<std::string, std::string>>;

DescriptorNames ReadDescriptorNames(const QualityDatabase& database,
                                    const std::vector<SubgroupRow>& rows) {
  DescriptorNames names;
  if (std::ranges::all_of(
          rows, [](const auto& row) { return render::RemarksOf(row).descriptors.empty(); }))
    return names;
  for (auto& each : database.Descriptors())
    names[each.id] = {std::move(each.group_name), std::move(each.name)};
  return names;
}

// Why control limits were made without a subgroup.
void ReadLeftOut(const QualityDatabase& database, std::vector<SubgroupRow>& rows) {
  std::map<StreamIds, std::vector<LimitExclusion>> left_out;
  for (auto& row : rows) {
    const auto [found, is_new] = left_out.try_emplace({row.part, row.prcs, row.test});
    auto& of_stream = found->second;
    if (is_new) of_stream = database.LeftOutOfLimits({row.part, row.prcs, row.test});
    const auto each = std::ranges::lower_bound(of_stream, row.sgrp, {}, &LimitExclusion::subgroup);
    if (each != of_stream.end() && each->subgroup == row.sgrp) row.left_out = each->reason;
  }
}

}  // namespace

void ReadTexts(const QualityDatabase& database, const render::Names& names,
               render::SubgroupsRead& data) {
  data.has_texts = true;
  if (data.rows.empty()) return;
  const auto ids = IdsOf(data.rows);
  const auto labels = database.SubgroupLabels(ids);
  const auto comments = database.Comments(ids);
  const auto [first, last] = std::ranges::minmax(data.rows, {}, &SubgroupRow::stamp);
  std::multimap<std::int32_t, ListedEvent> events;
  for (const auto& event : database.EventsOfSubgroups(first.stamp, last.stamp)) {
    events.emplace(event.subgroup_time.value_or(0), event);
  }
  const auto descriptors = ReadDescriptorNames(database, data.rows);
  const auto edited = ReadEdited(database, data.rows);
  for (auto& row : data.rows) {
    const auto changed = edited.find({row.part, row.prcs, row.test});
    row.edited = changed != edited.end() && std::ranges::binary_search(changed->second, row.sgrp);
    using Label = std::pair<std::int32_t, std::string>;
    const auto label = std::ranges::lower_bound(labels, row.sgrp, {}, &Label::first);
    if (label != labels.end() && label->first == row.sgrp) row.label = label->second;
    render::Remarks remarks;
    remarks.descriptors = render::RemarksOf(row).descriptors;
    for (auto& each : remarks.descriptors) {
      const auto found = descriptors.find(each.descriptor);
      if (found != descriptors.end()) std::tie(each.group_name, each.name) = found->second;
    }
    auto comment = std::ranges::lower_bound(comments, row.sgrp, {}, &SubgroupComment::subgroup);
    for (; comment != comments.end() && comment->subgroup == row.sgrp; ++comment) {
      const auto& each = *comment;
      if (each.test != 0 && each.test != row.test) continue;
      remarks.comments.push_back({names(ItemKind::Employee, each.employee), each.note, each.test,
                                  each.tsno, platform::TimeStampToDate(each.time)});
    }
    const auto [begin, end] = events.equal_range(static_cast<std::int32_t>(row.stamp));
    for (auto event = begin; event != end; ++event)
      if (IsOf(event->second, row)) remarks.events.push_back(RowOf(event->second, names));
    const bool has_any =
        !remarks.descriptors.empty() || !remarks.comments.empty() || !remarks.events.empty();
    row.remarks = has_any ? std::make_shared<const render::Remarks>(std::move(remarks)) : nullptr;
  }
  ReadLeftOut(database, data.rows);
}

std::vector<render::Downtime> ReadDowntimes(const QualityDatabase& database,
                                            const render::SubgroupsRead& data) {
  std::vector<render::Downtime> downtimes;
  if (data.rows.empty()) return downtimes;
  const std::int32_t process = data.rows.front().prcs;
  if (std::ranges::any_of(data.rows, [&](const auto& row) { return row.prcs != process; }))
    return downtimes;
  const auto [first, last] = std::ranges::minmax(data.rows, {}, &SubgroupRow::stamp);
  auto states = database.StatesBetween(process, first.stamp, last.stamp);
  if (auto before = database.StateBefore(process, first.stamp))
    states.insert(states.begin(), std::move(*before));
  for (std::size_t i = 0; i < states.size(); ++i) {
    const auto& state = states[i];
    if (state.type == pst_None || state.type == pst_Start || state.type == pst_Run) continue;
    const std::int64_t end = i + 1 < states.size() ? states[i + 1].since : last.stamp;
    downtimes.push_back({std::max<std::int64_t>(state.since, first.stamp), end, state.name});
  }
  std::erase_if(downtimes, [](const auto& down) { return down.end <= down.start; });
  return downtimes;
}

}  // namespace orvspc::cli
