// SPDX-License-Identifier: Apache-2.0
#include "host/windows/com/text.h"

#include <new>

#include "platform/FixedText.h"

namespace orvspc::windows::com {

static_assert(sizeof(wchar_t) == sizeof(char16_t));

std::string FromWide(std::wstring_view text) {
  return platform::ToUtf8(std::u16string(text.begin(), text.end()));
}

std::wstring ToWide(std::string_view text) {
  const std::u16string units = platform::ToUtf16(text);
  return {units.begin(), units.end()};
}

std::string FromBstr(BSTR text) {
  return text == nullptr ? std::string() : FromWide({text, SysStringLen(text)});
}

BSTR ToBstr(std::string_view text) {
  const std::wstring wide = ToWide(text);
  BSTR made = SysAllocStringLen(wide.data(), static_cast<UINT>(wide.size()));
  if (made == nullptr) throw std::bad_alloc();
  return made;
}

std::wstring GuidText(REFGUID guid) {
  wchar_t text[40];
  StringFromGUID2(guid, text, 40);
  return text;
}

}  // namespace orvspc::windows::com
