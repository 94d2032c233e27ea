// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>

#include "frame/DateText.h"
#include "frame/Friend.h"
#include "frame/Trail.h"
#include "frame/XMLSupport.h"
#include "platform/FixedText.h"
#include "platform/WireDouble.h"

// Settings as the attributes of an element: one table of members is the writer and the reader.
namespace orvspc::settings_xml {

template <class Record, class T>
struct Field {
  std::string_view attribute;
  T Record::*member;
};
template <class Record, class T>
Field(const char*, T Record::*) -> Field<Record, T>;  // clang 14 deduces none of its own

// A date, which is written as one.
template <class Record>
struct DateField {
  std::string_view attribute;
  double Record::*member;
};
template <class Record>
DateField(const char*, double Record::*) -> DateField<Record>;

template <class T>
constexpr bool kIsDouble = std::is_same_v<T, double> || std::is_same_v<T, platform::WireDouble>;

// A flag goes as 1 or 0, an enumeration as its number, a fixed text whole with its padding.
template <class Record, class T>
void WriteField(const platform::XmlNode& element, const Field<Record, T>& field,
                const Record& record) {
  if constexpr (kIsDouble<T>) {
    XMLSupport::SetXMLAttribute(element, field.attribute, double{record.*field.member});
  } else if constexpr (std::is_array_v<T>) {
    XMLSupport::SetXMLAttribute(element, field.attribute,
                                platform::FixedTextToUtf8(record.*field.member));
  } else {
    XMLSupport::SetXMLAttribute(element, field.attribute,
                                static_cast<std::int32_t>(record.*field.member));
  }
}

// A missing attribute leaves the member as it was.
template <class Record, class T>
void ReadField(const platform::XmlNode& element, const Field<Record, T>& field, Record& record) {
  T& member = record.*field.member;
  if constexpr (std::is_array_v<T>) {
    if (const auto text = XMLSupport::AttributeText(element, field.attribute))
      platform::StoreFixedText(member, *text);
  } else if constexpr (kIsDouble<T>) {
    member = XMLSupport::ReadDouble(element, field.attribute, member);
  } else if constexpr (std::is_same_v<T, bool>) {
    member = XMLSupport::ReadBoolean(element, field.attribute, member);
  } else {
    member = static_cast<T>(XMLSupport::ReadInt32(element, field.attribute, member));
  }
}

template <class Record>
void WriteField(const platform::XmlNode& element, const DateField<Record>& field,
                const Record& record) {
  XMLSupport::SetXMLAttribute(element, field.attribute, DateToText(record.*field.member));
}
template <class Record>
void ReadField(const platform::XmlNode& element, const DateField<Record>& field, Record& record) {
  if (const auto text = XMLSupport::AttributeText(element, field.attribute))
    record.*field.member = TextToDate(*text);
}

// `fields` is a tuple of fields, in the order of the attributes.
template <class Fields, class Record>
void Write(const platform::XmlNode& element, const Fields& fields, const Record& record) {
  std::apply([&](const auto&... field) { (WriteField(element, field, record), ...); }, fields);
}
template <class Fields, class Record>
void Read(const platform::XmlNode& element, const Fields& fields, Record& record) {
  std::apply([&](const auto&... field) { (ReadField(element, field, record), ...); }, fields);
}

// GetXML and SetXML of a class whose root element is called as its module in the trail.
template <class T>
std::string GetXML(std::string_view module, T& object) {
  return Traced(ProcedureName{module, "GetXML"}, [&] {
    const auto document = XMLSupport::MakeXMLDocument();
    return document->Xml(object.CreateXMLNode(Friend{}, *document));
  });
}
template <class T>
bool SetXML(std::string_view module, T& object, std::string_view XML) {
  return Traced(ProcedureName{module, "SetXML"}, [&] {
    return object.SetXMLNode(Friend{}, XMLSupport::GetXMLSingleNode(XML, module).node);
  });
}

// What a result holds beside its figures: a new object filled from the node, or null without one.
// It is in its place before it is filled. `entry` is the reader's name in the trail.
template <class T>
void SetObjectXMLNode(std::string_view entry, const platform::XmlNode& Node,
                      std::shared_ptr<T>& object) {
  Traced(entry, [&] {
    object = nullptr;
    if (!Node) return;
    object = std::make_shared<T>();
    object->SetXMLNode(Friend{}, Node);
  });
}

}  // namespace orvspc::settings_xml
