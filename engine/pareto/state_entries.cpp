// SPDX-License-Identifier: Apache-2.0
#include "engine/pareto/state_entries.h"

#include <algorithm>
#include <map>
#include <optional>

#include "engine/store/conditions.h"
#include "engine/store/logs.h"
#include "engine/time/calendar.h"

namespace orvspc::engine::pareto {
namespace {

// Records of the processes by process; the log of a plant is small beside its measurements.
using Logs = std::map<std::int32_t, std::vector<store::StateLogRow>>;

Logs ReadLogs(sql::Connection& connection, const store::Identifiers& processes) {
  Logs logs;
  for (const auto& row : store::ReadStateLog(connection, 0, INT32_MIN, INT32_MAX)) {
    if (store::Has(processes, row.process)) logs[row.process].push_back(row);
  }
  return logs;
}

void AppendEntries(const std::vector<store::StateLogRow>& log, std::int64_t from, std::int64_t to,
                   std::vector<StateEntry>& out) {
  for (std::size_t i = 0; i < log.size(); ++i) {
    const auto& row = log[i];
    const bool is_last = i + 1 == log.size();
    // A state that another replaces at the very start was not in force inside the window.
    if (row.time > to || (!is_last && log[i + 1].time <= from)) continue;
    const auto begin = std::max<std::int64_t>(row.time, from);
    const auto end = is_last ? to : std::min<std::int64_t>(log[i + 1].time, to);
    out.push_back({row.process, row.state, row.type, static_cast<std::int32_t>(begin),
                   static_cast<double>(std::max<std::int64_t>(end - begin, 0))});
  }
}

}  // namespace

StateWindow ReadStateWindow(sql::Connection& connection, const store::StoreCache& cache,
                            API_DSInfo& info, std::span<const std::int32_t> filter) {
  const auto processes =
      store::LookUpItems(connection, store::ReadFilter(info, filter), catalogue::ItemKind::Process);
  const auto logs = ReadLogs(connection, processes);
  std::optional<std::int32_t> first, newest;
  for (const auto& [process, log] : logs) {
    first = first ? std::min(*first, log.front().time) : log.front().time;
    newest = newest ? std::max(*newest, log.back().time) : log.back().time;
  }
  store::TimeRange range(info, cache.zone_offset);
  if (newest && range.NeedsNewest()) range.SetNewest(*newest);
  range.WriteBack(info, newest);
  store::ResolveStatus(info);

  StateWindow window;
  if (!first) return window;
  const std::int64_t from = range.Start() == time::kNoStamp ? *first : range.Start();
  const auto to = std::min<std::int64_t>(range.End(), time::Now());
  if (to < from) return window;
  window.seconds = static_cast<double>(to - from);
  for (const auto& [process, log] : logs) AppendEntries(log, from, to, window.entries);
  return window;
}

}  // namespace orvspc::engine::pareto
