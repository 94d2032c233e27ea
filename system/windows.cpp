// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>
#include <windows.h>
// Behind windows.h, which it needs.
#include <shellapi.h>

#include <bit>
#include <cerrno>

#include "system/system.h"

namespace orvspc::system {
namespace {

// What access() of this system is asked for.
constexpr int kExists = 0, kMayWrite = 2, kMayRead = 4;

std::wstring Wide(std::string_view utf8) {
  const int size = static_cast<int>(utf8.size());
  std::wstring wide(
      static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, nullptr, 0)),
      L'\0');
  MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, wide.data(), static_cast<int>(wide.size()));
  return wide;
}

std::string Narrow(std::wstring_view wide) {
  const int size = static_cast<int>(wide.size());
  std::string utf8(static_cast<std::size_t>(WideCharToMultiByte(CP_UTF8, 0, wide.data(), size,
                                                                nullptr, 0, nullptr, nullptr)),
                   '\0');
  WideCharToMultiByte(CP_UTF8, 0, wide.data(), size, utf8.data(), static_cast<int>(utf8.size()),
                      nullptr, nullptr);
  return utf8;
}

bool Access(const std::string& path, int mode) { return _waccess(Wide(path).c_str(), mode) == 0; }

// "NUL", "COM1" and so on name a device in every folder.
bool IsDevice(const std::wstring& path) {
  wchar_t whole[MAX_PATH];
  const DWORD size = GetFullPathNameW(path.c_str(), MAX_PATH, whole, nullptr);
  return size < MAX_PATH && std::wstring_view(whole, size).substr(0, 4) == L"\\\\.\\";
}

// The system finds nothing by a name with a separator behind it, but for the root of a drive.
// Returns whether there was one.
bool TakeLastSeparators(std::wstring& path) {
  const std::size_t before = path.size();
  const auto is_separator = [](wchar_t c) { return c == L'\\' || c == L'/'; };
  while (path.size() > 1 && is_separator(path.back()) && path[path.size() - 2] != L':')
    path.pop_back();
  return path.size() != before;
}

// The reason of a system call by the name that the C library has for it.
int ReasonOf(DWORD error) {
  switch (error) {
    case ERROR_ALREADY_EXISTS:
    case ERROR_FILE_EXISTS:
      return EEXIST;
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
      return ENOENT;
    case ERROR_ACCESS_DENIED:
    case ERROR_SHARING_VIOLATION:
      return EACCES;
    case ERROR_DISK_FULL:
      return ENOSPC;
    default:
      return EIO;
  }
}

HANDLE HandleOf(Stream stream) {
  return GetStdHandle(stream == Stream::Out ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
}

}  // namespace

std::filesystem::path PathOf(std::string_view utf8) { return Wide(utf8); }
std::string TextOf(const std::filesystem::path& path) { return Narrow(path.native()); }

std::optional<FileState> StateOf(const std::string& path) {
  std::wstring name = Wide(path);
  if (IsDevice(name)) return FileState{FileKind::Other, 0};
  const bool names_folder = TakeLastSeparators(name);
  struct _stat64 state {};
  if (_wstat64(name.c_str(), &state) != 0) return std::nullopt;
  if (names_folder && (state.st_mode & S_IFMT) != S_IFDIR) {
    errno = ENOTDIR;
    return std::nullopt;
  }
  const auto kind = (state.st_mode & S_IFMT) == S_IFDIR   ? FileKind::Folder
                    : (state.st_mode & S_IFMT) == S_IFREG ? FileKind::Plain
                                                          : FileKind::Other;
  return FileState{kind, state.st_size};
}

bool IsThere(const std::string& path) { return Access(path, kExists); }
bool MayRead(const std::string& path) { return Access(path, kMayRead); }
bool MayWrite(const std::string& path) { return Access(path, kMayWrite); }

bool MayRun(const std::string& path) { return MayRead(path); }
bool OthersMayWrite(const std::string& /*path*/) { return false; }
bool OthersMayRead(const std::string& /*path*/) { return false; }

std::FILE* OpenToRead(const std::string& path) { return _wfopen(Wide(path).c_str(), L"rb"); }

bool MakeFile(const std::string& path) {
  const int file =
      _wopen(Wide(path).c_str(), _O_WRONLY | _O_CREAT | _O_EXCL | _O_BINARY | _O_NOINHERIT,
             _S_IREAD | _S_IWRITE);
  if (file < 0) return false;
  _close(file);
  return true;
}

// The folder says who may read its files.
bool MakeFileLike(const std::string& path, const std::string& like) {
  return Access(like, kExists) && MakeFile(path);
}

bool RenameToFree(const std::string& from, const std::string& to) {
  if (MoveFileExW(Wide(from).c_str(), Wide(to).c_str(), MOVEFILE_WRITE_THROUGH) != 0) return true;
  errno = ReasonOf(GetLastError());
  return false;
}

bool Flush(const std::string& path) {
  const int file = _wopen(Wide(path).c_str(), _O_RDWR | _O_BINARY | _O_NOINHERIT);
  if (file < 0) return false;
  const bool flushed = _commit(file) == 0;
  const int reason = errno;
  _close(file);
  errno = reason;
  return flushed;
}

// RenameToFree has waited for the device already.
Folder::Folder(const std::string&) {}
Folder::~Folder() = default;
bool Folder::Flush() const { return true; }

// Large pages are a privilege here that programs rarely have.
ProgramEnd RunProgram(const std::string& /*program*/, const std::vector<std::string>& /*arguments*/,
                      std::string_view /*input*/, std::chrono::milliseconds /*at_most*/) {
  return {ProgramEnd::How::NotStarted, ENOSYS};
}

void PreferLargePages(const void*, std::size_t) {}

std::string UserName() {
  std::wstring name(256, L'\0');
  auto length = static_cast<DWORD>(name.size());
  if (GetUserNameW(name.data(), &length) == 0) return "?";
  name.resize(length - 1);
  return Narrow(name);
}

std::string HostName() {
  std::wstring name(256, L'\0');
  auto length = static_cast<DWORD>(name.size());
  if (GetComputerNameW(name.data(), &length) == 0) return "?";
  name.resize(length);
  return Narrow(name);
}

int UsableProcessors() {
  DWORD_PTR usable = 0, all = 0;
  if (GetProcessAffinityMask(GetCurrentProcess(), &usable, &all) == 0) return 1;
  return std::popcount(usable);
}

// The words of main are in a code page that lacks most letters.
std::vector<std::string> CommandLine(int, char**) {
  int count = 0;
  LPWSTR* const words = CommandLineToArgvW(GetCommandLineW(), &count);
  std::vector<std::string> result;
  for (int i = 1; words != nullptr && i < count; ++i) result.push_back(Narrow(words[i]));
  LocalFree(words);
  return result;
}

std::filesystem::path ProgramFile() {
  std::wstring name(32768, L'\0');  // no path is longer
  name.resize(GetModuleFileNameW(nullptr, name.data(), static_cast<DWORD>(name.size())));
  return name;
}

std::string ShellWord(const std::string& text) {
  static constexpr std::string_view kPlain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_.\\/-+:=@,";
  if (!text.empty() && text.find_first_not_of(kPlain) == std::string::npos) return text;
  // A backslash means itself except before a quote.
  std::string quoted = "\"";
  std::size_t backslashes = 0;
  for (const char c : text) {
    if (c == '"') quoted.append(backslashes + 1, '\\');
    backslashes = c == '\\' ? backslashes + 1 : 0;
    quoted += c;
  }
  return quoted.append(backslashes, '\\') + "\"";
}

char ShellContinuation() { return '^'; }

void PrepareConsole() {
  _setmode(_fileno(stdout), _O_BINARY);
  _setmode(_fileno(stderr), _O_BINARY);
  SetConsoleOutputCP(CP_UTF8);
}

bool IsTerminal(Stream stream) {
  constexpr DWORD kEscapeSequences = 4;  // ENABLE_VIRTUAL_TERMINAL_PROCESSING
  DWORD mode = 0;
  return GetConsoleMode(HandleOf(stream), &mode) != 0 &&
         SetConsoleMode(HandleOf(stream), mode | kEscapeSequences) != 0;
}

int TerminalColumns() {
  CONSOLE_SCREEN_BUFFER_INFO info{};
  if (GetConsoleScreenBufferInfo(HandleOf(Stream::Out), &info) == 0) return 0;
  return info.srWindow.Right - info.srWindow.Left + 1;
}

}  // namespace orvspc::system
