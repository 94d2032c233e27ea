// SPDX-License-Identifier: Apache-2.0
// Chart results that no honest writer makes.
#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#include "tests/fake/FakePlatform.h"
#include "tests/hostile/chart_result.h"

namespace orvspc {
namespace {

class HostileChartResult : public ::testing::Test {
 protected:
  fake::FakeScope outside_;
};

// Everything that a host may ask of a result that came from somewhere.
void AskEverything(CCResults& results) {
  const auto ask = [](auto&& question) { fake::NumberOf([&] { question(); }); };
  ask([&] { results.SubgroupData(); });
  ask([&] { results.TotalGroups(); });
  ask([&] { results.SpecLim(); });
  ask([&] { results.CtrlLim(); });
  ask([&] { results.DefOpp(); });
  ask([&] { results.GetXML(); });
  for (const auto index : {ccGraphType1, ccGraphType2, ccGraphType3})
    ask([&] {
      const auto graph = results.Graphs(index);
      if (!graph) return;
      const auto data = graph->GraphData();
      for (bool more = data->MoveFirst(); more; more = data->MoveNext()) {
        ask([&] { data->Point(); });
        ask([&] { data->UCL(); });
        ask([&] { data->OOS(); });
        ask([&] { data->OOCText(); });
      }
      data->GetPoints();
      data->GetOOSs();
    });
  ask([&] {
    const auto data = results.SubgroupData();
    data->MoveLast();
    ask([&] { data->TestData(); });
    ask([&] { data->GroupIndex(); });
  });
}

// The slow tests do the same with a hundred times the subgroups.
TEST_F(HostileChartResult, AFileCutAtEveryThousandthByteHasNoRoot) {
  const std::string text = ChartResult(1'000)->GetXML();
  ASSERT_FALSE(HasNoRoot(text));
  for (std::size_t length = 0; length < text.size(); length += 1'000)
    ASSERT_TRUE(HasNoRoot(std::string_view(text).substr(0, length))) << "cut at " << length;
}

TEST_F(HostileChartResult, EveryTruncationOfASmallOneHasNoRoot) {
  const std::string text = ChartResult(2)->GetXML();
  ASSERT_FALSE(HasNoRoot(text));
  for (std::size_t length = 0; length < text.size(); ++length)
    ASSERT_TRUE(HasNoRoot(std::string_view(text).substr(0, length))) << "cut at " << length;
}

TEST_F(HostileChartResult, EveryDamagedByteIsReadOrRefusedButNothingElse) {
  const auto live = ChartResult(1);
  const auto processing = std::make_shared<CCProcessing>();
  processing->Graph1Type(ccGraph1XBar);
  processing->Graph2Type(ccGraph2Range);
  live->Processing(Friend{}, processing);
  const std::string text = live->GetXML();
  for (std::size_t at = 0; at < text.size(); ++at) {
    for (const char byte : {'<', '"', '\xFF', 'x', '9', '-'}) {
      std::string damaged = text;
      damaged[at] = byte;
      CCResults read;
      const std::int32_t number = fake::NumberOf([&] { read.SetXML(damaged); });
      EXPECT_TRUE(number == 0 || number == 6 || number == 9 || number == 13 || number == 91 ||
                  number == -2147221504)
          << at << ": " << number;
      AskEverything(read);
    }
  }
}

TEST_F(HostileChartResult, CountsThatPromiseMoreThanThereIsAskForNoMemory) {
  for (const char* count : {"2147483647", "-2147483648", "-1"}) {
    CCResults read;
    const std::string number = count;
    EXPECT_EQ(fake::NumberOf([&] {
                read.SetXML(
                    "<CCResults><CCProcessing Graph1Type='1' Graph3Type='1'/>"
                    "<GraphData SubgroupCount='" +
                    number + "' TestCount='" + number +
                    "'><Graph Index='0' cOOCs='1 2 3' Points='1'/></GraphData>"
                    "<Statistics/><SpecificationLimits/><ControlLimits/>"
                    "<DefectOpportunities/><GroupData GroupStart='9' GroupEnd='-5' "
                    "GroupIndex='2147483647'/></CCResults>");
              }),
              0)
        << count;
    AskEverything(read);
    EXPECT_EQ(read.TotalSubgroups(), 0);
  }
}

}  // namespace
}  // namespace orvspc
