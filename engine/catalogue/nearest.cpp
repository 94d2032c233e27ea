// SPDX-License-Identifier: Apache-2.0
#include "engine/catalogue/nearest.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "engine/catalogue/References.h"
#include "platform/Utf8.h"

namespace orvspc::engine::catalogue {
namespace {

std::u32string LettersOf(std::string_view text) {
  std::u32string letters;
  for (std::size_t at = 0; at < text.size();) {
    char32_t letter = 0;
    if (!platform::TakeUtf8(text, at, letter)) letter = static_cast<unsigned char>(text[at++]);
    letters += letter >= U'A' && letter <= U'Z' ? letter - U'A' + U'a' : letter;
  }
  return letters;
}

std::size_t Distance(const std::u32string& a, const std::u32string& b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < a.size(); ++i) {
    auto diagonal = std::exchange(row[0], i + 1);
    for (std::size_t j = 0; j < b.size(); ++j) {
      const auto replaced = diagonal + (a[i] == b[j] ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, row[j] + 1, row[j + 1] + 1});
    }
  }
  return row.back();
}

}  // namespace

std::size_t EditDistance(std::string_view a, std::string_view b) {
  return Distance(LettersOf(a), LettersOf(b));
}

std::vector<std::string> NearestOf(std::string_view name, const std::vector<std::string>& names) {
  constexpr std::size_t kMost = 3, kLettersOfOne = 3, kFewestOfBegin = 2;
  const auto letters = LettersOf(name);
  const auto reach = std::max<std::size_t>(letters.size() / kLettersOfOne, 1);
  std::vector<std::pair<std::size_t, std::string>> near;
  for (const auto& each : names) {
    const auto others = LettersOf(each);
    if (letters.size() >= kFewestOfBegin && others.starts_with(letters)) {
      near.emplace_back(others.size() - letters.size(), each);
      continue;
    }
    const auto longer = std::max(letters.size(), others.size());
    if (longer - std::min(letters.size(), others.size()) > reach) continue;
    const auto distance = Distance(letters, others);
    if (distance <= reach) near.emplace_back(distance, each);
  }
  std::ranges::sort(near);
  std::vector<std::string> nearest;
  for (std::size_t i = 0; i < std::min(near.size(), kMost); ++i) nearest.push_back(near[i].second);
  return nearest;
}

std::vector<std::string> NearestNames(sql::Connection& db, ItemKind kind, std::string_view name) {
  static const auto texts = TextsByKind([](ItemKind each) {
    return "SELECT name FROM " + TableOf(each) + (IsOfStream(each) ? " WHERE active = 1" : "");
  });
  std::vector<std::string> names;
  for (sql::Query query(db, texts[static_cast<std::size_t>(kind)]); query.Step();) {
    names.emplace_back(query.Text(0));
  }
  return NearestOf(name, names);
}

std::string NoSuchItem(sql::Connection& db, ItemKind kind, std::string_view name) {
  std::string text = "there is no " + std::string(WordOf(kind)) + " \"" + std::string(name) + "\"";
  const auto nearest = NearestNames(db, kind, name);
  for (const auto& each : nearest) {
    text += (&each == &nearest.front() ? "; did you mean \"" : " or \"") + each + "\"";
  }
  return nearest.empty() ? text : text + "?";
}

}  // namespace orvspc::engine::catalogue
