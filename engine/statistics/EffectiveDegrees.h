// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace orvspc::engine::statistics {

// Degrees of freedom of the chi-square whose root varies as an estimate of sigma does; NaN where
// nothing takes part.
//   pooled   sum (n_i - 1)
//   R, S     with w_i = d2^2/d3^2 or c4^2/c5^2 the nu at which c4(nu + 1)^2/(1 - c4(nu + 1)^2) is
//            sum(w_i); unweighted m^2/sum(1/w_i)
//   MR       1/(2 cv^2), cv^2 = (pi/2 - 1 + (sqrt 3 + pi/6 - 2)(M - 1)/M)/M of M ranges, 0.605 M
// estimator   the name of a SigmaEstimate: "R-est mvlue", "MR-est", "pooled"
// sizes       of the subgroups; those below 2 take no part
// ranges      how many moving ranges there are
// Source   Patnaik, Biometrika 37 (1950), for the fitted chi; Burr, J. Quality Technology 1 (1969),
//          for the weights
double EffectiveDegrees(std::string_view estimator, std::span<const std::int32_t> sizes,
                        std::int64_t ranges);

}  // namespace orvspc::engine::statistics
