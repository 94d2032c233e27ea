// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <concepts>
#include <cstdint>
#include <span>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/ArrayRef.h"
#include "platform/Object.h"
#include "platform/SelectionRecord.h"

namespace orvspc::fake {

// Every call that reached the outside, in order, as one line each: "Database.DatabaseValue(0)".
// Arrays stand as [elements x size], spans as [elements], the selection record as DSInfo.
class CallLog {
 public:
  const std::vector<std::string>& Lines() const { return lines_; }
  void Clear() { lines_.clear(); }

  // The lines that begin with one of the given texts; all without any.
  std::vector<std::string> LinesOf(std::initializer_list<std::string_view> beginnings) const;
  int Count(std::string_view beginning) const;

  // The nth line from now that begins so throws an ExternalFailure, after it was logged. Only calls
  // of external objects may fail; the closed libraries throw nothing.
  void FailOn(std::string beginning, int nth = 1, std::int32_t number = -2147217900);
  static constexpr const char* kSource = "Outside.Object";
  static constexpr const char* kDescription = "The outside failed";

  // A call of a closed library.
  template <class... Arguments>
  void Native(std::string_view name, const Arguments&... arguments) {
    lines_.push_back(Line(name, arguments...));
  }

  // A call of an external object, which may be told to fail.
  template <class... Arguments>
  void External(std::string_view name, const Arguments&... arguments) {
    lines_.push_back(Line(name, arguments...));
    ThrowIfTold();
  }

 private:
  template <class... Arguments>
  static std::string Line(std::string_view name, const Arguments&... arguments) {
    std::ostringstream out;
    out << name << '(';
    [[maybe_unused]] const char* separator = "";
    ((out << std::exchange(separator, ", "), Write(out, arguments)), ...);
    out << ')';
    return std::move(out).str();
  }

  template <class T>
  requires std::integral<T> || std::floating_point<T>
  static void Write(std::ostream& out, T value) { out << +value; }
  static void Write(std::ostream& out, std::string_view text) { out << text; }
  static void Write(std::ostream& out, const std::string& text) { out << text; }
  static void Write(std::ostream& out, const char* text) { out << text; }
  static void Write(std::ostream& out, std::span<std::int32_t> cells) {
    out << '[' << cells.size() << ']';
  }
  static void Write(std::ostream& out, const platform::ArrayRef& array) {
    out << '[' << array.count << " x " << array.element_size << ']';
  }
  static void Write(std::ostream& out, const API_DSInfo&) { out << "DSInfo"; }

  void ThrowIfTold();

  std::vector<std::string> lines_;
  std::string failing_;
  int until_failure_ = 0;
  std::int32_t number_ = 0;
};

}  // namespace orvspc::fake
