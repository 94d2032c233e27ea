// SPDX-License-Identifier: Apache-2.0
// A chart, from the file to the result, beside the hand-written program over a plain schema, in one
// run:
//   bench_charts [--subgroups N] [--rounds N] [--dir DIR]
// makes the data once (CSV, plain database, quality database), then runs the two in turn and prints
// the median ratio for: import, one chart of all subgroups, a thousand charts of the newest 25.
//   bench_charts --keep-memory 1 ...
// keeps freed memory with the process, as in a server that draws one chart after the other: shows
// how much of a large chart is the system clearing fresh pages.
//   bench_charts --once plain|product --dir DIR
// draws one chart, to measure peak memory from outside.
//   bench_charts --reuse 1 ...
// only the chart of all subgroups, over the databases that are there.
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "bench/options.h"
#include "bench/plain_program.h"
#include "bench/product_program.h"
#include "bench/rounds.h"
#include "platform/TimeText.h"

namespace {

namespace fs = std::filesystem;
using bench::Figures;
using bench::ImportProduct;
using bench::Pair;
using bench::ProductChart;

constexpr double kD2Of5 = 2.325928947281;
constexpr int kParts = 100;
constexpr int kTests = 10;

// Subgroups of five; with several streams they are interleaved in time.
void WriteCsv(const fs::path& path, std::int64_t subgroups, int parts, int tests) {
  std::ofstream out(path);
  out << "part,process,test,subgroup,time,value\n";
  std::mt19937_64 random(20240917);
  std::normal_distribution<double> noise(25.0, 0.02);
  std::string text;
  for (std::int64_t i = 0; i < subgroups; ++i) {
    const std::int64_t stream = i % (parts * tests);
    const auto head = "P" + std::to_string(stream / tests + 1) + ",R1,T" +
                      std::to_string(stream % tests + 1) + "," + std::to_string(i + 1) + "," +
                      orvspc::platform::IsoText(bench::ChartTime(i)) + ",";
    text.clear();
    for (int j = 0; j < 5; ++j) {
      char value[24];
      std::snprintf(value, sizeof value, "%.4f\n", noise(random));
      text += head;
      text += value;
    }
    out << text;
  }
}

void Compare(const bench::plain::Chart& plain, const Figures& product) {
  const auto close = [](double a, double b) { return std::fabs(a - b) <= 1e-9 * std::fabs(a); };
  if (plain.points != static_cast<std::size_t>(product.points) ||
      !close(plain.mean, product.mean) || !close(plain.ucl, product.ucl) ||
      plain.broken[0] != static_cast<std::size_t>(product.beyond)) {
    std::printf("MISMATCH plain %zu %.12g %.12g %zu product %d %.12g %.12g %d\n", plain.points,
                plain.mean, plain.ucl, plain.broken[0], product.points, product.mean, product.ucl,
                product.beyond);
    std::exit(1);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const bench::Options options =
      bench::ParseOptions(argc, argv,
                          "import, one chart of all subgroups, 1000 charts of the newest 25,\n"
                          "each against a plain program");
  fs::create_directories(options.dir);
  const std::string tag = std::to_string(options.subgroups);
  const fs::path csv = options.dir / ("chart_" + tag + ".csv");
  const fs::path plain_db = options.dir / ("plain_" + tag + ".db");
  const fs::path product_db = options.dir / ("product_" + tag + ".db");
  const fs::path dash_csv = options.dir / "dash.csv";
  const fs::path dash_plain = options.dir / "dash_plain.db";
  const fs::path dash_product = options.dir / "dash_product.db";
  const auto most = static_cast<std::int32_t>(options.subgroups);
  orvspc::InstallEmbedded();

  const auto plain_chart = [&] {
    return bench::plain::WholeChart(bench::plain::Database(plain_db.string()), kD2Of5);
  };
  const auto product_chart = [&] {
    const auto database = orvspc::OpenDatabase(product_db.string());
    const auto results = ProductChart(database, 1, 1, most);
    return bench::Read(*results);
  };
  if (!options.once.empty()) {
    if (options.once == "plain") std::printf("%.12g\n", plain_chart().mean);
    if (options.once == "product") std::printf("%.12g\n", product_chart().mean);
    return 0;
  }

  if (!options.reuse) {
    if (!fs::exists(csv)) WriteCsv(csv, options.subgroups, 1, 1);
    Pair importing;
    bench::RemoveDatabase(plain_db);
    bench::RemoveDatabase(product_db);
    importing.Round([&] { bench::plain::Import(csv.string(), plain_db.string()); },
                    [&] { ImportProduct(csv.string(), product_db.string()); });
    importing.Print("import");
    std::printf("%-34s %.0f subgroups/s\n", "import rate",
                static_cast<double>(options.subgroups) / importing.product.back() * 1000.0);
    std::printf("%-34s %.1f MB\n", "file", static_cast<double>(fs::file_size(product_db)) / 1e6);
  }

  Compare(plain_chart(), product_chart());
  Pair chart;
  for (int i = 0; i < options.rounds; ++i) chart.Round(plain_chart, product_chart);
  chart.Print("one mean-and-range chart");
  if (options.reuse) return 0;

  if (!fs::exists(dash_csv)) WriteCsv(dash_csv, std::int64_t{kParts} * kTests * 25, kParts, kTests);
  bench::RemoveDatabase(dash_plain);
  bench::RemoveDatabase(dash_product);
  bench::plain::Import(dash_csv.string(), dash_plain.string());
  ImportProduct(dash_csv.string(), dash_product.string());
  double plain_sum = 0.0;
  double product_sum = 0.0;
  const auto plain_dash = [&] {
    plain_sum = bench::plain::Dashboard(bench::plain::Database(dash_plain.string()), kParts, kTests,
                                        kD2Of5);
  };
  const auto product_dash = [&] {
    const auto database = orvspc::OpenDatabase(dash_product.string());
    product_sum = 0.0;
    // Ids count in the order of the file, so the streams stand as they were written.
    for (int part = 1; part <= kParts; ++part) {
      for (int test = 1; test <= kTests; ++test) {
        const auto results = ProductChart(database, part, test, 25);
        results->Graphs(orvspc::ccGraphType1)->GraphData();
        product_sum += results->MeanEstimate();
      }
    }
  };
  plain_dash();
  product_dash();
  if (std::fabs(plain_sum - product_sum) > 1e-9 * std::fabs(plain_sum)) {
    std::printf("MISMATCH dashboard %.12g %.12g\n", plain_sum, product_sum);
    return 1;
  }
  Pair dash;
  for (int i = 0; i < options.rounds; ++i) dash.Round(plain_dash, product_dash);
  dash.Print("1000 charts of the newest 25");
  return 0;
}
