// SPDX-License-Identifier: Apache-2.0
#include <map>
#include <set>
#include <string>
#include <vector>

#include "engine/store/tables.h"
#include "tests/engine/store/store_fixture.h"
#include "tests/engine/write/import/every_kind.h"

// Where imports take the identifiers of their rows from.
namespace orvspc::engine::import {
namespace {

class IdentifiersTest : public store::StoreTest {
 protected:
  struct Ids {
    std::int64_t lowest = 0, highest = 0, counter = 0;
  };

  // Of every table that has identifiers and that imports fill.
  std::map<std::string, Ids> Read() {
    std::vector<std::string> tables{"subgroup"};
    const std::set<std::string_view> others{"phase", "baseline_policy", "chart_option", "batch",
                                            "outbox"};
    for (const auto& table : store::Tables()) {
      if (others.contains(table.name)) continue;
      if (store::ColumnsOf(table).front().kind == store::ColumnKind::Id) {
        tables.emplace_back(table.name);
      }
    }
    static std::map<std::string, std::string> texts;  // outlive the connection
    std::map<std::string, Ids> all;
    Opened()->ReadOrThrow([&](sql::Connection& db) {
      for (const auto& table : tables) {
        const auto& text =
            texts
                .try_emplace(table,
                             "SELECT coalesce(min(id), 0), coalesce(max(id), 0), "
                             "coalesce((SELECT last FROM counter WHERE name = ?1), 0) FROM " +
                                 table)
                .first->second;
        sql::Query query(db, text, table);
        ASSERT_TRUE(query.Step());
        query.Read(all[table].lowest, all[table].highest, all[table].counter);
      }
    });
    return all;
  }

  void ImportEvery() {
    for (const auto& [kind, text] : kEveryKind) Import(text, kind);
    Data().Set("time_zone", "+01:00");
    Data().Set("time_zone", "UTC");
  }
};

TEST_F(IdentifiersTest, ComeFromTheCounterOfTheirTable) {
  ImportEvery();
  const auto all = Read();
  EXPECT_GE(all.size(), 37U);
  for (const auto& [table, ids] : all) {
    EXPECT_EQ(ids.lowest, 1) << table;
    EXPECT_GE(ids.highest, 2) << table;
    EXPECT_EQ(ids.counter, ids.highest) << table;
  }
}

TEST_F(IdentifiersTest, AreNotThoseOfRowsThatAreGone) {
  ImportEvery();
  const auto before = Read();
  std::string removal = "DELETE FROM measurement; DELETE FROM measurement_chunk;";
  removal += "DELETE FROM subgroup; DELETE FROM subgroup_block;";
  for (const auto& table : store::Tables())
    removal += "DELETE FROM " + std::string(table.name) + ";";
  store::RunSql(Path(), removal);
  ImportEvery();
  const auto after = Read();
  for (const auto& [table, ids] : before) {
    EXPECT_EQ(after.at(table).lowest, ids.highest + 1) << table;
    EXPECT_GE(after.at(table).highest, ids.highest + 2) << table;
    EXPECT_EQ(after.at(table).counter, after.at(table).highest) << table;
  }
}

TEST_F(IdentifiersTest, TheHighestRowLeavesAGap) {
  ImportEvery();
  const auto before = Read();
  std::string removal;
  for (const auto& [table, ids] : before) {
    removal += "DELETE FROM " + table + " WHERE id = " + std::to_string(ids.highest) + ";";
  }
  removal += "DELETE FROM measurement";
  store::RunSql(Path(), removal);
  Import("part,process,test,subgroup,time,value,job\nNew,New,New,New,2024-02-01,1,New\n");
  Import("code,name\nNew,new\n", ImportKind::Defects);
  Import("part,test,usl\nNew,New,5\n", ImportKind::Limits);
  Data().Set("time_zone", "UTC");
  const auto after = Read();
  for (const auto* const table : {"part", "process", "test", "job", "defect", "stream", "context",
                                  "subgroup", "spec_limit", "setting"}) {
    EXPECT_EQ(after.at(table).highest, before.at(table).highest + 1) << table;
  }
}

TEST_F(IdentifiersTest, WhatARefusedImportTookIsGivenAgain) {
  ImportEvery();
  const auto before = Read();
  EXPECT_NE(ImportFailure("part,process,test,subgroup,time,value,lot,comment\n"
                          "N1,N1,N1,N1,2024-02-01,1,N1,N1\nN2,N2,N2,N2,2024-02-01,,N2,N2\n"),
            "");
  for (const auto& [table, ids] : Read()) EXPECT_EQ(ids.counter, before.at(table).counter) << table;
  Import("part,process,test,subgroup,time,value\nN1,N1,N1,N1,2024-02-01,1\n");
  EXPECT_EQ(Read().at("part").highest, before.at("part").highest + 1);
}

// As a file of an earlier program of this schema may be.
TEST_F(IdentifiersTest, ACounterThatLagsBehindItsRowsCatchesUp) {
  ImportEvery();
  const auto before = Read();
  store::RunSql(Path(), "DELETE FROM counter WHERE name <> 'part'; UPDATE counter SET last = 1");
  Import("part,process,test,subgroup,time,value\nNew,New,New,New,2024-02-01,1\n");
  const auto after = Read();
  for (const auto* const table : {"part", "process", "test", "stream", "subgroup"}) {
    EXPECT_EQ(after.at(table).highest, before.at(table).highest + 1) << table;
    EXPECT_EQ(after.at(table).counter, after.at(table).highest) << table;
  }
}

}  // namespace
}  // namespace orvspc::engine::import
