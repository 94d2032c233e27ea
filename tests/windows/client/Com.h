// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <windows.h>

#include <oaidl.h>

#include <memory>
#include <string>
#include <string_view>

// What compiled hosts of the tests need of COM.
namespace orvspc::windows::tests {

std::wstring Wide(std::string_view utf8);
std::string Utf8(std::wstring_view wide);

// Releases what it was given.
template <class I>
std::shared_ptr<I> Owned(I* object) {
  return {object, [](I* held) {
            if (held != nullptr) held->Release();
          }};
}

// The apartment of a thread, which outlives all objects in it.
class Apartment {
 public:
  Apartment() { CoInitialize(nullptr); }
  Apartment(const Apartment&) = delete;
  Apartment& operator=(const Apartment&) = delete;
  ~Apartment() { CoUninitialize(); }
};

// An automation text for the length of a call.
struct Text {
  explicit Text(std::string_view utf8);
  Text(const Text&) = delete;
  Text& operator=(const Text&) = delete;
  ~Text() { SysFreeString(text); }
  std::string Utf8() const;
  BSTR text;
};

// A failure as a host sees it: facility 0xA is the mark of plain numbers.
struct HostFailure {
  std::int32_t number;
  std::string source, description;
};
// Of the HRESULT that a call gave, with the error information of the thread, which it takes.
HostFailure FailureOf(HRESULT result);

// What DllCanUnloadNow of a loaded DLL says; S_OK also where it is not loaded.
HRESULT CanUnload(const wchar_t* dll);

}  // namespace orvspc::windows::tests
