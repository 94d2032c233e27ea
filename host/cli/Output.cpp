// SPDX-License-Identifier: Apache-2.0
#include "host/cli/Output.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <sstream>
#include <system_error>

#include "host/render/core/PlainText.h"
#include "system/system.h"

namespace orvspc::cli {

namespace {

// ": No such file or directory", the system's reason for what just failed.
std::string Reason() {
  return errno == 0 ? std::string() : ": " + std::generic_category().message(errno);
}

// The format that a file's ending names, in any case, or the ending itself; "text" without one.
std::string FormatOfEnding(const std::string& path) {
  std::string ending = system::TextOf(system::PathOf(path).extension());
  for (auto& c : ending)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  if (ending.size() < 2 || ending == ".txt") return "text";
  if (ending == ".htm") return "html";
  return ending.substr(1);
}

}  // namespace

std::string OutputFormat(const Arguments& arguments, const Formats& formats) {
  const auto asked = arguments.Value(kFormat);
  const std::string path = arguments.Value(kOutput).value_or("");
  std::string format = asked ? *asked : FormatOfEnding(path);
  if (std::find(formats.begin(), formats.end(), format) != formats.end()) return format;
  if (!asked && format != "xml" && format != "svg" && format != "html" && format != "json")
    throw Misuse("the ending of " + path + " names no format; --format takes " + Joined(formats));
  throw Misuse("there is no format \"" + format + "\" here, only " + Joined(formats));
}

render::TextOptions TextOptionsOf(const Arguments& arguments, const Console& console) {
  return {console.columns, console.out_is_terminal && !arguments.Has(kOutput)};
}

void CheckOutput(const Arguments& arguments) {
  const auto output = arguments.Value(kOutput);
  const auto database = arguments.Value(kDatabase);
  if (!output || !database) return;
  namespace fs = std::filesystem;
  for (const char* ending : {"", "-wal", "-shm", "-journal"}) {
    const fs::path file = system::PathOf(*output), part = system::PathOf(*database + ending);
    std::error_code error, unknown;
    // A file that is not there yet is known by its path alone.
    const bool same_path =
        fs::weakly_canonical(file, unknown) == fs::weakly_canonical(part, unknown) && !unknown;
    if (fs::equivalent(file, part, error) || same_path)
      throw Refusal(*output + ": belongs to the database and is not written over");
  }
}

void ShowProgress(Console& console, const std::string& text) {
  if (!console.err_is_terminal) return;
  // A line that the terminal breaks could be cleared in part alone.
  const auto room = console.columns > 0 ? console.columns - 1 : 0;
  console.err << "\r\x1b[K" << render::Shortened(render::PlainText(text), room) << std::flush;
  console.has_progress = !text.empty();
}

void WriteFile(const std::string& path, std::string_view text) {
  std::ofstream file(system::PathOf(path), std::ios::binary | std::ios::trunc);
  file << text;
  file.close();
  if (!file) throw Refusal(path + ": cannot be written" + Reason());
}

void CheckReadable(const std::string& path) {
  // Not by opening it: what is read from a pipe is gone.
  const auto state = system::StateOf(path);
  if (state && state->kind == system::FileKind::Folder) throw Refusal(path + ": is a folder");
  if (!system::MayRead(path)) throw Refusal(path + ": cannot be read" + Reason());
}

std::string ReadFile(const std::string& path) {
  CheckReadable(path);
  std::ifstream file(system::PathOf(path), std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  if (file.bad()) throw Refusal(path + ": cannot be read");
  return text.str();
}

void Deliver(const Arguments& arguments, Console& console, const std::string& text) {
  if (const auto path = arguments.Value(kOutput)) return WriteFile(*path, text);
  console.out << text << std::flush;
  if (!console.out) throw Refusal("standard output cannot be written");
}

}  // namespace orvspc::cli
