// SPDX-License-Identifier: Apache-2.0
#include "host/windows/com/LateBound.h"

#include <dispex.h>

#include <vector>

#include "host/windows/com/failures.h"

namespace orvspc::windows::com {

std::optional<DISPID> LateBound::Find(std::u16string_view name) const {
  const Text text(name);
  BSTR names = text.Get();
  DISPID id = DISPID_UNKNOWN;
  HRESULT result = object_->GetIDsOfNames(IID_NULL, &names, 1, LOCALE_NEUTRAL, &id);
  if (result == E_NOTIMPL) {
    // The objects of some script engines answer here alone.
    const auto extended = Query<IDispatchEx>(object_.Get(), __uuidof(IDispatchEx));
    if (extended) result = extended->GetDispID(text.Get(), fdexNameCaseInsensitive, &id);
  }
  if (FAILED(result) || id == DISPID_UNKNOWN) return std::nullopt;
  return id;
}

void LateBound::Invoke(DISPID id, std::initializer_list<WORD> ways,
                       std::initializer_list<VARIANT> arguments, Value& answer) const {
  std::vector<VARIANT> copies(arguments);
  DISPPARAMS parameters{copies.data(), nullptr, static_cast<UINT>(copies.size()), 0};
  HRESULT result = DISP_E_MEMBERNOTFOUND;
  EXCEPINFO exception{};
  for (const WORD way : ways) {
    UINT wrong = 0;
    result = object_->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, way, &parameters, answer.Receive(),
                             &exception, &wrong);
    if (result != DISP_E_MEMBERNOTFOUND) break;
  }
  if (FAILED(result)) ThrowFailure(result, exception);
}

}  // namespace orvspc::windows::com
