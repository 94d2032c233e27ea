// SPDX-License-Identifier: Apache-2.0
#include "platform/FixedText.h"

#include <gtest/gtest.h>

namespace orvspc::platform {
namespace {

TEST(FixedText, Utf8AndUtf16AreInverseForWellFormedText) {
  for (const std::string text : {"", "plain", "µm Ø", "ÄÖÜ €", "直径", "😀 x 🔧"})
    EXPECT_EQ(ToUtf8(ToUtf16(text)), text);
}

TEST(FixedText, AnEmojiIsTwoUnits) {
  EXPECT_EQ(ToUtf16("😀"), u"😀");
  EXPECT_EQ(ToUtf16("😀").size(), 2u);
}

TEST(FixedText, ALoneSurrogateBecomesTheReplacement) {
  EXPECT_EQ(ToUtf8(std::u16string(1, char16_t{0xD83D})), "\uFFFD");
  EXPECT_EQ(ToUtf8(std::u16string(1, char16_t{0xDE00})), "\uFFFD");
  EXPECT_EQ(ToUtf8(std::u16string{char16_t{0xDE00}, char16_t{0xD83D}}), "\uFFFD\uFFFD");
}

TEST(FixedText, IllFormedBytesBecomeTheReplacement) {
  struct Row {
    std::string bytes;
    std::u16string units;
    const char* reason;
  };
  const Row rows[] = {
      {"a\x80z", u"a\uFFFDz", "a continuation alone"},
      {"\xC0\xAF", u"\uFFFD\uFFFD", "overlong"},
      {"\xE2\x82", u"\uFFFD\uFFFD", "cut off"},
      {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD", "a surrogate"},
      {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD", "above the last code point"},
      {"\xFF", u"\uFFFD", "no lead byte"},
  };
  for (const Row& row : rows) EXPECT_EQ(ToUtf16(row.bytes), row.units) << row.reason;
}

TEST(FixedText, AFieldIsPaddedWithBlanks) {
  char16_t field[5];
  StoreFixedText(field, "ab");
  EXPECT_EQ(std::u16string_view(field, 5), u"ab   ");
  EXPECT_EQ(FixedTextToUtf8(field), "ab   ");
}

TEST(FixedText, AFieldIsCutAtItsLengthAndACutPairReadsAsReplacement) {
  char16_t field[3];
  StoreFixedText(field, "abcd");
  EXPECT_EQ(FixedTextToUtf8(field), "abc");
  StoreFixedText(field, "ab😀");
  EXPECT_EQ(FixedTextToUtf8(field), "ab\uFFFD");
}

TEST(FixedText, TrimTakesBlanksAtTheEndAndEverythingFromTheFirstNul) {
  using namespace std::string_view_literals;
  EXPECT_EQ(TrimFixedText(u"  a b  "), u"  a b");
  EXPECT_EQ(TrimFixedText(u"ab \0\0x"sv), u"ab");
  EXPECT_EQ(TrimFixedText(u"\0ab"sv), u"");
  EXPECT_EQ(TrimFixedText(u"   "), u"");
}

}  // namespace
}  // namespace orvspc::platform
