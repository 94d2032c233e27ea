// SPDX-License-Identifier: Apache-2.0
#include "host/windows/engine/Objects.h"

#include <algorithm>
#include <utility>

#include "platform/ExternalFailure.h"
#include "platform/FixedText.h"

namespace orvspc::windows::engine {
namespace {

constexpr std::int32_t kRefused = -2147221504;

[[noreturn]] void Refuse(std::string description) {
  throw platform::ExternalFailure(kRefused, "orvEngine", std::move(description));
}

std::string Quoted(std::string_view text) { return "\"" + std::string(text) + "\""; }

}  // namespace

void Database::Open(std::string_view Path) { database_ = QualityDatabase::Open(std::string(Path)); }

void Database::Create(std::string_view Path) {
  database_ = QualityDatabase::Create(std::string(Path));
}

std::int32_t Database::Import(std::string_view File, std::string_view Kind) {
  const auto kind = ImportKindFromWord(Kind);
  if (!kind) Refuse("There is no kind of import " + Quoted(Kind));
  const std::int64_t rows = Opened().Import(std::string(File), *kind).rows;
  return static_cast<std::int32_t>(std::min<std::int64_t>(rows, INT32_MAX));
}

std::int32_t Database::Find(std::string_view Kind, std::string_view Name) {
  const auto kind = ItemKindFromWord(Kind);
  if (!kind) Refuse("There is no kind of item " + Quoted(Kind));
  return Opened().Find(*kind, Name).value_or(0);
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
