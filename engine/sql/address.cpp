// SPDX-License-Identifier: Apache-2.0
#include "engine/sql/address.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <utility>

namespace orvspc::engine::sql {
namespace {

constexpr std::string_view kSchemes[] = {"postgresql://", "postgres://"};

std::atomic<ServerOpener> server_opener = nullptr;

constexpr std::size_t kLongestScheme = kSchemes[0].size();

std::string Lower(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower;
}

// In any case; 0: there is none.
std::size_t SchemeLength(std::string_view text) {
  const auto start = Lower(text.substr(0, kLongestScheme));
  for (const auto scheme : kSchemes) {
    if (start.starts_with(scheme)) return scheme.size();
  }
  return 0;
}

// The name of a parameter with %77 and the like resolved.
std::string Decoded(std::string_view name) {
  std::string decoded;
  for (std::size_t i = 0; i < name.size(); ++i) {
    unsigned code = 0;
    if (name[i] == '%' && i + 2 < name.size() &&
        std::from_chars(&name[i + 1], &name[i + 1] + 2, code, 16).ec == std::errc()) {
      decoded += static_cast<char>(code);
      i += 2;
    } else {
      decoded += name[i];
    }
  }
  return decoded;
}

bool IsSecret(std::string_view parameter) {
  const auto name = Lower(Decoded(parameter));
  return name.find("password") != std::string::npos || name == "passwd";
}

// Where the first parameter with a password begins, and where its value does.
std::pair<std::size_t, std::size_t> FirstSecret(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\n\r", kEnds = "?& \t\n\r";
  for (auto equals = text.find('='); equals != text.npos; equals = text.find('=', equals + 1)) {
    const auto last = text.substr(0, equals).find_last_not_of(kBlanks);
    if (last == text.npos) continue;
    const auto before = text.substr(0, last + 1).find_last_of(kEnds);
    const auto begin = before == text.npos ? 0 : before + 1;
    if (IsSecret(text.substr(begin, last + 1 - begin))) return {begin, equals + 1};
  }
  return {text.npos, text.npos};
}

}  // namespace

bool IsAddress(std::string_view text) { return SchemeLength(text) != 0; }

std::string WithoutPasswords(std::string_view text) {
  const auto scheme = SchemeLength(text);
  // A password that is not written as it should be may have any character in it, so what follows
  // one is not shown either.
  const auto [secret, value] = FirstSecret(text);
  if (scheme == 0) {
    return value == text.npos ? std::string(text) : std::string(text.substr(0, value)) + "...";
  }
  const auto at = text.rfind('@');
  auto shown = text.substr(0, std::max(secret, scheme));
  if (secret != text.npos && secret > scheme) shown.remove_suffix(1);  // the ? or &
  if (at == text.npos) return std::string(shown);
  const auto user = shown.substr(0, std::min(shown.find(':', scheme), at));
  return std::string(user) + std::string(at < shown.size() ? shown.substr(at) : "");
}

void UseServer(ServerOpener opener) { server_opener = opener; }

bool HasServer() { return server_opener.load() != nullptr; }

std::unique_ptr<Connection> OpenServer(const std::string& address,
                                       const std::function<void(Connection&)>& check) {
  const auto opener = server_opener.load();
  if (opener == nullptr) {
    throw SqlError(SqlError::Kind::Other, "this program was built without PostgreSQL");
  }
  const auto scheme = SchemeLength(address);
  return opener(Lower(address.substr(0, scheme)) + address.substr(scheme), check);
}

}  // namespace orvspc::engine::sql
