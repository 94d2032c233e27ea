// SPDX-License-Identifier: Apache-2.0
#include "engine/chunks/StreamWalk.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "engine/store/digest.h"
#include "engine/write/chunks/SubgroupWriter.h"
#include "tests/engine/store/reference_store.h"

namespace orvspc::engine::store {
namespace {

class StreamWalkTest : public PlantTest {
 protected:
  void SetUp() override { MakePlant(*Opened()); }

  // Subgroups first, first + step, ... to last at ten times their numbers.
  void Write(Connection& db, std::int32_t first, std::int32_t step, std::int32_t last,
             std::size_t max_hot, std::int64_t stream = 1) {
    std::vector<StoredRecord> records;
    for (auto i = first; i <= last; i += step) records.push_back(NewRecord(random_, {10 * i, i}));
    WriteRecords(db, stream, records, max_hot);
    reference_.Write(stream, records);
  }
  static constexpr std::size_t kNone = 0, kAll = 1'000'000;

  std::string ReadingFailure(std::int64_t stream, std::int32_t start = INT32_MIN,
                             std::int32_t end = INT32_MAX) {
    try {
      Opened()->ReadOrThrow([&](Connection& db) { Walked(db, stream, true, start, end); });
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return {};
  }

  static std::string BytesOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  std::mt19937 random_{1};
};

TEST_F(StreamWalkTest, AStreamWithoutRecordsHasNothing) {
  Opened()->ReadOrThrow([](Connection& db) {
    EXPECT_TRUE(Walked(db, 1, true).empty());
    EXPECT_TRUE(Walked(db, 1, false).empty());
    EXPECT_TRUE(Walked(db, 1000, true).empty());
  });
}

// Beside times that nothing has; subgroups of one time lie in several chunks and hot rows.
TEST_F(StreamWalkTest, SubgroupsAreFoundByTheirTimes) {
  Opened()->Write([&](Connection& db) {
    std::vector<StoredRecord> records;
    for (std::int32_t id = 1; id <= 3000; ++id) {
      records.push_back(NewRecord(random_, {id < 1000 ? id / 3 : id < 2000 ? 333 : id, id}));
    }
    WriteRecords(db, 1, records, kNone);
    const std::vector<StoredRecord> late{
        NewRecord(random_, {-5, 3001}), NewRecord(random_, {333, 3002}),
        NewRecord(random_, {334, 3003}), NewRecord(random_, {2500, 3004})};
    WriteRecords(db, 1, late, kAll);
    reference_.Write(1, records);
    reference_.Write(1, late);
    EXPECT_GT(Count(db, "measurement_chunk", 1), 5);
    const auto expect = [&](const std::set<std::int32_t>& chosen) {
      const std::vector<std::int32_t> times(chosen.begin(), chosen.end());
      std::vector<std::int32_t> expected;
      for (const auto& [key, record] : reference_.Of(1)) {
        if (chosen.contains(key.time)) expected.push_back(key.subgroup);
      }
      std::ranges::sort(expected);
      auto found = SubgroupsAt(db, 1, times);
      std::ranges::sort(found);
      ASSERT_EQ(found, expected) << chosen.size();
    };
    expect({});
    for (std::int32_t time = -6; time < 3010; ++time) expect({time});
    for (int i = 0; i < 300; ++i) {
      std::set<std::int32_t> chosen;
      for (int n = Below(random_, i < 150 ? 6 : 2000); n >= 0; --n) {
        chosen.insert(Below(random_, 3020) - 10);
      }
      expect(chosen);
    }
    EXPECT_TRUE(SubgroupsAt(db, 2, std::array{1, 2}).empty());
  });
}

// A long history of which few times are asked for.
TEST_F(StreamWalkTest, ChunksBetweenTimesAreNotRead) {
  Opened()->Write([&](Connection& db) {
    Write(db, 1, 1, 40'000, kNone);
    const auto chunks = Count(db, "measurement_chunk", 1);
    ASSERT_GT(chunks, 150);
    std::vector<std::int32_t> times;
    for (std::int32_t i = 4000; i <= 40'000; i += 4000) {
      for (std::int32_t near = 99; near >= 0; --near) times.push_back(10 * i - near);
    }
    std::vector<std::int32_t> all;
    for (std::int32_t i = 1; i <= 40'000; ++i) all.push_back(10 * i);
    // Each chunk is looked for and read, by three statements at most.
    for (const auto& [asked, touched] : {std::pair(times, std::int64_t{20}), {all, chunks}}) {
      FailStep(static_cast<int>(4 * touched + 4));
      const auto found = SubgroupsAt(db, 1, asked);
      EXPECT_FALSE(FailStep(0)) << asked.size();
      EXPECT_EQ(found.size(), asked.size() == all.size() ? all.size() : 100U);
    }
  });
}

// From every time to every time, also where the end is before the start.
TEST_F(StreamWalkTest, BothEndsBelongToIt) {
  Opened()->Write([&](Connection& db) {
    for (const std::int32_t first : {0, 10, 20}) Write(db, first, 1, first + 9, kNone);
    Write(db, 31, 2, 35, kAll);
    for (std::int32_t start = -5; start <= 360; start += 5) {
      for (std::int32_t end = -5; end <= 360; end += 5) {
        for (const bool forward : {true, false}) {
          ASSERT_EQ(Walked(db, 1, forward, start, end), reference_.Between(1, forward, start, end));
        }
      }
    }
  });
}

TEST_F(StreamWalkTest, ChunksMayBeginAtTheSameTime) {
  Opened()->Write([&](Connection& db) {
    for (std::int32_t subgroup = 1; subgroup <= 3000; subgroup += 1000) {
      std::vector<StoredRecord> records;
      for (auto i = subgroup; i < subgroup + 1000; ++i) {
        records.push_back(NewRecord(random_, {500, i}));
      }
      WriteRecords(db, 1, records, kNone);
      reference_.Write(1, records);
    }
    EXPECT_GT(Count(db, "measurement_chunk", 1), 3);
    ExpectSound(db);
    for (const std::int32_t start : {499, 500, 501}) {
      for (const std::int32_t end : {499, 500, 501}) {
        EXPECT_EQ(Walked(db, 1, true, start, end), reference_.Between(1, true, start, end));
        EXPECT_EQ(Walked(db, 1, false, start, end), reference_.Between(1, false, start, end));
      }
    }
  });
}

TEST_F(StreamWalkTest, RunsAreAsLongAsNothingHotLiesBetween) {
  Opened()->Write([&](Connection& db) {
    Write(db, 0, 2, 100, kNone);  // 51 in one chunk
    Write(db, 41, 60, 101, kAll);
    for (const bool forward : {true, false}) {
      std::vector<std::size_t> counts;
      StreamWalk walk(db, 1, forward, INT32_MIN, INT32_MAX);
      while (const auto run = walk.Next()) counts.push_back(run->Count());
      auto expected = std::vector<std::size_t>{21, 1, 30, 1};
      if (!forward) std::ranges::reverse(expected);
      EXPECT_EQ(counts, expected);
    }
  });
}

TEST_F(StreamWalkTest, EndsWhereTheVisitorSaysSo) {
  Opened()->Write([&](Connection& db) {
    Write(db, 0, 1, 50, kNone);
    for (int i = 0; i < 2; ++i) {
      std::vector<std::int32_t> seen;
      StreamWalk(db, 1, false, INT32_MIN, INT32_MAX).ForEach([&](const RecordView& record) {
        seen.push_back(record.Subgroup());
        return seen.size() < 3;
      });
      EXPECT_EQ(seen, (std::vector<std::int32_t>{50, 49, 48}));
    }
  });
}

TEST_F(StreamWalkTest, EveryTimeThatThereIsCanBeAnEnd) {
  const RecordKey keys[] = {
      {INT32_MIN, INT32_MIN}, {INT32_MIN, 5}, {0, 0}, {INT32_MAX, 1}, {INT32_MAX, INT32_MAX}};
  for (const auto max_hot : {kNone, kAll}) {
    const std::int64_t stream = max_hot == kNone ? 1 : 2;
    Opened()->Write([&](Connection& db) {
      std::vector<StoredRecord> records;
      for (const auto& key : keys) records.push_back(NewRecord(random_, key));
      WriteRecords(db, stream, records, max_hot);
      reference_.Write(stream, records);
      for (const std::int32_t start : {INT32_MIN, INT32_MIN + 1, 0, INT32_MAX}) {
        for (const std::int32_t end : {INT32_MIN, -1, 0, INT32_MAX - 1, INT32_MAX}) {
          EXPECT_EQ(Walked(db, stream, true, start, end),
                    reference_.Between(stream, true, start, end));
        }
      }
    });
  }
}

TEST_F(StreamWalkTest, DamageNamesStreamAndTimeAndLeavesOtherStreamsReadable) {
  Opened()->Write([&](Connection& db) {
    for (const std::int64_t stream : {1, 2}) {
      Write(db, 0, 1, 999, kNone, stream);
      Write(db, 1000, 1, 1004, kAll, stream);
    }
  });
  const struct {
    const char* table;
    const char* where;
    const char* when;
  } places[] = {{"measurement_chunk", "first_time = 0", "from 1970-01-01T00:00:00"},
                {"measurement", "subgroup = 1002", "at 1970-01-01T02:47:00"}};
  for (const auto& place : places) {
    const char* const table = place.table;
    const char* const where = place.where;
    const auto rows = std::string(" ") + table + " WHERE stream = 1 AND " + where;
    const auto update = [&](const std::string& set) {
      RunSql(Path(),
             "UPDATE " + std::string(table) + " SET " + set + " WHERE stream = 1 AND " + where);
    };
    RunSql(Path(), "CREATE TABLE kept AS SELECT * FROM" + rows);
    const bool is_hot = std::string_view(table) == "measurement";
    const std::vector<std::string> damages =
        is_hot ? std::vector<std::string>{"packed = zeroblob(length(packed))", "packed = x''",
                                          "time = time + 1", "subgroup = subgroup + 90000"}
               : std::vector<std::string>{"packed = zeroblob(length(packed))",
                                          "packed = substr(packed, 1, length(packed) - 1)",
                                          "first_time = first_time - 1",
                                          "last_time = last_time + 1",
                                          "first_subgroup = first_subgroup + 1",
                                          "last_subgroup = last_subgroup + 1"};
    for (const auto& damage : damages) {
      SCOPED_TRACE(damage);
      update(damage);
      const auto failure = ReadingFailure(1);
      EXPECT_NE(failure.find("The values of part1 / process1 / test1 "), std::string::npos)
          << failure;
      if (damage.starts_with("packed")) {
        EXPECT_NE(failure.find(place.when), std::string::npos) << failure;
      }
      EXPECT_EQ(ReadingFailure(2), "");
      EXPECT_EQ(ReadingFailure(1, 9500, 9600), "") << "other chunks stay readable";
      RunSql(Path(), "DELETE FROM " + std::string(table) +
                         (is_hot ? " WHERE stream = 1 AND subgroup NOT IN (1000, 1001, 1003, 1004)"
                                 : " WHERE stream = 1 AND first_time < 5") +
                         "; INSERT INTO " + table + " SELECT * FROM kept");
      ASSERT_EQ(ReadingFailure(1), "");
    }
    RunSql(Path(), "DROP TABLE kept");
  }
}

// The columns of a chunk have no checksum of their own: who reads the chunk compares them with it,
// and who looks for a time compares the chunk that begins before it. What would make a reading pass
// a chunk by is seen by whoever reads the whole database, as a copy does; flipped bits in a file
// are seen by the checksum of the page.
TEST_F(StreamWalkTest, AnAlteredColumnOfAChunkIsNoticed) {
  Opened()->Write([&](Connection& db) {
    Write(db, 0, 1, 2999, kNone);
    Write(db, 0, 1, 5, kNone, 2);
  });
  RecordKey first, last;
  Opened()->ReadOrThrow([&](Connection& db) {
    Query chunks(db,
                 "SELECT first_time, first_subgroup, last_time, last_subgroup "
                 "FROM measurement_chunk WHERE stream = 1 AND first_time > 5000 "
                 "ORDER BY first_time");
    ASSERT_TRUE(chunks.Step());
    chunks.Read(first.time, first.subgroup, last.time, last.subgroup);
  });
  ASSERT_LT(last.time, 29000);
  const auto failure = [&](auto work) -> std::string {
    try {
      work();
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return {};
  };
  enum Reading { Whole, OtherStream, Digest, Begin, Middle, End, Before, Behind, Writing };
  const auto read = [&](Reading reading) {
    const auto range = [&](std::int32_t start, std::int32_t end) {
      std::string reasons[2];
      for (const bool forward : {true, false}) {
        reasons[forward ? 0 : 1] = failure([&] {
          Opened()->ReadOrThrow([&](Connection& db) { Walked(db, 1, forward, start, end); });
        });
      }
      EXPECT_EQ(reasons[0], reasons[1]);
      return reasons[0];
    };
    switch (reading) {
      case Whole:
        return range(INT32_MIN, INT32_MAX);
      case OtherStream:
        return ReadingFailure(2);
      case Digest:
        return failure([&] { Opened()->ReadOrThrow([](Connection& db) { DigestOf(db); }); });
      case Begin:
        return range(first.time, first.time);
      case Middle:
        return range(first.time + 100, last.time - 100);
      case End:
        return range(last.time, last.time);
      case Before:
        return range(first.time - 200, first.time - 100);
      case Behind:
        return range(last.time + 100, last.time + 200);
      default:
        return failure([&] {
          Opened()->Write([&](Connection& db) {
            WriteRecords(db, 1, std::vector{NewRecord(random_, last)}, kAll);
            throw std::runtime_error("");
          });
        });
    }
  };
  constexpr Reading kAllReadings[] = {Whole, OtherStream, Digest, Begin,  Middle,
                                      End,   Before,      Behind, Writing};
  const std::vector<Reading> here = {Whole, Digest, Begin, Middle, End, Writing};
  const struct {
    const char* damage;
    std::vector<Reading> noticed;
  } rows[] = {
      {"count = count + 1", here},
      {"packed = zeroblob(length(packed))", here},
      {"last_time = last_time - 5", here},
      {"last_time = last_time + 5", here},
      {"last_time = first_time", here},
      {"last_subgroup = last_subgroup - 1", here},
      {"first_subgroup = first_subgroup + 1", here},
      {"first_time = first_time - 5", here},
      {"first_time = first_time + 5", {Whole, Digest, Middle, End, Writing}},
      {"first_time = first_time + 1000000", {Whole, Digest}},
      {"stream = 2", {OtherStream, Digest}},
  };
  for (const auto& [damage, noticed] : rows) {
    const auto where = " WHERE first_subgroup = " + std::to_string(first.subgroup);
    RunSql(Path(), "CREATE TABLE kept AS SELECT * FROM measurement_chunk");
    RunSql(Path(), "UPDATE measurement_chunk SET " + std::string(damage) + where);
    for (const auto reading : kAllReadings) {
      EXPECT_EQ(!read(reading).empty(), std::ranges::count(noticed, reading) == 1)
          << damage << " by reading " << reading << ": " << read(reading);
    }
    RunSql(Path(),
           "DELETE FROM measurement_chunk; INSERT INTO measurement_chunk SELECT * FROM kept;"
           "DROP TABLE kept");
    for (const auto reading : kAllReadings) ASSERT_EQ(read(reading), "") << reading;
  }
}

TEST_F(StreamWalkTest, ARecordOfAnotherStreamIsNotTaken) {
  Opened()->Write([&](Connection& db) { Write(db, 0, 1, 5, kAll); });
  RunSql(Path(), "UPDATE measurement SET stream = 4 WHERE subgroup = 3");
  EXPECT_EQ(ReadingFailure(1), "");
  EXPECT_NE(ReadingFailure(4).find("checksum"), std::string::npos);
}

// One bit of the middle chunk is flipped in the file, where the checksum of its page meets it
// first.
TEST_F(StreamWalkTest, ADamagedPageIsAFailureThatNamesStreamAndTime) {
  std::string packed;
  Opened()->Write([&](Connection& db) {
    Write(db, 1, 1, 3000, kNone);
    Write(db, 1, 1, 3000, kNone, 2);
    Query chunks(db,
                 "SELECT packed FROM measurement_chunk WHERE stream = 1 AND first_time < 15000 "
                 "ORDER BY first_time DESC");
    ASSERT_TRUE(chunks.Step());
    const auto bytes = chunks.Blob(0);
    packed.assign(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  });
  db_.reset();
  auto all = BytesOf(Path());
  const auto place = all.find(packed.substr(packed.size() / 2, 200));
  ASSERT_NE(place, std::string::npos);
  all[place] = static_cast<char>(all[place] ^ 4);
  WriteFile(Path(), all);

  const auto failure = ReadingFailure(1);
  // The chunk's own times; on a page that it shares with others its checksum is what refuses it.
  EXPECT_TRUE(std::regex_match(
      failure, std::regex("The values of part1 / process1 / test1 from 1970-01-01T0[34]:..:.. to "
                          "1970-01-01T0[45]:..:.. are damaged: (page [0-9]+ does not match its "
                          "checksum|their checksum does not fit)")))
      << failure;
  EXPECT_EQ(ReadingFailure(2), "") << "the other stream";
  EXPECT_EQ(ReadingFailure(1, INT32_MIN, 9000), "") << "what lies before";
}

// Streams whose few values share their pages, as hot rows and as small chunks. A bit that is
// flipped in what one of them has packed is damage to that one alone.
TEST_F(StreamWalkTest, AFlippedBitInAChunkIsDamageToThatChunkAlone) {
  struct Packed {
    std::int64_t stream;
    std::string when, bytes;
  };
  std::vector<Packed> all;
  Opened()->Write([&](Connection& db) {
    for (const std::int64_t stream : {1, 2, 3, 4}) {
      const auto offset = static_cast<std::int32_t>(stream);
      Write(db, offset, 100, 200 + offset, kNone, stream);
      Write(db, 1000 + offset, 100, 1100 + offset, kAll, stream);
    }
    for (const std::string_view text :
         {"SELECT stream, first_time, last_time, packed FROM measurement_chunk",
          "SELECT stream, time, time, packed FROM measurement"}) {
      for (Query query(db, text); query.Step();) {
        const auto first = platform::IsoText(query.Int(1)), last = platform::IsoText(query.Int(2));
        const auto blob = query.Blob(3);
        all.push_back({query.Int64(0),
                       first == last ? " at " + first : " from " + first + " to " + last,
                       {reinterpret_cast<const char*>(blob.data()), blob.size()}});
      }
    }
  });
  ASSERT_EQ(all.size(), 12U);
  db_.reset();
  const auto whole = BytesOf(Path());
  const std::string names[] = {"", "part1 / process1 / test1", "part1 / process1 / test2",
                               "part2 / process1 / test1", "part1 / process2 / test1"};
  for (const auto& packed : all) {
    const auto place = whole.find(packed.bytes);
    ASSERT_NE(place, std::string::npos);
    auto damaged = whole;
    const auto at = place + random_() % packed.bytes.size();
    damaged[at] = static_cast<char>(damaged[at] ^ (1 << random_() % 8));
    WriteFile(Path(), damaged);
    for (const std::int64_t stream : {1, 2, 3, 4}) {
      const auto failure = ReadingFailure(stream);
      if (stream != packed.stream) {
        EXPECT_EQ(failure, "");
        continue;
      }
      EXPECT_TRUE(failure.starts_with("The values of part") &&
                  failure.ends_with(packed.when + " are damaged: their checksum does not fit"))
          << failure;
    }
    // The check names the page and the chunk.
    std::vector<std::string> finds;
    for (const auto& find : QualityDatabase::Check(Path()).finds) {
      if (find.reason.find("checksum") != std::string::npos) finds.push_back(find.reason);
    }
    EXPECT_EQ(finds, (std::vector<std::string>{
                         "page " + std::to_string(at / 4096 + 1) + " does not match its checksum",
                         "the packed values do not fit their checksum"}));
    // Written again with what others get, it is damaged as before; its own stream gets nothing that
    // would pack it anew.
    Opened()->Write([&](Connection& db) {
      for (const std::int64_t stream : {1, 2, 3, 4}) {
        if (stream == packed.stream) continue;
        WriteRecords(db, stream, std::vector{NewRecord(random_, {20'000, 2000})}, kNone);
      }
    });
    const auto before = ReadingFailure(packed.stream);
    EXPECT_TRUE(before.ends_with(packed.when + " are damaged: their checksum does not fit"));
    EXPECT_THROW(Opened()->Write([&](Connection& db) {
      WriteRecords(db, packed.stream, std::vector{NewRecord(random_, {500, 50})}, kNone);
    }),
                 std::runtime_error);
    EXPECT_EQ(ReadingFailure(packed.stream), before);
    db_.reset();
    for (const char* end : {"-wal", "-shm"}) std::filesystem::remove(Path() + end);
    WriteFile(Path(), whole);
  }
}

// Whatever page of the values is hit, by whoever reads it, where all subgroups are sealed, too.
TEST_F(StreamWalkTest, DamageNamesStreamAndTimeWhereverItIs) {
  Opened()->Write([&](Connection& db) {
    Write(db, 1, 1, 600, kNone);
    Write(db, 601, 1, 610, kAll);
    Write(db, 1, 1, 8, kAll, 4);
    SubgroupWriter writer(db, SubgroupWriter::Into::EmptyDatabase);
    for (std::int32_t id = 1; id <= 767; ++id) {
      writer.Add({id, 1, 1 + id % 2, 10 * id, "s" + std::to_string(id)});
    }
    writer.Flush();
    ASSERT_EQ(Query(db, "SELECT count(*) FROM subgroup").RunForInt(), 0);
  });
  db_.reset();
  std::vector<std::size_t> pages;
  sqlite3* const db = OpenBare(Path());
  sqlite3_stmt* statement = nullptr;
  sqlite3_prepare_v2(db, "SELECT rootpage FROM sqlite_master WHERE tbl_name LIKE 'measurement%'",
                     -1, &statement, nullptr);
  while (sqlite3_step(statement) == SQLITE_ROW) {
    pages.push_back(static_cast<std::size_t>(sqlite3_column_int(statement, 0)));
  }
  sqlite3_finalize(statement);
  sqlite3_close(db);
  ASSERT_EQ(pages.size(), 3U) << "two tables and an index";
  pages.push_back(0);  // all of them
  const auto whole = BytesOf(Path());
  constexpr std::size_t kPage = 4096;
  int failures = 0;
  for (const auto hit : pages) {
    auto damaged = whole;
    for (const auto page : pages) {
      if (page == 0 || (hit != 0 && page != hit)) continue;
      const auto place = (page - 1) * kPage + kPage / 2;
      for (const auto at : {place, place + 1}) damaged[at] = static_cast<char>(damaged[at] ^ 1);
    }
    WriteFile(Path(), damaged);
    for (const std::int64_t stream : {1, 4}) {
      const std::string process = stream == 1 ? "process1" : "process2";
      std::vector<std::string> reasons = {ReadingFailure(stream)};
      reasons.push_back(ImportFailure("part,process,test,subgroup,time,value\npart1," + process +
                                      ",test1,new,1970-01-01T00:00:07Z,1\n"));
      for (const auto& reason : reasons) {
        if (reason.empty()) continue;
        ++failures;
        EXPECT_NE(reason.find("The values of part"), std::string::npos) << reason;
        EXPECT_NE(reason.find(" 1970-01-01T"), std::string::npos) << reason;
        EXPECT_NE(reason.find(" are damaged: page "), std::string::npos) << reason;
      }
    }
    db_.reset();
    for (const char* end : {"-wal", "-shm"}) std::filesystem::remove(Path() + end);
    WriteFile(Path(), whole);
  }
  EXPECT_GE(failures, 10);
}

}  // namespace
}  // namespace orvspc::engine::store
