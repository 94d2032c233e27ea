// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include "host/windows/com/automation.h"

// Between the UTF-8 of the library and the wide texts of Windows. A lone surrogate and an
// ill-formed byte become U+FFFD.
namespace orvspc::windows::com {

// A null text is empty. NULs inside are kept.
std::string FromBstr(BSTR text);
// The caller owns it.
BSTR ToBstr(std::string_view text);

std::string FromWide(std::wstring_view text);
std::wstring ToWide(std::string_view text);

// "{00000000-0000-0000-0000-000000000000}"
std::wstring GuidText(REFGUID guid);

}  // namespace orvspc::windows::com
