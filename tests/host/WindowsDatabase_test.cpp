// SPDX-License-Identifier: Apache-2.0
// The database object of the component for Windows, which is plain C++ beneath its adapter.
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <utility>

#include "host/windows/engine/Objects.h"
#include "tests/host/StoreFolder.h"

namespace orvspc::windows::engine {
namespace {

class WindowsDatabase : public testing::Test {
 protected:
  // Four limits, each with a target outside of them, which is a note.
  void ImportFourNotes(Database& database, const std::string& part) {
    std::string csv = "part,test,usl,target,lsl\n";
    for (int test = 1; test <= 4; ++test) csv += part + ",T" + std::to_string(test) + ",3,4,1\n";
    const auto file = folder_.File("limits.csv");
    std::ofstream(file) << csv;
    EXPECT_EQ(database.Import(file, "limits"), 4);
  }
  // Those of them from a line of the file on, which begins with line 2.
  std::string NotesFrom(int first) {
    std::string notes;
    for (int line = first; line <= 5; ++line) {
      notes += "target-outside: " + folder_.File("limits.csv") + ": line " + std::to_string(line) +
               ", column \"target\", value \"4\": lies outside the specification limits\r\n";
    }
    return notes;
  }

  host::StoreFolder folder_;
};

TEST_F(WindowsDatabase, LeavesOutTheOldestHalfOfMoreNotesThanItHolds) {
  constexpr std::size_t kMax = 9;
  Database database(kMax);
  database.Create(folder_.Store("q.db"));
  ImportFourNotes(database, "A");
  ImportFourNotes(database, "B");
  EXPECT_EQ(database.TakeNotes(), NotesFrom(2) + NotesFrom(2)) << "eight fit";
  EXPECT_EQ(database.TakeNotes(), "");

  const std::string cut = " notes that came before are left out.\r\n";
  for (const char* part : {"C", "D", "E"}) ImportFourNotes(database, part);
  EXPECT_EQ(database.TakeNotes(), "notes-cut: 6" + cut + NotesFrom(4) + NotesFrom(2)) << "of 12";
  for (const char* part : {"F", "G", "H", "I"}) ImportFourNotes(database, part);
  EXPECT_EQ(database.TakeNotes(), "notes-cut: 11" + cut + NotesFrom(5) + NotesFrom(2))
      << "of 12, then of 10";
  EXPECT_EQ(database.TakeNotes(), "") << "the count is taken, too";
}

// However many a single import brings.
TEST_F(WindowsDatabase, NeverHoldsMoreNotesThanItsBound) {
  const std::string cut = " notes that came before are left out.\r\n";
  const std::pair<std::size_t, std::string> kRows[] = {{1, "notes-cut: 3" + cut + NotesFrom(5)},
                                                       {0, "notes-cut: 4" + cut}};
  for (const auto& [max, notes] : kRows) {
    Database database(max);
    database.Create(folder_.Store("q" + std::to_string(max) + ".db"));
    ImportFourNotes(database, "A");
    EXPECT_EQ(database.TakeNotes(), notes) << max;
  }
}

TEST_F(WindowsDatabase, ForgetsTheNotesOfTheFormerDatabase) {
  Database database(4);
  database.Create(folder_.Store("q.db"));
  ImportFourNotes(database, "A");
  ImportFourNotes(database, "B");
  database.Create(folder_.Store("other.db"));
  EXPECT_EQ(database.TakeNotes(), "");
}

TEST_F(WindowsDatabase, HoldsAHundredThousandNotesUnlessTold) {
  EXPECT_EQ(Database::kMaxNotes, 100'000U);
}

}  // namespace
}  // namespace orvspc::windows::engine
