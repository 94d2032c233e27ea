// SPDX-License-Identifier: Apache-2.0
#include "engine/sql/texts.h"

#include <gtest/gtest.h>

namespace orvspc::engine::sql {
namespace {

using namespace std::string_literals;

TEST(Texts, OnlyUtf8WithoutNulIsStorable) {
  for (const auto& text : {""s, "plain"s, "a\tb\r\n\x1B"s, "Größe"s, "\xF0\x9F\x94\xA7"s}) {
    EXPECT_TRUE(IsStorable(text)) << text;
    EXPECT_EQ(MadeStorable(text), text);
  }
  const struct {
    std::string text, shown, made;
  } cases[] = {{"a\xFF"s, "\"a\\xFF\"", "a\uFFFD"},
               {"\0"s, "\"\\x00\"", "\uFFFD"},
               {"a\0b"s, "\"a\\x00b\"", "a\uFFFDb"},
               {"Gr\xF6\xDF"s, "\"Gr\\xF6\\xDF\"", "Gr\uFFFD\uFFFD"},
               {"\xC0\x80"s, "\"\\xC0\\x80\"", "\uFFFD\uFFFD"},
               {"\xED\xA0\x80"s, "\"\\xED\\xA0\\x80\"", "\uFFFD\uFFFD\uFFFD"},
               {"\xE2\x82"s, "\"\\xE2\\x82\"", "\uFFFD\uFFFD"}};
  for (const auto& each : cases) {
    EXPECT_FALSE(IsStorable(each.text)) << each.shown;
    EXPECT_EQ(Shown(each.text), each.shown);
    EXPECT_EQ(MadeStorable(each.text), each.made);
    EXPECT_TRUE(IsStorable(each.made));
    EXPECT_TRUE(IsStorable(NotStorable(each.text))) << "may be stored and printed itself";
  }
  EXPECT_EQ(NotStorable("a\xFF"), "\"a\\xFF\" is not UTF-8 without NUL characters");
}

TEST(Texts, ShownHasNoControlsAndAnEnd) {
  EXPECT_EQ(Shown("a\n\x1B[1m\x7F\u0085"), "\"a\\x0A\\x1B[1m\\x7F\\xC2\\x85\"");
  EXPECT_EQ(Shown("ä"), "\"ä\"");
  EXPECT_EQ(Shown(std::string(60, 'x')), "\"" + std::string(60, 'x') + "\"");
  EXPECT_EQ(Shown(std::string(61, 'x')), "\"" + std::string(60, 'x') + "...\"");
}

}  // namespace
}  // namespace orvspc::engine::sql
