// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <map>

#include "engine/store/digest.h"
#include "engine/store/tables.h"
#include "tests/engine/store/store_fixture.h"
#include "tests/engine/write/import/every_kind.h"

// A file and a server that were filled alike hold the same, down to the identifiers.
namespace orvspc::engine::store {
namespace {

struct Sample {
  const char* file;
  ImportKind kind;
};
constexpr Sample kSamples[] = {
    {"piston-rings", ImportKind::Values},
    {"filling", ImportKind::Values},
    {"panels", ImportKind::Values},
    {"circuit-boards", ImportKind::Values},
    {"juice-cans", ImportKind::Values},
    {"radiators", ImportKind::Values},
    {"two-presses", ImportKind::Values},
    {"panels-defects", ImportKind::Defects},
    {"panels-acc-codes", ImportKind::AccCodes},
    {"panels-cac-codes", ImportKind::CacCodes},
    {"panels-events", ImportKind::Events},
    {"panels-processes", ImportKind::Processes},
    {"filling-limits", ImportKind::Limits},
    {"filling-requirements", ImportKind::Requirements},
    {"filling-state-codes", ImportKind::StateCodes},
    {"filling-states", ImportKind::States},
    {"filling-events", ImportKind::Events},
    {"circuit-control-limits", ImportKind::ControlLimits},
    {"circuit-opportunities", ImportKind::Opportunities},
    {"specification-limits", ImportKind::Limits},
};

// The tables of recording, alarms, phases and the life of limits.
constexpr std::string_view kFilledByNoImport[] = {
    "phase",      "baseline_policy",  "limit_exclusion", "client_key",    "alias",
    "alarm_mark", "alarm_checkpoint", "alarm",           "sampling_mark", "missed_sample",
    "outbox",     "delivery",         "chart_option"};

class BothStoresTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { ASSERT_TRUE(tests::OnServer()) << "run by tests/postgres/run.sh"; }

  // Every row of every table but the values.
  static std::map<std::string, std::vector<std::string>> RowsOf(const std::string& path) {
    const auto connection = OpenConnection(path, false);
    Transaction reading(*connection, TransactionKind::Read);
    std::map<std::string, std::vector<std::string>> rows;
    for (const auto& table : Tables()) {
      const auto columns = ColumnsOf(table);
      Query query(*connection, SelectStored(table));
      while (query.Step()) {
        auto& row = rows[std::string(table.name)].emplace_back();
        for (int i = 0; i < static_cast<int>(columns.size()); ++i) {
          const auto kind = columns[static_cast<std::size_t>(i)].kind;
          if (query.IsNull(i)) {
            row += "null";
          } else if (kind == ColumnKind::Text) {
            row += query.Text(i);
          } else if (kind == ColumnKind::Real) {
            row += std::to_string(query.Real(i));
          } else if (columns[static_cast<std::size_t>(i)].name != "made") {
            row += std::to_string(query.Int64(i));
          }
          row += "|";
        }
      }
    }
    // Those without an identifier come in any order.
    for (auto& [table, each] : rows) std::ranges::sort(each);
    Query counters(*connection, "SELECT name, last FROM counter ORDER BY name");
    while (counters.Step()) {
      rows["counter"].push_back(std::string(counters.Text(0)) + "|" +
                                std::to_string(counters.Int64(1)));
    }
    Query chunks(*connection,
                 "SELECT stream, first_time, first_subgroup, packed FROM measurement_chunk "
                 "ORDER BY stream, first_time, first_subgroup");
    while (chunks.Step()) {
      const auto blob = chunks.Blob(3);
      rows["measurement_chunk"].push_back(
          std::to_string(chunks.Int64(0)) + "|" + std::to_string(chunks.Int64(1)) + "|" +
          std::string(reinterpret_cast<const char*>(blob.data()), blob.size()));
    }
    return rows;
  }

  static DatabaseDigest Digest(const std::string& path) {
    const auto connection = OpenConnection(path, false);
    Transaction reading(*connection, TransactionKind::Read);
    return DigestOf(*connection);
  }

  TemporaryFolder folder_;
  const std::string file_ = folder_.File("q.db"), server_ = folder_.Store("server.db");
};

TEST_F(BothStoresTest, TheSameImportsGiveTheSameRowsAndIdentifiers) {
  ImportOptions why;
  why.reason = "as the plan says";
  const std::string samples = std::string(ORVSPC_TESTS_DIR) + "/../host/samples/";
  WriteFile(folder_.File("refused.csv"),
            "part,process,test,subgroup,time,value\nNew,New,New,1,2024-01-01,5\nNew,,,,,\n");
  for (const auto& sample : kSamples) {
    ImportReport reports[2];
    for (const auto& path : {file_, server_}) {
      reports[path == file_ ? 0 : 1] =
          QualityDatabase::ImportInto(path, samples + sample.file + ".csv", sample.kind, why);
      // What was refused takes no identifier with it.
      EXPECT_NE(FailureOf([&] {
                  QualityDatabase::ImportInto(path, folder_.File("refused.csv"),
                                              ImportKind::Values);
                }),
                "");
    }
    EXPECT_EQ(reports[0].rows, reports[1].rows) << sample.file;
    EXPECT_EQ(reports[0].new_names, reports[1].new_names) << sample.file;
  }
  // What the samples lack, beside what they have.
  for (const auto& [kind, text] : import::kEveryKind) {
    WriteFile(folder_.File("in.csv"), text);
    for (const auto& path : {file_, server_}) {
      QualityDatabase::ImportInto(path, folder_.File("in.csv"), kind, why);
    }
  }
  for (const auto& path : {file_, server_}) {
    auto database = QualityDatabase::Open(path);
    database.Set("time_zone", "+01:00");
    database.Set("time_zone", "UTC");
  }
  const auto expected = RowsOf(file_), found = RowsOf(server_);
  ASSERT_EQ(found.size(), expected.size());
  for (const auto& table : Tables()) {
    EXPECT_EQ(found.contains(std::string(table.name)),
              !std::ranges::count(kFilledByNoImport, table.name))
        << table.name;
  }
  for (const auto& [table, rows] : expected) EXPECT_EQ(found.at(table), rows) << table;
  EXPECT_EQ(Digest(server_).values, Digest(file_).values);
}

// A counter below its rows catches up alike, and rows that are gone leave the same gaps.
TEST_F(BothStoresTest, RowsThatWereChangedByHandGetTheSameIdentifiers) {
  WriteFile(folder_.File("in.csv"), import::kEveryKind[0].text);
  WriteFile(folder_.File("new.csv"),
            "part,process,test,subgroup,time,value,job,comment,descriptor:Cavity\n"
            "N,R,T,1,2024-02-01,5,N,new,N\n");
  for (const auto& path : {file_, server_}) {
    QualityDatabase::Create(path).Import(folder_.File("in.csv"), ImportKind::Values);
    RunSql(path,
           "DELETE FROM comment; DELETE FROM subgroup_descriptor; DELETE FROM descriptor;"
           "INSERT INTO job(id, name) VALUES(70, 'J70'); UPDATE counter SET last = 0 "
           "WHERE name = 'part'; DELETE FROM counter WHERE name = 'process'");
    QualityDatabase::ImportInto(path, folder_.File("new.csv"), ImportKind::Values);
  }
  const auto expected = RowsOf(file_), found = RowsOf(server_);
  EXPECT_EQ(found, expected);
  EXPECT_EQ(expected.at("job").back(), "71|N|1|");
  EXPECT_EQ(expected.at("comment").size(), 1U);
  EXPECT_EQ(expected.at("comment").front().substr(0, 2), "3|");
  EXPECT_EQ(expected.at("descriptor").front().substr(0, 2), "5|");
}

TEST_F(BothStoresTest, ACopyGoesToTheServerAndBack) {
  std::string text = "part,process,test,subgroup,time,value,lot,comment\n";
  for (int i = 0; i < 3000; ++i) {
    char time[40];
    std::snprintf(time, sizeof time, "2024-01-01T%02d:%02d:00", i / 60 % 24, i % 60);
    text += "A,P,T," + std::to_string(i) + "," + time + "," + std::to_string(i % 13) + ",L" +
            std::to_string(i / 500) + (i % 100 == 0 ? ",odd\n" : ",\n");
  }
  WriteFile(folder_.File("in.csv"), text);
  auto file = QualityDatabase::Create(file_);
  file.Import(folder_.File("in.csv"), ImportKind::Values);
  const auto there = file.CopyTo(server_);
  const auto back = QualityDatabase::Open(server_).CopyTo(folder_.File("back.db"));
  EXPECT_EQ(there.digest, back.digest);
  EXPECT_EQ(there.measurements, 3000);
  EXPECT_EQ(Digest(folder_.File("back.db")), Digest(file_));
  EXPECT_EQ(RowsOf(server_), RowsOf(file_));
}

// Files of former releases may have texts that no server takes.
TEST_F(BothStoresTest, ACopyNamesTheRowWhoseTextNoServerHolds) {
  WriteFile(folder_.File("in.csv"),
            "part,process,test,subgroup,time,value,comment\nA,P,T,1,2024-01-01,5,\n"
            "A,P,T,2,2024-01-02,5,odd\nA,P,T,3,2024-01-03,5,odd\n");
  auto file = QualityDatabase::Create(file_);
  file.Import(folder_.File("in.csv"), ImportKind::Values);
  int copies = 0;
  const auto expect = [&](const std::string& where) {
    EXPECT_EQ(FailureOf([&] { file.CopyTo(server_); }),
              file_ + ": " + where +
                  ": \"A\\xFFb\" is not UTF-8 without NUL characters, and no server holds that; "
                  "copy to a file, or correct it first (orvspc comment edit, orvspc edit)");
    const auto copy = folder_.File("copy" + std::to_string(++copies) + ".db");
    EXPECT_EQ(FailureOf([&] { file.CopyTo(copy); }), "");
    EXPECT_EQ(Digest(copy), Digest(file_));
  };
  ChangeOptions why;
  why.reason = "from a former release";
  RunSql(file_, "UPDATE comment SET note = CAST(x'41FF62' AS TEXT) WHERE id = 2");
  expect("the table comment, row 2, note");
  file.ChangeComment(2, "Ab", why);
  RunSql(file_, "UPDATE part SET name = CAST(x'41FF62' AS TEXT)");
  expect("the table part, row 1, name");
  file.Rename(ItemKind::Part,
              "A\xFF"
              "b",
              "Ab", why);
  file.ChangeFlag({3}, {}, sfDisabled, why);
  RunSql(file_, "UPDATE subgroup SET label = CAST(x'41FF62' AS TEXT) WHERE id = 3");
  expect("subgroup #3, label");
  SubgroupChange label;
  label.label = "Ab";
  file.ChangeSubgroups({3}, {}, label, why);
  const auto copied = file.CopyTo(server_);
  EXPECT_EQ(copied.measurements, 3);
  EXPECT_EQ(Digest(server_), Digest(file_));
  EXPECT_EQ(QualityDatabase::Open(server_).Find(ItemKind::Part,
                                                "A\xFF"
                                                "b"),
            std::nullopt);
}

TEST_F(BothStoresTest, ACopyNamesTheEntryWhoseTextNoServerHolds) {
  QualityDatabase::Create(file_).Set("alarm_needs", "none", {"Ann", ""}, "on trial");
  RunSql(file_, "UPDATE log SET reason = CAST(x'41FF62' AS TEXT) WHERE seq = 2");
  EXPECT_TRUE(FailureOf([&] {
                QualityDatabase::Open(file_).CopyTo(server_);
              }).starts_with(file_ + ": the table log, seq 2, reason: \"A\\xFFb\" is not UTF-8 "));
}

}  // namespace
}  // namespace orvspc::engine::store
