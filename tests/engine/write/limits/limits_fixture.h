// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "engine/charts/AttributeRun.h"
#include "engine/charts/VariableRun.h"
#include "engine/write/limits/WindowStore.h"
#include "platform/ChartWord.h"
#include "platform/TimeText.h"
#include "tests/engine/charts/FakeStore.h"
#include "tests/engine/store/store_fixture.h"

namespace orvspc::engine::limits {

using store::FailureOf;

// Times of subgroups 0, 1, 2, ...: one an hour.
inline std::int32_t TimeAt(std::size_t subgroup) {
  return 1'700'000'000 + 3600 * static_cast<std::int32_t>(subgroup);
}

enum class Shape { Fives, Different, Singles, Readings, Defectives, Defects };
inline constexpr const char* kShapeNames[] = {"fives",    "different",  "singles",
                                              "readings", "defectives", "defects"};
inline bool OfCounts(Shape shape) { return shape >= Shape::Defectives; }

// A test of that shape, whose values spread and now and then lie far off.
inline std::string CsvOf(Shape shape, std::size_t count, unsigned seed) {
  std::mt19937 random(seed);
  const auto next = [&](std::uint32_t below) { return static_cast<int>(random() % below); };
  std::string text = OfCounts(shape) ? "part,process,test,subgroup,time,count,size,test-type\n"
                                     : "part,process,test,subgroup,time,value,tsno,sbno\n";
  for (std::size_t i = 0; i < count; ++i) {
    const auto head = std::string("A,P,") + kShapeNames[static_cast<std::size_t>(shape)] + "," +
                      std::to_string(i + 1) + "," + platform::IsoText(TimeAt(i)) + ",";
    const auto value = [&] { return std::to_string(100 + next(1000) / 100.0); };
    if (OfCounts(shape)) {
      text += head + std::to_string(next(9)) + "," + std::to_string(50 + next(30)) +
              (shape == Shape::Defectives ? ",defectives\n" : ",defects\n");
      continue;
    }
    const int pieces = shape == Shape::Singles ? 1 : shape == Shape::Different ? 2 + next(4) : 5;
    for (int piece = 1; piece <= pieces; ++piece) {
      const auto number = std::to_string(piece);
      text += head + value() + "," + number + ",0\n";
      for (int reading = 1; shape == Shape::Readings && reading <= 3; ++reading) {
        text += head + value() + "," + number + "," + std::to_string(reading) + "\n";
      }
    }
  }
  return text;
}

// Every chart that has limits.
inline std::vector<std::int32_t> WordsOf(Shape shape) {
  std::vector<std::int32_t> words;
  if (OfCounts(shape)) {
    for (const int code : {0x8, 0xA, 0xC, 0xD}) {
      if (shape == Shape::Defectives) words.push_back(code << 8);
    }
    for (const int code : {0x9, 0xB, 0xE, 0xF}) words.push_back(code << 8);
    return words;
  }
  for (const int graph1 : {1, 2, 3, 4}) {
    for (const int graph2 : {0, 1, 2, 3, 4}) {
      for (const int graph3 : {0, 1, 2}) words.push_back(graph1 << 8 | graph2 << 4 | graph3);
    }
  }
  return words;
}

class LimitsTest : public store::StoreTest {
 protected:
  StreamKey Stream(Shape shape) {
    return {Id(ItemKind::Part, "A"), Id(ItemKind::Process, "P"),
            Id(ItemKind::Test, kShapeNames[static_cast<std::size_t>(shape)])};
  }
  LimitRequest Request(Shape shape, std::int32_t word = 0) {
    const auto stream = Stream(shape);
    LimitRequest request;
    request.part = stream.part;
    request.process = stream.process;
    request.test = stream.test;
    request.chart_word = word;
    return request;
  }
  test::MadeChart ChartOf(Shape shape, std::int32_t word, std::int32_t until = INT32_MAX,
                          std::int32_t processing = 0, double ewma = 0.0,
                          std::int32_t since = INT32_MIN) {
    const auto stream = Stream(shape);
    auto window = WindowOf({stream.part, stream.process, stream.test}, since, until);
    test::MadeChart chart;
    if (OfCounts(shape)) {
      charts::AttributeRun run;
      chart.word = run.Process(*Opened(), window.info, window.filter, {word, processing, ewma});
      if (chart.word != 0) test::Collect(run, 1, chart);
      return chart;
    }
    charts::VariableRun run;
    API_CCVarOptions options{};
    options.ChartWord = word;
    options.ProcessingWord = processing;
    options.Constant = 2;
    chart.word = run.Process(*Opened(), window.info, window.filter, options);
    if (chart.word != 0) test::Collect(run, run.Plan().GraphCount(), chart);
    return chart;
  }
  // A row that is proposed and approved from a time on.
  std::int32_t Freeze(Shape shape, std::int32_t word, std::int32_t first, std::int32_t effective) {
    auto request = Request(shape, word);
    request.first = first;
    request.force = true;
    LimitApproval approval;
    approval.effective = effective;
    return Data().FreezeLimits(request, approval, {ann_, "for the test"});
  }
  ListedLimit Row(std::int32_t id) {
    for (const auto& row : Data().ListLimits()) {
      if (row.id == id) return row;
    }
    ADD_FAILURE() << "no row " << id;
    return {};
  }
  static std::vector<double> CentresOf(const test::MadeChart& chart) {
    return chart.graphs.at(0).cl;
  }
  const Actor ann_{"Ann", ""}, bob_{"Bob", ""};
};

}  // namespace orvspc::engine::limits
