// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <exception>
#include <string>
#include <thread>

#include "platform/Enumerations.h"
#include "tests/engine/store/store_fixture.h"

// An analysis reads one state of the database, whatever others commit meanwhile.
namespace orvspc::engine::store {
namespace {

std::string SubgroupAt(int hour, double value) {
  return "part,process,test,subgroup,time,value\nA,P,W," + std::to_string(hour) + ",2024-01-01T" +
         (hour < 10 ? "0" : "") + std::to_string(hour) + ":00:00Z," + std::to_string(value) + "\n";
}

class OneStateTest : public StoreTest {
 protected:
  OneStateTest() {
    Import(SubgroupAt(1, 1));
    part_ = Id(ItemKind::Part, "A");
    process_ = Id(ItemKind::Process, "P");
    test_ = Id(ItemKind::Test, "W");
  }

  // As another program does.
  void ImportElsewhere(const std::string& text, ImportKind kind) {
    if (!other_) other_ = OpenDatabase(Path());
    WriteFile(folder_.File("other.csv"), text);
    ImportCsv(folder_.File("other.csv"), *other_, kind);
  }
  void AddValuesAndLimits() {
    ImportElsewhere(SubgroupAt(2, 2), ImportKind::Values);
    ImportElsewhere("part,process,test,effective,mean,sp\nA,P,W,2023-01-01T00:00:00Z,1,1\n",
                    ImportKind::ControlLimits);
  }
  std::size_t Selected(std::int32_t count = 0) {
    FlatSelection all;
    all.info.Count = count;
    DataSet data;
    EXPECT_TRUE(Opened()->Select(all.info, all.Filter(), {}, data));
    return data.subgroups.size();
  }
  std::size_t Limits() { return Opened()->ControlLimits(part_, process_, test_).size(); }
  void InOneState(const std::function<void()>& work) {
    Opened()->InOneState(FlatSelection().info, work);
  }

  std::shared_ptr<EmbeddedDatabase> other_;
  std::int32_t part_ = 0, process_ = 0, test_ = 0;
};

}  // namespace

TEST_F(OneStateTest, ReadsSeeNothingOfWhatIsCommittedMeanwhile) {
  InOneState([&] {
    EXPECT_EQ(Selected(), 1U);
    AddValuesAndLimits();
    EXPECT_EQ(Limits(), 0U);
    EXPECT_EQ(Selected(), 1U);
    Opened()->ReadOrThrow([&](Connection&) { EXPECT_EQ(Selected(), 1U); });
  });
  EXPECT_EQ(Selected(), 2U);
  EXPECT_EQ(Limits(), 1U);
}

TEST_F(OneStateTest, ASecondThreadSeesTheSameState) {
  auto& sharing = Opened()->Sharing();
  sharing.ShareFrom(1);
  InOneState([&] {
    EXPECT_EQ(Selected(), 1U);
    EXPECT_EQ(sharing.count.load(), 1U) << "the second thread has read";
    AddValuesAndLimits();
    EXPECT_EQ(Selected(), 1U);
  });
  EXPECT_EQ(Selected(), 2U);
}

TEST_F(OneStateTest, WhatFailsInsideIsThrownAndTheStoreStaysUsable) {
  EXPECT_THROW(InOneState([&] {
                 Selected();
                 throw std::runtime_error("stop");
               }),
               std::runtime_error);
  EXPECT_EQ(Opened()->TakeFailure(), std::nullopt);
  AddValuesAndLimits();
  EXPECT_EQ(Selected(), 2U);
}

}  // namespace orvspc::engine::store
