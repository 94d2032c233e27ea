// SPDX-License-Identifier: Apache-2.0
// What holds for the XML of every class that is persisted as a text of its own.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <type_traits>

#include "capability/CAAnalysis.h"
#include "chart/CCAnalysis.h"
#include "dataset/EventData.h"
#include "dataset/SubgroupData.h"
#include "pareto/PAProcessing.h"
#include "platform/FixedText.h"
#include "select/DataSelect.h"
#include "tests/fake/FailureOf.h"
#include "tests/fake/FakePlatform.h"

namespace orvspc::contract {
namespace {

template <class T>
struct Persisted;

template <>
struct Persisted<DataSelect> {
  static constexpr const char* kName = "DataSelect";
  static std::shared_ptr<DataSelect> Make(fake::FakeScope&) {
    auto select = std::make_shared<DataSelect>();
    select->MaximumItems(2147483647);
    select->DateRangeStart(45000.0 + 1.0 / 7.0);
    select->DateRangeEnd(-1e300);
    select->DateRangePeriod(static_cast<DateRangePeriods>(-5));
    select->Descriptors()->Add(dtPart)->AddItemID(-2147483647 - 1);
    const auto group = select->Descriptors()->Add(dtOther);
    group->FilterType(ftGroup);
    group->GroupID(9);
    return select;
  }
};

template <>
struct Persisted<CCProcessing> {
  static constexpr const char* kName = "CCProcessing";
  static std::shared_ptr<CCProcessing> Make(fake::FakeScope&) {
    auto processing = std::make_shared<CCProcessing>();
    processing->Graph1Type(static_cast<ccGraph1Types>(99));
    processing->Individuals(true);
    processing->EWMAWeight(1.0 / 3.0);
    processing->AQLValue(5e-324);
    return processing;
  }
};

// The levels keep their defaults, since a text does not bring them back.
template <>
struct Persisted<PAProcessing> {
  static constexpr const char* kName = "PAProcessing";
  static std::shared_ptr<PAProcessing> Make(fake::FakeScope&) {
    auto processing = std::make_shared<PAProcessing>();
    processing->BinCount(-2147483647 - 1);
    processing->ResourceType(static_cast<paResourceTypes>(99));
    processing->ShowEmptyBins(true);
    return processing;
  }
};

template <>
struct Persisted<SubgroupData> {
  static constexpr const char* kName = "SubgroupData";
  static std::shared_ptr<SubgroupData> Make(fake::FakeScope& fake) {
    fake::FillRows(fake.script(), 3, 2, 0.1);
    API_CommentData comment{};
    comment.Sgrp = 1;
    platform::StoreFixedText(comment.Empl, "Zoë <O'Brien>");
    platform::StoreFixedText(comment.Note, "a & b \"c\" \t\n\r µ 直径 😀");
    fake.script().comments = {comment};
    return DataSelect().GetSubgroupData(fake.database);
  }
};

template <>
struct Persisted<CCResults> {
  static constexpr const char* kName = "CCResults";
  static std::shared_ptr<CCResults> Make(fake::FakeScope& fake) {
    using platform::ChartData;
    fake::FillRows(fake.script(), 3, 2, 0.1);
    fake.script().chart_word = 0x111;
    fake.script().mean_estimate = 1.0 / 3.0;
    fake.script().doubles[{ChartData::Points, 1}] = {5e-324, -1e300, 0.1 + 0.2};
    fake.script().integers[{ChartData::SGSizes, 3}] = {2147483647, -2147483647 - 1, 0};
    return CCAnalysis().AnalyzeDataSelect(fake.database, std::make_shared<DataSelect>(),
                                          std::make_shared<CCProcessing>());
  }
};

template <>
struct Persisted<EventData> {
  static constexpr const char* kName = "EventData";
  static std::shared_ptr<EventData> Make(fake::FakeScope& fake) {
    API_EventData named{}, negative{};
    named.F_TYPE = etDonwtime;
    named.F_EVTM = -2147483647 - 1;
    named.F_CATM = 2147483647;
    platform::StoreFixedText(named.F_NAME, " <a & b> \"c\" \t 直径 😀");
    negative.F_FLAG = -1;
    fake.script().events = {named, negative};
    return DataSelect().GetEventData(fake.database);
  }
};

template <>
struct Persisted<CAProcessing> {
  static constexpr const char* kName = "CAProcessing";
  static std::shared_ptr<CAProcessing> Make(fake::FakeScope&) {
    auto processing = std::make_shared<CAProcessing>();
    processing->AllowOverride(true);
    processing->BinCount(-2147483647 - 1);
    processing->FitType(static_cast<caFitTypes>(99));
    processing->OverrideUSL(0.1 + 0.2);
    processing->WindowMaximum(1e300);
    processing->WindowMinimum(-5e-324);
    return processing;
  }
};

// Without the figures that the reader misses.
template <>
struct Persisted<CAResults> {
  static constexpr const char* kName = "CAResults";
  static std::shared_ptr<CAResults> Make(fake::FakeScope& fake) {
    fake.script().capability = [](fake::CapabilityCall& call) {
      call.summary->Mean = 1.0 / 3.0;
      call.moments->SD = 5e-324;
      call.spec_lim->EFlag = -1;
      std::memcpy(call.spec_lim->Text, "<a & \"b\"> \xB5 \x80", 14);
      call.bins.As<API_CABin>()[4].YMax = 0.1 + 0.2;
      call.x[1] = -1e300;
      return 1;
    };
    const auto processing = std::make_shared<CAProcessing>();
    processing->BinCount(5);
    processing->CurveCount(2);
    return CAAnalysis().AnalyzeDataSelect(fake.database, std::make_shared<DataSelect>(),
                                          processing);
  }
};

template <class T>
class XmlContract : public testing::Test {
 protected:
  fake::FakeScope fake_;
};

using Classes = testing::Types<DataSelect, CCProcessing, PAProcessing, SubgroupData, CCResults,
                               EventData, CAProcessing, CAResults>;
TYPED_TEST_SUITE(XmlContract, Classes);

TYPED_TEST(XmlContract, TextOfAReadTextIsTheSame) {
  const std::string text = Persisted<TypeParam>::Make(this->fake_)->GetXML();
  TypeParam read;
  EXPECT_NE(read.GetXML(), text);
  EXPECT_TRUE(read.SetXML(text));
  EXPECT_EQ(read.GetXML(), text);
}

TYPED_TEST(XmlContract, TheRootIsTheClassWithoutDeclaration) {
  const std::string text = TypeParam().GetXML();
  EXPECT_EQ(text.rfind(std::string("<") + Persisted<TypeParam>::kName, 0), 0u) << text;
}

TYPED_TEST(XmlContract, WhatIsNoSuchTextFails) {
  const std::string name = Persisted<TypeParam>::kName;
  for (const std::string& text :
       {std::string(), std::string("no XML"), std::string("<Other/>"), "<" + name,
        "<" + name + "/><x/>", "<A><" + name + "/></A>", "<!DOCTYPE a><" + name + "/>"}) {
    TypeParam object;
    const auto failure = fake::FailureOf([&] { object.SetXML(text); });
    EXPECT_EQ(failure.Number(), -2147221504) << text;
    EXPECT_EQ(failure.Description(), "Node does not exist!") << text;
    EXPECT_EQ(failure.Source(),
              name + ".SetXML|XMLSupport.GetXMLSingleNode(Node=" + name + ")|orvSPCAnalysis6");
  }
}

TYPED_TEST(XmlContract, EveryTruncationOfATextIsRefused) {
  const std::string text = Persisted<TypeParam>::Make(this->fake_)->GetXML();
  for (std::size_t n = 0; n < text.size(); ++n) {
    TypeParam object;
    EXPECT_EQ(fake::NumberOf([&] { object.SetXML(text.substr(0, n)); }), -2147221504) << n;
  }
}

// What holds for the classes of settings alone: attributes that are missing leave their members.
template <class T>
class SettingsXmlContract : public XmlContract<T> {};

using SettingsClasses = testing::Types<DataSelect, CCProcessing, PAProcessing, CAProcessing>;
TYPED_TEST_SUITE(SettingsXmlContract, SettingsClasses);

TYPED_TEST(SettingsXmlContract, AnEmptyElementLeavesEveryChangedSetting) {
  const std::string name = Persisted<TypeParam>::kName;
  const auto object = Persisted<TypeParam>::Make(this->fake_);
  if constexpr (std::is_same_v<TypeParam, DataSelect>) object->Descriptors()->Clear();
  const std::string before = object->GetXML();
  EXPECT_NE(before, TypeParam().GetXML());
  EXPECT_TRUE(object->SetXML("<" + name + " Unknown=\"1\"><Unknown/></" + name + ">"));
  EXPECT_EQ(object->GetXML(), before);
}

}  // namespace
}  // namespace orvspc::contract
