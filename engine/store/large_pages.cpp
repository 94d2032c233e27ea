// SPDX-License-Identifier: Apache-2.0
#include "engine/store/large_pages.h"

#include <sys/mman.h>

#include <memory>

namespace orvspc::engine::store {

void PreferLargePages([[maybe_unused]] const void* data, [[maybe_unused]] std::size_t bytes) {
#ifdef MADV_HUGEPAGE
  constexpr std::size_t kLarge = std::size_t{1} << 21;
  auto* first = const_cast<void*>(data);
  if (std::align(kLarge, kLarge, first, bytes) == nullptr) return;
  madvise(first, bytes / kLarge * kLarge, MADV_HUGEPAGE);
#endif
}

}  // namespace orvspc::engine::store
