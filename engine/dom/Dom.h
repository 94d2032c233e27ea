// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "platform/Dom.h"

namespace orvspc::engine::dom {

// An empty document. Its nodes live in a few large blocks and are walked without recursion, so that
// neither many nodes nor deep ones cost stack; at most kMaxDepth levels of a text are taken.
std::shared_ptr<platform::XmlDocument> MakeXmlDocument();

}  // namespace orvspc::engine::dom
