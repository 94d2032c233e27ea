// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "host/windows/com/automation.h"
#include "host/windows/com/failures.h"
#include "platform/FixedText.h"

// What calls of other components need: owners of texts and values, and a call that throws.
namespace orvspc::windows::com {

// Owns a text of automation. Null is the empty one.
class Text {
 public:
  Text() = default;
  explicit Text(std::u16string_view units)
      : text_(SysAllocStringLen(reinterpret_cast<const OLECHAR*>(units.data()),
                                static_cast<UINT>(units.size()))) {
    if (text_ == nullptr) throw std::bad_alloc();
  }
  explicit Text(std::string_view utf8) : Text(std::u16string_view(platform::ToUtf16(utf8))) {}
  Text(const Text&) = delete;
  Text(Text&& other) noexcept : text_(std::exchange(other.text_, nullptr)) {}
  Text& operator=(const Text&) = delete;
  Text& operator=(Text&& other) noexcept {
    std::swap(text_, other.text_);
    return *this;
  }
  ~Text() { SysFreeString(text_); }

  BSTR Get() const { return text_; }
  // For a call that gives a text out, or exchanges it. Frees what is held.
  BSTR* Receive() {
    SysFreeString(std::exchange(text_, nullptr));
    return &text_;
  }
  BSTR* Exchange() { return &text_; }

  std::u16string_view Units() const { return UnitsOf(text_); }
  std::string Utf8() const { return platform::ToUtf8(Units()); }

  static std::u16string_view UnitsOf(BSTR text) {
    if (text == nullptr) return {};
    return {reinterpret_cast<const char16_t*>(text), std::size_t{SysStringLen(text)}};
  }

 private:
  BSTR text_ = nullptr;
};

// Owns a variant. The default one is empty.
class Value {
 public:
  Value() { VariantInit(&value_); }
  explicit Value(std::int32_t number) : Value() {
    value_.vt = VT_I4;
    value_.lVal = number;
  }
  Value(const Value&) = delete;
  Value& operator=(const Value&) = delete;
  ~Value() { VariantClear(&value_); }

  VARIANT& Get() { return value_; }
  // For a call that gives a variant out. Clears what is held.
  VARIANT* Receive() {
    VariantClear(&value_);
    return &value_;
  }

 private:
  VARIANT value_;
};

// The identifier of an interface. Specialised for those that the compiler does not know it of.
template <class Interface>
const IID& InterfaceId() {
  return __uuidof(Interface);
}

// Calls an operation of another component's object by the vtable. What fails is thrown.
template <class T, class Interface, class... Parameters, class... Arguments>
HRESULT Call(T* object, HRESULT (STDMETHODCALLTYPE Interface::*operation)(Parameters...),
             Arguments&&... arguments) {
  SetErrorInfo(0, nullptr);  // so that what is there afterwards is of this call
  const HRESULT result = (object->*operation)(std::forward<Arguments>(arguments)...);
  Check(result, object, InterfaceId<Interface>());
  return result;
}

}  // namespace orvspc::windows::com
