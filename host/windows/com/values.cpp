// SPDX-License-Identifier: Apache-2.0
#include "host/windows/com/values.h"

#include <cstdint>
#include <cstring>
#include <new>

#include "host/windows/com/Handles.h"
#include "platform/FixedText.h"

namespace orvspc::windows::com {
namespace {

// What a reference to another variant refers to.
const VARIANT& Referred(const VARIANT& value) {
  return value.vt == (VT_BYREF | VT_VARIANT) && value.pvarVal != nullptr ? *value.pvarVal : value;
}

template <class T>
std::vector<T> Elements(SAFEARRAY* array, std::size_t count) {
  std::vector<T> elements(count);
  void* data = nullptr;
  Check(SafeArrayAccessData(array, &data));
  if (count != 0) std::memcpy(elements.data(), data, count * sizeof(T));
  Check(SafeArrayUnaccessData(array));
  return elements;
}

}  // namespace

ArrayVariant TakeArray(const VARIANT& given) {
  const VARIANT& value = Referred(given);
  if ((value.vt & VT_ARRAY) == 0) return {};
  SAFEARRAY* const array = (value.vt & VT_BYREF) != 0 ? *value.pparray : value.parray;
  if (array == nullptr || SafeArrayGetDim(array) == 0) return std::vector<std::int32_t>();
  LONG lower = 0;
  LONG upper = 0;
  Check(SafeArrayGetLBound(array, 1, &lower));
  Check(SafeArrayGetUBound(array, 1, &upper));
  const auto count = static_cast<std::size_t>(std::int64_t{upper} - lower + 1);
  const auto type = value.vt & VT_TYPEMASK;
  if (SafeArrayGetDim(array) == 1 && (type == VT_I4 || type == VT_INT))
    return {Elements<std::int32_t>(array, count), lower};
  if (SafeArrayGetDim(array) == 1 && type == VT_R8) return {Elements<double>(array, count), lower};
  return {std::vector<double>(count), lower};
}

platform::Cell TakeCell(const VARIANT& given) {
  Value copy;  // of what a reference refers to
  Check(VariantCopyInd(copy.Receive(), const_cast<VARIANT*>(&given)));
  const VARIANT& value = copy.Get();
  switch (value.vt) {
    case VT_R8:
      return value.dblVal;
    case VT_R4:
      return double{value.fltVal};
    case VT_DATE:
      return platform::Date{value.date};
    case VT_BSTR:
      return platform::ToUtf16(FromBstr(value.bstrVal));
    default:
      break;
  }
  Value number;
  if (FAILED(VariantChangeTypeEx(number.Receive(), &copy.Get(), LOCALE_INVARIANT,
                                 VARIANT_NOVALUEPROP, VT_R8)))
    FailTypeMismatch();
  const double real = number.Get().dblVal;
  const bool fractional = value.vt == VT_CY || value.vt == VT_DECIMAL;
  if (fractional || real < INT32_MIN || real > INT32_MAX) return real;
  return static_cast<std::int32_t>(real);
}

SAFEARRAY* MakeArray(VARTYPE type, const void* values, std::size_t count, std::size_t size) {
  SAFEARRAY* const array = SafeArrayCreateVector(type, 0, static_cast<ULONG>(count));
  if (array == nullptr) throw std::bad_alloc();
  if (count != 0) std::memcpy(array->pvData, values, count * size);
  return array;
}

void Put(VARIANT* out, const platform::Cell& cell) {
  if (const auto* const number = std::get_if<std::int32_t>(&cell)) {
    out->vt = VT_I4;
    out->lVal = *number;
  } else if (const auto* const real = std::get_if<double>(&cell)) {
    out->vt = VT_R8;
    out->dblVal = *real;
  } else if (const auto* const date = std::get_if<platform::Date>(&cell)) {
    out->vt = VT_DATE;
    out->date = date->days;
  } else {
    Put(&out->bstrVal, platform::ToUtf8(std::get<std::u16string>(cell)));
    out->vt = VT_BSTR;
  }
}

}  // namespace orvspc::windows::com
