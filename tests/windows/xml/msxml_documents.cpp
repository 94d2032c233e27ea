// SPDX-License-Identifier: Apache-2.0
#include <windows.h>
// Needs windows.h before it.
#include <objbase.h>

#include "host/windows/com/ServerTable.h"
#include "host/windows/msxml/XmlDocument.h"
#include "tests/windows/xml/Documents.h"

// A program is no server, but failures of COM objects are those of one.
namespace orvspc::windows::com {

const Server kServer{L"xml", &GUID_NULL, 0, 0, {}};
void StartServer() {}
void StopServer() noexcept {}

}  // namespace orvspc::windows::com

namespace orvspc::windows::tests {

Documents::Documents() { CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); }
Documents::~Documents() { CoUninitialize(); }

std::shared_ptr<platform::XmlDocument> Documents::Make() { return msxml::MakeXmlDocument(); }

}  // namespace orvspc::windows::tests
