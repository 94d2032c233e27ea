// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

namespace orvspc {

// Laws of measurements. A 3, or the 2 of the exponential one: with a threshold, below which nothing
// lies. The last two transform the values so that they are normal; those before are fitted by
// maximum likelihood.
enum class Law : std::uint8_t {
  Normal,
  Lognormal,
  Lognormal3,
  Weibull,
  Weibull3,
  Gamma,
  Gamma3,
  Exponential,
  Exponential2,
  Logistic,
  Loglogistic,
  Loglogistic3,
  LargestExtreme,
  SmallestExtreme,
  BoxCox,
  Johnson
};
inline constexpr std::size_t kLikelihoodLaws = 14;

}  // namespace orvspc
