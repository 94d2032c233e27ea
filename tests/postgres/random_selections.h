// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "engine/time/calendar.h"
#include "host/cli/Command.h"
#include "tests/engine/store/store_fixture.h"

namespace orvspc::engine::store {

// All sample data in a file and on a server. What the program says of random selections is the same
// of both, byte for byte; the clock has stopped.
class RandomSelectionsTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { ASSERT_TRUE(tests::OnServer()) << "run by tests/postgres/run.sh"; }

  RandomSelectionsTest() {
    InstallEmbedded();
    Import(true);
    Import(false);
    data_.emplace(QualityDatabase::Open(file_));
    streams_ = data_->Streams();
  }

  void CompareAtRandom(int rounds, unsigned seed) {
    ASSERT_EQ(files_, 26) << "of host/samples";
    ASSERT_GE(streams_.size(), 14U);
    random_.seed(seed);
    std::map<std::string, int> done;
    std::size_t bytes = 0;
    int failed = 0;
    for (int round = 0; round < rounds; ++round) {
      // Each command comes in turn, since some are drawn out of many words and some out of few.
      const auto words = Words(kCommands[static_cast<std::size_t>(round) % std::size(kCommands)]);
      std::string line;
      for (const auto& word : words) line += word + " ";
      const auto expected = Run(words, file_), found = Run(words, server_);
      EXPECT_EQ(found.status, expected.status) << line << expected.err << found.err;
      EXPECT_TRUE(found.out == expected.out) << line << "\n" << Difference(expected.out, found.out);
      EXPECT_EQ(found.err, expected.err) << line;
      EXPECT_NE(expected.status, 2) << line << expected.err;
      if (expected.status != 0) {
        ++failed;
        continue;
      }
      EXPECT_EQ(expected.out.front(), '{') << line;
      ++done[words.front()];
      bytes += expected.out.size();
    }
    std::cout << rounds << " selections, " << bytes << " bytes of JSON, " << failed
              << " refused alike\n";
    for (const auto* const command : kCommands) {
      EXPECT_GE(done[command], rounds / 20) << command << " was refused too often";
    }
  }

 private:
  struct Said {
    int status = -1;
    std::string out, err;
  };
  static constexpr const char* kCommands[] = {"chart",  "data",       "capability", "pareto",
                                              "states", "compliance", "events"};
  static constexpr std::int64_t kNow = 1'735'689'600;  // 2025-01-01, after all samples

  // Values first, since limits and requirements are about what is there.
  void Import(bool values) {
    std::vector<std::filesystem::path> files;
    for (const auto& entry :
         std::filesystem::directory_iterator(std::string(ORVSPC_TESTS_DIR) + "/../host/samples")) {
      if (entry.path().extension() == ".csv") files.push_back(entry.path());
    }
    std::ranges::sort(files);
    for (const auto& file : files) {
      ImportKindInfo of{};
      for (const auto& kind : ImportKinds()) {
        if (file.stem().string().ends_with("-" + std::string(kind.word)) &&
            kind.word.size() > of.word.size()) {
          of = kind;
        }
      }
      if (of.word.empty() != values) continue;
      ++files_;
      const auto kind = values ? ImportKind::Values : of.kind;
      for (const auto& path : {file_, server_}) {
        QualityDatabase::ImportInto(path, file.string(), kind);
      }
    }
  }

  static Said Run(std::vector<std::string> words, const std::string& path) {
    words.insert(words.end(), {"--db", path, "--format", "json"});
    std::ostringstream out, err;
    cli::Console console{out, err, false, false, 120};
    const int status = cli::RunProgram(words, console);
    return {status, WithoutName(out.str(), path), WithoutName(err.str(), path)};
  }
  static std::string WithoutName(std::string text, const std::string& path) {
    for (auto at = text.find(path); at != text.npos; at = text.find(path, at)) {
      text.replace(at, path.size(), "q.db");
    }
    return text;
  }
  static std::string Difference(const std::string& expected, const std::string& found) {
    constexpr std::size_t kAround = 200;
    const auto at =
        static_cast<std::size_t>(std::ranges::mismatch(expected, found).in1 - expected.begin());
    const auto from = at - std::min(at, kAround);
    return "at byte " + std::to_string(at) + "\nthe file:   " + expected.substr(from, 2 * kAround) +
           "\nthe server: " + found.substr(from, 2 * kAround);
  }

  bool OneIn(unsigned count) { return random_() % count == 0; }
  template <class Values>
  std::string OneOf(const Values& values) {
    return *(std::begin(values) + static_cast<std::ptrdiff_t>(random_() % std::size(values)));
  }
  std::string Number(int from, int to) {
    return std::to_string(from +
                          static_cast<int>(random_() % static_cast<unsigned>(to - from + 1)));
  }
  std::string Time() {
    const auto day = Number(1, 28), month = Number(1, 6);
    auto text = "2024-0" + month + (day.size() == 1 ? "-0" : "-") + day;
    return OneIn(2) ? text : text + "T" + Number(10, 23) + ":" + Number(10, 59);
  }
  std::string NameOf(ItemKind kind) {
    const auto items = data_->Items(kind);
    return items.empty() ? "nobody" : items[random_() % items.size()].name;
  }

  std::vector<std::string> Words(const std::string& command) {
    std::vector<std::string> words = {command};
    const auto add = [&](const std::string& option, const std::string& value) {
      words.insert(words.end(), {"--" + option, value});
    };
    const auto sometimes = [&](unsigned one_in, const std::string& option, const auto& value) {
      if (OneIn(one_in)) add(option, value());
    };
    const auto word_of = [&](unsigned one_in, const std::string& option,
                             const std::vector<std::string>& values) {
      if (OneIn(one_in)) add(option, OneOf(values));
    };
    const auto& stream = streams_[random_() % streams_.size()];
    // Mostly what is there: charts and capability take one kind of test at a time.
    const bool is_of_stream = command == "chart" || command == "capability" || OneIn(3);
    const std::tuple<const char*, ItemKind, std::int32_t> kinds[] = {
        {"part", ItemKind::Part, stream.part},
        {"process", ItemKind::Process, stream.process},
        {"test", ItemKind::Test, stream.test}};
    for (const auto& [option, kind, id] : kinds) {
      if (is_of_stream && !OneIn(4)) add(option, data_->Name(kind, id));
      if (OneIn(12)) add(option, NameOf(kind));
    }
    if (command != "compliance") {
      sometimes(12, "shift", [&] { return NameOf(ItemKind::Shift); });
      sometimes(12, "defect", [&] { return NameOf(ItemKind::Defect); });
    }
    sometimes(20, "employee", [&] { return NameOf(ItemKind::Employee); });
    sometimes(5, "since", [&] { return Time(); });
    sometimes(5, "until", [&] { return Time(); });
    if (OneIn(6)) {
      add("last", Number(1, 60));
      word_of(1, "period", {"minutes", "hours", "days", "weeks", "months", "years"});
    }
    word_of(5, "state", {"enabled", "disabled", "incomplete", "enabled,incomplete"});
    sometimes(8, "tsno", [&] { return Number(1, 5); });
    sometimes(2, "max", [&] { return OneIn(3) ? "0" : Number(1, 200); });
    if (command == "chart") {
      word_of(2, "graph1",
              {"xbar", "median", "individuals", "moving-average", "pre-control", "auto-attribute",
               "ppt", "dpto", "dpmo", "ppm", "np", "p", "c", "u"});
      word_of(3, "graph2", {"range", "sd", "mr", "cv"});
      word_of(5, "graph3", {"range", "sd"});
      word_of(3, "group-by", {"part", "process", "test"});
      if (OneIn(6)) words.emplace_back("--cusum");
      word_of(4, "ewma", {"standard", "moving-centre"});
    } else if (command == "capability") {
      word_of(2, "fit", {"normal", "johnson"});
      word_of(3, "short-term-sigma", {"range", "sd", "pooled"});
      word_of(3, "normalize", {"nominal", "target"});
      sometimes(4, "bins", [&] { return Number(5, 60); });
      sometimes(4, "usl", [&] { return Number(0, 600); });
      word_of(4, "window", {"sd", "minmax", "specs"});
    } else if (command == "pareto") {
      const auto from = OneOf(std::vector<std::string>{"subgroups", "events", "states"});
      add("from", from);
      std::vector<std::string> levels = {"process", "time:8h", "time:1d", "time:1week", "site"};
      const auto more = from == "subgroups"
                            ? std::vector<std::string>{"defect",       "part",     "test", "shift",
                                                       "defect-group", "subgroup", "time"}
                        : from == "events"
                            ? std::vector<std::string>{"acc-code", "cac-code",   "part",
                                                       "employee", "event-type", "event"}
                            : std::vector<std::string>{"state", "state-type", "area"};
      levels.insert(levels.end(), more.begin(), more.end());
      std::ranges::shuffle(levels, random_);
      add("by", levels[0] + (OneIn(2) ? "," + levels[1] : "") + (OneIn(6) ? "," + levels[2] : ""));
      sometimes(3, "bins", [&] { return Number(5, 40); });
      word_of(4, "measure", {"factor", "ppm", "ppt", "minutes", "hours", "days"});
      word_of(5, "accumulate", {"value", "hits", "event-time", "acc-time", "cac-time"});
      if (OneIn(4)) words.emplace_back("--empty");
    }
    if (command == "data") word_of(4, "test-type", {"variable", "defects", "defectives"});
    return words;
  }

  const time::FixedNow now_{kNow};
  TemporaryFolder folder_;
  const std::string file_ = folder_.File("q.db"), server_ = folder_.Store("server.db");
  std::optional<QualityDatabase> data_;
  std::vector<ListedStream> streams_;
  std::mt19937 random_;
  int files_ = 0;
};

}  // namespace orvspc::engine::store
