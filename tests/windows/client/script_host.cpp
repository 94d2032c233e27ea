// SPDX-License-Identifier: Apache-2.0
// Runs VBScript files, one program text out of all of them, in the order given:
//
//   script_host FILE...
//
// Unlike the script hosts of the system it says why a script does not run, and looks at the end
// whether every object of the component and its engine was released.
//
// Exit status 0: the script came to its end and nothing is left. 1: a syntax or run-time error,
// which standard error has with file and line. 3: objects are left.
#include <windows.h>

#include <activscp.h>
#include <oaidl.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "host/windows/typelib/orvEngine.h"
#include "host/windows/typelib/orvSPCAnalysis6.h"
#include "tests/windows/client/Com.h"

namespace orvspc::windows::tests {

namespace {

// Not in the libraries of every compiler.
constexpr GUID kVbScript = {0xB54F3741, 0x5B07, 0x11CF, {0xA4, 0xB0, 0, 0xAA, 0, 0x4A, 0x55, 0xE8}};
constexpr GUID kScript = {
    0xBB1A2AE1, 0xA4F9, 0x11CF, {0x8F, 0x20, 0, 0x80, 0x5F, 0x2C, 0xD0, 0x64}};
constexpr GUID kSite = {0xDB01A1E3, 0xA42B, 0x11CF, {0x8F, 0x20, 0, 0x80, 0x5F, 0x2C, 0xD0, 0x64}};
#ifdef _WIN64
constexpr GUID kParse = {
    0xC7EF7658, 0xE1EE, 0x480E, {0x97, 0xEA, 0xD5, 0x2C, 0xB4, 0xD7, 0x6D, 0x17}};
using Parser = IActiveScriptParse64;
using Cookie = DWORDLONG;
#else
constexpr GUID kParse = {0xBB1A2AE2, 0xA4F9, 0x11CF, {0x8F, 0x20, 0, 0x80, 0x5F, 0x2C, 0xD0, 0x64}};
using Parser = IActiveScriptParse32;
using Cookie = DWORD;
#endif

// Makes what another factory makes.
class PassingFactory : public IClassFactory {
 public:
  explicit PassingFactory(IClassFactory* factory) : factory_(Owned(factory)) {}
  virtual ~PassingFactory() = default;
  STDMETHODIMP QueryInterface(REFIID id, void** object) override {
    *object = id == IID_IUnknown || id == IID_IClassFactory ? this : nullptr;
    return *object == nullptr ? E_NOINTERFACE : S_OK;
  }
  // Lives until the end, whoever holds it.
  STDMETHODIMP_(ULONG) AddRef() override { return 2; }
  STDMETHODIMP_(ULONG) Release() override { return 1; }
  STDMETHODIMP CreateInstance(IUnknown* outer, REFIID id, void** object) override {
    return factory_->CreateInstance(outer, id, object);
  }
  STDMETHODIMP LockServer(BOOL lock) override { return factory_->LockServer(lock); }
  void Forget() { factory_.reset(); }

 private:
  std::shared_ptr<IClassFactory> factory_;
};

// The VBScript of Wine keeps a reference to each class factory that its CreateObject used. That one
// must not be the component's, or it would seem to be in use for ever: while this lives, factories
// of ours stand in front of those of all classes that hosts can create.
class Factories {
 public:
  Factories() {
    for (const GUID* library : {&LIBID_orvSPCAnalysis6, &LIBID_orvEngine}) Add(*library);
  }
  Factories(const Factories&) = delete;
  Factories& operator=(const Factories&) = delete;
  ~Factories() {
    for (const DWORD cookie : cookies_) CoRevokeClassObject(cookie);
    for (const auto& factory : factories_) factory->Forget();
  }

 private:
  void Add(const GUID& id) {
    ITypeLib* loaded = nullptr;
    if (FAILED(LoadRegTypeLib(id, 6, 0, 0, &loaded))) return;
    const auto library = Owned(loaded);
    for (UINT i = 0; i < library->GetTypeInfoCount(); ++i) {
      ITypeInfo* info = nullptr;
      if (FAILED(library->GetTypeInfo(i, &info))) continue;
      const auto type = Owned(info);
      TYPEATTR* attributes = nullptr;
      if (FAILED(type->GetTypeAttr(&attributes))) continue;
      if (attributes->typekind == TKIND_COCLASS &&
          (attributes->wTypeFlags & TYPEFLAG_FCANCREATE) != 0)
        StandInFor(attributes->guid);
      type->ReleaseTypeAttr(attributes);
    }
  }

  void StandInFor(const GUID& id) {
    IClassFactory* factory = nullptr;
    if (FAILED(CoGetClassObject(id, CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory,
                                reinterpret_cast<void**>(&factory))))
      return;
    factories_.push_back(std::make_unique<PassingFactory>(factory));
    DWORD cookie = 0;
    if (SUCCEEDED(CoRegisterClassObject(id, factories_.back().get(), CLSCTX_INPROC_SERVER,
                                        REGCLS_MULTIPLEUSE, &cookie)))
      cookies_.push_back(cookie);
  }

  std::vector<std::unique_ptr<PassingFactory>> factories_;
  std::vector<DWORD> cookies_;
};

struct Source {
  std::string file;
  int lines;
};

// "file:line" of a line of the whole text.
std::string Place(const std::vector<Source>& sources, int line) {
  for (const auto& source : sources) {
    if (line < source.lines) return source.file + ":" + std::to_string(line + 1);
    line -= source.lines;
  }
  return "the end";
}

// What the engine calls. Lives on the stack, so references are not counted.
class Site : public IActiveScriptSite {
 public:
  explicit Site(const std::vector<Source>& sources) : sources_(sources) {}
  virtual ~Site() = default;
  bool Failed() const { return failed_; }

  STDMETHODIMP QueryInterface(REFIID id, void** object) override {
    *object = id == IID_IUnknown || id == kSite ? this : nullptr;
    return *object == nullptr ? E_NOINTERFACE : S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return 2; }
  STDMETHODIMP_(ULONG) Release() override { return 1; }

  STDMETHODIMP GetLCID(LCID* id) override {
    *id = MAKELCID(MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US), SORT_DEFAULT);
    return S_OK;
  }
  STDMETHODIMP GetItemInfo(LPCOLESTR, DWORD, IUnknown**, ITypeInfo**) override {
    return TYPE_E_ELEMENTNOTFOUND;
  }
  STDMETHODIMP GetDocVersionString(BSTR*) override { return E_NOTIMPL; }
  STDMETHODIMP OnScriptTerminate(const VARIANT*, const EXCEPINFO*) override { return S_OK; }
  STDMETHODIMP OnStateChange(SCRIPTSTATE) override { return S_OK; }
  STDMETHODIMP OnEnterScript() override {
    ++depth_;
    return S_OK;
  }
  STDMETHODIMP OnLeaveScript() override {
    --depth_;
    return S_OK;
  }

  STDMETHODIMP OnScriptError(IActiveScriptError* error) override {
    EXCEPINFO info{};
    DWORD context = 0;
    ULONG line = 0;
    LONG column = 0;
    error->GetExceptionInfo(&info);
    error->GetSourcePosition(&context, &line, &column);
    const auto text = [](BSTR each) {
      std::string utf8 = each == nullptr ? "" : Utf8({each, SysStringLen(each)});
      SysFreeString(each);
      return utf8;
    };
    const std::string source = text(info.bstrSource), description = text(info.bstrDescription);
    SysFreeString(info.bstrHelpFile);
    // In an object of the script that the component called: it goes on there.
    if (depth_ > 1) return S_FALSE;
    failed_ = true;
    std::fprintf(stderr, "%s, column %d: %08lx %s: %s\n",
                 Place(sources_, static_cast<int>(line)).c_str(), static_cast<int>(column),
                 static_cast<unsigned long>(info.scode), source.c_str(), description.c_str());
    return S_FALSE;
  }

 private:
  const std::vector<Source>& sources_;
  int depth_ = 0;  // of calls into the script
  bool failed_ = false;
};

std::wstring Read(const std::vector<std::string>& files, std::vector<Source>& sources) {
  std::string text;
  for (const auto& file : files) {
    std::ifstream in(file, std::ios::binary);
    if (!in) {
      std::fprintf(stderr, "%s: cannot be read\n", file.c_str());
      return {};
    }
    const std::string each{std::istreambuf_iterator<char>(in), {}};
    sources.push_back({file, static_cast<int>(std::count(each.begin(), each.end(), '\n'))});
    text += each;
  }
  return Wide(text);
}

bool Run(const std::vector<std::string>& files) {
  std::vector<Source> sources;
  const auto text = Read(files, sources);
  if (text.empty()) return false;
  IActiveScript* engine = nullptr;
  if (FAILED(CoCreateInstance(kVbScript, nullptr, CLSCTX_INPROC_SERVER, kScript,
                              reinterpret_cast<void**>(&engine)))) {
    std::fprintf(stderr, "there is no VBScript\n");
    return false;
  }
  const auto owned = Owned(engine);
  Parser* parser = nullptr;
  if (FAILED(engine->QueryInterface(kParse, reinterpret_cast<void**>(&parser)))) return false;
  const auto parses = Owned(parser);
  Site site(sources);
  EXCEPINFO info{};
  bool done = SUCCEEDED(engine->SetScriptSite(&site)) && SUCCEEDED(parser->InitNew());
  done =
      done && SUCCEEDED(parser->ParseScriptText(text.c_str(), nullptr, nullptr, nullptr, Cookie{0},
                                                0, SCRIPTTEXT_ISVISIBLE, nullptr, &info));
  // Runs the text, which was only read until now.
  done = done && SUCCEEDED(engine->SetScriptState(SCRIPTSTATE_STARTED));
  engine->Close();
  return done && !site.Failed();
}

}  // namespace

}  // namespace orvspc::windows::tests

int main(int count, char** arguments) {
  using namespace orvspc::windows::tests;
  const Apartment apartment;
  bool done = false;
  {
    const Factories factories;
    done = Run({arguments + 1, arguments + count});
  }
  SetErrorInfo(0, nullptr);
  CoFreeUnusedLibraries();
  int left = 0;
  for (const wchar_t* dll : {L"orvSPCAnalysis6.dll", L"orvEngine.dll"})
    if (CanUnload(dll) != S_OK) {
      std::fprintf(stderr, "%ls still has objects\n", dll);
      left = 3;
    }
  return done ? left : 1;
}
