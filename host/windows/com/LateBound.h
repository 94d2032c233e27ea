// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <initializer_list>
#include <optional>
#include <string_view>

#include "host/windows/com/Handles.h"
#include "host/windows/com/Pointer.h"
#include "host/windows/com/automation.h"

namespace orvspc::windows::com {

// An object whose members are called by name.
class LateBound {
 public:
  // Adds a reference.
  explicit LateBound(IDispatch* object) : object_(object) {}

  IDispatch* Object() const { return object_.Get(); }

  // The identifier of a member; empty when the object has none of that name. What fails for another
  // reason is thrown.
  std::optional<DISPID> Find(std::u16string_view name) const;

  // Calls a member in the first of the ways (DISPATCH_METHOD, DISPATCH_PROPERTYGET) in which the
  // object has it. The arguments are in reverse. What fails is thrown.
  void Invoke(DISPID id, std::initializer_list<WORD> ways, std::initializer_list<VARIANT> arguments,
              Value& answer) const;

 private:
  Pointer<IDispatch> object_;
};

}  // namespace orvspc::windows::com
