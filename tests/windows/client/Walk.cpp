// SPDX-License-Identifier: Apache-2.0
#include "tests/windows/client/Walk.h"

#include <algorithm>

namespace orvspc::windows::tests {

namespace {

constexpr std::int32_t kPart = 0;
constexpr std::int32_t kStatic = 20;

std::string Listed(const std::vector<Value>& arguments, std::size_t count) {
  std::string text;
  for (std::size_t i = 0; i < count; ++i)
    text += (text.empty() ? "(" : ", ") + Printed(arguments[i]);
  return text.empty() ? text : text + ")";
}

bool Has(const Object& object, std::string_view name) {
  return std::ranges::any_of(Members(), [&](const Member& member) {
    return member.type == object.type && member.name == name;
  });
}

bool Moved(const Value& value) {
  const auto* moved = std::get_if<bool>(&value);
  return moved != nullptr && *moved;
}

}  // namespace

Object ObjectIn(const Value& value) {
  const auto* object = std::get_if<Object>(&value);
  return object == nullptr ? Object{} : *object;
}

template <class Body>
void Walk::Line(const Object& object, std::string_view name, const std::string& arguments,
                const char* sign, Body&& body) {
  out_ << object.type << "." << name << arguments << " " << sign << " ";
  try {
    out_ << body() << "\n";
  } catch (const Failed& failed) {
    out_ << "failed " << failed.number << " | " << failed.source << " | " << failed.description
         << "\n";
  }
}

void Walk::Section(std::string_view title) { out_ << "\n[" << title << "]\n"; }

void Walk::Note(std::string_view what, const Value& value) {
  out_ << what << " = " << Printed(value) << "\n";
}

Value Walk::Say(const Object& object, std::string_view name, std::vector<Value> arguments) {
  Value value = Empty{};
  Line(object, name, Listed(arguments, arguments.size()), "=", [&] {
    value = Call(object, name, arguments);
    return Printed(value);
  });
  return value;
}

Object Walk::SayObject(const Object& object, std::string_view name, std::vector<Value> arguments) {
  return ObjectIn(Say(object, name, std::move(arguments)));
}

void Walk::SayChanged(const Object& object, std::string_view name, Value argument) {
  Line(object, name, "", "=", [&] {
    std::vector<Value> arguments{std::move(argument)};
    const auto value = CallChanging(object, name, arguments);
    return Printed(value) + ", " + Printed(arguments[0]);
  });
}

void Walk::SayLet(const Object& object, std::string_view name, std::vector<Value> arguments) {
  Line(object, name, Listed(arguments, arguments.size() - 1), ":=", [&] {
    Let(object, name, arguments);
    return Printed(arguments.back());
  });
}

void Walk::Reads(const Object& object) {
  for (const auto& member : Members())
    if (member.type == object.type && member.read) Say(object, member.name);
}

void Walk::Properties(const Object& object) {
  for (const auto& member : Members())
    if (member.type == object.type && member.read && member.kind == Kind::kGet)
      Say(object, member.name);
}

void Walk::Rows(const Object& object, const std::string& title) {
  Section(title);
  if (!object) return;
  Reads(object);
  for (int row = 2; Moved(Say(object, "MoveNext")); ++row) {
    Section(title + " " + std::to_string(row));
    Properties(object);
  }
  Section(title + ", moves");
  for (const char* name : {"MoveNext", "CurrentIndex", "MovePrev", "CurrentIndex", "MoveFirst",
                           "MovePrev", "CurrentIndex", "MoveLast", "CurrentIndex"})
    Say(object, name);
  if (!Has(object, "MoveTo")) return;
  for (const std::int32_t index : {0, 1, 2, 1000000, -1}) {
    Say(object, "MoveTo", {index});
    Say(object, "CurrentIndex");
  }
  Say(object, "MoveFirst");
}

void Walk::List(const Object& object) {
  if (!object) return;
  for (auto moved = Say(object, "MoveFirst"); Moved(moved); moved = Say(object, "MoveNext"))
    Properties(object);
}

void Walk::Stored(const Object& object) {
  const auto text = Say(object, "GetXML");
  const auto again = Create(object.type);
  if (std::holds_alternative<std::string>(text)) {
    Line(again, "SetXML", "", "=", [&] { return Printed(Call(again, "SetXML", {text})); });
    Reads(again);
    Say(again, "GetXML");
  }
}

void AddItem(const Object& database, const Object& select, std::int32_t type, std::string_view kind,
             std::string_view name) {
  const auto descriptors = ObjectIn(Get(select, "Descriptors"));
  auto descriptor = ObjectIn(Call(descriptors, "GetDescriptor", {type}));
  if (!descriptor) descriptor = ObjectIn(Call(descriptors, "Add", {type}));
  Call(descriptor, "AddItemID", {Call(database, "Find", {std::string(kind), std::string(name)})});
}

Object Selection(const Object& database, std::string_view part) {
  auto select = Create("DataSelect");
  Let(select, "MaximumItems", {1000});
  Let(select, "DateRangeInterval", {0});
  Let(select, "IncludeDefectTests", {true});
  Let(select, "IncludeDefectiveTests", {true});
  if (!part.empty()) AddItem(database, select, kPart, "part", part);
  return select;
}

void SetRange(const Object& select, double start, double end) {
  Let(select, "DateRangeTimeType", {kStatic});
  Let(select, "DateRangeStart", {start});
  Let(select, "DateRangeEnd", {end});
}

}  // namespace orvspc::windows::tests
