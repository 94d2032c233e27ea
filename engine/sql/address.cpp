// SPDX-License-Identifier: Apache-2.0
#include "engine/sql/address.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <optional>
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

// What was meant as an address, however its scheme is spelled.
struct Meant {
  std::size_t user = 0;       // where the user begins
  bool names_scheme = false;  // and not a user alone
};

std::optional<Meant> MeantAddress(std::string_view text) {
  if (const auto scheme = SchemeLength(text); scheme != 0) return Meant{scheme, true};
  constexpr std::string_view kLetters = "abcdefghijklmnopqrstuvwxyz", kAround = " \t\n\r-\"'",
                             kOfSchemes = "abcdefghijklmnopqrstuvwxyz0123456789+._-:",
                             kEnds = ":;/\\", kOurs = "postgre";
  const auto lower = Lower(text);
  const std::string_view all = lower;
  const auto begin = std::min(all.find_first_not_of(kAround), all.size());
  const auto slash = std::min(all.find('/', begin), all.size());
  const auto head = all.substr(begin, slash - begin);
  const auto user_after = [&](std::size_t end) {
    return std::min(all.find_first_not_of(kEnds, end), all.size());
  };
  const auto ours = head.find(kOurs);
  const auto colon = head.find(':');
  // Of a drive there is one letter.
  const bool is_scheme = slash < all.size() && head.ends_with(':') && head.size() > 2 &&
                         kLetters.find(head[0]) != head.npos &&
                         head.find_first_not_of(kOfSchemes) == head.npos &&
                         (colon == head.size() - 1 || ours != head.npos);
  if (is_scheme) {
    return Meant{user_after(slash), ours != head.npos || all.substr(slash).starts_with("//")};
  }
  if (ours != head.npos) {
    const auto end = std::min(all.find_first_not_of(kLetters, begin + ours), all.size());
    const auto rest = all.substr(end);
    return Meant{user_after(end), rest.starts_with(':') || rest.starts_with("//")};
  }
  if (all.substr(slash).starts_with("//") && head.empty()) return Meant{user_after(slash), false};
  const auto at = all.rfind('@');
  const bool has_user = colon != head.npos && colon > 1 && at != all.npos && at > begin + colon &&
                        all.find('/', at) != all.npos;
  return has_user ? std::optional(Meant{begin, false}) : std::nullopt;
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

bool IsMistyped(std::string_view text) {
  const auto meant = MeantAddress(text);
  return meant && meant->names_scheme && !IsAddress(text);
}

std::string WithoutPasswords(std::string_view text) {
  const auto meant = MeantAddress(text);
  // A password that is not written as it should be may have any character in it, so what follows
  // one is not shown either.
  const auto [secret, value] = FirstSecret(text);
  if (!meant) {
    return value == text.npos ? std::string(text) : std::string(text.substr(0, value)) + "...";
  }
  const auto at = text.rfind('@');
  auto shown = text.substr(0, std::max(secret, meant->user));
  if (secret != text.npos && secret > meant->user) shown.remove_suffix(1);  // the ? or &
  if (at == text.npos) return std::string(shown);
  const auto user = shown.substr(0, std::min(shown.find(':', meant->user), at));
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
