// SPDX-License-Identifier: Apache-2.0
// Import of CSV beside that of a column store, DuckDB, which copies the same file into a table:
//   bench_columns --other FOLDER [--subgroups N] [--rounds N] [--dir DIR]
// The folder has its npm package (tools/fetch_duckdb.sh); the file is the one that bench_charts
// leaves. Ours is all that the program orvspc does, theirs is COPY and CHECKPOINT alone, on one
// thread. Both take turns; the ratio is that of the least processor times.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "bench/child.h"
#include "bench/options.h"
#include "bench/rounds.h"

int main(int argc, char** argv) {
  namespace fs = std::filesystem;
  const auto options = bench::ParseOptions(
      argc, argv,
      "import of the CSV file that bench_charts leaves, against DuckDB's COPY;\n"
      "--other is the folder of its npm package");
  const auto csv = (options.dir / ("chart_" + std::to_string(options.subgroups) + ".csv")).string();
  const auto ours = (options.dir / "columns.db").string();
  const auto theirs = (options.dir / "columns.duckdb").string();
  const auto printed = (options.dir / "columns.txt").string();
  if (!fs::exists(csv)) {
    std::printf("Run bench_charts first: it makes %s.\n", csv.c_str());
    return 1;
  }
  std::vector<double> product, other;
  for (int i = 0; i < options.rounds; ++i) {
    bench::RemoveDatabase(ours);
    for (const char* end : {"", ".wal"}) fs::remove(theirs + end);
    product.push_back(bench::RunChild({bench::Program(), "import", csv, "--db", ours}).processor);
    bench::RunChild({"node", "bench/columns.mjs", options.other, csv, theirs}, printed);
    std::ifstream answer(printed);
    double seconds = 0.0;
    long long rows = 0;
    if (!(answer >> seconds >> rows) || rows != 5 * options.subgroups) {
      std::printf("MISMATCH DuckDB has %lld rows\n", rows);
      return 1;
    }
    other.push_back(seconds);
  }
  std::printf("%-34s orvspc %.2f s   DuckDB %.2f s   processor %.3f\n", "import",
              bench::Least(product), bench::Least(other),
              bench::Least(product) / bench::Least(other));
  return 0;
}
