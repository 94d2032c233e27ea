// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

// What a quality database holds beside its values, table by table: for what goes through all of it.
namespace orvspc::engine::store {

enum class TableUse {
  Content,        // in any order
  Ordered,        // of two rows that hold from the same time on, the later one counts
  IdentifierMap,  // only maps identifiers
  History,        // how it came to be so; no part of the digest
};

// A table and its columns, in words with blanks between them:
//   id                    the identifier of the row
//   name:i name:r name:t  a whole number, a real number, a text; each may be null
//   name>table            an identifier of that table
//   name#                 an identifier of a subgroup
//   name*                 an identifier of the kind of item that the row's group has
//   name!                 an identifier of another row of the table, which has no name and so is no
//                         part of the digest
struct Table {
  std::string_view name, columns;
  TableUse use = TableUse::Content;
};

// Each table comes after those that it refers to.
std::span<const Table> Tables();

enum class ColumnKind { Id, Number, Real, Text, Reference, Subgroup, Member, Row };
struct Column {
  std::string_view name;
  ColumnKind kind = ColumnKind::Number;
  std::string_view table;  // of a reference
  // Identifiers that no name stands for.
  bool IsOfRow() const { return kind == ColumnKind::Id || kind == ColumnKind::Row; }
};
std::vector<Column> ColumnsOf(const Table& table);

// Selects every row, by identifier where there is one, with the names that identifiers stand for
// and without the identifiers of rows. The text lives as long as the program.
std::string_view SelectNamed(const Table& table);
// Selects every row as it is stored, in the same order.
std::string_view SelectStored(const Table& table);
// A row as it is stored: "part(id, name)".
std::string RowOf(const Table& table);

}  // namespace orvspc::engine::store
