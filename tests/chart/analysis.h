// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "chart/CCAnalysis.h"
#include "tests/fake/FakePlatform.h"

namespace orvspc::chart_test {

using platform::ChartData;

// An analysis against the fakes. Starts with two subgroups of two values and a chart library that
// produces nothing.
struct Analysis : fake::FakeScope {
  std::shared_ptr<CCProcessing> processing = std::make_shared<CCProcessing>();
  std::shared_ptr<DataSelect> select = std::make_shared<DataSelect>();

  Analysis() {
    database->value = 5;
    fake::FillRows(script(), 2, 2);
  }

  void Ask(std::int32_t graph1, std::int32_t graph2 = 0, std::int32_t graph3 = 0) {
    processing->Graph1Type(ccGraph1Types{graph1});
    processing->Graph2Type(ccGraph2Types{graph2});
    processing->Graph3Type(ccGraph3Types{graph3});
  }

  std::shared_ptr<CCResults> Analyze() {
    return CCAnalysis().AnalyzeDataSelect(database, select, processing);
  }

  // Asks for these charts and gets what the word says.
  std::shared_ptr<CCResults> Analyze(std::int32_t graph1, std::int32_t chart_word) {
    Ask(graph1);
    script().chart_word = chart_word;
    return Analyze();
  }
};

}  // namespace orvspc::chart_test
