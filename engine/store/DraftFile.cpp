// SPDX-License-Identifier: Apache-2.0
#include "engine/store/DraftFile.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <string_view>

#include "engine/sql/address.h"
#include "engine/store/SqlStore.h"
#include "platform/ExternalFailure.h"
#include "system/system.h"

namespace orvspc::engine::store {
namespace {

namespace fs = std::filesystem;

// What SQLite keeps beside a database.
constexpr std::array kLogEndings{"-wal", "-shm", "-journal"};

// A link to nowhere is there, too, and so is a device.
bool IsThereAt(const std::string& path) {
  if (system::StateOf(path)) return true;
  std::error_code error;
  return fs::exists(fs::symlink_status(system::PathOf(path), error));
}

// Whether a new database would take the place: there is nothing, or an empty file.
bool IsFree(const std::string& target) {
  const auto state = system::StateOf(target);
  return state ? state->kind == system::FileKind::Plain && state->size == 0 : !IsThereAt(target);
}

// Whether a journal has nothing to bring back: it is empty, or its database was when it began, as
// that of a program that makes one at this moment or was killed while it did.
bool IsOfEmptyDatabase(const std::string& journal) {
  constexpr std::size_t kPagesAt = 16, kRead = kPagesAt + 4;
  std::array<char, kRead> header{};
  std::ifstream file(system::PathOf(journal), std::ios::binary);
  if (!file) return !IsThereAt(journal);
  file.read(header.data(), header.size());
  if (file.gcount() == 0) return true;
  const std::string_view read(header.data(), static_cast<std::size_t>(file.gcount()));
  return read.size() == kRead && read.substr(kPagesAt) == std::string_view("\0\0\0\0", 4);
}

// Digits that two programs do not share, even with one process number in two containers.
std::string RandomDigits() {
  std::random_device random;
  return std::to_string(random()) + std::to_string(random());
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
  fs::path target = system::PathOf(path);
  std::error_code error;
  for (int i = 0; i < kMaxLinks && fs::is_symlink(target, error); ++i) {
    target = target.parent_path() / fs::read_symlink(target, error);
  }
  return system::TextOf(target);
}

std::string FolderOf(const std::string& path) {
  const auto folder = system::TextOf(system::PathOf(path).parent_path());
  return folder.empty() ? "." : folder;
}

void RemoveFiles(const std::string& path) {
  std::error_code ignored;
  fs::remove(system::PathOf(path), ignored);
  for (const auto* ending : kLogEndings) fs::remove(system::PathOf(path + ending), ignored);
}

void CheckNoLogLeft(const std::string& path) {
  const auto target = TargetOf(path);
  for (const auto* ending : kLogEndings) {
    const auto log = target + ending;
    if (!IsThereAt(log)) continue;
    if (IsThereAt(target) && log.ends_with("-journal") && IsOfEmptyDatabase(log)) continue;
    // The database itself is looked at again: another program may be making it just now.
    if (IsFree(target)) RefuseFile(path, log + " is left from another database; move it away");
  }
}

void CheckNotMistyped(const std::string& path) {
  if (!sql::IsMistyped(path)) return;
  RefuseFile(path,
             "there is no such file, and an address of a database begins with postgresql:// or "
             "postgres://; a file of that name has ./ before it");
}

DraftFile::DraftFile(std::string path, const std::string& like)
    : path_(std::move(path)), target_(TargetOf(path_)) {
  if (path_.empty()) RefuseFile(path_, "");
  if (IsThereAt(target_)) return;
  CheckNotMistyped(path_);
  CheckNoLogLeft(path_);
  std::string draft = target_ + ".new-" + RandomDigits();
  if (!(like.empty() ? system::MakeFile(draft) : system::MakeFileLike(draft, like))) {
    if (errno == ENOENT)
      RefuseFile(path_, "there is no folder " + FolderOf(sql::WithoutPasswords(target_)));
    if (errno == EACCES || errno == EROFS) RefuseFile(path_, "its folder may not be written to");
    RefuseFile(path_, std::strerror(errno));
  }
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
  const system::Folder folder(FolderOf(target_));
  if (!folder.IsUsable()) RefuseFile(path_, std::strerror(errno));
  if (!system::Flush(draft_)) RefuseFile(path_, std::strerror(errno));
  // A log that appeared meanwhile belongs to somebody else, too.
  CheckNoLogLeft(path_);
  if (!system::RenameToFree(draft_, target_)) {
    if (errno == EEXIST) return false;
    RefuseFile(path_, std::strerror(errno));
  }
  // The file stays: another program may be using it by now.
  if (!folder.Flush()) RefuseFile(path_, std::strerror(errno));
  return true;
}

}  // namespace orvspc::engine::store
