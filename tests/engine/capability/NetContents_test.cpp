// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>
#include <vector>

#include "engine/statistics/CapabilityIndices.h"
#include "tests/engine/capability/capability_fixture.h"
#include "tests/engine/store/store_fixture.h"

// Net contents from the file to the counts.
namespace orvspc::engine::capability {
using namespace sql;
using namespace catalogue;
using namespace store;
using namespace import;
using namespace statistics;
using namespace charts;

namespace {

using test::Analyse;
using test::Capability;

TEST(Ties, EightUnitsInTheLastPlaceLieOnTheLimit) {
  const double unit = std::nextafter(900.0, 1e9) - 900.0;
  EXPECT_EQ(HighestOn(900.0), 900.0 + 8.0 * unit);
  EXPECT_EQ(LowestOn(900.0), 900.0 - 8.0 * unit);
  EXPECT_EQ(HighestOn(-900.0), -900.0 + 8.0 * unit);
  EXPECT_TRUE(std::isnan(HighestOn(std::nan(""))));
  constexpr double kEndless = std::numeric_limits<double>::infinity();
  EXPECT_EQ(LowestOn(kEndless), kEndless) << "a limit without neighbours is only itself";
}

class NetContents : public StoreTest {
 protected:
  void Values(const std::string& part, const std::vector<std::string>& values) {
    std::string text = "part,process,test,subgroup,time,value\n";
    for (const auto& value : values) text += part + ",P,W,1,2024-01-01T00:00:00Z," + value + "\n";
    Import(text);
  }
  void Limits(const std::string& columns, const std::string& line) {
    Import("part,test," + columns + "\n" + line + "\n", ImportKind::NetContents);
  }
  std::string Refusal(const std::string& columns, const std::string& line) {
    return ImportFailure("part,test," + columns + "\nA,W," + line + "\n", ImportKind::NetContents);
  }
  Capability Of(const std::vector<std::int32_t>& parts) {
    FlatSelection selection;
    selection.List(FlatSelection::kPart, parts);
    const test::Settings settings;
    Capability made;
    made.bins.resize(static_cast<std::size_t>(settings.bins));
    made.x.resize(static_cast<std::size_t>(settings.curve));
    made.y.resize(made.x.size());
    TakeNotes();
    CapabilityRun run;
    auto filter = selection.Filter();
    made.done = run.Process(*Opened(), selection.info, filter, settings.Options(), made.Output());
    made.notes = TakeNotes();
    EXPECT_TRUE(made.done);
    return made;
  }
  std::int32_t Part(const std::string& name) { return Id(ItemKind::Part, name); }
};

struct OnLimit {
  const char* factor;
  const char* limit;
  const char* value;
  const char* reason;
};

TEST_F(NetContents, APackageExactlyOnALimitIsNotBeyondIt) {
  constexpr OnLimit kRows[] = {
      {"1.2", "1080.48", "900.4", "900.4 times 1.2"}, {"1.1", "0.33", "0.3", "0.3 times 1.1"},
      {"0.7", "0.07", "0.1", "0.1 times 0.7"},        {"3", "0.9", "0.3", "0.3 times 3"},
      {"0.07", "0.91", "13", "13 times 0.07"},        {"1", "59.9", "59.9", "without a factor"},
  };
  for (const auto& row : kRows) {
    const std::string value = row.value;
    Limits("nominal,t1l,factor",
           std::string(row.reason) + ",W,6000," + row.limit + "," + row.factor);
    Limits("nominal,t1u,factor,effective", std::string(row.reason) + ",W,0.00001," + row.limit +
                                               "," + row.factor + ",2025-01-01T00:00:00Z");
    const auto part = Id(ItemKind::Part, row.reason), test = Id(ItemKind::Test, "W");
    const auto rows = Opened()->NetContents(part, test);
    ASSERT_EQ(rows.size(), 2U);
    for (const auto& limits : rows) {
      test::CapabilityStore store;
      store.Add({{std::atof(row.value), std::atof((value + "1").c_str()), 0.00001, 5000.0}});
      store.net_contents = {limits};
      store.net_contents[0].Head[3] = store.net_contents[0].Head[4] = 1;
      store.net_contents[0].Head[5] = INT32_MIN;
      const auto made = Analyse(store);
      ASSERT_NE(made.net_limits.Head[0], 0) << row.reason;
      if ((limits.EFlag & nclT1L) != 0)
        EXPECT_EQ(made.net_results.ActBelowT1L, 25.0) << row.reason;
      else
        EXPECT_EQ(made.net_results.ActAboveT1U, 50.0) << row.reason;
    }
  }
}

TEST_F(NetContents, PackagesOfTheFillerThatLieOnT1AreInside) {
  Values("A", {"900.4", "950", "940", "930"});
  Limits("nominal,t1l,factor", "A,W,1100,1080.48,1.2");
  const auto made = Of({Part("A")});
  EXPECT_EQ(made.net_results.ActBelowT1L, 0.0);
  EXPECT_EQ(made.net_results.ActBelowLSC, 25.0) << "900.4 times 1.2 lies below 1100";
}

struct DerivedRow {
  const char* columns;
  const char* line;
  platform::WireDouble API_CANccLim8::*field;
  double value;
};

TEST_F(NetContents, DerivedLimitsAreTheDecimalFiguresThemselves) {
  constexpr DerivedRow kRows[] = {
      {"nominal,class", "64.4,R87", &API_CANccLim8::T1L, 59.9},
      {"nominal,class", "64.4,R87", &API_CANccLim8::T2L, 55.4},
      {"nominal,class,upper", "64.4,R87,yes", &API_CANccLim8::T1U, 68.9},
      {"nominal,class,upper", "64.4,R87,yes", &API_CANccLim8::T2U, 73.4},
      {"nominal,class,mav", "1000.1,HB133,999.9", &API_CANccLim8::MavL, 0.2},
      {"nominal,mav", "0.3,0.1", &API_CANccLim8::MavL, 0.2},
      {"nominal,mav", "3e-9,1e-9", &API_CANccLim8::MavL, 2e-9},
      {"nominal,mav", "3e15,1e15", &API_CANccLim8::MavL, 2e15},
  };
  int year = 2000;
  Values("A", {"60"});
  for (const auto& row : kRows) {
    const std::string effective = std::to_string(++year) + "-01-01T00:00:00Z";
    Limits(std::string(row.columns) + ",effective",
           std::string("A,W,") + row.line + "," + effective);
    const auto rows = Opened()->NetContents(Id(ItemKind::Part, "A"), Id(ItemKind::Test, "W"));
    ASSERT_FALSE(rows.empty());
    EXPECT_EQ(double{rows.back().*row.field}, row.value) << row.line;
  }
}

TEST_F(NetContents, TheSameFiguresAgreeWhoeverDerivedThem) {
  Values("A", {"60", "61"});
  Values("B", {"62", "63"});
  Limits("nominal,class", "A,W,64.4,R87");
  Limits("nominal,t1l,t1lp,t2l,t2lp", "B,W,64.4,59.9,2.5,55.4,0");
  const auto made = Of({Part("A"), Part("B")});
  EXPECT_FALSE(made.HasNote("net-contents-differ"));
  EXPECT_EQ(made.net_limits.T1L, 59.9);
  EXPECT_EQ(made.net_results.ActBelowLSC, 100.0);
}

struct OtherRow {
  const char* line;
  bool agrees;
  const char* reason;
};

TEST_F(NetContents, AgreementIsABillionthOfTheWidth) {
  constexpr OtherRow kRows[] = {
      {"500,485,2.5,480,1", true, "the same"},
      {"500,485.00000001,2.5,480,1", true, "half of a billionth"},
      {"500,485.0000001,2.5,480,1", false, "five of them"},
      {"500.0000001,485,2.5,480,1", false, "nominal"},
      {"500,485,2.6,480,1", false, "percentage"},
      {"500,485,,480,1", false, "a percentage less"},
      {"500,485,2.5,,1", false, "a limit less"},
      {"500,485,2.5,480,1.1", false, "factor"},
  };
  for (const auto& row : kRows) {
    Limits("nominal,t1l,t1lp,t2l,factor", std::string(row.reason) + ",W," + row.line);
    Limits("nominal,t1l,t1lp,t2l,factor", std::string("of ") + row.reason + ",W,500,485,2.5,480,1");
    Values(row.reason, {"490", "500"});
    Values(std::string("of ") + row.reason, {"490", "500"});
    const auto made = Of({Part(row.reason), Part(std::string("of ") + row.reason)});
    EXPECT_EQ(made.HasNote("net-contents-differ"), !row.agrees) << row.reason;
    EXPECT_EQ(made.net_limits.Head[0] != 0, row.agrees) << row.reason;
  }
}

struct RefusedRow {
  const char* columns;
  const char* line;
  const char* column;
  const char* words;
};

TEST_F(NetContents, WhatContradictsItselfIsRefusedWithItsColumn) {
  constexpr RefusedRow kRows[] = {
      {"nominal,class,upper,t1l", "500,R87,yes,490", "t1l", "R87 derives another figure, 485"},
      {"nominal,class,t2l", "500,R87,480", "t2l", "another figure, 470"},
      {"nominal,class,t1lp", "500,R87,5", "t1lp", "another figure, 2.5"},
      {"nominal,class,upper,t2u", "500,R87,yes,520", "t2u", "another figure, 530"},
      {"nominal,class,mav,mavl", "500,HB133,20,490", "mavl",
       "mav derives another figure, 480; give one of the two"},
      {"nominal,mav,mavl", "500,20,490", "mavl", "mav derives another figure, 480"},
      {"nominal,t1l,t2l", "500,480,490", "t2l", "the lower T2 does not lie above"},
      {"nominal,t1u,t2u", "500,520,510", "t2u", "the upper T2 does not lie below"},
      {"nominal,t1l", "500,-1", "t1l", "must not be below 0"},
      {"nominal,mavl", "500,-1", "mavl", "must not be below 0"},
      {"nominal,class,mavl", "500,HB133,-1", "mavl", "must not be below 0"},
      {"nominal,t1lp", "500,2", "t1lp", "there is no t1l"},
      {"nominal,t2lp", "500,2", "t2lp", "there is no t2l"},
      {"nominal,t1up", "500,2", "t1up", "there is no t1u"},
      {"nominal,t2up", "500,2", "t2up", "there is no t2u"},
      {"nominal,mavlp", "500,2", "mavlp", "there is no mavl"},
      {"nominal,mavup", "500,2", "mavup", "there is no mavu"},
      {"nominal,mav", "500,500", "mav", "must be below the nominal quantity"},
      {"nominal,mav", "500,600", "mav", "must be below the nominal quantity"},
      {"nominal,mav,upper", "1.5e308,1e308,yes", "nominal", "too large to derive upper limits"},
      {"nominal,upper", "500,yes", "upper", "derives no upper limit"},
      {"nominal,t1l,upper", "500,490,yes", "upper", "derives no upper limit"},
  };
  for (const auto& row : kRows) {
    const auto failure = Refusal(row.columns, row.line);
    EXPECT_NE(failure.find(row.words), std::string::npos) << row.line << ": " << failure;
    EXPECT_NE(failure.find(std::string("column \"") + row.column + "\","), std::string::npos)
        << row.line << ": " << failure;
  }
}

TEST_F(NetContents, FiguresBesideAClassAreTakenWhereItDerivesNone) {
  constexpr RefusedRow kRows[] = {
      {"nominal,class,t1l", "500,R87,485", "", "what the class says too"},
      {"nominal,class,t1u,t1up", "500,R87,510,1", "", "an upper limit that was not asked for"},
      {"nominal,class,upper,t1up", "500,R87,yes,1", "", "a percentage beyond a derived limit"},
      {"nominal,class,mavl", "500,R87,480", "", "a limit of the other class"},
      {"nominal,class,mavl,upper", "500,HB133,480,yes", "", "the variation told by its limit"},
      {"nominal,class,mav,mavlp", "500,HB133,20,1", "", "some may be short by more"},
      {"nominal,mav,upper", "500,20,yes", "", "class own with a variation"},
      {"nominal,t1l,t2l", "500,490,490", "", "one limit for both"},
      {"nominal,t1l", "500,0", "", "a limit of 0"},
  };
  for (const auto& row : kRows) EXPECT_EQ(Refusal(row.columns, row.line), "") << row.words;
}

}  // namespace
}  // namespace orvspc::engine::capability
