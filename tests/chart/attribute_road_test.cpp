// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <memory>
#include <vector>

#include "chart/CCAnalysis.h"
#include "tests/fake/FakePlatform.h"

// The process call of the attribute road, argument by argument as the bytes that arrive.
namespace orvspc {
namespace {

using Bytes = std::vector<std::byte>;
using Calls = std::vector<Bytes>;

template <class... Values>
Bytes Image(const Values&... values) {
  Bytes bytes((sizeof(values) + ... + 0));
  std::size_t at = 0;
  ((std::memcpy(bytes.data() + at, &values, sizeof values), at += sizeof values), ...);
  return bytes;
}

// Keeps the arguments of process calls and scribbles over what it gets by reference, as a library
// may. Produces nothing.
class RecordingLibrary : public platform::CtrlChrt6 {
 public:
  std::int32_t VLXCRT_VCHART_PROCESS_LT(std::int32_t, std::int32_t, API_DSInfo&,
                                        std::span<std::int32_t>, API_CCVarOptions&,
                                        std::int32_t) override {
    ++variable_calls;
    return 0;
  }
  std::int32_t VLXCRT_VAR_DATA(std::int32_t, const platform::ArrayRef&, platform::ChartData,
                               std::int32_t) override {
    return 0;
  }
  std::int32_t VLXCRT_VAR_LIMITS(std::int32_t, double&, double&, double&, double&, double&,
                                 double&) override {
    return 0;
  }
  std::int32_t VLXCRT_VAR_END() override { return 0; }
  std::int32_t VLXCRT_ATTR_PROCESS_LT(std::int32_t Reserved, std::int32_t Connection,
                                      API_DSInfo& DSInfo, std::span<std::int32_t> DSFilter,
                                      std::int32_t ChartWord, std::int32_t ProcessingWord,
                                      double EWMA, double& AQLValue, double& AQLProducerRisk,
                                      std::int32_t Last) override {
    arguments.push_back(Image(Reserved, Connection, ChartWord, ProcessingWord, EWMA, AQLValue,
                              AQLProducerRisk, Last));
    std::memcpy(&info, &DSInfo, sizeof info);
    filter.assign(DSFilter.begin(), DSFilter.end());
    AQLValue = AQLProducerRisk = -1.0;
    return 0;
  }
  std::int32_t VLXCRT_ATTR_DATA(std::int32_t, const platform::ArrayRef&, platform::ChartData,
                                std::int32_t) override {
    return 0;
  }
  std::int32_t VLXCRT_ATTR_END() override { return 0; }

  Calls arguments;
  API_DSInfo info{};
  std::vector<std::int32_t> filter;
  int variable_calls = 0;
};

class RecordingPlatform : public fake::FakePlatform {
 public:
  platform::CtrlChrt6& CtrlChrt() override { return library; }
  RecordingLibrary library;
};

struct Road {
  std::shared_ptr<RecordingPlatform> platform = std::make_shared<RecordingPlatform>();
  platform::Scope scope{platform};
  std::shared_ptr<fake::FakeDatabase> database = platform->MakeDatabase();
  std::shared_ptr<DataSelect> select = std::make_shared<DataSelect>();
  std::shared_ptr<CCProcessing> processing = std::make_shared<CCProcessing>();

  std::shared_ptr<CCResults> Analyze(std::int32_t graph1) {
    processing->Graph1Type(ccGraph1Types{graph1});
    return CCAnalysis().AnalyzeDataSelect(database, select, processing);
  }
  RecordingLibrary& library() { return platform->library; }
};

constexpr std::int32_t kHandle = 77;

// Reserved 0, handle, words, the double, the two by reference, last 0.
Bytes Call(std::int32_t chart_word, std::int32_t processing_word, double ewma, double aql,
           double risk) {
  return Image(std::int32_t{0}, kHandle, chart_word, processing_word, ewma, aql, risk,
               std::int32_t{0});
}

}  // namespace

TEST(AttributeRoad, EveryChartHasItsWordAndItsDefaults) {
  const struct {
    std::int32_t graph1, word;
    const char* reason;
  } rows[] = {
      {ccGraph1BestGuessAttribute, 0, "best guess"},
      {ccGraph1Ppt, 0x800, "ppt"},
      {ccGraph1Dpto, 0x900, "dpto"},
      {ccGraph1Ppm, 0xA00, "ppm"},
      {ccGraph1Dpmo, 0xB00, "dpmo"},
      {ccGraph1Np, 0xC00, "np"},
      {ccGraph1P, 0xD00, "p"},
      {ccGraph1C, 0xE00, "c"},
      {ccGraph1U, 0xF00, "u"},
      {15, 0, "behind the enumeration"},
      {20, 0, "behind the enumeration"},
      {-1, 0, "before the enumeration"},
  };
  for (const auto& row : rows) {
    Road road;
    road.Analyze(row.graph1);
    EXPECT_EQ(road.library().arguments, Calls{Call(row.word, 0, 0.0, 1.0, 10.0)}) << row.reason;
    EXPECT_EQ(road.library().variable_calls, 0) << row.reason;
  }
}

TEST(AttributeRoad, AnEWMAOfTwoArrivesAsTheDoubleTwoAndItsWeightDoesNot) {
  Road road;
  road.processing->EWMA(ccEwmaWanderingMean);
  road.processing->EWMAWeight(0.3);
  road.Analyze(ccGraph1U);
  EXPECT_EQ(road.library().arguments, Calls{Call(0xF00, 2, 2.0, 1.0, 10.0)});
}

TEST(AttributeRoad, AnEWMAOutsideTheEnumerationArrivesAsItsDoubleAndNotInTheWord) {
  for (const std::int32_t ewma : {3, -1, 2147483647}) {
    Road road;
    road.processing->EWMA(ccEWMATypes{ewma});
    road.Analyze(ccGraph1U);
    EXPECT_EQ(road.library().arguments, Calls{Call(0xF00, 0, static_cast<double>(ewma), 1.0, 10.0)})
        << ewma;
  }
}

TEST(AttributeRoad, TheProcessingWordIsTheUnionOfOverlappingCodes) {
  Road road;
  road.processing->GroupBy(ccGroupByPart);
  road.processing->EWMA(ccEwmaWanderingMean);
  road.processing->Cusum(ccCusumStandard);
  road.Analyze(ccGraph1P);
  EXPECT_EQ(road.library().arguments, Calls{Call(0xD00, 1 | 2 | 16, 2.0, 1.0, 10.0)});
}

TEST(AttributeRoad, TheSecondAndThirdGraphGoIntoTheWord) {
  Road road;
  road.processing->Graph2Type(ccGraph2Cv);
  road.processing->Graph3Type(ccGraph3Sd);
  road.Analyze(ccGraph1C);
  EXPECT_EQ(road.library().arguments, Calls{Call(0xE42, 0, 0.0, 1.0, 10.0)});
}

TEST(AttributeRoad, AQLAndRiskArriveWhateverEconomicSays) {
  for (const bool economic : {false, true}) {
    // Economic is taken away from every attribute chart, the two values are not.
    Road road;
    road.processing->Economic(economic);
    road.processing->AQLValue(0.065);
    road.processing->AQLProducerRisk(5.5);
    const auto results = road.Analyze(ccGraph1P);
    EXPECT_EQ(road.library().arguments, Calls{Call(0xD00, 0, 0.0, 0.065, 5.5)}) << economic;
    EXPECT_EQ(results->Processing()->AQLValue(), 0.065) << "the library got a copy";
    EXPECT_EQ(results->Processing()->AQLProducerRisk(), 5.5) << "the library got a copy";
  }
}

TEST(AttributeRoad, TheBoundsOfAQLAndRiskArrive) {
  Road road;
  road.processing->AQLValue(0.0);
  road.processing->AQLProducerRisk(0.0);
  road.Analyze(ccGraph1Ppm);
  road.processing->AQLValue(100.0);
  road.processing->AQLProducerRisk(99.0);
  road.Analyze(ccGraph1Ppm);
  EXPECT_EQ(road.library().arguments,
            (Calls{Call(0xA00, 0, 0.0, 0.0, 0.0), Call(0xA00, 0, 0.0, 100.0, 99.0)}));
}

TEST(AttributeRoad, TheSelectionArrivesAsItIsFlattened) {
  Road road;
  road.select->MaximumItems(7);
  road.select->Descriptors()->Add(dtPart)->AddItemID(5);
  road.Analyze(ccGraph1P);
  API_DSInfo info = {};
  Array<std::int32_t> filter;
  road.select->API_GetData(info, filter);
  EXPECT_EQ(std::memcmp(&road.library().info, &info, sizeof info), 0);
  const auto cells = filter.Elements();
  EXPECT_EQ(road.library().filter, std::vector<std::int32_t>(cells.begin(), cells.end()));
}

TEST(AttributeRoad, NothingProducedKeepsTheRequest) {
  Road road;
  road.processing->Graph2Type(ccGraph2Mr);
  const auto results = road.Analyze(ccGraph1Np);
  ASSERT_NE(results, nullptr);
  EXPECT_EQ(results->Processing()->Graph1Type(), ccGraph1Np);
  EXPECT_EQ(results->Processing()->Graph2Type(), ccGraph2Mr);
  EXPECT_EQ(results->TotalSubgroups(), 0);
}

}  // namespace orvspc
