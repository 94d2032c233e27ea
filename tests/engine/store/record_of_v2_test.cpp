// SPDX-License-Identifier: Apache-2.0
#include "engine/store/record_of_v2.h"

#include <gtest/gtest.h>

#include <vector>

namespace orvspc::engine::store {
namespace {

std::vector<std::byte> Packed(double size, const std::vector<TestRow>& rows) {
  std::vector<std::byte> out;
  Pack({86400, 7, size, 1}, rows, out);
  return out;
}

const std::vector<TestRow> kPlain{{1.5, {0, 1, 0, 0, 0}}, {2.5, {0, 2, 0, 0, 0}}};
const std::vector<TestRow> kKeyed{{3.0, {4, 9, 0, 5, 6}}};

}  // namespace

TEST(Packing, AFractionalSizeComesBackAsItWasBesideAWholeOne) {
  for (const auto& rows : {kPlain, kKeyed}) {
    const auto blob = Packed(9.5, rows);
    const auto view = PackedView::Of(blob);
    ASSERT_TRUE(view);
    EXPECT_EQ(view->Size(), 9.5);
    EXPECT_EQ(view->RoundedSize(), 10);
    EXPECT_EQ(view->IsPlain(), rows == kPlain);
    ASSERT_EQ(view->Count(), rows.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
      EXPECT_EQ((TestRow{view->Value(i), view->Key(i)}), rows[i]);
    }
  }
  EXPECT_EQ(PackedView::Of(Packed(0.25, kPlain))->RoundedSize(), 1) << "0 says: not known";
}

TEST(Packing, AWholeSizeKeepsTheLayoutThatEveryProgramReads) {
  const auto whole = Packed(9.0, kPlain), fraction = Packed(9.5, kPlain);
  EXPECT_EQ(whole.size() + sizeof(double), fraction.size());
  EXPECT_EQ(std::to_integer<int>(whole[20]), 1);
  EXPECT_EQ(std::to_integer<int>(fraction[20]), 3);
  EXPECT_EQ(PackedView::Of(whole)->Size(), 9.0);
}

TEST(Packing, EveryByteOfAFractionalSizeIsChecked) {
  const auto good = Packed(9.5, kPlain);
  for (std::size_t i = 0; i < good.size(); ++i) {
    auto bad = good;
    bad[i] ^= std::byte{1};
    EXPECT_FALSE(PackedView::Of(bad)) << i;
  }
  EXPECT_FALSE(PackedView::Of(std::span(good).first(good.size() - sizeof(double))));
}

}  // namespace orvspc::engine::store
