// SPDX-License-Identifier: Apache-2.0
// One subgroup after the other through the store's writing functions, each committed to the device,
// to a database that has one subgroup and to the long series that bench_series leaves:
//   bench_append [--subgroups N] [--rounds N] [--dir DIR]
// Beside them the flush of the device: 4096 bytes after the end of a file of the same folder and
// fdatasync. All take turns, 20 times a round; medians are printed.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/flush.h"
#include "bench/options.h"
#include "bench/product_program.h"
#include "bench/rounds.h"
#include "bench/series.h"
#include "engine/Embedded.h"
#include "engine/chunks/subgroups.h"
#include "engine/sql/counter.h"
#include "engine/store/SqlStore.h"
#include "engine/write/chunks/StreamWriter.h"
#include "engine/write/chunks/SubgroupWriter.h"

namespace {

namespace fs = std::filesystem;
namespace store = orvspc::engine::store;
namespace sql = orvspc::engine::sql;

class Database {
 public:
  explicit Database(const std::string& path)
      : database_(orvspc::OpenDatabase(path)), store_(store::SqlStoreOf(*database_)) {}

  // One value of the first part, process and test, after all others.
  void Append() {
    store_->Write([](sql::Connection& db) {
      const auto id = sql::LastId(db, "subgroup") + 1;
      const auto label = std::to_string(id);
      const auto time = static_cast<std::int32_t>(bench::SeriesTime(id));
      store::SubgroupFacts subgroup{0, 1, 1, time, label};
      if (store::FindSubgroups(db, std::span(&subgroup, 1))[0] != 0) {
        throw std::runtime_error("it is there already");
      }
      subgroup.id = static_cast<std::int32_t>(sql::TakeIds(db, "subgroup"));
      store::SubgroupWriter subgroups(db);
      subgroups.Add(subgroup);
      subgroups.Flush();
      store::SealSubgroups(db);
      const double value = 25.0;
      store::Measurement measurement;
      measurement.time = time;
      measurement.subgroup = subgroup.id;
      measurement.size = 1.0;
      measurement.values = std::span(&value, 1);
      store::StreamWriter writer(db);
      writer.Write(1, std::span(&measurement, 1));
      writer.Finish();
    });
  }
  std::int64_t Count() {
    std::int64_t count = 0;
    store_->ReadOrThrow([&](sql::Connection& db) { count = sql::LastId(db, "subgroup"); });
    return count;
  }

 private:
  std::shared_ptr<orvspc::EmbeddedDatabase> database_;
  std::shared_ptr<store::SqlStore> store_;
};

}  // namespace

int main(int argc, char** argv) {
  const auto options =
      bench::ParseOptions(argc, argv,
                          "one subgroup after the other, durable, to an empty database and to the\n"
                          "long series that bench_series leaves, beside the flush of the device");
  const auto series = bench::SeriesPath(options) + ".db";
  if (!fs::exists(series)) {
    std::printf("Run bench_series first: it makes %s.\n", series.c_str());
    return 1;
  }
  orvspc::InstallEmbedded();
  const auto path = (options.dir / "append").string();
  bench::RemoveDatabase(path + ".db");
  std::ofstream(path + ".csv") << "part,process,test,subgroup,time,value\nP1,R1,T1,1,"
                                  "2001-09-09T01:47:40,25\n";
  bench::ImportProduct(path + ".csv", path + ".db");

  const bench::FlushedFile file(path + ".flushed");
  Database few(path + ".db"), many(series);
  const auto before = few.Count() + many.Count();
  std::vector<double> two_flushes, to_few, to_many;
  const int count = 20 * options.rounds;
  for (int i = 0; i < count; ++i) {
    two_flushes.push_back(bench::Milliseconds([&] {
      file.Append();
      file.Append();
    }));
    const auto append_to_few = [&] {
      to_few.push_back(bench::Milliseconds([&] { few.Append(); }));
    };
    if (i % 2 == 0) append_to_few();
    to_many.push_back(bench::Milliseconds([&] { many.Append(); }));
    if (i % 2 != 0) append_to_few();
  }
  if (few.Count() + many.Count() != before + 2 * count) {
    std::printf("MISMATCH not every subgroup is there\n");
    return 1;
  }
  const auto flushes = bench::Median(two_flushes), first = bench::Median(to_few),
             later = bench::Median(to_many);
  std::printf("%-34s %.3f ms   two flushes %.3f ms   beyond them %.3f ms\n", "one subgroup", first,
              flushes, first - flushes);
  std::printf("%-34s %.3f ms   ratio %.3f\n", "one subgroup after many", later, later / first);
  return 0;
}
