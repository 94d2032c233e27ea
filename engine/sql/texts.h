// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

// Texts, of which not every database holds the same.
namespace orvspc::engine::sql {

// Whether every database can hold it: UTF-8 without the character NUL.
bool IsStorable(std::string_view text);

// In quotes and to be read anywhere: controls and bytes that are not UTF-8 as \x1B, and of a long
// text the beginning.
std::string Shown(std::string_view text);

// What is wrong with a text that is not storable: its Shown and the rule.
std::string NotStorable(std::string_view text);

// With the replacement character for each byte that is not UTF-8, and for NUL.
std::string MadeStorable(std::string_view text);

}  // namespace orvspc::engine::sql
