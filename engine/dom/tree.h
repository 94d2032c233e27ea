// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

// The nodes of one document as plain records in large blocks, bound by numbers instead of pointers:
// a node takes 28 bytes and an attribute 24. Texts are parsed into it and written from it.
namespace orvspc::engine::dom {

using Id = std::uint32_t;  // 0: none

// Records that keep their address, numbered from 1.
template <class T>
class Pool {
 public:
  T& operator[](Id id) { return blocks_[id >> kShift][id & kMask]; }
  const T& operator[](Id id) const { return blocks_[id >> kShift][id & kMask]; }
  Id Last() const { return last_; }

  Id Add() {
    if (last_ == UINT32_MAX) throw std::length_error("too many nodes");
    const Id id = last_ + 1;
    if ((id >> kShift) == blocks_.size())
      blocks_.push_back(std::make_unique_for_overwrite<T[]>(std::size_t{1} << kShift));
    last_ = id;
    return id;
  }

 private:
  static constexpr unsigned kShift = 9;
  static constexpr Id kMask = (1U << kShift) - 1;

  std::vector<std::unique_ptr<T[]>> blocks_;
  Id last_ = 0;
};

struct Node {
  Id name;  // none: a text, which is in the first attribute
  Id parent, first_child, last_child, next;
  Id first_attribute, last_attribute;
};

struct Attribute {
  const char* text;
  std::uint32_t size;
  Id name;
  Id next;

  std::string_view Text() const { return {text, size}; }
};

// A name of elements or attributes, and what came after it last time: rows repeat, so the guess
// is nearly always right and spares the search for the name.
struct Name {
  std::string start;  // " name=\"", as an attribute begins
  Id next_attribute = 0;
  Id next_element = 0;
  std::uint32_t seen = 0;  // the element that had it last, for the search of duplicates

  std::string_view Text() const { return std::string_view(start).substr(1, start.size() - 3); }
};

class Tree {
 public:
  Node& NodeAt(Id id) { return nodes_[id]; }
  const Node& NodeAt(Id id) const { return nodes_[id]; }
  Attribute& AttributeAt(Id id) { return attributes_[id]; }
  const Attribute& AttributeAt(Id id) const { return attributes_[id]; }
  Name& NameAt(Id id) { return *names_[id - 1]; }
  const Name& NameAt(Id id) const { return *names_[id - 1]; }
  Id LastNode() const { return nodes_.Last(); }

  // The number of the name, which is valid.
  Id NameOf(std::string_view text);
  bool IsNamed(Id node, std::string_view name) const {
    const Id id = nodes_[node].name;
    return id != 0 && NameAt(id).Text() == name;
  }

  Id AddNode(Id name);
  // The text is kept where it is.
  Id AddAttribute(Id node, Id name, std::string_view text);
  // As the last child.
  void Append(Id parent, Id child);
  void Detach(Id child);

  // A copy that lives as long as the tree.
  std::string_view Keep(std::string_view text);
  // Memory that lives as long as the tree.
  char* Memory(std::size_t size);

  // Bytes that the whole would take as text if nothing had to be escaped.
  std::size_t PlainSize() const { return plain_size_; }

 private:
  Pool<Node> nodes_;
  Pool<Attribute> attributes_;
  std::vector<std::unique_ptr<Name>> names_;
  std::map<std::string_view, Id> numbers_;
  std::vector<std::unique_ptr<char[]>> chunks_;
  char* free_ = nullptr;
  std::size_t left_ = 0;
  std::size_t plain_size_ = 0;
};

// Levels of elements that a text may have.
inline constexpr int kMaxDepth = 256;

// Reads the text into the tree, which is empty. Returns the root element, or none when the text is
// malformed; the tree is then to be thrown away.
Id Parse(std::string_view text, Tree& tree);

// The text of a node and all below it.
std::string Write(const Tree& tree, Id node);

}  // namespace orvspc::engine::dom
