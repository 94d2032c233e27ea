// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "engine/Embedded.h"
#include "host/cli/Options.h"
#include "select/DataSelect.h"

// The options by which every analysis says which data it looks at.
namespace orvspc::host {

// maximum: what --max does in the command.
std::vector<Option> SelectionOptions(
    const char* maximum = "the newest N subgroups at most (default 25)");

// Without --max at most default_maximum. Refusal for a name that the database does not have.
std::shared_ptr<DataSelect> MakeSelection(const Arguments& arguments, EmbeddedDatabase& database,
                                          std::int32_t default_maximum);

// "2024-03-01", "2024-03-01T08:00[:00][Z|+01:00]" as a date in UTC; a bare day is its first second,
// or its last one with end_of_day. Misuse names the option.
double DateOption(const std::string& option, const std::string& text, bool end_of_day);

}  // namespace orvspc::host
