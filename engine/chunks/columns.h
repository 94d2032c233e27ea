// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>
#include <type_traits>
#include <vector>

// How packed blobs are written and checked: columns of whole numbers, and one checksum.
namespace orvspc::engine::store {

// A packed blob begins with four bytes and its checksum.
inline constexpr std::size_t kBehindChecksum = 8;

// Of everything else in the blob, and of whose it is.
// Mixes words into four states by turns, so that the processor can compute the multiplications at
// once. Mixing maps different words to different states, and different states to different states:
// a change within one word always changes the state at the end.
inline std::uint32_t Checksum(std::span<const std::byte> packed, std::int64_t owner) {
  constexpr std::uint64_t kOdd = 0x9e3779b97f4a7c15u;
  std::uint32_t begin = 0;  // what is before the checksum itself
  std::memcpy(&begin, packed.data(), sizeof begin);
  std::uint64_t lanes[4] = {kOdd ^ packed.size(), ~kOdd ^ static_cast<std::uint64_t>(owner),
                            kOdd + begin, ~kOdd};
  const auto mix = [](std::uint64_t& state, std::uint64_t word) {
    state = (state ^ word) * kOdd;
    state ^= state >> 29;
  };
  std::size_t at = kBehindChecksum;
  for (; at + sizeof lanes <= packed.size(); at += sizeof lanes) {
    std::uint64_t words[4];
    std::memcpy(words, packed.data() + at, sizeof words);
    for (int i = 0; i < 4; ++i) mix(lanes[i], words[i]);
  }
  std::uint64_t rest[4] = {};
  std::memcpy(rest, packed.data() + at, packed.size() - at);
  for (int i = 0; i < 4; ++i) mix(lanes[i], rest[i]);
  std::uint64_t all = lanes[0];
  for (int i = 1; i < 4; ++i) mix(all, lanes[i]);
  return static_cast<std::uint32_t>(all ^ (all >> 32));
}

// How the values of a column are written.
enum class Coding : std::uint8_t {
  Zero,   // each is 0
  Same,   // 4 bytes: each is this
  Steps,  // 4 + 4 bytes: the first, and by how much each is above the one before
  Bytes,  // 4 bytes: the least; then 1 byte each: how far above
  Words,  // the same with 2 bytes each
  Plain,  // 4 bytes each
  Wide,   // 8 bytes each
};

template <class T>
void Append(std::vector<std::byte>& out, const T& value) {
  const auto* bytes = reinterpret_cast<const std::byte*>(&value);
  out.insert(out.end(), bytes, bytes + sizeof value);
}

template <class T>
void AppendAll(std::vector<std::byte>& out, const std::vector<T>& values) {
  const auto* bytes = reinterpret_cast<const std::byte*>(values.data());
  out.insert(out.end(), bytes, bytes + values.size() * sizeof(T));
}

template <class Offset, class T>
void AppendOffsets(std::vector<std::byte>& out, const std::vector<T>& values, T least) {
  Append(out, static_cast<std::int32_t>(least));
  for (const auto value : values) {
    Append(out, static_cast<Offset>(static_cast<std::int64_t>(value) - least));
  }
}

template <class T>
Coding CodingOf(const std::vector<T>& values, T least, T most) {
  if (least == 0 && most == 0) return Coding::Zero;
  if (least < INT32_MIN || most > INT32_MAX) return Coding::Wide;
  if (least == most) return Coding::Same;
  const auto step = std::int64_t{values[1]} - values[0];
  const auto is_off = [&](T a, T b) { return std::int64_t{b} - a != step; };
  if (std::abs(step) <= INT32_MAX &&
      std::adjacent_find(values.begin(), values.end(), is_off) == values.end()) {
    return Coding::Steps;
  }
  const auto width = std::int64_t{most} - least;
  return width <= UINT8_MAX ? Coding::Bytes : width <= UINT16_MAX ? Coding::Words : Coding::Plain;
}

template <class T>
void AppendColumn(std::vector<std::byte>& out, const std::vector<T>& values) {
  const auto [least, most] = std::minmax_element(values.begin(), values.end());
  const auto coding = CodingOf(values, *least, *most);
  Append(out, coding);
  switch (coding) {
    case Coding::Zero:
      return;
    case Coding::Same:
      return Append(out, static_cast<std::int32_t>(*least));
    case Coding::Steps:
      Append(out, static_cast<std::int32_t>(values[0]));
      return Append(out, static_cast<std::int32_t>(values[1] - values[0]));
    case Coding::Bytes:
      return AppendOffsets<std::uint8_t>(out, values, *least);
    case Coding::Words:
      return AppendOffsets<std::uint16_t>(out, values, *least);
    case Coding::Plain:
      for (const auto value : values) Append(out, static_cast<std::int32_t>(value));
      return;
    case Coding::Wide:
      for (const auto value : values) Append(out, std::int64_t{value});
  }
}

template <class T>
bool Take(const std::byte*& at, const std::byte* end, T& value) {
  if (static_cast<std::size_t>(end - at) < sizeof value) return false;
  std::memcpy(&value, at, sizeof value);
  at += sizeof value;
  return true;
}

// Reads as many values of a type as the column has, each moved by a base.
template <class Stored, class T>
bool TakeEach(const std::byte*& at, const std::byte* end, std::vector<T>& values,
              std::uint32_t base = 0) {
  if (static_cast<std::size_t>(end - at) < values.size() * sizeof(Stored)) return false;
  for (auto& value : values) {
    Stored stored;
    std::memcpy(&stored, at, sizeof stored);
    at += sizeof stored;
    // Unsigned, since what a forged base gives wraps around.
    if constexpr (sizeof(Stored) < sizeof(std::int32_t)) {
      value = static_cast<std::int32_t>(base + stored);
    } else {
      value = static_cast<T>(stored);
    }
  }
  return true;
}

template <class T>
bool TakeColumn(const std::byte*& at, const std::byte* end, std::size_t count,
                std::vector<T>& values) {
  Coding coding{};
  if (!Take(at, end, coding)) return false;
  values.resize(count);
  std::int32_t first = 0, step = 0;
  switch (coding) {
    case Coding::Zero:
      std::fill(values.begin(), values.end(), 0);
      return true;
    case Coding::Same:
      if (!Take(at, end, first)) return false;
      std::fill(values.begin(), values.end(), first);
      return true;
    case Coding::Steps: {
      if (!Take(at, end, first) || !Take(at, end, step)) return false;
      auto next = static_cast<std::uint32_t>(first);
      for (auto& value : values) {
        value = static_cast<std::int32_t>(next);
        next += static_cast<std::uint32_t>(step);
      }
      return true;
    }
    case Coding::Bytes:
      return Take(at, end, first) &&
             TakeEach<std::uint8_t>(at, end, values, static_cast<std::uint32_t>(first));
    case Coding::Words:
      return Take(at, end, first) &&
             TakeEach<std::uint16_t>(at, end, values, static_cast<std::uint32_t>(first));
    case Coding::Plain:
      return TakeEach<std::int32_t>(at, end, values);
    case Coding::Wide:
      return std::is_same_v<T, std::int64_t> && TakeEach<std::int64_t>(at, end, values);
  }
  return false;
}

}  // namespace orvspc::engine::store
