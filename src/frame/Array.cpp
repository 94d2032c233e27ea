// SPDX-License-Identifier: Apache-2.0
#include "frame/Array.h"

#ifdef __linux__
#include <sys/mman.h>
#endif

namespace orvspc {

void* AllocateZeroed(std::size_t count, std::size_t size) {
  void* memory = std::calloc(count, size);
  if (memory == nullptr) throw std::bad_alloc();
#ifdef MADV_HUGEPAGE
  constexpr std::size_t kLargePage = std::size_t{1} << 21;
  void* first = memory;
  std::size_t space = count * size;
  // Smaller blocks are mostly cut at once and should not be touched whole.
  if (space >= 4 * kLargePage && std::align(kLargePage, kLargePage, first, space) != nullptr) {
    madvise(first, space / kLargePage * kLargePage, MADV_HUGEPAGE);
  }
#endif
  return memory;
}

}  // namespace orvspc
