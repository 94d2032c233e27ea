// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "dataset/Slice.h"

namespace orvspc {

// The test values of one subgroup. Without rows every Get answers 0.
class TestData : public Slice<API_TestData> {
 public:
  explicit TestData(const Friend&);

  // not 0: the row has defects
  std::int32_t Def() const { return Field("Def", &API_TestData::Def); }
  // gage identifier
  std::int32_t Gage() const { return Field("Gage", &API_TestData::Gage); }
  std::int32_t Sbno() const { return Field("Sbno", &API_TestData::Sbno); }
  // serial number identifier; 0 if none
  std::int32_t Sn() const { return Field("Sn", &API_TestData::Sn); }
  // number of the piece inside the subgroup
  std::int32_t Tsno() const { return Field("Tsno", &API_TestData::Tsno); }
  double Val() const;
};

}  // namespace orvspc
