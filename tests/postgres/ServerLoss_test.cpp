// SPDX-License-Identifier: Apache-2.0
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <fstream>
#include <functional>
#include <future>
#include <sstream>
#include <thread>
#include <vector>

#include "engine/schema/schema.h"
#include "engine/sql/address.h"
#include "tests/host/program_path.h"
#include "tests/postgres/server_fixture.h"

// A reading that loses its connection is begun once more on a new one, whatever it has read or
// handed out by then.
namespace orvspc::engine::store {
namespace {

class ServerLossTest : public ServerTest {
 protected:
  // Every connection of ours to the server, whatever it does.
  static void EndConnections() {
    Psql(
        "SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE application_name = 'orvspc'");
  }
  // Ends one of them, as soon as there is one of this kind, and no other.
  static std::future<void> StrikeOnce(const std::string& kind) {
    return std::async(std::launch::async, [kind] {
      Psql(
          "DO 'DECLARE struck integer; BEGIN LOOP PERFORM pg_stat_clear_snapshot(); "
          "SELECT pid INTO struck FROM pg_stat_activity WHERE application_name = ''orvspc'' AND " +
          Doubled(kind) +
          " LIMIT 1; EXIT WHEN pg_terminate_backend(struck); "
          "PERFORM pg_sleep(random() * 0.005); END LOOP; END'");
    });
  }
  template <class Result>
  static bool IsOver(const std::future<Result>& work) {
    return work.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
  }
  // Until somebody waits for a lock that somebody else has.
  void AwaitLock() { Await("SELECT count(*) FROM pg_locks WHERE NOT granted"); }
  // Until a number is not 0.
  void Await(const std::string& number) {
    const auto connection = OpenAnother(Path());
    for (int i = 0; i < 12'000; ++i) {
      if (Query(*connection, number).RunForInt().value_or(0) != 0) return;
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    ADD_FAILURE() << number;
  }

 private:
  // As a text inside of a text.
  static std::string Doubled(std::string text) {
    for (auto at = text.find('\''); at != text.npos; at = text.find('\'', at + 2)) {
      text.insert(at, 1, '\'');
    }
    return text;
  }
};

TEST_F(ServerLossTest, AReadingGoesOnAfterARestart) {
  Import(Values(0, 300));
  Opened()->Sharing().ShareFrom(50);
  EXPECT_EQ(Stored(), 300U);
  Control("ORVSPC_TEST_STOP");
  FlatSelection all;
  DataSet data;
  EXPECT_FALSE(Opened()->Select(all.info, all.Filter(), {}, data));
  const auto failure = Db().TakeFailure();
  ASSERT_TRUE(failure);
  EXPECT_NE(Checked(failure->description).find("there is no connection to its server: "),
            std::string::npos)
      << failure->description;
  EXPECT_NE(OpeningFailure(Path()).find("there is no connection to its server: "),
            std::string::npos);
  Control("ORVSPC_TEST_START");
  EXPECT_EQ(Stored(), 300U);
  Control("ORVSPC_TEST_STOP");
  Control("ORVSPC_TEST_START");
  Data().Set("time_zone", "+02:00");
  EXPECT_EQ(Data().Setting("time_zone"), "+02:00");
}

// In each round one connection is ended somewhere in a reading, which then is as good as another.
TEST_F(ServerLossTest, AReadingThatLosesItsConnectionIsTriedOnceMore) {
  Import(Values(0, 3000));
  for (int round = 0; round < 100; ++round) {
    auto strike = StrikeOnce("state <> 'idle'");
    for (bool is_struck = false; !is_struck;) {
      is_struck = IsOver(strike);  // then this reading is the last one that it can have met
      ASSERT_EQ(Stored(), 3000U) << "round " << round;
    }
  }
}

// The identifiers of the subgroups that it is given. Calls strike inside one of the batches.
class StruckTaker final : public BatchTaker {
 public:
  StruckTaker(int batch, std::function<void()> strike) : left_(batch), strike_(std::move(strike)) {}

  void Begin(std::size_t parts) override {
    ++begun_;
    parts_.clear();
    parts_.resize(parts);
  }
  void Take(std::size_t part, const DataSet& batch) override {
    if (left_-- == 0) strike_();
    for (const auto& each : batch.subgroups) parts_[part].push_back(each.Sgrp);
  }
  int Begun() const { return begun_; }
  std::vector<std::int32_t> Sorted() const {
    std::vector<std::int32_t> all;
    for (const auto& part : parts_) all.insert(all.end(), part.begin(), part.end());
    std::ranges::sort(all);
    return all;
  }

 private:
  std::atomic<int> left_;
  const std::function<void()> strike_;
  int begun_ = 0;
  std::vector<std::vector<std::int32_t>> parts_;
};

TEST_F(ServerLossTest, ASelectionInBatchesIsDeliveredAnew) {
  constexpr int kSubgroups = 150'000;
  Import(Values(0, kSubgroups));
  std::vector<std::int32_t> expected(kSubgroups);
  for (int i = 0; i < kSubgroups; ++i) expected[static_cast<std::size_t>(i)] = i + 1;
  const std::function<void()> strikes[] = {EndConnections, [] { Control("ORVSPC_TEST_RESTART"); }};
  int repeated = 0;
  for (const auto& strike : strikes) {
    for (const bool two_threads : {false, true}) {
      for (const int batch : {0, 1, 3, 1000}) {
        Opened()->Sharing().ShareFrom(two_threads ? 50 : kSubgroups * 10);
        Opened()->Sharing().count = 0;
        StruckTaker taker(batch, strike);
        FlatSelection all;
        EXPECT_TRUE(Opened()->SelectInBatches(all.info, all.Filter(), {}, taker))
            << Db().TakeFailure()->description;
        EXPECT_TRUE(taker.Sorted() == expected)
            << taker.Sorted().size() << " subgroups, batch " << batch;
        EXPECT_EQ(Opened()->Sharing().count, two_threads ? 1U : 0U);
        EXPECT_LE(taker.Begun(), 2);
        // One thread has most still to come after the first batch; a thousand there are not.
        if (batch == 0 && !two_threads) {
          EXPECT_EQ(taker.Begun(), 2);
        }
        if (batch == 1000) {
          EXPECT_EQ(taker.Begun(), 1);
        }
        repeated += taker.Begun() - 1;
        if (batch == 1000) strike();  // between two readings
      }
    }
  }
  EXPECT_GE(repeated, 2);
  std::cout << "selections in batches that lost their connection: " << repeated << " of 16\n";
}

TEST_F(ServerLossTest, AReadIsRunOnceMoreAndNoMore) {
  Import(Values(0, 3));
  TakeNotes();
  const auto store = Opened();
  int runs = 0, inner_runs = 0;
  std::int64_t read = 0;
  const auto work = [&](int losses) {
    return [&, losses](Connection& db) {
      AddNote("read", "Once in the end.");
      Query(db, "SELECT count(*) FROM stream").RunForInt();
      if (runs++ < losses) EndConnections();
      // Inside another one, which begins anew as a whole.
      store->ReadOrThrow([&](Connection& again) {
        ++inner_runs;
        read = Query(again, "SELECT sum(1) FROM stream").RunForInt().value_or(0);
      });
    };
  };
  store->ReadOrThrow(work(1));
  EXPECT_EQ(runs, 2);
  EXPECT_EQ(inner_runs, 2);
  EXPECT_EQ(read, 1);
  EXPECT_EQ(TakeNotes().size(), 1U);
  runs = 0;
  try {
    store->ReadOrThrow(work(2));
    ADD_FAILURE() << "lost twice";
  } catch (const SqlError& error) {
    EXPECT_EQ(error.Which(), SqlError::Kind::Lost);
  }
  EXPECT_EQ(runs, 2);
  runs = 0;
  store->ReadOrThrow(work(0));
  EXPECT_EQ(runs, 1) << "it reads on";
}

// What is written is begun once more only where nothing was under way.
TEST_F(ServerLossTest, AWritingThatLosesItsConnectionIsNotRepeated) {
  Import(Values(0, 3));
  int runs = 0;
  const auto store = Opened();
  try {
    store->Write([&](Connection& db) {
      ++runs;
      Query(db, "UPDATE test SET type = type").Run();
      EndConnections();
      Query(db, "UPDATE test SET type = type").Run();
    });
    ADD_FAILURE() << "lost";
  } catch (const SqlError& error) {
    EXPECT_EQ(error.Which(), SqlError::Kind::Lost);
  }
  EXPECT_EQ(runs, 1);
  EndConnections();
  store->Write([&](Connection&) { ++runs; });
  EXPECT_EQ(runs, 2);
}

// The server stores each of them and is cut off before it can say so, as it waits for a standby
// that there is not. Those that were recorded together are not begun again one by one.
TEST_F(ServerLossTest, RecordsWhoseCommitWasNotAnsweredAreStoredOnce) {
  constexpr int kCallers = 8;
  const auto record_of = [](int caller, std::string key) {
    NewRecord record;
    record.part = "A";
    record.process = "P";
    record.test = "T";
    record.pieces.push_back({1.0 + caller, 0, 0, "", "", ""});
    record.key = std::move(key);
    return record;
  };
  auto database = Data();
  database.Record(record_of(0, ""), {"Ann", ""}, NewNames::Create);
  const auto wait_for_standby = [](const std::string& how) {
    Psql("ALTER SYSTEM " + how);
    Psql("SELECT pg_reload_conf()");
  };
  const auto count = [&](const std::string& what) {
    return Query(*OpenAnother(Path()), what).RunForInt().value_or(-1);
  };
  std::int64_t stored = 1;
  for (const bool with_keys : {false, true}) {
    std::atomic<int> answered = 0, asking = 0;
    std::array<std::string, kCallers> keys;
    wait_for_standby("SET synchronous_standby_names = 'nobody'");
    std::vector<std::future<std::string>> callers;
    for (int caller = 0; caller < kCallers; ++caller) {
      auto& key = keys[static_cast<std::size_t>(caller)];
      callers.push_back(std::async(std::launch::async, [&, caller] {
        // Until its commit waits, which it may not yet do.
        for (int i = 0;; ++i, ++answered, --asking) {
          if (with_keys) key = std::to_string(caller) + "-" + std::to_string(i);
          ++asking;
          auto failure = FailureOf([&] { database.Record(record_of(caller, key), {"Ann", ""}); });
          if (!failure.empty()) return failure;
        }
      }));
    }
    const auto is_over = [&](std::future<std::string>& caller) {
      return caller.wait_for(std::chrono::milliseconds(5)) == std::future_status::ready;
    };
    // So that the others wait for the first one to be answered, and then go together.
    while (asking < kCallers) std::this_thread::yield();
    Await("SELECT count(*) FROM pg_stat_activity WHERE wait_event = 'SyncRep'");
    while (!std::ranges::all_of(callers, is_over)) {
      Psql(
          "SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE application_name = "
          "'orvspc' AND wait_event = 'SyncRep'");
    }
    wait_for_standby("RESET synchronous_standby_names");
    for (auto& caller : callers) {
      EXPECT_NE(Checked(caller.get()).find("the connection to its server was lost"),
                std::string::npos);
    }
    stored += answered + kCallers;
    EXPECT_EQ(count("SELECT sum(n) FROM (SELECT sum(count) AS n FROM measurement_chunk UNION ALL "
                    "SELECT count(*) FROM measurement) a"),
              stored);
    EXPECT_EQ(count("SELECT max(seq) FROM log"), stored + 1);
    for (int caller = 0; with_keys && caller < kCallers; ++caller) {
      const auto& key = keys[static_cast<std::size_t>(caller)];
      const auto again = database.Record(record_of(caller, key), {"Ann", ""});
      EXPECT_TRUE(again.repeated);
    }
  }
  const auto together = count(
      "SELECT max(n) FROM (SELECT count(*) AS n FROM log WHERE operation = 'record' "
      "GROUP BY xmin) a");
  EXPECT_GT(together, 1) << "nobody waited for another one";
}

TEST_F(ServerLossTest, OpeningIsTriedOnceMoreWhereOnlyAReadingWasLost) {
  Import(Values(0, 3));
  for (const auto kind : {TransactionKind::Read, TransactionKind::Write}) {
    for (const int losses : {0, 1, 2}) {
      int runs = 0;
      bool is_open = true;
      try {
        sql::OpenServer(Path(), [&](Connection& db) {
          Transaction transaction(db, kind);
          db.Mark();
          if (runs++ < losses) EndConnections();
          EXPECT_EQ(Query(db, "SELECT count(*) FROM stream").RunForInt(), 1);
          transaction.Commit();
        });
      } catch (const SqlError& error) {
        EXPECT_EQ(error.Which(), SqlError::Kind::Lost);
        is_open = false;
      }
      const bool is_reading = kind == TransactionKind::Read;
      EXPECT_EQ(is_open, losses == 0 || (losses == 1 && is_reading)) << losses;
      EXPECT_EQ(runs, losses > 0 && is_reading ? 2 : 1);
    }
  }
}

// With the selections of an analysis, each of them read by one thread or by two.
TEST_F(ServerLossTest, AnAnalysisThatLosesItsConnectionBeginsAnewInOneState) {
  Import(Values(0, 300));
  const auto store = Opened();
  for (const bool two_threads : {false, true}) {
    store->Sharing().ShareFrom(two_threads ? 50 : 1000);
    for (const int losses : {0, 1, 2}) {
      int runs = 0;
      std::size_t first = 0, second = 0;  // second: 0 in a run that was lost
      bool is_done = true;
      FlatSelection all;
      const auto select = [&] {
        FlatSelection same;
        DataSet data;
        store->Select(same.info, same.Filter(), {}, data);
        return data.subgroups.size();
      };
      try {
        store->InOneState(all.info, [&] {
          first = select();
          second = 0;
          if (runs++ < losses) EndConnections();
          Psql("UPDATE " + Schema() + ".orvspc_mark SET generation = generation + 1");
          second = select();
        });
      } catch (const SqlError& error) {
        EXPECT_EQ(error.Which(), SqlError::Kind::Lost);
        is_done = false;
      }
      EXPECT_EQ(is_done, losses < 2);
      EXPECT_EQ(runs, losses == 0 ? 1 : 2);
      EXPECT_EQ(first, 300U);
      EXPECT_EQ(second, is_done ? 300U : 0U);
      EXPECT_FALSE(Db().TakeFailure());
    }
  }
}

// In each round one connection of the program is ended while it is in a transaction.
TEST_F(ServerLossTest, AChartThatLosesItsConnectionIsTheSame) {
  Import(Values(0, 3000));
  db_.reset();
  const auto out = folder_.File("chart");
  const auto chart = [&] {
    const auto line = "'" + host::ProgramPath() + "' chart --part A --test T --format json --db '" +
                      Path() + "' >'" + out + "' 2>&1";
    [[maybe_unused]] const int status = std::system(line.c_str());
    std::ifstream file(out);
    return std::string{std::istreambuf_iterator<char>(file), {}};
  };
  const auto expected = chart();
  ASSERT_GT(expected.size(), 3000U) << expected;
  for (int round = 0; round < 60; ++round) {
    const auto strike = StrikeOnce("state LIKE 'idle in%'");
    while (!IsOver(strike)) ASSERT_EQ(chart(), expected) << "round " << round;
  }
}

TEST_F(ServerLossTest, ACopyFromALostServerIsBegunAnew) {
  Import(Values(0, 60'000));
  for (const auto* name : {"copy.db", "other.db"}) {
    int struck = 0;
    CopyOptions options;
    options.progress = [&](std::int64_t) {
      if (struck++ == 0) Control("ORVSPC_TEST_RESTART");
    };
    const auto to = name[0] == 'c' ? folder_.File(name) : folder_.Store(name);
    const auto failure = Checked(FailureOf([&] { Data().CopyTo(to, options); }));
    if (name[0] == 'c') {
      EXPECT_EQ(failure, "");
      EXPECT_EQ(QualityDatabase::Open(to).Streams().at(0).subgroups, 60'000);
      EXPECT_EQ(struck, 2);
    } else {
      // The other server was lost, too, and what it had taken.
      EXPECT_EQ(failure, sql::WithoutPasswords(to) + ": the connection to its server was lost");
      EXPECT_NE(OpeningFailure(to).find("is empty and no quality database"), std::string::npos);
    }
  }
}

// Of a connection without an answer the system asks whether the other side is still there.
TEST_F(ServerLossTest, ANetworkThatWasCutIsNoticedSoon) {
  const int listener = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* const any = reinterpret_cast<sockaddr*>(&address);
  ASSERT_EQ(bind(listener, any, size), 0);
  ASSERT_EQ(listen(listener, 1), 0);
  ASSERT_EQ(getsockname(listener, any, &size), 0);
  const int port = ntohs(address.sin_port);
  auto opening = std::async(std::launch::async, [&] {
    return OpeningFailure("postgresql://127.0.0.1:" + std::to_string(port) + "/q?sslmode=disable");
  });
  const int accepted = accept(listener, nullptr, nullptr);
  char first = 0;
  ASSERT_EQ(read(accepted, &first, 1), 1);
  char peer[20];
  std::snprintf(peer, sizeof peer, "0100007F:%04X", static_cast<unsigned>(port));
  // Of each connection: number, both ends, state, queues, the timer that runs and when it ends.
  constexpr unsigned kKeepAlive = 2, kHundredthsOfMinute = 6000;
  unsigned timer = 0, ends = 0;
  for (int i = 0; i < 6000 && timer != kKeepAlive; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    std::ifstream connections("/proc/net/tcp");
    for (std::string line; std::getline(connections, line);) {
      std::istringstream words(line);
      std::string number, own, other, state, queues, timers;
      words >> number >> own >> other >> state >> queues >> timers;
      if (other == peer) std::sscanf(timers.c_str(), "%x:%x", &timer, &ends);
    }
  }
  close(accepted);
  close(listener);
  EXPECT_NE(opening.get(), "");
  EXPECT_EQ(timer, kKeepAlive);
  EXPECT_LT(ends, kHundredthsOfMinute);
}

// --- What others change --------------------------------------------------------------------------

// Another program changes what the store keeps in memory: its next reading has the change, and a
// reading that has begun has none of it.
TEST_F(ServerLossTest, TheNextReadingSeesWhatAnotherProgramChanged) {
  Import(Values(0, 30));
  const auto part = Id(ItemKind::Part, "A"), test = Id(ItemKind::Test, "T");
  const auto other_program = [&](const std::string& csv, const std::string& kind) {
    WriteFile(folder_.File("other.csv"), csv);
    const auto line = "'" + host::ProgramPath() + "' import '" + folder_.File("other.csv") +
                      "' --kind " + kind + " --db '" + Path() + "' >/dev/null 2>&1";
    ASSERT_EQ(std::system(line.c_str()), 0);
  };
  for (int round = 1; round <= 10; ++round) {
    const auto usl = std::to_string(round);
    const auto limits_before = Opened()->SpecLimits(part, test).size();
    Opened()->ReadOrThrow([&](Connection& db) {
      other_program("part,test,usl,lsl,effective\nA,T," + usl + ",0,20" +
                        std::to_string(10 + round) + "-01-01\n",
                    "limits");
      other_program(Values(30 * round, 30), "values");
      EXPECT_EQ(Opened()->SpecLimits(part, test).size(), limits_before);
      EXPECT_EQ(Query(db, "SELECT count(*) FROM spec_limit").RunForInt(),
                static_cast<std::int64_t>(limits_before))
          << "the cache and the database are of one state";
    });
    EXPECT_EQ(Stored(), static_cast<std::size_t>(30 * round + 30));
    const auto limits = Opened()->SpecLimits(part, test);
    ASSERT_EQ(limits.size(), limits_before + 1);
    // By hand, as the how-to says.
    Psql("SET search_path = " + Schema() + "; UPDATE part SET name = 'A" + usl +
         "'; UPDATE orvspc_mark SET generation = generation + 1");
    EXPECT_EQ(Data().Name(ItemKind::Part, part), "A" + usl);
    Psql("SET search_path = " + Schema() +
         "; UPDATE part SET name = 'A'; UPDATE orvspc_mark SET generation = generation + 1");
  }
}

// At the same generation.
TEST_F(ServerLossTest, TablesThatWereRestoredOrOfAnotherServerAreReadAnew) {
  Import(Values(0, 30));
  const auto part = Id(ItemKind::Part, "A");
  EXPECT_EQ(Data().Name(ItemKind::Part, part), "A");
  Psql("SET search_path = " + Schema() +
       "; UPDATE part SET name = 'restored'; ALTER TABLE orvspc_mark RENAME TO former; "
       "CREATE TABLE orvspc_mark AS SELECT * FROM former; DROP TABLE former");
  EndConnections();
  EXPECT_EQ(Data().Name(ItemKind::Part, part), "restored");
  Psql("UPDATE " + Schema() + ".part SET name = 'promoted'");
  Control("ORVSPC_TEST_RESTART");
  EXPECT_EQ(Data().Name(ItemKind::Part, part), "promoted");
}

TEST_F(ServerLossTest, TablesThatAreMadeAnewBeginWithAnotherGeneration) {
  std::vector<std::int64_t> versions;
  for (const auto* name : {"a", "b", "c"}) {
    const auto connection = OpenConnection(folder_.Store(name), true);
    versions.push_back(
        Query(*connection, "SELECT generation FROM orvspc_mark").RunForInt().value_or(0));
  }
  EXPECT_NE(versions[0], versions[1]);
  EXPECT_NE(versions[1], versions[2]);
}

// As bringing forward does.
void MakeAnew(Connection& db) {
  db.Define(
      "CREATE TABLE measurement_chunk_9 AS SELECT * FROM measurement_chunk; DROP TABLE "
      "measurement_chunk; "
      "ALTER TABLE measurement_chunk_9 RENAME TO measurement_chunk");
  db.SetMark(schema::kApplicationId, schema::kSchemaVersion + 1);
}

constexpr const char* kNewer = ": was made by a newer release (schema ";

TEST_F(ServerLossTest, TablesAreMadeAnewOnceNobodyReadsThem) {
  Import(Values(0, 30));
  std::future<void> other;
  Opened()->ReadOrThrow([&](Connection& db) {
    other = std::async(std::launch::async, [&] {
      const auto connection = OpenAnother(Path());
      Transaction writing(*connection, TransactionKind::Write);
      MakeAnew(*connection);
      writing.Commit();
    });
    AwaitLock();
    EXPECT_FALSE(IsOver(other));
    EXPECT_EQ(Query(db, "SELECT sum(count) FROM measurement_chunk").RunForInt(), 30);
  });
  other.get();
  EXPECT_NE(FailureOf([&] { Data().Streams(); }).find(kNewer), std::string::npos);
}

TEST_F(ServerLossTest, AReadingWaitsForTablesThatAreMadeAnew) {
  Import(Values(0, 30));
  auto open = Data();
  std::future<std::string> reading;
  {
    const auto connection = OpenAnother(Path());
    Transaction writing(*connection, TransactionKind::Write);
    MakeAnew(*connection);
    reading = std::async(std::launch::async, [&] { return FailureOf([&] { open.Streams(); }); });
    AwaitLock();
    EXPECT_FALSE(IsOver(reading));
    writing.Commit();
  }
  EXPECT_NE(reading.get().find(kNewer), std::string::npos);
}

// Looked at again once it is its turn.
TEST_F(ServerLossTest, AnImportThatWaitedStoresNothingInNewerTables) {
  Import(Values(0, 30));
  Db();
  WriteFile(folder_.File("more.csv"), Values(30, 30));
  const auto connection = OpenAnother(Path());
  Transaction writing(*connection, TransactionKind::Write);
  connection->SetMark(schema::kApplicationId, schema::kSchemaVersion + 1);
  std::atomic<bool> waits = false;
  auto import = std::async(std::launch::async, [&] {
    const ImportOptions options{.waiting = [&] { waits = true; }};
    return FailureOf(
        [&] { ImportCsv(folder_.File("more.csv"), Db(), ImportKind::Values, options); });
  });
  while (!waits && import.wait_for(std::chrono::milliseconds(1)) == std::future_status::timeout) {
  }
  EXPECT_TRUE(waits);
  writing.Commit();
  const auto failure = import.get();
  EXPECT_EQ(failure, OpeningFailure(Path()));
  EXPECT_NE(failure.find(kNewer), failure.npos) << failure;
  const Transaction reading(*connection, TransactionKind::Read);
  EXPECT_EQ(Query(*connection, "SELECT sum(count) FROM measurement_chunk").RunForInt(), 30);
}

TEST_F(ServerLossTest, AnOpenStoreRefusesTablesThatWereBroughtForward) {
  Import(Values(0, 30));
  QualityDatabase open = Data();
  const auto set_version = [&](int by) {
    Psql("UPDATE " + Schema() + ".orvspc_mark SET version = version + " + std::to_string(by));
  };
  set_version(1);
  const auto expected = OpeningFailure(Path());
  EXPECT_NE(expected.find(": was made by a newer release (schema "), expected.npos) << expected;
  EXPECT_EQ(FailureOf([&] { open.Set("time_zone", "+02:00"); }), expected);
  EXPECT_EQ(ImportFailure(Values(30, 30)), expected);
  EXPECT_EQ(FailureOf([&] { open.Streams(); }), expected);
  FlatSelection all;
  DataSet data;
  EXPECT_FALSE(Opened()->Select(all.info, all.Filter(), {}, data));
  const auto failure = Db().TakeFailure();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->description, expected);
  set_version(-1);
  EXPECT_EQ(open.Setting("time_zone"), "UTC");
  EXPECT_EQ(Stored(), 30U);
}

}  // namespace
}  // namespace orvspc::engine::store
