// SPDX-License-Identifier: Apache-2.0
// The face of the plain classes.
#include <algorithm>
#include <cstring>
#include <memory>
#include <optional>

#include <members/plain_headers.inc>
#include "engine/Embedded.h"
#include "frame/Failure.h"
#include "frame/Trail.h"
#include "platform/FixedText.h"
#include "platform/Platform.h"
#include "tests/windows/client/Face.h"
#include "tests/windows/client/Session.h"

namespace orvspc::windows::tests {

namespace {

// What Object.pointer points to.
struct Handle {
  virtual ~Handle() = default;
  virtual std::shared_ptr<platform::Object> Base() const = 0;
  virtual const void* Address() const = 0;
};

template <class T>
struct HandleOf : Handle {
  explicit HandleOf(std::shared_ptr<T> object) : held(std::move(object)) {}
  std::shared_ptr<platform::Object> Base() const override {
    if constexpr (std::is_convertible_v<T*, platform::Object*>) {
      return held;
    } else {
      throw std::logic_error("no object of the platform");
    }
  }
  const void* Address() const override { return held.get(); }
  std::shared_ptr<T> held;
};

template <class T>
std::shared_ptr<void> Kept(std::shared_ptr<T> object) {
  if (!object) return nullptr;
  return std::shared_ptr<Handle>(std::make_shared<HandleOf<T>>(std::move(object)));
}

const Handle& HandleIn(const Object& object) { return *static_cast<Handle*>(object.pointer.get()); }

template <class T>
std::shared_ptr<T> Shared(const Value& value) {
  const auto object = As<Object>(value);
  if (!object) return nullptr;
  // An argument of a base class, such as any database.
  if (const auto* handle = dynamic_cast<const HandleOf<T>*>(&HandleIn(object))) return handle->held;
  if constexpr (std::is_base_of_v<platform::Object, T>)
    if (auto found = std::dynamic_pointer_cast<T>(HandleIn(object).Base())) return found;
  FailTypeMismatch();
}

template <class T>
T& The(const Object& object) {
  return dynamic_cast<const HandleOf<T>&>(HandleIn(object)).held.operator*();
}

std::shared_ptr<platform::Object> AsObject(const Value& value) {
  const auto object = As<Object>(value);
  return object ? HandleIn(object).Base() : nullptr;
}

ArrayVariant AsArray(const Value& value) {
  if (const auto* longs = std::get_if<Longs>(&value)) return *longs;
  if (const auto* doubles = std::get_if<Doubles>(&value)) return *doubles;
  return {};
}

platform::Cell AsCell(const Value& value) {
  if (const auto* number = std::get_if<double>(&value)) return *number;
  if (const auto* text = std::get_if<std::string>(&value)) return platform::ToUtf16(*text);
  return As<std::int32_t>(value);
}

template <class T>
Value From(const T& value) {
  if constexpr (std::is_enum_v<T>) {
    return static_cast<std::int32_t>(value);
  } else {
    return value;
  }
}
Value From(const platform::Cell& cell) {
  if (const auto* date = std::get_if<platform::Date>(&cell)) return date->days;
  if (const auto* number = std::get_if<double>(&cell)) return *number;
  if (const auto* text = std::get_if<std::u16string>(&cell)) return platform::ToUtf8(*text);
  return std::get<std::int32_t>(cell);
}
template <class T>
Value From(const std::optional<std::vector<T>>& values) {
  return values ? Value(*values) : Value(Empty{});
}
template <class T>
Value From(std::shared_ptr<T> object, std::string_view type) {
  return Object{type, Kept(std::move(object))};
}

Longs FromRecord(const API_DSInfo& info) {
  Longs fields(sizeof info / sizeof(std::int32_t));
  std::memcpy(fields.data(), &info, sizeof info);
  return fields;
}

API_DSInfo RecordFrom(const Longs& fields) {
  API_DSInfo info{};
  std::memcpy(&info, fields.data(), std::min(sizeof info, fields.size() * sizeof(std::int32_t)));
  return info;
}

Array<std::int32_t> ArrayFrom(const Longs& values) {
  Array<std::int32_t> array;
  if (values.empty()) return array;
  array.Dimension(0, static_cast<std::int64_t>(values.size()) - 1);
  std::copy(values.begin(), values.end(), array.Elements().begin());
  return array;
}

Value ByHand_DataSelect_API_GetData(const Object& object, std::vector<Value>& arguments) {
  auto info = RecordFrom(As<Longs>(arguments[0]));
  auto filter = ArrayFrom(As<Longs>(arguments[1]));
  const bool done = The<DataSelect>(object).API_GetData(info, filter);
  arguments[0] = FromRecord(info);
  arguments[1] = Longs(filter.Elements().begin(), filter.Elements().end());
  return done;
}

Value ByHand_DataSelect_API_SetData(const Object& object, std::vector<Value>& arguments) {
  return The<DataSelect>(object).API_SetData(RecordFrom(As<Longs>(arguments[0])),
                                             ArrayFrom(As<Longs>(arguments[1])));
}

Value ByHand_DataSelectDescriptors_NewEnum(const Object& object, std::vector<Value>&) {
  Objects found;
  for (const auto& each : The<DataSelectDescriptors>(object))
    found.push_back({"DataSelectDescriptor", Kept(each)});
  return found;
}

// The argument is the text of the node.
Value ByHand_CCResults_SetXMLNode(const Object& object, std::vector<Value>& arguments) {
  const auto document = EmbeddedPlatform()->MakeXmlDocument();
  document->LoadXml(As<std::string>(arguments[0]));
  return The<CCResults>(object).SetXMLNode(document->SelectRoot("CCResults"));
}

const Member kMembers[] = {
#include <members/plain_members.inc>
};

struct Creator {
  std::string_view type;
  std::shared_ptr<void> (*make)();
};

const Creator kCreators[] = {
#include <members/plain_creators.inc>
};

}  // namespace

std::span<const Member> Members() { return kMembers; }

Object Create(std::string_view type) {
  for (const auto& creator : kCreators)
    if (creator.type == type) return {type, creator.make()};
  throw Failed{429, "", ""};
}

bool Same(const Object& left, const Object& right) {
  if (!left || !right) return !left == !right;
  return HandleIn(left).Address() == HandleIn(right).Address();
}

Session::Session() { InstallEmbedded(); }
Session::~Session() { platform::Install(nullptr); }
std::string Session::Left() const { return {}; }

Value Invoke(const Member& member, const Object& object, std::vector<Value>& arguments) {
  try {
    return member.call(object, arguments);
  } catch (const std::logic_error&) {
    throw;
  } catch (...) {
    const auto failure = CurrentFailure();
    throw Failed{failure.Number(), failure.Source(), failure.Description()};
  }
}

}  // namespace orvspc::windows::tests
