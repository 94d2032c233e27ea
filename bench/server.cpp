// SPDX-License-Identifier: Apache-2.0
// Charts out of a PostgreSQL database beside the same out of a file:
//   bench_server --other postgresql://... [--subgroups N] [--rounds N] [--dir DIR]
// The database is empty; the file is the one that bench_charts leaves. Prints the ratio for a chart
// of all subgroups, each run opening its database, and the median time of one chart of the newest
// 25 while it is open. MISMATCH where the two disagree.
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "bench/options.h"
#include "bench/product_program.h"
#include "bench/rounds.h"
#include "engine/Embedded.h"
#ifdef ORVSPC_POSTGRESQL
#include "engine/PostgreSQL.h"
#endif

namespace {

bench::Figures Chart(const std::string& path, std::int32_t most) {
  const auto database = orvspc::OpenDatabase(path);
  return bench::Read(*bench::ProductChart(database, 1, 1, most));
}

}  // namespace

int main(int argc, char** argv) {
  const auto options =
      bench::ParseOptions(argc, argv,
                          "charts out of the PostgreSQL database of --other, which is empty, and\n"
                          "out of the file that bench_charts leaves");
  const auto tag = std::to_string(options.subgroups);
  const auto csv = (options.dir / ("chart_" + tag + ".csv")).string();
  const auto file = (options.dir / ("product_" + tag + ".db")).string();
  const auto most = static_cast<std::int32_t>(options.subgroups);
#ifdef ORVSPC_POSTGRESQL
  orvspc::AddPostgreSQL();
#endif
  if (options.other.empty() || !std::filesystem::exists(file)) {
    std::printf("Give --other, and run bench_charts first: it makes %s.\n", file.c_str());
    return 1;
  }
  orvspc::InstallEmbedded();
  std::printf("%-34s %.2f s\n", "import to the server",
              bench::Milliseconds([&] { bench::ImportProduct(csv, options.other); }) / 1000.0);
  std::fflush(stdout);
  bench::Pair pair;
  for (int i = 0; i < options.rounds; ++i) {
    bench::Figures of_file, of_server;
    pair.Round([&] { of_file = Chart(file, most); },
               [&] { of_server = Chart(options.other, most); });
    if (of_file != of_server) {
      std::printf("MISMATCH %.17g of the file, %.17g of the server\n", of_file.mean,
                  of_server.mean);
      return 1;
    }
  }
  pair.Print("chart of all", "file", "server");

  const auto of_file = orvspc::OpenDatabase(file), of_server = orvspc::OpenDatabase(options.other);
  bench::Pair newest;
  for (int i = 0; i < 20 * options.rounds; ++i) {
    newest.Round([&] { bench::Read(*bench::ProductChart(of_file, 1, 1, 25)); },
                 [&] { bench::Read(*bench::ProductChart(of_server, 1, 1, 25)); });
  }
  newest.Print("chart of the newest 25", "file", "server");
  return 0;
}
