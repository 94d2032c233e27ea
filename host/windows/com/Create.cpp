// SPDX-License-Identifier: Apache-2.0
#include "host/windows/com/Create.h"

#include <cstdio>
#include <map>
#include <mutex>
#include <string>

#include "host/windows/com/failures.h"
#include "host/windows/com/text.h"

namespace orvspc::windows::com {
namespace {

constexpr std::int32_t kCannotCreate = 429;

// Class identifiers by name, since each look-up goes to the registry.
HRESULT FindClass(const wchar_t* name, CLSID& id) {
  // Never destroyed: objects that a host forgot outlive the static ones.
  static auto& mutex = *new std::mutex;
  static auto& known = *new std::map<std::wstring, CLSID, std::less<>>;
  const std::lock_guard lock(mutex);
  const auto found = known.find(name);
  if (found != known.end()) {
    id = found->second;
    return S_OK;
  }
  const HRESULT result = CLSIDFromProgID(name, &id);
  if (SUCCEEDED(result)) known.emplace(name, id);
  return result;
}

}  // namespace

IUnknown* Create(std::initializer_list<const wchar_t*> names, REFIID interface_id) {
  HRESULT result = REGDB_E_CLASSNOTREG;
  for (const wchar_t* const name : names) {
    CLSID id;
    result = FindClass(name, id);
    if (FAILED(result)) continue;
    void* object = nullptr;
    result = CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, interface_id, &object);
    if (SUCCEEDED(result)) return static_cast<IUnknown*>(object);
  }
  char code[16];
  std::snprintf(code, sizeof code, "0x%08lX", static_cast<unsigned long>(result));
  Fail(kCannotCreate, "The object " + FromWide(*names.begin()) + " cannot be created (" + code +
                          "); is its library registered?");
}

}  // namespace orvspc::windows::com
