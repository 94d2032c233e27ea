// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <functional>
#include <sstream>

#include "host/render/capability/Capability.h"
#include "host/render/chart/Chart.h"
#include "host/render/compliance/Compliance.h"
#include "host/render/core/PlainText.h"
#include "host/render/data/DataReading.h"
#include "host/render/events/Events.h"
#include "host/render/pareto/Pareto.h"
#include "host/render/states/States.h"
#include "platform/NaN.h"
#include "tests/host/ChartViews.h"
#include "tests/host/ProgramTest.h"

// Whatever a result holds, no line of its text is wider than the terminal, and nothing that a wide
// terminal shows is missing in a narrow one.
namespace orvspc::render {
namespace {

using platform::kNaN;

constexpr std::size_t kWidths[] = {40, 60, 80, 120};

// Words, a word longer than any column, and characters of two cells.
const std::string kName = "Door panel of the left rear side, " + std::string(60, 'w') +
                          " \xE5\xA1\x97\xE8\xA3\x85\xE5\xB7\xA5\xE7\xA8\x8B";

void AddHead(View& view) {
  view.title = "A result of " + kName;
  view.subtitle = "2024-03-01T08:00:00 to 2024-03-02T08:00:00 UTC, a subtitle that goes on and on";
  view.notes = {{"code", "A note of more words than a narrow terminal has columns for.", kName}};
}

ChartView Chart() {
  ChartView view = host::SimpleView(60);
  AddHead(view);
  view.stream_views.resize(2);
  for (auto& stream : view.stream_views) {
    stream.name = kName;
    stream.mean = {1234567.0, "mean weighted by size", 0.0, 60, 1, 5};
    stream.sp = {0.0123456, "mean of R/d2 (unweighted)", 2.326, 60, 1, 5};
  }
  for (std::size_t i = 0; i < view.Count(); ++i) view.streams.push_back(i % 2 == 0);
  view.graphs.push_back(view.graphs[0]);
  view.graphs[1].limits.upper.back() = 1500000071.5;
  view.graphs[1].caption = "stored limits from 2024-01-01 10:00: " + kName;
  for (auto& mark : view.graphs[0].marks) mark.specifications = {"a value above USL"};
  return view;
}

CapabilityView Capability() {
  CapabilityView view;
  AddHead(view);
  view.axis = "value";
  for (int i = 0; i < 12; ++i) view.bars.push_back({i * 1e5, (i + 1) * 1e5, 20.0 + i, 21.0});
  view.limits = {{-1e7, "LSL -10000000"}, {2e5, "USL 200000.125"}};
  view.targets = {{2.5e5, "Target 250000.0625"}};
  view.mean = 2.55e5;
  view.tables = {{"Net content",
                  {"", "#limit", "#Z", "#observed", "#expected", "#allowed"},
                  {{"above upper MAV", "1234567.89", "12.34", "0.135 %", "24.2 ppm", "2.5 %"},
                   {kName, "1", "2", "3", "4", ""}}},
                 {"Shape", {"", "#"}, {{"short-term", "mean of R/d2, constant 2.326, from 40"}}}};
  return view;
}

ParetoView Pareto(bool groups) {
  ParetoView view;
  AddHead(view);
  view.axis = "time of events, seconds weighted by factor";
  for (std::size_t i = 0; i < 6; ++i)
    view.bars.push_back({i == 0 ? kName : "Scratch", "", 1e9 - 1e8 * static_cast<double>(i), 20.0,
                         20.0 * static_cast<double>(i), false, false});
  view.eighty = 3;
  view.other = 3.5;
  view.whole = 1e10;
  if (groups) view.groups = {{kName, 2e9, 40.0, false, 0, 2}, {"Line 2", 1e9, 20.0, true, 3, 5}};
  return view;
}

std::vector<EventRow> Events() {
  EventRow event;
  event.type = 3;
  event.name = kName;
  event.prcs = event.part = event.test = event.acc.code = event.acc.employee = event.empl = 1;
  event.flag = 1;
  event.time = event.acc.time = event.sgtm = 1709280000;
  return {event, event};
}

std::string NameOf(NameKind, std::int32_t) { return kName; }

StatesView States() {
  StatesView view;
  AddHead(view);
  view.start = 1709280000;
  view.end = view.start + 86400;
  view.lanes = {
      {kName, true, {{view.start, view.end, 2000, kName}}, {{view.start, 7, true, ""}}, {}},
      {"Press", true, {{view.start, view.end - 60, 7000, "Jam"}}, {}, {}}};
  view.events = EventsTable(Events(), NameOf);
  return view;
}

ComplianceView Compliance() {
  ComplianceView view;
  AddHead(view);
  view.requirements = {{{kName, "Ring", "Diameter", kName}, {1000000, 999998, 2}},
                       {{"Press", "Ring", "Diameter", "hourly"}, {8, 8, 0}}};
  HeatMap map{kName, {"06:00", "14:00"}, {}, {}};
  for (int day = 1; day <= 31; ++day)
    map.days.push_back("2024-03-" + std::string(day < 10 ? "0" : "") + std::to_string(day));
  map.cells.resize(62, SampleCount{4, 3, 1});
  view.maps = {map};
  ComplianceRow& line = view.lines.emplace_back();
  line.process = line.requirement = kName;
  line.part = "Ring";
  line.test = "Diameter";
  line.state = "Production";
  line.start = 1709280000;
  line.duration = 60.0;
  line.count = {8, 6, 2};
  line.test_count = 30;
  line.minimum = 1.0;
  line.average = 2.0;
  line.maximum = 3.0;
  line.deviation = line.pp = line.ppk = line.oos = kNaN;
  return view;
}

SubgroupsRead Data() {
  SubgroupRow row;
  row.part = row.prcs = row.test = 1;
  row.stamp = 1709280000;
  row.flag = 2;
  for (int i = 0; i < 40; ++i) row.tests.push_back({0, i + 1, 0, 0, 0, 1.0 / (i + 3)});
  row.remarks = std::make_shared<const Remarks>(
      Remarks{{}, {{"Ann", "a comment of quite some words, " + kName, 0, 0, 0.0}}});
  SubgroupsRead read;
  read.rows = {row, row};
  return read;
}

struct Family {
  const char* name;
  std::function<std::string(const TextOptions&)> text;
};

const std::vector<Family>& Families() {
  static const std::vector<Family> families = {
      {"chart", [](const auto& options) { return RenderChartText(Chart(), options); }},
      {"capability", [](const auto& o) { return RenderCapabilityText(Capability(), o); }},
      {"pareto", [](const auto& o) { return RenderParetoText(Pareto(false), o); }},
      {"pareto in groups", [](const auto& o) { return RenderParetoText(Pareto(true), o); }},
      {"states", [](const auto& o) { return RenderStatesText(States(), o); }},
      {"compliance", [](const auto& o) { return RenderComplianceText(Compliance(), o); }},
      {"events", [](const auto& o) { return EventsText(Events(), NameOf, o); }},
      {"data", [](const auto& o) { return DataText(Data(), NameOf, o); }},
      {"selection", [](const auto& o) { return DataSelectText(DataSelect(), o); }},
      {"settings", [](const auto& o) { return ProcessingText(CCProcessing(), o); }},
  };
  return families;
}

std::string WithoutColours(std::string text) {
  for (auto at = text.find('\x1b'); at != std::string::npos; at = text.find('\x1b'))
    text.erase(at, text.find('m', at) - at + 1);
  return text;
}

TEST(Width, NoLineIsWiderThanTheTerminal) {
  for (const Family& family : Families())
    for (const std::size_t columns : kWidths)
      for (const bool colour : {false, true}) {
        std::istringstream lines(WithoutColours(family.text({columns, colour})));
        for (std::string line; std::getline(lines, line);)
          EXPECT_LE(Width(line), columns) << family.name << ": " << line;
      }
}

TEST(Width, ANarrowTextLosesNoWord) {
  const auto letters = [](const std::string& text, const std::string& word) {
    std::string without;
    for (const char c : text)
      if (c != ' ' && c != '\n') without += c;
    std::string wanted;
    for (const char c : word)
      if (c != ' ') wanted += c;
    return without.find(wanted) != std::string::npos;
  };
  struct Row {
    std::size_t family;
    const char* words;
  };
  for (const Row& row : {Row{0, "UCL 1500000071.50"},
                         {0, "a value above USL"},
                         {1, "1234567.89"},
                         {1, "2.5 %"},
                         {1, "USL 200000.125"},
                         {3, "Line 2"},
                         {4, "unscheduled-down"},
                         {5, "999998"},
                         {6, "[open ACC]"},
                         {7, "0.023809523809523808"}})
    for (const std::size_t columns : kWidths) {
      const Family& family = Families()[row.family];
      if (std::string_view(row.words) == "UCL 1500000071.50") {
        // Of several streams the limits are in a table.
        EXPECT_TRUE(letters(family.text({columns, false}), "1500000071.50")) << columns;
        continue;
      }
      EXPECT_TRUE(letters(family.text({columns, false}), row.words))
          << family.name << " " << columns << ": " << row.words;
    }
}

TEST(Width, ANarrowerTerminalThanSupportedIsTakenAsTheNarrowest) {
  for (const Family& family : Families())
    EXPECT_EQ(family.text({1, false}), family.text({kMinColumns, false})) << family.name;
}

TEST(TextWriter, ATableThatDoesNotFitBreaksItsCellsAndThenItsRows) {
  const Table table{"", {"part", "#count"}, {{"a part of several words", "12"}}};
  TextWriter wide({40, false});
  wide.Write(table);
  EXPECT_EQ(wide.Take(),
            "part                     count\n"
            "a part of several words     12\n");
  Table longer = table;
  longer.rows[0][0] = "a part whose name has many words in it";
  TextWriter broken({40, false});
  broken.Write(longer);
  EXPECT_EQ(broken.Take(),
            "part                               count\n"
            "a part whose name has many words      12\n"
            "in it\n");
  Table numbers{"", {"part", "#first", "#second"}, {{"Ring", std::string(18, '1'), "2"}}};
  numbers.rows.push_back({"Pin", "1", std::string(18, '2')});
  TextWriter blocks({40, false});
  blocks.Write(numbers);
  EXPECT_EQ(blocks.Take(),
            "Ring\n"
            "    first   111111111111111111\n"
            "    second  2\n"
            "\n"
            "Pin\n"
            "    first   1\n"
            "    second  222222222222222222\n");
}

TEST(PlainText, CellsAreCountedAsATerminalShowsThem) {
  EXPECT_EQ(Width("\xE5\xA1\x97\xE8\xA3\x85"), 4U) << "two wide characters";
  EXPECT_EQ(Width("x\xCC\x84"), 1U) << "a letter with a combining bar";
  EXPECT_EQ(Padded("\xE5\xA1\x97\xE8\xA3\x85", 3), "\xE5\xA1\x97 ") << "half a character is none";
  EXPECT_EQ(Shortened("Scratches", 5), "Scra\xE2\x80\xA6");
  EXPECT_EQ(Shortened("Dent", 4), "Dent");
}

TEST(PlainText, SignsThatTurnOrBreakALineAreBlanks) {
  // NOLINTBEGIN(misc-misleading-bidirectional)
  for (const char* sign :
       {"\xD8\x9C", "\xE2\x80\x8E", "\xE2\x80\x8F", "\xE2\x80\xA8", "\xE2\x80\xA9", "\xE2\x80\xAA",
        "\xE2\x80\xAB", "\xE2\x80\xAC", "\xE2\x80\xAD", "\xE2\x80\xAE", "\xE2\x81\xA6",
        "\xE2\x81\xA7", "\xE2\x81\xA8", "\xE2\x81\xA9"})
    EXPECT_EQ(PlainText(std::string("a") + sign + "b"), "a b");
  // NOLINTEND(misc-misleading-bidirectional)
  const std::string kept = "\xE2\x80\x8D\xE2\x80\xA7\xE2\x81\xA5\xD7\x90";
  EXPECT_EQ(PlainText(kept), kept) << "their neighbours and letters that run to the left";
}

class ListWidth : public host::ProgramTest {};

TEST_F(ListWidth, ListsObeyTheTerminal) {
  Write("v.csv",
        "part,process,test,subgroup,time,value\n" + std::string(70, 'p') +
            ",Press with a long name,Diameter of the inner ring,1,2024-03-01T08:00:00,1\n");
  ASSERT_EQ(Run("import v.csv --db q.db").status, 0);
  for (const std::size_t columns : kWidths)
    for (const char* what : {"", "parts", "settings", "groups"}) {
      std::map<std::string, std::string> addresses;
      const std::string command =
          "cd '" + folder_.Path() + "' && COLUMNS=" + std::to_string(columns) + " '" +
          host::ProgramPath() + "' " +
          WithAddresses(std::string("list --db q.db ") + what, addresses) + " >out";
      ASSERT_EQ(std::system(command.c_str()), 0);
      std::istringstream lines(host::Text(folder_.File("out")));
      for (std::string line; std::getline(lines, line);)
        EXPECT_LE(Width(line), columns) << what << ": " << line;
    }
}

}  // namespace
}  // namespace orvspc::render
