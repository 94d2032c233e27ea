// SPDX-License-Identifier: Apache-2.0
// A long series of single values, as the program has it from the file to the picture:
//   bench_series [--subgroups N] [--dir DIR]
// makes a CSV file of one value a subgroup, then runs orvspc twice: the import, and the picture of
// individuals and moving ranges of all. Prints processor time, size of the database and of the
// picture, and the memory that drawing took. The database is left for bench_append.
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include "bench/child.h"
#include "bench/options.h"
#include "bench/rounds.h"
#include "bench/series.h"
#include "platform/TimeText.h"

namespace {

namespace fs = std::filesystem;

void WriteCsv(const fs::path& path, std::int64_t subgroups) {
  std::ofstream out(path);
  out << "part,process,test,subgroup,time,value\n";
  std::mt19937_64 random(20240917);
  std::normal_distribution<double> noise(25.0, 0.02);
  for (std::int64_t i = 1; i <= subgroups; ++i) {
    char value[24];
    std::snprintf(value, sizeof value, ",%.4f\n", noise(random));
    out << "P1,R1,T1," << i << ',' << orvspc::platform::IsoText(bench::SeriesTime(i)) << value;
  }
}

}  // namespace

int main(int argc, char** argv) {
  const auto options =
      bench::ParseOptions(argc, argv,
                          "import of single values by the program, and its picture of individuals\n"
                          "and moving ranges of all; ten times the subgroups, 10000000");
  fs::create_directories(options.dir);
  const auto count = bench::SeriesCount(options);
  const auto base = bench::SeriesPath(options);
  const auto csv = base + ".csv";
  const auto db = base + ".db";
  const auto svg = base + ".svg";
  if (!fs::exists(csv)) WriteCsv(csv, count);
  bench::RemoveDatabase(db);

  const auto import = bench::RunChild({bench::Program(), "import", csv, "--db", db});
  std::printf("%-34s %.2f s of processor time, %.0f MB of memory\n", "import", import.processor,
              import.peak / 1e6);
  std::printf("%-34s %.1f MB\n", "file", static_cast<double>(fs::file_size(db)) / 1e6);
  std::fflush(stdout);
  const auto drawing =
      bench::RunChild({bench::Program(), "chart", "--db", db, "--graph1", "individuals", "--graph2",
                       "range", "--max", std::to_string(count), "-o", svg});
  std::printf("%-34s %.2f s of processor time, %.2f GB of memory, %.1f MB\n", "picture",
              drawing.processor, drawing.peak / 1e9, static_cast<double>(fs::file_size(svg)) / 1e6);
  return 0;
}
