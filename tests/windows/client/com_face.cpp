// SPDX-License-Identifier: Apache-2.0
// The face of the component: its interfaces, called by their vtables.
#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "host/windows/typelib/orvEngine.h"
#include "host/windows/typelib/orvSPCAnalysis6.h"
#include "tests/windows/client/Com.h"
#include "tests/windows/client/Face.h"
#include "tests/windows/client/Session.h"

namespace orvspc::windows::tests {

namespace {

std::shared_ptr<void> Held(IUnknown* object) { return Owned(object); }

template <class I>
I* The(const Object& object) {
  return static_cast<I*>(static_cast<IUnknown*>(object.pointer.get()));
}

template <class I>
I* Interface(const Value& value) {
  return The<I>(As<Object>(value));
}
IDispatch* Dispatch(const Value& value) { return Interface<IDispatch>(value); }

template <class I>
void Check(HRESULT result, I*, REFIID) {
  if (FAILED(result)) {
    auto failure = FailureOf(result);
    throw Failed{failure.number, std::move(failure.source), std::move(failure.description)};
  }
}

template <class T>
SAFEARRAY* MadeArray(VARTYPE type, const std::vector<T>& values) {
  SAFEARRAY* array = SafeArrayCreateVector(type, 0, static_cast<ULONG>(values.size()));
  void* data = nullptr;
  SafeArrayAccessData(array, &data);
  std::memcpy(data, values.data(), values.size() * sizeof(T));
  SafeArrayUnaccessData(array);
  return array;
}

template <class T>
std::vector<T> TakenArray(SAFEARRAY* array) {
  if (array == nullptr || SafeArrayGetDim(array) == 0) return {};
  LONG lower = 0, upper = -1;
  SafeArrayGetLBound(array, 1, &lower);
  SafeArrayGetUBound(array, 1, &upper);
  if (lower != 0) throw std::logic_error("an array that is not based at 0");
  std::vector<T> values(static_cast<std::size_t>(upper + 1));
  void* data = nullptr;
  SafeArrayAccessData(array, &data);
  std::memcpy(values.data(), data, values.size() * sizeof(T));
  SafeArrayUnaccessData(array);
  return values;
}

// A variant for the length of a call.
struct Variant {
  explicit Variant(const Value& from) {
    VariantInit(&value);
    if (const auto* number = std::get_if<std::int32_t>(&from)) {
      V_VT(&value) = VT_I4;
      V_I4(&value) = *number;
    } else if (const auto* real = std::get_if<double>(&from)) {
      V_VT(&value) = VT_R8;
      V_R8(&value) = *real;
    } else if (const auto* text = std::get_if<std::string>(&from)) {
      const auto wide = Wide(*text);
      V_VT(&value) = VT_BSTR;
      V_BSTR(&value) = SysAllocStringLen(wide.data(), static_cast<UINT>(wide.size()));
    } else if (const auto* longs = std::get_if<Longs>(&from)) {
      V_VT(&value) = VT_ARRAY | VT_I4;
      V_ARRAY(&value) = MadeArray(VT_I4, *longs);
    } else if (const auto* doubles = std::get_if<Doubles>(&from)) {
      V_VT(&value) = VT_ARRAY | VT_R8;
      V_ARRAY(&value) = MadeArray(VT_R8, *doubles);
    }
  }
  Variant(const Variant&) = delete;
  Variant& operator=(const Variant&) = delete;
  ~Variant() { VariantClear(&value); }
  VARIANT value;
};

// What a call gave; texts, variants and interfaces are taken over.
Value Taken(long value) { return static_cast<std::int32_t>(value); }
Value Taken(double value) { return value; }
Value Taken(VARIANT_BOOL value) {
  if (value != VARIANT_TRUE && value != VARIANT_FALSE)
    throw std::logic_error("a boolean that is neither -1 nor 0");
  return value == VARIANT_TRUE;
}
Value Taken(BSTR value) {
  std::string text = Utf8({value, SysStringLen(value)});
  SysFreeString(value);
  return text;
}
Value Taken(VARIANT& value) {
  Value taken = Empty{};
  switch (V_VT(&value)) {
    case VT_EMPTY:
      break;
    case VT_I4:
      taken = static_cast<std::int32_t>(V_I4(&value));
      break;
    case VT_R8:
      taken = V_R8(&value);
      break;
    case VT_DATE:
      taken = V_DATE(&value);
      break;
    case VT_BSTR:
      taken = Utf8({V_BSTR(&value), SysStringLen(V_BSTR(&value))});
      break;
    case VT_ARRAY | VT_I4:
      taken = TakenArray<std::int32_t>(V_ARRAY(&value));
      break;
    case VT_ARRAY | VT_R8:
      taken = TakenArray<double>(V_ARRAY(&value));
      break;
    default:
      throw std::logic_error("a variant of the type " + std::to_string(V_VT(&value)));
  }
  VariantClear(&value);
  return taken;
}
// An object that is given untyped is asked for its interface.
template <class I, class Given>
Value Taken(Given* object, REFIID id, std::string_view type) {
  if constexpr (std::is_same_v<I, Given>) return Object{type, Held(object)};
  const auto owned = Owned(object);
  I* typed = nullptr;
  if (object != nullptr && FAILED(object->QueryInterface(id, reinterpret_cast<void**>(&typed))))
    throw std::logic_error("an object of another class than " + std::string(type));
  return Object{type, Held(typed)};
}
template <class Enumeration>
requires std::is_enum_v<Enumeration> Value Taken(Enumeration value) {
  return static_cast<std::int32_t>(value);
}

// The record and the array of a flat selection.
struct Flat {
  explicit Flat(const std::vector<Value>& arguments) {
    const auto fields = As<Longs>(arguments[0]);
    std::memcpy(&info, fields.data(), std::min(sizeof info, fields.size() * sizeof(std::int32_t)));
    const auto cells = As<Longs>(arguments[1]);
    if (!cells.empty()) filter = MadeArray(VT_I4, cells);
  }
  Flat(const Flat&) = delete;
  Flat& operator=(const Flat&) = delete;
  ~Flat() {
    if (filter != nullptr) SafeArrayDestroy(filter);
  }
  API_DSInfo info{};
  SAFEARRAY* filter = nullptr;
};

Value ByHand_DataSelect_API_GetData(const Object& object, std::vector<Value>& arguments) {
  Flat flat(arguments);
  VARIANT_BOOL result{};
  auto* const select = The<IDataSelect>(object);
  Check(select->API_GetData(&flat.info, &flat.filter, &result), select, IID_IDataSelect);
  Longs fields(sizeof flat.info / sizeof(std::int32_t));
  std::memcpy(fields.data(), &flat.info, sizeof flat.info);
  arguments[0] = fields;
  arguments[1] = TakenArray<std::int32_t>(flat.filter);
  return Taken(result);
}

Value ByHand_DataSelect_API_SetData(const Object& object, std::vector<Value>& arguments) {
  Flat flat(arguments);
  VARIANT_BOOL result{};
  auto* const select = The<IDataSelect>(object);
  Check(select->API_SetData(&flat.info, &flat.filter, &result), select, IID_IDataSelect);
  return Taken(result);
}

Value ByHand_DataSelectDescriptors_NewEnum(const Object& object, std::vector<Value>&) {
  IUnknown* unknown = nullptr;
  auto* const descriptors = The<IDataSelectDescriptors>(object);
  Check(descriptors->get_NewEnum(&unknown), descriptors, IID_IDataSelectDescriptors);
  const auto owned = Owned(unknown);
  IEnumVARIANT* enumerator = nullptr;
  Check(unknown->QueryInterface(IID_IEnumVARIANT, reinterpret_cast<void**>(&enumerator)), unknown,
        IID_IEnumVARIANT);
  const auto walked = Owned(enumerator);
  Objects found;
  VARIANT next;
  VariantInit(&next);
  ULONG fetched = 0;
  while (enumerator->Next(1, &next, &fetched) == S_OK && fetched == 1) {
    IDataSelectDescriptor* descriptor = nullptr;
    if (V_VT(&next) != VT_DISPATCH) throw std::logic_error("an enumerator of something else");
    V_DISPATCH(&next)->QueryInterface(IID_IDataSelectDescriptor,
                                      reinterpret_cast<void**>(&descriptor));
    found.push_back({"DataSelectDescriptor", Held(descriptor)});
    VariantClear(&next);
  }
  return found;
}

// The argument is the text of the node.
Value ByHand_CCResults_SetXMLNode(const Object& object, std::vector<Value>& arguments) {
  CLSID id;
  Check(CLSIDFromProgID(L"Msxml2.DOMDocument.3.0", &id), The<ICCResults>(object), IID_ICCResults);
  IDispatch* document = nullptr;
  Check(CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch,
                         reinterpret_cast<void**>(&document)),
        The<ICCResults>(object), IID_ICCResults);
  const auto owned = Owned(document);
  const auto called = [&](const wchar_t* name, WORD how, DISPPARAMS& parameters) {
    DISPID number = 0;
    auto* spelled = const_cast<wchar_t*>(name);
    VARIANT result;
    VariantInit(&result);
    Check(document->GetIDsOfNames(IID_NULL, &spelled, 1, 0, &number), document, IID_IDispatch);
    Check(document->Invoke(number, IID_NULL, 0, how, &parameters, &result, nullptr, nullptr),
          document, IID_IDispatch);
    return result;
  };
  Variant text(arguments[0]);
  DISPPARAMS one{&text.value, nullptr, 1, 0}, none{nullptr, nullptr, 0, 0};
  called(L"loadXML", DISPATCH_METHOD, one);
  const VARIANT node = called(L"documentElement", DISPATCH_PROPERTYGET, none);
  const auto element = Owned(V_DISPATCH(&node));
  VARIANT_BOOL result{};
  auto* const results = The<ICCResults>(object);
  Check(results->SetXMLNode(element.get(), &result), results, IID_ICCResults);
  return Taken(result);
}

const Member kMembers[] = {
#include <members/com_members.inc>
};

struct Creator {
  std::string_view type;
  const char* prog_id;
  const IID* interface_id;
};

const Creator kCreators[] = {
#include <members/com_creators.inc>
};

}  // namespace

std::span<const Member> Members() { return kMembers; }

Object Create(std::string_view type) {
  for (const auto& creator : kCreators) {
    if (creator.type != type) continue;
    CLSID id;
    IUnknown* object = nullptr;
    if (FAILED(CLSIDFromProgID(Wide(creator.prog_id).c_str(), &id)) ||
        FAILED(CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, *creator.interface_id,
                                reinterpret_cast<void**>(&object))))
      break;
    return {type, Held(object)};
  }
  throw Failed{429, "", ""};
}

bool Same(const Object& left, const Object& right) {
  // By the rule of COM: the identity of an object is its IUnknown.
  const auto identity = [](const Object& object) {
    IUnknown* unknown = nullptr;
    if (object)
      The<IUnknown>(object)->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&unknown));
    return Owned(unknown);
  };
  return identity(left) == identity(right);
}

Session::Session() { CoInitialize(nullptr); }
Session::~Session() { CoUninitialize(); }

std::string Session::Left() const {
  // A failure that nobody asked for would keep its text alive.
  SetErrorInfo(0, nullptr);
  std::string left;
  for (const char* dll : {"orvSPCAnalysis6.dll", "orvEngine.dll"})
    if (CanUnload(Wide(dll).c_str()) != S_OK) left += std::string(dll) + " still has objects\n";
  return left;
}

Value Invoke(const Member& member, const Object& object, std::vector<Value>& arguments) {
  return member.call(object, arguments);
}

}  // namespace orvspc::windows::tests
