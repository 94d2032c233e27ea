// SPDX-License-Identifier: Apache-2.0
// Subgroups of five as a gauge records them: one at a time by one caller and by 16, and in batches
// of 10,000:
//   bench_record [--subgroups N] [--rounds N] [--dir DIR]
// Beside them the flush of the device, which is 4096 bytes after the end of a file of the same
// folder and fdatasync; the same over bytes that are there is printed, too. All take turns; rates
// are medians of the rounds, and of the batches the least processor time counts. With the long
// series that bench_series leaves, single records are also stored after ten million others.
#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "bench/flush.h"
#include "bench/options.h"
#include "bench/rounds.h"
#include "bench/series.h"
#include "engine/Embedded.h"
#include "engine/QualityDatabase.h"

namespace {

namespace fs = std::filesystem;
using orvspc::NewNames;
using orvspc::NewRecord;
using orvspc::QualityDatabase;

constexpr int kCallers = 16;
constexpr std::size_t kBatch = 10'000;

class Recording {
 public:
  explicit Recording(QualityDatabase database, std::int64_t first_time)
      : database_(std::move(database)), time_(first_time) {}

  NewRecord Next(const std::string& part, const std::string& process, const std::string& test,
                 std::size_t pieces) {
    NewRecord record;
    record.part = part;
    record.process = process;
    record.test = test;
    const auto time = time_ += 60;
    record.time = time;
    record.context = {{"lot", "L" + std::to_string(time / 60'000)}, {"shift", "early"}};
    for (std::size_t i = 0; i < pieces; ++i) {
      record.pieces.push_back(
          {25.0 + static_cast<double>((time / 60 + static_cast<std::int64_t>(i) * 7) % 97) / 100, 0,
           0, "", "", ""});
    }
    return record;
  }
  void One(int keyed) {
    auto record = Next("Ring", "Press A", "Diameter", 5);
    record.key = "k" + std::to_string(keyed);
    database_.Record(record, {"Ann", "gauge 7"}, NewNames::Create);
    ++stored_;
  }
  void OneOf(int caller) {
    auto record = Next("Ring", "Press " + std::to_string(caller), "Diameter", 5);
    record.key = "c" + std::to_string(record.time);
    database_.Record(record, {"Ann", "gauge 7"}, NewNames::Create);
    ++stored_;
  }
  void OneOfSeries() {
    database_.Record(Next("P1", "R1", "T1", 1), {"Ann", "gauge 7"}, NewNames::Create);
    ++stored_;
  }
  // Adding and storing.
  void Batch() {
    orvspc::BatchOptions options;
    options.names = NewNames::Create;
    auto batch = database_.Begin({"Ann", "gauge 7"}, options);
    for (std::size_t i = 0; i < kBatch; ++i) batch.Add(Next("Ring", "Press B", "Diameter", 5));
    stored_ += batch.Commit().records.size();
  }
  // Of all streams.
  std::size_t Stored() const { return stored_; }
  std::size_t Subgroups() const {
    std::size_t count = 0;
    for (const auto& each : database_.Streams()) count += static_cast<std::size_t>(each.subgroups);
    return count;
  }

 private:
  QualityDatabase database_;
  std::atomic<std::int64_t> time_;
  std::atomic<std::size_t> stored_ = 0;
};

// How many a second.
template <class Job>
double Rate(int count, const Job& job) {
  return count / bench::Milliseconds(job) * 1000.0;
}

// Of this thread, which serves itself where nobody else calls.
double ProcessorMilliseconds() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

double Percentile99(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() * 99 / 100];
}

}  // namespace

int main(int argc, char** argv) {
  const auto options = bench::ParseOptions(
      argc, argv, "subgroups as a gauge records them, beside the flush of the device");
  orvspc::InstallEmbedded();
  fs::create_directories(options.dir);
  const auto path = (options.dir / "record").string();
  bench::RemoveDatabase(path + ".db");
  const bench::FlushedFile file(path + ".flushed");
  Recording recording(QualityDatabase::Create(path + ".db"), 1'600'000'000);

  constexpr int kFlushes = 100, kOnes = 100, kOfEach = 40;
  std::vector<double> flush_rates, in_place, single, shared, two_flushes, ones, batch_seconds;
  std::vector<double> one_seconds;
  std::vector<double> share_of_flushes, share_of_callers;
  int key = 0;
  for (int round = 0; round < options.rounds; ++round) {
    const auto flushes = Rate(kFlushes, [&] {
      for (int i = 0; i < kFlushes / 2; ++i) {
        two_flushes.push_back(bench::Milliseconds([&] {
          file.Append();
          file.Append();
        }));
      }
    });
    in_place.push_back(Rate(kFlushes, [&] {
      for (int i = 0; i < kFlushes; ++i) file.Overwrite();
    }));
    const auto one_begin = std::clock();
    const auto alone = Rate(kOnes, [&] {
      for (int i = 0; i < kOnes; ++i) {
        ones.push_back(bench::Milliseconds([&] { recording.One(++key); }));
      }
    });
    one_seconds.push_back(static_cast<double>(std::clock() - one_begin) / CLOCKS_PER_SEC / kOnes);
    const auto together = Rate(kCallers * kOfEach, [&] {
      std::vector<std::thread> callers;
      for (int caller = 0; caller < kCallers; ++caller) {
        callers.emplace_back([&, caller] {
          for (int i = 0; i < kOfEach; ++i) recording.OneOf(caller);
        });
      }
      for (auto& caller : callers) caller.join();
    });
    flush_rates.push_back(flushes);
    single.push_back(alone);
    shared.push_back(together);
    share_of_flushes.push_back(alone / flushes);
    constexpr double kEnough = 12'000;
    share_of_callers.push_back(together / std::min(5 * flushes, kEnough));
    const auto begin = std::clock();
    recording.Batch();
    batch_seconds.push_back(static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC);
  }
  if (recording.Subgroups() != recording.Stored()) {
    std::printf("MISMATCH not every subgroup is there\n");
    return 1;
  }
  std::printf(
      "%-34s %.0f a second   flushes %.0f a second   of the flushes %.3f   in place %.0f a second  "
      " "
      "processor %.1f us\n",
      "one caller", bench::Median(single), bench::Median(flush_rates),
      bench::Median(share_of_flushes), bench::Median(in_place), 1e6 * bench::Least(one_seconds));
  std::printf("%-34s %.3f ms   beyond two flushes %.3f ms\n", "one caller, 99 of 100",
              Percentile99(ones), Percentile99(ones) - Percentile99(two_flushes));
  std::printf("%-34s %.0f a second   of what is asked %.3f\n", "16 callers", bench::Median(shared),
              bench::Median(share_of_callers));
  std::printf("%-34s %.0f subgroups a processor second\n", "batches of 10000",
              static_cast<double>(kBatch) / bench::Least(batch_seconds));

  const auto series = bench::SeriesPath(options) + ".db";
  if (!fs::exists(series)) {
    std::printf("not measured: after many; run bench_series first, it makes %s\n", series.c_str());
    return 0;
  }
  bench::RemoveDatabase(path + "_many.db");
  fs::copy_file(series, path + "_many.db");
  const auto first = bench::SeriesTime(bench::SeriesCount(options) + 1);
  Recording many(QualityDatabase::Open(path + "_many.db"), first);
  bench::RemoveDatabase(path + "_few.db");
  Recording few(QualityDatabase::Create(path + "_few.db"), first);
  struct Calls {
    std::vector<double> times, processor;
    void Take(Recording& recording) {
      const auto before = ProcessorMilliseconds();
      times.push_back(bench::Milliseconds([&] { recording.OneOfSeries(); }));
      processor.push_back(ProcessorMilliseconds() - before);
    }
  } to_many, to_few;
  many.OneOfSeries();
  few.OneOfSeries();
  for (int i = 0; i < 40 * options.rounds; ++i) {
    to_few.Take(few);
    to_many.Take(many);
  }
  std::printf("%-34s %.3f ms   ratio %.3f   of 99 of 100 %.3f   of their processor time %.3f\n",
              "one caller after many", bench::Median(to_many.times),
              bench::Median(to_many.times) / bench::Median(to_few.times),
              Percentile99(to_many.times) / Percentile99(to_few.times),
              Percentile99(to_many.processor) / Percentile99(to_few.processor));
  return 0;
}
