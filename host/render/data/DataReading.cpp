// SPDX-License-Identifier: Apache-2.0
#include "host/render/data/DataReading.h"

#include "platform/TimeStamp.h"

namespace orvspc::render {

namespace {

// Fixed fields come with their padding.
std::string Trimmed(std::string text) {
  const auto end = text.find('\0');
  if (end != std::string::npos) text.erase(end);
  while (!text.empty() && text.back() == ' ') text.pop_back();
  return text;
}

SubgroupRow ReadSubgroup(SubgroupData& data) {
  TestData& tests = *data.TestData();
  DescriptorData& descriptors = *data.DescriptorData();
  CommentData& comments = *data.CommentData();
  return {
      data.Sgrp(),
      data.Part(),
      data.Prcs(),
      data.Test(),
      data.Wkst(),
      data.Job(),
      data.Lot(),
      data.Shft(),
      data.Ptrv(),
      data.Empl(),
      data.Size(),
      data.Flag(),
      platform::DateToTimeStamp(data.Sgtm()),
      data.GroupIndex(),
      data.GroupID(),

      ReadRows(tests,
               [&] {
                 return TestRow{tests.Sn(),  tests.Tsno(), tests.Sbno(),
                                tests.Def(), tests.Gage(), tests.Val()};
               }),
      ReadRows(descriptors,
               [&] {
                 return DescriptorRow{descriptors.Dsgp(), descriptors.Desc(), descriptors.Tsno()};
               }),
      ReadRows(comments, [&] {
        return CommentRow{Trimmed(comments.Empl()), Trimmed(comments.Note()), comments.Test(),
                          comments.Tsno(), comments.Edtm()};
      })};
}

}  // namespace

SubgroupsRead ReadSubgroups(SubgroupData& data) {
  SubgroupsRead read;
  read.total_subgroups = data.TotalSubgroups();
  read.total_groups = data.TotalGroups();
  read.total_tests = data.TotalTests();
  read.total_descriptors = data.TotalDescriptors();
  read.rows = ReadRows(data, [&] { return ReadSubgroup(data); });
  data.MoveFirst();
  return read;
}

}  // namespace orvspc::render
