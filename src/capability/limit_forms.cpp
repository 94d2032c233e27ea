// SPDX-License-Identifier: Apache-2.0
#include "capability/limit_forms.h"

#include <cstddef>
#include <cstring>
#include <type_traits>

#include "platform/FixedText.h"

namespace orvspc::limit_forms {
namespace {

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

template <class To, class From>
To NarrowTo(const From& wide) {
  To narrow = CopyAroundText<To>(wide);
  platform::To8Bit(wide.Text, narrow.Text);
  return narrow;
}

template <class To, class From>
To WidenTo(const From& narrow) {
  To wide = CopyAroundText<To>(narrow);
  platform::From8Bit(narrow.Text, wide.Text);
  return wide;
}

}  // namespace

API_CASpecLim8 Narrow(const API_CASpecLim& wide) { return NarrowTo<API_CASpecLim8>(wide); }
API_CANccLim8 Narrow(const API_CANccLim& wide) { return NarrowTo<API_CANccLim8>(wide); }
API_CASpecLim Widen(const API_CASpecLim8& narrow) { return WidenTo<API_CASpecLim>(narrow); }
API_CANccLim Widen(const API_CANccLim8& narrow) { return WidenTo<API_CANccLim>(narrow); }

}  // namespace orvspc::limit_forms
