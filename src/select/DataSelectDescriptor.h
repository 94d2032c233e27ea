// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/Dom.h"
#include "platform/Enumerations.h"
#include "platform/Object.h"
#include "select/ArrayVariant.h"

namespace orvspc {

class Friend;

// Narrows a selection along one dimension, by a list of items, by a group, or not at all. A new one
// is a dtPart with an empty list.
class DataSelectDescriptor : public platform::Object {
  struct Record;

 public:
  DataSelectDescriptor() = default;

  // Everything becomes 0, the type, the filter and the place too.
  void Clear();

  DescriptorTypes DescriptorType() const { return record_.type; }

  // How the descriptor is used: ftItemList, ftGroup or ftUnlimited. Nothing checks the value here;
  // an unknown one fails when the selection is used.
  void FilterType(FilterTypes value) { record_.filter = value; }
  FilterTypes FilterType() const { return record_.filter; }

  // How many item IDs are in use.
  std::int32_t ItemCount() const { return record_.count; }

  std::int32_t GroupID() const { return record_.group; }
  void GroupID(std::int32_t value) { record_.group = value; }

  // Appends. Doubles and 0 are accepted.
  void AddItemID(std::int32_t Value);

  // The index counts from 1; outside 1 to ItemCount the result is 0.
  std::int32_t ItemID(std::int32_t Index) const;

  // A copy of all elements, those that are not in use too.
  std::vector<std::int32_t> ItemIDs() const;

  // Replaces the items. ItemCount becomes the upper bound of the array, so its last element is kept
  // but not used, and the next AddItemID overwrites it.
  // Failures, in the order of the checks; the old items then stay:
  //
  // - 13: no array;
  //
  // - 9: never dimensioned;
  //
  // - "Array must be 0-based";
  //
  // - 13: an array of doubles, even of whole numbers.
  void ItemIDs(const ArrayVariant& value);

  // Replaces everything.
  void Structure(const Friend&, const Record& value) { record_ = value; }
  std::shared_ptr<DataSelectDescriptor> Clone(const Friend&) const;
  platform::XmlNode CreateXMLNode(const Friend&, platform::XmlDocument& Document) const;
  // Clears first. A null node gives false; an item whose ID is missing or 0 is dropped.
  bool SetXML(const Friend&, const platform::XmlNode& node);
  // Place in the collection, from 1, as of when it was added; nothing renumbers it.
  std::int32_t Index(const Friend&) const { return record_.index; }
  void Index(const Friend&, std::int32_t value) { record_.index = value; }
  void DescriptorType(const Friend&, DescriptorTypes value) { record_.type = value; }

 private:
  struct Record {
    DescriptorTypes type = dtPart;
    FilterTypes filter = ftItemList;
    std::vector<std::int32_t> items;  // count of them are in use
    std::int32_t group = 0;
    std::int32_t count = 0;
    std::int32_t index = 0;
  };

  platform::XmlNode GetXMLItems(platform::XmlDocument& document) const;
  void SetXMLItems(const platform::XmlNode& node);

  Record record_;
};

}  // namespace orvspc
