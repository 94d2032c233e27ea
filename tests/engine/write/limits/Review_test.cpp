// SPDX-License-Identifier: Apache-2.0
#include "engine/write/limits/Review.h"

#include <algorithm>
#include <cmath>

#include "engine/charts/Provisional.h"

#include "tests/engine/write/limits/limits_fixture.h"

namespace orvspc::engine::limits {
namespace {

// A stream of single values about 100, whose limits hold from its thirtieth value on.
class ReviewTest : public LimitsTest {
 protected:
  ReviewTest() {
    Add(30, 100.0);
    row_ = Freeze(Shape::Singles, 0x330, 30, TimeAt(29) + 1);
    Data().SetBaselinePolicy(Stream(Shape::Singles), "public-health", {ann_, "as agreed"});
  }

  // More values about a level, both sides of it in turn but by chance.
  ImportReport Add(std::size_t count, double level) {
    std::string text = "part,process,test,subgroup,time,value\n";
    for (std::size_t i = 0; i < count; ++i, ++next_) {
      const double value = level + static_cast<double>(random_() % 1000) / 500.0 - 1.0;
      text += "A,P,singles," + std::to_string(next_ + 1) + "," + platform::IsoText(TimeAt(next_)) +
              "," + std::to_string(value) + "\n";
    }
    store::WriteFile(folder_.File("more.csv"), text);
    ImportOptions options;
    options.actor.by = "Eve";
    return reviews_imports_
               ? Data().Import(folder_.File("more.csv"), ImportKind::Values, options)
               : import::ImportCsv(folder_.File("more.csv"), Db(), ImportKind::Values, options);
  }
  void AddPhase(const std::string& name, std::size_t begin, std::size_t end = 0,
                PhaseKind kind = PhaseKind::Stage) {
    Phase phase;
    phase.name = name;
    phase.start = TimeAt(begin);
    if (end != 0) phase.finish = TimeAt(end);
    phase.kind = kind;
    Data().AddPhase(phase, {}, "for the test");
  }
  void AddCause(std::size_t at) {
    Import("type,time,name,process,part\ngeneral," + platform::IsoText(TimeAt(at) - 60) +
               ",New tool,P,A\n",
           ImportKind::Events);
  }
  std::vector<LimitReview> Review() { return Data().ReviewLimits({}, {ann_, ""}); }
  // The code of the only finding; empty: none.
  std::string Code() {
    const auto all = Review();
    EXPECT_LE(all.size(), 1U);
    return all.empty() ? std::string() : all[0].code;
  }
  std::vector<ListedLimit> Proposed() {
    auto rows = Data().ListLimits();
    std::erase_if(rows, [](const auto& row) { return row.state != LimitState::Proposed; });
    return rows;
  }
  std::vector<std::string> Events() {
    std::vector<std::string> names;
    Opened()->ReadOrThrow([&](sql::Connection& db) {
      sql::Query query(db,
                       "SELECT n.name FROM event e JOIN event_name n ON n.id = e.name "
                       "WHERE e.type = 2 AND n.name <> 'New tool' ORDER BY e.id");
      while (query.Step()) names.emplace_back(query.Text(0));
    });
    return names;
  }

  std::mt19937 random_{7};
  std::size_t next_ = 0;
  bool reviews_imports_ = false;
  std::int32_t row_ = 0;
};

TEST_F(ReviewTest, NothingIsProposedWhileTheProcessStays) {
  Add(7, 105.0);
  Add(7, 95.0);
  AddCause(30);
  EXPECT_EQ(Code(), "") << "seven in a row are not eight";
  EXPECT_TRUE(Proposed().empty());
  EXPECT_TRUE(Events().empty());
}

TEST_F(ReviewTest, ARunWithACauseIsProposedAndGrowsUpToItsMinimum) {
  Add(8, 105.0);
  AddCause(30);
  const auto first = Review();
  ASSERT_EQ(first.size(), 1U);
  EXPECT_EQ(first[0].code, "proposed");
  EXPECT_TRUE(
      first[0].text.starts_with("A / P / singles: limits 2, provisional: 8 of 12 points; "
                                "public-health: 8 points above "))
      << first[0].text;
  EXPECT_TRUE(
      first[0].text.ends_with("since " + platform::IsoText(TimeAt(30)) + "; event: New tool"))
      << first[0].text;
  EXPECT_EQ(Events(), std::vector<std::string>{"Control limits proposed"});
  ASSERT_EQ(Proposed().size(), 1U);
  EXPECT_EQ(Proposed()[0].effective, TimeAt(30)) << "from the first of them";
  EXPECT_EQ(Proposed()[0].used, 8);
  EXPECT_EQ(Proposed()[0].sp, Row(row_).sp) << "the width of before";
  EXPECT_TRUE(Proposed()[0].rule.starts_with("public-health: 8 points above "));
  EXPECT_EQ(CentresOf(ChartOf(Shape::Singles, 0x330)).back(), Row(row_).mean) << "never silent";
  EXPECT_EQ(FailureOf([&] {
              Data().ApproveLimits(2, {}, {bob_, "agreed"});
            }),
            "limits: 2 is of 8 subgroups; 12 are needed by its policy (--force)");
  EXPECT_EQ(Code(), "") << "nothing new";

  Add(2, 105.0);
  EXPECT_EQ(Code(), "updated");
  EXPECT_EQ(Proposed().at(0).used, 10);
  Add(10, 105.0);
  EXPECT_EQ(Code(), "updated");
  ASSERT_EQ(Proposed().size(), 1U);
  const auto whole = Proposed()[0];
  EXPECT_EQ(whole.used, 12) << "out of its first twelve";
  EXPECT_EQ(whole.finish, TimeAt(41));
  EXPECT_EQ(whole.estimator, "MR-est");
  Add(5, 105.0);
  EXPECT_EQ(Code(), "") << "then frozen";
  EXPECT_EQ(Proposed().at(0).mean, whole.mean);
  EXPECT_EQ(Events().size(), 1U);

  Data().ApproveLimits(2, {}, {bob_, "agreed"});
  EXPECT_EQ(Row(row_).until, TimeAt(30));
  EXPECT_EQ(Code(), "") << "the new centre fits";
}

TEST_F(ReviewTest, ARunOverBeforeItsMinimumIsWithdrawn) {
  Add(9, 105.0);
  AddCause(30);
  EXPECT_EQ(Code(), "proposed");
  Add(1, 95.0);
  const auto said = Review();
  ASSERT_EQ(said.size(), 1U);
  EXPECT_EQ(said[0].code, "withdrawn");
  EXPECT_EQ(said[0].text,
            "A / P / singles: limits 2 are withdrawn: the run was over before there were 12 "
            "points");
  EXPECT_EQ(Row(2).state, LimitState::Void);
  EXPECT_EQ(Events(), (std::vector<std::string>{"Control limits proposed",
                                                "Proposed control limits withdrawn"}));
  EXPECT_EQ(Code(), "");
}

// Also one that has all its points.
TEST_F(ReviewTest, AProposalWhoseCauseIsGoneIsWithdrawn) {
  Add(8, 105.0);
  for (const std::int32_t id : {2, 3}) {
    SCOPED_TRACE(id);
    const auto comment = Data().AddComment(31, 0, 0, "new tool", {ann_, "asked the shift"});
    EXPECT_EQ(Code(), "proposed");
    ASSERT_EQ(Proposed().size(), 1U);
    EXPECT_EQ(Proposed()[0].id, id);
    EXPECT_EQ(Proposed()[0].used, id == 2 ? 8 : 12);
    EXPECT_EQ(Code(), "");
    Data().RemoveComment(comment, {ann_, "of another machine"});
    Add(4, 105.0);
    const auto said = Review();
    ASSERT_EQ(said.size(), 1U);
    EXPECT_EQ(said[0].code, "withdrawn");
    EXPECT_EQ(said[0].limit, id);
    EXPECT_EQ(said[0].text, "A / P / singles: limits " + std::to_string(id) +
                                " are withdrawn: public-health: " + (id == 2 ? "12" : "16") +
                                " points above 100.1093 since " + platform::IsoText(TimeAt(30)) +
                                "; no cause is recorded at its first point or the two before");
    EXPECT_EQ(Row(id).state, LimitState::Void);
    EXPECT_EQ(Events().back(), "Proposed control limits withdrawn");
    EXPECT_TRUE(Proposed().empty());
    EXPECT_EQ(Code(), "no-cause");
  }
}

// Values of three decimals, whose mean has endless ones.
TEST_F(ReviewTest, TheCentreHasOneDecimalMoreThanTheValues) {
  Add(8, 105.0);
  const auto since = " since " + platform::IsoText(TimeAt(30)) + "; ";
  EXPECT_NE(Review().at(0).text.find("8 points above 100.1093" + since), std::string::npos);
  // The specification limits say how many they have.
  Import("part,test,usl,lsl,scale\nA,singles,110,90,1\n", ImportKind::Limits);
  EXPECT_NE(Review().at(0).text.find("8 points above 100.11" + since), std::string::npos);
}

// The review is no person who was against it.
TEST_F(ReviewTest, ARunThatGoesOnAfterAWithdrawalIsProposedAgain) {
  Add(11, 105.0);
  AddCause(30);
  EXPECT_EQ(Code(), "proposed");
  Add(2, 95.0);
  EXPECT_EQ(Code(), "withdrawn");
  Data().DeleteSubgroups({42, 43}, {}, {ann_, "mistyped"});
  Add(11, 105.0);
  EXPECT_EQ(Code(), "proposed");
  ASSERT_EQ(Proposed().size(), 1U);
  EXPECT_EQ(Proposed()[0].id, 3);
  EXPECT_EQ(Proposed()[0].used, 12);
  EXPECT_EQ(Proposed()[0].start, TimeAt(30));
}

TEST_F(ReviewTest, ARunThatLastedIsProposedAfterItsEnd) {
  Add(12, 105.0);
  Add(12, 95.0);
  AddCause(30);
  EXPECT_EQ(Code(), "proposed");
  EXPECT_EQ(Proposed().at(0).used, 12);
  EXPECT_EQ(Proposed().at(0).start, TimeAt(30));
  EXPECT_EQ(Code(), "") << "it waits for a person";
}

TEST_F(ReviewTest, WithoutACauseThereIsAHintOnly) {
  Add(15, 105.0);
  const auto said = Review();
  ASSERT_EQ(said.size(), 1U);
  EXPECT_EQ(said[0].code, "no-cause");
  EXPECT_TRUE(said[0].text.ends_with("; no cause is recorded at its first point or the two before"))
      << said[0].text;
  EXPECT_TRUE(Proposed().empty());
  AddCause(27);
  EXPECT_EQ(Code(), "no-cause") << "three points before";
  AddCause(28);
  EXPECT_EQ(Code(), "proposed") << "two before, where other limits may have held";
}

TEST_F(ReviewTest, ChangesOfItemsAreNoCause) {
  Add(8, 105.0);
  Import("part,process,test,subgroup,time,value,lot\nB,Q,other,1,2024-01-01,5,L1\n");
  Data().Rename(ItemKind::Lot, "L1", "Lot 1", {ann_, "mistyped"});
  Data().SetActive(ItemKind::Part, "A", false, {ann_, "not now"});
  Data().SetActive(ItemKind::Part, "A", true, {ann_, "again"});
  Opened()->ReadOrThrow([](sql::Connection& db) {
    EXPECT_EQ(sql::Query(db, "SELECT count(*) FROM event WHERE type = 2").RunForInt(), 3);
  });
  store::RunSql(Path(), "UPDATE event SET time = " + std::to_string(TimeAt(30) - 60));
  EXPECT_EQ(Code(), "no-cause");
  EXPECT_TRUE(Proposed().empty());
  AddCause(30);
  EXPECT_EQ(Code(), "proposed");
}

TEST_F(ReviewTest, ACauseMayLieTwoPointsBeforeTheFirst) {
  Add(1, 105.0);
  Add(3, 95.0);
  Add(13, 105.0);
  AddCause(31);
  EXPECT_EQ(Code(), "no-cause") << "three before";
  AddCause(32);
  EXPECT_EQ(Code(), "proposed") << "two before";
  EXPECT_EQ(Proposed().at(0).start, TimeAt(34));
}

TEST_F(ReviewTest, ARunLiesInOnePhase) {
  Add(12, 105.0);
  AddCause(30);
  // Six points on each side of the border.
  AddPhase("Tool B", 36);
  EXPECT_EQ(Code(), "");
  Add(1, 105.0);
  EXPECT_EQ(Code(), "");
  Add(1, 105.0);
  EXPECT_EQ(Code(), "proposed") << "eight in the new phase, which says why";
  ASSERT_EQ(Proposed().size(), 1U);
  EXPECT_EQ(Proposed()[0].start, TimeAt(36));
  EXPECT_EQ(Proposed()[0].used, 8);
  EXPECT_TRUE(Proposed()[0].rule.ends_with("; phase: Tool B")) << Proposed()[0].rule;
}

TEST_F(ReviewTest, APhaseThatEndsARunWithdrawsWhatItHadProposed) {
  Add(9, 105.0);
  AddCause(30);
  EXPECT_EQ(Code(), "proposed");
  Add(4, 105.0);
  AddPhase("Tool B", 39);
  EXPECT_EQ(Code(), "withdrawn") << "nine of twelve, and then another process";
  EXPECT_TRUE(Proposed().empty());
}

TEST_F(ReviewTest, PointsOfAnExcludedPhaseEndARunAndCountForNothing) {
  Add(16, 105.0);
  AddCause(30);
  AddPhase("Broken", 34, 38, PhaseKind::Excluded);
  EXPECT_EQ(Code(), "no-cause") << "eight behind it, of which nothing says why";
  AddCause(38);
  EXPECT_EQ(Code(), "proposed");
  EXPECT_EQ(Proposed().at(0).start, TimeAt(38));
  EXPECT_EQ(Proposed().at(0).used, 8);
}

TEST_F(ReviewTest, ARunThatIsOverWithoutACauseKeepsNoLaterOneFromBeingProposed) {
  Add(12, 105.0);
  Add(12, 95.0);
  EXPECT_EQ(Code(), "no-cause");
  AddCause(42);
  EXPECT_EQ(Code(), "proposed");
  EXPECT_EQ(Proposed().at(0).start, TimeAt(42));
}

TEST_F(ReviewTest, LimitsOfAPhaseAreProposedFromItsOwnPoints) {
  Add(6, 100.0);
  AddPhase("Tool B", 36);
  Add(12, 105.0);
  EXPECT_EQ(Code(), "proposed");
  ASSERT_EQ(Proposed().size(), 1U);
  EXPECT_EQ(Proposed()[0].start, TimeAt(36));
  EXPECT_EQ(Proposed()[0].used, 12);
  Data().ApproveLimits(2, {}, {bob_, "agreed"});
  const auto cut = ChartOf(Shape::Singles, 0x330, INT32_MAX, 0, 0.0, TimeAt(36));
  EXPECT_EQ(cut.graphs[0].cl, cut.graphs[0].ccl) << "those of the phase to the last digit";
  EXPECT_EQ(Data().Phases().size(), 1U) << "it began already";
}

// Its moving ranges do not reach over the step; those of another policy do.
TEST_F(ReviewTest, ApprovedLimitsOfPublicHealthBeginAPhaseWithTheRun) {
  for (const std::string policy : {"shewhart", "public-health"}) {
    Data().SetBaselinePolicy(Stream(Shape::Singles), policy, {ann_, "as agreed"});
    const auto before = Data().Phases().size();
    const std::size_t first = policy == "shewhart" ? 30 : 50;
    Add(20, policy == "shewhart" ? 105.0 : 110.0);
    AddCause(first);
    EXPECT_EQ(Code(), "proposed") << policy;
    ASSERT_EQ(Proposed().size(), 1U) << policy;
    const auto id = Proposed()[0].id;
    Data().ApproveLimits(id, {}, {bob_, "agreed"});
    const auto phases = Data().Phases();
    ASSERT_EQ(phases.size(), before + (policy == "shewhart" ? 0 : 1)) << policy;
    if (policy == "shewhart") continue;
    EXPECT_EQ(phases.back().name, "limits " + std::to_string(id));
    EXPECT_EQ(phases.back().start, TimeAt(50)) << "from the first of them";
    EXPECT_FALSE(phases.back().finish.has_value());
  }
}

// The lines that a chart draws in short dashes are those that it has once the row holds.
TEST_F(ReviewTest, ProvisionalLimitsAreShownAsTheyWouldBe) {
  Add(7, 105.0);
  AddCause(30);
  const auto provisional = [&](std::int32_t word, std::int32_t processing = 0) {
    const auto stream = Stream(Shape::Singles);
    const auto process = [&](charts::VariableRun& run, store::Store& store) {
      auto window = WindowOf({stream.part, stream.process, stream.test}, INT32_MIN, INT32_MAX);
      API_CCVarOptions options{};
      options.ChartWord = word;
      options.ProcessingWord = processing;
      options.Constant = 2;
      return run.Process(store, window.info, window.filter, options);
    };
    charts::VariableRun run;
    EXPECT_NE(process(run, *Opened()), 0);
    store::TakeNotes();
    return charts::ProvisionalOf(*Opened(), run, process);
  };
  EXPECT_TRUE(provisional(0x330).empty());
  Add(2, 105.0);
  EXPECT_EQ(Code(), "proposed");
  const auto before = ChartOf(Shape::Singles, 0x330);
  const auto shown = provisional(0x330);
  ASSERT_EQ(shown.size(), 1U);
  EXPECT_EQ(shown[0].limit, 2);
  EXPECT_EQ(shown[0].effective, TimeAt(30));
  EXPECT_EQ(shown[0].used, 9);
  EXPECT_EQ(shown[0].needed, 12);
  const auto notes = store::TakeNotes();
  ASSERT_EQ(notes.size(), 1U);
  EXPECT_EQ(notes[0].Sentence(),
            "A / P / singles: limits 2 are proposed, from 9 of 12 points so far; they are drawn in "
            "short dashes and hold nowhere");
  EXPECT_TRUE(provisional(0x330, 16).empty()) << "of a cusum there is nothing to show";
  EXPECT_EQ(ChartOf(Shape::Singles, 0x330).graphs[0].ucl, before.graphs[0].ucl);

  LimitApproval forced;
  forced.force = true;
  Data().ApproveLimits(2, forced, {bob_, "at once"});
  const auto after = ChartOf(Shape::Singles, 0x330);
  ASSERT_EQ(shown[0].lines.size(), after.graphs.size());
  for (std::size_t g = 0; g < after.graphs.size(); ++g) {
    const auto& lines = shown[0].lines[g];
    EXPECT_EQ(lines.graph, static_cast<std::int32_t>(g) + 1);
    for (std::size_t i = 0; i < 39; ++i) {
      if (i < 30) {
        EXPECT_TRUE(std::isnan(lines.centre[i])) << "it would not hold yet";
        continue;
      }
      EXPECT_EQ(lines.centre[i], after.graphs[g].cl[i]);
      EXPECT_EQ(lines.upper[i], after.graphs[g].ucl[i]);
      EXPECT_EQ(lines.lower[i], after.graphs[g].lcl[i]);
    }
  }
  EXPECT_TRUE(provisional(0x330).empty()) << "it holds now";
}

TEST_F(ReviewTest, AProposalThatHasAllItsPointsIsNotDrawn) {
  Add(12, 105.0);
  AddCause(30);
  EXPECT_EQ(Code(), "proposed");
  const auto stream = Stream(Shape::Singles);
  EXPECT_TRUE(Opened()->ProvisionalLimits(stream.part, stream.process, stream.test).empty());
}

TEST_F(ReviewTest, AnImportOfValuesIsReviewed) {
  reviews_imports_ = true;
  AddCause(30);
  EXPECT_TRUE(Add(7, 105.0).notes.empty());
  const auto notes = Add(1, 105.0).notes;
  ASSERT_EQ(notes.size(), 1U);
  EXPECT_EQ(notes[0].code, "limits-proposed");
  EXPECT_TRUE(notes[0].text.starts_with(
      "A / P / singles: limits 2, provisional: 8 of 12 points; public-health: 8 points above "))
      << notes[0].text;
  ASSERT_EQ(Proposed().size(), 1U);
  EXPECT_EQ(Proposed()[0].who, "Eve") << "who imported";
  EXPECT_EQ(Events(), std::vector<std::string>{"Control limits proposed"});
  EXPECT_EQ(Add(1, 95.0).notes.at(0).code, "limits-withdrawn");
  EXPECT_TRUE(Proposed().empty());
}

TEST_F(ReviewTest, AnImportIsReviewedInItsOwnStreamsAndWithAPolicyAlone) {
  reviews_imports_ = true;
  AddCause(30);
  Data().SetBaselinePolicy(Stream(Shape::Singles), "off", {ann_, "not now"});
  EXPECT_TRUE(Add(8, 105.0).notes.empty());
  EXPECT_TRUE(Proposed().empty());
  Data().SetBaselinePolicy(Stream(Shape::Singles), "public-health", {ann_, "as agreed"});
  Import("part,process,test,subgroup,time,value\nB,P,other,1,2024-01-01,5\n");
  EXPECT_TRUE(Proposed().empty()) << "of another stream";
  EXPECT_EQ(Add(1, 105.0).notes.at(0).code, "limits-proposed");
}

TEST_F(ReviewTest, WhatWasRejectedIsNotProposedAgain) {
  Add(14, 105.0);
  AddCause(30);
  EXPECT_EQ(Code(), "proposed");
  Data().RejectLimits(2, {bob_, "a test batch"});
  Add(3, 105.0);
  EXPECT_EQ(Code(), "");
  EXPECT_TRUE(Proposed().empty());
}

TEST_F(ReviewTest, ASpreadThatChangedIsNotThatOfBefore) {
  Add(4, 105.0);
  Add(1, 150.0);
  Add(4, 105.0);
  AddCause(30);
  EXPECT_EQ(Code(), "proposed");
  EXPECT_NE(Proposed().at(0).sp, Row(row_).sp);
  EXPECT_EQ(Proposed().at(0).estimator, "MR-est");
}

// The moving range of the first point reaches to the point before.
TEST_F(ReviewTest, TheStepItselfIsNoChangeOfTheSpread) {
  Add(2, 99.0);
  Add(8, 105.0);
  AddCause(32);
  EXPECT_EQ(Code(), "proposed");
  ASSERT_EQ(Proposed().size(), 1U);
  EXPECT_EQ(Proposed()[0].start, TimeAt(32));
  EXPECT_NE(ChartOf(Shape::Singles, 0x330).graphs.at(1).oocs.at(32), 0) << "the step is a signal";
  EXPECT_EQ(Proposed()[0].sp, Row(row_).sp);
  EXPECT_EQ(Proposed()[0].estimator, "of the limits before");
}

TEST_F(ReviewTest, ValuesCorrectedUnderAProposalAreTaken) {
  const auto correct = [&](std::int32_t subgroup, std::int32_t flag) {
    Data().ChangeFlag({subgroup}, {}, flag, {ann_, "wrong gage"});
  };
  Add(9, 105.0);
  AddCause(30);
  EXPECT_EQ(Code(), "proposed");
  // As many, but others.
  correct(35, sfDisabled);
  Add(1, 105.0);
  EXPECT_EQ(Code(), "updated");
  EXPECT_EQ(Proposed().at(0).used, 9);
  EXPECT_EQ(Data().ShowLimits(2).data_changed, std::optional(false));
  EXPECT_EQ(Code(), "");
  Add(6, 105.0);
  EXPECT_EQ(Code(), "updated");
  EXPECT_EQ(Proposed().at(0).used, 12);
  correct(35, sfEnabled);
  EXPECT_EQ(Code(), "updated") << "also one that has all its points";
  EXPECT_EQ(Proposed().at(0).used, 12);
  EXPECT_EQ(Data().ShowLimits(2).data_changed, std::optional(false));
  EXPECT_EQ(Code(), "");
}

// A row that waits goes with its run, wherever that begins now.
TEST_F(ReviewTest, AProposalWhoseFirstPointIsTakenOutBeginsWithTheNext) {
  Add(12, 105.0);
  AddCause(30);
  EXPECT_EQ(Code(), "proposed");
  Data().ChangeFlag({31}, {}, sfDisabled, {ann_, "wrong gage"});
  const auto said = Review();
  ASSERT_EQ(said.size(), 1U);
  EXPECT_EQ(said[0].code, "updated");
  EXPECT_NE(said[0].text.find("limits 2, provisional: 11 of 12 points; "), std::string::npos)
      << said[0].text;
  ASSERT_EQ(Proposed().size(), 1U);
  EXPECT_EQ(Proposed()[0].effective, TimeAt(31));
  EXPECT_EQ(Proposed()[0].start, TimeAt(31));
  EXPECT_EQ(Proposed()[0].used, 11);
  EXPECT_EQ(Code(), "");
  Add(1, 105.0);
  EXPECT_EQ(Code(), "updated");
  EXPECT_EQ(Proposed().at(0).used, 12);
  EXPECT_EQ(Data().ShowLimits(2).data_changed, std::optional(false));
  // With the point it begins there again.
  Data().ChangeFlag({31}, {}, sfEnabled, {ann_, "it was right"});
  EXPECT_EQ(Code(), "updated");
  EXPECT_EQ(Proposed().at(0).effective, TimeAt(30));
  EXPECT_EQ(Proposed().at(0).used, 12);
  EXPECT_EQ(Proposed().at(0).finish, TimeAt(41));
  EXPECT_EQ(Code(), "");
  EXPECT_EQ(Events().size(), 1U);
}

TEST_F(ReviewTest, AProvisionalRowWhoseFirstPointIsTakenOutStays) {
  Add(9, 105.0);
  AddCause(30);
  EXPECT_EQ(Code(), "proposed");
  Data().DeleteSubgroups({31}, {}, {ann_, "wrong gage"});
  EXPECT_EQ(Code(), "updated");
  EXPECT_EQ(Proposed().at(0).effective, TimeAt(31));
  EXPECT_EQ(Proposed().at(0).used, 8);
}

TEST_F(ReviewTest, AProposalThatNoRunHasAnyMoreIsWithdrawn) {
  Add(12, 105.0);
  Add(1, 95.0);
  AddCause(30);
  EXPECT_EQ(Code(), "proposed");
  EXPECT_EQ(Code(), "") << "it waits for a person";
  Data().ChangeFlag({36}, {}, sfDisabled, {ann_, "wrong gage"});
  const auto said = Review();
  ASSERT_EQ(said.size(), 1U);
  EXPECT_EQ(said[0].text,
            "A / P / singles: limits 2 are withdrawn: their data have changed, and no run that is "
            "long enough has them any more");
  EXPECT_TRUE(Proposed().empty());
  Data().ChangeFlag({36}, {}, sfEnabled, {ann_, "it was right"});
  EXPECT_EQ(Code(), "proposed");
}

// What a person was against is known by its first point, also where the run was longer.
TEST_F(ReviewTest, ARejectedRunThatBeginsEarlierIsNotProposedAgain) {
  Add(1, 95.0);
  Add(12, 105.0);
  AddCause(30);
  EXPECT_EQ(Code(), "proposed");
  EXPECT_EQ(Proposed().at(0).effective, TimeAt(31));
  Data().RejectLimits(2, {bob_, "a test batch"});
  ValueChange change;
  change.tsno = 1;
  change.value = 105.0;
  Data().ChangeValue(31, Stream(Shape::Singles).test, change, {ann_, "mistyped"});
  EXPECT_EQ(Code(), "");
}

// It is no dead end: the point is explained, or somebody proposes by hand.
TEST_F(ReviewTest, AnOpenPointIsLeftOutOnceItsCauseIsRecorded) {
  Add(9, 105.0);
  AddCause(30);
  EXPECT_EQ(Code(), "proposed");
  Add(1, 150.0);
  Add(2, 105.0);
  const auto said = Review();
  ASSERT_EQ(said.size(), 1U);
  EXPECT_EQ(said[0].code, "not-ready");
  EXPECT_NE(said[0].text.find("; #40 lies beyond a limit, no cause recorded; "), std::string::npos)
      << said[0].text;
  EXPECT_TRUE(said[0].text.ends_with(
      "the next review leaves out what has a comment or an event with its cause, limits reject 2 "
      "ends it, and limits propose of this part, process and test with --since " +
      platform::IsoText(TimeAt(30)) + " --first 12 --force, approved with --effective " +
      platform::IsoText(TimeAt(30)) + " and --new-phase NAME, takes them all"))
      << said[0].text;
  Data().AddComment(40, 0, 0, "drill slipped", {ann_, "asked the shift"});
  const auto left_out = Review();
  ASSERT_EQ(left_out.size(), 1U);
  EXPECT_EQ(left_out[0].code, "updated");
  EXPECT_NE(left_out[0].text.find("limits 2, provisional: 11 of 12 points; "), std::string::npos)
      << left_out[0].text;
  EXPECT_TRUE(left_out[0].text.ends_with("; left out: #40 comment: drill slipped"))
      << left_out[0].text;
  EXPECT_EQ(Code(), "");
  Add(1, 105.0);
  const auto whole = Review();
  ASSERT_EQ(whole.size(), 1U);
  EXPECT_EQ(whole[0].code, "updated");
  EXPECT_EQ(Proposed().at(0).used, 12);
  EXPECT_EQ(Proposed().at(0).finish, TimeAt(42));
  EXPECT_LT(Proposed().at(0).mean, 107.0);
  EXPECT_TRUE(whole[0].text.ends_with(
      "; left out: #40 comment: drill slipped; 12 subgroups; limits from fewer than 25 change much "
      "with the next ones; 12 subgroups are enough here, since the policy says so"))
      << whole[0].text;
  Data().ApproveLimits(2, {}, {bob_, "agreed"});
  EXPECT_TRUE(Row(2).in_force);
}

// A row may lack the very first point of its run.
TEST_F(ReviewTest, ARunWithoutItsFirstPointKeepsItsProposal) {
  Add(1, 150.0);
  Add(12, 105.0);
  AddCause(30);
  EXPECT_EQ(Code(), "proposed");
  ASSERT_EQ(Proposed().size(), 1U);
  EXPECT_EQ(Proposed()[0].start, TimeAt(31)) << "the step overshot";
  EXPECT_EQ(Proposed()[0].effective, TimeAt(30));
  EXPECT_EQ(Proposed()[0].used, 12);
  EXPECT_EQ(Code(), "");
  Data().RejectLimits(2, {bob_, "a test batch"});
  EXPECT_EQ(Code(), "") << "not proposed again";
}

// The points of after it are none of its own.
TEST_F(ReviewTest, LimitsOfARunThatIsOverAreOfItsPointsAlone) {
  Add(5, 105.0);
  Add(1, 150.0);
  Add(6, 105.0);
  Add(12, 95.0);
  AddCause(30);
  Data().AddComment(36, 0, 0, "drill slipped", {ann_, "asked the shift"});
  const auto said = Review();
  ASSERT_EQ(said.size(), 1U);
  EXPECT_EQ(said[0].code, "not-ready");
  EXPECT_NE(said[0].text.find("; 11 subgroups; 12 are needed; "), std::string::npos)
      << said[0].text;
  EXPECT_TRUE(Proposed().empty());
}

TEST_F(ReviewTest, APolicyNeedsAReason) {
  EXPECT_EQ(FailureOf([&] {
              Data().SetBaselinePolicy({}, "shewhart", {ann_, ""});
            }),
            "--reason: say why, in 3 to 500 characters");
  EXPECT_EQ(Data().BaselinePolicies().size(), 1U);
}

TEST_F(ReviewTest, PoliciesAreThoseThatHold) {
  Data().SetBaselinePolicy(Stream(Shape::Singles), "shewhart", {ann_, "as elsewhere"});
  Data().SetBaselinePolicy({}, "public-health", {ann_, "for the plant"});
  Data().SetBaselinePolicy({}, "off", {ann_, "not now"});
  const auto policies = Data().BaselinePolicies();
  ASSERT_EQ(policies.size(), 2U);
  EXPECT_EQ(policies[0].rule, "shewhart");
  EXPECT_EQ(policies[1].rule, "off");
}

TEST_F(ReviewTest, TheMoreSpecificPolicyHoldsAndOffIsOff) {
  Add(8, 105.0);
  AddCause(30);
  auto stream = Stream(Shape::Singles);
  Data().SetBaselinePolicy({}, "shewhart", {ann_, "for the plant"});
  EXPECT_EQ(Data().BaselinePolicies().size(), 2U);
  EXPECT_EQ(Code(), "proposed") << "eight are enough for the stream's own";
  Data().SetBaselinePolicy(stream, "off", {ann_, "not here"});
  Add(8, 105.0);
  EXPECT_EQ(Code(), "");
  Data().SetBaselinePolicy(stream, "shewhart", {ann_, "as elsewhere"});
  Add(8, 105.0);
  EXPECT_EQ(Code(), "updated") << "the twelve that its former policy asked for are not enough";
  EXPECT_EQ(Proposed().at(0).used, 20);
  EXPECT_EQ(FailureOf([&] {
              Data().SetBaselinePolicy(stream, "often", {ann_, "try it"});
            }),
            "limits: there is no policy \"often\"");
}

TEST_F(ReviewTest, AStreamWithoutLimitsInForceIsNamed) {
  Data().RetireLimits(row_, TimeAt(32), {ann_, "ended"});
  Add(10, 105.0);
  const auto said = Review();
  ASSERT_EQ(said.size(), 1U);
  EXPECT_EQ(said[0].code, "no-limits");
  EXPECT_EQ(said[0].text, "A / P / singles: no control limits in force: orvspc limits propose");
}

TEST_F(ReviewTest, LimitsThatAreToComeAreWaitedFor) { EXPECT_EQ(Code(), ""); }

TEST_F(ReviewTest, ChartsOfCountsAreReviewedToo) {
  const auto counts = [&](std::size_t from, std::size_t count, int defects) {
    std::string text = "part,process,test,subgroup,time,count,size,test-type\n";
    for (std::size_t i = from; i < from + count; ++i) {
      text += "A,P,defects,d" + std::to_string(i) + "," + platform::IsoText(TimeAt(i)) + "," +
              std::to_string(defects + static_cast<int>(i % 2)) + ",50,defects\n";
    }
    Import(text);
  };
  Add(1, 100.0);
  counts(0, 25, 4);
  Freeze(Shape::Defects, 0xF00, 25, TimeAt(25));
  Data().SetBaselinePolicy(Stream(Shape::Defects), "public-health", {ann_, "as agreed"});
  counts(25, 12, 8);
  AddCause(25);
  EXPECT_EQ(Code(), "proposed");
  ASSERT_EQ(Proposed().size(), 1U);
  EXPECT_DOUBLE_EQ(Proposed()[0].mean, 8.5 / 50.0);
  EXPECT_TRUE(Proposed()[0].rule.starts_with("public-health: 12 points above 0.090 since "))
      << Proposed()[0].rule;
}

}  // namespace
}  // namespace orvspc::engine::limits
