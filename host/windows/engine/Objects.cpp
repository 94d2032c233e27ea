// SPDX-License-Identifier: Apache-2.0
#include "host/windows/engine/Objects.h"

#include <algorithm>
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

}  // namespace

void Database::Open(std::string_view Path) { database_ = QualityDatabase::Open(std::string(Path)); }

void Database::Create(std::string_view Path) {
  database_ = QualityDatabase::Create(std::string(Path));
}

std::int32_t Database::Import(std::string_view File, std::string_view Kind) {
  auto& database = Opened();
  std::vector<std::string_view> words;
  for (const auto& kind : ImportKinds()) words.emplace_back(kind.word);
  const auto kind = KindOf(ImportKindFromWord(Kind), "import", Kind, words);
  const std::int64_t rows = database.Import(std::string(File), kind).rows;
  return static_cast<std::int32_t>(std::min<std::int64_t>(rows, INT32_MAX));
}

std::int32_t Database::Find(std::string_view Kind, std::string_view Name) {
  auto& database = Opened();
  const auto kind = KindOf(ItemKindFromWord(Kind), "item", Kind, kItemKindWords);
  const auto found = database.Find(kind, Name);
  if (!found) Refuse("There is no " + std::string(WordOf(kind)) + " " + Quoted(Name));
  return *found;
}

std::int32_t Database::ConnectionHandle() { return Opened().Database()->ConnectionHandle(); }

std::int32_t Database::DatabaseValue(std::int32_t value) {
  return Opened().Database()->DatabaseValue(value);
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
