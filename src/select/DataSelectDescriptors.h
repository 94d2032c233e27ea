// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/Dom.h"
#include "platform/Enumerations.h"
#include "platform/Object.h"
#include "select/DataSelectDescriptor.h"

namespace orvspc {

class Friend;

// The descriptors of a selection in the order of adding. A dimension without one is unlimited; only
// dtOther may occur many times. Positions count from 0 here.
class DataSelectDescriptors : public platform::Object {
 public:
  DataSelectDescriptors();

  // The enumeration of the descriptors, for a range-for.
  auto begin() const { return descriptors_.begin(); }
  auto end() const { return descriptors_.end(); }

  // Appends a new descriptor of that type with an empty item list and returns it. Fails with
  // "DescriptorType already exists!" where the type is there already and is not dtOther.
  std::shared_ptr<DataSelectDescriptor> Add(DescriptorTypes DescriptorType);

  // False when there is no such entry. Later entries move up.
  bool Remove(std::int32_t Index);
  void Clear();

  // Null when there is no such entry.
  std::shared_ptr<DataSelectDescriptor> Item(std::int32_t Index) const;
  // The first entry of that type, or null.
  std::shared_ptr<DataSelectDescriptor> GetDescriptor(DescriptorTypes DescriptorType) const;
  std::int32_t Count() const;

  // Appends without any test.
  void AddClone(const Friend&, std::shared_ptr<DataSelectDescriptor> descriptor);
  platform::XmlNode CreateXMLNode(const Friend&, platform::XmlDocument& Document) const;
  // Adds what the element holds, a type twice too. A null node does nothing.
  void SetXML(const Friend&, const platform::XmlNode& node);

 private:
  bool Has(std::int32_t index) const;

  std::vector<std::shared_ptr<DataSelectDescriptor>> descriptors_;
};

}  // namespace orvspc
