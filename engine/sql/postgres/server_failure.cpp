// SPDX-License-Identifier: Apache-2.0
#include "engine/sql/postgres/server_failure.h"

#include <memory>
#include <string_view>
#include <utility>

#include "engine/sql/address.h"

namespace orvspc::engine::sql::postgres {
namespace {

// By SQLSTATE or its first characters; the first that fits counts.
constexpr std::pair<std::string_view, SqlError::Kind> kKinds[] = {
    {"55P03", SqlError::Kind::Locked},  {"40P01", SqlError::Kind::Locked},
    {"53100", SqlError::Kind::Full},    {"25006", SqlError::Kind::ReadOnly},
    {"XX001", SqlError::Kind::Damaged}, {"XX002", SqlError::Kind::Damaged},
    {"42501", SqlError::Kind::NoRight}, {"23", SqlError::Kind::Constraint},
    {"08", SqlError::Kind::Lost},       {"57P", SqlError::Kind::Lost},
    {"25P03", SqlError::Kind::Lost},
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

// Whether a password is in the text, or its end is taken for a host, a port or a database since
// there is an @ or a / in it.
struct Secrets {
  bool are_in_text = false, are_in_places = false;
};

Secrets SecretsOf(PGconn* connection, std::string_view text) {
  Secrets found;
  const Options options(PQconninfo(connection), &PQconninfoFree);
  for (const auto* option = options.get(); option != nullptr && option->keyword != nullptr;
       ++option) {
    const std::string_view keyword = option->keyword;
    if (option->val == nullptr) continue;
    const std::string_view value = option->val;
    const bool is_odd = (keyword == "host" && value.find('@', 1) != value.npos) ||
                        (keyword == "dbname" && value.find('@') != value.npos) ||
                        (keyword == "port" && value.find_first_not_of("0123456789,") != value.npos);
    if (is_odd) found.are_in_places = true;
    if (keyword.find("password") == keyword.npos) continue;
    if (!value.empty() && text.find(value) != text.npos) found.are_in_text = true;
  }
  return found;
}

constexpr std::string_view kNone = "there is no connection to its server";
constexpr std::string_view kSpelling =
    "a %, /, ?, & or @ in a name or password is written as %25, %2F, %3F, %26 or %40";

// Why an address cannot be read. libpq quotes it, of which nobody knows what is the password; but
// what is printed of it may be quoted.
std::string WhyUnreadable(const std::string& address) {
  char* text = nullptr;
  const Options options(PQconninfoParse(WithoutPasswords(address).c_str(), &text), &PQconninfoFree);
  const std::unique_ptr<char, decltype(&PQfreemem)> reason(text, &PQfreemem);
  return options || reason == nullptr ? "; " + std::string(kSpelling)
                                      : ": " + FirstLine(reason.get());
}

// "on socket "/run/postgresql/.s.PGSQL.5432"", before the place where "failed" is.
std::string PlaceIn(std::string_view text, std::size_t failed) {
  constexpr std::string_view kBefore = "connection to server ";
  const auto at = text.rfind(kBefore, failed);
  if (at == text.npos) return {};
  return " (" + std::string(text.substr(at + kBefore.size(), failed - at - kBefore.size())) + ")";
}

}  // namespace

SqlError Lost() { return {SqlError::Kind::Lost, "the connection to its server was lost"}; }

SqlError FailureOf(const PGresult* result) {
  const auto state = result == nullptr ? std::string() : Field(result, PG_DIAG_SQLSTATE);
  // The server's failures have a state; libpq's own are of the connection, even where its status
  // does not say so yet.
  if (state.empty()) return Lost();
  auto text = Field(result, PG_DIAG_MESSAGE_PRIMARY);
  for (const auto& [start, explained] : kExplained) {
    if (state.starts_with(start)) text.insert(0, explained);
  }
  for (const auto& [start, kind] : kKinds) {
    if (!state.starts_with(start)) continue;
    return kind == SqlError::Kind::Lost ? Lost() : SqlError(kind, text);
  }
  return {SqlError::Kind::Other, text};
}

SqlError ConnectFailureOf(PGconn* connection, const std::string& address) {
  const auto none = std::string(kNone);
  if (!Options(PQconninfoParse(address.c_str(), nullptr), &PQconninfoFree)) {
    return {SqlError::Kind::Lost, none + ": the address cannot be read" + WhyUnreadable(address)};
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
    reason = severity == words.npos ? none + ": " + words + PlaceIn(text, failed)
                                    : words.substr(severity + 3);
    for (const auto& [start, explained] : kExplainedWords) {
      if (reason.starts_with(start)) {
        reason.insert(0, explained);
        break;
      }
    }
  } else {
    reason = none + ": " + FirstLine(text);
  }
  const auto secrets = SecretsOf(connection, reason);
  if (secrets.are_in_places) {
    reason = none + "; " + std::string(kSpelling);
  } else if (secrets.are_in_text) {
    reason = none;
  }
  return {SqlError::Kind::Lost, reason};
}

}  // namespace orvspc::engine::sql::postgres
