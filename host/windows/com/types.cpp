// SPDX-License-Identifier: Apache-2.0
#include "host/windows/com/types.h"

#include <mutex>
#include <utility>

#include "host/windows/com/Module.h"
#include "host/windows/com/Pointer.h"
#include "host/windows/com/failures.h"

namespace orvspc::windows::com {
namespace {

std::mutex& OfTypes() {
  static std::mutex mutex;
  return mutex;
}

}  // namespace

ITypeInfo* TypeOf(Class& row) {
  const std::lock_guard lock(OfTypes());
  if (row.type == nullptr) {
    Pointer<ITypeLib> library;
    Check(LoadTypeLibEx(ModulePath().c_str(), REGKIND_NONE, library.Receive()));
    Check(library->GetTypeInfoOfGuid(*row.interface_id, &row.type));
  }
  return row.type;
}

HRESULT ClassType(Class& row, ITypeInfo** type) {
  if (type == nullptr) return E_POINTER;
  *type = nullptr;
  return Guard(*row.interface_id, [&] {
    Pointer<ITypeLib> library;
    UINT index = 0;
    Check(TypeOf(row)->GetContainingTypeLib(library.Receive(), &index));
    Check(library->GetTypeInfoOfGuid(*row.class_id, type));
  });
}

void ReleaseTypes() {
  const std::lock_guard lock(OfTypes());
  for (Class& row : kServer.classes)
    if (ITypeInfo* const type = std::exchange(row.type, nullptr)) type->Release();
}

HRESULT InvokeByType(Class& row, IDispatch* object, DISPID id, WORD flags, DISPPARAMS* arguments,
                     VARIANT* result, EXCEPINFO* failure, UINT* bad) {
  ITypeInfo* type = nullptr;
  const HRESULT found = Guard(*row.interface_id, [&] { type = TypeOf(row); });
  if (FAILED(found)) return found;
  SetErrorInfo(0, nullptr);
  const HRESULT done = type->Invoke(object, id, flags, arguments, result, failure, bad);
  // Some systems say so of an argument that is an object of another class.
  if (done == E_NOINTERFACE) return DISP_E_TYPEMISMATCH;
  // Some script engines ask for a property, as the enumerator is one, as if it were a method.
  if (done == DISP_E_MEMBERNOTFOUND && flags == DISPATCH_METHOD)
    return type->Invoke(object, id, DISPATCH_PROPERTYGET, arguments, result, failure, bad);
  return done;
}

}  // namespace orvspc::windows::com
