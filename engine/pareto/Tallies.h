// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <utility>
#include <vector>

#include "engine/pareto/ParetoPlan.h"

// What is counted, by the identifiers of a bin.
namespace orvspc::engine::pareto {

// The identifiers of a bin in the order of the plan's levels; the rest is 0.
using BinKeys = std::array<std::int32_t, kMaxLevels>;

// One key after the other: keys are compared right after each was written by itself, and a wider
// read would wait for the writes.
inline bool AreSame(const BinKeys& a, const BinKeys& b) {
  static_assert(kMaxLevels == 3);
  return a[0] == b[0] && a[1] == b[1] && a[2] == b[2];
}

// One bin before it is ranked.
struct Tally {
  BinKeys keys{};
  double amount = 0.0;         // in the unit of the accumulation
  double weighted = 0.0;       // amounts times the weights of their codes or parts
  double records = 0.0;        // or defects, where values accumulate
  double nonconforming = 0.0;  // units
  std::int32_t newest_time = INT32_MIN, newest_subgroup = 0;
  bool has_open = false;

  void See(std::int32_t time, std::int32_t subgroup) {
    if (std::pair(time, subgroup) < std::pair(newest_time, newest_subgroup)) return;
    newest_time = time;
    newest_subgroup = subgroup;
  }
  void Add(const Tally& other) {
    amount += other.amount;
    weighted += other.weighted;
    records += other.records;
    nonconforming += other.nonconforming;
    has_open = has_open || other.has_open;
    See(other.newest_time, other.newest_subgroup);
  }
};

// The (part, test) that piece values are of, and the newest time among them.
struct PieceSource {
  std::int32_t part = 0, test = 0, newest_time = INT32_MIN;  // part 0: there are no values
  bool is_one = true;                                        // false: of several

  void See(std::int32_t of_part, std::int32_t of_test, std::int32_t time) {
    if (part != 0 && (part != of_part || test != of_test)) is_one = false;
    part = of_part;
    test = of_test;
    if (time > newest_time) newest_time = time;
  }
  void Add(const PieceSource& other) {
    if (other.part == 0) return;
    See(other.part, other.test, other.newest_time);
    is_one = is_one && other.is_one;
  }
};

// What was inspected, by the identifiers that a subgroup has as a whole; those of its rows are 0.
struct Ground {
  BinKeys keys{};
  double units = 0.0;
  PieceSource source;

  void Add(const Ground& other) {
    units += other.units;
    source.Add(other.source);
  }
};

// Items by their keys, in the order in which they were first seen. A reference holds until the
// next new item.
template <class T>
class KeyTable {
 public:
  std::size_t PlaceOf(const BinKeys& keys) {
    if (latest_ < items_.size() && AreSame(items_[latest_].keys, keys)) return latest_;
    if ((items_.size() + 1) * 2 > slots_.size()) Grow();
    auto& slot = slots_[SlotOf(keys)];
    if (slot == kFree) {
      slot = static_cast<std::uint32_t>(items_.size());
      items_.emplace_back().keys = keys;
    }
    return latest_ = slot;
  }
  T& At(std::size_t place) { return items_[place]; }
  T& Of(const BinKeys& keys) { return items_[PlaceOf(keys)]; }
  // Null when it is not there.
  const T* Find(const BinKeys& keys) const {
    if (slots_.empty()) return nullptr;
    const auto place = slots_[SlotOf(keys)];
    return place == kFree ? nullptr : &items_[place];
  }
  const std::vector<T>& Items() const { return items_; }
  void Merge(const KeyTable& other) {
    for (const auto& item : other.items_) Of(item.keys).Add(item);
  }

 private:
  static constexpr std::uint32_t kFree = UINT32_MAX;

  // The slot of the keys, or the free one where they would be.
  std::size_t SlotOf(const BinKeys& keys) const {
    std::uint64_t hash = 0;
    for (const auto key : keys) {
      hash = (hash ^ static_cast<std::uint32_t>(key)) * 0x9E3779B97F4A7C15u;
      hash ^= hash >> 32;
    }
    auto slot = static_cast<std::size_t>(hash) & (slots_.size() - 1);
    while (slots_[slot] != kFree && !AreSame(items_[slots_[slot]].keys, keys)) {
      slot = (slot + 1) & (slots_.size() - 1);
    }
    return slot;
  }
  void Grow() {
    slots_.assign(slots_.empty() ? 64 : slots_.size() * 2, kFree);
    for (std::size_t i = 0; i < items_.size(); ++i) {
      slots_[SlotOf(items_[i].keys)] = static_cast<std::uint32_t>(i);
    }
  }

  std::vector<T> items_;
  std::vector<std::uint32_t> slots_;
  std::size_t latest_ = 0;
};

// A value for each identifier; one for all that are not there.
template <class T>
class IdTable {
 public:
  explicit IdTable(T fallback = {}) : fallback_(fallback) {}
  // The lowest value that is set for an identifier stays.
  void Set(std::int32_t id, T value) {
    if (id < 0 || id >= kMaxDense) {
      auto& known = far_.try_emplace(id, value).first->second;
      known = std::min(known, value);
      return;
    }
    const auto place = static_cast<std::size_t>(id);
    if (place >= dense_.size()) {
      dense_.resize(place + 1, fallback_);
      is_set_.resize(place + 1, false);
    }
    if (is_set_[place] && dense_[place] <= value) return;
    dense_[place] = value;
    is_set_[place] = true;
  }
  T Of(std::int32_t id) const {
    if (static_cast<std::size_t>(static_cast<std::uint32_t>(id)) < dense_.size()) {
      return dense_[static_cast<std::size_t>(id)];
    }
    if (far_.empty()) return fallback_;
    const auto found = far_.find(id);
    return found == far_.end() ? fallback_ : found->second;
  }

 private:
  static constexpr std::int32_t kMaxDense = 1 << 24;  // identifiers count up from 1

  T fallback_;
  std::vector<T> dense_;
  std::vector<bool> is_set_;
  std::unordered_map<std::int32_t, T> far_;
};

}  // namespace orvspc::engine::pareto
