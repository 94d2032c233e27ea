// SPDX-License-Identifier: Apache-2.0
// The check of the log:
//   bench_log [--subgroups N] [--rounds N] [--dir DIR]
// over the quality database of bench_charts: entries a second of processor time in a chain of
// 300,000, and the processor time of a check of all values against the log.
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

#include "bench/options.h"
#include "bench/rounds.h"
#include "engine/QualityDatabase.h"
#include "engine/store/SqlStore.h"

namespace {

namespace fs = std::filesystem;
using orvspc::QualityDatabase;

constexpr int kEntries = 300'000;

// Entries as corrections of single values make them.
void WriteEntries(const std::string& path) {
  QualityDatabase::Create(path, [](const QualityDatabase& database) {
    orvspc::engine::store::SqlStoreOf(*database.Database())
        ->Write({"Ann", "gauge 7"}, "typed wrongly", [](orvspc::engine::log::Writing& writing) {
          const std::string before =
              R"({"part":"Ring","process":"Press A","test":"Diameter","label":"17",)"
              R"("time":"2026-03-11T06:00:00Z","pieces":[{"value":74.03},{"value":74.002}]})";
          for (int i = 1; i < kEntries; ++i) {
            writing.Add("edit-value", "subgroup " + std::to_string(i) + " test 3", before,
                        R"({"tsno":2,"value":74.012})");
          }
        });
  });
}

// The least processor seconds of some rounds.
double SecondsOf(int rounds, const std::string& path, const orvspc::LogCheckOptions& options) {
  std::vector<double> seconds;
  for (int i = 0; i < rounds; ++i) {
    const auto database = QualityDatabase::Open(path);
    const auto start = std::clock();
    const auto check = database.VerifyLog(options);
    seconds.push_back(static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC);
    for (const auto& find : check.finds) std::printf("MISMATCH %s\n", find.c_str());
  }
  return bench::Least(seconds);
}

}  // namespace

int main(int argc, char** argv) {
  const bench::Options options = bench::ParseOptions(
      argc, argv, "the check of a long log, and of all values against their log");
  fs::create_directories(options.dir);
  orvspc::InstallEmbedded();
  const auto chain = options.dir / "log.db";
  bench::RemoveDatabase(chain);
  WriteEntries(chain.string());
  std::printf("%-34s %.0f entries/s\n", "chain",
              kEntries / SecondsOf(options.rounds, chain.string(), {}));
  const auto data = options.dir / ("product_" + std::to_string(options.subgroups) + ".db");
  if (!fs::exists(data)) return 0;
  std::printf("%-34s %.2f s of processor time\n", "values against the log",
              SecondsOf(options.rounds, data.string(), {.with_data = true, .anchors = {}}));
  return 0;
}
