// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

#include "engine/QualityDatabase.h"
#include "engine/chunks/StreamWalk.h"
#include "engine/store/digest.h"
#include "engine/time/calendar.h"
#include "engine/write/log/Json.h"
#include "tests/engine/store/store_fixture.h"

namespace orvspc::engine::record {

using store::StoreTest;

inline constexpr std::int64_t kNow = 1'773'208'800;  // 2026-03-11T06:00:00Z

inline std::vector<NewPiece> Values(std::initializer_list<double> values) {
  std::vector<NewPiece> pieces;
  for (const auto value : values) pieces.push_back({value, 0, 0, "", "", ""});
  return pieces;
}

inline NewRecord Diameter(std::initializer_list<double> values, std::int64_t time = kNow) {
  NewRecord record;
  record.part = "Ring";
  record.process = "Press A";
  record.test = "Diameter";
  record.time = time;
  record.pieces = Values(values);
  return record;
}

inline NewRecord Leaks(double size, std::initializer_list<double> counts,
                       std::int64_t time = kNow) {
  auto record = Diameter(counts, time);
  record.test = "Leaks";
  record.size = size;
  return record;
}

class RecorderTest : public StoreTest {
 protected:
  RecorderTest() { Into(); }

  const Actor kAnn{"Ann", "gauge 7"};

  QualityDatabase& Into() {
    if (!into_) into_.emplace(Data());
    return *into_;
  }
  Recorded Make(const NewRecord& record) { return Into().Record(record, kAnn, NewNames::Create); }
  std::optional<Refused> RefusalOf(const NewRecord& record, NewNames names = NewNames::Refuse) {
    return RefusalOf([&] { Into().Record(record, kAnn, names); });
  }
  std::optional<Refused> RefusalOf(const std::function<void()>& work) {
    const auto before = StateText();
    try {
      work();
    } catch (const Refused& refused) {
      EXPECT_EQ(StateText(), before) << "a refusal changes nothing";
      return refused;
    }
    return std::nullopt;
  }
  void ExpectRefused(const NewRecord& record, const std::string& code, const std::string& text,
                     NewNames names = NewNames::Refuse) {
    const auto refused = RefusalOf(record, names);
    ASSERT_TRUE(refused) << text;
    EXPECT_EQ(refused->code, code);
    EXPECT_EQ(refused->Description(), text);
    EXPECT_EQ(refused->Description().substr(0, refused->field.size() + 2), refused->field + ": ");
  }
  std::int64_t Value(const std::string& sql) {
    const auto db = store::OpenAnother(Path());
    sql::Query query(*db, sql);
    return query.Step() ? query.Int64(0) : -1;
  }
  std::string Text(const std::string& sql) {
    const auto db = store::OpenAnother(Path());
    sql::Query query(*db, sql);
    return query.Step() ? std::string(query.Text(0)) : "";
  }
  std::string Digest() {
    std::string digest;
    Opened()->ReadOrThrow([&](sql::Connection& db) { digest = store::DigestOf(db).all; });
    return digest;
  }
  // What a refusal must leave alone.
  std::string StateText() {
    return Digest() + " " + std::to_string(Value("SELECT count(*) FROM log")) + " " +
           std::to_string(Value("SELECT count(*) FROM client_key")) + " " +
           std::to_string(
               Value("SELECT coalesce(sum(last), 0) FROM counter WHERE name LIKE 'label %'"));
  }
  struct StoredValues {
    std::vector<double> values;
    std::vector<store::RowKey> keys;
    double size = 0.0;
    std::int32_t flag = 0;
    std::int64_t batch = 0;
  };
  std::optional<StoredValues> Stored(std::int32_t subgroup, const std::string& test = "Diameter") {
    std::optional<StoredValues> stored;
    const auto of = Id(ItemKind::Test, test);
    Opened()->ReadOrThrow([&](sql::Connection& db) {
      std::vector<std::int64_t> streams;
      for (sql::Query query(db, "SELECT id FROM stream WHERE test = ?1", of); query.Step();) {
        streams.push_back(query.Int64(0));
      }
      for (const auto stream : streams) {
        store::ForEachRecord(db, stream, [&](const store::RecordView& record) {
          if (record.Subgroup() != subgroup) return;
          EXPECT_FALSE(stored) << "stored once";
          stored.emplace();
          stored->size = record.Size();
          stored->flag = record.Flag();
          stored->batch = record.Batch();
          for (std::size_t i = 0; i < record.Count(); ++i) {
            stored->values.push_back(record.Value(i));
            stored->keys.push_back(record.Key(i));
          }
        });
      }
    });
    return stored;
  }
  log::Json LatestAfter() {
    return log::ReadJson(Text("SELECT after FROM log ORDER BY seq DESC LIMIT 1"));
  }

  time::FixedNow now_{kNow};
  std::optional<QualityDatabase> into_;
};

}  // namespace orvspc::engine::record
