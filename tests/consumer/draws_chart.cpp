// SPDX-License-Identifier: Apache-2.0
// Draws a mean-and-range chart of the database named on the command line and compares it with
// figures worked out by hand; exit status 0 when they agree.
#include <cmath>
#include <cstdio>
#include <memory>

#include "chart/CCAnalysis.h"
#include "engine/Embedded.h"

namespace {

bool Agrees(const char* what, double found, double expected) {
  const bool agrees = std::fabs(found - expected) <= 1e-9 * std::fabs(expected);
  std::printf("%-12s %.10f%s\n", what, found, agrees ? "" : "  is not what was expected");
  return agrees;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  orvspc::InstallEmbedded();
  const auto database = orvspc::OpenDatabase(argv[1]);

  const auto select = std::make_shared<orvspc::DataSelect>();
  select->Descriptors()->Add(orvspc::dtPart)->AddItemID(1);
  select->Descriptors()->Add(orvspc::dtTest)->AddItemID(1);
  const auto processing = std::make_shared<orvspc::CCProcessing>();
  processing->Graph1Type(orvspc::ccGraph1XBar);
  processing->Graph2Type(orvspc::ccGraph2Range);
  const auto results = orvspc::CCAnalysis().AnalyzeDataSelect(database, select, processing);
  if (results->TotalSubgroups() != 3) return 1;

  // Subgroups of five: means 58/5, 62/5, 61/5, ranges 3, 3, 2.
  const double mean = 181.0 / 15.0;
  const double sigma = 8.0 / 3.0 / 2.325928947281;  // mean range over d2(5)
  const auto graph = results->Graphs(orvspc::ccGraphType1)->GraphData();
  bool agrees = graph->Count() == 3;
  agrees &= Agrees("mean", results->MeanEstimate(), mean);
  agrees &= Agrees("sigma", results->SWEstimate(), sigma);
  agrees &= Agrees("centre", graph->cCL(), mean);
  agrees &= Agrees("upper limit", graph->cUCL(), mean + 3.0 * sigma / std::sqrt(5.0));
  agrees &= Agrees("lower limit", graph->cLCL(), mean - 3.0 * sigma / std::sqrt(5.0));
  const double points[] = {11.6, 12.4, 12.2};
  for (const double point : points) {
    agrees &= Agrees("point", graph->Point(), point);
    graph->MoveNext();
  }
  return agrees ? 0 : 1;
}
