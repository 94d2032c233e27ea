// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <iostream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "engine/QualityDatabase.h"
#include "engine/sql/Connection.h"
#include "engine/store/digest.h"
#include "engine/time/calendar.h"
#include "engine/write/log/Log.h"
#include "tests/engine/store/store_fixture.h"

// Programs that record one after the other or at once, each a process of its own, and are killed.
namespace orvspc::engine::record {

// Empty where each entry of the log fits to the one before and there are as many as the last says.
inline std::string LogFault(sql::Connection& db) {
  using log::Entry;
  std::string before;
  std::int64_t seq = 0;
  sql::Query query(db,
                   "SELECT seq, at, who, system, station, operation, object, before, after, "
                   "reason, program, hash FROM log ORDER BY seq");
  while (query.Step()) {
    Entry entry;
    query.Read(entry.seq, entry.at, entry.who, entry.system, entry.station, entry.operation,
               entry.object, entry.before, entry.after, entry.reason, entry.program, entry.hash);
    if (entry.seq != ++seq) return "entry " + std::to_string(seq) + " is missing";
    if (entry.hash != log::HashOf(entry, before)) {
      return "entry " + std::to_string(seq) + " does not fit";
    }
    before = entry.hash;
  }
  return {};
}

class Retries : public store::StoreTest {
 protected:
  static constexpr std::int64_t kNow = 1'773'208'800;  // 2026-03-11T06:00:00Z

  struct Plan {
    int writers;
    int records;  // of each
    int rounds;   // each sends all of them so often, those of a killed one not counted
    int kills;
  };

  static NewRecord RecordOf(int writer, int i) {
    NewRecord record;
    record.part = "Ring";
    record.process = "Press " + std::to_string(writer);
    record.test = "Diameter";
    record.time = kNow - 1'000'000 + i;
    record.key = std::to_string(writer) + "-" + std::to_string(i);
    for (int piece = 0; piece < 3; ++piece) {
      record.pieces.push_back({70.0 + (i * 7 + piece * 3 + writer) % 100 / 10.0, 0, 0, "", "", ""});
    }
    if (i % 5 == 0) record.context["lot"] = "L" + std::to_string(i / 50);
    if (i % 97 == 0) record.comments = {"seen"};
    return record;
  }
  static Actor ActorOf(int writer) { return {"writer " + std::to_string(writer), ""}; }

  // Runs the plan; then everything that was acknowledged is there once, and the database is as if
  // each record had been sent once.
  void Run(const Plan& plan) {
    const auto path = folder_.Store("retries.db");
    QualityDatabase::Create(path);  // and closes it: a child inherits no connection
    const auto all = static_cast<std::size_t>(plan.writers * plan.records);
    Board board(all);
    std::vector<pid_t> children(static_cast<std::size_t>(plan.writers));
    for (int w = 0; w < plan.writers; ++w) {
      children[static_cast<std::size_t>(w)] = Start(path, plan, w, board);
    }
    std::mt19937 random(20260311);
    const auto total = static_cast<int>(all) * plan.rounds;
    std::vector<int> moments;
    for (int i = 0; i < plan.kills; ++i) {
      // The half of them among the first sendings, which write.
      const auto most = static_cast<unsigned>(i % 2 == 0 ? static_cast<int>(all) : total);
      moments.push_back(static_cast<int>(random() % most));
    }
    std::ranges::sort(moments);
    for (const auto moment : moments) {
      while (board.Sent() < moment) usleep(50);
      const auto which = random() % children.size();
      const auto killed = children[which];
      kill(killed, SIGKILL);
      int status = 0;
      ASSERT_EQ(waitpid(killed, &status, 0), killed);
      children[which] = Start(path, plan, static_cast<int>(which), board);
    }
    for (const auto child : children) {
      int status = 0;
      ASSERT_EQ(waitpid(child, &status, 0), child);
      EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    }
    Check(path, plan, board);
  }

 private:
  // Shared by the processes: what was acknowledged, and how many were sent.
  class Board {
   public:
    explicit Board(std::size_t records) : size_((records + 1) * sizeof(Number)) {
      void* const shared =
          mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
      if (shared == MAP_FAILED) throw std::bad_alloc();
      numbers_ = static_cast<Number*>(shared);
    }
    Board(const Board&) = delete;
    Board& operator=(const Board&) = delete;
    ~Board() { munmap(numbers_, size_); }
    void Acknowledge(std::size_t record, std::int32_t subgroup) {
      numbers_[record + 1] = subgroup;
      ++numbers_[0];
    }
    std::int32_t SubgroupOf(std::size_t record) const { return numbers_[record + 1]; }
    int Sent() const { return numbers_[0]; }

   private:
    using Number = std::atomic<std::int32_t>;
    std::size_t size_;
    Number* numbers_;
  };

  static std::size_t PlaceOf(const Plan& plan, int writer, int i) {
    return static_cast<std::size_t>(writer * plan.records + i);
  }

  static pid_t Start(const std::string& path, const Plan& plan, int writer, Board& board) {
    const auto child = fork();
    if (child != 0) return child;
    try {
      const time::FixedNow now(kNow);
      auto database = QualityDatabase::Open(path);
      for (int round = 0; round < plan.rounds; ++round) {
        for (int i = 0; i < plan.records; ++i) {
          const auto recorded =
              database.Record(RecordOf(writer, i), ActorOf(writer), NewNames::Create);
          const auto place = PlaceOf(plan, writer, i);
          const auto before = board.SubgroupOf(place);
          if (before != 0 && (!recorded.repeated || recorded.subgroup != before)) {
            throw std::runtime_error("an acknowledged record was stored again");
          }
          board.Acknowledge(place, recorded.subgroup);
        }
      }
      _exit(0);
    } catch (const std::exception& error) {
      std::cerr << "writer " << writer << ": " << error.what() << std::endl;
      _exit(1);
    }
  }

  void Check(const std::string& path, const Plan& plan, const Board& board) {
    const time::FixedNow now(kNow);
    const auto reference = folder_.Store("reference.db");
    auto once = QualityDatabase::Create(reference);
    auto database = QualityDatabase::Open(path);
    for (int w = 0; w < plan.writers; ++w) {
      for (int i = 0; i < plan.records; ++i) {
        once.Record(RecordOf(w, i), ActorOf(w), NewNames::Create);
        const auto recorded = database.Record(RecordOf(w, i), ActorOf(w));
        ASSERT_TRUE(recorded.repeated);
        ASSERT_EQ(recorded.subgroup, board.SubgroupOf(PlaceOf(plan, w, i)));
      }
    }
    const auto digest_of = [&](const QualityDatabase& of) {
      store::DatabaseDigest digest;
      store::SqlStoreOf(*of.Database())->ReadOrThrow([&](sql::Connection& db) {
        digest = store::DigestOf(db);
        EXPECT_EQ(LogFault(db), "");
        sql::Query entries(db, "SELECT count(*) FROM log WHERE operation = 'record'");
        EXPECT_TRUE(entries.Step());
        EXPECT_EQ(entries.Int64(0), plan.writers * plan.records);
      });
      return digest;
    };
    const auto digest = digest_of(database);
    EXPECT_EQ(digest.measurements, plan.writers * plan.records);
    EXPECT_EQ(digest, digest_of(once));
  }
};

}  // namespace orvspc::engine::record
