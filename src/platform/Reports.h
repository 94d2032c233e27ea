// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/Phase.h"

// What an engine reports beside the result of an analysis, as plain data that engines fill and
// hosts show.
namespace orvspc {

// A decision that the engine made for the user: a fallback, a dropped graph, a cut list, nothing to
// show. Every host prints them.
struct Note {
  std::string code;    // short and stable, "limits-changed"
  std::string text;    // one sentence
  std::string stream;  // the part, process and test it concerns; empty for the whole

  // "Ring / Press A / Diameter: ..." with a stream, otherwise the text alone.
  std::string Sentence() const { return stream.empty() ? text : stream + ": " + text; }
};

// One estimate of a stream and how it was made.
struct Estimate {
  double value = 0.0;     // NaN when there is nothing to estimate from
  std::string name;       // "R-est mvlue", "MR-est"
  double constant = 0.0;  // d2, c4 used; NaN where sizes differ
  std::int32_t used = 0;  // ranges, deviations or moving ranges that went in
  std::int32_t least_size = 0, largest_size = 0;
  std::string constant_name = {};  // "d2" or "c4", also where sizes differ; empty: none was used
};

// The estimates of one stream (part, process, test) of a chart.
struct StreamReport {
  std::int32_t part = 0, process = 0, test = 0;
  Estimate mean, sp, sw;  // sp: sigma of one piece as graph 1 sees it; sw: as graph 3 sees it
  Estimate gamma;         // coefficient of variation of one piece; unnamed unless graph 2 shows it
  double average_size = 0.0;
};

// The largest count at which a sample would be accepted, at each point of a chart of counts. No
// point, limit or signal of the chart depends on it.
struct AcceptanceLimits {
  double level = 0.0, risk = 0.0;  // acceptable quality level and producer's risk, percent
  bool binomial = false;           // of defectives; otherwise Poisson, of defects
  // The acceptance number of each subgroup, and that number per unit; NaN where there is none.
  std::vector<double> numbers, rates;
};

// A stretch of a stream in one phase, or between two, as a chart shows it.
struct PhaseReport {
  Phase phase;             // identifier 0: none
  StreamReport estimates;  // that its calculated limits come from
  // The stretch among those of the chart that has these estimates: itself or one before it.
  std::int32_t limits_of = 0;
  std::int32_t subgroups = 0, used = 0;
  bool has_older_limits = false;  // stored ones at its newest point are from before it began
};

// Proposed limits that wait for more points, as they would be if they held. Nothing of the chart
// depends on them.
struct ProvisionalLimits {
  std::int32_t limit = 0;  // number of the row
  std::int32_t part = 0, process = 0, test = 0;
  std::int32_t effective = 0;         // stamp
  std::int32_t used = 0, needed = 0;  // subgroups behind them, and what they wait for
  // Along the points; NaN before they would hold.
  struct Lines {
    std::int32_t graph = 0;  // 1 to 3
    std::vector<double> centre, upper, lower;
  };
  std::vector<Lines> lines;
};

struct ChartReport {
  std::vector<StreamReport> streams;  // of one with phases the newest that counts
  // By stream, then time, of all streams where one has phases; otherwise empty.
  std::vector<PhaseReport> phases;
  std::vector<std::int32_t> phase_of;          // of each point, among these; empty without phases
  std::optional<AcceptanceLimits> acceptance;  // of charts of counts only
  // The row of the chart's stored control limits in force at each point, counted from 0 in the
  // order of the result's rows; -1 where limits were calculated. Empty without stored limits.
  std::vector<std::int32_t> limit_rows;
  std::vector<ProvisionalLimits> provisional;
  // The inspected size of each point where one of them is not a whole number; empty otherwise.
  std::vector<double> sizes;
};

// What the records of a capability analysis have no place for. All of the distribution that the
// latest call fitted: the Johnson curve after a fit, otherwise the normal one.
struct CapabilityReport {
  // Expected counts of the result's bins; 0 without a distribution (all values equal).
  std::vector<double> expected;
  std::string law;      // "normal", "Johnson SU", ...; empty when there is none
  Estimate short_term;  // where the short-term deviation came from
  // Of a Johnson curve; 0 for a normal one.
  double gamma = 0.0, delta = 0.0, xi = 0.0, lambda = 0.0;
  double fitted_at = 0.0;  // the z at whose four quantiles the curve was fitted
};

// A window of time in which a sampling requirement asked for samples.
struct SamplingDue {
  std::int32_t requirement = 0, process = 0;
  std::int32_t due = 0;  // stamp of its last second
  std::int32_t expected = 0, collected = 0;
};

// Everything that the analyses of one thread reported on one database since it was last taken.
// Notes add up; the rest is that of the latest analysis of its kind.
struct Report {
  std::vector<Note> notes;
  ChartReport chart;
  CapabilityReport capability;
  std::vector<SamplingDue> sampling;
};

}  // namespace orvspc
