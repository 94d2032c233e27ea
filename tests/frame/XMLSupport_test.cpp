// SPDX-License-Identifier: Apache-2.0
#include "frame/XMLSupport.h"

#include <gtest/gtest.h>

#include <string>
#include <variant>
#include <vector>

#include "tests/fake/FailureOf.h"
#include "tests/fake/FakePlatform.h"

namespace orvspc::XMLSupport {
namespace {

using fake::FailureOf;
using fake::NumberOf;

class XMLSupport : public ::testing::Test {
 protected:
  platform::XmlNode Load(std::string_view text, std::string_view root) {
    found_ = GetXMLSingleNode(text, root);
    return found_.node;
  }

  fake::FakeScope outside_;
  FoundNode found_;
};

template <class T>
Array<T> MakeArray(const std::vector<T>& values) {
  Array<T> array;
  if (values.empty()) return array;
  array.Dimension(0, static_cast<std::int64_t>(values.size()) - 1);
  for (std::size_t i = 0; i < values.size(); ++i) array[static_cast<std::int64_t>(i)] = values[i];
  return array;
}

template <class T>
std::vector<T> ToVector(const Array<T>& array) {
  return {array.Elements().begin(), array.Elements().end()};
}

TEST_F(XMLSupport, SingleNodeFindsTheRoot) {
  const FoundNode found = GetXMLSingleNode("<DataSelect a='1'/>", "DataSelect");
  EXPECT_EQ(found.document->Name(found.node), "DataSelect");
}

TEST_F(XMLSupport, SingleNodeOfAnythingElseDoesNotExist) {
  for (const char* text : {"", "   ", "no xml", "<DataSelect", "<Other><DataSelect/></Other>",
                           "<dataselect/>", "<DataSelect/>x"}) {
    const Failure failure = FailureOf([&] { GetXMLSingleNode(text, "DataSelect"); });
    EXPECT_EQ(failure.Number(), -2147221504) << text;
    EXPECT_EQ(failure.Description(), "Node does not exist!") << text;
    EXPECT_EQ(failure.Source(), "XMLSupport.GetXMLSingleNode(Node=DataSelect)|orvSPCAnalysis6")
        << text;
  }
}

TEST_F(XMLSupport, AMissingAttributeGivesTheDefaultWithItsType) {
  const auto node = Load("<R/>", "R");
  EXPECT_EQ(GetXMLAttributeValue(node, "a", std::int32_t{7}), Variant(std::int32_t{7}));
  EXPECT_EQ(GetXMLAttributeValue(node, "a", 0.5), Variant(0.5));
  EXPECT_EQ(GetXMLAttributeValue(node, "a", true), Variant(true));
  EXPECT_EQ(GetXMLAttributeValue(node, "a", std::string("x")), Variant(std::string("x")));
}

TEST_F(XMLSupport, APresentAttributeIsATextEvenIfTheDefaultIsANumber) {
  const auto node = Load("<R a='12' b=''/>", "R");
  EXPECT_EQ(GetXMLAttributeValue(node, "a", std::int32_t{7}), Variant(std::string("12")));
  EXPECT_EQ(GetXMLAttributeValue(node, "b", std::int32_t{7}), Variant(std::string()));
}

TEST_F(XMLSupport, AnAttributeOfANullElementFailsWithItsNameInTheTrail) {
  const Failure failure = FailureOf([] { GetXMLAttributeValue({}, "Tsno", std::int32_t{0}); });
  EXPECT_EQ(failure.Number(), 91);
  EXPECT_EQ(failure.Source(), "XMLSupport.GetXMLAttributeValue(Attribute=Tsno)|orvSPCAnalysis6");
}

TEST_F(XMLSupport, TypedReadersConvertTheTextAndKeepTheDefault) {
  const auto node = Load("<R i='2.5' s='-3' d='1E+20' n='NaN' t='True' f='0' x='a b'/>", "R");
  EXPECT_EQ(ReadInt32(node, "i", 9), 2);
  EXPECT_EQ(ReadInt32(node, "none", 9), 9);
  EXPECT_EQ(ReadInt16(node, "s", 9), -3);
  EXPECT_EQ(ReadInt16(node, "none", 9), 9);
  EXPECT_EQ(ReadDouble(node, "d", 9), 1e20);
  EXPECT_TRUE(ReadDouble(node, "n", 9) != ReadDouble(node, "n", 9));
  EXPECT_EQ(ReadDouble(node, "none", 9), 9);
  EXPECT_TRUE(ReadBoolean(node, "t", false));
  EXPECT_FALSE(ReadBoolean(node, "f", true));
  EXPECT_TRUE(ReadBoolean(node, "none", true));
  EXPECT_EQ(ReadText(node, "x", "y"), "a b");
  EXPECT_EQ(ReadText(node, "none", "y"), "y");
}

TEST_F(XMLSupport, AConversionThatFailsHasNoEntryOfTheAttribute) {
  const auto node = Load("<R a='x' b='3000000000'/>", "R");
  EXPECT_EQ(FailureOf([&] { ReadInt32(node, "a", 0); }).Source(), "orvSPCAnalysis6");
  EXPECT_EQ(NumberOf([&] { ReadInt32(node, "a", 0); }), 13);
  EXPECT_EQ(NumberOf([&] { ReadInt32(node, "b", 0); }), 6);
}

TEST_F(XMLSupport, WritersTurnEveryValueIntoText) {
  const auto document = MakeXMLDocument();
  const auto node = document->CreateElement("R");
  SetXMLAttribute(node, "i", -5);
  SetXMLAttribute(node, "b", true);
  SetXMLAttribute(node, "d", 0.5);
  SetXMLAttribute(node, "t", "a<b");
  EXPECT_EQ(document->Xml(node), R"(<R i="-5" b="1" d="0.5" t="a&lt;b"/>)");
}

TEST_F(XMLSupport, ChildrenOfANameInOrder) {
  const auto node = Load("<R><a i='1'/><b/><a i='2'><a i='3'/></a>text<a i='4'/></R>", "R");
  std::string order;
  ForEachChild(node, "a",
               [&](const platform::XmlNode& child) { order += ReadText(child, "i", ""); });
  EXPECT_EQ(order, "124");
  EXPECT_EQ(CountChildren(node, "a"), 3);
  EXPECT_EQ(CountChildren(node, "c"), 0);
  EXPECT_EQ(CountChildren({}, "a"), 0);
}

TEST_F(XMLSupport, LongArraysAsText) {
  EXPECT_EQ(ConvertLongArrayToString(MakeArray<std::int32_t>({1, 2, 3})), "1 2 3");
  EXPECT_EQ(ConvertLongArrayToString(MakeArray<std::int32_t>({-7})), "-7");
  EXPECT_EQ(ConvertLongArrayToString({}), "");
}

TEST_F(XMLSupport, DoubleArraysAsText) {
  EXPECT_EQ(ConvertDoubleArrayToString(MakeArray<double>({0.5, 2.0})), "0.5 2");
  EXPECT_EQ(ConvertDoubleArrayToString({}), "");
}

TEST_F(XMLSupport, TextToLongArrayReadsEachPieceFromItsLeft) {
  struct Row {
    const char* text;
    std::vector<std::int32_t> values;
    const char* reason;
  };
  const Row rows[] = {
      {"7 x 9", {7, 0, 9}, "a word is 0"},
      {"1 2 3", {1, 2, 3}, "plain"},
      {"1  2", {1, 0, 2}, "two blanks give an empty piece"},
      {" 1 ", {0, 1, 0}, "blanks around"},
      {" ", {0, 0}, "a blank alone"},
      {"2.5 3.5", {2, 4}, "rounding"},
      {"12abc", {12}, "foreign behind"},
  };
  for (const Row& row : rows) {
    Array<std::int32_t> values;
    EXPECT_TRUE(ConvertStringToLongArray(row.text, values)) << row.reason;
    EXPECT_EQ(ToVector(values), row.values) << row.reason;
  }
}

TEST_F(XMLSupport, AnEmptyTextLeavesTheArrayAlone) {
  Array<std::int32_t> longs;
  EXPECT_FALSE(ConvertStringToLongArray("", longs));
  EXPECT_FALSE(longs.IsDimensioned());
  longs = MakeArray<std::int32_t>({4});
  EXPECT_FALSE(ConvertStringToLongArray("", longs));
  EXPECT_EQ(ToVector(longs), std::vector<std::int32_t>{4});
  Array<double> doubles;
  EXPECT_EQ(ConvertStringToDoubleArray("", doubles), 0);
  EXPECT_FALSE(doubles.IsDimensioned());
}

TEST_F(XMLSupport, TextToDoubleArrayGivesTheNumberOfPieces) {
  Array<double> values;
  EXPECT_EQ(ConvertStringToDoubleArray("0.5 -INF x 1,5", values), 4);
  EXPECT_EQ(values[0], 0.5);
  EXPECT_LT(values[1], -1e308);
  EXPECT_EQ(values[2], 0.0);
  EXPECT_EQ(values[3], 1.0) << "a comma is no decimal separator";
}

TEST_F(XMLSupport, APieceOutOfRangeFailsWithTheTrailOfTheConversion) {
  Array<std::int32_t> longs;
  const Failure failure = FailureOf([&] { ConvertStringToLongArray("1 2147483648", longs); });
  EXPECT_EQ(failure.Number(), 6);
  EXPECT_EQ(failure.Source(), "XMLSupport.ConvertStringToLongArray|orvSPCAnalysis6");
  Array<double> doubles;
  EXPECT_EQ(FailureOf([&] { ConvertStringToDoubleArray("1E+400", doubles); }).Source(),
            "XMLSupport.ConvertStringToDoubleArray|orvSPCAnalysis6");
}

TEST_F(XMLSupport, WithoutAPlatformTheFailureSaysSo) {
  platform::Scope none(nullptr);
  const auto installed = platform::Current();
  platform::Install(nullptr);
  const Failure failure = FailureOf([] { GetXMLSingleNode("<R/>", "R"); });
  platform::Install(installed);
  EXPECT_EQ(failure.Number(), -2147221504);
  EXPECT_EQ(failure.Description(), "No platform is installed");
}

}  // namespace
}  // namespace orvspc::XMLSupport
