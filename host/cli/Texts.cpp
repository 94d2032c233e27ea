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

StreamIds StreamOf(const SubgroupRow& row) { return {row.part, row.prcs, row.test}; }

// What read(stream, first, last) returns of each stream, for the stretch of time that is shown of
// it; streams of which it returns nothing are left out.
template <class Read>
auto ReadStretches(const std::vector<SubgroupRow>& rows, Read read) {
  std::map<StreamIds, std::pair<std::int64_t, std::int64_t>> stretches;
  for (const auto& row : rows) {
    const auto [found, is_new] = stretches.try_emplace(StreamOf(row), row.stamp, row.stamp);
    auto& [first, last] = found->second;
    first = std::min(first, row.stamp);
    last = std::max(last, row.stamp);
  }
  std::map<StreamIds, decltype(read(StreamKey(), 0, 0))> all;
  for (const auto& [stream, stretch] : stretches) {
    auto found = read(StreamKey{stream[0], stream[1], stream[2]}, stretch.first, stretch.second);
    if (!found.empty()) all.emplace(stream, std::move(found));
  }
  return all;
}

// The phase of each row by name, where a stream that is shown has any.
void ReadPhases(const QualityDatabase& database, render::SubgroupsRead& data) {
  const auto phases = database.Phases();
  const auto of_stream = [&](const SubgroupRow& row) {
    std::vector<std::int32_t> found;
    const auto fits = [](std::int32_t asked, std::int32_t id) { return asked == 0 || asked == id; };
    for (std::size_t i = 0; i < phases.size(); ++i) {
      const auto& phase = phases[i];
      if (fits(phase.part, row.part) && fits(phase.process, row.prcs) && fits(phase.test, row.test))
        found.push_back(static_cast<std::int32_t>(i));
    }
    return found;
  };
  data.phase_of.clear();
  data.phases = {""};
  if (phases.empty()) return;
  for (const auto& phase : phases) data.phases.push_back(phase.name);
  std::map<StreamIds, std::vector<std::int32_t>> streams;
  bool is_any = false;
  for (const auto& row : data.rows) {
    const auto [found, is_new] = streams.try_emplace(StreamOf(row));
    if (is_new) found->second = of_stream(row);
    is_any = is_any || !found->second.empty();
    auto& phase = data.phase_of.emplace_back();
    for (const auto i : found->second)
      if (phases[static_cast<std::size_t>(i)].Holds(static_cast<std::int32_t>(row.stamp)))
        phase = i + 1;
  }
  if (!is_any) data.phase_of.clear();
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
  const auto descriptors = database.DescriptorsOf(ids);
  const auto edited = ReadStretches(data.rows, [&](const StreamKey& stream, auto from, auto to) {
    return database.EditedSubgroups(stream, from, to);
  });
  ReadPhases(database, data);
  for (auto& row : data.rows) {
    const auto changed = edited.find(StreamOf(row));
    row.edited = changed != edited.end() && std::ranges::binary_search(changed->second, row.sgrp);
    using Label = std::pair<std::int32_t, std::string>;
    const auto label = std::ranges::lower_bound(labels, row.sgrp, {}, &Label::first);
    if (label != labels.end() && label->first == row.sgrp) row.label = label->second;
    render::Remarks remarks;
    auto descriptor =
        std::ranges::lower_bound(descriptors, row.sgrp, {}, &SubgroupDescriptor::subgroup);
    for (; descriptor != descriptors.end() && descriptor->subgroup == row.sgrp; ++descriptor)
      remarks.descriptors.push_back({descriptor->group, descriptor->descriptor, descriptor->tsno,
                                     descriptor->group_name, descriptor->name});
    auto comment = std::ranges::lower_bound(comments, row.sgrp, {}, &SubgroupComment::subgroup);
    for (; comment != comments.end() && comment->subgroup == row.sgrp; ++comment) {
      const auto& each = *comment;
      if (each.test != 0 && each.test != row.test) continue;
      remarks.comments.push_back({names(ItemKind::Employee, each.employee), each.note, each.test,
                                  each.tsno, platform::TimeStampToDate(each.time), each.id});
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

void ReadVersions(const QualityDatabase& database, render::SubgroupsRead& data) {
  const auto versions = ReadStretches(data.rows, [&](const StreamKey& stream, auto from, auto to) {
    return database.RecordVersions(stream, from, to);
  });
  std::vector<std::int64_t> comments;
  for (const auto& row : data.rows)
    for (const auto& comment : render::RemarksOf(row).comments) comments.push_back(comment.id);
  const auto of_comments = database.CommentVersions(comments);
  std::size_t comment = 0;
  for (auto& row : data.rows) {
    if (const auto found = versions.find(StreamOf(row)); found != versions.end()) {
      using Version = std::pair<std::int32_t, std::int64_t>;
      const auto version = std::ranges::lower_bound(found->second, row.sgrp, {}, &Version::first);
      if (version != found->second.end() && version->first == row.sgrp)
        row.version = version->second;
    }
    if (render::RemarksOf(row).comments.empty()) continue;
    auto remarks = *row.remarks;
    for (auto& each : remarks.comments) each.version = of_comments[comment++];
    row.remarks = std::make_shared<const render::Remarks>(std::move(remarks));
  }
}

std::vector<render::Downtime> ReadDowntimes(const QualityDatabase& database,
                                            const render::Names& names,
                                            const render::SubgroupsRead& data) {
  std::vector<render::Downtime> downtimes;
  if (data.rows.empty()) return downtimes;
  const std::int32_t process = data.rows.front().prcs;
  if (std::ranges::any_of(data.rows, [&](const auto& row) { return row.prcs != process; }))
    return downtimes;
  const auto ends = std::ranges::minmax(data.rows, {}, &SubgroupRow::stamp);
  const auto first = ends.min.stamp, last = ends.max.stamp;
  const auto add = [&](std::int64_t start, std::int64_t end, std::string text) {
    downtimes.push_back({std::max(start, first), std::min(end, last), std::move(text)});
  };
  auto states = database.StatesBetween(process, first, last);
  if (auto before = database.StateBefore(process, first))
    states.insert(states.begin(), std::move(*before));
  for (std::size_t i = 0; i < states.size(); ++i) {
    const auto& state = states[i];
    if (state.type == pst_None || state.type == pst_Start || state.type == pst_Run) continue;
    add(state.since, i + 1 < states.size() ? states[i + 1].since : last, state.name);
  }
  std::erase_if(downtimes, [](const auto& down) { return down.end <= down.start; });
  for (const auto& event : database.Downtimes(process, first, last)) {
    if (std::ranges::none_of(data.rows, [&](const auto& row) { return IsOf(event, row); }))
      continue;
    const auto name = names(ItemKind::EventName, event.name);
    const auto cause = names(ItemKind::AccCode, event.acc);
    const auto text = render::Joined({name.empty() ? "downtime" : name, cause}, ", ");
    const auto end = event.finish.value_or(event.time);
    // One that only touches the stretch is no part of it.
    if (end > event.time && (end == first || event.time == last)) continue;
    add(event.time, end, text);
  }
  std::ranges::stable_sort(downtimes, {}, &render::Downtime::start);
  return downtimes;
}

}  // namespace orvspc::cli
