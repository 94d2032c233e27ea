// SPDX-License-Identifier: Apache-2.0
#include "frame/NumberText.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>

#include "tests/fake/FailureOf.h"

namespace orvspc {
namespace {

using fake::NumberOf;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

struct StrictRow {
  const char* text;
  std::int32_t number;  // of the failure; 0: none
  double value;
  const char* reason;
};

TEST(NumberText, StrictDoubleTakesANumberAndNothingElse) {
  const StrictRow rows[] = {
      {"0", 0, 0.0, "zero"},
      {"7", 0, 7.0, "digits"},
      {"-7", 0, -7.0, "minus"},
      {"+7", 0, 7.0, "plus"},
      {"  7  ", 0, 7.0, "blanks around"},
      {"0.5", 0, 0.5, "point inside"},
      {".5", 0, 0.5, "point first"},
      {"5.", 0, 5.0, "point last"},
      {"-.5", 0, -0.5, "sign and point"},
      {"1e3", 0, 1000.0, "small e"},
      {"1E+3", 0, 1000.0, "capital E, sign"},
      {"2.5E-07", 0, 2.5e-7, "as written"},
      {"1.7976931348623157E+308", 0, std::numeric_limits<double>::max(), "largest"},
      {"4.94065645841247E-324", 0, 5e-324, "smallest"},
      {"1E-400", 0, 0.0, "too small is 0"},
      {"0E999999999999999999999", 0, 0.0, "zero with any exponent"},
      {"0.00000000000000000001E+20", 0, 1.0, "long way to the first digit"},
      {"NaN", 0, std::nan(""), "word"},
      {"INF", 0, kInfinity, "word"},
      {"-INF", 0, -kInfinity, "word"},
      {"1E+309", 6, 0, "too large"},
      {"-1E+309", 6, 0, "too large"},
      {"1E999999999999999999999", 6, 0, "exponent out of any range"},
      {"0.001E+312", 6, 0, "too large behind the point"},
      {"1e400x", 13, 0, "too large, but no number"},
      {"", 13, 0, "empty"},
      {"   ", 13, 0, "blanks alone"},
      {".", 13, 0, "point alone"},
      {"-", 13, 0, "sign alone"},
      {"+-1", 13, 0, "two signs"},
      {"--1", 13, 0, "two signs"},
      {"- 1", 13, 0, "blank behind the sign"},
      {"1 2", 13, 0, "blank inside"},
      {"1.2.3", 13, 0, "two points"},
      {"1e", 13, 0, "exponent without digits"},
      {"1e+", 13, 0, "exponent without digits"},
      {"e5", 13, 0, "exponent alone"},
      {"1,5", 13, 0, "comma"},
      {"1,000", 13, 0, "separator"},
      {"0x10", 13, 0, "hexadecimal"},
      {"&H10", 13, 0, "hexadecimal"},
      {"nan", 13, 0, "word in other letters"},
      {"inf", 13, 0, "word in other letters"},
      {"+INF", 13, 0, "word with a plus"},
      {"Infinity", 13, 0, "other word"},
      {"1x", 13, 0, "letter behind"},
      {"1\t", 13, 0, "a tab is no blank"},
      {"\xC2\xA0"
       "1",
       13, 0, "a no-break space is no blank"},
  };
  for (const StrictRow& row : rows) {
    double value = 0.0;
    EXPECT_EQ(NumberOf([&] { value = ToDouble(row.text); }), row.number) << row.text << row.reason;
    if (row.number != 0) continue;
    EXPECT_TRUE(value == row.value || (std::isnan(value) && std::isnan(row.value)))
        << row.text << " (" << row.reason << ") gives " << value;
  }
}

TEST(NumberText, StrictIntegerRoundsHalvesToEvenAndFailsOutOfRange) {
  const StrictRow rows[] = {
      {"0", 0, 0, "zero"},
      {"-12", 0, -12, "minus"},
      {" +12 ", 0, 12, "blanks and plus"},
      {"0.5", 0, 0, "half to even"},
      {"1.5", 0, 2, "half to even"},
      {"2.5", 0, 2, "half to even"},
      {"-2.5", 0, -2, "half to even"},
      {"1E3", 0, 1000, "exponent"},
      {"2147483647", 0, 2147483647.0, "largest"},
      {"2147483647.4", 0, 2147483647.0, "rounds to the largest"},
      {"-2147483648", 0, -2147483648.0, "smallest"},
      {"-2147483648.5", 0, -2147483648.0, "rounds to the smallest"},
      {"2147483648", 6, 0, "one too large"},
      {"2147483647.5", 6, 0, "rounds to one too large"},
      {"-2147483649", 6, 0, "one too small"},
      {"1E+400", 6, 0, "beyond a double"},
      {"", 13, 0, "empty"},
      {"seven", 13, 0, "word"},
      {"NaN", 13, 0, "no integer"},
      {"INF", 13, 0, "no integer"},
      {"7x", 13, 0, "letter behind"},
  };
  for (const StrictRow& row : rows) {
    std::int32_t value = 0;
    EXPECT_EQ(NumberOf([&] { value = ToInt32(row.text); }), row.number) << row.text << row.reason;
    EXPECT_EQ(value, row.value) << row.text << " (" << row.reason << ")";
  }
}

TEST(NumberText, SixteenBitsHaveTheirOwnRange) {
  EXPECT_EQ(ToInt16("32767"), 32767);
  EXPECT_EQ(ToInt16("-32768"), -32768);
  EXPECT_EQ(NumberOf([] { ToInt16("32768"); }), 6);
  EXPECT_EQ(NumberOf([] { ToInt16("-32769"); }), 6);
  EXPECT_EQ(NumberOf([] { ToInt16("x"); }), 13);
}

TEST(NumberText, BooleanIsANumberOrAWord) {
  for (const char* text : {"1", "-1", " 2 ", "0.5", "true", "TRUE", " True "})
    EXPECT_TRUE(ToBoolean(text)) << text;
  for (const char* text : {"0", "-0", "0.0", "false", "FALSE", "False"})
    EXPECT_FALSE(ToBoolean(text)) << text;
  for (const char* text : {"", "yes", "t", "truex", "1x", "NaN"})
    EXPECT_EQ(NumberOf([&] { ToBoolean(text); }), 13) << text;
}

TEST(NumberText, ReadingFromTheLeftStopsAtTheFirstForeignCharacter) {
  const StrictRow rows[] = {
      {"7", 0, 7, "whole"},
      {"7x", 0, 7, "letter"},
      {"x", 0, 0, "no number"},
      {"", 0, 0, "empty"},
      {"1.5.2", 0, 1.5, "second point"},
      {"1e", 0, 1, "half an exponent"},
      {"1e+", 0, 1, "half an exponent"},
      {"1e2x", 0, 100, "exponent"},
      {"-", 0, 0, "sign alone"},
      {"-3-", 0, -3, "sign behind"},
      {"1,5", 0, 1, "comma"},
      {"0x1F", 0, 0, "hexadecimal"},
      {" 4", 0, 4, "blank first"},
      {"nan", 0, 0, "other word"},
      {"INFx", 0, 0, "more than the word"},
      {"INF", 0, kInfinity, "word"},
      {"-INF", 0, -kInfinity, "word"},
      {"1e999", 6, 0, "too large"},
  };
  for (const StrictRow& row : rows) {
    double value = 0.0;
    EXPECT_EQ(NumberOf([&] { value = LeadingDouble(row.text); }), row.number) << row.text;
    EXPECT_EQ(value, row.value) << row.text << " (" << row.reason << ")";
  }
  EXPECT_TRUE(std::isnan(LeadingDouble("NaN")));
  EXPECT_EQ(LeadingInt32("2.5"), 2);
  EXPECT_EQ(LeadingInt32("3.5z"), 4);
  EXPECT_EQ(LeadingInt32("NaN"), 0);
  EXPECT_EQ(NumberOf([] { LeadingInt32("2147483648"); }), 6);
}

struct WriteRow {
  double value;
  const char* text;
  const char* reason;
};

TEST(NumberText, DoublesAsText) {
  const WriteRow rows[] = {
      {0.0, "0", "zero"},
      {-0.0, "-0", "reads back with its sign"},
      {0.5, "0.5", "no trailing zeros"},
      {2.0, "2", "no point"},
      {-12.25, "-12.25", "minus"},
      {0.1, "0.1", "15 digits read back"},
      {0.1 + 0.2, "0.30000000000000004", "15 digits do not"},
      {1.0 / 3.0, "0.3333333333333333", "15 digits do not"},
      {100.0, "100", "zeros in front of the point"},
      {123456789012345.0, "123456789012345", "exponent 14"},
      {123456789012345.67, "123456789012345.67", "17 digits"},
      {1e14, "100000000000000", "largest plain exponent"},
      {1e15, "1E+15", "first with exponent"},
      {1.5e20, "1.5E+20", "exponent"},
      {1e-5, "0.00001", "smallest plain exponent"},
      {1.25e-5, "0.0000125", "smallest plain exponent"},
      {1e-6, "1E-06", "two digits of exponent"},
      {2.5e-7, "2.5E-07", "exponent"},
      {-1e100, "-1E+100", "three digits of exponent"},
      {std::numeric_limits<double>::max(), "1.7976931348623157E+308", "largest"},
      {std::numeric_limits<double>::min(), "2.2250738585072014E-308", "smallest normal"},
      {5e-324, "4.94065645841247E-324", "15 digits read back, though one does too"},
      {std::nan(""), "NaN", "word"},
      {kInfinity, "INF", "word"},
      {-kInfinity, "-INF", "word"},
  };
  for (const WriteRow& row : rows) EXPECT_EQ(ToText(row.value), row.text) << row.reason;
}

TEST(NumberText, IntegersAsText) {
  EXPECT_EQ(ToText(std::int32_t{0}), "0");
  EXPECT_EQ(ToText(std::int32_t{-17}), "-17");
  EXPECT_EQ(ToText(std::numeric_limits<std::int32_t>::min()), "-2147483648");
  EXPECT_EQ(ToText(std::numeric_limits<std::int32_t>::max()), "2147483647");
}

// What the C library's %.15G gives where that reads back, in our form of the exponent.
std::string SlowText(double value) {
  char text[64];
  std::snprintf(text, sizeof text, "%.14e", value);
  if (std::strtod(text, nullptr) != value) return {};
  std::string digits;
  const char* at = text;
  const bool negative = *at == '-';
  for (at += negative; *at != 'e'; ++at) {
    if (*at != '.') digits += *at;
  }
  while (digits.size() > 1 && digits.back() == '0') digits.pop_back();
  const int exponent = std::atoi(at + 1);
  std::string result = negative ? "-" : "";
  if (exponent < -5 || exponent > 14) {
    result += digits.substr(0, 1);
    if (digits.size() > 1) result += "." + digits.substr(1);
    std::snprintf(text, sizeof text, "E%+03d", exponent);
    return result + text;
  }
  if (exponent < 0)
    return result + "0." + std::string(static_cast<std::size_t>(-exponent - 1), '0') + digits;
  const auto whole = static_cast<std::size_t>(exponent) + 1;
  if (digits.size() <= whole) return result + digits + std::string(whole - digits.size(), '0');
  return result + digits.substr(0, whole) + "." + digits.substr(whole);
}

TEST(NumberText, RandomDoublesReadBackTheSameAndMatchTheSlowWriter) {
  std::mt19937_64 random(20240611);
  for (int i = 0; i < 100'000; ++i) {
    const double any = std::bit_cast<double>(random());
    const double decimal =
        static_cast<double>(static_cast<std::int64_t>(random() % 2'000'000'001) - 1'000'000'000) /
        std::pow(10.0, static_cast<double>(random() % 12));
    for (const double value : {any, decimal}) {
      if (!std::isfinite(value)) continue;
      const std::string text = ToText(value);
      EXPECT_EQ(std::bit_cast<std::uint64_t>(ToDouble(text)), std::bit_cast<std::uint64_t>(value))
          << text;
      const std::string slow = SlowText(value);
      if (!slow.empty()) {
        EXPECT_EQ(text, slow);
      }
    }
  }
}

}  // namespace
}  // namespace orvspc
