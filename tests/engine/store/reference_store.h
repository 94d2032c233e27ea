// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <span>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "engine/chunks/StreamWalk.h"
#include "engine/sql/counter.h"
#include "engine/write/chunks/StreamWriter.h"
#include "tests/engine/store/reference_selection.h"
#include "tests/engine/store/store_fixture.h"
#include "tests/engine/store/stored_record.h"

namespace orvspc::engine::store {

// What a store holds, in the slowest and most obvious way.
class ReferenceStore {
 public:
  using Records = std::map<RecordKey, StoredRecord>;

  void Write(std::int64_t stream, std::span<const StoredRecord> records) {
    for (const auto& record : records) streams_[stream].insert_or_assign(record.Key(), record);
  }
  void Remove(std::int64_t stream, std::span<const RecordKey> keys) {
    for (const auto& key : keys) streams_[stream].erase(key);
  }
  const Records& Of(std::int64_t stream) { return streams_[stream]; }

  std::vector<StoredRecord> Between(std::int64_t stream, bool forward, std::int32_t start,
                                    std::int32_t end) {
    std::vector<StoredRecord> found;
    for (const auto& [key, record] : streams_[stream]) {
      if (key.time >= start && key.time <= end) found.push_back(record);
    }
    if (!forward) std::ranges::reverse(found);
    return found;
  }

 private:
  std::map<std::int64_t, Records> streams_;
};

inline void WriteRecords(Connection& db, std::int64_t stream, std::span<const StoredRecord> records,
                         std::size_t max_hot) {
  std::vector<Measurement> measurements;
  for (const auto& record : records) measurements.push_back(record.View());
  StreamWriter writer(db, max_hot);
  writer.Write(stream, measurements);
  writer.Finish();
}

inline std::vector<StoredRecord> Walked(Connection& db, std::int64_t stream, bool forward,
                                        std::int32_t start = INT32_MIN,
                                        std::int32_t end = INT32_MAX) {
  std::vector<StoredRecord> found;
  StreamWalk(db, stream, forward, start, end).ForEach([&](const RecordView& record) {
    found.push_back(CopyOf(record));
    return true;
  });
  return found;
}

inline std::int64_t Count(Connection& db, const std::string& table, std::int64_t stream) {
  std::int64_t count = 0;
  Query streams(db,
                table == "measurement" ? "SELECT count(*) FROM measurement WHERE stream = ?1"
                                       : "SELECT count(*) FROM measurement_chunk WHERE stream = ?1",
                stream);
  if (streams.Step()) count = streams.Int64(0);
  return count;
}

// What must hold of the tables whatever was written: chunks of a stream do not overlap, their
// columns fit what is packed, each key is either hot or sealed.
inline void ExpectSound(Connection& db) {
  Query overlaps(db,
                 "SELECT count(*) FROM measurement_chunk a JOIN measurement_chunk b "
                 "ON a.stream = b.stream "
                 "AND (a.first_time, a.first_subgroup) < (b.first_time, b.first_subgroup) "
                 "AND (a.last_time, a.last_subgroup) >= (b.first_time, b.first_subgroup)");
  EXPECT_EQ(overlaps.RunForInt(), 0) << "chunks overlap";
  std::set<std::pair<std::int64_t, RecordKey>> keys;
  const auto read = [&](Query& query) {
    while (query.Step()) {
      std::int64_t stream = 0;
      RecordKey first, last;
      std::size_t count = 0;
      query.Read(stream, first.time, first.subgroup, last.time, last.subgroup, count);
      Chunk chunk;
      ASSERT_TRUE(chunk.Decode(query.Blob(6), stream));
      EXPECT_EQ(chunk.First(), first);
      EXPECT_EQ(chunk.Last(), last);
      EXPECT_EQ(chunk.Count(), count);
      for (std::size_t i = 0; i < chunk.Count(); ++i) {
        EXPECT_TRUE(keys.emplace(stream, chunk.Record(i).Key()).second)
            << "subgroup " << chunk.Record(i).Subgroup() << " is stored twice";
      }
    }
  };
  Query chunks(db,
               "SELECT stream, first_time, first_subgroup, last_time, last_subgroup, count, packed "
               "FROM measurement_chunk");
  read(chunks);
  Query hot(db, "SELECT stream, time, subgroup, time, subgroup, 1, packed FROM measurement");
  read(hot);
}

// Two parts, two processes, a test of each type: twelve streams that are numbered by part, process,
// test from 1 on, with contexts, descriptors and none of the subgroups themselves.
class PlantTest : public StoreTest {
 protected:
  static constexpr std::int32_t kParts = 2, kProcesses = 2, kTests = 3, kContexts = 7;
  static constexpr std::int64_t kStreams = kParts * kProcesses * kTests;
  static constexpr std::int32_t kTypes[kTests] = {ttVariable, ttDefects, ttDefectives};
  static constexpr std::int32_t kItems = 3;  // of each kind in a context, and of defects

  struct StreamFacts {
    std::int32_t part, process, test, type;
  };
  static StreamFacts FactsOf(std::int64_t stream) {
    const auto place = static_cast<std::int32_t>(stream - 1);
    const auto test = place % kTests;
    return {1 + place / kTests / kProcesses, 1 + place / kTests % kProcesses, 1 + test,
            kTypes[test]};
  }

  // The same in each database.
  void MakePlant(SqlStore& store) {
    std::mt19937 random(1);
    store.Write([&](Connection& db) {
      std::string sql;
      const auto add = [&](const std::string& table, std::int32_t count) {
        for (std::int32_t i = 1; i <= count; ++i) {
          const auto id = std::to_string(i);
          sql += "INSERT INTO " + table + "(id, name) VALUES(" + id + ", '" + table + id + "');";
        }
      };
      add("part", kParts);
      add("process", kProcesses);
      add("test", kTests);
      for (const auto& kind : kContextKinds) add(std::string(kind.column), kItems);
      add("defect", kItems);
      for (int i = 0; i < kTests; ++i) {
        sql += "UPDATE test SET type = " + std::to_string(kTypes[i]) +
               " WHERE id = " + std::to_string(i + 1) + ";";
      }
      for (std::int64_t stream = 1; stream <= kStreams; ++stream) {
        const auto facts = FactsOf(stream);
        sql += "INSERT INTO stream VALUES(" + std::to_string(stream) + ", " +
               std::to_string(facts.part) + ", " + std::to_string(facts.process) + ", " +
               std::to_string(facts.test) + ");";
      }
      contexts_.assign(1, Context{});
      for (int i = 1; i <= kContexts; ++i) {
        auto& context = contexts_.emplace_back();
        std::string values = std::to_string(i);
        for (std::size_t kind = 0; kind < context.size(); ++kind) {
          // The number of the context in the employee and the lot keeps them apart.
          context[kind] = kind == 2   ? i % (kItems + 1)
                          : kind == 5 ? i / (kItems + 1)
                                      : Below(random, kItems + 1);
          values += context[kind] == 0 ? ", NULL" : ", " + std::to_string(context[kind]);
        }
        sql += "INSERT INTO context(id, " + ContextColumns() + ") VALUES(" + values + ");";
      }
      sql += "UPDATE counter SET last = 100000;";
      db.Execute(sql);
    });
  }

  StoredRecord NewRecord(std::mt19937& random, const RecordKey& key) const {
    auto record = RandomRecord(random, key);
    record.context = Below(random, kContexts + 1);
    if (key.time >= plain_until_ && key.time < plain_from_) return record;
    for (std::size_t i = 0; i < record.keys.size(); ++i) record.keys[i] = PlainKey(i);
    record.size = std::floor(record.size);
    return record;
  }

  // The records of a selection's streams as the plain selection takes them.
  std::vector<SelectedRecord> AllSelected() {
    std::vector<SelectedRecord> all;
    for (std::int64_t stream = 1; stream <= kStreams; ++stream) {
      const auto facts = FactsOf(stream);
      for (const auto& [key, record] : reference_.Of(stream)) {
        auto& each = all.emplace_back();
        each.type = facts.type;
        each.size = record.size;
        auto& head = each.head;
        for (std::size_t i = 0; i < std::size(kContextKinds); ++i) {
          if (const auto member = kContextKinds[i].delivered) {
            head.*member = contexts_[static_cast<std::size_t>(record.context)][i];
          }
        }
        head.Part = facts.part;
        head.Prcs = facts.process;
        head.Test = facts.test;
        head.Sgtm = record.time;
        head.Sgrp = record.subgroup;
        head.Flag = record.flag;
        const bool is_whole = record.size == std::floor(record.size);
        head.Size = static_cast<std::int32_t>(is_whole ? record.size
                                                       : std::max(std::round(record.size), 1.0));
        for (std::size_t i = 0; i < record.values.size(); ++i) {
          const auto& row = record.keys[i];
          auto& test = each.rows.emplace_back();
          test = {row.Sn, row.Tsno, row.Sbno, row.Def, row.Gage, {}, 0};
          test.Val = record.values[i];
        }
      }
    }
    return all;
  }

  ReferenceStore reference_;
  std::vector<Context> contexts_;
  // New records before and from then on have neither keys nor fractions.
  std::int32_t plain_until_ = INT32_MIN, plain_from_ = INT32_MAX;
};

}  // namespace orvspc::engine::store
