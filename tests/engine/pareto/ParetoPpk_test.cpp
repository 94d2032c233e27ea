// SPDX-License-Identifier: Apache-2.0
#include <map>
#include <optional>

#include "platform/Enumerations.h"
#include "tests/engine/pareto/pareto_fixture.h"

// Which bins have a Ppk, and by which limits.
namespace orvspc::engine::pareto {
using namespace sql;
using namespace catalogue;
using namespace store;
using namespace import;

namespace {

class ParetoPpkTest : public ParetoTest {
 protected:
  // By name of the bin; empty: the bin has none.
  std::map<std::string, std::optional<double>> Ppks(std::vector<std::int32_t> types) {
    std::map<std::string, std::optional<double>> ppks;
    for (const auto& bin : Bins(paSubgroups, ParetoOptions(std::move(types)))) {
      const bool has = (bin.Flag & kBinHasPpk) != 0;
      ppks[NameOf(bin)] = has ? std::optional(bin.PPK) : std::nullopt;
      EXPECT_EQ(bin.PPK != 0.0, has) << NameOf(bin);
    }
    return ppks;
  }
};

// Values 9 and 11, mean 10, s = 1.4142: against 8.5 and 11 by hand 1 / (3 x 1.4142).
constexpr double kPpk = 0.2357022603955158;

TEST_F(ParetoPpkTest, LevelsOfRowsSplitSubgroupsOfSeveralTests) {
  Import("part,test,usl,lsl\nA,T,11,8.5\nA,U,11,8.5\n", ImportKind::Limits);
  Import(
      "part,process,test,subgroup,time,value,gage,defect\n"
      "A,P,T,1,2024-01-01,9,G1,D\nA,P,T,1,2024-01-01,11,G1,D\n"
      "A,P,U,1,2024-01-01,9,G2,D\nA,P,U,1,2024-01-01,11,G2,D\n"
      "A,P,T,2,2024-01-02,9,G3,D\nA,P,U,2,2024-01-02,11,G3,D\n");
  auto ppks = Ppks({paBinTypeGage});
  ASSERT_EQ(ppks.size(), 3u);
  EXPECT_NEAR(ppks["G1"].value_or(0.0), kPpk, 1e-12);
  EXPECT_NEAR(ppks["G2"].value_or(0.0), kPpk, 1e-12);
  EXPECT_FALSE(ppks["G3"]);  // of two tests
  EXPECT_FALSE(Ppks({paBinTypePart})["A"]);
}

TEST_F(ParetoPpkTest, TheLimitsAreThoseOfTheNewestSubgroupWithAValueInTheBin) {
  Import("part,test,usl,lsl,effective\nA,T,11,8.5,\nA,T,30,,2024-02-01\n", ImportKind::Limits);
  Import(
      "part,process,test,subgroup,time,value,gage,defect\n"
      "A,P,T,1,2024-01-01,9,G1,D\nA,P,T,1,2024-01-01,11,G1,D\n"
      "A,P,T,2,2024-02-02,9,G2,D\nA,P,T,2,2024-02-02,11,G2,D\n");
  auto ppks = Ppks({paBinTypeGage});
  EXPECT_NEAR(ppks["G1"].value_or(0.0), kPpk, 1e-12);
  EXPECT_NEAR(ppks["G2"].value_or(0.0), 20.0 * kPpk, 1e-12);
}

}  // namespace
}  // namespace orvspc::engine::pareto
