// SPDX-License-Identifier: Apache-2.0
#include <cmath>

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

using Strings = std::vector<std::string>;
using Doubles = std::vector<double>;

std::int32_t At(const char* time) {
  return static_cast<std::int32_t>(*platform::ParseIsoTime(time));
}

// Frequencies of five causes and their percentages, as printed for a Pareto chart in the articles
// of the R package qcc (luca-scr/qcc).
TEST_F(ParetoTest, FiveCausesAreRankedWithTheirPrintedPercentages) {
  Import(
      "part,process,test,subgroup,time,count,size,defect\n"
      "A,P,Order,1,2024-01-01,80,500,price code\nA,P,Order,1,2024-01-01,27,500,schedule date\n"
      "A,P,Order,1,2024-01-01,66,500,supplier code\nA,P,Order,1,2024-01-01,94,500,contact num.\n"
      "A,P,Order,1,2024-01-01,33,500,part num.\n");
  const auto bins = Bins(paSubgroups, ParetoOptions({paBinTypeDefect}));
  EXPECT_EQ(Names(bins),
            (Strings{"contact num.", "price code", "supplier code", "part num.", "schedule date"}));
  EXPECT_EQ(Values(bins), (Doubles{94, 80, 66, 33, 27}));
  const double percent[] = {31.33, 26.67, 22.0, 11.0, 9.0};
  const double cumulative[] = {31.33, 58.0, 80.0, 91.0, 100.0};
  double sum = 0.0;
  for (std::size_t i = 0; i < bins.size(); ++i) {
    EXPECT_NEAR(bins[i].Percentage[0], percent[i], 0.005);
    EXPECT_EQ(bins[i].Percentage[1], 0.0);
    sum += bins[i].Percentage[0];
    EXPECT_NEAR(sum, cumulative[i], 0.005);
    EXPECT_EQ(bins[i].BinCount, bins[i].Value);
    EXPECT_EQ(bins[i].Factor, bins[i].Value);
    EXPECT_EQ(bins[i].Total, 500.0);
    EXPECT_NEAR(bins[i].Yield, 100.0 - bins[i].Value / 5.0, 1e-12);
    EXPECT_EQ(bins[i].Flag, kBinHasYield);
    EXPECT_EQ(bins[i].SubgroupID, 1);
  }
}

class DefectsTest : public ParetoTest {
 protected:
  void SetUp() override {
    Import(
        "part,process,test,subgroup,time,count,size,defect,shift,flag\n"
        "A,P,T,1,2024-01-31T23:30:00,4,50,D1,Early,\nA,P,T,1,2024-01-31T23:30:00,1,50,D2,Early,\n"
        "A,P,T,2,2024-02-10,3,50,D2,Late,\nB,P,T,3,2024-04-01,2,40,D3,Early,\n"
        "B,P,T,4,2024-04-02,0,60,,Late,\nB,P,T,5,2024-04-03,100,60,D3,Late,disabled\n");
  }
};

TEST_F(DefectsTest, TotalsCountEverySubgroupOfTheBinNotOnlyThoseWithTheDefect) {
  auto bins = Bins(paSubgroups, ParetoOptions({paBinTypeDefect}));
  EXPECT_EQ(Names(bins), (Strings{"D1", "D2", "D3"}));  // 4, 4, 2
  for (const auto& bin : bins) EXPECT_EQ(bin.Total, 200.0);
  bins = Bins(paSubgroups, ParetoOptions({paBinTypeShift, paBinTypeDefect}));
  EXPECT_EQ(Names(bins), (Strings{"Early / D1", "Early / D3", "Early / D2", "Late / D2"}));
  EXPECT_EQ(bins[0].Total, 90.0);
  EXPECT_EQ(bins[3].Total, 110.0);  // the one without any defect included
  EXPECT_DOUBLE_EQ(bins[3].Yield, 100.0 * (1.0 - 3.0 / 110.0));
  EXPECT_DOUBLE_EQ(bins[0].Percentage[0], 70.0);
  EXPECT_DOUBLE_EQ(bins[0].Percentage[1], 40.0);
}

TEST_F(DefectsTest, TiesStandByNameWithoutCaseAndThenByIdentifier) {
  Import(
      "part,process,test,subgroup,time,count,size,defect\n"
      "A,P,Ties,9,2024-05-01,7,9,b\nA,P,Ties,9,2024-05-01,7,9,C\nA,P,Ties,9,2024-05-01,7,9,A\n"
      "A,P,Ties,9,2024-05-01,7,9,c\nA,P,Ties,9,2024-05-01,8,9,z\n");
  FlatSelection selection;
  selection.List(FlatSelection::kTest, {Id(ItemKind::Test, "Ties")});
  const auto bins = Bins(paSubgroups, ParetoOptions({paBinTypeDefect}), selection);
  EXPECT_EQ(Names(bins), (Strings{"z", "A", "b", "C", "c"}));
}

TEST_F(DefectsTest, DisabledSubgroupsCountOnlyWhereTheyAloneAreAskedFor) {
  FlatSelection selection;
  for (const std::int32_t status : {0, 1, 3, 7}) {
    selection.info.Status = status;
    const auto bins = Bins(paSubgroups, ParetoOptions({paBinTypePart}), selection);
    ASSERT_EQ(bins.size(), 2u) << status;
    EXPECT_EQ(Values(bins), (Doubles{8, 2})) << status;
    EXPECT_EQ(selection.info.Status, status == 0 ? 7 : status);
  }
  selection.info.Status = 2;
  const auto bins = Bins(paSubgroups, ParetoOptions({paBinTypePart}), selection);
  ASSERT_EQ(bins.size(), 1u);
  EXPECT_EQ(bins[0].Value, 100.0);
  EXPECT_EQ(bins[0].Yield, 0.0);  // 100 defects on 60 units: none of them is good
}

TEST_F(DefectsTest, ADefectFilterNarrowsRowsAndKeepsTheUnits) {
  FlatSelection selection;
  selection.List(FlatSelection::kDefect, {Id(ItemKind::Defect, "D1")});
  const auto bins = Bins(paSubgroups, ParetoOptions({paBinTypeDefect}), selection);
  ASSERT_EQ(bins.size(), 1u);
  EXPECT_EQ(bins[0].Value, 4.0);
  EXPECT_EQ(bins[0].Total, 200.0);
  EXPECT_EQ(bins[0].Percentage[0], 100.0);
}

TEST_F(DefectsTest, BinsAreCutAndTheirSharesAreStillOfEverything) {
  const auto bins = Bins(paSubgroups, ParetoOptions({paBinTypeShift, paBinTypeDefect}, 2));
  EXPECT_EQ(Names(bins), (Strings{"Early / D1", "Early / D3"}));
  EXPECT_DOUBLE_EQ(bins[1].Percentage[0], 70.0);
  EXPECT_DOUBLE_EQ(bins[1].Percentage[1], 20.0);
  EXPECT_TRUE(Bins(paSubgroups, ParetoOptions({paBinTypeDefect}, 0)).empty());
  EXPECT_TRUE(Bins(paSubgroups, ParetoOptions({paBinTypeDefect}, -1)).empty());
}

TEST_F(DefectsTest, MonthsAndQuartersAreThoseOfTheZoneAndInOrder) {
  auto options = ParetoOptions({paBinTypeTime});
  options.BinTimePeriod[0] = paMonths;
  auto bins = Bins(paSubgroups, options);
  EXPECT_EQ(Names(bins), (Strings{"2024-01-01 00:00", "2024-02-01 00:00", "2024-04-01 00:00"}));
  EXPECT_EQ(Values(bins), (Doubles{5, 3, 2}));
  EXPECT_EQ(bins[0].ID[0], At("2024-01-01"));
  options.BinTimePeriod[0] = paQuarters;
  bins = Bins(paSubgroups, options);
  EXPECT_EQ(Names(bins), (Strings{"2024-01-01 00:00", "2024-04-01 00:00"}));
  Data().Set("time_zone", "+02:00");
  options.BinTimePeriod[0] = paMonths;
  bins = Bins(paSubgroups, options);
  EXPECT_EQ(Names(bins), (Strings{"2024-02-01 00:00", "2024-04-01 00:00"}));
  EXPECT_EQ(bins[0].ID[0], At("2024-01-31T22:00:00"));
  EXPECT_EQ(bins[0].Total, 100.0);
}

TEST_F(DefectsTest, EmptyBinsStandBehindTheOthersAndTimesInTheirPlace) {
  Import("code\nD9\nD0\n", ImportKind::Defects);
  auto options = ParetoOptions({paBinTypeDefect});
  options.ShowEmptyBins = -1;
  auto bins = Bins(paSubgroups, options);
  EXPECT_EQ(Names(bins), (Strings{"D1", "D2", "D3", "D0", "D9"}));
  EXPECT_EQ(bins[3].Flag, kBinEmpty | kBinHasYield);
  EXPECT_EQ(bins[3].Yield, 100.0);
  EXPECT_EQ(bins[3].Total, 200.0);
  EXPECT_EQ(bins[3].SubgroupID, 0);
  options.BinCount = 4;
  EXPECT_EQ(Names(Bins(paSubgroups, options)), (Strings{"D1", "D2", "D3", "D0"}));

  options = ParetoOptions({paBinTypeTime, paBinTypeShift});
  options.ShowEmptyBins = -1;
  options.BinTimePeriod[0] = paMonths;
  bins = Bins(paSubgroups, options);
  EXPECT_EQ(Names(bins), (Strings{"2024-01-01 00:00 / Early", "2024-01-01 00:00 / Late",
                                  "2024-02-01 00:00 / Late", "2024-02-01 00:00 / Early",
                                  "2024-03-01 00:00 / Early", "2024-03-01 00:00 / Late",
                                  "2024-04-01 00:00 / Early", "2024-04-01 00:00 / Late"}));
  EXPECT_EQ(bins[4].Flag, kBinEmpty);  // nothing was inspected
  EXPECT_EQ(bins[7].Total, 60.0);      // inspected and nothing found
  EXPECT_EQ(bins[7].Flag, kBinEmpty | kBinHasYield);
}

TEST_F(DefectsTest, EmptyBinsAreThoseOfTheFilterWhereItListsItems) {
  auto options = ParetoOptions({paBinTypeShift});
  options.ShowEmptyBins = -1;
  Import("kind,group,name\nshift,Nights,Night 1\nshift,Nights,Night 2\nshift,Nights,Late\n",
         ImportKind::Groups);
  FlatSelection selection;
  selection.Group(FlatSelection::kShift, 1);
  EXPECT_EQ(Names(Bins(paSubgroups, options, selection)), (Strings{"Late", "Night 1", "Night 2"}));
  FlatSelection every;
  EXPECT_EQ(Names(Bins(paSubgroups, options, every)),
            (Strings{"Early", "Late", "Night 1", "Night 2"}));
  options = ParetoOptions({paBinTypeSubgroup});
  options.ShowEmptyBins = -1;
  EXPECT_EQ(Names(Bins(paSubgroups, options)), (Strings{"1", "2", "3", "4"}));
}

TEST_F(DefectsTest, EmptyBinsOfGroupsAndPlacesObeyTheFilterOfTheirItems) {
  Import(
      "kind,group,name\nshift,Nights,Night 1\nshift,Days,Late\nshift,Days,Early\n"
      "defect,Paint,D1\ndefect,Body,D9\ndefect,Glass,D8\n",
      ImportKind::Groups);
  Import("process,site\nP,North\nQ,South\n", ImportKind::Processes);
  auto options = ParetoOptions({paBinTypeDfgp});
  options.ShowEmptyBins = -1;
  FlatSelection selection;
  selection.List(FlatSelection::kDefect, {Id(ItemKind::Defect, "D1"), Id(ItemKind::Defect, "D9")});
  EXPECT_EQ(Names(Bins(paSubgroups, options, selection)), (Strings{"Paint", "Body"}));
  EXPECT_EQ(Names(Bins(paSubgroups, options)), (Strings{"(none)", "Paint", "Body", "Glass"}));
  options = ParetoOptions({paBinTypeSite});
  options.ShowEmptyBins = -1;
  EXPECT_EQ(Names(Bins(paSubgroups, options)), (Strings{"North", "South"}));
  FlatSelection here;
  here.List(FlatSelection::kProcess, {Id(ItemKind::Process, "P")});
  EXPECT_EQ(Names(Bins(paSubgroups, options, here)), (Strings{"North"}));
}

TEST_F(DefectsTest, AListThatIsCutSaysSo) {
  Bins(paSubgroups, ParetoOptions({paBinTypeDefect}, 2));
  EXPECT_EQ(NoteText(), "bins-cut: Only the first 2 bins are given; there are more\n");
  Bins(paSubgroups, ParetoOptions({paBinTypeDefect}, 3));
  EXPECT_EQ(NoteText(), "");
}

// Import takes no such weight; another program may have written it.
TEST_F(ParetoTest, AFigureThatOverflowsIsZero) {
  Import(
      "part,process,test,subgroup,time,count,size,defect\n"
      "A,P,T,1,2024-01-01,1000,5000,D\nA,P,T,1,2024-01-01,1000,5000,E\n");
  RunSql(Path(), "UPDATE defect SET factor = 1e308");
  Reopen();
  auto options = ParetoOptions({paBinTypeDefect});
  options.ProcessingType = paProcessByFactor;
  const auto bins = Bins(paSubgroups, options);
  ASSERT_EQ(bins.size(), 2u);
  for (const auto& bin : bins) {
    EXPECT_EQ(bin.Value, 0.0);
    EXPECT_EQ(bin.Factor, 0.0);
    EXPECT_EQ(bin.Percentage[0], 0.0);
    EXPECT_EQ(bin.BinCount, 1000.0);
    EXPECT_EQ(bin.Total, 5000.0);
  }
}

TEST_F(ParetoTest, ARateOfNothingInspectedSaysSo) {
  Import(
      "part,process,test,subgroup,time,count,size,defect\n"
      "A,P,T,1,2024-01-01,3,0,D\nB,P,T,2,2024-01-01,3,10,D\n");
  auto options = ParetoOptions({paBinTypePart});
  Bins(paSubgroups, options);
  EXPECT_EQ(NoteText(), "");
  options.ProcessingType = paProcessByPPM;
  EXPECT_EQ(Values(Bins(paSubgroups, options)), (Doubles{300000, 0}));
  EXPECT_EQ(NoteText(),
            "no-total: 1 bin has nothing inspected that the count could be a rate of; the value "
            "there is 0\n");
}

// The levels of a second by empty seconds would be millions; only those that are shown are made.
TEST_F(DefectsTest, EmptyTimesAreMadeUpToTheCut) {
  auto options = ParetoOptions({paBinTypeTime}, 50);
  options.ShowEmptyBins = -1;
  const auto bins = Bins(paSubgroups, options);
  ASSERT_EQ(bins.size(), 50u);
  EXPECT_EQ(bins[0].Value, 5.0);
  EXPECT_EQ(bins[49].ID[0], bins[0].ID[0] + 49);
}

// Five million empty seconds, none of which has a piece to show.
TEST_F(DefectsTest, EmptyTimesWithoutItemsBelowAreNotWalkedThrough) {
  auto options = ParetoOptions({paBinTypeTime, paBinTypeTSNO}, 50);
  const auto without = Names(Bins(paSubgroups, options));
  options.ShowEmptyBins = -1;
  EXPECT_EQ(Names(Bins(paSubgroups, options)), without);
  EXPECT_EQ(without.size(), 3u);
}

TEST_F(DefectsTest, RatesAreOfTheUnitsOfTheBin) {
  auto options = ParetoOptions({paBinTypePart});
  options.ProcessingType = paProcessByPPM;
  auto bins = Bins(paSubgroups, options);
  EXPECT_EQ(Values(bins), (Doubles{80000, 20000}));  // 8 of 100, 2 of 100
  options.ProcessingType = paProcessByPPT;
  EXPECT_EQ(Values(Bins(paSubgroups, options)), (Doubles{80, 20}));
  // Without units there is no rate.
  Import("part,process,test,subgroup,time,count\nC,P,U,1,2024-01-01,5\n");
  bins = Bins(paSubgroups, options);
  ASSERT_EQ(bins.size(), 3u);
  EXPECT_EQ(bins[2].Value, 0.0);
  EXPECT_EQ(bins[2].Flag, 0);
}

TEST_F(DefectsTest, TimesOnSubgroupsAreCounts) {
  for (const std::int32_t measure : {paProcessByMinutes, paProcessByHours, paProcessByDays}) {
    auto options = ParetoOptions({paBinTypePart});
    options.ProcessingType = measure;
    options.AccumulationType = paAccumulateByEventTime;
    EXPECT_EQ(Values(Bins(paSubgroups, options)), (Doubles{8, 2})) << measure;
  }
}

TEST_F(DefectsTest, HitsCountRows) {
  auto options = ParetoOptions({paBinTypeDefect});
  options.AccumulationType = paAccumulateByHits;
  const auto bins = Bins(paSubgroups, options);
  EXPECT_EQ(Names(bins), (Strings{"D2", "D1", "D3"}));
  EXPECT_EQ(Values(bins), (Doubles{2, 1, 1}));
  EXPECT_EQ(bins[0].BinCount, 2.0);
}

TEST_F(DefectsTest, WeightsAreThoseOfTheCodesAndSharesFollowThem) {
  Import("code,factor,name\nD3,10,Three\nD2,0.5,\n", ImportKind::Defects);
  auto options = ParetoOptions({paBinTypeDefect});
  options.ProcessingType = paProcessByFactor;
  const auto bins = Bins(paSubgroups, options);
  EXPECT_EQ(Names(bins), (Strings{"Three", "D1", "D2"}));
  EXPECT_EQ(Values(bins), (Doubles{20, 4, 2}));
  EXPECT_DOUBLE_EQ(bins[0].Percentage[0], 100.0 * 20 / 26);
  EXPECT_EQ(bins[0].BinCount, 2.0);
}

// On part A 3 with the code D3, 2 with D1, which was given no weight, 5 without a code, and two
// pieces outside the limits, one of them with D3; without a code 7 on B, 1 on C, which has no
// weight.
TEST_F(ParetoTest, WhatHasNoDefectCodeWeighsWhatItsPartDoes) {
  Import("code,factor\nD3,10\nD1,\n", ImportKind::Defects);
  Import("part,factor\nA,4\nB,0.5\n", ImportKind::Parts);
  Import("part,test,usl\nA,V,11\nB,V,11\n", ImportKind::Limits);
  Import(
      "part,process,test,subgroup,time,count,defect\n"
      "A,P,T,1,2024-01-01,3,D3\nA,P,T,1,2024-01-01,2,D1\nA,P,T,2,2024-01-02,5,\n"
      "B,P,T,3,2024-01-03,7,\nC,P,T,4,2024-01-04,1,\n");
  Import(
      "part,process,test,subgroup,time,value,defect\n"
      "A,P,V,1,2024-01-01,12,\nA,P,V,2,2024-01-02,12,D3\nA,P,V,3,2024-01-03,10,\n");
  auto options = ParetoOptions({paBinTypePart});
  options.ProcessingType = paProcessByFactor;
  const auto bins = Bins(paSubgroups, options);
  EXPECT_EQ(Names(bins), (Strings{"A", "B", "C"}));
  EXPECT_EQ(Values(bins), (Doubles{3 * 10 + 2 + 5 * 4 + 4 + 10, 3.5, 1}));
  EXPECT_EQ(bins[0].Factor, bins[0].Value);
  EXPECT_EQ(bins[0].BinCount, 12.0) << "is not weighted";
  EXPECT_DOUBLE_EQ(bins[1].Percentage[0], 100.0 * 3.5 / 70.5);

  options.BinType[0] = paBinTypeDefect;
  const auto defects = Bins(paSubgroups, options);
  EXPECT_EQ(Names(defects), (Strings{"D3", "(none)", "D1"}));
  EXPECT_EQ(Values(defects), (Doubles{40, 28.5, 2}));

  options.AccumulationType = paAccumulateByHits;
  EXPECT_EQ(Values(Bins(paSubgroups, options)), (Doubles{20, 9.5, 1}));
}

// 0.1 + 0.1 + 0.1 is not 0.3 in doubles.
TEST_F(ParetoTest, ValuesThatDifferByRoundingAloneAreTies) {
  Import("code,factor\nB,0.1\nA,0.3\n", ImportKind::Defects);
  Import(
      "part,process,test,subgroup,time,count,defect\n"
      "A,P,T,1,2024-01-01,1,B\nA,P,T,2,2024-01-02,1,B\nA,P,T,3,2024-01-03,1,B\n"
      "A,P,T,4,2024-01-04,1,A\n");
  auto options = ParetoOptions({paBinTypeDefect});
  options.ProcessingType = paProcessByFactor;
  const auto bins = Bins(paSubgroups, options);
  ASSERT_NE(bins[0].Value, bins[1].Value);
  EXPECT_EQ(Names(bins), (Strings{"A", "B"}));
}

TEST_F(ParetoTest, AnItemOfSeveralGroupsCountsInTheFirst) {
  Import("code,group\nD1,Zeta\nD2,Zeta\nD1,Alpha\nD3,Alpha\n", ImportKind::Defects);
  Import(
      "part,process,test,subgroup,time,count,defect\nA,P,T,1,2024-01-01,5,D1\n"
      "A,P,T,1,2024-01-01,4,D2\nA,P,T,1,2024-01-01,3,D3\nA,P,T,1,2024-01-01,2,D4\n");
  auto options = ParetoOptions({paBinTypeDfgp});
  const auto bins = Bins(paSubgroups, options);
  EXPECT_EQ(Names(bins), (Strings{"Zeta", "Alpha", "(none)"}));
  EXPECT_EQ(Values(bins), (Doubles{9, 3, 2}));
  EXPECT_EQ(bins[2].ID[0], 0);
}

TEST_F(ParetoTest, ANamedUnitWithSeveralDefectsIsOneBadUnit) {
  Import(
      "part,process,test,subgroup,time,count,size,tsno,defect\n"
      "A,P,T,1,2024-01-01,2,10,1,D1\nA,P,T,1,2024-01-01,1,10,1,D2\n"
      "A,P,T,1,2024-01-01,1,10,2,D1\nA,P,T,1,2024-01-01,3,10,,D1\n");
  const auto bins = Bins(paSubgroups, ParetoOptions({paBinTypePart}));
  ASSERT_EQ(bins.size(), 1u);
  EXPECT_EQ(bins[0].Value, 7.0);
  EXPECT_DOUBLE_EQ(bins[0].Yield, 50.0);  // units 1 and 2, and three that are not named
}

TEST_F(ParetoTest, PiecesOfVariableTestsAreFoundByTheLimitsOfTheirTime) {
  Import("part,test,usl,lsl,effective\nA,T,11,9,\nA,T,10.5,9.5,2024-02-01\n", ImportKind::Limits);
  Import(
      "part,process,test,subgroup,time,value,tsno,sbno,defect\n"
      "A,P,T,1,2024-01-01,10.8,1,,\nA,P,T,1,2024-01-01,11.2,2,,\nA,P,T,1,2024-01-01,10,3,,D\n"
      "A,P,T,2,2024-02-01,10.8,1,,\nA,P,T,2,2024-02-01,10.5,2,,\n"
      "A,P,T,2,2024-02-01,10,3,,\nA,P,T,2,2024-02-01,99,3,1,\n");
  auto bins = Bins(paSubgroups, ParetoOptions({paBinTypeSubgroup}));
  EXPECT_EQ(Names(bins), (Strings{"1", "2"}));
  EXPECT_EQ(Values(bins), (Doubles{2, 1}));  // 11.2 and the defect; 10.8
  EXPECT_EQ(bins[0].Total, 3.0);
  bins = Bins(paSubgroups, ParetoOptions({paBinTypePart}));
  ASSERT_EQ(bins.size(), 1u);
  // The six pieces 10.8 11.2 10 10.8 10.5 10 against 9.5 and 10.5, by hand: mean 10.55, sum of
  // squares 1.155, variance 0.231.
  EXPECT_NEAR(bins[0].PPK, -0.05 / (3.0 * std::sqrt(0.231)), 1e-12);
  EXPECT_EQ(bins[0].Flag, kBinHasPpk | kBinHasYield);
  EXPECT_EQ(bins[0].Yield, 50.0);
  EXPECT_EQ(bins[0].SubgroupID, 2);
}

TEST_F(ParetoTest, ThereIsNoPpkOfSeveralTestsOrWithoutLimitsOrSpread) {
  Import("part,test,usl,lsl\nA,T,11,9\nB,T,11,9\nC,T,11,9\nE,T,11,9\n", ImportKind::Limits);
  Import(
      "part,process,test,subgroup,time,value,defect,job\n"
      "A,P,T,1,2024-01-01,10,D,J\nA,P,T,1,2024-01-01,10.2,D,J\n"
      "B,P,T,2,2024-01-01,10,D,J\nB,P,T,2,2024-01-01,10.2,D,J\n"
      "C,P,T,3,2024-01-01,10,D,K\nC,P,T,3,2024-01-01,10,D,K\n"
      "N,P,T,4,2024-01-01,10,D,L\nN,P,T,4,2024-01-01,10.4,D,L\n"
      "E,P,T,5,2024-01-01,10,D,M\nE,P,T,5,2024-01-01,10.4,D,M\n");
  Import("part,process,test,subgroup,time,count,defect,job\nE,P,U,5,2024-01-01,10,D,M\n");
  for (const auto& bin : Bins(paSubgroups, ParetoOptions({paBinTypeJob}))) {
    const bool has = NameOf(bin) == "M";  // counts of another test are no values
    EXPECT_EQ(bin.PPK != 0.0, has) << NameOf(bin);
    EXPECT_EQ((bin.Flag & kBinHasPpk) != 0, has) << NameOf(bin);
  }
  const auto bins = Bins(paSubgroups, ParetoOptions({paBinTypePart}));
  ASSERT_EQ(bins.size(), 5u);
  for (const auto& bin : bins) {
    const bool has = NameOf(bin) == "A" || NameOf(bin) == "B" || NameOf(bin) == "E";
    EXPECT_EQ((bin.Flag & kBinHasPpk) != 0, has) << NameOf(bin);
  }
}

TEST_F(ParetoTest, DescriptorsAreThoseOfTheGroupThatIsAskedFor) {
  Import(
      "part,process,test,subgroup,time,count,defect,descriptor:colour,descriptor:mould\n"
      "A,P,T,1,2024-01-01,5,D,red,m1\nA,P,T,2,2024-01-02,4,D,blue,\nA,P,T,3,2024-01-03,3,D,,m1\n");
  const auto group = [&](const char* name) { return *Data().FindDescriptorGroup(name); };
  auto options = ParetoOptions({paBinTypeSgDesc});
  options.BinTypeID[0] = group("colour");
  EXPECT_EQ(Names(Bins(paSubgroups, options)), (Strings{"red", "blue", "(none)"}));
  options.BinTypeID[0] = group("mould");
  EXPECT_EQ(Names(Bins(paSubgroups, options)), (Strings{"m1", "(none)"}));
  EXPECT_EQ(Names(Bins(paSubgroups, ParetoOptions({paBinTypeDsgp}))), (Strings{"colour", "mould"}));
}

TEST_F(ParetoTest, WhatAResourceLacksGivesNoBinsAndANote) {
  Import("part,process,test,subgroup,time,count,defect\nA,P,T,1,2024-01-01,5,D\n");
  Import("type,time\ngeneral,2024-01-01\n", ImportKind::Events);
  Import("process,time,state,type\nP,2024-01-01,Run,run\n", ImportKind::States);
  const std::vector<std::int32_t> accepted[] = {
      {1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 17,
       18, 19, 20, 21, 22, 25, 26, 27, 28, 29, 30, 31, 34},
      {2, 3, 4, 5, 9, 14, 15, 16, 19, 20, 21, 25, 26, 27, 28, 29, 30, 32, 33, 35},
      {2, 4, 20, 23, 24, 25, 26, 27, 28, 29, 30}};
  for (const auto resource : {paSubgroups, paProcessEvents, paProcessState}) {
    for (std::int32_t type = -1; type <= 36; ++type) {
      const auto& list = accepted[resource];
      const bool takes = std::find(list.begin(), list.end(), type) != list.end();
      for (std::size_t level = 0; level < 3; ++level) {
        auto options = ParetoOptions({}, 10);
        options.BinType[level] = type;
        const auto bins = Bins(resource, options);
        EXPECT_EQ(!bins.empty(), takes) << resource << " " << type << " " << level;
        EXPECT_EQ(NoteText().empty(), takes) << resource << " " << type;
        EXPECT_EQ(failure_, "");
        if (takes) {
          EXPECT_EQ(bins[0].Percentage[level], 100.0);
          EXPECT_EQ(bins[0].ID[(level + 1) % 3], 0);
        }
      }
    }
  }
}

TEST_F(ParetoTest, WordsThatSayNothingGiveNoBinsAndANote) {
  Import("part,process,test,subgroup,time,count,defect\nA,P,T,1,2024-01-01,5,D\n");
  struct Row {
    const char* says;
    void (*change)(API_PAOptions&);
  };
  const Row rows[] = {
      {"no level", [](API_PAOptions& o) { o.BinType[0] = paBinTypeNone; }},
      {"time period 7",
       [](API_PAOptions& o) { o.BinType[1] = paBinTypeTime, o.BinTimePeriod[1] = 7; }},
      {"processing type 4", [](API_PAOptions& o) { o.ProcessingType = 4; }},
      {"accumulation type 5", [](API_PAOptions& o) { o.AccumulationType = 5; }},
      {"accumulation type -1", [](API_PAOptions& o) { o.AccumulationType = -1; }},
      {"bin type 36", [](API_PAOptions& o) { o.BinType[2] = 36; }},
      {"by state", [](API_PAOptions& o) { o.BinType[2] = paBinTypeStateCode; }},
  };
  for (const auto& row : rows) {
    auto options = ParetoOptions({paBinTypeDefect}, 10);
    row.change(options);
    EXPECT_TRUE(Bins(paSubgroups, options).empty()) << row.says;
    EXPECT_EQ(result_, 0);
    EXPECT_NE(NoteText().find(row.says), std::string::npos) << row.says;
  }
}

class EventsTest : public ParetoTest {
 protected:
  void SetUp() override {
    Import("code,factor,group\nWear,2,Mechanical\nJam,3,Mechanical\nPower,5,\n",
           ImportKind::AccCodes);
    Import("code,factor\nFix,10\n", ImportKind::CacCodes);
    Import(
        "type,time,name,end,process,acc,acc-time,cac,cac-time\n"
        "downtime,2024-01-01T08:00:00,Stop,2024-01-01T09:00:00,P,Wear,2024-01-01T08:10:00,Fix,"
        "2024-01-01T08:40:00\n"
        "downtime,2024-01-01T10:00:00,Stop,,P,Jam,2024-01-01T10:10:00,Fix,2024-01-01T10:30:00\n"
        "downtime,2024-01-01T12:00:00,Stop,,Q,Jam,2024-01-01T12:06:00,,\n"
        "general,2024-01-02T00:00:00,Note,,Q,,,,\n",
        ImportKind::Events);
    selection_.info.TimeType = drttStatic;
    selection_.info.TimeStart = At("2024-01-01");
    selection_.info.TimeEnd = At("2024-01-03");
  }
  FlatSelection selection_;
};

TEST_F(EventsTest, WhatIsOverOrWasChangedIsNotOpen) {
  Import(
      "type,time,name\n"
      "subgroup-disable,2024-01-02T01:00:00,Disabled\nsubgroup-delete,2024-01-02T01:00:00,Deleted\n"
      "subgroup-edit,2024-01-02T01:00:00,Edited\nsubgroup-alarm,2024-01-02T01:00:00,Imported\n",
      ImportKind::Events);
  Import("part,process,test,subgroup,time,value\nA,P,T,0,2024-01-01T00:00:00Z,10\n");
  Import("part,process,test,mean,sp,sw\nA,P,T,10,1,1\n", ImportKind::ControlLimits);
  Import("number,graph,on\n1,1,yes\n1,2,no\n", ImportKind::Alarms);
  ChangeOptions why;
  why.reason = "trial run";
  Data().Set("alarm_needs", "none");
  std::vector<Alarm> alarms;
  for (int i = 1; i <= 3; ++i) {
    NewRecord record;
    record.part = "A";
    record.process = "P";
    record.test = "T";
    record.time = CurrentTime() + i;
    record.pieces.push_back({14.0, 0, 0, "", "", ""});
    for (const auto& each : Data().Record(record, {}).alarms) alarms.push_back(each);
  }
  ASSERT_EQ(alarms.size(), 3U);
  Data().CloseAlarm(alarms[0].event, {}, why);
  Data().ChangeFlag({alarms[1].first_subgroup}, {}, sfDisabled, why);
  selection_.info.TimeEnd = static_cast<std::int32_t>(CurrentTime()) + 1000;
  const auto open = [&](std::int32_t bin_type) {
    auto options = ParetoOptions({bin_type});
    options.ProcessingType = paProcessByMinutes;
    std::map<std::string, bool> flags;
    const auto bins = Bins(paProcessEvents, options, selection_);
    const auto names = Names(bins);
    for (std::size_t i = 0; i < bins.size(); ++i) {
      flags[names[i]] = (bins[i].Flag & kBinIsOpen) != 0;
    }
    return flags;
  };
  auto by_name = open(paBinTypeEvent);
  EXPECT_TRUE(by_name["Imported"]);
  EXPECT_FALSE(by_name["Disabled"]);
  EXPECT_FALSE(by_name["Deleted"]);
  EXPECT_FALSE(by_name["Edited"]);
  EXPECT_TRUE(by_name["1 point beyond a control limit"]) << "the third alarm";
  Data().ChangeFlag({alarms[2].first_subgroup}, {}, sfDisabled, why);
  by_name = open(paBinTypeEvent);
  EXPECT_FALSE(by_name["1 point beyond a control limit"]);
  EXPECT_TRUE(by_name["Note"]);
}

TEST_F(EventsTest, AMissingEndIsTheActionThenTheCauseThenTheEndOfTheWindow) {
  auto options = ParetoOptions({paBinTypeEvent, paBinTypeTime});
  options.BinTimePeriod[1] = paHours;
  options.ProcessingType = paProcessByMinutes;
  const auto bins = Bins(paProcessEvents, options, selection_);
  EXPECT_EQ(Names(bins), (Strings{"Note / 2024-01-02 00:00", "Stop / 2024-01-01 08:00",
                                  "Stop / 2024-01-01 10:00", "Stop / 2024-01-01 12:00"}));
  EXPECT_EQ(Values(bins), (Doubles{1440, 60, 30, 6}));
  EXPECT_EQ(bins[0].Flag, kBinIsOpen);
  EXPECT_EQ(bins[1].Flag, 0);
  EXPECT_EQ(bins[0].Total, 4.0);
  EXPECT_EQ(bins[0].BinCount, 1.0);
  EXPECT_EQ(bins[0].Yield, 0.0);
}

TEST_F(EventsTest, AnOpenEventLastsToNowWhereTheWindowHasNoEnd) {
  const FixedNow now(At("2024-01-02T03:00:00"));
  FlatSelection without_end;
  auto options = ParetoOptions({paBinTypeEventType});
  options.ProcessingType = paProcessByHours;
  for (auto* selection : {&without_end, &selection_}) {  // nor beyond now
    const auto bins = Bins(paProcessEvents, options, *selection);
    EXPECT_EQ(Names(bins), (Strings{"general", "downtime"}));
    EXPECT_EQ(bins[0].Value, 3.0);
    EXPECT_DOUBLE_EQ(bins[1].Value, 1.6);
  }
}

TEST_F(EventsTest, TimesToCauseAndToActionAreThoseThatAreThere) {
  auto options = ParetoOptions({paBinTypeProcess});
  options.AccumulationType = paAccumulateByAccTime;
  EXPECT_EQ(Values(Bins(paProcessEvents, options, selection_)), (Doubles{1200, 360}));
  options.AccumulationType = paAccumulateByCacTime;
  EXPECT_EQ(Values(Bins(paProcessEvents, options, selection_)), (Doubles{4200, 0}));
  options.ProcessingType = paProcessByMinutes;  // in that time's minutes
  EXPECT_EQ(Values(Bins(paProcessEvents, options, selection_)), (Doubles{70, 0}));
}

TEST_F(EventsTest, TheWeightIsThatOfTheCodeThatIsBinned) {
  auto options = ParetoOptions({paBinTypeACC});
  options.ProcessingType = paProcessByFactor;
  auto bins = Bins(paProcessEvents, options, selection_);
  EXPECT_EQ(Names(bins), (Strings{"Jam", "Wear", "(none)"}));
  EXPECT_EQ(Values(bins), (Doubles{6, 2, 1}));
  options.BinType[0] = paBinTypeCAC;
  bins = Bins(paProcessEvents, options, selection_);
  EXPECT_EQ(Values(bins), (Doubles{20, 2}));  // without an action each counts 1
  options.BinType[0] = paBinTypeAcgp;
  bins = Bins(paProcessEvents, options, selection_);
  EXPECT_EQ(Names(bins), (Strings{"Mechanical", "(none)"}));
  EXPECT_EQ(Values(bins), (Doubles{8, 1}));
}

TEST_F(EventsTest, CountTakesTheNewestEventsAndTheRangeIsWrittenBack) {
  FlatSelection selection;
  selection.info.Count = 2;
  selection.info.TimeType = drttMostRecent;
  selection.info.TimePeriod = drpDay;
  selection.info.TimeCount = 30;
  const auto bins = Bins(paProcessEvents, ParetoOptions({paBinTypeProcess}), selection);
  ASSERT_EQ(bins.size(), 1u);
  EXPECT_EQ(bins[0].Value, 2.0);
  EXPECT_EQ(bins[0].Total, 2.0);
  EXPECT_EQ(selection.info.TimeEnd, At("2024-01-02"));
  EXPECT_EQ(selection.info.TimeStart, At("2023-12-03"));
}

class StatesTest : public ParetoTest {
 protected:
  void SetUp() override {
    Import("code,type,factor\nRun,run,1\nDown,unscheduled-down,4\n", ImportKind::StateCodes);
    Import(
        "process,time,state\n"
        "P,2024-01-01T00:00:00,Run\nP,2024-01-01T06:00:00,Down\nP,2024-01-01T07:00:00,Run\n"
        "P,2024-01-01T20:00:00,Down\nQ,2024-01-01T10:00:00,Run\n",
        ImportKind::States);
    selection_.info.TimeType = drttStatic;
    selection_.info.TimeStart = At("2024-01-01T04:00:00");
    selection_.info.TimeEnd = At("2024-01-01T12:00:00");
  }
  FlatSelection selection_;
};

TEST_F(StatesTest, TimesAreCutToTheWindowTheStateInForceIncluded) {
  auto options = ParetoOptions({paBinTypeProcess, paBinTypeStateCode});
  options.ProcessingType = paProcessByHours;
  const auto bins = Bins(paProcessState, options, selection_);
  EXPECT_EQ(Names(bins), (Strings{"P / Run", "P / Down", "Q / Run"}));
  EXPECT_EQ(Values(bins), (Doubles{7, 1, 2}));
  EXPECT_EQ(bins[0].BinCount, 2.0);
  EXPECT_EQ(bins[0].Total, 8.0 * 3600);
  EXPECT_DOUBLE_EQ(bins[0].Percentage[0], 80.0);
  EXPECT_DOUBLE_EQ(bins[0].Percentage[1], 70.0);
}

TEST_F(StatesTest, EntriesCountOnceAndWeightsAreThoseOfTheState) {
  auto options = ParetoOptions({paBinTypeStateType});
  auto bins = Bins(paProcessState, options, selection_);
  EXPECT_EQ(Names(bins), (Strings{"run", "unscheduled-down"}));
  EXPECT_EQ(Values(bins), (Doubles{3, 1}));
  options.ProcessingType = paProcessByFactor;
  bins = Bins(paProcessState, options, selection_);
  EXPECT_EQ(Values(bins), (Doubles{4, 3}));
  options.AccumulationType = paAccumulateByAccTime;  // a state has none
  for (const auto& bin : Bins(paProcessState, options, selection_)) EXPECT_EQ(bin.Value, 0.0);
}

TEST_F(StatesTest, TheEdgesOfTheWindow) {
  auto options = ParetoOptions({paBinTypeTime, paBinTypeStateCode});
  options.BinTimePeriod[0] = paHours;
  options.AccumulationType = paAccumulateByEventTime;
  selection_.List(FlatSelection::kProcess, {Id(ItemKind::Process, "P")});
  selection_.info.TimeStart = At("2024-01-01T06:00:00");
  selection_.info.TimeEnd = At("2024-01-01T20:00:00");
  const auto bins = Bins(paProcessState, options, selection_);
  // The first Run ends where the window begins; the second Down begins where it ends.
  EXPECT_EQ(Names(bins), (Strings{"2024-01-01 06:00 / Down", "2024-01-01 07:00 / Run",
                                  "2024-01-01 20:00 / Down"}));
  EXPECT_EQ(Values(bins), (Doubles{3600, 13 * 3600, 0}));
}

TEST_F(StatesTest, AWindowWithoutEndsIsFromTheFirstRecordToNow) {
  const FixedNow now(At("2024-01-02T00:00:00"));
  FlatSelection selection;
  selection.info.Count = 1;  // says nothing about states
  auto options = ParetoOptions({paBinTypeStateCode});
  options.ProcessingType = paProcessByHours;
  const auto bins = Bins(paProcessState, options, selection);
  EXPECT_EQ(Names(bins), (Strings{"Run", "Down"}));
  EXPECT_EQ(Values(bins), (Doubles{6 + 13 + 14, 1 + 4}));
  EXPECT_EQ(bins[0].Total, 86400.0);
}

TEST_F(StatesTest, ARelativeWindowCountsBackFromTheNewestRecord) {
  FlatSelection selection;
  selection.info.TimeType = drttMostRecent;
  selection.info.TimePeriod = drpHour;
  selection.info.TimeCount = 4;
  auto options = ParetoOptions({paBinTypeStateCode});
  options.ProcessingType = paProcessByHours;
  EXPECT_EQ(Values(Bins(paProcessState, options, selection)), (Doubles{8, 0}));
  EXPECT_EQ(selection.info.TimeStart, At("2024-01-01T16:00:00"));
  EXPECT_EQ(selection.info.TimeEnd, At("2024-01-01T20:00:00"));
}

TEST_F(ParetoTest, NothingThereIsNoBinsAndNoFailure) {
  Db();
  for (const auto resource : {paSubgroups, paProcessEvents, paProcessState}) {
    EXPECT_TRUE(Bins(resource, ParetoOptions({paBinTypeTime})).empty());
    EXPECT_EQ(failure_, "");
    EXPECT_EQ(NoteText(), "");
  }
  Import("part,process,test,subgroup,time,count,size\nA,P,T,1,2024-01-01,0,9\n");
  EXPECT_TRUE(Bins(paSubgroups, ParetoOptions({paBinTypePart})).empty());
  EXPECT_NE(NoteText().find("nothing-found"), std::string::npos);
  auto options = ParetoOptions({paBinTypePart});
  options.ShowEmptyBins = -1;
  EXPECT_EQ(Names(Bins(paSubgroups, options)), (Strings{"A"}));
}

TEST_F(ParetoTest, AClosedHandleAndAMalformedFilterGiveNothing) {
  Import("part,process,test,subgroup,time,count,defect\nA,P,T,1,2024-01-01,5,D\n");
  ParetoLibrary library;
  FlatSelection all;
  auto filter = all.Filter();
  auto options = ParetoOptions({paBinTypeProcess}, 10);
  std::vector<API_PABin> bins(10);
  const platform::ArrayRef ref{bins.data(), sizeof(API_PABin), bins.size(), {}};
  platform::Pareto6::Work words{};
  EXPECT_EQ(library.VLXPAR_PROC(0, 999999, all.info, filter, ref, options, words), 0);
  const auto handle = Db().ConnectionHandle();
  std::vector<std::int32_t> shorter(filter.begin(), filter.begin() + 5);
  const auto before = all.info;
  EXPECT_EQ(library.VLXPAR_PROC(0, handle, all.info, shorter, ref, options, words), 0);
  EXPECT_TRUE(Db().TakeFailure());
  EXPECT_EQ(library.VLXPAR_EVENT(0, handle, all.info, shorter, ref, options, words), 0);
  EXPECT_TRUE(Db().TakeFailure());
  EXPECT_EQ(library.VLXPAR_STATE(0, handle, all.info, shorter, ref, options, words), 0);
  EXPECT_TRUE(Db().TakeFailure());
  EXPECT_EQ(std::memcmp(&before, &all.info, sizeof before), 0);
  EXPECT_EQ(options.BinCount, 10);
  EXPECT_EQ(bins[0].BinCount, 0.0);
  // Elements of another size are no bins.
  const platform::ArrayRef wrong{bins.data(), 8, bins.size(), {}};
  EXPECT_EQ(library.VLXPAR_PROC(0, handle, all.info, filter, wrong, options, words), 0);
}

TEST_F(DefectsTest, AThousandAnalysesPrepareNothingTwice) {
  auto options = ParetoOptions({paBinTypeShift, paBinTypeDefect}, 10);
  Bins(paSubgroups, options);
  const auto once = PreparedCount();
  for (int i = 0; i < 1000; ++i) ASSERT_EQ(Bins(paSubgroups, options).size(), 4u);
  EXPECT_LE(PreparedCount(), once + 10);
}

// The last of them is the commit that ends the reading.
TEST_F(DefectsTest, AFailureAtAnyStepWritesNothing) {
  auto handle = Db().ConnectionHandle();
  for (int n = 1;; ++n) {
    Opened()->Write([](Connection&) {});  // so that everything is read again
    FlatSelection selection;
    const auto asked = selection.info;
    auto filter = selection.Filter();
    auto options = ParetoOptions({paBinTypeShift}, 10);
    std::vector<API_PABin> bins(10);
    const platform::ArrayRef ref{bins.data(), sizeof(API_PABin), bins.size(), {}};
    platform::Pareto6::Work words{};
    ParetoLibrary library;
    FailStep(n);
    const auto count = library.VLXPAR_PROC(0, handle, selection.info, filter, ref, options, words);
    if (!FailStep(0)) {
      EXPECT_GT(count, 0);
      EXPECT_EQ(options.BinCount, count);
      EXPECT_NE(NameOf(bins[0]), "");
      EXPECT_GT(n, 5);
      break;
    }
    EXPECT_EQ(count, 0) << "step " << n;
    EXPECT_TRUE(Db().TakeFailure()) << "step " << n;
    EXPECT_EQ(std::memcmp(&selection.info, &asked, sizeof asked), 0) << "step " << n;
    EXPECT_EQ(options.BinCount, 10) << "step " << n;
    EXPECT_EQ(bins[0].Value, 0.0) << "step " << n;
    EXPECT_EQ(bins[0].Name[0], 0) << "step " << n;
  }
}

TEST_F(DefectsTest, AFailureAtAnyStepGivesNothingAndAReason) {
  for (const auto resource : {paSubgroups, paProcessEvents, paProcessState}) {
    const auto type = resource == paSubgroups ? paBinTypeShift : paBinTypeProcess;
    int struck = 0;
    for (int n = 1; n < 200; ++n) {
      FailStep(n);
      failure_.clear();
      const auto bins = Bins(resource, ParetoOptions({type}, 10));
      if (!FailStep(0)) break;
      ++struck;
      EXPECT_TRUE(bins.empty()) << "step " << n;
      EXPECT_NE(failure_, "") << "step " << n;
      Opened()->Write([](Connection&) {});  // so that everything is read again
    }
    EXPECT_GT(struck, 3);
  }
}

}  // namespace
}  // namespace orvspc::engine::pareto
