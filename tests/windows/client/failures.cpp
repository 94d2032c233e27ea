// SPDX-License-Identifier: Apache-2.0
// What only a compiled host sees of failures, lifetime and conversions: HRESULTs beside the error
// information, a host's own database object and its failures, arrays of forms that a script cannot
// make. Prints a line for each claim that does not hold; exit status 0 when all hold.
//
//   failures            in a folder with sample.db
//   failures missing    with the component in a folder that lacks orwCapAna6.dll and has an
//                       orwPareto6.dll without its functions
#include <windows.h>

#include <oaidl.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "host/windows/typelib/orvEngine.h"
#include "host/windows/typelib/orvSPCAnalysis6.h"
#include "tests/windows/client/Com.h"

namespace orvspc::windows::tests {

namespace {

int failed_claims = 0;
int claims = 0;

void Claim(const std::string& what, bool holds) {
  ++claims;
  if (holds) return;
  ++failed_claims;
  std::printf("does not hold: %s\n", what.c_str());
}

// The call failed with that HRESULT, number, trail and text; "*" in front of an end of a text
// stands for anything before it.
bool Fits(const std::string& text, const std::string& pattern) {
  if (pattern.empty() || pattern[0] != '*') return text == pattern;
  return text.size() + 1 >= pattern.size() &&
         text.compare(text.size() + 1 - pattern.size(), std::string::npos, pattern, 1) == 0;
}

void Fails(const std::string& what, HRESULT result, HRESULT expected, std::int32_t number,
           const std::string& source, const std::string& description) {
  const auto failure = FailureOf(result);
  const bool holds = result == expected && failure.number == number &&
                     Fits(failure.source, source) && Fits(failure.description, description);
  Claim(what, holds);
  if (!holds)
    std::printf("  %08lx number %d | %s | %s\n", static_cast<unsigned long>(result),
                static_cast<int>(failure.number), failure.source.c_str(),
                failure.description.c_str());
}

constexpr HRESULT kMessage = static_cast<HRESULT>(0x80040000);
constexpr HRESULT Plain(int number) { return static_cast<HRESULT>(0x800A0000u | unsigned(number)); }

template <class I>
std::shared_ptr<I> Made(const wchar_t* prog_id, const IID& id) {
  CLSID class_id;
  void* object = nullptr;
  if (FAILED(CLSIDFromProgID(prog_id, &class_id)) ||
      FAILED(CoCreateInstance(class_id, nullptr, CLSCTX_INPROC_SERVER, id, &object))) {
    std::printf("%ls cannot be made\n", prog_id);
    std::exit(1);
  }
  return Owned(static_cast<I*>(object));
}

template <class I>
std::shared_ptr<I> Got(const std::function<HRESULT(I**)>& call) {
  I* object = nullptr;
  const HRESULT result = call(&object);
  Claim("an object is given", SUCCEEDED(result) && object != nullptr);
  return Owned(object);
}

// A database object of a host: late bound alone, with what it does given by the test. Lives on the
// stack; its references are counted so that the test can see that none is left.
class HostDatabase : public IDispatch {
 public:
  // Returns the result of Invoke; fills the value or the failure.
  using Behaviour = std::function<HRESULT(DISPID, std::int32_t, VARIANT&, EXCEPINFO&)>;
  explicit HostDatabase(Behaviour behaviour) : behaviour_(std::move(behaviour)) {}
  virtual ~HostDatabase() = default;
  int References() const { return references_; }
  int Calls() const { return calls_; }
  // What looking a name up fails with.
  void LookUp(HRESULT result) { look_up_ = result; }
  // The ways, DISPATCH_METHOD and DISPATCH_PROPERTYGET, in which it has its members.
  void Ways(WORD ways) { ways_ = ways; }

  STDMETHODIMP QueryInterface(REFIID id, void** object) override {
    *object = id == IID_IUnknown || id == IID_IDispatch ? this : nullptr;
    if (*object == nullptr) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return static_cast<ULONG>(++references_); }
  STDMETHODIMP_(ULONG) Release() override { return static_cast<ULONG>(--references_); }
  STDMETHODIMP GetTypeInfoCount(UINT* count) override {
    *count = 0;
    return S_OK;
  }
  STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR* names, UINT, LCID, DISPID* ids) override {
    const std::string name = Utf8(names[0]);
    if (FAILED(look_up_)) return look_up_;
    ids[0] = name == "ConnectionHandle" ? 1 : name == "DatabaseValue" ? 2 : DISPID_UNKNOWN;
    return ids[0] == DISPID_UNKNOWN ? DISP_E_UNKNOWNNAME : S_OK;
  }
  STDMETHODIMP Invoke(DISPID id, REFIID, LCID, WORD way, DISPPARAMS* parameters, VARIANT* result,
                      EXCEPINFO* failure, UINT*) override {
    if ((way & ways_) == 0) return DISP_E_MEMBERNOTFOUND;
    ++calls_;
    VARIANT value;
    VariantInit(&value);
    EXCEPINFO none{};
    const std::int32_t argument = parameters->cArgs == 1 ? V_I4(&parameters->rgvarg[0]) : 0;
    const HRESULT done = behaviour_(id, argument, value, failure == nullptr ? none : *failure);
    if (result != nullptr) *result = value;
    return done;
  }

 private:
  Behaviour behaviour_;
  int references_ = 1;
  int calls_ = 0;
  HRESULT look_up_ = S_OK;
  WORD ways_ = DISPATCH_METHOD | DISPATCH_PROPERTYGET;
};

HRESULT Gives(VARIANT& value, std::int32_t number) {
  V_VT(&value) = VT_I4;
  V_I4(&value) = number;
  return S_OK;
}

HRESULT Raises(EXCEPINFO& failure, SCODE code) {
  failure.scode = code;
  failure.bstrSource = SysAllocString(L"Host.Source");
  failure.bstrDescription = SysAllocString(L"the host's own w\u00f6rds");
  return DISP_E_EXCEPTION;
}

std::shared_ptr<IDataSelect> Selected() {
  auto select = Made<IDataSelect>(L"orvSPCAnalysis6.DataSelect", IID_IDataSelect);
  select->put_DateRangeInterval(0);
  return select;
}

HRESULT Subgroups(IDataSelect& select, IDispatch* database) {
  ISubgroupData* data = nullptr;
  const HRESULT result = select.GetSubgroupData(database, &data);
  if (SUCCEEDED(result)) data->Release();
  return result;
}

void Messages() {
  const auto select = Selected();
  Fails("-2147221504", select->put_MaximumItems(0), kMessage, -2147221504,
        "DataSelect.MaximumItems(l)|orvSPCAnalysis6", "Invalid MaximumItems (must be > 0)");
  VARIANT_BOOL done = VARIANT_FALSE;
  const Text empty("");
  Fails("-2147221504 of a text", select->SetXML(empty.text, &done), kMessage, -2147221504,
        "DataSelect.SetXML|XMLSupport.GetXMLSingleNode(Node=DataSelect)|orvSPCAnalysis6",
        "Node does not exist!");
  ISupportErrorInfo* supports = nullptr;
  Claim("it says that it has error information",
        SUCCEEDED(
            select->QueryInterface(IID_ISupportErrorInfo, reinterpret_cast<void**>(&supports))) &&
            supports->InterfaceSupportsErrorInfo(IID_IDataSelect) == S_OK);
  if (supports != nullptr) supports->Release();
}

void Numbers() {
  const auto select = Selected();
  const auto settings = Made<ICCProcessing>(L"orvSPCAnalysis6.CCProcessing", IID_ICCProcessing);
  Fails("91", Subgroups(*select, nullptr), Plain(91), 91,
        "DataSelect.GetSubgroupData|Support.ResolveDatabase|orvSPCAnalysis6", "Missing object");
  Fails("13", Subgroups(*select, settings.get()), Plain(13), 13, "*|orvSPCAnalysis6",
        "Type mismatch");
  const auto pareto = Made<IPAProcessing>(L"orvSPCAnalysis6.PAProcessing", IID_IPAProcessing);
  long id = 0;
  Fails("9", pareto->get_BinTypeID(6, &id), Plain(9), 9, "orvSPCAnalysis6",
        "Subscript out of range");
  VARIANT_BOOL done = VARIANT_FALSE;
  const Text large("<PAProcessing BinCount=\"99999999999\"/>");
  Fails("6", pareto->SetXML(large.text, &done), Plain(6), 6, "*|orvSPCAnalysis6", "Overflow");
}

void Arrays() {
  auto select = Selected();
  const auto descriptors =
      Got<IDataSelectDescriptors>([&](auto** out) { return select->get_Descriptors(out); });
  const auto descriptor =
      Got<IDataSelectDescriptor>([&](auto** out) { return descriptors->Add(dtPart, out); });
  VARIANT value;
  V_VT(&value) = VT_ARRAY | VT_I4;
  SAFEARRAYBOUND from_one{3, 1};
  V_ARRAY(&value) = SafeArrayCreate(VT_I4, 1, &from_one);
  Fails("an array from 1", descriptor->put_ItemIDs(value), kMessage, -2147221504,
        "DataSelectDescriptor.ItemIDs(l)|orvSPCAnalysis6", "Array must be 0-based");
  // By reference, as scripts give variables.
  VARIANT reference;
  SAFEARRAY* array = SafeArrayCreateVector(VT_I4, 0, 3);
  for (LONG i = 0; i < 3; ++i) SafeArrayPutElement(array, &i, &i);
  V_VT(&reference) = VT_ARRAY | VT_I4 | VT_BYREF;
  V_ARRAYREF(&reference) = &array;
  Claim("an array by reference is taken", SUCCEEDED(descriptor->put_ItemIDs(reference)));
  long count = 0, item = 0;
  descriptor->get_ItemCount(&count);
  descriptor->get_ItemID(2, &item);
  Claim("its items are there", count == 2 && item == 1);
  SAFEARRAYBOUND two[2] = {{2, 0}, {2, 0}};
  VariantClear(&value);
  V_VT(&value) = VT_ARRAY | VT_I4;
  V_ARRAY(&value) = SafeArrayCreate(VT_I4, 2, two);
  Fails("an array of two dimensions", descriptor->put_ItemIDs(value), Plain(13), 13,
        "DataSelectDescriptor.ItemIDs(l)|orvSPCAnalysis6", "Type mismatch");
  VariantClear(&value);
  SAFEARRAY without{};  // of no dimension
  without.cbElements = sizeof(LONG);
  for (SAFEARRAY* const none : {static_cast<SAFEARRAY*>(nullptr), &without}) {
    V_VT(&value) = VT_ARRAY | VT_I4;
    V_ARRAY(&value) = none;
    Fails("no array at all", descriptor->put_ItemIDs(value), Plain(9), 9,
          "DataSelectDescriptor.ItemIDs(l)|orvSPCAnalysis6", "Subscript out of range");
  }
  SafeArrayDestroy(array);
}

// The cells of a flat selection are those from 0 on, wherever the host's array begins.
void Cells() {
  const auto cells = [](LONG lower, std::vector<LONG> values) {
    SAFEARRAYBOUND bound{static_cast<ULONG>(values.size()), lower};
    SAFEARRAY* const array = SafeArrayCreate(VT_I4, 1, &bound);
    for (std::size_t i = 0; i < values.size(); ++i) {
      LONG index = lower + static_cast<LONG>(i);
      SafeArrayPutElement(array, &index, &values[i]);
    }
    return array;
  };
  auto select = Selected();
  API_DSInfo info{};
  SAFEARRAY* filter = nullptr;
  VARIANT_BOOL done = VARIANT_FALSE;
  select->API_GetData(&info, &filter, &done);
  SafeArrayDestroy(filter);

  long items = 0, count = 0;
  info.Count = 7;
  filter = cells(1, {0});
  Claim("without limits no cell is read", SUCCEEDED(select->API_SetData(&info, &filter, &done)));
  select->get_MaximumItems(&items);
  Claim("and the fields are there", items == 7);
  SafeArrayDestroy(filter);

  info.AllPart = 0;
  info.Count = 8;
  filter = cells(1, {0, 1, 5});
  Fails("cells that begin behind 0", select->API_SetData(&info, &filter, &done), Plain(9), 9,
        "DataSelect.API_SetData|DataSelect.LoadDescriptors|orvSPCAnalysis6",
        "Subscript out of range");
  select->get_MaximumItems(&items);
  Claim("the fields before are stored", items == 8);
  SafeArrayDestroy(filter);

  filter = cells(-2, {9, 9, 0, 1, 5});
  Claim("cells before 0 are not read", SUCCEEDED(select->API_SetData(&info, &filter, &done)));
  const auto descriptors =
      Got<IDataSelectDescriptors>([&](auto** out) { return select->get_Descriptors(out); });
  descriptors->get_Count(&count);
  Claim("and those from 0 on are", count == 1);
  SafeArrayDestroy(filter);
}

// A filter array of a host that goes with the test.
class FilterArray {
 public:
  FilterArray(VARTYPE type, std::vector<SAFEARRAYBOUND> bounds)
      : array(SafeArrayCreate(type, static_cast<UINT>(bounds.size()), bounds.data())),
        original_(array) {}
  FilterArray(const FilterArray&) = delete;
  FilterArray& operator=(const FilterArray&) = delete;
  ~FilterArray() { SafeArrayDestroy(array); }

  // It is the one that was made, with nothing in it.
  bool IsKept() const {
    const auto* const bytes = static_cast<const unsigned char*>(array->pvData);
    return array == original_ &&
           std::all_of(bytes, bytes + array->rgsabound[0].cElements * array->cbElements,
                       [](unsigned char byte) { return byte == 0; });
  }

  SAFEARRAY* array;

 private:
  SAFEARRAY* original_;
};

// The filter of API_GetData, which is replaced, and of API_SetData, which is only read.
void FilterArrays() {
  const auto select = Selected();
  const auto from = Made<IDataSelect>(L"orvSPCAnalysis6.DataSelect", IID_IDataSelect);
  ::API_DSInfo info{};
  VARIANT_BOOL done = VARIANT_FALSE;
  {
    FilterArray any(VT_I4, {{4, 0}});
    Claim("a selection fills the record", SUCCEEDED(select->API_GetData(&info, &any.array, &done)));
  }
  {
    FilterArray locked(VT_I4, {{4, 0}});
    SafeArrayLock(locked.array);
    info = {};
    Fails("API_GetData into a locked array", select->API_GetData(&info, &locked.array, &done),
          Plain(10), 10, "DataSelect.API_GetData|orvSPCAnalysis6", "This array is fixed or locked");
    Claim("the record is filled before that", info.Count == 25);
    Claim("the locked array is kept", locked.IsKept());
    Claim("a locked array is read", SUCCEEDED(select->API_SetData(&info, &locked.array, &done)));
    SafeArrayUnlock(locked.array);
    Claim("an unlocked one is replaced",
          SUCCEEDED(select->API_GetData(&info, &locked.array, &done)) && !locked.IsKept());
    Claim("and read again", SUCCEEDED(from->API_SetData(&info, &locked.array, &done)));
  }
  for (const int feature : {FADF_AUTO, FADF_STATIC, FADF_EMBEDDED, FADF_FIXEDSIZE}) {
    FilterArray fixed(VT_I4, {{4, 0}});
    const std::string name = std::to_string(feature);
    fixed.array->fFeatures = static_cast<USHORT>(fixed.array->fFeatures | feature);
    Fails("API_GetData into an array with the feature " + name,
          select->API_GetData(&info, &fixed.array, &done), Plain(10), 10,
          "DataSelect.API_GetData|orvSPCAnalysis6", "This array is fixed or locked");
    Claim("it is kept, with the feature " + name, fixed.IsKept());
    fixed.array->fFeatures = static_cast<USHORT>(fixed.array->fFeatures & ~feature);
  }
  struct Row {
    const char* what;
    VARTYPE type;
    std::vector<SAFEARRAYBOUND> bounds;
    std::int32_t number;
    const char* description;
  };
  for (const auto& row : {Row{"doubles", VT_R8, {{4, 0}}, 13, "Type mismatch"},
                          Row{"16-bit integers", VT_I2, {{4, 0}}, 13, "Type mismatch"},
                          Row{"two dimensions", VT_I4, {{2, 0}, {2, 0}}, 13, "Type mismatch"}}) {
    FilterArray wrong(row.type, row.bounds);
    Fails("API_SetData with " + std::string(row.what),
          select->API_SetData(&info, &wrong.array, &done), Plain(row.number), row.number,
          "DataSelect.API_SetData|orvSPCAnalysis6", row.description);
    Claim("the array is kept: " + std::string(row.what), wrong.IsKept());
  }
  {
    SAFEARRAY without{};  // of no dimension
    without.cbElements = sizeof(LONG);
    SAFEARRAY* none = &without;
    long items = 0;
    info.Count = 9;
    Claim("API_SetData without cells", SUCCEEDED(from->API_SetData(&info, &none, &done)));
    from->get_MaximumItems(&items);
    Claim("the fields are stored without cells", items == 9);
    info.AllPart = 0;
    info.Count = 10;
    Fails("API_SetData with a limit and without cells", from->API_SetData(&info, &none, &done),
          Plain(9), 9, "DataSelect.API_SetData|DataSelect.LoadDescriptors|orvSPCAnalysis6",
          "Subscript out of range");
    from->get_MaximumItems(&items);
    Claim("the fields before are stored without cells", items == 10);
  }
  // A selection that cannot be given.
  const auto descriptors =
      Got<IDataSelectDescriptors>([&](auto** out) { return select->get_Descriptors(out); });
  const auto descriptor =
      Got<IDataSelectDescriptor>([&](auto** out) { return descriptors->Add(dtPart, out); });
  const int no_filter = 7;
  FilterTypes unknown{};
  std::memcpy(&unknown, &no_filter, sizeof unknown);
  descriptor->put_FilterType(unknown);
  FilterArray kept(VT_I4, {{4, 0}});
  Fails("API_GetData of a selection that cannot be given",
        select->API_GetData(&info, &kept.array, &done), kMessage, -2147221504,
        "DataSelect.API_GetData|DataSelect.GetDSFilter|DataSelect.LoadDSFilter|orvSPCAnalysis6",
        "Invalid FilterType!");
  Claim("the array is kept by a failure", kept.IsKept());
}

// The enumerator of the descriptors by itself.
void Enumerations() {
  const auto can = [] { return CanUnload(L"orvSPCAnalysis6.dll"); };
  SetErrorInfo(0, nullptr);
  Claim("nothing is left before the enumerator", can() == S_OK);
  std::shared_ptr<IEnumVARIANT> all;
  {
    const auto select = Selected();
    const auto descriptors =
        Got<IDataSelectDescriptors>([&](auto** out) { return select->get_Descriptors(out); });
    for (const auto type : {dtPart, dtProcess, dtTest})
      Got<IDataSelectDescriptor>([&](auto** out) { return descriptors->Add(type, out); });
    IUnknown* unknown = nullptr;
    descriptors->get_NewEnum(&unknown);
    const auto owned = Owned(unknown);
    all = Got<IEnumVARIANT>([&](auto** out) {
      return unknown->QueryInterface(IID_IEnumVARIANT, reinterpret_cast<void**>(out));
    });
  }
  Claim("the enumerator alone holds the DLL", can() == S_FALSE);
  // The types of what Next gives.
  const auto next = [](IEnumVARIANT& from, ULONG wanted, HRESULT expected) {
    std::vector<VARIANT> values(wanted);
    ULONG given = 99;
    const HRESULT result = from.Next(wanted, values.data(), &given);
    Claim("Next of " + std::to_string(wanted), result == expected && given <= wanted);
    std::string types;
    for (ULONG i = 0; i < given && i < wanted; ++i) {
      const auto descriptor = Got<IDataSelectDescriptor>([&](auto** out) {
        return V_DISPATCH(&values[i])
            ->QueryInterface(IID_IDataSelectDescriptor, reinterpret_cast<void**>(out));
      });
      DescriptorTypes type{};
      descriptor->get_DescriptorType(&type);
      types += std::to_string(type) + " ";
      VariantClear(&values[i]);
    }
    return types;
  };
  const auto text = [](std::initializer_list<int> types) {
    std::string all;
    for (const int type : types) all += std::to_string(type) + " ";
    return all;
  };
  Claim("the first descriptor", next(*all, 1, S_OK) == text({dtPart}));
  const auto copy = Got<IEnumVARIANT>([&](auto** out) { return all->Clone(out); });
  Claim("a short Next gives the rest", next(*all, 5, S_FALSE) == text({dtProcess, dtTest}));
  Claim("and then nothing", next(*all, 1, S_FALSE).empty());
  Claim("a clone has a place of its own", next(*copy, 2, S_OK) == text({dtProcess, dtTest}));
  Claim("Reset goes to the first", all->Reset() == S_OK && next(*all, 1, S_OK) == text({dtPart}));
  Claim("Skip passes one", all->Skip(1) == S_OK && next(*all, 1, S_OK) == text({dtTest}));
  Claim("Skip stops at the end", all->Skip(1) == S_FALSE);
  all.reset();
  Claim("a clone alone holds the DLL", can() == S_FALSE);
  copy->Reset();
  Claim("and outlives what it was cloned from", next(*copy, 1, S_OK) == text({dtPart}));
}

// A host's database whose handle no database of the engine has.
void UnknownHandle() {
  const auto inner = Made<IDatabase>(L"orvEngine.Database", IID_IDatabase);
  const Text path("sample.db");
  inner->Open(path.text);
  HostDatabase host(
      [](DISPID, std::int32_t, VARIANT& value, EXCEPINFO&) { return Gives(value, 1234567); });
  const auto analysis = Made<ICCAnalysis>(L"orvSPCAnalysis6.CCAnalysis", IID_ICCAnalysis);
  const auto settings = Made<ICCProcessing>(L"orvSPCAnalysis6.CCProcessing", IID_ICCProcessing);
  const auto notes = [&] {
    Text text("");
    SysFreeString(text.text);
    Claim("notes are given", SUCCEEDED(inner->TakeNotes(&text.text)));
    return text.Utf8();
  };
  notes();
  const auto results = Got<ICCResults>([&](auto** out) {
    return analysis->AnalyzeDataSelect(&host, Selected().get(), settings.get(), out);
  });
  long total = -1;
  results->get_TotalSubgroups(&total);
  Claim("an unknown handle gives an empty chart", total == 0);
  VARIANT_BOOL failed = VARIANT_TRUE;
  Claim("no failure of another database",
        SUCCEEDED(inner->TakeFailure(&failed)) && failed == VARIANT_FALSE);
  const auto found = notes();
  Claim("but a note: " + found,
        found.find("database-closed: The database of this analysis is closed.") == 0);
}

void HostObjects() {
  const auto select = Selected();
  const auto inner = Made<IDatabase>(L"orvEngine.Database", IID_IDatabase);
  const Text path("sample.db");
  inner->Open(path.text);
  const auto passing = [&](DISPID id, std::int32_t argument, VARIANT& value, EXCEPINFO&) {
    long given = 0;
    id == 1 ? inner->get_ConnectionHandle(&given) : inner->DatabaseValue(argument, &given);
    return Gives(value, static_cast<std::int32_t>(given));
  };
  HostDatabase host(passing);
  ISubgroupData* data = nullptr;
  Claim("a host's database is taken", SUCCEEDED(select->GetSubgroupData(&host, &data)));
  long total = 0;
  if (data != nullptr) data->get_TotalSubgroups(&total);
  Claim("and its data are there", total > 0);
  if (data != nullptr) data->Release();
  Claim("no reference to it is left", host.References() == 1);

  struct Row {
    SCODE code;
    HRESULT result;
    std::int32_t number;
  };
  for (const auto& row : {Row{Plain(7), Plain(7), 7}, Row{Plain(1234), Plain(1234), 1234},
                          Row{static_cast<SCODE>(0x80041234), static_cast<HRESULT>(0x80041234),
                              static_cast<std::int32_t>(0x80041234)}}) {
    HostDatabase failing([&](DISPID, std::int32_t, VARIANT&, EXCEPINFO& failure) {
      return Raises(failure, row.code);
    });
    const auto fresh = Selected();
    Fails("a host's failure " + std::to_string(row.number), Subgroups(*fresh, &failing), row.result,
          row.number, "DataSelect.GetSubgroupData|Host.Source", "the host's own w\u00f6rds");
    Claim("no reference to it is left", failing.References() == 1 && failing.Calls() > 0);
  }
  // A host's object where one of the component's classes is needed.
  const auto analysis = Made<ICCAnalysis>(L"orvSPCAnalysis6.CCAnalysis", IID_ICCAnalysis);
  ICCResults* results = nullptr;
  Fails("13 for a foreign object",
        analysis->AnalyzeDataSelect(inner.get(), select.get(),
                                    static_cast<ICCProcessing*>(static_cast<IDispatch*>(&host)),
                                    &results),
        Plain(13), 13, "*orvSPCAnalysis6", "Type mismatch");
  Claim("no reference to it is left", host.References() == 1);
  HostDatabase throwing([](DISPID, std::int32_t, VARIANT&, EXCEPINFO&) -> HRESULT { throw 5; });
  const auto fresh = Selected();
  HRESULT result = S_OK;
  bool passed = false;
  try {
    result = Subgroups(*fresh, &throwing);
  } catch (...) {
    passed = true;
  }
  Claim("an unknown exception does not pass", !passed && throwing.Calls() == 1);
  Claim("and is a failure with a text", FAILED(result) && !FailureOf(result).description.empty());
  Claim("no reference to it is left after that", throwing.References() == 1);
}

void Classes() {
  CLSID id;
  void* object = nullptr;
  Claim("a class that hosts cannot create is not created",
        FAILED(CLSIDFromProgID(L"orvSPCAnalysis6.CABins", &id)));
  Claim("nor by its identifier", CoCreateInstance(CLSID_CABins, nullptr, CLSCTX_INPROC_SERVER,
                                                  IID_IUnknown, &object) == REGDB_E_CLASSNOTREG);
  Claim("no aggregation", CoCreateInstance(CLSID_DataSelect, Selected().get(), CLSCTX_INPROC_SERVER,
                                           IID_IUnknown, &object) == CLASS_E_NOAGGREGATION);
  const auto select = Selected();
  Claim("an interface of another class is not there",
        select->QueryInterface(IID_ICCResults, &object) == E_NOINTERFACE);
}

void LeaveWords(const wchar_t* description) {
  ICreateErrorInfo* made = nullptr;
  if (FAILED(CreateErrorInfo(&made))) return;
  const auto owned = Owned(made);
  std::wstring text = description, source = L"Host.Info";
  made->SetSource(source.data());
  made->SetDescription(text.data());
  IErrorInfo* info = nullptr;
  if (FAILED(made->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info)))) return;
  SetErrorInfo(0, info);
  info->Release();
}

// A host's failures whose words are missing or in the other place.
void HostWords() {
  const auto fails = [](const std::string& what, HostDatabase::Behaviour behaviour, HRESULT result,
                        std::int32_t number, const std::string& source,
                        const std::string& description) {
    HostDatabase host(std::move(behaviour));
    const auto select = Selected();
    LeaveWords(L"of an earlier failure");
    Fails(what, Subgroups(*select, &host), result, number, "DataSelect.GetSubgroupData|" + source,
          description);
    Claim("no reference to it is left", host.References() == 1 && host.Calls() == 1);
  };
  constexpr HRESULT own = static_cast<HRESULT>(0x80041234);
  fails(
      "a code without words",
      [](DISPID, std::int32_t, VARIANT&, EXCEPINFO& failure) {
        failure.scode = own;
        return DISP_E_EXCEPTION;
      },
      own, own, "orvSPCAnalysis6", "Failure 0x80041234");
  fails(
      "a number without words",
      [](DISPID, std::int32_t, VARIANT&, EXCEPINFO& failure) {
        failure.wCode = 1234;
        return DISP_E_EXCEPTION;
      },
      Plain(1234), 1234, "orvSPCAnalysis6", "Failure 0x800A04D2");
  fails(
      "a result without words", [](DISPID, std::int32_t, VARIANT&, EXCEPINFO&) { return own; }, own,
      own, "orvSPCAnalysis6", "Failure 0x80041234");
  fails(
      "a division by zero",
      [](DISPID, std::int32_t, VARIANT&, EXCEPINFO&) { return DISP_E_DIVBYZERO; }, Plain(11), 11,
      "orvSPCAnalysis6", "Division by zero");
  fails(
      "words as error information",
      [](DISPID, std::int32_t, VARIANT&, EXCEPINFO&) {
        LeaveWords(L"of this failure");
        return Plain(1234);
      },
      Plain(1234), 1234, "Host.Info", "of this failure");
  fails(
      "words that come late",
      [](DISPID, std::int32_t, VARIANT&, EXCEPINFO& failure) {
        failure.pfnDeferredFillIn = [](EXCEPINFO* late) {
          Raises(*late, Plain(77));
          return S_OK;
        };
        return DISP_E_EXCEPTION;
      },
      Plain(77), 77, "Host.Source", "the host's own w\u00f6rds");
}

// Whether an object is a database is a question of its names alone.
void HostNames() {
  const auto never = [](DISPID, std::int32_t, VARIANT&, EXCEPINFO&) { return E_UNEXPECTED; };
  for (const HRESULT unknown : {DISP_E_UNKNOWNNAME, DISP_E_MEMBERNOTFOUND, E_NOTIMPL}) {
    HostDatabase host(never);
    host.LookUp(unknown);
    Fails("an object without the names", Subgroups(*Selected(), &host), Plain(13), 13,
          "DataSelect.GetSubgroupData|Support.ResolveDatabase|orvSPCAnalysis6", "Type mismatch");
    Claim("it is not called", host.Calls() == 0 && host.References() == 1);
  }
  for (const auto& [result, text] :
       {std::pair{RPC_E_DISCONNECTED, "Failure 0x80010108"}, {E_FAIL, "Failure 0x80004005"}}) {
    HostDatabase gone(never);
    gone.LookUp(result);
    Fails("an object that is gone", Subgroups(*Selected(), &gone), result, result,
          "DataSelect.GetSubgroupData|Support.ResolveDatabase|orvSPCAnalysis6", text);
    const auto rules = Made<IRuleDef>(L"orvEngine.RuleDef", IID_IRuleDef);
    VARIANT_BOOL read = VARIANT_FALSE;
    Fails("an object that is gone, to the engine", rules->Read(&gone, 0, &read), result, result,
          "orvEngine", text);
    Claim("it is not called", gone.Calls() == 0 && gone.References() == 1);
  }

  const auto inner = Made<IDatabase>(L"orvEngine.Database", IID_IDatabase);
  const Text path("sample.db");
  inner->Open(path.text);
  for (const WORD way : {WORD{DISPATCH_METHOD}, WORD{DISPATCH_PROPERTYGET}}) {
    HostDatabase host([&](DISPID id, std::int32_t argument, VARIANT& value, EXCEPINFO&) {
      long given = 0;
      id == 1 ? inner->get_ConnectionHandle(&given) : inner->DatabaseValue(argument, &given);
      return Gives(value, static_cast<std::int32_t>(given));
    });
    host.Ways(way);
    Claim("functions or properties alone are enough: " + std::to_string(way),
          SUCCEEDED(Subgroups(*Selected(), &host)) && host.Calls() > 0);
  }
  HostDatabase neither(never);
  neither.Ways(0);
  Fails("neither function nor property", Subgroups(*Selected(), &neither), Plain(438), 438,
        "DataSelect.GetSubgroupData|orvSPCAnalysis6", "Failure 0x80020003");
}

// Values by reference, as compiled hosts and scripts give variables.
void References() {
  const auto row = Made<ISpecLim>(L"orvEngine.SpecLim", IID_ISpecLim);
  const Text column("F_USL");
  double number = 2.75;
  DATE date = 45000.5;
  Text text("w\u00f6rds");
  LONG whole = 7;
  VARIANT inner;
  V_VT(&inner) = VT_R8;
  V_R8(&inner) = -0.125;
  VARIANT given[5], found;
  V_VT(&given[0]) = VT_R8 | VT_BYREF;
  V_R8REF(&given[0]) = &number;
  V_VT(&given[1]) = VT_DATE | VT_BYREF;
  V_DATEREF(&given[1]) = &date;
  V_VT(&given[2]) = VT_BSTR | VT_BYREF;
  V_BSTRREF(&given[2]) = &text.text;
  V_VT(&given[3]) = VT_I4 | VT_BYREF;
  V_I4REF(&given[3]) = &whole;
  V_VT(&given[4]) = VT_VARIANT | VT_BYREF;
  V_VARIANTREF(&given[4]) = &inner;
  for (VARIANT& value : given) {
    const auto type = static_cast<VARTYPE>(V_VT(&value) & ~VT_BYREF);
    const std::string name = "of type " + std::to_string(type);
    VariantInit(&found);
    Claim("a value by reference is taken, " + name, SUCCEEDED(row->put_Value(column.text, value)));
    Claim("and given, " + name, SUCCEEDED(row->get_Value(column.text, &found)));
    const VARTYPE expected = type == VT_VARIANT ? VARTYPE{VT_R8} : type;
    bool same = V_VT(&found) == expected;
    if (same && expected == VT_R8) same = V_R8(&found) == (type == VT_R8 ? 2.75 : -0.125);
    if (same && expected == VT_DATE) same = V_DATE(&found) == 45000.5;
    if (same && expected == VT_I4) same = V_I4(&found) == 7;
    if (same && expected == VT_BSTR)
      same = Utf8({V_BSTR(&found), SysStringLen(V_BSTR(&found))}) == "w\u00f6rds";
    Claim("with type and value, " + name, same);
    VariantClear(&found);
  }
  Claim("what was lent stays", number == 2.75 && text.Utf8() == "w\u00f6rds");

  VARIANT nothing;
  V_VT(&nothing) = VT_DISPATCH;
  V_DISPATCH(&nothing) = nullptr;
  Fails("Nothing in a cell", row->put_Value(column.text, nothing), Plain(13), 13, "orvEngine",
        "Type mismatch");

  const auto trimmer = Made<ITextTrimmer>(L"orvEngine.TextTrimmer", IID_ITextTrimmer);
  Fails("no text at all", trimmer->TrimFixedString(nullptr), E_POINTER, E_POINTER, "orvEngine",
        "Missing argument");
  BSTR none = nullptr;
  Claim("an empty text is trimmed", SUCCEEDED(trimmer->TrimFixedString(&none)));
  Claim("and stays empty", SysStringLen(none) == 0);
  SysFreeString(none);
}

// What is put into limit tables besides the four types of their cells.
void Cell() {
  const auto row = Made<ISpecLim>(L"orvEngine.SpecLim", IID_ISpecLim);
  const Text column("F_USL");
  const auto becomes = [&](const std::string& what, VARIANT given, VARTYPE type, double number) {
    VARIANT found;
    VariantInit(&found);
    Claim(what + " is taken", SUCCEEDED(row->put_Value(column.text, given)));
    Claim(what + " is given", SUCCEEDED(row->get_Value(column.text, &found)));
    Claim(what + " keeps its value",
          V_VT(&found) == type && (type == VT_I4 ? V_I4(&found) : V_R8(&found)) == number);
    VariantClear(&found);
  };
  VARIANT value;
  VariantInit(&value);
  becomes("nothing", value, VT_I4, 0);
  V_VT(&value) = VT_BOOL;
  V_BOOL(&value) = VARIANT_TRUE;
  becomes("True", value, VT_I4, -1);
  V_VT(&value) = VT_CY;
  V_CY(&value).int64 = 27500;
  becomes("Currency", value, VT_R8, 2.75);
  VarDecFromR8(-0.125, &V_DECIMAL(&value));
  V_VT(&value) = VT_DECIMAL;  // which lies in the first bytes of the decimal
  becomes("Decimal", value, VT_R8, -0.125);
  V_VT(&value) = VT_I8;
  V_I8(&value) = -7;
  becomes("a small 64-bit integer", value, VT_I4, -7);
  V_I8(&value) = 5000000000;
  becomes("a large 64-bit integer", value, VT_R8, 5e9);
  V_VT(&value) = VT_UI8;
  becomes("a large unsigned 64-bit integer", value, VT_R8, 5e9);
  V_VT(&value) = VT_UI4;
  V_UI4(&value) = 4000000000;
  becomes("a large unsigned integer", value, VT_R8, 4e9);

  const auto select = Selected();
  V_VT(&value) = VT_NULL;
  Fails("Null", row->put_Value(column.text, value), Plain(13), 13, "orvEngine", "Type mismatch");
  V_VT(&value) = VT_DISPATCH;
  V_DISPATCH(&value) = select.get();
  Fails("an object", row->put_Value(column.text, value), Plain(13), 13, "orvEngine",
        "Type mismatch");
  V_VT(&value) = VT_ARRAY | VT_I4;
  V_ARRAY(&value) = SafeArrayCreateVector(VT_I4, 0, 1);
  Fails("an array", row->put_Value(column.text, value), Plain(13), 13, "orvEngine",
        "Type mismatch");
  VariantClear(&value);
}

// The DLLs say that they can go only when nothing of them is held.
void Lifetime() {
  const auto can = [](const wchar_t* dll) { return CanUnload(dll); };
  SetErrorInfo(0, nullptr);
  Claim("nothing is left before", can(L"orvSPCAnalysis6.dll") == S_OK);
  {
    const auto select = Selected();
    Claim("an object holds the DLL", can(L"orvSPCAnalysis6.dll") == S_FALSE);
    std::shared_ptr<IDataSelectDescriptors> child;
    {
      const auto parent = Selected();
      child = Got<IDataSelectDescriptors>([&](auto** out) { return parent->get_Descriptors(out); });
    }
    long count = -1;
    Claim("a child outlives its parent", SUCCEEDED(child->get_Count(&count)) && count == 0);
  }
  IClassFactory* factory = nullptr;
  CoGetClassObject(CLSID_DataSelect, CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory,
                   reinterpret_cast<void**>(&factory));
  Claim("there is a class factory", factory != nullptr);
  if (factory != nullptr) {
    factory->LockServer(TRUE);
    factory->Release();
    Claim("a lock holds the DLL", can(L"orvSPCAnalysis6.dll") == S_FALSE);
    CoGetClassObject(CLSID_DataSelect, CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory,
                     reinterpret_cast<void**>(&factory));
    factory->LockServer(FALSE);
    factory->Release();
  }
  Claim("nothing is left behind", can(L"orvSPCAnalysis6.dll") == S_OK);
  Claim("nothing of the engine either", can(L"orvEngine.dll") == S_OK);
}

// Runs tests on a thread with an apartment of its own, the only one: when it ends, COM gives the
// DLLs up, and then the thread drops what they kept for it.
void Within(const std::function<void()>& tests) {
  std::thread([&] {
    const Apartment apartment;
    tests();
  }).join();
}

// An object of another class, late bound. The last test: Wine leaves a reference to the arguments
// when one of them is refused.
void LateBound() {
  const auto analysis = Made<ICCAnalysis>(L"orvSPCAnalysis6.CCAnalysis", IID_ICCAnalysis);
  const auto database = Made<IDatabase>(L"orvEngine.Database", IID_IDatabase);
  const auto select = Selected();
  wchar_t name[] = L"AnalyzeDataSelect";
  wchar_t* names = name;
  DISPID id = 0;
  Claim("the member is known by name",
        SUCCEEDED(analysis->GetIDsOfNames(IID_NULL, &names, 1, 0, &id)));
  VARIANT arguments[3], result;
  VariantInit(&result);
  for (auto& argument : arguments) {  // the last one first
    V_VT(&argument) = VT_DISPATCH;
    V_DISPATCH(&argument) = select.get();
  }
  V_DISPATCH(&arguments[2]) = database.get();
  DISPPARAMS parameters{arguments, nullptr, 3, 0};
  Claim("another class late bound is a type mismatch",
        analysis->Invoke(id, IID_NULL, 0, DISPATCH_METHOD, &parameters, &result, nullptr,
                         nullptr) == DISP_E_TYPEMISMATCH);
}

template <class Analysis, class Processing, class Results>
HRESULT Analyzed(const wchar_t* analysis_id, const IID& analysis_interface,
                 const wchar_t* processing_id, const IID& processing_interface,
                 IDispatch* database) {
  const auto analysis = Made<Analysis>(analysis_id, analysis_interface);
  const auto processing = Made<Processing>(processing_id, processing_interface);
  Results* results = nullptr;
  const HRESULT result =
      analysis->AnalyzeDataSelect(database, Selected().get(), processing.get(), &results);
  if (results != nullptr) results->Release();
  return result;
}

void Missing() {
  const auto database = Made<IDatabase>(L"orvEngine.Database", IID_IDatabase);
  const Text path("sample.db");
  Claim("the database opens", SUCCEEDED(database->Open(path.text)));
  Fails("53",
        Analyzed<ICAAnalysis, ICAProcessing, ICAResults>(
            L"orvSPCAnalysis6.CAAnalysis", IID_ICAAnalysis, L"orvSPCAnalysis6.CAProcessing",
            IID_ICAProcessing, database.get()),
        Plain(53), 53, "CAAnalysis.AnalyzeDataSelect|CAAnalysis.AnalyzeDS|orwCapAna6.dll",
        "File not found: orwCapAna6.dll (Windows error 126)");
  Fails("453",
        Analyzed<IPAAnalysis, IPAProcessing, IPAResults>(
            L"orvSPCAnalysis6.PAAnalysis", IID_IPAAnalysis, L"orvSPCAnalysis6.PAProcessing",
            IID_IPAProcessing, database.get()),
        Plain(453), 453, "PAAnalysis.AnalyzeDataSelect|PAAnalysis.AnalyzeDS|orwPareto6.dll",
        "Function not found: VLXPAR_PROC in orwPareto6.dll");
  Claim("the other libraries work",
        SUCCEEDED((Analyzed<ICCAnalysis, ICCProcessing, ICCResults>(
            L"orvSPCAnalysis6.CCAnalysis", IID_ICCAnalysis, L"orvSPCAnalysis6.CCProcessing",
            IID_ICCProcessing, database.get()))));
}

}  // namespace

}  // namespace orvspc::windows::tests

int main(int count, char** arguments) {
  using namespace orvspc::windows::tests;
  if (count == 2 && std::strcmp(arguments[1], "missing") == 0) {
    Within(Missing);
  } else {
    Within([] {
      Messages();
      Numbers();
      Arrays();
      Cells();
      Cell();
      FilterArrays();
      Enumerations();
      UnknownHandle();
      HostObjects();
      HostWords();
      HostNames();
      References();
      Classes();
      Lifetime();
    });
    // Another one later finds everything as it should be.
    Within(Messages);
    Within(LateBound);
  }
  std::printf("%d of %d claims hold\n", claims - failed_claims, claims);
  return failed_claims == 0 && claims > 0 ? 0 : 1;
}
