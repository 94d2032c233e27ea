// SPDX-License-Identifier: Apache-2.0
#include "engine/sql/sqlite/page_checksum.h"

#include <array>
#include <vector>

// Several sums side by side, each over every eighth word, so that the processor need not wait for
// one multiplication before the next. Each step can be undone, so a change within one word always
// changes the result, and which change of a word would explain a result can be computed.
namespace orvspc::engine::sql::sqlite {
namespace {

using Bytes = std::span<const std::byte>;

constexpr std::uint64_t kIn = 0x9c8f2d35b1e6a763, kStep = 0xd1342543de82ef95,
                        kLast = 0xaf251af3b0f025b5;
constexpr std::size_t kWord = 8, kSums = 8;
constexpr int kStepTurn = 29, kLastTurn = 31, kHalf = 32;
using Sums = std::array<std::uint64_t, kSums>;

// By which a product is divided by an odd factor.
constexpr std::uint64_t Inverse(std::uint64_t factor) {
  std::uint64_t inverse = factor;
  for (int i = 0; i < 6; ++i) inverse *= 2 - factor * inverse;
  return inverse;
}

Sums Begin(std::uint32_t page) {
  Sums sums{};
  for (std::size_t i = 0; i < kSums; ++i) sums[i] = (page + (std::uint64_t{i + 1} << 32)) * kLast;
  return sums;
}

std::uint64_t WordAt(Bytes content, std::size_t at) {
  return LittleEndian<std::uint64_t>(&content[at]);
}

std::uint64_t Add(std::uint64_t sum, std::uint64_t word) {
  return std::rotl(sum + word * kIn, kStepTurn) * kStep;
}

Sums SumsOf(Bytes content, std::uint32_t page) {
  auto sums = Begin(page);
  const auto add = [&](std::size_t i, std::size_t at) {
    sums[i] = Add(sums[i], WordAt(content, at));
  };
  std::size_t at = 0;
  for (; at + kSums * kWord <= content.size(); at += kSums * kWord)
    for (std::size_t i = 0; i < kSums; ++i) add(i, at + i * kWord);
  for (std::size_t i = 0; at < content.size(); ++i, at += kWord) add(i, at);
  return sums;
}

std::uint64_t Join(std::uint64_t result, std::uint64_t sum) {
  return (std::rotl(result, kLastTurn) ^ sum) * kLast;
}

}  // namespace

std::uint64_t PageChecksum(Bytes content, std::uint32_t page) {
  std::uint64_t result = content.size();
  for (const auto sum : SumsOf(content, page)) result = Join(result, sum);
  return result ^ result >> kHalf;
}

std::uint64_t StoredChecksum(Bytes page) {
  return LittleEndian<std::uint64_t>(page.data() + page.size() - kReservedBytes);
}

std::optional<std::size_t> FlippedByte(Bytes page, std::uint32_t number) {
  constexpr std::uint64_t kFromIn = Inverse(kIn), kFromStep = Inverse(kStep),
                          kFromLast = Inverse(kLast);
  const auto content = page.first(page.size() - kReservedBytes);
  const auto sums = SumsOf(content, number), begin = Begin(number);
  // What comes before each sum is joined, and what has to come after it.
  Sums before{}, after{};
  before[0] = content.size();
  for (std::size_t i = 1; i < kSums; ++i) before[i] = Join(before[i - 1], sums[i - 1]);
  const auto stored = StoredChecksum(page);
  after[kSums - 1] = stored ^ stored >> kHalf;
  for (std::size_t i = kSums - 1; i > 0; --i)
    after[i - 1] = std::rotr(after[i] * kFromLast ^ sums[i], kLastTurn);
  std::vector<std::uint64_t> former;  // sums before each word
  for (std::size_t i = 0; i < kSums; ++i) {
    former.assign(1, begin[i]);
    std::size_t at = i * kWord;
    for (; at < content.size(); at += kSums * kWord)
      former.push_back(Add(former.back(), WordAt(content, at)));
    // The sum that would fit, and back from there by one word after the other.
    auto fitting = after[i] * kFromLast ^ std::rotl(before[i], kLastTurn);
    for (former.pop_back(); !former.empty(); former.pop_back()) {
      at -= kSums * kWord;
      const auto word = WordAt(content, at);
      const auto sum = std::rotr(fitting * kFromStep, kStepTurn);
      const auto flipped = (sum - former.back()) * kFromIn ^ word;
      if (std::has_single_bit(flipped))
        return at + static_cast<std::size_t>(std::countr_zero(flipped)) / 8;
      fitting = sum - word * kIn;
    }
  }
  return std::nullopt;
}

}  // namespace orvspc::engine::sql::sqlite
