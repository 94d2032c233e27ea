// SPDX-License-Identifier: Apache-2.0
// A Pareto analysis, from the file to the result, beside the hand-written program over a plain
// schema, in one run:
//   bench_pareto [--subgroups N] [--rounds N] [--dir DIR]
// makes the data once (CSV, plain database, quality database): two defect rows a subgroup, 40
// codes. Then runs in turn, each opening its file: the plain program, which lets SQLite group, and
// the product by defect, by shift and defect, and by week and defect; at last a thousand analyses
// of the newest 25 subgroups.
#include <cmath>
#include <cstdio>
#include <fstream>
#include <map>
#include <random>
#include <string>

#include "bench/options.h"
#include "bench/plain_program.h"
#include "bench/rounds.h"
#include "engine/Embedded.h"
#include "engine/write/import/Import.h"
#include "pareto/PAAnalysis.h"

namespace {

namespace fs = std::filesystem;
using bench::plain::Statement;

constexpr std::int64_t kStart = 1'600'000'000;
constexpr int kCodes = 40;

struct Row {
  int code, count;
};

// A few codes make most of the defects.
class Source {
 public:
  Row Next() {
    const auto share = std::uniform_real_distribution<double>(0.0, 1.0)(random_);
    return {static_cast<int>(share * share * kCodes) + 1,
            std::uniform_int_distribution<int>(1, 3)(random_)};
  }

 private:
  std::mt19937_64 random_{20240917};
};

void WriteCsv(const fs::path& path, std::int64_t subgroups) {
  std::ofstream out(path);
  out << "part,process,test,subgroup,time,count,size,defect,shift\n";
  Source source;
  for (std::int64_t i = 0; i < subgroups; ++i) {
    const std::chrono::sys_seconds time{std::chrono::seconds{kStart + i * 60}};
    const auto day = std::chrono::floor<std::chrono::days>(time);
    const std::chrono::year_month_day date{day};
    const std::chrono::hh_mm_ss clock{time - day};
    for (int row = 0; row < 2; ++row) {
      const auto next = source.Next();
      char line[128];
      std::snprintf(
          line, sizeof line, "P1,R1,T2,%lld,%04d-%02u-%02uT%02d:%02d:%02d,%d,500,d%d,s%d\n",
          static_cast<long long>(i + 1), static_cast<int>(date.year()),
          static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
          static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
          static_cast<int>(clock.seconds().count()), next.count, next.code,
          static_cast<int>(i / 480 % 3) + 1);
      out << line;
    }
  }
}

void MakePlain(const fs::path& path, std::int64_t subgroups) {
  const bench::plain::Database db(path.string());
  db.Run("PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL");
  db.Run(
      "CREATE TABLE subgroup(id INTEGER PRIMARY KEY, part INT, process INT, test INT, time INT, "
      "flag INT, size INT, shift INT);"
      "CREATE TABLE value(sgid INT, tsno INT, sbno INT, def INT, val REAL, "
      "PRIMARY KEY(sgid, tsno, sbno)) WITHOUT ROWID;");
  db.Run("BEGIN");
  {
    const Statement subgroup(db, "INSERT INTO subgroup VALUES(?,1,1,2,?,0,500,?)");
    const Statement value(db, "INSERT INTO value VALUES(?,1,?,?,?)");
    Source source;
    for (std::int64_t i = 0; i < subgroups; ++i) {
      subgroup.Bind(1, i + 1);
      subgroup.Bind(2, kStart + i * 60);
      subgroup.Bind(3, i / 480 % 3 + 1);
      subgroup.Step();
      subgroup.Reset();
      for (std::int64_t row = 0; row < 2; ++row) {
        const auto next = source.Next();
        value.Bind(1, i + 1);
        value.Bind(2, row);
        value.Bind(3, std::int64_t{next.code});
        value.Bind(4, static_cast<double>(next.count));
        value.Step();
        value.Reset();
      }
    }
  }
  db.Run("COMMIT; CREATE INDEX chart ON subgroup(part, process, test, flag, time); ANALYZE;");
}

using Counts = std::map<std::string, double>;

Counts PlainByDefect(const fs::path& path) {
  const bench::plain::Database db(path.string());
  const Statement query(
      db,
      "SELECT v.def, SUM(v.val) FROM subgroup s JOIN value v ON v.sgid = s.id WHERE s.part = 1 AND "
      "s.process = 1 AND s.test = 2 AND s.flag = 0 GROUP BY v.def ORDER BY 2 DESC, 1");
  Counts counts;
  while (query.Step()) counts["d" + std::to_string(std::lround(query.Double(0)))] = query.Double(1);
  return counts;
}

// The same without grouping in SQL: every row is stepped and counted in an array.
Counts PlainCounted(const fs::path& path) {
  const bench::plain::Database db(path.string());
  const Statement query(
      db,
      "SELECT v.def, v.val FROM subgroup s JOIN value v ON v.sgid = s.id WHERE s.part = 1 AND "
      "s.process = 1 AND s.test = 2 AND s.flag = 0");
  std::array<double, kCodes + 1> sums{};
  while (query.Step()) sums[static_cast<std::size_t>(query.Double(0))] += query.Double(1);
  Counts counts;
  for (int code = 1; code <= kCodes; ++code) {
    counts["d" + std::to_string(code)] = sums[static_cast<std::size_t>(code)];
  }
  return counts;
}

std::shared_ptr<orvspc::PAResults> Analyse(
    const std::shared_ptr<orvspc::EmbeddedDatabase>& database, std::int32_t most,
    std::vector<orvspc::paBinTypes> levels) {
  const auto select = std::make_shared<orvspc::DataSelect>();
  select->MaximumItems(most);
  select->IncludeDefectTests(true);
  const auto processing = std::make_shared<orvspc::PAProcessing>();
  processing->BinCount(5000);
  for (std::size_t i = 0; i < levels.size(); ++i) {
    const auto level = static_cast<std::int32_t>(i);
    processing->BinType(level, levels[i]);
    processing->BinTimePeriod(level, orvspc::paWeeks);
    processing->BinTimeInterval(level, 1);
  }
  return orvspc::PAAnalysis().AnalyzeDataSelect(database, select, processing);
}

Counts Product(const fs::path& path, std::int32_t most, std::vector<orvspc::paBinTypes> levels) {
  const auto database = orvspc::OpenDatabase(path.string());
  const auto bins = Analyse(database, most, std::move(levels))->Bins();
  if (const auto failure = database->TakeFailure())
    std::printf("%s\n", failure->description.c_str());
  for (const auto& note : database->TakeReport().notes) std::printf("%s\n", note.text.c_str());
  Counts counts;
  for (bool is_bin = bins->MoveFirst(); is_bin; is_bin = bins->MoveNext()) {
    const auto name = bins->Name();
    counts[name.substr(name.rfind(' ') + 1)] += bins->Value();
  }
  return counts;
}

}  // namespace

int main(int argc, char** argv) {
  const bench::Options options = bench::ParseOptions(
      argc, argv, "Pareto analyses of two defect rows a subgroup against plain programs");
  fs::create_directories(options.dir);
  const std::string tag = std::to_string(options.subgroups);
  const fs::path csv = options.dir / ("pareto_" + tag + ".csv");
  const fs::path plain_db = options.dir / ("pareto_plain_" + tag + ".db");
  const fs::path product_db = options.dir / ("pareto_product_" + tag + ".db");
  const auto most = static_cast<std::int32_t>(options.subgroups);
  orvspc::InstallEmbedded();
  if (!fs::exists(product_db)) {
    WriteCsv(csv, options.subgroups);
    orvspc::engine::import::ImportCsv(csv.string(),
                                      *orvspc::OpenDatabase(product_db.string(), true),
                                      orvspc::ImportKind::Values, {});
    bench::RemoveDatabase(plain_db);
    MakePlain(plain_db, options.subgroups);
  }

  if (!options.once.empty()) {
    if (options.once == "plain") std::printf("%zu\n", PlainByDefect(plain_db).size());
    if (options.once == "product")
      std::printf("%zu\n", Product(product_db, most, {orvspc::paBinTypeDefect}).size());
    return 0;
  }

  struct Job {
    const char* name;
    std::vector<orvspc::paBinTypes> levels;
    Counts (*plain)(const fs::path&);
  };
  const Job jobs[] = {
      {"by defect, against GROUP BY", {orvspc::paBinTypeDefect}, PlainByDefect},
      {"by defect, against counting", {orvspc::paBinTypeDefect}, PlainCounted},
      {"by shift and defect", {orvspc::paBinTypeShift, orvspc::paBinTypeDefect}, PlainByDefect},
      {"by week and defect", {orvspc::paBinTypeTime, orvspc::paBinTypeDefect}, PlainByDefect},
  };
  for (const auto& job : jobs) {
    if (job.plain(plain_db) != Product(product_db, most, job.levels)) {
      std::printf("MISMATCH %s\n", job.name);
      return 1;
    }
    bench::Pair pair;
    for (int i = 0; i < options.rounds; ++i) {
      pair.Round([&] { job.plain(plain_db); }, [&] { Product(product_db, most, job.levels); });
    }
    pair.Print(job.name);
  }

  const auto database = orvspc::OpenDatabase(product_db.string());
  const auto small = bench::Milliseconds([&] {
    for (int i = 0; i < 1000; ++i) {
      Analyse(database, 25, {orvspc::paBinTypeShift, orvspc::paBinTypeDefect});
    }
  });
  std::printf("%-34s %.1f microseconds each\n", "1000 of the newest 25", small);
  return 0;
}
