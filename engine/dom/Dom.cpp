// SPDX-License-Identifier: Apache-2.0
#include "engine/dom/Dom.h"

#include <cstdint>
#include <utility>

#include "engine/dom/characters.h"
#include "engine/dom/tree.h"
#include "platform/ExternalFailure.h"

namespace orvspc::engine::dom {
namespace {

using platform::XmlNode;

constexpr std::int32_t kMissingObject = 91, kInvalidCall = 5;

[[noreturn]] void Fail(std::int32_t number, const char* description) {
  throw platform::ExternalFailure(number, "orvXml", description);
}

class Document final : public platform::XmlDocument {
 public:
  bool LoadXml(std::string_view text) override {
    Reset();
    root_ = Parse(text, tree_);
    if (root_ == 0) Reset();
    return root_ != 0;
  }

  XmlNode CreateElement(std::string_view name) override {
    return NodeOf(tree_.AddNode(ElementName(name)));
  }

  void AppendChild(XmlNode parent, XmlNode child) override {
    const Id above = IdOf(parent);
    const Id below = IdOf(child);
    if (below == root_ || below == above || IsAbove(below, above))
      Fail(kInvalidCall, "A node cannot become its own descendant");
    tree_.Detach(below);
    tree_.Append(above, below);
  }

  void SetAttribute(XmlNode element, std::string_view name, std::string_view text) override {
    const Id node = IdOf(element);
    const Id id = AttributeName(node, name);
    // Whether the element has the attribute is known without a search for the element whose
    // attributes are being set one after the other.
    if (node != current_ && tree_.NodeAt(node).first_attribute == 0) {
      current_ = node;
      before_ = 0;
    }
    std::uint32_t& seen = tree_.NameAt(id).seen;
    if (node != current_ || seen == node) {
      if (const Id present = Find(node, name)) {
        Replace(present, text);
        return;
      }
    }
    if (node == current_) {
      seen = node;
      Id& guess = before_ == 0 ? tree_.NameAt(tree_.NodeAt(node).name).next_attribute
                               : tree_.NameAt(before_).next_attribute;
      guess = id;
      before_ = id;
    }
    tree_.AddAttribute(node, id, tree_.Keep(text));
  }

  std::optional<std::string_view> Attribute(XmlNode element, std::string_view name) override {
    const Id found = Find(IdOf(element), name);
    if (found == 0) return std::nullopt;
    return tree_.AttributeAt(found).Text();
  }

  XmlNode SelectRoot(std::string_view name) override {
    return NodeOf(root_ != 0 && tree_.IsNamed(root_, name) ? root_ : 0);
  }

  XmlNode Root() override { return NodeOf(root_); }

  XmlNode SelectSingleNode(XmlNode parent, std::string_view name) override {
    return FirstNamed(tree_.NodeAt(IdOf(parent)).first_child, name);
  }

  XmlNode NextNode(XmlNode node, std::string_view name) override {
    return FirstNamed(tree_.NodeAt(IdOf(node)).next, name);
  }

  XmlNode NextDescendant(XmlNode ancestor, XmlNode current, std::string_view name) override {
    const Id top = IdOf(ancestor);
    Id at = current ? IdOf(current) : top;
    do {
      at = Following(at, top);
    } while (at != 0 && !tree_.IsNamed(at, name));
    return NodeOf(at);
  }

  std::string Name(XmlNode element) override {
    const Id name = tree_.NodeAt(IdOf(element)).name;
    return std::string(tree_.NameAt(name).Text());
  }

  std::string Xml(XmlNode node) override { return Write(tree_, IdOf(node)); }

 private:
  void Reset() {
    tree_ = Tree();
    root_ = found_node_ = found_ = current_ = before_ = 0;
  }

  // A handle carries the number of the node in place of an address.
  XmlNode NodeOf(Id id) {
    if (id == 0) return {};
    const auto number = static_cast<std::uintptr_t>(id);
    return {this, reinterpret_cast<void*>(number)};  // NOLINT(performance-no-int-to-ptr)
  }

  Id IdOf(const XmlNode& node) const {
    if (!node) Fail(kMissingObject, "Missing object");
    const auto number = reinterpret_cast<std::uintptr_t>(node.id);
    if (node.document != this || number > tree_.LastNode())
      Fail(kInvalidCall, "The node belongs to another document");
    return static_cast<Id>(number);
  }

  static void Validate(std::string_view name) {
    if (name.empty() || NameLength(name) != name.size()) Fail(kInvalidCall, "Invalid name");
  }

  // Rows repeat, so the name of an element is mostly that of the one before.
  Id ElementName(std::string_view name) {
    const Id last = tree_.LastNode();
    if (last != 0 && tree_.IsNamed(last, name)) return tree_.NodeAt(last).name;
    Validate(name);
    return tree_.NameOf(name);
  }

  Id AttributeName(Id node, std::string_view name) {
    if (node == current_ || tree_.NodeAt(node).first_attribute == 0) {
      const Id before = node == current_ && before_ != 0 ? before_ : tree_.NodeAt(node).name;
      const Id guess = tree_.NameAt(before).next_attribute;
      if (guess != 0 && tree_.NameAt(guess).Text() == name) return guess;
    }
    Validate(name);
    return tree_.NameOf(name);
  }

  void Replace(Id attribute, std::string_view text) {
    if (text.size() > UINT32_MAX) throw std::length_error("text too long");
    const std::string_view kept = tree_.Keep(text);
    tree_.AttributeAt(attribute).text = kept.data();
    tree_.AttributeAt(attribute).size = static_cast<std::uint32_t>(kept.size());
  }

  // Attributes are mostly read in their order, so the search goes on behind the one found last.
  Id Find(Id node, std::string_view name) {
    const Id first = tree_.NodeAt(node).first_attribute;
    const Id start = node == found_node_ ? tree_.AttributeAt(found_).next : first;
    Id found = FindFrom(start, 0, name);
    if (found == 0 && start != first) found = FindFrom(first, start, name);
    if (found != 0) {
      found_node_ = node;
      found_ = found;
    }
    return found;
  }

  Id FindFrom(Id first, Id end, std::string_view name) const {
    for (Id id = first; id != end; id = tree_.AttributeAt(id).next) {
      if (tree_.NameAt(tree_.AttributeAt(id).name).Text() == name) return id;
    }
    return 0;
  }

  XmlNode FirstNamed(Id id, std::string_view name) {
    while (id != 0 && !tree_.IsNamed(id, name)) id = tree_.NodeAt(id).next;
    return NodeOf(id);
  }

  // The node behind this one in document order, inside top.
  Id Following(Id at, Id top) const {
    if (tree_.NodeAt(at).first_child != 0) return tree_.NodeAt(at).first_child;
    while (at != 0 && at != top && tree_.NodeAt(at).next == 0) at = tree_.NodeAt(at).parent;
    return at == 0 || at == top ? 0 : tree_.NodeAt(at).next;
  }

  bool IsAbove(Id node, Id descendant) const {
    if (tree_.NodeAt(node).first_child == 0) return false;
    Id at = tree_.NodeAt(descendant).parent;
    while (at != 0 && at != node) at = tree_.NodeAt(at).parent;
    return at == node;
  }

  Tree tree_;
  Id root_ = 0;
  Id found_node_ = 0, found_ = 0;  // where the last attribute was found
  Id current_ = 0;                 // element whose attributes are being set
  Id before_ = 0;                  // name of its last attribute
};

}  // namespace

std::shared_ptr<platform::XmlDocument> MakeXmlDocument() { return std::make_shared<Document>(); }

}  // namespace orvspc::engine::dom
