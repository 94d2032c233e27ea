// SPDX-License-Identifier: Apache-2.0
#include "system/Sha256.h"

#include <algorithm>
#include <stdexcept>

#ifdef _WIN32
#include <windows.h>
// After windows.h, whose names it uses.
#include <bcrypt.h>
#else
#include <openssl/evp.h>
#endif

namespace orvspc::system {
namespace {

void Check(bool done) {
  if (!done) throw std::runtime_error("The system's cryptographic library refuses SHA-256");
}

}  // namespace

#ifdef _WIN32

struct Sha256::State {
  BCRYPT_ALG_HANDLE algorithm = nullptr;
  BCRYPT_HASH_HANDLE hash = nullptr;
  void Begin() { Check(BCryptCreateHash(algorithm, &hash, nullptr, 0, nullptr, 0, 0) == 0); }
  ~State() {
    if (hash != nullptr) BCryptDestroyHash(hash);
    if (algorithm != nullptr) BCryptCloseAlgorithmProvider(algorithm, 0);
  }
};

Sha256::Sha256() : state_(std::make_unique<State>()) {
  Check(BCryptOpenAlgorithmProvider(&state_->algorithm, BCRYPT_SHA256_ALGORITHM, nullptr, 0) == 0);
  state_->Begin();
}

void Sha256::Add(std::span<const std::byte> bytes) {
  auto* data = reinterpret_cast<PUCHAR>(const_cast<std::byte*>(bytes.data()));
  Check(BCryptHashData(state_->hash, data, static_cast<ULONG>(bytes.size()), 0) == 0);
}

Sha256::Digest Sha256::Finish() {
  Digest digest{};
  Check(BCryptFinishHash(state_->hash, digest.data(), digest.size(), 0) == 0);
  BCryptDestroyHash(state_->hash);
  state_->hash = nullptr;
  state_->Begin();
  return digest;
}

#else

struct Sha256::State {
  EVP_MD_CTX* context = EVP_MD_CTX_new();
  // Without a type the context keeps its own: looking it up takes longer than a short digest.
  void Begin(const EVP_MD* type = nullptr) const {
    Check(context != nullptr && EVP_DigestInit_ex(context, type, nullptr) == 1);
  }
  ~State() { EVP_MD_CTX_free(context); }
};

// A copy of one that has begun, for the same reason.
Sha256::Sha256() : state_(std::make_unique<State>()) {
  static const auto begun = [] {
    auto state = std::make_unique<State>();
    state->Begin(EVP_sha256());
    return state;
  }();
  Check(state_->context != nullptr && EVP_MD_CTX_copy_ex(state_->context, begun->context) == 1);
}

void Sha256::Add(std::span<const std::byte> bytes) {
  Check(EVP_DigestUpdate(state_->context, bytes.data(), bytes.size()) == 1);
}

Sha256::Digest Sha256::Finish() {
  Digest digest{};
  Check(EVP_DigestFinal_ex(state_->context, digest.data(), nullptr) == 1);
  state_->Begin();
  return digest;
}

#endif

Sha256::~Sha256() = default;

std::string HexOf(const Sha256::Digest& digest) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text(2 * digest.size(), '0');
  auto* at = text.data();
  for (const auto byte : digest) {
    *at++ = kDigits[byte >> 4];
    *at++ = kDigits[byte & 15];
  }
  return text;
}

Sha256::Digest HmacSha256(std::string_view key, std::string_view text) {
  constexpr std::size_t kBlock = 64;
  Sha256 hash;
  std::array<std::byte, kBlock> padded{};
  if (key.size() > kBlock) {
    hash.Add(key);
    const auto digest = hash.Finish();
    std::ranges::copy(std::as_bytes(std::span(digest)), padded.begin());
  } else {
    std::ranges::copy(std::as_bytes(std::span(key)), padded.begin());
  }
  const auto add_key = [&](std::byte mask) {
    auto masked = padded;
    for (auto& byte : masked) byte ^= mask;
    hash.Add(masked);
  };
  add_key(std::byte{0x36});
  hash.Add(text);
  const auto inner = hash.Finish();
  add_key(std::byte{0x5c});
  hash.Add(std::as_bytes(std::span(inner)));
  return hash.Finish();
}

}  // namespace orvspc::system
