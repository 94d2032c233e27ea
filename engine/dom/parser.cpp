// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>

#include "engine/dom/characters.h"
#include "engine/dom/tree.h"

namespace orvspc::engine::dom {
namespace {

struct Malformed {};

[[noreturn]] void Fail() { throw Malformed(); }

using Stops = std::array<bool, 256>;

constexpr Stops MakeStops(std::string_view characters) {
  Stops stops{};
  for (const char c : characters) stops[static_cast<unsigned char>(c)] = true;
  return stops;
}

// Where the plain run of a text ends. The terminator of the text, a NUL, stops every run.
constexpr Stops kDoubleQuoted = MakeStops(std::string_view("\"<&\t\n\r\0", 7));
constexpr Stops kSingleQuoted = MakeStops(std::string_view("'<&\t\n\r\0", 7));
constexpr Stops kContent = MakeStops(std::string_view("<&]\r\0", 5));

bool EqualsIgnoringCase(std::string_view text, std::string_view lower) {
  return std::ranges::equal(
      text, lower, {}, [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
}

// One pass over a copy of the text, in which references are decoded in place. The copy ends with a
// NUL, which no text contains, so most checks need no look at the end. The characters themselves
// have been checked before.
class Parser {
 public:
  Parser(char* begin, char* end, bool ascii, Tree& tree)
      : tree_(tree), at_(begin), end_(end), ascii_(ascii) {}

  Id Document() {
    if (StartsWith("<?xml") && IsBlank(at_[5])) Declaration();
    Misc();
    if (*at_ != '<') Fail();
    ++at_;
    const Id root = StartTag();
    while (open_ != 0) Content();
    Misc();
    if (at_ != end_) Fail();
    return root;
  }

 private:
  std::string_view Rest() const { return {at_, static_cast<std::size_t>(end_ - at_)}; }

  bool StartsWith(std::string_view text) const { return Rest().substr(0, text.size()) == text; }

  void Expect(std::string_view text) {
    if (!StartsWith(text)) Fail();
    at_ += text.size();
  }

  bool SkipBlanks() {
    const char* const before = at_;
    while (IsBlank(*at_)) ++at_;
    return at_ != before;
  }

  // Moves behind the mark and returns what was before it.
  std::string_view Until(std::string_view mark) {
    const std::string_view rest = Rest();
    const std::size_t length = rest.find(mark);
    if (length == std::string_view::npos) Fail();
    at_ += length + mark.size();
    return rest.substr(0, length);
  }

  std::string_view Name() {
    const std::size_t length = NameLength(Rest());
    if (length == 0) Fail();
    const std::string_view name(at_, length);
    at_ += length;
    return name;
  }

  // A name that is most likely the guess.
  Id GuessedName(Id guess) {
    if (guess != 0) {
      const std::string_view text = tree_.NameAt(guess).Text();
      if (StartsWith(text)) {
        const char behind = at_[text.size()];
        if (behind == '=' || behind == ' ' || behind == '>' || behind == '/') {
          at_ += text.size();
          return guess;
        }
      }
    }
    return tree_.NameOf(Name());
  }

  void EqualSign() {
    SkipBlanks();
    Expect("=");
    SkipBlanks();
  }

  std::string_view DeclaredValue() {
    EqualSign();
    const char quote = *at_;
    if (quote != '"' && quote != '\'') Fail();
    ++at_;
    return Until({&quote, 1});
  }

  void Declaration() {
    at_ += 5;
    SkipBlanks();
    Expect("version");
    if (DeclaredValue() != "1.0") Fail();
    bool blank = SkipBlanks();
    if (blank && StartsWith("encoding")) {
      at_ += 8;
      const std::string_view encoding = DeclaredValue();
      const bool declared_ascii = EqualsIgnoringCase(encoding, "us-ascii");
      if (!declared_ascii && !EqualsIgnoringCase(encoding, "utf-8")) Fail();
      if (declared_ascii && !ascii_) Fail();
      blank = SkipBlanks();
    }
    if (blank && StartsWith("standalone")) {
      at_ += 10;
      const std::string_view standalone = DeclaredValue();
      if (standalone != "yes" && standalone != "no") Fail();
      SkipBlanks();
    }
    Expect("?>");
  }

  // What may come before and after the root.
  void Misc() {
    for (;;) {
      SkipBlanks();
      if (StartsWith("<?")) {
        Instruction();
      } else if (StartsWith("<!--")) {
        Comment();
      } else {
        return;
      }
    }
  }

  void Instruction() {
    at_ += 2;
    if (EqualsIgnoringCase(Name(), "xml")) Fail();
    if (!IsBlank(*at_)) {
      Expect("?>");
      return;
    }
    Until("?>");
  }

  void Comment() {
    at_ += 4;
    Until("--");
    Expect(">");
  }

  // Behind "<". The element becomes the open one unless it is empty.
  Id StartTag() {
    const Id name = GuessedName(last_element_ == 0 ? 0 : tree_.NameAt(last_element_).next_element);
    if (last_element_ != 0) tree_.NameAt(last_element_).next_element = name;
    last_element_ = name;
    const Id node = tree_.AddNode(name);
    if (open_ != 0) tree_.Append(open_, node);

    Id before = name;
    for (;;) {
      const bool blank = SkipBlanks();
      if (*at_ == '>') {
        ++at_;
        if (++depth_ > kMaxDepth) Fail();
        open_ = node;
        return node;
      }
      if (*at_ == '/') {
        Expect("/>");
        if (depth_ + 1 > kMaxDepth) Fail();
        return node;
      }
      if (!blank) Fail();
      before = OneAttribute(node, before);
    }
  }

  Id OneAttribute(Id node, Id before) {
    const Id guess = tree_.NameAt(before).next_attribute;
    const Id name = GuessedName(guess);
    if (name != guess) tree_.NameAt(before).next_attribute = name;
    std::uint32_t& seen = tree_.NameAt(name).seen;
    if (seen == node) Fail();  // a duplicate
    seen = node;
    if (*at_ == '=') {
      ++at_;
    } else {
      EqualSign();
    }
    if (*at_ != '"' && *at_ != '\'') SkipBlanks();
    tree_.AddAttribute(node, name, AttributeValue());
    return name;
  }

  std::string_view AttributeValue() {
    const char quote = *at_;
    if (quote != '"' && quote != '\'') Fail();
    ++at_;
    const Stops& stops = quote == '"' ? kDoubleQuoted : kSingleQuoted;
    char* const begin = at_;
    char* out = Run(stops, begin);
    while (*at_ != quote) {
      if (*at_ == '&') {
        out = Reference(out);
      } else if (IsBlank(*at_)) {
        // A line end is one blank, however it is written.
        at_ += at_[0] == '\r' && at_[1] == '\n' ? 2 : 1;
        *out++ = ' ';
      } else {
        Fail();  // "<", or the text is at its end
      }
      out = Run(stops, out);
    }
    ++at_;
    return {begin, static_cast<std::size_t>(out - begin)};
  }

  // Moves the plain characters from here to out; returns the end of them.
  char* Run(const Stops& stops, char* out) {
    char* const begin = at_;
    while (!stops[static_cast<unsigned char>(*at_)]) ++at_;
    const auto length = static_cast<std::size_t>(at_ - begin);
    if (out != begin) std::memmove(out, begin, length);
    return out + length;
  }

  char* Reference(char* out) {
    if (at_[1] == '#') return CharacterReference(out);
    struct Entity {
      std::string_view text;
      char character;
    };
    static constexpr Entity kEntities[] = {
        {"&lt;", '<'}, {"&gt;", '>'}, {"&amp;", '&'}, {"&quot;", '"'}, {"&apos;", '\''}};
    for (const Entity& entity : kEntities) {
      if (StartsWith(entity.text)) {
        at_ += entity.text.size();
        *out++ = entity.character;
        return out;
      }
    }
    Fail();
  }

  char* CharacterReference(char* out) {
    at_ += 2;
    const bool hexadecimal = *at_ == 'x';
    if (hexadecimal) ++at_;
    std::uint32_t point = 0;
    const auto [end, error] = std::from_chars(at_, end_, point, hexadecimal ? 16 : 10);
    if (error != std::errc() || *end != ';' || !IsCharacter(point)) Fail();
    at_ += (end - at_) + 1;  // past the ;
    return PutUtf8(out, point);
  }

  // One piece of what is between the tags of the open element.
  void Content() {
    if (*at_ != '<') {
      Characters();
    } else if (at_[1] == '/') {
      EndTag();
    } else if (at_[1] == '?') {
      Instruction();
    } else if (at_[1] != '!') {
      ++at_;
      StartTag();
    } else if (StartsWith("<!--")) {
      Comment();
    } else {
      Expect("<![CDATA[");
      CharacterData();
    }
  }

  void EndTag() {
    at_ += 2;
    Expect(tree_.NameAt(tree_.NodeAt(open_).name).Text());
    SkipBlanks();
    Expect(">");
    open_ = tree_.NodeAt(open_).parent;
    --depth_;
  }

  // Blanks alone between two tags are layout and dropped.
  void Characters() {
    char* const begin = at_;
    SkipBlanks();
    if (*at_ == '<') return;
    at_ = begin;
    char* out = Run(kContent, begin);
    while (*at_ != '<') {
      if (*at_ == '&') {
        out = Reference(out);
      } else if (*at_ == '\r') {
        ++at_;
        if (*at_ != '\n') *out++ = '\n';
      } else if (*at_ == ']' && !StartsWith("]]>")) {
        *out++ = *at_++;
      } else {
        Fail();  // "]]>", or the text is at its end
      }
      out = Run(kContent, out);
    }
    AddText(begin, out);
  }

  void CharacterData() {
    char* const begin = at_;
    const std::string_view data = Until("]]>");
    char* out = begin;
    for (std::size_t i = 0; i < data.size(); ++i) {
      const bool line_end = data[i] == '\r';
      if (line_end && i + 1 < data.size() && data[i + 1] == '\n') continue;
      *out++ = line_end ? '\n' : data[i];
    }
    AddText(begin, out);
  }

  void AddText(const char* begin, const char* end) {
    if (begin == end) return;
    const Id node = tree_.AddNode(0);
    tree_.Append(open_, node);
    tree_.AddAttribute(node, 0, {begin, static_cast<std::size_t>(end - begin)});
  }

  Tree& tree_;
  char* at_;
  char* end_;
  bool ascii_;
  Id open_ = 0;
  Id last_element_ = 0;  // name of the element that began last
  int depth_ = 0;
};

}  // namespace

Id Parse(std::string_view text, Tree& tree) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (text.substr(0, kByteOrderMark.size()) == kByteOrderMark)
    text.remove_prefix(kByteOrderMark.size());
  const TextKind kind = Classify(text);
  if (kind == TextKind::kMalformed) return 0;
  char* const copy = tree.Memory(text.size() + 1);
  if (!text.empty()) std::memcpy(copy, text.data(), text.size());
  copy[text.size()] = '\0';
  try {
    return Parser(copy, copy + text.size(), kind == TextKind::kAscii, tree).Document();
  } catch (const Malformed&) {
    return 0;
  }
}

}  // namespace orvspc::engine::dom
