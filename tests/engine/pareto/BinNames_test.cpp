// SPDX-License-Identifier: Apache-2.0
#include "engine/time/calendar.h"
#include "platform/Enumerations.h"
#include "platform/TimeText.h"
#include "tests/engine/pareto/pareto_fixture.h"

namespace orvspc::engine::pareto {
using namespace time;
using namespace sql;
using namespace catalogue;
using namespace store;
using namespace import;

namespace {

class BinNamesTest : public ParetoTest {
 protected:
  void SetUp() override {
    Import("code,name\nDI,Dirt in the paint\n", ImportKind::Defects);
    Import("kind,group,name\ndefect,Surface,DI\n", ImportKind::Groups);
    Import(
        "part,process,test,subgroup,time,count,size,defect,shift,tsno,sbno,descriptor:Oven\n"
        "Bolt / M8,P,T,Lot 7 / 1,2024-01-31T22:30:00,4,50,DI,Early shift of the week,3,2,Hot\n");
    Import("code,type\nRun,run\n", ImportKind::StateCodes);
  }
};

// A name of every level kind, also where the name of the bin is cut or holds a slash.
TEST_F(BinNamesTest, EveryKindOfLevelHasItsName) {
  Data().Set("time_zone", "+02:00");
  struct Row {
    std::int32_t resource, type, id;
    const char* name;
  };
  const auto stamp = static_cast<std::int32_t>(*platform::ParseIsoTime("2024-01-31T22:00:00"));
  const Row rows[] = {
      {paSubgroups, paBinTypeDefect, Id(ItemKind::Defect, "DI"), "Dirt in the paint"},
      {paSubgroups, paBinTypePart, Id(ItemKind::Part, "Bolt / M8"), "Bolt / M8"},
      {paSubgroups, paBinTypeShift, 1, "Early shift of the week"},
      {paSubgroups, paBinTypeDfgp, 1, "Surface"},
      {paSubgroups, paBinTypeSgDesc, 1, "Hot"},
      {paSubgroups, paBinTypeDsgp, 1, "Oven"},
      {paSubgroups, paBinTypeTSNO, 3, "3"},
      {paSubgroups, paBinTypeSBNO, 2, "2"},
      {paSubgroups, paBinTypeSubgroup, 1, "Lot 7 / 1"},
      {paSubgroups, paBinTypeShift, 0, "(none)"},
      {paSubgroups, paBinTypeShift, 99, "99"},
      {paProcessState, paBinTypeStateType, pst_Run, "run"},
      {paProcessState, paBinTypeStateCode, 1, "Run"},
      {paProcessEvents, paBinTypeEventType, etDonwtime, "downtime"},
      {paProcessEvents, paBinTypeTime, stamp, "2024-02-01 00:00"},
      {paSubgroups, paBinTypeTime, 0, "1970-01-01 02:00"},
  };
  for (const auto& row : rows) {
    auto options = ParetoOptions({paBinTypeTime, row.type});
    options.BinTimePeriod[0] = options.BinTimePeriod[1] = paHours;
    const auto name_of = BinNamesOf(Db(), row.resource, options);
    EXPECT_EQ(name_of(1, row.id), row.name) << row.type;
    EXPECT_EQ(name_of(2, row.id), "") << row.type;
  }
}

TEST_F(BinNamesTest, LevelsGoByTheirPlace) {
  auto options = ParetoOptions({paBinTypeNone, paBinTypePart});
  const auto name_of = BinNamesOf(Db(), paSubgroups, options);
  EXPECT_EQ(name_of(0, 1), "");
  EXPECT_EQ(name_of(1, 1), "Bolt / M8");
}

TEST_F(BinNamesTest, WhatCannotBeBinnedHasNoNames) {
  EXPECT_EQ(BinNamesOf(Db(), paSubgroups, ParetoOptions({paBinTypeACC}))(0, 1), "");
}

}  // namespace
}  // namespace orvspc::engine::pareto
