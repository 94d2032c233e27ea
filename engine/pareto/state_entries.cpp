// SPDX-License-Identifier: Apache-2.0
#include "engine/pareto/state_entries.h"

#include <algorithm>
#include <map>
#include <optional>

#include "engine/store/StateLog.h"
#include "engine/store/calendar.h"
#include "engine/store/conditions.h"
#include "engine/store/flat_filter.h"

namespace orvspc::engine {
namespace {

// Records of the processes by process; the log of a plant is small beside its measurements.
using Logs = std::map<std::int32_t, std::vector<StateLogRow>>;

Logs ReadLogs(Connection& connection, const Identifiers& processes) {
  Logs logs;
  for (const auto& row : ReadStateLog(connection, 0, INT32_MIN, INT32_MAX, -1)) {
    if (Has(processes, row.process)) logs[row.process].push_back(row);
  }
  return logs;
}

void AppendEntries(const std::vector<StateLogRow>& log, std::int64_t from, std::int64_t to,
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

StateWindow ReadStateWindow(Connection& connection, const StoreCache& cache, API_DSInfo& info,
                            std::span<const std::int32_t> filter) {
  const auto processes = LookUpItems(connection, "process", ReadFilter(info, filter).process);
  const auto logs = ReadLogs(connection, processes);
  std::optional<std::int32_t> first, newest;
  for (const auto& [process, log] : logs) {
    first = first ? std::min(*first, log.front().time) : log.front().time;
    newest = newest ? std::max(*newest, log.back().time) : log.back().time;
  }
  TimeRange range(info, cache.zone_offset);
  if (newest && range.NeedsNewest()) range.SetNewest(*newest);
  range.WriteBack(info, newest);
  ResolveStatus(info);

  StateWindow window;
  if (!first) return window;
  const std::int64_t from = range.Start() == kNoStamp ? *first : range.Start();
  const auto to = std::min<std::int64_t>(range.End(), Now());
  if (to < from) return window;
  window.seconds = static_cast<double>(to - from);
  for (const auto& [process, log] : logs) AppendEntries(log, from, to, window.entries);
  return window;
}

}  // namespace orvspc::engine
