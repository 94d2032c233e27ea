// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "engine/statistics/LinearSystem.h"

// Vectors of several variables: their spread, and distances by it. Vectors lie side by side, the
// values of one after the other.
namespace orvspc::engine::statistics {

// Mean of the vectors, and the sum of the products of their deviations from it. The origin of the
// sums is the first vector, so that equal values have a spread of exactly 0.
struct VectorSums {
  std::size_t count = 0;
  std::vector<double> mean;
  SquareMatrix products;

  VectorSums(std::span<const double> vectors, std::size_t variables);
};

// A covariance matrix S, factored for distances: Cholesky of the correlation matrix.
class CovarianceFactor {
 public:
  // A relative pivot below this means that a variable follows from those before it.
  static constexpr double kLeastPivot = 1e-10;

  explicit CovarianceFactor(const SquareMatrix& covariance);

  // Variables that are linearly dependent: one without spread, or the first that follows from
  // others with those that it follows from. Nothing of what is below is defined then.
  const std::vector<std::size_t>& Dependent() const { return dependent_; }
  bool IsSingular() const { return !dependent_.empty(); }

  // S^-1 d
  std::vector<double> Solve(std::span<const double> d) const;
  // d' S^-1 d
  double Distance(std::span<const double> d) const;
  // A diagonal element of S^-1.
  double InverseDiagonal(std::size_t j) const { return inverse_[j]; }
  // The vector whose distance is the square of the length of u: S^(1/2) u, by rows of the factor.
  std::vector<double> Outward(std::span<const double> u) const;

 private:
  std::vector<double> Forward(std::span<const double> scaled) const;
  void FindDependent(std::size_t j);

  SquareMatrix lower_;
  std::vector<double> sds_, inverse_;
  std::vector<std::size_t> dependent_;
};

// |S| of a covariance matrix; 0 where rounding alone keeps it from that.
double Determinant(const SquareMatrix& covariance);

// With the covariance matrix S of a sample of n > p vectors of p variables, |S| has the mean
// mean |Sigma| and the variance variance |Sigma|^2:
//   mean      product of (n - i), i = 1..p, over (n - 1)^p
//   variance  product of (n - i) times (product of (n - j + 2) - product of (n - j)), j = 1..p,
//             over (n - 1)^(2 p)
// Source   Montgomery, ch. 11.5
struct DeterminantMoments {
  double mean, variance;
};
DeterminantMoments DeterminantMomentsOf(double n, std::size_t variables);

}  // namespace orvspc::engine::statistics
