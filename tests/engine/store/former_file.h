// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "engine/chunks/StreamWalk.h"
#include "engine/chunks/subgroups.h"
#include "engine/schema/schema.h"
#include "engine/store/record_of_v2.h"
#include "engine/store/tables.h"
#include "engine/write/chunks/StreamWriter.h"
#include "tests/engine/store/stored_record.h"
#include "tests/postgres/test_stores.h"

// Files as releases with schema 1, 2 and 3 wrote them.
namespace orvspc::engine::store {

// A measurement as a row of schema 1 and 2.
inline void WriteFormerRecord(sql::Connection& db, std::int64_t stream,
                              const StoredRecord& record) {
  std::vector<TestRow> rows;
  for (std::size_t i = 0; i < record.values.size(); ++i) {
    rows.push_back({record.values[i], record.keys[i]});
  }
  std::vector<std::byte> packed;
  Pack({record.time, record.subgroup, record.size, record.flag}, rows, packed);
  sql::Query(db,
             "INSERT INTO measurement(stream, time, subgroup, packed, context) "
             "VALUES(?1, ?2, ?3, ?4, ?5)",
             stream, record.time, record.subgroup, packed, sql::Reference{record.context})
      .Run();
}

// The rows of a table, in those of its columns that the former schema has.
inline void WriteFormerRows(sql::Connection& from, sql::Connection& to, const Table& table) {
  std::set<std::string> known;
  for (sql::Query query(to, "SELECT name FROM pragma_table_info(?1)", table.name); query.Step();) {
    known.emplace(query.Text(0));
  }
  if (known.empty()) return;
  to.Execute("DELETE FROM " + std::string(table.name));
  const auto columns = ColumnsOf(table);
  std::string row;
  for (const auto& column : columns) {
    if (!known.contains(std::string(column.name))) continue;
    row.append(row.empty() ? std::string(table.name) + "(" : ", ").append(column.name);
  }
  const auto rows = to.InsertMany(row + ")", sql::OnConflict::Fail);
  for (sql::Query select(from, SelectStored(table)); select.Step(); rows->Add()) {
    int place = 0;
    for (int i = 0; i < static_cast<int>(columns.size()); ++i) {
      const auto& column = columns[static_cast<std::size_t>(i)];
      if (!known.contains(std::string(column.name))) continue;
      ++place;
      if (select.IsNull(i)) {
        rows->BindNull(place);
      } else if (column.kind == ColumnKind::Real) {
        rows->BindReal(place, select.Real(i));
      } else if (column.kind == ColumnKind::Text) {
        rows->BindText(place, select.Text(i));
      } else {
        rows->BindInt(place, select.Int64(i));
      }
    }
  }
  rows->Finish();
}

// What a database holds as a new file of schema 1 or 2, as far as that has a place for it.
inline void WriteFormerFile(const std::string& from, const std::string& to, std::int32_t version) {
  const auto source = tests::OpenBeside(from);
  const sql::Transaction reading(*source, sql::TransactionKind::Read);
  std::string schema;
  for (const auto& each : schema::Versions().first(static_cast<std::size_t>(version))) {
    schema += each.text;
  }
  tests::ChangeRows(to, schema);
  const auto db = tests::OpenBeside(to);
  sql::Transaction transaction(*db, sql::TransactionKind::Write);
  db->Execute("PRAGMA defer_foreign_keys = ON");
  db->SetMark(schema::kApplicationId, version);
  for (const auto& table : Tables()) WriteFormerRows(*source, *db, table);
  ForEachSubgroup(*source, 1, INT32_MAX, [&](const SubgroupFacts& each) {
    sql::Query(*db,
               "INSERT INTO subgroup(id, part, process, time, label) VALUES(?1, ?2, ?3, ?4, ?5)",
               each.id, each.part, each.process, each.time, each.label)
        .Run();
  });
  std::vector<std::int64_t> streams;
  for (sql::Query query(*source, "SELECT id FROM stream"); query.Step();) {
    streams.push_back(query.Int64(0));
  }
  for (const auto stream : streams) {
    ForEachRecord(*source, stream,
                  [&](const RecordView& view) { WriteFormerRecord(*db, stream, CopyOf(view)); });
  }
  transaction.Commit();
}

// The same as a new file of schema 3, which has values as they are and nothing of their batches.
inline void WriteVersion3File(const std::string& from, const std::string& to) {
  constexpr std::int32_t kVersion = 3;
  std::string schema;
  for (const auto& each : schema::Versions().first(kVersion)) schema += each.text;
  tests::ChangeRows(to, schema);
  // As they are once their rows are moved.
  tests::ChangeRows(to,
                    "DROP TABLE measurement_2; DROP TABLE comment_2; "
                    "DROP TABLE subgroup_descriptor_2; DROP TABLE subgroup_2");
  tests::ChangeRows(to, "PRAGMA application_id = " + std::to_string(schema::kApplicationId) +
                            "; PRAGMA user_version = 3");
  const auto db = tests::OpenBeside(to);
  std::string copying = "ATTACH '" + from + "' AS source; PRAGMA foreign_keys = OFF; BEGIN;";
  std::vector<std::string> tables;
  for (sql::Query query(*db, "SELECT name FROM sqlite_master WHERE type = 'table'");
       query.Step();) {
    tables.emplace_back(query.Text(0));
  }
  for (const auto& table : tables) {
    std::string columns;
    for (sql::Query query(*db, "SELECT name FROM pragma_table_info(?1)", table); query.Step();) {
      columns.append(columns.empty() ? "" : ", ").append(query.Text(0));
    }
    copying += "DELETE FROM " + table + "; INSERT INTO main." + table + "(" + columns +
               ") SELECT " + columns + " FROM source." + table + ";";
  }
  copying +=
      "DELETE FROM counter WHERE name IN ('batch', 'phase', 'baseline_policy', "
      "'chart_option', 'outbox'); COMMIT";
  db->Execute(copying);
  sql::Transaction transaction(*db, sql::TransactionKind::Write);
  std::vector<std::int64_t> streams;
  for (sql::Query query(*db, "SELECT id FROM stream"); query.Step();) {
    streams.push_back(query.Int64(0));
  }
  for (const auto stream : streams) {
    std::vector<StoredRecord> records;
    ForEachRecord(*db, stream, [&](const RecordView& view) { records.push_back(CopyOf(view)); });
    std::vector<Measurement> views;
    for (auto& each : records) {
      each.batch = each.entry = 0;
      views.push_back(each.View());
    }
    StreamWriter writer(*db);
    writer.Write(stream, views);
    writer.Finish();
  }
  transaction.Commit();
}

}  // namespace orvspc::engine::store
