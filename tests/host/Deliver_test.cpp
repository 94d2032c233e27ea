// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "engine/hooks/Sending.h"
#include "tests/host/deliver.h"

namespace orvspc::host {
namespace {

using Json = nlohmann::json;
using Reply = Receiver::Reply;
using Way = Receiver::Way;

#ifdef ORVSPC_WEBHOOKS

TEST_F(DeliverTest, AWebhookGetsTheMessageItsIdAndASignature) {
  Receiver receiver;
  receiver.Start();
  Write("secret", "s3cret\n");
  std::filesystem::permissions(folder_.File("secret"), static_cast<std::filesystem::perms>(0600));
  Hooks("[web]\nurl = " + receiver.Url() + "\nsecret-file = " + folder_.File("secret") + "\n");
  Raise(1);
  const auto done = Deliver();
  EXPECT_EQ(done.status, 0) << done.err;
  EXPECT_EQ(done.out, "web: 1 delivered\n");
  const auto taken = receiver.Taken();
  ASSERT_EQ(taken.size(), 1U);
  EXPECT_EQ(taken[0].line, "POST /hook HTTP/1.1");
  EXPECT_EQ(taken[0].headers.at("content-type"), "application/json");
  EXPECT_EQ(receiver.Ids(), Expected());
  const auto message = Json::parse(taken[0].body);
  EXPECT_EQ(message["id"], taken[0].headers.at("orvspc-id"));
  EXPECT_EQ(message["what"], "opened");
  EXPECT_EQ(message["part"], "Ring");
  const auto signature = taken[0].headers.at("orvspc-signature");
  const auto time = std::stoll(signature.substr(2));
  EXPECT_LE(std::abs(time - CurrentTime()), 60);
  EXPECT_EQ(signature, engine::hooks::SignatureOf("s3cret", time, taken[0].body));
}

TEST_F(DeliverTest, AReceiverThatIsDownAtFirstAndDropsDelaysAndDoublesGetsEveryId) {
  Receiver receiver;
  Hooks("[web]\nurl = " + receiver.Url() + "\n");
  Raise(8);
  const auto refused = Deliver();
  EXPECT_EQ(refused.status, 1);
  EXPECT_EQ(refused.out, "");
  EXPECT_EQ(refused.err, "orvspc deliver: web: 8 waiting, last error: connection refused\n");
  receiver.Start([](int count, const Posted&) {
    Reply reply;
    if (count % 5 == 0) reply.way = Way::Drop;
    if (count % 5 == 1) reply.delay = std::chrono::milliseconds(300);
    if (count % 5 == 2) reply.way = Way::TakeAndDrop;
    if (count % 5 == 3) reply.status = 503;
    return reply;
  });
  Outcome done;
  int calls = 0;
  for (; calls < 60; ++calls) {
    LetTimePass();
    if (done = Deliver(); done.status == 0) break;
    EXPECT_NE(done.err.find(" waiting, last error: "), std::string::npos) << done.err;
  }
  EXPECT_EQ(done.status, 0) << done.err;
  EXPECT_GT(calls, 1) << "it was too good";
  EXPECT_EQ(receiver.Ids(), Expected());
  EXPECT_EQ(Expected().size(), 8U);
  EXPECT_GT(receiver.Taken().size(), 8U) << "what was doubled has its id twice";
  EXPECT_EQ(Deliver().out, "") << "nobody is told twice for nothing";
}

TEST_F(DeliverTest, ARedirectIsNotFollowed) {
  Receiver receiver, other;
  other.Start();
  receiver.Start([&](int, const Posted&) {
    return Reply{Way::Take, 307, {}, "Location: " + other.Url() + "\r\n"};
  });
  Hooks("[web]\nurl = " + receiver.Url() + "\n");
  Raise(1);
  EXPECT_EQ(Deliver().err,
            "orvspc deliver: web: 1 waiting, last error: the receiver answered 307, and redirects "
            "are not followed\n");
  EXPECT_TRUE(other.Taken().empty());
}

TEST_F(DeliverTest, AReceiverThatSaysNothingKeepsTheWriterForTwoSeconds) {
  Receiver receiver;
  receiver.Start([](int, const Posted&) { return Reply{Way::Drop, 0, std::chrono::minutes(10)}; });
  Hooks("[web]\nurl = " + receiver.Url() + "\n");
  const auto begin = std::chrono::steady_clock::now();
  const auto recorded = Record("--hooks hooks.conf --exit-code");
  const auto taken = std::chrono::steady_clock::now() - begin;
  EXPECT_EQ(recorded.status, 3) << "that of the record";
  EXPECT_NE(recorded.err.find("note: deliver: web: 1 waiting, last error: no answer within "),
            std::string::npos)
      << recorded.err;
  EXPECT_GE(taken, std::chrono::milliseconds(1500));
  EXPECT_LT(taken, std::chrono::minutes(2)) << "however busy the machine is";
}

TEST_F(DeliverTest, ACertificateThatNobodyVouchesForIsRefused) {
  const auto made = std::system(("cd '" + folder_.Path() +
                                 "' && openssl req -x509 -newkey rsa:2048 -nodes -keyout key.pem "
                                 "-out cert.pem -days 2 -subj /CN=localhost "
                                 "-addext subjectAltName=DNS:localhost >/dev/null 2>&1")
                                    .c_str());
  ASSERT_EQ(made, 0);
  Write("server.py",
        "import http.server, ssl, sys\n"
        "class H(http.server.BaseHTTPRequestHandler):\n"
        "  def do_POST(self):\n"
        "    self.rfile.read(int(self.headers['Content-Length']))\n"
        "    self.send_response(204); self.end_headers()\n"
        "  def log_message(self, *a): pass\n"
        "s = http.server.HTTPServer(('127.0.0.1', 0), H)\n"
        "c = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER); c.load_cert_chain('cert.pem', 'key.pem')\n"
        "s.socket = c.wrap_socket(s.socket, server_side=True)\n"
        "open('port.new', 'w').write(str(s.server_port))\n"
        "import os; os.rename('port.new', 'port')\n"
        "s.timeout = 60\n"
        "for i in range(20): s.handle_request()\n");
  const auto server = fork();
  if (server == 0) {
    if (chdir(folder_.Path().c_str()) != 0) _exit(1);
    execlp("python3", "python3", "server.py", nullptr);
    _exit(127);
  }
  for (int i = 0; i < 4000 && !Exists("port"); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  const auto port = Text(folder_.File("port"));
  EXPECT_NE(port, "");
  const auto hook = [&](const std::string& host, const std::string& more) {
    Hooks("[web]\nurl = https://" + host + ":" + port + "/\n" + more);
    LetTimePass();
    return Deliver();
  };
  const auto ca = "ca-file = " + folder_.File("cert.pem") + "\n";
  Raise(1);
  const auto unknown = hook("localhost", "");
  EXPECT_EQ(unknown.status, 1);
  EXPECT_NE(unknown.err.find("certificate"), std::string::npos) << unknown.err;
  const auto other = hook("127.0.0.1", ca);
  EXPECT_EQ(other.status, 1) << "the certificate is of another name";
  const auto known = hook("localhost", ca);
  EXPECT_EQ(known.status, 0) << known.err;
  EXPECT_EQ(known.out, "web: 1 delivered\n");
  kill(server, SIGKILL);
  waitpid(server, nullptr, 0);
}

TEST_F(DeliverTest, KilledTenTimesNothingIsLost) { KillAtRandom(10, 1); }

#else

TEST_F(DeliverTest, WithoutLibcurlAnAddressIsRefused) {
  Hooks("[web]\nurl = https://example.org\n");
  EXPECT_EQ(Deliver().err,
            "orvspc deliver: hooks.conf line 2: this program was built without libcurl\n");
}

#endif

TEST_F(DeliverTest, WritersTellHooksThemselves) {
  Hooks("[tell]\ncommand = " + Script("tell", "cat >>'" + folder_.File("told") + "'") + "\n");
  const auto told = [&] {
    std::istringstream lines(Text(folder_.File("told")));
    std::vector<std::string> all;
    for (std::string line; std::getline(lines, line);) {
      const auto message = Json::parse(line);
      all.push_back(message["what"].get<std::string>() + " " + message["alarm"].dump());
    }
    return all;
  };
  using Told = std::vector<std::string>;
  const auto recorded = Record("--hooks hooks.conf");
  EXPECT_EQ(recorded.status, 0);
  EXPECT_EQ(recorded.err, "");
  EXPECT_EQ(told(), Told{"opened 1"});
  EXPECT_EQ(Run("alarm ack 1 --db q.db --hooks hooks.conf").status, 0);
  EXPECT_EQ(told().back(), "acknowledged 1");
  EXPECT_EQ(Run("edit value '#2' --test Width --to 10 --reason 'typed wrongly' --db q.db --dry-run "
                "--hooks hooks.conf")
                .status,
            0);
  EXPECT_EQ(told().size(), 2U);
  const auto edited = Run(
      "edit value '#2' --test Width --to 10 --reason 'typed wrongly' --db q.db --hooks hooks.conf");
  EXPECT_EQ(edited.status, 0) << edited.err;
  EXPECT_EQ(told().back(), "withdrawn 1");
  Write("n.csv", "part,process,test,subgroup,time,value\nRing,Press,Width,n," +
                     platform::IsoText(start_ + 50) + ",14\n");
  EXPECT_EQ(Run("import n.csv --db q.db --hooks hooks.conf").status, 0);
  EXPECT_EQ(told().back(), "opened 3") << "the correction is an event, too";
  Write("r.jsonl", R"({"part":"Ring","process":"Press","test":"Width","time":")" +
                       platform::IsoText(start_ + 60) + R"(Z","pieces":[{"value":14}]})" + "\n");
  EXPECT_EQ(Run("record --db q.db --jsonl r.jsonl --hooks hooks.conf").status, 0);
  EXPECT_EQ(told(), (Told{"opened 1", "acknowledged 1", "withdrawn 1", "opened 3", "opened 4"}));
  EXPECT_EQ(Deliver().out, "") << "nothing is left";
}

TEST_F(DeliverTest, OverdueSamplesAndStepsOfLimitsAreToldAtOnce) {
  Hooks("[tell]\non = alarm, samples missed, samples withdrawn\ncommand = " +
        Script("tell", "cat >>'" + folder_.File("told") + "'") + "\n");
  const auto told = [&] {
    std::istringstream lines(Text(folder_.File("told")));
    std::vector<std::string> all;
    for (std::string line; std::getline(lines, line);) {
      all.push_back(Json::parse(line)["what"].get<std::string>());
    }
    return all;
  };
  using Told = std::vector<std::string>;
  Write("q.csv",
        "part,process,test,kind,n,minutes,from,to,name\n"
        "Ring,Press,Width,interval,1,30,2024-01-01T00:00:00Z,2024-01-01T01:00:00Z,Half\n");
  ASSERT_EQ(Run("import --db q.db q.csv --kind requirements").status, 0);
  EXPECT_EQ(Run("check-samples --db q.db --dry-run --hooks hooks.conf").status, 0);
  EXPECT_EQ(told(), Told{});
  const auto found = Run("check-samples --db q.db --hooks hooks.conf");
  EXPECT_EQ(found.status, 0) << found.err;
  EXPECT_EQ(told(), Told{"samples missed"});
  Write("late.csv",
        "part,process,test,subgroup,time,value\nRing,Press,Width,9,2024-01-01T00:40:00Z,10\n");
  ASSERT_EQ(Run("import --db q.db late.csv --hooks hooks.conf").status, 0);
  EXPECT_EQ(Run("check-samples --db q.db --hooks hooks.conf").status, 0);
  EXPECT_EQ(told(), (Told{"samples missed", "samples withdrawn"}));
  EXPECT_EQ(Record("--hooks hooks.conf").status, 0);
  EXPECT_EQ(told().back(), "opened");
  const auto voided = Run("limits void 1 --reason 'of another tool' --db q.db --hooks hooks.conf");
  EXPECT_EQ(voided.status, 0) << voided.err;
  EXPECT_EQ(told().back(), "withdrawn");
  const auto listed = Run("alarm list --db q.db");
  EXPECT_NE(listed.out.find("withdrawn by entry "), std::string::npos) << listed.out;
  EXPECT_EQ(Deliver().out, "") << "nothing is left";
}

TEST_F(DeliverTest, WhatIsWrongWithHooksIsNoFailureOfARecord) {
  Hooks("[maintenance]\non = alarm opened\n\ncommand = /usr/local/bin/no-such\n");
  const auto recorded = Record("--hooks hooks.conf");
  EXPECT_EQ(recorded.status, 0);
  EXPECT_EQ(recorded.err,
            "note: deliver: hooks.conf line 4: there is no program /usr/local/bin/no-such; nobody "
            "was told\n");
  const auto script = Script("tell", "exit 3");
  Hooks("[maintenance]\ncommand = " + script + "\n");
  const auto failed = Record("--hooks hooks.conf");
  EXPECT_EQ(failed.status, 0);
  EXPECT_EQ(failed.err,
            "note: deliver: maintenance: 2 waiting, last error: the command ended with status 3; "
            "\"orvspc deliver\" tries again\n");
}

TEST_F(DeliverTest, WithoutHooksOrWithWrongOnesNothingIsDelivered) {
  const auto none = Run("deliver --db q.db");
  EXPECT_EQ(none.status, 1);
  EXPECT_EQ(none.err,
            "orvspc deliver: there are no hooks; write /etc/orvspc/hooks.conf, or name a file "
            "(--hooks)\n");
  Hooks("[a]\nring the bell\n");
  const auto wrong = Deliver();
  EXPECT_EQ(wrong.status, 1);
  EXPECT_EQ(wrong.err,
            "orvspc deliver: hooks.conf line 2: \"ring the bell\" is neither [NAME] nor KEY = "
            "VALUE\n");
  std::filesystem::permissions(folder_.File("hooks.conf"),
                               static_cast<std::filesystem::perms>(0666));
  EXPECT_EQ(Deliver().err,
            "orvspc deliver: hooks.conf: others may write to it, and it says what is run; chmod "
            "go-w, or chown\n");
}

TEST_F(DeliverTest, TheFilesOfTheUserAndOfTheVariable) {
  std::filesystem::create_directories(folder_.File("config/orvspc"));
  Hooks("[own]\ncommand = /bin/true\n");
  std::filesystem::rename(folder_.File("hooks.conf"), folder_.File("config/orvspc/hooks.conf"));
  Raise(1);
  const auto run = [&](const std::string& variables) {
    return std::system(("cd '" + folder_.Path() + "' && " + variables + " '" + ProgramPath() +
                        "' deliver --db '" + Database() + "' >out 2>err")
                           .c_str());
  };
  const auto file = folder_.File("config/orvspc/hooks.conf");
  EXPECT_EQ(run("env -u ORVSPC_HOOKS XDG_CONFIG_HOME='" + folder_.File("config") + "'"), 0);
  EXPECT_EQ(Text(folder_.File("out")), "own: 1 delivered\n");
  EXPECT_NE(run("ORVSPC_HOOKS= XDG_CONFIG_HOME='" + folder_.File("config") + "'"), 0);
  Raise(1);
  EXPECT_EQ(run("ORVSPC_HOOKS='" + file + "'"), 0);
  EXPECT_EQ(Text(folder_.File("out")), "own: 1 delivered\n");
}

TEST_F(DeliverTest, WhatIsGivenUpIsToldByTheListOfAlarms) {
  Hooks("[tell]\ncommand = " + Script("tell", "test -e ok") + "\n");
  Raise(1);
  EXPECT_EQ(Deliver().status, 1);
  tests::ChangeRows(Database(), "UPDATE delivery SET tries = 76, next = 0");
  const auto given_up = Deliver();
  EXPECT_EQ(given_up.status, 1);
  EXPECT_EQ(given_up.err,
            "orvspc deliver: tell: 1 given up, last error: the command ended with status 1\n");
  EXPECT_NE(Run("alarm list --db q.db").out.find(", 1 message given up\n"), std::string::npos);
  EXPECT_EQ(Deliver().status, 0) << "it was told of";
  Write("ok", "");
  EXPECT_EQ(Deliver("--again").out, "tell: 1 delivered\n");
  EXPECT_EQ(Run("alarm list --db q.db").out.find("given up"), std::string::npos);
}

TEST_F(DeliverTest, WhoFollowsTellsWhatComes) {
  Hooks("[tell]\ncommand = " + Script("tell", "cat >>'" + folder_.File("told") + "'") + "\n");
  const auto child =
      Start({"deliver", "--db", Database(), "--hooks", folder_.File("hooks.conf"), "--follow"});
  ASSERT_GT(child, 0);
  Raise(1);
  for (int i = 0; i < 4000 && Text(folder_.File("told")).empty(); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  EXPECT_NE(Text(folder_.File("told")), "");
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, WNOHANG), 0) << "it goes on";
  kill(child, SIGTERM);
  waitpid(child, &status, 0);
}

}  // namespace
}  // namespace orvspc::host
