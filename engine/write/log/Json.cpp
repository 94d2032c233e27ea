// SPDX-License-Identifier: Apache-2.0
#include "engine/write/log/Json.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <stdexcept>

namespace orvspc::engine::log {

Json Number(double value) {
  constexpr double kAllWhole = 9007199254740992.0;  // 2^53
  const bool is_whole = std::fabs(value) <= kAllWhole && value == std::floor(value);
  if (is_whole && !(value == 0.0 && std::signbit(value))) return static_cast<std::int64_t>(value);
  return value;
}

void AppendNumber(std::string& out, double value) {
  std::array<char, 64> text{};
  auto* const begin = text.data();
  auto* const end = begin + text.size();
  const auto number = Number(value);
  out.append(begin, number.is_number_float()
                        ? nlohmann::detail::to_chars(begin, end, value)
                        : std::to_chars(begin, end, number.get<std::int64_t>()).ptr);
}

void AppendText(std::string& out, std::string_view text) {
  const auto is_plain = [](char c) { return c >= ' ' && c <= '~' && c != '"' && c != '\\'; };
  if (std::ranges::all_of(text, is_plain)) {
    out.append(1, '"').append(text).append(1, '"');
  } else {
    out += CanonicalText(text);
  }
}

std::string CanonicalText(const Json& json) {
  return json.is_null() ? std::string() : json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

namespace {

// What is copied, written or compared level by level must not have very many of them.
bool IsNestedDeeply(std::string_view text) {
  int depth = 0;
  bool is_in_text = false;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const char letter = text[at];
    if (is_in_text && letter == '\\') {
      ++at;
    } else if (letter == '"') {
      is_in_text = !is_in_text;
    } else if (!is_in_text && (letter == '[' || letter == '{')) {
      if (++depth > kMaxJsonDepth) return true;
    } else if (!is_in_text && (letter == ']' || letter == '}')) {
      --depth;
    }
  }
  return false;
}

}  // namespace

Json TryReadJson(std::string_view text) {
  if (IsNestedDeeply(text)) return Json(Json::value_t::discarded);
  return Json::parse(text, nullptr, false);
}

Json ReadJson(std::string_view text) {
  if (text.empty()) return {};
  if (IsNestedDeeply(text)) {
    throw std::runtime_error("is nested deeper than " + std::to_string(kMaxJsonDepth) + " levels");
  }
  auto json = TryReadJson(text);
  if (json.is_discarded()) throw std::runtime_error("is no JSON");
  return json;
}

}  // namespace orvspc::engine::log
