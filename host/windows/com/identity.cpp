// SPDX-License-Identifier: Apache-2.0
#include "host/windows/com/identity.h"

#include <map>
#include <mutex>
#include <utility>

#include "host/windows/com/ComBacked.h"
#include "host/windows/com/Pointer.h"
#include "host/windows/com/failures.h"

namespace orvspc::windows::com {
namespace {

struct Adapters {
  std::mutex mutex;
  std::map<std::pair<const void*, const Class*>, IDispatch*> of;
};

Adapters& All() {
  // Never destroyed: objects that a host forgot outlive the static ones.
  static Adapters& adapters = *new Adapters;
  return adapters;
}

}  // namespace

IDispatch* FindAdapter(const void* plain, const Class& row) {
  Adapters& all = All();
  const std::lock_guard lock(all.mutex);
  const auto found = all.of.find({plain, &row});
  if (found == all.of.end()) return nullptr;
  found->second->AddRef();
  return found->second;
}

void RememberAdapter(const void* plain, const Class& row, IDispatch* adapter) {
  Adapters& all = All();
  const std::lock_guard lock(all.mutex);
  all.of.emplace(std::pair(plain, &row), adapter);
}

void ForgetAdapter(const void* plain, const Class& row) {
  Adapters& all = All();
  const std::lock_guard lock(all.mutex);
  all.of.erase({plain, &row});
}

std::shared_ptr<platform::Object> OwnObjectOf(IDispatch* object) {
  if (object == nullptr) return nullptr;
  const auto own = Query<PlainSource>(object, *kServer.library);
  if (!own) FailTypeMismatch();
  return own->PlainObject();
}

std::shared_ptr<platform::Object> ObjectOf(IDispatch* object) {
  if (object == nullptr) return nullptr;
  if (const auto own = Query<PlainSource>(object, *kServer.library)) return own->PlainObject();
  return HostObject(object);
}

IDispatch* DispatchOf(platform::Object* object) {
  if (object == nullptr) return nullptr;
  const auto* const backed = dynamic_cast<const ComBacked*>(object);
  if (backed == nullptr) FailTypeMismatch();
  IDispatch* const dispatch = backed->Dispatch();
  dispatch->AddRef();
  return dispatch;
}

}  // namespace orvspc::windows::com
