// SPDX-License-Identifier: Apache-2.0
#include "capability/CABins.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "frame/Friend.h"
#include "frame/XMLSupport.h"
#include "tests/capability/analysis.h"
#include "tests/fake/FailureOf.h"

namespace orvspc {
namespace {

using capability_test::Bins;
using fake::FailureOf;

class CABinsTest : public testing::Test {
 protected:
  // The object of a text, read from the node of that name.
  void Read(const std::string& text) {
    const auto found = XMLSupport::GetXMLSingleNode(text, "Bins");
    EXPECT_TRUE(bins_.SetXMLNode(Friend{}, found.node));
  }
  std::string Text() const {
    const auto document = XMLSupport::MakeXMLDocument();
    return document->Xml(bins_.CreateXMLNode(Friend{}, *document));
  }

  fake::FakeScope fake_;
  CABins bins_{Friend{}};
};

TEST_F(CABinsTest, AnEmptyOneCountsZeroStandsOnOneAndMovesNowhere) {
  EXPECT_EQ(bins_.Count(), 0);
  EXPECT_EQ(bins_.CurrentIndex(), 1);
  EXPECT_FALSE(bins_.MoveFirst());
  EXPECT_FALSE(bins_.MoveLast());
  EXPECT_FALSE(bins_.MoveNext());
  EXPECT_FALSE(bins_.MovePrev());
  EXPECT_FALSE(bins_.MoveTo(1));
}

TEST_F(CABinsTest, AnEmptyOneHasNoFieldsAndFailsWithoutAnEntry) {
  for (const auto get : {&CABins::XMin, &CABins::XMax, &CABins::YMin, &CABins::YMax}) {
    const auto failure = FailureOf([&] { (bins_.*get)(); });
    EXPECT_EQ(failure.Number(), 9);
    EXPECT_EQ(failure.Source(), "orvSPCAnalysis6");
  }
}

TEST_F(CABinsTest, ThreeBinsAreWalkedToTheLastAndNotBeyond) {
  bins_.Load(Friend{}, Bins(3));
  EXPECT_EQ(bins_.Count(), 3);
  EXPECT_EQ(bins_.CurrentIndex(), 1);
  EXPECT_TRUE(bins_.MoveLast());
  EXPECT_EQ(bins_.CurrentIndex(), 3);
  EXPECT_FALSE(bins_.MoveNext());
  EXPECT_EQ(bins_.CurrentIndex(), 3);
  EXPECT_TRUE(bins_.MovePrev());
  for (const std::int32_t index : {0, 4, -1}) {
    EXPECT_FALSE(bins_.MoveTo(index)) << index;
    EXPECT_EQ(bins_.CurrentIndex(), 2) << index;
  }
  EXPECT_TRUE(bins_.MoveTo(3));
  EXPECT_EQ(bins_.CurrentIndex(), 3);
}

TEST_F(CABinsTest, MovePrevAtTheFirstBinIsFalseAndTheCursorStays) {
  bins_.Load(Friend{}, Bins(2));
  EXPECT_FALSE(bins_.MovePrev());
  EXPECT_EQ(bins_.CurrentIndex(), 1);
  EXPECT_EQ(bins_.XMin(), 1.0);
  EXPECT_TRUE(bins_.MoveNext()) << "not in front of the first";
  EXPECT_EQ(bins_.CurrentIndex(), 2);
}

TEST_F(CABinsTest, EachFieldIsThatOfTheBinAtTheCursor) {
  bins_.Load(Friend{}, Bins(2));
  EXPECT_EQ(bins_.XMin(), 1.0);
  EXPECT_EQ(bins_.XMax(), 1.5);
  EXPECT_EQ(bins_.YMin(), -1.0);
  EXPECT_EQ(bins_.YMax(), 10.0);
  bins_.MoveNext();
  EXPECT_EQ(bins_.XMin(), 2.0);
  EXPECT_EQ(bins_.XMax(), 2.5);
  EXPECT_EQ(bins_.YMin(), -2.0);
  EXPECT_EQ(bins_.YMax(), 20.0);
}

TEST_F(CABinsTest, EdgesAreHandedOutAsTheyCame) {
  bins_.Load(Friend{}, capability_test::ArrayOf<API_CABin>(
                           {{5.0, -5.0, std::numeric_limits<double>::quiet_NaN(), -1e308}}));
  EXPECT_EQ(bins_.XMin(), 5.0);
  EXPECT_EQ(bins_.XMax(), -5.0);
  EXPECT_TRUE(std::isnan(bins_.YMin()));
  EXPECT_EQ(bins_.YMax(), -1e308);
}

TEST_F(CABinsTest, LoadingAgainPutsTheCursorOnTheFirst) {
  bins_.Load(Friend{}, Bins(3));
  bins_.MoveLast();
  bins_.Load(Friend{}, Bins(5));
  EXPECT_EQ(bins_.Count(), 5);
  EXPECT_EQ(bins_.CurrentIndex(), 1);
}

TEST_F(CABinsTest, LoadingAnArrayNeverDimensionedFailsAndTheCountStays) {
  bins_.Load(Friend{}, Bins(3));
  const auto failure = FailureOf([&] { bins_.Load(Friend{}, {}); });
  EXPECT_EQ(failure.Number(), 9);
  EXPECT_EQ(failure.Source(), "CABins.Load|orvSPCAnalysis6");
  EXPECT_EQ(bins_.Count(), 3);
}

TEST_F(CABinsTest, IsWrittenAsOneElementABin) {
  EXPECT_EQ(Text(), "<Bins/>");
  bins_.Load(Friend{}, Bins(2));
  EXPECT_EQ(Text(),
            "<Bins><Bin XMin=\"1\" XMax=\"1.5\" YMin=\"-1\" YMax=\"10\"/>"
            "<Bin XMin=\"2\" XMax=\"2.5\" YMin=\"-2\" YMax=\"20\"/></Bins>");
}

TEST_F(CABinsTest, IsReadInDocumentOrderAndStandsOnTheFirst) {
  bins_.Load(Friend{}, Bins(4));
  bins_.MoveLast();
  Read("<Bins><Bin XMax='8' XMin='7' YMin='1' YMax='2'/><Other/><Bin XMin='3'/></Bins>");
  EXPECT_EQ(bins_.Count(), 2);
  EXPECT_EQ(bins_.CurrentIndex(), 1);
  EXPECT_EQ(bins_.XMin(), 7.0);
  EXPECT_EQ(bins_.XMax(), 8.0);
  bins_.MoveNext();
  EXPECT_EQ(bins_.XMin(), 3.0);
}

TEST_F(CABinsTest, AMissingAttributeReadsAsZeroAndNotAsTheOldValue) {
  bins_.Load(Friend{}, Bins(1));
  Read("<Bins><Bin XMin='1' XMax='2' YMax='3'/></Bins>");
  EXPECT_EQ(bins_.YMin(), 0.0);
  EXPECT_EQ(bins_.YMax(), 3.0);
}

TEST_F(CABinsTest, WithoutABinTheTextFailsAndTheOldBinsStay) {
  bins_.Load(Friend{}, Bins(3));
  const auto failure = FailureOf([&] { Read("<Bins/>"); });
  EXPECT_EQ(failure.Number(), 9);
  EXPECT_EQ(failure.Source(), "CABins.SetXMLNode|orvSPCAnalysis6");
  EXPECT_EQ(bins_.Count(), 3);
  EXPECT_EQ(bins_.XMin(), 1.0);
}

TEST_F(CABinsTest, AMissingElementFails) {
  const auto failure = FailureOf([&] { bins_.SetXMLNode(Friend{}, {}); });
  EXPECT_EQ(failure.Number(), 91);
  EXPECT_EQ(failure.Source(), "CABins.SetXMLNode|orvSPCAnalysis6");
}

TEST_F(CABinsTest, AnEdgeThatIsNoNumberFailsAndTheOldBinsStay) {
  bins_.Load(Friend{}, Bins(3));
  EXPECT_EQ(fake::NumberOf([&] { Read("<Bins><Bin XMin='1'/><Bin XMin='one'/></Bins>"); }), 13);
  EXPECT_EQ(bins_.Count(), 3);
}

}  // namespace
}  // namespace orvspc
