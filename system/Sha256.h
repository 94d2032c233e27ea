// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace orvspc::system {

// SHA-256 (FIPS 180-4), by the cryptographic library of the system. Throws std::runtime_error where
// that refuses.
class Sha256 {
 public:
  using Digest = std::array<std::uint8_t, 32>;

  Sha256();
  Sha256(const Sha256&) = delete;
  Sha256& operator=(const Sha256&) = delete;
  ~Sha256();

  void Add(std::span<const std::byte> bytes);
  void Add(std::string_view text) { Add(std::as_bytes(std::span(text))); }
  // Of everything added; begins anew.
  Digest Finish();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

// Lower-case hexadecimal digits.
std::string HexOf(const Sha256::Digest& digest);

// HMAC-SHA256 (RFC 2104): what only somebody with the key could make of the text.
Sha256::Digest HmacSha256(std::string_view key, std::string_view text);

}  // namespace orvspc::system
