// SPDX-License-Identifier: Apache-2.0
#include "host/windows/external/objects.h"

#include "host/windows/com/failures.h"
#include "host/windows/com/text.h"

namespace orvspc::windows::external {

std::string PathOfProgram() {
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD size = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    if (size < path.size()) return com::FromWide({path.data(), size});
    path.resize(2 * path.size());
  }
}

ErrorLog::ErrorLog(std::string_view name)
    : object_(com::Create<IDispatch>({com::ToWide(name).c_str()}).Get()) {}

void ErrorLog::Log(const std::string& Procedure, std::int32_t Number,
                   const std::string& Description, const std::string& Source,
                   const std::string& Application) {
  constexpr HRESULT kNoMember = DISP_E_UNKNOWNNAME;
  const auto log = object_.Find(u"Log");
  if (!log) com::ThrowFailure(kNoMember, object_.Object(), IID_IDispatch);
  const com::Text texts[] = {com::Text(Procedure), com::Text(Description), com::Text(Source),
                             com::Text(Application)};
  const auto text = [&](std::size_t index) {
    VARIANT value;
    VariantInit(&value);
    value.vt = VT_BSTR;
    value.bstrVal = texts[index].Get();
    return value;
  };
  com::Value number(Number);
  com::Value answer;
  object_.Invoke(*log, {DISPATCH_METHOD}, {text(3), text(2), text(1), number.Get(), text(0)},
                 answer);
}

}  // namespace orvspc::windows::external
