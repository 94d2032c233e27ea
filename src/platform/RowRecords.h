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

struct API_EventData {
  std::int32_t Evnt;
  std::int32_t Reserved1[2];
  std::int32_t F_TYPE;  // EventTypes
  char16_t F_NAME[32];
  std::int32_t F_EMPL, F_EVTM, F_PRCS, F_PART;
  std::int32_t F_TEST_;  // F_TEST is a macro of the C library
  std::int32_t F_SGTM;
  std::int32_t F_ACC, F_ACEM, F_ACTM;
  std::int32_t F_CAC, F_CAEM, F_CATM;
  std::int32_t F_FLAG;  // EventFlags
  std::int32_t Reserved2[4];
};

static_assert(sizeof(API_EventData) == 148);
static_assert(offsetof(API_EventData, Evnt) == 0 && offsetof(API_EventData, Reserved1) == 4 &&
              offsetof(API_EventData, F_TYPE) == 12 && offsetof(API_EventData, F_NAME) == 16 &&
              offsetof(API_EventData, F_EMPL) == 80 && offsetof(API_EventData, F_EVTM) == 84 &&
              offsetof(API_EventData, F_PRCS) == 88 && offsetof(API_EventData, F_PART) == 92 &&
              offsetof(API_EventData, F_TEST_) == 96 && offsetof(API_EventData, F_SGTM) == 100 &&
              offsetof(API_EventData, F_ACC) == 104 && offsetof(API_EventData, F_ACEM) == 108 &&
              offsetof(API_EventData, F_ACTM) == 112 && offsetof(API_EventData, F_CAC) == 116 &&
              offsetof(API_EventData, F_CAEM) == 120 && offsetof(API_EventData, F_CATM) == 124 &&
              offsetof(API_EventData, F_FLAG) == 128 && offsetof(API_EventData, Reserved2) == 132);

}  // namespace orvspc
