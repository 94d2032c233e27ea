// SPDX-License-Identifier: Apache-2.0
#include "engine/write/chunks/StreamWriter.h"

#include <string>
#include <vector>

#include "tests/engine/store/reference_store.h"

namespace orvspc::engine::store {
namespace {

class StreamWriterTest : public PlantTest {
 protected:
  void SetUp() override { MakePlant(*Opened()); }

  // Inside one transaction, with everything checked at the end.
  template <class Work>
  void InDatabase(Work work) {
    Opened()->Write([&](Connection& db) {
      db_now_ = &db;
      work();
      ExpectSound(db);
      EXPECT_EQ(Walked(db, 1, true), reference_.Between(1, true, INT32_MIN, INT32_MAX));
    });
  }
  StoredRecord Made(std::int32_t time, std::int32_t subgroup) {
    return NewRecord(random_, {time, subgroup});
  }
  // Numbers from first on, each a subgroup at its time.
  std::vector<StoredRecord> Series(std::int32_t first, std::int32_t count) {
    std::vector<StoredRecord> records;
    for (auto i = first; i < first + count; ++i) records.push_back(Made(i, i));
    return records;
  }
  void Put(const std::vector<StoredRecord>& records, std::size_t max_hot = StreamWriter::kMaxHot) {
    WriteRecords(*db_now_, 1, records, max_hot);
    reference_.Write(1, records);
  }
  void Remove(const std::vector<RecordKey>& keys, std::size_t max_hot = StreamWriter::kMaxHot) {
    StreamWriter writer(*db_now_, max_hot);
    writer.Remove(1, keys);
    writer.Finish();
    reference_.Remove(1, keys);
  }
  std::int64_t Hot() { return Count(*db_now_, "measurement", 1); }
  std::int64_t Chunks() { return Count(*db_now_, "measurement_chunk", 1); }

  Connection* db_now_ = nullptr;
  std::mt19937 random_{1};
  static constexpr auto kMaxHot = static_cast<std::int32_t>(StreamWriter::kMaxHot);
};

TEST_F(StreamWriterTest, AFewStayHotAndOneMoreSealsThemAll) {
  InDatabase([&] {
    for (std::int32_t i = 0; i < kMaxHot; ++i) Put(Series(i, 1));
    EXPECT_EQ(Hot(), kMaxHot);
    EXPECT_EQ(Chunks(), 0);
    Put(Series(kMaxHot, 1));
    EXPECT_EQ(Hot(), 0);
    EXPECT_EQ(Chunks(), 1);
  });
}

TEST_F(StreamWriterTest, ManyAtOnceAreSealedAtOnce) {
  InDatabase([&] {
    Put(Series(0, kMaxHot + 1));
    EXPECT_EQ(Hot(), 0);
    EXPECT_EQ(Chunks(), 1);
  });
}

TEST_F(StreamWriterTest, NothingToWriteOrRemoveChangesNothing) {
  InDatabase([&] {
    Put({});
    Remove({});
    Remove({{1, 1}, {2, 2}});
    EXPECT_EQ(Hot() + Chunks(), 0);
  });
}

TEST_F(StreamWriterTest, AStreamThatGrowsByLittleHasFullChunks) {
  InDatabase([&] {
    for (std::int32_t i = 0; i < 6000; i += 10) Put(Series(i, 10));
    Query chunks(*db_now_, "SELECT packed FROM measurement_chunk ORDER BY first_time DESC");
    bool is_last = true;
    for (Chunk chunk; chunks.Step(); is_last = false) {
      ASSERT_TRUE(chunk.Decode(chunks.Blob(0), 1));
      EXPECT_TRUE(is_last || chunk.IsFull());
      EXPECT_LT(chunk.Weight(), 2 * kFullChunk);
    }
    EXPECT_GT(Chunks(), 10);
  });
}

TEST_F(StreamWriterTest, AStreamThatGrowsBackwardsHasFewChunks) {
  InDatabase([&] {
    for (std::int32_t i = 6000; i > 0; i -= 10) Put(Series(i, 10));
    Query weights(*db_now_, "SELECT packed FROM measurement_chunk");
    std::size_t sum = 0;
    for (Chunk chunk; weights.Step();) {
      ASSERT_TRUE(chunk.Decode(weights.Blob(0), 1));
      EXPECT_LT(chunk.Weight(), 2 * kFullChunk);
      sum += chunk.Weight();
    }
    EXPECT_LT(Chunks(), static_cast<std::int64_t>(2 * sum / kFullChunk));
  });
}

TEST_F(StreamWriterTest, LateOnesAreHotWithinAChunkAndSealedInto) {
  InDatabase([&] {
    std::vector<StoredRecord> even;
    for (std::int32_t i = 0; i < 1000; i += 2) even.push_back(Made(i, i));
    Put(even);
    const auto before = Chunks();
    Put({Made(101, 101), Made(501, 501)});
    EXPECT_EQ(Hot(), 2);
    EXPECT_EQ(Chunks(), before);
    ExpectSound(*db_now_);
    std::vector<StoredRecord> odd;
    for (std::int32_t i = 103; i < 201; i += 2) odd.push_back(Made(i, i));
    Put(odd);
    EXPECT_EQ(Hot(), 0);
    EXPECT_GE(Chunks(), before);
  });
}

TEST_F(StreamWriterTest, ChunksThatGrowInTheMiddleAreCutEvenly) {
  InDatabase([&] {
    for (std::int32_t i = 0; i < 40; ++i) {
      std::vector<StoredRecord> records;
      for (std::int32_t n = 0; n < 100; ++n) records.push_back(Made(n, 1 + i * 100 + n));
      Put(records);
    }
    Query weights(*db_now_, "SELECT packed FROM measurement_chunk");
    for (Chunk chunk; weights.Step();) {
      ASSERT_TRUE(chunk.Decode(weights.Blob(0), 1));
      EXPECT_LT(chunk.Weight(), 2 * kFullChunk);
    }
    EXPECT_GT(Chunks(), 10);
  });
}

TEST_F(StreamWriterTest, AChangeOfASealedOneIsMadeInItsChunk) {
  InDatabase([&] {
    Put(Series(0, 1000));
    const auto before = Chunks();
    Put({Made(3, 3), Made(400, 400), Made(999, 999)});
    EXPECT_EQ(Hot(), 0);
    EXPECT_EQ(Chunks(), before);
  });
}

TEST_F(StreamWriterTest, SealedHotAndNewOnesAreWrittenTogether) {
  InDatabase([&] {
    Put(Series(0, 100));
    Put(Series(100, 5));
    Put({Made(5, 5), Made(6, 6006), Made(99, 99), Made(102, 102), Made(103, 9000), Made(200, 200)});
    EXPECT_EQ(Hot(), 5 + 3);
  });
}

TEST_F(StreamWriterTest, RemovingTheEndsOfAChunkMovesThem) {
  InDatabase([&] {
    Put(Series(0, 50));
    Remove({{0, 0}});
    Remove({{49, 49}});
    Remove({{20, 20}, {21, 21}, {21, 22}});
    EXPECT_EQ(Chunks(), 1);
    EXPECT_EQ(Hot(), 0);
  });
}

TEST_F(StreamWriterTest, RemovingEveryRecordLeavesNoRow) {
  InDatabase([&] {
    Put(Series(0, 2000));
    Put(Series(2000, 3));
    std::vector<RecordKey> keys;
    for (const auto& [key, record] : reference_.Of(1)) keys.push_back(key);
    Remove(keys);
    EXPECT_EQ(Hot() + Chunks(), 0);
  });
}

TEST_F(StreamWriterTest, ARemovedOneCanComeAgain) {
  InDatabase([&] {
    for (const std::size_t max_hot : {std::size_t{0}, std::size_t{100}}) {
      Put(Series(0, 30), max_hot);
      Remove({{7, 7}}, max_hot);
      Put({Made(7, 7)}, max_hot);
    }
  });
}

TEST_F(StreamWriterTest, WithoutHotRowsARemovalBesideSomeStillRemoves) {
  InDatabase([&] {
    Put(Series(0, 10), 100);
    EXPECT_EQ(Hot(), 10);
    Remove({{3, 3}, {5, 5}}, 0);
    EXPECT_EQ(Hot(), 0);
  });
}

TEST_F(StreamWriterTest, AHeavyRecordIsAChunkOfItsOwn) {
  InDatabase([&] {
    auto heavy = Series(0, 60);
    for (auto& record : heavy) {
      if (record.subgroup % 20 != 7) continue;
      record.values.assign(5000, 0.5);
      record.keys.assign(5000, RowKey{1, 2, 3, 4, 5});
    }
    Put(heavy);
    EXPECT_GE(Chunks(), 3);
    Put({Made(6, 1), Made(7, 1), Made(8, 1)}, 0);
    Remove({{7, 7}});
  });
}

TEST_F(StreamWriterTest, StreamsDoNotTouchEachOther) {
  Opened()->Write([&](Connection& db) {
    for (std::int64_t stream = 1; stream <= 4; ++stream) {
      const auto records = Series(static_cast<std::int32_t>(stream) * 3, 100);
      WriteRecords(db, stream, records, stream % 2 == 0 ? 0 : 1000);
      reference_.Write(stream, records);
    }
    StreamWriter writer(db);
    const std::vector<RecordKey> keys{{10, 10}, {11, 11}, {90, 90}};
    for (const std::int64_t stream : {2, 3}) {
      writer.Remove(stream, keys);
      reference_.Remove(stream, keys);
    }
    writer.Finish();
    ExpectSound(db);
    for (std::int64_t stream = 1; stream <= 4; ++stream) {
      EXPECT_EQ(Walked(db, stream, true), reference_.Between(stream, true, INT32_MIN, INT32_MAX));
    }
  });
}

TEST_F(StreamWriterTest, ADamagedRecordInTheWayIsNamedAndNothingIsWritten) {
  InDatabase([&] {
    Put(Series(0, 1000));
    Put(Series(1000, 5));
  });
  const auto all = reference_.Of(1);
  const auto failure = [&](const std::vector<StoredRecord>& records) -> std::string {
    try {
      Opened()->Write([&](Connection& db) { WriteRecords(db, 1, records, 10); });
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return {};
  };
  RunSql(Path(), "UPDATE measurement_chunk SET packed = zeroblob(100) WHERE first_time = 0");
  EXPECT_NE(failure({Made(3, 3)}).find("part1 / process1 / test1 from 1970"), std::string::npos);
  EXPECT_NE(failure(Series(3, 50)).find("checksum"), std::string::npos);
  RunSql(Path(), "UPDATE measurement SET time = time + 1 WHERE subgroup = 1004");
  EXPECT_NE(failure(Series(2000, 50)).find("part1 / process1 / test1 at 1970"), std::string::npos);
  Opened()->ReadOrThrow([&](Connection& db) {
    EXPECT_EQ(Count(db, "measurement", 1), 5);
    EXPECT_EQ(Walked(db, 1, true, 900, 1003), reference_.Between(1, true, 900, 1003));
  });
}

}  // namespace
}  // namespace orvspc::engine::store
