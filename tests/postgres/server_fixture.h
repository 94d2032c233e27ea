// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdlib>

#include "tests/engine/store/store_fixture.h"

// Tests on a server that they may stop, start and kill.
namespace orvspc::engine::store {

inline std::string Environment(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

// With the commands of tests/postgres/cluster.sh.
inline void Control(const char* name) {
  const auto command = Environment(name);
  ASSERT_NE(command, "") << "run by tests/postgres/run.sh";
  ASSERT_EQ(std::system(("( " + command + " ) >/dev/null 2>&1").c_str()), 0) << name;
}

inline void Psql(const std::string& sql, const std::string& database = "quality") {
  const auto line = "psql -q -v ON_ERROR_STOP=1 -h '" + Environment("ORVSPC_TEST_SERVER") +
                    "' -U postgres -d " + database + " -c \"" + sql + "\" >/dev/null 2>&1";
  ASSERT_EQ(std::system(line.c_str()), 0) << sql;
}

class ServerTest : public StoreTest {
 protected:
  static void SetUpTestSuite() { ASSERT_TRUE(tests::OnServer()) << "run by tests/postgres/run.sh"; }
  static std::string AddressOf(const std::string& user, const std::string& database,
                               const std::string& more = {}) {
    return "postgresql://" + user + "@/" + database + "?host=" + Environment("ORVSPC_TEST_SERVER") +
           more;
  }
  // As another role, in the schema of this test.
  std::string As(const std::string& role) const {
    auto address = Path();
    return address.replace(address.find("postgres@"), 9, role + "@");
  }
  std::string Schema() const {
    const auto path = Path();
    return path.substr(path.rfind("%3D") + 3);
  }

  static std::string OpeningFailure(const std::string& address, bool create = false) {
    return Checked(FailureOf([&] { OpenDatabase(address, create); }));
  }
  // One line without a password, or nothing.
  static std::string Checked(std::string failure) {
    EXPECT_EQ(failure.find('\n'), failure.npos) << failure;
    EXPECT_EQ(failure.find("hush"), failure.npos) << failure;
    return failure;
  }
  // What is said after the address.
  static std::string Reason(const std::string& failure) {
    const auto at = failure.rfind(": ");
    return at == failure.npos ? failure : failure.substr(at + 2);
  }

  std::string Values(int from, int count) const {
    std::string text = "part,process,test,subgroup,time,value\n";
    for (int i = from; i < from + count; ++i) {
      char time[40];
      std::snprintf(time, sizeof time, "2024-01-%02dT%02d:%02d:%02d", 1 + i / 86400, i / 3600 % 24,
                    i / 60 % 60, i % 60);
      text += "A,P,T," + std::to_string(i) + "," + time + "," + std::to_string(i % 7) + "\n";
    }
    return text;
  }
  std::size_t Stored() {
    FlatSelection all;
    return Select(all.info, all.Filter()).subgroups.size();
  }
};

}  // namespace orvspc::engine::store
