// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "dataset/Slice.h"

namespace orvspc {

// The test values of one subgroup. Without rows every Get answers 0.
class TestData : public Slice<API_TestData> {
 public:
  explicit TestData(const Friend&);

  std::int32_t Def() const;   // not 0: the row has defects
  std::int32_t Gage() const;  // gage identifier
  std::int32_t Sbno() const;
  std::int32_t Sn() const;    // serial number identifier; 0 if none
  std::int32_t Tsno() const;  // number of the piece inside the subgroup
  double Val() const;
};

}  // namespace orvspc
