// SPDX-License-Identifier: Apache-2.0
#include <map>

#include "engine/chunks/StreamWalk.h"
#include "engine/write/log/Json.h"
#include "tests/engine/write/import/import_fixture.h"

namespace orvspc::engine::import {
using namespace sql;
using namespace catalogue;
using namespace store;

namespace {

TEST_F(ImportTest, EachFileIsABatchWithAnEntry) {
  ImportOptions options;
  options.actor = {"Ann", "gauge 7"};
  options.reason = "first shift";
  options.hash_source = true;
  const auto report = Import(Values({"A,P,T,1,2024-01-01,5", "A,P,T,1,2024-01-01,6",
                                     "A,P,T,2,2024-01-02,7", "A,P,U,1,2024-01-01,8"}),
                             ImportKind::Values, options);
  EXPECT_EQ(report.batch, 1);
  EXPECT_EQ(Import("code,name\nD1,Dent\nD2,Scratch\n", ImportKind::Defects).batch, 2);
  const auto entries = Data().Log({.operation = "import"});
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_EQ(entries[0].object, "batch 1");
  EXPECT_EQ(entries[0].who, "Ann");
  EXPECT_EQ(entries[0].station, "gauge 7");
  EXPECT_EQ(entries[0].reason, "first shift");
  EXPECT_EQ(entries[0].before, "");
  const auto after = log::ReadJson(entries[0].after);
  EXPECT_EQ(after["kind"], "values");
  EXPECT_EQ(after["source"], folder_.File("in.csv"));
  EXPECT_EQ(after["lines"], 4);
  EXPECT_EQ(after["records"], 3);
  EXPECT_EQ(after["digest"].get<std::string>().size(), 64U);
  // As sha256sum prints it for these lines and their header.
  EXPECT_EQ(after["source_sha256"],
            "eed1c0e83267ed46099177f1e9018dc267af95d0b42bcfe14e0f2c3a5f9609a9");
  const auto codes = log::ReadJson(entries[1].after);
  EXPECT_EQ(codes["kind"], "defects");
  EXPECT_EQ(codes["records"], 2);
  EXPECT_FALSE(codes.contains("digest"));
  EXPECT_FALSE(codes.contains("source_sha256"));
  const auto db = OpenAnother(Path());
  Query row(*db,
            "SELECT kind, source, source_sha256, lines, records, digest, state, entry FROM batch "
            "WHERE id = 1");
  ASSERT_TRUE(row.Step());
  EXPECT_EQ(row.Text(0), "values");
  EXPECT_EQ(row.Text(1), folder_.File("in.csv"));
  EXPECT_EQ(row.Text(2), after["source_sha256"].get<std::string>());
  EXPECT_EQ(row.Int(3), 4);
  EXPECT_EQ(row.Int(4), 3);
  EXPECT_EQ(row.Text(5), after["digest"].get<std::string>());
  EXPECT_EQ(row.Text(6), "stored");
  EXPECT_EQ(row.Int(7), entries[0].seq);
}

TEST_F(ImportTest, EachMeasurementNamesItsBatch) {
  Import(Values({"A,P,T,1,2024-01-01,5"}));
  Import(Values({"A,P,T,2,2024-01-02,6", "A,P,U,1,2024-01-01,6"}));
  Opened()->ReadOrThrow([&](Connection& db) {
    std::map<std::pair<std::int64_t, std::int32_t>, std::int64_t> batches;
    for (const std::int64_t stream : {1, 2}) {
      ForEachRecord(db, stream, [&](const RecordView& record) {
        EXPECT_EQ(record.Entry(), 0);
        batches[{stream, record.Subgroup()}] = record.Batch();
      });
    }
    EXPECT_EQ(batches, (decltype(batches){{{1, 1}, 1}, {{1, 2}, 2}, {{2, 1}, 2}}));
  });
}

TEST_F(ImportTest, ARefusedFileLeavesNeitherBatchNorEntry) {
  Db();
  EXPECT_NE(ImportFailure(Values({"A,P,T,1,2024-01-01,5", "A,P,T,2,2024-01-02,x"})), "");
  EXPECT_EQ(CountOf("batch"), 0);
  EXPECT_EQ(CountOf("log"), 1);
  EXPECT_EQ(Import(Values({"A,P,T,1,2024-01-01,5"})).batch, 1);
}

TEST_F(ImportTest, WhoImportsCanBeRequired) {
  Data().Set("require_by", "yes", {"Ann", ""});
  EXPECT_EQ(ImportFailure(Values({"A,P,T,1,2024-01-01,5"})), "--by: who does this must be named");
  ImportOptions options;
  options.actor.by = "Ann";
  options.reason = "ab";
  EXPECT_EQ(
      FailureOf([&] { Import(Values({"A,P,T,1,2024-01-01,5"}), ImportKind::Values, options); }),
      "--reason: say why, in 3 to 500 characters");
  EXPECT_EQ(CountOf("measurement"), 0);
}

}  // namespace
}  // namespace orvspc::engine::import
