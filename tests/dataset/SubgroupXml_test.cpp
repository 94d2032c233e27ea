// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "dataset/SubgroupData.h"
#include "dataset/subgroup_xml.h"
#include "frame/XMLSupport.h"
#include "platform/FixedText.h"
#include "tests/dataset/rows.h"
#include "tests/fake/FailureOf.h"
#include "tests/fake/FakePlatform.h"

namespace orvspc {
namespace {

using fake::Comment;
using fake::DataRows;
using fake::Descriptor;
using fake::FailureOf;
using fake::MakeArray;
using fake::Subgroup;
using fake::Value;

class SubgroupXml : public ::testing::Test {
 protected:
  // The text after it was read into another object and written again.
  static std::string Again(const std::string& text) {
    SubgroupData other;
    EXPECT_TRUE(other.SetXML(text));
    return other.GetXML();
  }

  fake::FakeScope outside_;
  SubgroupData data_;
};

const std::string kEmpty =
    "<SubgroupData><Subgroups/><Tests/><Descriptors/><Comments/></SubgroupData>";

TEST_F(SubgroupXml, AnEmptySetWritesTheFourContainers) {
  EXPECT_EQ(data_.GetXML(), kEmpty);
  EXPECT_EQ(Again(kEmpty), kEmpty);
}

TEST_F(SubgroupXml, EveryFieldHasItsAttributeInOrder) {
  API_SubgroupData subgroup{};
  subgroup.Sgrp = 1, subgroup.Part = 2, subgroup.Prcs = 3, subgroup.Test = 4, subgroup.Wkst = 5;
  subgroup.Job = 6, subgroup.Lot = 7, subgroup.Shft = 8, subgroup.Ptrv = 9, subgroup.Empl = 10;
  subgroup.Sgtm = -11, subgroup.Size = 12, subgroup.Flag = 2, subgroup.Reserved = 99;
  subgroup.Test_Start = 0, subgroup.Test_End = 1;
  API_TestData test{};
  test.Sn = 1, test.Tsno = 2, test.Sbno = 3, test.Def = 4, test.Gage = 5, test.Val = -0.25;
  API_DescriptorData descriptor = Descriptor(1, 2, 3);
  descriptor.Tsno = 4;
  API_CommentData comment = Comment(1, 2, "note");
  comment.Edtm = 3;
  comment.Tsno = 4;
  DataRows rows;
  rows.subgroups = {subgroup};
  rows.tests = {test, Value(1e20)};
  rows.descriptors = {descriptor};
  rows.comments = {comment};
  rows.LoadInto(data_);
  const std::string text =
      R"(<SubgroupData><Subgroups><Subgroup F_SGRP="1" F_PART="2" F_PRCS="3" F_TEST="4" F_WKNO="5")"
      R"( F_JOB="6" F_LOT="7" F_SHFT="8" F_PTRV="9" F_EMPL="10" F_SGTM="-11" F_SGSZ="12")"
      R"( F_FLAG="2" Test_Start="0" Test_End="1"/></Subgroups>)"
      R"(<Tests><Test F_SN="1" F_TSNO="2" F_SBNO="3" F_DEF="4" F_GAGE="5" F_VAL="-0.25"/>)"
      R"(<Test F_SN="0" F_TSNO="1" F_SBNO="0" F_DEF="0" F_GAGE="0" F_VAL="1E+20"/></Tests>)"
      R"(<Descriptors><Descriptor F_SGRP="1" F_DSGP="2" F_DESC="3" F_TSNO="4"/></Descriptors>)"
      R"(<Comments><Comment F_SGRP="1" F_EDTM="3" F_EMPL="somebody                        ")"
      R"( F_TEST="2" F_TSNO="4" F_NOTE="note)" +
      std::string(124, ' ') + R"("/></Comments></SubgroupData>)";
  EXPECT_EQ(data_.GetXML(), text);
  EXPECT_EQ(Again(text), text);
}

TEST_F(SubgroupXml, EveryValueReadsBackTheSame) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  DataRows rows;
  rows.tests = {Value(0.1 + 0.2), Value(1.0 / 3.0), Value(-0.0),       Value(5e-324),
                Value(1e300),     Value(kInfinity), Value(-kInfinity), Value(std::nan(""))};
  rows.subgroups = {Subgroup(1, 1, 0, static_cast<std::int32_t>(rows.tests.size()) - 1)};
  rows.LoadInto(data_);
  SubgroupData other;
  other.SetXML(data_.GetXML());
  EXPECT_EQ(other.GetXML(), data_.GetXML());
  const auto before = data_.TestData();
  const auto after = other.TestData();
  do {
    const bool both_nan = std::isnan(before->Val()) && std::isnan(after->Val());
    EXPECT_TRUE(both_nan || before->Val() == after->Val()) << before->Val();
  } while (before->MoveNext() && after->MoveNext());
}

TEST_F(SubgroupXml, TextsOfAllKindsComeBackTheSame) {
  struct Row {
    std::u16string note;
    const char* reason;
  };
  const Row rows[] = {
      {u"<&>\"'", "markup"},
      {u"tab\tline\nreturn\r", "blanks"},
      {std::u16string(u"nul\0here", 8), "padding by NUL becomes blanks"},
      {u"\x01\x1F", "controls become blanks"},
      {u"\U0001F600 emoji", "outside of 16 bits"},
      {std::u16string(127, u'x') + u"\xD83D", "a pair that the field cut"},
      {u"\xDE00 lone", "a lone low surrogate"},
      {u"\xFFFE\xFFFF", "no characters"},
      {u"   leading", "leading blanks"},
      {std::u16string(128, u'\x20AC'), "a full field"},
  };
  for (const Row& row : rows) {
    API_CommentData comment = Comment(1, 0, "");
    std::copy(row.note.begin(), row.note.end(), comment.Note);
    DataRows data;
    data.subgroups = {Subgroup(1, 1, 0, 0)};
    data.comments = {comment};
    data.LoadInto(data_);
    const std::string text = data_.GetXML();
    EXPECT_EQ(Again(text), text) << row.reason;
  }
}

TEST_F(SubgroupXml, ALoneSurrogateBecomesTheReplacementCharacter) {
  API_CommentData comment = Comment(1, 0, std::string(127, 'x') + "\xF0\x9F\x98\x80");
  DataRows data;
  data.subgroups = {Subgroup(1, 1, 0, 0)};
  data.comments = {comment};
  data.LoadInto(data_);
  SubgroupData other;
  other.SetXML(data_.GetXML());
  EXPECT_EQ(other.CommentData()->Note(), std::string(127, 'x') + "\xEF\xBF\xBD");
}

TEST_F(SubgroupXml, StampsStayStampsAndDatesStayDates) {
  DataRows rows;
  rows.subgroups = {Subgroup(1, 1, 0, 0)};
  rows.subgroups[0].Sgtm = 1'234'567'890;
  rows.LoadInto(data_);
  EXPECT_NE(data_.GetXML().find(R"(F_SGTM="1234567890")"), std::string::npos);
  SubgroupData other;
  other.SetXML(data_.GetXML());
  EXPECT_EQ(other.Sgtm(), data_.Sgtm());
}

TEST_F(SubgroupXml, GroupsAndCursorAreNotKept) {
  DataRows rows;
  rows.subgroups = {Subgroup(1, 1, 0, 0), Subgroup(2, 1, 0, 0)};
  rows.LoadInto(data_);
  data_.LoadGroupArrays(Friend(), MakeArray<std::int32_t>({0}), MakeArray<std::int32_t>({1}),
                        MakeArray<std::int32_t>({0, 0}), MakeArray<std::int32_t>({7, 7}));
  data_.MoveLast();
  EXPECT_EQ(data_.TotalGroups(), 1);
  EXPECT_TRUE(data_.SetXML(data_.GetXML()));
  EXPECT_EQ(data_.TotalGroups(), 2);
  EXPECT_EQ(data_.CurrentIndex(), 1);
}

TEST_F(SubgroupXml, ContainersAndAttributesMayBeMissing) {
  EXPECT_TRUE(data_.SetXML("<SubgroupData/>"));
  EXPECT_EQ(data_.TotalSubgroups(), 0);
  EXPECT_TRUE(
      data_.SetXML("<SubgroupData><Comments><Comment/></Comments><Tests><Test F_TSNO='3'/></Tests>"
                   "<Subgroups><Other/><Subgroup F_SGRP='0'/></Subgroups></SubgroupData>"));
  EXPECT_EQ(data_.TotalSubgroups(), 1);
  EXPECT_EQ(data_.TestData()->Tsno(), 3);
  EXPECT_EQ(data_.TestData()->Val(), 0.0);
  EXPECT_EQ(data_.CommentData()->Note(), "0" + std::string(127, ' '));
  EXPECT_EQ(data_.CommentData()->Empl(), "0" + std::string(31, ' '));
}

TEST_F(SubgroupXml, WithoutASubgroupsElementThereAreNoSubgroups) {
  EXPECT_TRUE(data_.SetXML("<SubgroupData><Tests><Test F_TSNO='3'/></Tests></SubgroupData>"));
  EXPECT_EQ(data_.TotalSubgroups(), 0);
  EXPECT_EQ(data_.TotalTests(), 1);
}

TEST_F(SubgroupXml, ACommentWithoutANoteReadsZeroFilledWithBlanks) {
  EXPECT_TRUE(
      data_.SetXML("<SubgroupData><Subgroups><Subgroup/></Subgroups><Comments><Comment/></Comments>"
                   "</SubgroupData>"));
  const std::string note = data_.CommentData()->Note();
  EXPECT_EQ(note.size(), 128u);
  EXPECT_EQ(note, "0" + std::string(127, ' '));
}

TEST_F(SubgroupXml, AnEmptyElementEmptiesAFilledSet) {
  DataRows rows;
  rows.subgroups = {Subgroup(1, 1, 0, 0)};
  rows.tests = {Value(2.5)};
  rows.descriptors = {Descriptor(1, 2, 3)};
  rows.comments = {Comment(1, 0, "note")};
  rows.LoadInto(data_);
  EXPECT_NE(data_.GetXML(), kEmpty);
  EXPECT_TRUE(data_.SetXML("<SubgroupData Unknown='1'><Unknown/></SubgroupData>"));
  EXPECT_EQ(data_.GetXML(), kEmpty);
}

TEST_F(SubgroupXml, ALongTextIsCutAndAShortOneFilled) {
  EXPECT_TRUE(
      data_.SetXML("<SubgroupData><Subgroups><Subgroup/></Subgroups><Comments><Comment "
                   "F_EMPL='' F_NOTE='" +
                   std::string(200, 'n') + "'/></Comments></SubgroupData>"));
  EXPECT_EQ(data_.CommentData()->Empl(), std::string(32, ' '));
  EXPECT_EQ(data_.CommentData()->Note(), std::string(128, 'n'));
}

TEST_F(SubgroupXml, UnknownElementsAndAttributesAreIgnored) {
  const std::string text =
      "<SubgroupData x='1'><New/><Subgroups y='2'><Subgroup F_SGRP='4' F_NEW='z'>"
      "<Subgroup F_SGRP='5'/></Subgroup></Subgroups></SubgroupData>";
  EXPECT_TRUE(data_.SetXML(text));
  EXPECT_EQ(data_.TotalSubgroups(), 1);
  EXPECT_EQ(data_.Sgrp(), 4);
}

TEST_F(SubgroupXml, AnAttributeThatDoesNotConvertLeavesTheObjectAsItWas) {
  struct Row {
    const char* text;
    std::int32_t number;
    const char* loader;
  };
  const Row rows[] = {
      {"<Subgroups><Subgroup F_JOB='x'/></Subgroups>", 13, "LoadAPI_SubgroupDataFromXMLNode"},
      {"<Subgroups><Subgroup F_JOB=''/></Subgroups>", 13, "LoadAPI_SubgroupDataFromXMLNode"},
      {"<Tests><Test F_VAL='1,5'/></Tests>", 13, "LoadAPI_TestDataFromXMLNode"},
      {"<Tests><Test F_VAL='1E+999'/></Tests>", 6, "LoadAPI_TestDataFromXMLNode"},
      {"<Tests><Test F_SN='NaN'/></Tests>", 13, "LoadAPI_TestDataFromXMLNode"},
      {"<Descriptors><Descriptor F_DESC='2147483648'/></Descriptors>", 6,
       "LoadAPI_DescriptorDataFromXMLNode"},
      {"<Comments><Comment F_EDTM='1/1/2020'/></Comments>", 13, "LoadAPI_CommentDataFromXMLNode"},
  };
  DataRows before;
  before.subgroups = {Subgroup(1, 1, 0, 0)};
  before.LoadInto(data_);
  const std::string text = data_.GetXML();
  for (const Row& row : rows) {
    const Failure failure = FailureOf(
        [&] { data_.SetXML("<SubgroupData>" + std::string(row.text) + "</SubgroupData>"); });
    EXPECT_EQ(failure.Number(), row.number) << row.text;
    EXPECT_EQ(failure.Source(),
              "SubgroupData.SetXML|SubgroupData.SetXMLNode|XMLSupport.LoadSubgroupDataFromXMLNode|"
              "XMLSupport." +
                  std::string(row.loader) + "|orvSPCAnalysis6");
    EXPECT_EQ(data_.GetXML(), text) << row.text;
  }
}

TEST_F(SubgroupXml, ATextWithoutTheRootFails) {
  for (const char* text : {"", "<Other/>", "<SubgroupData>"}) {
    const Failure failure = FailureOf([&] { data_.SetXML(text); });
    EXPECT_EQ(failure.Description(), "Node does not exist!") << text;
    EXPECT_EQ(failure.Source(),
              "SubgroupData.SetXML|XMLSupport.GetXMLSingleNode(Node=SubgroupData)|orvSPCAnalysis6");
  }
}

TEST_F(SubgroupXml, ANullNodeEmptiesTheSet) {
  DataRows rows;
  rows.subgroups = {Subgroup(1, 1, 0, 0)};
  rows.LoadInto(data_);
  EXPECT_TRUE(data_.SetXMLNode(Friend(), {}));
  EXPECT_EQ(data_.TotalSubgroups(), 0);
}

TEST_F(SubgroupXml, OldSlicesStayUntilTheCursorMoves) {
  DataRows rows;
  rows.subgroups = {Subgroup(1, 1, 0, 0)};
  rows.tests = {Value(2.5)};
  rows.LoadInto(data_);
  const auto slice = data_.TestData();
  EXPECT_TRUE(data_.SetXML("<SubgroupData><Subgroups><Subgroup/></Subgroups></SubgroupData>"));
  EXPECT_EQ(data_.TestData(), slice);
  EXPECT_TRUE(data_.MoveFirst());
  EXPECT_EQ(data_.TestData()->Count(), 0);
}

TEST_F(SubgroupXml, NullNodesLoadNothing) {
  Array<API_SubgroupData> subgroups;
  Array<API_TestData> tests;
  Array<API_DescriptorData> descriptors;
  Array<API_CommentData> comments;
  EXPECT_FALSE(
      XMLSupport::LoadSubgroupDataFromXMLNode({}, subgroups, tests, descriptors, comments));
  const auto bare = XMLSupport::GetXMLSingleNode("<SubgroupData/>", "SubgroupData");
  EXPECT_TRUE(
      XMLSupport::LoadSubgroupDataFromXMLNode(bare.node, subgroups, tests, descriptors, comments));
  EXPECT_FALSE(subgroups.IsDimensioned());
  EXPECT_FALSE(tests.IsDimensioned());
}

}  // namespace
}  // namespace orvspc
