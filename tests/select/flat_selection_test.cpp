// SPDX-License-Identifier: Apache-2.0
// The flat form of a selection in both directions.
#include <gtest/gtest.h>

#include <limits>
#include <numeric>
#include <utility>

#include "frame/Friend.h"
#include "platform/ExternalFailure.h"
#include "select/DataSelect.h"
#include "tests/fake/FailureOf.h"
#include "tests/fake/FakePlatform.h"

namespace orvspc {
namespace {

using Cells = std::vector<std::int32_t>;

struct Flat {
  API_DSInfo info = {};
  Array<std::int32_t> filter;

  Cells Filter() const { return {filter.Elements().begin(), filter.Elements().end()}; }
};

Flat Flatten(const DataSelect& select) {
  Flat flat;
  select.API_GetData(flat.info, flat.filter);
  return flat;
}

Array<std::int32_t> ArrayOf(const Cells& cells) {
  Array<std::int32_t> array;
  if (cells.empty()) return array;
  array.Dimension(0, static_cast<std::int64_t>(cells.size()) - 1);
  std::copy(cells.begin(), cells.end(), array.Elements().begin());
  return array;
}

class FlatSelection : public testing::Test {
 protected:
  fake::FakeScope fake_;
};

constexpr std::int32_t API_DSInfo::*kAllFields[] = {
    &API_DSInfo::AllPart, &API_DSInfo::AllProcess, &API_DSInfo::AllTest,  &API_DSInfo::AllCode,
    &API_DSInfo::AllJob,  &API_DSInfo::AllLot,     &API_DSInfo::AllShift, &API_DSInfo::AllEmployee,
};

TEST_F(FlatSelection, OfADefaultSelection) {
  const Flat flat = Flatten({});
  EXPECT_EQ(flat.info.Count, 25);
  EXPECT_EQ(flat.info.Filter, 0);
  EXPECT_EQ(flat.info.DECFGID, -1);
  EXPECT_EQ(flat.info.TimeType, 0);
  EXPECT_EQ(flat.info.TimePeriod, 6);
  EXPECT_EQ(flat.info.TimeCount, 25);
  EXPECT_EQ(flat.info.TimeStart, std::numeric_limits<std::int32_t>::min());
  EXPECT_EQ(flat.info.TimeEnd, std::numeric_limits<std::int32_t>::min());
  EXPECT_EQ(flat.info.Status, 0);
  EXPECT_EQ(flat.info.TestType, 1);
  for (const auto field : kAllFields) EXPECT_EQ(flat.info.*field, 2);
  EXPECT_EQ(flat.Filter(), Cells(18, 0));
}

TEST_F(FlatSelection, EverySettingHasItsField) {
  DataSelect select;
  select.SetXML(R"(<DataSelect ItemTypes="44"/>)");
  select.MaximumItems(11);
  select.Tsno(22);
  select.DateRangeTimeType(drttStatic);
  select.DateRangePeriod(drpWeek);
  select.DateRangeInterval(33);
  select.DateRangeStart(25570.0);
  select.DateRangeEnd(25571.0);
  const Flat flat = Flatten(select);
  EXPECT_EQ(flat.info.Count, 11);
  EXPECT_EQ(flat.info.ItemNo, 22);
  EXPECT_EQ(flat.info.TimeType, 20);
  EXPECT_EQ(flat.info.TimePeriod, 3);
  EXPECT_EQ(flat.info.TimeCount, 33);
  EXPECT_EQ(flat.info.TimeStart, 86400);
  EXPECT_EQ(flat.info.TimeEnd, 172800);
  EXPECT_EQ(flat.info.Type, 44);
  EXPECT_EQ(flat.info.DSBL, 0);
  EXPECT_EQ(flat.info.LinkPart, 0);
  EXPECT_EQ(flat.info.LinkEmployee, 0);
}

TEST_F(FlatSelection, StatusIsTheMaskOfTheStates) {
  struct Row {
    bool enabled, disabled, incomplete;
    std::int32_t status;
  };
  const Row rows[] = {
      {true, true, true, 0},   {true, false, false, 1},  {false, true, false, 2},
      {false, false, true, 4}, {true, false, true, 5},   {true, true, false, 3},
      {false, true, true, 6},  {false, false, false, 0},
  };
  for (const Row& row : rows) {
    DataSelect select;
    select.IncludeEnabled(row.enabled);
    select.IncludeDisabled(row.disabled);
    select.IncludeIncomplete(row.incomplete);
    EXPECT_EQ(Flatten(select).info.Status, row.status);
  }
}

TEST_F(FlatSelection, TestTypeIsTheMaskOfTheKinds) {
  for (std::int32_t mask = 0; mask < 8; ++mask) {
    DataSelect select;
    select.IncludeVariableTests((mask & 1) != 0);
    select.IncludeDefectTests((mask & 2) != 0);
    select.IncludeDefectiveTests((mask & 4) != 0);
    EXPECT_EQ(Flatten(select).info.TestType, mask);
  }
}

TEST_F(FlatSelection, ListGroupAndOtherTogether) {
  DataSelect select;
  const auto other = select.Descriptors()->Add(dtOther);
  other->AddItemID(11);
  const auto job = select.Descriptors()->Add(dtJob);
  job->FilterType(ftGroup);
  job->GroupID(5);
  job->AddItemID(3);
  const auto part = select.Descriptors()->Add(dtPart);
  part->AddItemID(7);
  part->AddItemID(9);
  const Flat flat = Flatten(select);
  EXPECT_EQ(flat.info.Filter, 1);
  EXPECT_EQ(flat.info.AllPart, 0);
  EXPECT_EQ(flat.info.AllJob, 1);
  EXPECT_EQ(flat.info.AllProcess, 2);
  EXPECT_EQ(flat.Filter(),
            (Cells{0, 2, 7, 9, 0, 0, 0, 0, 5, 1, 3, 0, 0, 0, 0, 0, 0, 0, 0, 1, 11, 1, 11, 0}));
}

// Each kind has its block and its field; the orders differ.
TEST_F(FlatSelection, EmployeesStandBeforeDefectCodes) {
  struct Row {
    DescriptorTypes type;
    std::size_t cell;
    std::int32_t API_DSInfo::*field;
  };
  const Row rows[] = {
      {dtPart, 0, &API_DSInfo::AllPart},
      {dtProcess, 2, &API_DSInfo::AllProcess},
      {dtTest, 4, &API_DSInfo::AllTest},
      {dtJob, 6, &API_DSInfo::AllJob},
      {dtLot, 8, &API_DSInfo::AllLot},
      {dtShift, 10, &API_DSInfo::AllShift},
      {dtEmployee, 12, &API_DSInfo::AllEmployee},
      {dtDefect, 14, &API_DSInfo::AllCode},
  };
  for (const Row& row : rows) {
    DataSelect select;
    const auto added = select.Descriptors()->Add(row.type);
    added->FilterType(ftGroup);
    added->GroupID(77);
    const Flat flat = Flatten(select);
    EXPECT_EQ(flat.Filter().at(row.cell), 77) << row.type;
    EXPECT_EQ(flat.Filter().at(row.cell + 1), 1) << row.type;
    EXPECT_EQ(flat.Filter().size(), 19u);
    EXPECT_EQ(flat.info.*row.field, ftGroup) << row.type;
    EXPECT_EQ(std::accumulate(std::begin(kAllFields), std::end(kAllFields), 0,
                              [&](int sum, auto field) { return sum + flat.info.*field; }),
              15);
  }
}

TEST_F(FlatSelection, AListWithoutItemsFails) {
  DataSelect select;
  select.Descriptors()->Add(dtPart);
  const auto failure = fake::FailureOf([&] { Flatten(select); });
  EXPECT_EQ(failure.Number(), -2147221504);
  EXPECT_EQ(failure.Description(), "Invalid ItemCount!");
  EXPECT_EQ(failure.Source(),
            "DataSelect.API_GetData|DataSelect.GetDSFilter|DataSelect.LoadDSFilter|"
            "orvSPCAnalysis6");
}

TEST_F(FlatSelection, TheRecordIsThereWhereTheFilterFails) {
  DataSelect select;
  select.MaximumItems(11);
  select.Descriptors()->Add(dtPart);
  Flat flat;
  flat.filter = ArrayOf({5});
  EXPECT_EQ(fake::DescriptionOf([&] { select.API_GetData(flat.info, flat.filter); }),
            "Invalid ItemCount!");
  EXPECT_EQ(flat.info.Count, 11);
  EXPECT_EQ(flat.info.AllPart, ftItemList);
  EXPECT_EQ(flat.Filter(), Cells{5});
}

TEST_F(FlatSelection, ABlockCutInItsItemsLeavesItsFilterTypeAndTheItemsThatWereThere) {
  API_DSInfo info = {};
  info.AllPart = ftGroup;
  DataSelect select;
  EXPECT_EQ(fake::NumberOf([&] { select.API_SetData(info, ArrayOf({8, 3, 21, 22})); }), 9);
  const auto part = select.Descriptors()->GetDescriptor(dtPart);
  ASSERT_NE(part, nullptr);
  EXPECT_EQ(part->FilterType(), ftGroup);
  EXPECT_EQ(part->GroupID(), 8);
  EXPECT_EQ(part->ItemIDs(), (Cells{21, 22}));
}

// Its conversion of stamps fails on the stamp 2.
class NoSecondStamp : public fake::FakePlatform {
 public:
  struct Conversion : platform::TimeConversion {
    std::int32_t DateToTimeStamp(double) override { return 0; }
    double TimeStampToDate(std::int32_t stamp) override {
      if (stamp == 2) throw platform::ExternalFailure(-8, "Time.Convert", "broken");
      return 100.0 + stamp;
    }
  };
  std::shared_ptr<platform::TimeConversion> MakeTimeConversion() override {
    return std::make_shared<Conversion>();
  }
};

TEST_F(FlatSelection, TheStartOfTheRangeIsTakenBeforeItsEndFails) {
  const platform::Scope scope(std::make_shared<NoSecondStamp>());
  API_DSInfo info = {};
  info.Count = 11;
  info.TimeStart = 1;
  info.TimeEnd = 2;
  info.TestType = ttDefects;
  DataSelect select;
  select.DateRangeEnd(7.0);
  EXPECT_EQ(fake::NumberOf([&] { select.API_SetData(info, {}); }), -8);
  EXPECT_EQ(select.MaximumItems(), 11);
  EXPECT_EQ(select.DateRangeStart(), 101.0);
  EXPECT_EQ(select.DateRangeEnd(), 7.0);
  EXPECT_FALSE(select.IncludeDefectTests()) << "comes after the range";
}

TEST_F(FlatSelection, AnUnknownFilterTypeFails) {
  for (const int type : {3, -1}) {
    DataSelect select;
    select.Descriptors()->Add(dtPart)->FilterType(static_cast<FilterTypes>(type));
    EXPECT_EQ(fake::DescriptionOf([&] { Flatten(select); }), "Invalid FilterType!");
  }
}

TEST_F(FlatSelection, AnUnlimitedDescriptorPassesNoItems) {
  DataSelect select;
  const auto part = select.Descriptors()->Add(dtPart);
  part->FilterType(ftUnlimited);
  part->AddItemID(7);
  const Flat flat = Flatten(select);
  EXPECT_EQ(flat.info.AllPart, 2);
  EXPECT_EQ(flat.Filter(), Cells(18, 0));
}

TEST_F(FlatSelection, ADescriptorWhoseKindHasNoBlockIsNotPassed) {
  DataSelect select;
  select.Descriptors()->Add(static_cast<DescriptorTypes>(99))->AddItemID(1);
  EXPECT_EQ(Flatten(select).Filter(), Cells(18, 0));
}

TEST_F(FlatSelection, OnlyCountedItemsArePassed) {
  DataSelect select;
  select.Descriptors()->Add(dtPart)->ItemIDs(Cells{7, 8, 9});
  const auto cells = Flatten(select).Filter();
  EXPECT_EQ(Cells(cells.begin(), cells.begin() + 6), (Cells{0, 2, 7, 8, 0, 0}));
}

TEST_F(FlatSelection, ItDoesNotChangeTheSelectionAndReplacesTheArray) {
  DataSelect select;
  select.Descriptors()->Add(dtPart)->AddItemID(7);
  const std::string text = select.GetXML();
  Flat flat;
  flat.filter = ArrayOf(Cells(40, 9));
  flat.info.DSBL = 9;
  EXPECT_TRUE(select.API_GetData(flat.info, flat.filter));
  EXPECT_EQ(flat.filter.Count(), 19);
  EXPECT_EQ(flat.info.DSBL, 0);
  EXPECT_EQ(select.GetXML(), text);
}

// A part list of that many items: its block and seven empty ones.
std::shared_ptr<DataSelect> PartList(std::int32_t items) {
  auto select = std::make_shared<DataSelect>();
  const auto part = select->Descriptors()->Add(dtPart);
  for (std::int32_t i = 0; i < items; ++i) part->AddItemID(i + 1);
  return select;
}

TEST_F(FlatSelection, ThirtyThousandAndOneCellsAreTheLimit) {
  constexpr std::int32_t kMost = 30001 - 2 - 7 * 2;  // the blocks fill the array to its last cell
  EXPECT_EQ(Flatten(*PartList(kMost)).filter.Count(), 30003);
  const auto failure = fake::FailureOf([&] { Flatten(*PartList(kMost + 1)); });
  EXPECT_EQ(failure.Number(), 9);
  EXPECT_EQ(failure.Source(),
            "DataSelect.API_GetData|DataSelect.GetDSFilter|DataSelect.LoadDSFilter|"
            "orvSPCAnalysis6");
}

TEST_F(FlatSelection, TheCountOfOthersNeedsItsCell) {
  const auto select = PartList(30001 - 2 - 7 * 2);
  select->Descriptors()->Add(dtOther)->FilterType(ftUnlimited);
  const auto failure = fake::FailureOf([&] { Flatten(*select); });
  EXPECT_EQ(failure.Number(), 9);
  EXPECT_EQ(failure.Source(), "DataSelect.API_GetData|DataSelect.GetDSFilter|orvSPCAnalysis6");
}

TEST_F(FlatSelection, SettingsComeBack) {
  Flat flat = Flatten({});
  flat.info.Count = 0;
  flat.info.ItemNo = -5;
  flat.info.TimeType = 20;
  flat.info.TimePeriod = 5;
  flat.info.TimeCount = -1;
  flat.info.TimeStart = 86400;
  flat.info.TimeEnd = 172800;
  flat.info.TestType = 6;
  DataSelect select;
  EXPECT_TRUE(select.API_SetData(flat.info, flat.filter));
  EXPECT_EQ(select.MaximumItems(), 0);  // nothing is validated
  EXPECT_EQ(select.Tsno(), -5);
  EXPECT_EQ(select.DateRangeTimeType(), drttStatic);
  EXPECT_EQ(select.DateRangePeriod(), 5);
  EXPECT_EQ(select.DateRangeInterval(), -1);
  EXPECT_EQ(select.DateRangeStart(), 25570.0);
  EXPECT_EQ(select.DateRangeEnd(), 25571.0);
  EXPECT_FALSE(select.IncludeVariableTests());
  EXPECT_TRUE(select.IncludeDefectTests());
  EXPECT_TRUE(select.IncludeDefectiveTests());
}

TEST_F(FlatSelection, AStatusOfSevenIsAllStatesAndOfZeroNone) {
  for (std::int32_t status = 0; status < 8; ++status) {
    Flat flat = Flatten({});
    flat.info.Status = status;
    DataSelect select;
    select.API_SetData(flat.info, flat.filter);
    EXPECT_EQ(select.IncludeEnabled(), (status & 1) != 0);
    EXPECT_EQ(select.IncludeDisabled(), (status & 2) != 0);
    EXPECT_EQ(select.IncludeIncomplete(), (status & 4) != 0);
  }
}

TEST_F(FlatSelection, AStartThatWasNotGivenComesBackAsTheEarliestStamp) {
  DataSelect select;
  const Flat flat = Flatten(select);
  select.API_SetData(flat.info, flat.filter);
  EXPECT_NE(select.GetXML().find("DateRangeStart=\"1901-12-13T20:45:52\""), std::string::npos);
}

TEST_F(FlatSelection, AnEmptyBlockGivesNoDescriptor) {
  Flat flat = Flatten({});
  flat.info.AllLot = 0;
  flat.info.AllShift = 1;
  DataSelect select;
  select.Descriptors()->Add(dtLot);
  select.API_SetData(flat.info, flat.filter);
  EXPECT_EQ(select.Descriptors()->Count(), 0);
}

TEST_F(FlatSelection, AnExplicitUnlimitedDescriptorVanishes) {
  DataSelect select;
  select.Descriptors()->Add(dtPart)->FilterType(ftUnlimited);
  const Flat flat = Flatten(select);
  select.API_SetData(flat.info, flat.filter);
  EXPECT_EQ(select.Descriptors()->Count(), 0);
}

TEST_F(FlatSelection, AGroupWithoutItemComesBackWithItemZero) {
  DataSelect select;
  const auto job = select.Descriptors()->Add(dtJob);
  job->FilterType(ftGroup);
  job->GroupID(5);
  const Flat flat = Flatten(select);
  select.API_SetData(flat.info, flat.filter);
  const auto back = select.Descriptors()->GetDescriptor(dtJob);
  EXPECT_EQ(back->FilterType(), ftGroup);
  EXPECT_EQ(back->GroupID(), 5);
  EXPECT_EQ(back->ItemIDs(), Cells{0});
}

TEST_F(FlatSelection, AnOtherListComesBackWithItsFirstItemAsGroup) {
  DataSelect select;
  const auto other = select.Descriptors()->Add(dtOther);
  other->AddItemID(11);
  other->AddItemID(12);
  const Flat flat = Flatten(select);
  select.API_SetData(flat.info, flat.filter);
  const auto back = select.Descriptors()->GetDescriptor(dtOther);
  EXPECT_EQ(back->GroupID(), 11);
  EXPECT_EQ(back->ItemIDs(), (Cells{11, 12}));
}

TEST_F(FlatSelection, AnOtherGroupComesBackAsAList) {
  DataSelect select;
  const auto other = select.Descriptors()->Add(dtOther);
  other->FilterType(ftGroup);
  other->GroupID(8);
  other->AddItemID(3);
  const Flat flat = Flatten(select);
  select.API_SetData(flat.info, flat.filter);
  const auto back = select.Descriptors()->GetDescriptor(dtOther);
  EXPECT_EQ(back->FilterType(), ftItemList);
  EXPECT_EQ(back->GroupID(), 8);
  EXPECT_EQ(back->ItemIDs(), Cells{3});
}

TEST_F(FlatSelection, WithFilterZeroOthersAreNotRead) {
  DataSelect select;
  select.Descriptors()->Add(dtOther)->AddItemID(11);
  Flat flat = Flatten(select);
  flat.info.Filter = 0;
  select.API_SetData(flat.info, flat.filter);
  EXPECT_EQ(select.Descriptors()->Count(), 0);
}

TEST_F(FlatSelection, AnyFilterButZeroReadsOthers) {
  DataSelect select;
  select.Descriptors()->Add(dtOther)->AddItemID(11);
  Flat flat = Flatten(select);
  flat.info.Filter = -3;
  select.API_SetData(flat.info, flat.filter);
  EXPECT_EQ(select.Descriptors()->Count(), 1);
}

TEST_F(FlatSelection, ATypeOutsideTheThreeIsKept) {
  Flat flat = Flatten(*PartList(1));
  flat.info.AllPart = 9;
  DataSelect select;
  select.API_SetData(flat.info, flat.filter);
  EXPECT_EQ(select.Descriptors()->Item(0)->FilterType(), 9);
}

TEST_F(FlatSelection, SubgroupRangeGoesThereAndBack) {
  Flat flat = Flatten({});
  flat.info.SubgroupStart = 5;
  flat.info.SubgroupEnd = 9;
  DataSelect select;
  select.API_SetData(flat.info, flat.filter);
  EXPECT_EQ(Flatten(select).info.SubgroupStart, 5);
  EXPECT_EQ(Flatten(select).info.SubgroupEnd, 9);
}

TEST_F(FlatSelection, ANegativeCountReadsNoItems) {
  Flat flat = Flatten({});
  flat.info.AllPart = ftItemList;
  flat.filter[1] = -4;
  DataSelect select;
  select.API_SetData(flat.info, flat.filter);
  EXPECT_EQ(select.Descriptors()->Item(0)->ItemCount(), 0);
}

// A selection whose blocks are all there.
std::shared_ptr<DataSelect> SelectionWithEveryKind() {
  auto made = std::make_shared<DataSelect>();
  DataSelect& select = *made;
  for (int type = dtPart; type <= dtOther; ++type) {
    const auto added = select.Descriptors()->Add(static_cast<DescriptorTypes>(type));
    added->AddItemID(type + 1);
    added->AddItemID(type + 100);
  }
  const auto last = select.Descriptors()->Add(dtOther);
  last->FilterType(ftGroup);
  last->GroupID(6);
  return made;
}

TEST_F(FlatSelection, EveryTruncationIsRefused) {
  const Flat flat = Flatten(*SelectionWithEveryKind());
  const Cells cells = flat.Filter();
  DataSelect whole;
  EXPECT_EQ(fake::NumberOf([&] { whole.API_SetData(flat.info, flat.filter); }), 0);
  for (std::size_t n = 0; n + 1 < cells.size(); ++n) {  // the last cell is a spare
    DataSelect select;
    const auto part = ArrayOf(Cells(cells.begin(), cells.begin() + static_cast<long>(n)));
    EXPECT_EQ(fake::NumberOf([&] { select.API_SetData(flat.info, part); }), 9) << n << " cells";
  }
}

TEST_F(FlatSelection, EveryCellSetToTheLargestCountEndsWithNineOrPasses) {
  const Flat flat = Flatten(*SelectionWithEveryKind());
  for (std::int32_t at = 0; at < flat.filter.Count(); ++at)
    for (const std::int32_t value : {std::numeric_limits<std::int32_t>::max(),
                                     std::numeric_limits<std::int32_t>::min(), -1, 0}) {
      auto cells = flat.filter.Copy();
      cells[at] = value;
      DataSelect select;
      const auto number = fake::NumberOf([&] { select.API_SetData(flat.info, cells); });
      EXPECT_TRUE(number == 0 || number == 9) << at << " is " << value << ": " << number;
    }
}

TEST_F(FlatSelection, ATruncationNamesItsProcedure) {
  const Flat flat = Flatten(*SelectionWithEveryKind());
  EXPECT_EQ(fake::SourceOf([&] { DataSelect().API_SetData(flat.info, {}); }),
            "DataSelect.API_SetData|DataSelect.LoadDescriptors|orvSPCAnalysis6");
  Flat others = Flatten({});
  others.info.Filter = 1;
  EXPECT_EQ(fake::SourceOf([&] { DataSelect().API_SetData(others.info, {}); }),
            "DataSelect.API_SetData|orvSPCAnalysis6");
}

TEST_F(FlatSelection, AFailureLeavesWhatWasReadBeforeIt) {
  Flat flat = Flatten(*SelectionWithEveryKind());
  flat.info.Count = 3;
  DataSelect select;
  select.Descriptors()->Add(dtOther);
  const auto part =
      ArrayOf(Cells(flat.filter.Elements().begin(), flat.filter.Elements().begin() + 4));
  EXPECT_EQ(fake::NumberOf([&] { select.API_SetData(flat.info, part); }), 9);
  EXPECT_EQ(select.MaximumItems(), 3);
  EXPECT_EQ(select.Descriptors()->Count(), 1);
  EXPECT_EQ(select.Descriptors()->Item(0)->DescriptorType(), dtPart);
}

TEST_F(FlatSelection, BlocksBeginAtZeroWhereverTheArrayBegins) {
  const Flat flat = Flatten(*SelectionWithEveryKind());
  Cells cells = flat.Filter();
  cells.insert(cells.begin(), {-1, -2, -3});  // the indices before 0
  DataSelect whole, same;
  EXPECT_TRUE(whole.API_SetData(flat.info, flat.filter));
  EXPECT_TRUE(same.API_SetData(Friend{}, flat.info, ArrayOf(cells), -3));
  EXPECT_EQ(same.GetXML(), whole.GetXML());
}

TEST_F(FlatSelection, AnArrayThatBeginsBehindTheBlocksFailsWhereTheyAreRead) {
  Flat flat = Flatten(*SelectionWithEveryKind());
  flat.info.Count = 3;
  DataSelect select;
  const auto failure =
      fake::FailureOf([&] { select.API_SetData(Friend{}, flat.info, flat.filter, 1); });
  EXPECT_EQ(failure.Number(), 9);
  EXPECT_EQ(failure.Source(), "DataSelect.API_SetData|DataSelect.LoadDescriptors|orvSPCAnalysis6");
  EXPECT_EQ(select.MaximumItems(), 3);
  EXPECT_EQ(select.Descriptors()->Count(), 0);
}

TEST_F(FlatSelection, OnlyTheBlocksThatLimitAreRead) {
  Flat flat = Flatten({});
  DataSelect select;
  EXPECT_TRUE(select.API_SetData(Friend{}, flat.info, {}, 1)) << "none of them does";
  flat.info.AllProcess = ftItemList;  // cells 2 to 4
  EXPECT_TRUE(select.API_SetData(Friend{}, flat.info, ArrayOf({0, 1, 7}), 2));
  EXPECT_EQ(select.Descriptors()->GetDescriptor(dtProcess)->ItemIDs(), Cells{7});
}

TEST_F(FlatSelection, WithoutAPlatformStampsFail) {
  const platform::Scope none(nullptr);
  EXPECT_EQ(fake::SourceOf([] { Flatten({}); }),
            "DataSelect.API_GetData|DataSelect.GetDSInfo|orvSPCAnalysis6");
}

}  // namespace
}  // namespace orvspc
