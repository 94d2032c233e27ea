// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <array>
#include <initializer_list>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "host/render/pareto/Pareto.h"

namespace orvspc::host {

using namespace render;

struct BinGiven {
  std::initializer_list<std::string> parts;
  double value;
  std::initializer_list<double> shares;  // one a level
  std::int32_t flag = 0;
};

// Settings and bins as an analysis gives them; identifiers number the names of each level from 1.
inline ParetoDocument ParetoOf(std::initializer_list<paBinTypes> levels,
                               std::initializer_list<BinGiven> bins) {
  ParetoDocument document;
  ParetoRead& pareto = document.pareto;
  pareto.processing = std::make_shared<PAProcessing>();
  std::int32_t level = 0;
  for (const auto type : levels) pareto.processing->BinType(level++, type);
  pareto.levels = levels.size();
  std::array<std::vector<std::string>, 3> known;
  for (const BinGiven& given : bins) {
    ParetoBinRead bin;
    std::size_t i = 0;
    for (const auto& part : given.parts) {
      auto& names = known[i];
      auto at = std::find(names.begin(), names.end(), part);
      if (at == names.end()) at = names.insert(at, part);
      bin.id[i] = static_cast<std::int32_t>(at - names.begin()) + 1;
      bin.parts[i++] = part;
      bin.name += (bin.name.empty() ? "" : " / ") + part;
    }
    i = 0;
    for (const double share : given.shares) bin.percentage[i++] = share;
    bin.value = bin.bin_count = bin.factor = given.value;
    bin.total = 1000.0;
    bin.yield = bin.ppk = std::numeric_limits<double>::quiet_NaN();
    bin.flag = given.flag;
    pareto.bins.push_back(std::move(bin));
  }
  return document;
}

inline std::string NoItemName(NameKind, std::int32_t) { return {}; }

inline ParetoView ViewOf(const ParetoDocument& document) {
  return MakeParetoView(document, NoItemName);
}

}  // namespace orvspc::host
