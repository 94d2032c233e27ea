// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "host/cli/Command.h"
#include "host/render/core/Text.h"

// Where results go, and in which format.
namespace orvspc::cli {

inline constexpr Option kFormat{"format", "WORD", "how the result is written",
                                "text, or what -o FILE ends in"};
inline constexpr Option kOutput{"output", "FILE", "where it goes, -o for short", "standard output"};
inline constexpr Option kOutputOptions[] = {kFormat, kOutput};
inline constexpr Option kAllowEmpty{"allow-empty", nullptr, "a page also of nothing selected"};
inline constexpr Option kPageOptions[] = {kFormat, kOutput, kAllowEmpty};

using Formats = std::vector<std::string>;
inline const Formats kDrawn{"text", "json", "svg", "html"};
inline const Formats kDrawnAndStored{"text", "json", "xml", "svg", "html"};
inline const Formats kStored{"text", "json", "xml"};

// The format asked for, else the one that the file's ending names, else text. Misuse, which lists
// the formats there are, for any other.
std::string OutputFormat(const Arguments& arguments, const Formats& formats);

// How wide a text is, and whether in colour: not in a file.
render::TextOptions TextOptionsOf(const Arguments& arguments, const Console& console);

// Refusal when --output is the database of --db or one of the files beside it.
void CheckOutput(const Arguments& arguments);

// To --output, or to the console without one.
void Deliver(const Arguments& arguments, Console& console, const std::string& text);

// On a terminal, a line on standard error that the next one is written over. None for an empty
// text.
void ShowProgress(Console& console, const std::string& text);

// The line goes when this does, so that whatever comes next begins a line.
struct ClearedLine {
  Console& console;
  ~ClearedLine() {
    if (console.has_progress) ShowProgress(console, "");
  }
};

// Refusal when the file cannot be written.
void WriteFile(const std::string& path, std::string_view text);
// Refusal when the file cannot be read.
void CheckReadable(const std::string& path);
std::string ReadFile(const std::string& path);

}  // namespace orvspc::cli
