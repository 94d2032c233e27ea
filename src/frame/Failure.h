// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <string_view>

namespace orvspc {

// The library's one failure channel. Number and Description never change on the way out; Source is
// the trail that the failure took, innermost last: "DataSelect.MaximumItems(l)|orvSPCAnalysis6".
class Failure : public std::exception {
 public:
  // A failure raised by the library itself starts its trail with the library's name.
  Failure(std::int32_t number, std::string description);
  Failure(std::int32_t number, std::string source, std::string description);

  std::int32_t Number() const { return number_; }
  const std::string& Source() const { return source_; }
  const std::string& Description() const { return description_; }
  const char* what() const noexcept override { return description_.c_str(); }

 private:
  std::int32_t number_;
  std::string source_;
  std::string description_;
};

inline constexpr std::int32_t kMessage =
    -2147221504;  // every validation and message of the library
inline constexpr std::int32_t kOverflow = 6;
inline constexpr std::int32_t kOutOfMemory = 7;
inline constexpr std::int32_t kSubscript = 9;
inline constexpr std::int32_t kTypeMismatch = 13;
inline constexpr std::int32_t kMissingObject = 91;
inline constexpr std::int32_t kUnexpected = -2147467259;

[[noreturn]] void FailMessage(std::string description);  // kMessage
[[noreturn]] void FailOverflow();                        // "Overflow"
[[noreturn]] void FailSubscript();                       // "Subscript out of range"
[[noreturn]] void FailTypeMismatch();                    // "Type mismatch"
[[noreturn]] void FailMissingObject();                   // "Missing object"

// The object behind a pointer; a null one fails with 91.
template <class Pointer>
auto& Needed(const Pointer& object) {
  if (!object) FailMissingObject();
  return *object;
}

}  // namespace orvspc
