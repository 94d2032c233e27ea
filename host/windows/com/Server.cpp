// SPDX-License-Identifier: Apache-2.0
#include "host/windows/com/Server.h"

#include <atomic>
#include <mutex>
#include <new>

#include "host/windows/com/Module.h"
#include "host/windows/com/Pointer.h"
#include "host/windows/com/ServerTable.h"
#include "host/windows/com/failures.h"
#include "host/windows/com/types.h"

namespace orvspc::windows::com {
namespace {

// Whether the server is started, and how much still needs it.
struct Use {
  std::recursive_mutex mutex;
  long objects = 0;  // and whatever else is Alive
  bool started = false;
};

Use& OfServer() {
  // Never destroyed: objects that a host forgot outlive the static ones.
  static Use& use = *new Use;
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
    if (left == 0 && !ProcessIsEnding()) delete this;
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
  // Before, since what stops may make objects.
  use.started = false;
  StopServer();
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
  ReleaseTypes();
  return S_OK;
}

}  // namespace orvspc::windows::com
