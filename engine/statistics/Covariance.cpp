// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/Covariance.h"

#include <algorithm>
#include <cmath>

namespace orvspc::engine::statistics {

VectorSums::VectorSums(std::span<const double> vectors, std::size_t variables)
    : count(vectors.size() / variables), mean(variables, 0.0), products(variables) {
  if (count == 0) return;
  const auto p = variables;
  std::vector<double> sums(p, 0.0), d(p);
  for (std::size_t v = 0; v < count; ++v) {
    for (std::size_t j = 0; j < p; ++j) sums[j] += vectors[v * p + j] - vectors[j];
  }
  const auto n = static_cast<double>(count);
  for (std::size_t j = 0; j < p; ++j) mean[j] = sums[j] / n;  // from the origin
  for (std::size_t v = 0; v < count; ++v) {
    for (std::size_t j = 0; j < p; ++j) d[j] = vectors[v * p + j] - vectors[j] - mean[j];
    for (std::size_t i = 0; i < p; ++i) {
      for (std::size_t j = 0; j <= i; ++j) products(i, j) += d[i] * d[j];
    }
  }
  for (std::size_t i = 0; i < p; ++i) {
    for (std::size_t j = 0; j < i; ++j) products(j, i) = products(i, j);
    mean[i] += vectors[i];
  }
}

CovarianceFactor::CovarianceFactor(const SquareMatrix& covariance) : lower_(covariance.order) {
  const auto p = covariance.order;
  sds_.resize(p);
  for (std::size_t j = 0; j < p; ++j) {
    sds_[j] = std::sqrt(covariance(j, j));
    if (!(sds_[j] > 0.0)) dependent_.push_back(j);
  }
  if (IsSingular()) return;
  for (std::size_t i = 0; i < p; ++i) {
    for (std::size_t j = 0; j <= i; ++j) {
      double left = i == j ? 1.0 : covariance(i, j) / sds_[i] / sds_[j];
      for (std::size_t k = 0; k < j; ++k) left -= lower_(i, k) * lower_(j, k);
      if (i != j) {
        lower_(i, j) = left / lower_(j, j);
      } else if (left >= kLeastPivot) {
        lower_(i, i) = std::sqrt(left);
      } else {
        FindDependent(i);
        return;
      }
    }
  }
  inverse_.resize(p);
  for (std::size_t j = 0; j < p; ++j) {
    std::vector<double> unit(p, 0.0);
    unit[j] = 1.0;
    double sum = 0.0;
    for (const double y : Forward(unit)) sum += y * y;
    inverse_[j] = sum / sds_[j] / sds_[j];
  }
}

// Of the correlation of j with those before it, in units of their spread.
void CovarianceFactor::FindDependent(std::size_t j) {
  std::vector<double> weights(j);
  for (std::size_t i = j; i-- > 0;) {
    weights[i] = lower_(j, i);
    for (std::size_t k = i + 1; k < j; ++k) weights[i] -= lower_(k, i) * weights[k];
    weights[i] /= lower_(i, i);
  }
  constexpr double kNothing = 1e-4;
  for (std::size_t i = 0; i < j; ++i) {
    if (std::abs(weights[i]) > kNothing) dependent_.push_back(i);
  }
  dependent_.push_back(j);
}

std::vector<double> CovarianceFactor::Forward(std::span<const double> scaled) const {
  std::vector<double> y(scaled.begin(), scaled.end());
  for (std::size_t i = 0; i < y.size(); ++i) {
    for (std::size_t k = 0; k < i; ++k) y[i] -= lower_(i, k) * y[k];
    y[i] /= lower_(i, i);
  }
  return y;
}

std::vector<double> CovarianceFactor::Solve(std::span<const double> d) const {
  std::vector<double> y(d.begin(), d.end());
  for (std::size_t i = 0; i < y.size(); ++i) y[i] /= sds_[i];
  y = Forward(y);
  for (std::size_t i = y.size(); i-- > 0;) {
    for (std::size_t k = i + 1; k < y.size(); ++k) y[i] -= lower_(k, i) * y[k];
    y[i] /= lower_(i, i);
  }
  for (std::size_t i = 0; i < y.size(); ++i) y[i] /= sds_[i];
  return y;
}

double CovarianceFactor::Distance(std::span<const double> d) const {
  std::vector<double> scaled(d.begin(), d.end());
  for (std::size_t i = 0; i < scaled.size(); ++i) scaled[i] /= sds_[i];
  double sum = 0.0;
  for (const double y : Forward(scaled)) sum += y * y;
  return sum;
}

std::vector<double> CovarianceFactor::Outward(std::span<const double> u) const {
  std::vector<double> d(u.size(), 0.0);
  for (std::size_t i = 0; i < d.size(); ++i) {
    for (std::size_t k = 0; k <= i; ++k) d[i] += lower_(i, k) * u[k];
    d[i] *= sds_[i];
  }
  return d;
}

double Determinant(const SquareMatrix& covariance) {
  constexpr double kRounding = 1e-14;
  const auto p = covariance.order;
  SquareMatrix lower(p);
  double determinant = 1.0;
  for (std::size_t i = 0; i < p; ++i) {
    const double sd = std::sqrt(covariance(i, i));
    if (!(sd > 0.0)) return sd == 0.0 ? 0.0 : sd;
    for (std::size_t j = 0; j <= i; ++j) {
      double left = i == j ? 1.0 : covariance(i, j) / sd / std::sqrt(covariance(j, j));
      for (std::size_t k = 0; k < j; ++k) left -= lower(i, k) * lower(j, k);
      if (i != j) {
        lower(i, j) = left / lower(j, j);
      } else if (left > kRounding) {
        lower(i, i) = std::sqrt(left);
        determinant *= left * covariance(i, i);
      } else {
        return 0.0;
      }
    }
  }
  return determinant;
}

DeterminantMoments DeterminantMomentsOf(double n, std::size_t variables) {
  double product = 1.0, wider = 1.0, scale = 1.0;
  for (std::size_t i = 1; i <= variables; ++i) {
    const auto each = static_cast<double>(i);
    product *= n - each;
    wider *= n - each + 2.0;
    scale *= n - 1.0;
  }
  return {product / scale, product / scale * ((wider - product) / scale)};
}

}  // namespace orvspc::engine::statistics
