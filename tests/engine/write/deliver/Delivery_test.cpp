// SPDX-License-Identifier: Apache-2.0
#include "engine/write/deliver/Delivery.h"

#include <gtest/gtest.h>

#include <deque>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "engine/QualityDatabase.h"
#include "tests/engine/store/store_fixture.h"

namespace orvspc::engine::deliver {
namespace {

// Alarms of two parts, a clock of our own, and receivers that do as they are told.
class DeliveryTest : public store::StoreTest {
 protected:
  DeliveryTest() {
    Import(
        "part,process,test,subgroup,time,value\n"
        "A,P,T,0,2024-01-01T00:00:00Z,10\nB,P,T,0,2024-01-01T00:00:00Z,10\n");
    Import("part,process,test,mean,sp,sw\nA,P,T,10,1,1\nB,P,T,10,1,1\n", ImportKind::ControlLimits);
    Import("number,graph,on\n1,1,yes\n1,2,no\n", ImportKind::Alarms);
    now_ = CurrentTime() + 1;
    start_ = now_;
    outside_.now = [this] { return now_; };
    outside_.random = [this] { return random_; };
    outside_.clock = [this] { return clock_; };
    outside_.send = [this](const Hook& hook, const hooks::Message& message,
                           std::chrono::milliseconds at_most) {
      at_most_ = at_most;
      sent_[hook.name].push_back(message.id);
      texts_.push_back(message.text);
      auto& answers = answers_[hook.name];
      if (answers.empty()) return hooks::Answer{};
      auto answer = answers.front();
      if (answers.size() > 1) answers.pop_front();
      return answer;
    };
  }

  // An alarm of its own; returns the id of its message.
  std::string Raise(const std::string& part = "A") {
    NewRecord record;
    record.part = part;
    record.process = "P";
    record.test = "T";
    record.time = start_ + ++second_;
    record.pieces.push_back({14.0, 0, 0, "", "", ""});
    const auto alarms = Data().Record(record, {}).alarms;
    EXPECT_EQ(alarms.size(), 1U);
    return Data().LogHead().uuid + ":" + std::to_string(alarms.at(0).event) + ":0";
  }
  std::vector<HookReport> Tell(const std::vector<Hook>& hooks,
                               const DeliveryOptions& options = {}) {
    return Deliver(*Opened(), hooks, options, outside_);
  }
  HookReport TellOne() { return Tell({Named("h")}).at(0); }
  static Hook Named(const std::string& name) {
    Hook hook;
    hook.name = name;
    hook.command = "/bin/true";
    return hook;
  }
  std::int64_t Count(std::string_view text) {
    std::int64_t count = 0;
    Opened()->ReadOrThrow(
        [&](sql::Connection& db) { count = sql::Query(db, text).RunForInt().value_or(0); });
    return count;
  }

  using Ids = std::vector<std::string>;
  Outside outside_;
  std::int64_t now_ = 0, start_ = 0;
  double random_ = 0.5;
  std::chrono::milliseconds clock_{};
  int second_ = 0;
  std::map<std::string, Ids> sent_;
  std::vector<std::string> texts_;
  std::map<std::string, std::deque<hooks::Answer>> answers_;  // the last one goes on
  std::chrono::milliseconds at_most_{};
};

TEST_F(DeliveryTest, EachMessageGoesToEachHookOnce) {
  const Ids ids{Raise(), Raise("B")};
  const auto reports = Tell({Named("h"), Named("i")});
  for (const auto& report : reports) {
    EXPECT_EQ(sent_[report.hook], ids);
    EXPECT_EQ(report.delivered, 2);
    EXPECT_EQ(report.failed + report.waiting + report.dead, 0);
  }
  Tell({Named("h"), Named("i")});
  EXPECT_EQ(sent_["h"], ids);
  const auto third = Raise();
  EXPECT_EQ(TellOne().delivered, 1);
  EXPECT_EQ(sent_["h"].back(), third);
}

TEST_F(DeliveryTest, AMessageNamesWhatItIsAbout) {
  const auto id = Raise();
  TellOne();
  ASSERT_EQ(texts_.size(), 1U);
  EXPECT_TRUE(
      texts_[0].starts_with("{\"id\":\"" + id +
                            "\",\"alarm\":1,\"what\":\"opened\",\"part\":\"A\",\"process\":\"P\","
                            "\"test\":\"T\",\"graph\":1,\"rule\":1,"))
      << texts_[0];
}

TEST_F(DeliveryTest, StepsOfAnAlarmHaveRevisions) {
  const auto id = Raise();
  Data().AcknowledgeAlarm(1, {});
  TellOne();
  EXPECT_EQ(sent_["h"], (Ids{id, id.substr(0, id.size() - 1) + "1"}));
}

TEST_F(DeliveryTest, AHookGetsWhatItAsksFor) {
  auto hook = Named("h");
  hook.parts = {"B"};
  Raise();
  const auto wanted = Raise("B");
  Raise();
  EXPECT_EQ(Tell({hook}).at(0).delivered, 1);
  EXPECT_EQ(sent_["h"], Ids{wanted});
  // What is passed over leaves one row, wherever it ends.
  for (int i = 0; i < 5; ++i) {
    Raise();
    Tell({hook});
  }
  EXPECT_EQ(Count("SELECT count(*) FROM delivery"), 2);
  const auto last = Raise("B");
  Tell({hook});
  EXPECT_EQ(sent_["h"], (Ids{wanted, last}));
}

TEST_F(DeliveryTest, ANewHookIsToldOfTheLastThreeDays) {
  Raise();
  now_ += kFirstReach + 100;
  EXPECT_EQ(TellOne().delivered, 0);
  EXPECT_TRUE(sent_["h"].empty());
  const auto next = Raise();
  TellOne();
  EXPECT_EQ(sent_["h"], Ids{next});
}

TEST_F(DeliveryTest, AHookThatIsKnownIsToldOfAllThatCameSince) {
  Raise();
  TellOne();
  Raise();
  now_ += 100 * kFirstReach;
  EXPECT_EQ(TellOne().delivered, 1);
}

TEST_F(DeliveryTest, TriesComeAfterTheirPausesAndEndAfterThreeDays) {
  answers_["h"] = {{"busy"}};
  Raise();
  std::vector<std::int64_t> pauses;
  for (auto report = TellOne(); report.waiting == 1; report = TellOne()) {
    EXPECT_EQ(report.error, "busy");
    EXPECT_EQ(report.failed, 1);
    ASSERT_GT(report.next, now_);
    pauses.push_back(report.next - now_);
    now_ = report.next - 1;
    EXPECT_EQ(TellOne().failed, 0) << "too early";
    now_ = report.next;
  }
  std::vector<std::int64_t> expected{10, 60, 300, 1800};
  expected.resize(4 + 72, 3600);
  EXPECT_EQ(pauses, expected);
  EXPECT_EQ(sent_["h"].size(), expected.size() + 1);
  EXPECT_EQ(TellOne().dead, 1);
  EXPECT_EQ(Data().Alarms().at(0).dead, 1) << "alarm list tells it";
  now_ += 1'000'000;
  EXPECT_EQ(TellOne().failed, 0);
  EXPECT_EQ(sent_["h"].size(), expected.size() + 1) << "a dead one is tried no more";
  answers_.clear();
  DeliveryOptions again;
  again.again = true;
  EXPECT_EQ(Tell({Named("h")}, again).at(0).delivered, 1);
  EXPECT_EQ(Data().Alarms().at(0).dead, 0);
}

TEST_F(DeliveryTest, PausesVaryByAFifth) {
  answers_["h"] = {{"busy"}};
  Raise();
  random_ = 0.0;
  EXPECT_EQ(TellOne().next - now_, 8);
  now_ += 8;
  random_ = 0.9999;
  EXPECT_EQ(TellOne().next - now_, 71);
  EXPECT_GE(RealOutside().random(), 0.0);
  EXPECT_LT(RealOutside().random(), 1.0);
}

TEST_F(DeliveryTest, WhoIsNotThereIsTriedOnceForAll) {
  answers_["h"] = {{"connection refused", hooks::Reach::Absent}};
  for (int i = 0; i < 5; ++i) Raise();
  const auto report = TellOne();
  EXPECT_EQ(sent_["h"].size(), 1U);
  EXPECT_EQ(report.waiting, 5);
  EXPECT_EQ(report.error, "connection refused");
  EXPECT_EQ(Count("SELECT count(*) FROM delivery WHERE tries = 1"), 5);
  EXPECT_EQ(report.next, now_ + 10);
  answers_.clear();
  now_ += 10;
  EXPECT_EQ(TellOne().delivered, 5);
}

TEST_F(DeliveryTest, AMessageThatIsNeverTakenHoldsUpNoOther) {
  Raise();
  Raise();
  answers_["h"] = {{"the receiver answered 400"}, {""}};
  auto report = TellOne();
  EXPECT_EQ(report.delivered, 1);
  EXPECT_EQ(report.failed, 1);
  // New ones come first, also where what failed before keeps its receiver busy.
  now_ += 10;
  const auto third = Raise();
  answers_["h"] = {{""}, {"no answer within 10000 ms", hooks::Reach::Silent}};
  TellOne();
  EXPECT_EQ(sent_["h"].at(2), third);
}

TEST_F(DeliveryTest, WhoSaysNothingKeepsTheOthersForTheNextCallAndNoLonger) {
  const auto first = Raise();
  const auto second = Raise();
  answers_["h"] = {{"no answer within 10000 ms", hooks::Reach::Silent}, {""}};
  const auto report = TellOne();
  EXPECT_EQ(sent_["h"], Ids{first});
  EXPECT_EQ(report.waiting, 2);
  EXPECT_EQ(report.next, now_) << "the other is due as before";
  now_ += 20;  // so is the first, but it was tried already
  EXPECT_EQ(TellOne().delivered, 2);
  EXPECT_EQ(sent_["h"], (Ids{first, second, first}));
}

TEST_F(DeliveryTest, OneHookThatFailsKeepsNoOtherWaiting) {
  answers_["h"] = {{"connection refused", hooks::Reach::Absent}};
  const Ids ids{Raise(), Raise()};
  const auto reports = Tell({Named("h"), Named("i")});
  EXPECT_EQ(reports.at(0).waiting, 2);
  EXPECT_EQ(reports.at(1).delivered, 2);
  EXPECT_EQ(sent_["i"], ids);
}

TEST_F(DeliveryTest, WhoDiesWhileSendingLeavesItWaiting) {
  struct Death {};
  const auto id = Raise();
  const auto send = outside_.send;
  outside_.send = [](const Hook&, const hooks::Message&,
                     std::chrono::milliseconds) -> hooks::Answer { throw Death(); };
  EXPECT_THROW(TellOne(), Death);
  outside_.send = send;
  EXPECT_EQ(TellOne().waiting, 1) << "nobody else takes it at once";
  EXPECT_TRUE(sent_["h"].empty());
  now_ += kClaim;
  EXPECT_EQ(TellOne().delivered, 1);
  EXPECT_EQ(sent_["h"], Ids{id});
}

TEST_F(DeliveryTest, SeveralAtATimeSendEachOnce) {
  std::set<std::string> ids;
  for (int i = 0; i < 12; ++i) ids.insert(Raise());
  std::mutex mutex;
  Ids sent;
  auto outside = outside_;
  outside.now = [now = now_] { return now; };
  outside.random = [] { return 0.5; };
  outside.send = [&](const Hook&, const hooks::Message& message, std::chrono::milliseconds) {
    const std::lock_guard lock(mutex);
    sent.push_back(message.id);
    return hooks::Answer{};
  };
  const auto path = Path();
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&] {
      const auto database = OpenDatabase(path);
      const Hook hook = Named("h");
      Deliver(*store::SqlStoreOf(*database), std::span(&hook, 1), {}, outside);
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(sent.size(), ids.size());
  EXPECT_EQ(std::set<std::string>(sent.begin(), sent.end()), ids);
}

TEST_F(DeliveryTest, TheWriterHasItsTimeAndNoMore) {
  for (int i = 0; i < 5; ++i) Raise();
  DeliveryOptions options;
  options.at_most = std::chrono::seconds(2);
  outside_.send = [&](const Hook&, const hooks::Message& message, std::chrono::milliseconds limit) {
    EXPECT_LE(limit, *options.at_most);
    sent_["h"].push_back(message.id);
    clock_ += std::chrono::milliseconds(1950);
    return hooks::Answer{};
  };
  const auto report = Tell({Named("h")}, options).at(0);
  EXPECT_EQ(report.delivered, 1);
  EXPECT_EQ(report.waiting, 4);
}

TEST_F(DeliveryTest, TheHeadOfTheLogIsToldOnceADay) {
  auto hook = Named("h");
  hook.on = {"log head"};
  now_ = now_ / 86'400 * 86'400 + 100;
  const auto head = Data().LogHead();
  EXPECT_EQ(Tell({hook}).at(0).delivered, 1);
  EXPECT_EQ(sent_["h"], Ids{head.uuid + ":0:" + std::to_string(head.seq)});
  EXPECT_NE(texts_.back().find("\"hash\":\"" + head.hash + "\""), std::string::npos);
  const auto anchor = texts_.back().substr(texts_.back().find(head.uuid + " "));
  store::WriteFile(folder_.File("anchors"), anchor.substr(0, anchor.find('"')) + "\n");
  Data().Set("alarm_needs", "none");
  EXPECT_EQ(Tell({hook}).at(0).delivered, 0) << "the same day";
  now_ += 86'400;
  EXPECT_EQ(Tell({hook}).at(0).delivered, 1);
  now_ += 86'400;
  EXPECT_EQ(Tell({hook}).at(0).delivered, 0) << "nothing has changed";
  EXPECT_EQ(sent_["h"].size(), 2U);
  LogCheckOptions anchored;
  anchored.anchors = folder_.File("anchors");
  EXPECT_TRUE(Data().VerifyLog(anchored).finds.empty());
}

TEST_F(DeliveryTest, TriesAreNoEntriesOfTheLog) {
  Raise();
  const auto head = Data().LogHead();
  answers_["h"] = {{"busy"}};
  TellOne();
  EXPECT_EQ(Data().LogHead(), head);
  LogCheckOptions with_data;
  with_data.with_data = true;
  EXPECT_TRUE(Data().VerifyLog(with_data).finds.empty());
  EXPECT_TRUE(QualityDatabase::Check(Path()).finds.empty());
}

}  // namespace
}  // namespace orvspc::engine::deliver
