// SPDX-License-Identifier: Apache-2.0
#pragma once

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

struct API_TestData {
  std::int32_t Sn, Tsno, Sbno, Def, Gage;
  platform::WireDouble Val;
  std::int32_t Reserved;
};

static_assert(sizeof(API_TestData) == 32);

struct API_DescriptorData {
  std::int32_t Sgrp, Dsgp, Desc, Tsno;
  std::int32_t Reserved[5];
};

static_assert(sizeof(API_DescriptorData) == 36);

struct API_CommentData {
  std::int32_t Sgrp, Reserved1, Edtm;
  std::int32_t Test;  // 0: for the whole subgroup
  std::int32_t Tsno;
  char16_t Empl[32];
  char16_t Note[128];
  std::int32_t Reserved2[4];
};

static_assert(sizeof(API_CommentData) == 356);

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

}  // namespace orvspc
