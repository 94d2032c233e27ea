// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "engine/studies/Figures.h"
#include "engine/studies/Laws.h"
#include "platform/Database.h"
#include "platform/Reports.h"

// How certain capability indices are, and indices with the spread between subgroups.
namespace orvspc::studies {

// The values of a capability analysis, and what it made of them.
struct CapabilitySample {
  std::vector<double> values;        // of the subgroups, side by side
  std::vector<std::int32_t> sizes;   // of the subgroups
  std::vector<std::size_t> streams;  // subgroups of each part, process and test
  double mean = platform::kNaN;
  Estimate within;  // short-term sigma; value 0 or NaN: none
  // Where that is a pooled deviation over c4, which is too large on average: the pooled one, from
  // which bounds come.
  double pooled = platform::kNaN;
  double overall = platform::kNaN;  // long-term sigma; 0: none

  bool Empty() const { return values.empty(); }
};

// Of this thread's latest capability analysis of the database: the same subgroups, normalised as it
// was asked. Empty when that gave none.
CapabilitySample LatestCapability(platform::Database& database);

// Of subgroups of one stream. estimator: "R-est mvlue", "S-est pooled", "pooled", ..., "MR-est"
CapabilitySample CapabilitySampleOf(std::span<const double> values,
                                    std::span<const std::int32_t> sizes,
                                    const std::string& estimator);

enum class Bound : std::uint8_t { Both, Lower, Upper };

struct IndexOptions {
  SpecificationLimits limits = {};
  double target = platform::kNaN;  // NaN: the middle of both limits
  double level = 0.95;             // 0 < level < 1
  Bound bound = Bound::Both;       // of an interval; the other bound is NaN
  std::int64_t resamples = 2000;   // of a bootstrap, 100 to 100,000
  std::uint64_t seed = 20260101;
};

struct NamedInterval {
  std::string name;  // "Cpk"
  Interval interval;
};

// An index that does not exist, as without its limit, is not among them; one without a sigma is
// NaN.
struct IndexIntervals {
  double within_degrees = platform::kNaN, overall_degrees = platform::kNaN;
  std::vector<NamedInterval> indices;
  std::vector<Note> notes;
};

// Indices of a normal law: Cp, Cpk, Cpu, Cpl, Cr, Cpm with the sigma within subgroups, Pp, Ppk,
// Ppu, Ppl, Pr, Ppm with that of all values. nu: the degrees of freedom of the sigma, N - 1
// overall; within those of its estimator (R, S: of the chi that varies as it does; moving ranges
// about 0.6 a range).
//   Cp    sqrt(chi2(a/2; nu)/nu) to sqrt(chi2(1 - a/2; nu)/nu) times the index; Cr its inverse
//   Cpk   -+ z sqrt(1/(9 N) + Cpk^2/(2 nu))
//   Cpu   by the noncentral t, exact overall; Cpl too; with one limit Cp, Cpk and Cr by these
//   Cpm   as Cp with (1 + o^2)^2/(1/nu + 2 o^2/N) degrees, o = (mean - target)/sigma; overall N for
//         nu
// Throws std::invalid_argument for an option out of its range.
// Source   Kane, J. Quality Technology 18 (1986); Bissell, Applied Statistics 39 (1990); Chou, Owen
//          & Borrego, J. Quality Technology 22 (1990); Boyles, J. Quality Technology 23 (1991)
IndexIntervals StudyIndices(const CapabilitySample& sample, const IndexOptions& options);

// Intervals by bootstrap of whole subgroups: percentiles of the figure in samples of as many
// subgroups of each stream, drawn with replacement. Where draws times values are more than
// 100,000,000, there are 500 draws and a note. A figure that is missing in more than 5 percent of
// them has no interval.
struct BootstrapFacts {
  std::int64_t draws = 0, failed = 0;  // draws in which a figure was missing
};

struct QuantileIndexIntervals {
  std::vector<NamedInterval> indices;  // Pp, Ppk, Ppu, Ppl that exist
  BootstrapFacts bootstrap;
  std::vector<Note> notes;
};

// Of the indices by quantiles of a law that is fitted to each draw again. law: its figures, as
// StudyLaws gives them with `how`; null: without a law, by the rank intervals of the quantiles.
// Source   Efron & Tibshirani, An Introduction to the Bootstrap (1993), ch. 13
QuantileIndexIntervals StudyQuantileIndices(const CapabilitySample& sample, const LawFigures* law,
                                            const LawOptions& how, const IndexOptions& options);

struct BetweenWithinStudy {
  Figure within, means;                   // sigma of a piece within, and of the subgroup means
  Figure between, both;                   // sigma between subgroups, and of both together
  double harmonic_size = platform::kNaN;  // mean of the subgroup sizes
  std::vector<NamedInterval> indices;     // Cp, Cpk, Cpu, Cpl that exist; bounds where asked
  BootstrapFacts bootstrap;
  std::vector<Note> notes;
};

// Capability of a process whose subgroups differ by nature, as batches do.
//   between  sqrt(max(0, means^2 - within^2/n)), means: moving ranges of subgroup means over d2(2),
//            n the harmonic mean of sizes
//   both     sqrt(between^2 + within^2), which takes the place of the sigma within in the indices
// Subgroups of one piece are left out. Fewer than 2 others, or no sigma within: no figures.
// intervals: by bootstrap, as above.
// Throws std::invalid_argument for an option out of its range.
BetweenWithinStudy StudyBetweenWithin(const CapabilitySample& sample, const IndexOptions& options,
                                      bool intervals);

// Indices with the sigma within subgroups on the scale of a law that transforms its values
// (Box-Cox, Johnson).
struct TransformedStudy {
  Estimate within;  // of transformed values, by the estimator of the sample
  double mean = platform::kNaN;
  SpecificationLimits limits;          // transformed
  std::vector<NamedInterval> indices;  // Cp, Cpk, Cpu, Cpl; bounds as of StudyIndices
  std::vector<Note> notes;
};
// law: fitted. A value that it cannot transform: no figures.
// Throws std::invalid_argument for another law, and for an option out of its range.
// Source   ISO 22514-4
TransformedStudy StudyTransformed(const CapabilitySample& sample, const LawFigures& law,
                                  const IndexOptions& options);

}  // namespace orvspc::studies
