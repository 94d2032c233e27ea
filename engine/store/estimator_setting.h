// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/statistics/Estimators.h"
#include "engine/store/Store.h"

namespace orvspc::engine::store {

// The setting sigma_estimator; an unknown one is noted and mvlue used.
inline statistics::EstimatorSetting EstimatorSettingOf(Store& store) {
  const auto name = store.Setting("sigma_estimator", "mvlue");
  if (const auto setting = statistics::EstimatorSettingFromName(name)) return *setting;
  AddNote("setting-unknown",
          "The setting sigma_estimator \"" + name + "\" is unknown; mvlue is used.");
  return statistics::EstimatorSetting::Mvlue;
}

}  // namespace orvspc::engine::store
