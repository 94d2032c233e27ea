// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <span>
#include <vector>

#include "engine/QualityDatabase.h"
#include "host/render/data/DataReading.h"
#include "select/DataSelect.h"

// Which subgroups of a selection count: those that charts estimate from and judge.
namespace orvspc::cli {

// Of each subgroup whether it lies in an excluded phase, also where phases are taken together.
std::vector<bool> ExcludedRows(const QualityDatabase& database,
                               std::span<const render::SubgroupRow> rows);

// Of each subgroup why it does not count: "disabled", "incomplete", "of an excluded phase"; null:
// it does. Where a selection does not ask for enabled ones, those count that it asks for. select
// may be null.
std::vector<const char*> WhyNotUsed(std::span<const render::SubgroupRow> rows,
                                    const std::vector<bool>& excluded, const DataSelect* select);

}  // namespace orvspc::cli
