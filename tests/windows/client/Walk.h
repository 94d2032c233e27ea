// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "tests/windows/client/Face.h"

namespace orvspc::windows::tests {

// Prints "Class.Member = value" for each call, in sections that are headed "[title]". A call that
// fails prints "failed NUMBER | source | description".
class Walk {
 public:
  explicit Walk(std::ostream& out) : out_(out) {}

  void Section(std::string_view title);
  // A remark on what was called before, "Class.Member as the name says = value".
  void Note(std::string_view what, const Value& value);

  // A Get or a method; Empty where it failed.
  Value Say(const Object& object, std::string_view name, std::vector<Value> arguments = {});
  // As Say, for a member that gives an object.
  Object SayObject(const Object& object, std::string_view name, std::vector<Value> arguments = {});
  // A method whose first argument comes back changed, which is printed behind the result.
  void SayChanged(const Object& object, std::string_view name, Value argument);
  // A Let: "Class.Member(1) := value".
  void SayLet(const Object& object, std::string_view name, std::vector<Value> arguments);

  // Everything that can be read without arguments.
  void Reads(const Object& object);
  // Of these the properties alone.
  void Properties(const Object& object);
  // Reads of the first row, the properties of each further one, and the moves. A section for each.
  void Rows(const Object& object, const std::string& title);
  // A list of the engine with MoveFirst and MoveNext alone.
  void List(const Object& object);

  // GetXML, SetXML of it on a new object, and what that one reads as.
  void Stored(const Object& object);

 private:
  template <class Body>
  void Line(const Object& object, std::string_view name, const std::string& arguments,
            const char* sign, Body&& body);

  std::ostream& out_;
};

// An object that a failed call did not give is null.
Object ObjectIn(const Value& value);

// The parts of the walk.
void WalkSettings(Walk& walk);
void WalkDescriptors(Walk& walk);
void WalkData(Walk& walk, const Object& database);
void WalkCharts(Walk& walk, const Object& database);
void WalkCapability(Walk& walk, const Object& database);
void WalkPareto(Walk& walk, const Object& database);
void WalkStates(Walk& walk, const Object& database);
void WalkCompliance(Walk& walk, const Object& database);
void WalkEngine(Walk& walk, const Object& database);
void WalkFailures(Walk& walk, const Object& database);

// A selection of all kinds of tests of a part, without a bound in time.
Object Selection(const Object& database, std::string_view part);
void AddItem(const Object& database, const Object& select, std::int32_t type, std::string_view kind,
             std::string_view name);
// 2024-04-08 is 45390.
void SetRange(const Object& select, double start, double end);

}  // namespace orvspc::windows::tests
