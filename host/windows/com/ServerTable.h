// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <span>

#include "host/windows/com/automation.h"

namespace orvspc::windows::com {

// One class of a server.
struct Class {
  const wchar_t* name;     // "DataSelect"
  const wchar_t* prog_id;  // null when hosts cannot create one
  const wchar_t* help;
  const wchar_t* threading_model;
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

// Each DLL defines its table; generated.
extern const Server kServer;

}  // namespace orvspc::windows::com
