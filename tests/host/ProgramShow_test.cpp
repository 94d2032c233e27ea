// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "platform/FixedText.h"
#include "tests/host/ParsedJson.h"
#include "tests/host/program_fixture.h"

namespace orvspc::host {

namespace {

TEST_F(Program, StoredDataIsShownWithoutADatabase) {
  Import();
  ASSERT_EQ(Run("data --db q.db --max 3 -o d.xml").status, 0);
  const Outcome shown = Run("show d.xml --format json");
  ASSERT_EQ(shown.status, 0) << shown.err;
  const ParsedJson document = ParseJson(shown.out);
  EXPECT_EQ(document.At("TotalSubgroups").number, 3);
  EXPECT_EQ(document.At("Subgroups[2].Tests[0].Val").number, 20);
  EXPECT_EQ(Run("show d.xml --format xml").out, Text(folder_.File("d.xml")));
}

// The units of a text with their byte order mark.
std::string InUtf16(const std::string& text, bool low_byte_first) {
  std::string bytes;
  for (const char16_t unit : u'\uFEFF' + platform::ToUtf16(text)) {
    const char low = static_cast<char>(unit & 0xFF), high = static_cast<char>(unit >> 8);
    bytes += {low_byte_first ? low : high, low_byte_first ? high : low};
  }
  return bytes;
}

TEST_F(Program, ShowTakesAChartInUtf16WithAByteOrderMark) {
  Import();
  ASSERT_EQ(Run("chart --db q.db -o c.xml").status, 0);
  const std::string xml = Text(folder_.File("c.xml")), drawn = Run("show c.xml").out;
  ASSERT_NE(drawn, "");
  for (const std::string declaration :
       {"", "<?xml version=\"1.0\"?>\r\n", "<?xml version=\"1.0\" encoding=\"UTF-16\"?>\r\n",
        "<?xml version='1.0' encoding='utf-16BE'?>"}) {
    for (const bool low_byte_first : {true, false}) {
      Write("w.xml", InUtf16(declaration + xml, low_byte_first));
      const Outcome outcome = Run("show w.xml");
      EXPECT_EQ(outcome.status, 0) << declaration << outcome.err;
      EXPECT_EQ(outcome.out, drawn) << declaration;
    }
  }
  // Letters of two, three and four bytes, and the name of the encoding where it is none.
  const std::string name = "Gr\xC3\xB6\xC3\x9F\x65 \xE2\x82\xAC \xF0\x9F\x98\x80 UTF-16";
  const std::string bins = "<PABins><PABin ID=\"1\" Name=\"" + name +
                           "\" BinCount=\"3\" Factor=\"3\" Value=\"3\" Percent=\"100\" Total=\"3\" "
                           "Yield=\"0\" PPK=\"0\" Flag=\"0\" SGroupID=\"0\"/></PABins>";
  Write("w.xml", InUtf16(bins, true));
  const Outcome wide = Run("show w.xml --format json");
  ASSERT_EQ(wide.status, 0) << wide.err;
  EXPECT_EQ(ParseJson(wide.out).At("Bins[0].Name").text, name);
}

TEST_F(Program, ShowChecksTheDeclarationInUtf16AsInUtf8) {
  const std::string text = "<DataSelect MaximumItems=\"7\"/>";
  // ENCODING is that of the text, OTHER that of the other one.
  const struct {
    const char* declaration;
    bool is_taken;
  } kRows[] = {
      {"", true},
      {"<?xml version='1.0'?>", true},
      {"<?xml version='1.0' encoding='ENCODING'?>", true},
      {"<?xml\tversion=\"1.0\"\r\n encoding =\t\"ENCODING\" ?>\r\n", true},
      {"<?xml\r\nversion='1.0' encoding='ENCODING' standalone='yes'?>", true},
      {"<?xml-stylesheet href='encoding.css'?>", true},
      {"<?xml garbage?>", false},
      {"<?xml?>", false},
      {"<?xml version='1.1'?>", false},
      {"<?xml version='1.1' encoding='ENCODING'?>", false},
      {"<?xml version='1.0' encoding='OTHER'?>", false},
      {"<?xml version='1.0' encoding='windows-1252'?>", false},
      {"<?xml version='1.0' encoding=''?>", false},
      {"<?xml version='1.0' encoding='ENCODING\"?>", false},
      {"<?xml version='1.0' encoding?>", false},
      {"<?xml version='1.0' standalone='no' encoding='ENCODING'?>", false},
      {"<?xml version='1.0' encoding='ENCODING' x='1'?>", false},
      {"<?xml version='encoding=\"ENCODING\"'?>", false},
      {" <?xml version='1.0'?>", false},
      {"<?xml version='1.0' encoding='ENCODING'", false},
  };
  for (const auto& row : kRows) {
    for (const bool is_wide : {false, true}) {
      std::string declaration = row.declaration;
      for (const auto& [word, name] : {std::pair("ENCODING", is_wide ? "UTF-16" : "UTF-8"),
                                       std::pair("OTHER", is_wide ? "UTF-8" : "UTF-16")}) {
        const auto at = declaration.find(word);
        if (at != declaration.npos) declaration.replace(at, std::string(word).size(), name);
      }
      const std::string whole = declaration + text;
      Write("r.xml", is_wide ? InUtf16(whole, true) : whole);
      const Outcome outcome = Run("show r.xml --format json");
      EXPECT_EQ(outcome.status, row.is_taken ? 0 : 1) << declaration << outcome.err;
      EXPECT_EQ(outcome.out.find("7") != std::string::npos, row.is_taken) << declaration;
    }
  }
}

TEST_F(Program, ShowSaysThatAFileIsNoUtf8) {
  const std::string text = "<DataSelect MaximumItems=\"7\"/>";
  const std::string wide = InUtf16(text, true);
  const std::string no_utf8 = "r.xml: is no UTF-8, and no UTF-16 with a byte order mark\n";
  const std::string no_utf16 = "r.xml: is no UTF-16, which its byte order mark says\n";
  for (const auto& [bytes, says] : std::vector<std::pair<std::string, std::string>>{
           {"<DataSelect x=\"Gr\xF6\xDF"
            "e\"/>",
            no_utf8},
           {wide + "x", no_utf16},
           {wide + std::string("\x00\xD8", 2), no_utf16}}) {
    Write("r.xml", bytes);
    const Outcome outcome = Run("show r.xml");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "orvspc show: " + says);
  }
  // Without the mark an encoding that the text does not have is still refused.
  Write("r.xml", "<?xml version='1.0' encoding='UTF-16'?>" + text);
  EXPECT_EQ(Run("show r.xml").status, 1);
}

TEST_F(Program, ShowTakesTheSettingsObjectsAndRefusesOtherRoots) {
  struct Row {
    const char* text;
    int status;
    const char* says;
    const char* reason;
  };
  const Row rows[] = {
      {"<DataSelect MaximumItems=\"7\"/>", 0, "MaximumItems: 7", "selection"},
      {"<CCProcessing Graph1Type=\"3\"/>", 0, "Graph1Type: 3", "settings"},
      {"<SubgroupData/>", 0, "no data selected", "no subgroups"},
      {"<Other/>", 1, "Node does not exist!", "a root that is not known"},
      {"<CCResults/>", 1, "Missing object", "a result with nothing in it"},
      {"<DataSelect", 1, "Node does not exist!", "malformed"},
      {"", 1, "Node does not exist!", "empty"},
      {"part,process\nRing,Lathe\n", 1,
       "r.xml: is no result kept as XML, such as chart -o FILE.xml writes (Node does not exist!)",
       "another kind of file"},
      {"<Other/>", 1, "r.xml: is no result kept as XML", "the file of another root"},
      {"<Other/>", 1, "its root is <Other>", "the name of another root"},
      {"<DataSelect MaximumItems=\"x\"/>", 1, "", "no number"},
  };
  for (const auto& row : rows) {
    Write("r.xml", row.text);
    const Outcome outcome = Run("show r.xml");
    EXPECT_EQ(outcome.status, row.status) << row.reason << outcome.err;
    EXPECT_NE((outcome.out + outcome.err).find(row.says), std::string::npos)
        << row.reason << ": " << outcome.out << outcome.err;
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), row.status) << row.reason;
  }
}

}  // namespace
}  // namespace orvspc::host
