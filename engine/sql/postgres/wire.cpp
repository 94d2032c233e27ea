// SPDX-License-Identifier: Apache-2.0
#include "engine/sql/postgres/wire.h"

#include <bit>
#include <charconv>
#include <cstdlib>

namespace orvspc::engine::sql::postgres {
namespace {

template <class T>
NumberBytes Big(T value) {
  NumberBytes out;
  out.size = sizeof value;
  for (std::size_t i = 0; i < sizeof value; ++i) {
    out.bytes[i] = static_cast<char>(value >> (8 * (sizeof value - 1 - i)));
  }
  return out;
}

std::uint64_t Unsigned(std::string_view bytes) {
  std::uint64_t value = 0;
  for (const auto c : bytes) value = value << 8 | static_cast<unsigned char>(c);
  return value;
}

std::int64_t Signed(std::string_view bytes) {
  const auto shift = 64 - 8 * static_cast<int>(bytes.size());
  if (bytes.empty() || shift < 0) return 0;
  return static_cast<std::int64_t>(Unsigned(bytes) << shift) >> shift;
}

// Words of 16 bits: count of digits to the base 10,000, weight of the first, sign, scale, digits.
std::string DecimalOf(std::string_view bytes) {
  const auto word = [&](std::size_t i) { return Signed(bytes.substr(2 * i, 2)); };
  constexpr std::int64_t kNegative = 0x4000;
  if (bytes.size() < 8 || (word(2) != 0 && word(2) != kNegative)) return "nan";
  std::string text = word(2) == kNegative ? "-0" : "0";
  for (std::size_t i = 4; i < bytes.size() / 2; ++i) {
    const auto digits = std::to_string(word(i));
    text += std::string(4 - digits.size(), '0') + digits;
  }
  return text + "e" + std::to_string(4 * (word(1) - word(0) + 1));
}

}  // namespace

NumberBytes BytesOf(std::int64_t value, TypeId type) {
  switch (type) {
    case kInt8:
      return Big(static_cast<std::uint64_t>(value));
    case kInt4:
      return Big(static_cast<std::uint32_t>(value));
    case kFloat8:
      return BytesOf(static_cast<double>(value), type);
    default:
      return {};
  }
}

NumberBytes BytesOf(double value, TypeId type) {
  if (type == kFloat8) return Big(std::bit_cast<std::uint64_t>(value));
  if (type == kInt8 || type == kInt4) return BytesOf(static_cast<std::int64_t>(value), type);
  return {};
}

std::int64_t IntOf(std::string_view bytes, TypeId type) {
  switch (type) {
    case kInt8:
    case kInt4:
    case kInt2:
    case kBool:
      return Signed(bytes);
    case kFloat8:
    case kFloat4:
    case kNumeric:
      return static_cast<std::int64_t>(RealOf(bytes, type));
    default:
      return 0;
  }
}

double RealOf(std::string_view bytes, TypeId type) {
  switch (type) {
    case kFloat8:
      return std::bit_cast<double>(Unsigned(bytes));
    case kFloat4:
      return std::bit_cast<float>(static_cast<std::uint32_t>(Unsigned(bytes)));
    case kNumeric: {
      const auto text = DecimalOf(bytes);
      double value = 0.0;
      std::from_chars(text.data(), text.data() + text.size(), value);
      return value;
    }
    default:
      return static_cast<double>(IntOf(bytes, type));
  }
}

}  // namespace orvspc::engine::sql::postgres
