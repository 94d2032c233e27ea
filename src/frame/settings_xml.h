// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>

#include "frame/DateText.h"
#include "frame/Friend.h"
#include "frame/Outside.h"
#include "frame/Trail.h"
#include "frame/XMLSupport.h"
#include "platform/FixedText.h"
#include "platform/WireDouble.h"

// Settings and rows as the attributes of an element: one table of members is the writer and the
// reader.
namespace orvspc::settings_xml {

template <class T>
constexpr bool kIsDouble = std::is_same_v<T, double> || std::is_same_v<T, platform::WireDouble>;

// A flag goes as 1 or 0, an enumeration as its number, a fixed text whole with its padding.
template <class T>
void WriteValue(const platform::XmlNode& element, std::string_view attribute, const T& value) {
  if constexpr (kIsDouble<T>) {
    XMLSupport::SetXMLAttribute(element, attribute, double{value});
  } else if constexpr (std::is_array_v<T>) {
    XMLSupport::SetXMLAttribute(element, attribute, platform::FixedTextToUtf8(value));
  } else if constexpr (std::is_same_v<T, std::string>) {
    XMLSupport::SetXMLAttribute(element, attribute, std::string_view(value));
  } else {
    XMLSupport::SetXMLAttribute(element, attribute, static_cast<std::int32_t>(value));
  }
}

// A missing attribute leaves the value as it was.
template <class T>
void ReadValue(const platform::XmlNode& element, std::string_view attribute, T& value) {
  if constexpr (std::is_array_v<T>) {
    if (const auto text = XMLSupport::AttributeText(element, attribute))
      platform::StoreFixedText(value, *text);
  } else if constexpr (kIsDouble<T>) {
    value = XMLSupport::ReadDouble(element, attribute, value);
  } else if constexpr (std::is_same_v<T, bool>) {
    value = XMLSupport::ReadBoolean(element, attribute, value);
  } else if constexpr (std::is_same_v<T, std::string>) {
    value = XMLSupport::ReadText(element, attribute, value);
  } else {
    value = static_cast<T>(XMLSupport::ReadInt32(element, attribute, value));
  }
}

// One attribute and its member. A few are read under another name than they are written.
template <class Record, class T>
struct Field {
  std::string_view attribute;
  T Record::*member;
  std::string_view read = attribute;

  void Write(const platform::XmlNode& element, const Record& record) const {
    WriteValue(element, attribute, record.*member);
  }
  void Read(const platform::XmlNode& element, Record& record) const {
    ReadValue(element, read, record.*member);
  }
};
// Deduction guides, since clang 14 deduces none of its own.
template <class Record, class T>
Field(const char*, T Record::*) -> Field<Record, T>;
template <class Record, class T>
Field(const char*, T Record::*, const char*) -> Field<Record, T>;

// A date, which is written as one.
template <class Record>
struct DateField {
  std::string_view attribute;
  double Record::*member;

  void Write(const platform::XmlNode& element, const Record& record) const {
    WriteValue(element, attribute, DateToText(record.*member));
  }
  void Read(const platform::XmlNode& element, Record& record) const {
    if (const auto text = XMLSupport::AttributeText(element, attribute))
      record.*member = TextToDate(*text);
  }
};
template <class Record>
DateField(const char*, double Record::*) -> DateField<Record>;

// A fixed text without its padding.
// Deliberate: reading an attribute, too, trims the present text first, for the default.
template <class Record, std::size_t N>
struct TrimmedField {
  std::string_view attribute;
  char16_t (Record::*member)[N];

  void Write(const platform::XmlNode& element, Record& record) const {
    WriteValue(element, attribute, TrimFixedField(record.*member));
  }
  void Read(const platform::XmlNode& element, Record& record) const {
    std::string text = TrimFixedField(record.*member);
    ReadValue(element, attribute, text);
    platform::StoreFixedText(record.*member, text);
  }
};
template <class Record, std::size_t N>
TrimmedField(const char*, char16_t (Record::*)[N]) -> TrimmedField<Record, N>;

// One element of an array.
template <class Record, class T, std::size_t N>
struct ItemField {
  std::string_view attribute;
  T (Record::*member)[N];
  std::size_t index;

  void Write(const platform::XmlNode& element, const Record& record) const {
    WriteValue(element, attribute, (record.*member)[index]);
  }
  void Read(const platform::XmlNode& element, Record& record) const {
    ReadValue(element, attribute, (record.*member)[index]);
  }
};
template <class Record, class T, std::size_t N>
ItemField(const char*, T (Record::*)[N], int) -> ItemField<Record, T, N>;

// `fields` is a tuple of fields, in the order of the attributes.
template <class Fields, class Record>
void Write(const platform::XmlNode& element, const Fields& fields, Record& record) {
  std::apply([&](const auto&... field) { (field.Write(element, record), ...); }, fields);
}
template <class Fields, class Record>
void Read(const platform::XmlNode& element, const Fields& fields, Record& record) {
  std::apply([&](const auto&... field) { (field.Read(element, record), ...); }, fields);
}

// A new element of that name with the fields of the record.
template <class Fields, class Record>
platform::XmlNode CreateElement(platform::XmlDocument& document, std::string_view name,
                                const Fields& fields, Record& record) {
  const platform::XmlNode element = document.CreateElement(name);
  Write(element, fields, record);
  return element;
}

// The rows that the child elements of that name hold. Without one it fails with 9.
// Deliberate: an absent attribute stays 0.
template <class Fields, class Row>
void ReadRows(const platform::XmlNode& node, std::string_view name, const Fields& fields,
              Array<Row>& rows) {
  rows.Dimension(0, std::int64_t{XMLSupport::CountChildren(node, name)} - 1);
  Row* row = rows.Elements().data();
  XMLSupport::ForEachChild(
      node, name, [&](const platform::XmlNode& element) { Read(element, fields, *row++); });
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
// It is in its place before it is filled.
template <class T>
void SetObjectXMLNode(const platform::XmlNode& Node, std::shared_ptr<T>& object) {
  object = nullptr;
  if (!Node) return;
  if constexpr (std::is_default_constructible_v<T>) {
    object = std::make_shared<T>();
  } else {
    object = std::make_shared<T>(Friend{});
  }
  object->SetXMLNode(Friend{}, Node);
}
// The same under the reader's name in the trail.
template <class T>
void SetObjectXMLNode(std::string_view entry, const platform::XmlNode& Node,
                      std::shared_ptr<T>& object) {
  Traced(entry, [&] { SetObjectXMLNode(Node, object); });
}

}  // namespace orvspc::settings_xml
