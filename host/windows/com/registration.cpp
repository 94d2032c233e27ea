// SPDX-License-Identifier: Apache-2.0
#include <string>

#include "host/windows/com/Module.h"
#include "host/windows/com/Pointer.h"
#include "host/windows/com/Server.h"
#include "host/windows/com/ServerTable.h"
#include "host/windows/com/failures.h"
#include "host/windows/com/text.h"

// The registry entries of a server, for the whole machine: its type library, and for each class
// that hosts can create
//   PROGID                  the class's help
//   PROGID\CLSID            {...}
//   CLSID\{...}             the class's help, and below it InprocServer32, ProgID and TypeLib
// Windows keeps CLSID apart for 32 and 64 bits; both share the rest.
namespace orvspc::windows::com {
namespace {

void CheckRegistry(LSTATUS status) { Check(HRESULT_FROM_WIN32(static_cast<DWORD>(status))); }

// A value of a key below HKEY_CLASSES_ROOT, which is made where it is missing.
void Write(const std::wstring& path, const wchar_t* name, const std::wstring& value) {
  HKEY key = nullptr;
  CheckRegistry(RegCreateKeyExW(HKEY_CLASSES_ROOT, path.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr,
                                &key, nullptr));
  const auto bytes = static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t));
  const LSTATUS written =
      RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()), bytes);
  RegCloseKey(key);
  CheckRegistry(written);
}

// What is not there is gone already.
LSTATUS Remove(const std::wstring& path) {
  const LSTATUS removed = RegDeleteTreeW(HKEY_CLASSES_ROOT, path.c_str());
  return removed == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : removed;
}

// Whether the class is registered for the other width of a 64-bit Windows; on one of 32 bits, for
// the only one.
bool HasOtherWidth(const std::wstring& class_path) {
  constexpr REGSAM kOther = sizeof(void*) == 8 ? KEY_WOW64_32KEY : KEY_WOW64_64KEY;
  HKEY key = nullptr;
  const LSTATUS opened =
      RegOpenKeyExW(HKEY_CLASSES_ROOT, class_path.c_str(), 0, KEY_READ | kOther, &key);
  if (opened == ERROR_SUCCESS) RegCloseKey(key);
  return opened == ERROR_SUCCESS;
}

std::wstring ClassPath(const Class& row) { return L"CLSID\\" + GuidText(*row.class_id); }

void Register(const Class& row, const std::wstring& module) {
  const std::wstring path = ClassPath(row);
  Write(path, nullptr, row.help);
  Write(path + L"\\InprocServer32", nullptr, module);
  Write(path + L"\\InprocServer32", L"ThreadingModel", row.threading_model);
  Write(path + L"\\ProgID", nullptr, row.prog_id);
  Write(path + L"\\TypeLib", nullptr, GuidText(*kServer.library));
  Write(row.prog_id, nullptr, row.help);
  Write(std::wstring(row.prog_id) + L"\\CLSID", nullptr, GuidText(*row.class_id));
}

}  // namespace

HRESULT RegisterServer() noexcept {
  const HRESULT done = Guard(IID_NULL, [] {
    std::wstring module = ModulePath();
    Pointer<ITypeLib> library;
    Check(LoadTypeLibEx(module.c_str(), REGKIND_NONE, library.Receive()));
    Check(RegisterTypeLib(library.Get(), module.data(), nullptr));
    for (const Class& row : kServer.classes)
      if (row.prog_id != nullptr) Register(row, module);
  });
  if (FAILED(done)) UnregisterServer();
  return done;
}

HRESULT UnregisterServer() noexcept {
  return Guard(IID_NULL, [] {
    LSTATUS status = ERROR_SUCCESS;
    const auto remove = [&status](const std::wstring& path) {
      const LSTATUS removed = Remove(path);
      if (status == ERROR_SUCCESS) status = removed;
    };
    for (const Class& row : kServer.classes) {
      if (row.prog_id == nullptr) continue;
      remove(ClassPath(row));
      // Both widths have the same one; the last to go removes it.
      if (!HasOtherWidth(ClassPath(row))) remove(row.prog_id);
    }
    const HRESULT library = UnRegisterTypeLib(*kServer.library, kServer.major, kServer.minor, 0,
                                              sizeof(void*) == 8 ? SYS_WIN64 : SYS_WIN32);
    CheckRegistry(status);
    // That is how it says: not there. Wine says it in the other way.
    if (library != TYPE_E_REGISTRYACCESS && library != E_INVALIDARG) Check(library);
  });
}

}  // namespace orvspc::windows::com
