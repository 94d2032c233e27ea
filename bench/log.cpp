// SPDX-License-Identifier: Apache-2.0
// The check of the log:
//   bench_log [--subgroups N] [--rounds N] [--dir DIR]
// over the data of bench_charts: entries a second of processor time in a chain of 300,000, the
// processor time of a check of all values against the log, and what the log adds to their import,
// which is the digest of the batch: of the values alone, once they are read.
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "bench/options.h"
#include "bench/product_program.h"
#include "bench/rounds.h"
#include "engine/QualityDatabase.h"
#include "engine/chunks/StreamWalk.h"
#include "engine/chunks/subgroups.h"
#include "engine/store/SqlStore.h"
#include "engine/store/batch_digest.h"

namespace {

namespace fs = std::filesystem;
namespace store = orvspc::engine::store;
namespace sql = orvspc::engine::sql;
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

double ProcessorSeconds(const std::function<void()>& job) {
  const auto start = std::clock();
  job();
  return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

// What an import hands to the digest of its batch.
struct Values {
  struct Stream {
    std::int64_t id = 0;
    std::vector<std::vector<double>> values;
    std::vector<std::vector<store::RowKey>> keys;
    std::vector<store::Measurement> records;
    std::vector<std::string_view> labels;
  };
  std::unordered_map<std::int32_t, std::string> labels;
  std::vector<Stream> streams;
};

Values ReadValues(sql::Connection& db) {
  Values all;
  store::ForEachSubgroup(db, 1, INT32_MAX, [&](const store::SubgroupFacts& each) {
    all.labels.emplace(each.id, each.label);
  });
  for (sql::Query streams(db, "SELECT id FROM stream ORDER BY id"); streams.Step();) {
    auto& stream = all.streams.emplace_back();
    stream.id = streams.Int64(0);
    store::ForEachRecord(db, stream.id, [&](const store::RecordView& record) {
      auto& values = stream.values.emplace_back();
      stream.records.push_back(record.Copy(values, stream.keys.emplace_back()));
      stream.labels.push_back(all.labels.at(record.Subgroup()));
    });
  }
  return all;
}

// The digest of the batch that a database holds, and the processor seconds that it takes.
std::pair<std::string, double> DigestOf(const std::string& path) {
  const auto database = orvspc::OpenDatabase(path);
  std::pair<std::string, double> digest;
  store::SqlStoreOf(*database)->ReadOrThrow([&](sql::Connection& db) {
    const auto all = ReadValues(db);
    digest.second = ProcessorSeconds([&] {
      store::BatchDigest batch(db);
      for (const auto& stream : all.streams) batch.Add(stream.id, stream.records, stream.labels);
      digest.first = batch.Finish(1);
    });
    std::string stored;
    sql::Query query(db, "SELECT digest FROM batch WHERE id = 1");
    if (query.Step()) stored = query.Text(0);
    if (stored != digest.first) std::printf("MISMATCH the digest is another one\n");
  });
  return digest;
}

// The least processor seconds of some rounds.
double SecondsOf(int rounds, const std::string& path, const orvspc::LogCheckOptions& options) {
  std::vector<double> seconds;
  for (int i = 0; i < rounds; ++i) {
    const auto database = QualityDatabase::Open(path);
    orvspc::LogCheck check;
    seconds.push_back(ProcessorSeconds([&] { check = database.VerifyLog(options); }));
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
  const auto csv = options.dir / ("chart_" + std::to_string(options.subgroups) + ".csv");
  if (!fs::exists(csv)) return 0;
  const auto imported = (options.dir / "log_import.db").string();
  std::vector<double> imports, digests;
  for (int i = 0; i < options.rounds; ++i) {
    bench::RemoveDatabase(imported);
    imports.push_back(ProcessorSeconds([&] { bench::ImportProduct(csv.string(), imported); }));
    digests.push_back(DigestOf(imported).second);
  }
  const auto with = bench::Least(imports), digest = bench::Least(digests);
  std::printf("%-34s %.3f s of processor time   without its digest %.3f s   with it %.3f\n",
              "import", with, with - digest, with / (with - digest));
  return 0;
}
