// SPDX-License-Identifier: Apache-2.0
#include "frame/NumberText.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <system_error>

#include "frame/Checked.h"
#include "frame/Failure.h"
#include "platform/NaN.h"

namespace orvspc {
namespace {

constexpr int kLowestPlain = -5;
constexpr int kHighestPlain = 14;
constexpr std::size_t kDigits = 15;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

std::string_view SkipBlanks(std::string_view text) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  return text;
}

// Whether a number that from_chars could not represent is too large, and not merely too small.
// first..last is digits with at most one point and an optional exponent.
bool IsHuge(const char* first, const char* last) {
  std::int64_t magnitude = 0;  // decimal places of the first digit that is not 0
  bool significant = false;
  bool behind_point = false;
  const char* at = first;
  for (; at != last && *at != 'e' && *at != 'E'; ++at) {
    if (*at == '.') {
      behind_point = true;
    } else {
      significant = significant || *at != '0';
      if (significant && !behind_point) ++magnitude;
      if (!significant && behind_point) --magnitude;
    }
  }
  if (at == last) return magnitude > 0;
  ++at;
  const bool negative = *at == '-';
  if (*at == '-' || *at == '+') ++at;
  std::int64_t exponent = 0;
  if (std::from_chars(at, last, exponent).ec != std::errc()) return !negative;
  return (negative ? -exponent : exponent) > -magnitude;
}

struct Reading {
  double value = 0.0;
  std::size_t length = 0;  // 0: the text does not begin with a number
  bool huge = false;       // too large for a double; value is then 0
};

// The longest start of the text that is a number; no blanks are skipped.
Reading ReadNumber(std::string_view text) {
  const char* const begin = text.data();
  const char* const end = begin + text.size();
  const char* at = begin;
  const bool negative = at != end && *at == '-';
  if (at != end && (*at == '-' || *at == '+')) ++at;
  // from_chars would also take words and a second sign.
  const bool begins =
      at != end && (IsDigit(*at) || (*at == '.' && at + 1 != end && IsDigit(at[1])));
  if (!begins) return {};
  double value = 0.0;
  const auto [stop, error] = std::from_chars(at, end, value);
  const bool out_of_range = error == std::errc::result_out_of_range;
  const bool huge = out_of_range && IsHuge(at, stop);
  if (out_of_range) value = 0.0;
  return {negative ? -value : value, static_cast<std::size_t>(stop - begin), huge};
}

double InRange(const Reading& reading) {
  if (reading.huge) FailOverflow();
  return reading.value;
}

// Only the exact words count.
bool ReadWord(std::string_view text, double& value) {
  if (text == "NaN") {
    value = platform::kNaN;
  } else if (text == "INF") {
    value = std::numeric_limits<double>::infinity();
  } else if (text == "-INF") {
    value = -std::numeric_limits<double>::infinity();
  } else {
    return false;
  }
  return true;
}

double StrictNumber(std::string_view text) {
  text = TrimBlanks(text);
  const Reading reading = ReadNumber(text);
  if (reading.length == 0 || reading.length != text.size()) FailTypeMismatch();
  return InRange(reading);
}

bool EqualsIgnoringCase(std::string_view text, std::string_view lower) {
  if (text.size() != lower.size()) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i] >= 'A' && text[i] <= 'Z' ? static_cast<char>(text[i] + 32) : text[i];
    if (c != lower[i]) return false;
  }
  return true;
}

}  // namespace

std::string_view TrimBlanks(std::string_view text) {
  text = SkipBlanks(text);
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  return text;
}

std::int32_t ToInt32(std::string_view text) {
  std::int32_t value = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (error == std::errc() && stop == end) return value;
  return checked::Round(StrictNumber(text));
}

std::int16_t ToInt16(std::string_view text) {
  using Limits = std::numeric_limits<std::int16_t>;
  const std::int32_t value = ToInt32(text);
  if (value < Limits::min() || value > Limits::max()) FailOverflow();
  return static_cast<std::int16_t>(value);
}

double ToDouble(std::string_view text) {
  double value = 0.0;
  return ReadWord(TrimBlanks(text), value) ? value : StrictNumber(text);
}

bool ToBoolean(std::string_view text) {
  const std::string_view word = TrimBlanks(text);
  if (EqualsIgnoringCase(word, "true")) return true;
  if (EqualsIgnoringCase(word, "false")) return false;
  return StrictNumber(word) != 0.0;
}

std::int32_t LeadingInt32(std::string_view text) {
  return checked::Round(InRange(ReadNumber(SkipBlanks(text))));
}

double LeadingDouble(std::string_view text) {
  double value = 0.0;
  return ReadWord(text, value) ? value : InRange(ReadNumber(SkipBlanks(text)));
}

NumberText::NumberText(std::int32_t value) {
  const auto [stop, error] = std::to_chars(text_, text_ + sizeof text_, value);
  static_cast<void>(error);
  size_ = static_cast<std::uint8_t>(stop - text_);
}

NumberText::NumberText(double value) {
  if (std::isnan(value)) {
    Append("NaN");
  } else if (std::isinf(value)) {
    Append(value < 0.0 ? "-INF" : "INF");
  } else {
    Write(value);
  }
}

void NumberText::Append(std::string_view text) {
  std::memcpy(text_ + size_, text.data(), text.size());
  size_ = static_cast<std::uint8_t>(size_ + text.size());
}

void NumberText::AppendZeros(int count) {
  for (; count > 0; --count) text_[size_++] = '0';
}

void NumberText::Write(double value) {
  char form[40];
  char* end = std::to_chars(form, form + sizeof form, value, std::chars_format::scientific).ptr;
  // Below the normal range the fewest digits may be fewer than 15 and yet not the 15 that are
  // right; above it fewest digits of at most 15 always are.
  if (value != 0.0 && std::fabs(value) < std::numeric_limits<double>::min()) {
    char precise[40];
    char* const stop = std::to_chars(precise, precise + sizeof precise, value,
                                     std::chars_format::scientific, kDigits - 1)
                           .ptr;
    double back = 0.0;
    const bool read = std::from_chars(precise, stop, back).ec == std::errc();
    if (read && back == value) end = std::copy(precise, stop, form);
  }

  const char* at = form;
  if (*at == '-') {
    Append("-");
    ++at;
  }
  char digits[24];
  int count = 0;
  for (; *at != 'e'; ++at) {
    if (*at != '.') digits[count++] = *at;
  }
  while (count > 1 && digits[count - 1] == '0') --count;
  int exponent = 0;
  std::from_chars(at + (at[1] == '+' ? 2 : 1), end, exponent);

  const std::string_view all(digits, static_cast<std::size_t>(count));
  if (exponent >= kLowestPlain && exponent <= kHighestPlain) {
    if (exponent < 0) {
      Append("0.");
      AppendZeros(-exponent - 1);
      Append(all);
    } else if (count <= exponent + 1) {
      Append(all);
      AppendZeros(exponent + 1 - count);
    } else {
      const auto whole = static_cast<std::size_t>(exponent) + 1;
      Append(all.substr(0, whole));
      Append(".");
      Append(all.substr(whole));
    }
    return;
  }
  Append(all.substr(0, 1));
  if (count > 1) {
    Append(".");
    Append(all.substr(1));
  }
  Append(exponent < 0 ? "E-" : "E+");
  const int magnitude = exponent < 0 ? -exponent : exponent;
  if (magnitude < 10) Append("0");
  size_ = static_cast<std::uint8_t>(
      std::to_chars(text_ + size_, text_ + sizeof text_, magnitude).ptr - text_);
}

}  // namespace orvspc
