// SPDX-License-Identifier: Apache-2.0
#include "engine/import/values_writer.h"

#include <algorithm>
#include <tuple>

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
  sql::Query highest(db_, "SELECT max(id) FROM subgroup");
  if (highest.Step()) highest_before_ = highest_ = highest.Int64(0);
}

void ValuesWriter::Write() {
  batch_.Close();
  WriteSubgroups();
  WriteMeasurements();
  WriteComments();
  WriteDescriptors();
}

void ValuesWriter::WriteSubgroups() {
  sql::Query insert(db_,
                    "INSERT INTO subgroup(part, process, label, time, id) "
                    "VALUES(?1, ?2, ?3, ?4, ?5) ON CONFLICT DO NOTHING");
  subgroups_.clear();
  for (const auto& subgroup : batch_.subgroups) {
    const auto label = batch_.Text(subgroup.label);
    insert.Bind(subgroup.part, subgroup.process, label, subgroup.time, highest_ + 1);
    // RETURNING would cost more than counting here.
    std::optional<std::int64_t> id = highest_ + 1;
    const bool is_new = insert.Run() != 0;
    if (is_new) {
      ++highest_;
      ++file_.report.subgroups;
    } else {
      id = IntOf(db_,
                 "SELECT id FROM subgroup "
                 "WHERE time = ?1 AND part = ?2 AND process = ?3 AND label = ?4",
                 subgroup.time, subgroup.part, subgroup.process, label);
    }
    if (*id > INT32_MAX) {
      file_.table.Reader().RefuseAt(subgroup.line, "subgroup", label,
                                    "the database has no identifier left for it");
    }
    subgroups_.push_back({static_cast<std::int32_t>(*id), is_new});
  }
}

std::int32_t ValuesWriter::ContextId(const store::Context& context) {
  if (context == store::Context{}) return 0;
  auto& id = contexts_[context];
  if (id == 0) {
    static const auto insert = InsertInto(WithColumns("context(", ")")) + " RETURNING id";
    std::array<Reference, std::tuple_size_v<store::Context>> names;
    std::ranges::transform(context, names.begin(), [](auto name) { return Reference{name}; });
    id = static_cast<std::int32_t>(*IntOf(db_, insert, names));
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

// In the order of the clustered table, so that neighbours are written together.
void ValuesWriter::WriteMeasurements() {
  std::vector<std::pair<WrittenKey, std::uint32_t>> order;
  order.reserve(batch_.records.size());
  for (const auto& record : batch_.records) {
    order.emplace_back(WrittenKey{record.stream->id, batch_.subgroups[record.subgroup].time,
                                  subgroups_[record.subgroup].id},
                       static_cast<std::uint32_t>(order.size()));
  }
  if (!std::is_sorted(order.begin(), order.end())) std::sort(order.begin(), order.end());
  // Two statements, since one with ON CONFLICT would look every key up twice.
  sql::Query insert(db_,
                    "INSERT INTO measurement(stream, time, subgroup, packed, context) "
                    "VALUES(?1, ?2, ?3, ?4, ?5)");
  sql::Query update(db_,
                    "UPDATE measurement SET packed = ?4, context = ?5 "
                    "WHERE stream = ?1 AND time = ?2 AND subgroup = ?3");
  for (const auto& [key, place] : order) {
    Begin(place);
    const auto& record = open_.record;
    const bool is_stored =
        !subgroups_[record.subgroup].is_new &&
        IntOf(db_, "SELECT 1 FROM measurement WHERE stream = ?1 AND time = ?2 AND subgroup = ?3",
              key.stream, key.time, key.subgroup);
    if (key.subgroup <= highest_before_) {
      if (is_stored && !added_to_old_.contains(key)) {
        NoteRefusal(record.line, "subgroup", batch_.Text(batch_.subgroups[record.subgroup].label),
                    "the subgroup is already stored with this test");
        continue;
      }
      added_to_old_.insert(key);
    }
    if (is_stored) Merge(key);
    Finish(key);
    CheckDefectives();
    store::Context context{};
    for (std::size_t i = 0; i < context.size(); ++i) {
      const auto name = open_.shared[kSharedContext + i].value;
      context[i] = static_cast<std::int32_t>(std::max(name, 0.0));
    }
    auto& write = is_stored ? update : insert;
    write.Bind(key.stream, key.time, key.subgroup, packed_, Reference{ContextId(context)});
    write.Run();
    file_.report.rows += static_cast<std::int64_t>(open_.finished.size());
  }
  if (refusal_) {
    file_.table.Reader().RefuseAt(refusal_->line, refusal_->column, refusal_->value,
                                  refusal_->reason);
  }
}

// Takes a record of the batch.
void ValuesWriter::Begin(std::uint32_t place) {
  auto& open = open_;
  open.record = batch_.records[place];
  open.shared.fill({});
  const auto shared = batch_.SharedOf(place);
  for (std::size_t i = 0; i < shared.size(); ++i) {
    const auto& cell = shared[i];
    open.shared[batch_.shared_columns[i]] = {cell.value, cell.line, batch_.Text(cell.text)};
  }
  open.rows.clear();
  const auto first = open.record.first_row;
  std::uint32_t row = 0;
  for (auto run = open.record.first_run; row < open.record.rows; ++run) {
    for (std::uint32_t i = 0; i < batch_.runs[run].rows; ++i, ++row) {
      const BatchKey key = batch_.keys.empty() ? BatchKey{store::PlainKey(row), batch_.is_numbered}
                                               : batch_.keys[first + row];
      open.rows.push_back(
          {{batch_.values[first + row], key.key}, batch_.runs[run].line + i, key.is_numbered});
    }
  }
}

// Sorts and completes the rows and packs them.
void ValuesWriter::Finish(const WrittenKey& key) {
  auto& open = open_;
  const bool is_variable = open.record.stream->state->type == ttVariable;
  open.finished.clear();
  open.derived_pieces.clear();
  if (is_variable) {
    const auto by_place = [](const Row& a, const Row& b) {
      return std::tie(a.key.Tsno, a.key.Sbno) < std::tie(b.key.Tsno, b.key.Sbno);
    };
    if (!std::is_sorted(open.rows.begin(), open.rows.end(), by_place)) {
      std::stable_sort(open.rows.begin(), open.rows.end(), by_place);
    }
    const auto twice =
        std::adjacent_find(open.rows.begin(), open.rows.end(),
                           [&](const Row& a, const Row& b) { return !by_place(a, b); });
    if (twice != open.rows.end()) {
      NoteRefusal(std::max(twice->line, std::next(twice)->line), "tsno",
                  std::to_string(twice->key.Tsno),
                  "the subgroup has this piece, with this sbno, already");
    }
    AddPieceValues();
  } else {
    for (const auto& row : open.rows) open.finished.push_back(row);
  }
  if (open.finished.empty()) open.finished.emplace_back();
  const auto flag = static_cast<std::int32_t>(open.shared[kSharedFlag].value);
  open.size = open.shared[kSharedSize].value;
  WrittenState state{open.derived_pieces, open.record.last_sbno, false, false};
  state.lacks_size = open.size == kNotGiven && batch_.Has(kSharedSize);
  state.lacks_flag = flag == kNotGiven && batch_.Has(kSharedFlag);
  if (state == WrittenState{}) {
    states_.erase(key);
  } else {
    states_[key] = std::move(state);
  }
  if (open.size == kNotGiven) {
    const auto is_piece = [](const store::TestRow& row) { return row.key.Sbno == 0; };
    const auto pieces = std::ranges::count_if(open.finished, is_piece);
    open.size = is_variable ? static_cast<double>(pieces) : 0;
  }
  store::Pack({key.time, key.subgroup, open.size, std::max(flag, 0)}, open.finished, packed_);
}

// Copies the rows; a piece that has only readings gets their mean as its value.
void ValuesWriter::AddPieceValues() {
  const auto& rows = open_.rows;
  for (auto from = rows.begin(); from != rows.end();) {
    const auto tsno = from->key.Tsno;
    const auto to =
        std::find_if(from, rows.end(), [&](const Row& row) { return row.key.Tsno != tsno; });
    if (from->key.Sbno != 0) {
      store::TestRow piece = *from;
      piece.value = 0.0;
      for (auto row = from; row != to; ++row) {
        piece.value += row->value / static_cast<double>(to - from);
      }
      piece.key.Sbno = 0;
      piece.key.Def = 0;
      open_.finished.push_back(piece);
      open_.derived_pieces.push_back(tsno);
    }
    for (; from != to; ++from) open_.finished.push_back(*from);
  }
}

// A subgroup of this file comes back after it was written: its lines are put together as if they
// had been held together.
void ValuesWriter::Merge(const WrittenKey& key) {
  WrittenState state;
  if (const auto found = states_.find(key); found != states_.end()) state = found->second;
  std::int32_t context = 0;
  {
    sql::Query query(db_,
                     "SELECT packed, context FROM measurement "
                     "WHERE stream = ?1 AND time = ?2 AND subgroup = ?3",
                     key.stream, key.time, key.subgroup);
    query.Step();
    const auto view = store::PackedView::Of(query.Blob(0));
    if (!view)
      throw sql::SqlError(sql::SqlError::Kind::Damaged,
                          "a packed record does not fit its checksum");
    MergeRows(*view, state);
    const bool has_size = batch_.Has(kSharedSize) && !state.lacks_size;
    const bool has_flag = batch_.Has(kSharedFlag) && !state.lacks_flag;
    MergeShared(kSharedSize, has_size ? view->Size() : kNotGiven);
    MergeShared(kSharedFlag, has_flag ? view->Flag() : kNotGiven);
    context = query.Int(1);
  }
  const auto who = ContextOf(context);
  for (std::size_t i = 0; i < who.size(); ++i) {
    MergeShared(kSharedContext + i, who[i] == 0 ? kNotGiven : who[i]);
  }
}

void ValuesWriter::MergeRows(const store::PackedView& view, const WrittenState& state) {
  auto& open = open_;
  std::vector<Row> rows;
  open.record.highest_tsno = 0;
  const auto& derived = state.derived_pieces;
  for (std::size_t i = 0; i < view.Count(); ++i) {
    const store::TestRow row{view.Value(i), view.Key(i)};
    open.record.highest_tsno = std::max(open.record.highest_tsno, row.key.Tsno);
    const bool is_derived =
        row.key.Sbno == 0 && std::count(derived.begin(), derived.end(), row.key.Tsno) > 0;
    if (!is_derived && !(row == store::TestRow{})) rows.push_back({row, 0, false});
  }
  file_.report.rows -= static_cast<std::int64_t>(view.Count());
  if (open.record.stream->state->type == ttVariable) {
    open.record.last_sbno = state.last_sbno;
    for (auto& row : open.rows) open.record.Number(row.key, row.is_numbered);
  }
  open.rows.insert(open.rows.begin(), rows.begin(), rows.end());
}

// The cell of the lines before with that of the lines at hand.
void ValuesWriter::MergeShared(std::size_t column, double before) {
  auto& cell = open_.shared[column];
  if (before == kNotGiven) return;
  if (cell.value != kNotGiven && cell.value != before) {
    NoteRefusal(cell.line, SharedColumn(column), cell.text, kDiffers);
  }
  cell = {before, 0, {}};
}

// Refuses a subgroup with more defectives than units inspected. A named unit counts as often as the
// largest of its rows says, rows without a unit add up. The refusal names the later of two lines:
// the one with which there were too many, and the one that gave the size.
void ValuesWriter::CheckDefectives() {
  const auto& open = open_;
  auto& test = *open.record.stream->state;
  const auto size = open.size;
  if (size <= 0 || (test.type != 0 && test.type != ttDefectives)) return;
  const auto size_line = open.shared[kSharedSize].line;
  double defectives = 0.0;
  std::map<std::int32_t, double> units;
  std::int64_t line = 0;
  for (const auto& row : open.rows) {
    if (defectives > size && row.line > size_line) break;
    line = row.line;
    const auto unit = row.key.Tsno;
    const auto before = unit == 0 ? 0.0 : units[unit];
    const auto now = unit == 0 ? row.value : std::max(before, row.value);
    if (unit != 0) units[unit] = now;
    defectives += now - before;
  }
  line = std::max(line, size_line);
  // Line 0: reported when those lines were written.
  if (defectives <= size || line == 0) return;
  const auto reason = "more defectives (" + std::to_string(static_cast<std::int64_t>(defectives)) +
                      ") than units inspected (" + std::to_string(static_cast<std::int64_t>(size)) +
                      ")";
  const std::string label(batch_.Text(batch_.subgroups[open.record.subgroup].label));
  if (test.type == ttDefectives) return NoteRefusal(line, "subgroup", label, reason);
  if (test.excess_line == 0 || line < test.excess_line) {
    test.excess_line = line;
    test.excess = label + '\n' + reason;
  }
}

void ValuesWriter::WriteComments() {
  static const auto insert = InsertInto("comment(subgroup, test, tsno, time, employee, note)");
  for (const auto& [place, comments] : batch_.comments) {
    const auto& record = batch_.records[place];
    const auto [subgroup, is_new] = subgroups_[record.subgroup];
    const auto time = batch_.subgroups[record.subgroup].time;
    const auto test = record.stream->test;
    for (const auto& [tsno, employee, note] : comments) {
      if (!is_new && IntOf(db_,
                           "SELECT 1 FROM comment WHERE subgroup = ?1 AND time = ?2 AND test = ?3 "
                           "AND tsno = ?4 AND coalesce(employee, 0) = ?5 AND note = ?6",
                           subgroup, time, test, tsno, employee, note)) {
        continue;
      }
      Run(db_, insert, subgroup, test, tsno, time, Reference{employee}, note);
    }
  }
}

void ValuesWriter::WriteDescriptors() {
  auto& all = batch_.descriptors;
  std::ranges::sort(all);
  all.erase(std::unique(all.begin(), all.end()), all.end());
  for (const auto& [subgroup, descriptor, tsno] : all) {
    Run(db_,
        "INSERT INTO subgroup_descriptor(subgroup, descriptor, tsno) "
        "VALUES(?1, ?2, ?3) ON CONFLICT DO NOTHING",
        subgroups_[subgroup].id, descriptor, tsno);
  }
}

}  // namespace orvspc::engine::import
