// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "frame/Array.h"
#include "frame/Checked.h"
#include "platform/Dom.h"

// What all persisting classes share: finding a root in a text, attributes with a default, and
// number arrays as text.
namespace orvspc::XMLSupport {

// A node together with the document that it lives in.
struct FoundNode {
  std::shared_ptr<platform::XmlDocument> document;
  platform::XmlNode node;
};

// The attribute's text, or the typed default if it is missing.
using Variant = std::variant<std::monostate, std::int32_t, double, bool, std::string>;

// An empty document of the platform in force.
std::shared_ptr<platform::XmlDocument> MakeXMLDocument();

// Parses the text and finds its root. A malformed text and another root both fail with
// "Node does not exist!", with the name in the trail.
FoundNode GetXMLSingleNode(std::string_view XML, std::string_view Node);

Variant GetXMLAttributeValue(const platform::XmlNode& Element, std::string_view Attribute,
                             const Variant& Default);

// The document of a node; a null node fails with 91.
platform::XmlDocument& DocumentOf(const platform::XmlNode& node);

// The attribute's text in place, empty when it is missing. Fails as GetXMLAttributeValue does.
std::optional<std::string_view> AttributeText(const platform::XmlNode& element,
                                              std::string_view name);

// The attribute converted to the type of the member, or the default when it is missing. A text that
// does not convert fails with 13 or 6, without an entry of its own in the trail.
std::int32_t ReadInt32(const platform::XmlNode& element, std::string_view name,
                       std::int32_t missing);
std::int16_t ReadInt16(const platform::XmlNode& element, std::string_view name,
                       std::int16_t missing);
double ReadDouble(const platform::XmlNode& element, std::string_view name, double missing);
bool ReadBoolean(const platform::XmlNode& element, std::string_view name, bool missing);
std::string ReadText(const platform::XmlNode& element, std::string_view name,
                     std::string_view missing);

// The value as text. A boolean or a number of an enumeration goes as an integer: 1 and 0.
void SetXMLAttribute(const platform::XmlNode& element, std::string_view name, std::int32_t value);
void SetXMLAttribute(const platform::XmlNode& element, std::string_view name, double value);
void SetXMLAttribute(const platform::XmlNode& element, std::string_view name,
                     std::string_view text);

// Calls body(node) for each child element of that name, in document order. A null node has none.
template <class Body>
void ForEachChild(const platform::XmlNode& node, std::string_view name, Body&& body) {
  if (!node) return;
  platform::XmlDocument& document = DocumentOf(node);
  for (platform::XmlNode child = document.SelectSingleNode(node, name); child;
       child = document.NextNode(child, name)) {
    body(child);
  }
}

// The number of child elements of that name.
std::int32_t CountChildren(const platform::XmlNode& node, std::string_view name);

// Dimensions Values for the pieces between blanks (two blanks in a row give an empty one) and fills
// it with read(piece). Returns the number of pieces. An empty text has none, and an array of none
// fails with 9.
template <class T, class Read>
std::int32_t SplitNumbers(std::string_view Text, Array<T>& Values, Read&& read) {
  const std::int32_t count =
      Text.empty() ? 0 : checked::Narrow(std::count(Text.begin(), Text.end(), ' ') + 1);
  Values.Dimension(0, std::int64_t{count} - 1);
  for (T& value : Values.Elements()) {
    const std::size_t blank = Text.find(' ');
    value = read(Text.substr(0, blank));
    Text.remove_prefix(blank == std::string_view::npos ? Text.size() : blank + 1);
  }
  return count;
}

// The pieces between blanks, read from the left. An empty text leaves Values alone and gives false.
bool ConvertStringToLongArray(std::string_view Text, Array<std::int32_t>& Values);
// The same; returns the number of pieces.
std::int32_t ConvertStringToDoubleArray(std::string_view Text, Array<double>& Values);

// The elements with one blank between them; empty for an array that was never dimensioned.
std::string ConvertLongArrayToString(const Array<std::int32_t>& Values);
std::string ConvertDoubleArrayToString(const Array<double>& Values);

}  // namespace orvspc::XMLSupport
