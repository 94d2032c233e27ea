// SPDX-License-Identifier: Apache-2.0
#include "select/DataSelect.h"

#include <gtest/gtest.h>

#include <type_traits>

#include "frame/Array.h"
#include "frame/Friend.h"
#include "frame/XMLSupport.h"
#include "tests/fake/FailureOf.h"
#include "tests/fake/FakePlatform.h"

namespace orvspc {
namespace {

using fake::FailureOf;

TEST(DataSelect, ANewOneHasTheDefaults) {
  const DataSelect select;
  EXPECT_EQ(select.MaximumItems(), 25);
  EXPECT_EQ(select.DateRangeInterval(), 25);
  EXPECT_EQ(select.DateRangePeriod(), drpYear);
  EXPECT_EQ(select.DateRangeTimeType(), drttMostRecent);
  EXPECT_EQ(select.DateRangeStart(), 0.0);
  EXPECT_EQ(select.DateRangeEnd(), 0.0);
  EXPECT_EQ(select.Tsno(), 0);
  EXPECT_TRUE(select.IncludeEnabled());
  EXPECT_TRUE(select.IncludeIncomplete());
  EXPECT_TRUE(select.IncludeDisabled());
  EXPECT_TRUE(select.IncludeVariableTests());
  EXPECT_FALSE(select.IncludeDefectTests());
  EXPECT_FALSE(select.IncludeDefectiveTests());
  EXPECT_EQ(select.Descriptors()->Count(), 0);
}

// Neither would leave both objects usable.
static_assert(!std::is_move_constructible_v<DataSelectDescriptor> &&
              !std::is_move_assignable_v<DataSelectDescriptor> &&
              !std::is_move_constructible_v<DataSelectDescriptors> &&
              !std::is_move_assignable_v<DataSelectDescriptors>);
static_assert(!std::is_copy_constructible_v<DataSelect> && !std::is_copy_assignable_v<DataSelect>);
static_assert(!std::is_move_constructible_v<DataSelect> && !std::is_move_assignable_v<DataSelect>);

TEST(DataSelect, MaximumItemsOfZeroIsRefusedAndTheOldValueStays) {
  DataSelect select;
  const auto failure = FailureOf([&] { select.MaximumItems(0); });
  EXPECT_EQ(failure.Number(), -2147221504);
  EXPECT_EQ(failure.Description(), "Invalid MaximumItems (must be > 0)");
  EXPECT_EQ(failure.Source(), "DataSelect.MaximumItems(l)|orvSPCAnalysis6");
  EXPECT_EQ(select.MaximumItems(), 25);
  select.MaximumItems(1);
  EXPECT_EQ(select.MaximumItems(), 1);
}

TEST(DataSelect, TsnoOfZeroPassesAndOfMinusOneFails) {
  DataSelect select;
  select.Tsno(4);
  const auto failure = FailureOf([&] { select.Tsno(-1); });
  EXPECT_EQ(failure.Number(), -2147221504);
  EXPECT_EQ(failure.Description(), "Invalid TSNO (must be > 0)");
  EXPECT_EQ(failure.Source(), "DataSelect.Tsno(l)|orvSPCAnalysis6");
  EXPECT_EQ(select.Tsno(), 4);
  select.Tsno(0);
  EXPECT_EQ(select.Tsno(), 0);
}

TEST(DataSelect, DateRangeIntervalOfZeroPassesAndOfMinusOneFails) {
  DataSelect select;
  const auto failure = FailureOf([&] { select.DateRangeInterval(-1); });
  EXPECT_EQ(failure.Number(), -2147221504);
  EXPECT_EQ(failure.Description(), "Invalid DateRangeInterval! (Must be > 0)");
  EXPECT_EQ(failure.Source(), "DataSelect.DateRangeInterval(l)|orvSPCAnalysis6");
  EXPECT_EQ(select.DateRangeInterval(), 25);
  select.DateRangeInterval(0);
  EXPECT_EQ(select.DateRangeInterval(), 0);
}

TEST(DataSelect, APeriodWithoutANameIsStored) {
  DataSelect select;
  select.DateRangePeriod(static_cast<DateRangePeriods>(5));
  EXPECT_EQ(select.DateRangePeriod(), 5);
  select.DateRangeTimeType(static_cast<DateRangeTimeTypes>(-3));
  EXPECT_EQ(select.DateRangeTimeType(), -3);
}

TEST(DataSelect, AStartBehindTheEndIsStored) {
  DataSelect select;
  select.DateRangeStart(45000.5);
  select.DateRangeEnd(44000.0);
  EXPECT_EQ(select.DateRangeStart(), 45000.5);
  EXPECT_EQ(select.DateRangeEnd(), 44000.0);
}

TEST(DataSelect, DescriptorsAreTheCollectionItself) {
  DataSelect select;
  select.Descriptors()->Add(dtJob);
  EXPECT_EQ(select.Descriptors()->Count(), 1);
}

TEST(DataSelect, ResetReplacesTheCollection) {
  DataSelect select;
  const auto old = select.Descriptors();
  old->Add(dtJob);
  select.MaximumItems(7);
  select.IncludeDefectTests(true);
  select.Reset();
  EXPECT_EQ(select.MaximumItems(), 25);
  EXPECT_FALSE(select.IncludeDefectTests());
  EXPECT_EQ(select.Descriptors()->Count(), 0);
  EXPECT_EQ(old->Count(), 1);
}

TEST(DataSelect, ResetForgetsWhatHasNoProperty) {
  const fake::FakeScope scope;
  API_DSInfo info = {};
  info.Type = 44;
  info.SubgroupStart = 3;
  info.SubgroupEnd = 9;
  Array<std::int32_t> filter;
  filter.Dimension(0, 17);
  DataSelect select;
  select.API_SetData(info, filter);
  select.Reset();
  select.API_GetData(info, filter);
  EXPECT_EQ(info.Type, 0);
  EXPECT_EQ(info.SubgroupStart, 0);
  EXPECT_EQ(info.SubgroupEnd, 0);
}

// Every setting differs from its default.
void ChangeEverything(DataSelect& select) {
  select.IncludeEnabled(false);
  select.IncludeIncomplete(false);
  select.IncludeDisabled(false);
  select.MaximumItems(100);
  select.Tsno(3);
  select.DateRangeTimeType(drttStatic);
  select.DateRangeInterval(8);
  select.DateRangePeriod(drpWeek);
  select.DateRangeStart(45000.25);
  select.DateRangeEnd(45001.0 + 1.0 / 3.0);
  select.IncludeVariableTests(false);
  select.IncludeDefectTests(true);
  select.IncludeDefectiveTests(true);
  const auto part = select.Descriptors()->Add(dtPart);
  part->AddItemID(7);
  part->AddItemID(-9);
  const auto group = select.Descriptors()->Add(dtJob);
  group->FilterType(ftGroup);
  group->GroupID(5);
  select.Descriptors()->Add(dtOther)->FilterType(ftUnlimited);
}

TEST(DataSelect, ACloneHasEverythingAndSharesNothing) {
  fake::FakeScope fake;
  DataSelect select;
  ChangeEverything(select);
  const auto clone = select.Clone();
  EXPECT_EQ(clone->GetXML(), select.GetXML());
  clone->Descriptors()->Add(dtLot);
  clone->Descriptors()->Item(0)->AddItemID(1);
  clone->MaximumItems(1);
  EXPECT_EQ(select.Descriptors()->Count(), 3);
  EXPECT_EQ(select.Descriptors()->Item(0)->ItemCount(), 2);
  EXPECT_EQ(select.MaximumItems(), 100);
}

TEST(DataSelect, ACloneKeepsWhatHasNoProperty) {
  fake::FakeScope fake;
  DataSelect select;
  API_DSInfo info = {};
  Array<std::int32_t> filter;
  select.API_GetData(info, filter);
  info.Type = 12;
  info.SubgroupStart = 34;
  info.SubgroupEnd = 56;
  select.API_SetData(info, filter);
  select.Clone()->API_GetData(info, filter);
  EXPECT_EQ(info.Type, 12);
  EXPECT_EQ(info.SubgroupStart, 34);
  EXPECT_EQ(info.SubgroupEnd, 56);
}

TEST(DataSelect, ACloneKeepsItemTypesAndItsDescriptorsAreItsOwn) {
  fake::FakeScope fake;
  DataSelect select;
  select.SetXML(R"(<DataSelect ItemTypes="12"/>)");
  const auto part = select.Descriptors()->Add(dtPart);
  part->AddItemID(7);
  const std::string before = select.GetXML();
  const auto clone = select.Clone();
  EXPECT_EQ(clone->GetXML(), before);
  EXPECT_NE(before.find(R"(ItemTypes="12")"), std::string::npos);

  clone->Descriptors()->Item(0)->AddItemID(9);
  clone->Descriptors()->Item(0)->GroupID(4);
  clone->Descriptors()->Add(dtLot);
  EXPECT_EQ(select.GetXML(), before);
  clone->Descriptors()->Clear();
  EXPECT_EQ(select.GetXML(), before);
}

TEST(DataSelect, ADescriptorOfACloneKeepsItsIndex) {
  DataSelect select;
  select.Descriptors()->Add(dtPart);
  select.Descriptors()->Add(dtJob);
  select.Descriptors()->Remove(0);
  EXPECT_EQ(select.Clone()->Descriptors()->Item(0)->Index(Friend{}), 2);
}

TEST(DataSelect, ACloneMayHoldTwoDescriptorsOfAKind) {
  fake::FakeScope fake;
  DataSelect select;
  select.SetXML(R"(<DataSelect><Descriptors><Descriptor Type="3"/><Descriptor Type="3"/>)"
                R"(</Descriptors></DataSelect>)");
  EXPECT_EQ(select.Clone()->Descriptors()->Count(), 2);
}

TEST(DataSelect, TheTextOfADefaultObject) {
  fake::FakeScope fake;
  EXPECT_EQ(
      DataSelect().GetXML(),
      R"(<DataSelect IncludeEnabled="1" IncludeIncomplete="1" IncludeDisabled="1" MaximumItems="25")"
      R"( Tsno="0" ItemTypes="0" DateRangeTimeType="0" DateRangeInterval="25" DateRangePeriod="6")"
      R"( DateRangeStart="1899-12-30T00:00:00" DateRangeEnd="1899-12-30T00:00:00")"
      R"( IncludeVariableTests="1" IncludeDefectTests="0" IncludeDefectiveTests="0">)"
      R"(<Descriptors/></DataSelect>)");
}

TEST(DataSelect, TextOfAFullObjectComesBackAsTheSameText) {
  fake::FakeScope fake;
  DataSelect select;
  ChangeEverything(select);
  const std::string text = select.GetXML();
  DataSelect read;
  EXPECT_TRUE(read.SetXML(text));
  EXPECT_EQ(read.GetXML(), text);
  EXPECT_EQ(read.DateRangeEnd(), select.DateRangeEnd());
  EXPECT_EQ(DataSelect().GetXML() == text, false);
}

TEST(DataSelect, AMissingAttributeLeavesItsMember) {
  fake::FakeScope fake;
  DataSelect select;
  select.MaximumItems(7);
  select.DateRangeStart(40000.0);
  EXPECT_TRUE(select.SetXML(R"(<DataSelect Tsno="2"/>)"));
  EXPECT_EQ(select.MaximumItems(), 7);
  EXPECT_EQ(select.DateRangeStart(), 40000.0);
  EXPECT_EQ(select.Tsno(), 2);
}

TEST(DataSelect, ATextIsTakenWithoutTheChecksOfTheLets) {
  fake::FakeScope fake;
  DataSelect select;
  select.SetXML(R"(<DataSelect MaximumItems="0" Tsno="-4" DateRangeInterval="-2")"
                R"( DateRangePeriod="5"/>)");
  EXPECT_EQ(select.MaximumItems(), 0);
  EXPECT_EQ(select.Tsno(), -4);
  EXPECT_EQ(select.DateRangeInterval(), -2);
  EXPECT_EQ(select.DateRangePeriod(), 5);
}

TEST(DataSelect, FlagsAreReadAsNumbersOrWords) {
  fake::FakeScope fake;
  struct Row {
    const char* text;
    bool value;
  };
  for (const Row& row : {Row{"1", true},
                         {"0", false},
                         {"-1", true},
                         {"2", true},
                         {"True", true},
                         {"false", false}}) {
    DataSelect select;
    select.IncludeEnabled(!row.value);
    select.SetXML(std::string("<DataSelect IncludeEnabled=\"") + row.text + "\"/>");
    EXPECT_EQ(select.IncludeEnabled(), row.value) << row.text;
  }
}

TEST(DataSelect, UnknownAttributesAndElementsAreIgnored) {
  fake::FakeScope fake;
  DataSelect select;
  EXPECT_TRUE(
      select.SetXML("<DataSelect Farbe=\"grün 😀\"><Other/><Descriptors><X/><Descriptor Type=\"2\"/>"
                    "</Descriptors></DataSelect>"));
  EXPECT_EQ(select.Descriptors()->Count(), 1);
  EXPECT_EQ(select.Descriptors()->Item(0)->DescriptorType(), dtTest);
}

TEST(DataSelect, AFailureHalfwayLeavesWhatWasRead) {
  fake::FakeScope fake;
  DataSelect select;
  const auto failure = FailureOf(
      [&] { select.SetXML(R"(<DataSelect IncludeEnabled="0" MaximumItems="many" Tsno="3"/>)"); });
  EXPECT_EQ(failure.Number(), 13);
  EXPECT_EQ(failure.Source(), "DataSelect.SetXML|DataSelect.SetXMLNode|orvSPCAnalysis6");
  EXPECT_FALSE(select.IncludeEnabled());
  EXPECT_EQ(select.MaximumItems(), 25);
  EXPECT_EQ(select.Tsno(), 0);
}

TEST(DataSelect, ANumberOutOfRangeOverflows) {
  fake::FakeScope fake;
  EXPECT_EQ(fake::NumberOf([] { DataSelect().SetXML(R"(<DataSelect Tsno="2147483648"/>)"); }), 6);
}

TEST(DataSelect, ATextThatIsNoneFailsAndTheDescriptorsAreGone) {
  fake::FakeScope fake;
  for (const char* text : {"", "no XML", "<DataSelect", "<Other/>", "<A><DataSelect/></A>"}) {
    DataSelect select;
    select.MaximumItems(7);
    select.Descriptors()->Add(dtPart);
    const auto failure = FailureOf([&] { select.SetXML(text); });
    EXPECT_EQ(failure.Number(), -2147221504) << text;
    EXPECT_EQ(failure.Description(), "Node does not exist!") << text;
    EXPECT_EQ(failure.Source(),
              "DataSelect.SetXML|XMLSupport.GetXMLSingleNode(Node=DataSelect)|orvSPCAnalysis6");
    EXPECT_EQ(select.Descriptors()->Count(), 0);
    EXPECT_EQ(select.MaximumItems(), 7);
  }
}

// Reads the text as the results do, which hold a selection inside their own element.
bool SetNode(DataSelect& select, std::string_view text) {
  const auto found = XMLSupport::GetXMLSingleNode(text, "DataSelect");
  return select.SetXMLNode(Friend{}, found.node);
}

TEST(DataSelect, SetXmlNodeAddsToTheDescriptorsThatAreThere) {
  fake::FakeScope fake;
  DataSelect select;
  const auto part = select.Descriptors()->Add(dtPart);
  EXPECT_TRUE(SetNode(select, R"(<DataSelect><Descriptors><Descriptor Type="0" Group="8"/>)"
                              R"(<Descriptor Type="4"/></Descriptors></DataSelect>)"));
  ASSERT_EQ(select.Descriptors()->Count(), 3);
  EXPECT_EQ(select.Descriptors()->Item(0), part);
  EXPECT_EQ(select.Descriptors()->Item(1)->DescriptorType(), dtPart);
  EXPECT_EQ(select.Descriptors()->Item(1)->GroupID(), 8);
  EXPECT_EQ(select.Descriptors()->Item(2)->DescriptorType(), dtLot);
}

TEST(DataSelect, SetXmlNodeWithoutDescriptorsLeavesTheCollection) {
  fake::FakeScope fake;
  DataSelect select;
  const auto held = select.Descriptors();
  const auto part = held->Add(dtPart);
  part->AddItemID(7);
  EXPECT_TRUE(SetNode(select, R"(<DataSelect Tsno="3"/>)"));
  EXPECT_EQ(select.Tsno(), 3);
  EXPECT_EQ(select.Descriptors(), held);
  ASSERT_EQ(held->Count(), 1);
  EXPECT_EQ(held->Item(0), part);
  EXPECT_EQ(part->ItemIDs(), std::vector<std::int32_t>{7});
}

TEST(DataSelect, SetXmlKeepsTheCollectionObject) {
  fake::FakeScope fake;
  DataSelect select;
  const auto held = select.Descriptors();
  select.SetXML(R"(<DataSelect><Descriptors><Descriptor Type="4"/></Descriptors></DataSelect>)");
  EXPECT_EQ(held->Count(), 1);
}

}  // namespace
}  // namespace orvspc
