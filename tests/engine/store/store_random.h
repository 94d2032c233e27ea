// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/engine/store/reference_store.h"

namespace orvspc::engine::store {

// Batches as they come, in the form of the reference.
class CollectedBatches : public BatchTaker {
 public:
  void Begin(std::size_t parts) override {
    parts_.clear();
    parts_.resize(parts);
  }
  void Take(std::size_t part, const DataSet& batch) override {
    for (std::size_t i = 0; i < batch.subgroups.size(); ++i) {
      auto& record = parts_[part].emplace_back();
      record.head = batch.subgroups[i];
      record.size = batch.SizeOf(i);
      for (auto row = record.head.Test_Start; row <= record.head.Test_End; ++row) {
        record.rows.push_back(batch.Row(i, static_cast<std::size_t>(row - record.head.Test_Start)));
      }
      record.head.Test_Start = record.head.Test_End = 0;
    }
  }
  // All parts, stream by stream.
  std::vector<SelectedRecord> All() const {
    std::vector<SelectedRecord> all;
    for (const auto& part : parts_) all.insert(all.end(), part.begin(), part.end());
    return all;
  }

 private:
  std::vector<std::vector<SelectedRecord>> parts_;
};

// Random writing and reading, each step beside the reference.
class StoreRandomTest : public PlantTest {
 protected:
  static constexpr std::int32_t kStart = static_cast<std::int32_t>(kNow) - 40 * 86400;

  void Begin(unsigned seed) {
    db_.reset();
    folder_.RemoveStore("q.db");
    MakePlant(*Opened());
    reference_ = {};
    next_subgroup_ = 0;
    random_.seed(seed);
    // All is mixed, or the older or the newer half is plain.
    const auto middle = kStart + (static_cast<std::int32_t>(kNow) - kStart) / 2;
    plain_until_ = seed % 3 == 0 ? middle : INT32_MIN;
    plain_from_ = seed % 3 == 1 ? middle : INT32_MAX;
  }

  int Pick(int end) { return Below(random_, end); }
  std::int32_t AnyTime() { return kStart + Pick(static_cast<int>(kNow) - kStart + 1); }
  // Neither ascending nor given twice.
  std::int32_t NewSubgroup() { return static_cast<std::int32_t>(++next_subgroup_ * 7919 % 99991); }
  std::size_t AnyMaxHot() {
    static constexpr std::size_t kMaxHot[] = {0, 1, 5, StreamWriter::kMaxHot, 200, 1'000'000'000};
    return kMaxHot[Pick(static_cast<int>(std::size(kMaxHot)))];
  }

  // Some that are stored, in their order.
  std::vector<StoredRecord> SomeStored(std::int64_t stream, int most) {
    const auto& all = reference_.Of(stream);
    std::map<RecordKey, StoredRecord> some;
    for (int i = all.empty() ? 0 : 1 + Pick(most); i > 0; --i) {
      some.insert(*std::next(all.begin(), Pick(static_cast<int>(all.size()))));
    }
    std::vector<StoredRecord> records;
    for (auto& [key, record] : some) records.push_back(std::move(record));
    return records;
  }

  std::vector<StoredRecord> NewOnes(std::int64_t stream, int count, bool late) {
    std::map<RecordKey, StoredRecord> made;
    const auto& stored = reference_.Of(stream);
    // Few stamps for many subgroups, or the other way round.
    const int step = Pick(2) == 0 ? 2 : 7200;
    auto time = stored.empty() ? kStart : stored.rbegin()->first.time;
    // Subgroups of another test of the same part and process.
    const auto first = (stream - 1) / kTests * kTests + 1;
    const auto others = SomeStored(first + Pick(kTests), 4);
    for (const auto& other : others) {
      if (!stored.contains(other.Key())) made[other.Key()] = NewRecord(random_, other.Key());
    }
    for (int i = 0; i < count; ++i) {
      time = late ? AnyTime() : std::min(time + Pick(step), static_cast<std::int32_t>(kNow));
      const RecordKey key{time, NewSubgroup()};
      made[key] = NewRecord(random_, key);
    }
    std::vector<StoredRecord> records;
    for (auto& [key, record] : made) records.push_back(std::move(record));
    return records;
  }

  void Put(Connection& db, std::int64_t stream, std::span<const StoredRecord> records) {
    WriteRecords(db, stream, records, AnyMaxHot());
    reference_.Write(stream, records);
  }

  void Step(Connection& db) {
    const std::int64_t stream = Pick(3) == 0 ? 1 : 1 + Pick(kStreams);
    switch (Pick(9)) {
      case 0:
      case 1:
      case 2:
        return Put(db, stream, NewOnes(stream, 1 + Pick(30), false));
      case 3:
      case 4:
        return Put(db, stream, NewOnes(stream, 1 + Pick(8), true));
      case 5:
        return Put(db, stream, NewOnes(stream, 100 + Pick(500), Pick(2) == 0));
      case 6: {
        auto changed = SomeStored(stream, 20);
        for (auto& record : changed) record = NewRecord(random_, record.Key());
        return Put(db, stream, changed);
      }
      case 7: {
        auto changed = SomeStored(stream, 5);
        for (auto& record : changed) record.flag = Pick(3);
        return Put(db, stream, changed);
      }
      default: {
        std::set<RecordKey> keys;
        // Now and then nearly all.
        for (const auto& record : SomeStored(stream, Pick(6) == 0 ? 2000 : 12)) {
          keys.insert(record.Key());
        }
        for (int i = Pick(3); i > 0; --i) keys.insert({AnyTime(), NewSubgroup()});
        const std::vector<RecordKey> ordered(keys.begin(), keys.end());
        StreamWriter writer(db, AnyMaxHot());
        writer.Remove(stream, ordered);
        writer.Finish();
        reference_.Remove(stream, ordered);
      }
    }
  }

  void CompareWalks(Connection& db) {
    for (std::int64_t stream = 1; stream <= kStreams; ++stream) {
      SCOPED_TRACE("stream " + std::to_string(stream));
      for (const bool forward : {true, false}) {
        ASSERT_EQ(Walked(db, stream, forward),
                  reference_.Between(stream, forward, INT32_MIN, INT32_MAX));
        auto start = AnyTime(), end = AnyTime();  // also the wrong way round
        if (const auto some = SomeStored(stream, 2); !some.empty() && Pick(2) == 0) {
          start = some.front().time + Pick(3) - 1;
          end = some.back().time + Pick(3) - 1;
        }
        ASSERT_EQ(Walked(db, stream, forward, start, end),
                  reference_.Between(stream, forward, start, end))
            << start << " to " << end;
      }
    }
  }

  // The steps, each looked at in all that it has stored.
  void Steps(int count) {
    for (int step = 0; step < count && !HasFatalFailure(); ++step) {
      SCOPED_TRACE("step " + std::to_string(step));
      Opened()->Write([&](Connection& db) { Step(db); });
      Opened()->ReadOrThrow([&](Connection& db) {
        ExpectSound(db);
        CompareWalks(db);
      });
    }
  }

  RandomSelection Draw() {
    RandomSelection selection;
    auto& info = selection.flat.info;
    const std::int32_t counts[] = {0, 1, 25, 300, 2000, -1};
    info.Count = counts[Pick(6)];
    const std::int32_t time_types[] = {drttStatic,  drttStatic,   drttMostRecent,
                                       drttCurrent, drttPrevious, 3};
    info.TimeType = time_types[Pick(6)];
    info.TimePeriod = Pick(8);
    info.TimeCount = Pick(6) == 0 ? 0 : 1 + Pick(20);
    if (info.TimeType == drttStatic) {
      info.TimeStart = Pick(4) == 0 ? kNoStamp : AnyTime();
      info.TimeEnd = Pick(4) == 0 ? kNoStamp : AnyTime();  // also before the start
    }
    // Most of them ask for little, so that all kinds of answers come.
    if (Pick(3) == 0) info.Status = Pick(8);
    if (Pick(3) == 0) info.TestType = Pick(8);
    if (Pick(5) == 0) info.ItemNo = Pick(4);
    if (Pick(8) == 0) info.SubgroupStart = 1 + Pick(100'000);
    if (Pick(8) == 0) info.SubgroupEnd = 1 + Pick(100'000);
    for (int i = 0; i < FlatSelection::kBlocks; ++i) {
      const auto block = static_cast<FlatSelection::Block>(i);
      if (Pick(block <= FlatSelection::kTest ? 3 : 6) != 0) continue;
      std::vector<std::int32_t> ids;
      for (int n = 1 + Pick(2); n > 0; --n) ids.push_back(Pick(kItems + 1));
      selection.blocks[block] = {true, {ids.begin(), ids.end()}};
      selection.flat.List(block, ids);
    }
    return selection;
  }

  // Each of these stores answers as the reference does, read by one thread and by two, at once and
  // in batches.
  void CompareSelections(std::span<const std::shared_ptr<EmbeddedDatabase>> databases, int count) {
    const auto records = AllSelected();
    for (int i = 0; i < count && !HasFatalFailure(); ++i) {
      SCOPED_TRACE("selection " + std::to_string(i));
      const auto selection = Draw();
      SelectOptions options;
      options.defect_filter_narrows_rows = Pick(2) == 0;
      options.test_types = Pick(4) == 0 ? Pick(8) : 0;
      const auto expected = PlainSelection(records, selection, options).Run();
      found_ += expected.records.empty() ? 0 : 1;
      for (const auto& database : databases) {
        const auto store = SqlStoreOf(*database);
        for (const std::int64_t from : {INT64_MAX, std::int64_t{1}, std::int64_t{100}}) {
          SCOPED_TRACE(store->Path() + ", shared from " + std::to_string(from));
          store->Sharing().ShareFrom(from);
          auto info = selection.flat.info;
          DataSet data;
          ASSERT_TRUE(store->Select(info, selection.flat.Filter(), options, data))
              << store->TakeFailure()->text;
          ExpectSelected(expected, info, data);
          if (HasFatalFailure()) return;
        }
        CompareBatches(*store, selection, options, expected);
        shared_ += store->Sharing().count.exchange(0);
      }
    }
  }

  static void CompareBatches(SqlStore& store, const RandomSelection& selection,
                             const SelectOptions& options, const Expected& expected) {
    auto info = selection.flat.info;
    CollectedBatches batches;
    ASSERT_TRUE(store.SelectInBatches(info, selection.flat.Filter(), options, batches));
    EXPECT_EQ(std::memcmp(&info, &expected.info, sizeof info), 0);
    auto all = batches.All();
    std::ranges::sort(all, {}, [](const SelectedRecord& record) {
      return std::tuple(record.head.Sgtm, record.head.Sgrp, record.head.Test);
    });
    ASSERT_EQ(all.size(), expected.records.size());
    for (std::size_t i = 0; i < all.size(); ++i) {
      const auto& [head, type, size, rows, descriptors] = expected.records[i];
      ASSERT_EQ(std::memcmp(&all[i].head, &head, sizeof head), 0) << "subgroup " << head.Sgrp;
      EXPECT_EQ(all[i].size, size);
      ASSERT_EQ(all[i].rows.size(), rows.size());
      EXPECT_EQ(std::memcmp(all[i].rows.data(), rows.data(), rows.size() * sizeof rows[0]), 0);
    }
  }

  // A database with the same content, written in pieces in another order.
  std::shared_ptr<EmbeddedDatabase> Copy(const std::string& name, std::size_t max_hot) {
    auto database = OpenDatabase(folder_.File(name), true);
    const auto store = SqlStoreOf(*database);
    MakePlant(*store);
    store->Write([&](Connection& db) {
      for (std::int64_t stream = 1; stream <= kStreams; ++stream) {
        std::vector<StoredRecord> pieces[4];
        for (const auto& [key, record] : reference_.Of(stream)) pieces[Pick(4)].push_back(record);
        for (const auto& piece : pieces) WriteRecords(db, stream, piece, max_hot);
      }
      ExpectSound(db);
    });
    return database;
  }

  // The same content wherever its records lie: a history of changes, all hot, all sealed, as usual.
  void RunWorld(unsigned seed, int steps, int selections) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const FixedNow now(kNow);
    Begin(seed);
    Steps(steps);
    if (HasFatalFailure()) return;
    std::vector<std::shared_ptr<EmbeddedDatabase>> databases{db_};
    const std::string number = std::to_string(seed);
    databases.push_back(Copy("sealed" + number + ".db", 0));
    databases.push_back(Copy("usual" + number + ".db", StreamWriter::kMaxHot));
    databases.push_back(Copy("hot" + number + ".db", 1'000'000'000));
    CompareSelections(databases, selections);
  }

  std::mt19937 random_;
  std::int64_t next_subgroup_ = 0;
  int found_ = 0;           // selections with an answer that is not empty
  std::size_t shared_ = 0;  // that two threads have read
};

}  // namespace orvspc::engine::store
