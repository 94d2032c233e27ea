// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "engine/studies/Figures.h"
#include "platform/Reports.h"

// Plans that say by a sample whether a lot is taken: their risks, and the least plan that keeps
// within two risks. A share is that of bad units, 0.01 for 1 %; of defects that per unit.
namespace orvspc::studies {

enum class CountModel {
  Binomial,
  Hypergeometric,  // of a lot, whose bad units are its size times the share, rounded
  Poisson          // of defects
};

// A lot is taken with probability of at least 1 - alpha at the share aql, and of at most beta at
// the share rql.
struct PlanPoints {
  double aql = 0.01, alpha = 0.05, rql = 0.05, beta = 0.10;
};

struct SinglePlan {
  std::int64_t n = 0, c = 0;  // taken with at most c of n
};

struct DoublePlan {
  // Taken with at most c1 of the first n1, refused with r1 or more; between them taken with at most
  // c2 of all n1 + n2.
  std::int64_t n1 = 0, c1 = 0, r1 = 0, n2 = 0, c2 = 0;
};

struct VariablesPlan {
  std::int64_t n = 0;
  double k = platform::kNaN;  // taken if (limit - mean) / sigma is k or more
  bool sigma_known = false;
};

// What a plan does at one share.
struct PlanPoint {
  double share = platform::kNaN;
  double accepted = platform::kNaN;  // probability
  double aoq = platform::kNaN;       // average outgoing share, refused lots sorted out
  double ati = platform::kNaN;       // average number of units inspected a lot
  double asn = platform::kNaN;       // average size of sample, without curtailment
};

struct PlanOptions {
  CountModel model = CountModel::Binomial;
  std::optional<std::int64_t> lot;  // units; without it that of very many: no ati
};

// Any of the plans at a share from 0 to 1 (Poisson: 0 or more).
//   aoq = accepted share (N - n) / N, of the hypergeometric model with the share that the bad units
//           have, ati = n + (1 - accepted) (N - n), n the mean sample
//   double  P(d1 <= c1) + sum P(d1) P(d2 <= c2 - d1), asn = n1 + n2 P(c1 < d1 < r1)
//   known   Phi(sqrt(n) (z - k)), z the upper quantile of the share
//   unknown P(t > k sqrt(n)), t noncentral with n - 1 and z sqrt(n)
// Throws std::invalid_argument for a plan or a share out of its range.
// Source   Schilling & Neubauer, Acceptance Sampling in Quality Control, 3rd ed.
PlanPoint PointOf(const SinglePlan& plan, double share, const PlanOptions& options = {});
PlanPoint PointOf(const DoublePlan& plan, double share, const PlanOptions& options = {});
PlanPoint PointOf(const VariablesPlan& plan, double share, const PlanOptions& options = {});

// Probabilities that a double plan takes the lot by its first and by its second sample.
std::pair<double, double> AcceptedBySample(const DoublePlan& plan, double share,
                                           const PlanOptions& options = {});

// Shares from 0 to `most` for a curve, in that many steps; of the hypergeometric model those that
// the lot can have: fewer where it is small, and at least one bad unit.
std::vector<double> SharesUpTo(double most, std::int64_t steps, const PlanOptions& options = {});

// The greatest aoq of a plan by counts, and the share where it is: of the hypergeometric model one
// that the lot can have, of the Poisson model perhaps above 1.
struct OutgoingLimit {
  double aoql = platform::kNaN, at = platform::kNaN;
};
OutgoingLimit OutgoingLimitOf(const SinglePlan& plan, const PlanOptions& options = {});
OutgoingLimit OutgoingLimitOf(const DoublePlan& plan, const PlanOptions& options = {});

// Designs; no plan where none keeps within both risks and these bounds of n and c, of a double plan
// of c2.
inline constexpr std::int64_t kMostSample = 1'000'000, kMostAccepted = 1000,
                              kMostAcceptedOfTwo = 60;
// Throw std::invalid_argument for points out of their range: 0 < aql < rql < 1, alpha and beta
// between 0 and 1.
// Source   Hailey, J. Quality Technology 12 (1980); Montgomery, ch. 15 and 16

// For c = 0, 1, ... the least n with beta, until one keeps alpha. Of a lot that is a sample of at
// most its tenth by the binomial model, or where there is none a larger one by the hypergeometric
// model; the model that was taken is in `model`.
std::optional<SinglePlan> DesignSingle(const PlanPoints& points, PlanOptions& options);
// The least asn at aql with n2 = ratio n1 and r1 = c2 + 1, of a lot that of both models.
std::optional<DoublePlan> DesignDouble(const PlanPoints& points, std::int64_t ratio,
                                       PlanOptions& options);
// Known: n = ((z_alpha + z_beta) / (z_aql - z_rql))^2, rounded up, k = z_aql - z_alpha / sqrt(n).
// Unknown: the least n with k = t'(alpha; n - 1, z_aql sqrt(n)) / sqrt(n) that keeps beta.
std::optional<VariablesPlan> DesignVariables(const PlanPoints& points, bool sigma_known);
// The approximation of printed nomographs: k, n of a known sigma, and n (1 + k^2 / 2) of one that
// is not. Not rounded; for comparison alone.
struct NomographPlan {
  double k = platform::kNaN, n_known = platform::kNaN, n_unknown = platform::kNaN;
};
NomographPlan NomographOf(const PlanPoints& points);

}  // namespace orvspc::studies
