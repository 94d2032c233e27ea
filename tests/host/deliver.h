// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <fcntl.h>

#include <csignal>
#include <random>

#include "engine/QualityDatabase.h"
#include "platform/TimeText.h"
#include "tests/host/ProgramTest.h"
#include "tests/host/Receiver.h"
#include "tests/host/program_path.h"

namespace orvspc::host {

// One stream with stored limits, whose alarms are told by the program.
class DeliverTest : public ProgramTest {
 protected:
  DeliverTest() {
    start_ = CurrentTime() + 5;
    Write("v.csv",
          "part,process,test,subgroup,time,value\nRing,Press,Width,0,2024-01-01T00:00:00Z,10\n");
    Write("c.csv", "part,process,test,mean,sp,sw\nRing,Press,Width,10,1,1\n");
    Write("a.csv", "number,graph,on\n1,1,yes\n1,2,no\n");
    for (const auto* const import :
         {"v.csv", "c.csv --kind control-limits", "a.csv --kind alarms"}) {
      const auto done = Run("import --db q.db " + std::string(import));
      EXPECT_EQ(done.status, 0) << done.err;
    }
  }
  // A value beyond the limits.
  Outcome Record(const std::string& options = "") {
    return Run("record --db q.db --part Ring --process Press --test Width --at " +
               platform::IsoText(start_ + ++second_) + " 14 " + options);
  }
  // So many alarms at once, of which nobody is told.
  void Raise(int count) {
    std::string lines = "part,process,test,subgroup,time,value\n";
    for (int i = 0; i < count; ++i) {
      const auto second = std::to_string(++second_);
      lines += "Ring,Press,Width,r" + second + "," + platform::IsoText(start_ + second_) + ",14\n";
    }
    Write("r.csv", lines);
    const auto done = Run("import --db q.db r.csv");
    EXPECT_EQ(done.status, 0) << done.err;
  }
  // A file of hooks with these lines, that only this user may write to.
  void Hooks(const std::string& lines) {
    Write("hooks.conf", lines);
    std::filesystem::permissions(folder_.File("hooks.conf"),
                                 static_cast<std::filesystem::perms>(0600));
  }
  std::string Script(const std::string& name, const std::string& text) {
    Write(name, "#!/bin/sh\n" + text + "\n");
    std::filesystem::permissions(folder_.File(name), std::filesystem::perms::owner_all);
    return folder_.File(name);
  }
  Outcome Deliver(const std::string& options = "") {
    return Run("deliver --db q.db --hooks hooks.conf " + options);
  }
  std::string Database() { return folder_.Store("q.db"); }
  // As if all pauses were over, but not so many that messages are given up.
  void LetTimePass() {
    tests::ChangeRows(Database(),
                      "UPDATE delivery SET next = 0, "
                      "tries = CASE WHEN tries > 5 THEN 5 ELSE tries END");
  }
  // What hooks have to be told, each as "alarm:revision".
  std::set<std::string> Expected() {
    std::set<std::string> ids;
    const auto database = QualityDatabase::Open(Database());
    const auto uuid = database.LogHead().uuid;
    for (const auto& alarm : database.Alarms()) {
      ids.insert(uuid + ":" + std::to_string(alarm.event) + ":0");
    }
    return ids;
  }

  // Starts the program by itself, whose process can be killed.
  pid_t Start(const std::vector<std::string>& arguments) {
    std::vector<std::string> words{ProgramPath()};
    words.insert(words.end(), arguments.begin(), arguments.end());
    const auto child = fork();
    if (child != 0) return child;
    std::vector<char*> raw;
    for (auto& word : words) raw.push_back(word.data());
    raw.push_back(nullptr);
    const int nowhere = open("/dev/null", O_RDWR);
    for (const int stream : {0, 1, 2}) dup2(nowhere, stream);
    execv(raw[0], raw.data());
    _exit(127);
  }

  // Alarms that come while `deliver --follow` is killed at random moments; at the end everybody has
  // been told of each, and the log fits the data.
  void KillAtRandom(int rounds, unsigned seed) {
    std::mt19937 random(seed);
    Receiver receiver;
    // One in seven is not taken, one in seven is taken without the sender's knowing it.
    receiver.Start([](int count, const Posted&) {
      Receiver::Reply reply;
      if (count % 7 == 3) reply.way = Receiver::Way::Drop;
      if (count % 7 == 5) reply.way = Receiver::Way::TakeAndDrop;
      return reply;
    });
    Hooks("[web]\nurl = " + receiver.Url() +
          "\n[tell]\ncommand = " + Script("tell", "cat >>'" + folder_.File("told") + "'") + "\n");
    Raise(3);
    int killed = 0;
    for (int round = 0; round < rounds; ++round) {
      if (round % 2 == 0) Raise(3);  // so that it is killed at work
      LetTimePass();
      const auto child =
          Start({"deliver", "--db", Database(), "--hooks", folder_.File("hooks.conf"), "--follow"});
      ASSERT_GT(child, 0);
      std::this_thread::sleep_for(std::chrono::milliseconds(random() % 250));
      kill(child, SIGKILL);
      int status = 0;
      ASSERT_EQ(waitpid(child, &status, 0), child);
      killed += WIFSIGNALED(status) ? 1 : 0;
    }
    EXPECT_EQ(killed, rounds) << "it ends by itself";
    const auto expected = Expected();
    EXPECT_GE(expected.size(), 3U);
    Outcome last;
    // One that is not taken puts off the others of its hook.
    for (std::size_t i = 0; i < 40 + expected.size(); ++i) {
      LetTimePass();
      if (last = Deliver(); last.status == 0) break;
    }
    EXPECT_EQ(last.status, 0);
    EXPECT_EQ(last.err, "");
    EXPECT_EQ(receiver.Ids(), expected);
    const auto told = Text(folder_.File("told"));
    for (const auto& id : expected) EXPECT_NE(told.find("{\"id\":\"" + id + "\""), told.npos) << id;
    const auto verified = Run("log --db q.db --verify --data");
    EXPECT_EQ(verified.status, 0) << verified.out << verified.err;
    std::cout << rounds << " kills, " << expected.size() << " messages, " << receiver.Taken().size()
              << " taken by the receiver\n";
  }

  std::int64_t start_ = 0;
  int second_ = 0;
};

}  // namespace orvspc::host
