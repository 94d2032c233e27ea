// SPDX-License-Identifier: Apache-2.0
#include "host/windows/com/Enumeration.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <utility>

#include "host/windows/com/Server.h"
#include "host/windows/com/failures.h"

namespace orvspc::windows::com {
namespace {

class Enumeration final : public IEnumVARIANT {
 public:
  Enumeration(std::vector<Pointer<IDispatch>> objects, std::size_t at)
      : objects_(std::move(objects)), at_(at) {}
  Enumeration(const Enumeration&) = delete;
  Enumeration& operator=(const Enumeration&) = delete;

  STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    if (iid != IID_IUnknown && iid != IID_IEnumVARIANT) return E_NOINTERFACE;
    *object = static_cast<IEnumVARIANT*>(this);
    AddRef();
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return ++references_; }
  STDMETHODIMP_(ULONG) Release() override {
    const ULONG left = --references_;
    if (left == 0 && !ProcessIsEnding()) delete this;
    return left;
  }

  STDMETHODIMP Next(ULONG wanted, VARIANT* values, ULONG* given) override {
    if (values == nullptr || (given == nullptr && wanted != 1)) return E_POINTER;
    const auto count = static_cast<ULONG>(std::min<std::size_t>(wanted, objects_.size() - at_));
    for (ULONG i = 0; i < count; ++i) {
      VariantInit(&values[i]);
      values[i].vt = VT_DISPATCH;
      values[i].pdispVal = Pointer(objects_[at_++]).Detach();
    }
    if (given != nullptr) *given = count;
    return count == wanted ? S_OK : S_FALSE;
  }
  STDMETHODIMP Skip(ULONG count) override {
    const auto skipped = std::min<std::size_t>(count, objects_.size() - at_);
    at_ += skipped;
    return skipped == count ? S_OK : S_FALSE;
  }
  STDMETHODIMP Reset() override {
    at_ = 0;
    return S_OK;
  }
  STDMETHODIMP Clone(IEnumVARIANT** copy) override {
    if (copy == nullptr) return E_POINTER;
    *copy = nullptr;
    return Guard(IID_IEnumVARIANT, [&] { *copy = new Enumeration(objects_, at_); });
  }

 private:
  ~Enumeration() = default;

  Alive alive_;
  std::vector<Pointer<IDispatch>> objects_;
  std::size_t at_;
  std::atomic<ULONG> references_ = 1;
};

}  // namespace

IUnknown* MakeEnumeration(std::vector<Pointer<IDispatch>> objects) {
  return new Enumeration(std::move(objects), 0);
}

}  // namespace orvspc::windows::com
