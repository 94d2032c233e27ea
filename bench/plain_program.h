// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sqlite3.h>

#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

// What a careful programmer would write by hand for the one job: SQLite with one row a value, one
// prepared join, mean-and-range chart with four run rules. The product is measured against it; it
// knows constant subgroup sizes only and keeps no results.
namespace bench::plain {

inline void Check(int result, sqlite3* db) {
  if (result != SQLITE_OK && result != SQLITE_DONE && result != SQLITE_ROW) {
    throw std::runtime_error(sqlite3_errmsg(db));
  }
}

class Database {
 public:
  explicit Database(const std::string& path) { Check(sqlite3_open(path.c_str(), &db_), db_); }
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;
  ~Database() { sqlite3_close(db_); }

  sqlite3* get() const { return db_; }
  void Run(const char* sql) const { Check(sqlite3_exec(db_, sql, nullptr, nullptr, nullptr), db_); }

 private:
  sqlite3* db_ = nullptr;
};

class Statement {
 public:
  Statement(const Database& database, const char* sql) : db_(database.get()) {
    Check(sqlite3_prepare_v2(db_, sql, -1, &statement_, nullptr), db_);
  }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;
  ~Statement() { sqlite3_finalize(statement_); }

  void Bind(int place, std::int64_t value) const {
    Check(sqlite3_bind_int64(statement_, place, value), db_);
  }
  void Bind(int place, double value) const {
    Check(sqlite3_bind_double(statement_, place, value), db_);
  }
  void Bind(int place, std::string_view text) const {
    Check(sqlite3_bind_text(statement_, place, text.data(), static_cast<int>(text.size()),
                            SQLITE_STATIC),
          db_);
  }
  void Bind(int place, std::span<const std::byte> blob) const {
    Check(sqlite3_bind_blob(statement_, place, blob.data(), static_cast<int>(blob.size()),
                            SQLITE_STATIC),
          db_);
  }
  bool Step() const {
    const int result = sqlite3_step(statement_);
    Check(result, db_);
    return result == SQLITE_ROW;
  }
  void Reset() const { sqlite3_reset(statement_); }
  double Double(int column) const { return sqlite3_column_double(statement_, column); }

 private:
  sqlite3* db_;
  sqlite3_stmt* statement_ = nullptr;
};

inline constexpr const char* kSchema =
    "CREATE TABLE subgroup(id INTEGER PRIMARY KEY, part INT, process INT, test INT, time INT, flag "
    "INT);"
    "CREATE TABLE value(sgid INT, tsno INT, val REAL, PRIMARY KEY(sgid, tsno)) WITHOUT ROWID;";

// The CSV of Generate: part,process,test,subgroup,time,value; ids are the digits behind the letter.
inline void Import(const std::string& csv, const std::string& path) {
  const Database db(path);
  db.Run("PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL");
  db.Run(kSchema);
  db.Run("BEGIN");
  {
    const Statement subgroup(db, "INSERT INTO subgroup VALUES(?,?,1,?,?,0)");
    const Statement value(db, "INSERT INTO value VALUES(?,?,?)");
    std::ifstream in(csv);
    std::string line;
    std::getline(in, line);
    std::int64_t id = 0;
    std::int64_t piece = 0;
    std::string former;
    while (std::getline(in, line)) {
      std::array<std::string_view, 6> cells;
      std::string_view rest = line;
      for (auto& cell : cells) {
        cell = rest.substr(0, rest.find(','));
        rest.remove_prefix(std::min(rest.size(), cell.size() + 1));
      }
      const auto number = [](std::string_view text) {
        std::int64_t n = 0;
        std::from_chars(text.data(), text.data() + text.size(), n);
        return n;
      };
      const std::string_view key =
          std::string_view(line).substr(0, static_cast<std::size_t>(cells[4].data() - line.data()));
      if (key != former) {
        former = key;
        piece = 0;
        subgroup.Bind(1, ++id);
        subgroup.Bind(2, number(cells[0].substr(1)));
        subgroup.Bind(3, number(cells[2].substr(1)));
        subgroup.Bind(4, id * 60);
        subgroup.Step();
        subgroup.Reset();
      }
      double x = 0.0;
      std::from_chars(cells[5].data(), cells[5].data() + cells[5].size(), x);
      value.Bind(1, id);
      value.Bind(2, ++piece);
      value.Bind(3, x);
      value.Step();
      value.Reset();
    }
  }
  db.Run("COMMIT; CREATE INDEX chart ON subgroup(part, process, test, time); ANALYZE;");
}

struct Chart {
  std::size_t points = 0;
  double mean = 0.0, sigma = 0.0, ucl = 0.0;
  std::array<std::size_t, 4> broken{};  // beyond 3 sigma, 2 of 3, 4 of 5, 8 on one side
};

inline Chart MeanAndRange(const std::vector<double>& values, std::size_t n, double d2) {
  Chart chart;
  chart.points = values.size() / n;
  std::vector<double> means(chart.points);
  double range_sum = 0.0;
  double mean_sum = 0.0;
  for (std::size_t i = 0; i < chart.points; ++i) {
    double sum = 0.0;
    double least = values[i * n];
    double largest = least;
    for (std::size_t j = 0; j < n; ++j) {
      const double x = values[i * n + j];
      sum += x;
      least = std::min(least, x);
      largest = std::max(largest, x);
    }
    means[i] = sum / static_cast<double>(n);
    mean_sum += means[i];
    range_sum += largest - least;
  }
  chart.mean = mean_sum / static_cast<double>(chart.points);
  chart.sigma = range_sum / static_cast<double>(chart.points) / d2;
  const double s = chart.sigma / std::sqrt(static_cast<double>(n));
  chart.ucl = chart.mean + 3.0 * s;
  for (std::size_t i = 0; i < chart.points; ++i) {
    if (std::fabs(means[i] - chart.mean) > 3.0 * s) ++chart.broken[0];
    const auto window = [&](std::size_t m, std::size_t k, double zone) {
      if (i + 1 < m) return false;
      std::size_t above = 0;
      std::size_t below = 0;
      for (std::size_t j = i + 1 - m; j <= i; ++j) {
        above += means[j] > chart.mean + zone * s;
        below += means[j] < chart.mean - zone * s;
      }
      return above >= k || below >= k;
    };
    chart.broken[1] += window(3, 2, 2.0);
    chart.broken[2] += window(5, 4, 1.0);
    chart.broken[3] += window(8, 8, 0.0);
  }
  return chart;
}

inline Chart WholeChart(const Database& db, double d2) {
  const Statement rows(
      db,
      "SELECT v.val FROM subgroup s JOIN value v ON v.sgid=s.id WHERE s.part=1 AND s.process=1 "
      "AND s.test=1 AND s.flag=0 ORDER BY s.time, s.id, v.tsno");
  std::vector<double> values;
  while (rows.Step()) values.push_back(rows.Double(0));
  return MeanAndRange(values, 5, d2);
}

// The newest 25 subgroups of each of parts x tests; one statement, one read transaction.
inline double Dashboard(const Database& db, int parts, int tests, double d2) {
  db.Run("BEGIN");
  const Statement rows(
      db,
      "SELECT v.val FROM (SELECT id, time FROM subgroup WHERE part=?1 AND process=1 AND test=?2 "
      "AND flag=0 ORDER BY time DESC LIMIT 25) s JOIN value v ON v.sgid=s.id "
      "ORDER BY s.time, s.id, v.tsno");
  double sum = 0.0;
  std::vector<double> values;
  for (int part = 1; part <= parts; ++part) {
    for (int test = 1; test <= tests; ++test) {
      values.clear();
      rows.Bind(1, std::int64_t{part});
      rows.Bind(2, std::int64_t{test});
      while (rows.Step()) values.push_back(rows.Double(0));
      rows.Reset();
      sum += MeanAndRange(values, 5, d2).mean;
    }
  }
  db.Run("COMMIT");
  return sum;
}

}  // namespace bench::plain
