// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <exception>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "engine/Embedded.h"
#include "engine/store/SqlStore.h"
#include "host/cli/Analysis.h"
#include "host/render/capability/Capability.h"
#include "host/render/pareto/Pareto.h"
#include "platform/Platform.h"
#include "platform/TimeStamp.h"
#include "tests/host/StoreFolder.h"

// A host of several threads: each has a database object of its own and names the embedded engine as
// its platform, which nobody installed for the process. What each reads must be what one thread
// reads, to the last byte.
namespace orvspc::host {

using namespace render;

// One analysis: its name and its document.
using Document = std::pair<const char*, std::string>;
using Documents = std::vector<Document>;

inline constexpr int kHostThreads = 4;

// How a selection is read: by the caller alone, or, from one subgroup on, by a second thread too.
// Its parts are then summed one by one, so that a last digit may differ from the other way.
enum class Reading { Alone, Shared };

class ThreadRounds : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    folder_ = std::make_unique<StoreFolder>();
    FillDatabase();
    for (const Reading reading : {Reading::Alone, Reading::Shared})
      expected_[reading] = AnalyseAll(Open(reading));
  }
  static void TearDownTestSuite() {
    expected_.clear();
    folder_.reset();
  }

  // Every thread runs all analyses so many times. Tells the first analysis of each thread that gave
  // something else.
  static std::vector<std::string> Differences(int rounds, Reading reading) {
    std::vector<std::string> differences(kHostThreads);
    std::vector<std::thread> threads;
    for (auto& difference : differences) {
      threads.emplace_back([&difference, rounds, reading] {
        difference = Guarded([&] { return Rounds(rounds, reading); });
      });
    }
    for (auto& thread : threads) thread.join();
    std::erase(differences, std::string());
    return differences;
  }

  static const Documents& Expected(Reading reading) { return expected_.at(reading); }

  // The difference of one thread, empty when there is none.
  static std::string Rounds(int rounds, Reading reading) {
    const auto database = Open(reading);
    const Documents& expected = Expected(reading);
    for (int round = 0; round < rounds; ++round) {
      const Documents documents = AnalyseAll(database);
      if (documents.size() != expected.size()) return "other analyses";
      for (std::size_t i = 0; i < documents.size(); ++i)
        if (documents[i] != expected[i])
          return std::string(documents[i].first) + " in round " + std::to_string(round) + ": " +
                 Difference(documents[i].second, expected[i].second);
    }
    if (reading == Reading::Shared &&
        engine::store::SqlStoreOf(*database)->Sharing().count.load() == 0)
      return "no selection was read by two threads";
    return {};
  }

 private:
  static constexpr std::int32_t kMonday = 1710720000;  // 2024-03-18T00:00:00Z
  static constexpr std::int32_t kHour = 3600;

  static std::shared_ptr<EmbeddedDatabase> Open(Reading reading) {
    auto database = OpenDatabase(folder_->Store("q.db"), true);
    engine::store::SqlStoreOf(*database)->Sharing().ShareFrom(reading == Reading::Alone ? INT64_MAX
                                                                                        : 1);
    return database;
  }

  static std::string Guarded(const std::function<std::string()>& work) {
    try {
      return work();
    } catch (const std::exception& failure) {
      return failure.what();
    }
  }

  // Where two texts begin to differ.
  static std::string Difference(const std::string& text, const std::string& expected) {
    const auto [at, other] =
        std::mismatch(text.begin(), text.end(), expected.begin(), expected.end());
    const auto place = static_cast<std::size_t>(at - text.begin());
    const auto start = place - std::min<std::size_t>(place, 60);
    return text.substr(start, 120) + " instead of " + expected.substr(start, 120);
  }

  static std::shared_ptr<DataSelect> TwoDays() {
    auto select = std::make_shared<DataSelect>();
    select->MaximumItems(1000);
    select->IncludeVariableTests(true);
    select->DateRangeTimeType(drttStatic);
    select->DateRangeStart(platform::TimeStampToDate(kMonday));
    select->DateRangeEnd(platform::TimeStampToDate(kMonday + 48 * kHour - 1));
    return select;
  }

  static std::string Pareto(const QualityDatabase& database, paResourceTypes resource,
                            paBinTypes major, paBinTypes minor) {
    const auto select = TwoDays();
    select->IncludeDefectTests(true);
    const auto processing = std::make_shared<PAProcessing>();
    processing->ResourceType(resource);
    processing->BinTypeMajor(major);
    processing->BinTypeMinor(minor);
    if (resource != paSubgroups) processing->ProcessingType(paProcessByMinutes);
    return ParetoJson(cli::RunPareto(database, select, processing));
  }

  // The engine with a use count of its own: one that all threads count on would order them, and the
  // thread sanitizer would miss what nothing else orders.
  static std::shared_ptr<platform::Platform> PlatformOfThisThread() {
    return {EmbeddedPlatform().get(), [](platform::Platform*) {}};
  }

  // Every analysis, with its document as the command line gives it.
  static Documents AnalyseAll(const std::shared_ptr<EmbeddedDatabase>& open) {
    const QualityDatabase database(open);
    const platform::Scope scope(PlatformOfThisThread());
    const Names names = cli::NamesOf(database);
    Documents documents;

    const auto chart = std::make_shared<CCProcessing>();
    chart->Graph1Type(ccGraph1XBar);
    chart->Graph2Type(ccGraph2Range);
    chart->GroupBy(ccGroupByProcess);
    documents.emplace_back("chart", ChartJson(cli::RunChart(database, TwoDays(), chart), names));

    const auto capability = std::make_shared<CAProcessing>();
    capability->FitType(caFitJohnson);
    documents.emplace_back("capability",
                           CapabilityJson(cli::RunCapability(database, TwoDays(), capability)));

    documents.emplace_back("pareto of subgroups",
                           Pareto(database, paSubgroups, paBinTypeDefect, paBinTypeProcess));
    documents.emplace_back("pareto of events",
                           Pareto(database, paProcessEvents, paBinTypeACC, paBinTypeProcess));
    documents.emplace_back("pareto of states",
                           Pareto(database, paProcessState, paBinTypeStateCode, paBinTypeProcess));

    documents.emplace_back("states", StatesJson(cli::RunStates(database, *TwoDays()), names));
    documents.emplace_back("compliance", ComplianceJson(cli::RunCompliance(database, TwoDays())));
    return documents;
  }

  static std::string Time(std::int32_t seconds) {
    return std::to_string(seconds / 3600 / 24 + 18) + "T" + (seconds / 3600 % 24 < 10 ? "0" : "") +
           std::to_string(seconds / 3600 % 24) + ":" + (seconds / 60 % 60 < 10 ? "0" : "") +
           std::to_string(seconds / 60 % 60) + ":00";
  }

  // Two days of two machines: skewed values in threes, defects with codes, pauses, stops with
  // causes, and samples asked for every two hours and in each shift.
  static void FillDatabase() {
    const auto database = OpenDatabase(folder_->Store("q.db"), true);
    const auto import = [&](const std::string& text, ImportKind kind) {
      const std::string path = folder_->File("in.csv");
      std::ofstream(path) << text;
      QualityDatabase(database).Import(path, kind);
    };
    std::mt19937 random(20240318);
    const auto minutes = [&](unsigned most) { return static_cast<std::int32_t>(random() % most); };
    std::string values = "part,process,test,subgroup,time,value\n";
    std::string counts = "part,process,test,subgroup,time,count,size,defect\n";
    std::string states = "process,time,state,type\n";
    std::string events = "type,time,end,name,process,acc,acc-time\n";
    for (const char* machine : {"Mill", "Lathe"}) {
      const std::string process = machine;
      for (std::int32_t hour = 0; hour < 48; ++hour) {
        const std::string at = "2024-03-" + Time(hour * kHour + minutes(50) * 60);
        const std::string label = std::to_string(hour) + "," + at + ",";
        for (int piece = 0; piece < 3; ++piece) {
          const double u = static_cast<double>(random() % 1000 + 1) / 1000.0;
          values +=
              "Pin," + process + ",Width," + label + std::to_string(10.0 - std::log(u)) + "\n";
        }
        for (const char* defect : {"Dent", "Scratch"})
          counts += "Pin," + process + ",Surface," + label + std::to_string(random() % 4) + ",50," +
                    defect + "\n";
        if (hour % 6 != 5) continue;
        const std::int32_t stop = hour * kHour + (51 + minutes(4)) * 60;
        const std::string from = "2024-03-" + Time(stop), to = "2024-03-" + Time(stop + 240);
        states += process + "," + at + ",Running,run\n" + process + "," + from + "," +
                  (hour % 12 == 5 ? "Break,pause\n" : "Jam,unscheduled-down\n");
        events += "downtime," + from + "," + to + ",Stop," + process + "," +
                  (random() % 2 == 0 ? "Chips," : "Tool,") + from + "\n";
      }
    }
    import(values, ImportKind::Values);
    import(counts, ImportKind::Values);
    import(states, ImportKind::States);
    import(events, ImportKind::Events);
    import("part,test,usl,lsl\nPin,Width,13,9.5\n", ImportKind::Limits);
    import(
        "process,test,kind,n,minutes,grace\nMill,Width,interval,2,120,15\nLathe,Width,shift,6,,\n",
        ImportKind::Requirements);
  }

  static inline std::unique_ptr<StoreFolder> folder_;
  static inline std::map<Reading, Documents> expected_;
};

}  // namespace orvspc::host
