// SPDX-License-Identifier: Apache-2.0
// The texts that hosts get are read by a parser of other hands.
#include <expat.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "dataset/SubgroupData.h"
#include "frame/Friend.h"
#include "tests/dataset/rows.h"
#include "tests/fake/FakePlatform.h"

namespace orvspc::contract {
namespace {

// The elements of that name with their attributes, as Expat reads them.
struct Expat {
  using Element = std::map<std::string, std::string>;

  Expat(const std::string& text, std::string element) : name(std::move(element)) {
    const std::unique_ptr<XML_ParserStruct, void (*)(XML_Parser)> parser(XML_ParserCreate(nullptr),
                                                                         XML_ParserFree);
    XML_SetUserData(parser.get(), this);
    XML_SetStartElementHandler(parser.get(),
                               [](void* self, const XML_Char* read, const XML_Char** pairs) {
                                 auto* expat = static_cast<Expat*>(self);
                                 if (expat->name != read) return;
                                 Element& added = expat->found.emplace_back();
                                 for (; pairs[0] != nullptr; pairs += 2)
                                   added.emplace(pairs[0], pairs[1]);
                               });
    well_formed =
        XML_Parse(parser.get(), text.data(), static_cast<int>(text.size()), 1) == XML_STATUS_OK;
  }

  std::string name;
  std::vector<Element> found;
  bool well_formed = false;
};

std::string WithoutPadding(const std::string& text) {
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

TEST(XmlAgainstExpat, NamesAndNotesOfAllKindsAreReadAsTheyWereWritten) {
  const fake::FakeScope outside;
  struct Row {
    std::u16string written;
    std::string read;
    const char* reason;
  };
  const Row rows[] = {
      {u"plain", "plain", "nothing to escape"},
      {u"\"double\" 'single'", "\"double\" 'single'", "quotes"},
      {u"<a href=''>&amp;]]>", "<a href=''>&amp;]]>", "markup"},
      {u"tab\tline\nreturn\rend", "tab\tline\nreturn\rend", "blanks that a parser would change"},
      {u"a\u0001b\u0008c\u001Fd", "a b c d", "controls, which no XML may hold, are blanks"},
      {std::u16string(u"a\0b", 3), "a b", "NUL"},
      {u"\u007F\u0085\u2028", "\x7F\xC2\x85\xE2\x80\xA8", "controls that XML may hold"},
      {u"Zo\u00EB \u76F4\u5F84", "Zo\xC3\xAB \xE7\x9B\xB4\xE5\xBE\x84", "two and three bytes"},
      {u"\U0001F600\U0001D11E\U0010FFFD", "\xF0\x9F\x98\x80\xF0\x9D\x84\x9E\xF4\x8F\xBF\xBD",
       "emoji and other four bytes"},
      {u"\xD83D alone", "\xEF\xBF\xBD alone", "half of a pair"},
      {u"a\uFFFEb\uFFFFc", "a b c", "no characters, blanks like the controls"},
  };
  fake::DataRows data_rows;
  data_rows.subgroups = {fake::Subgroup(1, 1, 0, 0)};
  data_rows.tests = {fake::Value(0.1)};
  for (const Row& row : rows) {
    API_CommentData comment = fake::Comment(1, 0, "");
    std::ranges::fill(comment.Empl, u' ');
    std::ranges::copy(row.written, comment.Empl);
    std::ranges::copy(row.written, comment.Note);
    data_rows.comments.push_back(comment);
  }
  SubgroupData data;
  data_rows.LoadInto(data);

  const Expat expat(data.GetXML(), "Comment");
  EXPECT_TRUE(expat.well_formed);
  ASSERT_EQ(expat.found.size(), std::size(rows));
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    const auto& comment = expat.found[i];
    EXPECT_EQ(WithoutPadding(comment.at("F_EMPL")), rows[i].read) << rows[i].reason;
    EXPECT_EQ(WithoutPadding(comment.at("F_NOTE")), rows[i].read) << rows[i].reason;
  }
}

}  // namespace
}  // namespace orvspc::contract
