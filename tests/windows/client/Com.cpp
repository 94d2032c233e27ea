// SPDX-License-Identifier: Apache-2.0
#include "tests/windows/client/Com.h"

namespace orvspc::windows::tests {

std::wstring Wide(std::string_view utf8) {
  const int length = static_cast<int>(utf8.size());
  std::wstring wide(
      static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, utf8.data(), length, nullptr, 0)),
      L'\0');
  MultiByteToWideChar(CP_UTF8, 0, utf8.data(), length, wide.data(), static_cast<int>(wide.size()));
  return wide;
}

std::string Utf8(std::wstring_view wide) {
  const int length = static_cast<int>(wide.size());
  std::string utf8(static_cast<std::size_t>(WideCharToMultiByte(CP_UTF8, 0, wide.data(), length,
                                                                nullptr, 0, nullptr, nullptr)),
                   '\0');
  WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, utf8.data(), static_cast<int>(utf8.size()),
                      nullptr, nullptr);
  return utf8;
}

Text::Text(std::string_view utf8) {
  const auto wide = Wide(utf8);
  text = SysAllocStringLen(wide.data(), static_cast<UINT>(wide.size()));
}

std::string Text::Utf8() const { return tests::Utf8({text, SysStringLen(text)}); }

HostFailure FailureOf(HRESULT result) {
  HostFailure failure{
      HRESULT_FACILITY(result) == FACILITY_CONTROL ? HRESULT_CODE(result) : result, {}, {}};
  IErrorInfo* info = nullptr;
  if (GetErrorInfo(0, &info) != S_OK) return failure;
  const auto owned = Owned(info);
  BSTR text = nullptr;
  if (info->GetSource(&text) == S_OK) failure.source = Utf8({text, SysStringLen(text)});
  SysFreeString(text);
  text = nullptr;
  if (info->GetDescription(&text) == S_OK) failure.description = Utf8({text, SysStringLen(text)});
  SysFreeString(text);
  return failure;
}

HRESULT CanUnload(const wchar_t* dll) {
  const HMODULE module = GetModuleHandleW(dll);
  if (module == nullptr) return S_OK;
  using Function = HRESULT(WINAPI*)();
  const auto function = reinterpret_cast<Function>(
      reinterpret_cast<void*>(GetProcAddress(module, "DllCanUnloadNow")));
  return function == nullptr ? E_UNEXPECTED : function();
}

}  // namespace orvspc::windows::tests
