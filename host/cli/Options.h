// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

// What stands on the command line of one subcommand.
namespace orvspc::host {

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
  const char* name;   // without the two dashes
  const char* value;  // what --help calls the value; null for an option without one
  const char* help;
  bool repeats = false;
};

class Arguments {
 public:
  bool Has(const std::string& name) const { return values_.contains(name); }
  std::optional<std::string> Value(const std::string& name) const;
  std::string Value(const std::string& name, const std::string& fallback) const;
  const std::vector<std::string>& Values(const std::string& name) const;
  // A whole number in [least, most]; Misuse for anything else.
  std::optional<std::int32_t> Number(const std::string& name, std::int32_t least,
                                     std::int32_t most = INT32_MAX) const;
  // The value if it is one of the words; Misuse lists them.
  std::string Choice(const std::string& name, const std::vector<std::string>& words,
                     const std::string& fallback) const;
  // Fails with Misuse when it was not given.
  std::string Required(const std::string& name) const;

  const std::vector<std::string>& Positional() const { return positional_; }

 private:
  friend Arguments ParseArguments(std::span<const std::string>, std::span<const Option>);
  std::map<std::string, std::vector<std::string>> values_;
  std::vector<std::string> positional_;
};

// "--name value" and "--name=value" alike, "-o FILE" for --output, "--" ends the options; a word
// of "-" and a digit is none. Misuse
// for an unknown option, a missing or superfluous value, or a second value where one belongs.
Arguments ParseArguments(std::span<const std::string> words, std::span<const Option> options);

// Two columns, for --help.
std::string DescribeOptions(std::span<const Option> options);

// A word as a shell takes it: as it is, or in quotes.
std::string ShellWord(const std::string& text);

// "a, b or c"
std::string Joined(const std::vector<std::string>& words);

}  // namespace orvspc::host
