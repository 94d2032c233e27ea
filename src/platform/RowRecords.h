// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/WireDouble.h"

// Rows that the closed libraries write in place. Little-endian; times are stamps; reserved words
// are neither read nor written by the library.
namespace orvspc {

struct API_SubgroupData {
  std::int32_t Sgrp, Part, Prcs, Test, Wkst, Job, Lot, Shft, Ptrv, Empl;
  std::int32_t Sgtm, Size, Flag;
  std::int32_t Reserved;
  std::int32_t Test_Start, Test_End;  // first and last row in the test array, inclusive
};

static_assert(sizeof(API_SubgroupData) == 64);
static_assert(offsetof(API_SubgroupData, Sgrp) == 0 && offsetof(API_SubgroupData, Part) == 4 &&
              offsetof(API_SubgroupData, Prcs) == 8 && offsetof(API_SubgroupData, Test) == 12 &&
              offsetof(API_SubgroupData, Wkst) == 16 && offsetof(API_SubgroupData, Job) == 20 &&
              offsetof(API_SubgroupData, Lot) == 24 && offsetof(API_SubgroupData, Shft) == 28 &&
              offsetof(API_SubgroupData, Ptrv) == 32 && offsetof(API_SubgroupData, Empl) == 36 &&
              offsetof(API_SubgroupData, Sgtm) == 40 && offsetof(API_SubgroupData, Size) == 44 &&
              offsetof(API_SubgroupData, Flag) == 48 &&
              offsetof(API_SubgroupData, Reserved) == 52 &&
              offsetof(API_SubgroupData, Test_Start) == 56 &&
              offsetof(API_SubgroupData, Test_End) == 60);

struct API_TestData {
  std::int32_t Sn, Tsno, Sbno, Def, Gage;
  platform::WireDouble Val;
  std::int32_t Reserved;
};

static_assert(sizeof(API_TestData) == 32);
static_assert(offsetof(API_TestData, Sn) == 0 && offsetof(API_TestData, Tsno) == 4 &&
              offsetof(API_TestData, Sbno) == 8 && offsetof(API_TestData, Def) == 12 &&
              offsetof(API_TestData, Gage) == 16 && offsetof(API_TestData, Val) == 20 &&
              offsetof(API_TestData, Reserved) == 28);

struct API_DescriptorData {
  std::int32_t Sgrp, Dsgp, Desc, Tsno;
  std::int32_t Reserved[5];
};

static_assert(sizeof(API_DescriptorData) == 36);
static_assert(offsetof(API_DescriptorData, Sgrp) == 0 && offsetof(API_DescriptorData, Dsgp) == 4 &&
              offsetof(API_DescriptorData, Desc) == 8 && offsetof(API_DescriptorData, Tsno) == 12 &&
              offsetof(API_DescriptorData, Reserved) == 16);

struct API_CommentData {
  std::int32_t Sgrp, Reserved1, Edtm;
  std::int32_t Test;  // 0: for the whole subgroup
  std::int32_t Tsno;
  char16_t Empl[32];
  char16_t Note[128];
  std::int32_t Reserved2[4];
};

static_assert(sizeof(API_CommentData) == 356);
static_assert(offsetof(API_CommentData, Sgrp) == 0 && offsetof(API_CommentData, Reserved1) == 4 &&
              offsetof(API_CommentData, Edtm) == 8 && offsetof(API_CommentData, Test) == 12 &&
              offsetof(API_CommentData, Tsno) == 16 && offsetof(API_CommentData, Empl) == 20 &&
              offsetof(API_CommentData, Note) == 84 && offsetof(API_CommentData, Reserved2) == 340);

}  // namespace orvspc
