// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <numeric>
#include <string>
#include <vector>

#include "engine/statistics/Numerics.h"
#include "tests/engine/charts/FakeStore.h"

// Notes of charts on steps of the mean.
namespace orvspc::engine::test {
namespace {

constexpr std::int32_t kIxMr = 0x330, kXbarR = 0x110, kMedianR = 0x210;
constexpr std::int32_t kCusum = 16;

// Each deviation phi of the one before and a normal one; the mean of the first half is 10, that of
// the second `step` more.
std::vector<double> Levels(std::size_t count, double step, double phi = 0.0) {
  Draws draws;
  std::vector<double> values;
  double deviation = 0.0;
  for (std::size_t i = 0; i < count; ++i) {
    deviation = phi * deviation + draws.Normal();
    values.push_back(deviation);
  }
  const auto half = values.begin() + static_cast<std::ptrdiff_t>(count / 2);
  const auto move = [](auto first, auto last, double to) {
    const double mean = std::accumulate(first, last, 0.0) / static_cast<double>(last - first);
    for (; first != last; ++first) *first += to - mean;
  };
  move(values.begin(), half, 10.0);
  move(half, values.end(), 10.0 + step);
  return values;
}

FakeStore Of(const std::vector<double>& values, double half_range = 0.0) {
  FakeStore store;
  for (const double value : values) {
    store.Add(half_range > 0.0 ? Sample{{value - half_range, value + half_range}}
                               : Sample{{value}});
  }
  store.chart_options["chart.steps"] = "yes";
  return store;
}

// "step" and "no-steps" of the notes of a chart, with their texts.
std::vector<Note> StepNotes(FakeStore& store, std::int32_t word, std::int32_t processing = 0) {
  TakeNotes();
  Make(store, word, processing);
  std::vector<Note> found;
  for (auto& note : TakeNotes()) {
    if (note.code == "step" || note.code == "no-steps") found.push_back(note);
  }
  return found;
}

TEST(VariableRunSteps, AChartOfSinglesOrMeansSaysWhereAndFromWhichLevelToWhich) {
  auto singles = Of(Levels(36, 5.0));
  const auto notes = StepNotes(singles, kIxMr);
  ASSERT_EQ(notes.size(), 1U);
  EXPECT_EQ(notes[0].code, "step");
  EXPECT_EQ(notes[0].stream, "1 / 1 / 1");
  // Times count 0, 10, ..., and the last one of the former level is 170.
  EXPECT_EQ(notes[0].text, "The mean may have changed after 1970-01-01T00:02:50, from 10 to 15.");
  auto means = Of(Levels(36, 5.0), 0.1);
  ASSERT_EQ(StepNotes(means, kXbarR).size(), 1U);
  EXPECT_EQ(StepNotes(means, kXbarR)[0].text, notes[0].text);
}

TEST(VariableRunSteps, NothingIsSaidUnlessAskedFor) {
  auto store = Of(Levels(36, 5.0));
  store.chart_options["chart.steps"] = "no";
  EXPECT_TRUE(StepNotes(store, kIxMr).empty());
  store.chart_options.clear();
  EXPECT_TRUE(StepNotes(store, kIxMr).empty());
}

TEST(VariableRunSteps, NoStepNoNoteAndTheReasonWhereNoneAreLookedFor) {
  auto level = Of(Levels(36, 0.0));
  EXPECT_TRUE(StepNotes(level, kIxMr).empty());
  auto few = Of(Levels(19, 5.0));
  ASSERT_EQ(StepNotes(few, kIxMr).size(), 1U);
  EXPECT_EQ(StepNotes(few, kIxMr)[0].text, "Steps are looked for in 20 points or more.");
  auto medians = Of(Levels(36, 5.0), 0.1);
  ASSERT_EQ(StepNotes(medians, kMedianR).size(), 1U);
  EXPECT_EQ(StepNotes(medians, kMedianR)[0].code, "no-steps");
  auto wandering = Of(Levels(200, 4.0, 0.9));
  ASSERT_EQ(StepNotes(wandering, kIxMr).size(), 1U);
  EXPECT_EQ(StepNotes(wandering, kIxMr)[0].text,
            "Neighbours are correlated, so no steps are hinted at.");
  auto sums = Of(Levels(36, 5.0));
  ASSERT_EQ(StepNotes(sums, kIxMr, kCusum).size(), 1U);
  EXPECT_EQ(StepNotes(sums, kIxMr, kCusum)[0].code, "no-steps");
}

TEST(VariableRunSteps, OptionsOfTheStudyHold) {
  auto store = Of(Levels(36, 2.5));
  ASSERT_EQ(StepNotes(store, kIxMr).size(), 1U);
  EXPECT_EQ(StepNotes(store, kIxMr)[0].code, "step");
  store.chart_options["steps.penalty"] = "20";
  EXPECT_TRUE(StepNotes(store, kIxMr).empty());
  store.chart_options["steps.penalty"] = "3";
  store.chart_options["steps.least"] = "19";
  EXPECT_TRUE(StepNotes(store, kIxMr).empty()) << "there is no room for two levels of 19 points";
}

TEST(VariableRunSteps, EachPhaseByItselfAndExcludedOnesNot) {
  auto values = Levels(36, 0.0);
  const auto second = Levels(36, 5.0);
  values.insert(values.end(), second.begin(), second.end());
  auto store = Of(values);
  Phase before, after;
  before.id = 1;
  before.name = "old";
  before.start = 0;
  before.finish = 360;
  after.id = 2;
  after.name = "new tool";
  after.start = 360;
  store.phases = {before, after};
  const auto notes = StepNotes(store, kIxMr);
  ASSERT_EQ(notes.size(), 1U);
  EXPECT_TRUE(notes[0].text.starts_with("Phase \"new tool\": The mean may have changed after"))
      << notes[0].text;
  store.phases[1].kind = PhaseKind::Excluded;
  EXPECT_TRUE(StepNotes(store, kIxMr).empty());
}

}  // namespace
}  // namespace orvspc::engine::test
