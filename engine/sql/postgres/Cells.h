// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <climits>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "engine/sql/Connection.h"
#include "engine/sql/postgres/wire.h"
#include "engine/sql/texts.h"

namespace orvspc::engine::sql::postgres {

// Where a value to be sent lies: a number in the cell itself, the rest with the caller.
struct Cell {
  TypeId type = kUnknownType;
  bool is_null = true;
  bool is_real = false;
  std::int64_t whole = 0;
  double real = 0.0;
  std::string_view bytes;

  // In the form of a type. The number lies in `number`.
  std::string_view BytesAs(TypeId wanted, NumberBytes& number) const {
    if (type != kInt8 && type != kFloat8) return bytes;
    number = is_real ? BytesOf(real, wanted) : BytesOf(whole, wanted);
    return number.View();
  }
};

// The values of a statement or a row.
template <class Base>
class Cells : public Base {
 public:
  explicit Cells(int count) : cells_(static_cast<std::size_t>(count)) {}

  void BindInt(int index, std::int64_t value) override {
    At(index) = {kInt8, false, false, value, 0.0, {}};
  }
  void BindText(int index, std::string_view text) override {
    // The server would refuse it, too, and with it the transaction.
    if (!IsStorable(text)) throw SqlError(SqlError::Kind::Other, NotStorable(text));
    BindBytes(index, kText, text);
  }
  void BindBlob(int index, std::span<const std::byte> blob) override {
    BindBytes(index, kBytea, {reinterpret_cast<const char*>(blob.data()), blob.size()});
  }
  void BindNull(int index) override { At(index) = {}; }

 protected:
  std::vector<Cell> cells_;

 private:
  void BindSigned(int index, double value) override {
    At(index) = {kFloat8, false, true, 0, value, {}};
  }
  Cell& At(int index) {
    if (index < 1 || static_cast<std::size_t>(index) > cells_.size()) {
      throw SqlError(SqlError::Kind::Other,
                     "the statement has no parameter " + std::to_string(index));
    }
    return cells_[static_cast<std::size_t>(index) - 1];
  }
  void BindBytes(int index, TypeId type, std::string_view bytes) {
    auto& cell = At(index);
    if (bytes.size() > INT_MAX) throw SqlError(SqlError::Kind::Other, "string or blob too big");
    cell = {type, false, false, 0, 0.0, bytes.data() == nullptr ? "" : bytes};
  }
};

}  // namespace orvspc::engine::sql::postgres
