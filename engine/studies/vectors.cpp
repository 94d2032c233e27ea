// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/vectors.h"

#include <algorithm>
#include <cmath>

#include "engine/statistics/Distributions.h"
#include "engine/studies/study_notes.h"

namespace orvspc::studies {

using namespace engine;
using platform::kNaN;
using statistics::SquareMatrix;

namespace {

// "A, B and C"
std::string Listed(const std::vector<std::size_t>& places, std::span<const std::string> names) {
  std::string text;
  for (std::size_t i = 0; i < places.size(); ++i) {
    if (i > 0) text += i + 1 == places.size() ? " and " : ", ";
    text += names[places[i]];
  }
  return text;
}

void AddDependent(const SquareMatrix& covariance, std::span<const std::string> names,
                  const std::vector<std::size_t>& dependent, std::vector<Note>& notes) {
  const bool has_spread = covariance(dependent.back(), dependent.back()) > 0.0;
  const bool is_one = dependent.size() == 1;
  notes.push_back({"dependent",
                   Listed(dependent, names) +
                       (has_spread ? " are linearly dependent"
                        : is_one   ? " has no spread"
                                   : " have no spread") +
                       ", so there are no distances.",
                   {}});
}

// Scaled to a covariance: of subgroups the sums within them, of single vectors as the options say.
SquareMatrix CovarianceOf(const CompleteVectors& vectors, const VectorBasis& basis,
                          const statistics::VectorSums& all, VectorCovariance form) {
  const auto p = all.mean.size();
  SquareMatrix covariance(p);
  double divisor = basis.estimates.degrees;
  if (basis.is_single && form == VectorCovariance::Sample) {
    covariance = all.products;
  } else if (basis.is_single) {
    std::span<const double> before;
    for (std::size_t i = 0; i < basis.is_used.size(); ++i) {
      if (basis.is_used[i] == 0) continue;
      const auto x = vectors.Of(i);
      for (std::size_t a = 0; !before.empty() && a < p; ++a) {
        for (std::size_t b = 0; b < p; ++b) {
          covariance(a, b) += (x[a] - before[a]) * (x[b] - before[b]);
        }
      }
      before = x;
    }
    divisor = 2.0 * static_cast<double>(all.count - 1);
  } else {
    for (std::size_t i = 0; i < basis.is_used.size(); ++i) {
      if (basis.is_used[i] == 0) continue;
      const statistics::VectorSums sums(vectors.Of(i), p);
      for (std::size_t c = 0; c < covariance.cells.size(); ++c) {
        covariance.cells[c] += sums.products.cells[c];
      }
    }
  }
  for (auto& cell : covariance.cells) cell /= divisor;
  return covariance;
}

void CheckKnown(const VectorParameters& known, std::size_t p) {
  Need(known.centre.size() == p, "mean must have a number for each variable");
  Need(known.covariance.size() == p * p, "matrix must have a row and a column for each variable");
  for (const double value : known.centre) Need(std::isfinite(value), "mean must have numbers");
  const auto covariance = AsMatrix(known.covariance);
  for (std::size_t i = 0; i < p; ++i) {
    for (std::size_t j = 0; j < p; ++j) {
      Need(std::isfinite(covariance(i, j)) && covariance(i, j) == covariance(j, i),
           "matrix must be symmetric");
    }
  }
  Need(!statistics::CovarianceFactor(covariance).IsSingular(), "matrix must be positive definite");
}

}  // namespace

SquareMatrix AsMatrix(const std::vector<double>& cells) {
  SquareMatrix matrix(
      static_cast<std::size_t>(std::lround(std::sqrt(static_cast<double>(cells.size())))));
  matrix.cells = cells;
  return matrix;
}

void CheckVectors(const Stretch& stretch, std::size_t variables, const VectorOptions& options) {
  Need(variables >= kLeastVariables && variables <= kMostVariables,
       "there must be 2 to 20 variables");
  for (std::size_t i = 0; i + 1 < stretch.first_piece.size(); ++i) {
    Need(stretch.PiecesOf(i).size() % variables == 0, "pieces must be vectors of all variables");
  }
  if (options.known) CheckKnown(*options.known, variables);
}

CompleteVectors::CompleteVectors(const Stretch& stretch, std::size_t variables)
    : variables_(variables) {
  for (std::size_t i = 0; i + 1 < stretch.first_piece.size(); ++i) {
    const auto pieces = stretch.PiecesOf(i);
    for (std::size_t at = 0; at < pieces.size(); at += variables) {
      const auto vector = pieces.subspan(at, variables);
      if (std::ranges::all_of(vector, [](double value) { return std::isfinite(value); })) {
        values_.insert(values_.end(), vector.begin(), vector.end());
      } else {
        ++incomplete_;
      }
    }
    first_.push_back(values_.size() / variables);
  }
}

std::vector<double> CompleteVectors::DeviationOf(std::size_t i,
                                                 std::span<const double> centre) const {
  std::vector<double> deviation(variables_, 0.0);
  const auto values = Of(i);
  for (std::size_t at = 0; at < values.size(); ++at) {
    const auto j = at % variables_;
    deviation[j] += values[at] - centre[j];
  }
  for (auto& value : deviation) value /= static_cast<double>(CountOf(i));
  return deviation;
}

VectorBasis BasisOf(const Stretch& stretch, std::span<const std::string> variables,
                    const VectorOptions& options, std::vector<Note>& notes) {
  const auto p = variables.size();
  const CompleteVectors vectors(stretch, p);
  VectorBasis basis;
  auto& estimates = basis.estimates;
  estimates.centre.assign(p, kNaN);
  estimates.covariance.assign(p * p, kNaN);
  basis.is_used.assign(vectors.Subgroups(), 0);
  if (options.known) {
    estimates.centre = options.known->centre;
    estimates.covariance = options.known->covariance;
    estimates.estimator = "given";
    basis.is_known = true;
    basis.factor.emplace(AsMatrix(estimates.covariance));
    return basis;
  }

  const auto frozen = static_cast<std::size_t>(std::max(stretch.phase.freeze_after, 0));
  const auto most = options.base != 0 ? options.base : frozen;
  std::vector<double> values;
  std::size_t subgroups = 0;
  basis.is_single = true;
  estimates.left = vectors.Incomplete();
  for (std::size_t i = 0; i < vectors.Subgroups(); ++i) {
    const auto of = vectors.Of(i);
    if (of.empty()) continue;
    if (!stretch.IsUsed(i) || (most != 0 && subgroups == most)) {
      estimates.left += static_cast<std::int64_t>(vectors.CountOf(i));
      continue;
    }
    basis.is_used[i] = 1;
    if (vectors.CountOf(i) > 1) basis.is_single = false;
    ++subgroups;
    values.insert(values.end(), of.begin(), of.end());
  }
  basis.is_single = basis.is_single && subgroups > 0;
  const auto count = values.size() / p;
  const auto total = static_cast<double>(count);
  estimates.subgroups = static_cast<std::int64_t>(subgroups);
  estimates.used = static_cast<std::int64_t>(count);
  if (basis.is_single) {
    const bool successive = options.covariance == VectorCovariance::Successive;
    estimates.estimator = successive ? "successive" : "sample";
  } else if (subgroups > 0) {
    estimates.estimator = "pooled";
  }
  const auto least =
      basis.is_single ? LeastAmounts{p + 2, std::max<std::size_t>(20, 5 * p)} : LeastAmounts{2, 20};
  const auto* const what = basis.is_single ? "single vectors" : "subgroups";
  if (!HasEnough(subgroups, least, what, notes)) return basis;
  estimates.size = total / static_cast<double>(subgroups);
  estimates.degrees = basis.is_single ? total - 1.0 : total - static_cast<double>(subgroups);
  if (!basis.is_single && count - subgroups < p + 1) {
    HasEnough(count - subgroups, {p + 1, 0}, "degrees of freedom within subgroups", notes);
    return basis;
  }
  const statistics::VectorSums all(values, p);
  const auto covariance = CovarianceOf(vectors, basis, all, options.covariance);
  if (estimates.estimator == "successive") {
    estimates.degrees = 2.0 * (total - 1.0) * (total - 1.0) / (3.0 * total - 4.0);
  }
  estimates.centre = all.mean;
  estimates.covariance = covariance.cells;
  basis.factor.emplace(covariance);
  if (basis.factor->IsSingular()) {
    estimates.dependent = basis.factor->Dependent();
    AddDependent(covariance, variables, estimates.dependent, notes);
    basis.factor.reset();
  }
  return basis;
}

double VectorBasis::UpperOf(double n, bool used, double alpha) const {
  const auto p = static_cast<double>(estimates.centre.size());
  if (is_known) return statistics::ChiSquareQuantile(1.0 - alpha, p);
  const auto total = static_cast<double>(estimates.used);
  if (used && estimates.estimator == "sample") {
    return (total - 1.0) * (total - 1.0) / total *
           statistics::BetaQuantile(1.0 - alpha, p / 2.0, (total - p - 1.0) / 2.0);
  }
  // The published beta limit of differences signals in a quarter of what it promises.
  if (used && is_single) return statistics::ChiSquareQuantile(1.0 - alpha, p);
  const double rest = estimates.degrees - p + 1.0;
  if (!(rest > 0.0)) return kNaN;
  const double share = used ? 1.0 - n / total : 1.0 + n / total;
  return share * estimates.degrees * p / rest * statistics::FQuantile(1.0 - alpha, p, rest);
}

}  // namespace orvspc::studies
