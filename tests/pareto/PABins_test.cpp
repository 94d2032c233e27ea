// SPDX-License-Identifier: Apache-2.0
#include "pareto/PABins.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include "platform/FixedText.h"
#include "tests/fake/FailureOf.h"
#include "tests/fake/FakePlatform.h"
#include "tests/pareto/bins.h"

namespace orvspc {
namespace {

using fake::FailureOf;
using fake::NumberOf;
using pareto_test::Loaded;

static_assert(!std::is_default_constructible_v<PABins> && !std::is_copy_constructible_v<PABins> &&
              !std::is_move_constructible_v<PABins>);

class PABinsTest : public testing::Test {
 protected:
  fake::FakeScope fake_;
};

// One bin with this in its name field, every unit given. The array is moved in, so its field can
// still be seen here.
struct Named {
  explicit Named(const std::u16string& units) {
    Array<API_PABin> rows;
    rows.Dimension(0, 0);
    std::copy_n(units.begin(), std::min<std::size_t>(units.size(), 32), rows[0].Name);
    row_ = rows.Elements().data();
    bins.Load(Friend{}, std::move(rows));
  }
  std::u16string Field() const { return {row_->Name, 32}; }

  PABins bins{Friend{}};

 private:
  const API_PABin* row_ = nullptr;
};

// The one bin that this element makes.
std::shared_ptr<PABins> Read(const std::string& attributes) {
  auto bins = std::make_shared<PABins>(Friend{});
  bins->SetXML("<PABins><PABin " + attributes + "/></PABins>");
  return bins;
}

TEST_F(PABinsTest, AnEmptyObjectMovesNowhereAndFailsToRead) {
  PABins bins(Friend{});
  EXPECT_EQ(bins.Count(), 0);
  EXPECT_EQ(bins.CurrentIndex(), 1);
  EXPECT_FALSE(bins.MoveTo(1));
  EXPECT_FALSE(bins.MoveFirst());
  EXPECT_FALSE(bins.MoveLast());
  EXPECT_FALSE(bins.MoveNext());
  EXPECT_FALSE(bins.MovePrev());
  EXPECT_EQ(NumberOf([&] { bins.Value(); }), 9);
  EXPECT_EQ(bins.GetXML(), "<PABins/>");
}

TEST_F(PABinsTest, EveryPropertyOfABinFailsWithNineAndNoTrailWithoutBins) {
  PABins bins(Friend{});
  const std::vector<std::function<void()>> reads = {
      [&] { bins.BinCount(); },    [&] { bins.Factor(); },  [&] { bins.Percent(); },
      [&] { bins.Percentage(0); }, [&] { bins.PPK(); },     [&] { bins.Total(); },
      [&] { bins.Value(); },       [&] { bins.Yield(); },   [&] { bins.Flag(); },
      [&] { bins.MajorID(); },     [&] { bins.MinorID(); }, [&] { bins.ID(0); },
      [&] { bins.SubgroupID(); },  [&] { bins.Name(); }};
  for (std::size_t i = 0; i < reads.size(); ++i) {
    const Failure failure = FailureOf(reads[i]);
    EXPECT_EQ(failure.Number(), 9) << i;
    EXPECT_EQ(failure.Source(), "orvSPCAnalysis6") << i;
  }
}

TEST_F(PABinsTest, ThreeBinsAreWalkedFromTheFirst) {
  const auto bins = Loaded(3);
  EXPECT_EQ(bins->CurrentIndex(), 1);
  EXPECT_EQ(bins->Flag(), 1000);
  EXPECT_FALSE(bins->MovePrev());
  EXPECT_TRUE(bins->MoveLast());
  EXPECT_EQ(bins->CurrentIndex(), 3);
  EXPECT_FALSE(bins->MoveNext());
  EXPECT_EQ(bins->CurrentIndex(), 3);
  EXPECT_FALSE(bins->MoveTo(0));
  EXPECT_FALSE(bins->MoveTo(4));
  EXPECT_EQ(bins->CurrentIndex(), 3);
  EXPECT_TRUE(bins->MovePrev());
  EXPECT_EQ(bins->Flag(), 2000);
}

TEST_F(PABinsTest, LoadingAnArrayNeverDimensionedFailsAndTheCountStays) {
  const auto bins = Loaded(3);
  bins->MoveLast();
  const Failure failure = FailureOf([&] { bins->Load(Friend{}, {}); });
  EXPECT_EQ(failure.Number(), 9);
  EXPECT_EQ(failure.Source(), "PABins.Load|orvSPCAnalysis6");
  EXPECT_EQ(bins->Count(), 3);
  EXPECT_EQ(bins->CurrentIndex(), 3);
  PABins empty(Friend{});
  EXPECT_EQ(NumberOf([&] { empty.Load(Friend{}, {}); }), 9);
  EXPECT_EQ(empty.Count(), 0);
}

TEST_F(PABinsTest, EveryPropertyReadsItsField) {
  const auto bins = Loaded(2);
  bins->MoveLast();
  EXPECT_EQ(bins->BinCount(), 2.125);
  EXPECT_EQ(bins->Factor(), 2.25);
  EXPECT_EQ(bins->Value(), 2.375);
  EXPECT_EQ(bins->Total(), 2.625);
  EXPECT_EQ(bins->Yield(), 2.75);
  EXPECT_EQ(bins->PPK(), 2.875);
  EXPECT_EQ(bins->Flag(), 2000);
  EXPECT_EQ(bins->SubgroupID(), 4000);
  EXPECT_EQ(bins->Name(), "Scratch");
}

TEST_F(PABinsTest, IDTakesThreeLevelsAndHasItsOwnMessage) {
  const auto bins = Loaded(1);
  EXPECT_EQ(bins->ID(0), 100);
  EXPECT_EQ(bins->ID(1), 101);
  EXPECT_EQ(bins->ID(2), 102);
  for (const std::int32_t level : {3, 5, -1, std::numeric_limits<std::int32_t>::max(),
                                   std::numeric_limits<std::int32_t>::min()}) {
    const Failure failure = FailureOf([&] { bins->ID(level); });
    EXPECT_EQ(failure.Number(), -2147221504) << level;
    EXPECT_EQ(failure.Description(), "Invalid ID(Level). Valid levels are 0-2.") << level;
    EXPECT_EQ(failure.Source(), "orvSPCAnalysis6") << level;
  }
}

TEST_F(PABinsTest, PercentageTakesSixLevelsAndFailsWithNine) {
  const auto bins = Loaded(1);
  for (std::int32_t level = 0; level <= 5; ++level)
    EXPECT_EQ(bins->Percentage(level), 10.5 + level) << level;
  for (const std::int32_t level :
       {6, -1, std::numeric_limits<std::int32_t>::max(), std::numeric_limits<std::int32_t>::min()})
    EXPECT_EQ(NumberOf([&] { bins->Percentage(level); }), 9) << level;
}

TEST_F(PABinsTest, TheDeprecatedFormsAreLevelsZeroAndOne) {
  const auto bins = Loaded(1);
  EXPECT_EQ(bins->MajorID(), bins->ID(0));
  EXPECT_EQ(bins->MinorID(), bins->ID(1));
  EXPECT_EQ(bins->Percent(), bins->Percentage(0));
}

struct Cleaned {
  std::u16string field;
  const char* name;
  const char* reason;
};

const std::vector<Cleaned>& CleanedNames() {
  static const std::vector<Cleaned> rows = {
      Cleaned{u"Burr", "Burr", "NUL padding"},
      Cleaned{u"Burr" + std::u16string(28, u' '), "Burr", "blank padding"},
      Cleaned{u"Burr   ", "Burr", "blanks, then NUL"},
      Cleaned{std::u16string(u"Burr\0old", 8), "Burr", "what an earlier text left"},
      Cleaned{u"  Burr in hole ", "  Burr in hole", "blanks before and inside stay"},
      Cleaned{std::u16string(32, u'x'), "xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx", "a full field"},
      Cleaned{u"", "", "nothing"},
      Cleaned{u"Kratzer µ", "Kratzer \xC2\xB5", "no ASCII"},
      Cleaned{std::u16string(31, u'x') + u"\xD83D", "xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx\xEF\xBF\xBD",
              "half a character that a cut left"}};
  return rows;
}

// What stands in the field once it was read: the text at its left, blanks behind it.
std::u16string WithBlanks(const Cleaned& row) {
  std::u16string text(platform::TrimFixedText(row.field));
  text.resize(32, u' ');
  return text;
}

TEST_F(PABinsTest, NameIsTheFieldWithoutItsPaddingAndTheFieldGetsBlanks) {
  for (const Cleaned& row : CleanedNames()) {
    Named named(row.field);
    EXPECT_EQ(named.bins.Name(), row.name) << row.reason;
    EXPECT_EQ(named.Field(), WithBlanks(row)) << row.reason;
    EXPECT_EQ(named.bins.Name(), row.name) << "a second time: " << row.reason;
    EXPECT_EQ(named.Field(), WithBlanks(row)) << "a second time: " << row.reason;
  }
}

TEST_F(PABinsTest, WritingANameWritesItBackWithBlanks) {
  Named named(std::u16string(u"Burr\0old", 8));
  EXPECT_NE(named.bins.GetXML().find("Name=\"Burr\""), std::string::npos);
  EXPECT_EQ(named.Field(), u"Burr" + std::u16string(28, u' '));
}

TEST_F(PABinsTest, ABinIsWrittenWithAllItsAttributesInOrder) {
  const auto bins = Loaded(1);
  EXPECT_EQ(bins->GetXML(),
            "<PABins><PABin ID1=\"100\" ID2=\"101\" ID3=\"102\" Name=\"Scratch\" Count=\"1.125\" "
            "Factor=\"1.25\" Value=\"1.375\" Percent=\"10.5\" Percent2=\"11.5\" Percent3=\"12.5\" "
            "Percent4=\"13.5\" Percent5=\"14.5\" Percent6=\"15.5\" Total=\"1.625\" Yield=\"1.75\" "
            "PPK=\"1.875\" Flag=\"1000\" SubgroupID=\"2000\"/></PABins>");
}

TEST_F(PABinsTest, ATextWithSixIdentifiersIsReadWholeAndThreeAreWrittenAgain) {
  const auto bins = Read("ID1=\"1\" ID2=\"2\" ID3=\"3\" ID4=\"4\" ID5=\"5\" ID6=\"6\" Name=\"a\"");
  EXPECT_EQ(bins->ID(2), 3);
  EXPECT_EQ(bins->GetXML().find("ID4"), std::string::npos);
  // They are read: a text that is no number fails.
  for (const char* attribute : {"ID4", "ID5", "ID6"})
    EXPECT_EQ(NumberOf([&] { Read(attribute + std::string("=\"x\"")); }), 13) << attribute;
}

TEST_F(PABinsTest, Percent2ComesBackAsPercentageOfLevelOne) {
  EXPECT_EQ(Read("Percent2=\"12.5\"")->Percentage(1), 12.5);
}

TEST_F(PABinsTest, MissingAttributesAreZeroAndAnEmptyName) {
  const auto bins = Read("");
  EXPECT_EQ(bins->Count(), 1);
  EXPECT_EQ(bins->ID(0), 0);
  EXPECT_EQ(bins->Value(), 0.0);
  EXPECT_EQ(bins->Percentage(5), 0.0);
  EXPECT_EQ(bins->SubgroupID(), 0);
  EXPECT_EQ(bins->Name(), "");
}

TEST_F(PABinsTest, BinsComeBackFromTheirTextAndStandOnTheFirst) {
  const auto bins = Loaded(3);
  const auto again = Loaded(1);
  again->MoveLast();
  EXPECT_TRUE(again->SetXML(bins->GetXML()));
  EXPECT_EQ(again->Count(), 3);
  EXPECT_EQ(again->CurrentIndex(), 1);
  EXPECT_EQ(again->GetXML(), bins->GetXML());
}

TEST_F(PABinsTest, OnlyElementsPABinDirectlyInsideAreBins) {
  PABins bins(Friend{});
  bins.SetXML(
      "<PABins><PABin Flag=\"1\"><PABin Flag=\"2\"/></PABin><Bin/><PABin Flag=\"3\"/></PABins>");
  EXPECT_EQ(bins.Count(), 2);
  bins.MoveLast();
  EXPECT_EQ(bins.Flag(), 3);
}

TEST_F(PABinsTest, AnElementWithoutBinsFailsWithNineAndTheBinsStay) {
  const auto bins = Loaded(2);
  const Failure failure = FailureOf([&] { bins->SetXML(PABins(Friend{}).GetXML()); });
  EXPECT_EQ(failure.Number(), 9);
  EXPECT_EQ(failure.Source(), "PABins.SetXML|PABins.SetXMLNode|orvSPCAnalysis6");
  EXPECT_EQ(bins->Count(), 2);
  EXPECT_EQ(bins->Flag(), 1000);
}

TEST_F(PABinsTest, ATextThatIsNoNumberLeavesTheBinsThatWereThere) {
  const auto bins = Loaded(2);
  EXPECT_EQ(NumberOf([&] { bins->SetXML("<PABins><PABin/><PABin Yield=\"much\"/></PABins>"); }),
            13);
  EXPECT_EQ(NumberOf([&] { bins->SetXML("<PABins><PABin Flag=\"2147483648\"/></PABins>"); }), 6);
  EXPECT_EQ(bins->Count(), 2);
}

TEST_F(PABinsTest, ANameLongerThanTheFieldIsCut) {
  EXPECT_EQ(Read("Name=\"" + std::string(40, 'y') + "\"")->Name(), std::string(32, 'y'));
}

TEST_F(PABinsTest, FiguresThatAreNoNumberComeBack) {
  Array<API_PABin> rows;
  rows.Dimension(0, 0);
  rows[0].Value = std::numeric_limits<double>::infinity();
  rows[0].PPK = std::numeric_limits<double>::quiet_NaN();
  rows[0].Total = 1e-300;
  PABins bins(Friend{}), again(Friend{});
  bins.Load(Friend{}, std::move(rows));
  again.SetXML(bins.GetXML());
  EXPECT_EQ(again.Value(), std::numeric_limits<double>::infinity());
  EXPECT_NE(again.PPK(), again.PPK());
  EXPECT_EQ(again.Total(), 1e-300);
}

}  // namespace
}  // namespace orvspc
