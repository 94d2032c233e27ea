// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>

namespace orvspc::engine::sql::sqlite {

// At the end of a page, for its checksum.
inline constexpr int kReservedBytes = 8;

// Of the page without its reserved bytes; a multiple of 8.
std::uint64_t PageChecksum(std::span<const std::byte> content, std::uint32_t page);
// What a whole page says it is.
std::uint64_t StoredChecksum(std::span<const std::byte> page);

// The byte of a page whose one flipped bit is why the checksum does not match. Empty where the
// damage is no single bit, or is in the checksum itself.
std::optional<std::size_t> FlippedByte(std::span<const std::byte> page, std::uint32_t number);

template <class Number>
Number LittleEndian(const std::byte* at) {
  Number number = 0;
  if constexpr (std::endian::native == std::endian::little) {
    std::memcpy(&number, at, sizeof number);
  } else {
    for (std::size_t i = sizeof number; i-- > 0;)
      number = number << 8 | std::to_integer<Number>(at[i]);
  }
  return number;
}

}  // namespace orvspc::engine::sql::sqlite
