// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

#include "engine/sql/Connection.h"

namespace orvspc::engine::store {

// A second, reading connection to the database of another one, for a second thread. Both see the
// same snapshot if DataVersion is unchanged between Note() and Join().
class SecondReader {
 public:
  // Null when the database cannot be opened a second time; one thread then does all the work.
  static std::unique_ptr<SecondReader> Open(sql::Connection& first) noexcept;

  // Before the transaction of the first connection begins. False when the database cannot be read.
  bool Note() noexcept;
  // Begins to read, inside that transaction. False, and nothing is begun, when the database has
  // changed since Note.
  bool Join() noexcept;
  // Ends what Join began.
  void Leave() noexcept { reading_.reset(); }

  sql::Connection& Get() { return *connection_; }

 private:
  explicit SecondReader(std::unique_ptr<sql::Connection> connection)
      : connection_(std::move(connection)) {}

  std::unique_ptr<sql::Connection> connection_;
  std::int64_t noted_ = 0;
  std::optional<sql::Transaction> reading_;
};

}  // namespace orvspc::engine::store
