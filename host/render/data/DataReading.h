// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "dataset/SubgroupData.h"
#include "host/render/core/Names.h"

// Subgroups as plain values, read once, so that pictures and documents need no cursor.
namespace orvspc::render {

struct TestRow {
  std::int32_t sn = 0, tsno = 0, sbno = 0, def = 0, gage = 0;
  double value = 0.0;
};
struct DescriptorRow {
  std::int32_t group = 0, descriptor = 0, tsno = 0;
};
struct CommentRow {
  std::string employee, note;
  std::int32_t test = 0, tsno = 0;
  double edited = 0.0;  // date
};

struct SubgroupRow {
  std::int32_t sgrp = 0, part = 0, prcs = 0, test = 0, wkst = 0, job = 0, lot = 0, shft = 0,
               ptrv = 0, empl = 0, size = 0, flag = 0;
  std::int64_t stamp = 0;
  std::int32_t group_index = 0, group_id = 0;
  std::vector<TestRow> tests;
  std::vector<DescriptorRow> descriptors;
  std::vector<CommentRow> comments;
};

struct SubgroupsRead {
  std::int32_t total_subgroups = 0, total_groups = 0, total_tests = 0, total_descriptors = 0;
  std::vector<SubgroupRow> rows;
};
SubgroupsRead ReadSubgroups(SubgroupData& data);

}  // namespace orvspc::render
