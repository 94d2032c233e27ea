// SPDX-License-Identifier: Apache-2.0
#include "host/cli/Options.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <numeric>
#include <utility>

#include "engine/Embedded.h"
#include "frame/Failure.h"
#include "frame/NumberText.h"
#include "host/render/core/Numbers.h"
#include "host/render/core/Text.h"

namespace orvspc::cli {

namespace {

// The option whose name is nearest, if it is near: a slip of the hand.
std::string Nearest(const std::string& name, std::span<const Option> options) {
  const auto distance = [](const std::string& a, const std::string& b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
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
  // Of a short word every other one is near.
  std::pair<std::size_t, std::string> best{std::min<std::size_t>(3, name.size() / 2 + 1), ""};
  for (const auto& option : options)
    if (const auto d = distance(name, option.name); d < best.first) best = {d, option.name};
  return best.second;
}

std::string Dashed(const Option& option) { return std::string("--") + option.name; }

std::string FallbackOf(const Option& option) {
  if (*option.fallback != '\0' || option.words.empty() || option.repeats) return option.fallback;
  return std::string(option.words.front().word);
}

const Option* Find(std::string_view name, std::span<const Option> options) {
  const auto found = std::ranges::find(options, name, &Option::name);
  return found == options.end() ? nullptr : &*found;
}

// What follows an option that takes a value is that value, unless it is an option itself.
bool IsOption(std::string_view word, std::span<const Option> options) {
  return word.starts_with("--") && Find(word.substr(2), options) != nullptr;
}

}  // namespace

std::optional<std::string> Arguments::Value(const Option& option) const {
  const auto& values = Values(option);
  return values.empty() ? std::nullopt : std::optional(values.front());
}

const std::vector<std::string>& Arguments::Values(const Option& option) const {
  static const std::vector<std::string> none;
  const auto found = values_.find(option.name);
  return found == values_.end() ? none : found->second;
}

std::string Arguments::FirstOf(std::span<const Option> options) const {
  const auto given = std::ranges::find_if(options, [&](const Option& each) { return Has(each); });
  return given == options.end() ? std::string() : Dashed(*given);
}

std::vector<Option> OptionsOf(std::span<const PartOfOptions> parts) {
  std::vector<Option> all;
  for (const auto& each : parts) {
    all.insert(all.end(), each.options.begin(), each.options.end());
  }
  return all;
}

void RefuseOthers(const Arguments& arguments, std::span<const PartOfOptions> parts, unsigned taken,
                  const std::string& called) {
  for (const auto& each : parts) {
    const auto given = (taken & each.part) == 0 ? arguments.FirstOf(each.options) : "";
    if (!given.empty()) throw Misuse(given + " does not go with \"" + called + "\"");
  }
}

Arguments Arguments::Without(const Option& option) const {
  Arguments fewer = *this;
  fewer.values_.erase(option.name);
  return fewer;
}

std::string Arguments::Required(const Option& option) const {
  const auto text = Value(option);
  if (!text) throw Misuse(Dashed(option) + " is missing");
  return *text;
}

std::int32_t Arguments::Chosen(const Option& option) const {
  const std::string fallback = FallbackOf(option);
  return ValueOf(Dashed(option), option.words, Value(option).value_or(fallback));
}

std::optional<std::int32_t> Arguments::Get(const Number& option) const {
  const auto given = Value(option);
  const std::string text = given.value_or(option.fallback);
  std::int32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error == std::errc() && end == text.data() + text.size() && number >= option.min &&
      number <= option.max)
    return number;
  if (!given) return std::nullopt;
  throw Misuse(Dashed(option) + " takes a whole number from " + std::to_string(option.min) +
               " to " + std::to_string(option.max) + ", not \"" + text + "\"");
}

std::optional<double> Arguments::Get(const Real& option) const {
  const auto text = Value(option);
  if (!text) return std::nullopt;
  double value = std::numeric_limits<double>::quiet_NaN();
  try {
    value = ToDouble(*text);
  } catch (const Failure&) {
  }
  if (option.max > 0.0 && !(value >= 0.0 && value <= option.max))
    throw Misuse(Dashed(option) + " takes a percentage from 0 to " +
                 render::Significant(option.max, 3) + ", not \"" + *text + "\"");
  // So far out a limit says that there is none.
  if (!(std::abs(value) < 1e300))
    throw Misuse(Dashed(option) + " takes a number, not \"" + *text + "\"");
  return value;
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
      const auto shown = WithoutPasswords(word);
      throw Misuse("unknown option " + (shown == word ? word.substr(0, equals) : shown) +
                   (near.empty() ? "" : "; did you mean --" + near + "?"));
    }
    auto& values = arguments.values_[name];
    if (!option->value) {
      if (equals != std::string::npos) throw Misuse("--" + name + " takes no value");
      continue;
    }
    if (option->may_lack_value && equals == std::string::npos) continue;
    if (!values.empty() && !option->repeats) throw Misuse("--" + name + " is given twice");
    std::optional<std::string> value;
    if (equals != std::string::npos) {
      value = word.substr(equals + 1);
    } else if (i + 1 < words.size() && !IsOption(words[i + 1], options)) {
      value = words[++i];
    }
    if (!value || (value->empty() && !option->may_be_empty)) {
      throw Misuse("--" + name + " needs a value: " + option->value);
    }
    values.push_back(*value);
  }
  return arguments;
}

std::string DescribeOptions(std::span<const Option> options, std::size_t columns) {
  constexpr std::size_t kColumn = 28;
  render::TextWriter text({columns});
  for (const auto& option : options) {
    std::string left = std::string("  --") + option.name;
    if (option.value) left += (option.may_lack_value ? "=" : " ") + std::string(option.value);
    if (left.size() + 2 > kColumn) {
      text.Line(left);
      left.clear();
    }
    const std::string fallback = FallbackOf(option);
    std::string help = option.help;
    if (!option.words.empty()) {
      help += help.empty() ? "" : ": ";
      for (const auto& word : render::ListOf(option.words)) help += word + " ";
      help.pop_back();
    }
    if (!fallback.empty()) help += " (default " + fallback + ")";
    if (option.repeats) help += " (may be repeated)";
    text.Line(left + std::string(kColumn - left.size(), ' ') + help, kColumn);
  }
  return text.Take();
}

std::vector<std::string> Split(const std::string& text) {
  std::vector<std::string> words;
  for (std::size_t start = 0; start <= text.size();) {
    const std::size_t end = std::min(text.find(',', start), text.size());
    words.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return words;
}

std::string Joined(const std::vector<std::string>& words) {
  std::string text;
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (i > 0) text += i + 1 == words.size() ? " or " : ", ";
    text += words[i];
  }
  return text;
}

std::int32_t ValueOf(const std::string& what, render::WordTable words, const std::string& text) {
  if (const auto value = render::ValueOf(words, text)) return *value;
  constexpr std::size_t kFew = 8;
  const auto list = render::ListOf(words);
  std::string known = Joined(list);
  if (list.size() > kFew) {
    known = "one of";
    for (const auto& word : list) known += " " + word;
  }
  throw Misuse(what + " takes " + known + ", not \"" + text + "\"");
}

}  // namespace orvspc::cli
