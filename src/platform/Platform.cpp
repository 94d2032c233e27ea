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
  static std::shared_ptr<Platform> platform;
  return platform;
}

std::shared_ptr<Platform>& OfThread() {
  thread_local std::shared_ptr<Platform> platform;
  return platform;
}

}  // namespace

void Install(std::shared_ptr<Platform> platform) {
  const std::scoped_lock lock(InstalledMutex());
  Installed() = std::move(platform);
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
