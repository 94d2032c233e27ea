// SPDX-License-Identifier: Apache-2.0
#include "tests/windows/client/Face.h"

#include <charconv>
#include <cmath>
#include <set>

namespace orvspc::windows::tests {

namespace {

std::string PrintedDouble(double value) {
  if (std::isnan(value)) return "nan";
  char text[40];
  const auto end = std::to_chars(text, text + sizeof text, value, std::chars_format::general, 17);
  return {text, end.ptr};
}

std::string Quoted(std::string_view text) {
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '\n') {
      quoted += "\\n";
    } else if (c == '\r') {
      quoted += "\\r";
    } else if (c == '\0') {
      quoted += "\\0";
    } else {
      if (c == '\\' || c == '"') quoted += '\\';
      quoted += c;
    }
  }
  return quoted + '"';
}

template <class T>
std::string PrintedArray(const char* name, const std::vector<T>& values) {
  std::string text = name + ("(" + std::to_string(values.size()) + ") {");
  for (std::size_t i = 0; i < values.size(); ++i)
    text += (i == 0 ? "" : ", ") + Printed(Value(values[i]));
  return text + "}";
}

struct Printer {
  std::string operator()(const Empty&) const { return "Empty"; }
  std::string operator()(bool value) const { return value ? "True" : "False"; }
  std::string operator()(std::int32_t value) const { return std::to_string(value); }
  std::string operator()(double value) const { return PrintedDouble(value); }
  std::string operator()(const std::string& value) const { return Quoted(value); }
  std::string operator()(const Object& value) const { return value ? "Object" : "Nothing"; }
  std::string operator()(const Longs& value) const { return PrintedArray("Long", value); }
  std::string operator()(const Doubles& value) const { return PrintedArray("Double", value); }
  std::string operator()(const Objects& value) const { return PrintedArray("Object", value); }
};

std::set<const Member*>& Called() {
  static std::set<const Member*> called;
  return called;
}

const Member& Find(std::string_view type, std::string_view name, bool written) {
  for (const auto& member : Members())
    if (member.type == type && member.name == name &&
        written == (member.kind == Kind::kLet || member.kind == Kind::kSet))
      return member;
  throw std::logic_error("no member " + std::string(type) + "." + std::string(name));
}

Value Run(const Object& object, std::string_view name, bool written,
          std::vector<Value>& arguments) {
  if (!object) throw std::logic_error("no object for " + std::string(name));
  const auto& member = Find(object.type, name, written);
  Called().insert(&member);
  return Invoke(member, object, arguments);
}

}  // namespace

std::string Printed(const Value& value) { return std::visit(Printer{}, value); }

Value Get(const Object& object, std::string_view name, std::vector<Value> arguments) {
  return Run(object, name, false, arguments);
}

void Let(const Object& object, std::string_view name, std::vector<Value> arguments) {
  Run(object, name, true, arguments);
}

Value Call(const Object& object, std::string_view name, std::vector<Value> arguments) {
  return Run(object, name, false, arguments);
}

Value CallChanging(const Object& object, std::string_view name, std::vector<Value>& arguments) {
  return Run(object, name, false, arguments);
}

std::vector<std::string> NeverCalled() {
  std::vector<std::string> names;
  for (const auto& member : Members())
    if (!Called().contains(&member)) {
      names.push_back(std::string(member.type) + "." + std::string(member.name));
      if (member.kind == Kind::kLet || member.kind == Kind::kSet) names.back() += "(let)";
    }
  return names;
}

}  // namespace orvspc::windows::tests
