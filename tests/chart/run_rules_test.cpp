// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "chart/CCGraphData.h"
#include "frame/Friend.h"
#include "tests/chart/analysis.h"
#include "tests/chart/record_builder.h"
#include "tests/fake/FailureOf.h"

// The rule lists and texts of CCGraphData.
namespace orvspc {
namespace {

using chart_test::ArrayOf;
using Texts = std::vector<std::string>;

Texts TextsOf(const std::shared_ptr<platform::RuleDef>& rules) {
  Texts texts;
  if (!rules || !rules->MoveFirst()) return texts;
  do texts.push_back(rules->Text());
  while (rules->MoveNext());
  return texts;
}

// Two points with these marks; the rules that the database defines.
struct Points : fake::FakeScope {
  std::shared_ptr<CCGraphData> Make(std::vector<fake::Rule> rules,
                                    const std::vector<std::int32_t>& calculated,
                                    const std::vector<std::int32_t>& plain) {
    script().rules = std::move(rules);
    const auto rule_def = platform->MakeRuleDef();
    rule_def->Read(database, 0);
    return Make(rule_def, calculated, plain);
  }

  std::shared_ptr<CCGraphData> Make(const std::shared_ptr<platform::RuleDef>& rule_def,
                                    const std::vector<std::int32_t>& calculated,
                                    const std::vector<std::int32_t>& plain) {
    API_CCGraph record;
    record.cOOCs = ArrayOf(calculated);
    record.OOCs = ArrayOf(plain);
    auto data = std::make_shared<CCGraphData>(Friend{});
    data->Load(Friend{}, std::move(record), rule_def);
    return data;
  }
};

TEST(CCGraphDataRules, RuleThirtyOneSharesBitFifteen) {
  Points points;
  const auto data =
      points.Make({{31, "thirty-one"}, {0, "zero"}, {15, "fifteen"}}, {0}, {1 | 32768});
  EXPECT_EQ(TextsOf(data->OOCRuleDef()), (Texts{"thirty-one", "zero", "fifteen"}));
  EXPECT_EQ(data->OOCText(), "thirty-one") << "the first in the order of the list";
}

TEST(CCGraphDataRules, EachNumberHasItsBitAndOthersHaveNone) {
  Points points;
  for (std::int32_t number = -1; number <= 33; ++number) {
    for (std::int32_t bit = 0; bit <= 31; ++bit) {
      const auto mark = static_cast<std::int32_t>(std::uint32_t{1} << bit);
      const auto data = points.Make({{number, "it"}}, {mark}, {mark});
      const bool expected =
          (number >= 0 && number <= 30 && number == bit) || (number == 31 && bit == 15);
      EXPECT_EQ(TextsOf(data->OOCRuleDef()).size(), expected ? 1U : 0U) << number << ' ' << bit;
    }
  }
}

TEST(CCGraphDataRules, TheTwoListsFollowTheirOwnMarks) {
  Points points;
  const auto data = points.Make({{1, "one"}, {2, "two"}, {3, "three"}}, {2 | 8, 0}, {4, 0});
  EXPECT_EQ(TextsOf(data->cOOCRuleDef()), (Texts{"one", "three"}));
  EXPECT_EQ(TextsOf(data->OOCRuleDef()), (Texts{"two"}));
  EXPECT_EQ(data->OOCText(), "two");
  EXPECT_TRUE(data->MoveNext());
  ASSERT_NE(data->cOOCRuleDef(), nullptr);
  EXPECT_EQ(TextsOf(data->cOOCRuleDef()), Texts{});
  EXPECT_EQ(TextsOf(data->OOCRuleDef()), Texts{});
  EXPECT_EQ(data->OOCText(), "");
}

TEST(CCGraphDataRules, AListIsKeptUntilAMoveSucceeds) {
  Points points;
  const auto data = points.Make({{1, "one"}}, {2, 2}, {2, 2});
  const auto calculated = data->cOOCRuleDef();
  const auto plain = data->OOCRuleDef();
  EXPECT_NE(calculated, plain);
  EXPECT_FALSE(data->MovePrev());
  EXPECT_EQ(data->cOOCRuleDef(), calculated);
  EXPECT_EQ(data->OOCRuleDef(), plain);
  EXPECT_TRUE(data->MoveTo(1)) << "a move to where it stands counts";
  EXPECT_NE(data->cOOCRuleDef(), calculated);
  EXPECT_NE(data->OOCRuleDef(), plain);
}

TEST(CCGraphDataRules, TheCalculatedTextIsEmptyUntilItsListWasRead) {
  Points points;
  const auto data = points.Make({{1, "one"}}, {2, 2}, {2, 2});
  EXPECT_EQ(data->cOOCText(), "");
  data->cOOCRuleDef();
  EXPECT_EQ(data->cOOCText(), "one");
  EXPECT_TRUE(data->MoveNext());
  EXPECT_EQ(data->cOOCText(), "") << "forgotten, although OOC is not 0";
  data->cOOCRuleDef();
  EXPECT_EQ(data->cOOCText(), "one");
}

TEST(CCGraphDataRules, TheCalculatedTextAsksThePlainMarks) {
  Points points;
  const auto data = points.Make({{1, "one"}}, {2, 0}, {0, 4});
  data->cOOCRuleDef();
  EXPECT_EQ(data->cOOCText(), "") << "cOOC is 2, OOC is 0";
  EXPECT_TRUE(data->MoveNext());
  data->cOOCRuleDef();
  EXPECT_EQ(data->cOOCText(), "") << "the list of cOOC 0 is empty";
}

TEST(CCGraphDataRules, WithoutRulesTheListsAreEmptyAndSoAreTheTexts) {
  Points points;
  const auto data = points.Make(nullptr, {2}, {2});
  ASSERT_NE(data->OOCRuleDef(), nullptr);
  EXPECT_EQ(TextsOf(data->OOCRuleDef()), Texts{});
  EXPECT_EQ(data->OOCText(), "");

  const auto of_no_rules = points.Make(std::vector<fake::Rule>{}, {2}, {2});
  ASSERT_NE(of_no_rules->OOCRuleDef(), nullptr);
  EXPECT_EQ(of_no_rules->OOCText(), "");
}

TEST(CCGraphDataRules, AFailureOfTheListTakesTheTrail) {
  Points points;
  const auto data = points.Make({{1, "one"}}, {2}, {2});
  points.log().FailOn("RuleDef.Add");
  const auto caught = fake::FailureOf([&] { data->OOCText(); });
  EXPECT_EQ(caught.Source(),
            "CCGraphData.OOCText(g)|CCGraphData.OOCRuleDef(g)|CCGraphData.GetOOCRuleDef|"
            "Outside.Object");
  EXPECT_EQ(data->OOCText(), "one") << "nothing of the failed list was kept";
}

}  // namespace
}  // namespace orvspc
