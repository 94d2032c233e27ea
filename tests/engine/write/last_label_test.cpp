// SPDX-License-Identifier: Apache-2.0
#include "engine/write/last_label.h"

#include "tests/engine/store/store_fixture.h"

namespace orvspc::engine::write {
namespace {

using LastLabelTest = store::StoreTest;

TEST_F(LastLabelTest, EachPartAndProcessHasItsOwn) {
  Opened()->Write([](sql::Connection& db) {
    EXPECT_EQ(LastLabel(db, 1, 2), std::nullopt);
    SetLastLabel(db, 1, 2, 7);
    SetLastLabel(db, 11, 2, 8);
    SetLastLabel(db, 1, 2, 9);
    EXPECT_EQ(LastLabel(db, 1, 2), 9);
    EXPECT_EQ(LastLabel(db, 11, 2), 8);
    EXPECT_EQ(LastLabel(db, 2, 1), std::nullopt);
  });
}

TEST_F(LastLabelTest, OfWhatBecomesOneTheGreaterCounts) {
  using enum catalogue::ItemKind;
  Opened()->Write([](sql::Connection& db) {
    SetLastLabel(db, 1, 5, 7);
    SetLastLabel(db, 1, 6, 8);
    SetLastLabel(db, 2, 6, 30);
    SetLastLabel(db, 11, 5, 9);
    JoinLastLabels(db, Part, 1, 2);
    EXPECT_EQ(LastLabel(db, 1, 5), std::nullopt);
    EXPECT_EQ(LastLabel(db, 1, 6), std::nullopt);
    EXPECT_EQ(LastLabel(db, 2, 5), 7);
    EXPECT_EQ(LastLabel(db, 2, 6), 30);
    EXPECT_EQ(LastLabel(db, 11, 5), 9);
    JoinLastLabels(db, Process, 6, 5);
    EXPECT_EQ(LastLabel(db, 2, 6), std::nullopt);
    EXPECT_EQ(LastLabel(db, 2, 5), 30);
  });
}

TEST_F(LastLabelTest, WithoutARowTheHighestLabelCounts) {
  using enum catalogue::ItemKind;
  Import(
      "part,process,test,subgroup,time,value\nA,P,T,20,2024-01-20,1\nA,P,T,A7,2024-01-21,1\n"
      "A,Q,T,90,2024-01-22,1\nB,P,T,7,2024-01-23,1\n");
  const auto a = Id(Part, "A"), b = Id(Part, "B"), p = Id(Process, "P");
  Opened()->Write([&](sql::Connection& db) {
    EXPECT_EQ(HighestLabel(db, a, p), 20);
    EXPECT_EQ(HighestLabel(db, a, 99), 0);
    SettleLastLabel(db, a, p, 3);
    EXPECT_EQ(LastLabel(db, a, p), 20);
    SettleLastLabel(db, a, p, 25);
    SettleLastLabel(db, a, p, 4);
    EXPECT_EQ(LastLabel(db, a, p), 25);
    SetLastLabel(db, 98, p, 2);
    JoinLastLabels(db, Part, 98, b);
    EXPECT_EQ(LastLabel(db, b, p), 7);
  });
}

}  // namespace
}  // namespace orvspc::engine::write
