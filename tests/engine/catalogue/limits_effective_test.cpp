// SPDX-License-Identifier: Apache-2.0
#include "engine/catalogue/limits.h"

#include <gtest/gtest.h>

#include <vector>

namespace orvspc::engine::catalogue {
namespace {

struct Dated {
  std::int32_t time;
};
std::int32_t EffectiveTime(const Dated& row) { return row.time; }

const std::vector<Dated> kRows = {{INT32_MIN}, {10}, {20}, {20}, {INT32_MAX}};

struct Case {
  std::int32_t time, place;
  const char* reason;
};
constexpr Case kCases[] = {
    {INT32_MIN, 0, "the lowest stamp means since ever"},
    {9, 0, "the second is not effective yet"},
    {10, 1, "a row is effective from its own time on"},
    {19, 1, "until the next"},
    {20, 3, "of two rows with one time the last counts"},
    {INT32_MAX - 1, 3, "the last is not effective yet"},
    {INT32_MAX, 4, "the highest stamp"},
};

TEST(EffectiveRows, TheNewestRowThatIsEffectiveIsFound) {
  for (const auto& each : kCases) {
    EXPECT_EQ(EffectiveAt(kRows, each.time), &kRows[static_cast<std::size_t>(each.place)])
        << each.reason;
  }
}

TEST(EffectiveRows, NoneIsEffectiveBeforeTheFirst) {
  const auto rows = std::span(kRows).subspan(1);
  EXPECT_EQ(EffectiveAt(rows, 9), nullptr);
  EXPECT_EQ(EffectiveAt(std::span<const Dated>(), 9), nullptr);
  EffectiveRows<Dated> cursor(rows);
  EXPECT_EQ(cursor.PlaceAt(15), 0);
  EXPECT_EQ(cursor.PlaceAt(9), kNoRow) << "also on the way back";
  EXPECT_EQ(cursor.At(9), nullptr);
}

TEST(EffectiveRows, TheCursorAnswersInEveryOrder) {
  for (const auto& first : kCases) {
    for (const auto& second : kCases) {
      EffectiveRows<Dated> cursor(kRows);
      EXPECT_EQ(cursor.PlaceAt(first.time), first.place);
      EXPECT_EQ(cursor.At(second.time), &kRows[static_cast<std::size_t>(second.place)])
          << second.reason << ", after " << first.time;
    }
  }
}

struct Ending {
  std::int32_t time;
  std::int64_t until = kNever;
};
std::int32_t EffectiveTime(const Ending& row) { return row.time; }
std::int64_t UntilTime(const Ending& row) { return row.until; }

TEST(EffectiveRows, ARowThatEndedGivesWayToOneThatLasts) {
  const std::vector<Ending> rows = {{0, 100}, {50, 70}, {80, 90}, {200, 300}};
  constexpr struct {
    std::int32_t time, place;
  } kTimes[] = {{-1, kNoRow},  {0, 0},   {49, 0},  {50, 1},      {69, 1},
                {70, 0},       {80, 2},  {90, 0},  {99, 0},      {100, kNoRow},
                {199, kNoRow}, {200, 3}, {299, 3}, {300, kNoRow}};
  for (const auto& first : kTimes) {
    const auto* const found = EffectiveAt(rows, first.time);
    EXPECT_EQ(found, first.place == kNoRow ? nullptr : &rows[static_cast<std::size_t>(first.place)])
        << first.time;
    for (const auto& second : kTimes) {
      EffectiveRows<Ending> cursor(rows);
      EXPECT_EQ(cursor.PlaceAt(first.time), first.place) << first.time;
      EXPECT_EQ(cursor.PlaceAt(second.time), second.place) << second.time << " " << first.time;
    }
  }
}

TEST(EffectiveRows, StoredRowsKnowTheirTime) {
  API_CCSpecLim spec{};
  spec.Word20 = 1;
  ControlLimit control{};
  control.row.F_EFTM = 2;
  API_CCDefOpp opportunities{};
  opportunities.Word24 = 3;
  API_CANccLim8 net{};
  net.Head[5] = 4;
  EXPECT_EQ(catalogue::EffectiveTime(spec), 1);
  EXPECT_EQ(catalogue::EffectiveTime(control), 2);
  EXPECT_EQ(catalogue::EffectiveTime(opportunities), 3);
  EXPECT_EQ(catalogue::EffectiveTime(net), 4);
}

}  // namespace
}  // namespace orvspc::engine::catalogue
