// SPDX-License-Identifier: Apache-2.0
// Writing and reading the XML of a SubgroupData of 100,000 subgroups of 5, against pugixml's own
// functions doing the same job on the same text. Prints the ratios of the speeds, and the peak of
// resident memory as a multiple of the text.
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

std::string PeerWrite(const Rows& rows) {
  pugi::xml_document document;
  pugi::xml_node root = document.append_child("SubgroupData");
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
  StringWriter writer;
  document.save(writer, "", pugi::format_raw | pugi::format_no_declaration, pugi::encoding_utf8);
  return std::move(writer.text);
}

template <class T>
T Number(const pugi::xml_attribute& attribute) {
  T value{};
  const char* const text = attribute.value();
  std::from_chars(text, text + std::strlen(text), value);
  return value;
}

std::pair<std::vector<API_SubgroupData>, std::vector<API_TestData>> PeerRead(
    const std::string& text) {
  pugi::xml_document document;
  document.load_buffer(text.data(), text.size(), pugi::parse_default, pugi::encoding_utf8);
  std::pair<std::vector<API_SubgroupData>, std::vector<API_TestData>> rows;
  const pugi::xml_node root = document.child("SubgroupData");
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

std::shared_ptr<SubgroupData> MakeData() {
  Rows rows;
  auto data = std::make_shared<SubgroupData>();
  data->LoadStructures(Friend(), std::move(rows.subgroups), std::move(rows.tests), {}, {});
  return data;
}

const Rows& SharedRows() {
  static const Rows rows;
  return rows;
}

SubgroupData& SharedData() {
  static const std::shared_ptr<SubgroupData> data = MakeData();
  return *data;
}

const std::string& SharedText() {
  static const std::string text = MakeData()->GetXML();
  return text;
}

void WriteOurs() { benchmark::DoNotOptimize(SharedData().GetXML()); }
void WritePeer() { benchmark::DoNotOptimize(PeerWrite(SharedRows())); }
void ReadOurs() {
  SubgroupData data;
  data.SetXML(SharedText());
  benchmark::DoNotOptimize(data.TotalTests());
}
void PrepareRead() { SharedText(); }
void ReadPeer() { benchmark::DoNotOptimize(PeerRead(SharedText())); }

double Seconds(void (*job)()) {
  const auto begin = std::chrono::steady_clock::now();
  job();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

// The two jobs by turns; the median of the ratios of their speeds.
void Compare(benchmark::State& state, void (*ours)(), void (*peer)()) {
  SharedText();
  SharedRows();
  for (auto _ : state) {
    std::vector<double> ratios, times, peers;
    for (int round = 0; round < kRounds; ++round) {
      times.push_back(Seconds(ours));
      peers.push_back(Seconds(peer));
      ratios.push_back(peers.back() / times.back());
    }
    const auto median = [](std::vector<double> values) {
      std::nth_element(values.begin(), values.begin() + kRounds / 2, values.end());
      return values[kRounds / 2];
    };
    const double megabytes = static_cast<double>(SharedText().size()) / 1e6;
    state.counters["speed_ratio"] = median(ratios);
    state.counters["MB/s"] = megabytes / median(times);
    state.counters["peer_MB/s"] = megabytes / median(peers);
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
void Memory(benchmark::State& state, void (*prepare)(), void (*job)()) {
  for (auto _ : state) {
    int ends[2];
    if (pipe(ends) != 0) return state.SkipWithError("no pipe");
    const pid_t child = fork();
    if (child == 0) {
      const long before = Resident("VmRSS");
      prepare();
      malloc_trim(0);
      ForgetPeak();
      job();
      const double bytes = static_cast<double>(Resident("VmHWM") - before) * 1024.0;
      const double ratio = bytes / static_cast<double>(SharedText().size());
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

// Whether both sides do the same job, in a process of its own so that nothing of it stays resident.
bool SameJob() {
  const pid_t child = fork();
  if (child == 0) {
    const std::string& text = SharedText();
    const auto rows = PeerRead(text);
    const auto same = [](const auto& ours, const auto& theirs) {
      return ours.size() == theirs.size() &&
             std::memcmp(ours.data(), theirs.data(), ours.size_bytes()) == 0;
    };
    SubgroupData read;
    read.SetXML(text);
    const bool equal = PeerWrite(SharedRows()) == text && read.GetXML() == text &&
                       same(SharedRows().subgroups.Elements(), rows.first) &&
                       same(SharedRows().tests.Elements(), rows.second);
    _exit(equal ? 0 : 1);
  }
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
  const auto once = [](const char* name, auto body) {
    benchmark::RegisterBenchmark(name, body)->Iterations(1)->Unit(benchmark::kMillisecond);
  };
  using State = benchmark::State;
  once("write/memory", [](State& s) {
    Memory(
        s, [] { SharedData(); }, WriteOurs);
  });
  once("read/memory", [](State& s) { Memory(s, PrepareRead, ReadOurs); });
  once("write/peer_memory", [](State& s) {
    Memory(
        s, [] { SharedRows(); }, WritePeer);
  });
  once("read/peer_memory", [](State& s) { Memory(s, PrepareRead, ReadPeer); });
  once("write/speed", [](State& s) { Compare(s, WriteOurs, WritePeer); });
  once("read/speed", [](State& s) { Compare(s, ReadOurs, ReadPeer); });
  benchmark::RunSpecifiedBenchmarks();
}
