// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace orvspc::engine::statistics {

// How many standard deviations from the mean of n normal values the limits are between which, or
// beyond which one, a share `content` of the distribution lies with this confidence.
//   n 2 or more; content and confidence between 0 and 1; NaN for anything else

// t'(confidence; n - 1, z sqrt(n))/sqrt(n), the noncentral t with z the quantile of the content.
// Accuracy 1e-8; above 100,000 values 1e-5
// Source   Owen, Technometrics 6 (1964); ISO 16269-6
double OneSidedToleranceFactor(std::int64_t n, double content, double confidence);

// The k with 2 sqrt(n/(2 pi)) Int_0^inf P(chi2_(n-1) >= (n - 1) r(z)^2/k^2) exp(-n z^2/2) dz =
// confidence, Phi(z + r) - Phi(z - r) = content.
// Accuracy 1e-9
// Source   Wald & Wolfowitz, Annals of Mathematical Statistics 17 (1946); ISO 16269-6
double TwoSidedToleranceFactor(std::int64_t n, double content, double confidence);
// z sqrt((n - 1)(1 + 1/n)/chi2(1 - confidence; n - 1)): 1.5 percent off at n 5, 0.3 at 20.
// Source   Howe, J. American Statistical Association 64 (1969)
double HoweToleranceFactor(std::int64_t n, double content, double confidence);

// Limits that are values of the sample, whatever the distribution: how many values of n, counted
// from both ends together, may be left outside or on a limit. 0: none. Two limits need 2.
// P(Binomial(n, 1 - content) <= m - 1) <= 1 - confidence
// Source   Wilks, Annals of Mathematical Statistics 12 (1941); ISO 16269-6
std::int64_t ToleranceRanks(std::int64_t n, double content, double confidence);
// The fewest values that give so many.
std::int64_t LeastForRanks(std::int64_t ranks, double content, double confidence);

}  // namespace orvspc::engine::statistics
