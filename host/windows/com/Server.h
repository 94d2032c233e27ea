// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <span>
#include <string>

#include "host/windows/com/automation.h"
#include "platform/Object.h"

// An in-process server: a table of classes and the four functions that a DLL exports for them.
namespace orvspc::windows::com {

// One class of a server.
struct Class {
  const wchar_t* name;     // "DataSelect"
  const wchar_t* prog_id;  // null when hosts cannot create one
  const wchar_t* help;
  const GUID* interface_id;
  const GUID* class_id;
  // A new object with one reference; null when hosts cannot create one.
  IDispatch* (*create)();
  ITypeInfo* type = nullptr;  // of the interface, once it was needed
};

struct Server {
  const wchar_t* name;  // of the library, "orvSPCAnalysis6"
  const GUID* library;  // also names the private interface of the objects of this server
  WORD major, minor;
  std::span<Class> classes;
};

// Each DLL defines these for itself.
//
// The table; generated.
extern const Server kServer;
// Before the first object is made, and again after a stop. May throw.
void StartServer();
// On the thread of the last object, after it is gone.
void StopServer() noexcept;

// A host's object that is none of this server's own. It is ComBacked by that object.
//
// - One that knows the names ConnectionHandle and DatabaseValue is a platform::Database. The names
//   are looked up here and called late bound later; nothing is called here.
// - Any other one is a platform::Object and nothing more.
std::shared_ptr<platform::Object> HostObject(IDispatch* object);

// This DLL.
HMODULE ThisModule();
// The path of its file.
std::wstring ModulePath();

// Keeps the server started while it lives. Every adapter has one.
class Alive {
 public:
  Alive();
  Alive(const Alive&) = delete;
  Alive& operator=(const Alive&) = delete;
  ~Alive();
};

// The type of the class's interface, from the type library inside this DLL. Owned by the table.
ITypeInfo* TypeOf(Class& row);

// The bodies of the four exports.
HRESULT GetClassObject(REFCLSID class_id, REFIID iid, void** object) noexcept;
HRESULT CanUnloadNow() noexcept;
HRESULT RegisterServer() noexcept;
HRESULT UnregisterServer() noexcept;

}  // namespace orvspc::windows::com
