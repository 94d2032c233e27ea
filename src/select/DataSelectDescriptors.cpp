// SPDX-License-Identifier: Apache-2.0
#include "select/DataSelectDescriptors.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "frame/Checked.h"
#include "frame/Failure.h"
#include "frame/Friend.h"
#include "frame/Trail.h"
#include "frame/XMLSupport.h"

namespace orvspc {

DataSelectDescriptors::DataSelectDescriptors() { Clear(); }

std::shared_ptr<DataSelectDescriptor> DataSelectDescriptors::Add(DescriptorTypes DescriptorType) {
  return Traced("DataSelectDescriptors.Add", [&] {
    const bool exists = std::ranges::any_of(
        descriptors_, [&](const auto& each) { return each->DescriptorType() == DescriptorType; });
    if (exists && DescriptorType != dtOther) FailMessage("DescriptorType already exists!");
    auto added = std::make_shared<DataSelectDescriptor>();
    added->DescriptorType(Friend{}, DescriptorType);
    added->Index(Friend{}, checked::Add(Count(), 1));
    descriptors_.push_back(added);
    return added;
  });
}

bool DataSelectDescriptors::Remove(std::int32_t Index) {
  return Traced("DataSelectDescriptors.Remove", [&] {
    if (!Has(Index)) return false;
    // Deliberate: the later entries keep their index.
    descriptors_.erase(descriptors_.begin() + Index);
    return true;
  });
}

void DataSelectDescriptors::Clear() {
  Traced("DataSelectDescriptors.Clear", [&] { descriptors_.clear(); });
}

std::shared_ptr<DataSelectDescriptor> DataSelectDescriptors::Item(std::int32_t Index) const {
  return Traced("DataSelectDescriptors.Item(g)", [&]() -> std::shared_ptr<DataSelectDescriptor> {
    if (!Has(Index)) return nullptr;
    return descriptors_[static_cast<std::size_t>(Index)];
  });
}

std::shared_ptr<DataSelectDescriptor> DataSelectDescriptors::GetDescriptor(
    DescriptorTypes DescriptorType) const {
  return Traced("DataSelectDescriptors.GetDescriptor",
                [&]() -> std::shared_ptr<DataSelectDescriptor> {
                  const auto found = std::ranges::find_if(descriptors_, [&](const auto& each) {
                    return each->DescriptorType() == DescriptorType;
                  });
                  return found == descriptors_.end() ? nullptr : *found;
                });
}

std::int32_t DataSelectDescriptors::Count() const {
  return Traced("DataSelectDescriptors.Count(g)",
                [&] { return static_cast<std::int32_t>(descriptors_.size()); });
}

bool DataSelectDescriptors::Has(std::int32_t index) const {
  return index >= 0 && static_cast<std::size_t>(index) < descriptors_.size();
}

void DataSelectDescriptors::AddClone(const Friend&,
                                     std::shared_ptr<DataSelectDescriptor> descriptor) {
  Traced("DataSelectDescriptors.AddClone", [&] { descriptors_.push_back(std::move(descriptor)); });
}

platform::XmlNode DataSelectDescriptors::CreateXMLNode(const Friend&,
                                                       platform::XmlDocument& Document) const {
  return Traced("DataSelectDescriptors.CreateXMLNode", [&] {
    const platform::XmlNode element = Document.CreateElement("Descriptors");
    for (const auto& each : descriptors_)
      Document.AppendChild(element, each->CreateXMLNode(Friend{}, Document));
    return element;
  });
}

void DataSelectDescriptors::SetXML(const Friend&, const platform::XmlNode& node) {
  Traced("DataSelectDescriptors.SetXML", [&] {
    XMLSupport::ForEachChild(node, "Descriptor", [&](const platform::XmlNode& child) {
      // Deliberate: a type may come twice and the index stays 0, since nothing goes through Add.
      auto read = std::make_shared<DataSelectDescriptor>();
      if (read->SetXML(Friend{}, child)) descriptors_.push_back(std::move(read));
    });
  });
}

}  // namespace orvspc
