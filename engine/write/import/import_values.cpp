// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>
#include <map>
#include <utility>

#include "engine/write/import/values_writer.h"
#include "platform/Enumerations.h"

namespace orvspc::engine::import {
namespace {

constexpr ImportColumn kColumns[] = {
    {"part", kRequired,
     "name; part, process and test together are a stream with limits of its own"},
    {"process", kRequired, "name"},
    {"test", kRequired, "name"},
    {"subgroup", kRequired, "a label; part, process, time and label identify a subgroup"},
    {"time", kRequired, "of the subgroup"},
    {"value", kOptional, "a measured value; a file has this column or count"},
    {"count", kOptional, "number of defects or defectives, 0 to 1000000000; 0: inspected, none"},
    {"tsno", kOptional, "number of the piece; 1, 2, ... in the order of the file unless given"},
    {"sbno", kOptional,
     "above 0: a reading within the piece, whose value is the line with sbno 0, else the mean"},
    {"size", kOptional,
     "units inspected, whole; of a test of defects also a fraction, such as bed days. Without it a "
     "variable test has its number of pieces, and a count has no size (only a c chart)"},
    {"flag", kOptional, "enabled, disabled, incomplete or 0, 1, 2"},
    {"job", kOptional, "name"},
    {"lot", kOptional, "name"},
    {"shift", kOptional, "name"},
    {"revision", kOptional, "name"},
    {"workstation", kOptional, "name"},
    {"employee", kOptional, "name"},
    {"gage", kOptional, "name"},
    {"serial", kOptional, "name"},
    {"defect", kOptional, "a defect code; an empty count beside it is 1"},
    {"comment", kOptional, "for the subgroup and test, or for the piece if tsno is given"},
    {"test-type", kOptional,
     "variable, defects or defectives; unless given a new test with counts is one of defects if a "
     "line names a defect, else of defectives"},
    {"descriptor:NAME", kOptional, "a value of your own dimension NAME"},
};
using At = PlaceIn<kColumns>;

// The places of the columns that SharedColumn names.
constexpr auto kSharedPlaces = [] {
  std::array<std::size_t, kSharedColumns> places{};
  for (std::size_t i = 0; i < places.size(); ++i) places[i] = PlaceOf(kColumns, SharedColumn(i));
  return places;
}();

constexpr auto kRowPlaces = [] {
  std::array<std::size_t, std::size(store::kRowKinds)> places{};
  std::ranges::transform(store::kRowKinds, places.begin(),
                         [](const auto& each) { return PlaceOf(kColumns, each.column); });
  return places;
}();

constexpr std::int32_t kTypes[] = {ttVariable, ttDefects, ttDefectives};
constexpr std::string_view kTypeWords[] = {"variable", "defects", "defectives"};

constexpr double kMaxCount = 1e9;  // of one line

// Remembers the text of the latest cell of a column, which is often that of the next.
struct CellMemo {
  std::string text;
  std::int32_t id = 0;
};

class ValuesImport {
 public:
  explicit ValuesImport(ImportFile& file);

  // Takes the line at hand, and those that follow it and differ in nothing but their value.
  void TakeLines();
  // Settles the types of tests.
  void Finish();

 private:
  void TakeLine();
  bool IsSameRecord() const;
  void FindRecord();
  bool IsSameStream() const;
  const ImportStream& StreamOf(std::int32_t part, std::int32_t process, std::int32_t test);
  void SettleType();
  void TakeKey(std::int32_t tsno, std::int32_t sbno);
  void TakeVariable();
  void TakeValue(double value);
  void TakeAttribute();
  void TakeCount(double count);
  void TakeShared(std::size_t shared, SharedCell& cell);
  void TakeDescriptors();
  void TakeComment();
  std::int32_t NameCell(std::size_t column, catalogue::ItemKind kind);
  double SizeCell() const;
  std::int32_t FlagCell() const;
  std::int32_t DescriptorId(std::size_t extra, std::string_view name);
  void Flush();

  ImportFile& file_;
  sql::Connection& db_;
  const ImportTable& table_;
  ValuesBatch batch_;
  ValuesWriter writer_;
  std::size_t value_column_;  // value or count

  std::array<CellMemo, std::size(kColumns)> memos_;
  std::map<std::int32_t, TestState> tests_;
  std::map<std::array<std::int32_t, 3>, ImportStream> streams_;
  std::map<std::string, std::int64_t> descriptor_groups_;
  std::map<std::pair<std::size_t, std::string>, std::int32_t> descriptors_;

  // Of the latest line.
  const ImportStream* stream_ = nullptr;
  std::int32_t time_ = 0;
  bool is_found_ = false;  // subgroup and record are places of the batch
  std::uint32_t subgroup_ = 0, record_ = 0;
  store::RowKey key_{};
  bool is_numbered_ = false;  // for want of a tsno
};

ValuesImport::ValuesImport(ImportFile& file)
    : file_(file),
      db_(file.db),
      table_(file.table),
      writer_(file, batch_),
      value_column_(file.table.Has(At("value")) ? At("value") : At("count")) {
  const bool has_value = table_.Has(At("value"));
  if (has_value == table_.Has(At("count"))) {
    table_.Reader().Refuse(has_value ? "count" : "value", "",
                           has_value ? "a file has either value or count, not both"
                                     : "the file lacks this column, or count in its place");
  }
  for (std::size_t i = 0; i < kSharedColumns; ++i) {
    if (table_.Has(kSharedPlaces[i])) batch_.shared_columns.push_back(i);
  }
  batch_.is_numbered = !table_.Has(At("tsno"));
  sql::Query tests(db_, "SELECT id, type FROM test WHERE type <> 0");
  while (tests.Step()) tests_[tests.Int(0)].type = tests.Int(1);
  sql::Query groups(db_, "SELECT name, id FROM descriptor_group");
  while (groups.Step()) descriptor_groups_.emplace(groups.Text(0), groups.Int64(1));
  sql::Query streams(db_, "SELECT part, process, test, id FROM stream");
  while (streams.Step()) {
    const std::array key{streams.Int(0), streams.Int(1), streams.Int(2)};
    streams_[key] = {streams.Int64(3), key[0], key[1], key[2], nullptr};
  }
}

void ValuesImport::TakeLines() {
  TakeLine();
  const bool is_variable = stream_->state->type == ttVariable;
  for (double value = 0.0; file_.table.NextAlike(value_column_, value);) {
    if (is_variable) {
      TakeValue(value);
    } else {
      TakeCount(value);
    }
  }
}

void ValuesImport::TakeLine() {
  const bool is_same_record = IsSameRecord();
  if (is_same_record ? batch_.IsFullOfText() : batch_.IsFull(file_.most_held)) Flush();
  if (!is_found_ || !is_same_record) FindRecord();
  SettleType();
  if (stream_->state->type == ttVariable) {
    TakeVariable();
  } else {
    TakeAttribute();
  }
  const auto shared = batch_.SharedOf(record_);
  for (std::size_t i = 0; i < shared.size(); ++i) TakeShared(batch_.shared_columns[i], shared[i]);
  TakeDescriptors();
  TakeComment();
}

bool ValuesImport::IsSameStream() const {
  return stream_ != nullptr && !table_.Differs(At("part")) && !table_.Differs(At("process")) &&
         !table_.Differs(At("test"));
}

bool ValuesImport::IsSameRecord() const {
  return is_found_ && !table_.Differs(At("subgroup")) && !table_.Differs(At("time")) &&
         IsSameStream();
}

void ValuesImport::FindRecord() {
  const auto* const before = stream_;
  bool is_same_subgroup = is_found_ && !table_.Differs(At("subgroup"));
  if (!IsSameStream()) {
    const auto part = NameCell(At("part"), catalogue::ItemKind::Part);
    const auto process = NameCell(At("process"), catalogue::ItemKind::Process);
    const auto test = NameCell(At("test"), catalogue::ItemKind::Test);
    for (const std::size_t needed : {At("part"), At("process"), At("test")}) table_.Name(needed);
    stream_ = &StreamOf(part, process, test);
    is_same_subgroup = is_same_subgroup && part == before->part && process == before->process;
  }
  table_.Name(At("subgroup"));
  if (before == nullptr || table_.Differs(At("time"))) {
    time_ = table_.Stamp(At("time"));
    is_same_subgroup = false;
  }
  const auto line = table_.Reader().Line();
  if (!is_same_subgroup) {
    subgroup_ = batch_.SubgroupAt(*stream_, time_, table_.Cell(At("subgroup")), line);
  }
  record_ = batch_.RecordAt(subgroup_, *stream_, line);
  is_found_ = true;
}

const ImportStream& ValuesImport::StreamOf(std::int32_t part, std::int32_t process,
                                           std::int32_t test) {
  auto& stream = streams_[{part, process, test}];
  if (stream.id == 0) {
    static const auto insert = InsertNew("stream(part, process, test)");
    stream = {Add(db_, insert, part, process, test), part, process, test, nullptr};
  }
  if (stream.state == nullptr) stream.state = &tests_[test];
  return stream;
}

std::int32_t ValuesImport::NameCell(std::size_t column, catalogue::ItemKind kind) {
  const auto cell = table_.Cell(column);
  if (cell.empty()) return 0;
  auto& memo = memos_[column];
  if (memo.id == 0 || memo.text != cell) {
    memo.id = file_.Take(column, kind, cell);
    memo.text = cell;
  }
  return memo.id;
}

// Settles the test's type as far as this line says it.
void ValuesImport::SettleType() {
  auto& test = *stream_->state;
  const auto given =
      table_.Cell(At("test-type")).empty() ? 0 : kTypes[table_.WordOf(At("test-type"), kTypeWords)];
  if (given != 0 && test.type != 0 && given != test.type) {
    table_.Refuse(At("test-type"), "differs from the type that the test has");
  }
  const bool has_value = table_.Has(At("value"));
  if (test.type == 0) test.type = given == 0 && has_value ? ttVariable : given;
  if (test.type == ttVariable && !has_value) {
    table_.Refuse(At("count"), "the test has variable values; they belong into a column value");
  }
}

void ValuesImport::TakeKey(std::int32_t tsno, std::int32_t sbno) {
  key_ = {0, tsno, sbno, 0, 0};
  for (std::size_t i = 0; i < kRowPlaces.size(); ++i) {
    key_.*store::kRowKinds[i].member = NameCell(kRowPlaces[i], store::kRowKinds[i].kind);
  }
}

void ValuesImport::TakeVariable() {
  constexpr std::int32_t kMaxPiece = 1'000'000'000;  // pieces without a number count on from it
  const auto value = table_.Number(At("value"));
  const auto sbno = table_.Whole(At("sbno"), 0, INT32_MAX, 0);
  TakeKey(table_.Whole(At("tsno"), 1, kMaxPiece, 0), sbno);
  is_numbered_ = key_.Tsno == 0;
  TakeValue(value);
}

void ValuesImport::TakeValue(double value) {
  auto key = key_;
  batch_.records[record_].Number(key, is_numbered_);
  batch_.AddRow(record_, value, key, is_numbered_, table_.Reader().Line());
}

void ValuesImport::TakeAttribute() {
  const auto tsno = table_.Whole(At("tsno"), 0, INT32_MAX, 0);
  TakeKey(tsno, table_.Whole(At("sbno"), 0, INT32_MAX, 0));
  if (key_.Def != 0) stream_->state->names_defect = true;
  const bool is_given = key_.Def == 0 || !table_.Cell(value_column_).empty();
  TakeCount(is_given ? table_.Number(value_column_) : 1.0);
}

void ValuesImport::TakeCount(double count) {
  if (!(count >= 0.0 && count <= kMaxCount) || count != std::floor(count)) {
    table_.Refuse(value_column_, "must be a whole number between 0 and 1000000000");
  }
  if (count == 0.0 && key_.Tsno == 0) return;
  batch_.AddRow(record_, count, key_, false, table_.Reader().Line());
}

void ValuesImport::TakeShared(std::size_t shared, SharedCell& cell) {
  const auto column = kSharedPlaces[shared];
  const auto text = table_.Cell(column);
  if (text.empty()) return;
  const double value = shared == kSharedSize ? SizeCell()
                       : shared == kSharedFlag
                           ? FlagCell()
                           : NameCell(column, store::kContextKinds[shared - kSharedContext].kind);
  if (cell.value != kNotGiven && cell.value != value) table_.Refuse(column, kDiffers);
  if (cell.value != kNotGiven) return;
  cell = {value, table_.Reader().Line(), batch_.Add(text)};
}

double ValuesImport::SizeCell() const {
  auto& test = *stream_->state;
  if (test.type == ttVariable || test.type == ttDefectives) {
    return table_.Whole(At("size"), 0, INT32_MAX);
  }
  const double size = table_.Number(At("size"));
  if (!(size >= 0.0 && size <= INT32_MAX)) return table_.Whole(At("size"), 0, INT32_MAX);
  if (test.type == 0 && test.fraction_line == 0 && size != std::floor(size)) {
    test.fraction_line = table_.Reader().Line();
    test.fraction = table_.Cell(At("size"));
  }
  return size;
}

std::int32_t ValuesImport::FlagCell() const {
  const auto cell = table_.Cell(At("flag"));
  if (cell == "enabled") return sfEnabled;
  if (cell == "disabled") return sfDisabled;
  if (cell == "incomplete") return sfIncomplete;
  return table_.Whole(At("flag"), sfEnabled, sfIncomplete);
}

std::int32_t ValuesImport::DescriptorId(std::size_t extra, std::string_view name) {
  auto& id = descriptors_[{extra, std::string(name)}];
  if (id != 0) return id;
  static const auto insert_group = InsertNew("descriptor_group(name)");
  static const auto insert = InsertNew("descriptor(descriptor_group, name)");
  const std::string_view name_of_group = table_.Extra()[extra].name;
  auto& group = descriptor_groups_[std::string(name_of_group)];
  const bool is_new = group == 0;
  if (is_new) group = Add(db_, insert_group, name_of_group);
  const auto found = is_new ? FoundRow{Add(db_, insert, group, name), true}
                            : FindOrAdd(db_,
                                        "SELECT id FROM descriptor WHERE descriptor_group = ?1 "
                                        "AND name = ?2",
                                        insert, group, name);
  if (found.is_new) ++file_.report.new_names;
  return id = static_cast<std::int32_t>(found.id);
}

void ValuesImport::TakeDescriptors() {
  for (std::size_t i = 0; i < table_.Extra().size(); ++i) {
    const auto cell = table_.ExtraCell(i);
    if (cell.empty()) continue;
    const auto descriptor = DescriptorId(i, cell);
    batch_.AddDescriptor({subgroup_, descriptor, table_.Whole(At("tsno"), 0, INT32_MAX, 0)});
  }
}

void ValuesImport::TakeComment() {
  const auto cell = table_.Cell(At("comment"));
  if (cell.empty()) return;
  const auto tsno = table_.Whole(At("tsno"), 0, INT32_MAX, 0);
  const auto employee = NameCell(At("employee"), catalogue::ItemKind::Employee);
  batch_.AddComment(record_, {tsno, employee, std::string(cell)});
}

void ValuesImport::Flush() {
  writer_.Write();
  batch_.Clear();
  is_found_ = false;
}

void ValuesImport::Finish() {
  Flush();
  writer_.Finish();
  for (const auto& [id, test] : tests_) {
    const auto type = test.type != 0 ? test.type : test.names_defect ? ttDefects : ttDefectives;
    if (type == ttDefectives && test.excess_line != 0) {
      const auto cut = test.excess.find('\n');
      table_.Reader().RefuseAt(test.excess_line, "subgroup", test.excess.substr(0, cut),
                               test.excess.substr(cut + 1));
    }
    if (type == ttDefectives && test.fraction_line != 0) {
      table_.Reader().RefuseAt(test.fraction_line, "size", test.fraction, kWholeSize);
    }
    Run(db_, "UPDATE test SET type = ?2 WHERE id = ?1 AND type <> ?2", id, type);
  }
}

LineTaker BeginValues(ImportFile& file) {
  const auto import = std::make_shared<ValuesImport>(file);
  file.finish = [import] { import->Finish(); };
  return [import] { import->TakeLines(); };
}

}  // namespace

constinit const KindOfFile kValuesKind{
    {ImportKind::Values, "values", "measurements and counts", kColumns}, BeginValues};

}  // namespace orvspc::engine::import
