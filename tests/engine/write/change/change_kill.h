// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <exception>
#include <iostream>
#include <new>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "engine/QualityDatabase.h"
#include "engine/chunks/subgroups.h"
#include "engine/store/digest.h"
#include "engine/time/calendar.h"
#include "platform/Enumerations.h"
#include "platform/TimeText.h"
#include "tests/engine/store/store_fixture.h"

// A program that records, changes, deletes, restores, undoes and approves, step by step, and is
// killed again and again. After each kill the database is as after the steps that were
// acknowledged, or as after one more.
namespace orvspc::engine::change {

class ChangeKillTest : public store::StoreTest {
 protected:
  static constexpr int kKinds = 10;

  // Strikes so often, at moments spread over some steps, unless the steps are at their end.
  void KillAtRandom(int steps, int kills, unsigned seed) {
    const auto reference = folder_.Store("reference.db"), path = folder_.Store("killed.db");
    const auto first = folder_.Store("first.db");
    Fill(first);
    for (const auto& copy : {reference, path}) QualityDatabase::Open(first).CopyTo(copy);
    std::vector<State> states{StateOf(reference)};
    std::chrono::microseconds taken{};
    for (int step = 0; step < steps; ++step) {
      const auto begin = std::chrono::steady_clock::now();
      {
        auto database = QualityDatabase::Open(reference);
        Take(database, step);
      }
      taken += std::chrono::duration_cast<std::chrono::microseconds>(
          std::chrono::steady_clock::now() - begin);
      states.push_back(StateOf(reference));
      ASSERT_FALSE(states.back() == states[states.size() - 2]) << "step " << step;
    }
    ASSERT_GE(states.back().alarms, steps / kKinds);
    std::mt19937 random(seed);
    int done = 0, struck = 0, more = 0;
    while (struck < kills && done < steps) {
      SCOPED_TRACE("kill " + std::to_string(struck));
      const auto start = done;
      const auto child = Start(path, done, steps);
      usleep(static_cast<useconds_t>(taken.count() / steps *
                                     static_cast<std::int64_t>(random() % 2000) / 1000));
      kill(child, SIGKILL);
      int status = 0;
      ASSERT_EQ(waitpid(child, &status, 0), child);
      ASSERT_FALSE(WIFEXITED(status) && WEXITSTATUS(status) != 0);
      struck += WIFSIGNALED(status) ? 1 : 0;
      done = start + acknowledged_.Count();
      Check(path, states, done, more);
      if (HasFatalFailure()) return;
    }
    EXPECT_GT(struck, kills / 4) << "the steps were over before";
    std::cout << struck << " kills, " << done << " steps, " << more
              << " of them stored and not acknowledged" << std::endl;
  }

 private:
  static constexpr int kSubgroups = 40;
  static constexpr int kTouched = 30;  // the others stay enabled, so that limits have values

  // What can be compared between two databases.
  struct State {
    std::string values;
    std::vector<std::pair<std::int32_t, std::string>> labels;
    std::int64_t rows = 0, limits = 0, entries = 0, alarms = 0, messages = 0, points = 0;
    friend bool operator==(const State&, const State&) = default;
  };

  // How many steps of the child were acknowledged.
  class Counter {
   public:
    Counter() {
      void* const shared = mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE,
                                MAP_SHARED | MAP_ANONYMOUS, -1, 0);
      if (shared == MAP_FAILED) throw std::bad_alloc();
      count_ = static_cast<std::atomic<int>*>(shared);
    }
    Counter(const Counter&) = delete;
    Counter& operator=(const Counter&) = delete;
    ~Counter() { munmap(count_, sizeof(std::atomic<int>)); }
    void Reset() { *count_ = 0; }
    void Add() { ++*count_; }
    int Count() const { return *count_; }

   private:
    std::atomic<int>* count_;
  };

  void Fill(const std::string& path) const {
    const time::FixedNow now(start_ - 1000);
    QualityDatabase::Create(path);  // and closes it
    std::string text = "part,process,test,subgroup,time,value\n";
    for (int i = 0; i < kSubgroups; ++i) {
      text += "A,P,T,S" + std::to_string(i) + "," +
              platform::IsoText(static_cast<std::int32_t>(start_ - 100'000 + i * 60)) + "Z," +
              std::to_string(9.0 + i * 7 % 20 / 10.0) + "\n";
    }
    const std::pair<const char*, ImportKind> files[] = {
        {text.c_str(), ImportKind::Values},
        {"part,process,test,mean,sp,sw\nA,P,T,10,1,1\n", ImportKind::ControlLimits}};
    for (const auto& [content, kind] : files) {
      store::WriteFile(folder_.File("in.csv"), content);
      QualityDatabase::ImportInto(path, folder_.File("in.csv"), kind);
    }
  }

  static std::int64_t Number(const QualityDatabase& database, std::string_view text) {
    std::int64_t number = 0;
    store::SqlStoreOf(*database.Database())->ReadOrThrow([&](sql::Connection& db) {
      number = sql::Query(db, text).RunForInt().value_or(0);
    });
    return number;
  }

  static NewRecord RecordOf(std::int64_t time, double value) {
    NewRecord record;
    record.part = "A";
    record.process = "P";
    record.test = "T";
    record.time = time;
    record.pieces.push_back({value, 0, 0, "", "", ""});
    return record;
  }

  // What a step does follows from its number and from what is stored.
  void Take(QualityDatabase& database, int step) const {
    const auto moment = start_ + std::int64_t{step} * 60;
    const time::FixedNow now(moment);
    const int round = step / kKinds;
    const std::int32_t old = 1 + round * 7 % kTouched;
    ChangeOptions options;
    options.actor.by = "Ann";
    options.reason = "step " + std::to_string(step);
    switch (step % kKinds) {
      case 0:
        database.Record(RecordOf(moment, 14.0), options.actor);
        break;
      case 1: {
        const bool is_first = round / kTouched % 2 == 0;
        database.ChangeFlag({old}, {}, is_first ? sfDisabled : sfEnabled, options);
        break;
      }
      case 2: {
        ValueChange change;
        change.tsno = 1;
        change.value = round % 2 == 0 ? 15.0 : 10.1;
        const auto latest =
            Number(database, "SELECT max(first_subgroup) FROM alarm WHERE state <> 'withdrawn'");
        database.ChangeValue(static_cast<std::int32_t>(latest), 1, change, options);
        break;
      }
      case 3: {
        SubgroupChange change;
        change.label = "L" + std::to_string(step);
        database.ChangeSubgroups({old}, {}, change, options);
        break;
      }
      case 4:
        database.DeleteSubgroups({old}, {}, options);
        break;
      case 5:
        database.Restore(Number(database, "SELECT max(seq) FROM log WHERE operation = 'delete'"),
                         options);
        break;
      case 6: {
        auto batch = database.Begin(options.actor);
        for (int i = 1; i <= 5; ++i) batch.Add(RecordOf(moment + i, 10.0 + i / 10.0));
        batch.Commit();
        break;
      }
      case 7:
        database.UndoImport(Number(database, "SELECT max(id) FROM batch WHERE state = 'stored'"),
                            false, options);
        break;
      case 8: {
        LimitRequest request;
        request.part = request.process = request.test = 1;
        request.until = static_cast<std::int32_t>(start_ - 50'000);
        request.force = true;
        database.ProposeLimits(request, options);
        break;
      }
      default: {
        LimitApproval approval;
        approval.effective = static_cast<std::int32_t>(moment);
        database.ApproveLimits(
            static_cast<std::int32_t>(
                Number(database, "SELECT max(id) FROM control_limit WHERE status = 'proposed'")),
            approval, options);
        break;
      }
    }
  }

  pid_t Start(const std::string& path, int from, int to) {
    acknowledged_.Reset();
    const auto child = fork();
    if (child != 0) return child;
    try {
      auto database = QualityDatabase::Open(path);
      for (int step = from; step < to; ++step) {
        Take(database, step);
        acknowledged_.Add();
      }
      _exit(0);
    } catch (const platform::ExternalFailure& failure) {
      std::cerr << failure.Description() << std::endl;
    } catch (const std::exception& failure) {
      std::cerr << failure.what() << std::endl;
    }
    _exit(1);
  }

  static State StateOf(const std::string& path) {
    const auto database = QualityDatabase::Open(path);
    State state;
    store::SqlStoreOf(*database.Database())->ReadOrThrow([&](sql::Connection& db) {
      // Without what says when, since the log has the clock's time.
      const auto digest = store::DigestOf(db);
      state.values = digest.values;
      state.rows = digest.rows;
      state.labels = store::ReadLabels(db, 1, INT32_MAX);
    });
    state.limits = Number(database, "SELECT count(*) FROM control_limit WHERE status = 'active'");
    state.entries = Number(database, "SELECT count(*) FROM log");
    state.alarms = Number(database, "SELECT count(*) FROM alarm");
    state.messages = Number(database, "SELECT count(*) FROM outbox");
    state.points = Number(database, "SELECT sum(points) FROM alarm");
    return state;
  }

  // done is what was acknowledged, then what is stored.
  static void Check(const std::string& path, const std::vector<State>& states, int& done,
                    int& more) {
    const auto found = StateOf(path);
    const auto next = static_cast<std::size_t>(done) + 1;
    if (next < states.size() && found == states[next]) {
      ++done;
      ++more;
    } else {
      const auto& wanted = states[next - 1];
      ASSERT_EQ(found.values, wanted.values) << "after " << done << " steps";
      ASSERT_EQ(found.rows, wanted.rows);
      ASSERT_EQ(found.labels, wanted.labels);
      ASSERT_EQ(found.limits, wanted.limits);
      ASSERT_EQ(found.entries, wanted.entries);
      ASSERT_EQ(found.alarms, wanted.alarms);
      ASSERT_EQ(found.messages, wanted.messages);
      ASSERT_EQ(found.points, wanted.points);
    }
    for (const bool with_data : {false, true}) {
      const auto log = QualityDatabase::Open(path).VerifyLog({.with_data = with_data});
      ASSERT_TRUE(log.finds.empty()) << log.finds.front();
    }
  }

  Counter acknowledged_;
  std::int64_t start_ = CurrentTime() + 1000;  // limits hold from when they were stored
};

}  // namespace orvspc::engine::change
