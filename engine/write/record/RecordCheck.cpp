// SPDX-License-Identifier: Apache-2.0
#include "engine/write/record/RecordCheck.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <tuple>
#include <utility>

#include "engine/catalogue/nearest.h"
#include "engine/chunks/StreamWalk.h"
#include "engine/write/change/Items.h"
#include "engine/write/import/values_batch.h"
#include "engine/write/log/texts.h"
#include "engine/write/record_rules.h"
#include "platform/Actor.h"
#include "platform/Enumerations.h"
#include "platform/TimeText.h"

namespace orvspc::engine::record {
namespace {

constexpr std::string_view kDescriptor = "descriptor:";

[[noreturn]] void Refuse(const char* code, std::string_view field, const std::string& value,
                         const std::string& reason) {
  throw Refused(code, std::string(field), value, std::string(field) + ": " + reason);
}
[[noreturn]] void Refuse(const write::BrokenRule& broken) {
  Refuse(broken.code, broken.field, broken.value, broken.reason);
}

bool IsKey(std::string_view key) {
  constexpr std::size_t kMaxKey = 64;
  return key.size() <= kMaxKey &&
         std::ranges::all_of(key, [](char c) { return c >= ' ' && c <= '~'; });
}

const store::ContextKind* ContextKindOf(std::string_view column) {
  const auto* const found =
      std::ranges::find(store::kContextKinds, column, &store::ContextKind::column);
  return found == std::end(store::kContextKinds) ? nullptr : found;
}

// Of a piece: the names that a row has.
constexpr std::string NewPiece::*kPieceNames[] = {&NewPiece::serial, &NewPiece::defect,
                                                  &NewPiece::gage};
static_assert(std::size(kPieceNames) == std::size(store::kRowKinds));

bool HasNames(const NewPiece& piece) {
  return !piece.serial.empty() || !piece.defect.empty() || !piece.gage.empty();
}

std::string FieldOf(std::size_t row_kind) { return std::string(store::kRowKinds[row_kind].column); }

struct Row {
  double value = 0.0;
  store::RowKey key{};
  std::uint32_t piece = CheckedRecord::kNoPiece;
};

void TakeRows(CheckedRecord& checked, const std::vector<Row>& rows) {
  for (const auto& row : rows) {
    checked.values.push_back(row.value);
    checked.keys.push_back(row.key);
    checked.pieces.push_back(row.piece);
  }
}

// Keys of the rows of measured pieces, numbered as imports do.
std::vector<store::RowKey> NumberedKeys(const std::vector<NewPiece>& pieces) {
  import::BatchRecord numbering;
  std::vector<store::RowKey> keys;
  for (const auto& piece : pieces) {
    auto& key = keys.emplace_back(store::RowKey{0, piece.tsno, piece.sbno, 0, 0});
    numbering.Number(key, piece.tsno == 0);
  }
  return keys;
}

// Readings of one piece are one.
std::size_t PiecesOf(const NewRecord& record) {
  std::set<std::int32_t> numbers;
  for (const auto& key : NumberedKeys(record.pieces)) numbers.insert(key.Tsno);
  return numbers.size();
}

// A piece that has only readings gets their mean as its value.
void TakeMeasured(CheckedRecord& checked) {
  const auto& pieces = checked.sent->pieces;
  const auto is_plain = [](const NewPiece& piece) {
    return piece.tsno == 0 && piece.sbno == 0 && !HasNames(piece);
  };
  if (std::ranges::all_of(pieces, is_plain)) {
    checked.values.reserve(pieces.size());
    for (const auto& piece : pieces) checked.values.push_back(piece.value);
    return;
  }
  std::vector<Row> rows;
  for (const auto& key : NumberedKeys(pieces)) {
    const auto place = rows.size();
    rows.push_back({pieces[place].value, key, static_cast<std::uint32_t>(place)});
  }
  const auto place_of = [](const Row& row) { return std::pair(row.key.Tsno, row.key.Sbno); };
  std::ranges::stable_sort(rows, {}, place_of);
  const auto twice = std::ranges::adjacent_find(rows, {}, place_of);
  if (twice != rows.end()) {
    Refuse("number", "tsno", std::to_string(twice->key.Tsno),
           "the record has piece " + std::to_string(twice->key.Tsno) + ", with this sbno, twice");
  }
  std::vector<Row> all;
  for (auto from = rows.begin(); from != rows.end();) {
    const auto to = std::find_if(from, rows.end(),
                                 [&](const Row& row) { return row.key.Tsno != from->key.Tsno; });
    if (from->key.Sbno != 0) {
      auto mean = *from;
      mean.key.Sbno = 0;
      mean.value = write::MeanOfReadings(from, to, &Row::value);
      all.push_back(mean);
    }
    all.insert(all.end(), from, to);
    from = to;
  }
  TakeRows(checked, all);
}

// Counts of zero without a unit say nothing; a record of such counts alone has one row.
void TakeCounts(CheckedRecord& checked) {
  std::vector<Row> rows;
  std::uint32_t place = 0;
  for (const auto& piece : checked.sent->pieces) {
    const Row row{piece.value, {0, piece.tsno, piece.sbno, 0, 0}, place++};
    if (piece.value != 0.0 || piece.tsno != 0) rows.push_back(row);
  }
  if (rows.empty()) rows.emplace_back();
  TakeRows(checked, rows);
}

void CheckCounts(const CheckedRecord& checked) {
  const auto broken =
      write::BrokenRuleOfCounts(checked.type, checked.size, checked.values, checked.keys);
  if (broken) Refuse(*broken);
}

void CheckReasonable(CheckedRecord& checked) {
  const auto broken =
      write::BrokenRuleOfLimits(checked.stream->limits, checked.time, checked.values);
  if (!broken) return;
  checked.is_unreasonable = true;
  if (!checked.sent->force) Refuse(*broken);
}

std::string Counted(std::size_t count, const std::string& one, const std::string& many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

void CheckPiece(std::int32_t tsno) {
  if (tsno >= 0 && tsno <= write::kMaxPiece) return;
  Refuse("number", "tsno", std::to_string(tsno), "must be a whole number between 0 and 1000000000");
}

void CheckComment(const std::string& comment) {
  const auto length = log::CharactersOf(comment);
  if (log::IsText(comment) && length != 0 && length <= log::kMaxComment) return;
  Refuse("comment", "comment", comment, "must be 1 to 4000 characters of text");
}

bool IsStamp(std::int64_t time) { return time > INT32_MIN && time <= INT32_MAX; }

[[noreturn]] void RefuseTime(std::int64_t time) {
  Refuse("time", "time", std::to_string(time), std::string(platform::kTimeOutOfRange));
}

}  // namespace

void CheckKey(const std::string& key) {
  if (IsKey(key)) return;
  Refuse("key", "key", key, "must be 1 to 64 printable characters of ASCII");
}

bool HasNumbers(const NewRecord& record) {
  const auto has_number = [](const NewPiece& piece) { return std::isfinite(piece.value); };
  return std::isfinite(record.size) && std::ranges::all_of(record.pieces, has_number);
}

void RecordCheck::CheckTexts(const NewRecord& record, bool is_same_stream) const {
  if (!is_same_stream) {
    log::NeedName("part", record.part);
    log::NeedName("process", record.process);
    log::NeedName("test", record.test);
  }
  if (!record.label.empty()) log::NeedName("label", record.label);
  for (const auto& [column, name] : record.context) {
    if (column.starts_with(kDescriptor)) {
      log::NeedName("descriptor", column.substr(kDescriptor.size()));
    } else if (ContextKindOf(column) == nullptr) {
      std::string known;
      for (const auto& kind : store::kContextKinds) known += std::string(kind.column) + ", ";
      Refuse("context", column, name,
             "there is no such context, only " + known + std::string(kDescriptor) + "NAME");
    }
    log::NeedName(column, name);
  }
  for (const auto& piece : record.pieces) {
    for (std::size_t i = 0; i < std::size(kPieceNames); ++i) {
      const auto& name = piece.*kPieceNames[i];
      if (!name.empty()) log::NeedName(FieldOf(i), name);
    }
  }
  for (const auto& descriptor : record.descriptors) {
    log::NeedName("descriptor", descriptor.group);
    log::NeedName(std::string(kDescriptor) + descriptor.group, descriptor.name);
    CheckPiece(descriptor.tsno);
  }
  for (const auto& comment : record.comments) CheckComment(comment);
  for (const auto& comment : record.other_comments) {
    CheckComment(comment.text);
    CheckPiece(comment.tsno);
    if (!comment.employee.empty()) log::NeedName("employee", comment.employee);
    if (comment.time && !IsStamp(*comment.time)) RefuseTime(*comment.time);
  }
  if (record.flag < sfEnabled || record.flag > sfIncomplete) {
    Refuse("flag", "flag", std::to_string(record.flag), "must be enabled, disabled or incomplete");
  }
}

// What an undo took out of use is as new, but has its identifier still.
void RecordCheck::CheckKnown(std::string_view field, ItemKind kind, const std::string& name) {
  const auto* item = known_.Find(kind, name);
  if (item != nullptr && !item->was_undone) return;
  const auto text = catalogue::NoSuchItem(db_, kind, name);
  Refuse("unknown", field, name, text + (text.ends_with('?') ? "" : ";") + " --create makes it");
}

void RecordCheck::CheckActive(std::string_view field, ItemKind kind, const std::string& name,
                              std::vector<Note>& notes) {
  const auto* item = known_.Find(kind, name);
  if (item == nullptr) return;
  if (!item->is_active && !item->was_undone) {
    Refuse("inactive", field, name, change::InactiveText(db_, kind, item->id, name));
  }
  if (!item->renamed_to.empty()) {
    notes.push_back({"former-name",
                     "the " + std::string(WordOf(kind)) + " \"" + name + "\" is now \"" +
                         item->renamed_to + "\"",
                     {}});
  }
}

void RecordCheck::CheckItems(const NewRecord& record, bool is_same_stream, NewNames names,
                             std::vector<Note>& notes) {
  if (!is_same_stream) {
    const std::tuple<std::string_view, ItemKind, const std::string&> of_stream[] = {
        {"part", ItemKind::Part, record.part},
        {"process", ItemKind::Process, record.process},
        {"test", ItemKind::Test, record.test}};
    for (const auto& [field, kind, name] : of_stream) {
      if (names != NewNames::Create) CheckKnown(field, kind, name);
    }
    for (const auto& [field, kind, name] : of_stream) CheckActive(field, kind, name, notes);
  }
  for (const auto& [column, name] : record.context) {
    const auto* kind = ContextKindOf(column);
    if (kind != nullptr) CheckActive(column, kind->kind, name, notes);
  }
  for (const auto& comment : record.other_comments) {
    if (comment.employee.empty()) continue;
    CheckActive("employee", ItemKind::Employee, comment.employee, notes);
  }
  for (const auto& piece : record.pieces) {
    for (std::size_t i = 0; i < std::size(kPieceNames); ++i) {
      const auto& name = piece.*kPieceNames[i];
      if (!name.empty()) CheckActive(FieldOf(i), store::kRowKinds[i].kind, name, notes);
    }
  }
}

// Comments and descriptors are of pieces that are there.
void CheckPiecesThatAreNamed(const CheckedRecord& checked) {
  const auto need = [&](std::int32_t tsno) {
    const bool is_there =
        tsno == 0 ||
        (checked.keys.empty()
             ? static_cast<std::size_t>(tsno) <= checked.values.size()
             : std::ranges::find(checked.keys, tsno, &store::RowKey::Tsno) != checked.keys.end());
    if (!is_there) Refuse("unknown", "tsno", std::to_string(tsno), "the record has no such piece");
  };
  for (const auto& comment : checked.sent->other_comments) need(comment.tsno);
  for (const auto& descriptor : checked.sent->descriptors) need(descriptor.tsno);
}

// Defects of what is always alike have no size, on a c chart; where the newest have one, it is
// missing.
bool RecordCheck::GoesWithoutSize(const KnownStream& stream) {
  if (stream.id == 0) return true;
  bool has_size = false;
  store::StreamWalk(db_, stream.id, false, INT32_MIN, INT32_MAX)
      .ForEach([&](const store::RecordView& newest) {
        has_size = newest.Size() > 0.0;
        return false;
      });
  return !has_size;
}

// A test without values gets its type from the first record: it counts where a defect is given, or
// a size that is not that of several pieces.
void RecordCheck::SettleType(CheckedRecord& checked) {
  const auto& record = *checked.sent;
  const bool names_defect =
      std::ranges::any_of(record.pieces, [](const auto& piece) { return !piece.defect.empty(); });
  checked.type = checked.stream->type;
  if (checked.type == 0) {
    const bool is_of_pieces =
        record.pieces.size() > 1 && record.size == static_cast<double>(PiecesOf(record));
    const auto usual = names_defect                       ? ttDefects
                       : record.size > 0 && !is_of_pieces ? ttDefectives
                                                          : ttVariable;
    const auto found = new_types_.find(checked.stream->names[2]);
    checked.type = found == new_types_.end() ? usual : found->second;
  }
  if (checked.type != ttVariable) {
    const bool is_sized = record.size > 0 || (checked.type == ttDefects && record.size == 0.0 &&
                                              names_defect && GoesWithoutSize(*checked.stream));
    if (is_sized && !record.pieces.empty()) return;
    const std::string what = checked.type == ttDefects ? "defects" : "defectives";
    Refuse("type", "test", record.test,
           record.test + " counts " + what + "; give --size and a count");
  }
  const bool has_size = record.size != 0.0 && record.size != static_cast<double>(PiecesOf(record));
  if (names_defect || has_size || record.pieces.empty()) {
    Refuse("type", "test", record.test,
           record.test + " has measured values; give these, without --size and --defect");
  }
}

CheckedRecord RecordCheck::Check(const NewRecord& record, NewNames names, std::int64_t now) {
  const bool is_same_stream = latest_.sent != nullptr && latest_.sent->part == record.part &&
                              latest_.sent->process == record.process &&
                              latest_.sent->test == record.test;
  CheckTexts(record, is_same_stream);
  CheckedRecord checked;
  checked.sent = &record;
  CheckItems(record, is_same_stream, names, checked.notes);
  checked.stream =
      is_same_stream ? latest_.stream : &known_.Stream(record.part, record.process, record.test);
  SettleType(checked);
  for (const auto& piece : record.pieces) {
    if (const auto broken = write::BrokenRuleOfNumber(piece.value)) Refuse(*broken);
    CheckPiece(piece.sbno < 0 ? piece.sbno : piece.tsno);
  }
  const auto time = record.time == 0 ? now : record.time;
  const bool is_stamp = IsStamp(time);
  checked.time = is_stamp ? static_cast<std::int32_t>(time) : 0;
  checked.label = record.label;
  checked.flag = record.flag;
  if (checked.type == ttVariable) {
    TakeMeasured(checked);
    const auto is_piece = [](const store::RowKey& key) { return key.Sbno == 0; };
    const auto count =
        checked.keys.empty()
            ? checked.values.size()
            : static_cast<std::size_t>(std::ranges::count_if(checked.keys, is_piece));
    checked.size = static_cast<double>(count);
    CheckReasonable(checked);
    CheckPiecesThatAreNamed(checked);
    const auto expected = static_cast<std::size_t>(checked.stream->subgroup_size);
    if (expected != 0 && count != expected && record.flag != sfIncomplete) {
      Refuse("size", "value", std::to_string(count),
             Counted(count, "value", "values") + " where " + std::to_string(expected) +
                 (expected == 1 ? " belongs" : " belong") +
                 " to a subgroup; --flag incomplete stores " + (count == 1 ? "it" : "them"));
    }
  } else {
    TakeCounts(checked);
    checked.size = record.size;
    CheckCounts(checked);
    CheckReasonable(checked);
  }
  if (!is_stamp) RefuseTime(time);
  if (const auto broken = write::BrokenRuleOfTime(time, now)) Refuse(*broken);
  if (checked.stream->type == 0) new_types_[checked.stream->names[2]] = checked.type;
  // Notes about its names are those of each record.
  latest_ = checked.notes.empty() ? Latest{&record, checked.stream} : Latest{};
  return checked;
}

}  // namespace orvspc::engine::record
