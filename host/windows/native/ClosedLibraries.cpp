// SPDX-License-Identifier: Apache-2.0
#include "host/windows/native/ClosedLibraries.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <new>
#include <span>
#include <utility>

#include "frame/Failure.h"
#include "host/windows/native/NativeFunctions.h"
#include "platform/ExternalFailure.h"

namespace orvspc::windows::native {
namespace {

constexpr std::int32_t kFileNotFound = 53, kFunctionNotFound = 453;

// One DLL. Its name is plain ASCII.
class Dll {
 public:
  Dll(const std::wstring& folder, const char* name) : folder_(folder), name_(name) {}

  template <class Function, class... Values>
  std::int32_t Call(const char* name, Values... values) {
    const auto address = ::GetProcAddress(Module(), name);
    if (address == nullptr) {
      throw platform::ExternalFailure(kFunctionNotFound, name_,
                                      "Function not found: " + std::string(name) + " in " + name_);
    }
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(address))(values...);
  }

 private:
  HMODULE Module() {
    if (const auto loaded = module_.load()) return loaded;
    const std::wstring file(name_.begin(), name_.end());
    const std::wstring path = folder_ + file;
    // The full path makes its folder the first one for what the DLL itself needs.
    auto* found = ::LoadLibraryExW(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    auto error = found == nullptr ? ::GetLastError() : ERROR_SUCCESS;
    // One that is there and cannot be loaded is no reason to take another of that name.
    const bool there =
        found != nullptr || ::GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
    if (!there && (found = ::LoadLibraryW(file.c_str())) == nullptr) error = ::GetLastError();
    if (found == nullptr) {
      const std::string code = "(Windows error " + std::to_string(error) + ")";
      const bool missing = !there && error == ERROR_MOD_NOT_FOUND;
      throw platform::ExternalFailure(
          kFileNotFound, name_,
          missing ? "File not found: " + name_ + " " + code
                  : name_ + " cannot be loaded " + code +
                        "; a DLL that it needs, such as orvEngine.dll, may be missing");
    }
    module_ = found;
    return found;
  }

  std::wstring folder_;
  std::string name_;
  std::atomic<HMODULE> module_ = nullptr;
};

// Element 0 of an array that goes by reference to it.
template <class T>
T* First(std::span<T> elements) {
  if (elements.empty()) FailSubscript();
  return elements.data();
}

// An array object over memory that is lent for one call. Without memory it is the reference to an
// array that was never dimensioned.
class LentArray {
 public:
  explicit LentArray(const platform::ArrayRef& array) {
    if (!std::in_range<ULONG>(array.count)) FailOverflow();
    object_.cDims = 1;
    object_.fFeatures = FADF_AUTO | FADF_FIXEDSIZE;
    object_.cbElements = static_cast<ULONG>(array.element_size);
    object_.pvData = array.data;
    object_.rgsabound[0] = {static_cast<ULONG>(array.count), 0};
    if (array.data != nullptr) pointer_ = &object_;
  }
  LentArray(const LentArray&) = delete;
  LentArray& operator=(const LentArray&) = delete;

  ArrayObject Reference() { return &pointer_; }

 private:
  SAFEARRAY object_ = {};
  SAFEARRAY* pointer_ = nullptr;
};

// An array object with a copy of an array, which the callee may resize. Without memory it is the
// reference to an array that was never dimensioned.
class ResizableArray {
 public:
  explicit ResizableArray(const platform::ArrayRef& array) : array_(array) {
    if (array.data == nullptr) return;
    if (!std::in_range<ULONG>(array.count)) FailOverflow();
    if (FAILED(::SafeArrayAllocDescriptor(1, &pointer_))) throw std::bad_alloc();
    pointer_->cbElements = static_cast<ULONG>(array.element_size);
    pointer_->rgsabound[0] = {static_cast<ULONG>(array.count), 0};
    if (FAILED(::SafeArrayAllocData(pointer_))) {
      ::SafeArrayDestroyDescriptor(pointer_);
      throw std::bad_alloc();
    }
    Copy(pointer_->pvData, array.data, array.count);
  }
  ResizableArray(const ResizableArray&) = delete;
  ResizableArray& operator=(const ResizableArray&) = delete;
  ~ResizableArray() {
    if (pointer_ != nullptr) ::SafeArrayDestroy(pointer_);
  }

  ArrayObject Reference() { return &pointer_; }

  // Gives the array the length that the callee left, and its content; one that the callee erased
  // or emptied is erased. An array that refuses the length keeps its own.
  void CopyBack() {
    if (pointer_ == nullptr) {
      array_.resize(0);
      return;
    }
    if (pointer_->cDims != 1 || ::SafeArrayGetElemsize(pointer_) != array_.element_size) return;
    const std::size_t count = pointer_->rgsabound[0].cElements;
    auto* data = array_.data;
    auto room = array_.count;
    if (count != room) {
      if (auto* const resized = array_.resize(count)) {
        data = resized;
        room = count;
      }
    }
    Copy(data, pointer_->pvData, std::min(count, room));
  }

 private:
  void Copy(void* to, const void* from, std::size_t count) const {
    if (count != 0) std::memcpy(to, from, count * array_.element_size);
  }

  const platform::ArrayRef& array_;
  SAFEARRAY* pointer_ = nullptr;
};

// Calls with the reference to the array object of an array.
template <class Body>
std::int32_t WithArray(const platform::ArrayRef& array, Body body) {
  if (!array.resize) return body(LentArray(array).Reference());
  ResizableArray object(array);
  const auto result = body(object.Reference());
  object.CopyBack();
  return result;
}

class DatabaseLibrary final : public platform::DBLib6 {
 public:
  explicit DatabaseLibrary(const std::wstring& folder) : dll_(folder, "orwDBLib6.dll") {}

  Int VLXDBL_CLEARDATASETDATA() override {
    return dll_.Call<decltype(native::VLXDBL_CLEARDATASETDATA)>("VLXDBL_CLEARDATASETDATA");
  }

  Int VLXDBL_BUILDDATASETDATA(Int Reserved, Int Connection, API_DSInfo& DSInfo,
                              std::span<Int> DSFilter, Int Content) override {
    return dll_.Call<decltype(native::VLXDBL_BUILDDATASETDATA)>(
        "VLXDBL_BUILDDATASETDATA", Reserved, Connection, &DSInfo, First(DSFilter), Content);
  }

  Int VLXDBL_READDATA_SA(const platform::ArrayRef& Array, Int Content) override {
    return dll_.Call<decltype(native::VLXDBL_READDATA_SA)>("VLXDBL_READDATA_SA",
                                                           LentArray(Array).Reference(), Content);
  }

  Int VLXDBL_GETDESCDATA(Int Reserved, Int Connection, API_DSInfo& DSInfo, std::span<Int> DSFilter,
                         const platform::ArrayRef& Subgroups, const platform::ArrayRef& Descriptors,
                         Int Code) override {
    return dll_.Call<decltype(native::VLXDBL_GETDESCDATA)>(
        "VLXDBL_GETDESCDATA", Reserved, Connection, &DSInfo, First(DSFilter),
        LentArray(Subgroups).Reference(), LentArray(Descriptors).Reference(), Code);
  }

  Int VLXDBL_DATATOFLTR_SA(const platform::ArrayRef& Subgroups, Int Code,
                           std::span<Int> CommentFilter, Int HighestIndex) override {
    return dll_.Call<decltype(native::VLXDBL_DATATOFLTR_SA)>("VLXDBL_DATATOFLTR_SA",
                                                             LentArray(Subgroups).Reference(), Code,
                                                             First(CommentFilter), HighestIndex);
  }

  Int VLXDBL_FINDSGRPCMNT(Int Reserved, Int Connection, Int& StartSubgroup, Int SubgroupEnd,
                          std::span<Int> CommentFilter, const platform::ArrayRef& Comments,
                          Int Last) override {
    return dll_.Call<decltype(native::VLXDBL_FINDSGRPCMNT)>(
        "VLXDBL_FINDSGRPCMNT", Reserved, Connection, &StartSubgroup, SubgroupEnd,
        First(CommentFilter), LentArray(Comments).Reference(), Last);
  }

  Int VLXDBL_GETALARMMASK(Int Reserved, Int Connection, API_DSInfo& DSInfo, std::span<Int> DSFilter,
                          Int ChartWord, Int GraphCount, std::span<Int> AlarmMask) override {
    return dll_.Call<decltype(native::VLXDBL_GETALARMMASK)>(
        "VLXDBL_GETALARMMASK", Reserved, Connection, &DSInfo, First(DSFilter), ChartWord,
        GraphCount, First(AlarmMask));
  }

  Int VLXDBL_BUILDEVENTDATA(Int Reserved, Int Connection, API_DSInfo& DSInfo,
                            std::span<Int> DSFilter, std::span<Int> Events, Int Last) override {
    return dll_.Call<decltype(native::VLXDBL_BUILDEVENTDATA)>("VLXDBL_BUILDEVENTDATA", Reserved,
                                                              Connection, &DSInfo, First(DSFilter),
                                                              First(Events), Last);
  }

  Int VLXDBL_GETEVENTS(Int Reserved, Int Connection, std::span<Int> Events,
                       const platform::ArrayRef& Rows, Int Count, Int Code) override {
    return dll_.Call<decltype(native::VLXDBL_GETEVENTS)>("VLXDBL_GETEVENTS", Reserved, Connection,
                                                         First(Events), LentArray(Rows).Reference(),
                                                         Count, Code);
  }

 private:
  Dll dll_;
};

class ChartLibrary final : public platform::CtrlChrt6 {
 public:
  explicit ChartLibrary(const std::wstring& folder) : dll_(folder, "orwCtrlChrt6.dll") {}

  Int VLXCRT_VCHART_PROCESS_LT(Int Reserved, Int Connection, API_DSInfo& DSInfo,
                               std::span<Int> DSFilter, API_CCVarOptions& Options,
                               Int Last) override {
    return dll_.Call<decltype(native::VLXCRT_VCHART_PROCESS_LT)>(
        "VLXCRT_VCHART_PROCESS_LT", Reserved, Connection, &DSInfo, First(DSFilter), &Options, Last);
  }

  Int VLXCRT_VAR_DATA(Int Reserved, const platform::ArrayRef& Array, platform::ChartData Code,
                      Int Graph) override {
    return dll_.Call<decltype(native::VLXCRT_VAR_DATA)>(
        "VLXCRT_VAR_DATA", Reserved, LentArray(Array).Reference(), static_cast<Int>(Code), Graph);
  }

  Int VLXCRT_VAR_LIMITS(Int Reserved, double& MeanEstimate, double& SPEstimate, double& SWEstimate,
                        double& AverageSize1, double& AverageSize2, double& AverageSize3) override {
    return dll_.Call<decltype(native::VLXCRT_VAR_LIMITS)>(
        "VLXCRT_VAR_LIMITS", Reserved, &MeanEstimate, &SPEstimate, &SWEstimate, &AverageSize1,
        &AverageSize2, &AverageSize3);
  }

  Int VLXCRT_VAR_END() override {
    return dll_.Call<decltype(native::VLXCRT_VAR_END)>("VLXCRT_VAR_END");
  }

  Int VLXCRT_ATTR_PROCESS_LT(Int Reserved, Int Connection, API_DSInfo& DSInfo,
                             std::span<Int> DSFilter, Int ChartWord, Int ProcessingWord,
                             double EWMA, double& AQLValue, double& AQLProducerRisk,
                             Int Last) override {
    return dll_.Call<decltype(native::VLXCRT_ATTR_PROCESS_LT)>(
        "VLXCRT_ATTR_PROCESS_LT", Reserved, Connection, &DSInfo, First(DSFilter), ChartWord,
        ProcessingWord, EWMA, &AQLValue, &AQLProducerRisk, Last);
  }

  Int VLXCRT_ATTR_DATA(Int Reserved, const platform::ArrayRef& Array, platform::ChartData Code,
                       Int Graph) override {
    return dll_.Call<decltype(native::VLXCRT_ATTR_DATA)>(
        "VLXCRT_ATTR_DATA", Reserved, LentArray(Array).Reference(), static_cast<Int>(Code), Graph);
  }

  Int VLXCRT_ATTR_END() override {
    return dll_.Call<decltype(native::VLXCRT_ATTR_END)>("VLXCRT_ATTR_END");
  }

 private:
  Dll dll_;
};

class CapabilityLibrary final : public platform::CapAna6 {
 public:
  explicit CapabilityLibrary(const std::wstring& folder) : dll_(folder, "orwCapAna6.dll") {}

  Int VLXCAP_PROCESSING_LT(Int Reserved1, Int Connection, API_DSInfo& DSInfo,
                           std::span<Int> DSFilter, std::span<double> X, std::span<double> Y,
                           const platform::ArrayRef& Bins, API_CASummary& Summary, API_CACPs& CPs,
                           API_CAPPs& PPs, API_CAMoments& Moments, API_CAChiSq& ChiSq,
                           API_CAAnova& Anova, API_CASpecLim8& SpecLim,
                           API_CASpecResults& SpecResults, API_CANccLim8& NccLim,
                           API_CANccResults& NccResults, API_CAReserved& Reserved,
                           const API_CAOptions& Options, Int Reserved2) override {
    return WithArray(Bins, [&](ArrayObject bins) {
      return dll_.Call<decltype(native::VLXCAP_PROCESSING_LT)>(
          "VLXCAP_PROCESSING_LT", Reserved1, Connection, &DSInfo, First(DSFilter), First(X),
          First(Y), bins, &Summary, &CPs, &PPs, &Moments, &ChiSq, &Anova, &SpecLim, &SpecResults,
          &NccLim, &NccResults, &Reserved, &Options, Reserved2);
    });
  }

  Int VLXCAP_JOHNSONCURVEFIT(Int Reserved, std::span<double> X, std::span<double> Y,
                             const platform::ArrayRef& Bins, API_CASummary& Summary, API_CAPPs& PPs,
                             API_CAChiSq& ChiSq, API_CASpecLim8& SpecLim,
                             API_CASpecResults& SpecResults,
                             const API_CAOptions& Options) override {
    return WithArray(Bins, [&](ArrayObject bins) {
      return dll_.Call<decltype(native::VLXCAP_JOHNSONCURVEFIT)>(
          "VLXCAP_JOHNSONCURVEFIT", Reserved, First(X), First(Y), bins, &Summary, &PPs, &ChiSq,
          &SpecLim, &SpecResults, &Options);
    });
  }

 private:
  Dll dll_;
};

class ParetoLibrary final : public platform::Pareto6 {
 public:
  explicit ParetoLibrary(const std::wstring& folder) : dll_(folder, "orwPareto6.dll") {}

  Int VLXPAR_PROC(Int Reserved, Int Connection, API_DSInfo& DSInfo, std::span<Int> DSFilter,
                  const platform::ArrayRef& Bins, API_PAOptions& Options, Work& Words) override {
    return Call("VLXPAR_PROC", Reserved, Connection, DSInfo, DSFilter, Bins, Options, Words);
  }
  Int VLXPAR_EVENT(Int Reserved, Int Connection, API_DSInfo& DSInfo, std::span<Int> DSFilter,
                   const platform::ArrayRef& Bins, API_PAOptions& Options, Work& Words) override {
    return Call("VLXPAR_EVENT", Reserved, Connection, DSInfo, DSFilter, Bins, Options, Words);
  }
  Int VLXPAR_STATE(Int Reserved, Int Connection, API_DSInfo& DSInfo, std::span<Int> DSFilter,
                   const platform::ArrayRef& Bins, API_PAOptions& Options, Work& Words) override {
    return Call("VLXPAR_STATE", Reserved, Connection, DSInfo, DSFilter, Bins, Options, Words);
  }

 private:
  // The three functions have one type.
  Int Call(const char* name, Int reserved, Int connection, API_DSInfo& info, std::span<Int> filter,
           const platform::ArrayRef& bins, API_PAOptions& options, Work& words) {
    return dll_.Call<decltype(native::VLXPAR_PROC)>(name, reserved, connection, &info,
                                                    First(filter), LentArray(bins).Reference(),
                                                    &options, words.data());
  }

  Dll dll_;
};

class ComplianceLibrary final : public platform::SReqCompliance {
 public:
  explicit ComplianceLibrary(const std::wstring& folder) : dll_(folder, "orwSReqCompliance.dll") {}

  Int VLXSREQ_SREQ_COMPLIANCE(Int Reserved, Int Connection, API_DSInfo& DSInfo,
                              std::span<Int> DSFilter) override {
    return dll_.Call<decltype(native::VLXSREQ_SREQ_COMPLIANCE)>(
        "VLXSREQ_SREQ_COMPLIANCE", Reserved, Connection, &DSInfo, First(DSFilter));
  }
  Int VLXSREQ_SREQ_COMPLIANCE_GETDATA(std::span<API_SCRow> Rows, Int Count) override {
    return dll_.Call<decltype(native::VLXSREQ_SREQ_COMPLIANCE_GETDATA)>(
        "VLXSREQ_SREQ_COMPLIANCE_GETDATA", First(Rows), Count);
  }
  Int VLXSREQ_SREQ_COMPLIANCE_FREEDATA() override {
    return dll_.Call<decltype(native::VLXSREQ_SREQ_COMPLIANCE_FREEDATA)>(
        "VLXSREQ_SREQ_COMPLIANCE_FREEDATA");
  }

 private:
  Dll dll_;
};

}  // namespace

std::wstring FolderOfThisModule() {
  HMODULE module = nullptr;
  ::GetModuleHandleExW(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      reinterpret_cast<LPCWSTR>(reinterpret_cast<void*>(&FolderOfThisModule)), &module);
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const auto length = ::GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()));
    if (length < path.size()) {
      path.resize(length);
      break;
    }
    path.resize(path.size() * 2);
  }
  return path.substr(0, path.find_last_of(L'\\') + 1);
}

struct ClosedLibraries::Loaded {
  explicit Loaded(const std::wstring& folder)
      : database(folder), chart(folder), capability(folder), pareto(folder), compliance(folder) {}

  DatabaseLibrary database;
  ChartLibrary chart;
  CapabilityLibrary capability;
  ParetoLibrary pareto;
  ComplianceLibrary compliance;
};

ClosedLibraries::ClosedLibraries(const std::wstring& folder)
    : loaded_(std::make_unique<Loaded>(folder)) {}
ClosedLibraries::~ClosedLibraries() = default;

platform::DBLib6& ClosedLibraries::DBLib() { return loaded_->database; }
platform::CtrlChrt6& ClosedLibraries::CtrlChrt() { return loaded_->chart; }
platform::CapAna6& ClosedLibraries::CapAna() { return loaded_->capability; }
platform::Pareto6& ClosedLibraries::Pareto() { return loaded_->pareto; }
platform::SReqCompliance& ClosedLibraries::Compliance() { return loaded_->compliance; }

}  // namespace orvspc::windows::native
