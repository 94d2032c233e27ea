// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "engine/QualityDatabase.h"
#include "host/cli/Command.h"
#include "select/DataSelect.h"

// The options by which every analysis says which data it looks at.
namespace orvspc::cli {

// --max, whose help and default are each command's own. Without a number in its place everything
// is taken.
constexpr Number MaximumOption(const char* help, const char* fallback) {
  return {{"max", "N", help, fallback}, 1};
}

inline constexpr Option kSince{"since", "TIME",
                               "not before: 2024-03-01 or 2024-03-01T08:00, UTC without a zone"};
inline constexpr Option kUntil{"until", "TIME", "not after; a day counts to its end"};

// --db and all that narrow the data, without --max.
std::vector<Option> SelectionOptions();

// Refusal for a name that the database does not have.
std::shared_ptr<DataSelect> MakeSelection(const Arguments& arguments, const Number& maximum,
                                          const QualityDatabase& database);

// A time of the command line as a date in UTC; a bare day is its first second, or its last one with
// end_of_day. Misuse names the option.
double DateOption(const Option& option, const std::string& text, bool end_of_day);

}  // namespace orvspc::cli
