// SPDX-License-Identifier: Apache-2.0
#include "capability/CAProcessing.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "frame/Friend.h"
#include "frame/Trail.h"
#include "tests/fake/FailureOf.h"
#include "tests/fake/FakePlatform.h"

namespace orvspc {
namespace {

using fake::FailureOf;
using fake::NumberOf;

constexpr std::int32_t kHighest = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t kLowest = std::numeric_limits<std::int32_t>::min();

void ExpectZeroButCounts(const CAProcessing& processing) {
  EXPECT_FALSE(processing.AllowOverride());
  EXPECT_EQ(processing.FitType(), caFitNormal);
  EXPECT_EQ(processing.Normalize(), caNormalizeNone);
  EXPECT_EQ(processing.OverrideLSL(), 0.0);
  EXPECT_EQ(processing.OverrideTarget(), 0.0);
  EXPECT_EQ(processing.OverrideUSL(), 0.0);
  EXPECT_EQ(processing.ShortTermSigmaType(), caShortTermSigmaAuto);
  EXPECT_EQ(processing.WindowMaximum(), 0.0);
  EXPECT_EQ(processing.WindowMinimum(), 0.0);
  EXPECT_EQ(processing.WindowSD(), 0.0);
  EXPECT_EQ(processing.WindowType(), caWindowTypeWindowSD);
}

// Every setting with a value of its own.
CAProcessing& Fill(CAProcessing& processing) {
  processing.AllowOverride(true);
  processing.BinCount(31);
  processing.CurveCount(101);
  processing.FitType(caFitJohnson);
  processing.Normalize(caNormalizeTarget);
  processing.OverrideLSL(1.5);
  processing.OverrideTarget(-2.25);
  processing.OverrideUSL(1.0 / 3.0);
  processing.ShortTermSigmaType(caShortTermSigmaPooled);
  processing.WindowMaximum(1e300);
  processing.WindowMinimum(-4.5);
  processing.WindowSD(3.5);
  processing.WindowType(caWindowTypeMinMax);
  return processing;
}

void ExpectFilled(const CAProcessing& processing) {
  EXPECT_TRUE(processing.AllowOverride());
  EXPECT_EQ(processing.BinCount(), 31);
  EXPECT_EQ(processing.CurveCount(), 101);
  EXPECT_EQ(processing.FitType(), caFitJohnson);
  EXPECT_EQ(processing.Normalize(), caNormalizeTarget);
  EXPECT_EQ(processing.OverrideLSL(), 1.5);
  EXPECT_EQ(processing.OverrideTarget(), -2.25);
  EXPECT_EQ(processing.OverrideUSL(), 1.0 / 3.0);
  EXPECT_EQ(processing.ShortTermSigmaType(), caShortTermSigmaPooled);
  EXPECT_EQ(processing.WindowMaximum(), 1e300);
  EXPECT_EQ(processing.WindowMinimum(), -4.5);
  EXPECT_EQ(processing.WindowSD(), 3.5);
  EXPECT_EQ(processing.WindowType(), caWindowTypeMinMax);
}

TEST(CAProcessing, ANewObjectHasTwoCountsAndZeros) {
  const CAProcessing processing;
  EXPECT_EQ(processing.BinCount(), 21);
  EXPECT_EQ(processing.CurveCount(), 80);
  ExpectZeroButCounts(processing);
}

TEST(CAProcessing, FixProcessingOfANewObjectChangesNothing) {
  CAProcessing processing;
  processing.FixProcessing();
  EXPECT_EQ(processing.BinCount(), 21);
  EXPECT_EQ(processing.CurveCount(), 80);
  ExpectZeroButCounts(processing);
}

struct Count {
  std::int32_t given, fixed;
};

TEST(CAProcessing, ABinCountBelowFiveBecomesFive) {
  for (const Count& row : {Count{4, 5}, Count{0, 5}, Count{-7, 5}, Count{kLowest, 5}, Count{5, 5},
                           Count{6, 6}, Count{100000, 100000}, Count{kHighest, kHighest}}) {
    CAProcessing processing;
    processing.BinCount(row.given);
    EXPECT_EQ(processing.BinCount(), row.given) << "the Let corrects nothing";
    processing.FixProcessing();
    EXPECT_EQ(processing.BinCount(), row.fixed) << row.given;
  }
}

TEST(CAProcessing, ACurveCountBelowTwoBecomesTen) {
  for (const Count& row : {Count{1, 10}, Count{0, 10}, Count{-3, 10}, Count{kLowest, 10},
                           Count{2, 2}, Count{9, 9}, Count{100000, 100000}}) {
    CAProcessing processing;
    processing.CurveCount(row.given);
    EXPECT_EQ(processing.CurveCount(), row.given) << "the Let corrects nothing";
    processing.FixProcessing();
    EXPECT_EQ(processing.CurveCount(), row.fixed) << row.given;
  }
}

TEST(CAProcessing, FixProcessingLooksAtNoOtherSetting) {
  CAProcessing processing;
  Fill(processing);
  processing.WindowMinimum(9.0);
  processing.WindowMaximum(-9.0);
  processing.OverrideLSL(5.0);
  processing.OverrideUSL(-5.0);
  processing.Normalize(caNormalizeTypes{77});
  processing.WindowType(caWindowTypes{-1});
  processing.ShortTermSigmaType(caShortTermSigmaTypes{9});
  processing.FitType(caFitTypes{2});
  processing.FixProcessing();
  EXPECT_EQ(processing.WindowMinimum(), 9.0);
  EXPECT_EQ(processing.WindowMaximum(), -9.0);
  EXPECT_EQ(processing.OverrideLSL(), 5.0);
  EXPECT_EQ(processing.OverrideUSL(), -5.0);
  EXPECT_EQ(processing.Normalize(), 77);
  EXPECT_EQ(processing.WindowType(), -1);
  EXPECT_EQ(processing.ShortTermSigmaType(), 9);
  EXPECT_EQ(processing.FitType(), 2);
}

TEST(CAProcessing, OptionsCarryEverySettingButTheFit) {
  CAProcessing processing;
  const API_CAOptions options = Fill(processing).GetAPIOptions(Friend{});
  EXPECT_EQ(options.WindowMinimum, -4.5);
  EXPECT_EQ(options.WindowMaximum, 1e300);
  EXPECT_EQ(options.Double16, 0.0);
  EXPECT_EQ(options.WindowSD, 3.5);
  EXPECT_EQ(options.BinCount, 31);
  EXPECT_EQ(options.CurveCount, 101);
  EXPECT_EQ(options.OverrideUSL, 1.0 / 3.0);
  EXPECT_EQ(options.OverrideTarget, -2.25);
  EXPECT_EQ(options.OverrideLSL, 1.5);
  EXPECT_EQ(options.Word64, 0);
  EXPECT_EQ(options.Flags, 0x3112);
}

TEST(CAProcessing, TheFlagsOfANewObjectAreZero) {
  EXPECT_EQ(CAProcessing().GetAPIOptions(Friend{}).Flags, 0);
}

TEST(CAProcessing, FlagsArePackedWithoutAMask) {
  struct Row {
    std::int32_t normalize;
    bool allow_override;
    std::int32_t window_type, short_term_sigma_type, flags;
    const char* reason;
  };
  for (const Row& row :
       {Row{2, true, 1, 3, 12562, "every part"}, Row{1, false, 0, 0, 1, "nominal alone"},
        Row{0, true, 0, 0, 16, "override alone"},
        Row{0, false, 2, 0, 512, "specification limits as the window"},
        Row{0, false, 0, 1, 4096, "ranges"},
        Row{0x112, false, 0, 0, 0x112, "a normalisation runs into other bits"},
        Row{16, true, 0, 0, 16, "joined, not added"},
        Row{0, false, 17, 0, 0x1100, "a window type runs into the sigma's bits"},
        Row{0, false, 8388607, 524287, 0x7FFFFF00, "the largest of both"},
        Row{0, false, -1, 0, -256, "a negative window type"}}) {
    CAProcessing processing;
    processing.Normalize(caNormalizeTypes{row.normalize});
    processing.AllowOverride(row.allow_override);
    processing.WindowType(caWindowTypes{row.window_type});
    processing.ShortTermSigmaType(caShortTermSigmaTypes{row.short_term_sigma_type});
    EXPECT_EQ(processing.GetAPIOptions(Friend{}).Flags, row.flags) << row.reason;
  }
}

TEST(CAProcessing, ATypeTooLargeForTheFlagsOverflows) {
  for (const std::int32_t type : {8388608, kHighest, -8388609, kLowest}) {
    CAProcessing processing;
    processing.WindowType(caWindowTypes{type});
    const auto failure = FailureOf([&] { processing.GetAPIOptions(Friend{}); });
    EXPECT_EQ(failure.Number(), 6) << type;
    EXPECT_EQ(failure.Source(), "CAProcessing.GetAPIOptions|orvSPCAnalysis6") << type;
  }
  for (const std::int32_t type : {524288, kHighest, -524289, kLowest}) {
    CAProcessing processing;
    processing.ShortTermSigmaType(caShortTermSigmaTypes{type});
    EXPECT_EQ(NumberOf([&] { processing.GetAPIOptions(Friend{}); }), 6) << type;
  }
}

TEST(CAProcessing, TheFitTypeChangesNoByteOfTheOptions) {
  CAProcessing processing;
  const API_CAOptions normal = processing.GetAPIOptions(Friend{});
  processing.FitType(caFitJohnson);
  const API_CAOptions johnson = processing.GetAPIOptions(Friend{});
  EXPECT_EQ(std::memcmp(&normal, &johnson, sizeof normal), 0);
}

TEST(CAProcessing, ACloneHasTheSameSettingsAndSharesNothing) {
  CAProcessing processing;
  Fill(processing).CurveCount(1);
  const auto clone = processing.Clone();
  EXPECT_EQ(clone->CurveCount(), 1) << "no rule is applied";
  clone->CurveCount(101);
  ExpectFilled(*clone);
  EXPECT_EQ(processing.CurveCount(), 1);
}

#ifdef ORVSPC_FAIL_POINTS
TEST(CAProcessing, AConstructorThatFailsLogsItAndLeavesZeros) {
  fake::FakeScope fake;
  FailPoint::Set([](std::string_view) { FailOverflow(); });
  const CAProcessing processing;
  FailPoint::Set({});
  EXPECT_EQ(processing.BinCount(), 0);
  EXPECT_EQ(processing.CurveCount(), 0);
  ExpectZeroButCounts(processing);
  EXPECT_EQ(fake.log().Lines(),
            (std::vector<std::string>{"MakeErrorLog(orvError6.Error)",
                                      "ErrorLog.Log(CAProcessing.Class_Initialize, 6, Overflow, "
                                      "orvSPCAnalysis6, tests)"}));
}
#endif

class CAProcessingXml : public testing::Test {
 protected:
  fake::FakeScope fake_;
};

TEST_F(CAProcessingXml, ANewObjectWritesAllThirteenAttributesInOrder) {
  EXPECT_EQ(CAProcessing().GetXML(),
            "<CAProcessing AllowOverride=\"0\" BinCount=\"21\" CurveCount=\"80\" FitType=\"0\" "
            "Normalize=\"0\" OverrideLSL=\"0\" OverrideTarget=\"0\" OverrideUSL=\"0\" "
            "ShortTermSigmaType=\"0\" WindowMaximum=\"0\" WindowMinimum=\"0\" WindowSD=\"0\" "
            "WindowType=\"0\"/>");
}

TEST_F(CAProcessingXml, EveryAttributeHasItsOwnSetting) {
  CAProcessing processing;
  EXPECT_EQ(Fill(processing).GetXML(),
            "<CAProcessing AllowOverride=\"1\" BinCount=\"31\" CurveCount=\"101\" FitType=\"1\" "
            "Normalize=\"2\" OverrideLSL=\"1.5\" OverrideTarget=\"-2.25\" "
            "OverrideUSL=\"0.3333333333333333\" ShortTermSigmaType=\"3\" WindowMaximum=\"1E+300\" "
            "WindowMinimum=\"-4.5\" WindowSD=\"3.5\" WindowType=\"1\"/>");
}

TEST_F(CAProcessingXml, ItsOwnTextRestoresEveryField) {
  CAProcessing processing;
  const std::string text = Fill(processing).GetXML();
  CAProcessing read;
  EXPECT_TRUE(read.SetXML(text));
  ExpectFilled(read);
}

TEST_F(CAProcessingXml, ABinCountAloneIsReadAsItStandsAndTheRestStays) {
  CAProcessing processing;
  Fill(processing);
  EXPECT_TRUE(processing.SetXML("<CAProcessing BinCount=\"3\"/>"));
  EXPECT_EQ(processing.BinCount(), 3);
  processing.FixProcessing();
  EXPECT_EQ(processing.BinCount(), 5);
  processing.BinCount(31);
  ExpectFilled(processing);
}

TEST_F(CAProcessingXml, AFlagIsANumberOrAWord) {
  CAProcessing processing;
  for (const auto& [text, value] :
       {std::pair{"1", true}, {"0", false}, {"-1", true}, {"False", false}, {"true", true}}) {
    processing.SetXML("<CAProcessing AllowOverride=\"" + std::string(text) + "\"/>");
    EXPECT_EQ(processing.AllowOverride(), value) << text;
  }
}

TEST_F(CAProcessingXml, ATextThatIsNoNumberFailsAndWhatWasReadBeforeStays) {
  CAProcessing processing;
  const auto failure = FailureOf([&] {
    processing.SetXML(
        "<CAProcessing BinCount=\"7\" CurveCount=\"8\" FitType=\"x\" WindowSD=\"2\"/>");
  });
  EXPECT_EQ(failure.Number(), 13);
  EXPECT_EQ(failure.Source(), "CAProcessing.SetXML|CAProcessing.SetXMLNode|orvSPCAnalysis6");
  EXPECT_EQ(processing.BinCount(), 7);
  EXPECT_EQ(processing.CurveCount(), 8);
  EXPECT_EQ(processing.WindowSD(), 0.0);
}

TEST_F(CAProcessingXml, AnotherRootFailsAndTheSettingsStay) {
  CAProcessing processing;
  Fill(processing);
  const auto failure = FailureOf([&] { processing.SetXML("<CCProcessing BinCount=\"7\"/>"); });
  EXPECT_EQ(failure.Number(), -2147221504);
  EXPECT_EQ(failure.Description(), "Node does not exist!");
  EXPECT_EQ(failure.Source(),
            "CAProcessing.SetXML|XMLSupport.GetXMLSingleNode(Node=CAProcessing)|orvSPCAnalysis6");
  ExpectFilled(processing);
}

}  // namespace
}  // namespace orvspc
