// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <span>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "engine/Embedded.h"
#include "engine/QualityDatabase.h"
#include "engine/chunks/subgroups.h"
#include "engine/store/SqlStore.h"
#include "host/cli/Analysis.h"
#include "platform/ExternalFailure.h"
#include "platform/TimeText.h"
#include "tests/engine/store/reference_store.h"
#include "tests/host/StoreFolder.h"

// Programs that write and programs that read one database at once, each a process of its own.
//
// An import has kSubgroups subgroups of two tests of one part, all with the same value, which no
// other import has. So a reading that has the value once has it kSubgroups times in each test, or
// it saw half of an import.
namespace orvspc::host {

class Processes : public testing::Test {
 protected:
  static constexpr int kParts = 4, kSubgroups = 30, kMostProcesses = 32;
  static constexpr const char* kTests[] = {"T1", "T2"};

  // How a process uses the database: it opens it once in so many turns.
  struct Crowd {
    int writers, readers;
    int turns_of_opening;
    bool kills = false;  // the first writer, again and again
  };

  Processes() { InstallEmbedded(); }

  void RunTogether(const Crowd& crowd, std::chrono::milliseconds duration) {
    path_ = folder_.Store("q.db");
    QualityDatabase::Create(path_);  // and closes it: a child inherits no connection
    Board board;
    const auto end = Clock::now() + duration;
    std::vector<pid_t> children;
    const auto start = [&](int number) {
      const auto child = fork();
      if (child == 0) Live(*board, number, crowd, end);
      return child;
    };
    for (int i = 0; i < crowd.writers + crowd.readers; ++i) {
      children.push_back(start(i));
      ASSERT_GT(children.back(), 0);
    }
    int kills = 0;
    std::mt19937 random(1);
    while (crowd.kills && Clock::now() < end && !board->is_over) {
      std::this_thread::sleep_for(std::chrono::milliseconds(random() % 150));
      kill(children[0], SIGKILL);
      ASSERT_EQ(waitpid(children[0], nullptr, 0), children[0]);
      ++kills;
      ++board->processes[0].turns;  // whether that one was stored is not known
      children[0] = start(0);
      ASSERT_GT(children[0], 0);
    }
    for (std::size_t i = 0; i < children.size(); ++i) {
      int status = 0;
      ASSERT_EQ(waitpid(children[i], &status, 0), children[i]);
      EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "process " << i;
      EXPECT_STREQ(board->processes[i].failure, "") << "process " << i;
    }
    ExpectAll(*board, crowd, kills);
    Print(*board, crowd);
    if (crowd.kills) std::cout << kills << " kills" << std::endl;
  }

 private:
  using Clock = std::chrono::steady_clock;

  // What all processes see.
  struct Process {
    std::atomic<std::int64_t> turns, waits, longest;  // waits for other writers; milliseconds
    std::atomic<std::int64_t> log;                    // its largest size, in bytes
    std::atomic<std::int64_t> of_part[kParts];        // imports that are committed
    char failure[1000];                               // the first one
  };
  struct Shared {
    Process processes[kMostProcesses];
    std::atomic<bool> is_over;  // one has failed
  };
  class Board {
   public:
    Board()
        : shared_(static_cast<Shared*>(mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE,
                                            MAP_SHARED | MAP_ANONYMOUS, -1, 0))) {}
    Board(const Board&) = delete;
    Board& operator=(const Board&) = delete;
    ~Board() { munmap(shared_, sizeof(Shared)); }
    Shared& operator*() const { return *shared_; }
    Shared* operator->() const { return shared_; }

   private:
    Shared* shared_;  // zeros at first
  };

  // The life of a child, which never returns.
  [[noreturn]] void Live(Shared& board, int number, const Crowd& crowd, Clock::time_point end) {
    auto& own = board.processes[number];
    try {
      std::mt19937 random(static_cast<unsigned>(number) + 1);
      std::optional<QualityDatabase> database;
      while ((Clock::now() < end || own.turns == 0) && !board.is_over) {
        if (!database || own.turns % crowd.turns_of_opening == 0) {
          database.reset();
          database = QualityDatabase::Open(path_);
        }
        const auto begin = Clock::now();
        if (number < crowd.writers) {
          Write(*database, own, number, random);
        } else {
          Read(*database, board, own, crowd.writers, random);
        }
        const std::chrono::duration<double, std::milli> taken = Clock::now() - begin;
        own.longest = std::max(own.longest.load(), static_cast<std::int64_t>(taken.count()));
        ++own.turns;
        if (own.failure[0] != '\0') board.is_over = true;
      }
    } catch (const platform::ExternalFailure& failure) {
      Fail(own, failure.Description());
    } catch (const cli::Refusal& refusal) {
      Fail(own, refusal.what());
    } catch (const std::exception& failure) {
      Fail(own, failure.what());
    }
    if (own.failure[0] != '\0') board.is_over = true;
    _exit(0);
  }

  static void Fail(Process& own, const std::string& text) {
    if (own.failure[0] == '\0') text.copy(own.failure, sizeof own.failure - 1);
  }

  static std::string PartName(int part) { return "Part " + std::to_string(part); }
  // Of an import.
  static int ValueOf(int writer, std::int64_t turn) {
    return (writer + 1) * 1'000'000 + static_cast<int>(turn);
  }
  // Writers advance alike, so that their subgroups lie between one another's, and one that fell
  // behind writes between sealed ones.
  static std::int32_t StartOf(std::int64_t turn) {
    return 1'700'000'000 + static_cast<std::int32_t>(turn % 20'000) * 900;
  }

  void Write(QualityDatabase& database, Process& own, int writer, std::mt19937& random) {
    const auto turn = own.turns.load();
    const auto part = static_cast<int>(random() % kParts);
    const auto value = std::to_string(ValueOf(writer, turn));
    const auto file = folder_.File("of" + std::to_string(writer) + ".csv");
    std::string text = "part,process,test,subgroup,time,value\n";
    for (const char* test : kTests) {
      for (int i = 0; i < kSubgroups; ++i) {
        const auto time = platform::IsoText(StartOf(turn) + i * 20 + writer % 3);
        text += PartName(part) + ",P," + test + "," + value + "-" + std::to_string(i) + "," + time +
                "," + value + "\n";
      }
    }
    std::ofstream(file, std::ios::binary) << text;
    ImportOptions options;
    options.waiting = [&] { ++own.waits; };
    const auto report = database.Import(file, ImportKind::Values, options);
    ++own.of_part[part];
    std::error_code ignored;  // on a server there is none
    const auto log = std::filesystem::file_size(path_ + "-wal", ignored);
    if (!ignored) own.log = std::max(own.log.load(), static_cast<std::int64_t>(log));
    if (report.subgroups != kSubgroups) Fail(own, "subgroups of others: " + value);
  }

  void Read(const QualityDatabase& database, Shared& board, Process& own, int writers,
            std::mt19937& random) {
    const auto part = static_cast<int>(random() % kParts);
    const auto committed = [&] {
      std::int64_t sum = 0;
      for (int i = 0; i < writers; ++i) sum += board.processes[i].of_part[part];
      return sum;
    };
    const auto least = committed();
    const auto turn = own.turns.load();
    const bool copies = &own == &board.processes[writers] && turn % 40 == 20;
    const auto imports = copies          ? ReadCopy(database, part)
                         : turn % 3 == 0 ? ReadCounts(database, part)
                                         : ReadChart(database, part);
    if (!imports) return Fail(own, "half of an import in turn " + std::to_string(turn));
    if (*imports < least) {
      Fail(own, std::to_string(*imports) + " imports seen in turn " + std::to_string(turn) +
                    " after " + std::to_string(least) + " were committed");
    }
  }

  // The imports of a part, by the numbers of subgroups of its streams; none: there are others.
  static std::optional<std::int64_t> ReadCounts(const QualityDatabase& database, int part) {
    const auto id = database.Find(ItemKind::Part, PartName(part));
    std::vector<std::int64_t> counts;
    for (const auto& stream : database.Streams()) {
      if (id && stream.part == *id) counts.push_back(stream.subgroups);
    }
    // The name may be committed after the look.
    if (counts.empty()) return 0;
    if (counts.size() != 2 || counts[0] != counts[1] || counts[0] % kSubgroups != 0) {
      return std::nullopt;
    }
    return counts[0] / kSubgroups;
  }

  // The same by a chart of all points of both tests.
  static std::optional<std::int64_t> ReadChart(const QualityDatabase& database, int part) {
    const auto id = database.Find(ItemKind::Part, PartName(part));
    if (!id) return 0;
    const auto select = std::make_shared<DataSelect>();
    select->MaximumItems(100'000'000);
    select->DateRangeTimeType(drttStatic);
    const auto filter = select->Descriptors()->Add(dtPart);
    filter->FilterType(ftItemList);
    filter->AddItemID(*id);
    const auto processing = std::make_shared<CCProcessing>();
    processing->Graph1Type(ccGraph1Ix);
    const auto document = cli::RunChart(database, select, processing);
    const auto& rows = document.chart.subgroups.rows;
    const auto& points = document.chart.graphs.at(0).points;
    if (rows.size() != points.size()) return std::nullopt;
    std::map<double, std::map<std::int32_t, int>> counts;
    for (std::size_t i = 0; i < rows.size(); ++i) ++counts[points[i]][rows[i].test];
    for (const auto& [value, tests] : counts) {
      if (tests.size() != 2) return std::nullopt;
      for (const auto& [test, count] : tests) {
        if (count != kSubgroups) return std::nullopt;
      }
    }
    return std::ssize(counts);
  }

  // The same in a copy, which is compared with what it was made of.
  std::optional<std::int64_t> ReadCopy(const QualityDatabase& database, int part) {
    const auto path = folder_.File("copy.db");
    database.CopyTo(path);
    const auto imports = ReadChart(QualityDatabase::Open(path), part);
    std::filesystem::remove(path);
    return imports;
  }

  // After all have ended: every import is there once and whole, and nothing else. Of a process that
  // was killed one import may be there that it did not come to count.
  void ExpectAll(const Shared& board, const Crowd& crowd, int kills) {
    const auto database = QualityDatabase::Open(path_);
    std::int64_t imports = 0, counted = 0;
    for (int part = 0; part < kParts; ++part) {
      std::int64_t of_part = 0;
      for (int i = 0; i < crowd.writers; ++i) of_part += board.processes[i].of_part[part];
      const auto found = ReadCounts(database, part);
      EXPECT_EQ(ReadChart(database, part), found);
      EXPECT_GE(found.value_or(-1), of_part);
      imports += found.value_or(0);
      counted += of_part;
    }
    EXPECT_LE(imports, counted + kills);
    engine::store::SqlStoreOf(*database.Database())->ReadOrThrow([&](engine::sql::Connection& db) {
      engine::store::ExpectSound(db);
      std::set<std::string> labels;
      for (auto& [id, label] : engine::store::ReadLabels(db, 1, INT32_MAX)) {
        EXPECT_TRUE(labels.insert(std::move(label)).second);
      }
      EXPECT_EQ(std::ssize(labels), imports * kSubgroups);
      EXPECT_EQ(engine::sql::LastId(db, "subgroup"), imports * kSubgroups);
      for (int i = crowd.kills ? 1 : 0; i < crowd.writers; ++i) {
        for (std::int64_t turn = 0; turn < board.processes[i].turns; ++turn) {
          EXPECT_TRUE(labels.contains(std::to_string(ValueOf(i, turn)) + "-0"));
        }
      }
    });
    for (int i = 0; i < crowd.writers + crowd.readers; ++i) {
      EXPECT_GT(board.processes[i].turns, 0) << "process " << i << " had no turn";
    }
  }

  void Print(const Shared& board, const Crowd& crowd) {
    const auto line = [&](const char* what, int first, int count) {
      std::int64_t turns = 0, fewest = INT64_MAX, waits = 0, longest = 0, log = 0;
      for (const auto& each :
           std::span(board.processes)
               .subspan(static_cast<std::size_t>(first), static_cast<std::size_t>(count))) {
        turns += each.turns;
        fewest = std::min(fewest, each.turns.load());
        waits += each.waits;
        longest = std::max(longest, each.longest.load());
        log = std::max(log, each.log.load());
      }
      std::cout << count << ' ' << what << ": " << turns << " turns, each at least " << fewest
                << "; " << waits << " waits for writers; longest turn " << longest
                << " ms; log at most " << log / 1'000'000 << " MB" << std::endl;
    };
    line("writers", 0, crowd.writers);
    line("readers", crowd.writers, crowd.readers);
  }

  StoreFolder folder_;
  std::string path_;
};

}  // namespace orvspc::host
