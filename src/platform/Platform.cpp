// SPDX-License-Identifier: Apache-2.0
#include "platform/Platform.h"

#include <mutex>
#include <utility>

namespace orvspc::platform {
namespace {

std::mutex& InstalledMutex() {
  static std::mutex mutex;
  return mutex;
}

std::shared_ptr<Platform>& Installed() {
  // Never destroyed: what a platform holds may be gone at the end of the process.
  static auto& platform = *new std::shared_ptr<Platform>;
  return platform;
}

std::shared_ptr<Platform>& OfThread() {
  thread_local std::shared_ptr<Platform> platform;
  return platform;
}

}  // namespace

void Install(std::shared_ptr<Platform> platform) {
  // The former one ends with the argument, when the lock is free again: it may ask for the
  // platform.
  const std::scoped_lock lock(InstalledMutex());
  Installed().swap(platform);
}

std::shared_ptr<Platform> Current() {
  if (OfThread()) return OfThread();
  const std::scoped_lock lock(InstalledMutex());
  return Installed();
}

Scope::Scope(std::shared_ptr<Platform> platform)
    : former_(std::exchange(OfThread(), std::move(platform))) {}

Scope::~Scope() { OfThread() = std::move(former_); }

}  // namespace orvspc::platform
