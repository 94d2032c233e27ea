// SPDX-License-Identifier: Apache-2.0
#include "host/cli/Command.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <ostream>
#include <sstream>

#include "engine/store/Catalogue.h"
#include "host/render/core/PlainText.h"

namespace orvspc::host {

namespace {

// The format that a file's ending names, in any case, or the ending itself; "text" without one.
std::string FormatOfEnding(const std::string& path) {
  std::string ending = std::filesystem::path(path).extension().string();
  for (auto& c : ending)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  if (ending.size() < 2 || ending == ".txt") return "text";
  if (ending == ".htm") return "html";
  return ending.substr(1);
}

engine::catalogue::ItemKind KindOf(NameKind kind) {
  switch (kind) {
    case NameKind::Part:
      return engine::catalogue::ItemKind::Part;
    case NameKind::Process:
      return engine::catalogue::ItemKind::Process;
    case NameKind::Test:
      return engine::catalogue::ItemKind::Test;
    case NameKind::Workstation:
      return engine::catalogue::ItemKind::Workstation;
    case NameKind::Job:
      return engine::catalogue::ItemKind::Job;
    case NameKind::Lot:
      return engine::catalogue::ItemKind::Lot;
    case NameKind::Shift:
      return engine::catalogue::ItemKind::Shift;
    case NameKind::Revision:
      return engine::catalogue::ItemKind::Revision;
    case NameKind::Employee:
      return engine::catalogue::ItemKind::Employee;
    case NameKind::AccCode:
      return engine::catalogue::ItemKind::AccCode;
    case NameKind::CacCode:
      return engine::catalogue::ItemKind::CacCode;
  }
  return engine::catalogue::ItemKind::Part;
}

}  // namespace

std::vector<Option> OutputOptions() {
  return {{"format", "WORD", "how the result is written (default text, or what -o FILE ends in)"},
          {"output", "FILE", "where it goes, -o for short (default standard output)"}};
}

std::string OutputFormat(const Arguments& arguments, const std::vector<std::string>& formats) {
  const auto asked = arguments.Value("format");
  const std::string path = arguments.Value("output", std::string());
  std::string format = asked ? *asked : FormatOfEnding(path);
  if (std::find(formats.begin(), formats.end(), format) != formats.end()) return format;
  if (!asked && format != "xml" && format != "svg" && format != "html" && format != "json")
    throw Misuse("the ending of " + path + " names no format; --format takes " + Joined(formats));
  throw Misuse("there is no format \"" + format + "\" here, only " + Joined(formats));
}

void CheckOutput(const Arguments& arguments) {
  const auto output = arguments.Value("output");
  const auto database = arguments.Value("db");
  if (!output || !database) return;
  namespace fs = std::filesystem;
  for (const char* ending : {"", "-wal", "-shm", "-journal"}) {
    const fs::path part = *database + ending;
    std::error_code error, unknown;
    // A file that is not there yet is known by its path alone.
    const bool same_path =
        fs::weakly_canonical(*output, unknown) == fs::weakly_canonical(part, unknown) && !unknown;
    if (fs::equivalent(*output, part, error) || same_path)
      throw Refusal(*output + ": belongs to the database and is not written over");
  }
}

void WriteFile(const std::string& path, std::string_view text) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << text;
  file.close();
  if (!file) throw Refusal(path + ": cannot be written");
}

void ReadableFile(const std::string& path) {
  // Not by opening it: what is read from a pipe is gone.
  std::error_code error;
  if (std::filesystem::is_directory(path, error) || access(path.c_str(), R_OK) != 0) {
    throw Refusal(path + ": cannot be read");
  }
}

std::string ReadFile(const std::string& path) {
  ReadableFile(path);
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  if (file.bad()) throw Refusal(path + ": cannot be read");
  return text.str();
}

void Deliver(const Arguments& arguments, Console& console, const std::string& text) {
  if (const auto path = arguments.Value("output")) return WriteFile(*path, text);
  console.out << text << std::flush;
  if (!console.out) throw Refusal("standard output cannot be written");
}

std::shared_ptr<EmbeddedDatabase> OpenQualityDatabase(const Arguments& arguments) {
  return OpenDatabase(arguments.Required("db"));
}

Names NamesOf(const std::shared_ptr<EmbeddedDatabase>& database) {
  auto known = std::make_shared<std::map<std::pair<NameKind, std::int32_t>, std::string>>();
  return [database, known](NameKind kind, std::int32_t id) {
    if (id == 0) return std::string();
    const auto key = std::make_pair(kind, id);
    auto found = known->find(key);
    if (found == known->end())
      found = known->emplace(key, engine::store::ItemName(*database, KindOf(kind), id)).first;
    return found->second;
  };
}

Names NoNames() {
  return [](NameKind, std::int32_t) { return std::string(); };
}

void CheckEngine(EmbeddedDatabase& database) {
  if (const auto failure = database.TakeFailure()) throw Refusal(failure->description);
}

void PrintNotes(Console& console, const std::vector<Note>& notes) {
  for (const auto& note : notes) console.err << PlainText("note: " + note.Sentence()) << "\n";
}

}  // namespace orvspc::host
