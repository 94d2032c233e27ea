// SPDX-License-Identifier: Apache-2.0
#include "engine/sql/postgres/spelling.h"

#include <algorithm>
#include <charconv>
#include <utility>
#include <vector>

namespace orvspc::engine::sql::postgres {
namespace {

bool IsWordPart(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

// Cuts SQL into words, literals, comments, and what lies between, a character each.
std::string_view NextToken(std::string_view sql) {
  const auto until = [&](std::size_t end) { return sql.substr(0, std::min(end, sql.size())); };
  if (IsWordPart(sql[0])) {
    const auto* const end = std::find_if_not(sql.begin(), sql.end(), IsWordPart);
    return until(static_cast<std::size_t>(end - sql.begin()));
  }
  if (sql[0] == '\'')
    return until(sql.find('\'', 1) == sql.npos ? sql.npos : sql.find('\'', 1) + 1);
  if (sql.starts_with("--")) return until(sql.find('\n'));
  return until(1);
}

// The latest words of a definition, the newest last.
struct Words {
  std::string_view newest[4];

  void Add(std::string_view word) {
    std::copy(newest + 1, std::end(newest), newest);
    newest[3] = word;
  }
  // Counted from the newest, which is 0.
  std::string_view Back(std::size_t i) const { return newest[3 - i]; }
};

}  // namespace

Spelled SpellStatement(std::string_view sql) {
  Spelled spelled;
  while (!sql.empty()) {
    auto token = NextToken(sql);
    sql.remove_prefix(token.size());
    if (token != "?") {
      spelled.text += token;
      continue;
    }
    token = NextToken(sql);
    int number = 0;
    std::from_chars(token.data(), token.data() + token.size(), number);
    spelled.parameters = std::max(spelled.parameters, number);
    spelled.text += '$';
  }
  return spelled;
}

std::string SpellTables(std::string_view sql) {
  std::string text, after;
  std::string_view table, column;
  Words words;
  bool at_column = false;
  while (!sql.empty()) {
    const auto token = NextToken(sql);
    sql.remove_prefix(token.size());
    if (!IsWordPart(token[0])) {
      if (token == ";") text += std::exchange(after, {});
      text += token;
      // A column begins after a bracket or a comma.
      if (token == "(" || token == ",") at_column = true;
      continue;
    }
    words.Add(token);
    if (at_column || words.Back(1) == "COLUMN") column = token;
    at_column = false;
    if (words.Back(1) == "TABLE") table = token;
    if (token == "ROWID") {
      text.resize(text.rfind("WITHOUT"));
    } else if (token == "INTEGER") {
      text += "BIGINT";
    } else if (token == "REAL") {
      text += "DOUBLE PRECISION";
    } else if (token == "TEXT") {
      text += "TEXT COLLATE \"C\"";
    } else if (token == "BLOB") {
      text += "BYTEA";
      after += ";\nALTER TABLE " + std::string(table) + " ALTER COLUMN " + std::string(column) +
               " SET STORAGE EXTERNAL";
    } else if (token == "ifnull") {
      text += "coalesce";
    } else {
      text += token;
    }
  }
  return text + after;
}

}  // namespace orvspc::engine::sql::postgres
