// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "pareto/PAAnalysis.h"
#include "tests/fake/FakePlatform.h"
#include "tests/pareto/bins.h"

namespace orvspc::pareto_test {

// An analysis against the fakes. Starts with a Pareto library that makes nothing.
struct Analysis : fake::FakeScope {
  std::shared_ptr<PAProcessing> processing = std::make_shared<PAProcessing>();
  std::shared_ptr<DataSelect> select = std::make_shared<DataSelect>();

  // The library returns `result`, writes `count` as the number of bins and fills every bin that it
  // was given.
  void Answer(std::int32_t result, std::int32_t count) {
    script().pareto = [=](std::span<API_PABin> bins, API_PAOptions& options) {
      for (std::size_t i = 0; i < bins.size(); ++i)
        bins[i] = BinOf(static_cast<std::int32_t>(i) + 1);
      options.BinCount = count;
      return result;
    };
  }

  std::shared_ptr<PAResults> Analyze() {
    return PAAnalysis().AnalyzeDataSelect(database, select, processing);
  }
};

}  // namespace orvspc::pareto_test
