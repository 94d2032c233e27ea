// SPDX-License-Identifier: Apache-2.0
#include "engine/hooks/Sending.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "tests/host/TemporaryFolder.h"

namespace orvspc::engine::hooks {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

class SendingTest : public testing::Test {
 protected:
  // A hook whose command is a script.
  Hook Script(const std::string& text) {
    Hook hook;
    hook.command = folder_.File("tell");
    std::ofstream(hook.command) << "#!/bin/sh\n" << text << "\n";
    std::filesystem::permissions(hook.command, std::filesystem::perms::owner_all);
    return hook;
  }
  std::string Text(const std::string& name) {
    std::ifstream file(folder_.File(name));
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
  }
  host::TemporaryFolder folder_;
};

TEST_F(SendingTest, ACommandGetsTheMessageAndItsArgumentsAsTheyAre) {
  auto hook = Script("cat >'" + folder_.File("in") + "'; printf '%s\\n' \"$@\" >'" +
                     folder_.File("args") + "'; echo loud; echo louder >&2");
  hook.arguments = {"$(id)", "a b", ";", "*"};
  const auto answer = Send(hook, {"id", R"({"a":1})"}, seconds(20));
  EXPECT_EQ(answer.error, "");
  EXPECT_EQ(Text("in"), "{\"a\":1}\n");
  EXPECT_EQ(Text("args"), "$(id)\na b\n;\n*\n");
}

TEST_F(SendingTest, ACommandThatReadsNothingIsNoFailure) {
  const auto answer = Send(Script("exit 0"), {"id", std::string(1'000'000, 'x')}, seconds(20));
  EXPECT_EQ(answer.error, "");
}

TEST_F(SendingTest, ACommandThatFailsWasReached) {
  const auto ended = Send(Script("exit 3"), {"id", "{}"}, seconds(20));
  EXPECT_EQ(ended.error, "the command ended with status 3");
  EXPECT_EQ(ended.reach, Reach::Answered);
  const auto killed = Send(Script("kill -9 $$"), {"id", "{}"}, seconds(20));
  EXPECT_EQ(killed.error, "the command was ended by signal 9");
}

TEST_F(SendingTest, ACommandThatTakesTooLongIsKilledWithItsChildren) {
  // Whoever still runs has the writing end of a pipe.
  const auto path = folder_.File("pipe");
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  const auto hook = Script("exec 9>'" + path + "'; echo begun >&9; (sleep 600; echo) & sleep 600");
  const int reading = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  ASSERT_GE(reading, 0);
  std::string said;
  // A busy machine may not even begin it in a short time.
  for (int limit = 200; said.empty() && limit <= 100'000; limit *= 2) {
    const auto begin = std::chrono::steady_clock::now();
    const auto answer = Send(hook, {"id", "{}"}, milliseconds(limit));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, seconds(400));
    EXPECT_EQ(answer.error, "the command took longer than " + std::to_string(limit) + " ms");
    EXPECT_EQ(answer.reach, Reach::Silent);
    char byte = 0;
    pollfd end{reading, POLLIN, 0};
    while (poll(&end, 1, 60'000) > 0 && read(reading, &byte, 1) > 0) said += byte;
    EXPECT_EQ(read(reading, &byte, 1), 0) << "what it started goes on";
  }
  EXPECT_EQ(said, "begun\n");
  close(reading);
}

TEST_F(SendingTest, ACommandThatIsGoneIsNotReached) {
  Hook hook;
  hook.command = folder_.File("gone");
  const auto answer = Send(hook, {"id", "{}"}, seconds(20));
  EXPECT_EQ(answer.error, hook.command + ": No such file or directory");
  EXPECT_EQ(answer.reach, Reach::Absent);
}

TEST_F(SendingTest, AnAddressWithoutLibcurlIsNotReached) {
  UsePoster(nullptr);
  Hook hook;
  hook.url = "https://example.org";
  const auto answer = Send(hook, {"id", "{}"}, seconds(20));
  EXPECT_EQ(answer.error, "this program was built without libcurl");
  EXPECT_EQ(answer.reach, Reach::Absent);
}

// Worked out by another program: printf '1700000000.{"a":1}' | openssl dgst -sha256 -hmac s3cret
TEST(Signature, IsOfTimeAndText) {
  EXPECT_EQ(SignatureOf("s3cret", 1'700'000'000, R"({"a":1})"),
            "t=1700000000,sha256="
            "1698a50bc74d1ff1db85c4e0a5297c2ad9fdba245d5737cdb789e4cc6e098940");
}

}  // namespace
}  // namespace orvspc::engine::hooks
