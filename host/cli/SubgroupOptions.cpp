// SPDX-License-Identifier: Apache-2.0
#include "host/cli/SubgroupOptions.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>

namespace orvspc::cli {

namespace {

std::int32_t NumberOf(const std::string& word) {
  const auto digits = word.starts_with('#') ? word.substr(1) : word;
  std::int32_t id = 0;
  const auto* const end = digits.data() + digits.size();
  const auto read = std::from_chars(digits.data(), end, id);
  if (read.ec != std::errc() || read.ptr != end || id < 1) {
    throw Misuse("\"" + word + "\" is no subgroup; write it as #4711");
  }
  return id;
}

std::string Listed(const std::vector<std::int32_t>& ids) {
  constexpr std::size_t kMax = 10;
  std::string text;
  for (std::size_t i = 0; i < std::min(ids.size(), kMax); ++i) {
    text += (i == 0 ? "#" : " #") + std::to_string(ids[i]);
  }
  return text + (ids.size() > kMax ? " ..." : "");
}

}  // namespace

std::vector<std::int32_t> SubgroupsOf(const Arguments& arguments, const QualityDatabase& database,
                                      std::span<const std::string> words) {
  std::vector<std::int32_t> ids;
  for (const auto& word : words) ids.push_back(NumberOf(word));
  if (!ids.empty()) {
    const auto other = arguments.FirstOf(std::array{kOfPart, kOfProcess, kLabel, kAt, kAll});
    if (!other.empty()) throw Misuse(other + " does not go with the number of a subgroup");
    return ids;
  }
  const auto part = arguments.Value(kOfPart).value_or("");
  const auto process = arguments.Value(kOfProcess).value_or("");
  const auto label = arguments.Value(kLabel).value_or("");
  std::optional<std::int32_t> time;
  if (const auto at = arguments.Value(kAt)) time = StampOf(kAt, *at);
  if (part.empty() && process.empty() && label.empty() && !time) {
    throw Misuse("which subgroup? #4711, or --part, --process, --label and --at");
  }
  ids = database.FindSubgroups(part, process, label, time);
  if (ids.empty()) throw Refusal("there is no such subgroup");
  if (ids.size() > 1 && !arguments.Has(kAll)) {
    throw Refusal(std::to_string(ids.size()) + " subgroups fit (" + Listed(ids) +
                  "); name one, or --all");
  }
  return ids;
}

std::int32_t SubgroupOf(const Arguments& arguments, const QualityDatabase& database,
                        std::span<const std::string> words) {
  const auto ids = SubgroupsOf(arguments, database, words);
  if (ids.size() != 1) throw Misuse("this is done with one subgroup at a time");
  return ids.front();
}

std::optional<std::int32_t> TestOf(const Arguments& arguments, const QualityDatabase& database) {
  const auto name = arguments.Value(kOfTest);
  if (!name) return std::nullopt;
  if (const auto id = database.Find(ItemKind::Test, *name)) return id;
  throw Refusal("there is no test \"" + *name + "\"");
}

std::int32_t StampOf(const Option& option, const std::string& text, bool end_of_day) {
  const auto time = ParseTime(text, end_of_day);
  if (!time || *time > std::numeric_limits<std::int32_t>::max() ||
      *time <= std::numeric_limits<std::int32_t>::min()) {
    throw Misuse("--" + std::string(option.name) +
                 " takes a time such as 2024-02-29T12:30, not \"" + text + "\"");
  }
  return static_cast<std::int32_t>(*time);
}

std::string VerbOf(const Arguments& arguments, const std::vector<std::string>& verbs) {
  const auto& words = arguments.Positional();
  if (words.empty()) throw Misuse("what is to be done? " + Joined(verbs));
  if (std::ranges::find(verbs, words.front()) == verbs.end()) {
    throw Misuse("there is no \"" + words.front() + "\", only " + Joined(verbs));
  }
  return words.front();
}

}  // namespace orvspc::cli
