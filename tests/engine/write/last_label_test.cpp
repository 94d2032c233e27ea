// SPDX-License-Identifier: Apache-2.0
#include "engine/write/last_label.h"

#include <algorithm>
#include <map>
#include <string>

#include "engine/write/chunks/SubgroupWriter.h"
#include "platform/TimeText.h"
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
    EXPECT_EQ(HighestLabels().Of(db, a, p), 20);
    EXPECT_EQ(HighestLabels().Of(db, a, 99), 0);
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

// As if each were looked for by itself.
TEST_F(LastLabelTest, LabelsOfManySourcesAreReadOnce) {
  using enum catalogue::ItemKind;
  constexpr int kParts = 40, kSubgroups = 4000;
  std::string text = "part,process,test,subgroup,time,value\n";
  std::map<std::string, std::int64_t> expected;
  for (int i = 0; i < kSubgroups; ++i) {
    const auto part = "A" + std::to_string(i * 7 % kParts);
    const auto number = i * 3187 % 9973;
    const bool is_number = i % 3 != 0 && part != "A5";
    text += part + ",P,T," + (is_number ? "" : "L") + std::to_string(number) + "," +
            platform::IsoText(1'600'000'000 + i) + ",1\n";
    auto& highest = expected[part];
    if (is_number) highest = std::max<std::int64_t>(highest, number);
  }
  Import(text);
  std::map<std::string, std::int32_t> ids;
  for (const auto& [part, highest] : expected) ids[part] = Id(Part, part);
  const auto process = Id(Process, "P");
  Opened()->Write([&](sql::Connection& db) {
    HighestLabels highest;
    std::map<std::string, std::int64_t> found;
    sql::FailStep(kSubgroups / 5);  // a tenth of those of all sources
    EXPECT_EQ(highest.Of(db, ids["A0"], 99), 0);
    for (const auto& [part, id] : ids) found[part] = highest.Of(db, id, process);
    EXPECT_FALSE(sql::FailStep(0));
    EXPECT_EQ(found, expected);
    store::ReplaceSubgroup(db, {1, ids["A0"], process, 1'600'000'000, "20000"});
    EXPECT_EQ(highest.Of(db, ids["A0"], process), expected["A0"]);
    highest.Forget();
    EXPECT_EQ(highest.Of(db, ids["A0"], process), 20000);
  });
}

}  // namespace
}  // namespace orvspc::engine::write
