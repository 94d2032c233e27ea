// SPDX-License-Identifier: Apache-2.0
#include "engine/store/SharedReading.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <vector>

#include "tests/engine/store/stored_record.h"

namespace orvspc::engine::store {
namespace {

bool IsPlain(const StoredRecord& record) {
  for (std::size_t i = 0; i < record.keys.size(); ++i) {
    if (record.keys[i] != PlainKey(i)) return false;
  }
  return true;
}

void AppendTo(DataSet& set, const StoredRecord& record) {
  const bool is_keyed = !IsPlain(record) || !set.keys.empty();
  if (is_keyed) MakeKeyed(set);
  auto& head = set.subgroups.emplace_back();
  head.Sgtm = record.time;
  head.Sgrp = record.subgroup;
  head.Size = static_cast<std::int32_t>(record.size);
  head.Test_Start = static_cast<std::int32_t>(set.values.size());
  set.values.insert(set.values.end(), record.values.begin(), record.values.end());
  head.Test_End = static_cast<std::int32_t>(set.values.size()) - 1;
  if (is_keyed) set.keys.insert(set.keys.end(), record.keys.begin(), record.keys.end());
  if (record.size != head.Size || !set.sizes.empty()) set.AddSize(record.size);
}

std::vector<StoredRecord> RecordsOf(const DataSet& set) {
  std::vector<StoredRecord> records;
  for (std::size_t i = 0; i < set.subgroups.size(); ++i) {
    const auto& head = set.subgroups[i];
    auto& record = records.emplace_back();
    record.time = head.Sgtm;
    record.subgroup = head.Sgrp;
    record.size = set.SizeOf(i);
    const auto rows = static_cast<std::size_t>(head.Test_End - head.Test_Start + 1);
    for (std::size_t row = 0; row < rows; ++row) {
      const auto test = set.Row(i, row);
      record.values.push_back(test.Val);
      record.keys.push_back({test.Sn, test.Tsno, test.Sbno, test.Def, test.Gage});
    }
  }
  return records;
}

// Halves of a stream as two threads bring them: each with or without keys and fractions, some of it
// read by both, the newer one in runs.
TEST(JoinedHalves, AreTheWholeHoweverFarEachHasCome) {
  std::mt19937 random(1);
  for (int round = 0; round < 3000; ++round) {
    std::set<RecordKey> keys;
    for (int i = Below(random, 30); i > 0; --i) {
      keys.insert({Below(random, 20) - 10, Below(random, 100)});
    }
    const auto count = static_cast<int>(keys.size());
    const int plain_until = Below(random, 2) == 0 ? 0 : Below(random, count + 1);
    const int plain_from = Below(random, 2) == 0 ? count : Below(random, count + 1);
    std::vector<StoredRecord> records;
    for (const auto& key : keys) {
      auto& record = records.emplace_back(RandomRecord(random, key));
      record.context = record.flag = 0;
      record.batch = record.entry = 0;
      const auto place = static_cast<int>(records.size()) - 1;
      if (place >= plain_until && place < plain_from) continue;
      for (std::size_t i = 0; i < record.keys.size(); ++i) record.keys[i] = PlainKey(i);
      record.size = 3.0;
    }
    // The first to one place and the other from that or an earlier one on.
    const int end = Below(random, count + 1), begin = Below(random, end + 1);
    DataSet ascending;
    for (int i = 0; i < end; ++i) AppendTo(ascending, records[static_cast<std::size_t>(i)]);
    DescendingRuns descending;
    for (int behind = count; behind > begin;) {
      const int from = std::max(begin, behind - 1 - Below(random, 8));
      for (int i = from; i < behind; ++i) {
        AppendTo(i == from ? descending.Next() : descending.data,
                 records[static_cast<std::size_t>(i)]);
      }
      behind = from;
      if (Below(random, 4) == 0) descending.Next();  // a run of which nothing is wanted
    }
    const int limit = Below(random, 2) == 0 ? count + 1 : 1 + Below(random, count + 1);
    const std::vector<StoredRecord> expected(records.end() - std::min(limit, count), records.end());
    ASSERT_EQ(RecordsOf(Join(std::move(ascending), std::move(descending), limit)), expected)
        << "round " << round;
  }
}

}  // namespace
}  // namespace orvspc::engine::store
