// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "engine/catalogue/limits.h"
#include "engine/store/SqlStore.h"
#include "platform/LimitRecords.h"

// Control limits out of the very charts of a window.
namespace orvspc::engine::limits {

// What is computed, with the figures that a row keeps for charts.
struct Computed {
  LimitProposal shown;
  catalogue::LimitFigures figures;
};

// The calculated limits of the chart of a window, at its newest phase. Inside a transaction of the
// store.
//   - Limits of a phase that is frozen are those of its first subgroups, wherever in it the window
//     begins.
//   - Where the window has other subgroups, too, a warning names the phase.
// Throws Refused
//   unknown  the stream has no such window or phase, or no data in it
//   several  part, process or test are left open, and more than one stream fits
//   chart    the word is not of a chart of these data
//   window   an exclusion lies outside of it
//   few      fewer than 5 subgroups count, unless forced
//   limits   sigma, or the rate, cannot be estimated
Computed Compute(store::SqlStore& store, sql::Connection& db, const LimitRequest& wanted);

// SHA-256 of the data that a row was made from, as they are now. Empty where the row has none.
std::string DigestNow(store::SqlStore& store, const ListedLimit& row,
                      const std::vector<LimitExclusion>& exclusions);

// Names of the general events of a review, which are no cause of anything.
inline constexpr std::string_view kProposedEvent = "Control limits proposed";
inline constexpr std::string_view kWithdrawnEvent = "Proposed control limits withdrawn";

struct PointOfWindow {
  std::int32_t subgroup = 0, time = 0;
};
// A point and those that count before it in its stream, newest first, count of them at most.
std::vector<PointOfWindow> PointsUpTo(sql::Connection& db, std::int64_t stream,
                                      const PointOfWindow& point, std::size_t count);
// A cause that is recorded for a subgroup: its own comment, or since the point before an event of
// its stream that has a cause code, a downtime, or a general event with a name that this system
// does not give. Empty: none. Inside a transaction.
std::string CauseOf(sql::Connection& db, const store::StreamIds& stream, const PointOfWindow& point,
                    std::int32_t before);

}  // namespace orvspc::engine::limits
