// SPDX-License-Identifier: Apache-2.0
#include "engine/hooks/Sending.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

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
  EXPECT_TRUE(ended.is_reached);
  const auto killed = Send(Script("kill -9 $$"), {"id", "{}"}, seconds(20));
  EXPECT_EQ(killed.error, "the command was ended by signal 9");
}

TEST_F(SendingTest, ACommandThatTakesTooLongIsKilledWithItsChildren) {
  const auto hook = Script("(sleep 2; echo late >'" + folder_.File("late") + "') & sleep 60");
  const auto begin = std::chrono::steady_clock::now();
  const auto answer = Send(hook, {"id", "{}"}, milliseconds(200));
  EXPECT_LT(std::chrono::steady_clock::now() - begin, seconds(30));
  EXPECT_EQ(answer.error, "the command took longer than 200 ms");
  EXPECT_FALSE(answer.is_reached);
  std::this_thread::sleep_for(milliseconds(2500));
  EXPECT_EQ(Text("late"), "") << "what it started went on";
}

TEST_F(SendingTest, ACommandThatIsGoneIsNotReached) {
  Hook hook;
  hook.command = folder_.File("gone");
  const auto answer = Send(hook, {"id", "{}"}, seconds(20));
  EXPECT_EQ(answer.error, hook.command + ": No such file or directory");
  EXPECT_FALSE(answer.is_reached);
}

TEST_F(SendingTest, AnAddressWithoutLibcurlIsNotReached) {
  UsePoster(nullptr);
  Hook hook;
  hook.url = "https://example.org";
  const auto answer = Send(hook, {"id", "{}"}, seconds(20));
  EXPECT_EQ(answer.error, "this program was built without libcurl");
  EXPECT_FALSE(answer.is_reached);
}

// Worked out by another program: printf '1700000000.{"a":1}' | openssl dgst -sha256 -hmac s3cret
TEST(Signature, IsOfTimeAndText) {
  EXPECT_EQ(SignatureOf("s3cret", 1'700'000'000, R"({"a":1})"),
            "t=1700000000,sha256="
            "1698a50bc74d1ff1db85c4e0a5297c2ad9fdba245d5737cdb789e4cc6e098940");
}

}  // namespace
}  // namespace orvspc::engine::hooks
