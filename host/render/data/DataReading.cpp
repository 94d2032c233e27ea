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

std::vector<TestRow> ReadTests(TestData& tests) {
  std::vector<TestRow> rows;
  if (!tests.MoveFirst()) return rows;
  rows.reserve(static_cast<std::size_t>(tests.Count()));
  do {
    rows.push_back(
        {tests.Sn(), tests.Tsno(), tests.Sbno(), tests.Def(), tests.Gage(), tests.Val()});
  } while (tests.MoveNext());
  return rows;
}

std::vector<DescriptorRow> ReadDescriptors(DescriptorData& descriptors) {
  std::vector<DescriptorRow> rows;
  if (!descriptors.MoveFirst()) return rows;
  do {
    rows.push_back({descriptors.Dsgp(), descriptors.Desc(), descriptors.Tsno()});
  } while (descriptors.MoveNext());
  return rows;
}

std::vector<CommentRow> ReadComments(CommentData& comments) {
  std::vector<CommentRow> rows;
  if (!comments.MoveFirst()) return rows;
  do {
    rows.push_back({Trimmed(comments.Empl()), Trimmed(comments.Note()), comments.Test(),
                    comments.Tsno(), comments.Edtm()});
  } while (comments.MoveNext());
  return rows;
}

}  // namespace

SubgroupsRead ReadSubgroups(SubgroupData& data) {
  SubgroupsRead read;
  read.total_subgroups = data.TotalSubgroups();
  read.total_groups = data.TotalGroups();
  read.total_tests = data.TotalTests();
  read.total_descriptors = data.TotalDescriptors();
  if (!data.MoveFirst()) return read;
  read.rows.reserve(static_cast<std::size_t>(read.total_subgroups));
  do {
    SubgroupRow row{data.Sgrp(),
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
                    ReadTests(*data.TestData()),
                    ReadDescriptors(*data.DescriptorData()),
                    ReadComments(*data.CommentData())};
    read.rows.push_back(std::move(row));
  } while (data.MoveNext());
  data.MoveFirst();
  return read;
}

}  // namespace orvspc::render
