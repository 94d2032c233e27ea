// SPDX-License-Identifier: Apache-2.0
#include "summary/SCResults.h"

#include "frame/Checked.h"
#include "frame/Friend.h"
#include "frame/Outside.h"
#include "frame/Trail.h"
#include "platform/NaN.h"

namespace orvspc {
namespace {

// Date of a row that has no start: 1970-01-01.
constexpr double kNoStart = 25569.0;

// Bits of LimitFlags.
enum LimitFlag : std::int32_t {
  kMAVL = 1,
  kLSC = 8,
  kMAVU = 16,
  kT1L = 256,
  kT2L = 1024,
  kT1U = 4096,
  kT2U = 16384,
};

}  // namespace

SCResults::SCResults() {
  Reset(Friend{});
  // The quiet NaN is taken as it is: no division that could trap.
  no_value_ = platform::kNaN;
}

void SCResults::Reset(const Friend&) {
  rows_.Erase();
  names_.Erase();
  cursor_.Reset();
  count_ = 0;
}

void SCResults::Load(const Friend&, const Array<API_SCRow>& Rows, const Array<SCNames>& Names) {
  Traced("SCResults.Load", [&] {
    // Deliberate: the cursor is not touched.
    rows_ = Rows.Copy();
    names_ = Names.Copy();
    count_ = checked::Narrow(rows_.UpperBound() + 1);
  });
}

SCResultTypes SCResults::ResultType() const {
  return static_cast<SCResultTypes>(Current().ResultType);
}

std::string SCResults::Name(std::string SCNames::*name) const {
  return Untraced([&] { return names_[cursor_.Position()].*name; });
}

ProcessStateTypes SCResults::StateType() const {
  return static_cast<ProcessStateTypes>(Current().StateType);
}

double SCResults::StartTime() const {
  // Deliberate: only a row of detail has a start; for any other kind its stamp is not looked at.
  return Untraced(
      [&] { return Current().ResultType == 0 ? TimeStampToDate(Current().StartStamp) : kNoStart; });
}

double SCResults::Duration() const { return Current().Duration; }
std::int32_t SCResults::SamplesCollected() const { return Current().SamplesCollected; }
std::int32_t SCResults::SamplesMissed() const { return Current().SamplesMissed; }
std::int32_t SCResults::SamplesExpected() const { return Current().SamplesExpected; }
double SCResults::PercentComplete() const { return Current().PercentComplete; }
std::int32_t SCResults::TestCount() const { return Current().TestCount; }

double SCResults::Statistic(Figure figure) const {
  const API_SCRow& row = Current();
  return row.ResultType == 0 && row.TestCount != 0 ? static_cast<double>(row.*figure) : no_value_;
}

double SCResults::MinimumValue() const { return Statistic(&API_SCRow::MinimumValue); }
double SCResults::MaximumValue() const { return Statistic(&API_SCRow::MaximumValue); }
double SCResults::AverageValue() const { return Statistic(&API_SCRow::AverageValue); }
double SCResults::StandardDeviation() const { return Statistic(&API_SCRow::StandardDeviation); }
double SCResults::PP() const { return Statistic(&API_SCRow::PP); }
double SCResults::PPK() const { return Statistic(&API_SCRow::PPK); }

// Deliberate: the kind of the row does not matter here, so a subtotal may have percentages.
double SCResults::Flagged(Figure figure, std::int32_t API_SCRow::*flags, std::int32_t mask) const {
  const API_SCRow& row = Current();
  return (row.*flags & mask) == mask ? static_cast<double>(row.*figure) : no_value_;
}

double SCResults::PercentAboveUSL() const {
  return Flagged(&API_SCRow::PercentAboveUSL, &API_SCRow::SpecFlags, slfUSL);
}
double SCResults::PercentBelowLSL() const {
  return Flagged(&API_SCRow::PercentBelowLSL, &API_SCRow::SpecFlags, slfLSL);
}
double SCResults::PercentOOS() const {
  return Flagged(&API_SCRow::PercentOOS, &API_SCRow::SpecFlags, slfUSL | slfLSL);
}
double SCResults::PPM() const {
  return Flagged(&API_SCRow::PPM, &API_SCRow::SpecFlags, slfUSL | slfLSL);
}
double SCResults::PercentAboveLSC() const {
  return Flagged(&API_SCRow::PercentAboveLSC, &API_SCRow::LimitFlags, kLSC);
}
double SCResults::PercentBelowLSC() const {
  return Flagged(&API_SCRow::PercentBelowLSC, &API_SCRow::LimitFlags, kLSC);
}
double SCResults::PercentBelowMAVL() const {
  return Flagged(&API_SCRow::PercentBelowMAVL, &API_SCRow::LimitFlags, kMAVL);
}
double SCResults::PercentBelowT1L() const {
  return Flagged(&API_SCRow::PercentBelowT1L, &API_SCRow::LimitFlags, kT1L);
}
double SCResults::PercentBelowT2L() const {
  return Flagged(&API_SCRow::PercentBelowT2L, &API_SCRow::LimitFlags, kT2L);
}
double SCResults::PercentAboveMAVU() const {
  return Flagged(&API_SCRow::PercentAboveMAVU, &API_SCRow::LimitFlags, kMAVU);
}
double SCResults::PercentAboveT1U() const {
  return Flagged(&API_SCRow::PercentAboveT1U, &API_SCRow::LimitFlags, kT1U);
}
double SCResults::PercentAboveT2U() const {
  return Flagged(&API_SCRow::PercentAboveT2U, &API_SCRow::LimitFlags, kT2U);
}

bool SCResults::MoveTo(std::int32_t Index) {
  return Traced("SCResults.MoveTo", [&] { return cursor_.MoveTo(Index, count_); });
}

bool SCResults::MoveFirst() {
  return Traced("SCResults.MoveFirst", [&] { return MoveTo(1); });
}

bool SCResults::MoveLast() {
  return Traced("SCResults.MoveLast", [&] { return MoveTo(count_); });
}

bool SCResults::MoveNext() {
  return Traced("SCResults.MoveNext", [&] {
    const std::int32_t index = CurrentIndex();
    return index < count_ && MoveTo(index + 1);
  });
}

bool SCResults::MovePrev() {
  return Traced("SCResults.MovePrev", [&] { return MoveTo(CurrentIndex() - 1); });
}

std::int32_t SCResults::CurrentIndex() const {
  return Traced("SCResults.CurrentIndex(g)", [&] { return cursor_.CurrentIndex(); });
}

}  // namespace orvspc
