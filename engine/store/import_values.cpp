// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <tuple>

#include "engine/store/SqliteStore.h"
#include "engine/store/import_table.h"
#include "engine/store/packing.h"
#include "platform/Enumerations.h"

namespace orvspc::engine {
namespace {

enum Column : std::size_t {
  kPart,
  kProcess,
  kTest,
  kSubgroup,
  kTime,
  kValue,
  kCount,
  kTsno,
  kSbno,
  kSize,
  kFlag,
  kJob,
  kLot,
  kShift,
  kRevision,
  kWorkstation,
  kEmployee,
  kGage,
  kSerial,
  kDefect,
  kComment,
  kTestType,
};
constexpr ColumnSpec kColumns[] = {
    {"part", true},     {"process", true}, {"test", true}, {"subgroup", true}, {"time", true},
    {"value", false},   {"count", false},  {"tsno", false}, {"sbno", false},   {"size", false},
    {"flag", false},    {"job", false},    {"lot", false}, {"shift", false},   {"revision", false},
    {"workstation", false}, {"employee", false}, {"gage", false}, {"serial", false},
    {"defect", false},  {"comment", false}, {"test-type", false},
};
static_assert(std::size(kColumns) == kTestType + 1);

constexpr std::size_t kMostOpen = 32768;  // (subgroup, test) held before they are written
constexpr std::int32_t kNotGiven = -1;

struct ImportRow {
  TestRow row;
  std::int64_t line = 0;
  bool is_numbered = false;  // tsno was counted, not given
};

struct OpenComment {
  std::int32_t tsno = 0, employee = 0;
  std::string note;
  friend bool operator==(const OpenComment&, const OpenComment&) = default;
};

// One subgroup, with what belongs to it as a whole.
struct OpenSubgroup {
  std::int32_t part = 0, process = 0, time = 0;
  std::string label;
  std::int64_t line = 0;
  std::int32_t id = 0;
  std::vector<std::pair<std::int32_t, std::int32_t>> descriptors;  // descriptor, tsno
};

// One (subgroup, test). Objects are used again, so that their storage is.
struct OpenMeasurement {
  std::size_t subgroup = 0;
  std::int64_t stream = 0;
  std::int32_t test = 0;
  std::int64_t line = 0;
  std::int32_t size = kNotGiven, flag = kNotGiven;
  std::int32_t highest_tsno = 0, last_sbno = 0;
  Context context;
  std::vector<ImportRow> rows;
  std::vector<OpenComment> comments;

  void Start(std::size_t in_subgroup, std::int64_t in_stream, std::int32_t of_test,
             std::int64_t at_line) {
    subgroup = in_subgroup;
    stream = in_stream;
    test = of_test;
    line = at_line;
    size = flag = kNotGiven;
    highest_tsno = last_sbno = 0;
    context = {};
    rows.clear();
    comments.clear();
  }
};

// The type of a new attribute test is known at the end of the file only.
struct TestState {
  std::int32_t type = 0;  // 0: attribute, open which
  bool names_defect = false;
  // First subgroup with more defectives than units, should the test turn out to be of defectives.
  std::int64_t excess_line = 0;
  std::string excess;
};

struct WrittenKey {
  std::int64_t stream;
  std::int32_t time, subgroup;
  friend auto operator<=>(const WrittenKey&, const WrittenKey&) = default;
};

// Remembers the text of the latest cell of a column, which is often that of the next.
struct CellMemo {
  std::string text;
  std::int32_t id = 0;
};

std::int32_t Pieces(std::span<const TestRow> rows) {
  return static_cast<std::int32_t>(std::count_if(
      rows.begin(), rows.end(), [](const TestRow& row) { return row.key.Sbno == 0; }));
}

class ValuesImport {
 public:
  explicit ValuesImport(const ImportContext& context)
      : db_(context.db),
        names_(context.db),
        table_(context.file, kColumns, context.options, "descriptor:") {}

  ImportReport Run();

 private:
  void Prepare();
  void TakeLine();
  bool SameSubgroupAsBefore() const;
  void FindMeasurement();
  std::size_t FindSubgroup(std::int32_t part, std::int32_t process, std::int32_t time);
  std::int64_t StreamOf(std::int32_t part, std::int32_t process, std::int32_t test);
  bool IsVariable();
  std::int32_t GivenType() const;
  void TakeVariable(OpenMeasurement& open);
  void TakeAttribute(OpenMeasurement& open);
  RowKey KeyOf(std::int32_t tsno, std::int32_t sbno);
  void TakeContext(OpenMeasurement& open);
  void TakeOnce(std::size_t column, std::int32_t& present, std::int32_t value);
  void TakeDescriptors(OpenMeasurement& open);
  void TakeComment(OpenMeasurement& open);
  std::int32_t NameCell(std::size_t column, ItemKind kind);
  std::int32_t FlagCell() const;
  std::int32_t DescriptorId(std::size_t extra, std::string_view name);

  void Flush();
  void WriteSubgroups();
  void WriteMeasurements();
  void WriteComments();
  void WriteDescriptors();
  void Merge(OpenMeasurement& open, const WrittenKey& key);
  void Finish(OpenMeasurement& open, const WrittenKey& key);
  void AddPieceValues(const OpenMeasurement& open);
  void CheckDefectives(const OpenMeasurement& open);
  [[noreturn]] void RefuseDifference(const OpenMeasurement& open, std::size_t column) const;
  std::int32_t ContextId(const Context& context);
  void SettleTestTypes();

  Connection& db_;
  ImportNames names_;
  ImportTable table_;
  ImportReport report_;

  std::array<CellMemo, std::size(kColumns)> memos_;
  std::array<std::string, 5> before_;  // cells of part, process, test, subgroup, time
  OpenMeasurement* current_ = nullptr;
  TestState* current_test_ = nullptr;

  std::vector<OpenSubgroup> subgroups_;
  std::size_t subgroup_count_ = 0;
  std::unordered_map<std::string, std::size_t> subgroup_places_;
  std::string key_;
  // By pointer: current_ must survive growth.
  std::vector<std::unique_ptr<OpenMeasurement>> open_;
  std::size_t open_count_ = 0;
  std::unordered_map<std::uint64_t, std::size_t> open_places_;  // subgroup's place and test

  std::map<std::int32_t, TestState> tests_;
  std::map<std::tuple<std::int32_t, std::int32_t, std::int32_t>, std::int64_t> streams_;
  std::map<Context, std::int32_t> contexts_;
  std::map<std::pair<std::size_t, std::string>, std::int32_t> descriptors_;
  std::int64_t highest_before_ = 0;  // identifier of a subgroup stored by earlier imports
  std::set<WrittenKey> added_to_old_;
  // Pieces whose value this import derived from readings.
  std::map<WrittenKey, std::vector<std::int32_t>> derived_;
  // What Finish made of the latest (subgroup, test).
  std::vector<TestRow> packed_rows_;
  std::vector<std::int32_t> derived_pieces_;
  std::int32_t packed_size_ = 0;
  std::vector<std::byte> packed_;
};

void ValuesImport::Prepare() {
  if (table_.Has(kValue) == table_.Has(kCount)) {
    table_.Reader().Refuse(table_.Has(kValue) ? "count" : "value", "",
                           table_.Has(kValue) ? "a file has either value or count, not both"
                                              : "the file lacks this column, or count in its place");
  }
  Query tests(db_, "SELECT id, type FROM test");
  while (tests.Step()) tests_[tests.Int(0)].type = tests.Int(1);
  Query streams(db_, "SELECT part, process, test, id FROM stream");
  while (streams.Step()) {
    streams_[{streams.Int(0), streams.Int(1), streams.Int(2)}] = streams.Int64(3);
  }
  Query contexts(db_,
                 "SELECT workstation, job, lot, shift, revision, employee, id FROM context");
  while (contexts.Step()) {
    contexts_[{contexts.Int(0), contexts.Int(1), contexts.Int(2), contexts.Int(3), contexts.Int(4),
               contexts.Int(5)}] = contexts.Int(6);
  }
  Query highest(db_, "SELECT ifnull(max(id), 0) FROM subgroup");
  if (highest.Step()) highest_before_ = highest.Int64(0);
}

ImportReport ValuesImport::Run() {
  Prepare();
  while (table_.Next()) TakeLine();
  Flush();
  SettleTestTypes();
  report_.lines = table_.Lines();
  report_.new_names += names_.Added();
  return report_;
}

bool ValuesImport::SameSubgroupAsBefore() const {
  for (std::size_t column = 0; column < before_.size(); ++column) {
    if (table_.Cell(column) != before_[column]) return false;
  }
  return current_ != nullptr;
}

void ValuesImport::TakeLine() {
  if (!SameSubgroupAsBefore()) {
    if (open_count_ >= kMostOpen) Flush();
    FindMeasurement();
    for (std::size_t column = 0; column < before_.size(); ++column) {
      before_[column] = table_.Cell(column);
    }
  }
  auto& open = *current_;
  if (IsVariable()) {
    TakeVariable(open);
  } else {
    TakeAttribute(open);
  }
  if (table_.Has(kSize) && !table_.Cell(kSize).empty()) {
    TakeOnce(kSize, open.size, table_.Whole(kSize, 0, INT32_MAX));
  }
  if (table_.Has(kFlag) && !table_.Cell(kFlag).empty()) {
    TakeOnce(kFlag, open.flag, FlagCell());
  }
  TakeContext(open);
  TakeDescriptors(open);
  TakeComment(open);
}

void ValuesImport::FindMeasurement() {
  const auto part = NameCell(kPart, ItemKind::Part);
  const auto process = NameCell(kProcess, ItemKind::Process);
  const auto test = NameCell(kTest, ItemKind::Test);
  if (part == 0) table_.Name(kPart);
  if (process == 0) table_.Name(kProcess);
  if (test == 0) table_.Name(kTest);
  table_.Name(kSubgroup);
  const auto subgroup = FindSubgroup(part, process, table_.Stamp(kTime));
  current_test_ = &tests_[test];
  const auto key = (static_cast<std::uint64_t>(subgroup) << 32) | static_cast<std::uint32_t>(test);
  const auto [found, is_new] = open_places_.try_emplace(key, open_count_);
  if (is_new) {
    if (open_count_ == open_.size()) open_.push_back(std::make_unique<OpenMeasurement>());
    open_[open_count_]->Start(subgroup, StreamOf(part, process, test), test,
                              table_.Reader().Line());
    ++open_count_;
  }
  current_ = open_[found->second].get();
}

std::size_t ValuesImport::FindSubgroup(std::int32_t part, std::int32_t process,
                                       std::int32_t time) {
  const std::int32_t words[] = {part, process, time};
  key_.assign(reinterpret_cast<const char*>(words), sizeof words);
  key_ += table_.Cell(kSubgroup);
  const auto [found, is_new] = subgroup_places_.try_emplace(key_, subgroup_count_);
  if (!is_new) return found->second;
  if (subgroup_count_ == subgroups_.size()) subgroups_.emplace_back();
  auto& subgroup = subgroups_[subgroup_count_];
  subgroup.part = part;
  subgroup.process = process;
  subgroup.time = time;
  subgroup.label = table_.Cell(kSubgroup);
  subgroup.line = table_.Reader().Line();
  subgroup.descriptors.clear();
  return subgroup_count_++;
}

std::int64_t ValuesImport::StreamOf(std::int32_t part, std::int32_t process, std::int32_t test) {
  auto& id = streams_[{part, process, test}];
  if (id == 0) {
    Query(db_, "INSERT INTO stream(part, process, test) VALUES(?1, ?2, ?3)")
        .Bind(1, std::int64_t{part})
        .Bind(2, std::int64_t{process})
        .Bind(3, std::int64_t{test})
        .Run();
    id = sqlite3_last_insert_rowid(db_.Get());
  }
  return id;
}

std::int32_t ValuesImport::NameCell(std::size_t column, ItemKind kind) {
  const auto cell = table_.Cell(column);
  if (cell.empty()) return 0;
  auto& memo = memos_[column];
  if (memo.id == 0 || memo.text != cell) {
    memo.id = names_.Take(kind, cell);
    memo.text = cell;
  }
  return memo.id;
}

std::int32_t ValuesImport::GivenType() const {
  const auto cell = table_.Cell(kTestType);
  if (cell.empty()) return 0;
  if (cell == "variable") return ttVariable;
  if (cell == "defects") return ttDefects;
  if (cell == "defectives") return ttDefectives;
  table_.Refuse(kTestType, "must be variable, defects or defectives");
}

// Settles the test's type as far as this line tells.
bool ValuesImport::IsVariable() {
  auto& test = *current_test_;
  const auto given = GivenType();
  if (given != 0 && test.type != 0 && given != test.type) {
    table_.Refuse(kTestType, "differs from the type that the test has");
  }
  if (test.type == 0) test.type = given == 0 && table_.Has(kValue) ? ttVariable : given;
  if (test.type == ttVariable && !table_.Has(kValue)) {
    table_.Refuse(kCount, "the test has variable values; they belong into a column value");
  }
  return test.type == ttVariable;
}

RowKey ValuesImport::KeyOf(std::int32_t tsno, std::int32_t sbno) {
  RowKey key{0, tsno, sbno, 0, 0};
  key.Sn = NameCell(kSerial, ItemKind::Serial);
  key.Def = NameCell(kDefect, ItemKind::Defect);
  key.Gage = NameCell(kGage, ItemKind::Gage);
  return key;
}

void ValuesImport::TakeVariable(OpenMeasurement& open) {
  const auto value = table_.Number(kValue);
  const auto sbno = table_.Whole(kSbno, 0, INT32_MAX, 0);
  auto tsno = table_.Whole(kTsno, 1, INT32_MAX, 0);
  const bool is_numbered = tsno == 0;
  if (is_numbered) {
    // Readings go on in the piece before while their number grows.
    const bool same_piece = sbno > open.last_sbno && open.highest_tsno > 0;
    tsno = same_piece ? open.highest_tsno : open.highest_tsno + 1;
  }
  open.highest_tsno = std::max(open.highest_tsno, tsno);
  open.last_sbno = sbno;
  open.rows.push_back({{value, KeyOf(tsno, sbno)}, table_.Reader().Line(), is_numbered});
}

void ValuesImport::TakeAttribute(OpenMeasurement& open) {
  const auto column = table_.Has(kCount) ? kCount : kValue;
  const auto tsno = table_.Whole(kTsno, 0, INT32_MAX, 0);
  const auto key = KeyOf(tsno, table_.Whole(kSbno, 0, INT32_MAX, 0));
  if (key.Def != 0) current_test_->names_defect = true;
  double count = 1.0;
  if (key.Def == 0 || !table_.Cell(column).empty()) count = table_.Number(column);
  if (count < 0.0 || count != std::floor(count)) {
    table_.Refuse(column, "must be a whole number, 0 or more");
  }
  if (count == 0.0 && tsno == 0) return;
  open.rows.push_back({{count, key}, table_.Reader().Line(), false});
}

void ValuesImport::TakeOnce(std::size_t column, std::int32_t& present, std::int32_t value) {
  if (present != kNotGiven && present != value) {
    table_.Refuse(column, "differs from an earlier line of the same subgroup and test");
  }
  present = value;
}

std::int32_t ValuesImport::FlagCell() const {
  const auto cell = table_.Cell(kFlag);
  if (cell == "enabled") return sfEnabled;
  if (cell == "disabled") return sfDisabled;
  if (cell == "incomplete") return sfIncomplete;
  return table_.Whole(kFlag, sfEnabled, sfIncomplete);
}

void ValuesImport::TakeContext(OpenMeasurement& open) {
  struct Part {
    std::size_t column;
    ItemKind kind;
    std::int32_t Context::*member;
  };
  static constexpr Part kParts[] = {
      {kWorkstation, ItemKind::Workstation, &Context::workstation},
      {kJob, ItemKind::Job, &Context::job},
      {kLot, ItemKind::Lot, &Context::lot},
      {kShift, ItemKind::Shift, &Context::shift},
      {kRevision, ItemKind::Revision, &Context::revision},
      {kEmployee, ItemKind::Employee, &Context::employee},
  };
  for (const auto& part : kParts) {
    if (!table_.Has(part.column)) continue;
    const auto id = NameCell(part.column, part.kind);
    if (id == 0) continue;
    auto& present = open.context.*part.member;
    if (present == 0) present = kNotGiven;
    TakeOnce(part.column, present, id);
  }
}

std::int32_t ValuesImport::DescriptorId(std::size_t extra, std::string_view name) {
  auto& id = descriptors_[{extra, std::string(name)}];
  if (id != 0) return id;
  const std::string_view group = table_.Extra()[extra].name;
  Query(db_, "INSERT OR IGNORE INTO descriptor_group(name) VALUES(?1)").Bind(1, group).Run();
  Query(db_,
        "INSERT OR IGNORE INTO descriptor(descriptor_group, name) "
        "SELECT id, ?2 FROM descriptor_group WHERE name = ?1")
      .Bind(1, group)
      .Bind(2, name)
      .Run();
  report_.new_names += sqlite3_changes(db_.Get());
  Query query(db_,
              "SELECT d.id FROM descriptor d JOIN descriptor_group g ON g.id = d.descriptor_group "
              "WHERE g.name = ?1 AND d.name = ?2");
  query.Bind(1, group).Bind(2, name);
  query.Step();
  id = query.Int(0);
  return id;
}

void ValuesImport::TakeDescriptors(OpenMeasurement& open) {
  for (std::size_t i = 0; i < table_.Extra().size(); ++i) {
    const auto cell = table_.ExtraCell(i);
    if (cell.empty()) continue;
    const std::pair descriptor(DescriptorId(i, cell), table_.Whole(kTsno, 0, INT32_MAX, 0));
    auto& list = subgroups_[open.subgroup].descriptors;
    if (std::find(list.begin(), list.end(), descriptor) == list.end()) list.push_back(descriptor);
  }
}

void ValuesImport::TakeComment(OpenMeasurement& open) {
  const auto cell = table_.Cell(kComment);
  if (cell.empty()) return;
  OpenComment comment{table_.Whole(kTsno, 0, INT32_MAX, 0),
                      NameCell(kEmployee, ItemKind::Employee), std::string(cell)};
  if (std::find(open.comments.begin(), open.comments.end(), comment) == open.comments.end()) {
    open.comments.push_back(std::move(comment));
  }
}

void ValuesImport::Flush() {
  WriteSubgroups();
  WriteMeasurements();
  WriteComments();
  WriteDescriptors();
  subgroup_places_.clear();
  open_places_.clear();
  subgroup_count_ = open_count_ = 0;
  current_ = nullptr;
}

void ValuesImport::WriteSubgroups() {
  Query insert(db_,
               "INSERT OR IGNORE INTO subgroup(part, process, label, time) VALUES(?1, ?2, ?3, ?4)");
  for (std::size_t i = 0; i < subgroup_count_; ++i) {
    auto& subgroup = subgroups_[i];
    insert.Bind(1, std::int64_t{subgroup.part})
        .Bind(2, std::int64_t{subgroup.process})
        .Bind(3, std::string_view(subgroup.label))
        .Bind(4, std::int64_t{subgroup.time})
        .Run();
    std::int64_t id = sqlite3_last_insert_rowid(db_.Get());
    if (sqlite3_changes(db_.Get()) == 0) {
      Query query(db_,
                  "SELECT id FROM subgroup "
                  "WHERE time = ?1 AND part = ?2 AND process = ?3 AND label = ?4");
      query.Bind(1, std::int64_t{subgroup.time})
          .Bind(2, std::int64_t{subgroup.part})
          .Bind(3, std::int64_t{subgroup.process})
          .Bind(4, std::string_view(subgroup.label));
      query.Step();
      id = query.Int64(0);
    } else {
      ++report_.subgroups;
    }
    if (id > INT32_MAX) {
      table_.RefuseAt(subgroup.line, kSubgroup, subgroup.label,
                      "the database has no identifier left for it");
    }
    subgroup.id = static_cast<std::int32_t>(id);
  }
}

std::int32_t ValuesImport::ContextId(const Context& context) {
  if (context == Context{}) return 0;
  auto& id = contexts_[context];
  if (id == 0) {
    Query(db_,
          "INSERT INTO context(workstation, job, lot, shift, revision, employee) "
          "VALUES(?1, ?2, ?3, ?4, ?5, ?6)")
        .BindReference(1, context.workstation)
        .BindReference(2, context.job)
        .BindReference(3, context.lot)
        .BindReference(4, context.shift)
        .BindReference(5, context.revision)
        .BindReference(6, context.employee)
        .Run();
    id = static_cast<std::int32_t>(sqlite3_last_insert_rowid(db_.Get()));
  }
  return id;
}

// In the order of the clustered table, so that neighbours are written together.
void ValuesImport::WriteMeasurements() {
  std::vector<std::pair<WrittenKey, OpenMeasurement*>> order;
  order.reserve(open_count_);
  for (std::size_t i = 0; i < open_count_; ++i) {
    const auto& subgroup = subgroups_[open_[i]->subgroup];
    order.emplace_back(WrittenKey{open_[i]->stream, subgroup.time, subgroup.id}, open_[i].get());
  }
  std::sort(order.begin(), order.end());
  Query insert(db_,
               "INSERT OR IGNORE INTO measurement(stream, time, subgroup, packed, context) "
               "VALUES(?1, ?2, ?3, ?4, ?5)");
  const OpenMeasurement* stored = nullptr;
  for (auto& [key, open] : order) {
    Finish(*open, key);
    insert.Bind(1, key.stream)
        .Bind(2, std::int64_t{key.time})
        .Bind(3, std::int64_t{key.subgroup})
        .Bind(4, std::span<const std::byte>(packed_))
        .BindReference(5, ContextId(open->context))
        .Run();
    const bool is_new = sqlite3_changes(db_.Get()) != 0;
    if (is_new) {
      report_.rows += static_cast<std::int64_t>(packed_rows_.size());
      CheckDefectives(*open);
      if (!derived_pieces_.empty()) derived_[key] = derived_pieces_;
      if (key.subgroup <= highest_before_) added_to_old_.insert(key);
    } else if (key.subgroup <= highest_before_ && added_to_old_.count(key) == 0) {
      if (stored == nullptr || open->line < stored->line) stored = open;
    } else {
      Merge(*open, key);
    }
  }
  if (stored != nullptr) {
    table_.RefuseAt(stored->line, kSubgroup, subgroups_[stored->subgroup].label,
                    "the subgroup is already stored with this test");
  }
}

// Sorts and completes the rows and packs them.
void ValuesImport::Finish(OpenMeasurement& open, const WrittenKey& key) {
  const bool is_variable = tests_[open.test].type == ttVariable;
  packed_rows_.clear();
  derived_pieces_.clear();
  if (is_variable) {
    const auto by_place = [](const ImportRow& a, const ImportRow& b) {
      return std::tie(a.row.key.Tsno, a.row.key.Sbno) < std::tie(b.row.key.Tsno, b.row.key.Sbno);
    };
    if (!std::is_sorted(open.rows.begin(), open.rows.end(), by_place)) {
      std::stable_sort(open.rows.begin(), open.rows.end(), by_place);
    }
    const auto twice = std::adjacent_find(
        open.rows.begin(), open.rows.end(),
        [&](const ImportRow& a, const ImportRow& b) { return !by_place(a, b); });
    if (twice != open.rows.end()) {
      table_.RefuseAt(std::max(twice->line, std::next(twice)->line), kTsno,
                      std::to_string(twice->row.key.Tsno),
                      "the subgroup has this piece, with this sbno, already");
    }
    AddPieceValues(open);
  } else {
    for (const auto& row : open.rows) packed_rows_.push_back(row.row);
  }
  if (packed_rows_.empty()) packed_rows_.emplace_back();
  packed_size_ = open.size;
  if (open.size == kNotGiven) packed_size_ = is_variable ? Pieces(packed_rows_) : 0;
  Pack({key.time, key.subgroup, packed_size_, std::max(open.flag, 0)}, packed_rows_, packed_);
}

// Copies the rows; a piece that has only readings gets their mean as its value.
void ValuesImport::AddPieceValues(const OpenMeasurement& open) {
  for (auto from = open.rows.begin(); from != open.rows.end();) {
    const auto tsno = from->row.key.Tsno;
    const auto to = std::find_if(from, open.rows.end(), [&](const ImportRow& row) {
      return row.row.key.Tsno != tsno;
    });
    if (from->row.key.Sbno != 0) {
      auto piece = from->row;
      piece.value = 0.0;
      for (auto row = from; row != to; ++row) {
        piece.value += row->row.value / static_cast<double>(to - from);
      }
      piece.key.Sbno = 0;
      piece.key.Def = 0;
      packed_rows_.push_back(piece);
      derived_pieces_.push_back(tsno);
    }
    for (; from != to; ++from) packed_rows_.push_back(from->row);
  }
}

// A subgroup of this file comes back after it was written: its rows are put together.
void ValuesImport::Merge(OpenMeasurement& open, const WrittenKey& key) {
  std::int32_t size = kNotGiven, flag = 0, context = 0;
  std::vector<ImportRow> rows;
  {
    Query query(db_,
                "SELECT packed, ifnull(context, 0) FROM measurement "
                "WHERE stream = ?1 AND time = ?2 AND subgroup = ?3");
    query.Bind(1, key.stream).Bind(2, std::int64_t{key.time}).Bind(3, std::int64_t{key.subgroup});
    query.Step();
    const auto view = PackedView::Of(query.Blob(0));
    if (!view) throw SqlError(SQLITE_CORRUPT, "a packed record does not fit its checksum");
    size = view->Size();
    flag = view->Flag();
    context = query.Int(1);
    const auto& derived = derived_[key];
    for (std::size_t i = 0; i < view->Count(); ++i) {
      const TestRow row{view->Value(i), view->Key(i)};
      const bool is_derived = row.key.Sbno == 0 &&
                              std::count(derived.begin(), derived.end(), row.key.Tsno) > 0;
      if (!is_derived && !(row == TestRow{})) rows.push_back({row, open.line, false});
    }
    report_.rows -= static_cast<std::int64_t>(view->Count());
  }
  const bool is_variable = tests_[open.test].type == ttVariable;
  std::int32_t highest = 0;
  for (const auto& row : rows) highest = std::max(highest, row.row.key.Tsno);
  for (auto& row : open.rows) {
    if (row.is_numbered) row.row.key.Tsno += highest;
  }
  const bool was_counted = is_variable && size == highest;
  if (open.size == kNotGiven) {
    if (!was_counted) open.size = size;
  } else if (size != open.size && !was_counted) {
    RefuseDifference(open, kSize);
  }
  if (open.flag == kNotGiven) open.flag = flag;
  auto own_context = ContextId(open.context);
  if (own_context == 0) own_context = context;
  if (context != 0 && own_context != context) RefuseDifference(open, kJob);
  open.rows.insert(open.rows.begin(), rows.begin(), rows.end());
  Finish(open, key);
  CheckDefectives(open);
  if (!derived_pieces_.empty()) derived_[key] = derived_pieces_;
  Query(db_,
        "UPDATE measurement SET packed = ?4, context = ?5 "
        "WHERE stream = ?1 AND time = ?2 AND subgroup = ?3")
      .Bind(1, key.stream)
      .Bind(2, std::int64_t{key.time})
      .Bind(3, std::int64_t{key.subgroup})
      .Bind(4, std::span<const std::byte>(packed_))
      .BindReference(5, own_context)
      .Run();
  report_.rows += static_cast<std::int64_t>(packed_rows_.size());
}

void ValuesImport::RefuseDifference(const OpenMeasurement& open, std::size_t column) const {
  table_.RefuseAt(open.line, column, "",
                  "differs from an earlier line of the same subgroup and test");
}

// Named units with a count are one defective each, other rows as many as they say.
void ValuesImport::CheckDefectives(const OpenMeasurement& open) {
  auto& test = tests_[open.test];
  const auto size = packed_size_;
  if (size <= 0 || (test.type != 0 && test.type != ttDefectives)) return;
  double defectives = 0.0;
  std::map<std::int32_t, double> units;
  for (const auto& row : open.rows) {
    if (row.row.key.Tsno == 0) {
      defectives += row.row.value;
    } else {
      auto& worst = units[row.row.key.Tsno];
      worst = std::max(worst, row.row.value);
    }
  }
  for (const auto& unit : units) defectives += unit.second;
  if (defectives <= size) return;
  const auto reason = "more defectives (" + std::to_string(static_cast<std::int64_t>(defectives)) +
                      ") than units inspected (" + std::to_string(size) + ")";
  const auto& label = subgroups_[open.subgroup].label;
  if (test.type == ttDefectives) table_.RefuseAt(open.line, kSubgroup, label, reason);
  if (test.excess_line == 0) {
    test.excess_line = open.line;
    test.excess = label + '\n' + reason;
  }
}

void ValuesImport::WriteComments() {
  Query insert(db_,
               "INSERT INTO comment(subgroup, test, tsno, time, employee, note) "
               "VALUES(?1, ?2, ?3, ?4, ?5, ?6)");
  for (std::size_t i = 0; i < open_count_; ++i) {
    const auto& open = *open_[i];
    const auto& subgroup = subgroups_[open.subgroup];
    for (const auto& comment : open.comments) {
      insert.Bind(1, std::int64_t{subgroup.id})
          .Bind(2, std::int64_t{open.test})
          .Bind(3, std::int64_t{comment.tsno})
          .Bind(4, std::int64_t{subgroup.time})
          .BindReference(5, comment.employee)
          .Bind(6, std::string_view(comment.note))
          .Run();
    }
  }
}

void ValuesImport::WriteDescriptors() {
  Query insert(db_,
               "INSERT OR IGNORE INTO subgroup_descriptor(subgroup, descriptor, tsno) "
               "VALUES(?1, ?2, ?3)");
  for (std::size_t i = 0; i < subgroup_count_; ++i) {
    for (const auto& [descriptor, tsno] : subgroups_[i].descriptors) {
      insert.Bind(1, std::int64_t{subgroups_[i].id})
          .Bind(2, std::int64_t{descriptor})
          .Bind(3, std::int64_t{tsno})
          .Run();
    }
  }
}

void ValuesImport::SettleTestTypes() {
  for (const auto& [id, test] : tests_) {
    const auto type = test.type != 0 ? test.type : test.names_defect ? ttDefects : ttDefectives;
    if (test.type == 0 && type == ttDefectives && test.excess_line != 0) {
      const auto cut = test.excess.find('\n');
      table_.RefuseAt(test.excess_line, kSubgroup, test.excess.substr(0, cut),
                      test.excess.substr(cut + 1));
    }
    Query(db_, "UPDATE test SET type = ?2 WHERE id = ?1 AND type <> ?2")
        .Bind(1, std::int64_t{id})
        .Bind(2, std::int64_t{type})
        .Run();
  }
}

}  // namespace

ImportReport ImportValues(const ImportContext& context) { return ValuesImport(context).Run(); }

}  // namespace orvspc::engine
