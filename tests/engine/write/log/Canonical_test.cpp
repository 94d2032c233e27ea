// SPDX-License-Identifier: Apache-2.0
#include "engine/write/log/Canonical.h"

#include <gtest/gtest.h>

#include "platform/Actor.h"

namespace orvspc::engine::log {
namespace {

constexpr std::int64_t kSix = 1'773'208'800;  // 2026-03-11T06:00:00Z

NewRecord Diameter() {
  NewRecord record;
  record.part = "Ring";
  record.process = "Press A";
  record.test = "Diameter";
  record.time = kSix;
  record.pieces = {{74.03, 0, 0, "", "", ""}, {74.0, 0, 0, "", "", ""}};
  return record;
}

Refused RefusalOf(const std::string& text) {
  try {
    RecordOf(ReadJson(text));
  } catch (const Refused& refused) {
    return refused;
  }
  return {"", "", "", ""};
}

TEST(Canonical, LeavesDefaultsOut) {
  EXPECT_EQ(CanonicalText(JsonOf(CanonicalOf(Diameter()))),
            R"({"part":"Ring","process":"Press A","test":"Diameter","time":"2026-03-11T06:00:00Z",)"
            R"("pieces":[{"value":74.03},{"value":74}]})");
  EXPECT_EQ(CanonicalText(JsonOf(CanonicalRecord())), "{}");
}

TEST(Canonical, WritesEverythingInOneOrder) {
  auto record = CanonicalOf(Diameter());
  record.label = "17";
  record.pieces = {{0.1, 4, 1, "S1", "G", "D"}};
  record.size = 2.5;
  record.flag = 2;
  record.context = {{"lot", "L"}, {"job", "J"}};
  record.descriptors = {{"Mould", "M1", 0}, {"Colour", "red", 0}, {"Colour", "blue", 2}};
  record.comments = {{"tool changed", 0, "", {}}, {"scratch", 2, "Ann", kSix + 1}};
  const std::string text =
      R"({"part":"Ring","process":"Press A","test":"Diameter","label":"17",)"
      R"("time":"2026-03-11T06:00:00Z",)"
      R"("pieces":[{"value":0.1,"tsno":4,"sbno":1,"serial":"S1","gage":"G","defect":"D"}],)"
      R"("size":2.5,"flag":2,"context":{"job":"J","lot":"L"},)"
      R"("descriptors":{"Colour":[{"name":"blue","tsno":2},"red"],"Mould":"M1"},)"
      R"("comments":["tool changed",)"
      R"({"text":"scratch","tsno":2,"employee":"Ann","time":"2026-03-11T06:00:01Z"}]})";
  EXPECT_EQ(CanonicalText(JsonOf(record)), text);
  // What is read gives the same text, whatever the order of its keys was.
  EXPECT_EQ(CanonicalText(JsonOf(RecordOf(ReadJson(text)))), text);
  std::swap(record.descriptors[0], record.descriptors[2]);
  EXPECT_EQ(CanonicalText(JsonOf(record)), text);
  EXPECT_EQ(CanonicalText(JsonOf(RecordOf(ReadJson(R"({"test":"T","part":"P"})")))),
            R"({"part":"P","test":"T"})");
}

TEST(Canonical, NumbersReadBack) {
  for (const double value :
       {0.1, 1e-300, 1.0 / 3.0, 1e21, -0.0, 123456789.125, 9007199254740993.0}) {
    auto record = Diameter();
    record.pieces = {{value, 0, 0, "", "", ""}};
    const auto read = RecordOf(ReadJson(CanonicalText(JsonOf(CanonicalOf(record)))));
    ASSERT_EQ(read.pieces.size(), 1U);
    EXPECT_EQ(read.pieces[0].value, value);
    EXPECT_EQ(std::signbit(read.pieces[0].value), std::signbit(value));
  }
}

TEST(Canonical, ReadsTheShortForms) {
  const auto record =
      RecordOf(ReadJson(R"({"time":1773208800,"pieces":[74.03,{"value":1}],"flag":"incomplete"})"));
  EXPECT_EQ(record.time, kSix);
  ASSERT_EQ(record.pieces.size(), 2U);
  EXPECT_EQ(record.pieces[0].value, 74.03);
  EXPECT_EQ(record.flag, 2);
  EXPECT_EQ(RecordOf(ReadJson(R"({"time":"2026-03-11T07:00:00+01:00"})")).time, kSix);
}

TEST(Canonical, DescriptorsAreContextOfWhatIsSent) {
  auto sent = Diameter();
  sent.context = {{"lot", "L"}, {"descriptor:Colour", "red"}};
  sent.comments = {"tool changed"};
  const auto record = CanonicalOf(sent);
  ASSERT_EQ(record.descriptors.size(), 1U);
  EXPECT_EQ(record.descriptors[0], (NewDescriptor{"Colour", "red", 0}));
  const auto back = NewRecordOf(record);
  EXPECT_EQ(back.context, sent.context);
  EXPECT_EQ(back.comments, sent.comments);
  EXPECT_EQ(back.time, sent.time);
}

TEST(Canonical, TheDigestIsOfTheValuesAndTheirContext) {
  auto record = CanonicalOf(Diameter());
  const auto digest = DigestOf(record);
  EXPECT_EQ(digest.size(), 64U);
  record.comments = {{"later", 0, "", {}}};
  record.descriptors = {{"Colour", "red", 0}};
  EXPECT_EQ(DigestOf(record), digest);
  record.flag = 1;
  EXPECT_NE(DigestOf(record), digest);
}

TEST(Canonical, RefusesWhatItDoesNotKnow) {
  const struct {
    const char *text, *code, *field, *says;
  } cases[] = {
      {R"([1])", "json", "record", "record: must be an object"},
      {R"({"parts":"Ring"})", "json", "parts", "parts: there is no such key"},
      {R"({"part":7})", "json", "part", "part: 7 is no text"},
      {R"({"pieces":7})", "json", "pieces", "pieces: must be a list"},
      {R"({"pieces":[{"tsno":1}]})", "json", "pieces", "pieces: a piece needs a value"},
      {R"({"pieces":["74,03"]})", "number", "value",
       "value: 74,03 is no number; the decimal sign is a point"},
      {R"({"pieces":[null]})", "number", "value", "value: null is no number"},
      {R"({"pieces":[{"value":1,"tsno":-1}]})", "number", "tsno",
       "tsno: must be a whole number between 0 and 2147483647"},
      {R"({"time":"yesterday"})", "time", "time",
       "time: is no time; write it as 2024-02-29T12:30:00"},
      {R"({"flag":9})", "flag", "flag", "flag: must be enabled, disabled or incomplete"},
      {R"({"context":[]})", "json", "context", "context: must be an object"},
      {R"({"descriptors":{"Colour":7}})", "json", "Colour", "Colour: must be an object"},
  };
  for (const auto& each : cases) {
    const auto refused = RefusalOf(each.text);
    EXPECT_EQ(refused.code, each.code) << each.text;
    EXPECT_EQ(refused.field, each.field) << each.text;
    EXPECT_EQ(refused.Description(), each.says) << each.text;
  }
}

}  // namespace
}  // namespace orvspc::engine::log
