// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

namespace orvspc::engine::store {

// Asks the system for large pages below memory that is about to be filled whole. A million
// subgroups would otherwise be a hundred thousand page faults, half the time of their chart.
// Blocks that hold no whole large page are left alone, and so is every system without such a call.
void PreferLargePages(const void* data, std::size_t bytes);

}  // namespace orvspc::engine::store
