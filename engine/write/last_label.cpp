// SPDX-License-Identifier: Apache-2.0
#include "engine/write/last_label.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <string>
#include <vector>

#include "engine/chunks/subgroups.h"

namespace orvspc::engine::write {
namespace {

std::string NameOf(std::int64_t part, std::int64_t process) {
  return "label " + std::to_string(part) + " " + std::to_string(process);
}

// Of those that have any.
std::map<LabelSource, std::int64_t> ReadHighestLabels(sql::Connection& db) {
  std::map<LabelSource, std::int64_t> highest;
  store::ForEachSubgroup(db, 1, INT32_MAX, [&](const store::SubgroupFacts& each) {
    const auto number = NumberOfLabel(each.label);
    if (number == 0) return;
    auto& latest = highest[{each.part, each.process}];
    latest = std::max(latest, number);
  });
  return highest;
}

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

std::int64_t HighestLabels::Of(sql::Connection& db, std::int64_t part, std::int64_t process) {
  if (!all_) {
    const auto stream =
        sql::Query(db, "SELECT id FROM stream WHERE part = ?1 AND process = ?2 LIMIT 1", part,
                   process)
            .RunForInt();
    if (!stream) return 0;
    all_ = ReadHighestLabels(db);
  }
  const auto found = all_->find({part, process});
  return found == all_->end() ? 0 : found->second;
}

void SettleLastLabel(sql::Connection& db, std::int64_t part, std::int64_t process,
                     std::int64_t least) {
  auto last = LastLabel(db, part, process);
  if (last && *last >= least) return;
  if (!last) last = HighestLabels().Of(db, part, process);
  SetLastLabel(db, part, process, std::max(*last, least));
}

void JoinLastLabels(sql::Connection& db, catalogue::ItemKind kind, std::int64_t from,
                    std::int64_t into) {
  const bool is_part = kind == catalogue::ItemKind::Part;
  std::vector<std::pair<LabelSource, std::int64_t>> rows;
  for (sql::Query query(db, "SELECT name, last FROM counter WHERE name LIKE 'label %'");
       query.Step();) {
    long long part = 0, process = 0;
    const std::string name(query.Text(0));
    if (std::sscanf(name.c_str(), "label %lld %lld", &part, &process) != 2) continue;
    const auto item = is_part ? part : process;
    if (item == from || item == into) rows.emplace_back(LabelSource(part, process), query.Int64(1));
  }
  if (rows.empty()) return;
  // Those that had no row have the numbers of their subgroups.
  auto highest = ReadHighestLabels(db);
  for (const auto& [source, last] : rows) {
    const auto [part, process] = source;
    const LabelSource to(is_part ? into : part, is_part ? process : into);
    if (source != to) {
      sql::Query(db, "DELETE FROM counter WHERE name = ?1", NameOf(part, process)).Run();
    }
    auto& number = highest[to];
    number = std::max(number, last);
    SetLastLabel(db, to.first, to.second, number);
  }
}

}  // namespace orvspc::engine::write
