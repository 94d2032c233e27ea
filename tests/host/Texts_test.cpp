// SPDX-License-Identifier: Apache-2.0
// What people typed comes back: by name, on every chart, page and table; and what is said of a
// selection that was cut, or is empty.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <regex>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <variant>
#include <vector>

#include "host/render/chart/ChartLayout.h"
#include "tests/host/ChartViews.h"
#include "tests/host/ParsedJson.h"
#include "tests/host/ProgramTest.h"

namespace orvspc::host {
namespace {

bool Has(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

std::size_t CountOf(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (auto at = text.find(part); at != text.npos; at = text.find(part, at + 1)) ++count;
  return count;
}

// The names of the elements of an XML text.
std::set<std::string> TagsOf(const std::string& xml) {
  std::set<std::string> tags;
  for (auto at = xml.find('<'); at != xml.npos; at = xml.find('<', at + 1))
    tags.insert(xml.substr(at, xml.find_first_of(" >/", at + 1) - at));
  return tags;
}

std::string Rounded(double value, int decimals) {
  char text[64];
  std::snprintf(text, sizeof text, "%.*f", decimals, value);
  return text;
}

class Texts : public ProgramTest {
 protected:
  void Import(const std::string& kind, const std::string& text) {
    Write("in.csv", text);
    const auto outcome = Run("import in.csv --db q.db --kind " + kind);
    ASSERT_EQ(outcome.status, 0) << outcome.err;
  }

  // Hourly subgroups of two values from midnight on, with lot and comment as they are given.
  void ImportHours(int hours, const std::string& comment_hours = "", int disabled = 0) {
    std::string csv = "part,process,test,subgroup,time,value,lot,comment,employee,flag\n";
    for (int i = 0; i < hours; ++i)
      for (int j = 0; j < 2; ++j) {
        char line[160];
        const bool has_comment =
            j == 0 && (comment_hours == "all" || Has(comment_hours, "," + std::to_string(i) + ","));
        std::snprintf(line, sizeof line,
                      "Ring,Press,Diameter,S%d,2024-03-%02dT%02d:00,10.%d,L%d,%s%s,Ann,%d\n", i,
                      1 + i / 24, i % 24, (i * 7 + j * 3) % 10, i / 10, has_comment ? "note " : "",
                      has_comment ? std::to_string(i).c_str() : "", i < disabled ? 1 : 0);
        csv += line;
      }
    Import("values", csv);
  }

  ParsedJson Json(const std::string& command) {
    const auto outcome = Run(command + " --format json");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return ParseJson(outcome.out);
  }
};

TEST_F(Texts, EveryColumnComesBackByName) {
  const std::string long_comment = "began " + std::string(200, 'x') + " ended";
  Import(
      "values",
      "part,process,test,subgroup,time,value,workstation,job,lot,shift,revision,employee,serial,"
      "gage,descriptor:Colour,comment\n"
      "Ring,Press,Diameter,batch 7,2024-03-01T08:00,10.1,WS-a,JO-b,LO-c,SH-d,RE-e,EM-f,SN-g,GA-h,"
      "red-i," +
          long_comment +
          "\n"
          "Ring,Press,Diameter,batch 8,2024-03-01T09:00,10.2,WS-a,JO-b,LO-c,SH-d,RE-e,EM-f,SN-j,"
          "GA-h,red-i,\n");
  Import("acc-codes", "code\nCause-k\n");
  Import("cac-codes", "code\nAction-l\n");
  Import(
      "events",
      "type,time,name,process,part,test,subgroup-time,employee,acc,acc-employee,cac\n"
      "subgroup-alarm,2024-03-01T08:05,Event-m,Press,Ring,Diameter,2024-03-01T08:00,EM-f,Cause-k,"
      "EM-n,Action-l\n"
      "subgroup-alarm,2024-03-01T08:06,Other,Press,Bolt,Diameter,2024-03-01T08:00,,,,\n");
  for (const std::string command : {"data --db q.db", "chart --db q.db"}) {
    const auto document = Json(command);
    const auto& row = document.At("Subgroups").elements.at(0);
    for (const auto& [key, text] : {std::pair("Label", "batch 7"),
                                    {"WkstName", "WS-a"},
                                    {"JobName", "JO-b"},
                                    {"LotName", "LO-c"},
                                    {"ShftName", "SH-d"},
                                    {"PtrvName", "RE-e"},
                                    {"EmplName", "EM-f"},
                                    {"Tests[0].SnName", "SN-g"},
                                    {"Tests[0].GageName", "GA-h"},
                                    {"Tests[0].DefName", ""},
                                    {"Comments[0].Empl", "EM-f"},
                                    {"Events[0].Name", "Event-m"},
                                    {"Events[0].ACCName", "Cause-k"},
                                    {"Events[0].ACCEmployeeName", "EM-n"},
                                    {"Events[0].CACName", "Action-l"}})
      EXPECT_EQ(row.At(key).text, text) << command << ' ' << key;
    EXPECT_EQ(row.At("Comments[0].Note").text, long_comment) << "not cut to 128 characters";
    EXPECT_EQ(row.At("Events").elements.size(), 1U) << "the other event is of another part";
    EXPECT_TRUE(document.At("Subgroups[1].Comments").elements.empty()) << command;
    EXPECT_TRUE(document.At("Subgroups[1].Events").elements.empty()) << command;
  }
  for (const std::string command : {"data", "chart", "states"}) {
    const auto descriptors = Json(command + " --db q.db").At("Subgroups[0].Descriptors");
    ASSERT_EQ(descriptors.elements.size(), 1U) << command;
    EXPECT_EQ(descriptors.elements[0].At("DsgpName").text, "Colour") << command;
    EXPECT_EQ(descriptors.elements[0].At("DescName").text, "red-i") << command;
  }
  std::string text = Run("data --db q.db").out;
  text.erase(std::remove(text.begin(), text.end(), '\n'), text.end());
  const std::string page = Run("chart --db q.db --format html").out;
  const std::string picture = Run("chart --db q.db --format svg").out;
  for (const std::string typed :
       {"batch 7", "batch 8", "WS-a", "JO-b", "LO-c", "SH-d", "RE-e", "EM-f", "SN-g", "SN-j",
        "GA-h", "red-i", "Colour", "began", "ended", "Cause-k", "Action-l", "EM-n"}) {
    EXPECT_TRUE(Has(text, typed)) << typed << text;
    EXPECT_TRUE(Has(page.substr(page.find("<h2>Points</h2>")), typed)) << typed;
    EXPECT_TRUE(Has(picture, typed)) << typed;
  }
  EXPECT_TRUE(Has(picture, ">Cause-k / Action-l</text>")) << "beside the point";
}

// Subgroups of other parts between those of a chart, with descriptors of their own.
TEST_F(Texts, DescriptorsAreThoseOfTheirSubgroups) {
  std::string csv = "part,process,test,subgroup,time,value,descriptor:Colour\n";
  for (int i = 0; i < 60; ++i) {
    const auto number = std::to_string(i);
    csv += "Ring" + std::to_string(i % 6) + ",Press,Diameter," + number + ",2024-03-01T" +
           (i < 10 ? "00:0" : "00:") + number + ",10,colour " + number + "\n";
  }
  Import("values", csv);
  for (const std::string options : {"--part Ring2", ""}) {
    const auto document = Json("chart --db q.db --max 0 " + options);
    const auto& rows = document.At("Subgroups").elements;
    EXPECT_EQ(rows.size(), options.empty() ? 60U : 10U);
    for (const auto& row : rows) {
      ASSERT_EQ(row.At("Descriptors").elements.size(), 1U);
      EXPECT_EQ(row.At("Descriptors[0].DescName").text, "colour " + row.At("Label").text);
    }
  }
}

TEST_F(Texts, DefectsAreNamedWithTheirCounts) {
  Import("values",
         "part,process,test,subgroup,time,count,size,defect\n"
         "Panel,Line,Surface,1,2024-03-01T08:00,8,100,Scratch\n"
         "Panel,Line,Surface,1,2024-03-01T08:00,2,100,Dent\n");
  const auto outcome = Run("data --db q.db");
  EXPECT_TRUE(Has(outcome.out, "Scratch x8  Dent x2")) << outcome.out;
  EXPECT_EQ(Json("data --db q.db").At("Subgroups[0].Tests[0].DefName").text, "Scratch");
}

TEST_F(Texts, CodesAreShownWithWhatTheyMean) {
  Import("defects", "code,name\nSC,Scratch\nDent,Dent\n");
  Import("acc-codes", "code,name\nA1,Worn tool\n");
  Import("cac-codes", "code,name\nC1,Tool changed\n");
  Import("values",
         "part,process,test,subgroup,time,count,size,defect\n"
         "Panel,Line,Surface,1,2024-03-01T08:00,8,100,SC\n"
         "Panel,Line,Surface,1,2024-03-01T08:00,2,100,Dent\n");
  Import("events",
         "type,time,name,process,part,test,subgroup-time,acc,cac\n"
         "subgroup-alarm,2024-03-01T08:05,Odd,Line,Panel,Surface,2024-03-01T08:00,A1,C1\n");
  const auto data = Run("data --db q.db").out;
  EXPECT_TRUE(Has(data, "SC Scratch x8  Dent x2")) << data;
  EXPECT_TRUE(Has(data, "cause: A1 Worn tool; action: C1 Tool changed")) << data;
  const auto picture = Run("chart --db q.db --format svg").out;
  EXPECT_TRUE(Has(picture, "defects SC Scratch, Dent")) << picture;
  EXPECT_TRUE(Has(picture, ">A1 Worn tool / C1 Tool")) << "beside the point";
  EXPECT_TRUE(Has(Run("events --db q.db").out, "A1 Worn tool"));
  EXPECT_EQ(Json("data --db q.db").At("Subgroups[0].Tests[0].DefName").text, "SC");
}

TEST_F(Texts, APageHasEveryPoint) {
  ImportHours(60);
  const auto page = Run("chart --db q.db --max 0 --format html").out;
  const auto table = page.substr(page.find("<h2>Points</h2>"));
  EXPECT_EQ(CountOf(table, "<tr>"), 61U);
  for (int i = 0; i < 60; ++i) EXPECT_TRUE(Has(table, "<td>S" + std::to_string(i) + "</td>")) << i;
  EXPECT_FALSE(Has(table, "<th>workstation</th>")) << "nobody typed one";
  EXPECT_TRUE(Has(table, "<th>lot</th>"));
}

TEST_F(Texts, ATooltipHasWhatIsKnownOfItsPoint) {
  ImportHours(30, ",2,");
  const auto picture = Run("chart --db q.db --max 0 --format svg").out;
  const auto from = picture.find("<title>#3  subgroup S2");
  ASSERT_NE(from, picture.npos);
  const auto tip = picture.substr(from, picture.find("</title>", from) - from);
  for (const std::string part : {"2024-03-01T02:00:00", "n = 2", "UCL ", "CL ", "LCL ", "lot L0",
                                 "employee Ann", "comment 1: note 2 (Ann)"})
    EXPECT_TRUE(Has(tip, part)) << tip;
}

// The twelfth point of the chart is the seventeenth subgroup of the database.
TEST_F(Texts, APointHasTheNumberByWhichItsSubgroupIsChanged) {
  std::string csv = "part,process,test,subgroup,time,value,comment\n";
  for (int i = 0; i < 5; ++i)
    csv += "Ring,Press,Width,R" + std::to_string(i) + ",2024-03-01T0" + std::to_string(i) +
           ":00,10,\n";
  for (int i = 0; i < 12; ++i)
    csv += "Disc,Press,Width,D" + std::to_string(i) + ",2024-03-02T" + (i < 10 ? "0" : "") +
           std::to_string(i) + ":00," +
           (i == 11 ? std::string("100,slipped") : std::to_string(10 + i % 2) + ",") + "\n";
  Import("values", csv);
  const std::string chart = "chart --db q.db --part Disc --graph2 none --format ";
  const std::string of_mark = "2024-03-02T11:00:00  100  rule 1";
  const auto text = Run(chart + "text").out;
  EXPECT_TRUE(Has(text, " #17   " + of_mark)) << text;
  EXPECT_TRUE(Has(text, "  #17     2024-03-02T11:00:00  comment 1: slipped")) << text;
  const auto picture = Run(chart + "svg").out;
  EXPECT_TRUE(Has(picture, "<title>#17  subgroup D11  2024-03-02T11:00:00  ")) << picture;
  EXPECT_TRUE(Has(picture, "#17  2024-03-02T11:00:00  slipped")) << picture;
  const auto page = Run(chart + "html").out;
  EXPECT_GE(CountOf(page, ">#17</td>"), 2U) << "the point and its signal";

  // A stored result has the numbers, unless somebody took them out.
  auto stored = Run(chart + "xml").out;
  Write("chart.xml", stored);
  EXPECT_TRUE(Has(Run("show chart.xml --format text").out, " #17   " + of_mark));
  Write("chart.xml", std::regex_replace(stored, std::regex("F_SGRP=\"[0-9]+\""), "F_SGRP=\"0\""));
  const auto shown = Run("show chart.xml --format text").out;
  EXPECT_TRUE(Has(shown, " point 12 " + of_mark)) << shown;
  EXPECT_TRUE(Has(Run("show chart.xml --format svg").out, "<title>point 12  2024-03-02T11:00:00"));

  EXPECT_EQ(Run("edit flag '#17' --to disabled --reason worn --db q.db").status, 0);
  EXPECT_EQ(Json("chart --db q.db --part Disc").At("Subgroups[11].Flag").number, 1.0);
}

TEST_F(Texts, TwelveCommentsAreListedAndTheOthersCounted) {
  ImportHours(19, "all");
  for (const std::string format : {"svg", "html"}) {
    const auto picture = Run("chart --db q.db --format " + format).out;
    for (int i = 1; i <= 12; ++i) {
      const std::string line = "note " + std::to_string(i - 1) + " (Ann)</text>";
      EXPECT_TRUE(Has(picture, line)) << format << i;
    }
    EXPECT_TRUE(Has(picture, ">and 7 more</text>")) << format;
    EXPECT_EQ(CountOf(picture, "class=\"fl\""), 19U + 12U) << "a flag each, and the legend's";
  }
}

TEST_F(Texts, ANoteSaysWhatIsDisabledAndWhichLimitsHold) {
  ImportHours(30, "", 8);
  Import("control-limits",
         "part,process,test,mean,sp,effective\nRing,Press,Diameter,10.4,0.3,2024-01-10\n");
  const std::string notes[] = {"newest 25 of 30 subgroups; --max 0 takes all",
                               "limits in force since 2024-01-10", "3 of 25 disabled"};
  std::set<std::string> texts;
  const auto document = Json("chart --db q.db");
  for (const auto& note : document.At("Notes").elements) texts.insert(note.At("Text").text);
  for (const auto& note : notes) {
    EXPECT_TRUE(texts.contains(note)) << note;
    for (const std::string format : {"text", "svg", "html"})
      EXPECT_TRUE(Has(Run("chart --db q.db --format " + format).out, note)) << format << note;
  }
  EXPECT_EQ(Json("data --db q.db").At("Notes[1].Text").text, "3 of 25 disabled");
  const auto all = Json("chart --db q.db --max 0");
  EXPECT_EQ(all.At("TotalSubgroups").number, 30.0);
  for (const auto& note : all.At("Notes").elements)
    EXPECT_NE(note.At("Code").text, "newest-only") << "nothing was cut";
}

TEST_F(Texts, DecimalsAreThoseOfTheSpecification) {
  ImportHours(30);
  const auto limit = [&](const std::string& name) {
    const auto text = Run("chart --db q.db --format svg").out;
    const auto at = text.find(">" + name + " ");
    return text.substr(at + 1, text.find('<', at) - at - 1);
  };
  const auto decimals = [](const std::string& label) {
    const auto point = label.find('.');
    return point == label.npos ? std::size_t{0} : label.size() - point - 1;
  };
  EXPECT_EQ(decimals(limit("UCL")), 2U) << "one more than the values";
  EXPECT_EQ(decimals(limit("CL")), 2U);
  const auto figures = Json("chart --db q.db").At("Graphs[0].UCLs[0]").number;
  std::set<std::string> pictures;
  for (const std::string scale : {"0", "1", "2", "3", "5"}) {
    Import("limits", "part,test,usl,scale\nRing,Diameter,99," + scale + "\n");
    EXPECT_EQ(decimals(limit("UCL")), static_cast<std::size_t>(scale[0] - '0') + 1U);
    EXPECT_EQ(Json("chart --db q.db").At("Graphs[0].UCLs[0]").number, figures) << "all digits";
    pictures.insert(Run("chart --db q.db --format svg").out);
    pictures.insert(Run("chart --db q.db --format text").out);
    pictures.insert(Run("chart --db q.db --format html").out);
  }
  EXPECT_EQ(pictures.size(), 15U) << "each scale shows";
}

TEST_F(Texts, DecimalsOfCapabilityAreThoseOfTheSpecification) {
  ImportHours(30);
  const auto figures = Json("capability --db q.db");
  const auto figure = [&](const std::string& name) {
    return figures.At("Statistics.Summary." + name).number;
  };
  std::set<std::string> outputs;
  for (const int scale : {0, 1, 3}) {
    Import("limits", "part,test,usl,scale\nRing,Diameter,99," + std::to_string(scale) + "\n");
    const auto mean = Json("capability --db q.db").At("Statistics.Summary.Mean").number;
    EXPECT_EQ(mean, figure("Mean")) << "all digits";
    for (const std::string command : {"chart", "capability"})
      for (const std::string format : {"text", "svg", "html"})
        outputs.insert(Run(command + " --db q.db --format " + format).out);
    const auto page = Run("capability --db q.db --format html").out;
    for (const auto& [row, value, decimals] : {std::tuple("least", figure("Minimum"), scale),
                                               {"mean", figure("Mean"), scale + 1},
                                               {"greatest", figure("Maximum"), scale}}) {
      const auto at = page.find(std::string(">") + row + "</text>");
      ASSERT_NE(at, page.npos) << row;
      const auto begin = page.find("end\">", at) + 5;
      EXPECT_EQ(page.substr(begin, page.find('<', begin) - begin), Rounded(value, decimals))
          << row << scale;
    }
  }
  EXPECT_EQ(outputs.size(), 18U) << "each scale shows in each of them";
}

TEST_F(Texts, WhatLimitsWereMadeWithoutIsHollowAndSaysWhy) {
  ImportHours(30);
  const auto before = Run("chart --db q.db --graph2 none --format svg").out;
  const auto json = Run("chart --db q.db --format json").out;
  EXPECT_FALSE(Has(json, "LeftOut"));
  ASSERT_EQ(
      Run("limits propose --exclude \"#20=tool broke\" --force --reason first --db q.db").status,
      0);
  EXPECT_FALSE(Has(Run("chart --db q.db --format json").out, "LeftOut")) << "it holds nowhere";
  ASSERT_EQ(Run("limits approve 1 --reason agreed --db q.db").status, 0);
  const auto document = Json("chart --db q.db");
  for (std::size_t i = 0; i < 25; ++i) {
    const auto& row = document.At("Subgroups").elements.at(i);
    if (row.At("Sgrp").number == 20) {
      EXPECT_EQ(row.At("LeftOut").text, "tool broke");
    } else {
      EXPECT_EQ(row.At("LeftOut").kind, ParsedJson::Kind::Null);
    }
    EXPECT_EQ(row.At("Flag").number, 0);
  }
  const auto picture = Run("chart --db q.db --graph2 none --format svg").out;
  EXPECT_EQ(CountOf(before, "class=\"pu\""), 0U);
  const auto points = CountOf(picture, "left out of limits: tool broke</title>");
  EXPECT_EQ(points, CountOf(picture, "subgroup S19"));
  EXPECT_GE(points, 1U);
  EXPECT_EQ(CountOf(picture, "class=\"pu\""), points + 1) << "and a line of the legend";
  EXPECT_TRUE(Has(Run("chart --db q.db --format html").out, ">left out of limits</th>"));
}

TEST_F(Texts, WhatWasChangedIsMarked) {
  ImportHours(6);
  for (const std::string command : {"data --db q.db", "chart --db q.db"}) {
    const auto document = Json(command);
    for (const auto& row : document.At("Subgroups").elements) {
      EXPECT_EQ(row.At("Edited").kind, ParsedJson::Kind::Boolean) << command;
      EXPECT_FALSE(row.At("Edited").boolean) << command;
    }
  }

  for (const std::string command :
       {"data --db q.db", "chart --db q.db --format svg", "chart --db q.db --format html"})
    EXPECT_FALSE(Has(Run(command).out, "edited")) << command;
  const auto stored = TagsOf(Run("chart --db q.db --max 0 --format xml").out);
  ASSERT_EQ(Run("edit value 3 --test Diameter --tsno 1 --to 10.7 --reason typing --db q.db").status,
            0);
  ASSERT_EQ(Run("edit flag 5 --to incomplete --reason late --db q.db").status, 0);
  for (const std::string command : {"data --db q.db", "chart --db q.db"}) {
    const auto document = Json(command);
    for (std::size_t i = 0; i < 6; ++i) {
      const auto& edited = document.At("Subgroups").elements.at(i).At("Edited");
      EXPECT_EQ(edited.boolean, i == 2 || i == 4) << command << i;
    }
  }
  EXPECT_EQ(CountOf(Run("data --db q.db").out, "edited"), 2U);
  const auto picture = Run("chart --db q.db --graph2 none --format svg").out;
  const auto from = picture.find("<title>#3  subgroup S2");
  ASSERT_NE(from, picture.npos);
  EXPECT_TRUE(Has(picture.substr(from, picture.find("</title>", from) - from), "; edited"));
  EXPECT_EQ(CountOf(picture, "edited</title>"),
            CountOf(picture, "<title>#3  ") + CountOf(picture, "<title>#5  "));
  const auto page = Run("chart --db q.db --format html").out;
  const auto table = page.substr(page.find("<h2>Points</h2>"));
  EXPECT_TRUE(Has(table, ">edited</th>"));
  EXPECT_EQ(CountOf(table, "<td>yes</td>"), 2U);
  // Of a stored result it is not known, and its text is as it was.
  const auto changed = Run("chart --db q.db --max 0 --format xml").out;
  EXPECT_FALSE(Has(changed, "dited"));
  EXPECT_EQ(TagsOf(changed), stored);
  Write("c.xml", changed);
  EXPECT_EQ(ParseJson(Run("show c.xml --format json").out).At("Subgroups[2].Edited").kind,
            ParsedJson::Kind::Null);
}

TEST_F(Texts, AChartSaysThatTheDataOfItsLimitsWereChanged) {
  ImportHours(30);
  ASSERT_EQ(Run("limits freeze --part Ring --process Press --test Diameter "
                "--since 2024-03-01 --until 2024-03-01T23:00 --reason start --db q.db")
                .status,
            0);
  const auto note = [&](const std::string& more) {
    std::string text;
    const auto document = Json("chart --db q.db" + more);
    for (const auto& each : document.At("Notes").elements)
      if (each.At("Code").text == "limits-data-changed") text += each.At("Text").text;
    return text;
  };
  EXPECT_EQ(note(""), "");
  ASSERT_EQ(
      Run("edit value 29 --test Diameter --tsno 1 --to 10.6 --reason typing --db q.db").status, 0);
  EXPECT_EQ(note(""), "") << "it is no value that the limits come from";
  ASSERT_EQ(Run("edit value 3 --test Diameter --tsno 1 --to 10.6 --reason typing --db q.db").status,
            0);
  const std::string one = "1 of 48 values was changed after these limits were computed";
  EXPECT_EQ(note(""), one);
  EXPECT_EQ(note(" --since 2024-03-02"), one) << "also where none of them is shown";
  for (const std::string format : {"text", "svg", "html"})
    EXPECT_TRUE(Has(Run("chart --db q.db --max 0 --format " + format).out, one)) << format;
  ASSERT_EQ(Run("edit delete 4 --reason broken --db q.db").status, 0);
  EXPECT_EQ(note(""), "3 of 48 values were changed after these limits were computed");
  ASSERT_EQ(Run("edit flag 5 --to disabled --reason broken --db q.db").status, 0);
  EXPECT_EQ(note(""), "5 of 48 values were changed after these limits were computed");
  // Each goes back to what it was.
  const auto log = ParseJson(Run("log --db q.db --format json").out).At("Log").elements;
  for (std::size_t i = log.size(); i-- > 0;) {
    if (!log[i].At("Operation").text.starts_with("edit-") &&
        log[i].At("Operation").text != "delete")
      continue;
    const auto entry = std::to_string(static_cast<int>(log[i].At("Seq").number));
    ASSERT_EQ(Run("edit restore " + entry + " --reason back --db q.db").status, 0) << entry;
  }
  EXPECT_EQ(note(""), "");
}

TEST_F(Texts, EveryTextOfAScriptIsFoundInAllFormats) {
  Import("values",
         "part,process,test,subgroup,time,value,workstation,job,lot,shift,revision,employee,serial,"
         "gage,defect,comment,descriptor:d01,descriptor:d02,descriptor:d03,descriptor:d04,"
         "descriptor:d05,descriptor:d06,descriptor:d07,descriptor:d08,descriptor:d09,"
         "descriptor:d10\n"
         "pa-01,pr-02,te-03,la-04,2024-03-01T08:00,10.1,ws-05,jo-06,lo-07,sh-08,re-09,em-10,se-11,"
         "ga-12,de-13,co-14,v01-15,v02-16,v03-17,v04-18,v05-19,v06-20,v07-21,v08-22,v09-23,v10-24\n"
         "pa-01,pr-02,te-03,lb-25,2024-03-01T09:00,10.2,,,lc-26,,,en-27,,gb-28,,cp-29,,,,,,,,,,\n");
  Import("defects", "code,name\nde-13,scratch\n");
  Import("acc-codes", "code,name\nac-30,worn\n");
  Import("cac-codes", "code,name\nca-31,changed\n");
  Import("events",
         "type,time,name,process,part,test,subgroup-time,employee,acc,acc-employee,cac,"
         "cac-employee\n"
         "subgroup-alarm,2024-03-01T08:05,ev-32,pr-02,pa-01,te-03,2024-03-01T08:00,eo-33,ac-30,"
         "ep-34,ca-31,eq-35\n");
  Import("states",
         "process,time,state,type\npr-02,2024-03-01T08:10,st-36,idle\n"
         "pr-02,2024-03-01T08:50,su-37,run\n");
  ASSERT_EQ(Run("phase add --part pa-01 --process pr-02 --test te-03 --name ph-38 "
                "--start 2024-02-01 --reason why --db q.db")
                .status,
            0);
  ASSERT_EQ(Run("comment add 2 cq-39 --by er-40 --db q.db").status, 0);
  const std::vector<std::string> kSubgroups = {
      "pa-01", "pr-02", "te-03", "la-04", "ws-05", "jo-06", "lo-07", "sh-08", "re-09",
      "em-10", "se-11", "ga-12", "de-13", "co-14", "lb-25", "lc-26", "en-27", "gb-28",
      "cp-29", "ac-30", "ca-31", "ev-32", "eo-33", "ep-34", "eq-35", "cq-39", "er-40"};
  const std::vector<std::string> kDescriptors = {"v01-15", "v02-16", "v03-17", "v04-18", "v05-19",
                                                 "v06-20", "v07-21", "v08-22", "v09-23", "v10-24"};
  const std::string kPhase = "ph-38";
  struct Format {
    std::string command;
    bool is_picture;
  };
  for (const auto& [command, is_picture] :
       {Format{"data --db q.db", false},
        {"data --db q.db --format json", false},
        {"chart --db q.db --graph1 individuals --format json", false},
        {"chart --db q.db --graph1 individuals --format svg", true},
        {"chart --db q.db --graph1 individuals --format html", true}}) {
    const auto outcome = Run(command);
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    auto written = outcome.out;  // a long cell is broken
    std::erase_if(written, [](char c) { return c == ' ' || c == '\n'; });
    for (const auto& text : kSubgroups) EXPECT_TRUE(Has(written, text)) << command << text;
    for (const auto& text : kDescriptors) EXPECT_TRUE(Has(written, text)) << command << text;
    EXPECT_TRUE(Has(written, kPhase)) << command;
    EXPECT_TRUE(!is_picture || Has(written, "st-36")) << command;
  }
  const auto states = Run("states --db q.db --format json").out;
  EXPECT_TRUE(Has(states, "su-37")) << states;
}

TEST_F(Texts, NoTestIsRoundedToTheDecimalsOfAnother) {
  std::string csv = "part,process,test,subgroup,time,value\n";
  for (int i = 0; i < 9; ++i) {
    const auto number = std::to_string(i);
    const auto of = number + ",2024-03-01T0" + number + ":00,";
    csv += "Ring,Press,Bore," + of + "74.03" + number + "\nRing,Press,Weight," + of + "250" +
           number + "\n";
  }
  Import("values", csv);
  const auto is_whole = [&](const std::string& format) {
    return Has(Run("chart --db q.db --format " + format).out, "74.035");
  };
  for (const std::string limits :
       {"Ring,Weight,2600,0\n", "Ring,Bore,75,3\nRing,Weight,2600,0\n"}) {
    Import("limits", "part,test,usl,scale\n" + limits);
    EXPECT_TRUE(is_whole("svg")) << limits;
    EXPECT_TRUE(is_whole("html")) << limits;
  }
}

TEST_F(Texts, ValuesOfManyDigitsHaveSixDecimals) {
  std::string csv = "part,process,test,subgroup,time,value\n";
  for (int i = 0; i < 9; ++i)
    csv += "Ring,Press,Width," + std::to_string(i) + ",2024-03-01T0" + std::to_string(i) +
           ":00,1." + std::to_string(12345678 + i * 1111111) + "\n";
  Import("values", csv);
  const auto picture = Run("chart --db q.db --format svg").out;
  EXPECT_TRUE(Has(picture, "<title>#1  subgroup 0  2024-03-01T00:00:00  1.123457  ")) << picture;
  const auto at = picture.find(">UCL ");
  const auto label = picture.substr(at + 1, picture.find('<', at) - at - 1);
  EXPECT_EQ(label.size() - label.find('.') - 1, 7U) << label;
}

TEST_F(Texts, AnEmptySelectionSaysWhichConditionEmptiedIt) {
  ImportHours(30);
  const struct {
    const char* options;
    const char* said;
  } rows[] = {
      {"--since 2030-01-01", "no data: 30 subgroups without --since 2030-01-01\n"},
      {"--since 2030-01-01 --lot L1", "no data: 10 subgroups without --since 2030-01-01\n"},
      {"--state incomplete --max 3", "no data: 30 subgroups without --state incomplete\n"},
      {"--lot L0 --since 2024-03-02 --max 0",
       "no data: 6 subgroups without --lot L0, 10 subgroups without --since 2024-03-02\n"},
      {"--lot L0 --since 2030-01-01 --state incomplete",
       "no data: 10 subgroups without --since 2030-01-01 and --state incomplete\n"},
      {"--state incomplete --part Ring --until 2020-01-01 --process Press",
       "no data: 30 subgroups without --until 2020-01-01 and --state incomplete\n"},
  };
  for (const auto& row : rows) {
    for (const std::string command : {"chart", "data", "capability", "compliance"}) {
      const auto outcome = Run(command + " --db q.db --format json " + row.options);
      EXPECT_EQ(outcome.status, 0);
      EXPECT_EQ(outcome.err.substr(0, outcome.err.find('\n') + 1), row.said) << command;
    }
    std::string text = Run("chart --db q.db " + std::string(row.options)).out;
    std::replace(text.begin(), text.end(), '\n', ' ');
    EXPECT_TRUE(Has(text, std::string(row.said).substr(0, 22))) << text;
  }
  Import("events", "type,time,process\ndowntime,2024-03-01T08:05,Press\n");
  EXPECT_EQ(Run("events --db q.db --since 2030-01-01 --format json").err,
            "no data: 1 event without --since 2030-01-01\n");
}

TEST_F(Texts, AnEmptyChartOfCountsSaysWhichConditionEmptiedIt) {
  std::string csv = "part,process,test,subgroup,time,count,size\n";
  for (int i = 0; i < 8; ++i)
    csv += "Ring,Press,Leaks," + std::to_string(i) + ",2024-03-01T0" + std::to_string(i) +
           ":00,1,50\n";
  Import("values", csv);
  const std::string said = "no data: 8 subgroups without --since 2030-01-01\n";
  for (const std::string options :
       {"", " --test Leaks", " --graph1 p", " --test Leaks --graph1 np"}) {
    const auto outcome = Run("chart --db q.db --since 2030-01-01 --format json" + options);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.err.substr(0, outcome.err.find('\n') + 1), said) << options;
  }
  ImportHours(30);
  EXPECT_TRUE(Has(Run("chart --db q.db --since 2030-01-01 --format json").err,
                  "no data: 30 subgroups without --since 2030-01-01\n"))
      << "where there are values the chart is one of these";
}

TEST_F(Texts, AnEmptySelectionNamesPhasesAndKindsOfTestsToo) {
  ImportHours(30);
  ASSERT_EQ(Run("phase add --part Ring --process Press --test Diameter --name Two "
                "--start 2024-03-02 --reason why --db q.db")
                .status,
            0);
  EXPECT_EQ(Run("chart --db q.db --phase Two --lot L0 --format json").err,
            "no data: 6 subgroups without --lot L0, 10 subgroups without --phase Two\n");
  EXPECT_EQ(Run("data --db q.db --test-type defects --format json").err,
            "no data: 30 subgroups without --test-type defects\n");
}

TEST_F(Texts, WithoutSubgroupsAnEmptySelectionCountsWhatElseThereIs) {
  Import("state-codes", "code,type\nRUN,run\n");
  Import("states", "process,time,state\nPress,2024-03-01,RUN\n");
  const std::string said = "no data: 1 state without --process Other\n";
  Import("events", "type,time,process\ndowntime,2024-03-01T08:05,Other\n");
  EXPECT_EQ(Run("pareto --db q.db --from states --process Other --format json").err, said);
  EXPECT_EQ(Run("states --db q.db --process Press --until 2020-01-01 --format json").err,
            "no data: 1 state without --until 2020-01-01\n");
}

TEST_F(Texts, NoPageIsWrittenOfNothingUnlessAsked) {
  ImportHours(30);
  for (const std::string command : {"chart", "capability", "pareto", "states", "compliance"}) {
    const std::string nothing = command + " --db q.db --since 2030-01-01 -o page.html ";
    const auto refused = Run(nothing);
    EXPECT_EQ(refused.status, 1) << command;
    EXPECT_TRUE(refused.err.starts_with("orvspc " + command + ": no data")) << refused.err;
    EXPECT_TRUE(Has(refused.err, "--allow-empty")) << refused.err;
    EXPECT_FALSE(Exists("page.html")) << command;
    EXPECT_EQ(Run(nothing + "--allow-empty").status, 0) << command;
    EXPECT_TRUE(Exists("page.html")) << command;
    std::filesystem::remove(folder_.File("page.html"));
  }
}

TEST_F(Texts, ATestThatCountsGetsItsChart) {
  ImportHours(30);
  std::string defectives = "part,process,test,subgroup,time,count,size\n";
  std::string defects = "part,process,test,subgroup,time,count,size,defect\n";
  for (int i = 0; i < 9; ++i) {
    const std::string hour =
        std::to_string(i) + ",2024-03-01T0" + std::to_string(i) + ":00," + std::to_string(i % 4);
    defectives += "Panel,Line,Leaks," + hour + ",50\n";
    defects += "Panel,Line,Surface," + hour + ",50,Scratch\n";
  }
  Import("values", defectives);
  Import("values", defects);
  for (const auto& [test, word, does] : {std::tuple("Leaks", "p", "Leaks counts defectives"),
                                         std::tuple("Surface", "c", "Surface counts defects")}) {
    const std::string chart = std::string("chart --db q.db --test ") + test;
    const auto asked = Json(chart + " --graph1 auto-attribute");
    const auto found = Json(chart);
    EXPECT_EQ(found.At("TotalSubgroups").number, 9.0);
    EXPECT_EQ(found.At("Graphs[0].Type").text, word);
    for (const std::string key : {"Graphs[0].Points[3]", "Graphs[0].UCLs[3]", "Graphs[0].Cls[3]"})
      EXPECT_EQ(found.At(key).number, asked.At(key).number) << key;
    ASSERT_EQ(found.At("Notes").elements.size(), 1U);
    EXPECT_EQ(found.At("Notes[0].Code").text, "chart-of-counts");
    EXPECT_TRUE(found.At("Notes[0].Text").text.starts_with(does));
    EXPECT_EQ(Run(chart + " --format xml").out,
              Run(chart + " --graph1 auto-attribute --format xml").out);
    const auto wrong = Run(chart + " --graph1 xbar");
    EXPECT_EQ(wrong.status, 2);
    EXPECT_EQ(wrong.err, "orvspc chart: " + std::string(does) + "; --graph1 " + word + "\n");
  }
  const auto measured = Run("chart --db q.db --test Diameter --graph1 p");
  EXPECT_EQ(measured.status, 2);
  EXPECT_EQ(measured.err, "orvspc chart: Diameter measures values; --graph1 auto\n");
  EXPECT_EQ(Run("chart --db q.db --part Panel --graph1 xbar").status, 2);
  // Where another condition emptied it, that is said.
  const auto cut = Run("chart --db q.db --graph1 p --since 2024-03-01T12:00 --format json");
  EXPECT_EQ(cut.status, 0) << cut.err;
  EXPECT_EQ(cut.err, "no data: 18 subgroups without --since 2024-03-01T12:00\n");
  // Measured values come first where both are selected.
  EXPECT_EQ(Json("chart --db q.db").At("TotalSubgroups").number, 25.0);
}

TEST_F(Texts, ABandIsDrawnWhereTheProcessDidNotRun) {
  ImportHours(20);
  Import("state-codes", "code,type\nRUN,run\nCLN,scheduled-down\nBRK,unscheduled-down\n");
  Import("states",
         "process,time,state\nPress,2024-02-01,BRK\nPress,2024-03-01T02:00,RUN\n"
         "Press,2024-03-01T05:00,CLN\nPress,2024-03-01T06:00,RUN\nPress,2024-03-02T12:00,BRK\n");
  const auto picture = Run("chart --db q.db --format svg").out;
  // Two graphs, two bands in each, one in the legend; the stop after the last point is outside.
  EXPECT_EQ(CountOf(picture, "<rect class=\"dt\""), 5U);
  EXPECT_TRUE(Has(picture, "CLN  2024-03-01T05:00:00 to 2024-03-01T06:00:00"));
  EXPECT_TRUE(Has(picture, "BRK  2024-03-01T00:00:00 to 2024-03-01T02:00:00"));
  EXPECT_EQ(CountOf(picture.substr(0, picture.find("<circle class=\"p\"")), "<rect class=\"dt\""),
            2U)
      << "behind the points";
  EXPECT_TRUE(Has(Run("chart --db q.db").out, "2024-03-01T05:00:00 to 2024-03-01T06:00:00  CLN"));
}

TEST_F(Texts, ADowntimeAmongTheEventsIsABand) {
  ImportHours(20);
  Import("events",
         "type,time,name,end,process,part,test\n"
         "downtime,2024-03-01T03:20,Jam,2024-03-01T05:30,Press,,\n"
         "downtime,2024-02-01,Moved,2024-03-01T01:00,Press,Ring,Diameter\n"
         "downtime,2024-03-01T10:30,Stopped,,,,\n"
         "downtime,2024-03-01T12:00,Elsewhere,2024-03-01T13:00,Other,,\n"
         "downtime,2024-03-01T12:00,Another part,2024-03-01T13:00,Press,Bolt,\n"
         "downtime,2024-02-01,Before,2024-03-01T00:00,Press,,\n"
         "general,2024-03-01T14:00,Visit,2024-03-01T15:00,Press,,\n");
  const auto picture = Run("chart --db q.db --format svg").out;
  EXPECT_TRUE(Has(picture, "<title>Jam  2024-03-01T03:20:00 to 2024-03-01T05:30:00<")) << picture;
  EXPECT_TRUE(Has(picture, "<title>Moved  2024-03-01T00:00:00 to 2024-03-01T01:00:00<"));
  EXPECT_TRUE(Has(picture, "<title>Stopped  2024-03-01T10:30:00<")) << "it has no end";
  // Two graphs, three bands in each, one in the legend.
  EXPECT_EQ(CountOf(picture, "<rect class=\"dt\""), 7U);
  const auto text = Run("chart --db q.db").out;
  EXPECT_TRUE(Has(text, "2024-03-01T03:20:00 to 2024-03-01T05:30:00  Jam")) << text;
  EXPECT_TRUE(Has(text, "  2024-03-01T10:30:00  Stopped")) << text;
  const auto page = Run("chart --db q.db --format html").out;
  EXPECT_TRUE(Has(page.substr(page.find("<h2>Not running</h2>")), "Jam"));
}

TEST_F(Texts, CommentsHaveTheNumbersByWhichTheyAreChanged) {
  ImportHours(5, ",1,3,");
  ASSERT_EQ(Run("comment add '#4' odd --by Bob --db q.db").out, "comment 3\n");
  for (const std::string command : {"data", "chart"}) {
    const auto row = Json(command + " --db q.db").At("Subgroups[3].Comments");
    ASSERT_EQ(row.elements.size(), 2U);
    EXPECT_EQ(row.elements[0].At("ID").number, 2.0) << command;
    EXPECT_EQ(row.elements[1].At("ID").number, 3.0) << command;
  }
  EXPECT_TRUE(Has(Run("data --db q.db").out, "comment 3: odd (Bob)"));
  EXPECT_TRUE(Has(Run("chart --db q.db").out, "comment 3: odd (Bob)"));
  EXPECT_TRUE(Has(Run("chart --db q.db --format html").out, "2: note 3 (Ann); 3: odd (Bob)"));
  const auto before = Json("data --db q.db").At("Subgroups[3].Comments[1].Version").number;
  ASSERT_EQ(Run("comment edit 3 odder --reason why --db q.db").status, 0);
  const auto after = Json("data --db q.db").At("Subgroups[3].Comments[1].Version").number;
  EXPECT_LT(before, after);
  const auto edit = [&](double version) {
    return Run("comment remove 3 --reason why --db q.db --expect " +
               std::to_string(static_cast<int>(version)));
  };
  EXPECT_EQ(edit(before).status, 1);
  EXPECT_EQ(edit(after).status, 0) << edit(after).err;
}

TEST_F(Texts, DataHasTheVersionThatAChangeExpects) {
  ImportHours(3);
  const auto version = [&](int row) {
    return static_cast<int>(
        Json("data --db q.db").At("Subgroups[" + std::to_string(row) + "].Version").number);
  };
  const auto disable = [&](const std::string& to, int expected) {
    return Run("edit flag '#2' --to " + to + " --reason why --db q.db --expect " +
               std::to_string(expected));
  };
  const int stored = version(1);
  EXPECT_GT(stored, 0) << "the entry of the import";
  ASSERT_EQ(disable("disabled", stored).status, 0);
  const int changed = version(1);
  EXPECT_GT(changed, stored);
  EXPECT_EQ(version(2), stored) << "the others are as they were";
  const auto late = disable("enabled", stored);
  EXPECT_EQ(late.status, 1);
  EXPECT_TRUE(Has(late.err, "(version " + std::to_string(changed) + ", you saw")) << late.err;
  EXPECT_EQ(disable("enabled", changed).status, 0);
}

TEST_F(Texts, DataNamesPhases) {
  ImportHours(30);
  EXPECT_FALSE(Has(Run("data --db q.db --format json").out, "\"Phase\"")) << "there are none";
  ASSERT_EQ(Run("phase add --part Ring --process Press --test Diameter --name 'Tool B' "
                "--start 2024-03-02 --end 2024-03-02T03:00 --reason why --db q.db")
                .status,
            0);
  for (const std::string command : {"data", "chart", "chart --all-phases"}) {
    const auto document = Json(command + " --max 0 --db q.db");
    EXPECT_TRUE(document.At("Subgroups[23].Phase").kind == ParsedJson::Kind::Null) << command;
    EXPECT_EQ(document.At("Subgroups[24].Phase").text, "Tool B") << command;
    EXPECT_TRUE(document.At("Subgroups[27].Phase").kind == ParsedJson::Kind::Null) << command;
  }
  EXPECT_EQ(CountOf(Run("data --db q.db --max 0").out, "phase Tool B"), 3U);
}

TEST_F(Texts, DeletedSubgroupsAreNeitherFoundNorCounted) {
  ImportHours(4);
  ASSERT_EQ(Run("edit delete '#2' --reason why --db q.db").status, 0);
  const auto named = Run("edit flag --part Ring --to disabled --reason why --db q.db");
  EXPECT_EQ(named.status, 1);
  EXPECT_TRUE(Has(named.err, "3 subgroups fit (#1 #3 #4)")) << named.err;
  const auto all = Run("edit flag --part Ring --all --to disabled --reason why --db q.db");
  EXPECT_EQ(all.status, 0) << all.err;
  EXPECT_TRUE(Has(Run("chart --db q.db").out, "3 of 3 disabled"));
  for (const std::string kind : {"part", "process", "test", "lot"})
    EXPECT_EQ(Json("list " + kind + " --db q.db").At(kind + "[0].Subgroups").number, 3.0) << kind;
}

TEST_F(Texts, AChartNamesTheTestsThatItLeavesOut) {
  ImportHours(9);
  std::string leaks = "part,process,test,subgroup,time,count,size\n";
  std::string marks = "part,process,test,subgroup,time,count,size,defect\n";
  for (int i = 0; i < 9; ++i) {
    const std::string hour =
        std::to_string(i) + ",2024-03-01T0" + std::to_string(i) + ":00," + std::to_string(i % 4);
    leaks += "Ring,Press,Leak test," + hour + ",50\n";
    marks += "Ring,Press,Surface," + hour + ",50,Scratch\n";
  }
  const auto note = [&](const std::string& options, const std::string& code = "left-out") {
    const auto document = Json("chart --db q.db " + options);
    std::string text;
    for (const auto& each : document.At("Notes").elements)
      if (each.At("Code").text == code) text += each.At("Text").text;
    return text;
  };
  EXPECT_EQ(note(""), "");
  Import("values", leaks);
  EXPECT_EQ(note(""),
            "Leak test counts defectives and is not on this chart; --test 'Leak test' draws it");
  EXPECT_EQ(note("--test Diameter"), "");
  EXPECT_EQ(note("--graph1 p"),
            "Diameter measures values and is not on this chart; --test "
            "Diameter draws it");
  Import("values", marks);
  EXPECT_EQ(note(""),
            "Leak test, Surface are of another kind and not on this chart; --test NAME "
            "draws them");
  // Defectives on a chart of defects are drawn, with a word; defects have one of defective units.
  for (const std::string word : {"c", "u", "dpmo", "dpto"}) {
    EXPECT_EQ(note("--test 'Leak test' --graph1 " + word, "defectives-as-defects"),
              "defectives on a chart of defects, whose limits know no upper end: Leak test; see "
              "--graph1 p");
    EXPECT_EQ(note("--test Surface --graph1 " + word, "defectives-as-defects"), "");
  }
  EXPECT_EQ(Run("chart --db q.db --test Surface --graph1 np").status, 0);
  EXPECT_TRUE(Has(Run("chart --db q.db --format xml").err, "note: Leak test, Surface are"));
}

// --- Places in the picture -----------------------------------------------------------------------

Box BoxOfText(const TextShape& shape) {
  const double width = 6.2 * static_cast<double>(shape.text.size());
  const double left = shape.anchor == Anchor::Middle ? shape.x - width / 2.0 : shape.x;
  return {left, shape.y - 8.0, left + width, shape.y};
}

// Comments at 60 of 120 points of every shape of data, codes at each signal: nothing lies on a
// value, and no flag on another one, on a code or on a rule number.
TEST(ChartNotes, LieOnNoValueAndNotOnEachOther) {
  for (const int shape : {0, 1, 2}) {
    ChartView view = SimpleView(120);
    auto& graph = view.graphs[0];
    for (std::size_t i = 0; i < 120; ++i) {
      if (shape == 1) graph.points[i] = 7.0 + static_cast<double>(i % 2) * 6.0;
      if (shape == 2) graph.points[i] = 7.0 + 0.05 * static_cast<double>(i);
      if (i % 2 == 0) view.comments.push_back({i, "comment " + std::to_string(i)});
      if (i % 10 == 9) view.codes.push_back({i, "A12 / C3"});
    }
    const auto scene = ChartScene(view);
    std::vector<Box> flags, codes, numbers, values;
    for (const auto& each : scene.shapes) {
      if (const auto* box = std::get_if<RectangleShape>(&each); box && box->style == "fl") {
        if (box->x > 30.0)
          flags.push_back({box->x, box->y, box->x + box->width, box->y + box->height});
      } else if (const auto* text = std::get_if<TextShape>(&each)) {
        if (text->style == "ac") codes.push_back(BoxOfText(*text));
        if (text->style == "r") numbers.push_back(BoxOfText(*text));
      } else if (const auto* symbol = std::get_if<SymbolShape>(&each)) {
        const double r = symbol->look.size;
        if (symbol->x > 30.0)
          values.push_back({symbol->x - r, symbol->y - r, symbol->x + r, symbol->y + r});
      }
    }
    EXPECT_EQ(values.size(), 120U);
    EXPECT_GE(flags.size(), 50U) << "most find room, shape " << shape;
    EXPECT_GE(codes.size(), 8U) << shape;
    EXPECT_FALSE(numbers.empty());
    std::vector<std::pair<std::string, const std::vector<Box>*>> others = {
        {"value", &values}, {"number", &numbers}, {"code", &codes}, {"flag", &flags}};
    for (const auto* boxes : {&flags, &codes})
      for (const auto& box : *boxes)
        for (const auto& [name, all] : others)
          for (const auto& other : *all)
            EXPECT_FALSE(&other != &box && box.Meets(other)) << "a note on a " << name;
  }
}

TEST(ChartNotes, AFlagIsAtItsPoint) {
  ChartView view = SimpleView(25);
  view.comments.push_back({4, "new coil"});
  const auto scene = ChartScene(view);
  double point = 0.0, flag = 0.0;
  std::size_t points = 0;
  for (const auto& each : scene.shapes) {
    if (const auto* symbol = std::get_if<SymbolShape>(&each); symbol && points++ == 4)
      point = symbol->x;
    if (const auto* box = std::get_if<RectangleShape>(&each);
        box && box->style == "fl" && box->x > 30.0)
      flag = box->x + box->width / 2.0;
  }
  EXPECT_NEAR(flag, point, 1e-9);
}

TEST(ChartNotes, TimesLieBetweenTheirPoints) {
  const ChartView view = SimpleView(4);  // hourly
  const auto start = view.stamps[0];
  const TimePlaces places(view, Places(view));
  EXPECT_EQ(places.Of(start), 0.0);
  EXPECT_EQ(places.Of(start + 1800), 0.5);
  EXPECT_EQ(places.Of(start + 3 * 3600), 3.0);
  EXPECT_EQ(places.Of(start - 1), -0.5);
  EXPECT_EQ(places.Of(start + 4 * 3600), 3.5);
  ChartView mixed = view;
  std::swap(mixed.stamps[1], mixed.stamps[2]);
  EXPECT_TRUE(TimePlaces(mixed, Places(mixed)).Empty());
}

}  // namespace
}  // namespace orvspc::host
