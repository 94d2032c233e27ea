// SPDX-License-Identifier: Apache-2.0
#include "engine/dom/Dom.h"

#include <expat.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "engine/dom/tree.h"
#include "platform/ExternalFailure.h"

namespace orvspc::engine {
namespace {

using platform::XmlNode;

std::int32_t NumberOf(const std::function<void()>& call) {
  try {
    call();
  } catch (const platform::ExternalFailure& failure) {
    return failure.Number();
  }
  return 0;
}

std::string Rewritten(std::string_view text) {
  const auto document = dom::MakeXmlDocument();
  if (!document->LoadXml(text)) return "malformed";
  return document->Xml(document->Root());
}

// The root's attributes as Expat reads them.
struct Expat {
  bool well_formed = false;
  std::map<std::string, std::string> attributes;

  explicit Expat(const std::string& text) {
    const std::unique_ptr<XML_ParserStruct, void (*)(XML_Parser)> parser(XML_ParserCreate(nullptr),
                                                                         XML_ParserFree);
    XML_SetUserData(parser.get(), this);
    XML_SetStartElementHandler(parser.get(),
                               [](void* self, const XML_Char*, const XML_Char** pairs) {
                                 auto* expat = static_cast<Expat*>(self);
                                 for (; pairs[0] != nullptr; pairs += 2)
                                   expat->attributes.emplace(pairs[0], pairs[1]);
                               });
    well_formed =
        XML_Parse(parser.get(), text.data(), static_cast<int>(text.size()), 1) == XML_STATUS_OK;
  }
};

TEST(Dom, ElementsAndAttributesAreWrittenInTheirOrderWithoutBlanks) {
  const auto document = dom::MakeXmlDocument();
  const XmlNode root = document->CreateElement("Root");
  const XmlNode child = document->CreateElement("Child");
  document->SetAttribute(root, "b", "1");
  document->AppendChild(root, child);
  document->SetAttribute(root, "a", "2");
  document->AppendChild(root, document->CreateElement("Child"));
  document->SetAttribute(child, "x", "");
  EXPECT_EQ(document->Xml(root), R"(<Root b="1" a="2"><Child x=""/><Child/></Root>)");
  EXPECT_EQ(document->Xml(child), R"(<Child x=""/>)");
  EXPECT_FALSE(document->Root()) << "an element that was made is not attached to the document";
}

TEST(Dom, SettingAnAttributeAgainReplacesItInItsPlace) {
  const auto document = dom::MakeXmlDocument();
  const XmlNode one = document->CreateElement("a");
  const XmlNode two = document->CreateElement("a");
  document->SetAttribute(one, "x", "1");
  document->SetAttribute(one, "y", "2");
  document->SetAttribute(one, "x", "3");
  document->SetAttribute(two, "x", "4");
  document->SetAttribute(one, "y", "5");  // after another element had its turn
  document->SetAttribute(one, "z", "6");
  document->SetAttribute(two, "x", "7");
  EXPECT_EQ(document->Xml(one), R"(<a x="3" y="5" z="6"/>)");
  EXPECT_EQ(document->Xml(two), R"(<a x="7"/>)");
}

TEST(Dom, AttributesAreFoundInAnyOrder) {
  const auto document = dom::MakeXmlDocument();
  ASSERT_TRUE(document->LoadXml("<a x='1' y='2' z='3'><b x='4'/></a>"));
  const XmlNode root = document->Root();
  const XmlNode child = document->SelectSingleNode(root, "b");
  for (const char* names : {"xyz", "zyx", "yzx", "zzx", "xx"}) {
    for (const char* at = names; *at != 0; ++at) {
      const std::string expected(1, static_cast<char>('1' + (*at - 'x')));
      EXPECT_EQ(document->Attribute(root, std::string(1, *at)), expected) << names;
    }
  }
  EXPECT_EQ(document->Attribute(child, "x"), "4");
  EXPECT_EQ(document->Attribute(child, "y"), std::nullopt);
  EXPECT_EQ(document->Attribute(root, "w"), std::nullopt);
}

TEST(Dom, AViewOfAnAttributeOutlivesFurtherOnes) {
  const auto document = dom::MakeXmlDocument();
  const XmlNode root = document->CreateElement("a");
  document->SetAttribute(root, "x", "first");
  const std::string_view view = *document->Attribute(root, "x");
  for (int i = 0; i < 10'000; ++i) {
    const XmlNode child = document->CreateElement("b");
    document->SetAttribute(child, "x", std::string(100, 'y'));
    document->AppendChild(root, child);
  }
  EXPECT_EQ(view, "first");
}

TEST(Dom, SpecialCharactersAreEscapedAndReadBack) {
  struct Row {
    std::string value, written, read;
    const char* reason;
  };
  const Row rows[] = {
      {"a&b<c>d\"e'f", "a&amp;b&lt;c&gt;d&quot;e'f", "a&b<c>d\"e'f", "markup"},
      {"\t\n\r", "&#9;&#10;&#13;", "\t\n\r", "blanks that a reader would change"},
      {std::string("\0\x01\x1F", 3), "   ", "   ", "controls become blanks"},
      {"\x7F", "\x7F", "\x7F", "allowed by XML"},
      {"\xEF\xBF\xBE\xEF\xBF\xBF", "  ", "  ", "U+FFFE and U+FFFF become blanks"},
      {"\xEF\xBF\xBD", "\xEF\xBF\xBD", "\xEF\xBF\xBD", "U+FFFD is a character"},
      {"\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80", "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80",
       "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80", "two, three and four bytes"},
      {"a\x80z\xC3", "a\xEF\xBF\xBDz\xEF\xBF\xBD", "a\xEF\xBF\xBDz\xEF\xBF\xBD", "no UTF-8"},
      {"\xED\xA0\x80", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD",
       "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD", "a surrogate is no character"},
      {std::string(100'000, '"'), "", std::string(100'000, '"'), "longer than any buffer"},
  };
  for (const Row& row : rows) {
    const auto document = dom::MakeXmlDocument();
    const XmlNode root = document->CreateElement("a");
    document->SetAttribute(root, "x", row.value);
    const std::string text = document->Xml(root);
    if (!row.written.empty()) {
      EXPECT_EQ(text, "<a x=\"" + row.written + "\"/>") << row.reason;
    }

    ASSERT_TRUE(document->LoadXml(text)) << row.reason;
    EXPECT_EQ(document->Attribute(document->Root(), "x"), row.read) << row.reason;
    const Expat expat(text);
    EXPECT_TRUE(expat.well_formed) << row.reason;
    EXPECT_EQ(expat.attributes.at("x"), row.read) << row.reason;
  }
}

TEST(Dom, WhatIsReadIsWrittenInTheOneForm) {
  const std::pair<std::string, std::string> rows[] = {
      {"<a></a>", "<a/>"},
      {"<a\n x = '1'\t y=\"2\" ></a >", R"(<a x="1" y="2"/>)"},
      {"<?xml version='1.0' encoding='utf-8' standalone='no' ?>\n<a/>\n", "<a/>"},
      {"\xEF\xBB\xBF<a/>", "<a/>"},
      {"<!-- c --><?p i?><a><!-- - --><?p?>\n <b/> \n</a><!----><?q ?"
       "?>",
       "<a><b/></a>"},
      {"<a x='\"&apos;&#65;&#x42;&#x1F600;'/>", "<a x=\"&quot;'AB\xF0\x9F\x98\x80\"/>"},
      {"<a x='1\t2\n3\r\n4\r5 6'/>", R"(<a x="1 2 3 4 5 6"/>)"},
      {"<a>x &lt; y<b/>]] > z</a>", "<a>x &lt; y<b/>]] &gt; z</a>"},
      {"<a><![CDATA[<&]]]]></a>", "<a>&lt;&amp;]]</a>"},
      {"<a>1\r\n2\r3<![CDATA[\r\n]]></a>", "<a>1&#10;2&#10;3&#10;</a>"},
      {"<a> <b/> t</a>", "<a><b/> t</a>"},
      {"<a><![CDATA[]]></a>", "<a/>"},
      {"<\xC3\xA4 \xCE\xB1='1'/>", "<\xC3\xA4 \xCE\xB1=\"1\"/>"},
      {"<a:b c:d='1' _-.='2'/>", "<a:b c:d=\"1\" _-.=\"2\"/>"},
  };
  for (const auto& [text, expected] : rows) EXPECT_EQ(Rewritten(text), expected) << text;
}

TEST(Dom, ALoadThatFailsLeavesTheDocumentEmpty) {
  const auto document = dom::MakeXmlDocument();
  ASSERT_TRUE(document->LoadXml("<a/>"));
  EXPECT_FALSE(document->LoadXml("<a>"));
  EXPECT_FALSE(document->Root());
  EXPECT_FALSE(document->SelectRoot("a"));
  ASSERT_TRUE(document->LoadXml("<b/>"));
  EXPECT_TRUE(document->SelectRoot("b"));
  EXPECT_FALSE(document->SelectRoot("a"));
}

TEST(Dom, ChildrenAndDescendantsInDocumentOrder) {
  const auto document = dom::MakeXmlDocument();
  ASSERT_TRUE(document->LoadXml(
      "<r><a i='1'><a i='2'><b i='3'/></a></a>t<b i='4'><a i='5'/></b><a i='6'/></r>"));
  const XmlNode root = document->Root();
  const auto index = [&](XmlNode node) { return std::string(*document->Attribute(node, "i")); };

  std::string children;
  for (XmlNode at = document->SelectSingleNode(root, "a"); at; at = document->NextNode(at, "a"))
    children += index(at);
  EXPECT_EQ(children, "16");

  const auto descendants = [&](XmlNode top, std::string_view name) {
    std::string found;
    for (XmlNode at = document->NextDescendant(top, {}, name); at;
         at = document->NextDescendant(top, at, name))
      found += index(at);
    return found;
  };
  EXPECT_EQ(descendants(root, "a"), "1256");
  EXPECT_EQ(descendants(root, "b"), "34");
  EXPECT_EQ(descendants(root, "r"), "");
  EXPECT_EQ(descendants(document->SelectSingleNode(root, "a"), "a"), "2")
      << "siblings of the ancestor are not below it";
  EXPECT_EQ(descendants(document->SelectSingleNode(root, "b"), "b"), "");
}

TEST(Dom, EveryOperationOnANullNodeFailsWith91) {
  const auto document = dom::MakeXmlDocument();
  const XmlNode node = document->CreateElement("a");
  EXPECT_EQ(NumberOf([&] { document->AppendChild({}, node); }), 91);
  EXPECT_EQ(NumberOf([&] { document->AppendChild(node, {}); }), 91);
  EXPECT_EQ(NumberOf([&] { document->SetAttribute({}, "a", ""); }), 91);
  EXPECT_EQ(NumberOf([&] { document->Attribute({}, "a"); }), 91);
  EXPECT_EQ(NumberOf([&] { document->SelectSingleNode({}, "a"); }), 91);
  EXPECT_EQ(NumberOf([&] { document->NextNode({}, "a"); }), 91);
  EXPECT_EQ(NumberOf([&] { document->NextDescendant({}, {}, "a"); }), 91);
  EXPECT_EQ(NumberOf([&] { document->Name({}); }), 91);
  EXPECT_EQ(NumberOf([&] { document->Xml({}); }), 91);
}

TEST(Dom, ForeignNodesInvalidNamesAndCyclesAreRefused) {
  const auto document = dom::MakeXmlDocument();
  const auto other = dom::MakeXmlDocument();
  const XmlNode a = document->CreateElement("a");
  const XmlNode b = document->CreateElement("b");
  EXPECT_EQ(NumberOf([&] { document->AppendChild(a, other->CreateElement("c")); }), 5);
  EXPECT_EQ(NumberOf([&] { document->CreateElement("a b"); }), 5);
  EXPECT_EQ(NumberOf([&] { document->CreateElement(""); }), 5);
  EXPECT_EQ(NumberOf([&] { document->SetAttribute(a, "1", ""); }), 5);
  document->AppendChild(a, b);
  EXPECT_EQ(NumberOf([&] { document->AppendChild(b, a); }), 5);
  EXPECT_EQ(NumberOf([&] { document->AppendChild(a, a); }), 5);
  EXPECT_EQ(document->Xml(a), "<a><b/></a>");
}

TEST(Dom, AppendingAChildAgainMovesIt) {
  const auto document = dom::MakeXmlDocument();
  const XmlNode root = document->CreateElement("r");
  const XmlNode a = document->CreateElement("a");
  const XmlNode b = document->CreateElement("b");
  const XmlNode c = document->CreateElement("c");
  for (const XmlNode& node : {a, b, c, a}) document->AppendChild(root, node);
  EXPECT_EQ(document->Xml(root), "<r><b/><c/><a/></r>");
  document->AppendChild(b, c);
  document->AppendChild(c, a);
  EXPECT_EQ(document->Xml(root), "<r><b><c><a/></c></b></r>");
}

TEST(Dom, DepthIsBoundedInATextAndFreeInATreeThatIsBuilt) {
  const auto nested = [](int depth) {
    std::string text;
    for (int i = 0; i < depth; ++i) text += "<a>";
    for (int i = 0; i < depth; ++i) text += "</a>";
    return text;
  };
  EXPECT_NE(Rewritten(nested(dom::kMaxDepth)), "malformed");
  EXPECT_EQ(Rewritten(nested(dom::kMaxDepth + 1)), "malformed");
  EXPECT_EQ(Rewritten(nested(1'000'000)), "malformed");

  const auto document = dom::MakeXmlDocument();
  XmlNode top = document->CreateElement("a");
  for (int i = 0; i < 1'000'000; ++i) {
    const XmlNode above = document->CreateElement("a");
    document->AppendChild(above, top);
    top = above;
  }
  EXPECT_EQ(document->Xml(top).size(), 1'000'000U * 7 + 4);
}

}  // namespace
}  // namespace orvspc::engine
