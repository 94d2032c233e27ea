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
#include <string>
#include <vector>

#include "tests/windows/client/Com.h"

namespace orvspc::windows::tests {

namespace {

// Not in the libraries of every compiler.
constexpr GUID kVbScript = {0xB54F3741, 0x5B07, 0x11CF, {0xA4, 0xB0, 0, 0xAA, 0, 0x4A, 0x55, 0xE8}};
constexpr GUID kScript = {0xBB1A2AE1, 0xA4F9, 0x11CF, {0x8F, 0x20, 0, 0x80, 0x5F, 0x2C, 0xD0, 0x64}};
constexpr GUID kSite = {0xDB01A1E3, 0xA42B, 0x11CF, {0x8F, 0x20, 0, 0x80, 0x5F, 0x2C, 0xD0, 0x64}};
#ifdef _WIN64
constexpr GUID kParse = {
    0xC7EF7658, 0xE1EE, 0x480E, {0x97, 0xEA, 0xD5, 0x2C, 0xB4, 0xD7, 0x6D, 0x17}};
using Parser = IActiveScriptParse64;
using Cookie = DWORDLONG;
#else
constexpr GUID kParse = {
    0xBB1A2AE2, 0xA4F9, 0x11CF, {0x8F, 0x20, 0, 0x80, 0x5F, 0x2C, 0xD0, 0x64}};
using Parser = IActiveScriptParse32;
using Cookie = DWORD;
#endif

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
  STDMETHODIMP OnEnterScript() override { return S_OK; }
  STDMETHODIMP OnLeaveScript() override { return S_OK; }

  STDMETHODIMP OnScriptError(IActiveScriptError* error) override {
    failed_ = true;
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
    std::fprintf(stderr, "%s, column %d: %08lx %s: %s\n",
                 Place(sources_, static_cast<int>(line)).c_str(), static_cast<int>(column),
                 static_cast<unsigned long>(info.scode), source.c_str(), description.c_str());
    return S_OK;
  }

 private:
  const std::vector<Source>& sources_;
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
    sources.push_back(
        {file, static_cast<int>(std::count(each.begin(), each.end(), '\n'))});
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
  done = done && SUCCEEDED(parser->ParseScriptText(text.c_str(), nullptr, nullptr, nullptr,
                                                   Cookie{0}, 0, SCRIPTTEXT_ISVISIBLE, nullptr,
                                                   &info));
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
  const bool done = Run({arguments + 1, arguments + count});
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
