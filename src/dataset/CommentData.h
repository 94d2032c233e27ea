// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "dataset/Slice.h"

namespace orvspc {

// The comments of one subgroup. Without rows every Get of a field fails with 9.
class CommentData : public Slice<API_CommentData> {
 public:
  explicit CommentData(const Friend&);

  std::string Empl() const;  // the whole field of 32 units with its padding
  std::string Note() const;  // the whole field of 128 units with its padding
  // 0: for the whole subgroup
  std::int32_t Test() const { return Field("Test", &API_CommentData::Test); }
  double Edtm() const;  // edit time as a date, days since 1899-12-30
  std::int32_t Tsno() const { return Field("Tsno", &API_CommentData::Tsno); }
};

}  // namespace orvspc
