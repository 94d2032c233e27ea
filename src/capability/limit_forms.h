// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstring>
#include <type_traits>

#include "capability/StatisticsRecord.h"
#include "platform/FixedText.h"

// The two records with a text, from the library's own form to that of the capability library and
// back. Only the text changes its form, character for character; all else is the same bytes.
namespace orvspc::limit_forms {

template <class To, class From>
To CopyAroundText(const From& from) {
  constexpr std::size_t tail_from = offsetof(From, Text) + sizeof(From::Text);
  constexpr std::size_t tail_to = offsetof(To, Text) + sizeof(To::Text);
  static_assert(offsetof(From, Text) == offsetof(To, Text));
  static_assert(sizeof(From) - tail_from == sizeof(To) - tail_to);
  static_assert(std::is_trivially_copyable_v<From> && std::is_trivially_copyable_v<To>);
  To to = {};
  auto* const out = reinterpret_cast<std::byte*>(&to);
  const auto* const in = reinterpret_cast<const std::byte*>(&from);
  std::memcpy(out, in, offsetof(From, Text));
  std::memcpy(out + tail_to, in + tail_from, sizeof(From) - tail_from);
  return to;
}

template <template <class> class Record>
Record<char> Narrow(const Record<char16_t>& wide) {
  auto narrow = CopyAroundText<Record<char>>(wide);
  platform::To8Bit(wide.Text, narrow.Text);
  return narrow;
}

template <template <class> class Record>
Record<char16_t> Widen(const Record<char>& narrow) {
  auto wide = CopyAroundText<Record<char16_t>>(narrow);
  platform::From8Bit(narrow.Text, wide.Text);
  return wide;
}

}  // namespace orvspc::limit_forms
