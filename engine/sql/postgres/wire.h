// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

// Values as they go over the wire: binary, the highest byte first.
namespace orvspc::engine::sql::postgres {

using TypeId = std::uint32_t;

// Of the server's catalogue; 0: the server finds out.
inline constexpr TypeId kUnknownType = 0, kBool = 16, kBytea = 17, kInt8 = 20, kInt2 = 21,
                        kInt4 = 23, kText = 25, kFloat4 = 700, kFloat8 = 701, kNumeric = 1700;

// The bytes of a number in the form of a type; those of another type are empty.
struct NumberBytes {
  std::array<char, 8> bytes;
  std::size_t size = 0;
  std::string_view View() const { return {bytes.data(), size}; }
};
NumberBytes BytesOf(std::int64_t value, TypeId type);
NumberBytes BytesOf(double value, TypeId type);

// Numbers of any type as the one that is asked for; 0 of what is no number.
std::int64_t IntOf(std::string_view bytes, TypeId type);
double RealOf(std::string_view bytes, TypeId type);

}  // namespace orvspc::engine::sql::postgres
