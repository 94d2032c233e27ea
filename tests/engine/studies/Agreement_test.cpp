// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/Agreement.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/engine/studies/cases.h"
#include "tests/engine/studies/notes.h"

namespace orvspc::studies {
namespace {

Decisions DecisionsOf(const Case& known) {
  const auto items = known.Cells("part"), appraisers = known.Cells("operator"),
             ratings = known.Cells("rating"), standards = known.Cells("reference");
  Decisions decisions;
  for (std::size_t i = 0; i < items.size(); ++i) {
    decisions.Add(items[i], appraisers[i], ratings[i], standards[i]);
  }
  return decisions;
}

// A column of decisions by each appraiser, one a letter; a blank is missing.
Decisions Made(const std::vector<std::string>& columns, const std::string& standard = {}) {
  Decisions decisions;
  for (std::size_t a = 0; a < columns.size(); ++a) {
    for (std::size_t i = 0; i < columns[a].size(); ++i) {
      const char c = columns[a][i];
      decisions.Add(std::to_string(i), std::to_string(a), c == ' ' ? "" : std::string(1, c),
                    standard.empty() ? "" : std::string(1, standard[i]));
    }
  }
  return decisions;
}

TEST(StudyAgreement, Published) {
  const Case known("attribute-agreement");
  AgreementOptions options;
  options.level = known.Param("level");
  auto study = StudyAgreement(DecisionsOf(known), options);
  // The figures are those of the appraisers by name, the file has them in another order.
  std::ranges::sort(study.appraisers, {}, &AppraiserAgreement::name);
  std::vector<double> within, to_standard, fleiss_within, fleiss_to_standard, cohen;
  std::vector<std::vector<double>> bounds;
  for (const auto& each : study.appraisers) {
    EXPECT_EQ(each.within.items, 15U);
    within.push_back(static_cast<double>(each.within.agreed));
    bounds.push_back({each.within.percent.lower, each.within.percent.upper});
    to_standard.push_back(static_cast<double>(each.to_standard.agreed));
    fleiss_within.push_back(each.fleiss_within.all.value);
    fleiss_to_standard.push_back(each.fleiss_to_standard.all.value);
    cohen.push_back(each.cohen_to_standard.value);
  }
  known.Check("within_agree", within);
  known.Check("within_ci", bounds);
  known.Check("vs_standard", to_standard);
  known.Check("between", static_cast<double>(study.between.agreed));
  known.Check("all_vs_standard", static_cast<double>(study.all_to_standard.agreed));
  known.Check("all_vs_standard_ci",
              {study.all_to_standard.percent.lower, study.all_to_standard.percent.upper});
  known.Check("fleiss_within", fleiss_within);
  known.Check("fleiss_vs_standard", fleiss_to_standard);
  known.Check("fleiss_between", study.fleiss_between.all.value);
  known.Check("fleiss_all_vs_standard", study.fleiss_to_standard.all.value);
  known.Check("cohen_vs_standard", cohen);
  EXPECT_EQ(study.pairs.size(), 3U);
  EXPECT_TRUE(Has(study.notes, "few-data"));
  // Without an order there is no rank correlation.
  EXPECT_TRUE(std::isnan(study.tau) && std::isnan(study.w));
}

// Of two categories both have the same kappa, and the error of all is theirs.
TEST(StudyAgreement, TwoCategoriesHaveOneKappa) {
  const auto study = StudyAgreement(DecisionsOf(Case("attribute-agreement")));
  const auto& fleiss = study.fleiss_between;
  EXPECT_NEAR(fleiss.of_category[0].value, fleiss.all.value, 1e-12);
  EXPECT_NEAR(fleiss.of_category[1].value, fleiss.all.value, 1e-12);
  EXPECT_NEAR(fleiss.all.error, std::sqrt(2.0 / (15.0 * 9.0 * 8.0)), 1e-12);
  EXPECT_NEAR(fleiss.all.error, fleiss.of_category[0].error, 1e-12);
}

// Ten items in five categories by fourteen raters, an example of many textbooks.
TEST(StudyAgreement, FleissOfManyRaters) {
  const int counts[10][5] = {{0, 0, 0, 0, 14}, {0, 2, 6, 4, 2}, {0, 0, 3, 5, 6}, {0, 3, 9, 2, 0},
                             {2, 2, 8, 1, 1},  {7, 7, 0, 0, 0}, {3, 2, 6, 3, 0}, {2, 5, 3, 2, 2},
                             {6, 5, 2, 1, 0},  {0, 2, 2, 3, 7}};
  std::vector<std::string> columns(14);
  for (const auto& row : counts) {
    std::size_t rater = 0;
    for (int j = 0; j < 5; ++j)
      for (int k = 0; k < row[j]; ++k) columns[rater++] += static_cast<char>('1' + j);
  }
  EXPECT_NEAR(StudyAgreement(Made(columns)).fleiss_between.all.value, 0.210, 5e-4);
}

TEST(StudyAgreement, CohenOfTwo) {
  // 20 yes-yes, 5 yes-no, 10 no-yes, 15 no-no: 0.7 observed, 0.5 expected.
  const std::string a = std::string(25, 'y') + std::string(25, 'n');
  const std::string b =
      std::string(20, 'y') + std::string(5, 'n') + std::string(10, 'y') + std::string(15, 'n');
  const auto study = StudyAgreement(Made({a, b}));
  ASSERT_EQ(study.pairs.size(), 1U);
  EXPECT_NEAR(study.pairs[0].cohen.value, 0.4, 1e-12);
  EXPECT_LT(study.pairs[0].cohen.test.p, 0.01);
}

TEST(StudyAgreement, AllAgreeAndNobodyDoes) {
  const std::string all = "ynynynynynynynynynynynyn", none = "nynynynynynynynynynynyny";
  auto study = StudyAgreement(Made({all, all}, all));
  EXPECT_EQ(study.between.percent.value, 100.0);
  EXPECT_EQ(study.between.percent.upper, 100.0);
  // The exact bound of both sides: (alpha / 2)^(1 / n).
  EXPECT_NEAR(study.between.percent.lower, 100.0 * std::pow(0.025, 1.0 / 24.0), 1e-9);
  EXPECT_NEAR(study.fleiss_between.all.value, 1.0, 1e-12);
  EXPECT_NEAR(study.appraisers[0].cohen_to_standard.value, 1.0, 1e-12);
  study = StudyAgreement(Made({all, none}, all));
  EXPECT_EQ(study.between.percent.value, 0.0);
  EXPECT_EQ(study.between.percent.lower, 0.0);
  EXPECT_NEAR(study.between.percent.upper, 100.0 * (1.0 - std::pow(0.025, 1.0 / 24.0)), 1e-9);
  EXPECT_NEAR(study.fleiss_between.all.value, -1.0, 1e-12);
}

TEST(StudyAgreement, OneCategoryHasNoKappa) {
  const std::string all(20, 'y');
  const auto study = StudyAgreement(Made({all, all}, all));
  EXPECT_EQ(study.between.agreed, 20U);
  EXPECT_TRUE(std::isnan(study.fleiss_between.all.value));
  EXPECT_TRUE(std::isnan(study.fleiss_to_standard.all.value));
  EXPECT_TRUE(std::isnan(study.pairs[0].cohen.value));
}

TEST(StudyAgreement, MissesAndFalseAlarms) {
  AgreementOptions options;
  options.good = "y";
  const auto study = StudyAgreement(Made({"yyynnnny"}, "yyyyyynn"), options);
  const auto& appraiser = study.appraisers[0];
  EXPECT_EQ(appraiser.misses.decisions, 2U);
  EXPECT_EQ(appraiser.misses.wrong, 1U);
  EXPECT_EQ(appraiser.false_alarms.decisions, 6U);
  EXPECT_EQ(appraiser.false_alarms.share, 0.5);
}

TEST(StudyAgreement, AMissingDecisionLeavesItsItem) {
  const auto study = StudyAgreement(Made({"yyny", "yy y"}, "ynny"));
  EXPECT_EQ(study.between.items, 3U);
  EXPECT_EQ(study.between.agreed, 3U);
  EXPECT_EQ(study.appraisers[0].to_standard.items, 4U);
  EXPECT_EQ(study.appraisers[1].to_standard.items, 3U);
  EXPECT_EQ(study.appraisers[1].to_standard.agreed, 2U);
}

// Columns of decisions, each by an appraiser in a trial.
struct Column {
  const char *appraiser, *trial, *decisions;
};
Decisions OfTrials(const std::vector<Column>& columns, const std::string& standard = {}) {
  Decisions decisions;
  for (const auto& column : columns) {
    for (std::size_t i = 0; column.decisions[i] != 0; ++i) {
      const char c = column.decisions[i];
      decisions.Add(std::to_string(i), column.appraiser, c == ' ' ? "" : std::string(1, c),
                    standard.empty() ? "" : std::string(1, standard[i]), column.trial);
    }
  }
  return decisions;
}

constexpr const char *kFirst = "ynynynynyy", *kSecond = "yyynynnnyn", *kThird = "ynnnynynny";

// Bob's second trial comes first; in each trial both decide alike.
TEST(StudyAgreement, ATrialIsKnownByItsName) {
  const auto study = StudyAgreement(OfTrials(
      {{"Ann", "1", kFirst}, {"Ann", "2", kSecond}, {"Bob", "2", kSecond}, {"Bob", "1", kFirst}}));
  EXPECT_EQ(study.trials, 2U);
  EXPECT_NEAR(study.pairs[0].cohen.value, 1.0, 1e-12);
  // Without names the first of Ann is beside the second of Bob: 7 of 10 are equal.
  const auto by_order = StudyAgreement(OfTrials(
      {{"Ann", "", kFirst}, {"Ann", "", kSecond}, {"Bob", "", kSecond}, {"Bob", "", kFirst}}));
  EXPECT_EQ(by_order.trials, 2U);
  EXPECT_NEAR(by_order.pairs[0].cohen.value, (0.7 - 0.505) / 0.495, 1e-12);
  // One without a name takes the first that is free, also where it comes before those with one.
  const auto mixed = StudyAgreement(OfTrials(
      {{"Ann", "1", kFirst}, {"Ann", "2", kSecond}, {"Bob", "", kFirst}, {"Bob", "2", kSecond}}));
  EXPECT_NEAR(mixed.pairs[0].cohen.value, 1.0, 1e-12);
}

TEST(StudyAgreement, AppraisersAreComparedInTheTrialsThatTheyHave) {
  AgreementOptions options;
  options.order = {"n", "y"};
  const auto study = StudyAgreement(
      OfTrials({{"Ann", "1", kFirst}, {"Ann", "2", kSecond}, {"Bob", "1", kThird}}, kFirst),
      options);
  EXPECT_EQ(study.trials, 2U);
  EXPECT_EQ(study.appraisers[0].within.items, 10U);
  EXPECT_EQ(study.appraisers[0].to_standard.items, 10U);
  EXPECT_EQ(study.appraisers[1].within.items, 0U);
  EXPECT_EQ(study.appraisers[1].to_standard.items, 10U);
  // The three columns of decisions are three ratings of each item, whoever they are by.
  const auto three = StudyAgreement(Made({kFirst, kSecond, kThird}, kFirst), options);
  EXPECT_EQ(study.between.items, 10U);
  EXPECT_EQ(study.between.agreed, three.between.agreed);
  EXPECT_NEAR(study.fleiss_between.all.value, three.fleiss_between.all.value, 1e-12);
  EXPECT_NEAR(study.w, three.w, 1e-12);
  EXPECT_NEAR(study.appraisers[1].tau, three.appraisers[2].tau, 1e-12);
  EXPECT_NEAR(study.appraisers[1].fleiss_to_standard.all.value,
              three.appraisers[2].fleiss_to_standard.all.value, 1e-12);
  EXPECT_NEAR(study.tau, (study.appraisers[0].tau + study.appraisers[1].tau) / 2.0, 1e-12);
  const auto note = std::ranges::find(study.notes, "trials-differ", &Note::code);
  ASSERT_NE(note, study.notes.end());
  EXPECT_EQ(note->text, "Appraisers differ in their number of trials: Ann 2, Bob 1.");
}

// It has no partner in a whole trial, and is one more decision all the same.
TEST(StudyAgreement, AnExtraDecisionLeavesTheFiguresOfTrials) {
  AgreementOptions options;
  options.good = "y";
  const std::vector<Column> columns = {
      {"Ann", "", kFirst}, {"Ann", "", kSecond}, {"Bob", "", kThird}, {"Bob", "", kFirst}};
  const auto study = StudyAgreement(OfTrials(columns, kFirst), options);
  EXPECT_FALSE(Has(study.notes, "part-trials"));
  EXPECT_FALSE(Has(study.notes, "trials-differ"));
  auto decisions = OfTrials(columns, kFirst);
  decisions.Add("0", "Ann", "n");
  const auto more = StudyAgreement(decisions, options);
  EXPECT_EQ(more.trials, 2U);
  EXPECT_EQ(more.appraisers[0].within.items, 10U);
  EXPECT_EQ(more.between.items, 10U);
  EXPECT_EQ(more.fleiss_between.all.value, study.fleiss_between.all.value);
  EXPECT_EQ(more.appraisers[0].fleiss_to_standard.all.value,
            study.appraisers[0].fleiss_to_standard.all.value);
  EXPECT_EQ(more.fleiss_to_standard.all.value, study.fleiss_to_standard.all.value);
  EXPECT_EQ(more.appraisers[0].false_alarms.decisions,
            study.appraisers[0].false_alarms.decisions + 1);
  EXPECT_EQ(more.appraisers[0].false_alarms.wrong, study.appraisers[0].false_alarms.wrong + 1);
  EXPECT_LT(more.appraisers[0].cohen_to_standard.value,
            study.appraisers[0].cohen_to_standard.value);
  const auto note = std::ranges::find(more.notes, "part-trials", &Note::code);
  ASSERT_NE(note, more.notes.end());
  EXPECT_EQ(note->text.substr(0, 14), "1 decision is ");
}

TEST(StudyAgreement, MeansAreOverTheTrialsThatHaveAValue) {
  AgreementOptions options;
  options.order = {"n", "y"};
  // All of one category: no rank correlation in the second trial.
  auto study = StudyAgreement(
      OfTrials({{"Ann", "1", kFirst}, {"Ann", "2", "yyyyyyyyyy"}, {"Bob", "1", "nnnnnnnnnn"}},
               kFirst),
      options);
  EXPECT_NEAR(study.appraisers[0].tau, 1.0, 1e-12);
  EXPECT_TRUE(std::isnan(study.appraisers[1].tau));
  EXPECT_NEAR(study.tau, 1.0, 1e-12);
  // Trial and standard of one category: no kappa. That of the first: 1 - 1 / (20 * 19 / 400).
  study = StudyAgreement(
      OfTrials({{"Ann", "1", "nyyyyyyyyy"}, {"Ann", "2", "yyyyyyyyyy"}}, "yyyyyyyyyy"));
  EXPECT_NEAR(study.appraisers[0].fleiss_to_standard.all.value, 1.0 - 20.0 / 19.0, 1e-12);
}

TEST(StudyAgreement, AnAppraiserWithoutDecisionsHasNoFigures) {
  const auto study = StudyAgreement(
      OfTrials({{"Ann", "1", kFirst}, {"Bob", "1", kSecond}, {"Eve", "1", "          "}}, kFirst));
  EXPECT_EQ(study.between.items, 10U);
  EXPECT_EQ(study.all_to_standard.items, 10U);
  EXPECT_EQ(study.appraisers[2].to_standard.items, 0U);
  EXPECT_TRUE(std::isnan(study.appraisers[2].cohen_to_standard.value));
  EXPECT_TRUE(Has(study.notes, "trials-differ"));
  EXPECT_EQ(
      StudyAgreement(OfTrials({{"Ann", "1", kFirst}, {"Eve", "1", "          "}})).between.items,
      0U);
}

TEST(StudyAgreement, KendallOfOrderedCategories) {
  AgreementOptions options;
  options.order = {"1", "2", "3", "4", "5"};
  // The same order: 1. Without ties S = 25 + 16 of its most.
  EXPECT_NEAR(StudyAgreement(Made({"12345", "12345"}, "12345"), options).w, 1.0, 1e-12);
  const auto study = StudyAgreement(Made({"12345", "21345", "54321"}, "12345"), options);
  EXPECT_NEAR(study.appraisers[0].tau, 1.0, 1e-12);
  EXPECT_NEAR(study.appraisers[1].tau, 0.8, 1e-12);
  EXPECT_NEAR(study.appraisers[2].tau, -1.0, 1e-12);
  EXPECT_NEAR(study.tau, 0.8 / 3.0, 1e-12);
  // Sums of ranks 8, 7, 9, 10, 11: S = 10, W = 12 * 10 / (9 * 120).
  EXPECT_NEAR(study.w, 1.0 / 9.0, 1e-12);
  EXPECT_NEAR(study.w_test.value, 3.0 * 4.0 / 9.0, 1e-12);
  EXPECT_EQ(study.w_test.degrees, std::vector<double>{4.0});
  // Ties: tau-b = 4 / sqrt(4 * 6), and W = 12 * 18.5 / (4 * 60 - 2 * 12).
  const auto tied = StudyAgreement(Made({"1122", "1234"}, "1234"), options);
  EXPECT_NEAR(tied.appraisers[0].tau, 4.0 / std::sqrt(24.0), 1e-12);
  EXPECT_NEAR(tied.w, 12.0 * 17.0 / (4.0 * 60.0 - 2.0 * 12.0), 1e-12);
}

TEST(StudyAgreement, WithoutStandardThereIsNoComparisonWithIt) {
  const auto study = StudyAgreement(Made({"ynyn", "yyyn"}));
  EXPECT_EQ(study.between.agreed, 3U);
  EXPECT_EQ(study.all_to_standard.items, 0U);
  EXPECT_TRUE(std::isnan(study.appraisers[0].cohen_to_standard.value));
  EXPECT_TRUE(Has(study.notes, "no-standard"));
}

TEST(StudyAgreement, OneItemIsTooFew) {
  const auto study = StudyAgreement(Made({"y", "y"}, "y"));
  EXPECT_EQ(study.between.items, 0U);
  EXPECT_TRUE(Has(study.notes, "too-few"));
}

TEST(StudyAgreement, RefusesWhatLiesOutside) {
  AgreementOptions options;
  options.level = 0.0;
  EXPECT_THROW(StudyAgreement(Made({"yn"}), options), std::invalid_argument);
  options = {};
  options.good = "x";
  EXPECT_THROW(StudyAgreement(Made({"yn"}), options), std::invalid_argument);
  options = {};
  options.order = {"y"};
  EXPECT_THROW(StudyAgreement(Made({"yn"}), options), std::invalid_argument);
}

TEST(Decisions, AnItemHasOneStandard) {
  auto decisions = Made({"yn"}, "yn");
  EXPECT_TRUE(decisions.IsStandardOf("0", "y"));
  EXPECT_FALSE(decisions.IsStandardOf("0", "n"));
  EXPECT_TRUE(decisions.IsStandardOf("7", "n"));
}

}  // namespace
}  // namespace orvspc::studies
