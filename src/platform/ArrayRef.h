// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>

namespace orvspc::platform {

// A reference to an array object of the library, based at 0, which the callee fills in place.
struct ArrayRef {
  void* data = nullptr;
  std::size_t element_size = 0;
  std::size_t count = 0;
  // Set only where the callee may change the number of elements; returns the new data, or null when
  // that could not be done and nothing has changed. With 0 the array is erased and has no data.
  std::function<void*(std::size_t count)> resize = {};

  // The elements as T; empty when the element size is not that of T.
  template <class T>
  std::span<T> As() const {
    if (element_size != sizeof(T) || data == nullptr) return {};
    return {static_cast<T*>(data), count};
  }
};

}  // namespace orvspc::platform
