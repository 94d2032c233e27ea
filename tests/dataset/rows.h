// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "dataset/SubgroupData.h"
#include "frame/Friend.h"
#include "platform/FixedText.h"

namespace orvspc::fake {

template <class T>
Array<T> MakeArray(const std::vector<T>& values) {
  Array<T> array;
  if (values.empty()) return array;
  array.Dimension(0, static_cast<std::int64_t>(values.size()) - 1);
  for (std::size_t i = 0; i < values.size(); ++i) array[static_cast<std::int64_t>(i)] = values[i];
  return array;
}

inline API_SubgroupData Subgroup(std::int32_t sgrp, std::int32_t test, std::int32_t first,
                                 std::int32_t last) {
  API_SubgroupData row{};
  row.Sgrp = sgrp;
  row.Test = test;
  row.Test_Start = first;
  row.Test_End = last;
  return row;
}

inline API_TestData Value(double value, std::int32_t tsno = 1, std::int32_t def = 0) {
  API_TestData row{};
  row.Tsno = tsno;
  row.Def = def;
  row.Val = value;
  return row;
}

inline API_DescriptorData Descriptor(std::int32_t sgrp, std::int32_t dsgp, std::int32_t desc) {
  API_DescriptorData row{};
  row.Sgrp = sgrp;
  row.Dsgp = dsgp;
  row.Desc = desc;
  return row;
}

inline API_CommentData Comment(std::int32_t sgrp, std::int32_t test, std::string_view note) {
  API_CommentData row{};
  row.Sgrp = sgrp;
  row.Test = test;
  platform::StoreFixedText(row.Empl, "somebody");
  platform::StoreFixedText(row.Note, note);
  return row;
}

struct DataRows {
  std::vector<API_SubgroupData> subgroups;
  std::vector<API_TestData> tests;
  std::vector<API_DescriptorData> descriptors;
  std::vector<API_CommentData> comments;

  void LoadInto(SubgroupData& data) const {
    data.LoadStructures(Friend(), MakeArray(subgroups), MakeArray(tests), MakeArray(descriptors),
                        MakeArray(comments));
  }
};

}  // namespace orvspc::fake
