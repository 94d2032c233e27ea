// SPDX-License-Identifier: Apache-2.0
// Capability of one large stream beside the hand-written program over a plain schema, from the file
// to the finished figures:
// over the databases that bench_charts leaves in its folder:
//   bench_capability [--subgroups N] [--rounds N] [--dir DIR] [--keep-memory 1]
// prints the median ratio, and MISMATCH where the two disagree.
//   bench_capability --once plain|product|empty --dir DIR    one job, for peak memory from outside
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "bench/options.h"
#include "bench/plain_capability.h"
#include "bench/rounds.h"
#include "capability/CAAnalysis.h"
#include "engine/Embedded.h"

namespace {

namespace fs = std::filesystem;

constexpr double kD2Of5 = 2.325928947281;
constexpr double kLsl = 24.9;
constexpr double kUsl = 25.1;

struct Figures {
  std::int32_t count = 0;
  double mean = 0.0, cp = 0.0, cpk = 0.0, pp = 0.0, ppk = 0.0;
};

Figures ProductCapability(const fs::path& path) {
  const auto database = orvspc::OpenDatabase(path.string());
  const auto select = std::make_shared<orvspc::DataSelect>();
  select->MaximumItems(100'000'000);
  select->Descriptors()->Add(orvspc::dtPart)->AddItemID(1);
  select->Descriptors()->Add(orvspc::dtTest)->AddItemID(1);
  const auto processing = std::make_shared<orvspc::CAProcessing>();
  processing->BinCount(24);
  processing->AllowOverride(true);
  processing->OverrideUSL(kUsl);
  processing->OverrideLSL(kLsl);
  processing->OverrideTarget(1.7e308);
  const auto results = orvspc::CAAnalysis().AnalyzeDataSelect(database, select, processing);
  const auto statistics = results->Statistics();
  Figures figures;
  statistics->GetPieceCount(figures.count);
  statistics->GetMeanValue(figures.mean);
  statistics->GetCp(figures.cp);
  statistics->GetCpk(figures.cpk);
  statistics->GetPp(figures.pp);
  statistics->GetPpk(figures.ppk);
  database->TakeReport();
  return figures;
}

void Compare(const bench::plain::Capability& plain, const Figures& product) {
  const auto close = [](double a, double b) { return std::fabs(a - b) <= 1e-9 * std::fabs(a); };
  if (plain.count == static_cast<std::size_t>(product.count) && close(plain.mean, product.mean) &&
      close(plain.cp, product.cp) && close(plain.cpk, product.cpk) && close(plain.pp, product.pp) &&
      close(plain.ppk, product.ppk)) {
    return;
  }
  std::printf("MISMATCH plain %zu %.12g %.12g %.12g product %d %.12g %.12g %.12g\n", plain.count,
              plain.mean, plain.cp, plain.ppk, product.count, product.mean, product.cp,
              product.ppk);
  std::exit(1);
}

}  // namespace

int main(int argc, char** argv) {
  const bench::Options options =
      bench::ParseOptions(argc, argv,
                          "capability of all values against a plain program, over the databases\n"
                          "that bench_charts leaves");
  const std::string tag = std::to_string(options.subgroups);
  const fs::path plain_db = options.dir / ("plain_" + tag + ".db");
  const fs::path product_db = options.dir / ("product_" + tag + ".db");
  orvspc::InstallEmbedded();
  const auto plain = [&] {
    return bench::plain::WholeCapability(bench::plain::Database(plain_db.string()), kD2Of5, kLsl,
                                         kUsl);
  };
  const auto product = [&] { return ProductCapability(product_db); };
  if (!options.once.empty()) {
    if (options.once == "plain") std::printf("%.12g\n", plain().cpk);
    if (options.once == "product") std::printf("%.12g\n", product().cpk);
    return 0;
  }
  if (!fs::exists(plain_db) || !fs::exists(product_db)) {
    std::printf("Run bench_charts first: it makes the databases in %s.\n", options.dir.c_str());
    return 1;
  }

  Compare(plain(), product());
  bench::Pair capability;
  for (int i = 0; i < options.rounds; ++i) capability.Round(plain, product);
  capability.Print("capability");
  return 0;
}
