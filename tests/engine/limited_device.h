// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sqlite3.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <new>
#include <string>

namespace orvspc::engine {

// While it lives, the files that SQLite opens share a device of a limited size: a write that would
// need more room fails as on a full disk. One at a time; files lie where they would without it.
class LimitedDevice {
 public:
  explicit LimitedDevice(std::int64_t bytes) : bytes_(bytes), below_(sqlite3_vfs_find(nullptr)) {
    vfs_ = *below_;
    vfs_.zName = "limited";
    vfs_.pNext = nullptr;
    vfs_.pAppData = this;
    vfs_.szOsFile = static_cast<int>(sizeof(File)) + below_->szOsFile;
    vfs_.xOpen = Open;
    vfs_.xDelete = Delete;
    sqlite3_vfs_register(&vfs_, 1);
  }
  LimitedDevice(const LimitedDevice&) = delete;
  LimitedDevice& operator=(const LimitedDevice&) = delete;
  ~LimitedDevice() {
    sqlite3_vfs_unregister(&vfs_);
    sqlite3_vfs_register(below_, 1);
  }

  std::int64_t Peak() const { return peak_; }

 private:
  // In front of the file of the system.
  struct File {
    sqlite3_file base;
    LimitedDevice* device;
    const std::string* name;
    sqlite3_io_methods methods;
  };
  static File& Of(sqlite3_file* file) { return *reinterpret_cast<File*>(file); }
  static sqlite3_file* Below(sqlite3_file* file) {
    return reinterpret_cast<sqlite3_file*>(reinterpret_cast<char*>(file) + sizeof(File));
  }

  // The new size of a file if there is room for it.
  bool Resize(const std::string& name, std::int64_t size) {
    auto& held = sizes_[name];
    if (used_ - held + size > bytes_ && size > held) return false;
    used_ += size - held;
    held = size;
    peak_ = std::max(peak_, used_);
    return true;
  }

  static int Open(sqlite3_vfs* vfs, sqlite3_filename name, sqlite3_file* file, int flags,
                  int* out_flags) {
    auto& device = *static_cast<LimitedDevice*>(vfs->pAppData);
    auto* const opened = new (file) File{};
    const int code = device.below_->xOpen(device.below_, name, Below(file), flags, out_flags);
    if (Below(file)->pMethods == nullptr) return code;
    opened->device = &device;
    opened->name = &device.sizes_.try_emplace(name == nullptr ? "" : name).first->first;
    opened->methods = Methods(*Below(file)->pMethods);
    opened->base.pMethods = &opened->methods;
    return code;
  }
  static int Delete(sqlite3_vfs* vfs, const char* name, int sync) {
    auto& device = *static_cast<LimitedDevice*>(vfs->pAppData);
    const int code = device.below_->xDelete(device.below_, name, sync);
    if (code == SQLITE_OK) device.Resize(name, 0);
    return code;
  }

  template <auto Member, class... Arguments>
  static auto Pass(sqlite3_file* file, Arguments... arguments) {
    return (Below(file)->pMethods->*Member)(Below(file), arguments...);
  }
  static int Write(sqlite3_file* file, const void* data, int amount, sqlite3_int64 offset) {
    auto& own = Of(file);
    const auto size = std::max<std::int64_t>(own.device->sizes_[*own.name], offset + amount);
    if (!own.device->Resize(*own.name, size)) return SQLITE_FULL;
    return Below(file)->pMethods->xWrite(Below(file), data, amount, offset);
  }
  static int Truncate(sqlite3_file* file, sqlite3_int64 size) {
    const int code = Below(file)->pMethods->xTruncate(Below(file), size);
    if (code == SQLITE_OK) Of(file).device->Resize(*Of(file).name, size);
    return code;
  }
  // Of the index of a log, which connections share: region after region as it grows.
  static int MapShared(sqlite3_file* file, int region, int size, int extend, void volatile** at) {
    auto& own = Of(file);
    const auto grown = static_cast<std::int64_t>(size) * (region + 1);
    const auto name = *own.name + "-shm";
    if (extend != 0 && grown > own.device->sizes_[name] && !own.device->Resize(name, grown)) {
      return SQLITE_IOERR_SHMSIZE;
    }
    return Below(file)->pMethods->xShmMap(Below(file), region, size, extend, at);
  }
  static int UnmapShared(sqlite3_file* file, int with_file) {
    auto& own = Of(file);
    const auto name = *own.name + "-shm";
    const int code = Below(file)->pMethods->xShmUnmap(Below(file), with_file);
    auto& below = *own.device->below_;
    int is_there = 0;
    below.xAccess(&below, name.c_str(), SQLITE_ACCESS_EXISTS, &is_there);
    if (is_there == 0) own.device->Resize(name, 0);
    return code;
  }
  // Mapped writes would not be seen, so nothing is mapped but the index of the log.
  static sqlite3_io_methods Methods(const sqlite3_io_methods& below) {
    using Io = sqlite3_io_methods;
    Io methods{};
    methods.iVersion = std::min(below.iVersion, 2);
    methods.xClose = Pass<&Io::xClose>;
    methods.xRead = Pass<&Io::xRead, void*, int, sqlite3_int64>;
    methods.xWrite = Write;
    methods.xTruncate = Truncate;
    methods.xSync = Pass<&Io::xSync, int>;
    methods.xFileSize = Pass<&Io::xFileSize, sqlite3_int64*>;
    methods.xLock = Pass<&Io::xLock, int>;
    methods.xUnlock = Pass<&Io::xUnlock, int>;
    methods.xCheckReservedLock = Pass<&Io::xCheckReservedLock, int*>;
    methods.xFileControl = Pass<&Io::xFileControl, int, void*>;
    methods.xSectorSize = Pass<&Io::xSectorSize>;
    methods.xDeviceCharacteristics = Pass<&Io::xDeviceCharacteristics>;
    methods.xShmMap = MapShared;
    methods.xShmLock = Pass<&Io::xShmLock, int, int, int>;
    methods.xShmBarrier = Pass<&Io::xShmBarrier>;
    methods.xShmUnmap = UnmapShared;
    return methods;
  }

  std::int64_t bytes_, used_ = 0, peak_ = 0;
  std::map<std::string, std::int64_t> sizes_;
  sqlite3_vfs* below_;
  sqlite3_vfs vfs_{};
};

}  // namespace orvspc::engine
