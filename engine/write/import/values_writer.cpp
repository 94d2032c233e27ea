// SPDX-License-Identifier: Apache-2.0
#include "engine/write/import/values_writer.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <numeric>
#include <tuple>
#include <utility>
#include <vector>

#include "engine/chunks/large_data.h"
#include "engine/sql/counter.h"
#include "engine/write/chunks/SubgroupWriter.h"
#include "engine/write/last_label.h"
#include "engine/write/record_rules.h"
#include "platform/Enumerations.h"

namespace orvspc::engine::import {
namespace {

// Nine tenths of the identifiers that there are.
constexpr std::int64_t kManySubgroups = std::int64_t{INT32_MAX} / 10 * 9;

// A statement with the columns of the context.
std::string WithColumns(std::string_view before, std::string_view after) {
  return std::string(before) + store::ContextColumns() + std::string(after);
}

}  // namespace

ValuesWriter::ValuesWriter(ImportFile& file, ValuesBatch& batch)
    : file_(file), db_(file.db), batch_(batch), digest_(file.db) {
  static const auto text = WithColumns("SELECT ", ", id FROM context");
  sql::Query contexts(db_, text);
  for (store::Context context{}; contexts.Step();) {
    contexts.Read(context);
    contexts_[context] = contexts.Int(context.size());
  }
  highest_before_ = sql::LastId(db_, "subgroup");
}

void ValuesWriter::Write() {
  batch_.Close();
  WriteSubgroups();
  WriteMeasurements();
  store::SealSubgroups(db_);
  WriteComments();
  WriteDescriptors();
}

void ValuesWriter::Finish() {
  file_.digest = digest_.Finish(file_.batch);
  file_.records = digest_.Records();
  const auto last = sql::LastId(db_, "subgroup");
  if (file_.report.subgroups == 0 || last <= kManySubgroups) return;
  file_.report.notes.push_back({"few-identifiers",
                                std::to_string(last) + " of " + std::to_string(INT32_MAX) +
                                    " identifiers of subgroups are used; begin a new database "
                                    "before the last one",
                                {}});
}

void ValuesWriter::WriteSubgroups() {
  std::vector<store::SubgroupFacts> facts;
  facts.reserve(batch_.subgroups.size());
  for (const auto& each : batch_.subgroups) {
    facts.push_back({0, each.part, each.process, each.time, batch_.Text(each.label)});
  }
  const auto stored = store::FindSubgroups(db_, facts);
  const auto added = std::ranges::count(stored, 0);
  auto next = sql::TakeIds(db_, "subgroup", added);
  store::SubgroupWriter writer(db_);
  subgroups_.clear();
  for (std::size_t i = 0; i < facts.size(); ++i) {
    subgroups_.push_back({stored[i], stored[i] == 0});
    if (stored[i] != 0) continue;
    if (next > INT32_MAX) {
      file_.table.Reader().RefuseAt(batch_.subgroups[i].line, "subgroup", facts[i].label,
                                    "the database has no identifier left for it");
    }
    facts[i].id = subgroups_.back().id = static_cast<std::int32_t>(next++);
    writer.Add(facts[i]);
  }
  writer.Flush();
  RaiseLabels(facts);
  file_.report.subgroups += added;
}

// Numbers that subgroups get later are greater than those that came as labels.
void ValuesWriter::RaiseLabels(const std::vector<store::SubgroupFacts>& facts) {
  std::map<std::pair<std::int32_t, std::int32_t>, std::int64_t> highest;
  auto latest = highest.end();
  for (const auto& each : facts) {
    const auto number = write::NumberOfLabel(each.label);
    if (number == 0) continue;
    const std::pair source(each.part, each.process);
    if (latest == highest.end() || latest->first != source) {
      latest = highest.try_emplace(source, 0).first;
    }
    latest->second = std::max(latest->second, number);
  }
  for (const auto& [source, number] : highest) {
    write::RaiseLastLabel(db_, source.first, source.second, number);
  }
}

std::int32_t ValuesWriter::ContextId(const store::Context& context) {
  if (context == store::Context{}) return 0;
  if (context == latest_context_.first) return latest_context_.second;
  auto& id = contexts_[context];
  if (id == 0) {
    static const auto insert = InsertNew(WithColumns("context(", ")"));
    std::array<Reference, std::tuple_size_v<store::Context>> names;
    std::ranges::transform(context, names.begin(), [](auto name) { return Reference{name}; });
    id = static_cast<std::int32_t>(Add(db_, insert, names));
  }
  latest_context_ = {context, id};
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

void ValuesWriter::WriteMeasurements() {
  std::vector<std::pair<WrittenKey, std::uint32_t>> order;
  order.reserve(batch_.records.size());
  for (const auto& record : batch_.records) {
    order.emplace_back(WrittenKey{record.stream->id, batch_.subgroups[record.subgroup].time,
                                  subgroups_[record.subgroup].id},
                       static_cast<std::uint32_t>(order.size()));
  }
  if (!std::is_sorted(order.begin(), order.end())) std::sort(order.begin(), order.end());
  for (const auto& [key, place] : order) {
    Begin(key, place);
    const auto& record = open_.record;
    std::optional<store::RecordView> stored;
    if (!subgroups_[record.subgroup].is_new) stored = FindStored();
    if (key.subgroup <= highest_before_) {
      if (stored && !added_to_old_.Contains(key.stream, key.subgroup)) {
        NoteRefusal(record.line, "subgroup", batch_.Text(batch_.subgroups[record.subgroup].label),
                    "the subgroup is already stored with this test");
        continue;
      }
      added_to_old_.Insert(key.stream, key.subgroup);
    }
    if (!stored && IsComplete()) {
      const auto keys = std::span(batch_.keys);
      FinishRecord(std::span(batch_.values).subspan(record.first_row, record.rows),
                   keys.empty() ? keys : keys.subspan(record.first_row, record.rows));
      continue;
    }
    ReadRows();
    if (stored) Merge(*stored);
    if (record.stream->state->type == ttVariable) {
      OrderRows();
    } else {
      CheckDefectives();
    }
    AddRows();
    store::ClearLarge(open_.rows);
  }
  run_.reset();
  walk_.reset();
  Store();
  if (refusal_) {
    file_.table.Reader().RefuseAt(refusal_->line, refusal_->column, refusal_->value,
                                  refusal_->reason);
  }
}

// Takes a record of the batch.
void ValuesWriter::Begin(const WrittenKey& key, std::uint32_t place) {
  open_.record = batch_.records[place];
  open_.key = key;
  open_.derived_pieces.clear();
  open_.shared.fill({});
  const auto shared = batch_.SharedOf(place);
  for (std::size_t i = 0; i < shared.size(); ++i) {
    const auto& cell = shared[i];
    open_.shared[batch_.shared_columns[i]] = {cell.value, cell.line, batch_.Text(cell.text)};
  }
}

// Whether the rows are stored as they lie in the batch and nothing about them can be refused.
bool ValuesWriter::IsComplete() const {
  const auto& record = open_.record;
  if (record.rows == 0) return false;
  const auto type = record.stream->state->type;
  if (type == ttVariable) {
    std::int32_t before = 0;
    for (std::size_t i = 0; i < record.rows && !batch_.keys.empty(); ++i) {
      const auto& key = batch_.keys[record.first_row + i];
      if (key.Sbno != 0 || key.Tsno <= before) return false;
      before = key.Tsno;
    }
    return true;
  }
  const auto size = open_.shared[kSharedSize].value;
  if (size <= 0 || type == ttDefects) return true;
  const auto counts = std::span(batch_.values).subspan(record.first_row, record.rows);
  return std::accumulate(counts.begin(), counts.end(), 0.0) <= size;
}

void ValuesWriter::ReadRows() {
  const auto& record = open_.record;
  open_.rows.clear();
  std::uint32_t row = 0;
  for (auto run = record.first_run; row < record.rows; ++run) {
    for (std::uint32_t i = 0; i < batch_.runs[run].rows; ++i, ++row) {
      const auto at = record.first_row + row;
      const bool is_plain = batch_.keys.empty();
      open_.rows.push_back({batch_.values[at], is_plain ? store::PlainKey(row) : batch_.keys[at],
                            batch_.runs[run].line + i,
                            is_plain ? batch_.is_numbered : batch_.numbered[at] != 0});
    }
  }
}

void ValuesWriter::OrderRows() {
  const auto by_place = [](const Row& a, const Row& b) {
    return std::tie(a.key.Tsno, a.key.Sbno) < std::tie(b.key.Tsno, b.key.Sbno);
  };
  auto& rows = open_.rows;
  if (!std::is_sorted(rows.begin(), rows.end(), by_place)) {
    std::stable_sort(rows.begin(), rows.end(), by_place);
  }
  const auto twice = std::adjacent_find(
      rows.begin(), rows.end(), [&](const Row& a, const Row& b) { return !by_place(a, b); });
  if (twice != rows.end()) {
    NoteRefusal(std::max(twice->line, std::next(twice)->line), "tsno",
                std::to_string(twice->key.Tsno),
                "the subgroup has this piece, with this sbno, already");
  }
}

// Stores the rows; a piece that has only readings gets their mean as its value.
void ValuesWriter::AddRows() {
  const auto& rows = open_.rows;
  const auto first = finished_.values.size();
  const bool is_variable = open_.record.stream->state->type == ttVariable;
  for (auto from = rows.begin(); from != rows.end();) {
    const auto tsno = from->key.Tsno;
    const auto to =
        std::find_if(from, rows.end(), [&](const Row& row) { return row.key.Tsno != tsno; });
    if (is_variable && from->key.Sbno != 0) {
      auto piece = *from;
      piece.value = write::MeanOfReadings(from, to, &Row::value);
      piece.key.Sbno = 0;
      piece.key.Def = 0;
      AddRow(piece);
      open_.derived_pieces.push_back(tsno);
    }
    for (; from != to; ++from) AddRow(*from);
  }
  if (rows.empty()) AddRow({});
  const auto count = finished_.values.size() - first;
  finished_.places.push_back({finished_.measurements.size(), first, count});
  FinishRecord(std::span(finished_.values).subspan(first),
               std::span(finished_.keys).subspan(first));
}

void ValuesWriter::AddRow(const Row& row) {
  finished_.values.push_back(row.value);
  finished_.keys.push_back(row.key);
}

// The rows need not stay where they are when they are those of finished_.
void ValuesWriter::FinishRecord(std::span<const double> values,
                                std::span<const store::RowKey> keys) {
  const auto& shared = open_.shared;
  const auto flag = static_cast<std::int32_t>(shared[kSharedFlag].value);
  auto size = shared[kSharedSize].value;
  WrittenState state{open_.derived_pieces, open_.record.last_sbno, false, false};
  state.lacks_size = size == kNotGiven && batch_.Has(kSharedSize);
  state.lacks_flag = flag == kNotGiven && batch_.Has(kSharedFlag);
  KeepState(std::move(state));
  if (size == kNotGiven) {
    const auto is_piece = [](const store::RowKey& key) { return key.Sbno == 0; };
    const auto pieces = keys.empty() ? std::ssize(values) : std::ranges::count_if(keys, is_piece);
    const bool is_variable = open_.record.stream->state->type == ttVariable;
    size = is_variable ? static_cast<double>(pieces) : 0;
  }
  store::Context context{};
  for (std::size_t i = 0; i < context.size(); ++i) {
    context[i] = static_cast<std::int32_t>(std::max(shared[kSharedContext + i].value, 0.0));
  }
  finished_.measurements.push_back({open_.key.time, open_.key.subgroup, ContextId(context), size,
                                    std::max(flag, 0), file_.batch, 0, values, keys});
  finished_.streams.push_back(open_.key.stream);
  finished_.labels.push_back(batch_.Text(batch_.subgroups[open_.record.subgroup].label));
  file_.report.rows += std::ssize(values);
}

void ValuesWriter::Store() {
  auto& [measurements, streams, labels, places, values, keys] = finished_;
  for (const auto& [measurement, first, rows] : places) {
    measurements[measurement].values = std::span(values).subspan(first, rows);
    measurements[measurement].keys = std::span(keys).subspan(first, rows);
  }
  store::StreamWriter writer(db_);
  for (std::size_t begin = 0; begin < measurements.size();) {
    auto end = begin;
    while (end < measurements.size() && streams[end] == streams[begin]) ++end;
    const auto of_stream = std::span(measurements).subspan(begin, end - begin);
    digest_.Add(streams[begin], of_stream, std::span(labels).subspan(begin, end - begin));
    writer.Write(streams[begin], of_stream);
    for (const auto& each : {of_stream.front(), of_stream.back()}) {
      file_.touched.Add(streams[begin], {each.time, each.subgroup});
    }
    begin = end;
  }
  writer.Finish();
  measurements.clear();
  streams.clear();
  labels.clear();
  places.clear();
  values.clear();
  keys.clear();
}

// What is stored of the record; lives until the next call. Keys must ascend until walk_ is reset.
std::optional<store::RecordView> ValuesWriter::FindStored() {
  constexpr int kMaxSkippedRuns = 2;  // before a walk that begins at the record is quicker
  const store::RecordKey key{open_.key.time, open_.key.subgroup};
  int left = walk_ && walked_stream_ == open_.key.stream ? kMaxSkippedRuns : 0;
  bool is_near = false;
  for (;;) {
    if (left == 0 && !is_near) {
      walk_.emplace(db_, open_.key.stream, true, key.time, INT32_MAX);
      walked_stream_ = open_.key.stream;
      run_ = walk_->Next();
      is_near = true;
    }
    if (!run_) return std::nullopt;
    if (run_->chunk->Record(run_->end - 1).Key() >= key) break;
    run_ = walk_->Next();
    --left;
  }
  const auto place = run_->chunk->Find(key);
  if (place < run_->begin || run_->chunk->Record(place).Key() != key) return std::nullopt;
  return run_->chunk->Record(place);
}

// Of the open record, which has none.
void ValuesWriter::KeepState(WrittenState state) {
  constexpr std::size_t kMaxStates = 16;
  if (!usual_state_) usual_state_ = state;
  if (state == *usual_state_) return;
  auto place = std::ranges::find(states_, state, &std::pair<WrittenState, RecordSet>::first);
  if (place == states_.end()) {
    if (states_.size() == kMaxStates) {
      rare_states_[open_.key] = std::move(state);
      return;
    }
    states_.emplace_back(std::move(state), RecordSet());
    place = std::prev(states_.end());
  }
  place->second.Insert(open_.key.stream, open_.key.subgroup);
}

// That of the open record, which then has none.
WrittenState ValuesWriter::TakeState() {
  for (auto& [state, records] : states_) {
    if (records.Erase(open_.key.stream, open_.key.subgroup)) return state;
  }
  const auto rare = rare_states_.extract(open_.key);
  return rare.empty() ? *usual_state_ : std::move(rare.mapped());
}

// A subgroup of this file comes back after it was written: its lines are put together as if they
// had been held together.
void ValuesWriter::Merge(const store::RecordView& record) {
  const auto state = TakeState();
  MergeRows(record, state);
  const bool has_size = batch_.Has(kSharedSize) && !state.lacks_size;
  const bool has_flag = batch_.Has(kSharedFlag) && !state.lacks_flag;
  MergeShared(kSharedSize, has_size ? record.Size() : kNotGiven);
  MergeShared(kSharedFlag, has_flag ? record.Flag() : kNotGiven);
  const auto who = ContextOf(record.Context());
  for (std::size_t i = 0; i < who.size(); ++i) {
    MergeShared(kSharedContext + i, who[i] == 0 ? kNotGiven : who[i]);
  }
}

void ValuesWriter::MergeRows(const store::RecordView& record, const WrittenState& state) {
  auto& open = open_;
  std::vector<Row> rows;
  open.record.highest_tsno = 0;
  const auto& derived = state.derived_pieces;
  for (std::size_t i = 0; i < record.Count(); ++i) {
    const Row row{record.Value(i), record.Key(i), 0, false};
    open.record.highest_tsno = std::max(open.record.highest_tsno, row.key.Tsno);
    const bool is_derived =
        row.key.Sbno == 0 && std::count(derived.begin(), derived.end(), row.key.Tsno) > 0;
    const bool is_nothing = row.value == 0.0 && row.key == store::RowKey{};
    if (!is_derived && !is_nothing) rows.push_back(row);
  }
  file_.report.rows -= static_cast<std::int64_t>(record.Count());
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
  const auto size = open.shared[kSharedSize].value;
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
  if (batch_.comments.empty()) return;
  const auto rows = db_.InsertMany("comment(id, subgroup, test, tsno, time, employee, note)",
                                   sql::OnConflict::Fail);
  for (const auto& [place, comments] : batch_.comments) {
    const auto& record = batch_.records[place];
    const auto [subgroup, is_new] = subgroups_[record.subgroup];
    const auto time = batch_.subgroups[record.subgroup].time;
    const auto test = record.stream->test;
    for (const auto& [tsno, employee, note] : comments) {
      // Those that came with earlier lines are stored by then.
      if (!is_new) rows->Finish();
      if (!is_new && IntOf(db_,
                           "SELECT 1 FROM comment WHERE subgroup = ?1 AND time = ?2 AND test = ?3 "
                           "AND tsno = ?4 AND coalesce(employee, 0) = ?5 AND note = ?6",
                           subgroup, time, test, tsno, employee, note)) {
        continue;
      }
      rows->Bind(sql::TakeIds(db_, "comment"), subgroup, test, tsno, time, Reference{employee},
                 note);
      rows->Add();
    }
  }
  rows->Finish();
}

void ValuesWriter::WriteDescriptors() {
  auto& all = batch_.descriptors;
  std::ranges::sort(all);
  all.erase(std::unique(all.begin(), all.end()), all.end());
  if (all.empty()) return;
  const auto rows =
      db_.InsertMany("subgroup_descriptor(subgroup, descriptor, tsno)", sql::OnConflict::Skip);
  for (const auto& [subgroup, descriptor, tsno] : all) {
    rows->Bind(subgroups_[subgroup].id, descriptor, tsno);
    rows->Add();
  }
  rows->Finish();
  const auto sources =
      db_.InsertMany("descriptor_source(subgroup, descriptor, tsno, batch)", sql::OnConflict::Skip);
  for (const auto& [subgroup, descriptor, tsno] : all) {
    sources->Bind(subgroups_[subgroup].id, descriptor, tsno, file_.batch);
    sources->Add();
  }
  sources->Finish();
}

}  // namespace orvspc::engine::import
