// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/windows/com/ServerTable.h"
#include "host/windows/com/automation.h"

// The type library inside this DLL.
namespace orvspc::windows::com {

// The type of the class's interface. Owned by the table.
ITypeInfo* TypeOf(Class& row);
// The class itself, not its interface, for hosts that ask for the name of an object's type.
HRESULT ClassType(Class& row, ITypeInfo** type);
// Lets the types of all classes go; no object may live.
void ReleaseTypes();

// A call of a script. The object is that of the class's interface.
HRESULT InvokeByType(Class& row, IDispatch* object, DISPID id, WORD flags, DISPPARAMS* arguments,
                     VARIANT* result, EXCEPINFO* failure, UINT* bad);

}  // namespace orvspc::windows::com
