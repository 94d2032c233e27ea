// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "platform/Dom.h"

namespace orvspc::windows::msxml {

// An empty document of msxml3, for a thread that has initialised COM. Without msxml3 a failure 429.
std::shared_ptr<platform::XmlDocument> MakeXmlDocument();

}  // namespace orvspc::windows::msxml
