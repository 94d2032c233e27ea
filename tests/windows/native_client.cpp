// SPDX-License-Identifier: Apache-2.0
// The closed libraries as DLLs against the same engine called directly, and what happens when a DLL
// or a function is missing:
//
//   native_client.exe SAMPLE.DB   a database of the sample data; a copy of it is used
//
// Prints a line a check and returns 1 when one fails.
#include <windows.h>

#include <oleauto.h>
#include <process.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>

#include "engine/Embedded.h"
#include "engine/QualityDatabase.h"
#include "frame/Failure.h"
#include "host/windows/native/ClosedLibraries.h"
#include "platform/ExternalFailure.h"
#include "tests/windows/native_sequence.h"

namespace {

namespace fs = std::filesystem;
using namespace orvspc;  // NOLINT: a program of one file
using native_test::Libraries;
using windows::native::ClosedLibraries;

int failures = 0;

void Check(bool holds, const std::string& what) {
  std::cout << (holds ? "ok    " : "FAIL  ") << what << "\n";
  if (!holds) ++failures;
}

Libraries LibrariesOf(ClosedLibraries& all) {
  return {all.DBLib(), all.CtrlChrt(), all.CapAna(), all.Pareto(), all.Compliance()};
}

std::string Utf8(const fs::path& path) {
  const auto text = path.u8string();
  return {text.begin(), text.end()};
}

// What a call fails with; number 0 when it does not.
struct Failed {
  std::int32_t number = 0;
  std::string source, description;
};

Failed FailureOf(const std::function<void()>& call) {
  try {
    call();
    return {};
  } catch (const platform::ExternalFailure& failure) {
    return {failure.Number(), failure.Source(), failure.Description()};
  } catch (const Failure& failure) {
    return {failure.Number(), failure.Source(), failure.Description()};
  }
}

// A call of each library that needs no data.
struct Harmless {
  const char* dll;
  const char* function;
  std::function<void(Libraries&)> call;
};

const std::vector<Harmless>& HarmlessCalls() {
  static const std::vector<Harmless> calls = {
      {"orwDBLib6.dll", "VLXDBL_CLEARDATASETDATA",
       [](Libraries& all) { all.database.VLXDBL_CLEARDATASETDATA(); }},
      {"orwCtrlChrt6.dll", "VLXCRT_VAR_END", [](Libraries& all) { all.chart.VLXCRT_VAR_END(); }},
      {"orwCapAna6.dll", "VLXCAP_JOHNSONCURVEFIT",
       [](Libraries& all) {
         std::vector<double> x(1), y(1);
         API_CASummary summary{};
         API_CAPPs pps{};
         API_CAChiSq chi_square{};
         API_CASpecLim8 limits{};
         API_CASpecResults results{};
         all.capability.VLXCAP_JOHNSONCURVEFIT(0, x, y, {}, summary, pps, chi_square, limits,
                                               results, {});
       }},
      {"orwPareto6.dll", "VLXPAR_EVENT",
       [](Libraries& all) {
         API_DSInfo info{};
         std::vector<std::int32_t> filter(18);
         API_PAOptions options{};
         platform::Pareto6::Work words{};
         all.pareto.VLXPAR_EVENT(0, 0, info, filter, {}, options, words);
       }},
      {"orwSReqCompliance.dll", "VLXSREQ_SREQ_COMPLIANCE_FREEDATA",
       [](Libraries& all) { all.compliance.VLXSREQ_SREQ_COMPLIANCE_FREEDATA(); }}};
  return calls;
}

// Run by a copy of this program that has no DLLs beside it, with a folder of DLLs whose own import
// is missing.
int CheckMissing(const char* broken) {
  ClosedLibraries unloadable(fs::path(broken).wstring() + L"\\");
  auto all_unloadable = LibrariesOf(unloadable);
  for (const auto& [dll, function, call] : HarmlessCalls()) {
    const auto failed = FailureOf([&] { call(all_unloadable); });
    Check(failed.number == 53 && failed.source == dll &&
              failed.description == std::string(dll) +
                                        " cannot be loaded (Windows error 126); a DLL that it "
                                        "needs, such as orvEngine.dll, may be missing",
          std::string("unloadable ") + dll + ": " + failed.description);
  }
  ClosedLibraries libraries;
  auto all = LibrariesOf(libraries);
  for (const auto& [dll, function, call] : HarmlessCalls()) {
    const auto failed = FailureOf([&] { call(all); });
    Check(failed.number == 53 && failed.source == dll &&
              failed.description == "File not found: " + std::string(dll) + " (Windows error 126)",
          std::string("without ") + dll + ": " + failed.description);
  }
  return failures;
}

std::wstring OwnPath() {
  std::wstring path(32'768, L'\0');
  path.resize(::GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return path;
}

void CheckMissingDlls(const fs::path& folder) {
  const auto copy = folder / L"missing.exe", broken = folder / L"broken";
  fs::create_directory(broken);
  for (const auto& [dll, function, call] : HarmlessCalls())
    fs::copy_file(fs::path(windows::native::FolderOfThisModule()) / dll, broken / dll);
  fs::copy_file(OwnPath(), copy);
  const auto here = fs::current_path();
  fs::current_path(folder);
  const auto code = ::_wspawnl(_P_WAIT, copy.c_str(), copy.c_str(), L"--missing", L"broken",
                               static_cast<wchar_t*>(nullptr));
  fs::current_path(here);
  Check(code == 0, "each DLL that is missing or lacks its import is a failure 53 that names it");
}

// A DLL of the right name that has none of the functions, before the true one in the search.
void CheckMissingExports(const fs::path& folder) {
  const fs::path bin = windows::native::FolderOfThisModule();
  for (const auto& [dll, function, call] : HarmlessCalls()) {
    const char* const other =
        std::string_view(dll) == "orwPareto6.dll" ? "orwDBLib6.dll" : "orwPareto6.dll";
    fs::copy_file(bin / other, folder / dll);
  }
  ClosedLibraries libraries(folder.wstring() + L"\\");
  auto all = LibrariesOf(libraries);
  for (const auto& [dll, function, call] : HarmlessCalls()) {
    const auto failed = FailureOf([&] { call(all); });
    Check(failed.number == 453 && failed.source == dll &&
              failed.description.find(dll) != std::string::npos &&
              failed.description.find(function) != std::string::npos,
          std::string("without ") + function + ": " + failed.description);
  }
}

// Bins that a library resizes come back with their new number and content.
void CheckResizing(const fs::path& folder) {
  fs::copy_file(fs::path(windows::native::FolderOfThisModule()) / L"native_stub.dll",
                folder / L"orwCapAna6.dll");
  ClosedLibraries libraries(folder.wstring() + L"\\");
  struct Case {
    std::int32_t count;
    bool may_resize;
    std::size_t result;  // bins afterwards
  };
  for (const auto& [count, may_resize, result] :
       {Case{3, true, 3}, Case{5, true, 5}, Case{9, true, 9}, Case{9, false, 5}, Case{0, true, 0},
        Case{-1, true, 0}}) {
    std::vector<API_CABin> bins(5);
    for (std::size_t i = 0; i < bins.size(); ++i) bins[i].XMin = 100.0 + static_cast<double>(i);
    platform::ArrayRef ref{bins.data(), sizeof bins[0], bins.size(), {}};
    ref.resize = [&, allowed = may_resize](std::size_t wanted) -> void* {
      if (!allowed) return nullptr;
      bins.resize(wanted);
      return wanted == 0 ? nullptr : bins.data();
    };
    std::vector<double> x(1), y(1);
    API_CASummary summary{};
    API_CAPPs pps{};
    API_CAChiSq chi_square{};
    API_CASpecLim8 limits{};
    API_CASpecResults results{};
    API_CAOptions options{};
    options.CurveCount = count;
    const auto answer = libraries.CapAna().VLXCAP_JOHNSONCURVEFIT(
        0, x, y, ref, summary, pps, chi_square, limits, results, options);
    bool right = answer != 0 && bins.size() == result;
    for (std::size_t i = 0; right && i < bins.size(); ++i) {
      const auto place = static_cast<double>(i);
      right = bins[i].XMin == (i < 5 ? 100.0 + place : 0.0) && bins[i].YMax == place + 1.0;
    }
    Check(right, "5 bins, of which the library makes " + std::to_string(count) +
                     (may_resize ? "" : ", and the array stays"));
  }
  // Memory that is lent keeps its length.
  std::vector<API_CABin> bins(5);
  std::vector<double> x(1), y(1);
  API_CASummary summary{};
  API_CAPPs pps{};
  API_CAChiSq chi_square{};
  API_CASpecLim8 limits{};
  API_CASpecResults results{};
  API_CAOptions options{};
  options.CurveCount = 9;
  const auto answer = libraries.CapAna().VLXCAP_JOHNSONCURVEFIT(
      0, x, y, {bins.data(), sizeof bins[0], bins.size(), {}}, summary, pps, chi_square, limits,
      results, options);
  Check(answer == 0, "lent memory cannot be resized");
}

void CheckFirstElements() {
  ClosedLibraries libraries;
  const auto failed = FailureOf([&] {
    API_DSInfo info{};
    libraries.DBLib().VLXDBL_BUILDDATASETDATA(0, 0, info, {}, 1);
  });
  Check(failed.number == 9, "a filter without elements fails with 9");
}

// --- The engine in orvEngine.dll, through its class Database -------------------------------------

void Succeed(HRESULT result, const std::string& what) {
  if (FAILED(result)) throw std::runtime_error(what + ": " + std::to_string(result));
}

VARIANT Invoke(IDispatch* object, const wchar_t* member, WORD kind, VARIANT* argument) {
  auto name = const_cast<LPOLESTR>(member);
  DISPID id = 0;
  Succeed(object->GetIDsOfNames(IID_NULL, &name, 1, LOCALE_USER_DEFAULT, &id), "GetIDsOfNames");
  DISPPARAMS parameters{argument, nullptr, argument == nullptr ? 0u : 1u, 0};
  VARIANT result;
  ::VariantInit(&result);
  EXCEPINFO failure{};
  const auto done = object->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, kind, &parameters, &result,
                                   &failure, nullptr);
  const fs::path words(failure.bstrDescription == nullptr ? L"" : failure.bstrDescription);
  Succeed(done, Utf8(fs::path(member)) + " " + Utf8(words));
  return result;
}

// The database in orvEngine.dll beside this program, which need not be registered.
class DllDatabase {
 public:
  explicit DllDatabase(const std::wstring& path) {
    const auto dll = windows::native::FolderOfThisModule() + L"orvEngine.dll";
    const auto module = ::LoadLibraryW(dll.c_str());
    if (module == nullptr) throw std::runtime_error("orvEngine.dll cannot be loaded");
    ITypeLib* library = nullptr;
    Succeed(::LoadTypeLibEx(dll.c_str(), REGKIND_NONE, &library), "LoadTypeLibEx");
    std::wstring name = L"Database";
    ITypeInfo* types[8] = {};
    MEMBERID members[8] = {};
    USHORT found = 8;
    Succeed(library->FindName(name.data(), 0, types, members, &found), "FindName");
    CLSID id{};
    for (USHORT i = 0; i < found; ++i) {
      TYPEATTR* attributes = nullptr;
      Succeed(types[i]->GetTypeAttr(&attributes), "GetTypeAttr");
      if (attributes->typekind == TKIND_COCLASS) id = attributes->guid;
      types[i]->ReleaseTypeAttr(attributes);
      types[i]->Release();
    }
    library->Release();
    using GetClassObject = HRESULT(WINAPI*)(REFCLSID, REFIID, void**);
    const auto get = reinterpret_cast<GetClassObject>(
        reinterpret_cast<void*>(::GetProcAddress(module, "DllGetClassObject")));
    IClassFactory* factory = nullptr;
    Succeed(get(id, IID_IClassFactory, reinterpret_cast<void**>(&factory)), "DllGetClassObject");
    const auto made =
        factory->CreateInstance(nullptr, IID_IDispatch, reinterpret_cast<void**>(&object_));
    factory->Release();
    Succeed(made, "CreateInstance");
    VARIANT file;
    file.vt = VT_BSTR;
    file.bstrVal = ::SysAllocString(path.c_str());
    Invoke(object_, L"Open", DISPATCH_METHOD, &file);
    ::VariantClear(&file);
  }
  DllDatabase(const DllDatabase&) = delete;
  DllDatabase& operator=(const DllDatabase&) = delete;
  ~DllDatabase() {
    if (object_ != nullptr) object_->Release();
  }

  std::int32_t ConnectionHandle() const {
    return Invoke(object_, L"ConnectionHandle", DISPATCH_PROPERTYGET, nullptr).lVal;
  }

 private:
  IDispatch* object_ = nullptr;
};

// Subgroups with descriptors and comments, which the sample data have not.
constexpr const char* kDescribed =
    "part,process,test,subgroup,time,tsno,value,job,lot,employee,descriptor:Cavity,comment\n"
    "Cavity part,Moulding,Width,1,2024-05-01T08:00:00,,1.5,J1,L1,Okafor,1,first of the shift\n"
    "Cavity part,Moulding,Width,2,2024-05-01T09:00:00,,1.6,J1,L2,Okafor,2,\n"
    "Cavity part,Moulding,Width,3,2024-05-01T10:00:00,,1.4,J2,L2,Tran,1,Gr\xC3\xB6\xC3\x9F"
    "e gepr\xC3\xBC"
    "ft\n"
    "Cavity part,Moulding,Width,4,2024-05-01T11:00:00,,1.7,J2,L2,Tran,2,\n";

void CheckSequence(const fs::path& sample, const fs::path& folder) {
  const auto file = folder / L"native.db", csv = folder / L"described.csv";
  fs::copy_file(sample, file);
  std::ofstream(csv, std::ios::binary) << kDescribed;
  auto names = QualityDatabase::Open(Utf8(file));
  names.Import(Utf8(csv), ImportKind::Values);

  ClosedLibraries libraries;
  const DllDatabase in_dll(file.wstring());
  auto& direct = *EmbeddedPlatform();
  const auto through =
      native_test::Sequence(LibrariesOf(libraries), in_dll.ConnectionHandle(), names).Run();
  const auto plain = native_test::Sequence({direct.DBLib(), direct.CtrlChrt(), direct.CapAna(),
                                            direct.Pareto(), direct.Compliance()},
                                           names.Database()->ConnectionHandle(), names)
                         .Run();
  Check(through.size() == plain.size() && plain.size() > 100,
        "as many calls either way: " + std::to_string(through.size()) + " and " +
            std::to_string(plain.size()));
  std::size_t equal = 0, bytes = 0;
  for (std::size_t i = 0; i < std::min(through.size(), plain.size()); ++i) {
    const auto& [call, result, expected, written] = through[i];
    const bool same =
        call == plain[i].call && result == plain[i].result && written == plain[i].bytes;
    bytes += written.size();
    equal += same && expected ? 1 : 0;
    if (same && expected) continue;
    const auto different = std::ranges::mismatch(written, plain[i].bytes).in1 - written.begin();
    Check(false, "call " + std::to_string(i) + " " + call + ": " + std::to_string(result) +
                     " and " + std::to_string(plain[i].result) +
                     (expected ? "" : ", not what the data give") + ", bytes differ from " +
                     std::to_string(different));
  }
  Check(equal == plain.size(), std::to_string(equal) + " calls with equal results and " +
                                   std::to_string(bytes) + " equal bytes");
}

}  // namespace

int main(int count, char** arguments) {
  try {
    if (count == 3 && std::string_view(arguments[1]) == "--missing")
      return CheckMissing(arguments[2]);
    if (count != 2) {
      std::cerr << "usage: native_client.exe SAMPLE.DB\n";
      return 2;
    }
    Succeed(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), "CoInitializeEx");
    const auto folder =
        fs::temp_directory_path() / ("native_client_" + std::to_string(::GetCurrentProcessId()));
    fs::remove_all(folder);  // of an earlier process with this number
    for (const char* each : {"data", "missing", "exports", "resizing"})
      fs::create_directories(folder / each);
    CheckSequence(arguments[1], folder / "data");
    CheckMissingDlls(folder / "missing");
    CheckMissingExports(folder / "exports");
    CheckResizing(folder / "resizing");
    CheckFirstElements();
    // DLLs that are loaded cannot be removed; the rest goes.
    std::error_code ignored;
    for (const char* each : {"data", "missing"}) fs::remove_all(folder / each, ignored);
    std::cout << (failures == 0 ? "native: all checks hold\n" : "native: checks failed\n");
  } catch (const std::exception& failure) {
    std::cerr << "native_client: " << failure.what() << "\n";
    return 1;
  }
  return failures == 0 ? 0 : 1;
}
