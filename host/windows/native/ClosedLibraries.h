// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "platform/CapAna6.h"
#include "platform/CtrlChrt6.h"
#include "platform/DBLib6.h"
#include "platform/Pareto6.h"
#include "platform/SReqCompliance.h"

namespace orvspc::windows::native {

// The folder of the DLL or program that this code is linked into, with the last backslash.
std::wstring FolderOfThisModule();

// The five closed libraries, each a DLL of its own.
//
// - A DLL is loaded at the first call of one of its functions, and stays loaded for the life of the
//   process. It is looked for in the given folder, then where Windows looks.
// - Unlike the embedded ones these calls throw platform::ExternalFailure, with the name of the DLL
//   as Source: 53 when the DLL cannot be loaded, 453 when it lacks the function.
// - An array is lent as an array object over its own memory, which cannot be resized. One that may
//   be resized goes as an array object with a copy, and what comes back is copied into the array.
// - Where a function takes the element 0 of an array that has none, the call fails with 9, as any
//   reference to a missing element does.
class ClosedLibraries {
 public:
  explicit ClosedLibraries(const std::wstring& folder = FolderOfThisModule());
  ClosedLibraries(const ClosedLibraries&) = delete;
  ClosedLibraries& operator=(const ClosedLibraries&) = delete;
  ~ClosedLibraries();

  platform::DBLib6& DBLib();
  platform::CtrlChrt6& CtrlChrt();
  platform::CapAna6& CapAna();
  platform::Pareto6& Pareto();
  platform::SReqCompliance& Compliance();

 private:
  struct Loaded;
  std::unique_ptr<Loaded> loaded_;
};

}  // namespace orvspc::windows::native
