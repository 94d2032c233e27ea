// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/Database.h"

namespace orvspc::platform {

enum class NameRecordKind { Part, Process, Test, SmplReq, State };

// A record of the database with a key and a display text, and at the same time an in-memory list of
// such records with a cursor. Failures are thrown as ExternalFailure.
class NameRecord : public Object {
 public:
  // The key: Get of the current list item, Let before a read.
  virtual std::int32_t ID() = 0;
  virtual void ID(std::int32_t value) = 0;
  // 1 before a read by key.
  virtual void KeyMode(std::int32_t value) = 0;
  // Reads the record of the key; false when there is none.
  virtual bool Read(const std::shared_ptr<Database>& database, std::int32_t mode) = 0;

  // Appends a copy of the other object's record, which becomes the current one.
  virtual void Add(NameRecord& record) = 0;
  // False when the list is empty.
  virtual bool MoveFirst() = 0;
  // False when there is no next item; the cursor then stays.
  virtual bool MoveNext() = 0;
  // Display text of the current item, UTF-8.
  virtual std::string Name() = 0;
};

}  // namespace orvspc::platform
