// SPDX-License-Identifier: Apache-2.0
#include "host/cli/Options.h"

#include <algorithm>
#include <charconv>

namespace orvspc::host {

namespace {

// The option whose name is nearest, if it is near: a slip of the hand.
std::string Nearest(const std::string& name, std::span<const Option> options) {
  const auto distance = [](const std::string& a, const std::string& b) {
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
      std::size_t diagonal = row[0];
      row[0] = i;
      for (std::size_t j = 1; j <= b.size(); ++j) {
        const std::size_t above = row[j];
        row[j] =
            std::min({row[j] + 1, row[j - 1] + 1, diagonal + (a[i - 1] == b[j - 1] ? 0U : 1U)});
        diagonal = above;
      }
    }
    return row.back();
  };
  std::string best;
  std::size_t least = 3;
  for (const auto& option : options) {
    const std::size_t d = distance(name, option.name);
    // Of a short word every other one is near.
    if (d < least && 2 * d <= name.size()) {
      least = d;
      best = option.name;
    }
  }
  return best;
}

const Option* Find(const std::string& name, std::span<const Option> options) {
  for (const auto& option : options)
    if (name == option.name) return &option;
  return nullptr;
}

}  // namespace

std::optional<std::string> Arguments::Value(const std::string& name) const {
  const auto found = values_.find(name);
  if (found == values_.end() || found->second.empty()) return std::nullopt;
  return found->second.front();
}

std::string Arguments::Value(const std::string& name, const std::string& fallback) const {
  return Value(name).value_or(fallback);
}

const std::vector<std::string>& Arguments::Values(const std::string& name) const {
  static const std::vector<std::string> none;
  const auto found = values_.find(name);
  return found == values_.end() ? none : found->second;
}

std::optional<std::int32_t> Arguments::Number(const std::string& name, std::int32_t least,
                                              std::int32_t most) const {
  const auto text = Value(name);
  if (!text) return std::nullopt;
  std::int32_t number = 0;
  const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), number);
  if (error != std::errc() || end != text->data() + text->size() || number < least || number > most)
    throw Misuse("--" + name + " takes a whole number from " + std::to_string(least) + " to " +
                 std::to_string(most) + ", not \"" + *text + "\"");
  return number;
}

std::string Arguments::Choice(const std::string& name, const std::vector<std::string>& words,
                              const std::string& fallback) const {
  const auto text = Value(name);
  if (!text) return fallback;
  if (std::find(words.begin(), words.end(), *text) == words.end())
    throw Misuse("--" + name + " takes " + Joined(words) + ", not \"" + *text + "\"");
  return *text;
}

std::string Arguments::Required(const std::string& name) const {
  const auto text = Value(name);
  if (!text) throw Misuse("--" + name + " is missing");
  return *text;
}

Arguments ParseArguments(std::span<const std::string> words, std::span<const Option> options) {
  Arguments arguments;
  for (std::size_t i = 0; i < words.size(); ++i) {
    std::string word = words[i];
    if (word == "--") {
      arguments.positional_.insert(arguments.positional_.end(),
                                   words.begin() + static_cast<std::ptrdiff_t>(i) + 1, words.end());
      break;
    }
    if (word.rfind("-o", 0) == 0 && word.rfind("--", 0) != 0)
      word = word == "-o" ? "--output" : "--output=" + word.substr(2);
    if (word == "-h") word = "--help";
    // No option begins with a digit: "-03:30" is a value.
    if (word.size() < 2 || word[0] != '-' || (word[1] >= '0' && word[1] <= '9')) {
      arguments.positional_.push_back(word);
      continue;
    }
    const auto equals = word.find('=');
    const std::size_t dashes = word.rfind("--", 0) == 0 ? 2 : 1;
    const std::string name =
        word.substr(dashes, equals == std::string::npos ? std::string::npos : equals - dashes);
    const Option* option = dashes == 2 ? Find(name, options) : nullptr;
    if (!option) {
      const std::string near = Nearest(name, options);
      throw Misuse("unknown option " + word.substr(0, equals) +
                   (near.empty() ? "" : "; did you mean --" + near + "?"));
    }
    auto& values = arguments.values_[name];
    if (!option->value) {
      if (equals != std::string::npos) throw Misuse("--" + name + " takes no value");
      continue;
    }
    if (!values.empty() && !option->repeats) throw Misuse("--" + name + " is given twice");
    if (equals != std::string::npos) {
      values.push_back(word.substr(equals + 1));
    } else if (i + 1 < words.size()) {
      values.push_back(words[++i]);
    } else {
      throw Misuse("--" + name + " needs a value: " + option->value);
    }
    if (values.back().empty()) throw Misuse("--" + name + " needs a value: " + option->value);
  }
  return arguments;
}

std::string DescribeOptions(std::span<const Option> options) {
  constexpr std::size_t kColumn = 28;
  std::string text;
  for (const auto& option : options) {
    std::string left = std::string("  --") + option.name;
    if (option.value) left += std::string(" ") + option.value;
    if (left.size() + 2 > kColumn) {
      text += left + "\n" + std::string(kColumn, ' ');
    } else {
      text += left + std::string(kColumn - left.size(), ' ');
    }
    text += option.help;
    if (option.repeats) text += " (may be repeated)";
    text += "\n";
  }
  return text;
}

std::string ShellWord(const std::string& text) {
  static constexpr std::string_view kPlain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_./-+:=@%,";
  if (!text.empty() && text.find_first_not_of(kPlain) == std::string::npos) return text;
  std::string quoted = "'";
  for (const char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

std::string Joined(const std::vector<std::string>& words) {
  std::string text;
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (i > 0) text += i + 1 == words.size() ? " or " : ", ";
    text += words[i];
  }
  return text;
}

}  // namespace orvspc::host
