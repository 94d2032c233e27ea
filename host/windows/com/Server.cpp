// SPDX-License-Identifier: Apache-2.0
#include "host/windows/com/Server.h"

#include <atomic>
#include <mutex>
#include <new>
#include <utility>

#include "host/windows/com/Adapter.h"
#include "host/windows/com/Pointer.h"
#include "host/windows/com/failures.h"

// The start of this module, set by the linker.
extern "C" IMAGE_DOS_HEADER __ImageBase;  // NOLINT: the linker's name

namespace orvspc::windows::com {
namespace {

// Whether the server is started, and how much still needs it.
struct Use {
  std::recursive_mutex mutex;
  long objects = 0;  // and whatever else is Alive
  bool started = false;
};

Use& OfServer() {
  static Use use;
  return use;
}

// Class factories and locks that hosts hold.
std::atomic<long> factories = 0;

class Factory final : public IClassFactory {
 public:
  explicit Factory(const Class& row) : row_(row) { ++factories; }
  Factory(const Factory&) = delete;
  Factory& operator=(const Factory&) = delete;

  STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    if (iid != IID_IUnknown && iid != IID_IClassFactory) return E_NOINTERFACE;
    *object = static_cast<IClassFactory*>(this);
    AddRef();
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return ++references_; }
  STDMETHODIMP_(ULONG) Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }

  STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    return Guard(iid, [&] {
      const Alive started;  // before the plain object is made
      Pointer<IDispatch> made;
      *made.Receive() = row_.create();
      Check(made->QueryInterface(iid, object));
    });
  }
  STDMETHODIMP LockServer(BOOL lock) override {
    factories += lock != FALSE ? 1 : -1;
    return S_OK;
  }

 private:
  ~Factory() { --factories; }

  const Class& row_;
  std::atomic<ULONG> references_ = 1;
};

}  // namespace

bool ProcessIsEnding() {
  using Question = BOOLEAN(WINAPI*)();
  static const auto ask = reinterpret_cast<Question>(reinterpret_cast<void*>(
      GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "RtlDllShutdownInProgress")));
  return ask != nullptr && ask() != FALSE;
}

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

Alive::Alive() {
  Use& use = OfServer();
  const std::lock_guard lock(use.mutex);
  if (!use.started) StartServer();
  use.started = true;
  ++use.objects;
}

Alive::~Alive() {
  Use& use = OfServer();
  const std::lock_guard lock(use.mutex);
  if (--use.objects != 0) return;
  StopServer();
  use.started = false;
}

ITypeInfo* TypeOf(Class& row) {
  const std::lock_guard lock(OfServer().mutex);
  if (row.type == nullptr) {
    Pointer<ITypeLib> library;
    Check(LoadTypeLibEx(ModulePath().c_str(), REGKIND_NONE, library.Receive()));
    Check(library->GetTypeInfoOfGuid(*row.interface_id, &row.type));
  }
  return row.type;
}

HRESULT GetClassObject(REFCLSID class_id, REFIID iid, void** object) noexcept {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  for (const Class& row : kServer.classes) {
    if (row.create == nullptr || *row.class_id != class_id) continue;
    Pointer<IClassFactory> factory;
    *factory.Receive() = new (std::nothrow) Factory(row);
    return factory ? factory->QueryInterface(iid, object) : E_OUTOFMEMORY;
  }
  return CLASS_E_CLASSNOTAVAILABLE;
}

HRESULT CanUnloadNow() noexcept {
  Use& use = OfServer();
  const std::lock_guard lock(use.mutex);
  if (use.objects != 0 || factories != 0) return S_FALSE;
  for (Class& row : kServer.classes)
    if (ITypeInfo* const type = std::exchange(row.type, nullptr)) type->Release();
  return S_OK;
}

// ---- calls by the type library

HRESULT InvokeByType(Class& row, IDispatch* object, DISPID id, WORD flags, DISPPARAMS* arguments,
                     VARIANT* result, EXCEPINFO* failure, UINT* bad) {
  ITypeInfo* type = nullptr;
  const HRESULT found = Guard(*row.interface_id, [&] { type = TypeOf(row); });
  if (FAILED(found)) return found;
  SetErrorInfo(0, nullptr);
  const HRESULT done = type->Invoke(object, id, flags, arguments, result, failure, bad);
  // Some script engines ask for a property, as the enumerator is one, as if it were a method.
  if (done == DISP_E_MEMBERNOTFOUND && flags == DISPATCH_METHOD)
    return type->Invoke(object, id, DISPATCH_PROPERTYGET, arguments, result, failure, bad);
  return done;
}

HRESULT ClassType(Class& row, ITypeInfo** type) {
  if (type == nullptr) return E_POINTER;
  *type = nullptr;
  return Guard(*row.interface_id, [&] {
    Pointer<ITypeLib> library;
    UINT index = 0;
    Check(TypeOf(row)->GetContainingTypeLib(library.Receive(), &index));
    Check(library->GetTypeInfoOfGuid(*row.class_id, type));
  });
}

}  // namespace orvspc::windows::com
