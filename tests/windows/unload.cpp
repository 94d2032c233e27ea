// SPDX-License-Identifier: Apache-2.0
// Threads of a host that use the component and end:
//
//   unload DATABASE.db COMPONENT.dll [forget]
//
// - with the DLL still there: their thread-local variables are destroyed in memory that is theirs;
// - after they have freed the DLL as the last ones: it goes, and the thread ends all the same.
//
// With "forget", a host that never releases an object of it: COM ends, the DLLs go in whatever
// order and the process ends all the same.
#include <windows.h>
// Needs windows.h before it.
#include <oleauto.h>

#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "host/windows/typelib/orvEngine.h"
#include "host/windows/typelib/orvSPCAnalysis6.h"

namespace {

constexpr DWORD kSeconds = 20'000;  // in milliseconds, for a thread that should take none

std::wstring database_path, component_path;

void Check(bool holds, const char* claim) {
  if (!holds) throw std::runtime_error(claim);
}

HRESULT CallExport(HMODULE module, const char* name, auto... arguments) {
  using Export = HRESULT(WINAPI*)(decltype(arguments)...);
  const auto address = GetProcAddress(module, name);
  Check(address != nullptr, name);
  return reinterpret_cast<Export>(reinterpret_cast<void*>(address))(arguments...);
}

// A retrieval by the DLL itself, whatever is registered for its class. The object that is left is
// the caller's.
IDataSelect* Retrieve(HMODULE module) {
  IClassFactory* factory = nullptr;
  Check(SUCCEEDED(CallExport(module, "DllGetClassObject", &CLSID_DataSelect, &IID_IClassFactory,
                             reinterpret_cast<void**>(&factory))),
        "the DLL has the class");
  IDataSelect* select = nullptr;
  const HRESULT made =
      factory->CreateInstance(nullptr, IID_IDataSelect, reinterpret_cast<void**>(&select));
  factory->Release();
  Check(SUCCEEDED(made), "an object is made");

  IDatabase* database = nullptr;
  Check(SUCCEEDED(CoCreateInstance(CLSID_Database, nullptr, CLSCTX_INPROC_SERVER, IID_IDatabase,
                                   reinterpret_cast<void**>(&database))),
        "a database is made");
  const BSTR path = SysAllocString(database_path.c_str());
  Check(SUCCEEDED(database->Open(path)), "the database is opened");
  SysFreeString(path);
  ISubgroupData* data = nullptr;
  Check(SUCCEEDED(select->GetSubgroupData(database, &data)), "data are retrieved");
  LONG total = 0;
  data->get_TotalSubgroups(&total);
  Check(total > 0, "there are data");
  for (IUnknown* const object : {static_cast<IUnknown*>(data), static_cast<IUnknown*>(database)})
    object->Release();
  return select;
}

void UseComponent(HMODULE module) {
  Retrieve(module)->Release();
  Check(CallExport(module, "DllCanUnloadNow") == S_OK, "nothing is alive");
}

enum class Use { kKeep, kFree };

void UseOnce(Use use) {
  CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  const HMODULE module = LoadLibraryW(component_path.c_str());
  Check(module != nullptr, "the DLL is loaded");
  UseComponent(module);
  if (use == Use::kFree) {
    FreeLibrary(module);
    Check(GetModuleHandleW(component_path.c_str()) == nullptr, "the DLL is gone");
  }
  CoUninitialize();
}

void Forget() {
  CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  const HMODULE module = LoadLibraryW(component_path.c_str());
  Check(module != nullptr, "the DLL is loaded");
  Retrieve(module);
  Check(CallExport(module, "DllCanUnloadNow") == S_FALSE, "an object is alive");
  CoUninitialize();
  FreeLibrary(module);
}

DWORD WINAPI Run(void* use) try {
  UseOnce(*static_cast<Use*>(use));
  return EXIT_SUCCESS;
} catch (const std::exception& claim) {
  std::printf("does not hold: %s\n", claim.what());
  return EXIT_FAILURE;
}

void OnThread(Use use) {
  const HANDLE thread = CreateThread(nullptr, 0, Run, &use, 0, nullptr);
  Check(WaitForSingleObject(thread, kSeconds) == WAIT_OBJECT_0, "the thread ends");
  DWORD code = EXIT_FAILURE;
  GetExitCodeThread(thread, &code);
  CloseHandle(thread);
  Check(code == EXIT_SUCCESS, "all claims on the thread hold");
  Check(HeapValidate(GetProcessHeap(), 0, nullptr) != FALSE, "the heap is sound");
}

}  // namespace

int wmain(int count, wchar_t** words) try {
  Check(count == 3 || count == 4, "two arguments or three");
  database_path = words[1];
  component_path = words[2];
  if (count == 4) {
    Forget();
    std::puts("unload: all claims hold");
    return EXIT_SUCCESS;
  }
  for (int round = 0; round < 3; ++round) OnThread(Use::kFree);
  for (int round = 0; round < 10; ++round) OnThread(Use::kKeep);
  UseOnce(Use::kKeep);
  std::puts("unload: all claims hold");
  std::fflush(stdout);
  return EXIT_SUCCESS;
} catch (const std::exception& claim) {
  std::printf("does not hold: %s\n", claim.what());
  std::fflush(stdout);
  // A thread that hangs would keep the process.
  TerminateProcess(GetCurrentProcess(), EXIT_FAILURE);
  return EXIT_FAILURE;
}
