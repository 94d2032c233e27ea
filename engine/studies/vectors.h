// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "engine/statistics/Covariance.h"
#include "engine/studies/Multivariate.h"

// What the charts of vectors share: the vectors of a stretch, and what they are judged by.
namespace orvspc::studies {

// Throws std::invalid_argument.
void CheckVectors(const Stretch& stretch, std::size_t variables, const VectorOptions& options);

// The vectors of a stretch that lack no value, subgroup after subgroup.
class CompleteVectors {
 public:
  CompleteVectors(const Stretch& stretch, std::size_t variables);

  std::size_t Subgroups() const { return first_.size() - 1; }
  std::size_t CountOf(std::size_t i) const { return first_[i + 1] - first_[i]; }
  std::span<const double> Of(std::size_t i) const {
    return std::span(values_).subspan(first_[i] * variables_, CountOf(i) * variables_);
  }
  std::int64_t Incomplete() const { return incomplete_; }
  // Deviation of the mean of a subgroup from the centre.
  std::vector<double> DeviationOf(std::size_t i, std::span<const double> centre) const;

 private:
  std::size_t variables_;
  std::vector<double> values_;
  std::vector<std::size_t> first_{0};  // vector
  std::int64_t incomplete_ = 0;
};

// Estimates of a stretch, or given parameters.
struct VectorBasis {
  VectorEstimates estimates;
  std::optional<engine::statistics::CovarianceFactor> factor;  // empty: there are no figures
  bool is_known = false;
  bool is_single = false;             // of single vectors
  std::vector<std::uint8_t> is_used;  // subgroups of the stretch that the estimates are of

  // Upper limit of T2 of a subgroup of n.
  double UpperOf(double n, bool used, double alpha) const;
};

// Notes say why there are no figures.
VectorBasis BasisOf(const Stretch& stretch, std::span<const std::string> variables,
                    const VectorOptions& options, std::vector<Note>& notes);

// What both charts begin with: the estimates of the stretch, or of that which it has its limits
// from, and columns without values. Throws std::invalid_argument.
template <class Study>
VectorBasis BeginVectors(const Stretch& stretch, std::span<const std::string> variables,
                         const VectorOptions& options, const Stretch* limits_of,
                         const CompleteVectors& vectors, Study& study) {
  const bool is_own = limits_of == nullptr || limits_of == &stretch;
  if (!is_own) CheckVectors(*limits_of, variables.size(), options);
  auto basis = BasisOf(is_own ? stretch : *limits_of, variables, options, study.notes);
  study.estimates = basis.estimates;
  study.t2.assign(vectors.Subgroups(), platform::kNaN);
  study.upper = study.sizes = study.t2;
  study.signals.assign(vectors.Subgroups(), 0);
  return basis;
}

engine::statistics::SquareMatrix AsMatrix(const std::vector<double>& cells);

}  // namespace orvspc::studies
