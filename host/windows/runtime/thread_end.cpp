// SPDX-License-Identifier: Apache-2.0
// The end of thread-local variables in a DLL or program of mingw-w64, in place of the run-time
// library's own.
//
// - That one runs the destructors after the memory of the variables was freed: keys of threads are
//   ended in the order of their making, and its key is made after that of the variables. The key
//   here is made when the module is loaded, and so before both.
// - It holds the DLL while a thread has variables of it, and drops that reference from code of the
//   DLL; as the last one it would unload the code that runs. No reference is held here. When the
//   DLL goes before a thread does, only the thread that unloads it has its variables destroyed; the
//   others' are lost with the memory that they hold.
#include <cxxabi.h>
#include <pthread.h>

#include <cstdlib>
#include <new>

namespace {

// With 32 bits a destructor has a calling convention of its own.
using Destroy = void(_GLIBCXX_CDTOR_CALLABI*)(void*);

struct Variable {
  Destroy destroy;
  void* object;
  Variable* before;
};

pthread_key_t key;

// Newest first, with those that are made meanwhile.
void DestroyVariables(void* newest) {
  auto* variable = static_cast<Variable*>(newest);
  pthread_setspecific(key, nullptr);
  while (variable != nullptr) {
    variable->destroy(variable->object);
    Variable* const before = variable->before;
    delete variable;
    variable = before;
    if (variable != nullptr) continue;
    variable = static_cast<Variable*>(pthread_getspecific(key));
    pthread_setspecific(key, nullptr);
  }
}

void DestroyVariablesOfThisThread() { DestroyVariables(pthread_getspecific(key)); }

__attribute__((constructor(101))) void MakeKey() { pthread_key_create(&key, DestroyVariables); }

}  // namespace

// What the compiler calls for a thread-local variable with a destructor.
extern "C" int __cxa_thread_atexit(Destroy destroy, void* object, void*) noexcept {  // NOLINT
  // The thread that ends the module may be one that goes on.
  static const int at_end = std::atexit(DestroyVariablesOfThisThread);
  static_cast<void>(at_end);
  auto* const variable = new (std::nothrow)
      Variable{destroy, object, static_cast<Variable*>(pthread_getspecific(key))};
  if (variable == nullptr) return -1;
  return pthread_setspecific(key, variable);
}
