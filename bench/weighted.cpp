// SPDX-License-Identifier: Apache-2.0
// EWMA and cusum of a long series, from the database to the signals, beside numpy and scipy:
//   bench_weighted [--subgroups N] [--rounds N] [--dir DIR]
// Both read the same values, ours from chunks, bench/weighted.py from one row a value, and take
// turns; the ratio is that of the least processor times. Theirs leaves out what python3 and its
// modules take to start.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "bench/child.h"
#include "bench/options.h"
#include "bench/plain_program.h"
#include "bench/product_program.h"
#include "bench/rounds.h"
#include "engine/Studies.h"
#include "platform/TimeText.h"
#include "select/DataSelect.h"

namespace {

namespace fs = std::filesystem;
namespace studies = orvspc::studies;

constexpr double kMean = 25.0, kSigma = 0.02;

void WriteCsv(const fs::path& path, std::int64_t subgroups) {
  std::ofstream out(path);
  out << "part,process,test,subgroup,time,value\n";
  std::mt19937_64 random(20260101);
  std::normal_distribution<double> noise(kMean, kSigma);
  for (std::int64_t i = 0; i < subgroups; ++i) {
    char value[24];
    std::snprintf(value, sizeof value, ",%.4f\n", noise(random));
    out << "P1,R1,T1," << i + 1 << ',' << orvspc::platform::IsoText(bench::ChartTime(i)) << value;
  }
}

struct Answer {
  double processor = 0.0, last = 0.0;
  std::int64_t signals = 0;
};

// The whole stream; EWMA or cusum with the parameters that weighted.py has.
Answer Ours(const std::string& path, bool ewma) {
  const auto start = std::clock();
  const auto database = orvspc::OpenDatabase(path, false);
  orvspc::DataSelect select;
  select.MaximumItems(std::numeric_limits<std::int32_t>::max());
  orvspc::API_DSInfo info{};
  orvspc::Array<std::int32_t> filter;
  select.API_GetData(info, filter);
  const auto data = studies::ReadStudyData(*database, info, filter.Elements());
  const auto& stretch = data.streams.at(0).stretches.at(0);
  Answer answer;
  // As weighted.py, which leaves the rest at the same defaults.
  const auto take = [&](const auto& study, const std::vector<double>& points) {
    answer.last = points.back();
    answer.signals = std::ranges::count_if(study.signals, [](auto on) { return on != 0; });
  };
  const auto about = [](auto options) {
    options.target = kMean;
    options.sigma = kSigma;
    return options;
  };
  if (ewma) {
    const auto study = studies::StudyEwma(stretch, about(studies::EwmaOptions{}));
    take(study, study.z);
  } else {
    const auto study = studies::StudyCusum(stretch, about(studies::CusumOptions{}));
    take(study, study.upper);
  }
  answer.processor = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
  return answer;
}

Answer Theirs(const std::string& path, const std::string& printed, const char* word) {
  bench::RunChild({"/usr/bin/python3", "bench/weighted.py", path, word}, printed);
  Answer answer;
  std::ifstream(printed) >> answer.processor >> answer.last >> answer.signals;
  return answer;
}

}  // namespace

int main(int argc, char** argv) {
  const auto options =
      bench::ParseOptions(argc, argv, "EWMA and cusum of a long series, beside numpy and scipy");
  fs::create_directories(options.dir);
  const auto csv = options.dir / "weighted.csv";
  const auto product = (options.dir / "weighted.db").string();
  const auto plain = (options.dir / "weighted_plain.db").string();
  const auto printed = (options.dir / "weighted.out").string();
  WriteCsv(csv, options.subgroups);
  for (const auto& path : {product, plain}) bench::RemoveDatabase(path);
  bench::ImportProduct(csv.string(), product);
  bench::plain::Import(csv.string(), plain);

  for (const bool ewma : {true, false}) {
    const char* const word = ewma ? "ewma" : "cusum";
    std::vector<double> ours, theirs;
    for (int round = 0; round < options.rounds; ++round) {
      const auto our = Ours(product, ewma);
      const auto their = Theirs(plain, printed, word);
      ours.push_back(our.processor);
      theirs.push_back(their.processor);
      if (!(std::abs(our.last - their.last) <= 1e-9) || our.signals != their.signals) {
        std::printf("MISMATCH %s: %.17g and %lld signals, %.17g and %lld\n", word, our.last,
                    static_cast<long long>(our.signals), their.last,
                    static_cast<long long>(their.signals));
        return 1;
      }
    }
    std::printf("%-34s orvspc %.3f s   numpy %.3f s   processor %.3f\n", word, bench::Least(ours),
                bench::Least(theirs), bench::Least(ours) / bench::Least(theirs));
  }
  return 0;
}
