// SPDX-License-Identifier: Apache-2.0
// Texts that no honest writer makes, one by one, through the public reader of a data set.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "dataset/SubgroupData.h"
#include "tests/dataset/rows.h"
#include "tests/fake/FailureOf.h"
#include "tests/fake/FakePlatform.h"

namespace orvspc {
namespace {

using fake::DescriptionOf;
using fake::NumberOf;

constexpr const char* kMalformed = "Node does not exist!";

class HostileXml : public ::testing::Test {
 protected:
  std::string Read(const std::string& text) {
    return DescriptionOf([&] { SubgroupData().SetXML(text); });
  }

  fake::FakeScope outside_;
};

// A root with a data set inside, around one piece of text.
std::string Inside(const std::string& piece) {
  return "<SubgroupData><Subgroups>" + piece + "</Subgroups></SubgroupData>";
}

struct Row {
  std::string text;
  const char* reason;
};

TEST_F(HostileXml, MalformedTextsHaveNoRoot) {
  const Row rows[] = {
      {"", "empty"},
      {" \n", "blanks alone"},
      {"SubgroupData", "no markup"},
      {"\xEF\xBB\xBF", "byte-order mark alone"},
      {"\xEF\xBB\xBF\xEF\xBB\xBF<SubgroupData/>", "two byte-order marks"},
      {std::string("\xFF\xFE<\0S\0/\0>\0", 10), "UTF-16"},
      {"<SubgroupData>", "not closed"},
      {"<SubgroupData", "tag not closed"},
      {"<SubgroupData/", "empty tag not closed"},
      {"<SubgroupData></subgroupdata>", "closed by another name"},
      {"<SubgroupData></SubgroupDataX>", "closed by a longer name"},
      {"<SubgroupData></Subgroup>", "closed by a shorter name"},
      {"</SubgroupData>", "end alone"},
      {"<SubgroupData/></SubgroupData>", "closed twice"},
      {"<SubgroupData/><SubgroupData/>", "two roots"},
      {"<SubgroupData/>x", "text behind the root"},
      {"x<SubgroupData/>", "text in front of the root"},
      {"<SubgroupData/>&#32;", "reference behind the root"},
      {"<![CDATA[ ]]><SubgroupData/>", "CDATA in front of the root"},
      {std::string("<SubgroupData/>\0", 16), "NUL behind the root"},
      {Inside("<a><b></a></b>"), "crossed tags"},
      {Inside("<a x='1' x='1'/>"), "duplicate attribute"},
      {Inside("<a x='1' y='2' x='3'/>"), "duplicate attribute, not side by side"},
      {Inside("<a x=1/>"), "value without quotes"},
      {Inside("<a x/>"), "attribute without value"},
      {Inside("<a x='1'y='2'/>"), "no blank between attributes"},
      {Inside("<a x='1\"/>"), "quotes that do not match"},
      {Inside("<a x='<'/>"), "less-than in a value"},
      {Inside("<a x='&'/>"), "ampersand alone"},
      {Inside("<a x='&lt'/>"), "reference without semicolon"},
      {Inside("<a x='&nbsp;'/>"), "entity that is not defined"},
      {Inside("&entity;"), "entity that is not defined"},
      {Inside("<a x='&LT;'/>"), "entity in other letters"},
      {Inside("&#0;"), "reference to NUL"},
      {Inside("&#1;"), "reference to a control character"},
      {Inside("&#xD800;"), "reference to a surrogate"},
      {Inside("&#xFFFE;"), "reference to no character"},
      {Inside("&#x110000;"), "reference out of range"},
      {Inside("&#99999999999999999999;"), "reference beyond any range"},
      {Inside("&#;"), "reference without digits"},
      {Inside("&#x;"), "reference without digits"},
      {Inside("&#X41;"), "capital X"},
      {Inside("&#4A;"), "hexadecimal digit in a decimal"},
      {Inside("]]>"), "end of CDATA in text"},
      {Inside("<!-- a -- b -->"), "two hyphens in a comment"},
      {Inside("<!-- a --->"), "three hyphens at the end"},
      {Inside("<!-->"), "comment that is too short"},
      {Inside("<!-- a"), "comment without end"},
      {Inside("<![CDATA[ a"), "CDATA without end"},
      {Inside("<![cdata[ a ]]>"), "CDATA in other letters"},
      {Inside("<?xml version='1.0'?>"), "declaration inside"},
      {Inside("<?XML a?>"), "reserved target"},
      {Inside("<? a?>"), "instruction without target"},
      {Inside("<?a"), "instruction without end"},
      {Inside("<1/>"), "name that begins with a digit"},
      {Inside("<-a/>"), "name that begins with a hyphen"},
      {Inside("< a/>"), "blank in front of the name"},
      {Inside("<a/ >"), "blank inside the end"},
      {Inside("<a\xC3\x97/>"), "a sign that no name has"},
      {Inside("<a 1='x'/>"), "attribute name that begins with a digit"},
      {Inside("\x01"), "control character"},
      {Inside(std::string(1, '\0')), "NUL"},
      {Inside("\xEF\xBF\xBF"), "U+FFFF"},
      {Inside("\x80"), "byte that begins nothing"},
      {Inside("\xC3"), "sequence cut short"},
      {Inside("\xC0\xAF"), "overlong"},
      {Inside("\xE0\x80\xAF"), "overlong"},
      {Inside("\xED\xA0\x80"), "surrogate as UTF-8"},
      {Inside("\xF4\x90\x80\x80"), "beyond Unicode"},
      {Inside("\xF8\x88\x80\x80\x80"), "five bytes"},
      {"<!DOCTYPE SubgroupData><SubgroupData/>", "document type"},
      {"<!DOCTYPE a [<!ENTITY b 'c'>]><SubgroupData/>", "entity declaration"},
      {"<!DOCTYPE a SYSTEM 'file:///etc/passwd'><SubgroupData/>", "foreign document type"},
      {"<?xml version='1.1'?><SubgroupData/>", "XML 1.1"},
      {"<?xml version='2.0'?><SubgroupData/>", "XML 2.0"},
      {"<?xml?><SubgroupData/>", "declaration without version"},
      {"<?xml encoding='utf-8'?><SubgroupData/>", "declaration without version"},
      {"<?xml version='1.0' encoding='ISO-8859-1'?><SubgroupData/>", "other encoding"},
      {"<?xml version='1.0' encoding='UTF-16'?><SubgroupData/>", "other encoding"},
      {"<?xml version='1.0' encoding='US-ASCII'?><SubgroupData x='\xC3\xA4'/>", "not ASCII"},
      {"<?xml version='1.0'encoding='utf-8'?><SubgroupData/>", "no blank"},
      {"<?xml version='1.0' standalone='maybe'?><SubgroupData/>", "word that is not defined"},
      {"<?xml version='1.0' standalone='no' encoding='utf-8'?><SubgroupData/>", "wrong order"},
      {"<?xml version='1.0'><SubgroupData/>", "declaration without end"},
      {" <?xml version='1.0'?><SubgroupData/>", "blank in front of the declaration"},
  };
  for (const Row& row : rows) EXPECT_EQ(Read(row.text), kMalformed) << row.reason;
}

TEST_F(HostileXml, UnusualButWellFormedTextsAreTaken) {
  const Row rows[] = {
      {"<SubgroupData/>", "smallest"},
      {"\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"utf-8\"?>\r\n<SubgroupData/>\r\n", "editor"},
      {"<?xml version='1.0' encoding='Us-AscII' standalone='yes'?><SubgroupData/>", "ASCII"},
      {"<!-- a - b --><?a?><SubgroupData\n/>\n<!----><?b c?>", "around the root"},
      {Inside("<![CDATA[ <&]] ]]>&#x10FFFF;&#9; \x7F"), "text is ignored"},
      {Inside("<a x='>' y='\"' z=\"'\"/>"), "quotes inside the others"},
      {Inside("<a:b xmlns:c='d' c:e='f'/>"), "prefixes"},
  };
  for (const Row& row : rows) EXPECT_EQ(Read(row.text), "") << row.reason;
}

TEST_F(HostileXml, EveryTruncationHasNoRoot) {
  fake::DataRows rows;
  rows.subgroups = {fake::Subgroup(1, 1, 0, 1), fake::Subgroup(2, 1, 1, 1)};
  rows.tests = {fake::Value(0.1 + 0.2), fake::Value(-1e-300)};
  rows.descriptors = {fake::Descriptor(1, 2, 3)};
  rows.comments = {fake::Comment(1, 0, "<&>\"' \xF0\x9F\x98\x80 \t")};
  SubgroupData data;
  rows.LoadInto(data);
  const std::string written = data.GetXML();
  const std::string by_hand =
      "\xEF\xBB\xBF<?xml version='1.0' encoding='utf-8'?><!-- c --><?p q?>"
      "<SubgroupData><Subgroups>t\xC3\xA4<![CDATA[d]]>&#x41;&amp;<Subgroup F_SGRP = '1'></Subgroup "
      ">"
      "</Subgroups></SubgroupData>";
  for (const std::string& text : {written, by_hand}) {
    EXPECT_EQ(Read(text), "");
    for (std::size_t length = 0; length < text.size(); ++length)
      EXPECT_EQ(Read(text.substr(0, length)), kMalformed) << "cut at " << length;
  }
}

TEST_F(HostileXml, EveryDamagedByteIsReadOrRefusedButNothingElse) {
  fake::DataRows rows;
  rows.subgroups = {fake::Subgroup(1, 1, 0, 0)};
  rows.tests = {fake::Value(2.5)};
  rows.comments = {fake::Comment(1, 0, "note")};
  SubgroupData data;
  rows.LoadInto(data);
  const std::string text = data.GetXML();
  for (std::size_t at = 0; at < text.size(); ++at) {
    for (const char byte : {'<', '>', '&', '"', '\0', '\x80', '\xFF', 'x', '9', '/', '='}) {
      std::string damaged = text;
      damaged[at] = byte;
      const std::int32_t number = NumberOf([&] { SubgroupData().SetXML(damaged); });
      EXPECT_TRUE(number == 0 || number == 6 || number == 13 || number == -2147221504)
          << at << ": " << number;
    }
  }
}

TEST_F(HostileXml, DeepNestingIsRefusedWithoutEndangeringTheStack) {
  std::string deep = "<SubgroupData>";
  for (int i = 0; i < 500'000; ++i) deep += "<a>";
  for (int i = 0; i < 500'000; ++i) deep += "</a>";
  EXPECT_EQ(Read(deep + "</SubgroupData>"), kMalformed);
}

TEST_F(HostileXml, RowsThatPointAnywhereAskForNoMemory) {
  SubgroupData data;
  data.SetXML(
      "<SubgroupData><Subgroups><Subgroup Test_Start='-2147483648' Test_End='2147483647'/>"
      "</Subgroups><Tests><Test/></Tests></SubgroupData>");
  EXPECT_EQ(NumberOf([&] { data.TestData(); }), 9);
  EXPECT_EQ(NumberOf([&] { data.HasDefects(); }), 9);
}

TEST_F(HostileXml, ADuplicateIsFoundAmongManyAttributes) {
  std::string text = "<SubgroupData";
  for (int i = 0; i < 50'000; ++i) text += " a" + std::to_string(i) + "='1'";
  EXPECT_EQ(Read(text + "/>"), "");
  EXPECT_EQ(Read(text + " a7='1'/>"), kMalformed);
}

}  // namespace
}  // namespace orvspc
