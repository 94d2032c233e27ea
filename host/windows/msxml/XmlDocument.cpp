// SPDX-License-Identifier: Apache-2.0
#include "host/windows/msxml/XmlDocument.h"

#include <msxml2.h>

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "frame/Failure.h"
#include "host/windows/com/Create.h"
#include "host/windows/com/Handles.h"
#include "host/windows/com/Pointer.h"
#include "host/windows/com/automation.h"
#include "host/windows/msxml/layout.h"
#include "platform/ExternalFailure.h"

namespace orvspc::windows::com {

template <>
const IID& InterfaceId<IXMLDOMNode>() {
  return IID_IXMLDOMNode;
}
template <>
const IID& InterfaceId<IXMLDOMElement>() {
  return IID_IXMLDOMElement;
}
template <>
const IID& InterfaceId<IXMLDOMAttribute>() {
  return IID_IXMLDOMAttribute;
}
template <>
const IID& InterfaceId<IXMLDOMNamedNodeMap>() {
  return IID_IXMLDOMNamedNodeMap;
}
template <>
const IID& InterfaceId<IXMLDOMDocument>() {
  return IID_IXMLDOMDocument;
}

}  // namespace orvspc::windows::com

namespace orvspc::windows::msxml {
namespace {

using com::Call;
using com::Pointer;
using com::Text;
using platform::XmlNode;

constexpr std::int32_t kInvalidCall = 5;

[[noreturn]] void Fail(std::int32_t number, const char* description) {
  throw platform::ExternalFailure(number, "msxml3", description);
}

// A name that msxml3 was asked for, converted once.
struct Name {
  std::string utf8;
  Text text;
};

// An element and what is known of its place among elements. A node has one record, so the same
// element is always the same handle, and the way back up needs no question to msxml3.
struct Element {
  Pointer<IXMLDOMElement> object;
  Element* parent = nullptr;
  Element* first = nullptr;
  Element* last = nullptr;  // once all children are known
  Element* next = nullptr;
  bool knows_first = false, knows_next = false, knows_last = false;
  std::string name = {};
  // Texts of attributes that were handed out.
  std::vector<std::pair<const Name*, std::string_view>> attributes = {};
};

class Document final : public platform::XmlDocument {
 public:
  explicit Document(Pointer<IXMLDOMDocument> object) : object_(std::move(object)) {
    Call(object_.Get(), &IXMLDOMDocument::put_async, VARIANT_FALSE);
    Call(object_.Get(), &IXMLDOMDocument::put_validateOnParse, VARIANT_FALSE);
    Call(object_.Get(), &IXMLDOMDocument::put_resolveExternals, VARIANT_FALSE);
    Call(object_.Get(), &IXMLDOMDocument::put_preserveWhiteSpace, VARIANT_FALSE);
  }

  bool LoadXml(std::string_view text) override {
    root_ = nullptr;
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (text.substr(0, kByteOrderMark.size()) == kByteOrderMark)
      text.remove_prefix(kByteOrderMark.size());
    if (!IsReadable(text)) return false;
    VARIANT_BOOL loaded = VARIANT_FALSE;
    // Deliberate: whatever it fails with, the text could not be read.
    if (FAILED(object_->loadXML(Text(text).Get(), &loaded)) || loaded == VARIANT_FALSE)
      return false;
    Pointer<IXMLDOMElement> root;
    Call(object_.Get(), &IXMLDOMDocument::get_documentElement, root.Receive());
    if (!root) return false;
    // The prefix xml needs no declaration.
    has_prefixes_ = text.find("xmlns:") != std::string_view::npos ||
                    text.find("xml:") != std::string_view::npos;
    root_ = &Add(std::move(root), nullptr);
    root_->knows_next = true;
    return true;
  }

  XmlNode CreateElement(std::string_view name) override {
    Pointer<IXMLDOMElement> created;
    Call(object_.Get(), &IXMLDOMDocument::createElement, NameOf(name).text.Get(),
         created.Receive());
    Element& element = Add(std::move(created), nullptr, name);
    element.knows_first = element.knows_next = element.knows_last = true;
    return NodeOf(&element);
  }

  void AppendChild(XmlNode parent, XmlNode child) override {
    Element& above = ElementOf(parent);
    Element& below = ElementOf(child);
    if (&below == root_ || &below == &above || IsAbove(below, above))
      Fail(kInvalidCall, "A node cannot become its own descendant");
    // While the places are still those of msxml3.
    LastChild(above);
    if (below.parent != nullptr) LastChild(*below.parent);
    Pointer<IXMLDOMNode> appended;
    Call(above.object.Get(), &IXMLDOMElement::appendChild, below.object.Get(), appended.Receive());
    Detach(below);
    below.parent = &above;
    (above.last == nullptr ? above.first : above.last->next) = &below;
    above.last = &below;
  }

  void SetAttribute(XmlNode element, std::string_view name, std::string_view text) override {
    Element& owner = ElementOf(element);
    const auto& known = NameOf(name);
    const Text value(std::u16string_view(Writable(text)));
    VARIANT variant;
    VariantInit(&variant);
    variant.vt = VT_BSTR;
    variant.bstrVal = value.Get();
    Call(owner.object.Get(), &IXMLDOMElement::setAttribute, known.text.Get(), variant);
    std::erase_if(owner.attributes, [&](const auto& read) { return read.first == &known; });
  }

  std::optional<std::string_view> Attribute(XmlNode element, std::string_view name) override {
    Element& owner = ElementOf(element);
    const auto& known = NameOf(name);
    for (const auto& [read, text] : owner.attributes)
      if (read == &known) return text;
    com::Value value;
    if (!ReadValue(*owner.object.Get(), known, value)) return std::nullopt;
    const BSTR units = value.Get().vt == VT_BSTR ? value.Get().bstrVal : nullptr;
    const std::string& kept = texts_.emplace_back(platform::ToUtf8(Text::UnitsOf(units)));
    owner.attributes.emplace_back(&known, kept);
    return kept;
  }

  XmlNode SelectRoot(std::string_view name) override {
    return NodeOf(root_ != nullptr && root_->name == name ? root_ : nullptr);
  }

  XmlNode Root() override { return NodeOf(root_); }

  XmlNode SelectSingleNode(XmlNode parent, std::string_view name) override {
    return FirstNamed(FirstChild(ElementOf(parent)), name);
  }

  XmlNode NextNode(XmlNode node, std::string_view name) override {
    return FirstNamed(Next(ElementOf(node)), name);
  }

  XmlNode NextDescendant(XmlNode ancestor, XmlNode current, std::string_view name) override {
    Element& top = ElementOf(ancestor);
    Element* at = current ? &ElementOf(current) : &top;
    do {
      at = Following(at, top);
    } while (at != nullptr && at->name != name);
    return NodeOf(at);
  }

  std::string Name(XmlNode element) override { return ElementOf(element).name; }

  std::string Xml(XmlNode node) override {
    Text text;
    Call(ElementOf(node).object.Get(), &IXMLDOMElement::get_xml, text.Receive());
    return OneForm(text.Units());
  }

 private:
  XmlNode NodeOf(Element* element) {
    if (element == nullptr) return {};
    return {this, element};
  }

  Element& ElementOf(const XmlNode& node) const {
    if (!node) Fail(kMissingObject, "Missing object");
    if (node.document != this) Fail(kInvalidCall, "The node belongs to another document");
    return *static_cast<Element*>(node.id);
  }

  // The value of an attribute; false when there is none of that name.
  bool ReadValue(IXMLDOMElement& element, const msxml::Name& name, com::Value& value) const {
    Pointer<IXMLDOMAttribute> attribute;
    Call(&element, &IXMLDOMElement::getAttributeNode, name.text.Get(), attribute.Receive());
    if (attribute) {
      Call(attribute.Get(), &IXMLDOMAttribute::get_value, value.Receive());
      return true;
    }
    // Wine's does not find one beside another of the same name with a prefix.
    if (!has_prefixes_) return false;
    Pointer<IXMLDOMNamedNodeMap> all;
    Call(&element, &IXMLDOMElement::get_attributes, all.Receive());
    long count = 0;
    Call(all.Get(), &IXMLDOMNamedNodeMap::get_length, &count);
    for (long i = 0; i < count; ++i) {
      Pointer<IXMLDOMNode> node;
      Call(all.Get(), &IXMLDOMNamedNodeMap::get_item, i, node.Receive());
      Text found;
      Call(node.Get(), &IXMLDOMNode::get_nodeName, found.Receive());
      if (found.Units() != name.text.Units()) continue;
      Call(node.Get(), &IXMLDOMNode::get_nodeValue, value.Receive());
      return true;
    }
    return false;
  }

  const msxml::Name& NameOf(std::string_view name) {
    const auto found = names_.find(name);
    if (found != names_.end()) return found->second;
    msxml::Name known{std::string(name), Text(name)};
    return names_.emplace(std::string(name), std::move(known)).first->second;
  }

  Element& Add(Pointer<IXMLDOMElement> object, Element* parent, std::string_view name) {
    Element& element = elements_.emplace_back();
    element.object = std::move(object);
    element.parent = parent;
    element.name = name;
    return element;
  }

  Element& Add(Pointer<IXMLDOMElement> object, Element* parent) {
    Text name;
    Call(object.Get(), &IXMLDOMElement::get_nodeName, name.Receive());
    return Add(std::move(object), parent, name.Utf8());
  }

  // The first element from the node on among its siblings, as a child of parent.
  Element* FirstElement(Pointer<IXMLDOMNode> node, Element* parent) {
    while (node) {
      if (auto element = com::Query<IXMLDOMElement>(node.Get(), IID_IXMLDOMElement))
        return &Add(std::move(element), parent);
      Pointer<IXMLDOMNode> next;
      Call(node.Get(), &IXMLDOMNode::get_nextSibling, next.Receive());
      node = std::move(next);
    }
    return nullptr;
  }

  Element* FirstChild(Element& element) {
    if (!element.knows_first) {
      Pointer<IXMLDOMNode> node;
      Call(element.object.Get(), &IXMLDOMElement::get_firstChild, node.Receive());
      element.first = FirstElement(std::move(node), &element);
      element.knows_first = true;
    }
    return element.first;
  }

  Element* Next(Element& element) {
    if (!element.knows_next) {
      Pointer<IXMLDOMNode> node;
      Call(element.object.Get(), &IXMLDOMElement::get_nextSibling, node.Receive());
      element.next = FirstElement(std::move(node), element.parent);
      element.knows_next = true;
    }
    return element.next;
  }

  Element* LastChild(Element& element) {
    if (!element.knows_last) {
      for (Element* at = FirstChild(element); at != nullptr; at = Next(*at)) element.last = at;
      element.knows_last = true;
    }
    return element.last;
  }

  // Out of the children of its parent, all of which are known.
  static void Detach(Element& element) {
    if (element.parent == nullptr) return;
    Element& above = *element.parent;
    Element* before = nullptr;
    for (Element* at = above.first; at != &element; at = at->next) before = at;
    (before == nullptr ? above.first : before->next) = element.next;
    if (above.last == &element) above.last = before;
    element.parent = element.next = nullptr;
  }

  static bool IsAbove(const Element& element, const Element& descendant) {
    if (element.knows_first && element.first == nullptr) return false;
    const Element* at = descendant.parent;
    while (at != nullptr && at != &element) at = at->parent;
    return at != nullptr;
  }

  // The next element after this one in document order, inside top.
  Element* Following(Element* at, Element& top) {
    if (Element* const child = FirstChild(*at)) return child;
    while (at != nullptr && at != &top && Next(*at) == nullptr) at = at->parent;
    return at == nullptr || at == &top ? nullptr : at->next;
  }

  XmlNode FirstNamed(Element* at, std::string_view name) {
    while (at != nullptr && at->name != name) at = Next(*at);
    return NodeOf(at);
  }

  Pointer<IXMLDOMDocument> object_;
  std::map<std::string, msxml::Name, std::less<>> names_;
  std::deque<Element> elements_;
  std::deque<std::string> texts_;
  Element* root_ = nullptr;
  bool has_prefixes_ = false;  // the text that was read may have some
};

}  // namespace

std::shared_ptr<platform::XmlDocument> MakeXmlDocument() {
  auto object = com::Create<IXMLDOMDocument>({L"Msxml2.DOMDocument.3.0", L"Msxml2.DOMDocument"});
  return std::make_shared<Document>(std::move(object));
}

}  // namespace orvspc::windows::msxml
