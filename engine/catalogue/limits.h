// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <ranges>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/CapabilityRecords.h"
#include "platform/ChartRecords.h"
#include "platform/ChartWord.h"
#include "platform/NaN.h"

// Rows of limits and rules as the quality database stores them, and what every analysis asks of
// them: which is effective at a time, its specification limits as numbers, its rate.
namespace orvspc::engine::catalogue {

// --- Rows ----------------------------------------------------------------------------------------
// Specification limits, opportunities and net contents are handed out in the form that the library
// reads.

// The figures of a chart that the mean and the sigmas of a row of control limits leave open, so
// that limits drawn from the row are those of that chart to the last digit. NaN: not given.
struct LimitFigures {
  double average_size = platform::kNaN;  // pieces, or units, a subgroup
  double within = platform::kNaN;        // sigma inside the subgroups, beside one of the points
  double moving = platform::kNaN;        // sigma of moving ranges, beside one inside the subgroups
  double gamma = platform::kNaN;         // coefficient of variation of one piece
  double numerator = platform::kNaN, denominator = platform::kNaN;  // of a rate
  // Pooled standard deviations that sp, within and sw are at each point divided from.
  double sp_bar = platform::kNaN, within_bar = platform::kNaN, sw_bar = platform::kNaN;
};
struct LimitFigure {
  std::string_view column;
  double LimitFigures::*figure;
};
inline constexpr LimitFigure kLimitFigures[] = {
    {"average_size", &LimitFigures::average_size},
    {"within", &LimitFigures::within},
    {"moving", &LimitFigures::moving},
    {"gamma", &LimitFigures::gamma},
    {"numerator", &LimitFigures::numerator},
    {"denominator", &LimitFigures::denominator},
    {"sp_bar", &LimitFigures::sp_bar},
    {"within_bar", &LimitFigures::within_bar},
    {"sw_bar", &LimitFigures::sw_bar},
};
// The columns with commas between them.
std::string LimitFigureColumns();

inline constexpr std::int64_t kNever = INT64_MAX;

struct ControlLimit {
  API_CCCtrlLim row;
  std::int32_t chart_word = 0;  // of the chart that it was calculated from, 0 if unknown
  std::int64_t until = kNever;  // when it no longer holds
  LimitFigures figures;
};

// Limits that a policy proposed and that wait for more subgroups; they hold nowhere.
struct ProvisionalLimit : ControlLimit {
  std::int32_t used = 0, needed = 0;  // subgroups
};

// Bits of the flags of a row of net contents.
enum NetContentFlag : std::int32_t {
  nclMavL = 1,
  nclMavLp = 2,
  nclMavU = 16,
  nclMavUp = 32,
  nclT1L = 256,
  nclT1Lp = 512,
  nclT2L = 1024,
  nclT2Lp = 2048,
  nclT1U = 4096,
  nclT1Up = 8192,
  nclT2U = 16384,
  nclT2Up = 32768,
};

// Where a row of net contents has its limits, in the order of the columns: each quantity with the
// percentage of packages allowed beyond it.
struct NetContentFigure {
  std::int32_t flag;
  platform::WireDouble API_CANccLim8::*field;
};
inline constexpr NetContentFigure kNetContentFigures[] = {
    {nclMavL, &API_CANccLim8::MavL}, {nclMavLp, &API_CANccLim8::MavLp},
    {nclMavU, &API_CANccLim8::MavU}, {nclMavUp, &API_CANccLim8::MavUp},
    {nclT1L, &API_CANccLim8::T1L},   {nclT1Lp, &API_CANccLim8::T1Lp},
    {nclT1U, &API_CANccLim8::T1U},   {nclT1Up, &API_CANccLim8::T1Up},
    {nclT2L, &API_CANccLim8::T2L},   {nclT2Lp, &API_CANccLim8::T2Lp},
    {nclT2U, &API_CANccLim8::T2U},   {nclT2Up, &API_CANccLim8::T2Up},
};
inline constexpr std::int32_t kNetContentQuantities =
    nclMavL | nclMavU | nclT1L | nclT1U | nclT2L | nclT2U;

struct StoredRule {
  std::int32_t number = 0, priority = 0;
  std::string kind;  // limit zone within outside trend alternate red yellow2
  std::int32_t k = 0, m = 0;
  double zone = 0.0;
  std::string side;  // same either both upper lower
  std::string text;
  friend bool operator==(const StoredRule&, const StoredRule&) = default;
};

// From when on a row is effective.
inline std::int32_t EffectiveTime(const API_CCSpecLim& row) { return row.Word20; }
inline std::int32_t EffectiveTime(const ControlLimit& limit) { return limit.row.F_EFTM; }
inline std::int32_t EffectiveTime(const API_CCDefOpp& row) { return row.Word24; }
inline std::int32_t EffectiveTime(const API_CANccLim8& row) { return row.Head[5]; }

// When it is no longer effective, whatever comes after it.
template <class Row>
constexpr std::int64_t UntilTime(const Row&) {
  return kNever;
}
inline std::int64_t UntilTime(const ControlLimit& limit) { return limit.until; }

// --- The row that is effective at a time ---------------------------------------------------------
// A Row is anything with an EffectiveTime(row); rows ascend by it. One may have an UntilTime, too:
// the rows before it are effective again where they last longer.

// The newest row that is effective at a time; null when none is. Not of rows that are gone when it
// returns.
template <std::ranges::borrowed_range Rows>
auto EffectiveAt(Rows&& rows, std::int32_t time) {
  auto behind = std::ranges::partition_point(
      rows, [&](const auto& row) { return EffectiveTime(row) <= time; });
  while (behind != std::ranges::begin(rows) && UntilTime(*std::prev(behind)) <= time) --behind;
  return behind == std::ranges::begin(rows) ? nullptr : &*std::prev(behind);
}

inline constexpr std::int32_t kNoRow = -1;

// The same for many times in a row. It starts at its last answer, since neighbouring subgroups
// mostly share their row.
template <class Row>
class EffectiveRows {
 public:
  explicit EffectiveRows(std::span<const Row> rows) : rows_(rows) {}

  // The place of the row among the rows; kNoRow when none is effective.
  std::int32_t PlaceAt(std::int32_t time) {
    while (place_ >= 0 && TimeOf(place_) > time) --place_;
    while (place_ + 1 < std::ssize(rows_) && TimeOf(place_ + 1) <= time) ++place_;
    auto lasting = place_;
    while (lasting >= 0 && UntilTime(rows_[static_cast<std::size_t>(lasting)]) <= time) --lasting;
    return lasting;
  }
  // Null when none is effective.
  const Row* At(std::int32_t time) {
    const auto place = PlaceAt(time);
    return place == kNoRow ? nullptr : &rows_[static_cast<std::size_t>(place)];
  }

 private:
  std::int32_t TimeOf(std::int32_t place) const {
    return EffectiveTime(rows_[static_cast<std::size_t>(place)]);
  }

  std::span<const Row> rows_;
  std::int32_t place_ = kNoRow;
};

// --- Specification limits ------------------------------------------------------------------------

// Specification limits as numbers; NaN for one that is not set.
struct SpecLimits {
  double usl = platform::kNaN, target = platform::kNaN, lsl = platform::kNaN;

  std::optional<double> Upper() const { return Given(usl); }
  std::optional<double> Target() const { return Given(target); }
  std::optional<double> Lower() const { return Given(lsl); }
  // NaN compares as neither, so that a limit that is not set finds no value outside.
  bool HasOutside(double value) const { return value > usl || value < lsl; }

 private:
  static std::optional<double> Given(double limit) {
    return std::isnan(limit) ? std::nullopt : std::optional(limit);
  }
};

// A limit is set if its flag is and its value is finite.
SpecLimits SpecLimitsOf(const API_CCSpecLim& row);
SpecLimits SpecLimitsOf(const API_CASpecLim8& record);

// Whether rows of limits say the same. NaN: a limit that is not set.
//
// WidthOf  from the lowest to the highest; the size of a single limit; 0 of none
// Agree    both are not set, or they differ by at most 1e-9 of the width
double WidthOf(std::span<const double> limits);
bool Agree(double a, double b, double width);
// All of them, place by place. Both spans have the same length.
bool Agree(std::span<const double> a, std::span<const double> b, double width);
// Upper and lower limits, by the wider of the two widths.
bool Agree(const SpecLimits& a, const SpecLimits& b);

// --- Rates of counts -----------------------------------------------------------------------------

// What the mean of a row of control limits is on a chart of counts.
enum class RateKind { None, Share, PerUnit, PerOpportunity };

// Of the chart in the first place of a chart word; None for a chart of values or no chart.
constexpr RateKind RateKindOf(std::int32_t chart_word) {
  switch (platform::ChartCodesOf(chart_word).graph1) {
    case 0x8:  // defective units in a thousand
    case 0xA:  // in a million
    case 0xC:  // their number
    case 0xD:  // their share
      return RateKind::Share;
    case 0x9:  // defects in a thousand opportunities
    case 0xB:  // in a million
      return RateKind::PerOpportunity;
    case 0xE:  // defects
    case 0xF:  // defects a unit
      return RateKind::PerUnit;
    default:
      return RateKind::None;
  }
}

// Whether rows of limits with these chart words serve the same charts, so that one takes over from
// the other; one without a word may serve each.
constexpr bool ShareCharts(std::int32_t one, std::int32_t other) {
  return one == 0 || other == 0 || RateKindOf(one) == RateKindOf(other);
}

// Nothing but a finite figure from 0 on is a rate, and a share is not above 1.
inline bool IsRate(RateKind kind, double mean) {
  return std::isfinite(mean) && mean >= 0.0 && !(kind == RateKind::Share && mean > 1.0);
}

}  // namespace orvspc::engine::catalogue
