// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/Object.h"

namespace orvspc::platform {

class XmlDocument;

// A cheap handle on a node of a document, valid while the document lives. A default one is null.
struct XmlNode {
  XmlDocument* document = nullptr;
  void* id = nullptr;

  explicit operator bool() const { return id != nullptr; }
  friend bool operator==(const XmlNode&, const XmlNode&) = default;
};

// An XML document and the operations on its nodes. Every text is UTF-8. Failures are thrown as
// ExternalFailure; an operation on a null node fails with 91.
//
// Text of a node: no declaration, no blanks between elements, <a/> for empty, double quotes,
// &amp; &lt; &gt; &quot;, tab, line feed and carriage return as &#9; &#10; &#13;, other control
// characters, U+FFFE and U+FFFF as a blank, attributes in the order in which they were set.
// Input is strict: whatever is not well-formed XML 1.0, has a document type declaration, or
// declares an encoding other than UTF-8 or US-ASCII is malformed; one leading byte-order mark is
// skipped; depth is bounded.
class XmlDocument : public Object {
 public:
  // False when the text is malformed; the document is then empty.
  virtual bool LoadXml(std::string_view text) = 0;

  // An element that is not attached to anything yet.
  virtual XmlNode CreateElement(std::string_view name) = 0;
  virtual void AppendChild(XmlNode parent, XmlNode child) = 0;

  // Setting a name again replaces its value and keeps its place.
  virtual void SetAttribute(XmlNode element, std::string_view name, std::string_view text) = 0;
  // Empty when the attribute is missing. The view lives as long as the attribute.
  virtual std::optional<std::string_view> Attribute(XmlNode element, std::string_view name) = 0;

  // The document's root element if it has that name, else null.
  virtual XmlNode SelectRoot(std::string_view name) = 0;
  // The root element whatever its name; null when there is none.
  virtual XmlNode Root() = 0;
  // The first child element of that name, else null.
  virtual XmlNode SelectSingleNode(XmlNode parent, std::string_view name) = 0;
  // The next sibling element of that name, else null. With SelectSingleNode this walks all child
  // elements of a name in document order.
  virtual XmlNode NextNode(XmlNode node, std::string_view name) = 0;
  // The next element of that name behind current (null: from the start) among all descendants of
  // ancestor, in document order, else null.
  virtual XmlNode NextDescendant(XmlNode ancestor, XmlNode current, std::string_view name) = 0;

  virtual std::string Name(XmlNode element) = 0;
  virtual std::string Xml(XmlNode node) = 0;
};

}  // namespace orvspc::platform
