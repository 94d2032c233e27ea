// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "engine/write/log/Log.h"

// Comments of subgroups. Each function adds its entry; what changes or removes one, an event too.
// Inside a write transaction. Throws Refused.
namespace orvspc::engine::change {

// In the log.
std::string ObjectOfComment(std::int64_t comment);

// Of a test, or of a piece of it; 0: of the subgroup as a whole. Returns its identifier. Refused:
// unknown, where there is no such subgroup, or it has no values, none of the test or no such piece.
// expected: of the record that it is about, or of the newest one of the subgroup.
std::int64_t AddComment(log::Writing& writing, std::int32_t subgroup, std::int32_t test,
                        std::int32_t piece, std::string_view text,
                        std::optional<std::int64_t> expected);
void EditComment(log::Writing& writing, std::int64_t comment, std::string_view text,
                 std::optional<std::int64_t> expected);
// The same without an event of its own.
void TakeOutComment(log::Writing& writing, std::int64_t comment);
void RemoveComment(log::Writing& writing, std::int64_t comment,
                   std::optional<std::int64_t> expected);
struct RestoredComment {
  std::int64_t id = 0;
  std::int32_t subgroup = 0, test = 0;
};
// Brings back what an entry changed or took out, with number, author and time as they were. Nothing
// where the entry is not about a comment. Refused: "stored", where the comment is there.
std::optional<RestoredComment> RestoreComment(log::Writing& writing, std::int64_t entry,
                                              std::optional<std::int64_t> expected);

}  // namespace orvspc::engine::change
