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

std::size_t SchemeLength(std::string_view text) {
  for (const auto scheme : kSchemes)
    if (text.starts_with(scheme)) return scheme.size();
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
  const auto name = Decoded(parameter.substr(0, parameter.find('=')));
  return name.find("password") != std::string::npos || name == "passwd";
}

}  // namespace

bool IsAddress(std::string_view text) { return SchemeLength(text) != 0; }

std::string WithoutPasswords(std::string_view text) {
  const auto scheme = SchemeLength(text);
  if (scheme == 0) return std::string(text);
  auto rest = text.substr(scheme);
  std::string shown(text.substr(0, scheme));
  // The last @ before the path: one inside a password should have been %40.
  const auto authority = rest.substr(0, rest.find_first_of("/?"));
  if (const auto at = authority.rfind('@'); at != std::string_view::npos) {
    shown += authority.substr(0, std::min(authority.find(':'), at));
    rest.remove_prefix(at);
  }
  const auto query = rest.find('?');
  shown += rest.substr(0, query);
  if (query == std::string_view::npos) return shown;
  char before = '?';
  for (rest.remove_prefix(query + 1);;) {
    const auto end = std::min(rest.find('&'), rest.size());
    if (const auto parameter = rest.substr(0, end); !IsSecret(parameter)) {
      shown += std::exchange(before, '&');
      shown += parameter;
    }
    if (end == rest.size()) return shown;
    rest.remove_prefix(end + 1);
  }
}

void UseServer(ServerOpener opener) { server_opener = opener; }

bool HasServer() { return server_opener.load() != nullptr; }

std::unique_ptr<Connection> OpenServer(const std::string& address,
                                       const std::function<void(Connection&)>& check) {
  const auto opener = server_opener.load();
  if (opener == nullptr) {
    throw SqlError(SqlError::Kind::Other, "this program was built without PostgreSQL");
  }
  return opener(address, check);
}

}  // namespace orvspc::engine::sql
