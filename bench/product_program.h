// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "chart/CCAnalysis.h"
#include "engine/Embedded.h"
#include "engine/write/import/Import.h"

// What the product does where a plain program is beside it.
namespace bench {

// Of subgroup i of the charts' data, from 0.
inline constexpr std::int64_t ChartTime(std::int64_t i) { return 1'600'000'000 + i * 60; }

inline void ImportProduct(const std::string& csv, const std::string& db) {
  const auto database = orvspc::OpenDatabase(db, true);
  orvspc::engine::import::ImportCsv(csv, *database, orvspc::ImportKind::Values, {});
}

// A mean-and-range chart of the newest subgroups.
inline std::shared_ptr<orvspc::CCResults> ProductChart(
    const std::shared_ptr<orvspc::EmbeddedDatabase>& database, int part, int test,
    std::int32_t most) {
  const auto select = std::make_shared<orvspc::DataSelect>();
  select->MaximumItems(most);
  select->Descriptors()->Add(orvspc::dtPart)->AddItemID(part);
  select->Descriptors()->Add(orvspc::dtTest)->AddItemID(test);
  const auto processing = std::make_shared<orvspc::CCProcessing>();
  processing->Graph1Type(orvspc::ccGraph1XBar);
  processing->Graph2Type(orvspc::ccGraph2Range);
  return orvspc::CCAnalysis().AnalyzeDataSelect(database, select, processing);
}

struct Figures {
  double mean, ucl;
  std::int32_t points, beyond;
  friend bool operator==(const Figures&, const Figures&) = default;
};

inline Figures Read(orvspc::CCResults& results) {
  const auto graph = results.Graphs(orvspc::ccGraphType1)->GraphData();
  const auto marks = graph->GetcOOCs();
  Figures figures{results.MeanEstimate(), graph->cUCL(), graph->Count(), 0};
  for (const auto mark : *marks) figures.beyond += (mark & 2) != 0;  // rule 1
  return figures;
}

}  // namespace bench
