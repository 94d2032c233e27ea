// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>

#include "engine/dom/Dom.h"
#include "host/cli/Command.h"
#include "host/cli/Samples.h"
#include "host/cli/study/Study.h"
#include "tests/host/ParsedJson.h"
#include "tests/host/program_fixture.h"

namespace orvspc::host {

using namespace cli;
namespace {

TEST_F(Program, TheDemoDrawsEveryPictureTwiceOver) {
  Outcome outcome;
  for (int round = 0; round < 2; ++round) {  // the second one replaces what the first one left
    outcome = Run("demo 'a b'");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_NE(outcome.out.find("UCL 1.693"), std::string::npos) << outcome.out;
    EXPECT_NE(outcome.out.find("a b/index.html"), std::string::npos);
  }
  // It prints commands that a shell takes.
  for (const std::string word : {"chart", "capability"}) {
    const auto at = outcome.out.find("orvspc " + word + " --db 'a b/sample.db'");
    ASSERT_NE(at, std::string::npos) << outcome.out;
    const auto line = outcome.out.substr(at + 7, outcome.out.find('\n', at) - at - 7);
    EXPECT_EQ(Run(line).status, 0) << line;
  }

  const std::string index = Text(folder_.File("a b/index.html"));
  std::set<std::string> pictures, studies;
  for (const auto& file : std::filesystem::directory_iterator(folder_.File("a b"))) {
    if (file.path().extension() != ".svg") continue;
    const auto name = file.path().stem().string();
    pictures.insert(name);
    EXPECT_TRUE(engine::dom::MakeXmlDocument()->LoadXml(Text(file.path().string()))) << name;
    for (const std::string ending : {".svg", ".html", ".json"}) {
      EXPECT_TRUE(Exists("a b/" + name + ending)) << name << ending;
      EXPECT_NE(index.find("\"" + name + ending + "\""), std::string::npos) << name << ending;
    }
    const auto figures = ParseJson(Text(folder_.File("a b/" + name + ".json")));
    if (name.starts_with("study-")) studies.insert(figures.At("Study").text);
  }
  for (const std::string name :
       {"flow-width", "flow-rate", "piston-rings", "two-presses", "purchase-orders-p",
        "purchase-orders-ppt", "purchase-orders-ppm", "juice-cans-np", "circuit-boards-c",
        "circuit-boards-dpto", "circuit-boards-dpmo", "radiators-u"}) {
    EXPECT_TRUE(pictures.contains(name)) << name;
    EXPECT_FALSE(ParseJson(Text(folder_.File("a b/" + name + ".json")))
                     .At("Graphs[0].Points")
                     .elements.empty())
        << name;
  }
  for (const std::string name : {"ring-capability", "bottle-capability", "shaft-capability",
                                 "panel-defects", "filling-states", "filling-compliance"})
    EXPECT_TRUE(pictures.contains(name)) << name;
  for (const auto& command : StudyCommands()) {
    const std::string word = std::string(command.name).substr(std::string("study ").size());
    EXPECT_TRUE(studies.contains(word)) << word;
  }
  EXPECT_TRUE(Exists("a b/sample.db"));
}

TEST_F(Program, TheDemoWithoutPicturesMakesTheDatabaseAlone) {
  const Outcome outcome = Run("demo d --no-pictures");
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(Run("chart --db d/sample.db --part Wafer").status, 0);
  EXPECT_TRUE(Exists("d/data/gage.csv"));
  EXPECT_FALSE(Exists("d/index.html"));
}

// Montgomery's charts of the table: samples 43 and 45 of phase II lie above the limits of phase I.
TEST_F(Program, DemoFindsThePublishedPointsOfTheFlowWidth) {
  ASSERT_EQ(Run("demo d --no-pictures").status, 0);
  const ParsedJson document =
      ParseJson(Run("chart --db d/sample.db --part Wafer --max 100 --format json").out);
  const auto& marks = document.At("Graphs[0].OOCs").elements;
  ASSERT_EQ(marks.size(), 45U);
  for (std::size_t i = 0; i < marks.size(); ++i) {
    const bool beyond = (static_cast<int>(marks[i].number) & 2) != 0;
    EXPECT_EQ(beyond, i == 42 || i == 44) << "sample " << i + 1;
  }
  EXPECT_NEAR(document.At("Graphs[0].UCLs[0]").number, 1.693, 0.0005);
  EXPECT_NEAR(document.At("Graphs[0].LCLs[0]").number, 1.318, 0.0005);
  EXPECT_NEAR(document.At("Graphs[1].UCLs[0]").number, 0.68749, 0.0002);
}

TEST(Samples, AreTheFilesOfTheSourceTree) {
  const std::filesystem::path folder =
      std::filesystem::path(ORVSPC_TESTS_DIR).parent_path() / "host" / "samples";
  ASSERT_FALSE(cli::Samples().empty());
  for (const auto& sample : cli::Samples())
    EXPECT_EQ(sample.text, Text((folder / sample.file).string())) << sample.file;
}

}  // namespace
}  // namespace orvspc::host
