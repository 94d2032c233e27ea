// SPDX-License-Identifier: Apache-2.0
#include <map>

#include "platform/BinTypes.h"
#include "platform/Enumerations.h"
#include "platform/TimeText.h"
#include "tests/engine/pareto/pareto_fixture.h"

// Bins by phase.
namespace orvspc::engine::pareto {
namespace {

std::int32_t Stamp(const char* text) {
  return static_cast<std::int32_t>(*platform::ParseIsoTime(text));
}

class ParetoPhasesTest : public ParetoTest {
 protected:
  void SetUp() override {
    Import(
        "part,process,test,subgroup,time,count,size,defect\n"
        "A,P,T,1,2024-01-01,1,50,D1\nA,P,T,2,2024-01-10,2,50,D1\nA,P,T,3,2024-01-20,4,50,D1\n"
        "A,P,U,4,2024-01-20,8,50,D2\nB,P,T,5,2024-01-20,16,50,D2\n");
  }
  void Add(const std::string& name, const char* part, const char* test, const char* start,
           const char* finish = nullptr, PhaseKind kind = PhaseKind::Stage) {
    Phase phase;
    phase.name = name;
    if (part != nullptr) phase.part = Id(ItemKind::Part, part);
    if (test != nullptr) phase.test = Id(ItemKind::Test, test);
    phase.start = Stamp(start);
    if (finish != nullptr) phase.finish = Stamp(finish);
    phase.kind = kind;
    Data().AddPhase(phase, {}, "new tool");
  }
  std::string ByName(const std::vector<API_PABin>& bins) {
    std::map<std::string, double> values;
    for (const auto& bin : bins) values[NameOf(bin)] += bin.Value;
    std::string text;
    for (const auto& [name, value] : values)
      text += (text.empty() ? "" : ", ") + name + " " + std::to_string(static_cast<int>(value));
    return text;
  }
};

TEST_F(ParetoPhasesTest, WithoutPhasesAllIsInNone) {
  EXPECT_EQ(ByName(Bins(paSubgroups, ParetoOptions({kBinTypePhase}))), "(none) 31");
}

TEST_F(ParetoPhasesTest, ASubgroupIsInThePhaseThatHoldsForItsStreamThen) {
  Add("Tool 1", "A", "T", "2024-01-05", "2024-01-20");
  Add("Tool 2", "A", "T", "2024-01-20");
  EXPECT_EQ(ByName(Bins(paSubgroups, ParetoOptions({kBinTypePhase}))),
            "(none) 25, Tool 1 2, Tool 2 4");
  EXPECT_EQ(ByName(Bins(paSubgroups, ParetoOptions({kBinTypePhase, paBinTypeDefect}))),
            "(none) / D1 1, (none) / D2 24, Tool 1 / D1 2, Tool 2 / D1 4");
}

TEST_F(ParetoPhasesTest, PhasesOfOneNameAreOneBin) {
  Add("Tool 1", "A", "T", "2024-01-05");
  Add("Tool 1", "A", "U", "2024-01-05");
  const auto bins = Bins(paSubgroups, ParetoOptions({kBinTypePhase}));
  EXPECT_EQ(bins.size(), 2U);
  EXPECT_EQ(ByName(bins), "(none) 17, Tool 1 14");
}

TEST_F(ParetoPhasesTest, APhaseOfAnyPartHoldsForAllOfThem) {
  Add("Winter", nullptr, nullptr, "2024-01-15");
  EXPECT_EQ(ByName(Bins(paSubgroups, ParetoOptions({kBinTypePhase}))), "(none) 3, Winter 28");
}

// What is counted is as before; only where it is counted is told.
TEST_F(ParetoPhasesTest, ExcludedPhasesCountAsBefore) {
  Add("Trial", "A", nullptr, "2024-01-15", nullptr, PhaseKind::Excluded);
  EXPECT_EQ(ByName(Bins(paSubgroups, ParetoOptions({kBinTypePhase}))), "(none) 19, Trial 12");
}

TEST_F(ParetoPhasesTest, AnEventIsInThePhaseOfItsSubgroupElseOfItsTime) {
  Import(
      "type,time,name,process,part,test,subgroup-time\n"
      "subgroup-alarm,2024-02-01,late,P,A,T,2024-01-10\n"
      "general,2024-02-02,now,P,A,T,\n"
      "general,2024-02-03,anywhere,P,,,\n",
      ImportKind::Events);
  Add("Tool 1", "A", "T", "2024-01-05", "2024-01-20");
  Add("Tool 2", "A", "T", "2024-01-20");
  EXPECT_EQ(ByName(Bins(paProcessEvents, ParetoOptions({kBinTypePhase}))),
            "(none) 1, Tool 1 1, Tool 2 1");
}

TEST_F(ParetoPhasesTest, AStateIsInAPhaseOfItsProcess) {
  Import("process,time,state,type\nP,2024-01-01,Run,run\nP,2024-01-10,Stop,idle\n",
         ImportKind::States);
  Add("Tool 1", "A", "T", "2024-01-05");
  Add("Winter", nullptr, nullptr, "2024-01-01", "2024-01-05");
  EXPECT_EQ(ByName(Bins(paProcessState, ParetoOptions({kBinTypePhase}))), "(none) 1, Winter 1");
}

TEST_F(ParetoPhasesTest, EmptyBinsAreThePhasesWithoutAnything) {
  Add("Tool 1", "A", "T", "2024-01-05");
  Add("Tool 9", "A", "T", "2023-01-05", "2023-02-05");
  auto options = ParetoOptions({kBinTypePhase});
  options.ShowEmptyBins = 1;
  EXPECT_EQ(ByName(Bins(paSubgroups, options)), "(none) 25, Tool 1 6, Tool 9 0");
}

TEST_F(ParetoPhasesTest, HostsGetTheNames) {
  Add("Tool 1", "A", "T", "2024-01-05");
  const auto options = ParetoOptions({kBinTypePhase});
  const auto name_of = BinNamesOf(Db(), paSubgroups, options);
  EXPECT_EQ(name_of(0, Data().Phases()[0].id), "Tool 1");
  EXPECT_EQ(name_of(0, 0), "(none)");
}

}  // namespace
}  // namespace orvspc::engine::pareto
