// SPDX-License-Identifier: Apache-2.0
#include "host/windows/com/LateBound.h"

#include <dispex.h>

#include <vector>

#include "host/windows/com/failures.h"

namespace orvspc::windows::com {
namespace {

// Owns the texts.
struct Exception : EXCEPINFO {
  Exception() : EXCEPINFO{} {}
  Exception(const Exception&) = delete;
  Exception& operator=(const Exception&) = delete;
  ~Exception() {
    for (const BSTR text : {bstrSource, bstrDescription, bstrHelpFile}) SysFreeString(text);
  }
};

// Whether a look-up failed because there is no such name.
bool IsUnknown(HRESULT result) {
  return result == DISP_E_UNKNOWNNAME || result == DISP_E_MEMBERNOTFOUND || result == E_NOTIMPL;
}

}  // namespace

std::optional<DISPID> LateBound::Find(std::u16string_view name) const {
  const Text text(name);
  BSTR names = text.Get();
  DISPID id = DISPID_UNKNOWN;
  SetErrorInfo(0, nullptr);
  HRESULT result = object_->GetIDsOfNames(IID_NULL, &names, 1, LOCALE_NEUTRAL, &id);
  if (result == E_NOTIMPL) {
    // The objects of some script engines answer here alone.
    const auto extended = Query<IDispatchEx>(object_.Get(), __uuidof(IDispatchEx));
    if (extended) result = extended->GetDispID(text.Get(), fdexNameCaseInsensitive, &id);
  }
  if (FAILED(result) && !IsUnknown(result)) ThrowFailure(result, object_.Get(), IID_IDispatch);
  if (FAILED(result) || id == DISPID_UNKNOWN) return std::nullopt;
  return id;
}

void LateBound::Invoke(DISPID id, std::initializer_list<WORD> ways,
                       std::initializer_list<VARIANT> arguments, Value& answer) const {
  std::vector<VARIANT> copies(arguments);
  DISPPARAMS parameters{copies.data(), nullptr, static_cast<UINT>(copies.size()), 0};
  for (const WORD way : ways) {
    Exception exception;
    UINT wrong = 0;
    SetErrorInfo(0, nullptr);
    const HRESULT result = object_->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, way, &parameters,
                                           answer.Receive(), &exception, &wrong);
    if (SUCCEEDED(result)) return;
    if (result != DISP_E_MEMBERNOTFOUND || way == *(ways.end() - 1))
      ThrowFailure(result, exception);
  }
}

}  // namespace orvspc::windows::com
