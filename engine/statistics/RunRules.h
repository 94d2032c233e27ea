// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace orvspc::engine::statistics {

// Run rules are data. A number means one rule with its parameters for the life of a database,
// because signals are stored as bits of these numbers.

enum class RuleKind {
  Limit,  // beyond a drawn control limit
  Zone,   // k of the last m points more than `zone` sigmas from the centre on the side(s) asked for
  Within,     // m points in a row at most `zone` sigmas from the centre (on the line is within)
  Outside,    // m points in a row farther than `zone` sigmas from the centre
  Trend,      // m points in a row, each above (or each below) the one before
  Alternate,  // m points in a row, going up and down in turn
  Red,        // pre-control: a piece beyond a specification limit
  Yellow2,    // pre-control: m yellow pieces in a row
};

enum class RuleSide {
  Same,    // all on one side, whichever
  Either,  // sides do not matter
  Both,    // at least one on each side
  Upper,
  Lower,
};

struct RunRule {
  std::int32_t number = 0;    // 0..14, 15 or 31 (which share a bit), 16..30
  std::int32_t priority = 0;  // the lowest is shown first; ties by number
  RuleKind kind = RuleKind::Limit;
  std::int32_t k = 1;  // points that must lie in the zone ...
  std::int32_t m = 1;  // ... of this many; above 64 only with k = m
  double zone = 0.0;   // in sigmas
  RuleSide side = RuleSide::Either;
  std::string text;  // shown to readers

  bool operator==(const RunRule&) const = default;
};

// Rules 1 to 12 and 16 to 18, in the order of priority.
std::span<const RunRule> StandardRules();

// Numbers of a named set: "nelson", "western-electric", "aiag", "public-health", "pre-control";
// empty for another name.
std::span<const std::int32_t> RuleSet(std::string_view name);
std::span<const std::string_view> RuleSetNames();

// The rules of `list` with these numbers, in the order of `list`; a number that is not there is
// left out.
std::vector<RunRule> SelectRules(std::span<const RunRule> list,
                                 std::span<const std::int32_t> numbers);

// Orders by priority, then number.
void SortRules(std::vector<RunRule>& list);

// The bit of a rule's signal: bit `number`; 15 and 31 both give bit 15, a number that cannot be
// stored gives 0. Bit 31 is never set: signals travel as signed 32-bit integers.
std::uint32_t RuleBit(std::int32_t number);

// What is wrong with a rule or a list, for a person to read; empty when it can be used. Refused in
// a list: 15 together with 31, a number given twice.
std::string CheckRule(const RunRule& rule);
std::string CheckRules(std::span<const RunRule> list);

// Names as in files, in the order of the enumerations: "limit", "zone", ...; "same", "either", ...
// The readers return false for another word.
std::span<const std::string_view> RuleKindNames();
std::span<const std::string_view> RuleSideNames();
std::string_view NameOf(RuleKind kind);
std::string_view NameOf(RuleSide side);
bool RuleKindFromName(std::string_view name, RuleKind& kind);
bool RuleSideFromName(std::string_view name, RuleSide& side);

// Equality of two figures of a chart: |a - b| <= 1e-9 sigma; where sigma is 0 or NaN, 8 units in
// the last place. Without it the rounding of sums turns equal means into trends.
bool Tied(double a, double b, double sigma);
// a > b and not tied.
bool Above(double a, double b, double sigma);

// One sequence of points, oldest first, of one stream. `points` sets the length; the other spans
// have the same length, or are empty where that is allowed.
struct RunInput {
  std::span<const double> points;  // NaN: no value, which breaks every run
  std::span<const double> centre;  // centre line at the point
  std::span<const double> sigma;   // standard deviation of the point by its formula, not from a cut
                                   // limit; 0 or NaN: only Limit is tested there
  std::span<const double> ucl,
      lcl;  // drawn limits, for Limit; NaN: no such limit; empty: none at all
  std::span<const std::uint8_t>
      used;  // 0: skipped as if it were not there, no signal; empty: all used
  std::span<const std::uint8_t> has_value;  // 0: as a NaN point; empty: as `points` says
  std::span<const std::uint8_t>
      restart;  // not 0: nothing runs across from before this point; empty: nowhere
};

// Signals of the points: for each rule that the point completes or still fulfils, its bit. Writes
// all of `marks` (points.size() elements).
//
// A window must be full. On a limit or zone line is inside. A point on the centre line breaks a run
// at zone 0. A tie breaks trend and alternation, which compare the points themselves and count
// points. A point with a signal lies in the zone itself. Every rule that is fulfilled is set. Red
// and Yellow2 are ignored here. `rules` must pass CheckRule. Source   Nelson, J. Quality Technology
// 16 (1984); Western Electric, Statistical Quality Control Handbook (1956)
void EvaluateRules(const RunInput& input, std::span<const RunRule> rules,
                   std::span<std::uint32_t> marks);
std::vector<std::uint32_t> EvaluateRules(const RunInput& input, std::span<const RunRule> rules);

// Pre-control zone of a piece; the sign gives the side of the target.
enum class PieceZone : std::int8_t {
  LowerRed = -2,
  LowerYellow = -1,
  Green = 0,
  UpperYellow = 1,
  UpperRed = 2,
  None = 3
};

// Lines of the pre-control chart: (target + limit) / 2 on each side, target. A target that is NaN
// is the middle of the limits. A side without limit has a line of NaN; no limit, or one limit
// without target: all NaN.
struct PreControlLines {
  double lower_line, target, upper_line;
};
PreControlLines PreControlLinesOf(double lsl, double target, double usl);

// Zone of a piece: green up to and on the line, yellow up to and on the limit, red beyond; None for
// a value that is NaN or where no lines exist. A side without limit is green throughout.
PieceZone ZoneOf(double value, double lsl, double target, double usl);

// Signals of pieces in their order: Red, and Yellow2 with side Same (all m on one side), Both (m
// yellow in a row, both sides seen), Either, Upper, Lower. None and green and red break a row of
// yellow. Other kinds are ignored. Source   Satterthwaite, Rath & Strong (1954)
void EvaluatePreControl(std::span<const PieceZone> pieces, std::span<const RunRule> rules,
                        std::span<std::uint32_t> marks);

}  // namespace orvspc::engine::statistics
