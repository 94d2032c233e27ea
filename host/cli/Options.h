// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/render/core/Words.h"

// The command line of one subcommand.
namespace orvspc::cli {

// The command line is wrong: one line, exit status 2.
class Misuse : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Something could not be done: one line, exit status 1.
class Refusal : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct Option {
  const char* name;             // without the two dashes
  const char* value = nullptr;  // what --help calls the value; null for an option without one
  const char* help = "";
  const char* fallback = "";  // for --help; of a Choice or a Number also what holds without it
  bool repeats = false;
  render::WordTable words = {};  // that it takes; empty: any text
  bool may_lack_value = false;   // "--name" or "--name=value"
  bool may_be_empty = false;     // an empty value is one
};

// An option whose words are values of an enumeration. Without a fallback the first one is it.
template <class Type>
struct Choice : Option {};

// A whole number in [min, max].
struct Number : Option {
  std::int32_t min = 0, max = INT32_MAX;
};

// A number; with a maximum a percentage from 0 to it.
struct Real : Option {
  double max = 0.0;
};

class Arguments {
 public:
  bool Has(const Option& option) const { return values_.contains(option.name); }
  std::optional<std::string> Value(const Option& option) const;
  const std::vector<std::string>& Values(const Option& option) const;
  // Misuse when it was not given.
  std::string Required(const Option& option) const;

  // The value, or that of the fallback. Misuse, which says what the option takes, for another word.
  template <class Type>
  Type Get(const Choice<Type>& option) const {
    return static_cast<Type>(Chosen(option));
  }
  // Empty when it was not given and its fallback is no number.
  std::optional<std::int32_t> Get(const Number& option) const;
  std::optional<double> Get(const Real& option) const;

  // "--lot": the first of these that was given; empty: none was.
  std::string FirstOf(std::span<const Option> options) const;

  // The same without one option.
  Arguments Without(const Option& option) const;

  const std::vector<std::string>& Positional() const { return positional_; }

 private:
  friend Arguments ParseArguments(std::span<const std::string>, std::span<const Option>);
  std::int32_t Chosen(const Option& option) const;

  std::map<std::string, std::vector<std::string>, std::less<>> values_;
  std::vector<std::string> positional_;
};

// "--name value" and "--name=value"  alike
// "-o FILE"                          is --output
// "--"                               ends the options
// "-5", "-03:30"                     values, since no option begins with a digit
// Misuse                             unknown option, missing or superfluous value, second value
Arguments ParseArguments(std::span<const std::string> words, std::span<const Option> options);

// Options that belong together, of a command with verbs that take different ones.
struct PartOfOptions {
  unsigned part;  // a bit
  std::vector<Option> options;
};
std::vector<Option> OptionsOf(std::span<const PartOfOptions> parts);
// Misuse where an option was given that is of another part than these. called: "limits approve"
void RefuseOthers(const Arguments& arguments, std::span<const PartOfOptions> parts, unsigned taken,
                  const std::string& called);

// Two columns, for --help.
std::string DescribeOptions(std::span<const Option> options, std::size_t columns);

// "a,b" as a and b; of two commas that touch an empty word.
std::vector<std::string> Split(const std::string& text);

// "a, b or c"
std::string Joined(const std::vector<std::string>& words);

// The value of one of the words; Misuse says that the option or setting takes only them.
std::int32_t ValueOf(const std::string& what, render::WordTable words, const std::string& text);

}  // namespace orvspc::cli
