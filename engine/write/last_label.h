// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string_view>
#include <utility>

#include "engine/catalogue/References.h"
#include "engine/sql/Connection.h"

// The last number that a part and process gave a subgroup without a label: a row of the table
// counter, "label 3 17" by their identifiers, so that a record need not write one more page.
namespace orvspc::engine::write {

using LabelSource = std::pair<std::int64_t, std::int64_t>;  // part and process

// Empty where they have given none.
std::optional<std::int64_t> LastLabel(sql::Connection& db, std::int64_t part, std::int64_t process);
void SetLastLabel(sql::Connection& db, std::int64_t part, std::int64_t process, std::int64_t last);
// Where it is less, and any was given yet.
void RaiseLastLabel(sql::Connection& db, std::int64_t part, std::int64_t process,
                    std::int64_t last);

// Of a label that is such a number; 0: it is none.
std::int64_t NumberOfLabel(std::string_view label);

// The greatest numbers that subgroups have as their labels. Reads the labels of all subgroups once,
// as soon as a part and process is asked for that has any values.
class HighestLabels {
 public:
  // 0: no subgroup of theirs has a number.
  std::int64_t Of(sql::Connection& db, std::int64_t part, std::int64_t process);
  // Since labels may have changed.
  void Forget() { all_.reset(); }

 private:
  std::optional<std::map<LabelSource, std::int64_t>> all_;  // empty: not read yet
};
// From here on there is a number, this one or a greater one.
void SettleLastLabel(sql::Connection& db, std::int64_t part, std::int64_t process,
                     std::int64_t least);

// A part or process has become another one, with its subgroups: the greater number counts.
void JoinLastLabels(sql::Connection& db, catalogue::ItemKind kind, std::int64_t from,
                    std::int64_t into);

}  // namespace orvspc::engine::write
