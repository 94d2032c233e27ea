// SPDX-License-Identifier: Apache-2.0
#include "host/windows/com/failures.h"

#include <cstdio>

#include "frame/Failure.h"
#include "frame/Trail.h"
#include "host/windows/com/Pointer.h"
#include "host/windows/com/ServerTable.h"
#include "host/windows/com/text.h"
#include "platform/ExternalFailure.h"

namespace orvspc::windows::com {
namespace {

constexpr std::uint32_t kNumbers = 0x800A0000;

void LeaveErrorInfo(REFIID iid, const std::string& source, const std::string& description) {
  Pointer<ICreateErrorInfo> made;
  if (FAILED(CreateErrorInfo(made.Receive()))) return;
  made->SetGUID(iid);
  made->SetSource(ToWide(source).data());
  made->SetDescription(ToWide(description).data());
  if (const auto information = Query<IErrorInfo>(made.Get(), IID_IErrorInfo))
    SetErrorInfo(0, information.Get());
}

// The text of a Bstr that is ours to free.
std::string Taken(BSTR text) {
  std::string taken = FromBstr(text);
  SysFreeString(text);
  return taken;
}

std::string CodeText(HRESULT result) {
  char text[32];
  std::snprintf(text, sizeof text, "Failure 0x%08lX", static_cast<unsigned long>(result));
  return text;
}

[[noreturn]] void Throw(std::int32_t number, HRESULT result, std::string source,
                        std::string description) {
  if (source.empty()) source = FromWide(kServer.name);
  if (description.empty()) description = CodeText(result);
  throw platform::ExternalFailure(number, std::move(source), std::move(description));
}

}  // namespace

HRESULT ToResult(std::int32_t number) {
  if (number > 0 && number <= 0xFFFF)
    return static_cast<HRESULT>(kNumbers | static_cast<std::uint32_t>(number));
  return number < 0 ? number : E_FAIL;
}

std::int32_t ToNumber(HRESULT result) {
  const auto bits = static_cast<std::uint32_t>(result);
  if ((bits & 0xFFFF0000) == kNumbers) return static_cast<std::int32_t>(bits & 0xFFFF);
  switch (result) {
    case DISP_E_TYPEMISMATCH:
      return kTypeMismatch;
    case DISP_E_OVERFLOW:
      return kOverflow;
    case DISP_E_BADINDEX:
      return kSubscript;
    case E_OUTOFMEMORY:
      return kOutOfMemory;
    case DISP_E_MEMBERNOTFOUND:
    case DISP_E_UNKNOWNNAME:
      return 438;
    default:
      return static_cast<std::int32_t>(result);
  }
}

HRESULT Report(REFIID iid) noexcept {
  try {
    const Failure failure = CurrentFailure();
    // A failure without a trail of its own starts with the library's name wherever it arises.
    const bool own = failure.Source() != "orvSPCAnalysis6";
    LeaveErrorInfo(iid, own ? failure.Source() : FromWide(kServer.name), failure.Description());
    return ToResult(failure.Number());
  } catch (...) {
    SetErrorInfo(0, nullptr);
    return E_OUTOFMEMORY;
  }
}

void ThrowFailure(HRESULT result, IUnknown* object, REFIID iid) {
  std::string source;
  std::string description;
  const auto support = Query<ISupportErrorInfo>(object, IID_ISupportErrorInfo);
  Pointer<IErrorInfo> information;
  if (support && support->InterfaceSupportsErrorInfo(iid) == S_OK &&
      GetErrorInfo(0, information.Receive()) == S_OK) {
    BSTR text = nullptr;
    if (SUCCEEDED(information->GetSource(&text))) source = Taken(text);
    text = nullptr;
    if (SUCCEEDED(information->GetDescription(&text))) description = Taken(text);
  }
  Throw(ToNumber(result), result, std::move(source), std::move(description));
}

void ThrowFailure(HRESULT result, EXCEPINFO& information) {
  if (result != DISP_E_EXCEPTION) Throw(ToNumber(result), result, {}, {});
  if (information.pfnDeferredFillIn != nullptr) information.pfnDeferredFillIn(&information);
  std::string source = Taken(std::exchange(information.bstrSource, nullptr));
  std::string description = Taken(std::exchange(information.bstrDescription, nullptr));
  SysFreeString(std::exchange(information.bstrHelpFile, nullptr));
  const std::int32_t number =
      information.wCode != 0 ? information.wCode : ToNumber(information.scode);
  Throw(number, result, std::move(source), std::move(description));
}

void Fail(std::int32_t number, std::string description) {
  Throw(number, ToResult(number), {}, std::move(description));
}

void FailTypeMismatch() { Fail(kTypeMismatch, "Type mismatch"); }

void Check(HRESULT result) {
  if (FAILED(result)) Throw(ToNumber(result), result, {}, {});
}

}  // namespace orvspc::windows::com
