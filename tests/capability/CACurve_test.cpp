// SPDX-License-Identifier: Apache-2.0
#include "capability/CACurve.h"

#include <gtest/gtest.h>

#include <string>

#include "frame/Friend.h"
#include "frame/XMLSupport.h"
#include "tests/capability/analysis.h"
#include "tests/fake/FailureOf.h"

namespace orvspc {
namespace {

using capability_test::ArrayOf;
using fake::FailureOf;
using fake::NumberOf;

class CACurveTest : public testing::Test {
 protected:
  void Load(std::initializer_list<double> x, std::initializer_list<double> y) {
    curve_.Load(Friend{}, ArrayOf<double>(x), ArrayOf<double>(y));
  }
  void Read(const std::string& text) {
    const auto found = XMLSupport::GetXMLSingleNode(text, "Curve");
    EXPECT_TRUE(curve_.SetXMLNode(Friend{}, found.node));
  }
  std::string Text() const {
    const auto document = XMLSupport::MakeXMLDocument();
    return document->Xml(curve_.CreateXMLNode(Friend{}, *document));
  }

  fake::FakeScope fake_;
  CACurve curve_{Friend{}};
};

TEST_F(CACurveTest, AnEmptyOneCountsZeroStandsOnOneAndMovesNowhere) {
  EXPECT_EQ(curve_.Count(), 0);
  EXPECT_EQ(curve_.CurrentIndex(), 1);
  EXPECT_FALSE(curve_.MoveFirst());
  EXPECT_FALSE(curve_.MoveLast());
  EXPECT_FALSE(curve_.MoveNext());
  EXPECT_FALSE(curve_.MovePrev());
  EXPECT_FALSE(curve_.MoveTo(1));
}

TEST_F(CACurveTest, AnEmptyOneHasNoPointAndFailsWithoutAnEntry) {
  for (const auto get : {&CACurve::X, &CACurve::Y}) {
    const auto failure = FailureOf([&] { (curve_.*get)(); });
    EXPECT_EQ(failure.Number(), 9);
    EXPECT_EQ(failure.Source(), "orvSPCAnalysis6");
  }
}

TEST_F(CACurveTest, EachPointIsThatAtTheCursor) {
  Load({1.0, 2.0, 3.0}, {0.5, 0.25, 0.125});
  EXPECT_EQ(curve_.Count(), 3);
  EXPECT_EQ(curve_.X(), 1.0);
  EXPECT_EQ(curve_.Y(), 0.5);
  EXPECT_TRUE(curve_.MoveTo(3));
  EXPECT_EQ(curve_.X(), 3.0);
  EXPECT_EQ(curve_.Y(), 0.125);
  EXPECT_FALSE(curve_.MoveNext());
  EXPECT_TRUE(curve_.MovePrev());
  EXPECT_EQ(curve_.Y(), 0.25);
}

TEST_F(CACurveTest, MovePrevAtTheFirstPointIsFalseAndTheCursorStays) {
  Load({1.0, 2.0}, {0.5, 0.25});
  EXPECT_FALSE(curve_.MovePrev());
  EXPECT_EQ(curve_.CurrentIndex(), 1);
  EXPECT_EQ(curve_.X(), 1.0);
  EXPECT_TRUE(curve_.MoveNext()) << "not in front of the first";
  EXPECT_EQ(curve_.CurrentIndex(), 2);
}

TEST_F(CACurveTest, LoadingAgainLeavesTheCursor) {
  Load({1.0, 2.0, 3.0}, {1.0, 2.0, 3.0});
  curve_.MoveTo(2);
  Load({7.0, 8.0, 9.0}, {7.0, 8.0, 9.0});
  EXPECT_EQ(curve_.CurrentIndex(), 2);
  EXPECT_EQ(curve_.X(), 8.0);
}

TEST_F(CACurveTest, ACursorBehindTheNewEndReadsNothingAndWalksBack) {
  Load({1.0, 2.0, 3.0, 4.0}, {1.0, 2.0, 3.0, 4.0});
  curve_.MoveLast();
  Load({7.0, 8.0}, {7.0, 8.0});
  EXPECT_EQ(curve_.CurrentIndex(), 4);
  EXPECT_EQ(NumberOf([&] { curve_.X(); }), 9);
  EXPECT_FALSE(curve_.MoveNext());
  EXPECT_TRUE(curve_.MovePrev());
  EXPECT_EQ(curve_.CurrentIndex(), 3);
  EXPECT_TRUE(curve_.MovePrev());
  EXPECT_EQ(curve_.X(), 8.0);
}

TEST_F(CACurveTest, TheCountFollowsXAlone) {
  Load({1.0, 2.0}, {4.0, 5.0, 6.0});
  EXPECT_EQ(curve_.Count(), 2);
}

TEST_F(CACurveTest, LoadingAnArrayNeverDimensionedFailsAndTheCountStays) {
  Load({1.0, 2.0}, {3.0, 4.0});
  auto failure = FailureOf([&] { curve_.Load(Friend{}, {}, ArrayOf({1.0})); });
  EXPECT_EQ(failure.Number(), 9);
  EXPECT_EQ(failure.Source(), "CACurve.Load|orvSPCAnalysis6");
  EXPECT_EQ(curve_.Count(), 2);
  failure = FailureOf([&] { curve_.Load(Friend{}, ArrayOf({1.0}), {}); });
  EXPECT_EQ(failure.Number(), 9) << "Y too";
  EXPECT_EQ(curve_.Count(), 2);
}

TEST_F(CACurveTest, AnArrayAsTextHasOneBlankBetweenElements) {
  const auto values = ArrayOf({1.5, 2.0, -0.25});
  EXPECT_EQ(curve_.GetArrayString(Friend{}, values), "") << "without points";
  Load({0.0, 0.0, 0.0}, {0.0});
  EXPECT_EQ(curve_.GetArrayString(Friend{}, values), "1.5 2 -0.25");
}

TEST_F(CACurveTest, AnArrayAsTextHasAsManyElementsAsTheCurve) {
  Load({0.0, 0.0}, {0.0});
  EXPECT_EQ(curve_.GetArrayString(Friend{}, ArrayOf({1.0, 2.0, 3.0})), "1 2");
  const auto failure = FailureOf([&] { curve_.GetArrayString(Friend{}, ArrayOf({1.0})); });
  EXPECT_EQ(failure.Number(), 9);
  EXPECT_EQ(failure.Source(), "CACurve.GetArrayString|orvSPCAnalysis6");
}

TEST_F(CACurveTest, ATextAsArrayHasAnElementForEachPiece) {
  Array<double> values;
  curve_.GetArray(Friend{}, "1 2 3", values);
  EXPECT_EQ(values.Count(), 3);
  EXPECT_EQ(values[2], 3.0);
  curve_.GetArray(Friend{}, "-1.5E-07", values);
  EXPECT_EQ(values.Count(), 1);
  EXPECT_EQ(values[0], -1.5e-7);
}

TEST_F(CACurveTest, AnEmptyTextHasNoPieceAndFailsAndTheArrayStays) {
  auto values = ArrayOf({1.5, 2.0});
  const auto failure = FailureOf([&] { curve_.GetArray(Friend{}, "", values); });
  EXPECT_EQ(failure.Number(), 9);
  EXPECT_EQ(failure.Source(), "CACurve.GetArray|orvSPCAnalysis6");
  EXPECT_EQ(values.Count(), 2);
  EXPECT_EQ(values[0], 1.5);
}

TEST_F(CACurveTest, ABlankAloneStandsBetweenTwoEmptyPiecesAndFails) {
  Array<double> values;
  EXPECT_EQ(NumberOf([&] { curve_.GetArray(Friend{}, " ", values); }), 13);
  EXPECT_EQ(values.Count(), 2);
}

TEST_F(CACurveTest, APieceThatIsNoNumberFailsAndTheArrayStaysAsFarAsItGot) {
  for (const char* text : {"1  2", "1 x 2", "1 2,5 2", "1 2x"}) {
    Array<double> values;
    const auto failure = FailureOf([&] { curve_.GetArray(Friend{}, text, values); });
    EXPECT_EQ(failure.Number(), 13) << text;
    EXPECT_EQ(failure.Source(), "CACurve.GetArray|orvSPCAnalysis6") << text;
    EXPECT_GE(values.Count(), 2) << text;
    EXPECT_EQ(values[0], 1.0) << text;
    EXPECT_EQ(values[1], 0.0) << text;
  }
}

TEST_F(CACurveTest, IsWrittenAsTwoTexts) {
  EXPECT_EQ(Text(), "<Curve X=\"\" Y=\"\"/>");
  Load({1.0, 2.5}, {0.5, 1e20});
  EXPECT_EQ(Text(), "<Curve X=\"1 2.5\" Y=\"0.5 1E+20\"/>");
}

TEST_F(CACurveTest, ACurveWithFewerYCannotBeWritten) {
  Load({1.0, 2.0}, {1.0});
  const auto failure = FailureOf([&] { Text(); });
  EXPECT_EQ(failure.Number(), 9);
  EXPECT_EQ(failure.Source(), "CACurve.CreateXMLNode|CACurve.GetArrayString|orvSPCAnalysis6");
}

TEST_F(CACurveTest, IsReadWithBlanksAtTheEndsOfTheTexts) {
  Read("<Curve X='  1 2 ' Y=' 3 4  '/>");
  EXPECT_EQ(curve_.Count(), 2);
  curve_.MoveLast();
  EXPECT_EQ(curve_.X(), 2.0);
  EXPECT_EQ(curve_.Y(), 4.0);
}

TEST_F(CACurveTest, AReadCurveWithFewerYFailsAtTheMissingOne) {
  Read("<Curve X='1 2 3' Y='4 5'/>");
  EXPECT_EQ(curve_.Count(), 3);
  curve_.MoveTo(2);
  EXPECT_EQ(curve_.Y(), 5.0);
  curve_.MoveTo(3);
  EXPECT_EQ(curve_.X(), 3.0);
  EXPECT_EQ(NumberOf([&] { curve_.Y(); }), 9);
}

TEST_F(CACurveTest, ATextWithoutOneOfTheArraysFailsInLoad) {
  for (const char* text : {"<Curve/>", "<Curve X='1'/>", "<Curve Y='1'/>", "<Curve X='' Y='1'/>",
                           "<Curve X='1' Y='   '/>"}) {
    Load({7.0}, {8.0});
    const auto failure = FailureOf([&] { Read(text); });
    EXPECT_EQ(failure.Number(), 9) << text;
    EXPECT_EQ(failure.Source(), "CACurve.SetXMLNode|CACurve.Load|orvSPCAnalysis6") << text;
    EXPECT_EQ(curve_.Count(), 1) << text;
  }
}

TEST_F(CACurveTest, APieceOfTheTextThatIsNoNumberFailsAndTheOldPointsStay) {
  Load({7.0}, {8.0});
  const auto failure = FailureOf([&] { Read("<Curve X='1 2' Y='3  4'/>"); });
  EXPECT_EQ(failure.Number(), 13);
  EXPECT_EQ(failure.Source(), "CACurve.SetXMLNode|CACurve.GetArray|orvSPCAnalysis6");
  EXPECT_EQ(curve_.X(), 7.0);
}

TEST_F(CACurveTest, AMissingElementFails) {
  EXPECT_EQ(NumberOf([&] { curve_.SetXMLNode(Friend{}, {}); }), 91);
}

}  // namespace
}  // namespace orvspc
