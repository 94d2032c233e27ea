// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "frame/Failure.h"
#include "frame/Friend.h"
#include "host/windows/com/Handles.h"
#include "host/windows/com/automation.h"
#include "host/windows/com/failures.h"
#include "host/windows/com/identity.h"
#include "host/windows/com/text.h"
#include "platform/Database.h"
#include "platform/FixedText.h"
#include "platform/LimitTable.h"
#include "select/ArrayVariant.h"

// Values across the border: Take gives the plain value of an argument, Put stores a plain result.
namespace orvspc::windows::com {

// The adapter class of an interface; generated. It has
//   static Interface* Of(std::shared_ptr<Plain>), the adapter of the object with a reference
template <class Interface>
struct AdapterOf;

// ---- arguments

template <class To>
concept EnumType = std::is_enum_v<To>;

template <class To>
requires std::is_arithmetic_v<To> &&(!std::is_same_v<To, bool>)To Take(To value) { return value; }
template <class To>
requires std::is_same_v<To, std::int32_t> To Take(LONG value) { return value; }
template <class To>
requires std::is_same_v<To, bool> To Take(VARIANT_BOOL value) { return value != VARIANT_FALSE; }
// A value outside the enumeration is kept.
template <EnumType To, EnumType From>
To Take(From value) {
  return static_cast<To>(static_cast<std::int32_t>(value));
}
template <class To>
requires std::is_same_v<To, std::string> To Take(BSTR text) { return FromBstr(text); }

// What an automation array in a variant holds. Elements other than 32-bit integers and doubles
// become as many doubles, which nobody takes for integers; no array is an empty variant.
ArrayVariant TakeArray(const VARIANT& value);
// A Long, Double, Date or String. Of what else is a number, Currency, Decimal and what a Long
// cannot hold become a Double, the rest a Long. What is no number, objects too, fails with 13.
platform::Cell TakeCell(const VARIANT& value);

template <class To>
requires std::is_same_v<To, ArrayVariant> To Take(const VARIANT& value) { return TakeArray(value); }
template <class To>
requires std::is_same_v<To, platform::Cell> To Take(const VARIANT& value) {
  return TakeCell(value);
}

// An object of another class fails with 13; null stays null.
template <class Plain>
std::shared_ptr<Plain> Cast(const std::shared_ptr<platform::Object>& object) {
  auto cast = std::dynamic_pointer_cast<Plain>(object);
  if (object && !cast) FailTypeMismatch();
  if constexpr (std::is_same_v<Plain, platform::Database>) {
    if (cast) cast->Confirm(Friend{});
  }
  return cast;
}
// An argument of a class of this server.
template <class Plain>
std::shared_ptr<Plain> TakeOwn(IDispatch* object) {
  return Cast<Plain>(OwnObjectOf(object));
}
// An untyped argument.
template <class Plain>
std::shared_ptr<Plain> TakeObject(IDispatch* object) {
  return Cast<Plain>(ObjectOf(object));
}

// ---- arguments in and out

// The plain number while a call works on it; written back afterwards, whether it failed or not.
template <class Plain>
class InOut {
 public:
  using Wire = std::conditional_t<std::is_same_v<Plain, std::int32_t>, LONG, Plain>;

  explicit InOut(Wire* wire) : wire_(wire) {
    if (wire == nullptr) Fail(E_POINTER, "Missing argument");
    value_ = Take<Plain>(*wire);
  }
  InOut(const InOut&) = delete;
  InOut& operator=(const InOut&) = delete;
  ~InOut() { *wire_ = static_cast<Wire>(value_); }
  operator Plain&() { return value_; }  // NOLINT: implicit, for the call

 private:
  static_assert(std::is_arithmetic_v<Plain>, "a text needs memory to be written back");

  Wire* wire_;
  Plain value_{};
};

// The same for a text and the call body(text).
template <class Body>
void WithText(BSTR* wire, Body&& body) {
  if (wire == nullptr) Fail(E_POINTER, "Missing argument");
  std::string text = FromBstr(*wire);
  const auto write_back = [&] {
    Text written{std::string_view(text)};
    std::swap(*wire, *written.Exchange());
  };
  try {
    body(text);
  } catch (...) {
    write_back();
    throw;
  }
  write_back();
}

// ---- results

inline void Put(LONG* out, std::int32_t value) { *out = value; }
inline void Put(double* out, double value) { *out = value; }
inline void Put(VARIANT_BOOL* out, bool value) { *out = value ? VARIANT_TRUE : VARIANT_FALSE; }
inline void Put(BSTR* out, const std::string& text) { *out = ToBstr(text); }
inline void Put(IUnknown** out, IUnknown* object) { *out = object; }
template <EnumType To, EnumType From>
void Put(To* out, From value) {
  *out = static_cast<To>(static_cast<std::int32_t>(value));
}

// A SAFEARRAY of a variant type over a copy of the values, based at 0.
SAFEARRAY* MakeArray(VARTYPE type, const void* values, std::size_t count, std::size_t size);
inline SAFEARRAY* MakeArray(const std::vector<std::int32_t>& values) {
  return MakeArray(VT_I4, values.data(), values.size(), sizeof(std::int32_t));
}
inline SAFEARRAY* MakeArray(const std::vector<double>& values) {
  return MakeArray(VT_R8, values.data(), values.size(), sizeof(double));
}

template <class T>
void Put(VARIANT* out, const std::vector<T>& values) {
  out->parray = MakeArray(values);
  out->vt = static_cast<VARTYPE>(VT_ARRAY | (std::is_same_v<T, double> ? VT_R8 : VT_I4));
}
// Nothing is an empty variant.
template <class T>
void Put(VARIANT* out, const std::optional<std::vector<T>>& values) {
  if (values) Put(out, *values);
}
void Put(VARIANT* out, const platform::Cell& cell);

// An object of a class of this server; null is Nothing.
template <class Interface, class Plain>
requires(!std::is_same_v<Interface, IDispatch>) void Put(Interface** out,
                                                         std::shared_ptr<Plain> object) {
  *out = object ? AdapterOf<Interface>::Of(std::move(object)) : nullptr;
}
// An object of another component.
template <class Plain>
void Put(IDispatch** out, const std::shared_ptr<Plain>& object) {
  *out = DispatchOf(object.get());
}

// The default of the type, which a call that fails leaves.
template <class Out>
void Clear(Out* out) {
  *out = {};
}
inline void Clear(VARIANT* out) { VariantInit(out); }

}  // namespace orvspc::windows::com
