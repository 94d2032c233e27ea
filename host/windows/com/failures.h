// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "host/windows/com/automation.h"

// Failures across the border, in both directions. A failure is a Number, a Source and a
// Description on either side; a Number of 1 to 65535 crosses as 0x800A0000 + Number.
namespace orvspc::windows::com {

// What a Number is for a COM caller; always a failure code.
HRESULT ToResult(std::int32_t number);
// The Number of a failure code: 0x800Annnn is nnnn, those of automation that have a Number of their
// own (type mismatch 13, division by zero 11, overflow 6, subscript 9, memory 7, no such member
// 438) are that.
std::int32_t ToNumber(HRESULT result);

// Inside a catch block: leaves the failure that is under way as the error information of this
// thread. Returns its code. Never throws.
HRESULT Report(REFIID iid) noexcept;

// The only door out: runs the body of a method that a COM caller called. Nothing thrown passes it.
template <class Body>
HRESULT Guard(REFIID iid, Body&& body) noexcept {
  try {
    std::forward<Body>(body)();
    return S_OK;
  } catch (...) {
    return Report(iid);
  }
}

// Throws platform::ExternalFailure for a failed call by a vtable. Source and Description are those
// of the object where it has left any.
[[noreturn]] void ThrowFailure(HRESULT result, IUnknown* object, REFIID iid);
// The same for a failed IDispatch::Invoke, with what it left in the information. Its texts stay the
// caller's.
[[noreturn]] void ThrowFailure(HRESULT result, EXCEPINFO& information);

inline void Check(HRESULT result, IUnknown* object, REFIID iid) {
  if (FAILED(result)) ThrowFailure(result, object, iid);
}

// Throws platform::ExternalFailure with the name of this server as its Source.
[[noreturn]] void Fail(std::int32_t number, std::string description);
// 13
[[noreturn]] void FailTypeMismatch();
// For a system call that gives nothing but a code.
void Check(HRESULT result);

}  // namespace orvspc::windows::com
