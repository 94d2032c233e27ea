// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/NaN.h"
#include "platform/Reports.h"

// The life of control limits as hosts see it: computed from a window of data, proposed, approved,
// retired. Times are stamps.
namespace orvspc {

// What became of a row of control limits; the words are those of the database.
//   proposed            waits for approval, holds nowhere
//   active, retired     holds from its time on up to its end; retired: it has one
//   rejected, void      holds nowhere: was not approved; was wrong, or withdrawn by its review
inline constexpr std::string_view kLimitStates[] = {"proposed", "active", "retired", "rejected",
                                                    "void"};
enum class LimitState { Proposed, Active, Retired, Rejected, Void };

// A subgroup that limits are made without, and why.
struct LimitExclusion {
  std::int32_t subgroup = 0;
  std::string reason;
};

// What becomes of points beyond the limits, in rounds, each with the limits of what is left.
//   None       they stay
//   WithCause  those that have a cause are left out: a comment, an event with a cause code, a
//              downtime or a general event since the point before, or a reason for which stored
//              limits of the stream were made without them
//   Every      those without one, too
enum class LimitScreening { None, WithCause, Every };

struct LimitRequest {
  std::int32_t part = 0, process = 0, test = 0;
  // The window; both ends belong to it, without them all that is stored.
  std::optional<std::int32_t> since, until;
  // Of a window with several phases the limits are those of one: the phase of that name; without
  // it the newest that has subgroups that count. all_phases: of the window as if there were none.
  std::string phase;
  bool all_phases = false;
  std::int32_t first = 0;       // only so many subgroups of that that count; 0: all
  std::int32_t chart_word = 0;  // 0: the data choose
  std::vector<LimitExclusion> exclusions;
  LimitScreening screening = LimitScreening::None;
  bool screen_mr = false;  // sigma of moving ranges without those above 3.267 of their mean
  // Subgroups that are enough for a proposal; 0: 20, or 25 of one piece, but no more than the
  // limits of its phase are frozen after.
  std::int32_t minimum = 0;
  bool force = false;                     // also with too few subgroups, or open questions
  std::optional<std::int32_t> effective;  // from when they are to hold; empty: from behind the data
  std::string rule;                       // kept with the row: why it was made
};

// The calculated lines of one graph, at the newest point that counts.
struct LimitLines {
  std::int32_t graph = 0;  // 1 to 3
  double centre = platform::kNaN, upper = platform::kNaN, lower = platform::kNaN;
  bool differ = false;  // at other points they are others
};

// A point that breaks rules, against the limits computed.
struct LimitSignal {
  std::int32_t subgroup = 0, time = 0, graph = 0;
  std::vector<std::int32_t> rules;  // numbers
};

// One round of screening.
struct LimitRound {
  double centre = platform::kNaN, sigma = platform::kNaN;
  std::vector<std::int32_t> candidates;  // subgroups beyond limits
  std::vector<LimitExclusion> left_out;
};

// Limits that were computed; nothing is stored.
struct LimitProposal {
  std::int32_t part = 0, process = 0, test = 0;
  std::int32_t chart_word = 0;                      // of the chart behind them
  std::string phase;                                // whose limits they are; empty: of none
  std::int32_t start = 0, finish = 0;               // times of the first and the last subgroup used
  double mean = platform::kNaN;                     // the centre; of counts the rate
  double sp = platform::kNaN, sw = platform::kNaN;  // NaN: none
  std::string mean_name, estimator;                 // how mean and sp were made
  std::string within_estimator;                     // and sw; empty: there is none
  double constant = platform::kNaN;                 // d2 or c4 behind sp; NaN: none, or several
  std::int32_t used = 0, subgroups = 0;             // that count; in the window
  double average_size = 0.0;                        // pieces, or units, a subgroup
  std::vector<LimitLines> lines;
  std::vector<LimitSignal> signals;
  std::vector<LimitExclusion> exclusions;  // those asked for and those of the screening
  std::vector<LimitRound> rounds;          // of the screening
  std::vector<std::string> warnings;
  // What keeps them from being proposed; empty: nothing does.
  std::vector<std::string> missing;
  std::string digest;  // of the data used, hexadecimal
};

struct LimitApproval {
  std::optional<std::int32_t> effective;  // from when it holds; empty: as proposed
  std::string new_phase = {};             // name of a phase that begins there; empty: none, or
                                          // "limits ID" where the policy of the row begins one
  bool force = false;                     // also with too few subgroups for its policy
};

// A row of control limits with its life.
struct ListedLimit {
  std::int32_t id = 0;
  std::int32_t part = 0, process = 0, test = 0;  // process 0: any
  LimitState state = LimitState::Proposed;
  std::int32_t effective = INT32_MIN;
  std::optional<std::int32_t> until;
  double mean = 0.0, sp = 0.0, spl = 0.0, sw = 0.0, swl = 0.0;  // a sigma of 0: not given
  std::int32_t chart_word = 0;
  std::int32_t start = 0, finish = 0;
  std::string estimator, rule, reason, who, digest;
  std::int32_t used = 0;  // 0: not known, as of imports
  std::optional<double> average_size;
  std::int32_t replaced_by = 0;
  std::int32_t made = 0;
  std::optional<std::int32_t> state_at;
  std::optional<std::int32_t> approved_at;
  bool in_force = false;     // now
  std::int64_t version = 0;  // the latest entry of the log about it; 0: none. ListLimits has it
};

// A change of a row, as the log has it.
struct LimitStep {
  std::int64_t version = 0;  // the entry
  std::int64_t at = 0;       // milliseconds since 1970
  std::string who, what, reason;
};

// A row with where its figures came from, and whether the data are still the same.
struct LimitDetails {
  ListedLimit row;
  std::string mean_name, within_estimator;  // how mean and sw were made; empty: not known
  std::vector<LimitExclusion> exclusions;
  std::vector<LimitStep> steps;
  std::int64_t version = 0;  // the latest entry about it; 0: none
  // Of the data it was made from: none, where the row does not say which.
  std::optional<bool> data_changed;
  std::string digest_now;    // of these data as they are; empty: likewise
  std::int32_t changed = 0;  // subgroups of them that were changed since, as far as the log knows
};

// Of the values that limits were computed from, those that were changed, disabled or deleted since.
struct ChangedValues {
  std::int64_t changed = 0, all = 0;  // all: 0 where it is not known
  bool are_counts = false;            // of a test that counts, one of a subgroup
};

// One figure of two rows.
struct LimitDifference {
  double first = platform::kNaN, second = platform::kNaN;
  double errors = platform::kNaN;  // second - first in standard errors; NaN: not known
};
struct LimitComparison {
  LimitDifference centre, sigma;
};

// When limits are proposed anew: after so many points in a row on one side of the centre, from the
// first so many of them.
struct BaselinePreset {
  std::string_view word;
  std::int32_t run, minimum;
  bool begins_phase;  // with the first point of the run, once its limits are approved
};
inline constexpr BaselinePreset kBaselinePresets[] = {
    {"off", 0, 0, false}, {"public-health", 8, 12, true}, {"shewhart", 9, 20, false}};

// The policy whose word begins the rule of a row of limits; that of none is "off".
constexpr const BaselinePreset& PresetOf(std::string_view rule) {
  const auto word = rule.substr(0, rule.find(':'));
  for (const auto& preset : kBaselinePresets) {
    if (preset.word == word) return preset;
  }
  return kBaselinePresets[0];
}
// The subgroups that the policy of a row asks for; 0: of no policy.
constexpr std::int32_t MinimumOf(std::string_view rule) { return PresetOf(rule).minimum; }

struct BaselinePolicy {
  std::int32_t id = 0;
  std::int32_t part = 0, process = 0, test = 0;  // 0: any
  std::int32_t run = 0, minimum = 0;
  std::string rule;  // the word of a preset
};

// What a review says of one stream.
struct LimitReview {
  std::int32_t part = 0, process = 0, test = 0;
  std::string code;  // proposed, updated, withdrawn, no-cause, no-limits
  std::string text;
  std::int32_t limit = 0;  // the row; 0: none
};

}  // namespace orvspc
