// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <pwd.h>
#include <sched.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <memory>
#include <thread>

#include "system/system.h"

namespace orvspc::system {

std::filesystem::path PathOf(std::string_view utf8) { return utf8; }
std::string TextOf(const std::filesystem::path& path) { return path.string(); }

std::optional<FileState> StateOf(const std::string& path) {
  struct stat state {};
  if (stat(path.c_str(), &state) != 0) return std::nullopt;
  const auto kind = S_ISDIR(state.st_mode)   ? FileKind::Folder
                    : S_ISREG(state.st_mode) ? FileKind::Plain
                                             : FileKind::Other;
  return FileState{kind, state.st_size};
}

bool IsThere(const std::string& path) { return access(path.c_str(), F_OK) == 0; }
bool MayRead(const std::string& path) { return access(path.c_str(), R_OK) == 0; }
bool MayWrite(const std::string& path) { return access(path.c_str(), W_OK) == 0; }

bool MayRun(const std::string& path) { return access(path.c_str(), X_OK) == 0; }

bool OthersMayWrite(const std::string& path) {
  struct stat state {};
  constexpr mode_t kGroupOrOthers = 022;
  if (stat(path.c_str(), &state) != 0) return false;
  return (state.st_uid != 0 && state.st_uid != geteuid()) || (state.st_mode & kGroupOrOthers) != 0;
}

bool OthersMayRead(const std::string& path) {
  struct stat state {};
  return stat(path.c_str(), &state) == 0 && (state.st_mode & S_IROTH) != 0;
}

std::FILE* OpenToRead(const std::string& path) { return std::fopen(path.c_str(), "rb"); }

bool MakeFile(const std::string& path) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
  if (file < 0) return false;
  close(file);
  return true;
}

bool MakeFileLike(const std::string& path, const std::string& like) {
  struct stat state {};
  if (stat(like.c_str(), &state) != 0) return false;
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (file < 0) return false;
  constexpr mode_t kOwner = 0600, kGroup = 070, kRights = 0777, kSame = static_cast<uid_t>(-1);
  auto rights = (state.st_mode & kRights) | kOwner;
  const bool has_group =
      fchown(file, state.st_uid, state.st_gid) == 0 || fchown(file, kSame, state.st_gid) == 0;
  // The rights of a group are not those of another one. Where they cannot be set, none are.
  if (!has_group) rights &= ~kGroup;
  [[maybe_unused]] const bool is_like = fchmod(file, rights) == 0;
  close(file);
  return true;
}

// File systems without links rename.
bool RenameToFree(const std::string& from, const std::string& to) {
  if (link(from.c_str(), to.c_str()) == 0) {
    unlink(from.c_str());
    return true;
  }
  if (errno == EEXIST) return false;
  return renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0;
}

bool Flush(const std::string& path) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return false;
  const bool flushed = fsync(file) == 0;
  const int reason = errno;
  close(file);
  errno = reason;
  return flushed;
}

Folder::Folder(const std::string& path)
    : file_(open(path.c_str(), O_RDONLY | O_CLOEXEC)), is_usable_(file_ >= 0 || errno == EACCES) {}

Folder::~Folder() {
  if (file_ >= 0) close(file_);
}

// Some file systems cannot flush a folder.
bool Folder::Flush() const { return file_ < 0 || fsync(file_) == 0 || errno == EINVAL; }

namespace {

// A file in memory that holds the text and is read from its beginning; negative when that fails.
int OpenText(std::string_view text) {
  const int file = memfd_create("input", MFD_CLOEXEC);
  while (file >= 0 && !text.empty()) {
    const auto written = write(file, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) {
      close(file);
      return -1;
    }
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  if (file >= 0) lseek(file, 0, SEEK_SET);
  return file;
}

// Starts it as the first of a group of processes, with no signal blocked or ignored. The reason as
// in errno; 0: it runs.
int Start(const std::string& program, const std::vector<std::string>& arguments, int input,
          pid_t& child) {
  std::vector<char*> words{const_cast<char*>(program.c_str())};
  for (const auto& each : arguments) words.push_back(const_cast<char*>(each.c_str()));
  words.push_back(nullptr);
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_adddup2(&files, input, STDIN_FILENO);
  for (const int output : {STDOUT_FILENO, STDERR_FILENO}) {
    posix_spawn_file_actions_addopen(&files, output, "/dev/null", O_WRONLY, 0);
  }
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t none, all;
  sigemptyset(&none);
  sigfillset(&all);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setsigdefault(&attributes, &all);
  posix_spawnattr_setpgroup(&attributes, 0);
  posix_spawnattr_setflags(&attributes,
                           POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  const int reason =
      posix_spawn(&child, program.c_str(), &files, &attributes, words.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&files);
  return reason;
}

}  // namespace

ProgramEnd RunProgram(const std::string& program, const std::vector<std::string>& arguments,
                      std::string_view input, std::chrono::milliseconds at_most) {
  using How = ProgramEnd::How;
  const auto end = std::chrono::steady_clock::now() + at_most;
  const int file = OpenText(input);
  if (file < 0) return {How::NotStarted, errno};
  pid_t child = 0;
  const int reason = Start(program, arguments, file, child);
  close(file);
  if (reason != 0) return {How::NotStarted, reason};
  int status = 0;
  pid_t gone = 0;
  constexpr std::chrono::milliseconds kLongest{20};
  for (std::chrono::milliseconds pause{1}; (gone = waitpid(child, &status, WNOHANG)) != child;
       pause = std::min(2 * pause, kLongest)) {
    // A host that ignores the end of its children never hears of it.
    if (gone < 0 && errno != EINTR) return {How::NotStarted, errno};
    if (std::chrono::steady_clock::now() >= end) {
      kill(-child, SIGKILL);
      waitpid(child, &status, 0);
      return {How::TooLate};
    }
    std::this_thread::sleep_for(pause);
  }
  if (WIFEXITED(status)) return {How::Ended, WEXITSTATUS(status)};
  return {How::Stopped, WTERMSIG(status)};
}

void PreferLargePages([[maybe_unused]] const void* data, [[maybe_unused]] std::size_t bytes) {
#ifdef MADV_HUGEPAGE
  constexpr std::size_t kLarge = std::size_t{1} << 21;
  auto* first = const_cast<void*>(data);
  if (std::align(kLarge, kLarge, first, bytes) == nullptr) return;
  madvise(first, bytes / kLarge * kLarge, MADV_HUGEPAGE);
#endif
}

std::string UserName() {
  std::array<char, 4096> room{};
  passwd user{};
  passwd* found = nullptr;
  if (getpwuid_r(geteuid(), &user, room.data(), room.size(), &found) == 0 && found != nullptr) {
    return user.pw_name;
  }
  return "?";
}

std::string HostName() {
  std::array<char, 256> name{};
  return gethostname(name.data(), name.size() - 1) == 0 ? std::string(name.data()) : "?";
}

int UsableProcessors() {
#ifdef CPU_COUNT
  cpu_set_t usable;
  if (sched_getaffinity(0, sizeof usable, &usable) == 0) return CPU_COUNT(&usable);
#endif
  return static_cast<int>(std::thread::hardware_concurrency());
}

std::vector<std::string> CommandLine(int argc, char** argv) { return {argv + 1, argv + argc}; }

std::filesystem::path ProgramFile() {
  std::error_code failed;
  return std::filesystem::read_symlink("/proc/self/exe", failed);
}

std::string ShellWord(const std::string& text) {
  static constexpr std::string_view kPlain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_./-+:=@%,";
  if (!text.empty() && text.find_first_not_of(kPlain) == std::string::npos) return text;
  std::string quoted = "'";
  for (const char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

char ShellContinuation() { return '\\'; }

void PrepareConsole() {}

bool IsTerminal(Stream stream) {
  return isatty(stream == Stream::Out ? STDOUT_FILENO : STDERR_FILENO) != 0;
}

int TerminalColumns() {
  winsize size{};
  if (!IsTerminal(Stream::Out) || ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0) return 0;
  return size.ws_col;
}

}  // namespace orvspc::system
