// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "engine/studies/Figures.h"
#include "platform/Database.h"
#include "platform/Law.h"
#include "platform/NaN.h"
#include "platform/Reports.h"

// Capability with laws other than the normal one, and without a law.
namespace orvspc::studies {

using orvspc::Law;
// "weibull-3"
const char* WordOf(Law law);
// The fourteen that are fitted by maximum likelihood.
std::vector<Law> LikelihoodLaws();

// What capability is held against; NaN: none.
struct SpecificationLimits {
  double lower = platform::kNaN, upper = platform::kNaN;
};

struct LawOptions {
  std::vector<Law> laws = {Law::Normal};
  SpecificationLimits limits = {};
  bool lognormal_n_minus_1 = false;  // divisor of a lognormal law's sigma, otherwise N
  bool round_lambda = false;         // of Box-Cox, to halves
  bool median_ranks = false;         // of the plot (i - 0.3)/(N + 0.4), otherwise (i - 0.5)/N
  double level = 0.95;               // of the plot's band, 0 < level < 1
  bool simulates = true;             // P where no table is exact
  std::int64_t draws = 1000;         // of a simulation, 99 to 100,000
  std::uint64_t seed = 20260101;
};

// Of quantiles, or of transformed limits; NaN: none.
struct QuantileIndices {
  double pp = platform::kNaN, ppk = platform::kNaN, ppu = platform::kNaN, ppl = platform::kNaN;
};

struct LawParameter {
  std::string name;
  double value;
};

struct LawFigures {
  Law law = Law::Normal;
  std::string curve = {};                     // of Johnson: "SU", "SB", "SL"
  std::vector<LawParameter> parameters = {};  // empty: it was not fitted
  double log_likelihood = platform::kNaN, aic = platform::kNaN;
  double ad = platform::kNaN;  // Anderson-Darling A2
  // How likely a larger one is. Outside of a table not p, but the share that it is above or below.
  double p = platform::kNaN, p_above = platform::kNaN, p_below = platform::kNaN;
  std::string p_method = {};  // "table", "simulation"
  std::int64_t draws = 0;     // of the simulation
  int iterations = 0;
  bool converged = false;
  Interval low, median, high;  // quantiles 0.00135, 0.5, 0.99865
  QuantileIndices indices = {};
  double ppm_below = platform::kNaN, ppm_above = platform::kNaN;  // expected beyond the limits
  double centre = platform::kNaN;  // Box-Cox: the median, over which values keep their digits

  bool Exists() const { return !parameters.empty(); }
  // What the choice goes by: P, or the end of the table that it lies beyond; NaN: not known.
  double ChoiceP() const;
};

// Places on the two axes of a probability plot, on which the law is a straight line (a Johnson
// curve: transformed values; Box-Cox: those of values over the law's centre).
double PlotAcross(const LawFigures& law, double x);
double PlotUp(const LawFigures& law, double share);
// Places across in units of the law's parameters: origin + unit times the place.
struct PlotScale {
  double origin = 0.0, unit = 1.0;
};
PlotScale PlotScaleOf(const LawFigures& law);
// The value that PlotAcross puts there, of laws on whose scale values are normal: normal,
// lognormal, Box-Cox, Johnson. NaN where no value is.
double ValueAcross(const LawFigures& law, double at);
// PlotAcross is ln(x - threshold).
bool PlotsLogarithms(Law law);
// The value with that share below.
double QuantileOfLaw(const LawFigures& law, double share);

// One element a value, ascending; of more than 2000 the outer 500 on either side and some between.
struct ProbabilityPlot {
  std::vector<double> x, p;
  std::vector<double> fit, lower, upper;  // the law's quantile at p and its confidence band
};

struct LawsStudy {
  std::int64_t count = 0;
  std::vector<LawFigures> laws;  // by P, then AIC; those that were not fitted last
  std::size_t chosen = 0;        // among them; the only one, or as StudyLaws says
  ProbabilityPlot plot;          // of the chosen one
  std::vector<Note> notes;
};

// Each law fitted to the values by maximum likelihood; a Johnson curve by four quantiles.
//   aic      2 q - 2 ln L of q parameters
//   P        by the tables of Stephens; of gamma laws, thresholds and transformations by parametric
//            bootstrap: (1 + draws with a greater A2)/(draws + 1), each draw fitted again. Draws
//            times N is 5,000,000 at most; none above N 50,000
//   pp       (USL - LSL)/(high - low)         ppu  (USL - median)/(high - median)
//   ppl      (median - LSL)/(median - low)    ppk  the lesser of both
//            Box-Cox: of the transformed limits with mean and deviation
//   chosen   of several laws the one of least AIC among those with P >= 0.05; without such a law,
//   or
//            where P is not known of all, of least AIC
// Quantiles have the band of the plot: the quantile and z standard errors by observed information.
// Too few values (q + 3 and 3 different ones; A2: 8) leave figures NaN.
// Throws std::invalid_argument for an option out of its range.
// Source   ISO 22514-2, ISO 22514-4; D'Agostino & Stephens, Goodness-of-Fit Techniques (1986)
LawsStudy StudyLaws(std::span<const double> values, const LawOptions& options = {});

// Figures of a law with known parameters, in the order of their names.
LawFigures FiguresOfLaw(Law law, std::span<const double> parameters,
                        const SpecificationLimits& limits);

// The indices by quantiles of the same law, fitted to other values; all NaN where it cannot be.
QuantileIndices RefittedIndices(const LawFigures& law, std::vector<double> values,
                                const LawOptions& options);

struct QuantilesStudy {
  std::int64_t count = 0;
  Interval low, median, high;
  QuantileIndices indices = {};
  std::vector<Note> notes;
};

// The same indices by Hazen quantiles of the values, without a law. The intervals are between order
// statistics, whatever the distribution; those of the outer quantiles need 2731 values (level
// 0.95). Throws std::invalid_argument for a level that is not between 0 and 1. Source   ISO
// 22514-2; Hahn & Meeker, Statistical Intervals (1991), ch. 5
QuantilesStudy StudyQuantiles(std::span<const double> values, const SpecificationLimits& limits,
                              double level = 0.95);

// The same of ascending values, without intervals.
QuantileIndices SampleIndices(const std::vector<double>& sorted, const SpecificationLimits& limits);

}  // namespace orvspc::studies
