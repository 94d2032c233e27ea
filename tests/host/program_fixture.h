// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "tests/host/ProgramTest.h"

// What tests of the program's commands share.
namespace orvspc::host {

class Program : public ProgramTest {
 protected:
  // Ten single values around 10, the last one far out.
  void Import() {
    std::string csv = "part,process,test,subgroup,time,value\n";
    for (int i = 0; i < 20; ++i)
      csv += "Bolt,Lathe,Length," + std::to_string(i + 1) + ",2024-03-01T" + (i < 10 ? "0" : "") +
             std::to_string(i) + ":00:00," +
             (i == 19      ? "20"
              : i % 2 == 0 ? "9.5"
                           : "10.5") +
             "\n";
    Write("values.csv", csv);
    ASSERT_EQ(Run("import values.csv --db q.db").status, 0);
  }
};

}  // namespace orvspc::host
