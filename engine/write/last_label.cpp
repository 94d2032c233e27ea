// SPDX-License-Identifier: Apache-2.0
#include "engine/write/last_label.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <string>
#include <vector>

namespace orvspc::engine::write {
namespace {

std::string NameOf(std::int64_t part, std::int64_t process) {
  return "label " + std::to_string(part) + " " + std::to_string(process);
}

struct LabelRow {
  long long part = 0, process = 0;
  std::int64_t last = 0;
};

}  // namespace

std::optional<std::int64_t> LastLabel(sql::Connection& db, std::int64_t part,
                                      std::int64_t process) {
  const auto name = NameOf(part, process);
  return sql::Query(db, "SELECT last FROM counter WHERE name = ?1", name).RunForInt();
}

void SetLastLabel(sql::Connection& db, std::int64_t part, std::int64_t process, std::int64_t last) {
  const auto name = NameOf(part, process);
  sql::Query(db,
             "INSERT INTO counter(name, last) VALUES(?1, ?2) "
             "ON CONFLICT(name) DO UPDATE SET last = excluded.last",
             name, last)
      .Run();
}

void RaiseLastLabel(sql::Connection& db, std::int64_t part, std::int64_t process,
                    std::int64_t last) {
  const auto name = NameOf(part, process);
  sql::Query(db, "UPDATE counter SET last = ?2 WHERE name = ?1 AND last < ?2", name, last).Run();
}

std::int64_t NumberOfLabel(std::string_view label) {
  constexpr std::int64_t kMax = 1'000'000'000'000;
  std::int64_t number = 0;
  const auto* const end_of_label = label.data() + label.size();
  const auto [end, error] = std::from_chars(label.data(), end_of_label, number);
  const bool is_number = error == std::errc() && end == end_of_label && number > 0 && number < kMax;
  return is_number ? number : 0;
}

void JoinLastLabels(sql::Connection& db, catalogue::ItemKind kind, std::int64_t from,
                    std::int64_t into) {
  const bool is_part = kind == catalogue::ItemKind::Part;
  std::vector<LabelRow> rows;
  for (sql::Query query(db, "SELECT name, last FROM counter WHERE name LIKE 'label %'");
       query.Step();) {
    LabelRow row{0, 0, query.Int64(1)};
    const std::string name(query.Text(0));
    if (std::sscanf(name.c_str(), "label %lld %lld", &row.part, &row.process) != 2) continue;
    if ((is_part ? row.part : row.process) == from) rows.push_back(row);
  }
  for (const auto& row : rows) {
    const auto part = is_part ? into : row.part, process = is_part ? row.process : into;
    SetLastLabel(db, part, process, std::max(LastLabel(db, part, process).value_or(0), row.last));
    const auto name = NameOf(row.part, row.process);
    sql::Query(db, "DELETE FROM counter WHERE name = ?1", name).Run();
  }
}

}  // namespace orvspc::engine::write
