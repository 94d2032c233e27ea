// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include "engine/statistics/Distributions.h"
#include "engine/statistics/LinearSystem.h"
#include "engine/statistics/Numerics.h"
#include "engine/studies/Multivariate.h"
#include "engine/studies/study_notes.h"
#include "engine/studies/vectors.h"

namespace orvspc::studies {

using namespace engine;
using platform::kNaN;

namespace {

void CheckScheme(std::size_t variables, double weight) {
  Need(variables >= kLeastVariables && variables <= kMostVariables,
       "there must be 2 to 20 variables");
  Need(weight >= 0.01 && weight <= 1.0, "weight must be 0.01 to 1");
}

void CheckLimit(double h) { Need(h > 0.0 && h <= 1000.0, "h must be above 0 and at most 1000"); }

// In s = sqrt(q), in which the kernel is about as wide as the weight.
double MeanRunLength(std::size_t variables, double weight, double h) {
  constexpr double kMost = 1e9;
  const auto p = static_cast<double>(variables);
  const double end = std::sqrt(h * weight / (2.0 - weight));
  const auto n = 24 + static_cast<std::size_t>(std::ceil(4.0 * end / weight));
  const auto& rule = statistics::GaussLegendre(n);
  const double kept = (1.0 - weight) / weight;
  std::vector<double> nodes(n), weights(n);
  for (std::size_t i = 0; i < n; ++i) {
    nodes[i] = 0.5 * end * (1.0 + rule.nodes[i]);
    weights[i] = end * rule.weights[i] * nodes[i] / (weight * weight);
  }
  const auto kernel = [&](double from, std::size_t j) {
    const double y = nodes[j] / weight;
    return weights[j] * statistics::NoncentralChiSquareDensity(y * y, p, kept * kept * from * from);
  };
  statistics::SquareMatrix rest(n);
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j < n; ++j) rest(i, j) = (i == j ? 1.0 : 0.0) - kernel(nodes[i], j);
  }
  const auto lengths = statistics::LinearSystem(std::move(rest)).Solve(std::vector<double>(n, 1.0));
  double mean = 1.0;
  for (std::size_t j = 0; j < n; ++j) mean += kernel(0.0, j) * lengths[j];
  return mean >= 1.0 - 1e-9 && mean <= kMost ? mean : kNaN;
}

// Mean number of vectors of the subgroups that are used.
double MeanSize(const Stretch& stretch, const CompleteVectors& vectors) {
  double sum = 0.0, count = 0.0;
  for (std::size_t i = 0; i < vectors.Subgroups(); ++i) {
    if (!stretch.IsUsed(i) || vectors.CountOf(i) == 0) continue;
    sum += static_cast<double>(vectors.CountOf(i));
    count += 1.0;
  }
  return sum / count;
}

}  // namespace

double MewmaRunLength(std::size_t variables, double weight, double h) {
  CheckScheme(variables, weight);
  CheckLimit(h);
  return MeanRunLength(variables, weight, h);
}

double MewmaLimit(std::size_t variables, double weight, double arl0) {
  CheckScheme(variables, weight);
  Need(arl0 >= 2.0 && arl0 <= 1e6, "arl0 must be 2 to 1000000");
  // That of points which do not hang together, which is the widest.
  const double widest =
      statistics::ChiSquareQuantile(1.0 - 1.0 / arl0, static_cast<double>(variables));
  return statistics::Root(
      [&](double h) { return std::log(MeanRunLength(variables, weight, h) / arl0); }, 1e-6 * widest,
      1.01 * widest);
}

MewmaStudy StudyMewma(const Stretch& stretch, std::span<const std::string> variables,
                      const MewmaOptions& options, const Stretch* limits_of) {
  const auto p = variables.size();
  CheckVectors(stretch, p, options);
  CheckScheme(p, options.weight);
  MewmaStudy study;
  if (options.h) CheckLimit(*options.h);
  study.h = options.h ? *options.h : MewmaLimit(p, options.weight, options.arl0);
  if (options.exact && options.weight < 1.0) {
    study.notes.push_back(
        {"no-run-length",
         "The run length of h is that of the asymptotic covariance; with that of each point it is "
         "somewhat shorter, and study arl simulates it.",
         {}});
  } else {
    study.arl0 = options.h ? MeanRunLength(p, options.weight, study.h) : options.arl0;
  }
  const CompleteVectors vectors(stretch, p);
  const auto basis = BeginVectors(stretch, variables, options, limits_of, vectors, study);
  const auto count = vectors.Subgroups();
  study.z.assign(count * p, kNaN);
  const double weight = options.weight, kept = 1.0 - weight;
  const double many = weight / (2.0 - weight) / MeanSize(stretch, vectors);
  std::vector<double> z(p, 0.0);
  double variance = 0.0;  // of z in units of the covariance
  for (std::size_t i = 0; i < count; ++i) {
    const auto n = static_cast<double>(vectors.CountOf(i));
    study.sizes[i] = n;
    if (n == 0.0 || !basis.factor) continue;
    auto next = vectors.DeviationOf(i, basis.estimates.centre);
    for (std::size_t j = 0; j < p; ++j) next[j] = weight * next[j] + kept * z[j];
    const double next_variance = weight * weight / n + kept * kept * variance;
    study.t2[i] = basis.factor->Distance(next) / (options.exact ? next_variance : many);
    study.upper[i] = study.h;
    std::ranges::copy(next, study.z.begin() + static_cast<std::ptrdiff_t>(i * p));
    if (!stretch.IsUsed(i)) continue;
    z = std::move(next);
    variance = next_variance;
    study.signals[i] = study.t2[i] > study.h ? 1 : 0;
  }
  return study;
}

}  // namespace orvspc::studies
