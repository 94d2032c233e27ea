// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace orvspc::engine::sql::sqlite {

// Whether a page that does not match its checksum differs from what was written by one bit, which
// lies in a blob of one of its rows. Everything else on the page is then as it was written.
//
//   - Blobs of the schema have checksums of their own, which refuse the one that is damaged.
//   - Of the 30,000 bits of a page no other one would make its checksum of 64 bits match.
//   - False for a bit in what overflows from a row to other pages: those belong to one row each.
bool IsOneBitOfBlob(std::span<const std::byte> page, std::uint32_t number);

}  // namespace orvspc::engine::sql::sqlite
