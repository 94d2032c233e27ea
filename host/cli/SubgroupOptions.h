// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/cli/Command.h"

// How a command line names subgroups that are there: "#4711", or what people know them by.
namespace orvspc::cli {

inline constexpr Option kOfPart{"part", "NAME", "the part of the subgroup"};
inline constexpr Option kOfProcess{"process", "NAME", "the process of the subgroup"};
inline constexpr Option kOfTest{"test", "NAME", "the test; without it all that it has values of"};
inline constexpr Option kLabel{"label", "TEXT", "what the subgroup is called"};

// Of these words, each "#4711" or "4711", or of the options where there are none.
// Misuse: both, or neither. Refusal: none or several fit.
std::vector<std::int32_t> SubgroupsOf(const Arguments& arguments, const QualityDatabase& database,
                                      std::span<const std::string> words);
// The same where only one can be meant.
std::int32_t SubgroupOf(const Arguments& arguments, const QualityDatabase& database,
                        std::span<const std::string> words);
// Of --test; none without it. Refusal for an unknown name.
std::optional<std::int32_t> TestOf(const Arguments& arguments, const QualityDatabase& database);

// A time of the command line as a stamp. Misuse.
std::int32_t StampOf(const Option& option, const std::string& text, bool end_of_day = false);

// The verb of a command such as "edit flag", its first word. Misuse.
std::string VerbOf(const Arguments& arguments, const std::vector<std::string>& verbs);

}  // namespace orvspc::cli
