// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <memory>
#include <type_traits>
#include <utility>

#include "host/windows/com/Module.h"
#include "host/windows/com/Server.h"
#include "host/windows/com/ServerTable.h"
#include "host/windows/com/automation.h"
#include "host/windows/com/failures.h"
#include "host/windows/com/identity.h"
#include "host/windows/com/types.h"
#include "host/windows/com/values.h"

namespace orvspc::windows::com {

// The base of the adapters of one server: a COM object with a dual interface around a plain object.
// What is derived from it has a method for each of the interface, each of them one Call or Get.
template <class DualInterface, class PlainClass>
class Adapter : public DualInterface,
                public ISupportErrorInfo,
                public IProvideClassInfo,
                public PlainSource {
 public:
  using Interface = DualInterface;
  using Plain = PlainClass;

  // With one reference.
  Adapter(Class& row, std::shared_ptr<Plain> plain) : row_(row), plain_(std::move(plain)) {
    RememberAdapter(plain_.get(), row_, this);
  }
  Adapter(const Adapter&) = delete;
  Adapter& operator=(const Adapter&) = delete;

  STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
    if (object == nullptr) return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_IDispatch || iid == *row_.interface_id) {
      *object = static_cast<Interface*>(this);
    } else if (iid == IID_ISupportErrorInfo) {
      *object = static_cast<ISupportErrorInfo*>(this);
    } else if (iid == IID_IProvideClassInfo) {
      *object = static_cast<IProvideClassInfo*>(this);
    } else if (iid == *kServer.library) {
      *object = static_cast<PlainSource*>(this);
    } else {
      *object = nullptr;
      return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return ++references_; }
  STDMETHODIMP_(ULONG) Release() override {
    const ULONG left = --references_;
    // While the process ends, what the object holds may be gone.
    if (left == 0 && !ProcessIsEnding()) delete this;
    return left;
  }

  STDMETHODIMP GetTypeInfoCount(UINT* count) override {
    if (count == nullptr) return E_POINTER;
    *count = 1;
    return S_OK;
  }
  STDMETHODIMP GetTypeInfo(UINT index, LCID, ITypeInfo** type) override {
    if (type == nullptr) return E_POINTER;
    *type = nullptr;
    if (index != 0) return DISP_E_BADINDEX;
    return Guard(*row_.interface_id, [&] { (*type = TypeOf(row_))->AddRef(); });
  }
  STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) override {
    HRESULT found = S_OK;
    const HRESULT done =
        Guard(*row_.interface_id, [&] { found = TypeOf(row_)->GetIDsOfNames(names, count, ids); });
    return FAILED(done) ? done : found;
  }
  STDMETHODIMP Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* arguments, VARIANT* result,
                      EXCEPINFO* failure, UINT* bad) override {
    return InvokeByType(row_, this, id, flags, arguments, result, failure, bad);
  }

  STDMETHODIMP InterfaceSupportsErrorInfo(REFIID iid) override {
    return iid == *row_.interface_id ? S_OK : S_FALSE;
  }
  STDMETHODIMP GetClassInfo(ITypeInfo** type) override { return ClassType(row_, type); }

  std::shared_ptr<platform::Object> PlainObject() override {
    if constexpr (std::is_base_of_v<platform::Object, Plain>) {
      return plain_;
    } else {
      return std::make_shared<platform::Object>();  // a class without operations
    }
  }

 protected:
  virtual ~Adapter() { ForgetAdapter(plain_.get(), row_); }

  // The body of a method without a result.
  template <class Body>
  HRESULT Call(Body&& body) noexcept {
    return Guard(*row_.interface_id, [&] { body(*plain_); });
  }
  // The body of a method with one.
  template <class Out, class Body>
  HRESULT Get(Out* out, Body&& body) noexcept {
    return Guard(*row_.interface_id, [&] {
      if (out == nullptr) Fail(E_POINTER, "Missing argument");
      Clear(out);
      Put(out, body(*plain_));
    });
  }

 private:
  Class& row_;
  // Before the plain object, so that the server stops after that is gone.
  Alive alive_;
  std::shared_ptr<Plain> plain_;
  std::atomic<ULONG> references_ = 1;
};

// The adapter of a plain object, with a reference.
template <class A>
typename A::Interface* AdapterFor(Class& row, std::shared_ptr<typename A::Plain> plain) {
  if (IDispatch* const found = FindAdapter(plain.get(), row))
    return static_cast<typename A::Interface*>(found);
  return new A(row, std::move(plain));
}

}  // namespace orvspc::windows::com
