// SPDX-License-Identifier: Apache-2.0
#include "platform/Utf8.h"

#include <gtest/gtest.h>

namespace orvspc::platform {
namespace {

TEST(Utf8, EveryCodePointComesBackFromWhatWasWritten) {
  for (char32_t point = 0; point <= 0x10FFFF; ++point) {
    if (point == 0xD800) point = 0xE000;
    char bytes[4];
    const std::string_view text(bytes, static_cast<std::size_t>(PutUtf8(bytes, point) - bytes));
    std::size_t at = 0;
    char32_t read = 0;
    ASSERT_TRUE(TakeUtf8(text, at, read)) << static_cast<unsigned>(point);
    ASSERT_EQ(read, point);
    ASSERT_EQ(at, text.size());
    ASSERT_EQ(Utf8Length(text), text.size());
  }
}

TEST(Utf8, IllFormedBytesAreRefusedAndNothingMoves) {
  struct Row {
    std::string bytes;
    const char* reason;
  };
  for (const Row& row :
       {Row{"\x80z", "a continuation alone"}, Row{"\xBF", "the last continuation"},
        Row{"\xC0\x80", "overlong NUL"}, Row{"\xC1\xBF", "overlong, two bytes"},
        Row{"\xE0\x9F\xBF", "overlong, three bytes"}, Row{"\xF0\x8F\xBF\xBF", "overlong, four"},
        Row{"\xED\xA0\x80", "the first surrogate"}, Row{"\xED\xBF\xBF", "the last surrogate"},
        Row{"\xF4\x90\x80\x80", "U+110000"}, Row{"\xF5\x80\x80\x80", "no lead byte"},
        Row{"\xFF", "no lead byte"}, Row{"\xC3", "cut off"}, Row{"\xE2\x82", "cut off"},
        Row{"\xF0\x9F\x98", "cut off"}, Row{"\xE2\x82z", "a letter in the sequence"}}) {
    const std::string text = "a" + row.bytes;
    std::size_t at = 1;
    char32_t point = U'?';
    EXPECT_FALSE(TakeUtf8(text, at, point)) << row.reason;
    EXPECT_EQ(at, 1u) << row.reason;
    EXPECT_EQ(point, U'?') << row.reason;
    EXPECT_EQ(Utf8Length(row.bytes), 0u) << row.reason;
  }
}

TEST(Utf8, TheLengthIsThatOfTheFirstSequence) {
  EXPECT_EQ(Utf8Length(""), 0u);
  EXPECT_EQ(Utf8Length("ab"), 1u);
  EXPECT_EQ(Utf8Length("µm"), 2u);
  EXPECT_EQ(Utf8Length("€uro"), 3u);
  EXPECT_EQ(Utf8Length("😀 x"), 4u);
}

TEST(Utf8, AppendingAddsTheBytesOfTheCodePoint) {
  std::string text = "d = 5 ";
  AppendUtf8(text, U'µ');
  AppendUtf8(text, U'm');
  AppendUtf8(text, kReplacementCharacter);
  EXPECT_EQ(text, "d = 5 µm\uFFFD");
}

}  // namespace
}  // namespace orvspc::platform
