// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>
#include <vector>

// The public classes as a host sees them, by class and member name. It has two implementations with
// the same table of members: the plain classes (plain_face.cpp) and the component's interfaces by
// their vtables (com_face.cpp). The walk over the classes is written once, against this.
namespace orvspc::windows::tests {

// A counted reference; null holds no pointer.
struct Object {
  std::string_view type;
  std::shared_ptr<void> pointer;  // for the implementation
  explicit operator bool() const { return pointer != nullptr; }
};

using Longs = std::vector<std::int32_t>;
using Doubles = std::vector<double>;
// Empty: the variant without a value.
struct Empty {};
// Dates are doubles. Objects are what an enumerator gives.
using Objects = std::vector<Object>;
using Value =
    std::variant<Empty, bool, std::int32_t, double, std::string, Object, Longs, Doubles, Objects>;

// One line: doubles with 17 digits, texts in quotes, arrays as "Long(3) {1, 2, 3}".
std::string Printed(const Value& value);

// A call failed: what a host sees of it.
struct Failed {
  std::int32_t number = 0;
  std::string source, description;
};

enum class Kind { kGet, kLet, kSet, kMethod };

struct Member {
  std::string_view type, name;
  Kind kind;
  int arguments;            // without the value of a Let
  bool read;                // gives a value without arguments and changes nothing
  std::string_view result;  // as in the table of members: "long", "text", a class, ...; "" none
  // An argument that is passed by reference comes back changed.
  Value (*call)(const Object& object, std::vector<Value>& arguments);
};

// The implementation: ---------------------------------------------------------------------------

// In the order of the table: class by class, each in slot order.
std::span<const Member> Members();
// A new object of a class that hosts can create. Fails with 429 for another one.
Object Create(std::string_view type);
bool Same(const Object& left, const Object& right);
// Calls the member; throws Failed.
Value Invoke(const Member& member, const Object& object, std::vector<Value>& arguments);

// The same for both: ----------------------------------------------------------------------------

// The value as what a member takes; a logic_error where it is something else.
template <class T>
T As(const Value& value) {
  if constexpr (std::is_same_v<T, double>) {
    if (const auto* whole = std::get_if<std::int32_t>(&value)) return *whole;
  }
  if (const auto* held = std::get_if<T>(&value)) return *held;
  throw std::logic_error("an argument of another type");
}

// What the walk uses: these note each member that they call. Throw Failed.
Value Get(const Object& object, std::string_view name, std::vector<Value> arguments = {});
void Let(const Object& object, std::string_view name, std::vector<Value> arguments);
Value Call(const Object& object, std::string_view name, std::vector<Value> arguments = {});
// As Call; arguments by reference come back.
Value CallChanging(const Object& object, std::string_view name, std::vector<Value>& arguments);

// "Class.Member(let)" of all members that nothing called.
std::vector<std::string> NeverCalled();

}  // namespace orvspc::windows::tests
