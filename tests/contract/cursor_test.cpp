// SPDX-License-Identifier: Apache-2.0
// The rules of the current row, run over every class that has one.
#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <utility>

#include "capability/CAAnalysis.h"
#include "chart/CCAnalysis.h"
#include "frame/Friend.h"
#include "pareto/PABins.h"
#include "select/DataSelect.h"
#include "summary/SCAnalysis.h"
#include "tests/fake/FakePlatform.h"

namespace orvspc::contract {
namespace {

template <class Rows>
std::int32_t CountOf(const Rows& rows) {
  if constexpr (requires { rows.TotalSubgroups(); }) {
    return rows.TotalSubgroups();
  } else {
    return rows.Count();
  }
}

template <class Rows>
constexpr bool kHasMoveTo = requires(Rows& rows) {
  rows.MoveTo(1);
};

// `empty_index` is what CurrentIndex answers without rows.
template <class Rows>
void CheckCursor(Rows& rows, std::int32_t count, std::int32_t empty_index) {
  ASSERT_EQ(CountOf(rows), count);
  EXPECT_EQ(rows.CurrentIndex(), count == 0 ? empty_index : 1);
  if constexpr (kHasMoveTo<Rows>) {
    for (const std::int32_t index : {0, -1, count + 1, std::numeric_limits<std::int32_t>::min(),
                                     std::numeric_limits<std::int32_t>::max()}) {
      EXPECT_FALSE(rows.MoveTo(index)) << index;
      EXPECT_EQ(rows.CurrentIndex(), count == 0 ? empty_index : 1);
    }
    for (std::int32_t index = 1; index <= count; ++index) {
      EXPECT_TRUE(rows.MoveTo(index));
      EXPECT_EQ(rows.CurrentIndex(), index);
    }
  }
  EXPECT_EQ(rows.MoveFirst(), count != 0);
  EXPECT_FALSE(rows.MovePrev());
  for (std::int32_t index = 2; index <= count; ++index) {
    EXPECT_TRUE(rows.MoveNext());
    EXPECT_EQ(rows.CurrentIndex(), index);
  }
  EXPECT_FALSE(rows.MoveNext());
  EXPECT_EQ(rows.CurrentIndex(), count == 0 ? empty_index : count);
  EXPECT_EQ(rows.MoveLast(), count != 0);
  for (std::int32_t index = count - 1; index >= 1; --index) {
    EXPECT_TRUE(rows.MovePrev());
    EXPECT_EQ(rows.CurrentIndex(), index);
  }
  EXPECT_FALSE(rows.MovePrev());
  EXPECT_EQ(rows.CurrentIndex(), count == 0 ? empty_index : 1);
}

class CursorContract : public testing::TestWithParam<std::int32_t> {
 protected:
  CursorContract() {
    auto& script = fake_.script();
    fake::FillRows(script, GetParam(), GetParam());
    for (std::int32_t i = 0; i < GetParam(); ++i) {
      API_DescriptorData descriptor{};
      descriptor.Sgrp = 1;
      script.descriptors.push_back(descriptor);
      API_CommentData comment{};
      comment.Sgrp = 1;
      script.comments.push_back(comment);
      script.events.push_back(API_EventData{});
      script.compliance_rows.push_back(API_SCRow{});
    }
  }

  std::shared_ptr<SubgroupData> Data() const {
    return DataSelect().GetSubgroupData(fake_.database);
  }

  fake::FakeScope fake_;
};

TEST_P(CursorContract, OfSubgroupData) { CheckCursor(*Data(), GetParam(), 1); }
TEST_P(CursorContract, OfTestData) { CheckCursor(*Data()->TestData(), GetParam(), 0); }
TEST_P(CursorContract, OfDescriptorData) { CheckCursor(*Data()->DescriptorData(), GetParam(), 0); }
TEST_P(CursorContract, OfCommentData) { CheckCursor(*Data()->CommentData(), GetParam(), 0); }

TEST_P(CursorContract, OfCCGraphData) {
  if (GetParam() == 0) {  // an analysis without points gives no graph
    CCGraphData points(Friend{});
    CheckCursor(points, 0, 1);
    return;
  }
  fake_.script().chart_word = 0x100;
  const auto processing = std::make_shared<CCProcessing>();
  processing->Graph1Type(ccGraph1XBar);
  const auto results =
      CCAnalysis().AnalyzeDataSelect(fake_.database, std::make_shared<DataSelect>(), processing);
  CheckCursor(*results->Graphs(ccGraphType1)->GraphData(), GetParam(), 1);
}

// Both have at least five rows and two points after an analysis, so fewer come from a load.
TEST_P(CursorContract, OfCABins) {
  CABins bins(Friend{});
  if (GetParam() != 0) {
    Array<API_CABin> rows;
    rows.Dimension(0, GetParam() - 1);
    bins.Load(Friend{}, std::move(rows));
  }
  CheckCursor(bins, GetParam(), 1);
}

TEST_P(CursorContract, OfCACurve) {
  CACurve curve(Friend{});
  if (GetParam() != 0) {
    Array<double> x, y;
    x.Dimension(0, GetParam() - 1);
    y.Dimension(0, GetParam() - 1);
    curve.Load(Friend{}, std::move(x), std::move(y));
  }
  CheckCursor(curve, GetParam(), 1);
}

TEST_P(CursorContract, OfEventData) {
  CheckCursor(*DataSelect().GetEventData(fake_.database), GetParam(), 1);
}

TEST_P(CursorContract, OfSCResults) {
  CheckCursor(*SCAnalysis().AnalyzeDataSelect(fake_.database, std::make_shared<DataSelect>()),
              GetParam(), 1);
}

TEST_P(CursorContract, OfPABins) {
  PABins bins(Friend{});
  if (GetParam() != 0) {
    Array<API_PABin> rows;
    rows.Dimension(0, GetParam() - 1);
    bins.Load(Friend{}, std::move(rows));
  }
  CheckCursor(bins, GetParam(), 1);
}

INSTANTIATE_TEST_SUITE_P(Rows, CursorContract, testing::Values(0, 1, 2, 7));

}  // namespace
}  // namespace orvspc::contract
