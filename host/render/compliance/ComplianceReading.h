// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/render/compliance/ComplianceView.h"
#include "host/render/data/DataReading.h"
#include "summary/SCResults.h"

// What an analysis of sampling compliance gave, read once into plain values.
namespace orvspc::render {

// One row; a figure that it does not have is NaN, the start of a subtotal 0.
struct ComplianceRow {
  std::int32_t result_type = 0, state_type = 0;
  std::string part, process, test, state, requirement;
  std::int64_t start = 0;
  double duration = 0.0;  // minutes
  std::int32_t collected = 0, missed = 0, expected = 0;
  double percent_complete = 0.0;
  std::int32_t test_count = 0;
  double minimum = 0.0, maximum = 0.0, average = 0.0, deviation = 0.0, pp = 0.0, ppk = 0.0;
  double above_usl = 0.0, below_lsl = 0.0, oos = 0.0, ppm = 0.0;
  double above_lsc = 0.0, below_lsc = 0.0, below_mavl = 0.0, below_t1l = 0.0, below_t2l = 0.0;
  double above_mavu = 0.0, above_t1u = 0.0, above_t2u = 0.0;
};
std::vector<ComplianceRow> ReadCompliance(SCResults& results);

// Kinds of row.
inline constexpr std::int32_t kDetail = 0, kWhole = rt_Summary;

// What fell due in one shift of a process.
struct ShiftRow {
  std::string process, day, shift;  // "2024-03-04", "06:00": when the shift begins, local time
  std::int64_t start = 0, end = 0;  // the end is not part of it
  SampleCount count;
};

struct ComplianceDocument {
  std::shared_ptr<DataSelect> select;  // with the range that was really used
  std::vector<ComplianceRow> rows;
  std::vector<ShiftRow> shifts;
  std::vector<Note> notes;
};

std::string ComplianceJson(const ComplianceDocument& document);
ComplianceView MakeComplianceView(const ComplianceDocument& document);

}  // namespace orvspc::render
