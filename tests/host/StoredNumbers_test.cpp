// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <limits>
#include <map>
#include <regex>
#include <sstream>
#include <string>

#include "engine/Embedded.h"
#include "host/cli/Command.h"
#include "host/render/core/Scene.h"
#include "tests/host/ProgramTest.h"

// Results that were stored, changed by hand and shown again: whatever number a text holds, there is
// a picture without it or one line that refuses it.
namespace orvspc::host {
using namespace cli;
namespace {

class StoredNumbers : public ProgramTest {
 protected:
  void SetUp() override {
    InstallEmbedded();
    std::string values = "part,process,test,subgroup,time,value\n";
    for (int i = 0; i < 24; ++i) {
      const std::string hour = std::string(i < 10 ? "0" : "") + std::to_string(i);
      for (int piece = 0; piece < 3; ++piece)
        values += "Ring,Press,Diameter," + std::to_string(i) + ",2024-03-01T" + hour + ":00:00," +
                  std::to_string(10.0 + (i * 7 + piece * 5) % 11 * 0.1) + "\n";
    }
    Write("v.csv", values);
    Write("limits.csv", "part,test,usl,target,lsl\nRing,Diameter,12,10.5,9\n");
    ASSERT_EQ(Do({"import", folder_.File("v.csv"), "--db", folder_.Store("q.db")}), 0) << err_;
    ASSERT_EQ(Do({"import", folder_.File("limits.csv"), "--kind", "limits", "--db",
                  folder_.Store("q.db")}),
              0)
        << err_;
  }

  int Do(const std::vector<std::string>& words) {
    std::ostringstream out, err;
    cli::Console console{out, err};
    const int status = cli::RunProgram(words, console);
    out_ = out.str();
    err_ = err.str();
    return status;
  }

  // Puts each unusual number into each place of the text, at most twice by name.
  void Probe(const std::string& given) {
    // A copy: showing it changes what was said last.
    const std::string xml = given;  // NOLINT(performance-unnecessary-copy-initialization)
    static const std::regex kNumber(R"re((\w+)="(-?[0-9][0-9.e+-]*)")re");
    std::map<std::string, int> seen;
    std::size_t places = 0;
    for (auto match = std::sregex_iterator(xml.begin(), xml.end(), kNumber);
         match != std::sregex_iterator(); ++match) {
      const std::string name = (*match)[1];
      if (++seen[name] > 2) continue;
      ++places;
      for (const char* number : {"NaN", "INF", "-INF", "1.7e308"}) {
        std::string changed = xml;
        changed.replace(static_cast<std::size_t>(match->position(2)),
                        static_cast<std::size_t>(match->length(2)), number);
        Write("changed.xml", changed);
        for (const char* format : {"svg", "text"}) Show(format, name + " " + number);
      }
    }
    EXPECT_GE(places, 20U);
  }

  void Show(const std::string& format, const std::string& where) {
    const int status = Do({"show", folder_.File("changed.xml"), "--format", format});
    if (status != 0) {
      EXPECT_EQ(status, 1) << where;
      EXPECT_EQ(std::count(err_.begin(), err_.end(), '\n'), 1) << where << ": " << err_;
      for (const char* raw : {"basic_string", "vector", "std::"})
        EXPECT_EQ(err_.find(raw), std::string::npos) << where << ": " << err_;
      return;
    }
    if (format != "svg") return;
    EXPECT_TRUE(out_.ends_with("</svg>\n")) << where;
    // A coordinate that is no number would be written as a dash.
    static const std::regex kPlace(
        R"re( (x|y|cx|cy|width|height|d)="[^"]*(nan|inf|\xE2\x80\x93))re");
    EXPECT_FALSE(std::regex_search(out_, kPlace)) << where;
  }

  std::string out_, err_;
};

TEST_F(StoredNumbers, OfACapabilityGiveAPictureWithoutThemOrARefusal) {
  ASSERT_EQ(Do({"capability", "--db", folder_.Store("q.db"), "--bins", "6", "--curve", "5",
                "--format", "xml"}),
            0)
      << err_;
  Probe(out_);
}

TEST_F(StoredNumbers, OfAChartGiveAPictureWithoutThemOrARefusal) {
  ASSERT_EQ(Do({"chart", "--db", folder_.Store("q.db"), "--max", "5", "--format", "xml"}), 0)
      << err_;
  Probe(out_);
}

TEST_F(StoredNumbers, OfAParetoGiveAPictureWithoutThemOrARefusal) {
  ASSERT_EQ(
      Do({"pareto", "--db", folder_.Store("q.db"), "--by", "test,process", "--format", "xml"}), 0)
      << err_;
  std::string bins = out_;
  if (bins.find("<PABin ") == std::string::npos)
    bins =
        R"(<PABins><PABin ID="1" Name="a" BinCount="3" Factor="3" Value="3" Percent="60" Total="5" )"
        R"(Yield="0" PPK="0" Flag="0" SGroupID="0"/><PABin ID="2" Name="b" BinCount="2" Factor="2" )"
        R"(Value="2" Percent="40" Total="5" Yield="0" PPK="0" Flag="0" SGroupID="0"/></PABins>)";
  Probe(bins);
}

TEST_F(StoredNumbers, ABinWithoutAHeightIsLeftOutAndSaidSo) {
  ASSERT_EQ(Do({"capability", "--db", folder_.Store("q.db"), "--bins", "6", "--format", "xml"}), 0);
  std::string xml = out_;
  const auto at = xml.find("YMax=\"") + 6;
  xml.replace(at, xml.find('"', at) - at, "INF");
  Write("changed.xml", xml);
  ASSERT_EQ(Do({"show", folder_.File("changed.xml")}), 0) << err_;
  EXPECT_NE(out_.find("note: 1 bin without a finite number"), std::string::npos) << out_;
}

TEST(Scene, AShapeWhosePlaceIsNoNumberIsNotDrawn) {
  using namespace render;
  Scene scene(View(), true);
  const double nan = std::numeric_limits<double>::quiet_NaN();
  scene.Text(nan, 1.0, "s", Anchor::Start, "lost");
  scene.Rectangle(0.0, 0.0, -std::numeric_limits<double>::infinity(), 1.0, "bar");
  scene.Path({{0.0, 0.0}, {1.0, nan}}, "cum");
  scene.Add(CircleShape{1.0, nan, 2.0, "dot", ""});
  EXPECT_TRUE(scene.shapes.empty());
  scene.Text(1.0, 1.0, "s", Anchor::Start, "kept");
  EXPECT_NE(WriteSvg(scene).find(">kept<"), std::string::npos);
}

}  // namespace
}  // namespace orvspc::host
