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

TEST(FixedText, EveryByteOfTheCodePageComesBack) {
  char bytes[256], back[256];
  char16_t units[256];
  for (int i = 0; i < 256; ++i) bytes[i] = static_cast<char>(i);
  From8Bit(bytes, units);
  To8Bit(units, back);
  EXPECT_EQ(std::string_view(back, 256), std::string_view(bytes, 256));
}

TEST(FixedText, TheCodePageIsWindows1252) {
  struct Row {
    char16_t unit;
    unsigned char byte;
    const char* reason;
  };
  for (const Row& row :
       {Row{u'\0', 0, "a NUL stays"}, Row{u'A', 'A', "ASCII"}, Row{u'\x7F', 0x7F, "end of ASCII"},
        Row{0x20AC, 0x80, "euro, first of the reassigned"}, Row{0x0178, 0x9F, "the last of them"},
        Row{0x2022, 0x95, "bullet"}, Row{0xA0, 0xA0, "first of Latin 1"}, Row{0xB5, 0xB5, "micro"},
        Row{0xFF, 0xFF, "last of Latin 1"}, Row{0x80, '?', "a control that the page replaced"},
        Row{0x76F4, '?', "not in the page"}, Row{0xD83D, '?', "half of a pair"}}) {
    char byte[1];
    To8Bit(std::span(&row.unit, 1), byte);
    EXPECT_EQ(static_cast<unsigned char>(byte[0]), row.byte) << row.reason;
    if (row.byte == '?') continue;
    char16_t unit[1];
    From8Bit(byte, unit);
    EXPECT_EQ(unit[0], row.unit) << row.reason;
  }
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
