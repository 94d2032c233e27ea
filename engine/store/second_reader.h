// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "engine/sql/sqlite.h"

namespace orvspc::engine::store {

// A second, reading connection to the file of another one, for a second thread. Whether both see
// the same state is told by a sandwich: if nothing was committed between Note and Join, then
// neither was it between the starts of the two transactions that lie in between.
class SecondReader {
 public:
  // Null when the file cannot be opened a second time; the work is then done by one thread.
  static std::unique_ptr<SecondReader> Open(sql::Connection& first) noexcept;

  // Before the transaction of the first connection begins. False when the file cannot be read.
  bool Note() noexcept;
  // Begins to read, inside that transaction. False, and nothing is begun, when the file has changed
  // since Note.
  bool Join() noexcept;
  // Ends what Join began.
  void Leave() noexcept { reading_.reset(); }

  sql::Connection& Get() { return connection_; }

 private:
  explicit SecondReader(sql::Connection connection) : connection_(std::move(connection)) {}
  std::int64_t Version();

  sql::Connection connection_;
  std::int64_t noted_ = 0;
  std::optional<sql::Transaction> reading_;
};

}  // namespace orvspc::engine::store
