// SPDX-License-Identifier: Apache-2.0
#include "engine/store/DraftFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <random>

#include "engine/store/SqlStore.h"
#include "platform/ExternalFailure.h"

namespace orvspc::engine::store {
namespace {

namespace fs = std::filesystem;

// What SQLite keeps beside a database.
constexpr std::array kLogEndings{"-wal", "-shm", "-journal"};

std::string FolderOf(const std::string& path) {
  const auto folder = fs::path(path).parent_path().string();
  return folder.empty() ? "." : folder;
}

bool IsThereAt(const std::string& path) {
  std::error_code error;
  return fs::exists(fs::symlink_status(path, error));
}

// Digits that two programs do not share, even with one process number in two containers.
std::string RandomDigits() {
  std::random_device random;
  return std::to_string(random()) + std::to_string(random());
}

void RemoveFiles(const std::string& path) {
  std::error_code ignored;
  fs::remove(path, ignored);
  for (const auto* ending : kLogEndings) fs::remove(path + ending, ignored);
}

// Flushes a file to the device; false with errno.
bool Flush(const std::string& path) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return false;
  const bool flushed = fsync(file) == 0;
  const int reason = errno;
  close(file);
  errno = reason;
  return flushed;
}

// A folder whose entries can be flushed to the device; one that may not be read has nothing to
// flush.
class Folder {
 public:
  explicit Folder(const std::string& path)
      : file_(open(path.c_str(), O_RDONLY | O_CLOEXEC)),
        is_usable_(file_ >= 0 || errno == EACCES) {}
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  ~Folder() {
    if (file_ >= 0) close(file_);
  }
  bool IsUsable() const { return is_usable_; }
  // False with errno. Some file systems cannot flush a folder.
  bool Flush() const { return file_ < 0 || fsync(file_) == 0 || errno == EINVAL; }

 private:
  int file_;
  bool is_usable_;
};

// Gives the file its name unless that is taken. File systems without links rename.
bool Rename(const std::string& from, const std::string& to) {
  if (link(from.c_str(), to.c_str()) == 0) {
    unlink(from.c_str());
    return true;
  }
  if (errno == EEXIST) return false;
  return renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0;
}

// What is not in the file itself would be lost with the name of its log.
void EmptyLog(const std::string& path) {
  try {
    if (OpenConnection(path, false)->EmptyLog()) return;
  } catch (...) {
    sql::RethrowAsExternal(path, "OpenDatabase");
  }
  RefuseFile(path, "its log could not be written into the file");
}

}  // namespace

std::string TargetOf(const std::string& path) {
  constexpr int kMaxLinks = 40;
  fs::path target = path;
  std::error_code error;
  for (int i = 0; i < kMaxLinks && fs::is_symlink(target, error); ++i) {
    target = target.parent_path() / fs::read_symlink(target, error);
  }
  return target.string();
}

void CheckNoLogLeft(const std::string& path) {
  const auto target = TargetOf(path);
  for (const auto* ending : kLogEndings) {
    // The database itself is looked at again: another program may be making it just now.
    if (IsThereAt(target + ending) && !IsThereAt(target)) {
      RefuseFile(path, path + ending + " is left from another database; move it away");
    }
  }
}

DraftFile::DraftFile(std::string path) : path_(std::move(path)), target_(TargetOf(path_)) {
  if (path_.empty()) RefuseFile(path_, "");
  if (IsThereAt(target_)) return;
  CheckNoLogLeft(path_);
  std::string draft = target_ + ".new-" + RandomDigits();
  const int file = open(draft.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
  if (file < 0) {
    if (errno == ENOENT) RefuseFile(path_, "there is no folder " + FolderOf(target_));
    if (errno == EACCES || errno == EROFS) RefuseFile(path_, "its folder may not be written to");
    RefuseFile(path_, std::strerror(errno));
  }
  close(file);
  draft_ = std::move(draft);
}

DraftFile::~DraftFile() {
  if (!draft_.empty()) RemoveFiles(draft_);
}

void DraftFile::Fill(const std::function<void(const std::string&)>& work) const {
  try {
    work(draft_);
  } catch (const platform::ExternalFailure& failure) {
    // Who reads the reason knows the database by its own name.
    std::string reason = failure.Description();
    const auto at = reason.find(draft_);
    if (at == std::string::npos) throw;
    reason.replace(at, draft_.size(), path_);
    throw platform::ExternalFailure(failure.Number(), failure.Source(), reason);
  }
}

bool DraftFile::PutInPlace() {
  Fill([](const std::string& draft) { EmptyLog(draft); });
  const Folder folder(FolderOf(target_));
  if (!folder.IsUsable()) RefuseFile(path_, std::strerror(errno));
  if (!Flush(draft_)) RefuseFile(path_, std::strerror(errno));
  // A log that appeared meanwhile belongs to somebody else, too.
  CheckNoLogLeft(path_);
  if (!Rename(draft_, target_)) {
    if (errno == EEXIST) return false;
    RefuseFile(path_, std::strerror(errno));
  }
  // The file stays: another program may be using it by now.
  if (!folder.Flush()) RefuseFile(path_, std::strerror(errno));
  return true;
}

}  // namespace orvspc::engine::store
