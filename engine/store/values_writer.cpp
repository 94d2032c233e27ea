// SPDX-License-Identifier: Apache-2.0
#include "engine/store/values_writer.h"

#include <algorithm>
#include <tuple>

#include "platform/Enumerations.h"

namespace orvspc::engine {
namespace {

std::int32_t Pieces(std::span<const TestRow> rows) {
  return static_cast<std::int32_t>(std::count_if(
      rows.begin(), rows.end(), [](const TestRow& row) { return row.key.Sbno == 0; }));
}

}  // namespace

ValuesWriter::ValuesWriter(Connection& connection, const ImportTable& table, ValuesBatch& batch,
                           std::map<std::int32_t, TestState>& tests, ImportReport& report)
    : db_(connection), table_(table), batch_(batch), tests_(tests), report_(report) {}

void ValuesWriter::Prepare() {
  Query contexts(db_, "SELECT workstation, job, lot, shift, revision, employee, id FROM context");
  while (contexts.Step()) {
    contexts_[{contexts.Int(0), contexts.Int(1), contexts.Int(2), contexts.Int(3), contexts.Int(4),
               contexts.Int(5)}] = contexts.Int(6);
  }
  Query highest(db_, "SELECT ifnull(max(id), 0) FROM subgroup");
  if (highest.Step()) highest_before_ = highest.Int64(0);
}

void ValuesWriter::Write() {
  WriteSubgroups();
  WriteMeasurements();
  WriteComments();
  WriteDescriptors();
  batch_.subgroup_count = batch_.open_count = 0;
}

void ValuesWriter::WriteSubgroups() {
  Query insert(db_,
               "INSERT OR IGNORE INTO subgroup(part, process, label, time) VALUES(?1, ?2, ?3, ?4)");
  for (std::size_t i = 0; i < batch_.subgroup_count; ++i) {
    auto& subgroup = batch_.subgroups[i];
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

std::int32_t ValuesWriter::ContextId(const Context& context) {
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
void ValuesWriter::WriteMeasurements() {
  std::vector<std::pair<WrittenKey, OpenMeasurement*>> order;
  order.reserve(batch_.open_count);
  for (std::size_t i = 0; i < batch_.open_count; ++i) {
    const auto& subgroup = batch_.subgroups[batch_.open[i]->subgroup];
    order.emplace_back(WrittenKey{batch_.open[i]->stream, subgroup.time, subgroup.id},
                       batch_.open[i].get());
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
    } else if (key.subgroup <= highest_before_ && !added_to_old_.contains(key)) {
      if (stored == nullptr || open->line < stored->line) stored = open;
    } else {
      Merge(*open, key);
    }
  }
  if (stored != nullptr) {
    table_.RefuseAt(stored->line, kSubgroup, batch_.subgroups[stored->subgroup].label,
                    "the subgroup is already stored with this test");
  }
}

// Sorts and completes the rows and packs them.
void ValuesWriter::Finish(OpenMeasurement& open, const WrittenKey& key) {
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
    const auto twice =
        std::adjacent_find(open.rows.begin(), open.rows.end(),
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
void ValuesWriter::AddPieceValues(const OpenMeasurement& open) {
  for (auto from = open.rows.begin(); from != open.rows.end();) {
    const auto tsno = from->row.key.Tsno;
    const auto to = std::find_if(from, open.rows.end(),
                                 [&](const ImportRow& row) { return row.row.key.Tsno != tsno; });
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
void ValuesWriter::Merge(OpenMeasurement& open, const WrittenKey& key) {
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
      const bool is_derived =
          row.key.Sbno == 0 && std::count(derived.begin(), derived.end(), row.key.Tsno) > 0;
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

void ValuesWriter::RefuseDifference(const OpenMeasurement& open, std::size_t column) const {
  table_.RefuseAt(open.line, column, "",
                  "differs from an earlier line of the same subgroup and test");
}

// Named units with a count are one defective each, other rows as many as they say.
void ValuesWriter::CheckDefectives(const OpenMeasurement& open) {
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
  const auto& label = batch_.subgroups[open.subgroup].label;
  if (test.type == ttDefectives) table_.RefuseAt(open.line, kSubgroup, label, reason);
  if (test.excess_line == 0) {
    test.excess_line = open.line;
    test.excess = label + '\n' + reason;
  }
}

void ValuesWriter::WriteComments() {
  Query insert(db_,
               "INSERT INTO comment(subgroup, test, tsno, time, employee, note) "
               "VALUES(?1, ?2, ?3, ?4, ?5, ?6)");
  for (std::size_t i = 0; i < batch_.open_count; ++i) {
    const auto& open = *batch_.open[i];
    const auto& subgroup = batch_.subgroups[open.subgroup];
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

void ValuesWriter::WriteDescriptors() {
  Query insert(db_,
               "INSERT OR IGNORE INTO subgroup_descriptor(subgroup, descriptor, tsno) "
               "VALUES(?1, ?2, ?3)");
  for (std::size_t i = 0; i < batch_.subgroup_count; ++i) {
    for (const auto& [descriptor, tsno] : batch_.subgroups[i].descriptors) {
      insert.Bind(1, std::int64_t{batch_.subgroups[i].id})
          .Bind(2, std::int64_t{descriptor})
          .Bind(3, std::int64_t{tsno})
          .Run();
    }
  }
}

}  // namespace orvspc::engine
