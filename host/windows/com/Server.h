// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/windows/com/automation.h"

// An in-process server: how long it is needed, and the four functions that its DLL exports.
namespace orvspc::windows::com {

// Each DLL defines these for itself.
//
// Before the first object is made, and again after a stop. May throw.
void StartServer();
// On the thread of the last object, after it is gone.
void StopServer() noexcept;

// Keeps the server started while it lives. Every adapter has one.
class Alive {
 public:
  Alive();
  Alive(const Alive&) = delete;
  Alive& operator=(const Alive&) = delete;
  ~Alive();
};

// The bodies of the four exports.
HRESULT GetClassObject(REFCLSID class_id, REFIID iid, void** object) noexcept;
HRESULT CanUnloadNow() noexcept;
HRESULT RegisterServer() noexcept;
HRESULT UnregisterServer() noexcept;

}  // namespace orvspc::windows::com
