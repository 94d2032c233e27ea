// SPDX-License-Identifier: Apache-2.0
#include "host/render/core/Json.h"

#include <gtest/gtest.h>

#include <charconv>
#include <cmath>
#include <limits>

namespace orvspc::host {

using namespace render;
namespace {

std::string Written(double value) {
  JsonWriter json;
  json.Value(value);
  std::string text = json.Text();
  text.pop_back();
  return text;
}

TEST(JsonWriter, DoublesReadBackTheSame) {
  for (const double value : {0.1, 1.0 / 3.0, 74.0015, -2.5e-300, 1.7976931348623157e308, 5e-324,
                             0.0, 123456789012345680.0}) {
    const std::string text = Written(value);
    double back = 0.0;
    std::from_chars(text.data(), text.data() + text.size(), back);
    EXPECT_EQ(back, value) << text;
  }
}

TEST(JsonWriter, ADoubleThatIsNoFiniteNumberIsNull) {
  EXPECT_EQ(Written(std::nan("")), "null");
  EXPECT_EQ(Written(std::numeric_limits<double>::infinity()), "null");
  EXPECT_EQ(Written(-std::numeric_limits<double>::infinity()), "null");
}

TEST(JsonWriter, TextIsEscaped) {
  struct Row {
    std::string text, written, reason;
  };
  const Row rows[] = {
      {"a\"b\\c", R"("a\"b\\c")", "quote and backslash"},
      {"\n\t\r", R"("\n\t\r")", "usual controls"},
      {std::string("\x01\x1f\0", 3), R"("\u0001\u001f\u0000")", "other controls, NUL too"},
      {"\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80", "\"\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80\"",
       "two, three and four bytes stay"},
      {"\x7F\xC2\x9B", R"("\u007f\u009b")", "controls that a terminal obeys"},
      {"\xC3", "\"\xEF\xBF\xBD\"", "cut sequence"},
      {"\xC0\xAF", "\"\xEF\xBF\xBD\xEF\xBF\xBD\"", "overlong"},
      {"\xED\xA0\x80", "\"\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\"", "surrogate"},
      {"\xF4\x90\x80\x80", "\"\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\"", "too large"},
  };
  for (const auto& row : rows) {
    JsonWriter json;
    json.Value(row.text);
    EXPECT_EQ(json.Text(), row.written + "\n") << row.reason;
  }
}

TEST(JsonWriter, MembersStandOnLinesAndArraysOfNumbersOnOne) {
  JsonWriter json;
  json.BeginObject();
  json.Member("A", std::vector<double>{1.5, std::nan(""), 2.0});
  json.Key("B");
  json.BeginArray();
  json.BeginObject(true);
  json.Member("C", true);
  json.NullMember("D");
  json.EndObject();
  json.EndArray();
  json.Key("E");
  json.BeginArray();
  json.EndArray();
  json.EndObject();
  EXPECT_EQ(json.Text(),
            "{\n  \"A\": [1.5, null, 2],\n  \"B\": [\n    {\"C\": true, \"D\": null}\n  ],\n"
            "  \"E\": []\n}\n");
}

}  // namespace
}  // namespace orvspc::host
