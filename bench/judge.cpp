// SPDX-License-Identifier: Apache-2.0
// What alarms cost where values arrive:
//   bench_judge [--subgroups N] [--rounds N] [--dir DIR]
// Batches of 10,000 subgroups of five into a stream with limits in force, whose rules all are on;
// and the newest point of that stream, once it has N of them and the alarms that they raised,
// against the newest of 100. Processor time: of all batches, and of the newest point the least of
// the rounds, which take turns.
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <functional>
#include <random>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "bench/options.h"
#include "bench/rounds.h"
#include "engine/Embedded.h"
#include "engine/QualityDatabase.h"
#include "engine/store/SqlStore.h"
#include "engine/write/alarms/Judge.h"

namespace {

namespace fs = std::filesystem;
namespace alarms = orvspc::engine::alarms;
namespace sql = orvspc::engine::sql;
using orvspc::NewNames;
using orvspc::QualityDatabase;
using orvspc::engine::log::Writing;

constexpr std::size_t kBatch = 10'000;
constexpr std::int64_t kStart = 1'600'000'000;
const orvspc::Actor kAnn{"Ann", "gauge 7"};

double ProcessorSeconds(const std::function<void()>& job) {
  const auto start = std::clock();
  job();
  return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

// A stream in control, one subgroup a minute.
class Stream {
 public:
  explicit Stream(const fs::path& path) : database_(Made(path.string())) {
    Add(100);
    orvspc::LimitRequest request;
    request.part = request.process = request.test = 1;
    request.force = true;  // one of a hundred may lie beyond a limit
    request.effective = static_cast<std::int32_t>(kStart);
    orvspc::ChangeOptions why;
    why.reason = "the first hundred";
    database_.FreezeLimits(request, {}, why);
    // In use since ever: the values are not those of today.
    Write([](Writing& writing) {
      sql::Query(writing.Db(), "UPDATE control_limit SET state_at = 0").Run();
    });
  }

  void Add(std::size_t count) {
    orvspc::BatchOptions options;
    options.names = NewNames::Create;
    auto batch = database_.Begin(kAnn, options);
    for (std::size_t i = 0; i < count; ++i) {
      orvspc::NewRecord record;
      record.part = "Ring";
      record.process = "Press A";
      record.test = "Diameter";
      record.time = time_ += 60;
      for (int piece = 0; piece < 5; ++piece) {
        record.pieces.push_back({noise_(random_), 0, 0, "", "", ""});
      }
      batch.Add(std::move(record));
    }
    batch.Commit();
  }
  std::int64_t Alarms() {
    std::int64_t count = 0;
    Write([&](Writing& writing) {
      count = sql::Query(writing.Db(), "SELECT count(*) FROM alarm").RunForInt().value_or(0);
    });
    return count;
  }
  // Processor seconds of judging the newest point so often, each as a call of its own does.
  double Judge(int times) {
    double seconds = 0.0;
    Write([&](Writing& writing) {
      sql::Query newest(writing.Db(),
                        "SELECT time, subgroup FROM (SELECT time, subgroup FROM measurement "
                        "UNION ALL SELECT last_time, last_subgroup FROM measurement_chunk) AS ends "
                        "ORDER BY time DESC, subgroup DESC LIMIT 1");
      newest.Step();
      const alarms::Touched touched{
          1, {newest.Int(0), newest.Int(1)}, {newest.Int(0), newest.Int(1)}};
      alarms::Judge(writing, std::span(&touched, 1), known_);
      seconds = ProcessorSeconds([&] {
        for (int i = 0; i < times; ++i) {
          alarms::Judge(writing, std::span(&touched, 1), known_);
        }
      });
    });
    return seconds;
  }

 private:
  static QualityDatabase Made(const std::string& path) {
    bench::RemoveDatabase(path);
    return QualityDatabase::Create(path);
  }
  void Write(const std::function<void(Writing&)>& work) {
    orvspc::engine::store::SqlStoreOf(*database_.Database())->Write(kAnn, "bench", work);
  }

  QualityDatabase database_;
  alarms::ChartRows known_;
  std::int64_t time_ = kStart;
  std::mt19937_64 random_{20240917};
  std::normal_distribution<double> noise_{25.0, 0.0223606797749979};
};

}  // namespace

int main(int argc, char** argv) {
  const auto options = bench::ParseOptions(
      argc, argv, "batches that are judged, and the newest point of a long history");
  orvspc::InstallEmbedded();
  fs::create_directories(options.dir);
  Stream few(options.dir / "judge_few.db"), many(options.dir / "judge_many.db");
  double seconds = 0.0;
  std::int64_t stored = 100;
  for (; stored < options.subgroups; stored += kBatch) {
    seconds += ProcessorSeconds([&] { many.Add(kBatch); });
  }
  std::printf("%-34s %.0f subgroups a processor second   alarms %lld\n", "batches of 10000",
              static_cast<double>(stored - 100) / seconds, static_cast<long long>(many.Alarms()));

  constexpr int kTimes = 500;
  std::vector<double> of_few, of_many;
  for (int round = 0; round < options.rounds; ++round) {
    of_few.push_back(few.Judge(kTimes));
    of_many.push_back(many.Judge(kTimes));
  }
  std::printf("%-34s %.1f us   after 100 %.1f us   ratio %.3f\n", "newest point",
              bench::Least(of_many) / kTimes * 1e6, bench::Least(of_few) / kTimes * 1e6,
              bench::Least(of_many) / bench::Least(of_few));
  return 0;
}
