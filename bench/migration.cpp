// SPDX-License-Identifier: Apache-2.0
// A file of schema 2 is brought forward, beside the import of the same values from CSV:
//   bench_migration [--subgroups N] [--rounds N] [--dir DIR]
// over the files that bench_charts leaves. Both end in a database of the same digest, else
// MISMATCH.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "bench/options.h"
#include "bench/plain_program.h"
#include "bench/product_program.h"
#include "bench/rounds.h"
#include "engine/Embedded.h"
#include "engine/schema/schema.h"
#include "engine/store/SqlStore.h"
#include "engine/store/digest.h"
#include "engine/store/record_of_v2.h"
#include "platform/Enumerations.h"

namespace {

namespace fs = std::filesystem;
namespace schema = orvspc::engine::schema;
namespace store = orvspc::engine::store;
using bench::plain::Statement;

// What an import of the CSV file made when schema 2 was the newest, from the values of the plain
// program's database.
void WriteVersion2(const std::string& path, const std::string& plain_path) {
  const bench::plain::Database db(path);
  db.Run("PRAGMA journal_mode=WAL; BEGIN");
  for (const auto& version : schema::Versions().first(2)) db.Run(std::string(version.text).c_str());
  const auto mark =
      "PRAGMA application_id=" + std::to_string(schema::kApplicationId) + "; PRAGMA user_version=2";
  db.Run(mark.c_str());
  const auto type = "UPDATE test SET type = " + std::to_string(orvspc::ttVariable);
  db.Run(
      "INSERT INTO part(id, name) VALUES(1, 'P1'); INSERT INTO process(id, name) VALUES(1, "
      "'R1'); INSERT INTO test(id, name) VALUES(1, 'T1'); INSERT INTO stream VALUES(1, 1, 1, 1)");
  db.Run(type.c_str());
  {
    const Statement subgroup(
        db, "INSERT INTO subgroup(id, part, process, label, time) VALUES(?1, 1, 1, ?2, ?3)");
    const Statement measurement(
        db, "INSERT INTO measurement(stream, time, subgroup, packed) VALUES(1, ?1, ?2, ?3)");
    const bench::plain::Database plain(plain_path);
    const Statement values(plain, "SELECT sgid, val FROM value ORDER BY sgid, tsno");
    std::vector<store::TestRow> rows;
    std::vector<std::byte> packed;
    for (bool more = values.Step(); more;) {
      const auto id = static_cast<std::int32_t>(values.Double(0));
      rows.clear();
      for (; more && static_cast<std::int32_t>(values.Double(0)) == id; more = values.Step()) {
        rows.push_back({values.Double(1), store::PlainKey(rows.size())});
      }
      const auto time = static_cast<std::int32_t>(bench::ChartTime(id - 1));
      const auto label = std::to_string(id);
      subgroup.Bind(1, std::int64_t{id});
      subgroup.Bind(2, std::string_view(label));
      subgroup.Bind(3, std::int64_t{time});
      subgroup.Step();
      subgroup.Reset();
      store::Pack({time, id, static_cast<double>(rows.size()), 0}, rows, packed);
      measurement.Bind(1, std::int64_t{time});
      measurement.Bind(2, std::int64_t{id});
      measurement.Bind(3, std::span<const std::byte>(packed));
      measurement.Step();
      measurement.Reset();
    }
  }
  db.Run("COMMIT");
}

store::DatabaseDigest DigestOf(const std::string& path) {
  const auto database = orvspc::OpenDatabase(path);
  store::DatabaseDigest digest;
  store::SqlStoreOf(*database)->ReadOrThrow(
      [&](orvspc::engine::sql::Connection& db) { digest = store::DigestOf(db); });
  return digest;
}

}  // namespace

int main(int argc, char** argv) {
  const auto options =
      bench::ParseOptions(argc, argv,
                          "a file of schema 2 is brought forward, against the import of the same\n"
                          "values, over the files that bench_charts leaves");
  const auto tag = std::to_string(options.subgroups);
  const auto csv = (options.dir / ("chart_" + tag + ".csv")).string();
  const auto plain = (options.dir / ("plain_" + tag + ".db")).string();
  const auto old = (options.dir / ("version2_" + tag + ".db")).string();
  const auto imported = (options.dir / "migration_imported.db").string();
  const auto migrated = (options.dir / "migration.db").string();
  if (!fs::exists(csv) || !fs::exists(plain)) {
    std::printf("Run bench_charts first: it makes the files in %s.\n", options.dir.c_str());
    return 1;
  }
  orvspc::InstallEmbedded();
  if (!fs::exists(old)) WriteVersion2(old, plain);

  bench::Pair pair;
  for (int i = 0; i < options.rounds; ++i) {
    bench::RemoveDatabase(imported);
    bench::RemoveDatabase(migrated);
    fs::remove(migrated + ".v2");
    fs::copy_file(old, migrated);
    pair.Round([&] { bench::ImportProduct(csv, imported); },
               [&] { orvspc::OpenDatabase(migrated, true); });
  }
  pair.Print("migration", "import", "migration");
  if (DigestOf(imported) != DigestOf(migrated)) {
    std::printf("MISMATCH the two databases differ\n");
    return 1;
  }
  for (const auto& path : {imported, migrated}) bench::RemoveDatabase(path);
  fs::remove(migrated + ".v2");
  return 0;
}
