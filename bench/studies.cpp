// SPDX-License-Identifier: Apache-2.0
// Studies that a person waits for, in processor time:
//   bench_studies [--rounds N] [--dir DIR] [--other R]
// fourteen laws fitted to 100,000 values with their Anderson-Darling statistics and without
// simulated P; a crossed gauge study of 10 parts, 3 operators and 3 trials; run lengths of the four
// classic rules, whose chain has 295 states. With the command of R bench/laws.R fits the laws that
// it knows to the same values.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "bench/child.h"
#include "bench/options.h"
#include "bench/rounds.h"
#include "engine/Studies.h"

namespace {

namespace studies = orvspc::studies;

constexpr std::size_t kValues = 100'000;

// Quantiles of a Weibull law with threshold, in an order that is not theirs.
std::vector<double> Values() {
  std::vector<double> values;
  for (std::size_t i = 0; i < kValues; ++i) {
    const double share =
        (static_cast<double>(i * 61'803 % kValues) + 0.5) / static_cast<double>(kValues);
    values.push_back(10.0 + 5.0 * std::pow(-std::log1p(-share), 0.4));
  }
  return values;
}

studies::GageReadings Readings() {
  studies::GageReadings readings;
  for (int part = 0; part < 10; ++part) {
    for (int by = 0; by < 3; ++by) {
      for (int trial = 0; trial < 3; ++trial) {
        const double scatter = std::sin(12.9898 * (part * 9 + by * 3 + trial));
        readings.Add("P" + std::to_string(part), "O" + std::to_string(by),
                     10.0 + 0.3 * part + 0.05 * by + 0.1 * scatter);
      }
    }
  }
  return readings;
}

// Processor seconds of one call: the least mean of `calls` in a row.
template <class Job>
double Seconds(int rounds, int calls, Job job) {
  std::vector<double> seconds;
  for (int round = 0; round < rounds; ++round) {
    const auto start = std::clock();
    for (int call = 0; call < calls; ++call) job();
    seconds.push_back(static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC / calls);
  }
  return bench::Least(seconds);
}

int Mismatch(const char* what) {
  std::printf("MISMATCH %s\n", what);
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  const auto options = bench::ParseOptions(
      argc, argv, "laws, a gauge study, run lengths; --other is the command of R, Rscript");

  const auto values = Values();
  studies::LawOptions all;
  all.laws = studies::LikelihoodLaws();
  all.simulates = false;
  studies::LawsStudy laws;
  const double ours = Seconds(options.rounds, 1, [&] { laws = studies::StudyLaws(values, all); });
  if (laws.laws[laws.chosen].law != studies::Law::Weibull3) return Mismatch("chosen law");
  std::printf("%-34s %.3f s of processor time", "fourteen laws", ours);
  if (!options.other.empty()) {
    const auto path = (options.dir / "laws.txt").string();
    const auto printed = (options.dir / "laws.out").string();
    std::filesystem::create_directories(options.dir);
    {
      std::ofstream file(path);
      file.precision(17);
      for (const double value : values) file << value << '\n';
    }
    bench::RunChild({options.other, "bench/laws.R", path}, printed);
    double seconds = 0.0;
    int fitted = 0;
    std::ifstream answer(printed);
    if (!(answer >> seconds >> fitted)) return Mismatch("what R printed");
    std::printf("   R %.2f s for %d of them   times %.1f", seconds, fitted, seconds / ours);
  }
  std::printf("\n");

  const auto readings = Readings();
  studies::GageStudy gage;
  const double study =
      Seconds(options.rounds, 100, [&] { gage = studies::StudyGage(readings, {}); });
  std::printf("%-34s %.1f us of processor time\n", "crossed study of 10 x 3 x 3", 1e6 * study);

  studies::ShewhartRunOptions classic;
  classic.rules = studies::RulesOfSet("classic");
  const double shift = 0.0;
  studies::RunLengthStudy runs;
  const double chain = Seconds(options.rounds, 10, [&] {
    runs = studies::StudyShewhartRuns({&shift, 1}, classic);
  });
  if (!(std::abs(runs.arl[0] - 91.75) < 0.005)) return Mismatch("run length");
  std::printf("%-34s %.2f ms of processor time, %zu states\n", "run length of four rules",
              1e3 * chain, runs.states);
  return 0;
}
