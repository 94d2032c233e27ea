// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>
#include <map>
#include <tuple>

#include "engine/import/values_writer.h"
#include "engine/sql/counter.h"
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
  std::array<std::size_t, std::tuple_size_v<decltype(OpenMeasurement::shared)>> places{};
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

  void TakeLine();
  // Settles the types of tests.
  void Finish();

 private:
  bool SameSubgroupAsBefore() const;
  void FindMeasurement();
  std::size_t FindSubgroup(std::int32_t part, std::int32_t process, std::int32_t time);
  std::int64_t StreamOf(std::int32_t part, std::int32_t process, std::int32_t test);
  bool IsVariable();
  void TakeVariable(OpenMeasurement& open);
  void TakeAttribute(OpenMeasurement& open);
  store::RowKey KeyOf(std::int32_t tsno, std::int32_t sbno);
  void TakeShared(OpenMeasurement& open, std::size_t shared);
  void TakeDescriptors(OpenMeasurement& open);
  void TakeComment(OpenMeasurement& open);
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

  std::array<CellMemo, std::size(kColumns)> memos_;
  std::array<std::string, 5> before_;  // the first cells: part, process, test, subgroup, time
  OpenMeasurement* current_ = nullptr;
  TestState* current_test_ = nullptr;

  std::unordered_map<std::string, std::size_t> subgroup_places_;
  std::string key_;
  std::unordered_map<std::uint64_t, std::size_t> open_places_;  // subgroup's place and test

  std::map<std::tuple<std::int32_t, std::int32_t, std::int32_t>, std::int64_t> streams_;
  std::map<std::pair<std::size_t, std::string>, std::int32_t> descriptors_;
};

ValuesImport::ValuesImport(ImportFile& file)
    : file_(file), db_(file.db), table_(file.table), writer_(file, batch_) {
  const bool has_value = table_.Has(At("value"));
  if (has_value == table_.Has(At("count"))) {
    table_.Reader().Refuse(has_value ? "count" : "value", "",
                           has_value ? "a file has either value or count, not both"
                                     : "the file lacks this column, or count in its place");
  }
  batch_.has_size = table_.Has(At("size"));
  batch_.has_flag = table_.Has(At("flag"));
  sql::Query tests(db_, "SELECT id, type FROM test WHERE type <> 0");
  while (tests.Step()) batch_.tests[tests.Int(0)].type = tests.Int(1);
  sql::Query streams(db_, "SELECT part, process, test, id FROM stream");
  while (streams.Step()) {
    streams_[{streams.Int(0), streams.Int(1), streams.Int(2)}] = streams.Int64(3);
  }
}

bool ValuesImport::SameSubgroupAsBefore() const {
  for (std::size_t column = 0; column < before_.size(); ++column) {
    if (table_.Cell(column) != before_[column]) return false;
  }
  return current_ != nullptr;
}

void ValuesImport::TakeLine() {
  if (!SameSubgroupAsBefore()) {
    if (batch_.open_count >= file_.most_held) Flush();
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
  for (std::size_t i = 0; i < open.shared.size(); ++i) TakeShared(open, i);
  TakeDescriptors(open);
  TakeComment(open);
}

void ValuesImport::FindMeasurement() {
  const auto part = NameCell(At("part"), catalogue::ItemKind::Part);
  const auto process = NameCell(At("process"), catalogue::ItemKind::Process);
  const auto test = NameCell(At("test"), catalogue::ItemKind::Test);
  for (const std::size_t needed : {At("part"), At("process"), At("test"), At("subgroup")}) {
    table_.Name(needed);
  }
  const auto subgroup = FindSubgroup(part, process, table_.Stamp(At("time")));
  current_test_ = &batch_.tests[test];
  const auto key = (static_cast<std::uint64_t>(subgroup) << 32) | static_cast<std::uint32_t>(test);
  const auto [found, is_new] = open_places_.try_emplace(key, batch_.open_count);
  if (is_new) {
    if (batch_.open_count == batch_.open.size()) batch_.open.emplace_back();
    batch_.open[batch_.open_count].Start(subgroup, StreamOf(part, process, test), test,
                                         table_.Reader().Line());
    ++batch_.open_count;
  }
  current_ = &batch_.open[found->second];
}

std::size_t ValuesImport::FindSubgroup(std::int32_t part, std::int32_t process, std::int32_t time) {
  const std::int32_t words[] = {part, process, time};
  key_.assign(reinterpret_cast<const char*>(words), sizeof words);
  key_ += table_.Cell(At("subgroup"));
  const auto [found, is_new] = subgroup_places_.try_emplace(key_, batch_.subgroup_count);
  if (!is_new) return found->second;
  if (batch_.subgroup_count == batch_.subgroups.size()) batch_.subgroups.emplace_back();
  auto& subgroup = batch_.subgroups[batch_.subgroup_count];
  subgroup.part = part;
  subgroup.process = process;
  subgroup.time = time;
  subgroup.label = table_.Cell(At("subgroup"));
  subgroup.line = table_.Reader().Line();
  subgroup.descriptors.clear();
  return batch_.subgroup_count++;
}

std::int64_t ValuesImport::StreamOf(std::int32_t part, std::int32_t process, std::int32_t test) {
  auto& id = streams_[{part, process, test}];
  if (id == 0) {
    id = sql::TakeIds(db_, "stream");
    Run(db_, "INSERT INTO stream(id, part, process, test) VALUES(?1, ?2, ?3, ?4)", id, part,
        process, test);
  }
  return id;
}

std::int32_t ValuesImport::NameCell(std::size_t column, catalogue::ItemKind kind) {
  const auto cell = table_.Cell(column);
  if (cell.empty()) return 0;
  auto& memo = memos_[column];
  if (memo.id == 0 || memo.text != cell) {
    memo.id = file_.names.Take(kind, cell);
    memo.text = cell;
  }
  return memo.id;
}

// Settles the test's type as far as this line says it.
bool ValuesImport::IsVariable() {
  auto& test = *current_test_;
  const auto given =
      table_.Cell(At("test-type")).empty() ? 0 : kTypes[table_.WordOf(At("test-type"), kTypeWords)];
  if (given != 0 && test.type != 0 && given != test.type) {
    table_.Refuse(At("test-type"), "differs from the type that the test has");
  }
  if (test.type == 0) test.type = given == 0 && table_.Has(At("value")) ? ttVariable : given;
  if (test.type == ttVariable && !table_.Has(At("value"))) {
    table_.Refuse(At("count"), "the test has variable values; they belong into a column value");
  }
  return test.type == ttVariable;
}

store::RowKey ValuesImport::KeyOf(std::int32_t tsno, std::int32_t sbno) {
  store::RowKey key{0, tsno, sbno, 0, 0};
  for (std::size_t i = 0; i < kRowPlaces.size(); ++i) {
    key.*store::kRowKinds[i].member = NameCell(kRowPlaces[i], store::kRowKinds[i].kind);
  }
  return key;
}

void ValuesImport::TakeVariable(OpenMeasurement& open) {
  constexpr std::int32_t kMaxPiece = 1'000'000'000;  // pieces without a number count on from it
  const auto value = table_.Number(At("value"));
  const auto sbno = table_.Whole(At("sbno"), 0, INT32_MAX, 0);
  const auto tsno = table_.Whole(At("tsno"), 1, kMaxPiece, 0);
  auto& row = open.rows.emplace_back();
  row = {{value, KeyOf(tsno, sbno)}, table_.Reader().Line(), tsno == 0};
  open.Number(row);
}

void ValuesImport::TakeAttribute(OpenMeasurement& open) {
  const auto column = table_.Has(At("count")) ? At("count") : At("value");
  const auto tsno = table_.Whole(At("tsno"), 0, INT32_MAX, 0);
  const auto key = KeyOf(tsno, table_.Whole(At("sbno"), 0, INT32_MAX, 0));
  if (key.Def != 0) current_test_->names_defect = true;
  double count = 1.0;
  if (key.Def == 0 || !table_.Cell(column).empty()) count = table_.Number(column);
  if (!(count >= 0.0 && count <= kMaxCount) || count != std::floor(count)) {
    table_.Refuse(column, "must be a whole number between 0 and 1000000000");
  }
  if (count == 0.0 && tsno == 0) return;
  open.rows.push_back({{count, key}, table_.Reader().Line(), false});
}

void ValuesImport::TakeShared(OpenMeasurement& open, std::size_t shared) {
  const auto column = kSharedPlaces[shared];
  const auto text = table_.Cell(column);
  if (text.empty()) return;
  const double value = shared == kSharedSize ? SizeCell()
                       : shared == kSharedFlag
                           ? FlagCell()
                           : NameCell(column, store::kContextKinds[shared - kSharedContext].kind);
  auto& cell = open.shared[shared];
  if (cell.value != kNotGiven && cell.value != value) table_.Refuse(column, kDiffers);
  if (cell.value != kNotGiven) return;
  cell.value = value;
  cell.line = table_.Reader().Line();
  cell.text = text;
}

double ValuesImport::SizeCell() const {
  auto& test = *current_test_;
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
  const std::string_view group = table_.Extra()[extra].name;
  Run(db_, "INSERT INTO descriptor_group(name) VALUES(?1) ON CONFLICT DO NOTHING", group);
  file_.report.new_names +=
      Run(db_,
          "INSERT INTO descriptor(descriptor_group, name) "
          "SELECT id, ?2 FROM descriptor_group WHERE name = ?1 ON CONFLICT DO NOTHING",
          group, name);
  id = static_cast<std::int32_t>(
      *IntOf(db_,
             "SELECT d.id FROM descriptor d JOIN descriptor_group g ON g.id = d.descriptor_group "
             "WHERE g.name = ?1 AND d.name = ?2",
             group, name));
  return id;
}

void ValuesImport::TakeDescriptors(OpenMeasurement& open) {
  for (std::size_t i = 0; i < table_.Extra().size(); ++i) {
    const auto cell = table_.ExtraCell(i);
    if (cell.empty()) continue;
    batch_.subgroups[open.subgroup].descriptors.emplace(DescriptorId(i, cell),
                                                        table_.Whole(At("tsno"), 0, INT32_MAX, 0));
  }
}

void ValuesImport::TakeComment(OpenMeasurement& open) {
  const auto cell = table_.Cell(At("comment"));
  if (cell.empty()) return;
  OpenComment comment{table_.Whole(At("tsno"), 0, INT32_MAX, 0),
                      NameCell(At("employee"), catalogue::ItemKind::Employee), std::string(cell)};
  if (std::find(open.comments.begin(), open.comments.end(), comment) == open.comments.end()) {
    open.comments.push_back(std::move(comment));
  }
}

void ValuesImport::Flush() {
  writer_.Write();
  subgroup_places_.clear();
  open_places_.clear();
  current_ = nullptr;
}

void ValuesImport::Finish() {
  Flush();
  for (const auto& [id, test] : batch_.tests) {
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
  return [import] { import->TakeLine(); };
}

}  // namespace

constinit const KindOfFile kValuesKind{
    {ImportKind::Values, "values", "measurements and counts", kColumns}, BeginValues};

}  // namespace orvspc::engine::import
