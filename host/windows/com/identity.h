// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "host/windows/com/ServerTable.h"
#include "host/windows/com/automation.h"
#include "platform/Object.h"

// Which adapter each plain object has. A plain object has one adapter while a host holds
// it, so two reads that give the same object compare equal. The key is the address and the class,
// since an object may be the first member of another. No reference is held.
namespace orvspc::windows::com {

// Adds a reference; null when the object has no adapter now.
IDispatch* FindAdapter(const void* plain, const Class& row);
void RememberAdapter(const void* plain, const Class& row, IDispatch* adapter);
void ForgetAdapter(const void* plain, const Class& row);

// The private interface of every adapter. Its identifier is that of the server's type library, so
// that an adapter of another server is a foreign object here.
struct PlainSource : IUnknown {
  virtual std::shared_ptr<platform::Object> PlainObject() = 0;
};

// A host's object that is none of this server's own. It is ComBacked by that object, and a
// platform::Database until it is asked.
//
// - Nothing is asked here. Confirm looks up the names ConnectionHandle and DatabaseValue, which are
//   called late bound later.
// - Confirm fails with 13 when the object lacks one of them, and with what the look-up failed with.
std::shared_ptr<platform::Object> HostObject(IDispatch* object);

// The plain object of a COM object: null for null, that of the adapter for an object of this
// server, else what HostObject makes of it.
std::shared_ptr<platform::Object> ObjectOf(IDispatch* object);
// The same for an argument of a class of this server: a foreign object fails with 13.
std::shared_ptr<platform::Object> OwnObjectOf(IDispatch* object);
// The COM object of a plain object that another component made, with a reference; null for
// null. Fails with 13 when there is none.
IDispatch* DispatchOf(platform::Object* object);

}  // namespace orvspc::windows::com
