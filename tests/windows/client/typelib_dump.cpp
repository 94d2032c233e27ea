// SPDX-License-Identifier: Apache-2.0
// typelib_dump FILE OUTPUT: what a type library says, in the order in which it says it. FILE is a
// .tlb, or a DLL with one as its resource.
#include <windows.h>

#include <oaidl.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#include "tests/windows/client/Com.h"

namespace orvspc::windows::tests {

namespace {

struct Refused {
  const char* what;
  HRESULT result;
};

void Need(HRESULT result, const char* what) {
  if (FAILED(result)) throw Refused{what, result};
}

std::string Taken(BSTR text) {
  std::string utf8 = text == nullptr ? "" : Utf8({text, SysStringLen(text)});
  SysFreeString(text);
  return utf8;
}

std::string Guid(const GUID& id) {
  wchar_t text[40];
  StringFromGUID2(id, text, 40);
  return Utf8(text);
}

std::string NameOf(ITypeInfo& type) {
  BSTR name = nullptr;
  Need(type.GetDocumentation(MEMBERID_NIL, &name, nullptr, nullptr, nullptr), "name");
  return Taken(name);
}

std::string NameOf(ITypeInfo& type, const TYPEDESC& description) {
  switch (description.vt) {
    case VT_I2:
      return "short";
    case VT_I4:
      return "long";
    case VT_INT:
      return "int";
    case VT_UI4:
      return "unsigned long";
    case VT_R8:
      return "double";
    case VT_DATE:
      return "date";
    case VT_BOOL:
      return "boolean";
    case VT_BSTR:
      return "string";
    case VT_VARIANT:
      return "variant";
    case VT_DISPATCH:
      return "object";
    case VT_UNKNOWN:
      return "unknown";
    case VT_HRESULT:
      return "hresult";
    case VT_VOID:
      return "void";
    case VT_PTR:
      return NameOf(type, *description.lptdesc) + "*";
    case VT_SAFEARRAY:
      return "array of " + NameOf(type, *description.lptdesc);
    case VT_USERDEFINED: {
      ITypeInfo* other = nullptr;
      Need(type.GetRefTypeInfo(description.hreftype, &other), "type");
      return NameOf(*Owned(other));
    }
    default:
      return "type " + std::to_string(description.vt);
  }
}

std::string Flags(unsigned value) {
  char text[16];
  std::snprintf(text, sizeof text, "%04x", value);
  return text;
}

std::string Value(const VARIANT& value) {
  if (V_VT(&value) == VT_I4) return std::to_string(V_I4(&value));
  if (V_VT(&value) == VT_I2) return std::to_string(V_I2(&value));
  if (V_VT(&value) == VT_BOOL) return V_BOOL(&value) == VARIANT_FALSE ? "false" : "true";
  return "a value of the type " + std::to_string(V_VT(&value));
}

void Function(ITypeInfo& type, UINT index, std::ostream& out) {
  FUNCDESC* function = nullptr;
  Need(type.GetFuncDesc(index, &function), "function");
  BSTR names[32] = {};
  UINT count = 0;
  Need(type.GetNames(function->memid, names, 32, &count), "names");
  const char* kind = function->invkind == INVOKE_PROPERTYGET      ? "get"
                     : function->invkind == INVOKE_PROPERTYPUT    ? "let"
                     : function->invkind == INVOKE_PROPERTYPUTREF ? "set"
                                                                  : "method";
  // Slots are counted behind those of IDispatch.
  const auto slot = static_cast<unsigned>(function->oVft) / sizeof(void*);
  out << "  " << (slot < 7 ? "outside" : std::to_string(slot - 7)) << " " << kind << " "
      << Taken(names[0]) << "(";
  for (int i = 0; i < function->cParams; ++i) {
    const auto& argument = function->lprgelemdescParam[i];
    const auto name = static_cast<UINT>(i) + 1;
    // A library has names for the arguments of a Get alone; the new value of a Let has none.
    const bool value = function->invkind != INVOKE_FUNC &&
                       function->invkind != INVOKE_PROPERTYGET && i + 1 == function->cParams;
    std::string word = name < count ? Taken(names[name]) : "";
    if (value) word = "value";
    out << (i == 0 ? "" : ", ") << word << ": " << NameOf(type, argument.tdesc);
    const unsigned flags = argument.paramdesc.wParamFlags;
    for (const auto& [bit, word] : {std::pair{PARAMFLAG_FIN, "in"},
                                    {PARAMFLAG_FOUT, "out"},
                                    {PARAMFLAG_FRETVAL, "result"},
                                    {PARAMFLAG_FOPT, "optional"}})
      if ((flags & static_cast<unsigned>(bit)) != 0) out << " " << word;
    if ((flags & PARAMFLAG_FHASDEFAULT) != 0)
      out << " = " << Value(argument.paramdesc.pparamdescex->varDefaultValue);
  }
  out << "): " << NameOf(type, function->elemdescFunc.tdesc) << " [" << function->memid << "]";
  if ((function->wFuncFlags & FUNCFLAG_FHIDDEN) != 0) out << " hidden";
  if ((function->wFuncFlags & FUNCFLAG_FRESTRICTED) != 0) out << " restricted";
  out << "\n";
  type.ReleaseFuncDesc(function);
}

void Variable(ITypeInfo& type, UINT index, std::ostream& out) {
  VARDESC* variable = nullptr;
  Need(type.GetVarDesc(index, &variable), "variable");
  BSTR name = nullptr;
  UINT count = 0;
  Need(type.GetNames(variable->memid, &name, 1, &count), "name");
  out << "  " << Taken(name);
  if (variable->varkind == VAR_CONST)
    out << " = " << Value(*variable->lpvarValue);
  else
    out << ": " << NameOf(type, variable->elemdescVar.tdesc);
  out << "\n";
  type.ReleaseVarDesc(variable);
}

void Implemented(ITypeInfo& type, UINT index, std::ostream& out) {
  HREFTYPE reference = 0;
  INT flags = 0;
  ITypeInfo* other = nullptr;
  Need(type.GetRefTypeOfImplType(index, &reference), "interface");
  Need(type.GetImplTypeFlags(index, &flags), "flags");
  Need(type.GetRefTypeInfo(reference, &other), "interface");
  out << "  " << ((flags & IMPLTYPEFLAG_FDEFAULT) != 0 ? "default " : "") << NameOf(*Owned(other))
      << "\n";
}

// The interface with its own vtable behind a dual one.
std::shared_ptr<ITypeInfo> WithVtable(const std::shared_ptr<ITypeInfo>& type,
                                      const TYPEATTR& attributes) {
  HREFTYPE reference = 0;
  ITypeInfo* other = nullptr;
  if (attributes.typekind != TKIND_DISPATCH || (attributes.wTypeFlags & TYPEFLAG_FDUAL) == 0 ||
      FAILED(type->GetRefTypeOfImplType(static_cast<UINT>(-1), &reference)) ||
      FAILED(type->GetRefTypeInfo(reference, &other)))
    return type;
  return Owned(other);
}

void Type(const std::shared_ptr<ITypeInfo>& dispatch, std::ostream& out) {
  TYPEATTR* seen = nullptr;
  Need(dispatch->GetTypeAttr(&seen), "attributes");
  const auto type = WithVtable(dispatch, *seen);
  TYPEATTR* attributes = nullptr;
  Need(type->GetTypeAttr(&attributes), "attributes");
  const char* kinds[] = {"enum",          "record", "module", "interface",
                         "dispinterface", "class",  "alias",  "union"};
  out << "\n"
      << kinds[seen->typekind] << " " << NameOf(*dispatch) << " " << Guid(seen->guid) << " flags "
      << Flags(seen->wTypeFlags);
  if (seen->typekind == TKIND_RECORD) out << " size " << seen->cbSizeInstance;
  out << "\n";
  if (seen->typekind == TKIND_COCLASS)
    for (UINT i = 0; i < seen->cImplTypes; ++i) Implemented(*dispatch, i, out);
  for (UINT i = 0; i < attributes->cFuncs; ++i) Function(*type, i, out);
  for (UINT i = 0; i < attributes->cVars; ++i) Variable(*type, i, out);
  type->ReleaseTypeAttr(attributes);
  dispatch->ReleaseTypeAttr(seen);
}

std::string Dumped(const std::string& file) {
  ITypeLib* library = nullptr;
  Need(LoadTypeLibEx(Wide(file).c_str(), REGKIND_NONE, &library), "library");
  const auto owned = Owned(library);
  TLIBATTR* attributes = nullptr;
  Need(library->GetLibAttr(&attributes), "attributes");
  BSTR name = nullptr, help = nullptr;
  Need(library->GetDocumentation(-1, &name, &help, nullptr, nullptr), "name");
  std::ostringstream out;
  out << "library " << Taken(name) << " " << Guid(attributes->guid) << " version "
      << attributes->wMajorVerNum << "." << attributes->wMinorVerNum << ": " << Taken(help) << "\n";
  library->ReleaseTLibAttr(attributes);
  for (UINT i = 0; i < library->GetTypeInfoCount(); ++i) {
    ITypeInfo* type = nullptr;
    Need(library->GetTypeInfo(i, &type), "type");
    Type(Owned(type), out);
  }
  return out.str();
}

}  // namespace

}  // namespace orvspc::windows::tests

int main(int count, char** arguments) {
  using namespace orvspc::windows::tests;
  if (count != 3) return 2;
  const Apartment apartment;
  try {
    const auto text = Dumped(arguments[1]);
    return std::ofstream(arguments[2], std::ios::binary) << text << std::flush ? 0 : 1;
  } catch (const Refused& refused) {
    std::fprintf(stderr, "%s: %08lx\n", refused.what, static_cast<unsigned long>(refused.result));
    return 1;
  }
}
