// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "frame/Array.h"
#include "frame/Cursor.h"
#include "platform/ComplianceRecords.h"
#include "platform/Enumerations.h"
#include "platform/Object.h"
#include "select/DataSelect.h"
#include "summary/SCNames.h"

namespace orvspc {

class Friend;

// The rows of a sampling-compliance analysis and a cursor over them. A figure that the current row
// does not have is NaN; ask with an is-NaN test. Every Get of the current row fails with 9 when
// there are no rows; no move ever fails for being out of range, it returns false and the cursor
// stays.
class SCResults : public platform::Object {
 public:
  SCResults();

  // The selection with the time range that was really used; null in a new object.
  std::shared_ptr<orvspc::DataSelect> DataSelect() const { return data_select_; }

  // 0 for a row of detail, else which identifiers a subtotal stands for.
  SCResultTypes ResultType() const;
  std::int32_t Count() const { return count_; }

  // Names of the row; empty where it has none.
  std::string Part() const { return Name(&SCNames::Part); }
  std::string Process() const { return Name(&SCNames::Process); }
  std::string Test() const { return Name(&SCNames::Test); }
  ProcessStateTypes StateType() const;
  std::string State() const { return Name(&SCNames::State); }
  std::string SmplReq() const { return Name(&SCNames::SmplReq); }

  // Start of the period as a date; 1970-01-01 for a subtotal.
  double StartTime() const;
  // Length of the period, in minutes with the embedded engine.
  double Duration() const;

  std::int32_t SamplesCollected() const;
  std::int32_t SamplesMissed() const;
  std::int32_t SamplesExpected() const;
  double PercentComplete() const;

  // How many values stand behind the statistics.
  std::int32_t TestCount() const;
  // Of a row of detail with values; else NaN.
  double MinimumValue() const;
  double MaximumValue() const;
  double AverageValue() const;
  double StandardDeviation() const;
  double PP() const;
  double PPK() const;

  // Outside the specification limits; NaN where the limits, or one of two, are not given.
  double PercentAboveUSL() const;
  double PercentBelowLSL() const;
  double PercentOOS() const;
  double PPM() const;

  // Outside the limits of the net content; NaN where a limit is not given.
  double PercentAboveLSC() const;
  double PercentBelowLSC() const;
  double PercentBelowMAVL() const;
  double PercentBelowT1L() const;
  double PercentBelowT2L() const;
  double PercentAboveMAVU() const;
  double PercentAboveT1U() const;
  double PercentAboveT2U() const;

  // The index counts from 1.
  bool MoveTo(std::int32_t Index);
  bool MoveFirst();
  bool MoveLast();
  bool MoveNext();
  bool MovePrev();
  std::int32_t CurrentIndex() const;

  // For the library.
  void Reset(const Friend&);
  void DataSelect(const Friend&, std::shared_ptr<orvspc::DataSelect> value) {
    data_select_ = std::move(value);
  }
  // Copies both; the cursor stays where it is. Fails with 9 without rows.
  void Load(const Friend&, const Array<API_SCRow>& Rows, const Array<SCNames>& Names);

 private:
  using Figure = platform::WireDouble API_SCRow::*;

  const API_SCRow& Current() const { return rows_[cursor_.Position()]; }
  std::string Name(std::string SCNames::*name) const;
  double Statistic(Figure figure) const;
  // The figure where all bits of the mask are set in the word of flags.
  double Flagged(Figure figure, std::int32_t API_SCRow::*flags, std::int32_t mask) const;

  std::shared_ptr<orvspc::DataSelect> data_select_;
  Array<API_SCRow> rows_;
  Array<SCNames> names_;
  Cursor cursor_;
  std::int32_t count_ = 0;
  double no_value_ = 0.0;
};

}  // namespace orvspc
