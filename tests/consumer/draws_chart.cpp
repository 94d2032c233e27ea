// SPDX-License-Identifier: Apache-2.0
// What a host does from the first file to a picture, in the folder named first and with the CSV
// file named second: makes a database, imports, finds part and test by name, analyses, keeps the
// result as XML and reads it back, draws it. Figures are compared with those worked out by hand;
// exit status 0 when all agree.
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include "chart/CCAnalysis.h"
#include "engine/Embedded.h"
#include "engine/QualityDatabase.h"
#include "host/render/chart/Chart.h"
#include "platform/ExternalFailure.h"

namespace {

bool failed = false;

void Check(bool holds, const char* what) {
  std::printf("%-40s %s\n", what, holds ? "yes" : "NO");
  failed |= !holds;
}

void Agrees(const char* what, double found, double expected) {
  const bool agrees = std::fabs(found - expected) <= 1e-9 * std::fabs(expected);
  std::printf("%-40s %.10f%s\n", what, found, agrees ? "" : "  is not what was expected");
  failed |= !agrees;
}

std::string TextOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::shared_ptr<orvspc::CCResults> Analyse(const orvspc::QualityDatabase& database) {
  const auto part = database.Find(orvspc::ItemKind::Part, "Shaft");
  const auto test = database.Find(orvspc::ItemKind::Test, "Diameter");
  Check(part && test, "part and test are found by name");
  Check(!database.Find(orvspc::ItemKind::Part, "Wheel"), "a part that is not there is not");
  const auto select = std::make_shared<orvspc::DataSelect>();
  select->Descriptors()->Add(orvspc::dtPart)->AddItemID(part.value());
  select->Descriptors()->Add(orvspc::dtTest)->AddItemID(test.value());
  const auto processing = std::make_shared<orvspc::CCProcessing>();
  processing->Graph1Type(orvspc::ccGraph1XBar);
  processing->Graph2Type(orvspc::ccGraph2Range);
  return orvspc::CCAnalysis().AnalyzeDataSelect(database.Database(), select, processing);
}

void CompareFigures(orvspc::CCResults& results) {
  // Subgroups of five: means 58/5, 62/5, 61/5, ranges 3, 3, 2.
  const double mean = 181.0 / 15.0;
  const double sigma = 8.0 / 3.0 / 2.325928947281;  // mean range over d2(5)
  Check(results.TotalSubgroups() == 3, "three subgroups");
  const auto graph = results.Graphs(orvspc::ccGraphType1)->GraphData();
  Check(graph->Count() == 3, "three points");
  Agrees("mean", results.MeanEstimate(), mean);
  Agrees("sigma", results.SWEstimate(), sigma);
  Agrees("centre", graph->cCL(), mean);
  Agrees("upper limit", graph->cUCL(), mean + 3.0 * sigma / std::sqrt(5.0));
  Agrees("lower limit", graph->cLCL(), mean - 3.0 * sigma / std::sqrt(5.0));
  graph->MoveFirst();
  for (const double point : {11.6, 12.4, 12.2}) {
    Agrees("point", graph->Point(), point);
    graph->MoveNext();
  }
}

std::string Draw(const orvspc::QualityDatabase& database, orvspc::CCResults& results) {
  orvspc::render::ChartDocument document;
  document.requested[0] = orvspc::ccGraph1XBar;
  document.requested[1] = orvspc::ccGraph2Range;
  auto report = database.Database()->TakeReport();
  document.notes = std::move(report.notes);
  static_cast<orvspc::ChartReport&>(document) = std::move(report.chart);
  document.chart = orvspc::render::ReadChart(results);
  const auto names = [&](orvspc::ItemKind kind, std::int32_t id) {
    return database.Name(kind, id);
  };
  return orvspc::render::RenderChartSvg(orvspc::render::MakeChartView(document, names));
}

int Run(const std::string& folder, const std::string& csv) {
  orvspc::InstallEmbedded();
  auto database = orvspc::QualityDatabase::Create(folder + "/shaft.db");
  const auto imported = database.Import(csv, orvspc::ImportKind::Values);
  Check(imported.subgroups == 3 && imported.rows == 15, "the file is imported");
  const auto streams = database.Streams();
  Check(streams.size() == 1 && streams[0].subgroups == 3, "one stream of three subgroups");

  const auto results = Analyse(database);
  // First: what is read out of a result is no longer in its XML.
  const std::string kept = folder + "/shaft.xml";
  std::ofstream(kept, std::ios::binary) << results->GetXML();
  CompareFigures(*results);
  orvspc::CCResults read;
  Check(read.SetXML(TextOf(kept)), "the XML is read back");
  CompareFigures(read);

  const std::string picture = Draw(database, *results);
  std::ofstream(folder + "/shaft.svg", std::ios::binary) << picture;
  Check(picture.find("</svg>") != std::string::npos, "there is a picture");
  for (const char* text : {"Shaft", "Diameter", "CL 12.1"}) {
    Check(picture.find(text) != std::string::npos, text);
  }
  return failed ? 1 : 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  try {
    return Run(argv[1], argv[2]);
  } catch (const orvspc::platform::ExternalFailure& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
  }
  return 1;
}
