// SPDX-License-Identifier: Apache-2.0
// Whatever is taken is written in a form that reads back as the same text.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "engine/dom/Dom.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto document = orvspc::engine::MakeXmlDocument();
  if (!document->LoadXml({reinterpret_cast<const char*>(data), size})) return 0;
  const std::string written = document->Xml(document->Root());
  if (!document->LoadXml(written)) std::abort();
  if (document->Xml(document->Root()) != written) std::abort();
  return 0;
}
