// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/Embedded.h"
#include "engine/QualityDatabase.h"

// The plain classes of the objects of orvEngine that the embedded platform does not have in
// this form. What it has, such as RuleDef, a host gets as it is.
namespace orvspc::windows::engine {

// A quality database in one file.
//
// Without an open one every operation but Open and Create fails. Failures are the engine's, one
// line with file and reason.
class Database : public platform::Database {
 public:
  // Of imports; a host that never takes them must not run out of memory.
  static constexpr std::size_t kMaxNotes = 100'000;

  explicit Database(std::size_t max_notes = kMaxNotes) : max_notes_(max_notes) {}

  // An existing one. The one that was open before is closed, unless opening fails.
  void Open(std::string_view Path);
  // A new one; a file of that name must not be there.
  void Create(std::string_view Path);

  // Imports a CSV file of a kind such as "values" or "limits", as "orvspc import" names them.
  // Returns the number of rows stored.
  std::int32_t Import(std::string_view File, std::string_view Kind);

  // The identifier of an item, by its kind ("part", "process", "test", "job", ...) and name, which
  // is refused when there is none.
  std::int32_t Find(std::string_view Kind, std::string_view Name);

  std::int32_t ConnectionHandle() override;
  std::int32_t DatabaseValue(std::int32_t value) override;

  // Takes the failure that an analysis or a retrieval on this database kept, since it gave an empty
  // result instead; of several the first, which is the cause. False when there was none.
  bool TakeFailure();
  // Of the failure that the latest TakeFailure took; 0 and empty without one. They need no open
  // database.
  std::int32_t FailureNumber() const;
  std::string FailureText() const;

  // Takes what imports into this database, and the analyses of this thread on it, reported: a line
  // "code: sentence" for each note. Empty without any. Of more than max_notes of imports the oldest
  // half is left out, until so many are left, and a line "notes-cut" counts them.
  std::string TakeNotes();

  // Identifiers by name, as Find: of a group of items, of a group of descriptors, and of a
  // descriptor in a group.
  std::int32_t FindGroup(std::string_view Kind, std::string_view Name);
  std::int32_t FindDescriptorGroup(std::string_view Name);
  std::int32_t FindDescriptor(std::int32_t Group, std::string_view Name);

 private:
  QualityDatabase& Opened();
  void Use(QualityDatabase database);
  void ForgetNotes();

  std::size_t max_notes_;
  std::optional<QualityDatabase> database_;
  EmbeddedDatabase::Failure failure_;  // the one taken
  std::vector<Note> notes_;            // of imports
  std::size_t notes_left_out_ = 0;     // of those, the oldest
};

// The trimmer of the embedded platform for a text of automation.
class TextTrimmer : public platform::Object {
 public:
  void TrimFixedString(std::string& Text);
};

// The failure log of the process.
class Error : public platform::Object {
 public:
  void Log(std::string_view Procedure, std::int32_t Number, std::string_view Description,
           std::string_view Source, std::string_view Application);
};

}  // namespace orvspc::windows::engine
