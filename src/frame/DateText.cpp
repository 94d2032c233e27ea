// SPDX-License-Identifier: Apache-2.0
#include "frame/DateText.h"

#include <bit>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <optional>

#include "frame/Failure.h"
#include "frame/NumberText.h"
#include "platform/TimeText.h"

namespace orvspc {
namespace {

constexpr std::int64_t kSecond = 1'000'000'000;  // in nanoseconds
constexpr std::int64_t kDay = 86'400 * kSecond;
constexpr std::int64_t kUnixDay = 25569;  // 1970-01-01
constexpr std::chrono::sys_days kDayZero =
    std::chrono::year{1899} / std::chrono::December / std::chrono::day{30};

struct Moment {
  std::int64_t day = 0;   // since 1899-12-30
  std::int64_t time = 0;  // nanoseconds of the day, always forward
};

double ToDate(Moment moment) {
  if (moment.time % kSecond == 0 && moment.day >= 0) {
    // In the form in which stamps become dates, so that those always read as whole seconds.
    const std::int64_t seconds = (moment.day - kUnixDay) * 86'400 + moment.time / kSecond;
    return 25569.0 + static_cast<double>(seconds) / 86'400.0;
  }
  const auto day = static_cast<double>(moment.day);
  const double time = static_cast<double>(moment.time) / static_cast<double>(kDay);
  return moment.day < 0 ? day - time : day + time;
}

std::string IsoText(Moment moment, int fraction_digits) {
  std::string text = platform::IsoText((moment.day - kUnixDay) * 86'400 + moment.time / kSecond);
  if (fraction_digits == 0) return text;
  const std::string digits =
      std::to_string(kSecond + moment.time % kSecond);  // one and nine digits
  return text.append(".").append(digits, 1, static_cast<std::size_t>(fraction_digits));
}

bool SameBits(double a, double b) {
  return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

// Reads pieces off the front of a text.
class Reader {
 public:
  explicit Reader(std::string_view text) : text_(TrimBlanks(text)) {}

  bool AtEnd() const { return text_.empty(); }
  std::optional<std::int64_t> IsoDay() { return platform::TakeDay(text_); }

  bool Take(char wanted) {
    if (text_.empty() || text_.front() != wanted) return false;
    text_.remove_prefix(1);
    return true;
  }

  // A word in any case.
  bool TakeWord(std::string_view upper) {
    if (text_.size() < upper.size()) return false;
    for (std::size_t i = 0; i < upper.size(); ++i) {
      const char c = text_[i];
      if ((c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c) != upper[i]) return false;
    }
    text_.remove_prefix(upper.size());
    return true;
  }

  std::optional<int> Digits(std::size_t least, std::size_t most) {
    std::size_t length = 0;
    int value = 0;
    while (length < most && length < text_.size() && text_[length] >= '0' && text_[length] <= '9')
      value = value * 10 + (text_[length++] - '0');
    if (length < least) return std::nullopt;
    taken_ = length;
    text_.remove_prefix(length);
    return value;
  }

  // Length of the latest Digits.
  std::size_t Taken() const { return taken_; }

 private:
  std::string_view text_;
  std::size_t taken_ = 0;
};

std::optional<std::int64_t> DayOf(std::optional<int> year, std::optional<int> month,
                                  std::optional<int> day) {
  if (!year || !month || !day || *year < 1) return std::nullopt;
  const std::chrono::year_month_day date(std::chrono::year(*year),
                                         std::chrono::month(static_cast<unsigned>(*month)),
                                         std::chrono::day(static_cast<unsigned>(*day)));
  if (!date.ok()) return std::nullopt;
  return (std::chrono::sys_days(date) - kDayZero).count();
}

std::optional<std::int64_t> ReadIsoDay(Reader& in) {
  const auto day = in.IsoDay();
  return day ? std::optional(*day + kUnixDay) : std::nullopt;
}

std::optional<std::int64_t> ReadMonthFirstDay(Reader& in) {
  const auto month = in.Digits(1, 2);
  if (!in.Take('/')) return std::nullopt;
  const auto day = in.Digits(1, 2);
  if (!in.Take('/')) return std::nullopt;
  return DayOf(in.Digits(4, 4), month, day);
}

std::optional<std::int64_t> ReadFraction(Reader& in) {
  std::int64_t nanoseconds = 0;
  if (!in.Take('.')) return nanoseconds;
  const auto digits = in.Digits(1, 9);
  if (!digits) return std::nullopt;
  nanoseconds = *digits;
  for (std::size_t i = in.Taken(); i < 9; ++i) nanoseconds *= 10;
  return nanoseconds;
}

// To the end of the text.
std::optional<std::int64_t> ReadTime(Reader& in) {
  auto hour = in.Digits(1, 2);
  if (!hour || !in.Take(':')) return std::nullopt;
  const auto minute = in.Digits(2, 2);
  std::optional<int> second = 0;
  std::optional<std::int64_t> fraction = 0;
  if (in.Take(':')) {
    second = in.Digits(2, 2);
    fraction = ReadFraction(in);
  }
  while (in.Take(' ')) {
  }
  const bool before_noon = in.TakeWord("AM");
  const bool after_noon = !before_noon && in.TakeWord("PM");
  if (before_noon || after_noon) {
    if (*hour < 1 || *hour > 12) return std::nullopt;
    hour = *hour % 12 + (after_noon ? 12 : 0);
  }
  if (!minute || !second || !fraction || !in.AtEnd()) return std::nullopt;
  if (*hour > 23 || *minute > 59 || *second > 59) return std::nullopt;
  return (std::int64_t{*hour} * 3600 + *minute * 60 + *second) * kSecond + *fraction;
}

std::optional<double> ReadDayAndTime(Reader in, std::optional<std::int64_t> (*read_day)(Reader&)) {
  const auto day = read_day(in);
  if (!day) return std::nullopt;
  if (in.AtEnd()) return ToDate({*day, 0});
  if (!in.Take('T') && !in.Take(' ')) return std::nullopt;
  const auto time = ReadTime(in);
  if (!time) return std::nullopt;
  return ToDate({*day, *time});
}

}  // namespace

std::string DateToText(double date) {
  constexpr double kFirst = -693593.0;   // 0001-01-01
  constexpr double kBehind = 2958466.0;  // 10000-01-01
  if (date >= kFirst && date < kBehind) {
    const double day = std::trunc(date);
    const double time = std::fabs(date - day);
    std::int64_t step = kSecond;
    for (int digits = 0; digits <= 9; ++digits, step /= 10) {
      const std::int64_t steps_a_day = kDay / step;
      const auto steps = std::llround(time * static_cast<double>(steps_a_day));
      Moment moment{static_cast<std::int64_t>(day), steps * step};
      if (moment.time >= kDay) moment = {moment.day + 1, 0};
      if (SameBits(ToDate(moment), date)) return IsoText(moment, digits);
    }
  }
  return ToText(date);
}

double TextToDate(std::string_view text) {
  Reader in(text);
  if (const auto date = ReadDayAndTime(in, &ReadIsoDay)) return *date;
  if (const auto date = ReadDayAndTime(in, &ReadMonthFirstDay)) return *date;
  if (const auto time = ReadTime(in)) return ToDate({0, *time});
  return ToDouble(text);
}

}  // namespace orvspc
