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

}  // namespace
}  // namespace orvspc::engine::write
