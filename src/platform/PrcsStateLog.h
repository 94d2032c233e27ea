// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/Database.h"

namespace orvspc::platform {

// A reader over the stored log of process states and, in a second instance, a list of the records
// that were kept. Failures are thrown as ExternalFailure.
class PrcsStateLog : public Object {
 public:
  // Values of QueryType.
  static constexpr std::int32_t kForward = 259;       // from Time on, of one process, ascending
  static constexpr std::int32_t kLatestBefore = 517;  // the latest before Time, of any process

  virtual void RowLimit(std::int32_t value) = 0;
  virtual void KeyMode(std::int32_t value) = 0;
  virtual void ProcessID(std::int32_t value) = 0;
  virtual void QueryType(std::int32_t value) = 0;
  // Let: reference time of the read. Get: time of the current record. A date.
  virtual double Time() = 0;
  virtual void Time(double value) = 0;

  // Runs the query; its first record becomes the current one. False when there is none.
  virtual bool Read(const std::shared_ptr<Database>& database, std::int32_t mode) = 0;
  // Appends a copy of the current record of the other object.
  virtual void Add(PrcsStateLog& record) = 0;
  // False when the list is empty.
  virtual bool MoveFirst() = 0;
  // False when there is no further record; the cursor then stays.
  virtual bool MoveNext() = 0;

  // Of the current record, for hosts: its process, state code and that code's text and type
  // (ProcessStateTypes).
  virtual std::int32_t Process() = 0;
  virtual std::int32_t StateID() = 0;
  virtual std::string StateName() = 0;
  virtual std::int32_t StateType() = 0;
};

}  // namespace orvspc::platform
