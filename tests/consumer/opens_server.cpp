// SPDX-License-Identifier: Apache-2.0
// Opens a database on a server that is not there: the reason shows that libpq was asked.
#include <iostream>
#include <string>

#include "engine/Embedded.h"
#include "engine/PostgreSQL.h"
#include "platform/ExternalFailure.h"

int main() {
  orvspc::AddPostgreSQL();
  try {
    orvspc::OpenDatabase("postgresql:///quality?host=/nowhere");
  } catch (const orvspc::platform::ExternalFailure& failure) {
    const std::string& reason = failure.Description();
    std::cout << reason << "\n";
    return reason.find("there is no connection to its server") == std::string::npos ? 1 : 0;
  }
  return 1;
}
