// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <map>
#include <utility>

#include "host/cli/Analysis.h"
#include "platform/TimeStamp.h"

// What people typed beside the values: no result has it whole, so it is read when it is shown.
namespace orvspc::cli {

namespace {

using render::SubgroupRow;

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
  for (auto& row : data.rows) {
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
