// SPDX-License-Identifier: Apache-2.0
// Random damage to well-formed texts: what Expat takes is taken, what it refuses is refused.
#include <expat.h>
#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <string>
#include <string_view>

#include "engine/dom/Dom.h"

namespace orvspc::engine {
namespace {

bool ExpatTakes(const std::string& text) {
  const std::unique_ptr<XML_ParserStruct, void (*)(XML_Parser)> parser(XML_ParserCreate("UTF-8"),
                                                                       XML_ParserFree);
  return XML_Parse(parser.get(), text.data(), static_cast<int>(text.size()), 1) == XML_STATUS_OK;
}

constexpr std::string_view kSeeds[] = {
    "<a x='1' y=\"2\"><b/><b z='&lt;&#9;'>t &amp; u</b><!-- c --><?p q?><![CDATA[]]]></a>",
    "<r><s F_SGRP=\"1\" F_PART=\"2\" F_VAL=\"0.5\"/><s F_SGRP=\"3\"></s >\r\n</r> <!--x--><?y?>",
    "\xEF\xBB\xBF<n v='\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80&#x1F600;'>]] &gt; </n>\n",
};
constexpr std::string_view kPieces[] = {
    "<",
    ">",
    "/",
    "&",
    ";",
    "\"",
    "'",
    "=",
    " ",
    "a",
    "b",
    "x",
    "1",
    "-",
    "--",
    "?",
    "!",
    "#",
    "]",
    "[",
    "]]>",
    "<a>",
    "</a>",
    "<!--",
    "-->",
    "<?",
    "?>",
    "<![CDATA[",
    "&lt;",
    "&#",
    "&#x",
    "&#0;",
    "&#65;",
    "&no;",
    " x='1'",
    "\n",
    "\r",
    "\t",
    "\x01",
    "\x80",
    "\xC3",
    "\xA4",
    "\xC3\xA4",
    "\xED\xA0\x80",
    "\xEF\xBF\xBF",
    "\xC0\x80",
    "\xF4\x90\x80\x80",
    ":",
    ".",
    "xml",
};

TEST(DomAgainstExpat, BothTakeAndRefuseTheSameTexts) {
  std::mt19937 random(61803);
  const auto below = [&random](std::size_t n) { return random() % n; };
  int taken = 0;
  for (int i = 0; i < 60'000; ++i) {
    std::string text(kSeeds[below(std::size(kSeeds))]);
    for (std::size_t changes = 1 + below(3); changes > 0; --changes) {
      const std::size_t at = below(text.size() + 1);
      const std::string_view piece = kPieces[below(std::size(kPieces))];
      switch (below(3)) {
        case 0:
          text.insert(at, piece);
          break;
        case 1:
          text.replace(at, 1 + below(3), piece);
          break;
        default:
          text.erase(at, 1 + below(4));
          break;
      }
    }
    const bool ours = dom::MakeXmlDocument()->LoadXml(text);
    EXPECT_EQ(ours, ExpatTakes(text)) << text;
    taken += ours ? 1 : 0;
  }
  EXPECT_GT(taken, 3'000) << "the damage is so great that nothing is compared";
}

TEST(DomAgainstExpat, WhatIsTakenIsWrittenWellFormedAndReadTheSame) {
  std::mt19937 random(31415);
  for (int i = 0; i < 10'000; ++i) {
    std::string text(kSeeds[random() % std::size(kSeeds)]);
    text.insert(random() % text.size(), kPieces[random() % std::size(kPieces)]);
    const auto document = dom::MakeXmlDocument();
    if (!document->LoadXml(text)) continue;
    const std::string written = document->Xml(document->Root());
    EXPECT_TRUE(ExpatTakes(written)) << written;
    ASSERT_TRUE(document->LoadXml(written)) << written;
    EXPECT_EQ(document->Xml(document->Root()), written);
  }
}

}  // namespace
}  // namespace orvspc::engine
