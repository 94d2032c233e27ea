// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "engine/studies/Figures.h"
#include "engine/studies/StudyData.h"
#include "platform/Reports.h"

// Several variables at once: charts of vectors, whose elements are the values of several tests at
// the same piece.
//
// The pieces of a stretch are vectors here: the values of one piece, in the order of the variables,
// then those of the next. One that lacks a value (NaN) is left out. A subgroup has several vectors
// or a single one.
namespace orvspc::studies {

inline constexpr std::size_t kLeastVariables = 2, kMostVariables = 20;

// What a part and process has and a join leaves out.
struct LeftOfJoin {
  std::int32_t part = 0, process = 0;
  std::size_t tests = 0;  // that it has; all is left out of fewer than 2 or more than 20
  std::vector<std::int32_t> times = {};  // of the subgroups that are left out
};

// Streams of several tests joined to one each of vectors.
struct JoinedTests {
  StudyData data;                                // its streams have test 0
  std::vector<std::vector<std::int32_t>> tests;  // of each stream: the variables
  std::vector<LeftOfJoin> left;
};

// Numbers of pieces in their subgroups, by stream, stretch and piece.
using PieceNumbers = std::vector<std::vector<std::vector<std::int32_t>>>;

// Joins the streams of each part and process: values of the same subgroup and piece are a vector.
//   order  tests in the order that the variables are to have; those that are not in it follow
// A subgroup without any value of one of the tests is left out. Phases are those of all tests: a
// stretch ends where that of one of them ends, and is named after the first that has a phase. A
// subgroup is used where all tests use it. Throws std::invalid_argument unless each piece has its
// number.
JoinedTests JoinTests(const StudyData& data, const PieceNumbers& numbers,
                      std::span<const std::int32_t> order = {});

// Leaves the newest joint subgroups, so many of all streams together, and forgets what was left out
// before the oldest of them.
void KeepNewest(JoinedTests& joined, std::size_t most);

// The same of the selected measurements, which are read as ReadStudyData does. The number of
// subgroups that the selection takes is that of joint ones.
JoinedTests ReadJoinedTests(platform::Database& database, const API_DSInfo& selection,
                            std::span<const std::int32_t> filter,
                            std::span<const std::int32_t> order = {}, bool joins_phases = false);

// How the covariance of single vectors is estimated; of subgroups it is always pooled.
//   Sample      S = sum (x_i - mean)(x_i - mean)' / (m - 1)
//   Successive  S = sum v_i v_i' / (2 (m - 1)), v_i = x_(i+1) - x_i: sees steps and drifts, which
//               widen the first
enum class VectorCovariance : std::uint8_t { Sample, Successive };

// Known parameters.
struct VectorParameters {
  std::vector<double> centre, covariance;  // the matrix by rows
};

struct VectorOptions {
  VectorCovariance covariance = VectorCovariance::Sample;
  // Estimates are those of so many used subgroups from the first on, and later ones are judged by
  // them; 0: of all.
  std::size_t base = 0;
  std::optional<VectorParameters> known;
};

// What a stretch is judged by.
struct VectorEstimates {
  std::vector<double> centre, covariance;  // one a variable; the matrix by rows
  std::string estimator;                   // "pooled", "sample", "successive", "given"
  double degrees = platform::kNaN;         // of freedom of the covariance; NaN where it is given
  double size = platform::kNaN;            // mean number of vectors a subgroup
  std::int64_t subgroups = 0;              // that were used
  std::int64_t used = 0, left = 0;         // vectors, and those that were left out
  std::vector<std::size_t> dependent;      // variables that are linearly dependent; empty: none
};

// What a variable has to do with T2 of a point.
//   unconditional  n (mean_j - centre_j)^2 / s_jj
//   conditional    T2 less that of all other variables: what j adds once these are known
// Large only together with others: its relation to them broke. P of both where the point was not
// used for the estimates, else NaN.
struct T2Term {
  double unconditional = platform::kNaN, conditional = platform::kNaN;
  double p_unconditional = platform::kNaN, p_conditional = platform::kNaN;
  double deviation = platform::kNaN;  // mean_j - centre_j
};

// Determinants of the covariances of the subgroups.
struct GeneralizedVariance {
  std::vector<double> points, centre, upper, lower;  // empty: there is none
  std::vector<std::uint8_t> signals;
};

struct T2Options : VectorOptions {
  double alpha = 0.0027;      // chance of a false signal, 1e-6 to 0.5
  bool per_variable = false;  // 1 - (1 - alpha)^p in its place
};

// One element a subgroup in each column, or one a variable and subgroup; NaN: none.
struct T2Study {
  std::vector<double> t2, upper;
  std::vector<std::uint8_t> signals;  // not 0: T2 is above its limit
  std::vector<double> sizes;          // vectors without a missing value
  std::vector<double> means;          // by variable, then subgroup after subgroup
  std::vector<T2Term> terms;          // the same
  GeneralizedVariance variance;
  VectorEstimates estimates;
  double alpha = platform::kNaN;  // of a point
  std::vector<Note> notes;

  std::span<const T2Term> TermsOf(std::size_t point) const {
    const auto p = estimates.centre.size();
    return std::span(terms).subspan(point * p, p);
  }
};

// Hotelling's chart: T2_i = n_i (mean_i - centre)' S^-1 (mean_i - centre), with an upper limit.
// With nu degrees of freedom of S, N vectors and p variables the limit of a point is
//   used, of subgroups       (1 - n_i / N) nu p / (nu - p + 1) F(1 - alpha; p, nu - p + 1)
//   used, single, sample     (N - 1)^2 / N Beta(1 - alpha; p / 2, (N - p - 1) / 2)
//   used, single, successive, and with known parameters: chi-square(1 - alpha; p)
//   not used                 (1 + n_i / N) nu p / (nu - p + 1) F(1 - alpha; p, nu - p + 1)
// nu is sum (n_i - 1) of subgroups, N - 1 of a sample, 2 (N - 1)^2 / (3 N - 4) of differences.
//
// P of a term, k = p - 1, c = 1 + n_i / N: unconditional / c by F(1, nu); conditional /
// ((c + T2 of the others / nu) nu / (nu - k)) by F(1, nu - k), which is exact given the others.
// With known parameters both by chi-square with 1.
//
// Generalized variance |S_i| of subgroups that all have more vectors than variables, about
// |Sigma| = |S| / b1 with limits b1 |Sigma| +- 3 sqrt(b2) |Sigma|, not below 0; b1 and b2 are the
// moments of a determinant.
//
// limits_of: the stretch whose estimates hold, as that of the phase before; nothing: this one,
// where a phase that is frozen after some points is a base of as many.
// Fewer than p + 2 single vectors, or p + 1 degrees of freedom or 2 subgroups: no figures; below
// max(20, 5 p) or 20: a note. No figures either, and a note with the names, where variables are
// linearly dependent.
// Throws std::invalid_argument for an option out of its range, less than 2 or more than 20
// variables, parameters of another number of variables or that are no covariance, and a stretch
// whose pieces are no vectors of so many.
// Source   Tracy, Young & Mason, J. Quality Technology 24 (1992); Sullivan & Woodall, J. Quality
//          Technology 28 (1996); Mason, Tracy & Young, J. Quality Technology 27 (1995); Runger, Alt
//          & Montgomery, Commun. Statist. Simulation 25 (1996); Montgomery, ch. 11
T2Study StudyT2(const Stretch& stretch, std::span<const std::string> variables,
                const T2Options& options = {}, const Stretch* limits_of = nullptr);

// T2 of a point taken apart variable after variable: the unconditional term of the first, then what
// each next one adds to those before it. The terms add up to T2.
struct T2Order {
  std::vector<std::size_t> variables;  // places
  std::vector<double> terms;
  std::vector<double> p;  // of each term as of T2Term, k being how many are before it
};
inline constexpr std::size_t kMostOrdered = 6;
// That in all p! orders; none of a point without T2. Throws std::invalid_argument above 6
// variables.
std::vector<T2Order> OrdersOf(const T2Study& study, std::size_t point);

// The ellipse of means of two variables whose distance d' S^-1 d from the centre is so much.
struct Ellipse {
  std::vector<double> x, y;
};
Ellipse EllipseOf(const VectorEstimates& estimates, double distance);

struct MewmaOptions : VectorOptions {
  double weight = 0.1;      // lambda, 0.01 to 1
  std::optional<double> h;  // the limit, above 0 to 1000; without: that of arl0
  double arl0 = 200.0;      // mean points to a false signal, 2 to 1e6
  bool exact = false;       // covariance of each point; otherwise that after many points
};

struct MewmaStudy {
  std::vector<double> t2, upper;
  std::vector<std::uint8_t> signals;
  std::vector<double> sizes;
  std::vector<double> z;  // deviations from the centre, by variable, then subgroup after subgroup
  VectorEstimates estimates;
  double h = platform::kNaN;
  double arl0 = platform::kNaN;  // of the limit as it is; of the exact form it is not known
  std::vector<Note> notes;
};

// z_i = weight (mean_i - centre) + (1 - weight) z_(i-1) from 0, and T2_i = z_i' Sz^-1 z_i with
//   asymptotic  Sz = weight / (2 - weight) S / mean size
//   exact       Sz = v_i S, v_i = weight^2 / n_i + (1 - weight)^2 v_(i-1) from 0
// against h, which has arl0 with known parameters, equal sizes and the asymptotic form. A subgroup
// that is not used is shown and then forgotten; one without vectors leaves z as it is.
// Least amounts, limits_of and failures as of StudyT2.
// Source   Lowry, Woodall, Champ & Rigdon, Technometrics 34 (1992); Rigdon, J. Quality Technology
//          27 (1995); Prabhu & Runger, J. Quality Technology 29 (1997)
MewmaStudy StudyMewma(const Stretch& stretch, std::span<const std::string> variables,
                      const MewmaOptions& options = {}, const Stretch* limits_of = nullptr);

// Mean number of points of an MEWMA with the asymptotic form and known parameters to a false
// signal, from z = 0, by the integral equation
//   L(q) = 1 + integral of L(y) f(y / w^2; p, ((1 - w) / w)^2 q) / w^2 from 0 to h w / (2 - w)
// with f the density of noncentral chi-square. NaN beyond 1e9.
// Throws std::invalid_argument for variables outside 2..20, weight outside 0.01..1 and h outside
// 0..1000.
// Source   Rigdon, J. Statistical Computation and Simulation 52 (1995)
double MewmaRunLength(std::size_t variables, double weight, double h);
// The h with that mean; arl0 2 to 1e6.
double MewmaLimit(std::size_t variables, double weight, double arl0);

}  // namespace orvspc::studies
