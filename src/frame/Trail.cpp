// SPDX-License-Identifier: Apache-2.0
#include "frame/Trail.h"

#include <new>
#include <stdexcept>

#include "platform/ExternalFailure.h"

namespace orvspc {
#ifdef ORVSPC_FAIL_POINTS
namespace {

FailPoint::Hook& HookOfThread() {
  thread_local FailPoint::Hook hook;
  return hook;
}

}  // namespace

void FailPoint::Set(Hook hook) { HookOfThread() = std::move(hook); }

void FailPoint::Enter(std::string_view procedure) {
  if (HookOfThread()) HookOfThread()(procedure);
}
#endif

Failure CurrentFailure() {
  try {
    throw;
  } catch (const Failure& failure) {
    return failure;
  } catch (const platform::ExternalFailure& failure) {
    return {failure.Number(), failure.Source(), failure.Description()};
  } catch (const std::bad_alloc&) {
    return {kOutOfMemory, "Out of memory"};
  } catch (const std::length_error&) {
    return {kOutOfMemory, "Out of memory"};
  } catch (const std::exception& failure) {
    return {kUnexpected, failure.what()};
  } catch (...) {
    return {kUnexpected, "Unknown failure"};
  }
}

void Reraise(std::string_view entry) {
  const Failure failure = CurrentFailure();
  throw Failure(failure.Number(), std::string(entry) + "|" + failure.Source(),
                failure.Description());
}

}  // namespace orvspc
