// SPDX-License-Identifier: Apache-2.0
// The events of a selection: fields, cursor, kept answers, XML.
#include "dataset/EventData.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "frame/Friend.h"
#include "platform/FixedText.h"
#include "platform/TimeStamp.h"
#include "tests/dataset/rows.h"
#include "tests/fake/FailureOf.h"
#include "tests/fake/FakePlatform.h"

namespace orvspc {
namespace {

API_EventData Event(std::string_view name = "Alarm") {
  API_EventData row{};
  row.Evnt = 11;
  row.F_TYPE = etSamplingViolation;
  platform::StoreFixedText(row.F_NAME, name);
  row.F_EMPL = 21;
  row.F_EVTM = 1'600'000'000;
  row.F_PRCS = 22;
  row.F_PART = 23;
  row.F_TEST_ = 24;
  row.F_SGTM = 1'600'000'060;
  row.F_ACC = 25;
  row.F_ACEM = 26;
  row.F_ACTM = 1'600'000'120;
  row.F_CAC = 27;
  row.F_CAEM = 28;
  row.F_CATM = 1'600'000'180;
  row.F_FLAG = efOpenCAC;
  return row;
}

class EventDataTest : public testing::Test {
 protected:
  void Load(const std::vector<API_EventData>& rows) {
    auto array = fake::MakeArray(rows);
    // The rows are moved in, so tests can still reach them here.
    inside_ = array.Elements().data();
    events_.LoadStructures(Friend(), std::move(array));
  }

  fake::FakeScope fake_;
  EventData events_;
  API_EventData* inside_ = nullptr;
};

TEST_F(EventDataTest, WithoutEventsEveryAnswerIsTheDefault) {
  for (const bool loaded : {false, true}) {
    if (loaded) Load({});
    EXPECT_EQ(events_.Count(), 0);
    EXPECT_EQ(events_.CurrentIndex(), 1);
    EXPECT_FALSE(events_.MoveFirst());
    for (const auto get :
         {&EventData::ACC, &EventData::ACCEmployee, &EventData::CAC, &EventData::CACEmployee,
          &EventData::Empl, &EventData::Evnt, &EventData::Part, &EventData::Prcs, &EventData::Test})
      EXPECT_EQ((events_.*get)(), 0);
    for (const auto get :
         {&EventData::ACCTime, &EventData::CACTime, &EventData::EventTime, &EventData::Sgtm})
      EXPECT_EQ((events_.*get)(), 0.0);
    EXPECT_EQ(events_.Name(), "");
    EXPECT_EQ(events_.Flag(), 0);
    EXPECT_EQ(events_.EventType(), 0);
    for (const auto has : {&EventData::HasOpenEvents, &EventData::HasEmployees, &EventData::HasACCs,
                           &EventData::HasCACs})
      EXPECT_FALSE((events_.*has)());
  }
}

TEST_F(EventDataTest, EachGetReadsItsField) {
  Load({API_EventData{}, Event()});
  ASSERT_TRUE(events_.MoveTo(2));
  EXPECT_EQ(events_.Evnt(), 11);
  EXPECT_EQ(events_.EventType(), etSamplingViolation);
  EXPECT_EQ(events_.Name(), "Alarm");
  EXPECT_EQ(events_.Empl(), 21);
  EXPECT_EQ(events_.EventTime(), platform::TimeStampToDate(1'600'000'000));
  EXPECT_EQ(events_.Prcs(), 22);
  EXPECT_EQ(events_.Part(), 23);
  EXPECT_EQ(events_.Test(), 24);
  EXPECT_EQ(events_.Sgtm(), platform::TimeStampToDate(1'600'000'060));
  EXPECT_EQ(events_.ACC(), 25);
  EXPECT_EQ(events_.ACCEmployee(), 26);
  EXPECT_EQ(events_.ACCTime(), platform::TimeStampToDate(1'600'000'120));
  EXPECT_EQ(events_.CAC(), 27);
  EXPECT_EQ(events_.CACEmployee(), 28);
  EXPECT_EQ(events_.CACTime(), platform::TimeStampToDate(1'600'000'180));
  EXPECT_EQ(events_.Flag(), efOpenCAC);
  EXPECT_TRUE(events_.MoveFirst());
  // With rows a stamp of 0 is a time.
  EXPECT_EQ(events_.EventTime(), 25569.0);
}

TEST_F(EventDataTest, AMoveThatIsNotPossibleLeavesThePosition) {
  Load({Event(), Event(), Event()});
  EXPECT_TRUE(events_.MoveTo(2));
  EXPECT_TRUE(events_.MovePrev());
  EXPECT_EQ(events_.CurrentIndex(), 1);
  EXPECT_FALSE(events_.MovePrev());
  EXPECT_EQ(events_.CurrentIndex(), 1);
  EXPECT_FALSE(events_.MoveTo(4));
  EXPECT_FALSE(events_.MoveTo(0));
  EXPECT_EQ(events_.CurrentIndex(), 1);
  EXPECT_TRUE(events_.MoveLast());
  EXPECT_FALSE(events_.MoveNext());
  EXPECT_EQ(events_.CurrentIndex(), 3);
}

TEST_F(EventDataTest, HasLooksForItsFieldInAnyRow) {
  struct Row {
    bool (EventData::*has)() const;
    std::int32_t API_EventData::*field;
  };
  for (const Row& row : {Row{&EventData::HasOpenEvents, &API_EventData::F_FLAG},
                         {&EventData::HasEmployees, &API_EventData::F_EMPL},
                         {&EventData::HasACCs, &API_EventData::F_ACC},
                         {&EventData::HasCACs, &API_EventData::F_CAC}}) {
    API_EventData all = Event(), last{};
    all.*row.field = 0;
    Load({all, all});
    EXPECT_FALSE((events_.*row.has)());
    last.*row.field = -1;  // any value but 0
    Load({all, all, last});
    EXPECT_TRUE((events_.*row.has)());
    EXPECT_EQ(events_.CurrentIndex(), 1);
  }
}

TEST_F(EventDataTest, AnAnswerIsKeptWithoutASecondScan) {
  Load({API_EventData{}, Event()});
  EXPECT_TRUE(events_.HasACCs());
  EXPECT_TRUE(events_.HasCACs());
  inside_[1].F_ACC = 0;
  EXPECT_TRUE(events_.HasACCs());

  Load({API_EventData{}});
  EXPECT_FALSE(events_.HasACCs());  // forgotten by loading
  inside_[0].F_ACC = 1;
  EXPECT_FALSE(events_.HasACCs());  // no is kept too
}

TEST_F(EventDataTest, AnOpenCorrectiveActionIsOpen) {
  API_EventData row{};
  row.F_FLAG = 2;
  Load({row});
  EXPECT_TRUE(events_.HasOpenEvents());
  EXPECT_EQ(events_.Flag(), efOpenCAC);
}

TEST_F(EventDataTest, ReadingANameWritesItBackWithBlanks) {
  API_EventData row{};
  row.F_NAME[0] = u'A';
  row.F_NAME[1] = u'b';
  row.F_NAME[5] = u'x';  // behind the end
  Load({row});
  EXPECT_EQ(events_.Name(), "Ab");
  EXPECT_EQ(std::u16string(inside_[0].F_NAME, 32), u"Ab" + std::u16string(30, u' '));
  EXPECT_EQ(events_.Name(), "Ab");
}

TEST_F(EventDataTest, WritingANameWritesItBackWithBlanks) {
  Load({API_EventData{}});
  EXPECT_NE(events_.GetXML().find("F_NAME=\"\""), std::string::npos);
  EXPECT_EQ(std::u16string(inside_[0].F_NAME, 32), std::u16string(32, u' '));
}

TEST_F(EventDataTest, AHalfOfAPairStaysInTheField) {
  API_EventData row{};
  row.F_NAME[0] = 0xD83D;
  Load({row});
  EXPECT_EQ(events_.Name(), "\xEF\xBF\xBD");
  EXPECT_EQ(inside_[0].F_NAME[0], 0xD83D);
}

TEST_F(EventDataTest, TheXmlHasFifteenAttributesInOrder) {
  Load({Event("A & B"), API_EventData{}});
  EXPECT_EQ(events_.GetXML(),
            "<EventData>"
            "<Event F_TYPE=\"3\" F_NAME=\"A &amp; B\" F_EMPL=\"21\" F_EVTM=\"1600000000\" "
            "F_PRCS=\"22\" F_PART=\"23\" F_TEST=\"24\" F_SGTM=\"1600000060\" F_ACC=\"25\" "
            "F_ACEM=\"26\" F_ACTM=\"1600000120\" F_CAC=\"27\" F_CAEM=\"28\" F_CATM=\"1600000180\" "
            "F_FLAG=\"2\"/>"
            "<Event F_TYPE=\"0\" F_NAME=\"\" F_EMPL=\"0\" F_EVTM=\"0\" F_PRCS=\"0\" F_PART=\"0\" "
            "F_TEST=\"0\" F_SGTM=\"0\" F_ACC=\"0\" F_ACEM=\"0\" F_ACTM=\"0\" F_CAC=\"0\" "
            "F_CAEM=\"0\" F_CATM=\"0\" F_FLAG=\"0\"/>"
            "</EventData>");
}

TEST_F(EventDataTest, ATextKeepsEverythingButTheIdentifier) {
  Load({Event()});
  EventData read;
  EXPECT_TRUE(read.SetXML(events_.GetXML()));
  EXPECT_EQ(read.EventTime(), events_.EventTime());
  EXPECT_EQ(read.CACTime(), events_.CACTime());
  EXPECT_EQ(read.Name(), "Alarm");
  EXPECT_EQ(read.Evnt(), 0);
  EXPECT_EQ(read.GetXML(), events_.GetXML());
}

// A platform whose trimmer keeps the fields as they were given to it.
class TrimmerWatch : public fake::FakePlatform {
 public:
  std::shared_ptr<platform::TextTrimmer> MakeTextTrimmer() override {
    return std::make_shared<Trimmer>(fields);
  }
  std::vector<std::u16string> fields;

 private:
  struct Trimmer : platform::TextTrimmer {
    explicit Trimmer(std::vector<std::u16string>& given) : fields(given) {}
    void TrimFixedString(std::u16string& text) override {
      fields.push_back(text);
      text.resize(platform::TrimFixedText(text).size());
    }
    std::vector<std::u16string>& fields;
  };
};

TEST_F(EventDataTest, AMissingNameIsEmptyAndTheFieldBlank) {
  const auto watch = std::make_shared<TrimmerWatch>();
  const platform::Scope scope(watch);
  EXPECT_TRUE(events_.SetXML("<EventData><Event F_ACC=\"7\"/></EventData>"));
  watch->fields.clear();
  EXPECT_EQ(events_.Name(), "");
  EXPECT_EQ(watch->fields, std::vector{std::u16string(32, u' ')});
  EXPECT_EQ(events_.ACC(), 7);
  EXPECT_EQ(events_.EventTime(), 25569.0);
}

TEST_F(EventDataTest, ALongNameIsCut) {
  const std::string name(40, 'n');
  EXPECT_TRUE(events_.SetXML("<EventData><Event F_NAME=\"" + name + "\"/></EventData>"));
  EXPECT_EQ(events_.Name(), std::string(32, 'n'));
}

TEST_F(EventDataTest, ReadingATextStandsOnItsFirstEvent) {
  Load({Event(), Event()});
  EXPECT_TRUE(events_.HasACCs());
  events_.MoveLast();
  EXPECT_TRUE(
      events_.SetXML("<EventData><Event/><Other/><Event/><Event F_TYPE=\"7\"/></EventData>"));
  EXPECT_EQ(events_.Count(), 3);
  EXPECT_EQ(events_.CurrentIndex(), 1);
  EXPECT_FALSE(events_.HasACCs());
  EXPECT_TRUE(events_.MoveLast());
  EXPECT_EQ(events_.EventType(), etDonwtime);
}

TEST_F(EventDataTest, TheTextOfAnEmptySetIsRefusedByItsOwnReader) {
  const std::string text = EventData().GetXML();
  EXPECT_EQ(text, "<EventData/>");
  Load({Event()});
  const auto failure = fake::FailureOf([&] { events_.SetXML(text); });
  EXPECT_EQ(failure.Number(), 9);
  EXPECT_EQ(failure.Source(), "EventData.SetXML|EventData.SetXMLNode|orvSPCAnalysis6");
  EXPECT_EQ(events_.Count(), 1);
  EXPECT_EQ(events_.Evnt(), 11);
}

TEST_F(EventDataTest, AFailingTextLeavesTheOldEvents) {
  struct Row {
    const char* text;
    std::int32_t number;
    const char* source;
  };
  const char* const attribute = "EventData.SetXML|EventData.SetXMLNode|orvSPCAnalysis6";
  for (const Row& row :
       {Row{"", -2147221504,
            "EventData.SetXML|XMLSupport.GetXMLSingleNode(Node=EventData)|orvSPCAnalysis6"},
        {"<Other><EventData><Event/></EventData></Other>", -2147221504,
         "EventData.SetXML|XMLSupport.GetXMLSingleNode(Node=EventData)|orvSPCAnalysis6"},
        {"<EventData><Event/><Event F_ACC=\"x\"/></EventData>", 13, attribute},
        {"<EventData><Event F_EVTM=\"3000000000\"/></EventData>", 6, attribute}}) {
    Load({Event()});
    const auto failure = fake::FailureOf([&] { events_.SetXML(row.text); });
    EXPECT_EQ(failure.Number(), row.number) << row.text;
    EXPECT_EQ(failure.Source(), row.source) << row.text;
    EXPECT_EQ(events_.Evnt(), 11) << row.text;
  }
}

}  // namespace
}  // namespace orvspc
