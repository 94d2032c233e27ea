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

namespace orvspc::host {

namespace {

// The format that a file's ending names; empty for any other ending.
std::string FormatOfEnding(const std::string& path) {
  const auto dot = path.rfind('.');
  std::string ending = dot == std::string::npos ? "" : path.substr(dot + 1);
  if (ending == "txt") return "text";
  if (ending == "htm") return "html";
  for (const char* known : {"json", "xml", "svg", "html"})
    if (ending == known) return ending;
  return {};
}

engine::ItemKind KindOf(NameKind kind) {
  switch (kind) {
    case NameKind::Part:
      return engine::ItemKind::Part;
    case NameKind::Process:
      return engine::ItemKind::Process;
    case NameKind::Test:
      return engine::ItemKind::Test;
    case NameKind::Workstation:
      return engine::ItemKind::Workstation;
    case NameKind::Job:
      return engine::ItemKind::Job;
    case NameKind::Lot:
      return engine::ItemKind::Lot;
    case NameKind::Shift:
      return engine::ItemKind::Shift;
    case NameKind::Revision:
      return engine::ItemKind::Revision;
    case NameKind::Employee:
      return engine::ItemKind::Employee;
  }
  return engine::ItemKind::Part;
}

EstimateRead Read(const Estimate& estimate) {
  return {estimate.value, estimate.name,       estimate.constant,
          estimate.used,  estimate.least_size, estimate.largest_size};
}

}  // namespace

std::vector<Option> OutputOptions() {
  return {{"format", "WORD", "how the result is written (default text, or what -o FILE ends in)"},
          {"output", "FILE", "where it goes, -o for short (default standard output)"}};
}

std::string OutputFormat(const Arguments& arguments, const std::vector<std::string>& formats) {
  const auto asked = arguments.Value("format");
  std::string format = asked ? *asked : FormatOfEnding(arguments.Value("output", std::string()));
  if (format.empty()) return "text";
  if (std::find(formats.begin(), formats.end(), format) == formats.end())
    throw Misuse("there is no format \"" + format + "\" here, only " + Joined(formats));
  return format;
}

void WriteFile(const std::string& path, const std::string& text) {
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
      found = known->emplace(key, engine::ItemName(*database, KindOf(kind), id)).first;
    return found->second;
  };
}

Names NoNames() {
  return [](NameKind, std::int32_t) { return std::string(); };
}

void CheckEngine(EmbeddedDatabase& database) {
  if (const auto failure = database.TakeFailure()) throw Refusal(failure->description);
}

std::vector<NoteRead> NotesRead() {
  std::vector<NoteRead> notes;
  for (auto& note : TakeNotes())
    notes.push_back({std::move(note.code), std::move(note.text), std::move(note.stream)});
  return notes;
}

std::vector<StreamRead> StreamsRead() {
  std::vector<StreamRead> streams;
  for (const auto& stream : LatestStreams())
    streams.push_back({stream.part, stream.process, stream.test, Read(stream.mean), Read(stream.sp),
                       Read(stream.sw), stream.average_size});
  return streams;
}

void PrintNotes(Console& console, const std::vector<NoteRead>& notes) {
  for (const auto& note : notes)
    console.err << "note: " << (note.stream.empty() ? "" : note.stream + ": ") << note.text << "\n";
}

}  // namespace orvspc::host
