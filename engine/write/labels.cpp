// SPDX-License-Identifier: Apache-2.0
#include "engine/write/labels.h"

#include <charconv>

namespace orvspc::engine::write {

std::int64_t NumberOfLabel(std::string_view label) {
  constexpr std::int64_t kMax = 1'000'000'000'000;
  std::int64_t number = 0;
  const auto* const end_of_label = label.data() + label.size();
  const auto [end, error] = std::from_chars(label.data(), end_of_label, number);
  const bool is_number = error == std::errc() && end == end_of_label && number > 0 && number < kMax;
  return is_number ? number : 0;
}

std::optional<std::int64_t> LastLabel(sql::Connection& db, std::int32_t part,
                                      std::int32_t process) {
  return sql::Query(db, "SELECT last FROM label_counter WHERE part = ?1 AND process = ?2", part,
                    process)
      .RunForInt();
}

void KeepLastLabel(sql::Connection& db, std::int32_t part, std::int32_t process,
                   std::int64_t number) {
  sql::Query(db,
             "INSERT INTO label_counter(part, process, last) VALUES(?1, ?2, ?3) "
             "ON CONFLICT(part, process) DO UPDATE SET last = excluded.last",
             part, process, number)
      .Run();
}

void RaiseLastLabel(sql::Connection& db, std::int32_t part, std::int32_t process,
                    std::int64_t number) {
  sql::Query(db,
             "UPDATE label_counter SET last = ?3 WHERE part = ?1 AND process = ?2 AND last < ?3",
             part, process, number)
      .Run();
}

}  // namespace orvspc::engine::write
