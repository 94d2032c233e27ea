// SPDX-License-Identifier: Apache-2.0
// Settings and selections: what a new object holds, each Let with values inside and outside of what
// it keeps, copies and texts.
#include "tests/windows/client/Walk.h"

namespace orvspc::windows::tests {

namespace {

// By the type of the Get.
std::vector<Value> ValuesFor(std::string_view type) {
  if (type == "bool") return {true, false};
  if (type == "double") return {12.5, -3.0, 250.25};
  if (type == "date") return {45000.25};
  if (type == "long") return {7, -1, 0};
  return {1, 99};  // an enumeration, which keeps any number
}

void LetEach(Walk& walk, const Object& object) {
  for (const auto& member : Members()) {
    if (member.type != object.type || member.kind != Kind::kGet || member.arguments > 0) continue;
    for (const auto& let : Members()) {
      if (let.type != object.type || let.name != member.name || let.kind != Kind::kLet) continue;
      for (const auto& value : ValuesFor(member.result)) {
        walk.SayLet(object, let.name, {value});
        walk.Say(object, let.name);
      }
    }
  }
}

// The properties of a level, which differ in what they do outside of 0 to 5.
void Levels(Walk& walk, const Object& processing) {
  for (const char* name : {"BinType", "BinTypeID", "BinTimePeriod", "BinTimeInterval"})
    for (std::int32_t level = -1; level <= 6; ++level) {
      walk.Say(processing, name, {level});
      walk.SayLet(processing, name, {level, level + 2});
      walk.Say(processing, name, {level});
    }
}

}  // namespace

void WalkSettings(Walk& walk) {
  Create("Constants");
  for (const char* type : {"DataSelect", "CCProcessing", "CAProcessing", "PAProcessing"}) {
    const std::string title = type;
    const auto object = Create(type);
    walk.Section(title + ", new");
    walk.Reads(object);
    walk.Section(title + ", set");
    LetEach(walk, object);
    if (title == "PAProcessing") Levels(walk, object);
    walk.Section(title + ", copied");
    const auto copy = walk.SayObject(object, "Clone");
    walk.Note(title + ".Clone is another", !Same(copy, object));
    walk.Reads(copy);
    walk.Section(title + ", stored");
    walk.Stored(copy);
    if (title != "DataSelect") {
      walk.Section(title + ", corrected");
      for (const auto& member : Members())
        if (member.type == title && member.name.starts_with("Fix")) {
          walk.Say(object, member.name);
          walk.Reads(object);
        }
    }
  }
  const auto select = Create("DataSelect");
  walk.Section("DataSelect, reset");
  Let(select, "MaximumItems", {3});
  walk.Say(select, "Reset");
  walk.Reads(select);
  walk.Section("PSProcessing, copied");
  const auto states = Create("PSProcessing");
  walk.Note("PSProcessing.Clone is another", !Same(walk.SayObject(states, "Clone"), states));
}

void WalkDescriptors(Walk& walk) {
  walk.Section("descriptors");
  const auto select = Create("DataSelect");
  const auto descriptors = walk.SayObject(select, "Descriptors");
  walk.Note("DataSelect.Descriptors is the same",
            Same(descriptors, ObjectIn(Get(select, "Descriptors"))));
  const auto part = walk.SayObject(descriptors, "Add", {0});
  const auto test = walk.SayObject(descriptors, "Add", {2});
  walk.SayObject(descriptors, "Add", {8});
  walk.SayObject(descriptors, "Add", {8});
  walk.Say(descriptors, "Add", {2});
  walk.Reads(descriptors);
  walk.Section("descriptors, items");
  for (const std::int32_t item : {12, 7, 7, 0}) walk.Say(part, "AddItemID", {item});
  walk.Reads(part);
  for (std::int32_t index = 0; index <= 5; ++index) walk.Say(part, "ItemID", {index});
  walk.SayLet(part, "ItemIDs", {Longs{5, 6, 7}});
  walk.Reads(part);
  walk.Say(part, "AddItemID", {70});
  walk.Reads(part);
  walk.SayLet(part, "ItemIDs", {Doubles{1.0, 2.0}});
  walk.SayLet(part, "ItemIDs", {Empty{}});
  walk.SayLet(part, "ItemIDs", {3});
  walk.SayLet(test, "FilterType", {1});
  walk.SayLet(test, "GroupID", {4});
  walk.Reads(test);
  walk.Section("descriptors, collection");
  for (std::int32_t index = -1; index <= 4; ++index) walk.Say(descriptors, "Item", {index});
  walk.Note("DataSelectDescriptors.Item is the same",
            Same(part, ObjectIn(Get(descriptors, "Item", {0}))));
  for (const std::int32_t type : {0, 1, 2, 8}) walk.Say(descriptors, "GetDescriptor", {type});
  const auto found = walk.Say(descriptors, "NewEnum");
  // An empty list would have no flat form.
  for (const auto& each : std::get<Objects>(found)) {
    if (std::get<std::int32_t>(Get(each, "ItemCount")) == 0) Call(each, "AddItemID", {3});
    walk.Reads(each);
  }
  walk.Section("descriptors, stored");
  walk.Stored(select);
  walk.Section("descriptors, flat");
  std::vector<Value> flat{Longs(31), Longs{}};
  walk.Note("DataSelect.API_GetData", CallChanging(select, "API_GetData", flat));
  walk.Note("DataSelect.API_GetData DSInfo", flat[0]);
  walk.Note("DataSelect.API_GetData DSFilter", flat[1]);
  const auto again = Create("DataSelect");
  walk.Note("DataSelect.API_SetData", Call(again, "API_SetData", flat));
  walk.Reads(again);
  walk.Say(again, "GetXML");
  std::vector<Value> twice{Longs(31), Longs{}};
  walk.Note("DataSelect.API_GetData", CallChanging(again, "API_GetData", twice));
  walk.Note("DataSelect.API_GetData DSInfo", twice[0]);
  walk.Note("DataSelect.API_GetData DSFilter", twice[1]);
  walk.Section("descriptors, removed");
  walk.Say(descriptors, "Remove", {4});
  walk.Say(descriptors, "Remove", {1});
  walk.Say(descriptors, "Count");
  walk.Say(test, "Clear");
  walk.Reads(test);
  walk.Say(descriptors, "Clear");
  walk.Reads(descriptors);
  walk.Reads(part);
}

}  // namespace orvspc::windows::tests
