// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "frame/Array.h"
#include "frame/RowSet.h"
#include "platform/ComplianceRecords.h"
#include "platform/Enumerations.h"
#include "select/DataSelect.h"
#include "summary/SCNames.h"

namespace orvspc {

class Friend;

// The rows of a sampling-compliance analysis and a cursor over them. A figure that the current row
// does not have is NaN; ask with an is-NaN test. Every Get of the current row fails with 9 when
// there are no rows; no move ever fails for being out of range, it returns false and the cursor
// stays.
class SCResults : public RowSet {
 public:
  SCResults();

  // The selection with the time range that was really used; null in a new object.
  std::shared_ptr<orvspc::DataSelect> DataSelect() const { return data_select_; }

  // 0 for a row of detail, else which identifiers a subtotal sums up.
  SCResultTypes ResultType() const { return SCResultTypes{Current().ResultType}; }
  std::int32_t Count() const { return count_; }

  // Names of the row; empty where it has none.
  std::string Part() const { return Name(&SCNames::Part); }
  std::string Process() const { return Name(&SCNames::Process); }
  std::string Test() const { return Name(&SCNames::Test); }
  ProcessStateTypes StateType() const { return ProcessStateTypes{Current().StateType}; }
  std::string State() const { return Name(&SCNames::State); }
  std::string SmplReq() const { return Name(&SCNames::SmplReq); }

  // Start of the period as a date; 1970-01-01 for a subtotal.
  double StartTime() const;
  // Length of the period, in minutes with the embedded engine.
  double Duration() const { return Current().Duration; }

  std::int32_t SamplesCollected() const { return Current().SamplesCollected; }
  std::int32_t SamplesMissed() const { return Current().SamplesMissed; }
  std::int32_t SamplesExpected() const { return Current().SamplesExpected; }
  double PercentComplete() const { return Current().PercentComplete; }

  // The number of values in the statistics.
  std::int32_t TestCount() const { return Current().TestCount; }
  // Of a row of detail with values; else NaN.
  double MinimumValue() const { return Statistic(&API_SCRow::MinimumValue); }
  double MaximumValue() const { return Statistic(&API_SCRow::MaximumValue); }
  double AverageValue() const { return Statistic(&API_SCRow::AverageValue); }
  double StandardDeviation() const { return Statistic(&API_SCRow::StandardDeviation); }
  double PP() const { return Statistic(&API_SCRow::PP); }
  double PPK() const { return Statistic(&API_SCRow::PPK); }

  // Outside the specification limits; NaN where the limits, or one of two, are not given.
  double PercentAboveUSL() const { return Spec(&API_SCRow::PercentAboveUSL, slfUSL); }
  double PercentBelowLSL() const { return Spec(&API_SCRow::PercentBelowLSL, slfLSL); }
  double PercentOOS() const { return Spec(&API_SCRow::PercentOOS, slfUSL | slfLSL); }
  double PPM() const { return Spec(&API_SCRow::PPM, slfUSL | slfLSL); }

  // Outside the limits of the net content; NaN where a limit is not given.
  double PercentAboveLSC() const { return Limit(&API_SCRow::PercentAboveLSC, kLSC); }
  double PercentBelowLSC() const { return Limit(&API_SCRow::PercentBelowLSC, kLSC); }
  double PercentBelowMAVL() const { return Limit(&API_SCRow::PercentBelowMAVL, kMAVL); }
  double PercentBelowT1L() const { return Limit(&API_SCRow::PercentBelowT1L, kT1L); }
  double PercentBelowT2L() const { return Limit(&API_SCRow::PercentBelowT2L, kT2L); }
  double PercentAboveMAVU() const { return Limit(&API_SCRow::PercentAboveMAVU, kMAVU); }
  double PercentAboveT1U() const { return Limit(&API_SCRow::PercentAboveT1U, kT1U); }
  double PercentAboveT2U() const { return Limit(&API_SCRow::PercentAboveT2U, kT2U); }

  std::int32_t CurrentIndex() const override;

  // For the library.
  void Reset(const Friend&);
  void DataSelect(const Friend&, std::shared_ptr<orvspc::DataSelect> value) {
    data_select_ = std::move(value);
  }
  // Copies both; the cursor stays where it is. Fails with 9 without rows.
  void Load(const Friend&, const Array<API_SCRow>& Rows, const Array<SCNames>& Names);

 private:
  std::int32_t RowCount() const override { return count_; }
  using Figure = platform::WireDouble API_SCRow::*;
  // Bits of LimitFlags.
  enum : std::int32_t {
    kMAVL = 1,
    kLSC = 8,
    kMAVU = 16,
    kT1L = 256,
    kT2L = 1024,
    kT1U = 4096,
    kT2U = 16384,
  };

  const API_SCRow& Current() const { return rows_[Position()]; }
  std::string Name(std::string SCNames::*name) const;
  double Statistic(Figure figure) const;
  // The figure where all bits of the mask are set in its word of flags.
  // Deliberate: the kind of the row does not matter here, so a subtotal may have percentages.
  double Spec(Figure figure, std::int32_t mask) const {
    return Value(figure, (Current().SpecFlags & mask) == mask);
  }
  double Limit(Figure figure, std::int32_t mask) const {
    return Value(figure, (Current().LimitFlags & mask) == mask);
  }
  double Value(Figure figure, bool given) const {
    return given ? static_cast<double>(Current().*figure) : no_value_;
  }

  std::shared_ptr<orvspc::DataSelect> data_select_;
  Array<API_SCRow> rows_;
  Array<SCNames> names_;
  std::int32_t count_ = 0;
  double no_value_ = 0.0;
};

}  // namespace orvspc
