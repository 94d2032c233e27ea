// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <initializer_list>

#include "host/windows/com/Handles.h"
#include "host/windows/com/Pointer.h"
#include "host/windows/com/automation.h"

namespace orvspc::windows::com {

// A new object of the first class among the names that can be made. When there is none, a
// platform::ExternalFailure 429 that names the first of them and the reason.
IUnknown* Create(std::initializer_list<const wchar_t*> names, REFIID interface_id);

template <class Interface>
Pointer<Interface> Create(std::initializer_list<const wchar_t*> names) {
  Pointer<Interface> made;
  // That interface is what was asked for.
  *made.Receive() = static_cast<Interface*>(Create(names, InterfaceId<Interface>()));
  return made;
}

}  // namespace orvspc::windows::com
