// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>

#include "engine/write/import/Import.h"

// docs/how-to/import.md has the columns of each kind as the program knows them, between
// "<!-- columns: KIND ... -->" and "<!-- end -->". With ORVSPC_WRITE_PAGES=1 the page is written.
namespace orvspc::engine::import {
namespace {

const std::string kPage = ORVSPC_TESTS_DIR "/../docs/how-to/import.md";
const std::string kBegin = "<!-- columns: ", kEnd = "<!-- end -->";

std::string TableOf(const ImportKindInfo& kind) {
  std::string text = "\n| column | | |\n|---|---|---|\n";
  for (const auto& column : kind.columns) {
    text += "| `" + std::string(column.name) + "` | " + (column.required ? "required" : "") +
            " | " + std::string(column.help) + " |\n";
  }
  return text + "\n";
}

// The page with the tables of the program; the kinds that it has are put into seen.
std::string WithTables(const std::string& page, std::multiset<std::string>& seen) {
  std::string out;
  std::istringstream lines(page);
  for (std::string line; std::getline(lines, line);) {
    out += line + "\n";
    if (line.rfind(kBegin, 0) != 0) continue;
    std::istringstream words(line.substr(kBegin.size()));
    std::string table;
    for (std::string word; words >> word && word != "-->";) {
      const auto kind = ImportKindFromWord(word);
      EXPECT_TRUE(kind) << word;
      if (!kind) continue;
      const auto own = TableOf(ImportKinds()[static_cast<std::size_t>(*kind)]);
      EXPECT_TRUE(table.empty() || table == own) << word << " has columns of its own";
      table = own;
      seen.insert(word);
    }
    out += table;
    while (std::getline(lines, line) && line != kEnd) continue;
    out += kEnd + "\n";
  }
  return out;
}

TEST(ImportPage, HasTheColumnsThatTheProgramTakes) {
  std::ifstream file(kPage, std::ios::binary);
  std::ostringstream page;
  page << file.rdbuf();
  ASSERT_FALSE(page.str().empty()) << kPage;
  std::multiset<std::string> seen;
  const auto expected = WithTables(page.str(), seen);
  if (std::getenv("ORVSPC_WRITE_PAGES") != nullptr) std::ofstream(kPage) << expected;
  EXPECT_EQ(page.str(), expected) << "run this test with ORVSPC_WRITE_PAGES=1";
  for (const auto& kind : ImportKinds()) {
    EXPECT_EQ(seen.count(std::string(kind.word)), 1U) << kind.word;
  }
}

TEST(ImportPage, EachColumnHasItsNameOnceAndALineOfHelp) {
  for (const auto& kind : ImportKinds()) {
    EXPECT_FALSE(kind.summary.empty()) << kind.word;
    std::set<std::string_view> names;
    for (const auto& column : kind.columns) {
      EXPECT_TRUE(names.insert(column.name).second) << kind.word << " " << column.name;
      EXPECT_FALSE(column.help.empty()) << kind.word << " " << column.name;
      EXPECT_EQ(column.help.find_first_of("\n|"), std::string_view::npos) << column.help;
    }
  }
}

}  // namespace
}  // namespace orvspc::engine::import
