// SPDX-License-Identifier: Apache-2.0
#ifdef ORVSPC_FAIL_POINTS

#include "frame/FailPoint.h"

#include <utility>

namespace orvspc {
namespace {

FailPoint::Hook& OfThread() {
  thread_local FailPoint::Hook hook;
  return hook;
}

}  // namespace

void FailPoint::Set(Hook hook) { OfThread() = std::move(hook); }

void FailPoint::Enter(std::string_view procedure) {
  if (OfThread()) OfThread()(procedure);
}

}  // namespace orvspc

#endif
