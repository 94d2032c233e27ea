// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "engine/chunks/DataSet.h"
#include "engine/sql/Connection.h"

// What is asked of the values and the time of a subgroup and test, and what follows from its
// readings, whoever stores or changes them.
namespace orvspc::engine::write {

// What recording numbers pieces up to.
inline constexpr std::int32_t kMaxPiece = 1'000'000'000;

// Why values cannot be stored, in the words of Refused.
struct BrokenRule {
  const char* code;
  std::string_view field;
  std::string value, reason;
};

// The shortest text that reads back.
std::string NumberText(double number);

// Of a value that is no finite number, or 1e300 and more, above zero or below.
std::optional<BrokenRule> BrokenRuleOfNumber(double value);

// Of a test of this type that counts, with keys beside the values.
//
//   counts      whole numbers from 0 to 1e9
//   size        from 0 to INT32_MAX, a whole number where units are counted (defectives)
//   defectives  at most as many as units, where a size is given: of a named unit its largest
//               count, of those without a unit the sum
std::optional<BrokenRule> BrokenRuleOfCounts(std::int32_t type, double size,
                                             std::span<const double> values,
                                             std::span<const store::RowKey> keys);

// Values that a test can reasonably have, from a time on.
struct ReasonableLimits {
  std::int32_t effective = 0;
  std::optional<double> upper, lower;
};
// By effective time.
std::vector<ReasonableLimits> ReadReasonableLimits(sql::Connection& db, std::int32_t part,
                                                   std::int32_t test);
// Values beyond those in force at the time.
std::optional<BrokenRule> BrokenRuleOfLimits(std::span<const ReasonableLimits> limits,
                                             std::int32_t time, std::span<const double> values);
// The name of the event of values that are stored all the same.
inline constexpr std::string_view kUnreasonable = "Unreasonable value";

// Of a subgroup that lies more than 300 seconds ahead of now.
std::optional<BrokenRule> BrokenRuleOfTime(std::int64_t time, std::int64_t now);

// The value of a piece that has only these readings, by their sbno: the same to the last bit for
// the same readings. value: of a row.
template <class Row, class Value = std::identity>
double MeanOfReadings(Row from, Row to, Value value = {}) {
  double mean = 0.0;
  for (auto row = from; row != to; ++row) {
    mean += std::invoke(value, *row) / static_cast<double>(to - from);
  }
  return mean;
}

}  // namespace orvspc::engine::write
