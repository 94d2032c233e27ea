// SPDX-License-Identifier: Apache-2.0
#include "host/render/core/Names.h"

#include "host/render/core/PlainText.h"
#include "platform/Enumerations.h"
#include "select/DataSelect.h"

namespace orvspc::render {

std::string ShownName(const Names& names, NameKind kind, std::int32_t id) {
  if (id == 0) return {};
  const std::string name = PlainText(names(kind, id));
  return name.empty() ? "#" + std::to_string(id) : name;
}

std::string SelectedText(const DataSelect* select, const Names& names) {
  struct Part {
    DescriptorTypes type;
    NameKind kind;
    const char* many;
  };
  static constexpr Part kParts[] = {{dtPart, NameKind::Part, " parts"},
                                    {dtProcess, NameKind::Process, " processes"},
                                    {dtTest, NameKind::Test, " tests"}};
  std::string text;
  for (const Part& part : kParts) {
    const auto descriptor = select ? select->Descriptors()->GetDescriptor(part.type) : nullptr;
    if (!descriptor || descriptor->FilterType() != ftItemList || descriptor->ItemCount() == 0)
      continue;
    const std::int32_t count = descriptor->ItemCount(), first = descriptor->ItemID(1);
    const std::string name = ShownName(names, part.kind, first);
    text += (text.empty() ? "" : " / ") + (count == 1 ? name : std::to_string(count) + part.many);
  }
  return text;
}

}  // namespace orvspc::render
