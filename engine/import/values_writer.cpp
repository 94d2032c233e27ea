// SPDX-License-Identifier: Apache-2.0
#include "engine/import/values_writer.h"

#include <algorithm>
#include <tuple>

#include "engine/sql/counter.h"
#include "engine/store/StreamWalk.h"
#include "platform/Enumerations.h"

namespace orvspc::engine::import {
namespace {

// A statement with the columns of the context.
std::string WithColumns(std::string_view before, std::string_view after) {
  return std::string(before) + store::ContextColumns() + std::string(after);
}

}  // namespace

ValuesWriter::ValuesWriter(ImportFile& file, ValuesBatch& batch)
    : file_(file), db_(file.db), batch_(batch) {
  static const auto text = WithColumns("SELECT ", ", id FROM context");
  sql::Query contexts(db_, text);
  for (store::Context context{}; contexts.Step();) {
    contexts.Read(context);
    contexts_[context] = contexts.Int(context.size());
  }
  highest_before_ = sql::LastId(db_, "subgroup");
}

void ValuesWriter::Write() {
  WriteSubgroups();
  WriteMeasurements();
  WriteComments();
  WriteDescriptors();
  batch_.subgroup_count = batch_.open_count = 0;
}

void ValuesWriter::WriteSubgroups() {
  std::vector<store::SubgroupFacts> facts;
  for (std::size_t i = 0; i < batch_.subgroup_count; ++i) {
    const auto& subgroup = batch_.subgroups[i];
    facts.push_back({0, subgroup.part, subgroup.process, subgroup.time, subgroup.label});
  }
  const auto stored = store::FindSubgroups(db_, facts);
  const auto added = std::ranges::count(stored, 0);
  auto next = sql::TakeIds(db_, "subgroup", added);
  store::SubgroupWriter writer(db_);
  for (std::size_t i = 0; i < facts.size(); ++i) {
    auto& subgroup = batch_.subgroups[i];
    subgroup.is_new = stored[i] == 0;
    subgroup.id = stored[i];
    if (!subgroup.is_new) continue;
    if (next > INT32_MAX) {
      file_.table.Reader().RefuseAt(subgroup.line, "subgroup", subgroup.label,
                                    "the database has no identifier left for it");
    }
    facts[i].id = subgroup.id = static_cast<std::int32_t>(next++);
    writer.Add(facts[i]);
  }
  writer.Flush();
  store::SealSubgroups(db_);
  file_.report.subgroups += added;
}

std::int32_t ValuesWriter::ContextId(const store::Context& context) {
  if (context == store::Context{}) return 0;
  auto& id = contexts_[context];
  if (id == 0) {
    static const auto insert = InsertInto(WithColumns("context(id, ", ")"));
    std::array<Reference, std::tuple_size_v<store::Context>> names;
    std::ranges::transform(context, names.begin(), [](auto name) { return Reference{name}; });
    const auto taken = sql::TakeIds(db_, "context");
    Run(db_, insert, taken, names);
    id = static_cast<std::int32_t>(taken);
  }
  return id;
}

store::Context ValuesWriter::ContextOf(std::int32_t id) {
  if (id == 0) return {};
  static const auto text = WithColumns("SELECT ", " FROM context WHERE id = ?1");
  sql::Query query(db_, text, id);
  if (!query.Step()) {
    throw sql::SqlError(sql::SqlError::Kind::Damaged,
                        "context " + std::to_string(id) + " is missing");
  }
  store::Context context{};
  query.Read(context);
  return context;
}

void ValuesWriter::NoteRefusal(std::int64_t line, std::string_view column, std::string_view value,
                               std::string_view reason) {
  if (refusal_ && refusal_->line <= line) return;
  refusal_ = {line, column, std::string(value), std::string(reason)};
}

// Calls visit with what is stored under a key. False when nothing is.
template <class Visit>
bool ValuesWriter::ForStored(const WrittenKey& key, Visit visit) {
  bool found = false;
  store::ForEachRecord(
      db_, key.stream,
      [&](const store::RecordView& record) {
        if (record.Subgroup() != key.subgroup) return;
        found = true;
        visit(record);
      },
      key.time, key.time);
  return found;
}

bool ValuesWriter::IsStored(const WrittenKey& key) {
  return ForStored(key, [](const store::RecordView&) {});
}

// In the order of the clustered table, so that neighbours are written together.
void ValuesWriter::WriteMeasurements() {
  std::vector<std::pair<WrittenKey, OpenMeasurement*>> order;
  order.reserve(batch_.open_count);
  for (std::size_t i = 0; i < batch_.open_count; ++i) {
    const auto& subgroup = batch_.subgroups[batch_.open[i].subgroup];
    order.emplace_back(WrittenKey{batch_.open[i].stream, subgroup.time, subgroup.id},
                       &batch_.open[i]);
  }
  std::sort(order.begin(), order.end());
  // Rows and keys of everything written; a measurement views them once all are there.
  std::vector<double> values;
  std::vector<store::RowKey> keys;
  std::vector<store::Measurement> measurements;
  std::vector<std::int64_t> streams;
  std::vector<std::size_t> row_counts;
  for (auto& [key, open] : order) {
    const auto& subgroup = batch_.subgroups[open->subgroup];
    const bool is_stored = !subgroup.is_new && IsStored(key);
    if (key.subgroup <= highest_before_) {
      if (is_stored && !added_to_old_.contains(key)) {
        NoteRefusal(open->line, "subgroup", subgroup.label,
                    "the subgroup is already stored with this test");
        continue;
      }
      added_to_old_.insert(key);
    }
    if (is_stored) Merge(*open, key);
    Finish(*open, key);
    CheckDefectives(*open);
    store::Context context{};
    for (std::size_t i = 0; i < context.size(); ++i) {
      const auto name = open->shared[kSharedContext + i].value;
      context[i] = static_cast<std::int32_t>(std::max(name, 0.0));
    }
    measurements.push_back(
        {key.time, key.subgroup, ContextId(context), packed_size_, packed_flag_, 0, 0, {}, {}});
    row_counts.push_back(packed_rows_.size());
    for (const auto& row : packed_rows_) {
      values.push_back(row.value);
      keys.push_back(row.key);
    }
    streams.push_back(key.stream);
    file_.report.rows += static_cast<std::int64_t>(packed_rows_.size());
  }
  std::size_t at = 0;
  for (std::size_t i = 0; i < measurements.size(); ++i) {
    measurements[i].values = std::span(values).subspan(at, row_counts[i]);
    measurements[i].keys = std::span(keys).subspan(at, row_counts[i]);
    at += row_counts[i];
  }
  store::StreamWriter writer(db_);
  for (std::size_t begin = 0; begin < measurements.size();) {
    auto end = begin;
    while (end < measurements.size() && streams[end] == streams[begin]) ++end;
    writer.Write(streams[begin], std::span(measurements).subspan(begin, end - begin));
    begin = end;
  }
  if (refusal_) {
    file_.table.Reader().RefuseAt(refusal_->line, refusal_->column, refusal_->value,
                                  refusal_->reason);
  }
}

// Sorts and completes the rows and packs them.
void ValuesWriter::Finish(OpenMeasurement& open, const WrittenKey& key) {
  const bool is_variable = batch_.tests[open.test].type == ttVariable;
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
      NoteRefusal(std::max(twice->line, std::next(twice)->line), "tsno",
                  std::to_string(twice->row.key.Tsno),
                  "the subgroup has this piece, with this sbno, already");
    }
    AddPieceValues(open);
  } else {
    for (const auto& row : open.rows) packed_rows_.push_back(row.row);
  }
  if (packed_rows_.empty()) packed_rows_.emplace_back();
  const auto flag = static_cast<std::int32_t>(open.shared[kSharedFlag].value);
  packed_size_ = open.shared[kSharedSize].value;
  WrittenState state{derived_pieces_, open.last_sbno, false, false};
  state.lacks_size = packed_size_ == kNotGiven && batch_.has_size;
  state.lacks_flag = flag == kNotGiven && batch_.has_flag;
  if (state == WrittenState{}) {
    states_.erase(key);
  } else {
    states_[key] = std::move(state);
  }
  if (packed_size_ == kNotGiven) {
    const auto is_piece = [](const TestRow& row) { return row.key.Sbno == 0; };
    const auto pieces = std::ranges::count_if(packed_rows_, is_piece);
    packed_size_ = is_variable ? static_cast<double>(pieces) : 0;
  }
  packed_flag_ = std::max(flag, 0);
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

// A subgroup of this file comes back after it was written: its lines are put together as if they
// had been held together.
void ValuesWriter::Merge(OpenMeasurement& open, const WrittenKey& key) {
  WrittenState state;
  if (const auto found = states_.find(key); found != states_.end()) state = found->second;
  std::int32_t context = 0;
  ForStored(key, [&](const store::RecordView& record) {
    MergeRows(open, record, state);
    const bool has_size = batch_.has_size && !state.lacks_size;
    const bool has_flag = batch_.has_flag && !state.lacks_flag;
    MergeShared(open, kSharedSize, has_size ? record.Size() : kNotGiven);
    MergeShared(open, kSharedFlag, has_flag ? record.Flag() : kNotGiven);
    context = record.Context();
  });
  const auto who = ContextOf(context);
  for (std::size_t i = 0; i < who.size(); ++i) {
    MergeShared(open, kSharedContext + i, who[i] == 0 ? kNotGiven : who[i]);
  }
}

void ValuesWriter::MergeRows(OpenMeasurement& open, const store::RecordView& record,
                             const WrittenState& state) {
  std::vector<ImportRow> rows;
  open.highest_tsno = 0;
  const auto& derived = state.derived_pieces;
  for (std::size_t i = 0; i < record.Count(); ++i) {
    const TestRow row{record.Value(i), record.Key(i)};
    open.highest_tsno = std::max(open.highest_tsno, row.key.Tsno);
    const bool is_derived =
        row.key.Sbno == 0 && std::count(derived.begin(), derived.end(), row.key.Tsno) > 0;
    if (!is_derived && !(row == TestRow{})) rows.push_back({row, 0, false});
  }
  file_.report.rows -= static_cast<std::int64_t>(record.Count());
  if (batch_.tests[open.test].type == ttVariable) {
    open.last_sbno = state.last_sbno;
    for (auto& row : open.rows) open.Number(row);
  }
  open.rows.insert(open.rows.begin(), rows.begin(), rows.end());
}

// The cell of the lines before with that of the lines at hand.
void ValuesWriter::MergeShared(OpenMeasurement& open, std::size_t column, double before) {
  auto& cell = open.shared[column];
  if (before == kNotGiven) return;
  if (cell.value != kNotGiven && cell.value != before) {
    NoteRefusal(cell.line, SharedColumn(column), cell.text, kDiffers);
  }
  cell.value = before;
  cell.line = 0;
}

// Refuses a subgroup with more defectives than units inspected. A named unit counts as often as the
// largest of its rows says, rows without a unit add up. The refusal names the later of two lines:
// the one with which there were too many, and the one that gave the size.
void ValuesWriter::CheckDefectives(const OpenMeasurement& open) {
  auto& test = batch_.tests[open.test];
  const auto size = packed_size_;
  if (size <= 0 || (test.type != 0 && test.type != ttDefectives)) return;
  const auto size_line = open.shared[kSharedSize].line;
  double defectives = 0.0;
  std::map<std::int32_t, double> units;
  std::int64_t line = 0;
  for (const auto& row : open.rows) {
    if (defectives > size && row.line > size_line) break;
    line = row.line;
    const auto unit = row.row.key.Tsno;
    const auto before = unit == 0 ? 0.0 : units[unit];
    const auto now = unit == 0 ? row.row.value : std::max(before, row.row.value);
    if (unit != 0) units[unit] = now;
    defectives += now - before;
  }
  line = std::max(line, size_line);
  // Line 0: reported when those lines were written.
  if (defectives <= size || line == 0) return;
  const auto reason = "more defectives (" + std::to_string(static_cast<std::int64_t>(defectives)) +
                      ") than units inspected (" + std::to_string(static_cast<std::int64_t>(size)) +
                      ")";
  const auto& label = batch_.subgroups[open.subgroup].label;
  if (test.type == ttDefectives) return NoteRefusal(line, "subgroup", label, reason);
  if (test.excess_line == 0 || line < test.excess_line) {
    test.excess_line = line;
    test.excess = label + '\n' + reason;
  }
}

void ValuesWriter::WriteComments() {
  static const auto insert = InsertInto("comment(subgroup, test, tsno, time, employee, note)");
  for (std::size_t i = 0; i < batch_.open_count; ++i) {
    const auto& open = batch_.open[i];
    const auto& subgroup = batch_.subgroups[open.subgroup];
    for (const auto& comment : open.comments) {
      if (!subgroup.is_new &&
          IntOf(db_,
                "SELECT 1 FROM comment WHERE subgroup = ?1 AND time = ?2 AND test = ?3 "
                "AND tsno = ?4 AND coalesce(employee, 0) = ?5 AND note = ?6",
                subgroup.id, subgroup.time, open.test, comment.tsno, comment.employee,
                comment.note)) {
        continue;
      }
      Run(db_, insert, subgroup.id, open.test, comment.tsno, subgroup.time,
          Reference{comment.employee}, comment.note);
    }
  }
}

void ValuesWriter::WriteDescriptors() {
  for (std::size_t i = 0; i < batch_.subgroup_count; ++i) {
    for (const auto& [descriptor, tsno] : batch_.subgroups[i].descriptors) {
      Run(db_,
          "INSERT INTO subgroup_descriptor(subgroup, descriptor, tsno) "
          "VALUES(?1, ?2, ?3) ON CONFLICT DO NOTHING",
          batch_.subgroups[i].id, descriptor, tsno);
    }
  }
}

}  // namespace orvspc::engine::import
