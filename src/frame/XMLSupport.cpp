// SPDX-License-Identifier: Apache-2.0
#include "frame/XMLSupport.h"

#include "frame/Checked.h"
#include "frame/Failure.h"
#include "frame/NumberText.h"
#include "frame/Outside.h"
#include "frame/Trail.h"

namespace orvspc::XMLSupport {
namespace {

template <class T>
std::string JoinNumbers(const Array<T>& values) {
  std::string text;
  for (const T value : values.Elements()) {
    if (!text.empty()) text += ' ';
    text += NumberText(value).View();
  }
  return text;
}

}  // namespace

std::shared_ptr<platform::XmlDocument> MakeXMLDocument() {
  return PlatformInForce()->MakeXmlDocument();
}

FoundNode GetXMLSingleNode(std::string_view XML, std::string_view Node) {
  const auto name = [&] { return "XMLSupport.GetXMLSingleNode(Node=" + std::string(Node) + ")"; };
  return Traced(name, [&] {
    FoundNode found;
    found.document = MakeXMLDocument();
    // Deliberate: a malformed text and a missing root fail alike.
    found.document->LoadXml(XML);
    found.node = found.document->SelectRoot(Node);
    if (!found.node) FailMessage("Node does not exist!");
    return found;
  });
}

Variant GetXMLAttributeValue(const platform::XmlNode& Element, std::string_view Attribute,
                             const Variant& Default) {
  const std::optional<std::string_view> text = AttributeText(Element, Attribute);
  return text ? Variant(std::string(*text)) : Default;
}

platform::XmlDocument& DocumentOf(const platform::XmlNode& node) {
  if (!node || node.document == nullptr) FailMissingObject();
  return *node.document;
}

std::optional<std::string_view> AttributeText(const platform::XmlNode& element,
                                              std::string_view name) {
  const auto entry = [&] {
    return "XMLSupport.GetXMLAttributeValue(Attribute=" + std::string(name) + ")";
  };
  return Traced(entry, [&] { return DocumentOf(element).Attribute(element, name); });
}

std::int32_t ReadInt32(const platform::XmlNode& element, std::string_view name,
                       std::int32_t missing) {
  const auto text = AttributeText(element, name);
  return text ? ToInt32(*text) : missing;
}

std::int16_t ReadInt16(const platform::XmlNode& element, std::string_view name,
                       std::int16_t missing) {
  const auto text = AttributeText(element, name);
  return text ? ToInt16(*text) : missing;
}

double ReadDouble(const platform::XmlNode& element, std::string_view name, double missing) {
  const auto text = AttributeText(element, name);
  return text ? ToDouble(*text) : missing;
}

bool ReadBoolean(const platform::XmlNode& element, std::string_view name, bool missing) {
  const auto text = AttributeText(element, name);
  return text ? ToBoolean(*text) : missing;
}

std::string ReadText(const platform::XmlNode& element, std::string_view name,
                     std::string_view missing) {
  return std::string(AttributeText(element, name).value_or(missing));
}

void SetXMLAttribute(const platform::XmlNode& element, std::string_view name, std::int32_t value) {
  DocumentOf(element).SetAttribute(element, name, NumberText(value));
}

void SetXMLAttribute(const platform::XmlNode& element, std::string_view name, double value) {
  DocumentOf(element).SetAttribute(element, name, NumberText(value));
}

void SetXMLAttribute(const platform::XmlNode& element, std::string_view name,
                     std::string_view text) {
  DocumentOf(element).SetAttribute(element, name, text);
}

std::int32_t CountChildren(const platform::XmlNode& node, std::string_view name) {
  std::int64_t count = 0;
  ForEachChild(node, name, [&count](const platform::XmlNode&) { ++count; });
  return checked::Narrow(count);
}

bool ConvertStringToLongArray(std::string_view Text, Array<std::int32_t>& Values) {
  return Traced("XMLSupport.ConvertStringToLongArray",
                [&] { return !Text.empty() && SplitNumbers(Text, Values, LeadingInt32) > 0; });
}

std::int32_t ConvertStringToDoubleArray(std::string_view Text, Array<double>& Values) {
  return Traced("XMLSupport.ConvertStringToDoubleArray",
                [&] { return Text.empty() ? 0 : SplitNumbers(Text, Values, LeadingDouble); });
}

std::string ConvertLongArrayToString(const Array<std::int32_t>& Values) {
  return Traced("XMLSupport.ConvertLongArrayToString", [&] { return JoinNumbers(Values); });
}

std::string ConvertDoubleArrayToString(const Array<double>& Values) {
  return Traced("XMLSupport.ConvertDoubleArrayToString", [&] { return JoinNumbers(Values); });
}

}  // namespace orvspc::XMLSupport
