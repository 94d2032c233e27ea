// SPDX-License-Identifier: Apache-2.0
#include "host/windows/engine/Objects.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <optional>
#include <utility>
#include <vector>

#include "platform/ExternalFailure.h"
#include "platform/FixedText.h"

namespace orvspc::windows::engine {
namespace {

constexpr std::int32_t kRefused = -2147221504;

[[noreturn]] void Refuse(std::string description) {
  throw platform::ExternalFailure(kRefused, "orvEngine", std::move(description));
}

std::string Quoted(std::string_view text) { return "\"" + std::string(text) + "\""; }

// The kind that a word names; otherwise refused with the words that there are.
template <class Kind, class Words>
Kind KindOf(std::optional<Kind> kind, std::string_view what, std::string_view word,
            const Words& words) {
  if (kind) return *kind;
  std::string refusal = "There is no kind of " + std::string(what) + " " + Quoted(word);
  const char* separator = "; there are ";
  for (const auto& each : words) refusal.append(std::exchange(separator, ", ")).append(each);
  Refuse(std::move(refusal));
}

ItemKind ItemKindOf(std::string_view word) {
  return KindOf(ItemKindFromWord(word), "item", word, kItemKindWords);
}

std::int32_t Found(std::optional<std::int32_t> id, std::string_view what, std::string_view name) {
  if (!id) Refuse("There is no " + std::string(what) + " " + Quoted(name));
  return *id;
}

}  // namespace

void Database::Open(std::string_view Path) { Use(QualityDatabase::Open(std::string(Path))); }

void Database::Create(std::string_view Path) { Use(QualityDatabase::Create(std::string(Path))); }

std::int32_t Database::Import(std::string_view File, std::string_view Kind) {
  auto& database = Opened();
  std::vector<std::string_view> words;
  for (const auto& kind : ImportKinds()) words.emplace_back(kind.word);
  const auto kind = KindOf(ImportKindFromWord(Kind), "import", Kind, words);
  ImportReport report = database.Import(std::string(File), kind);
  std::ranges::move(report.notes, std::back_inserter(notes_));
  while (notes_.size() > max_notes_) {
    const auto oldest = std::max(notes_.size() / 2, std::size_t{1});
    notes_.erase(notes_.begin(), notes_.begin() + static_cast<std::ptrdiff_t>(oldest));
    notes_left_out_ += oldest;
  }
  return static_cast<std::int32_t>(std::min<std::int64_t>(report.rows, INT32_MAX));
}

std::int32_t Database::Find(std::string_view Kind, std::string_view Name) {
  auto& database = Opened();
  const auto kind = ItemKindOf(Kind);
  return Found(database.Find(kind, Name), WordOf(kind), Name);
}

std::int32_t Database::ConnectionHandle() { return Opened().Database()->ConnectionHandle(); }

std::int32_t Database::DatabaseValue(std::int32_t value) {
  return Opened().Database()->DatabaseValue(value);
}

bool Database::TakeFailure() {
  const auto taken = Opened().Database()->TakeFailure();
  failure_ = taken.value_or(EmbeddedDatabase::Failure());
  return taken.has_value();
}

std::int32_t Database::FailureNumber() const { return failure_.number; }

std::string Database::FailureText() const { return failure_.description; }

std::string Database::TakeNotes() {
  std::vector<Note> notes = Opened().Database()->TakeReport().notes;
  notes.insert(notes.begin(), notes_.begin(), notes_.end());
  std::string lines;
  if (notes_left_out_ != 0)
    lines = "notes-cut: " + std::to_string(notes_left_out_) +
            " notes that came before are left out.\r\n";
  ForgetNotes();
  for (const auto& note : notes) lines += note.code + ": " + note.Sentence() + "\r\n";
  return lines;
}

std::int32_t Database::FindGroup(std::string_view Kind, std::string_view Name) {
  auto& database = Opened();
  const auto kind = ItemKindOf(Kind);
  return Found(database.FindGroup(kind, Name), "group of the kind " + std::string(WordOf(kind)),
               Name);
}

std::int32_t Database::FindDescriptorGroup(std::string_view Name) {
  return Found(Opened().FindDescriptorGroup(Name), "group of descriptors", Name);
}

std::int32_t Database::FindDescriptor(std::int32_t Group, std::string_view Name) {
  return Found(Opened().FindDescriptor(Group, Name),
               "descriptor of the group " + std::to_string(Group), Name);
}

void Database::Use(QualityDatabase database) {
  database_ = std::move(database);
  failure_ = {};
  ForgetNotes();
}

void Database::ForgetNotes() {
  notes_.clear();
  notes_left_out_ = 0;
}

QualityDatabase& Database::Opened() {
  if (!database_) Refuse("No database is open: call Open or Create first");
  return *database_;
}

void TextTrimmer::TrimFixedString(std::string& Text) {
  std::u16string units = platform::ToUtf16(Text);
  EmbeddedPlatform()->MakeTextTrimmer()->TrimFixedString(units);
  Text = platform::ToUtf8(units);
}

void Error::Log(std::string_view Procedure, std::int32_t Number, std::string_view Description,
                std::string_view Source, std::string_view Application) {
  EmbeddedPlatform()
      ->MakeErrorLog("orvError6.Error")
      ->Log(std::string(Procedure), Number, std::string(Description), std::string(Source),
            std::string(Application));
}

}  // namespace orvspc::windows::engine
