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
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <random>
#include <string>
#include <vector>

#include "bench/options.h"
#include "bench/plain_program.h"
#include "bench/rounds.h"
#include "chart/CCAnalysis.h"
#include "engine/Embedded.h"
#include "engine/import/Import.h"

namespace {

namespace fs = std::filesystem;
using bench::Pair;

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
    const std::chrono::sys_seconds time{std::chrono::seconds{1'600'000'000 + i * 60}};
    const auto day = std::chrono::floor<std::chrono::days>(time);
    const std::chrono::year_month_day date{day};
    const std::chrono::hh_mm_ss clock{time - day};
    char head[96];
    std::snprintf(head, sizeof head, "P%d,R1,T%d,%lld,%04d-%02u-%02uT%02d:%02d:%02d,",
                  static_cast<int>(stream / tests) + 1, static_cast<int>(stream % tests) + 1,
                  static_cast<long long>(i + 1), static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  static_cast<int>(clock.hours().count()),
                  static_cast<int>(clock.minutes().count()),
                  static_cast<int>(clock.seconds().count()));
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

void ImportProduct(const fs::path& csv, const fs::path& db) {
  const auto database = orvspc::OpenDatabase(db.string(), true);
  orvspc::engine::import::ImportCsv(csv.string(), *database, orvspc::ImportKind::Values, {});
}

std::shared_ptr<orvspc::CCResults> ProductChart(
    const std::shared_ptr<orvspc::EmbeddedDatabase>& database, int part, int test,
    std::int32_t most) {
  const auto select = std::make_shared<orvspc::DataSelect>();
  select->MaximumItems(most);
  select->Descriptors()->Add(orvspc::dtPart)->AddItemID(part);
  select->Descriptors()->Add(orvspc::dtTest)->AddItemID(test);
  const auto processing = std::make_shared<orvspc::CCProcessing>();
  processing->Graph1Type(orvspc::ccGraph1XBar);
  processing->Graph2Type(orvspc::ccGraph2Range);
  return orvspc::CCAnalysis().AnalyzeDataSelect(database, select, processing);
}

struct Figures {
  double mean, ucl;
  std::int32_t points, beyond;
};

Figures Read(orvspc::CCResults& results) {
  const auto graph = results.Graphs(orvspc::ccGraphType1)->GraphData();
  const auto marks = graph->GetcOOCs();
  Figures figures{results.MeanEstimate(), graph->cUCL(), graph->Count(), 0};
  for (const auto mark : *marks) figures.beyond += (mark & 2) != 0;  // rule 1
  return figures;
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
    return Read(*results);
  };
  if (!options.once.empty()) {
    if (options.once == "plain") std::printf("%.12g\n", plain_chart().mean);
    if (options.once == "product") std::printf("%.12g\n", product_chart().mean);
    return 0;
  }

  if (!fs::exists(csv)) WriteCsv(csv, options.subgroups, 1, 1);
  Pair importing;
  bench::RemoveDatabase(plain_db);
  bench::RemoveDatabase(product_db);
  importing.Round([&] { bench::plain::Import(csv.string(), plain_db.string()); },
                  [&] { ImportProduct(csv, product_db); });
  importing.Print("import");
  std::printf("%-34s %.0f subgroups/s\n", "import rate",
              static_cast<double>(options.subgroups) / importing.product.back() * 1000.0);

  Compare(plain_chart(), product_chart());
  Pair chart;
  for (int i = 0; i < options.rounds; ++i) chart.Round(plain_chart, product_chart);
  chart.Print("one mean-and-range chart");

  if (!fs::exists(dash_csv)) WriteCsv(dash_csv, std::int64_t{kParts} * kTests * 25, kParts, kTests);
  bench::RemoveDatabase(dash_plain);
  bench::RemoveDatabase(dash_product);
  bench::plain::Import(dash_csv.string(), dash_plain.string());
  ImportProduct(dash_csv, dash_product);
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
