// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "engine/log/Log.h"
#include "engine/store/Store.h"

namespace orvspc::engine::limits {

// Begins a phase of a stream, which lasts until the next one; the one before ends there. Throws
// Refused (code "overlap") where one of the stream begins at this very time. Adds the entries of
// the log.
void BeginPhase(log::Writing& writing, const store::StreamIds& stream, std::int32_t start,
                const std::string& name);

}  // namespace orvspc::engine::limits
