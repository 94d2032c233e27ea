// SPDX-License-Identifier: Apache-2.0
#include "engine/hooks/HookFile.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "engine/hooks/Sending.h"
#include "platform/Actor.h"
#include "system/system.h"
#include "tests/host/TemporaryFolder.h"

namespace orvspc::engine::hooks {
namespace {

class HookFileTest : public testing::Test {
 protected:
  HookFileTest() {
    UsePoster([](const Hook&, const Message&, std::chrono::milliseconds) { return Answer{}; });
  }
  ~HookFileTest() override { UsePoster(nullptr); }

  std::string Made(const std::string& name, const std::string& text, int rights = 0600) {
    const auto path = folder_.File(name);
    std::ofstream(path, std::ios::binary) << text;
    std::filesystem::permissions(path, static_cast<std::filesystem::perms>(rights));
    return path;
  }
  std::vector<Hook> Read(const std::string& text) { return ReadHookFile(Made("hooks.conf", text)); }
  // What is said of the text, without the folder.
  std::string RefusalOf(const std::string& text) {
    try {
      Read(text);
    } catch (const Refused& refused) {
      EXPECT_EQ(refused.code, "hooks");
      auto said = refused.Description();
      for (auto at = said.find(folder_.Path() + "/"); at != said.npos;
           at = said.find(folder_.Path() + "/")) {
        said.erase(at, folder_.Path().size() + 1);
      }
      return said;
    }
    return "was not refused";
  }
  std::string Tell() { return Made("tell", "#!/bin/sh\n", 0700); }

  host::TemporaryFolder folder_;
};

TEST_F(HookFileTest, SectionsBecomeHooks) {
  const auto tell = Tell();
  const auto secret = Made("secret", "s3cret\n");
  const auto ca = Made("ca.pem", "-");
  const auto hooks = Read(
      "# who is told\r\n\n[maintenance]\non = alarm opened, alarm closed\n"
      "part = Ring\npart = Shaft = 2\nprocess=P\ntest =T\n  command = " +
      tell + "\nargument = --to\nargument = Ann and Bob\n; the office\n[office]\n" +
      "on = log head\nurl = https://example.org/x?a=b\nsecret-file = " + secret +
      "\nca-file = " + ca);
  ASSERT_EQ(hooks.size(), 2U);
  EXPECT_EQ(hooks[0].name, "maintenance");
  EXPECT_EQ(hooks[0].on, (std::vector<std::string>{"alarm opened", "alarm closed"}));
  EXPECT_EQ(hooks[0].parts, (std::vector<std::string>{"Ring", "Shaft = 2"}));
  EXPECT_EQ(hooks[0].processes, std::vector<std::string>{"P"});
  EXPECT_EQ(hooks[0].tests, std::vector<std::string>{"T"});
  EXPECT_EQ(hooks[0].command, tell);
  EXPECT_EQ(hooks[0].arguments, (std::vector<std::string>{"--to", "Ann and Bob"}));
  EXPECT_EQ(hooks[1].url, "https://example.org/x?a=b");
  EXPECT_EQ(hooks[1].secret, "s3cret");
  EXPECT_EQ(hooks[1].ca_file, ca);
  EXPECT_TRUE(Read("").empty());
}

TEST_F(HookFileTest, AProgramThatIsNotThere) {
  EXPECT_EQ(RefusalOf("[maintenance]\non = alarm opened\n\ncommand = /usr/local/bin/no-such\n"),
            "hooks.conf line 4: there is no program /usr/local/bin/no-such");
}
TEST_F(HookFileTest, AProgramThatMayNotBeRun) {
  const auto path = Made("plain", "", 0600);
  EXPECT_EQ(RefusalOf("[a]\ncommand = " + path),
            "hooks.conf line 2: plain may not be run; chmod +x helps");
}
TEST_F(HookFileTest, AProgramWithoutItsFolder) {
  EXPECT_EQ(RefusalOf("[a]\ncommand = tell"),
            "hooks.conf line 2: command takes a whole path, such as /usr/local/bin/tell, not "
            "\"tell\"");
}
TEST_F(HookFileTest, AFolderAsAProgram) {
  EXPECT_EQ(RefusalOf("[a]\ncommand = /usr"), "hooks.conf line 2: there is no program /usr");
}
TEST_F(HookFileTest, ALineThatIsNeither) {
  EXPECT_EQ(RefusalOf("[a]\nring the bell"),
            "hooks.conf line 2: \"ring the bell\" is neither [NAME] nor KEY = VALUE");
}
TEST_F(HookFileTest, AKeyBeforeTheFirstName) {
  EXPECT_EQ(RefusalOf("part = Ring"), "hooks.conf line 1: part comes before the first [NAME]");
}
TEST_F(HookFileTest, AnUnknownKey) {
  EXPECT_EQ(RefusalOf("[a]\nPart = Ring"),
            "hooks.conf line 2: there is no key \"Part\", only on, part, process, test, command, "
            "argument, url, secret-file, ca-file");
}
TEST_F(HookFileTest, AKeyWithoutAValue) {
  EXPECT_EQ(RefusalOf("[a]\npart ="), "hooks.conf line 2: part has no value");
}
TEST_F(HookFileTest, AKeyThatIsGivenTwice) {
  EXPECT_EQ(RefusalOf("[a]\nurl = http://x\nurl = http://y"),
            "hooks.conf line 3: url is given twice");
}
TEST_F(HookFileTest, AnUnknownOccasion) {
  EXPECT_EQ(RefusalOf("[a]\non = alarm opened, alarm rung"),
            "hooks.conf line 2: on takes alarm, alarm opened, alarm acknowledged, alarm closed, "
            "alarm reopened, alarm withdrawn, samples missed, samples withdrawn, log head, not "
            "\"alarm rung\"");
}
TEST_F(HookFileTest, ANameThatIsNone) {
  EXPECT_EQ(RefusalOf("[a"), "hooks.conf line 1: \"[a\" is no [NAME]");
  EXPECT_EQ(RefusalOf("[]"), "hooks.conf line 1: \"[]\" is no [NAME]");
  EXPECT_EQ(RefusalOf("["), "hooks.conf line 1: \"[\" is no [NAME]");
  EXPECT_EQ(RefusalOf("[a]b]"), "hooks.conf line 1: \"[a]b]\" is no [NAME]");
  EXPECT_EQ(RefusalOf("[" + std::string(65, 'a') + "]"),
            "hooks.conf line 1: a hook's name has at most 64 bytes");
}
TEST_F(HookFileTest, ANameThatIsTaken) {
  EXPECT_EQ(RefusalOf("[a]\nurl = http://x\n[b]\nurl = http://x\n[a]\n"),
            "hooks.conf line 5: there is a hook \"a\" already");
}
TEST_F(HookFileTest, AHookWithoutAWay) {
  EXPECT_EQ(RefusalOf("\n[a]\npart = Ring\n[b]\nurl = http://x\n"),
            "hooks.conf line 2: hook \"a\" has neither command nor url");
}
TEST_F(HookFileTest, AHookWithTwoWays) {
  EXPECT_EQ(RefusalOf("[a]\nurl = http://x\ncommand = " + Tell()),
            "hooks.conf line 1: hook \"a\" has both command and url");
}
TEST_F(HookFileTest, KeysOfTheOtherWay) {
  const auto file = Made("secret", "x");
  EXPECT_EQ(RefusalOf("[a]\nurl = http://x\nargument = y"),
            "hooks.conf line 1: hook \"a\" has argument without command");
  for (const std::string key : {"secret-file", "ca-file"}) {
    EXPECT_EQ(RefusalOf("[a]\ncommand = " + Tell() + "\n" + key + " = " + file),
              "hooks.conf line 1: hook \"a\" has " + key + " without url");
  }
}
TEST_F(HookFileTest, AnAddressThatIsNone) {
  for (const std::string url : {"example.org", "ftp://example.org", "https://", "https:///x",
                                "http://a b", "file:///etc/passwd", "://x"}) {
    EXPECT_EQ(RefusalOf("[a]\nurl = " + url),
              "hooks.conf line 2: url takes https://... or http://..., not \"" + url + "\"");
  }
}
TEST_F(HookFileTest, AnAddressWithoutLibcurl) {
  UsePoster(nullptr);
  EXPECT_EQ(RefusalOf("[a]\nurl = https://example.org"),
            "hooks.conf line 2: this program was built without libcurl");
}
TEST_F(HookFileTest, ASecretThatIsNotThere) {
  EXPECT_EQ(RefusalOf("[a]\nurl = http://x\nsecret-file = /no/such"),
            "hooks.conf line 3: /no/such cannot be read");
  EXPECT_EQ(RefusalOf("[a]\nurl = http://x\nca-file = /no/such"),
            "hooks.conf line 3: /no/such cannot be read");
}
TEST_F(HookFileTest, ASecretThatEverybodyMayRead) {
  const auto file = Made("secret", "x", 0644);
  EXPECT_EQ(RefusalOf("[a]\nurl = http://x\nsecret-file = " + file),
            "hooks.conf line 3: secret may be read by everybody; chmod o-r helps");
}
TEST_F(HookFileTest, AnEmptyOrHugeSecret) {
  EXPECT_EQ(RefusalOf("[a]\nurl = http://x\nsecret-file = " + Made("secret", "\n")),
            "hooks.conf line 3: secret is empty");
  EXPECT_EQ(
      RefusalOf("[a]\nurl = http://x\nsecret-file = " + Made("secret", std::string(4097, 'x'))),
      "hooks.conf line 3: secret has more than 4096 bytes");
}
TEST_F(HookFileTest, AControlCharacter) {
  EXPECT_EQ(RefusalOf("[a]\npart = Ri\x01ng"), "hooks.conf line 2: has a control character");
}
TEST_F(HookFileTest, AFileThatOthersMayWriteTo) {
  for (const int rights : {0620, 0602, 0666}) {
    const auto path = Made("hooks.conf", "", rights);
    try {
      ReadHookFile(path);
      ADD_FAILURE() << std::oct << rights;
    } catch (const Refused& refused) {
      EXPECT_EQ(refused.Description(),
                path + ": others may write to it, and it says what is run; chmod go-w, or chown");
    }
  }
  EXPECT_TRUE(ReadHookFile(Made("hooks.conf", "", 0644)).empty());
}
TEST_F(HookFileTest, AFileOfSomebodyElse) {
  EXPECT_FALSE(system::OthersMayWrite("/etc/passwd")) << "that of the administrator";
  // Which only the administrator can give away.
  const auto path = Made("hooks.conf", "");
  const bool is_given = chown(path.c_str(), 65534, 65534) == 0;
  EXPECT_EQ(is_given, geteuid() == 0);
  EXPECT_EQ(system::OthersMayWrite(path), is_given);
  if (is_given) {
    EXPECT_THROW(ReadHookFile(path), Refused);
  }
}
TEST_F(HookFileTest, AFileThatIsNotThere) {
  EXPECT_THROW(ReadHookFile(folder_.File("none.conf")), Refused);
  EXPECT_THROW(ReadHookFile(folder_.Path()), Refused);
}

TEST(HookWants, WhatItIsToldOf) {
  Hook hook;
  const Subject opened{"alarm opened", "Ring", "P", "T"}, closed{"alarm closed", "Ring", "P", "T"};
  const Subject head{"log head", "", "", ""};
  EXPECT_TRUE(Wants(hook, opened)) << "every alarm where nothing is said";
  EXPECT_FALSE(Wants(hook, head));
  EXPECT_FALSE(Wants(hook, {})) << "what is no message";
  hook.on = {"alarm opened"};
  EXPECT_TRUE(Wants(hook, opened));
  EXPECT_FALSE(Wants(hook, closed));
  hook.on = {"alarm", "log head"};
  EXPECT_TRUE(Wants(hook, closed));
  EXPECT_TRUE(Wants(hook, head));
  hook.parts = {"Shaft"};
  EXPECT_FALSE(Wants(hook, opened));
  EXPECT_TRUE(Wants(hook, head));
  hook.parts = {"Shaft", "Ring"};
  EXPECT_TRUE(Wants(hook, opened));
  hook.processes = {"Q"};
  EXPECT_FALSE(Wants(hook, opened));
  hook.processes = {"P"};
  hook.tests = {"U"};
  EXPECT_FALSE(Wants(hook, opened));
}

TEST(HookWants, SamplesOfItsPartsProcessesAndTests) {
  Hook hook;
  hook.on = {"samples missed", "samples withdrawn", "log head"};
  for (const std::string what : {"samples missed", "samples withdrawn"}) {
    const Subject samples{what, "Ring", "P", "T"}, of_any_part{what, "", "P", "T"};
    hook.parts = {"Shaft"};
    hook.processes = hook.tests = {};
    EXPECT_FALSE(Wants(hook, samples)) << what;
    EXPECT_TRUE(Wants(hook, of_any_part)) << "a requirement without a part is of any";
    EXPECT_TRUE(Wants(hook, {"log head", "", "", ""})) << "the log is of no stream";
    hook.parts = {"Ring"};
    EXPECT_TRUE(Wants(hook, samples)) << what;
    hook.processes = {"Q"};
    EXPECT_FALSE(Wants(hook, samples)) << what;
    EXPECT_FALSE(Wants(hook, of_any_part)) << what;
    hook.processes = {"P"};
    hook.tests = {"U"};
    EXPECT_FALSE(Wants(hook, samples)) << what;
    EXPECT_FALSE(Wants(hook, of_any_part)) << what;
  }
}

}  // namespace
}  // namespace orvspc::engine::hooks
