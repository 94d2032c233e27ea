// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

// Canonical JSON: of equal content there is one text. Keys stay in the order in which they are set,
// there are no blanks, numbers are the shortest that read back, whole ones without a point, texts
// are UTF-8 with no more escapes than JSON needs.
namespace orvspc::engine::log {

using Json = nlohmann::ordered_json;

// A number as it is written: whole ones, up to 2^53, as such. Not for NaN and infinities.
Json Number(double value);

// The same as texts, at the end of another one: what is written often needs no tree.
void AppendNumber(std::string& out, double value);
void AppendText(std::string& out, std::string_view text);

// Empty for null.
std::string CanonicalText(const Json& json);
// What is nested deeper is not read.
inline constexpr int kMaxJsonDepth = 32;
// Throws std::runtime_error for what is no JSON. Null for an empty text.
Json ReadJson(std::string_view text);
// Discarded for what is no JSON.
Json TryReadJson(std::string_view text);

}  // namespace orvspc::engine::log
