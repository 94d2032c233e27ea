// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <span>
#include <type_traits>
#include <utility>

#include "frame/Failure.h"
#include "platform/ArrayRef.h"

namespace orvspc {

// The automation array: based at 0, and "never dimensioned" differs from "has elements". Cheap to
// move; a copy is made by Copy alone. Elements start as zero, and for plain records the memory
// comes zeroed from the system, so elements that are never touched cost nothing.
template <class T>
class Array {
 public:
  Array() = default;
  Array(Array&& other) noexcept
      : data_(std::exchange(other.data_, nullptr)), size_(std::exchange(other.size_, 0)) {}
  Array& operator=(Array&& other) noexcept {
    if (this != &other) {
      Erase();
      data_ = std::exchange(other.data_, nullptr);
      size_ = std::exchange(other.size_, 0);
    }
    return *this;
  }
  Array(const Array&) = delete;
  Array& operator=(const Array&) = delete;
  ~Array() { Erase(); }

  // Elements 0 to upper, all zero; what was there is gone. upper < 0 fails with 9.
  void Dimension(std::int64_t lower, std::int64_t upper) {
    if (lower != 0 || upper < 0) FailSubscript();
    Erase();
    const auto count = static_cast<std::size_t>(upper) + 1;
    data_ = Allocate(count);
    size_ = count;
  }

  // Keeps the content of the first elements, further ones are zero. upper < 0 fails with 9.
  void Preserve(std::int64_t lower, std::int64_t upper) {
    if (lower != 0 || upper < 0) FailSubscript();
    const auto count = static_cast<std::size_t>(upper) + 1;
    if (count == size_) return;
    if constexpr (kPlain) {
      if (count < size_) {
        if (void* smaller = std::realloc(static_cast<void*>(data_), count * sizeof(T)))
          data_ = static_cast<T*>(smaller);
        size_ = count;
        return;
      }
    }
    Array bigger;
    bigger.Dimension(0, upper);
    for (std::size_t i = 0; i < count && i < size_; ++i) bigger.data_[i] = std::move(data_[i]);
    *this = std::move(bigger);
  }

  // Never dimensioned again.
  void Erase() {
    if (data_ == nullptr) return;
    if constexpr (!kPlain) std::destroy_n(data_, size_);
    std::free(static_cast<void*>(data_));
    data_ = nullptr;
    size_ = 0;
  }

  Array Copy() const {
    Array copy;
    if (!IsDimensioned()) return copy;
    copy.Dimension(0, UpperBound());
    for (std::size_t i = 0; i < size_; ++i) copy.data_[i] = CopyOf(data_[i]);
    return copy;
  }

  bool IsDimensioned() const { return data_ != nullptr; }

  // Fails with 9 when never dimensioned.
  std::int64_t UpperBound() const {
    if (!IsDimensioned()) FailSubscript();
    return static_cast<std::int64_t>(size_) - 1;
  }

  // 0 when never dimensioned.
  std::int32_t Count() const { return static_cast<std::int32_t>(size_); }

  // Fails with 9 outside the bounds and when never dimensioned.
  T& operator[](std::int64_t index) {
    if (index < 0 || static_cast<std::uint64_t>(index) >= size_) FailSubscript();
    return data_[index];
  }
  const T& operator[](std::int64_t index) const {
    if (index < 0 || static_cast<std::uint64_t>(index) >= size_) FailSubscript();
    return data_[index];
  }

  std::span<T> Elements() { return {data_, size_}; }
  std::span<const T> Elements() const { return {data_, size_}; }

  // For a closed library that fills the array in place.
  platform::ArrayRef Ref() { return {data_, sizeof(T), size_, {}}; }

 private:
  static constexpr bool kPlain = std::is_trivially_copyable_v<T>;

  static T* Allocate(std::size_t count) {
    void* memory = std::calloc(count, sizeof(T));
    if (memory == nullptr) throw std::bad_alloc();
    auto* elements = static_cast<T*>(memory);
    if constexpr (!kPlain) std::uninitialized_value_construct_n(elements, count);
    return elements;
  }

  static T CopyOf(const T& element) {
    if constexpr (std::is_copy_constructible_v<T>) {
      return element;
    } else {
      return element.Copy();
    }
  }

  T* data_ = nullptr;
  std::size_t size_ = 0;
};

}  // namespace orvspc
