// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "tests/host/ProgramTest.h"

// "orvspc study" as a user runs it.
namespace orvspc::host {

class StudyTest : public ProgramTest {
 protected:
  static std::string Sample(const std::string& name) {
    return "'" ORVSPC_TESTS_DIR "/../host/samples/studies/" + name + "'";
  }
  nlohmann::json Json(const std::string& arguments) {
    const auto run = Run("study " + arguments + " --format json");
    EXPECT_EQ(run.status, 0) << arguments << ": " << run.err;
    return run.status == 0 ? nlohmann::json::parse(run.out) : nlohmann::json();
  }
  void Refused(const std::string& arguments, int status, const std::string& text) {
    const auto run = Run("study " + arguments);
    EXPECT_EQ(run.status, status) << arguments;
    EXPECT_EQ(run.err, "orvspc study: " + text + "\n");
    EXPECT_EQ(run.out, "");
  }
};

}  // namespace orvspc::host
