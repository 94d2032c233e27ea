// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <cstddef>
#include <utility>

#include "engine/dom/characters.h"
#include "engine/dom/tree.h"

namespace orvspc::engine::dom {
namespace {

constexpr std::pair<char, std::string_view> kEscapes[] = {
    {'&', "&amp;"}, {'<', "&lt;"},   {'>', "&gt;"},  {'"', "&quot;"},
    {'\t', "&#9;"}, {'\n', "&#10;"}, {'\r', "&#13;"}};

// Characters that are written as entities.
constexpr std::array<bool, 256> Special() {
  std::array<bool, 256> special{};
  for (std::size_t c = 0; c < 0x20; ++c) special[c] = true;
  for (std::size_t c = 0x80; c < 0x100; ++c) special[c] = true;
  for (const auto& escape : kEscapes) special[static_cast<unsigned char>(escape.first)] = true;
  return special;
}

constexpr auto kSpecial = Special();

std::string_view Escaped(char c) {
  for (const auto& [character, text] : kEscapes)
    if (character == c) return text;
  return " ";  // a control character
}

class Writer {
 public:
  explicit Writer(const Tree& tree) : tree_(tree) {}

  std::string Node(Id top) {
    // An element without a parent is what a document was built for, so the size is known.
    if (tree_.NodeAt(top).parent == 0) out_.reserve(tree_.PlainSize());
    for (Id at = top;;) {
      const dom::Node& node = tree_.NodeAt(at);
      Begin(node);
      if (node.first_child != 0) {
        at = node.first_child;
        continue;
      }
      while (at != top && tree_.NodeAt(at).next == 0) {
        at = tree_.NodeAt(at).parent;
        End(tree_.NodeAt(at));
      }
      if (at == top) break;
      at = tree_.NodeAt(at).next;
    }
    Flush();
    return std::move(out_);
  }

 private:
  void Begin(const dom::Node& node) {
    if (node.name == 0) {
      Escape(tree_.AttributeAt(node.first_attribute).Text());
      return;
    }
    Put("<");
    Put(tree_.NameAt(node.name).Text());
    for (Id id = node.first_attribute; id != 0;) {
      const Attribute& attribute = tree_.AttributeAt(id);
      Put(tree_.NameAt(attribute.name).start);
      Escape(attribute.Text());
      Put("\"");
      id = attribute.next;
    }
    Put(node.first_child == 0 ? "/>" : ">");
  }

  void End(const dom::Node& node) {
    Put("</");
    Put(tree_.NameAt(node.name).Text());
    Put(">");
  }

  void Put(std::string_view text) {
    if (text.size() > sizeof buffer_ - size_) {
      Flush();
      if (text.size() > sizeof buffer_) {
        out_ += text;
        return;
      }
    }
    size_ += text.copy(buffer_ + size_, text.size());
  }

  void Flush() {
    out_.append(buffer_, size_);
    size_ = 0;
  }

  void Escape(std::string_view text) {
    std::size_t plain = 0;  // begin of the run that is written as it is
    for (std::size_t at = 0; at < text.size();) {
      const auto c = static_cast<unsigned char>(text[at]);
      if (!kSpecial[c]) {
        ++at;
        continue;
      }
      std::size_t next = at;
      char32_t point = 0;
      const bool valid = TakeUtf8(text, next, point);
      if (valid && point >= 0x80 && IsCharacter(point)) {
        at = next;
        continue;
      }
      Put(text.substr(plain, at - plain));
      if (!valid) {
        Put("\xEF\xBF\xBD");  // no UTF-8: the replacement character
        next = at + 1;
      } else {
        Put(Escaped(point < 0x80 ? text[at] : '\0'));
      }
      at = plain = next;
    }
    Put(text.substr(plain));
  }

  const Tree& tree_;
  std::string out_;
  char buffer_[16 * 1024];
  std::size_t size_ = 0;
};

}  // namespace

std::string Write(const Tree& tree, Id node) { return Writer(tree).Node(node); }

}  // namespace orvspc::engine::dom
