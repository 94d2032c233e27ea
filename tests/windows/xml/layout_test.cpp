// SPDX-License-Identifier: Apache-2.0
#include "host/windows/msxml/layout.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace orvspc::windows::msxml {
namespace {

std::string Nested(int depth, const std::string& innermost = "") {
  std::string text;
  for (int i = 0; i < depth; ++i) text += "<a>";
  text += innermost;
  for (int i = 0; i < depth; ++i) text += "</a>";
  return text;
}

TEST(Layout, DepthIsBounded) {
  EXPECT_TRUE(IsReadable(Nested(256)));
  EXPECT_FALSE(IsReadable(Nested(257)));
  EXPECT_TRUE(IsReadable(Nested(255, "<b/>")));
  EXPECT_FALSE(IsReadable(Nested(256, "<b x='1' />")));
  std::string many = "<r>";
  for (int i = 0; i < 1000; ++i)
    many += "<a x='/' y=\">\"><b/></a><!-- <c> --><![CDATA[<d>]]><?e <f> ?>";
  EXPECT_TRUE(IsReadable(many + "</r>"));
}

TEST(Layout, ADocumentTypeIsRefused) {
  EXPECT_FALSE(IsReadable("<!DOCTYPE a><a/>"));
  EXPECT_FALSE(IsReadable("<?xml version='1.0'?><!-- c -->\n<!DOCTYPE a [<!ENTITY e '>'>]><a/>"));
  EXPECT_TRUE(IsReadable("<a x='<!DOCTYPE a>'>"));
  EXPECT_TRUE(IsReadable("<a><!-- <!DOCTYPE a> --><![CDATA[<!DOCTYPE a>]]></a>"));
}

// What else is wrong with a text msxml3 finds.
TEST(Layout, WhatIsNotWellFormedIsReadToItsEnd) {
  for (const std::string text :
       {"", "<", "<a", "<a x='", "<!--", "<![CDATA[", "<?", "</a>", "a>"}) {
    EXPECT_TRUE(IsReadable(text)) << text;
    EXPECT_EQ(IsReadable(text + "<!DOCTYPE"), text.starts_with("<") && text != "</a>") << text;
  }
}

TEST(Layout, LayoutInValuesIsInDecimalReferences) {
  constexpr std::u16string_view kValue = u"<a x=\"1&#9;2&#10;3&#13;4\"/>";
  EXPECT_EQ(OneForm(kValue), "<a x=\"1&#9;2&#10;3&#13;4\"/>");
  for (const std::u16string_view written :
       {u"<a x=\"1&#x9;2&#xA;3&#xD;4\"/>", u"<a x=\"1&#x09;2&#x0a;3&#x0d;4\"/>",
        u"<a x=\"1\t2\n3\r4\"/>", u"<a x=\"1\t2&#xA;3\r4\"/>\r\n"})
    EXPECT_EQ(OneForm(written), OneForm(kValue));
}

TEST(Layout, TheRestStays) {
  EXPECT_EQ(OneForm(u"<a>\r\n\t<b x=\">  \" y=\"&amp;&#60;\"/>\r\n</a>\r\n"),
            "<a><b x=\">  \" y=\"&amp;&#60;\"/></a>");
  EXPECT_EQ(OneForm(u"<a>&#xE4;&#8364;<!-- &#xE4; --><?p it's?><b/> \n </a>"),
            "<a>\xC3\xA4\xE2\x82\xAC<!-- &#xE4; --><?p it's?><b/></a>");
}

}  // namespace
}  // namespace orvspc::windows::msxml
