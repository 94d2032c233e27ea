// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string_view>

#include "frame/Friend.h"
#include "pareto/PABins.h"
#include "platform/FixedText.h"

namespace orvspc::pareto_test {

// A bin in which every field has a figure of its own: number n gives n + 0.125, n * 100 + 1 and so
// on.
inline API_PABin BinOf(std::int32_t n, std::string_view name = "Scratch") {
  API_PABin bin{};
  for (std::int32_t level = 0; level < 6; ++level) {
    bin.ID[level] = n * 100 + level;
    bin.Percentage[level] = n * 10 + level + 0.5;
  }
  platform::StoreFixedText(bin.Name, name);
  bin.BinCount = n + 0.125;
  bin.Factor = n + 0.25;
  bin.Value = n + 0.375;
  bin.Total = n + 0.625;
  bin.Yield = n + 0.75;
  bin.PPK = n + 0.875;
  bin.Flag = n * 1000;
  bin.SubgroupID = n * 2000;
  return bin;
}

// The bins 1 to count.
inline Array<API_PABin> BinsOf(std::int32_t count) {
  Array<API_PABin> bins;
  bins.Dimension(0, count - 1);
  for (std::int32_t i = 0; i < count; ++i) bins[i] = BinOf(i + 1);
  return bins;
}

inline std::shared_ptr<PABins> Loaded(std::int32_t count) {
  auto bins = std::make_shared<PABins>(Friend{});
  bins->Load(Friend{}, BinsOf(count));
  return bins;
}

}  // namespace orvspc::pareto_test
