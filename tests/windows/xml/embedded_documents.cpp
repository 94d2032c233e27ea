// SPDX-License-Identifier: Apache-2.0
#include "engine/dom/Dom.h"
#include "tests/windows/xml/Documents.h"

namespace orvspc::windows::tests {

Documents::Documents() = default;
Documents::~Documents() = default;

std::shared_ptr<platform::XmlDocument> Documents::Make() { return engine::dom::MakeXmlDocument(); }

}  // namespace orvspc::windows::tests
