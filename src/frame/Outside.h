// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "frame/Trail.h"
#include "platform/Platform.h"

// The way to what lies outside the library.
namespace orvspc {

// The platform in force at this call. Without one: Failure "No platform is installed".
std::shared_ptr<platform::Platform> PlatformInForce();

// Through one helper object of each kind for a thread, made at the first use and dropped when the
// platform of the thread has changed.
std::int32_t DateToTimeStamp(double date);
double TimeStampToDate(std::int32_t stamp);

// Takes the padding off a fixed-width text.
void TrimFixedString(std::u16string& text);
// The text of a fixed field without its padding. Deliberate: the field is written back, the text at
// its left and blanks behind it.
std::string TrimFixedField(std::span<char16_t> field);

// The untyped object as a database; no call is made on it but Confirm. Null fails with 91, an
// object that is no database with 13.
std::shared_ptr<platform::Database> ResolveDatabase(
    const std::shared_ptr<platform::Object>& Database);

// A new list of run rules, loaded from the database; empty when there are none.
std::shared_ptr<platform::RuleDef> ResolveRuleDef(
    const std::shared_ptr<platform::Object>& Database);

// Moves the cache to the record of that identifier.
//
// - Each record is read once; one that does not exist is not remembered and gives false.
//
// - Identifier 0 is none: false, without a read.
//
// - Without a failure handler: a failure belongs to the trail of the caller.
struct NameResolver {
  platform::NameRecordKind kind;

  bool operator()(const std::shared_ptr<platform::Database>& Database, std::int32_t ID,
                  platform::NameRecord& Cache) const;
};

inline constexpr NameResolver ResolvePart{platform::NameRecordKind::Part};
inline constexpr NameResolver ResolveProcess{platform::NameRecordKind::Process};
inline constexpr NameResolver ResolveTest{platform::NameRecordKind::Test};
inline constexpr NameResolver ResolveSmplReq{platform::NameRecordKind::SmplReq};
inline constexpr NameResolver ResolveState{platform::NameRecordKind::State};

// Inside a catch block of a constructor: makes the logger "orvError6.Error" and hands it the
// failure that is under way as one of "<class_name>.Class_Initialize". Whatever fails from then on,
// the joining of that name too, is ignored. The logger is to be kept by the object; null when it
// could not be made.
std::shared_ptr<platform::ErrorLog> LogConstructorFailure(std::string_view class_name) noexcept;

// The name that a constructor has in the log and at its fail point.
inline std::string ConstructorName(std::string_view class_name) {
  return std::string(class_name) + ".Class_Initialize";
}

// The body of a constructor that has work to do. A failure cannot leave a constructor: it is
// logged, and the object keeps the members that were set before it. Returns the logger if one was
// made.
template <class Body>
std::shared_ptr<platform::ErrorLog> Constructed(std::string_view class_name, Body&& body) noexcept {
  try {
#ifdef ORVSPC_FAIL_POINTS
    FailPoint::Enter(ConstructorName(class_name));
#endif
    std::forward<Body>(body)();
    return nullptr;
  } catch (...) {
    return LogConstructorFailure(class_name);
  }
}

}  // namespace orvspc
