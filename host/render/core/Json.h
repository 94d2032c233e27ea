// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <concepts>
#include <cstdint>
#include <ranges>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "platform/Reports.h"

namespace orvspc::render {

// How an array of objects is laid out: all of them on one line, each on a line of its own, or each
// with its members on lines of their own.
enum class Spread { None, Lines, Blocks };

// Writes one JSON document. Objects put each member on a line of its own, arrays of numbers are
// on one line. Doubles are the shortest text that reads back as the same double; a double that is
// no finite number is null. Text that is not UTF-8 has U+FFFD in place of the bad bytes.
//
//   JsonWriter json;
//   json.BeginObject();
//   json.Member("Points", points);
//   json.EndObject();
//   json.Text()
class JsonWriter {
 public:
  // compact: the whole object, with what is inside, on one line
  void BeginObject(bool compact = false) { Open('{', compact); }
  void EndObject() { Close('}'); }
  // compact: the whole array, with what is inside, on one line
  void BeginArray(bool compact = false) { Open('[', compact); }
  void EndArray() { Close(']'); }
  void Key(std::string_view key);

  void Value(double value);
  void Value(bool value) { Raw(value ? "true" : "false"); }
  void Value(std::string_view value);
  void Value(const char* value) { Value(std::string_view(value)); }
  template <std::integral Integer>
  void Value(Integer value) {
    Raw(std::to_string(value));
  }
  // Of an enumeration the number.
  template <class Enumeration>
  requires std::is_enum_v<Enumeration>
  void Value(Enumeration value) { Value(static_cast<std::int32_t>(value)); }
  void Null() { Raw("null"); }
  template <class Values>
  requires(std::ranges::range<Values> &&
           !std::convertible_to<Values, std::string_view>) void Value(const Values& values) {
    BeginArray(true);
    for (const auto& value : values) Value(value);
    EndArray();
  }

  template <class Type>
  void Member(std::string_view key, const Type& value) {
    Key(key);
    Value(value);
  }
  void NullMember(std::string_view key) {
    Key(key);
    Null();
  }
  // null where the value is not given.
  template <class Type>
  void MemberIf(bool given, std::string_view key, const Type& value) {
    if (!given) return NullMember(key);
    Member(key, value);
  }

  // Members of an open object: key and value in turn.
  template <class Type, class... Rest>
  void Members(std::string_view key, const Type& value, const Rest&... rest) {
    Member(key, value);
    if constexpr (sizeof...(rest) > 0) Members(rest...);
  }
  // A member that is an object; write() writes its members.
  template <class Write>
  void Object(std::string_view key, Write write, bool compact = false) {
    Key(key);
    BeginObject(compact);
    write();
    EndObject();
  }
  // A member that is an array of objects; write(item) writes the members of one.
  template <Spread kSpread = Spread::Lines, class Items, class Write>
  void Objects(std::string_view key, const Items& items, Write write) {
    Key(key);
    BeginArray(kSpread == Spread::None);
    for (const auto& item : items) {
      BeginObject(kSpread != Spread::Blocks);
      write(item);
      EndObject();
    }
    EndArray();
  }

  // The document, with a line feed at its end.
  std::string Text() const { return out_ + "\n"; }

 private:
  struct Level {
    bool compact = false;
    bool empty = true;
  };
  void Open(char bracket, bool compact);
  void Close(char bracket);
  void Raw(std::string_view text);
  void Separate();
  void NewLine();

  std::string out_;
  std::vector<Level> levels_;
  bool after_key_ = false;
};

// A document of one object, whose members write(json) writes.
template <class Write>
std::string JsonDocument(Write write) {
  JsonWriter json;
  json.BeginObject();
  write(json);
  json.EndObject();
  return json.Text();
}
// null where there is no object, else the members that write() writes.
template <class Object, class Write>
void ObjectMember(JsonWriter& json, const char* key, const Object* object, Write write) {
  if (object == nullptr) return json.NullMember(key);
  json.Object(key, [&] { write(json, *object); });
}

void WriteEstimate(JsonWriter& json, const char* key, const Estimate& estimate);
void WriteNotes(JsonWriter& json, const std::vector<Note>& notes);

}  // namespace orvspc::render
