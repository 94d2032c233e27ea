// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstring>

namespace orvspc::platform {

// A 64-bit float inside a wire record. Records are packed on four bytes, so the value may lie at
// an offset that is no multiple of eight; the conversions copy the bytes and are always aligned.
class WireDouble {
 public:
  WireDouble() = default;
  // Both conversions are implicit on purpose: a field reads and writes like a double.
  WireDouble(double value) { std::memcpy(bytes_, &value, sizeof value); }  // NOLINT
  operator double() const {                                                // NOLINT
    double value = 0.0;
    std::memcpy(&value, bytes_, sizeof value);
    return value;
  }

 private:
  alignas(4) unsigned char bytes_[8] = {};
};

static_assert(sizeof(WireDouble) == 8 && alignof(WireDouble) == 4);

}  // namespace orvspc::platform
