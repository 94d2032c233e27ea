// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sqlite3.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace orvspc::engine {

// While it lives, SQLite opens files through it, below the layer with the checksums. What it opens
// is closed before it ends. One at a time; files lie where they would without it.
class WatchedDevice {
 public:
  // All files together have so much room: a write that would need more fails as on a full disk.
  explicit WatchedDevice(std::int64_t room = INT64_MAX) : room_(room) {
    current_ = this;
    vfs_ = *below_;
    vfs_.zName = "watched";
    vfs_.pNext = nullptr;
    vfs_.szOsFile = static_cast<int>(sizeof(File));
    vfs_.xOpen = Open;
    vfs_.xDelete = Delete;
    sqlite3_vfs_register(&vfs_, 1);
  }
  WatchedDevice(const WatchedDevice&) = delete;
  WatchedDevice& operator=(const WatchedDevice&) = delete;
  ~WatchedDevice() {
    sqlite3_vfs_unregister(&vfs_);
    sqlite3_vfs_register(below_, 1);
    current_ = nullptr;
  }

  // What is to be written to a file may be changed. Anything but SQLITE_OK: it is not written.
  std::function<int(std::string_view name, std::span<std::byte> data)> on_write;
  std::function<void(std::string_view name)> after_flush;
  // Once, when a connection has let go of the lock of writers.
  std::function<void()> after_writing;
  int lacks = 0;  // of the characteristics that the device has

  // The most room that was taken at any time.
  std::int64_t Peak() const { return peak_; }

 private:
  using Io = sqlite3_io_methods;
  struct File : sqlite3_file {
    std::unique_ptr<std::byte[]> beneath;
    std::string name;
  };
  static File& Of(sqlite3_file* file) { return *static_cast<File*>(file); }
  static sqlite3_file* Beneath(sqlite3_file* file) {
    return reinterpret_cast<sqlite3_file*>(Of(file).beneath.get());
  }
  template <auto Member, class... Arguments>
  static auto Pass(sqlite3_file* file, Arguments... arguments) {
    return (Beneath(file)->pMethods->*Member)(Beneath(file), arguments...);
  }

  void Resize(const std::string& name, std::int64_t size) {
    const std::lock_guard lock(mutex_);
    auto& held = sizes_[name];
    used_ += size - held;
    held = size;
  }
  // A file has at least this size from now on, if there is room for it.
  bool Grow(const std::string& name, std::int64_t size) {
    const std::lock_guard lock(mutex_);
    auto& held = sizes_[name];
    if (size <= held) return true;
    if (used_ - held > room_ - size) return false;
    used_ += size - held;
    held = size;
    peak_ = std::max(peak_, used_);
    return true;
  }

  static int Close(sqlite3_file* file) {
    const int code = Pass<&Io::xClose>(file);
    Of(file).~File();
    return code;
  }
  static int Write(sqlite3_file* file, const void* data, int size, sqlite3_int64 offset) {
    const auto& name = Of(file).name;
    const auto* const begin = static_cast<const std::byte*>(data);
    std::vector<std::byte> written(begin, begin + size);
    if (current_->on_write) {
      if (const int code = current_->on_write(name, written); code != SQLITE_OK) return code;
    }
    if (!current_->Grow(name, offset + size)) return SQLITE_FULL;
    return Pass<&Io::xWrite>(file, static_cast<const void*>(written.data()), size, offset);
  }
  static int Truncate(sqlite3_file* file, sqlite3_int64 size) {
    const int code = Pass<&Io::xTruncate>(file, size);
    if (code == SQLITE_OK) current_->Resize(Of(file).name, size);
    return code;
  }
  static int Sync(sqlite3_file* file, int flags) {
    const int code = Pass<&Io::xSync>(file, flags);
    if (current_->after_flush) current_->after_flush(Of(file).name);
    return code;
  }
  // Of the index of a log, which connections share: region after region as it grows.
  static int MapShared(sqlite3_file* file, int region, int size, int extend, void volatile** at) {
    const auto grown = static_cast<std::int64_t>(size) * (region + 1);
    if (extend != 0 && !current_->Grow(Of(file).name + "-shm", grown)) return SQLITE_IOERR_SHMSIZE;
    return Pass<&Io::xShmMap>(file, region, size, extend, at);
  }
  static int UnmapShared(sqlite3_file* file, int with_file) {
    const auto name = Of(file).name + "-shm";
    const int code = Pass<&Io::xShmUnmap>(file, with_file);
    int is_there = 0;
    below_->xAccess(below_, name.c_str(), SQLITE_ACCESS_EXISTS, &is_there);
    if (is_there == 0) current_->Resize(name, 0);
    return code;
  }
  static int Lock(sqlite3_file* file, int first, int count, int flags) {
    constexpr int kWriters = 0;
    const int code = Pass<&Io::xShmLock>(file, first, count, flags);
    const bool ends = first == kWriters && (flags & SQLITE_SHM_UNLOCK) != 0 &&
                      (flags & SQLITE_SHM_EXCLUSIVE) != 0;
    if (ends && current_->after_writing) {
      const auto act = std::move(current_->after_writing);
      current_->after_writing = nullptr;
      act();
    }
    return code;
  }
  static int Characteristics(sqlite3_file* file) {
    return Pass<&Io::xDeviceCharacteristics>(file) & ~current_->lacks;
  }
  // Mapped writes would not be seen, so nothing is mapped but the index of the log.
  static Io Methods() {
    Io methods{};
    methods.iVersion = 2;
    methods.xClose = Close;
    methods.xRead = Pass<&Io::xRead, void*, int, sqlite3_int64>;
    methods.xWrite = Write;
    methods.xTruncate = Truncate;
    methods.xSync = Sync;
    methods.xFileSize = Pass<&Io::xFileSize, sqlite3_int64*>;
    methods.xLock = Pass<&Io::xLock, int>;
    methods.xUnlock = Pass<&Io::xUnlock, int>;
    methods.xCheckReservedLock = Pass<&Io::xCheckReservedLock, int*>;
    methods.xFileControl = Pass<&Io::xFileControl, int, void*>;
    methods.xSectorSize = Pass<&Io::xSectorSize>;
    methods.xDeviceCharacteristics = Characteristics;
    methods.xShmMap = MapShared;
    methods.xShmLock = Lock;
    methods.xShmBarrier = Pass<&Io::xShmBarrier>;
    methods.xShmUnmap = UnmapShared;
    return methods;
  }
  static int Open(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* flags_out) {
    static const Io methods = Methods();
    auto* const own = new (file) File{};
    own->pMethods = nullptr;
    own->name = name == nullptr ? "" : name;
    own->beneath = std::make_unique<std::byte[]>(static_cast<std::size_t>(below_->szOsFile));
    const int code = below_->xOpen(below_, name, Beneath(file), flags, flags_out);
    if (Beneath(file)->pMethods == nullptr) {
      own->~File();
    } else {
      own->pMethods = &methods;
    }
    return code;
  }
  static int Delete(sqlite3_vfs*, const char* name, int sync) {
    const int code = below_->xDelete(below_, name, sync);
    if (code == SQLITE_OK) current_->Resize(name, 0);
    return code;
  }

  static inline sqlite3_vfs* const below_ = sqlite3_vfs_find(nullptr);
  static inline WatchedDevice* current_ = nullptr;
  const std::int64_t room_;
  std::mutex mutex_;  // of what follows
  std::int64_t used_ = 0, peak_ = 0;
  std::map<std::string, std::int64_t> sizes_;
  sqlite3_vfs vfs_{};
};

}  // namespace orvspc::engine
