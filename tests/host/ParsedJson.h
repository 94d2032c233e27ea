// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstddef>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

// A strict reader of the program's documents for tests. It shares nothing with the writer.
namespace orvspc::host {

struct ParsedJson {
  enum class Kind { Null, Boolean, Number, Text, Array, Object } kind = Kind::Null;
  bool boolean = false;
  double number = 0.0;
  std::string text;
  std::vector<ParsedJson> elements;  // of an array, or the values of an object's members
  std::vector<std::string> names;    // of an object's members, in the document's order

  // "Graphs[0].UCLs[2]"; throws when there is no such thing.
  const ParsedJson& At(std::string_view path) const;
  const std::vector<std::string>& Keys() const { return names; }
};

class JsonParser {
 public:
  explicit JsonParser(std::string_view text) : text_(text) {}

  ParsedJson Parse() {
    ParsedJson value = Value();
    Blanks();
    if (at_ != text_.size()) Fail("text behind the document");
    return value;
  }

 private:
  [[noreturn]] void Fail(const std::string& reason) const {
    throw std::runtime_error("JSON at byte " + std::to_string(at_) + ": " + reason);
  }
  void Blanks() {
    while (at_ < text_.size() && std::string_view(" \n\r\t").find(text_[at_]) != text_.npos) ++at_;
  }
  bool Take(char c) {
    Blanks();
    if (at_ >= text_.size() || text_[at_] != c) return false;
    ++at_;
    return true;
  }
  void Need(char c) {
    if (!Take(c)) Fail(std::string("no ") + c);
  }
  bool Word(std::string_view word) {
    if (text_.substr(at_, word.size()) != word) return false;
    at_ += word.size();
    return true;
  }

  ParsedJson Value() {
    Blanks();
    ParsedJson value;
    if (at_ >= text_.size()) Fail("end");
    const char c = text_[at_];
    if (c == '{') return Object();
    if (c == '[') return Array();
    if (c == '"') {
      value.kind = ParsedJson::Kind::Text;
      value.text = Text();
    } else if (Word("true") || Word("false")) {
      value.kind = ParsedJson::Kind::Boolean;
      value.boolean = c == 't';
    } else if (!Word("null")) {
      value.kind = ParsedJson::Kind::Number;
      const auto [end, error] =
          std::from_chars(text_.data() + at_, text_.data() + text_.size(), value.number);
      if (error != std::errc() || std::isalpha(static_cast<unsigned char>(c))) Fail("no value");
      at_ = static_cast<std::size_t>(end - text_.data());
    }
    return value;
  }

  ParsedJson Object() {
    ParsedJson value;
    value.kind = ParsedJson::Kind::Object;
    Need('{');
    if (Take('}')) return value;
    do {
      Blanks();
      std::string key = Text();
      if (std::find(value.names.begin(), value.names.end(), key) != value.names.end()) {
        Fail("the key " + key + " is there twice");
      }
      Need(':');
      value.names.push_back(std::move(key));
      value.elements.push_back(Value());
    } while (Take(','));
    Need('}');
    return value;
  }

  ParsedJson Array() {
    ParsedJson value;
    value.kind = ParsedJson::Kind::Array;
    Need('[');
    if (Take(']')) return value;
    do value.elements.push_back(Value());
    while (Take(','));
    Need(']');
    return value;
  }

  std::string Text() {
    if (at_ >= text_.size() || text_[at_] != '"') Fail("no text");
    std::string text;
    for (++at_; at_ < text_.size() && text_[at_] != '"'; ++at_) {
      if (static_cast<unsigned char>(text_[at_]) < 0x20) Fail("control character");
      if (text_[at_] != '\\') {
        text += text_[at_];
        continue;
      }
      ++at_;
      const std::string_view plain = "\"\\/";
      if (at_ >= text_.size()) Fail("end");
      if (plain.find(text_[at_]) != plain.npos) {
        text += text_[at_];
      } else if (text_[at_] == 'n') {
        text += '\n';
      } else if (text_[at_] == 't') {
        text += '\t';
      } else if (text_[at_] == 'r') {
        text += '\r';
      } else if (text_[at_] == 'u' && text_.substr(at_ + 1, 2) == "00") {
        int code = 0;
        std::from_chars(text_.data() + at_ + 1, text_.data() + at_ + 5, code, 16);
        text += static_cast<char>(code);
        at_ += 4;
      } else {
        Fail("escape");
      }
    }
    if (at_ >= text_.size()) Fail("text without an end");
    ++at_;
    return text;
  }

  std::string_view text_;
  std::size_t at_ = 0;
};

inline const ParsedJson& ParsedJson::At(std::string_view path) const {
  if (path.empty()) return *this;
  if (path.front() == '.') return At(path.substr(1));
  if (path.front() == '[') {
    std::size_t index = 0;
    const auto end = path.find(']');
    std::from_chars(path.data() + 1, path.data() + end, index);
    if (kind != Kind::Array || index >= elements.size())
      throw std::runtime_error("no element " + std::string(path));
    return elements[index].At(path.substr(end + 1));
  }
  const std::string_view key = path.substr(0, path.find_first_of(".["));
  for (std::size_t i = 0; i < names.size(); ++i)
    if (names[i] == key) return elements[i].At(path.substr(key.size()));
  throw std::runtime_error("no member " + std::string(path));
}

inline ParsedJson ParseJson(std::string_view text) { return JsonParser(text).Parse(); }

}  // namespace orvspc::host
