// SPDX-License-Identifier: Apache-2.0
#include "select/DataSelectDescriptors.h"

#include <gtest/gtest.h>

#include "frame/Friend.h"
#include "select/DataSelect.h"
#include "tests/fake/FailureOf.h"
#include "tests/fake/FakePlatform.h"

namespace orvspc {
namespace {

using fake::FailureOf;
using Integers = std::vector<std::int32_t>;

TEST(DataSelectDescriptors, AKindMayBeAddedOnce) {
  DataSelectDescriptors descriptors;
  descriptors.Add(dtPart);
  const auto failure = FailureOf([&] { descriptors.Add(dtPart); });
  EXPECT_EQ(failure.Number(), -2147221504);
  EXPECT_EQ(failure.Description(), "DescriptorType already exists!");
  EXPECT_EQ(failure.Source(), "DataSelectDescriptors.Add|orvSPCAnalysis6");
  EXPECT_EQ(descriptors.Count(), 1);
}

TEST(DataSelectDescriptors, ANumberWithoutANameIsAKindToo) {
  DataSelectDescriptors descriptors;
  descriptors.Add(static_cast<DescriptorTypes>(99));
  EXPECT_EQ(FailureOf([&] { descriptors.Add(static_cast<DescriptorTypes>(99)); }).Number(),
            -2147221504);
}

TEST(DataSelectDescriptors, OtherMayBeAddedAgainAndTheFirstIsFound) {
  DataSelectDescriptors descriptors;
  const auto first = descriptors.Add(dtOther);
  descriptors.Add(dtOther);
  EXPECT_EQ(descriptors.Count(), 2);
  EXPECT_EQ(descriptors.GetDescriptor(dtOther), first);
  EXPECT_EQ(descriptors.GetDescriptor(dtPart), nullptr);
}

TEST(DataSelectDescriptors, ItemAndRemoveCountFromZero) {
  DataSelectDescriptors descriptors;
  const auto part = descriptors.Add(dtPart);
  const auto job = descriptors.Add(dtJob);
  EXPECT_EQ(descriptors.Item(0), part);
  EXPECT_EQ(descriptors.Item(2), nullptr);
  EXPECT_EQ(descriptors.Item(-1), nullptr);
  EXPECT_FALSE(descriptors.Remove(2));
  EXPECT_FALSE(descriptors.Remove(-1));
  EXPECT_TRUE(descriptors.Remove(0));
  EXPECT_EQ(descriptors.Item(0), job);
  EXPECT_EQ(descriptors.Count(), 1);
}

TEST(DataSelectDescriptors, RemoveDoesNotRenumber) {
  DataSelectDescriptors descriptors;
  descriptors.Add(dtPart);
  const auto job = descriptors.Add(dtJob);
  descriptors.Remove(0);
  EXPECT_EQ(job->Index(Friend{}), 2);
}

TEST(DataSelectDescriptors, AreEnumeratedInTheOrderOfAdding) {
  DataSelectDescriptors descriptors;
  for (const auto type : {dtJob, dtPart, dtOther, dtOther}) descriptors.Add(type);
  Integers types;
  for (const auto& each : descriptors) types.push_back(each->DescriptorType());
  EXPECT_EQ(types, (Integers{dtJob, dtPart, dtOther, dtOther}));
  descriptors.Clear();
  EXPECT_EQ(descriptors.begin(), descriptors.end());
}

TEST(DataSelectDescriptor, ANewOneIsAnEmptyItemList) {
  const auto added = DataSelectDescriptors().Add(dtLot);
  EXPECT_EQ(added->DescriptorType(), dtLot);
  EXPECT_EQ(added->FilterType(), ftItemList);
  EXPECT_EQ(added->ItemCount(), 0);
  EXPECT_EQ(added->GroupID(), 0);
  EXPECT_EQ(added->ItemIDs(), Integers{});
}

TEST(DataSelectDescriptor, ItemIdOutsideIsZero) {
  DataSelectDescriptor descriptor;
  descriptor.AddItemID(7);
  descriptor.AddItemID(9);
  EXPECT_EQ(descriptor.ItemID(0), 0);
  EXPECT_EQ(descriptor.ItemID(1), 7);
  EXPECT_EQ(descriptor.ItemID(2), 9);
  EXPECT_EQ(descriptor.ItemID(3), 0);
  EXPECT_EQ(descriptor.ItemID(-1), 0);
}

TEST(DataSelectDescriptor, DoublesAndZeroAreAdded) {
  DataSelectDescriptor descriptor;
  for (const std::int32_t id : {7, 7, 0}) descriptor.AddItemID(id);
  EXPECT_EQ(descriptor.ItemIDs(), (Integers{7, 7, 0}));
}

TEST(DataSelectDescriptor, AfterItemIdsOfThreeTheThirdIsNotCounted) {
  DataSelectDescriptor descriptor;
  descriptor.ItemIDs(Integers{4, 5, 6});
  EXPECT_EQ(descriptor.ItemCount(), 2);
  EXPECT_EQ(descriptor.ItemID(2), 5);
  EXPECT_EQ(descriptor.ItemID(3), 0);
  EXPECT_EQ(descriptor.ItemIDs(), (Integers{4, 5, 6}));
}

TEST(DataSelectDescriptor, AddItemIdOverwritesTheElementThatIsNotCounted) {
  DataSelectDescriptor descriptor;
  descriptor.ItemIDs(Integers{4, 5, 6});
  descriptor.AddItemID(8);
  EXPECT_EQ(descriptor.ItemIDs(), (Integers{4, 5, 8}));
  EXPECT_EQ(descriptor.ItemCount(), 3);
  descriptor.AddItemID(9);
  EXPECT_EQ(descriptor.ItemIDs(), (Integers{4, 5, 8, 9}));
}

TEST(DataSelectDescriptor, ItemIdsOfDoublesAreRefusedEvenIfWhole) {
  DataSelectDescriptor descriptor;
  for (const double value : {1.0, 1.5, -0.4})
    EXPECT_EQ(FailureOf([&] { descriptor.ItemIDs(std::vector{value, 2.0}); }).Number(), 13);
  EXPECT_EQ(descriptor.ItemIDs(), Integers{});
}

TEST(DataSelectDescriptor, WhatIsNoArrayFromZeroIsRefusedAndTheItemsStay) {
  struct Row {
    ArrayVariant value;
    std::int32_t number;
    const char* description;
  };
  const Row rows[] = {
      {{}, 13, "Type mismatch"},
      {Integers{}, 9, "Subscript out of range"},
      {{Integers{}, 1}, 9, "Subscript out of range"},
      {{Integers{1, 2}, 1}, -2147221504, "Array must be 0-based"},
      {{Integers{1, 2}, -1}, -2147221504, "Array must be 0-based"},
      {std::vector<double>{1.0, 2.0}, 13, "Type mismatch"},
      {std::vector<double>{1.0, 3e9}, 13, "Type mismatch"},
      {std::vector<double>{}, 9, "Subscript out of range"},
      {{std::vector<double>{3e9}, 1}, -2147221504, "Array must be 0-based"},
  };
  for (const Row& row : rows) {
    DataSelectDescriptor descriptor;
    descriptor.AddItemID(3);
    const auto failure = FailureOf([&] { descriptor.ItemIDs(row.value); });
    EXPECT_EQ(failure.Number(), row.number);
    EXPECT_EQ(failure.Description(), row.description);
    EXPECT_EQ(failure.Source(), "DataSelectDescriptor.ItemIDs(l)|orvSPCAnalysis6");
    EXPECT_EQ(descriptor.ItemIDs(), Integers{3});
    EXPECT_EQ(descriptor.ItemCount(), 1);
  }
}

TEST(DataSelectDescriptor, ItemIdsOfAnArrayBasedAtOneAreRefused) {
  DataSelectDescriptor descriptor;
  const auto failure = FailureOf([&] { descriptor.ItemIDs({Integers{4, 5}, 1}); });
  EXPECT_EQ(failure.Number(), -2147221504);
  EXPECT_EQ(failure.Description(), "Array must be 0-based");
  EXPECT_EQ(failure.Source(), "DataSelectDescriptor.ItemIDs(l)|orvSPCAnalysis6");
  EXPECT_EQ(descriptor.ItemCount(), 0);
}

TEST(DataSelectDescriptor, ClearTakesTheTypeToo) {
  DataSelectDescriptors descriptors;
  const auto job = descriptors.Add(dtJob);
  job->FilterType(ftGroup);
  job->GroupID(4);
  job->AddItemID(1);
  job->Clear();
  EXPECT_EQ(job->DescriptorType(), 0);
  EXPECT_EQ(job->FilterType(), ftItemList);
  EXPECT_EQ(job->GroupID(), 0);
  EXPECT_EQ(job->ItemCount(), 0);
  EXPECT_EQ(job->ItemIDs(), Integers{});
  EXPECT_EQ(job->Index(Friend{}), 0);
}

TEST(DataSelectDescriptor, ACloneSharesNothing) {
  DataSelectDescriptors descriptors;
  const auto part = descriptors.Add(dtPart);
  part->AddItemID(5);
  const auto clone = part->Clone(Friend{});
  clone->AddItemID(6);
  EXPECT_EQ(part->ItemCount(), 1);
  EXPECT_EQ(clone->Index(Friend{}), 1);
}

// The text of a selection's descriptors.
std::string TextOf(const DataSelect& select) {
  const std::string text = select.GetXML();
  const auto begin = text.find("<Descriptors");
  return text.substr(begin, text.size() - begin - std::string("</DataSelect>").size());
}

TEST(DataSelectDescriptors, TheirText) {
  fake::FakeScope fake;
  DataSelect select;
  const auto part = select.Descriptors()->Add(dtPart);
  part->AddItemID(7);
  part->AddItemID(9);
  const auto job = select.Descriptors()->Add(dtJob);
  job->FilterType(ftGroup);
  job->GroupID(5);
  EXPECT_EQ(TextOf(select),
            R"(<Descriptors><Descriptor Type="0" Filter="0" Group="0"><Items><Item ID="7"/>)"
            R"(<Item ID="9"/></Items></Descriptor><Descriptor Type="3" Filter="1" Group="5">)"
            R"(<Items/></Descriptor></Descriptors>)");
}

TEST(DataSelectDescriptors, ADescriptorWithoutItemsWritesAnEmptyItemsElement) {
  fake::FakeScope fake;
  DataSelect select;
  select.Descriptors()->Add(dtLot);
  EXPECT_EQ(TextOf(select),
            R"(<Descriptors><Descriptor Type="4" Filter="0" Group="0"><Items/></Descriptor>)"
            R"(</Descriptors>)");
}

TEST(DataSelectDescriptors, OnlyItemsInUseAreWritten) {
  fake::FakeScope fake;
  DataSelect select;
  select.Descriptors()->Add(dtPart)->ItemIDs(Integers{4, 5, 6});
  EXPECT_EQ(TextOf(select).find("\"6\""), std::string::npos);
}

TEST(DataSelectDescriptors, ItemsComeBackInOrderWithoutZeros) {
  fake::FakeScope fake;
  DataSelect select;
  const auto part = select.Descriptors()->Add(dtPart);
  for (const std::int32_t id : {7, 0, 9}) part->AddItemID(id);
  DataSelect read;
  read.SetXML(select.GetXML());
  EXPECT_EQ(read.Descriptors()->Item(0)->ItemCount(), 2);
  EXPECT_EQ(read.Descriptors()->Item(0)->ItemIDs(), (Integers{7, 9}));
}

TEST(DataSelectDescriptors, AnItemWithoutIdIsDropped) {
  fake::FakeScope fake;
  DataSelect read;
  read.SetXML(
      R"(<DataSelect><Descriptors><Descriptor Type="1"><Items><Item/><Item ID="3"/></Items>)"
      R"(<Items><Item ID="4"/></Items></Descriptor></Descriptors></DataSelect>)");
  EXPECT_EQ(read.Descriptors()->Item(0)->ItemIDs(), Integers{3});  // of the first Items only
}

TEST(DataSelectDescriptors, ATextMayHoldAKindTwiceAndIndexStaysZero) {
  fake::FakeScope fake;
  DataSelect read;
  read.SetXML(R"(<DataSelect><Descriptors><Descriptor Type="2"/><Descriptor Type="2" Group="8"/>)"
              R"(</Descriptors></DataSelect>)");
  EXPECT_EQ(read.Descriptors()->Count(), 2);
  EXPECT_EQ(read.Descriptors()->Item(1)->GroupID(), 8);
  EXPECT_EQ(read.Descriptors()->Item(1)->Index(Friend{}), 0);
}

TEST(DataSelectDescriptors, ANullNodeAddsNothing) {
  DataSelectDescriptors descriptors;
  descriptors.SetXML(Friend{}, {});
  EXPECT_EQ(descriptors.Count(), 0);
  EXPECT_FALSE(DataSelectDescriptor().SetXML(Friend{}, {}));
}

}  // namespace
}  // namespace orvspc
