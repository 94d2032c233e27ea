// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What every operating system has and the standard library does not, and where systems differ: one
// source file for each of them.
//   - Texts, paths and words of the command line are UTF-8.
//   - A function that fails leaves the reason in errno.
namespace orvspc::system {

// A path as the standard library takes it, and back.
std::filesystem::path PathOf(std::string_view utf8);
std::string TextOf(const std::filesystem::path& path);

// Files.

enum class FileKind { Plain, Folder, Other };
struct FileState {
  FileKind kind;
  std::int64_t size;
};
// Of the file that a link leads to.
std::optional<FileState> StateOf(const std::string& path);

bool IsThere(const std::string& path);
bool MayRead(const std::string& path);
// Of a folder: whether files may be made in it, as far as the system can tell.
bool MayWrite(const std::string& path);

// Whether the file may be run as a program.
bool MayRun(const std::string& path);
// Whether anybody but the user and the administrator may write to a file, or owns it; and whether
// anybody outside its group may read it. Never where the rights of a file are no bits of it.
bool OthersMayWrite(const std::string& path);
bool OthersMayRead(const std::string& path);

// Null when it fails.
std::FILE* OpenToRead(const std::string& path);

// An empty file that others may read. False, with EEXIST, when there is something of that name.
bool MakeFile(const std::string& path);
// The same with the owner and the rights of another file, as far as the system lets: nobody may
// read it who may not read that one.
bool MakeFileLike(const std::string& path, const std::string& like);

// Gives the file another name in the same folder unless that is taken, which is EEXIST.
bool RenameToFree(const std::string& from, const std::string& to);

// Waits until the device has the file.
bool Flush(const std::string& path);

// A folder whose entries can be flushed to the device. One that may not be read has nothing to
// flush, nor has any on a system that keeps its entries safe itself.
class Folder {
 public:
  explicit Folder(const std::string& path);
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  ~Folder();
  bool IsUsable() const { return is_usable_; }
  bool Flush() const;

 private:
  int file_ = -1;
  bool is_usable_ = true;
};

// Other programs.

inline constexpr bool kRunsPrograms =
#ifdef _WIN32
    false;
#else
    true;
#endif

struct ProgramEnd {
  enum class How { Ended, Stopped, TooLate, NotStarted } how;
  int number = 0;  // its exit status, the signal, 0, or the reason as in errno
};
// Runs a program, without a shell, with a text as its standard input; what it writes goes nowhere.
// After so long it is killed, with all that it started in its group of processes.
ProgramEnd RunProgram(const std::string& program, const std::vector<std::string>& arguments,
                      std::string_view input, std::chrono::milliseconds at_most);

// Memory.

// Asks for large pages below memory that is about to be filled whole. A million subgroups would
// otherwise be a hundred thousand page faults, half the time of their chart. Blocks that hold no
// whole large page are left alone, and so is every system without such a call.
void PreferLargePages(const void* data, std::size_t bytes);

// Who and where, for the log.

// The login of the user who runs the program, and the name of the computer; "?" where the system
// does not say.
std::string UserName();
std::string HostName();

// Processors.

// How many this process may use.
int UsableProcessors();

// The program.

// Behind the program's name.
std::vector<std::string> CommandLine(int argc, char** argv);
// The file of the running program; empty where the system does not know.
std::filesystem::path ProgramFile();
// The word as the usual shell takes it, in quotes where it needs them.
std::string ShellWord(const std::string& text);
// What stands at the end of a line, outside quotes, when the usual shell is to read on in the next.
char ShellContinuation();

// The console.

// Output and errors are written as they are: UTF-8, lines that end with a line feed alone.
void PrepareConsole();
enum class Stream { Out, Error };
// Whether the stream is a terminal that understands escape sequences.
bool IsTerminal(Stream stream);
// How wide the terminal of the output is; 0 when that is none.
int TerminalColumns();

}  // namespace orvspc::system
