// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cxxabi.h>

// For one source of each program or DLL for Windows.
//
// The compiler keeps what belongs to a thread in memory of its own making. At the end of a thread
// it gives that memory back before or after the destructors have run: in the order in which the two
// were first used. So the destructors have to be first, before anything of a thread is touched;
// else they run in memory that is freed, and the heap is lost for the whole process.
namespace orvspc::system {

__attribute__((constructor(101))) static void DestroyBeforeFreeing() {
  abi::__cxa_thread_atexit([](void*) {}, nullptr, nullptr);
}

}  // namespace orvspc::system
