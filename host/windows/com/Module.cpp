// SPDX-License-Identifier: Apache-2.0
#include "host/windows/com/Module.h"

// The start of this module, set by the linker.
extern "C" IMAGE_DOS_HEADER __ImageBase;  // NOLINT: the linker's name

namespace orvspc::windows::com {

HMODULE ThisModule() { return reinterpret_cast<HMODULE>(&__ImageBase); }

std::wstring ModulePath() {
  std::wstring path(MAX_PATH, L'\0');
  while (true) {
    const DWORD length =
        GetModuleFileNameW(ThisModule(), path.data(), static_cast<DWORD>(path.size()));
    if (length < path.size()) {
      path.resize(length);
      return path;
    }
    path.resize(path.size() * 2);
  }
}

bool ProcessIsEnding() {
  using Question = BOOLEAN(WINAPI*)();
  static const auto ask = reinterpret_cast<Question>(reinterpret_cast<void*>(
      GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "RtlDllShutdownInProgress")));
  return ask != nullptr && ask() != FALSE;
}

}  // namespace orvspc::windows::com
