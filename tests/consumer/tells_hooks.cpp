// SPDX-License-Identifier: Apache-2.0
// Reads a file with the address of a receiver, before and after webhooks were added.
#include <sys/stat.h>

#include <fstream>
#include <iostream>
#include <string>

#include "engine/QualityDatabase.h"
#include "engine/Webhooks.h"

namespace {

std::string RefusalOf(const std::string& file) {
  try {
    return std::to_string(orvspc::ReadHooks(file).size()) + " hook";
  } catch (const orvspc::Refused& refused) {
    return refused.Description();
  }
}

}  // namespace

int main(int count, char** words) {
  if (count < 2) return 2;
  const std::string file = std::string(words[1]) + "/hooks.conf";
  std::ofstream(file) << "[office]\nurl = https://plant.example/\n";
  chmod(file.c_str(), 0600);
  const auto before = RefusalOf(file);
  orvspc::AddWebhooks();
  const auto after = RefusalOf(file);
  std::cout << before << "\n" << after << "\n";
  return before.ends_with("built without libcurl") && after == "1 hook" ? 0 : 1;
}
