// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "dataset/Slice.h"

namespace orvspc {

// The descriptors of one subgroup. Without rows every Get of a field fails with 9.
class DescriptorData : public Slice<API_DescriptorData> {
 public:
  explicit DescriptorData(const Friend&);

  // descriptor group identifier
  std::int32_t Dsgp() const { return Field("Dsgp", &API_DescriptorData::Dsgp); }
  // descriptor identifier
  std::int32_t Desc() const { return Field("Desc", &API_DescriptorData::Desc); }
  std::int32_t Tsno() const { return Field("Tsno", &API_DescriptorData::Tsno); }
};

}  // namespace orvspc
