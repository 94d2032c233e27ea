// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

#include "engine/studies/RunLengths.h"

// Run lengths by plain loops over random points, which share nothing with the studies.
namespace orvspc::studies {

struct SimulatedRuns {
  double mean, error;  // error: standard error of the mean
};

SimulatedRuns SimulatedCusum(const CusumRunOptions& options, double shift, std::size_t runs,
                             std::uint64_t seed);
SimulatedRuns SimulatedEwma(const EwmaRunOptions& options, double shift, std::size_t runs,
                            std::uint64_t seed);
// Rules of the kinds limit and zone with sides same or either, and within.
SimulatedRuns SimulatedShewhart(const ShewhartRunOptions& options, double shift, std::size_t runs,
                                std::uint64_t seed);
SimulatedRuns SimulatedCountCusum(const CountCusumRunOptions& options, double mean,
                                  std::size_t runs, std::uint64_t seed);

// Settings by seed, each within three standard errors of so many simulated runs.
void ExpectAgreement(std::size_t runs, std::uint64_t seed);

}  // namespace orvspc::studies
