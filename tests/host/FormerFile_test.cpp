// SPDX-License-Identifier: Apache-2.0
// What the program says about a file of an older schema that it has brought forward: to the byte
// what it says about a database that was imported anew.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "engine/schema/schema.h"
#include "platform/TimeText.h"
#include "tests/engine/store/former_file.h"
#include "tests/engine/store/version1_file.h"
#include "tests/host/ProgramTest.h"

namespace orvspc::host {
namespace {

using engine::store::WriteFormerFile;

struct Input {
  const char *kind, *text;
};

// Of what schema 1 has a place for, beside the values.
constexpr Input kOfVersion1[] = {
    {"limits", "part,test,usl,target,lsl\nRing,Diameter,10.4,10,9.6\nCap,Weight,33,,28\n"},
    {"control-limits", "part,test,mean,sp,process\nRing,Diameter,10,0.1,Press A\n"},
    {"opportunities", "part,test,opportunities\nRing,Looks,4\n"},
    {"rules", "number,kind,k,set\n20,trend,3,ours\n21,zone,4,ours theirs\n"},
    {"alarms", "part,number,on\nRing,20,yes\n,1,yes\n"},
    {"groups",
     "kind,group,name\nprocess,Presses,Press A\nprocess,Presses,Press B\n"
     "defect,Surface,scratch\n"}};
// What came with schema 2.
constexpr Input kOfVersion2[] = {
    {"defects", "code,name,factor\nscratch,seen by eye,2\nnever,not seen yet,3\n"},
    {"acc-codes", "code,name,group\nA1,worn,Tools\nA2,wrong,\n"},
    {"cac-codes", "code,name\nK1,changed\n"},
    {"state-codes", "code,name,type\nZ1,runs,run\nZ2,stands,end\n"},
    {"parts", "part,factor\nRing,2\n"},
    {"processes", "process,site,area\nPress A,North,Hall 1\nPress B,South,Hall 2\n"},
    {"requirements", "process,test,kind,n,minutes\nPress A,Diameter,interval,5,60\n"},
    {"events",
     "type,time,name,process,employee,acc,cac\ngeneral,2024-03-01,power cut,Press A,Ann,A1,K1\n"
     "downtime,2024-03-02,strike,Press B,,A2,\n"},
    {"states", "process,time,state,type\nPress A,2024-03-01,Z1,\nPress A,2024-03-02,Z3,idle\n"},
    {"net-contents", "part,test,nominal,mavl\nCap,Weight,30,28\n"}};

// Pieces that are plain and pieces with a gage, a serial number or readings, some disabled.
std::string SomeValues() {
  std::string text =
      "part,process,test,subgroup,time,value,tsno,sbno,job,lot,shift,employee,gage,serial,flag,"
      "comment,descriptor:Colour\n";
  const auto add = [&](const char* stream, int i, double value, const std::string& rest) {
    text += stream + (",S" + std::to_string(i)) + "," +
            platform::IsoText(1'709'280'000 + 3600 * i) + "," + std::to_string(value) + "," + rest +
            "\n";
  };
  for (int i = 0; i < 60; ++i) {
    const auto shift = std::string(i % 3 == 0 ? "J1,L1,Early,Ann" : "J2,,Late,");
    const auto flag = std::string(i % 11 == 5 ? "disabled" : "");
    for (int piece = 1; piece <= 3; ++piece) {
      add("Ring,Press A,Diameter", i, 10 + (i * 7 + piece * 5) % 13 * 0.03,
          std::to_string(piece) + ",," + shift + ",,," + flag + "," +
              (i % 9 == 0 && piece == 1 ? "looked odd,red" : ",blue"));
    }
    for (int reading = 1; reading <= 2; ++reading) {
      add("Ring,Press B,Diameter", i, 10 + (i * 5 + reading) % 7 * 0.1,
          "1," + std::to_string(reading) + "," + shift + ",G" + std::to_string(i % 2) + ",N" +
              std::to_string(i) + ",,,");
    }
    add("Cap,Press B,Weight", i, 30 + i % 5, "1,," + shift + ",,,,,");
  }
  return text;
}

std::string SomeCounts() {
  std::string text =
      "part,process,test,subgroup,time,count,size,defect,test-type,tsno,shift,flag,"
      "descriptor:Quality\n";
  for (int i = 0; i < 30; ++i) {
    const auto of = ",C" + std::to_string(i) + "," + platform::IsoText(1'709'280'000 + 7200 * i);
    const auto shift = std::string(i % 2 == 0 ? ",Early," : ",Late,");
    const auto flag =
        std::string(i == 8 ? "disabled," : ",") + (i % 5 == 0 ? "rework\n" : "good\n");
    const auto size = std::to_string(50 + i % 4);
    for (const auto* defect : {"scratch", "dent"}) {
      text += "Ring,Press A,Looks" + of + "," + std::to_string((i * 3 + *defect) % 5) + "," + size +
              ".5," + defect + ",defects," + (i % 4 == 0 ? "2" : "") + shift + flag;
    }
    text += "Cap,Press B,Leaks" + of + "," + std::to_string(i % 6) + "," + size + ",,defectives," +
            shift + flag;
  }
  return text;
}

class FormerFile : public ProgramTest {
 protected:
  void ImportAnew(const std::string& kind, const std::string& text) {
    Write("in.csv", text);
    const auto done = Run("import in.csv --db anew.db --kind " + kind);
    ASSERT_EQ(done.status, 0) << kind << ": " << done.err;
  }
  void ImportSome() {
    ImportAnew("values", SomeValues());
    ImportAnew("values", SomeCounts());
    for (const auto& [kind, text] : kOfVersion1) ImportAnew(kind, text);
    ASSERT_EQ(Run("set --db anew.db time_zone +02:00").status, 0);
  }
  void MakeFormer(std::int32_t version) {
    if (version == 3) {
      return engine::store::WriteVersion3File(folder_.File("anew.db"), folder_.File("former.db"));
    }
    WriteFormerFile(folder_.File("anew.db"), folder_.File("former.db"), version);
  }

  struct Command {
    std::string line;
    std::vector<std::string_view> contents;  // some of what it prints
  };
  // Of both databases, the former one of which is brought forward first, since the first command
  // notes that. Identifiers are the same: an import gives them in the order of its lines.
  void ExpectTheSame(std::int32_t version, const std::vector<Command>& commands) {
    const auto first = Run("list --db former.db");
    ASSERT_EQ(first.status, 0) << first.err;
    EXPECT_NE(first.err.find("brought forward from schema " + std::to_string(version) + " to " +
                             std::to_string(engine::schema::kSchemaVersion)),
              std::string::npos)
        << first.err;
    for (const auto& [line, contents] : commands) {
      const auto blank = line.find(' ');
      const auto verb = line.substr(0, blank), options = line.substr(blank);
      auto expected = Run(verb + " --db anew.db" + options);
      auto former = Run(verb + " --db former.db" + options);
      for (auto* const each : {&expected, &former}) each->out = WithoutVersions(each->out);
      EXPECT_EQ(expected.status, 0) << line << ": " << expected.err;
      EXPECT_EQ(former.status, 0) << line << ": " << former.err;
      for (const auto content : contents) {
        EXPECT_NE(expected.out.find(content), std::string::npos) << line << ": " << content;
      }
      EXPECT_TRUE(former.out == expected.out) << line << "\n" << FirstDifference(former, expected);
      EXPECT_EQ(former.err, expected.err) << line;
    }
  }
  // Versions are numbers of the log, which has an entry of each import of the one, and one entry of
  // all that the other held.
  static std::string WithoutVersions(const std::string& text) {
    constexpr std::string_view kKey = "\"Version\": ";
    std::string without;
    std::size_t from = 0;
    for (auto at = text.find(kKey); at != text.npos; at = text.find(kKey, from)) {
      without += text.substr(from, at - from);
      from = text.find_first_not_of("0123456789", at + kKey.size());
    }
    return without + text.substr(std::min(from, text.size()));
  }
  static std::string FirstDifference(const Outcome& former, const Outcome& expected) {
    constexpr std::size_t kShown = 200;
    const auto at = std::ranges::mismatch(former.out, expected.out).in1 - former.out.begin();
    const auto from = static_cast<std::size_t>(std::max<std::ptrdiff_t>(at - 100, 0));
    return former.out.substr(from, kShown) + "\n--- anew:\n" + expected.out.substr(from, kShown);
  }

  // Of what both versions have.
  static std::vector<Command> OfValues() {
    return {
        {"chart --part Ring --process 'Press A' --test Diameter --graph1 xbar --graph2 range "
         "--max 100 --format json",
         {"\"Press A\"", "\"SpecLims\": [\n", "\"CtrlLims\": [\n"}},
        {"chart --part Ring --process 'Press A' --test Diameter --graph1 xbar --format svg",
         {"<circle", "Press A"}},
        {"chart --part Ring --process 'Press B' --test Diameter --graph1 individuals --graph2 mr "
         "--format json",
         {"\"Press B\""}},
        {"chart --part Ring --test Looks --graph1 u --format json", {"\"DefOpps\": [\n"}},
        {"chart --part Cap --test Leaks --graph1 p --format json", {"\"Leaks\""}},
        {"capability --part Ring --process-group Presses --test Diameter --format json", {"Cpk"}},
        {"pareto --by defect,shift --format json", {"dent", "Late"}},
        {"pareto --by subgroup --bins 100 --format json", {"\"C29\""}},
        {"pareto --by descriptor:Quality --format json", {"good", "rework"}},
        {"data --max 1000 --format json",
         {"\"TotalSubgroups\": 240", "looked odd", "\"Sn\": 7, ", "\"Sbno\": 2",
          "\"Descriptors\": [{", "\"Size\": 54", "\"Flag\": 1"}},
        {"data --state disabled --format json", {"\"TotalSubgroups\": 7"}},
        {"list streams --format json", {"Leaks"}},
        {"list descriptors --format json", {"Colour", "blue"}},
        {"list limits --format json", {"10.4"}},
        {"list groups --format json", {"Presses"}},
        {"list rule-sets --format json", {"theirs"}},
        {"list settings --format json", {"+02:00"}}};
  }
};

TEST_F(FormerFile, OfSchema1SaysWhatADatabaseSaysThatWasImportedAnew) {
  ImportSome();
  MakeFormer(1);
  auto commands = OfValues();
  commands.push_back({"events --format json", {"Events"}});
  ExpectTheSame(1, commands);
}

TEST_F(FormerFile, OfSchema2SaysWhatADatabaseSaysThatWasImportedAnew) {
  ImportSome();
  for (const auto& [kind, text] : kOfVersion2) ImportAnew(kind, text);
  MakeFormer(2);
  auto commands = OfValues();
  commands.push_back({"events --format json", {"power cut", "strike"}});
  commands.push_back({"pareto --from events --format json", {"worn"}});
  commands.push_back({"pareto --from states --until 2024-03-03 --format json", {"runs"}});
  commands.push_back({"states --until 2024-03-03 --format json", {"Z3"}});
  commands.push_back(
      {"compliance --since 2024-03-01 --until 2024-03-03 --format json", {"Diameter"}});
  ExpectTheSame(2, commands);
}

TEST_F(FormerFile, OfSchema3SaysWhatADatabaseSaysThatWasImportedAnew) {
  ImportSome();
  for (const auto& [kind, text] : kOfVersion2) ImportAnew(kind, text);
  MakeFormer(3);
  auto commands = OfValues();
  commands.push_back({"events --format json", {"power cut", "strike"}});
  commands.push_back({"pareto --from events --format json", {"worn"}});
  commands.push_back({"states --until 2024-03-03 --format json", {"Z3"}});
  commands.push_back(
      {"compliance --since 2024-03-01 --until 2024-03-03 --format json", {"Diameter"}});
  ExpectTheSame(3, commands);
}

// A file that a release with schema 1 has written.
TEST_F(FormerFile, OfAnOldReleaseSaysWhatADatabaseSaysThatWasImportedAnew) {
  tests::ChangeRows(folder_.File("former.db"), engine::store::kVersion1File);
  ImportAnew("values",
             "part,process,test,subgroup,time,value,job,shift,comment,tsno,descriptor:colour\n"
             "Ring,Press A,Diameter,1,2024-03-11T06:00,74.03,J1,Early,first of the day,1,red\n"
             "Ring,Press A,Diameter,1,2024-03-11T06:00,74.002,J1,Early,,2,\n"
             "Ring,Press B,Diameter,2,2024-03-11T07:00,73.995,J2,Late,,1,blue\n");
  ImportAnew("values",
             "part,process,test,subgroup,time,count,size,defect\n"
             "Ring,Press A,Looks,1,2024-03-11T06:00,3,50,scratch\n"
             "Ring,Press A,Looks,1,2024-03-11T06:00,1,50,dent\n"
             "Ring,Press A,Looks,3,2024-03-11T09:00,0,40,\n");
  ImportAnew("limits", "part,test,usl,lsl\nRing,Diameter,74.05,73.95\n");
  ImportAnew("control-limits", "part,test,mean,sp\nRing,Diameter,74,0.01\n");
  ImportAnew("opportunities", "part,test,opportunities\nRing,Looks,4\n");
  ImportAnew("rules", "number,kind,k,set\n20,zone,5,strict\n");
  ImportAnew("alarms", "number,on\n1,yes\n20,yes\n");
  ImportAnew("groups", "kind,group,name\nprocess,Presses,Press A\n");
  ASSERT_EQ(Run("set --db anew.db time_zone +01:00").status, 0);
  // Charts say when limits and opportunities were made, which here is now.
  for (const std::string table : {"spec_limit", "control_limit", "opportunity"}) {
    tests::ChangeRows(folder_.File("anew.db"), "UPDATE " + table + " SET made = 1700000000");
  }
  ExpectTheSame(
      1, {{"chart --part Ring --test Diameter --graph1 xbar --graph2 range --format json",
           {"Press B"}},
          {"chart --part Ring --test Diameter --graph1 individuals --format svg", {"<circle"}},
          {"chart --part Ring --test Looks --graph1 u --format json", {"Looks"}},
          {"capability --part Ring --test Diameter --format json", {"Cpk"}},
          {"pareto --by defect,process-group --format json", {"scratch", "Presses"}},
          {"data --format json", {"first of the day", "\"Descriptors\": [{"}},
          {"list descriptors --format json", {"red", "blue"}},
          {"events --format json", {"Events"}}});
}

}  // namespace
}  // namespace orvspc::host
