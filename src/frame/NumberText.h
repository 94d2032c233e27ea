// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// Numbers in text. Independent of the locale: the decimal separator is always the point.
namespace orvspc {

// Without the blanks at its two ends.
std::string_view TrimBlanks(std::string_view text);

// Strict reading. A number is blanks, an optional sign, digits with at most one point, an optional
// exponent (e or E), blanks; anything else fails with 13, a value out of the range of the type with
// 6. Integers are rounded to the nearest, halves to even. A double may also be one of the words
// NaN, INF and -INF. A boolean is a number (not 0 is true) or true or false in any case.
std::int32_t ToInt32(std::string_view text);
std::int16_t ToInt16(std::string_view text);
double ToDouble(std::string_view text);
bool ToBoolean(std::string_view text);

// Reading from the left, as far as the text is a number; 0 where it does not begin with one. Only a
// value out of range fails, with 6. The three words are a double here too, if they are the
// whole text.
std::int32_t LeadingInt32(std::string_view text);
double LeadingDouble(std::string_view text);

// A number as text, without an allocation. An integer is its decimal text. A double has 15
// significant digits if they read back as the same double, else the fewest that do; without
// exponent while that lies in -5..14, else as 1.5E+20 or 2.5E-07; not finite: NaN, INF, -INF.
class NumberText {
 public:
  explicit NumberText(std::int32_t value);
  explicit NumberText(double value);

  std::string_view View() const { return {text_, size_}; }
  operator std::string_view() const { return View(); }  // NOLINT: implicit on purpose

 private:
  void Write(double value);
  void Append(std::string_view text);
  void AppendZeros(int count);

  char text_[40];  // sign, 0.0000 and 17 digits, or 17 digits with point and exponent
  std::uint8_t size_ = 0;
};

inline std::string ToText(std::int32_t value) { return std::string(NumberText(value).View()); }
inline std::string ToText(double value) { return std::string(NumberText(value).View()); }

}  // namespace orvspc
