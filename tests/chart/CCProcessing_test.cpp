// SPDX-License-Identifier: Apache-2.0
#include "chart/CCProcessing.h"

#include <gtest/gtest.h>

#include "frame/Friend.h"

namespace orvspc {
namespace {

TEST(CCProcessing, ANewObjectHasTheDefaults) {
  const CCProcessing processing;
  EXPECT_EQ(processing.Graph1Type(), ccGraph1BestGuessVariable);
  EXPECT_EQ(processing.Graph2Type(), ccGraph2None);
  EXPECT_EQ(processing.Graph3Type(), ccGraph3None);
  EXPECT_EQ(processing.ProcessingType(), ccTraditional);
  EXPECT_FALSE(processing.Individuals());
  EXPECT_EQ(processing.GroupBy(), ccGroupByNone);
  EXPECT_EQ(processing.GroupThreshold(), 3600);
  EXPECT_EQ(processing.Cusum(), ccCusumNone);
  EXPECT_EQ(processing.EWMA(), ccEwmaNone);
  EXPECT_EQ(processing.EWMAWeight(), 0.0);
  EXPECT_FALSE(processing.Economic());
  EXPECT_EQ(processing.AQLValue(), 1.0);
  EXPECT_EQ(processing.AQLProducerRisk(), 10.0);
}

struct Clamp {
  double given, kept;
  const char* reason;
};

TEST(CCProcessing, AQLValueClampsToTheDefaultBelowAndToTheBoundAbove) {
  CCProcessing processing;
  for (const Clamp& row :
       {Clamp{-1.0, 1.0, "below: the default"}, Clamp{-1e-300, 1.0, "just below"},
        Clamp{100.5, 100.0, "above: the bound"}, Clamp{0.0, 0.0, "lower bound"},
        Clamp{100.0, 100.0, "upper bound"}, Clamp{2.5, 2.5, "inside"}}) {
    processing.AQLValue(row.given);
    EXPECT_EQ(processing.AQLValue(), row.kept) << row.reason;
  }
}

TEST(CCProcessing, AQLProducerRiskBecomesTheDefaultOnBothSides) {
  CCProcessing processing;
  for (const Clamp& row :
       {Clamp{-0.1, 10.0, "below: the default"}, Clamp{99.5, 10.0, "above: the default again"},
        Clamp{0.0, 0.0, "lower bound"}, Clamp{99.0, 99.0, "upper bound"},
        Clamp{5.0, 5.0, "inside"}}) {
    processing.AQLProducerRisk(row.given);
    EXPECT_EQ(processing.AQLProducerRisk(), row.kept) << row.reason;
  }
}

TEST(CCProcessing, EWMAWeightClampsToTheNearerBound) {
  CCProcessing processing;
  for (const Clamp& row :
       {Clamp{2.0, 1.0, "above"}, Clamp{-2.0, 0.0, "below"}, Clamp{0.0, 0.0, "lower bound"},
        Clamp{1.0, 1.0, "upper bound"}, Clamp{0.3, 0.3, "inside"}}) {
    processing.EWMAWeight(row.given);
    EXPECT_EQ(processing.EWMAWeight(), row.kept) << row.reason;
  }
}

TEST(CCProcessing, ALetWithoutAClampKeepsWhatItIsGiven) {
  CCProcessing processing;
  processing.Graph1Type(ccGraph1Types{20});
  processing.Graph2Type(ccGraph2Types{-1});
  processing.Graph3Type(ccGraph3Types{9});
  processing.ProcessingType(ccProcessingTypes{6});
  processing.GroupBy(ccGroupByTypes{7});
  processing.Cusum(ccCusumTypes{2});
  processing.EWMA(ccEWMATypes{3});
  processing.GroupThreshold(-5);
  EXPECT_EQ(processing.Graph1Type(), 20);
  EXPECT_EQ(processing.Graph2Type(), -1);
  EXPECT_EQ(processing.Graph3Type(), 9);
  EXPECT_EQ(processing.ProcessingType(), 6);
  EXPECT_EQ(processing.GroupBy(), 7);
  EXPECT_EQ(processing.Cusum(), 2);
  EXPECT_EQ(processing.EWMA(), 3);
  EXPECT_EQ(processing.GroupThreshold(), -5);
}

struct Decision {
  std::int32_t graph1_type;
  bool variable, attribute, individual, cusum, economic;
};

// Economic: while ProcessingType lies in 0 to 2.
constexpr Decision kDecisions[] = {
    {0, true, false, false, true, true},
    {1, true, false, false, true, true},
    {2, true, false, false, true, true},
    {3, true, false, true, true, true},
    {4, true, false, true, true, true},
    {5, true, false, true, false, false},
    {6, false, true, false, true, false},
    {7, false, true, false, true, false},
    {8, false, true, false, true, false},
    {9, false, true, false, true, false},
    {10, false, true, false, true, false},
    {11, false, true, true, false, false},
    {12, false, true, false, true, false},
    {13, false, true, false, true, false},
    {14, false, true, false, true, false},
    {15, false, false, false, true, false},
    {-1, false, false, false, true, false},
    {20, false, false, false, true, false},
    {2147483647, false, false, false, true, false},
};

TEST(CCProcessing, TheDecisionTableHoldsForEveryChartAndProcessingType) {
  for (const Decision& row : kDecisions) {
    for (std::int32_t type = -1; type <= 6; ++type) {
      SCOPED_TRACE(testing::Message() << "Graph1Type " << row.graph1_type << " type " << type);
      CCProcessing processing;
      processing.Graph1Type(ccGraph1Types{row.graph1_type});
      processing.ProcessingType(ccProcessingTypes{type});
      EXPECT_EQ(processing.IsVariable(), row.variable);
      EXPECT_EQ(processing.IsAttribute(), row.attribute);
      EXPECT_EQ(processing.AllowIndividual(), row.individual);
      EXPECT_EQ(processing.AllowCUSUM(), row.cusum);
      EXPECT_EQ(processing.AllowGroupBy(Friend{}), row.cusum);
      EXPECT_EQ(processing.AllowEconomic(), row.economic && type >= 0 && type <= 2);
      EXPECT_FALSE(processing.AllowEWMA());
    }
  }
}

TEST(CCProcessing, FixProcessingTakesAwayWhatTheDecisionTableForbids) {
  for (const Decision& row : kDecisions) {
    SCOPED_TRACE(testing::Message() << "Graph1Type " << row.graph1_type);
    CCProcessing processing;
    processing.Graph1Type(ccGraph1Types{row.graph1_type});
    processing.Individuals(true);
    processing.Cusum(ccCusumStandard);
    processing.Economic(true);
    processing.GroupBy(ccGroupByTest);
    processing.AQLValue(3.0);
    processing.AQLProducerRisk(4.0);
    processing.FixProcessing();
    EXPECT_EQ(processing.Individuals(), row.individual);
    EXPECT_EQ(processing.Cusum(), row.cusum ? ccCusumStandard : ccCusumNone);
    EXPECT_EQ(processing.Economic(), row.economic);
    EXPECT_EQ(processing.GroupBy(), ccGroupByTest) << "is never corrected";
    EXPECT_EQ(processing.AQLValue(), 3.0);
    EXPECT_EQ(processing.AQLProducerRisk(), 4.0);
  }
}

void ExpectTheCusumGoesAndIndividualsStay(ccGraph1Types type) {
  CCProcessing processing;
  processing.Graph1Type(type);
  processing.Cusum(ccCusumStandard);
  processing.Individuals(true);
  processing.FixProcessing();
  EXPECT_EQ(processing.Cusum(), ccCusumNone);
  EXPECT_TRUE(processing.Individuals());
}

TEST(CCProcessing, APcChartLosesTheCusumAndKeepsIndividuals) {
  ExpectTheCusumGoesAndIndividualsStay(ccGraph1Pc);
}

TEST(CCProcessing, AnNpChartLosesTheCusumAndKeepsIndividuals) {
  ExpectTheCusumGoesAndIndividualsStay(ccGraph1Np);
}

TEST(CCProcessing, EconomicGoesWithAShortRunAndStaysWithATarget) {
  CCProcessing processing;
  processing.Graph1Type(ccGraph1XBar);
  processing.Economic(true);
  processing.ProcessingType(ccTarget);
  processing.FixProcessing();
  EXPECT_TRUE(processing.Economic());
  processing.ProcessingType(ccShortrun);
  processing.FixProcessing();
  EXPECT_FALSE(processing.Economic());
}

TEST(CCProcessing, EWMASurvivesFixProcessingOnEveryChart) {
  for (const Decision& row : kDecisions) {
    CCProcessing processing;
    processing.Graph1Type(ccGraph1Types{row.graph1_type});
    processing.EWMA(ccEwmaWanderingMean);
    processing.EWMAWeight(0.3);
    processing.FixProcessing();
    EXPECT_EQ(processing.EWMA(), ccEwmaWanderingMean) << row.graph1_type;
    EXPECT_EQ(processing.EWMAWeight(), 0.3) << row.graph1_type;
  }
}

TEST(CCProcessing, EachFixChangesItsOwnOptionOnly) {
  const auto all_on = [] {
    auto processing = std::make_shared<CCProcessing>();
    processing->Graph1Type(ccGraph1Types{99});  // allows the cusum alone
    processing->Individuals(true);
    processing->Cusum(ccCusumStandard);
    processing->Economic(true);
    return processing;
  };
  auto processing = all_on();
  processing->FixIndividual();
  EXPECT_FALSE(processing->Individuals());
  EXPECT_TRUE(processing->Economic());

  processing = all_on();
  processing->FixEconomic();
  EXPECT_FALSE(processing->Economic());
  EXPECT_TRUE(processing->Individuals());

  processing->FixCUSUM();
  EXPECT_EQ(processing->Cusum(), ccCusumStandard);
  EXPECT_TRUE(processing->Individuals());

  const auto np = [&] {
    auto attribute = all_on();
    attribute->Graph1Type(ccGraph1Np);  // allows individuals alone
    return attribute;
  };
  processing = np();
  processing->FixCUSUM();
  EXPECT_EQ(processing->Cusum(), ccCusumNone);
  EXPECT_TRUE(processing->Economic());

  processing = np();
  processing->FixIndividual();
  EXPECT_TRUE(processing->Individuals());
  EXPECT_EQ(processing->Cusum(), ccCusumStandard);
  EXPECT_TRUE(processing->Economic());

  processing = np();
  processing->FixEconomic();
  EXPECT_FALSE(processing->Economic());
  EXPECT_EQ(processing->Cusum(), ccCusumStandard);
}

TEST(CCProcessing, OnlyTheHighestGraphCounts) {
  struct Row {
    std::int32_t graph1, graph2, graph3, count;
  };
  for (const Row& row :
       {Row{0, 0, 0, 0}, Row{1, 0, 0, 1}, Row{1, 1, 0, 2}, Row{1, 1, 2, 3}, Row{1, 0, 2, 3},
        Row{0, 1, 0, 2}, Row{0, 0, 1, 3}, Row{6, 0, 0, 1}, Row{-3, 0, 0, 1}, Row{0, 0, -1, 3}}) {
    CCProcessing processing;
    processing.Graph1Type(ccGraph1Types{row.graph1});
    processing.Graph2Type(ccGraph2Types{row.graph2});
    processing.Graph3Type(ccGraph3Types{row.graph3});
    EXPECT_EQ(processing.GraphCount(), row.count)
        << row.graph1 << ' ' << row.graph2 << ' ' << row.graph3;
  }
}

TEST(CCProcessing, ACloneHasTheSameSettingsAndSharesNothing) {
  CCProcessing processing;
  processing.Graph1Type(ccGraph1Pc);
  processing.Cusum(ccCusumStandard);
  processing.AQLValue(7.0);
  const auto clone = processing.Clone();
  EXPECT_EQ(clone->Graph1Type(), ccGraph1Pc);
  EXPECT_EQ(clone->Cusum(), ccCusumStandard) << "no rule is applied";
  EXPECT_EQ(clone->AQLValue(), 7.0);
  clone->AQLValue(8.0);
  EXPECT_EQ(processing.AQLValue(), 7.0);
}

}  // namespace
}  // namespace orvspc
