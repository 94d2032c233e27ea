// SPDX-License-Identifier: Apache-2.0
// What the library itself costs on a small analysis, against closed libraries that fill from
// memory: one chart of 25 subgroups of 5 (two graphs, one limit row), one retrieval of the same.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include "chart/CCAnalysis.h"
#include "platform/Platform.h"
#include "platform/TimeStamp.h"

namespace {

using namespace orvspc;  // NOLINT: a program of one file

constexpr int kSubgroups = 25;
constexpr int kPieces = 5;

struct Rows {
  std::vector<API_SubgroupData> subgroups;
  std::vector<API_TestData> tests;

  Rows() {
    for (int i = 0; i < kSubgroups; ++i) {
      API_SubgroupData row{};
      row.Sgrp = i + 1;
      row.Part = row.Prcs = row.Test = 1;
      row.Sgtm = 1'600'000'000 + i * 60;
      row.Size = kPieces;
      row.Test_Start = i * kPieces;
      row.Test_End = row.Test_Start + kPieces - 1;
      subgroups.push_back(row);
      for (int j = 0; j < kPieces; ++j) {
        API_TestData test{};
        test.Tsno = j + 1;
        test.Val = 25.0 + 0.01 * ((i * 7 + j * 3) % 11);
        tests.push_back(test);
      }
    }
  }
};

template <class T>
std::int32_t Fill(const platform::ArrayRef& array, const std::vector<T>& rows) {
  const auto out = array.As<T>();
  std::copy_n(rows.begin(), std::min(out.size(), rows.size()), out.begin());
  return static_cast<std::int32_t>(rows.size());
}

class MemoryDatabaseLibrary : public platform::DBLib6 {
 public:
  std::int32_t VLXDBL_CLEARDATASETDATA() override { return 0; }
  std::int32_t VLXDBL_BUILDDATASETDATA(std::int32_t, std::int32_t, API_DSInfo&,
                                       std::span<std::int32_t>, std::int32_t) override {
    return kSubgroups * kPieces;
  }
  std::int32_t VLXDBL_READDATA_SA(const platform::ArrayRef& array, std::int32_t content) override {
    return content == kTests ? Fill(array, rows_.tests) : Fill(array, rows_.subgroups);
  }
  std::int32_t VLXDBL_GETDESCDATA(std::int32_t, std::int32_t, API_DSInfo&, std::span<std::int32_t>,
                                  const platform::ArrayRef&, const platform::ArrayRef&,
                                  std::int32_t) override {
    return 0;
  }
  std::int32_t VLXDBL_DATATOFLTR_SA(const platform::ArrayRef&, std::int32_t,
                                    std::span<std::int32_t>, std::int32_t) override {
    return 0;
  }
  std::int32_t VLXDBL_FINDSGRPCMNT(std::int32_t, std::int32_t, std::int32_t&, std::int32_t,
                                   std::span<std::int32_t>, const platform::ArrayRef&,
                                   std::int32_t) override {
    return 0;
  }
  std::int32_t VLXDBL_GETALARMMASK(std::int32_t, std::int32_t, API_DSInfo&, std::span<std::int32_t>,
                                   std::int32_t, std::int32_t,
                                   std::span<std::int32_t> mask) override {
    std::fill(mask.begin(), mask.end(), 510);
    return 0;
  }
  std::int32_t VLXDBL_BUILDEVENTDATA(std::int32_t, std::int32_t, API_DSInfo&,
                                     std::span<std::int32_t>, std::span<std::int32_t>,
                                     std::int32_t) override {
    return 0;
  }
  std::int32_t VLXDBL_GETEVENTS(std::int32_t, std::int32_t, std::span<std::int32_t>,
                                const platform::ArrayRef&, std::int32_t, std::int32_t) override {
    return 0;
  }

 private:
  Rows rows_;
};

class MemoryChartLibrary : public platform::CtrlChrt6 {
 public:
  std::int32_t VLXCRT_VCHART_PROCESS_LT(std::int32_t, std::int32_t, API_DSInfo&,
                                        std::span<std::int32_t>, API_CCVarOptions&,
                                        std::int32_t) override {
    return 0x110;
  }
  std::int32_t VLXCRT_VAR_DATA(std::int32_t, const platform::ArrayRef& array,
                               platform::ChartData code, std::int32_t) override {
    switch (code) {
      case platform::ChartData::Totals:
        *array.As<API_CCTotals>().data() = {kSubgroups, kSubgroups * kPieces, 1, 0, 0, 0, 0};
        return 1;
      case platform::ChartData::Subgroups:
        return Fill(array, rows_.subgroups);
      case platform::ChartData::Tests:
        return Fill(array, rows_.tests);
      case platform::ChartData::SpecLims: {
        auto& row = *array.As<API_CCSpecLim>().data();
        row.F_PART = row.F_TEST_ = 1;
        row.F_USL = 25.09;
        row.F_LSL = 24.9;
        row.F_EFLAG = row.F_AFLAG = slfUSL | slfLSL;
        return 1;
      }
      case platform::ChartData::SGSizes:
      case platform::ChartData::cOOCs:
      case platform::ChartData::OOCs:
        std::memset(array.data, 0, array.count * array.element_size);
        return 0;
      default:
        std::ranges::fill(array.As<double>(), 25.0);
        return 0;
    }
  }
  std::int32_t VLXCRT_VAR_LIMITS(std::int32_t, double& mean, double& sp, double& sw, double& a,
                                 double& b, double& c) override {
    mean = 25.0, sp = sw = 0.02, a = b = kPieces, c = 0.0;
    return 0;
  }
  std::int32_t VLXCRT_VAR_END() override { return 0; }
  std::int32_t VLXCRT_ATTR_PROCESS_LT(std::int32_t, std::int32_t, API_DSInfo&,
                                      std::span<std::int32_t>, std::int32_t, std::int32_t, double,
                                      double&, double&, std::int32_t) override {
    return 0;
  }
  std::int32_t VLXCRT_ATTR_DATA(std::int32_t, const platform::ArrayRef&, platform::ChartData,
                                std::int32_t) override {
    return 0;
  }
  std::int32_t VLXCRT_ATTR_END() override { return 0; }

 private:
  Rows rows_;
};

class MemoryDatabase : public platform::Database {
 public:
  std::int32_t ConnectionHandle() override { return 1; }
  std::int32_t DatabaseValue(std::int32_t value) override { return std::exchange(value_, value); }

 private:
  std::int32_t value_ = 0;
};

class NoRules : public platform::RuleDef {
 public:
  void FirstSetting(std::int32_t) override {}
  void SecondSetting(std::int32_t) override {}
  bool Read(const std::shared_ptr<platform::Database>&, std::int32_t) override { return false; }
  bool MoveFirst() override { return false; }
  bool MoveNext() override { return false; }
  std::int32_t Number() override { return 0; }
  std::string Text() override { return {}; }
  void Add(platform::RuleDef&) override {}
};

class Stamps : public platform::TimeConversion {
 public:
  std::int32_t DateToTimeStamp(double date) override { return platform::DateToTimeStamp(date); }
  double TimeStampToDate(std::int32_t stamp) override { return platform::TimeStampToDate(stamp); }
};

class MemoryPlatform : public platform::Platform {
 public:
  platform::DBLib6& DBLib() override { return database_library_; }
  platform::CtrlChrt6& CtrlChrt() override { return chart_library_; }
  platform::CapAna6& CapAna() override { std::abort(); }
  platform::Pareto6& Pareto() override { std::abort(); }
  platform::SReqCompliance& Compliance() override { std::abort(); }
  std::string Identity() override { return "bench"; }
  std::shared_ptr<platform::RuleDef> MakeRuleDef() override { return std::make_shared<NoRules>(); }
  std::shared_ptr<platform::SpecLim> MakeSpecLim() override { return nullptr; }
  std::shared_ptr<platform::CtrlLim> MakeCtrlLim() override { return nullptr; }
  std::shared_ptr<platform::DefOpp> MakeDefOpp() override { return nullptr; }
  std::shared_ptr<platform::TimeConversion> MakeTimeConversion() override {
    return std::make_shared<Stamps>();
  }
  std::shared_ptr<platform::TextTrimmer> MakeTextTrimmer() override { return nullptr; }
  std::shared_ptr<platform::XmlDocument> MakeXmlDocument() override { return nullptr; }
  std::shared_ptr<platform::ErrorLog> MakeErrorLog(std::string_view) override { return nullptr; }
  std::shared_ptr<platform::NameRecord> MakeNameRecord(platform::NameRecordKind) override {
    return nullptr;
  }
  std::shared_ptr<platform::PrcsStateLog> MakePrcsStateLog() override { return nullptr; }

 private:
  MemoryDatabaseLibrary database_library_;
  MemoryChartLibrary chart_library_;
};

std::shared_ptr<DataSelect> Selection() {
  const auto select = std::make_shared<DataSelect>();
  select->Descriptors()->Add(dtPart)->AddItemID(1);
  select->Descriptors()->Add(dtTest)->AddItemID(1);
  return select;
}

void OneChart(benchmark::State& state) {
  const platform::Scope scope(std::make_shared<MemoryPlatform>());
  const auto database = std::make_shared<MemoryDatabase>();
  const auto select = Selection();
  const auto processing = std::make_shared<CCProcessing>();
  processing->Graph1Type(ccGraph1XBar);
  processing->Graph2Type(ccGraph2Range);
  for (auto _ : state)
    benchmark::DoNotOptimize(CCAnalysis().AnalyzeDataSelect(database, select, processing));
}
BENCHMARK(OneChart)->Unit(benchmark::kMicrosecond);

void OneRetrieval(benchmark::State& state) {
  const platform::Scope scope(std::make_shared<MemoryPlatform>());
  const auto database = std::make_shared<MemoryDatabase>();
  for (auto _ : state) benchmark::DoNotOptimize(Selection()->GetSubgroupData(database));
}
BENCHMARK(OneRetrieval)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
