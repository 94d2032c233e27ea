// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

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

}  // namespace orvspc
