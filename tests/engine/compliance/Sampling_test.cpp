// SPDX-License-Identifier: Apache-2.0
#include "engine/compliance/Sampling.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "platform/Enumerations.h"

namespace orvspc::engine::compliance {

namespace {

constexpr Period kAlways{INT32_MIN, INT32_MAX};
constexpr StateSegment kRun{0, 3600, 1, pst_Run, true};

std::vector<TakenSample> At(std::initializer_list<std::int64_t> times) {
  std::vector<TakenSample> samples;
  for (const auto time : times) samples.push_back({time, 0});
  return samples;
}

Due Sum(const std::vector<SamplingWindow>& windows) {
  Due sum;
  for (const auto& window : windows) {
    sum.expected += window.expected;
    sum.collected += window.collected;
  }
  return sum;
}

TEST(Sampling, OnlyStartedAndRunningStatesRun) {
  for (const auto type : {pst_Start, pst_Run}) EXPECT_TRUE(IsRunning(type));
  EXPECT_TRUE(IsRunning(2999));
  for (const auto type : {pst_None, pst_Pause, pst_End, pst_Idle, pst_ScheduledDown}) {
    EXPECT_FALSE(IsRunning(type));
  }
}

TEST(IntervalSampling, SurplusInOneWindowPaysForNoOther) {
  const auto due = DueBySegment(
      {{kRun}}, IntervalSampling({{kRun}}, kAlways, 2, 1200, 0, At({10, 20, 30, 40, 2500})));
  EXPECT_EQ(due[0].expected, 6);
  EXPECT_EQ(due[0].collected, 3);
}

TEST(IntervalSampling, ASampleInTheGraceFillsTheWindowThatIsStillShort) {
  EXPECT_EQ(Sum(IntervalSampling({{kRun}}, kAlways, 1, 1200, 300, At({1300}))).collected, 1);
  // The second sample cannot fill the first window again and counts for the second.
  EXPECT_EQ(Sum(IntervalSampling({{kRun}}, kAlways, 1, 1200, 300, At({100, 1300}))).collected, 2);
  EXPECT_EQ(Sum(IntervalSampling({{kRun}}, kAlways, 1, 1200, 300, At({100, 1100}))).collected, 1);
}

TEST(IntervalSampling, TheNewestWindowsAreFoundWithoutMakingThem) {
  std::mt19937 random(7);
  const auto below = [&](int n) {
    return static_cast<std::int64_t>(random() % static_cast<unsigned>(n));
  };
  int found = 0;
  for (int round = 0; round < 200; ++round) {
    std::vector<StateSegment> segments;
    std::int64_t end = below(1000);
    for (int s = 0; s < 6; ++s) {
      const auto start = end;
      end += 1 + below(5000);
      const bool runs = below(3) != 0;
      segments.push_back({start, end, 1, runs ? pst_Run : pst_Pause, runs});
    }
    const auto every = 1 + below(600), grace = below(2) * below(900), now = below(30000),
               seconds = below(6000);
    const Period valid{below(2000), 25000};
    auto windows = IntervalSampling(segments, valid, 1, every, grace, {});
    std::erase_if(windows, [&](const SamplingWindow& window) { return window.due >= now; });
    const auto begin = BeginOfNewest(segments, valid, every, grace, now, seconds);
    ASSERT_EQ(begin.has_value(), !windows.empty()) << round;
    if (!begin) continue;
    auto expected = windows.front().begin;
    for (const auto& window : windows) {
      if (window.begin <= windows.back().due - seconds) expected = window.begin;
    }
    EXPECT_EQ(*begin, expected) << round;
    ++found;
  }
  EXPECT_GT(found, 50);
}

TEST(IntervalSampling, AWindowIsCompleteOnlyWithItsGrace) {
  EXPECT_EQ(Sum(IntervalSampling({{kRun}}, kAlways, 1, 1200, 0, {})).expected, 3);
  EXPECT_EQ(Sum(IntervalSampling({{kRun}}, kAlways, 1, 1200, 1, {})).expected, 2);
  EXPECT_EQ(Sum(IntervalSampling({{kRun}}, kAlways, 1, 1200, 3600, {})).expected, 0);
}

TEST(IntervalSampling, TheClockStandsStillInAPause) {
  const StateSegment segments[] = {{0, 1000, 1, pst_Run, true},
                                   {1000, 9000, 2, pst_Pause, false},
                                   {9000, 10200, 1, pst_Run, true}};
  // The first window ends 200 seconds after the pause; a sample of the pause is in it.
  const auto due =
      DueBySegment(segments, IntervalSampling(segments, kAlways, 1, 1200, 0, At({5000})));
  EXPECT_EQ(due[0].expected, 0);
  EXPECT_EQ(due[1].expected, 0);
  EXPECT_EQ(due[2].expected, 1);
  EXPECT_EQ(due[2].collected, 1);
}

TEST(IntervalSampling, AWindowBelongsToTheSegmentInWhichItEnds) {
  const StateSegment segments[] = {{0, 1200, 1, pst_Run, true}, {1200, 3600, 2, pst_Run, true}};
  const auto due = DueBySegment(segments, IntervalSampling(segments, kAlways, 1, 1200, 0, {}));
  EXPECT_EQ(due[0].expected, 1);
  EXPECT_EQ(due[1].expected, 2);
}

TEST(IntervalSampling, OnlyTheTimeInWhichTheRequirementHoldsCounts) {
  const auto due = DueBySegment(
      {{kRun}}, IntervalSampling({{kRun}}, {1200, 2400}, 1, 600, 0, At({100, 1300, 2500})));
  EXPECT_EQ(due[0].expected, 2);
  EXPECT_EQ(due[0].collected, 1);
}

TEST(OccasionSampling, AnOccasionWithoutRunningTimeAsksForNothing) {
  const StateSegment segments[] = {{0, 1000, 1, pst_Idle, false}, {1000, 2000, 2, pst_Run, true}};
  const Occasion shifts[] = {{0, 1000, 0}, {1000, 2000, 0}};
  const auto due = DueBySegment(
      segments, OccasionSampling(segments, kAlways, 3, shifts, At({500, 1000, 1999, 2000})));
  EXPECT_EQ(due[0].expected, 0);
  EXPECT_EQ(due[1].expected, 3);
  EXPECT_EQ(due[1].collected, 2);
}

TEST(OccasionSampling, ALotCountsItsOwnSamples) {
  const Occasion lots[] = {{0, 600, 7}, {300, 900, 8}};
  const TakenSample samples[] = {{10, 7}, {400, 8}, {500, 7}, {550, 7}};
  const auto due = DueBySegment({{kRun}}, OccasionSampling({{kRun}}, kAlways, 2, lots, samples));
  EXPECT_EQ(due[0].expected, 4);
  EXPECT_EQ(due[0].collected, 3);
}

TEST(OccasionSampling, AnOccasionBelongsToTheSegmentOfItsLastSecond) {
  const StateSegment segments[] = {{0, 1000, 1, pst_Run, true}, {1000, 2000, 2, pst_Pause, false}};
  const Occasion shifts[] = {{0, 1001, 0}, {500, 5000, 0}, {0, 1000, 0}};
  const auto due = DueBySegment(segments, OccasionSampling(segments, kAlways, 1, shifts, {}));
  EXPECT_EQ(due[0].expected, 1);
  EXPECT_EQ(due[1].expected, 2);
}

// Second by second, window by window.
std::vector<Due> Slowly(const std::vector<StateSegment>& segments, const Period& valid,
                        std::int64_t n, std::int64_t every, std::int64_t grace,
                        const std::vector<TakenSample>& samples) {
  std::vector<Due> due(segments.size());
  const auto last = segments.back().end;
  std::vector<std::int64_t> clock(static_cast<std::size_t>(last) + 1);
  for (std::int64_t t = 0; t < last; ++t) {
    bool runs = false;
    for (const auto& each : segments)
      runs = runs || (each.running && each.start <= t && t < each.end);
    const auto at = static_cast<std::size_t>(t);
    clock[at + 1] = clock[at] + (runs && t >= valid.start && t < valid.end ? 1 : 0);
  }
  std::vector<bool> used(samples.size());
  for (std::int64_t j = 1; j * every + grace <= clock.back(); ++j) {
    std::int64_t taken = 0;
    for (std::size_t i = 0; i < samples.size() && taken < n; ++i) {
      const auto time = samples[i].time;
      const auto t = clock[static_cast<std::size_t>(time)];
      if (used[i] || time < valid.start || time >= valid.end) continue;
      if ((j - 1) * every <= t && t < j * every + grace) {
        used[i] = true;
        ++taken;
      }
    }
    std::int64_t end = 0;
    while (clock[static_cast<std::size_t>(end)] < j * every + grace) ++end;
    for (std::size_t i = 0; i < segments.size(); ++i) {
      if (segments[i].start < end && end <= segments[i].end) {
        due[i].expected += n;
        due[i].collected += taken;
      }
    }
  }
  return due;
}

TEST(IntervalSampling, AgreesWithAWalkSecondBySecond) {
  std::mt19937 random(20260);
  const auto draw = [&](int lowest, int highest) {
    return std::uniform_int_distribution<int>(lowest, highest)(random);
  };
  for (int round = 0; round < 500; ++round) {
    std::vector<StateSegment> segments;
    std::int64_t time = 0;
    for (int i = draw(1, 6); i > 0; --i) {
      const auto end = time + draw(1, 400);
      segments.push_back({time, end, i, pst_Run, draw(0, 2) != 0});
      time = end;
    }
    std::vector<TakenSample> samples;
    for (int i = draw(0, 40); i > 0; --i)
      samples.push_back({draw(0, static_cast<int>(time) - 1), 0});
    std::sort(samples.begin(), samples.end(),
              [](const TakenSample& a, const TakenSample& b) { return a.time < b.time; });
    const Period valid{draw(0, 3) == 0 ? draw(0, 200) : 0, draw(0, 3) == 0 ? draw(200, 900) : time};
    const auto n = draw(1, 4), every = draw(1, 200), grace = draw(0, 1) * draw(0, 250);
    const auto fast =
        DueBySegment(segments, IntervalSampling(segments, valid, n, every, grace, samples));
    const auto slow = Slowly(segments, valid, n, every, grace, samples);
    for (std::size_t i = 0; i < segments.size(); ++i) {
      ASSERT_EQ(fast[i].expected, slow[i].expected) << "round " << round << " segment " << i;
      ASSERT_EQ(fast[i].collected, slow[i].collected) << "round " << round << " segment " << i;
    }
  }
}

}  // namespace
}  // namespace orvspc::engine::compliance
