// SPDX-License-Identifier: Apache-2.0
#include "chart/chart_codes.h"

#include <gtest/gtest.h>

namespace orvspc::chart_codes {
namespace {

struct Charts : CCProcessing {
  Charts(std::int32_t graph1, std::int32_t graph2, std::int32_t graph3) {
    Graph1Type(ccGraph1Types{graph1});
    Graph2Type(ccGraph2Types{graph2});
    Graph3Type(ccGraph3Types{graph3});
  }
};

struct Code {
  std::int32_t value, code, back;
};

TEST(ChartCodes, Graph1GoesAndComesBackAsTheTableSays) {
  for (const Code& row :
       {Code{0, 0, 0}, Code{1, 256, 1}, Code{2, 512, 2}, Code{3, 768, 3}, Code{4, 1024, 4},
        Code{5, 1280, 5}, Code{6, 0, 0}, Code{7, 2048, 7}, Code{8, 2304, 8}, Code{9, 2560, 9},
        Code{10, 2816, 10}, Code{11, 3072, 12}, Code{12, 3328, 12}, Code{13, 3584, 13},
        Code{14, 3840, 14}}) {
    EXPECT_EQ(GetAPIGraph1(Charts(row.value, 0, 0)), row.code) << row.value;
    EXPECT_EQ(Graph1FromAPI(row.code), row.back) << row.code;
  }
}

TEST(ChartCodes, Graph2GoesAndComesBackAsTheTableSays) {
  for (const Code& row :
       {Code{0, 0, 0}, Code{1, 16, 1}, Code{2, 32, 2}, Code{3, 48, 3}, Code{4, 64, 4}}) {
    EXPECT_EQ(GetAPIGraph2(Charts(0, row.value, 0)), row.code) << row.value;
    EXPECT_EQ(Graph2FromAPI(row.code), row.back) << row.code;
  }
}

TEST(ChartCodes, Graph3GoesAndComesBackAsTheTableSays) {
  for (const Code& row : {Code{0, 0, 0}, Code{1, 1, 1}, Code{2, 2, 2}}) {
    EXPECT_EQ(GetAPIGraph3(Charts(0, 0, row.value)), row.code) << row.value;
    EXPECT_EQ(Graph3FromAPI(row.code), row.back) << row.code;
  }
}

TEST(ChartCodes, AnNpChartComesBackAsAPChart) { EXPECT_EQ(Graph1FromAPI(3072), ccGraph1P); }

TEST(ChartCodes, CodesOutsideTheTablesComeBackAsNone) {
  for (const std::int32_t code : {0, 1536, 1792, 255, 4096, -256})
    EXPECT_EQ(Graph1FromAPI(code), 0);
  for (std::int32_t code = 80; code <= 240; code += 16) EXPECT_EQ(Graph2FromAPI(code), 0) << code;
  for (std::int32_t code = 3; code <= 15; ++code) EXPECT_EQ(Graph3FromAPI(code), 0) << code;
}

TEST(ChartCodes, TheChartWordJoinsTheThreeNibbles) {
  EXPECT_EQ(GetAPIChartID(Charts(1, 1, 2)), 274);
  EXPECT_EQ(GetAPIChartID(Charts(14, 4, 2)), 0xF42);
}

TEST(ChartCodes, BothBestGuessesGiveTheChartWordZero) {
  EXPECT_EQ(GetAPIChartID(Charts(ccGraph1BestGuessAttribute, 0, 0)), 0);
  EXPECT_EQ(GetAPIChartID(Charts(ccGraph1BestGuessVariable, 0, 0)), 0);
}

TEST(ChartCodes, AGraphTypeOutsideItsTableGivesZero) {
  for (const std::int32_t type : {20, 15, -1}) EXPECT_EQ(GetAPIGraph1(Charts(type, 0, 0)), 0);
  for (const std::int32_t type : {7, 5, -1}) EXPECT_EQ(GetAPIGraph2(Charts(0, type, 0)), 0);
  for (const std::int32_t type : {3, 15, -1}) EXPECT_EQ(GetAPIGraph3(Charts(0, 0, type)), 0);
  EXPECT_EQ(GetAPIChartID(Charts(20, 7, 2)), 2) << "the others still stand";
}

TEST(ChartCodes, TheOptionsGoAsTheTablesSay) {
  CCProcessing processing;
  for (const Code& row : {Code{0, 0, 0}, Code{1, 1, 0}, Code{2, 2, 0}, Code{3, 3, 0}, Code{7, 0, 0},
                          Code{-1, 0, 0}}) {
    processing.GroupBy(ccGroupByTypes{row.value});
    EXPECT_EQ(GetAPIGroupBy(processing), row.code);
  }
  for (const Code& row : {Code{0, 0, 0}, Code{1, 16, 0}, Code{2, 0, 0}}) {
    processing.Cusum(ccCusumTypes{row.value});
    EXPECT_EQ(GetAPICusum(processing), row.code);
  }
  for (const Code& row : {Code{0, 0, 0}, Code{1, 1, 0}, Code{2, 2, 0}, Code{3, 0, 0}}) {
    processing.EWMA(ccEWMATypes{row.value});
    EXPECT_EQ(GetAPIEWMA(processing), row.code);
  }
}

TEST(ChartCodes, TheProcessingWordOverlaysItsOptions) {
  CCProcessing processing;
  processing.GroupBy(ccGroupByTest);
  processing.Cusum(ccCusumStandard);
  processing.EWMA(ccEwmaWanderingMean);
  EXPECT_EQ(GetAPIProcessingEx(processing), 19) << "3 or 16 or 2";

  processing.GroupBy(ccGroupByPart);
  processing.Cusum(ccCusumNone);
  EXPECT_EQ(GetAPIProcessingEx(processing), 3) << "as by test without EWMA";
}

TEST(ChartCodes, TheUncalledProcessingTableStandsAndStaysOutOfTheWord) {
  CCProcessing processing;
  for (const Code& row : {Code{0, 0, 0}, Code{1, 4096, 0}, Code{2, 8192, 0}, Code{3, 12288, 0},
                          Code{4, 16384, 0}, Code{5, 20480, 0}, Code{6, 0, 0}, Code{-1, 0, 0}}) {
    processing.ProcessingType(ccProcessingTypes{row.value});
    EXPECT_EQ(GetAPIProcessing(processing), row.code) << row.value;
    EXPECT_EQ(GetAPIProcessingEx(processing), 0) << row.value;
  }
}

}  // namespace
}  // namespace orvspc::chart_codes
