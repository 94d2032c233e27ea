// SPDX-License-Identifier: Apache-2.0
// Writing and reading the XML of a SubgroupData of 100,000 subgroups of 5, and of a chart result of
// the same with a mean and a range chart, against pugixml's own functions doing the same job on the
// same text. Prints the ratios of the speeds, and the peak of resident memory as a multiple of the
// text.
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <pugixml.hpp>
#include <string>
#include <utility>
#include <vector>

#include "chart/CCResults.h"
#include "dataset/SubgroupData.h"
#include "engine/Embedded.h"
#include "frame/Friend.h"
#include "frame/NumberText.h"

namespace {

using namespace orvspc;  // NOLINT: a program of one file

constexpr int kSubgroups = 100'000;
constexpr int kPieces = 5;
constexpr int kRounds = 9;

struct Rows {
  Array<API_SubgroupData> subgroups;
  Array<API_TestData> tests;

  Rows() {
    subgroups.Dimension(0, kSubgroups - 1);
    tests.Dimension(0, kSubgroups * kPieces - 1);
    std::int32_t next = 0;
    for (int i = 0; i < kSubgroups; ++i) {
      API_SubgroupData& row = subgroups[i];
      row.Sgrp = i + 1;
      row.Part = row.Prcs = row.Test = 1;
      row.Job = 17;
      row.Sgtm = 1'600'000'000 + i * 60;
      row.Size = kPieces;
      row.Test_Start = next;
      row.Test_End = next + kPieces - 1;
      for (int j = 0; j < kPieces; ++j, ++next) {
        tests[next].Tsno = j + 1;
        tests[next].Gage = 3;
        tests[next].Val = 25.0 + 0.0001 * ((i * 7919 + j * 104'729) % 20'011 - 10'000);
      }
    }
  }
};

struct Field {
  const char* name;
  std::int32_t API_SubgroupData::*member;
};
constexpr Field kSubgroupFields[] = {
    {"F_SGRP", &API_SubgroupData::Sgrp},       {"F_PART", &API_SubgroupData::Part},
    {"F_PRCS", &API_SubgroupData::Prcs},       {"F_TEST", &API_SubgroupData::Test},
    {"F_WKNO", &API_SubgroupData::Wkst},       {"F_JOB", &API_SubgroupData::Job},
    {"F_LOT", &API_SubgroupData::Lot},         {"F_SHFT", &API_SubgroupData::Shft},
    {"F_PTRV", &API_SubgroupData::Ptrv},       {"F_EMPL", &API_SubgroupData::Empl},
    {"F_SGTM", &API_SubgroupData::Sgtm},       {"F_SGSZ", &API_SubgroupData::Size},
    {"F_FLAG", &API_SubgroupData::Flag},       {"Test_Start", &API_SubgroupData::Test_Start},
    {"Test_End", &API_SubgroupData::Test_End},
};
struct TestField {
  const char* name;
  std::int32_t API_TestData::*member;
};
constexpr TestField kTestFields[] = {
    {"F_SN", &API_TestData::Sn},   {"F_TSNO", &API_TestData::Tsno}, {"F_SBNO", &API_TestData::Sbno},
    {"F_DEF", &API_TestData::Def}, {"F_GAGE", &API_TestData::Gage},
};

template <class T>
void Put(pugi::xml_node node, const char* name, T value) {
  const NumberText text(value);
  node.append_attribute(name).set_value(text.View().data(), text.View().size());
}

struct StringWriter : pugi::xml_writer {
  std::string text;
  void write(const void* data, std::size_t size) override {
    text.append(static_cast<const char*>(data), size);
  }
};

std::string Saved(const pugi::xml_document& document) {
  StringWriter writer;
  document.save(writer, "", pugi::format_raw | pugi::format_no_declaration, pugi::encoding_utf8);
  return std::move(writer.text);
}

void PeerWriteRows(pugi::xml_node parent, const Rows& rows) {
  pugi::xml_node root = parent.append_child("SubgroupData");
  pugi::xml_node subgroups = root.append_child("Subgroups");
  for (const API_SubgroupData& row : rows.subgroups.Elements()) {
    pugi::xml_node node = subgroups.append_child("Subgroup");
    for (const Field& field : kSubgroupFields) Put(node, field.name, row.*field.member);
  }
  pugi::xml_node tests = root.append_child("Tests");
  for (const API_TestData& row : rows.tests.Elements()) {
    pugi::xml_node node = tests.append_child("Test");
    for (const TestField& field : kTestFields) Put(node, field.name, row.*field.member);
    Put(node, "F_VAL", static_cast<double>(row.Val));
  }
  root.append_child("Descriptors");
  root.append_child("Comments");
}

std::string PeerWrite(const Rows& rows) {
  pugi::xml_document document;
  PeerWriteRows(document, rows);
  return Saved(document);
}

template <class T>
T Number(const pugi::xml_attribute& attribute) {
  T value{};
  const char* const text = attribute.value();
  std::from_chars(text, text + std::strlen(text), value);
  return value;
}

using PeerRows = std::pair<std::vector<API_SubgroupData>, std::vector<API_TestData>>;

PeerRows PeerReadRows(pugi::xml_node root) {
  PeerRows rows;
  for (const pugi::xml_node node : root.child("Subgroups").children("Subgroup")) {
    API_SubgroupData& row = rows.first.emplace_back();
    pugi::xml_attribute hint;
    for (const Field& field : kSubgroupFields)
      row.*field.member = Number<std::int32_t>(node.attribute(field.name, hint));
  }
  for (const pugi::xml_node node : root.child("Tests").children("Test")) {
    API_TestData& row = rows.second.emplace_back();
    pugi::xml_attribute hint;
    for (const TestField& field : kTestFields)
      row.*field.member = Number<std::int32_t>(node.attribute(field.name, hint));
    row.Val = Number<double>(node.attribute("F_VAL", hint));
  }
  return rows;
}

PeerRows PeerRead(const std::string& text) {
  pugi::xml_document document;
  document.load_buffer(text.data(), text.size(), pugi::parse_default, pugi::encoding_utf8);
  return PeerReadRows(document.child("SubgroupData"));
}

// The lists of a graph as both sides have them, in the order of the attributes; a name without a
// place has no list.
using Integers = std::vector<std::int32_t>;
using Doubles = std::vector<double>;
struct Graph {
  Integers sizes, c_oocs, oocs, ooss, a_flags, e_flags;
  Doubles points, usls, targets, lsls, c_ucls, c_cls, c_lcls, ucls, cls, lcls;
  bool operator==(const Graph&) const = default;
};
struct List {
  const char* name;
  Integers Graph::*integers;
  Doubles Graph::*doubles;
};
constexpr List kLists[] = {
    {"SGSizes", &Graph::sizes, nullptr},  {"Points", nullptr, &Graph::points},
    {"Overlays", nullptr, nullptr},       {"cOOCs", &Graph::c_oocs, nullptr},
    {"OOCs", &Graph::oocs, nullptr},      {"OOSs", &Graph::ooss, nullptr},
    {"USLs", nullptr, &Graph::usls},      {"Targets", nullptr, &Graph::targets},
    {"LSLs", nullptr, &Graph::lsls},      {"cUCLs", nullptr, &Graph::c_ucls},
    {"cCLs", nullptr, &Graph::c_cls},     {"cLCLs", nullptr, &Graph::c_lcls},
    {"UCLs", nullptr, &Graph::ucls},      {"Cls", nullptr, &Graph::cls},
    {"LCLs", nullptr, &Graph::lcls},      {"AFlags", &Graph::a_flags, nullptr},
    {"EFlags", &Graph::e_flags, nullptr},
};

struct Chart {
  Rows rows;
  Graph graphs[3];
  Integers group_ids;

  Chart() {
    graphs[0] = MakeGraph(true);
    graphs[1] = MakeGraph(false);
    for (int i = 0; i < kSubgroups; ++i) group_ids.push_back(i + 1);
  }

  // Points and marks that differ, limits that do not.
  static Graph MakeGraph(bool first) {
    Graph graph;
    const double centre = first ? 25.0 : 1.4;
    for (int i = 0; i < kSubgroups; ++i) {
      graph.sizes.push_back(kPieces);
      graph.points.push_back(centre + 0.1 * ((i * 7919) % 20'011 - 10'000) / 30'000.0);
      graph.c_oocs.push_back(i % 50 == 7 ? 2 : 0);
      graph.oocs.push_back(i % 50 == 7 ? 34 : 0);
      for (auto* upper : {&graph.c_ucls, &graph.ucls}) upper->push_back(centre + 1.0 / 3.0);
      for (auto* line : {&graph.c_cls, &graph.cls}) line->push_back(centre);
      for (auto* lower : {&graph.c_lcls, &graph.lcls}) lower->push_back(centre - 1.0 / 3.0);
    }
    if (!first) return graph;
    for (auto* flags : {&graph.ooss, &graph.a_flags, &graph.e_flags}) flags->assign(kSubgroups, 34);
    graph.usls.assign(kSubgroups, 26.5);
    graph.targets.assign(kSubgroups, 25.0);
    graph.lsls.assign(kSubgroups, 23.5);
    return graph;
  }
};

template <class T>
void PutList(pugi::xml_node node, const char* name, const std::vector<T>& values) {
  std::string text;
  for (const T value : values) {
    if (!text.empty()) text += ' ';
    text += NumberText(value).View();
  }
  node.append_attribute(name).set_value(text.data(), text.size());
}

std::string PeerWriteChart(const Chart& chart) {
  pugi::xml_document document;
  pugi::xml_node root = document.append_child("CCResults");
  PeerWriteRows(root, chart.rows);
  pugi::xml_node data = root.append_child("GraphData");
  Put(data, "SubgroupCount", kSubgroups);
  Put(data, "TestCount", kSubgroups * kPieces);
  for (std::int32_t i = 0; i < 3; ++i) {
    pugi::xml_node node = data.append_child("Graph");
    Put(node, "Index", i);
    Put(node, "AlarmMask", std::int32_t{0});
    Put(node, "AverageSize", 0.0);
    for (const List& list : kLists) {
      if (list.integers != nullptr) {
        PutList(node, list.name, chart.graphs[i].*list.integers);
      } else {
        PutList(node, list.name, list.doubles ? chart.graphs[i].*list.doubles : Doubles());
      }
    }
  }
  pugi::xml_node statistics = root.append_child("Statistics");
  for (const char* name : {"MeanEstimate", "SPEstimate", "SWEstimate"}) Put(statistics, name, 0.0);
  for (const char* name : {"SpecificationLimits", "ControlLimits", "DefectOpportunities"})
    root.append_child(name);
  pugi::xml_node groups = root.append_child("GroupData");
  PutList(groups, "GroupIDs", chart.group_ids);
  for (const char* name : {"GroupIndex", "GroupStart", "GroupEnd"})
    PutList(groups, name, Doubles());
  return Saved(document);
}

template <class T>
std::vector<T> NumberList(const pugi::xml_attribute& attribute) {
  std::vector<T> values;
  const char* at = attribute.value();
  const char* const end = at + std::strlen(at);
  while (at != end) {
    T value{};
    at = std::from_chars(at, end, value).ptr;
    values.push_back(value);
    if (at != end) ++at;
  }
  return values;
}

struct PeerChart {
  PeerRows rows;
  Graph graphs[3];
  Integers group_ids;
};

PeerChart PeerReadChart(const std::string& text) {
  pugi::xml_document document;
  document.load_buffer(text.data(), text.size(), pugi::parse_default, pugi::encoding_utf8);
  PeerChart chart;
  const pugi::xml_node root = document.child("CCResults");
  chart.rows = PeerReadRows(root.child("SubgroupData"));
  for (const pugi::xml_node node : root.child("GraphData").children("Graph")) {
    Graph& graph = chart.graphs[node.attribute("Index").as_int()];
    for (const List& list : kLists) {
      if (list.integers != nullptr)
        graph.*list.integers = NumberList<std::int32_t>(node.attribute(list.name));
      else if (list.doubles != nullptr)
        graph.*list.doubles = NumberList<double>(node.attribute(list.name));
    }
  }
  chart.group_ids = NumberList<std::int32_t>(root.child("GroupData").attribute("GroupIDs"));
  return chart;
}

template <class T>
Array<T> ArrayOf(const std::vector<T>& values) {
  Array<T> array;
  if (values.empty()) return array;
  array.Dimension(0, static_cast<std::int64_t>(values.size()) - 1);
  std::copy(values.begin(), values.end(), array.Elements().begin());
  return array;
}

std::shared_ptr<CCResults> MakeResults() {
  Chart chart;
  API_CCResults record;
  record.Totals.SubgroupCount = kSubgroups;
  record.Totals.TestCount = kSubgroups * kPieces;
  record.Subgroups = std::move(chart.rows.subgroups);
  record.Tests = std::move(chart.rows.tests);
  record.Graphs.Dimension(0, 2);
  for (std::int32_t i = 0; i < 2; ++i) {
    const Graph& graph = chart.graphs[i];
    API_CCGraph& made = record.Graphs[i];
    made.SGSizes = ArrayOf(graph.sizes);
    made.Points = ArrayOf(graph.points);
    made.cOOCs = ArrayOf(graph.c_oocs);
    made.OOCs = ArrayOf(graph.oocs);
    made.OOSs = ArrayOf(graph.ooss);
    made.USLs = ArrayOf(graph.usls);
    made.Targets = ArrayOf(graph.targets);
    made.LSLs = ArrayOf(graph.lsls);
    made.cUCLs = ArrayOf(graph.c_ucls);
    made.cCLs = ArrayOf(graph.c_cls);
    made.cLCLs = ArrayOf(graph.c_lcls);
    made.UCLs = ArrayOf(graph.ucls);
    made.Cls = ArrayOf(graph.cls);
    made.LCLs = ArrayOf(graph.lcls);
    made.AFlags = ArrayOf(graph.a_flags);
    made.EFlags = ArrayOf(graph.e_flags);
  }
  for (auto* array : {&record.GroupIDs, &record.GroupIndex, &record.GroupStart, &record.GroupEnd})
    *array = ArrayOf(chart.group_ids);
  auto results = std::make_shared<CCResults>();
  results->Structure(Friend(), std::move(record));
  return results;
}

std::shared_ptr<SubgroupData> MakeData() {
  Rows rows;
  auto data = std::make_shared<SubgroupData>();
  data->LoadStructures(Friend(), std::move(rows.subgroups), std::move(rows.tests), {}, {});
  return data;
}

// What the jobs work on, each made at its first use.
template <class T>
const T& Shared() {
  static const T shared;
  return shared;
}
template <class T>
T& Made(std::shared_ptr<T> (*make)()) {
  static const std::shared_ptr<T> made = make();
  return *made;
}
const std::string& RowsText() {
  static const std::string text = MakeData()->GetXML();
  return text;
}
const std::string& ChartText() {
  static const std::string text = MakeResults()->GetXML();
  return text;
}

// One kind of text: its name, the text, and for each job what it needs and what it does.
struct Job {
  void (*prepare)();
  void (*run)();
};
struct Kind {
  std::string name;
  const std::string& (*text)();
  Job write, peer_write, read, peer_read;
};

const Kind kRows{
    "rows",
    RowsText,
    {[] { Made(MakeData); }, [] { benchmark::DoNotOptimize(Made(MakeData).GetXML()); }},
    {[] { Shared<Rows>(); }, [] { benchmark::DoNotOptimize(PeerWrite(Shared<Rows>())); }},
    {[] { RowsText(); },
     [] {
       SubgroupData data;
       data.SetXML(RowsText());
       benchmark::DoNotOptimize(data.TotalTests());
     }},
    {[] { RowsText(); }, [] { benchmark::DoNotOptimize(PeerRead(RowsText())); }}};

const Kind kChart{
    "chart",
    ChartText,
    {[] { Made(MakeResults); }, [] { benchmark::DoNotOptimize(Made(MakeResults).GetXML()); }},
    {[] { Shared<Chart>(); }, [] { benchmark::DoNotOptimize(PeerWriteChart(Shared<Chart>())); }},
    {[] { ChartText(); },
     [] {
       CCResults results;
       results.SetXML(ChartText());
       benchmark::DoNotOptimize(results.TotalSubgroups());
     }},
    {[] { ChartText(); }, [] { benchmark::DoNotOptimize(PeerReadChart(ChartText())); }}};

double Seconds(void (*job)()) {
  const auto begin = std::chrono::steady_clock::now();
  job();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

// The two jobs by turns; the median of the ratios of their speeds, and the best speed of each.
void Compare(benchmark::State& state, const Kind& kind, const Job& ours, const Job& peer) {
  ours.prepare();
  peer.prepare();
  for (auto _ : state) {
    std::vector<double> ratios, times, peers;
    for (int round = 0; round < kRounds; ++round) {
      times.push_back(Seconds(ours.run));
      peers.push_back(Seconds(peer.run));
      ratios.push_back(peers.back() / times.back());
    }
    std::nth_element(ratios.begin(), ratios.begin() + kRounds / 2, ratios.end());
    const double megabytes = static_cast<double>(kind.text().size()) / 1e6;
    state.counters["MB"] = megabytes;
    state.counters["speed_ratio"] = ratios[kRounds / 2];
    state.counters["MB/s"] = megabytes / *std::min_element(times.begin(), times.end());
    state.counters["peer_MB/s"] = megabytes / *std::min_element(peers.begin(), peers.end());
  }
}

long Resident(const char* field) {
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen("/proc/self/status", "r"),
                                                       std::fclose);
  char line[256];
  long kilobytes = 0;
  while (file && std::fgets(line, sizeof line, file.get())) {
    if (std::strncmp(line, field, std::strlen(field)) == 0)
      std::sscanf(line + std::strlen(field), ": %ld", &kilobytes);
  }
  return kilobytes;
}

void ForgetPeak() {
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen("/proc/self/clear_refs", "w"),
                                                       std::fclose);
  if (file) std::fputs("5", file.get());
}

// Peak resident memory of a job in a process of its own, as a multiple of the text: of writing with
// the rows and the text, of reading with the text and the rows.
void Memory(benchmark::State& state, const Kind& kind, const Job& job) {
  for (auto _ : state) {
    int ends[2];
    if (pipe(ends) != 0) return state.SkipWithError("no pipe");
    const pid_t child = fork();
    if (child == 0) {
      const long before = Resident("VmRSS");
      job.prepare();
      malloc_trim(0);
      ForgetPeak();
      job.run();
      const double bytes = static_cast<double>(Resident("VmHWM") - before) * 1024.0;
      const double ratio = bytes / static_cast<double>(kind.text().size());
      const bool told = write(ends[1], &ratio, sizeof ratio) == sizeof ratio;
      _exit(told ? 0 : 1);
    }
    double ratio = 0.0;
    const bool told = read(ends[0], &ratio, sizeof ratio) == sizeof ratio;
    close(ends[0]);
    close(ends[1]);
    waitpid(child, nullptr, 0);
    if (!told) return state.SkipWithError("no answer");
    state.counters["times_text"] = ratio;
  }
}

template <class T>
bool SameRows(const Array<T>& ours, const std::vector<T>& theirs) {
  const auto rows = ours.Elements();
  return rows.size() == theirs.size() &&
         std::memcmp(rows.data(), theirs.data(), rows.size_bytes()) == 0;
}

bool SameRowsJob() {
  const std::string& text = RowsText();
  const Rows& rows = Shared<Rows>();
  const PeerRows peer = PeerRead(text);
  SubgroupData read;
  read.SetXML(text);
  return PeerWrite(rows) == text && read.GetXML() == text && SameRows(rows.subgroups, peer.first) &&
         SameRows(rows.tests, peer.second);
}

bool SameChartJob() {
  const std::string& text = ChartText();
  const Chart& chart = Shared<Chart>();
  const PeerChart peer = PeerReadChart(text);
  CCResults read;
  read.SetXML(text);
  return PeerWriteChart(chart) == text && read.GetXML() == text &&
         SameRows(chart.rows.subgroups, peer.rows.first) &&
         SameRows(chart.rows.tests, peer.rows.second) && peer.group_ids == chart.group_ids &&
         std::equal(std::begin(chart.graphs), std::end(chart.graphs), std::begin(peer.graphs));
}

// Whether both sides do the same job, in a process of its own so that nothing of it stays resident.
bool SameJob() {
  const pid_t child = fork();
  if (child == 0) _exit(SameRowsJob() && SameChartJob() ? 0 : 1);
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace

int main(int argc, char** argv) {
  InstallEmbedded();
  benchmark::Initialize(&argc, argv);
  if (!SameJob()) {
    std::puts("MISMATCH");
    return 1;
  }
  const auto once = [](const std::string& name, auto body) {
    benchmark::RegisterBenchmark(name.c_str(), body)->Iterations(1)->Unit(benchmark::kMillisecond);
  };
  using State = benchmark::State;
  // The memory first, while nothing of a text is resident.
  for (const Kind* kind : {&kRows, &kChart}) {
    const auto memory = [&](const char* name, const Job& job) {
      once(kind->name + name, [kind, &job](State& state) { Memory(state, *kind, job); });
    };
    memory("/write/memory", kind->write);
    memory("/read/memory", kind->read);
    memory("/write/peer_memory", kind->peer_write);
    memory("/read/peer_memory", kind->peer_read);
  }
  for (const Kind* kind : {&kRows, &kChart}) {
    once(kind->name + "/write/speed",
         [kind](State& state) { Compare(state, *kind, kind->write, kind->peer_write); });
    once(kind->name + "/read/speed",
         [kind](State& state) { Compare(state, *kind, kind->read, kind->peer_read); });
  }
  benchmark::RunSpecifiedBenchmarks();
}
