// SPDX-License-Identifier: Apache-2.0
#include "engine/sql/postgres/server_failure.h"

#include <algorithm>
#include <memory>
#include <string_view>

namespace orvspc::engine::sql::postgres {
namespace {

// By SQLSTATE or its first characters; the first that fits counts.
constexpr std::pair<std::string_view, SqlError::Kind> kKinds[] = {
    {"55P03", SqlError::Kind::Locked},  {"40P01", SqlError::Kind::Locked},
    {"53100", SqlError::Kind::Full},    {"25006", SqlError::Kind::ReadOnly},
    {"XX001", SqlError::Kind::Damaged}, {"XX002", SqlError::Kind::Damaged},
    {"23", SqlError::Kind::Constraint}, {"08", SqlError::Kind::Lost},
    {"57P", SqlError::Kind::Lost},      {"25P03", SqlError::Kind::Lost},
};

constexpr std::string_view kNoRight = "its role may not do this: ";
constexpr std::string_view kNoRoom = "its server takes no more connections: ";

// Failures whose message alone would not say what to do.
constexpr std::pair<std::string_view, std::string_view> kExplained[] = {
    {"42501", kNoRight},
    {"53200", "its server has no memory left: "},
    {"53300", kNoRoom},
    {"57014", "its server stopped the statement: "},
    {"42P01", "its tables are not all there: "},
    {"3F000", "its schema is not there: "},
};

// The same at connecting, where libpq gives no state, by how the server's words begin.
constexpr std::pair<std::string_view, std::string_view> kExplainedWords[] = {
    {"permission denied for database", kNoRight},
    {"too many connections", kNoRoom},
    {"sorry, too many clients", kNoRoom},
    {"remaining connection slots are reserved", kNoRoom},
};

std::string FirstLine(std::string_view text) {
  return std::string(text.substr(0, text.find('\n')));
}

std::string Field(const PGresult* result, int field) {
  const char* text = PQresultErrorField(result, field);
  return text == nullptr ? std::string() : FirstLine(text);
}

using Options = std::unique_ptr<PQconninfoOption, decltype(&PQconninfoFree)>;

// Whether the text may have a password of the connection in it.
bool HasSecret(std::string_view text, PGconn* connection) {
  const Options options(PQconninfo(connection), &PQconninfoFree);
  for (const auto* option = options.get(); option != nullptr && option->keyword != nullptr;
       ++option) {
    const std::string_view keyword = option->keyword;
    if (option->val == nullptr) continue;
    const std::string_view value = option->val;
    // The end of a password with an @ or a / in it, or its begin.
    const bool is_place = keyword == "host" || keyword == "dbname";
    if (is_place && value.find('@') != value.npos) return true;
    if (keyword == "port" && value.find_first_not_of("0123456789,") != value.npos) return true;
    if (keyword.find("password") == keyword.npos) continue;
    if (!value.empty() && text.find(value) != text.npos) return true;
  }
  return false;
}

}  // namespace

SqlError Lost() { return {SqlError::Kind::Lost, "the connection to its server was lost"}; }

SqlError FailureOf(const PGresult* result) {
  const auto state = result == nullptr ? std::string() : Field(result, PG_DIAG_SQLSTATE);
  for (const auto& [start, kind] : kKinds) {
    if (!state.starts_with(start)) continue;
    return kind == SqlError::Kind::Lost ? Lost()
                                        : SqlError(kind, Field(result, PG_DIAG_MESSAGE_PRIMARY));
  }
  // The server's failures have a state; libpq's own are of the connection, even where its status
  // does not say so yet.
  if (state.empty()) return Lost();
  auto text = Field(result, PG_DIAG_MESSAGE_PRIMARY);
  for (const auto& [start, explained] : kExplained) {
    if (state.starts_with(start)) text.insert(0, explained);
  }
  return {SqlError::Kind::Other, text};
}

SqlError ConnectFailureOf(PGconn* connection, const std::string& address) {
  if (!Options(PQconninfoParse(address.c_str(), nullptr), &PQconninfoFree)) {
    // The reason quotes the address, of which nobody knows what is the password.
    return {SqlError::Kind::Lost,
            "there is no connection to its server: the address cannot be read; a %, /, ?, & or @ "
            "in a name or password is written as %25, %2F, %3F, %26 or %40"};
  }
  std::string_view text = PQerrorMessage(connection);
  while (text.ends_with('\n')) text.remove_suffix(1);
  std::string reason;
  // The server's own words come after its severity, which may be translated.
  constexpr std::string_view kFailed = " failed: ";
  const auto failed = text.rfind(kFailed);
  if (failed != text.npos) {
    const auto words = FirstLine(text.substr(failed + kFailed.size()));
    const auto severity = words.find(":  ");
    reason = severity == words.npos ? "there is no connection to its server: " + words
                                    : words.substr(severity + 3);
    for (const auto& [start, explained] : kExplainedWords) {
      if (reason.starts_with(start)) {
        reason.insert(0, explained);
        break;
      }
    }
  } else {
    reason = "there is no connection to its server: " + FirstLine(text);
  }
  if (HasSecret(reason, connection)) reason = "there is no connection to its server";
  return {SqlError::Kind::Lost, reason};
}

}  // namespace orvspc::engine::sql::postgres
