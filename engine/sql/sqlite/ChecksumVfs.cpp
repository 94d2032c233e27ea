// SPDX-License-Identifier: Apache-2.0
#include "engine/sql/sqlite/ChecksumVfs.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/sql/sqlite/flipped_bit.h"
#include "engine/sql/sqlite/page_checksum.h"

namespace orvspc::engine::sql::sqlite {
namespace {

constexpr const char* kName = "orvspc";

// Questions that the layer answers itself, beyond the numbers that SQLite keeps for its own.
constexpr int kAskDamage = 0x6f727601, kSwapStrictness = 0x6f727602;

// The name is that of SQLite from 3.48 on: whether a part of a page may be read.
constexpr int kMayReadPartOfPage = 0x00008000;

// Of the file's header: where the size of a page and the reserved bytes are.
constexpr std::string_view kMagic("SQLite format 3\0", 16);
constexpr std::size_t kPageSizeAt = 16, kReservedAt = 20, kHeaderRead = 24;

// Of a log: its header, then before each page the header of its frame. Each ends with a running
// checksum: that of the header, then that of everything up to and with the page.
constexpr sqlite3_int64 kLogHeader = 32, kFrameHeader = 24;
constexpr std::size_t kFrameSummed = 8;  // of the header of a frame
constexpr std::size_t kLogSaltAt = 16, kSaltAt = 8, kSaltSize = 8;
constexpr int kWriteLock = 0;  // of the locks in shared memory

constexpr sqlite3_int64 kNowhere = std::numeric_limits<sqlite3_int64>::max();

struct Damage {
  std::uint32_t page = 0;
  bool in_log = false;
};

// What SQLite sees of a file that this layer has opened.
struct File : sqlite3_file {
  std::unique_ptr<std::byte[]> beneath;  // the file as the layer beneath has it
  File* partner = nullptr;               // of a log its database, of a database its log
  bool is_database = false, is_log = false;
  // Of a database.
  bool has_checksums = false;
  bool is_strict = false;  // refuses every page that does not match
  bool gathers_log = false;
  Damage damage;
  std::vector<std::byte> copy;  // of a page that is written
  // Of a log: where the frames of the transaction begin that this connection is writing. SQLite
  // completes their checksums when it commits.
  sqlite3_int64 unfinished_from = kNowhere;
  // What follows one another in the log and is yet to be written, and where it begins.
  std::vector<std::byte> gathered;
  sqlite3_int64 gathered_at = 0;
  int failed = SQLITE_OK;  // why some of it is not in the file, until the transaction is over
};

File& Of(sqlite3_file* file) { return *static_cast<File*>(file); }
sqlite3_file* Beneath(sqlite3_file* file) {
  return reinterpret_cast<sqlite3_file*>(Of(file).beneath.get());
}
sqlite3_vfs* BeneathUs() { return sqlite3_vfs_find(nullptr); }

bool IsPageSize(std::size_t size) {
  constexpr std::size_t kMin = 512, kMax = 65536;
  return size >= kMin && size <= kMax && std::has_single_bit(size);
}

std::uint32_t BigEndian(const std::byte* at) {
  std::uint32_t number = 0;
  for (int i = 0; i < 4; ++i) number = number << 8 | std::to_integer<std::uint32_t>(at[i]);
  return number;
}

// --- Pages of the database -----------------------------------------------------------------------

bool Matches(std::span<const std::byte> page, std::uint32_t number) {
  return StoredChecksum(page) == PageChecksum(page.first(page.size() - kReservedBytes), number);
}

bool IsHeader(std::span<const std::byte> start) {
  return start.size() >= kHeaderRead &&
         std::memcmp(start.data(), kMagic.data(), kMagic.size()) == 0;
}
bool SaysReserved(std::span<const std::byte> start) {
  return IsHeader(start) && start[kReservedAt] == std::byte{kReservedBytes};
}

// Takes note of the header, and says whether the page of that number is what was written.
bool IsIntact(File& database, std::span<const std::byte> page, std::uint32_t number) {
  if (number != 1) return !database.has_checksums || Matches(page, number);
  database.has_checksums = SaysReserved(page);
  if (!IsHeader(page)) return true;  // SQLite refuses it
  const std::size_t size = std::to_integer<std::size_t>(page[kPageSizeAt]) << 8 |
                           std::to_integer<std::size_t>(page[kPageSizeAt + 1]) << 16;
  // SQLite learns the size from this page, then reads it again.
  if (IsPageSize(size) && size != page.size()) return true;
  if (database.has_checksums) return Matches(page, number);
  // The header alone is damaged when the page matches as soon as it says what it did.
  std::vector<std::byte> repaired(page.begin(), page.end());
  repaired[kReservedAt] = std::byte{kReservedBytes};
  return !Matches(repaired, number);
}

int CheckRead(File& database, std::span<const std::byte> data, sqlite3_int64 offset) {
  const auto size = static_cast<sqlite3_int64>(data.size());
  if (offset == 0 && IsHeader(data)) database.has_checksums = SaysReserved(data);
  if (!IsPageSize(data.size()) || offset % size != 0) return SQLITE_OK;
  const auto number = static_cast<std::uint32_t>(offset / size + 1);
  if (IsIntact(database, data, number)) return SQLITE_OK;
  if (!database.is_strict && number != 1 && IsOneBitOfBlob(data, number)) return SQLITE_OK;
  database.damage = {number, false};
  return SQLITE_IOERR_DATA;
}

// The page with its checksum; null when it goes as it is.
const std::byte* WithChecksum(File& database, std::span<const std::byte> data,
                              sqlite3_int64 offset) {
  if (offset == 0) database.has_checksums = SaysReserved(data);
  if (!database.has_checksums || !IsPageSize(data.size())) return nullptr;
  const auto number = static_cast<std::uint32_t>(offset / static_cast<sqlite3_int64>(data.size()));
  auto& copy = database.copy;
  copy.assign(data.begin(), data.end());
  const std::size_t content = copy.size() - kReservedBytes;
  auto sum = PageChecksum(std::span(copy).first(content), number + 1);
  for (std::size_t i = content; i < copy.size(); ++i, sum >>= 8)
    copy[i] = static_cast<std::byte>(sum & 0xff);
  return copy.data();
}

// Another connection may have changed the header.
void ReadHeader(sqlite3_file* file) {
  std::array<std::byte, kHeaderRead> header{};
  const int size = static_cast<int>(header.size());
  if (Beneath(file)->pMethods->xRead(Beneath(file), header.data(), size, 0) == SQLITE_OK)
    Of(file).has_checksums = SaysReserved(header);
}

// --- Pages of the log ----------------------------------------------------------------------------

// The running checksum of a log, over words of 4 bytes in the order of its maker.
struct LogChecksum {
  std::uint32_t first = 0, second = 0;
  bool big_endian = false;

  void Add(std::span<const std::byte> data) {
    const auto word = [&](std::size_t at) {
      return big_endian ? BigEndian(&data[at]) : LittleEndian<std::uint32_t>(&data[at]);
    };
    for (std::size_t at = 0; at < data.size(); at += 8) {
      first += word(at) + second;
      second += word(at + 4) + first;
    }
  }
  // Whether it is what a header ends with.
  bool IsAtEndOf(std::span<const std::byte> header) const {
    return first == BigEndian(header.data() + header.size() - 8) &&
           second == BigEndian(header.data() + header.size() - 4);
  }
};

int CheckLogRead(sqlite3_file* file, std::span<const std::byte> page, sqlite3_int64 offset) {
  File& log = Of(file);
  const auto frame_size = kFrameHeader + static_cast<sqlite3_int64>(page.size());
  const auto frame = offset - kFrameHeader;
  if (!IsPageSize(page.size()) || frame < kLogHeader || (frame - kLogHeader) % frame_size != 0 ||
      offset >= log.unfinished_from) {
    return SQLITE_OK;
  }
  std::array<std::byte, kLogHeader> start{};
  std::array<std::byte, kFrameHeader> former{}, own{};
  const auto read = [&](auto& header, sqlite3_int64 at) {
    const int size = static_cast<int>(header.size());
    return Beneath(file)->pMethods->xRead(Beneath(file), header.data(), size, at);
  };
  int code = read(start, 0);
  if (code == SQLITE_OK && frame != kLogHeader) code = read(former, frame - frame_size);
  if (code == SQLITE_OK) code = read(own, frame);
  if (code != SQLITE_OK && code != SQLITE_IOERR_SHORT_READ) return code;
  const auto before = frame == kLogHeader ? std::span<const std::byte>(start) : former;
  LogChecksum sum{BigEndian(before.data() + before.size() - 8),
                  BigEndian(before.data() + before.size() - 4),
                  (std::to_integer<int>(start[3]) & 1) != 0};
  sum.Add(std::span(own).first(kFrameSummed));
  sum.Add(page);
  const bool is_of_log = std::equal(&own[kSaltAt], &own[kSaltAt] + kSaltSize, &start[kLogSaltAt]);
  if (code == SQLITE_OK && is_of_log && sum.IsAtEndOf(own)) return SQLITE_OK;
  if (log.partner != nullptr) log.partner->damage = {BigEndian(own.data()), true};
  return SQLITE_IOERR_DATA;
}

// SQLite reads the header of a log before it takes over what a program left that died, and leaves
// out everything from the first frame on that does not match. That is right where the program was
// writing when it died, which concerns one commit at most. Where more of them follow, or the header
// does not match, what was committed would be lost without a word.
int CheckLeftLog(sqlite3_file* file, std::span<const std::byte> header) {
  constexpr std::size_t kSummed = 24, kPageSizeOfLogAt = 8, kCommitAt = 4;
  constexpr std::uint32_t kLogMagic = 0x377f0682;  // the last bit is the order of bytes
  const auto* const methods = Beneath(file)->pMethods;
  sqlite3_int64 size = 0;
  if (const int code = methods->xFileSize(Beneath(file), &size); code != SQLITE_OK) return code;
  const auto fail = [&](std::uint32_t page) {
    if (Of(file).partner != nullptr) Of(file).partner->damage = {page, true};
    return SQLITE_IOERR_DATA;
  };

  const auto is_zero = [](std::byte byte) { return byte == std::byte{}; };
  if (size <= kLogHeader || std::ranges::all_of(header, is_zero)) return SQLITE_OK;
  const std::size_t page_size = BigEndian(&header[kPageSizeOfLogAt]);
  LogChecksum sum{0, 0, (std::to_integer<int>(header[3]) & 1) != 0};
  sum.Add(header.first(kSummed));
  if ((BigEndian(header.data()) & ~1U) != kLogMagic || !IsPageSize(page_size) ||
      !sum.IsAtEndOf(header)) {
    return fail(0);
  }

  std::vector<std::byte> frame(kFrameHeader + page_size);
  const auto step = static_cast<sqlite3_int64>(frame.size());
  std::uint32_t first_lost = 0;
  int commits = 0;
  for (auto at = kLogHeader; at + step <= size; at += step) {
    const auto length = first_lost == 0 ? step : kFrameHeader;
    const int code = methods->xRead(Beneath(file), frame.data(), static_cast<int>(length), at);
    if (code != SQLITE_OK) return code;
    const auto own = std::span<const std::byte>(frame).first(kFrameHeader);
    const bool is_of_log =
        std::equal(&own[kSaltAt], &own[kSaltAt] + kSaltSize, &header[kLogSaltAt]);
    if (first_lost == 0) {
      sum.Add(own.first(kFrameSummed));
      sum.Add(std::span(frame).subspan(kFrameHeader));
      if (is_of_log && sum.IsAtEndOf(own)) continue;
      first_lost = std::max(BigEndian(own.data()), 1U);
    }
    if (is_of_log && BigEndian(&own[kCommitAt]) != 0) ++commits;
  }
  return commits < 2 ? SQLITE_OK : fail(first_lost);
}

// --- Files ---------------------------------------------------------------------------------------

template <auto Member, class... Arguments>
auto Pass(sqlite3_file* file, Arguments... arguments) {
  return (Beneath(file)->pMethods->*Member)(Beneath(file), arguments...);
}

// Writes what was gathered. What cannot be written is dropped, and the transaction cannot write any
// more: whoever asked may have been a read, after which SQLite would go on.
int WriteGathered(sqlite3_file* file) {
  File& log = Of(file);
  if (log.gathered.empty()) return SQLITE_OK;
  const int code = Pass<&sqlite3_io_methods::xWrite>(
      file, log.gathered.data(), static_cast<int>(log.gathered.size()), log.gathered_at);
  log.gathered.clear();
  if (code != SQLITE_OK) log.failed = code;
  return code;
}

// SQLite writes a page and its header by themselves, some ten of each in a commit. False: not
// gathered.
bool Gather(File& log, std::span<const std::byte> data, sqlite3_int64 offset) {
  constexpr std::size_t kMaxGathered = 1 << 17;
  if (log.partner == nullptr || !log.partner->gathers_log) return false;
  if (log.gathered.empty()) log.gathered_at = offset;
  const auto end = log.gathered_at + static_cast<sqlite3_int64>(log.gathered.size());
  if (offset != end || log.gathered.size() + data.size() > kMaxGathered) return false;
  log.gathered.insert(log.gathered.end(), data.begin(), data.end());
  return true;
}

// The same after what was gathered for the log is written.
template <auto Member, class... Arguments>
int PassInOrder(sqlite3_file* file, Arguments... arguments) {
  if (const int code = WriteGathered(file); code != SQLITE_OK) return code;
  return Pass<Member>(file, arguments...);
}

int Close(sqlite3_file* file) {
  WriteGathered(file);
  const int code = Pass<&sqlite3_io_methods::xClose>(file);
  File& closed = Of(file);
  if (closed.partner != nullptr) closed.partner->partner = nullptr;
  closed.~File();
  new (file) sqlite3_file{};
  return code;
}

int Read(sqlite3_file* file, void* data, int amount, sqlite3_int64 offset) {
  const int code = PassInOrder<&sqlite3_io_methods::xRead>(file, data, amount, offset);
  // What a short read lacks is zeros.
  if (code != SQLITE_OK && code != SQLITE_IOERR_SHORT_READ) return code;
  const std::span read(static_cast<const std::byte*>(data), static_cast<std::size_t>(amount));
  try {
    int check = SQLITE_OK;
    if (Of(file).is_database) check = CheckRead(Of(file), read, offset);
    if (Of(file).is_log) {
      const bool is_header = offset == 0 && amount == kLogHeader && code == SQLITE_OK;
      check = is_header ? CheckLeftLog(file, read) : CheckLogRead(file, read, offset);
    }
    return check == SQLITE_OK ? code : check;
  } catch (const std::bad_alloc&) {
    return SQLITE_IOERR_NOMEM;
  }
}

int Write(sqlite3_file* file, const void* data, int amount, sqlite3_int64 offset) {
  File& own = Of(file);
  if (own.is_log) own.unfinished_from = std::min(own.unfinished_from, offset);
  const std::span page(static_cast<const std::byte*>(data), static_cast<std::size_t>(amount));
  try {
    if (own.is_database) {
      if (const auto* summed = WithChecksum(own, page, offset)) data = summed;
    }
    if (own.is_log) {
      if (own.failed != SQLITE_OK) return own.failed;
      if (Gather(own, page, offset)) return SQLITE_OK;
      if (const int code = WriteGathered(file); code != SQLITE_OK) return code;
      if (Gather(own, page, offset)) return SQLITE_OK;
    }
  } catch (const std::bad_alloc&) {
    return SQLITE_IOERR_NOMEM;
  }
  return Pass<&sqlite3_io_methods::xWrite>(file, data, amount, offset);
}

int Characteristics(sqlite3_file* file) {
  return Pass<&sqlite3_io_methods::xDeviceCharacteristics>(file) & ~kMayReadPartOfPage;
}

// Where each commit flushes the log, it may be gathered until then. Nobody is shown what is not in
// the file yet: on a device where a write may harm what lies beside it, SQLite fills the last
// sector of a commit, flushes, and writes the end of that filling after the flush.
void NotePragma(sqlite3_file* database, const void* arguments) {
  const auto* const texts = static_cast<const char* const*>(arguments);  // an answer, name, value
  if (texts[2] == nullptr || sqlite3_stricmp(texts[1], "synchronous") != 0) return;
  Of(database).gathers_log = sqlite3_stricmp(texts[2], "FULL") == 0 &&
                             (Characteristics(database) & SQLITE_IOCAP_POWERSAFE_OVERWRITE) != 0;
}

int Control(sqlite3_file* file, int question, void* answer) {
  File& own = Of(file);
  if (question == kAskDamage) {
    *static_cast<Damage*>(answer) = own.damage;
    return SQLITE_OK;
  }
  if (question == kSwapStrictness) {
    std::swap(*static_cast<bool*>(answer), own.is_strict);
    return SQLITE_OK;
  }
  if (question == SQLITE_FCNTL_PRAGMA && own.is_database) NotePragma(file, answer);
  if (question == SQLITE_FCNTL_CKPT_START && own.is_database) ReadHeader(file);
  const int code = Pass<&sqlite3_io_methods::xFileControl>(file, question, answer);
  if (question == SQLITE_FCNTL_VFSNAME && code == SQLITE_OK) {
    auto** const name = static_cast<char**>(answer);
    *name = sqlite3_mprintf("%s/%z", kName, *name);
  }
  return code;
}

int Sync(sqlite3_file* file, int flags) {
  if (Of(file).failed != SQLITE_OK) return Of(file).failed;
  return PassInOrder<&sqlite3_io_methods::xSync>(file, flags);
}

int LockShared(sqlite3_file* file, int first, int count, int flags) {
  const bool ends = first == kWriteLock && (flags & SQLITE_SHM_UNLOCK) != 0 &&
                    (flags & SQLITE_SHM_EXCLUSIVE) != 0;
  if (ends && Of(file).partner != nullptr) {
    File& log = *Of(file).partner;
    // Of a transaction that was taken back; a commit has flushed its own. Before the next writer,
    // whose frames may come to the same place.
    WriteGathered(&log);
    log.unfinished_from = kNowhere;
    log.failed = SQLITE_OK;
  }
  return Pass<&sqlite3_io_methods::xShmLock>(file, first, count, flags);
}

// Version 3 would let SQLite map pages, which nobody would check.
sqlite3_io_methods Methods(int version) {
  using Io = sqlite3_io_methods;
  Io methods{};
  methods.iVersion = version;
  methods.xClose = Close;
  methods.xRead = Read;
  methods.xWrite = Write;
  methods.xTruncate = PassInOrder<&Io::xTruncate, sqlite3_int64>;
  methods.xSync = Sync;
  methods.xFileSize = PassInOrder<&Io::xFileSize, sqlite3_int64*>;
  methods.xLock = Pass<&Io::xLock, int>;
  methods.xUnlock = Pass<&Io::xUnlock, int>;
  methods.xCheckReservedLock = Pass<&Io::xCheckReservedLock, int*>;
  methods.xFileControl = Control;
  methods.xSectorSize = Pass<&Io::xSectorSize>;
  methods.xDeviceCharacteristics = Characteristics;
  if (version < 2) return methods;
  methods.xShmMap = Pass<&Io::xShmMap, int, int, int, void volatile**>;
  methods.xShmLock = LockShared;
  methods.xShmBarrier = Pass<&Io::xShmBarrier>;
  methods.xShmUnmap = Pass<&Io::xShmUnmap, int>;
  return methods;
}

const sqlite3_io_methods* MethodsFor(const sqlite3_io_methods& beneath) {
  static const sqlite3_io_methods plain = Methods(1), with_log = Methods(2);
  return beneath.iVersion >= 2 && beneath.xShmMap != nullptr ? &with_log : &plain;
}

// --- The layer -----------------------------------------------------------------------------------

template <auto Member, class... Arguments>
auto PassOn(sqlite3_vfs*, Arguments... arguments) {
  auto* const beneath = BeneathUs();
  return (beneath->*Member)(beneath, arguments...);
}

int Open(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* flags_out) {
  auto* const beneath = BeneathUs();
  auto* const own = new (file) File{};
  own->pMethods = nullptr;
  const auto fail = [&](int code) {
    own->~File();
    new (file) sqlite3_file{};
    return code;
  };
  own->beneath.reset(new (std::nothrow) std::byte[static_cast<std::size_t>(beneath->szOsFile)]{});
  if (own->beneath == nullptr) return fail(SQLITE_NOMEM);
  const int code = beneath->xOpen(beneath, name, Beneath(file), flags, flags_out);
  const auto* const methods = Beneath(file)->pMethods;
  if (methods == nullptr) return fail(code);
  own->pMethods = MethodsFor(*methods);
  own->is_database = (flags & SQLITE_OPEN_MAIN_DB) != 0;
  own->is_log = (flags & SQLITE_OPEN_WAL) != 0;
  if (own->is_log && name != nullptr && code == SQLITE_OK) {
    own->partner = &Of(sqlite3_database_file_object(name));
    own->partner->partner = own;
  }
  return code;
}

sqlite3_vfs Layer() {
  using Vfs = sqlite3_vfs;
  Vfs layer{};
  layer.iVersion = 1;
  layer.szOsFile = static_cast<int>(sizeof(File));
  layer.mxPathname = BeneathUs()->mxPathname;
  layer.zName = kName;
  layer.xOpen = Open;
  layer.xDelete = PassOn<&Vfs::xDelete, const char*, int>;
  layer.xAccess = PassOn<&Vfs::xAccess, const char*, int, int*>;
  layer.xFullPathname = PassOn<&Vfs::xFullPathname, const char*, int, char*>;
  layer.xDlOpen = PassOn<&Vfs::xDlOpen, const char*>;
  layer.xDlError = PassOn<&Vfs::xDlError, int, char*>;
  layer.xDlSym = PassOn<&Vfs::xDlSym, void*, const char*>;
  layer.xDlClose = PassOn<&Vfs::xDlClose, void*>;
  layer.xRandomness = PassOn<&Vfs::xRandomness, int, char*>;
  layer.xSleep = PassOn<&Vfs::xSleep, int>;
  layer.xCurrentTime = PassOn<&Vfs::xCurrentTime, double*>;
  layer.xGetLastError = PassOn<&Vfs::xGetLastError, int, char*>;
  return layer;
}

}  // namespace

const char* ChecksumVfs() {
  static const bool is_registered = [] {
    sqlite3_initialize();
    static sqlite3_vfs layer = Layer();
    return sqlite3_vfs_register(&layer, 0) == SQLITE_OK;
  }();
  return is_registered ? kName : nullptr;
}

StrictPages::StrictPages(sqlite3* db) : db_(db) {
  sqlite3_file_control(db_, "main", kSwapStrictness, &before_);
  // Pages that were let pass may be in memory.
  sqlite3_db_release_memory(db_);
}

StrictPages::~StrictPages() { sqlite3_file_control(db_, "main", kSwapStrictness, &before_); }

std::string DamageOf(sqlite3* db) {
  Damage damage;
  sqlite3_file_control(db, "main", kAskDamage, &damage);
  if (damage.page == 0) return "its log does not match its checksum";
  return "page " + std::to_string(damage.page) + (damage.in_log ? " in its log" : "") +
         " does not match its checksum";
}

}  // namespace orvspc::engine::sql::sqlite
