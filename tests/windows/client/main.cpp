// SPDX-License-Identifier: Apache-2.0
// Walks over every class and member of the component, or of the plain classes behind it, and prints
// what they give. Runs in a folder with sample.db, flour.csv and flour-limits.csv; new.db is made
// there.
//
//   walk OUTPUT   exit status 0 when the walk came to its end
#include <cstdio>
#include <exception>
#include <fstream>
#include <stdexcept>

#include "tests/windows/client/Session.h"
#include "tests/windows/client/Walk.h"

namespace orvspc::windows::tests {

namespace {

void Run(std::ostream& out) {
  Walk walk(out);
  const auto database = Create("Database");
  Call(database, "Open", {std::string("sample.db")});
  WalkSettings(walk);
  WalkDescriptors(walk);
  WalkData(walk, database);
  WalkCharts(walk, database);
  WalkCapability(walk, database);
  WalkPareto(walk, database);
  WalkStates(walk, database);
  WalkCompliance(walk, database);
  WalkEngine(walk, database);
  WalkFailures(walk, database);
  walk.Section("classes that hosts cannot create");
  for (const char* type : {"TestData", "DescriptorData", "CommentData", "CCGraph", "CCGraphData",
                           "CAStatistics", "CABins", "CACurve", "PABins"})
    try {
      Create(type);
      walk.Note(type, true);
    } catch (const Failed& failed) {
      walk.Note(type, failed.number);
    }
  walk.Section("never called");
  for (const auto& name : NeverCalled()) out << name << "\n";
  out << "\n[end]\n";
}

}  // namespace

}  // namespace orvspc::windows::tests

int main(int count, char** arguments) {
  using namespace orvspc::windows::tests;
  if (count != 2) return 2;
  std::ofstream out(arguments[1], std::ios::binary);
  try {
    const Session session;
    Run(out);
    if (const auto left = session.Left(); !left.empty()) throw std::runtime_error(left);
  } catch (const Failed& failed) {
    std::fprintf(stderr, "failed %d | %s | %s\n", static_cast<int>(failed.number),
                 failed.source.c_str(), failed.description.c_str());
    return 1;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
    return 1;
  }
  return out.flush() ? 0 : 1;
}
