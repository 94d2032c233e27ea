// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "engine/write/change/Batches.h"
#include "engine/write/log/Log.h"
#include "platform/ItemKind.h"

namespace orvspc::engine::change {

// Makes two items of a kind one. Streams are joined, what names the one names the other from now
// on, and its name becomes an alias. Inside a write transaction. Returns the streams that got more
// values.
//   expected the version of the item that gives way
//   kinds    part, process, test, and those of who and where: revision, workstation, job, lot,
//            shift, employee
//   Refused  with a list, where both have a subgroup of the same label and time (of tests: values
//            in the same subgroup), or limits or states of one time; where tests differ in type
std::vector<TouchedStream> Merge(log::Writing& writing, ItemKind kind, std::string_view from,
                                 std::string_view into, std::optional<std::int64_t> expected);

}  // namespace orvspc::engine::change
