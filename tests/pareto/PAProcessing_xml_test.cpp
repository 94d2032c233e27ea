// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>

#include "pareto/PAProcessing.h"
#include "tests/fake/FailureOf.h"
#include "tests/fake/FakePlatform.h"

namespace orvspc {
namespace {

class PAProcessingXml : public testing::Test {
 protected:
  fake::FakeScope fake_;
  PAProcessing processing_;

  // An element with this inside.
  bool Read(const std::string& attributes, const std::string& children = {}) {
    return processing_.SetXML("<PAProcessing " + attributes + ">" + children + "</PAProcessing>");
  }
};

TEST_F(PAProcessingXml, ANewObjectWritesFiveAttributesAndThreeLevels) {
  EXPECT_EQ(processing_.GetXML(),
            "<PAProcessing ResourceType=\"0\" BinCount=\"10\" ProcessingType=\"0\" "
            "AccumulationType=\"0\" ShowEmptyBins=\"0\">"
            "<Level Index=\"0\" Type=\"13\" Name=\"\" ID=\"0\" TimePeriod=\"1\" "
            "TimeInterval=\"15\"/>"
            "<Level Index=\"1\" Type=\"0\" Name=\"\" ID=\"0\" TimePeriod=\"0\" "
            "TimeInterval=\"0\"/>"
            "<Level Index=\"2\" Type=\"0\" Name=\"\" ID=\"0\" TimePeriod=\"0\" "
            "TimeInterval=\"0\"/></PAProcessing>");
}

TEST_F(PAProcessingXml, ItsOwnTextRestoresTheFiveSettingsAndLeavesTheLevels) {
  PAProcessing stored;
  stored.ResourceType(paProcessEvents);
  stored.BinCount(33);
  stored.ProcessingType(paProcessByPPT);
  stored.AccumulationType(paAccumulateByAccTime);
  stored.ShowEmptyBins(true);
  stored.BinType(0, paBinTypeACC);
  processing_.BinType(0, paBinTypeShift);
  processing_.BinTypeID(1, 8);
  processing_.BinTimePeriod(2, paMonths);
  processing_.BinTimeInterval(2, 3);
  EXPECT_TRUE(processing_.SetXML(stored.GetXML()));
  EXPECT_EQ(processing_.ResourceType(), paProcessEvents);
  EXPECT_EQ(processing_.BinCount(), 33);
  EXPECT_EQ(processing_.ProcessingType(), paProcessByPPT);
  EXPECT_EQ(processing_.AccumulationType(), paAccumulateByAccTime);
  EXPECT_TRUE(processing_.ShowEmptyBins());
  EXPECT_EQ(processing_.BinType(0), paBinTypeShift);
  EXPECT_EQ(processing_.BinTypeID(1), 8);
  EXPECT_EQ(processing_.BinTimePeriod(2), paMonths);
  EXPECT_EQ(processing_.BinTimeInterval(2), 3);
}

TEST_F(PAProcessingXml, AMissingAttributeLeavesItsSetting) {
  processing_.BinCount(21);
  processing_.ShowEmptyBins(true);
  EXPECT_TRUE(Read("ResourceType=\"2\""));
  EXPECT_EQ(processing_.ResourceType(), paProcessState);
  EXPECT_EQ(processing_.BinCount(), 21);
  EXPECT_TRUE(processing_.ShowEmptyBins());
}

TEST_F(PAProcessingXml, NoRuleIsAppliedToWhatIsRead) {
  Read("ResourceType=\"9\" BinCount=\"-4\" ProcessingType=\"5\" ShowEmptyBins=\"True\"");
  EXPECT_EQ(processing_.ResourceType(), 9);
  EXPECT_EQ(processing_.BinCount(), -4);
  EXPECT_EQ(processing_.ProcessingType(), 5);
  EXPECT_TRUE(processing_.ShowEmptyBins());
}

TEST_F(PAProcessingXml, AnElementIntLevelIsReadWhole) {
  Read("",
       "<intLevel Index=\"1\" Type=\"8\" Name=\"Shifts\" ID=\"4\" TimePeriod=\"5\" "
       "TimeInterval=\"6\"/>");
  EXPECT_EQ(processing_.BinType(1), paBinTypeShift);
  EXPECT_EQ(processing_.BinTypeID(1), 4);
  EXPECT_EQ(processing_.BinTimePeriod(1), paMonths);
  EXPECT_EQ(processing_.BinTimeInterval(1), 6);
  EXPECT_NE(processing_.GetXML().find("Name=\"Shifts\""), std::string::npos);
  EXPECT_EQ(processing_.BinType(0), paBinTypeDefect);
}

TEST_F(PAProcessingXml, AnElementIntLevelWithoutTypeLeavesItsIndexAsTheType) {
  processing_.BinType(2, paBinTypeShift);
  processing_.BinTypeID(2, 7);
  Read("", "<intLevel Index=\"2\"/>");
  EXPECT_EQ(processing_.BinType(2), 2);
  EXPECT_EQ(processing_.BinTypeID(2), 7);
}

TEST_F(PAProcessingXml, AnElementIntLevelOutOfRangeIsSkippedWhole) {
  const std::string before = processing_.GetXML();
  // The last has texts that would fail if they were read.
  Read("",
       "<intLevel Index=\"3\" Type=\"8\"/><intLevel Index=\"-1\" Type=\"8\"/>"
       "<intLevel Type=\"8\"/><intLevel Index=\"5\" Type=\"x\" ID=\"x\"/>");
  EXPECT_EQ(processing_.GetXML(), before);
}

TEST_F(PAProcessingXml, ElementsIntLevelAreFoundAtAnyDepthAndTheLastWins) {
  Read("",
       "<a><b><intLevel Index=\"0\" Type=\"3\"/></b></a><intLevel Index=\"0\" Type=\"4\"/>"
       "<intLevel Index=\"1\" Type=\"5\"><intLevel Index=\"2\" Type=\"6\"/></intLevel>");
  EXPECT_EQ(processing_.BinType(0), paBinTypeProcess);
  EXPECT_EQ(processing_.BinType(1), paBinTypeTest);
  EXPECT_EQ(processing_.BinType(2), paBinTypeJob);
}

struct Bad {
  const char* attributes;
  const char* children;
  std::int32_t number;
  const char* reason;
};

TEST_F(PAProcessingXml, ATextThatDoesNotConvertFailsAndWhatWasReadBeforeStays) {
  for (const Bad& row :
       {Bad{"ResourceType=\"1\" BinCount=\"ten\"", "", 13, "no number"},
        Bad{"ResourceType=\"1\" BinCount=\"2147483648\"", "", 6, "too large"},
        Bad{"ResourceType=\"1\" ShowEmptyBins=\"yes\"", "", 13, "no boolean"},
        Bad{"ResourceType=\"1\"", "<intLevel Index=\"x\"/>", 13, "no index"},
        Bad{"ResourceType=\"1\"", "<intLevel Index=\"70000\"/>", 6, "an index of 16 bits"},
        Bad{"ResourceType=\"1\"", "<intLevel Index=\"0\" ID=\"\"/>", 13, "an empty text"}}) {
    PAProcessing processing;
    const auto failure = fake::FailureOf([&] {
      processing.SetXML(std::string("<PAProcessing ") + row.attributes + ">" + row.children +
                        "</PAProcessing>");
    });
    EXPECT_EQ(failure.Number(), row.number) << row.reason;
    EXPECT_EQ(failure.Source(), "PAProcessing.SetXML|PAProcessing.SetXMLNode|orvSPCAnalysis6")
        << row.reason;
    EXPECT_EQ(processing.ResourceType(), 1) << row.reason;
  }
}

TEST_F(PAProcessingXml, AnotherRootFailsWithTheNameInTheTrail) {
  const auto failure = fake::FailureOf([&] { processing_.SetXML("<PABins/>"); });
  EXPECT_EQ(failure.Description(), "Node does not exist!");
  EXPECT_EQ(failure.Source(),
            "PAProcessing.SetXML|XMLSupport.GetXMLSingleNode(Node=PAProcessing)|orvSPCAnalysis6");
}

}  // namespace
}  // namespace orvspc
