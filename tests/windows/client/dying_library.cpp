// SPDX-License-Identifier: Apache-2.0
// A DLL that ends its process with a negative status when it is registered or unregistered.
#include <windows.h>

namespace {

HRESULT Die() { ::ExitProcess(static_cast<UINT>(-1)); }

}  // namespace

extern "C" __declspec(dllexport) HRESULT __stdcall DllRegisterServer() { return Die(); }
extern "C" __declspec(dllexport) HRESULT __stdcall DllUnregisterServer() { return Die(); }
