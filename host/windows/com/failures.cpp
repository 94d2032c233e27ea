// SPDX-License-Identifier: Apache-2.0
#include "host/windows/com/failures.h"

#include <cstdio>
#include <memory>
#include <utility>

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
  SetErrorInfo(0, nullptr);  // what is there is of another failure
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
  const std::unique_ptr<OLECHAR, decltype(&SysFreeString)> owner(text, &SysFreeString);
  return FromBstr(text);
}

struct Words {
  std::string source, description;
};

// What the failed call has left as the error information of this thread, if anything.
Words TakeErrorInfo() {
  Pointer<IErrorInfo> information;
  if (GetErrorInfo(0, information.Receive()) != S_OK) return {};
  Words words;
  BSTR text = nullptr;
  if (SUCCEEDED(information->GetSource(&text))) words.source = Taken(text);
  text = nullptr;
  if (SUCCEEDED(information->GetDescription(&text))) words.description = Taken(text);
  return words;
}

std::string CodeText(HRESULT result) {
  switch (result) {
    case DISP_E_TYPEMISMATCH:
      return "Type mismatch";
    case DISP_E_OVERFLOW:
      return "Overflow";
    case DISP_E_DIVBYZERO:
      return "Division by zero";
    case DISP_E_BADINDEX:
      return "Subscript out of range";
    case E_OUTOFMEMORY:
      return "Out of memory";
    default:
      break;
  }
  char text[32];
  std::snprintf(text, sizeof text, "Failure 0x%08lX", static_cast<unsigned long>(result));
  return text;
}

[[noreturn]] void Throw(HRESULT result, Words words = {}) {
  if (words.source.empty()) words.source = FromWide(kServer.name);
  if (words.description.empty()) words.description = CodeText(result);
  throw platform::ExternalFailure(ToNumber(result), std::move(words.source),
                                  std::move(words.description));
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
    case DISP_E_DIVBYZERO:
      return 11;
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
  const auto support = Query<ISupportErrorInfo>(object, IID_ISupportErrorInfo);
  const bool supported = support && support->InterfaceSupportsErrorInfo(iid) == S_OK;
  Throw(result, supported ? TakeErrorInfo() : Words());
}

void ThrowFailure(HRESULT result, EXCEPINFO& information) {
  Words words;
  if (result == DISP_E_EXCEPTION) {
    if (information.pfnDeferredFillIn != nullptr) information.pfnDeferredFillIn(&information);
    words = {FromBstr(information.bstrSource), FromBstr(information.bstrDescription)};
    if (information.wCode != 0) {
      result = ToResult(information.wCode);
    } else if (FAILED(information.scode)) {
      result = information.scode;
    }
  }
  if (words.source.empty() && words.description.empty()) words = TakeErrorInfo();
  Throw(result, std::move(words));
}

void Fail(std::int32_t number, std::string description) {
  throw platform::ExternalFailure(number, FromWide(kServer.name), std::move(description));
}

void FailTypeMismatch() { Fail(kTypeMismatch, "Type mismatch"); }

void Check(HRESULT result) {
  if (FAILED(result)) Throw(result);
}

}  // namespace orvspc::windows::com
