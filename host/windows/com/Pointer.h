// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utility>

#include "host/windows/com/Module.h"
#include "host/windows/com/automation.h"

namespace orvspc::windows::com {

// Holds one reference to a COM object, or none.
template <class Interface>
class Pointer {
 public:
  Pointer() = default;
  // Adds a reference.
  explicit Pointer(Interface* object) : object_(object) {
    if (object_ != nullptr) object_->AddRef();
  }
  Pointer(const Pointer& other) : Pointer(other.object_) {}
  Pointer(Pointer&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  Pointer& operator=(Pointer other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~Pointer() {
    if (object_ != nullptr && !ProcessIsEnding()) object_->Release();
  }

  Interface* Get() const { return object_; }
  Interface* operator->() const { return object_; }
  explicit operator bool() const { return object_ != nullptr; }

  // For a call that gives a reference out. Drops what is held.
  Interface** Receive() {
    *this = Pointer();
    return &object_;
  }
  // Gives the reference to the caller.
  Interface* Detach() { return std::exchange(object_, nullptr); }

 private:
  Interface* object_ = nullptr;
};

// The other interface of an object; empty when it has none or the object is null.
template <class Interface>
Pointer<Interface> Query(IUnknown* object, REFIID iid) {
  Pointer<Interface> found;
  if (object != nullptr) object->QueryInterface(iid, reinterpret_cast<void**>(found.Receive()));
  return found;
}

}  // namespace orvspc::windows::com
