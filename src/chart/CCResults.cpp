// SPDX-License-Identifier: Apache-2.0
#include "chart/CCResults.h"

#include <utility>

#include "chart/limit_rows.h"
#include "frame/Friend.h"
#include "frame/Outside.h"
#include "frame/Trail.h"

namespace orvspc {
namespace {

// The table object of a lazy property: at the first call made, loaded, and the records released.
template <class Table, class Record>
std::shared_ptr<Table> Loaded(std::shared_ptr<Table>& cached, Array<Record>& records,
                              std::int32_t count,
                              std::shared_ptr<Table> (platform::Platform::*make)()) {
  if (!cached) {
    const auto platform = PlatformInForce();
    auto table = ((*platform).*make)();
    // One row object serves all rows.
    const auto row = ((*platform).*make)();
    limit_rows::Load(*table, *row, records, count);
    records.Erase();
    cached = std::move(table);
  }
  return cached;
}

// The rows with their groups. Everything moves, nothing is copied but the group identifiers, which
// the record keeps; a failure leaves the record as it was.
void LoadRows(orvspc::SubgroupData& data, API_CCResults& record) {
  auto group_ids = record.GroupIDs.Copy();
  data.LoadStructures(Friend{}, std::move(record.Subgroups), std::move(record.Tests), {}, {});
  try {
    data.LoadGroupArrays(Friend{}, std::move(record.GroupStart), std::move(record.GroupEnd),
                         std::move(record.GroupIndex), std::move(group_ids));
  } catch (...) {
    data.ReturnRows(Friend{}, record.Subgroups, record.Tests);
    throw;
  }
}

}  // namespace

std::shared_ptr<orvspc::SubgroupData> CCResults::SubgroupData() {
  return Traced("CCResults.SubgroupData(g)", [&] {
    if (!subgroup_data_) {
      auto data = std::make_shared<orvspc::SubgroupData>();
      if (record_.Totals.SubgroupCount != 0) LoadRows(*data, record_);
      record_.Tests.Erase();
      record_.Subgroups.Erase();
      for (auto* groups : {&record_.GroupIndex, &record_.GroupEnd, &record_.GroupStart})
        groups->Erase();
      subgroup_data_ = std::move(data);
    }
    return subgroup_data_;
  });
}

std::shared_ptr<platform::CtrlLim> CCResults::CtrlLim() {
  return Traced("CCResults.CtrlLim(g)", [&] {
    return Loaded(ctrl_lim_, record_.CtrlLims, record_.Totals.CtrlLimCount,
                  &platform::Platform::MakeCtrlLim);
  });
}

std::int32_t CCResults::GraphCount() const {
  return Traced("CCResults.GraphCount(g)", [&] { return Needed(processing_).GraphCount(); });
}

std::int32_t CCResults::TotalSubgroups() {
  return Traced("CCResults.TotalSubgroups(g)", [&] { return SubgroupData()->TotalSubgroups(); });
}

std::int32_t CCResults::TotalGroups() {
  return Traced("CCResults.TotalGroups(g)", [&] { return SubgroupData()->TotalGroups(); });
}

double CCResults::MeanEstimate() const {
  return Traced("CCResults.MeanEstimate(g)", [&] { return record_.MeanEstimate; });
}

std::shared_ptr<platform::SpecLim> CCResults::SpecLim() {
  return Traced("CCResults.SpecLim(g)", [&] {
    return Loaded(spec_lim_, record_.SpecLims, record_.Totals.SpecLimCount,
                  &platform::Platform::MakeSpecLim);
  });
}

std::shared_ptr<platform::DefOpp> CCResults::DefOpp() {
  return Traced("CCResults.DefOpp(g)", [&] {
    return Loaded(def_opp_, record_.DefOpps, record_.Totals.DefOppCount,
                  &platform::Platform::MakeDefOpp);
  });
}

std::shared_ptr<CCGraph> CCResults::Graphs(ccGraphTypes Index) {
  return Traced("CCResults.Graphs(g)", [&]() -> std::shared_ptr<CCGraph> {
    const std::int32_t count = GraphCount();
    if (Index < 1 || Index > count) return nullptr;
    auto& cached = graphs_[static_cast<std::size_t>(Index) - 1];
    if (!cached) {
      auto graph = std::make_shared<CCGraph>(Friend{});
      graph->Load(Friend{}, std::move(record_.Graphs[Index - 1]), rule_def_);
      cached = std::move(graph);
    }
    return cached;
  });
}

void CCResults::Structure(const Friend&, API_CCResults&& record) {
  Traced("CCResults.Structure(l)", [&] { record_ = std::move(record); });
}

void CCResults::RuleDef(const Friend&, std::shared_ptr<platform::RuleDef> value) {
  rule_def_ = std::move(value);
}

}  // namespace orvspc
