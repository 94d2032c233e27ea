// SPDX-License-Identifier: Apache-2.0
#include "select/DataSelectDescriptor.h"

#include <cstddef>
#include <span>
#include <utility>

#include "frame/Checked.h"
#include "frame/Failure.h"
#include "frame/Friend.h"
#include "frame/Trail.h"
#include "frame/XMLSupport.h"

namespace orvspc {
namespace {

// The elements of an array that a host passed in. An array of another type is refused, whatever
// numbers it holds; its bounds are checked first.
const std::vector<std::int32_t>& Integers(const ArrayVariant& value) {
  if (std::holds_alternative<std::monostate>(value.elements)) FailTypeMismatch();
  const auto* const integers = std::get_if<std::vector<std::int32_t>>(&value.elements);
  const bool has_elements = integers != nullptr
                                ? !integers->empty()
                                : !std::get<std::vector<double>>(value.elements).empty();
  if (!has_elements) FailSubscript();
  if (value.lower_bound != 0) FailMessage("Array must be 0-based");
  if (integers == nullptr) FailTypeMismatch();
  return *integers;
}

}  // namespace

void DataSelectDescriptor::Clear() {
  // Deliberate: the type, the filter and the index go too.
  Traced("DataSelectDescriptor.Clear", [&] { record_ = {}; });
}

std::shared_ptr<DataSelectDescriptor> DataSelectDescriptor::Clone(const Friend&) const {
  return Traced("DataSelectDescriptor.Clone", [&] {
    auto clone = std::make_shared<DataSelectDescriptor>();
    clone->Structure(Friend{}, record_);
    return clone;
  });
}

void DataSelectDescriptor::AddItemID(std::int32_t Value) {
  Traced("DataSelectDescriptor.AddItemID", [&] {
    const std::int32_t count = checked::Add(record_.count, 1);
    record_.items.resize(static_cast<std::size_t>(count));
    record_.items.back() = Value;
    record_.count = count;
  });
}

std::int32_t DataSelectDescriptor::ItemID(std::int32_t Index) const {
  return Traced("DataSelectDescriptor.ItemID(g)", [&] {
    if (Index < 1 || Index > record_.count) return 0;
    return record_.items[static_cast<std::size_t>(Index) - 1];
  });
}

std::vector<std::int32_t> DataSelectDescriptor::ItemIDs() const {
  return Untraced([&] { return record_.items; });
}

void DataSelectDescriptor::ItemIDs(const ArrayVariant& value) {
  Traced("DataSelectDescriptor.ItemIDs(l)", [&] {
    record_.items = Integers(value);
    // Deliberate: the last element stays in the array but is not counted.
    record_.count = checked::Narrow(static_cast<std::int64_t>(record_.items.size()) - 1);
  });
}

platform::XmlNode DataSelectDescriptor::CreateXMLNode(const Friend&,
                                                      platform::XmlDocument& Document) const {
  return Traced("DataSelectDescriptor.CreateXMLNode", [&] {
    const platform::XmlNode element = Document.CreateElement("Descriptor");
    XMLSupport::SetXMLAttribute(element, "Type", static_cast<std::int32_t>(record_.type));
    XMLSupport::SetXMLAttribute(element, "Filter", static_cast<std::int32_t>(record_.filter));
    XMLSupport::SetXMLAttribute(element, "Group", record_.group);
    Document.AppendChild(element, GetXMLItems(Document));
    return element;
  });
}

platform::XmlNode DataSelectDescriptor::GetXMLItems(platform::XmlDocument& document) const {
  return Traced("DataSelectDescriptor.GetXMLItems", [&] {
    const platform::XmlNode items = document.CreateElement("Items");
    const auto used = std::span(record_.items).first(static_cast<std::size_t>(record_.count));
    for (const std::int32_t id : used) {
      const platform::XmlNode item = document.CreateElement("Item");
      XMLSupport::SetXMLAttribute(item, "ID", id);
      document.AppendChild(items, item);
    }
    return items;
  });
}

bool DataSelectDescriptor::SetXML(const Friend&, const platform::XmlNode& node) {
  return Traced("DataSelectDescriptor.SetXML", [&] {
    if (!node) return false;
    Clear();
    record_.type = static_cast<DescriptorTypes>(XMLSupport::ReadInt32(node, "Type", record_.type));
    record_.filter =
        static_cast<FilterTypes>(XMLSupport::ReadInt32(node, "Filter", record_.filter));
    record_.group = XMLSupport::ReadInt32(node, "Group", record_.group);
    SetXMLItems(XMLSupport::DocumentOf(node).SelectSingleNode(node, "Items"));
    return true;
  });
}

void DataSelectDescriptor::SetXMLItems(const platform::XmlNode& node) {
  Traced("DataSelectDescriptor.SetXMLItems", [&] {
    XMLSupport::ForEachChild(node, "Item", [&](const platform::XmlNode& item) {
      const std::int32_t id = XMLSupport::ReadInt32(item, "ID", 0);
      // Deliberate: an item 0 does not come back.
      if (id != 0) AddItemID(id);
    });
  });
}

}  // namespace orvspc
