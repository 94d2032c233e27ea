// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>

#include "chart/CCProcessing.h"
#include "tests/chart/record_builder.h"
#include "tests/fake/FailureOf.h"
#include "tests/fake/FakePlatform.h"

namespace orvspc {
namespace {

using fake::FailureOf;

constexpr const char* kDefaults =
    R"(<CCProcessing Graph1Type="0" Graph2Type="0" Graph3Type="0" ProcessingType="0" )"
    R"(Individuals="0" GroupBy="0" GroupThreshold="3600" Cusum="0" EWMA="0" EWMAWeight="0" )"
    R"(Economic="0" AQLValue="1" AQLProducerRisk="10"/>)";

constexpr const char* kEverySetting =
    R"(<CCProcessing Graph1Type="11" Graph2Type="-4" Graph3Type="2" ProcessingType="5" )"
    R"(Individuals="1" GroupBy="7" GroupThreshold="-60" Cusum="1" EWMA="2" EWMAWeight="0.3" )"
    R"(Economic="1" AQLValue="2.5" AQLProducerRisk="0.125"/>)";

TEST(CCProcessingXml, TheDefaultsAreWrittenInTheirOrder) {
  const fake::FakeScope scope;
  EXPECT_EQ(CCProcessing().GetXML(), kDefaults);
}

TEST(CCProcessingXml, ARoundTripGivesTheSameText) {
  const fake::FakeScope scope;
  CCProcessing processing;
  EXPECT_TRUE(processing.SetXML(kEverySetting));
  EXPECT_EQ(processing.Graph1Type(), 11);
  EXPECT_EQ(processing.Graph2Type(), -4);
  EXPECT_EQ(processing.GroupBy(), 7);
  EXPECT_TRUE(processing.Individuals());
  EXPECT_TRUE(processing.Economic());
  EXPECT_EQ(processing.EWMAWeight(), 0.3);
  EXPECT_EQ(processing.GetXML(), kEverySetting);

  CCProcessing fresh;
  EXPECT_TRUE(fresh.SetXML(processing.GetXML()));
  EXPECT_EQ(fresh.GetXML(), kEverySetting);
}

TEST(CCProcessingXml, AnAQLValueOf500LoadsAs500) {
  const fake::FakeScope scope;
  CCProcessing processing;
  EXPECT_TRUE(processing.SetXML(R"(<CCProcessing AQLValue="500"/>)"));
  EXPECT_EQ(processing.AQLValue(), 500.0) << "only the Let clamps";
}

TEST(CCProcessingXml, LoadingDoesNotClampAndRunsNoRule) {
  const fake::FakeScope scope;
  CCProcessing processing;
  processing.SetXML(R"(<CCProcessing Graph1Type="5" Cusum="1" Economic="1" AQLValue="500" )"
                    R"(AQLProducerRisk="-1" EWMAWeight="7"/>)");
  EXPECT_EQ(processing.AQLValue(), 500.0);
  EXPECT_EQ(processing.AQLProducerRisk(), -1.0);
  EXPECT_EQ(processing.EWMAWeight(), 7.0);
  EXPECT_EQ(processing.Cusum(), ccCusumStandard);
  EXPECT_TRUE(processing.Economic());
}

TEST(CCProcessingXml, AMissingAttributeLeavesItsSetting) {
  const fake::FakeScope scope;
  CCProcessing processing;
  processing.SetXML(R"(<CCProcessing Graph1Type="1"/>)");
  EXPECT_EQ(processing.GroupThreshold(), 3600);
  EXPECT_EQ(processing.AQLProducerRisk(), 10.0);
  processing.GroupThreshold(5);
  processing.SetXML("<CCProcessing><GroupThreshold/></CCProcessing>");
  EXPECT_EQ(processing.GroupThreshold(), 5);
  EXPECT_EQ(processing.Graph1Type(), ccGraph1XBar);
}

TEST(CCProcessingXml, BooleansAreNumbersOrWords) {
  const fake::FakeScope scope;
  CCProcessing processing;
  for (const char* text : {"1", "-1", "0.5", "true", "TRUE"}) {
    processing.Individuals(false);
    processing.SetXML(std::string("<CCProcessing Individuals=\"") + text + "\"/>");
    EXPECT_TRUE(processing.Individuals()) << text;
  }
  processing.SetXML(R"(<CCProcessing Individuals="False"/>)");
  EXPECT_FALSE(processing.Individuals());
}

TEST(CCProcessingXml, AnotherRootOrNoneDoesNotExist) {
  const fake::FakeScope scope;
  CCProcessing processing;
  for (const char* text :
       {"", "<DataSelect/>", "<CCProcessing", "no xml", "<CCResults><CCProcessing/></CCResults>"}) {
    const auto caught = FailureOf([&] { processing.SetXML(text); });
    EXPECT_EQ(caught.Number(), -2147221504) << text;
    EXPECT_EQ(caught.Source(),
              "CCProcessing.SetXML|XMLSupport.GetXMLSingleNode(Node=CCProcessing)|orvSPCAnalysis6")
        << text;
  }
}

TEST(CCProcessingXml, ATextThatDoesNotConvertFailsAndWhatWasReadBeforeStays) {
  const fake::FakeScope scope;
  CCProcessing processing;
  const auto caught = FailureOf(
      [&] { processing.SetXML(R"(<CCProcessing Graph1Type="3" GroupBy="part" EWMA="2"/>)"); });
  EXPECT_EQ(caught.Number(), 13);
  EXPECT_EQ(caught.Source(), "CCProcessing.SetXML|CCProcessing.SetXMLNode|orvSPCAnalysis6");
  EXPECT_EQ(processing.Graph1Type(), 3);
  EXPECT_EQ(processing.EWMA(), ccEwmaNone) << "stands behind the failure";

  EXPECT_EQ(FailureOf([&] {
              processing.SetXML(R"(<CCProcessing GroupThreshold="3000000000"/>)");
            }).Number(),
            6);
}

}  // namespace
}  // namespace orvspc
