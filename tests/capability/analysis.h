// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <span>
#include <string>

#include "capability/CAAnalysis.h"
#include "frame/Friend.h"
#include "tests/fake/FakePlatform.h"

namespace orvspc::capability_test {

// An analysis against the fakes. Starts with a capability library that returns 0.
struct Analysis : fake::FakeScope {
  std::shared_ptr<CAProcessing> processing = std::make_shared<CAProcessing>();
  std::shared_ptr<DataSelect> select = std::make_shared<DataSelect>();

  std::shared_ptr<CAResults> Analyze() {
    return CAAnalysis().AnalyzeDataSelect(database, select, processing);
  }

  // The library gives something: what it got, and no figures.
  void Succeed() {
    script().capability = [](fake::CapabilityCall&) { return 1; };
  }
};

template <class T>
Array<T> ArrayOf(std::initializer_list<T> values) {
  Array<T> array;
  array.Dimension(0, static_cast<std::int64_t>(values.size()) - 1);
  std::copy(values.begin(), values.end(), array.Elements().begin());
  return array;
}

// Bins 1 to count: from i to i + 0.5, from -i to 10 i.
inline Array<API_CABin> Bins(std::int32_t count) {
  Array<API_CABin> bins;
  bins.Dimension(0, count - 1);
  for (std::int32_t i = 0; i < count; ++i) bins[i] = {i + 1.0, i + 1.5, -(i + 1.0), 10.0 * (i + 1)};
  return bins;
}

// Whether every byte is 0.
template <class Record>
bool IsZero(const Record& record) {
  const auto bytes = std::as_bytes(std::span(&record, 1));
  return std::ranges::all_of(bytes, [](std::byte byte) { return byte == std::byte{0}; });
}

}  // namespace orvspc::capability_test
