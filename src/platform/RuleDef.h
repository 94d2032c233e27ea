// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/Database.h"

namespace orvspc::platform {

// A list of run-rule definitions with a cursor. Failures are thrown as ExternalFailure.
class RuleDef : public Object {
 public:
  virtual void FirstSetting(std::int32_t value) = 0;
  virtual void SecondSetting(std::int32_t value) = 0;

  // Loads the rules of the database; false if there are none.
  virtual bool Read(const std::shared_ptr<Database>& database, std::int32_t mode) = 0;

  // False when the list is empty.
  virtual bool MoveFirst() = 0;
  // False when there is no next rule; the cursor then stays.
  virtual bool MoveNext() = 0;

  // Of the current rule. The number is the bit that the rule sets in a point's signals.
  virtual std::int32_t Number() = 0;
  virtual std::string Text() = 0;

  // Appends a copy of the current rule of the other list.
  virtual void Add(RuleDef& other) = 0;
};

}  // namespace orvspc::platform
