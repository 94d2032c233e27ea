// SPDX-License-Identifier: Apache-2.0
#include "engine/write/change/pieces.h"

#include <algorithm>
#include <array>
#include <tuple>

#include "engine/write/change/Items.h"
#include "engine/write/change/events.h"
#include "engine/write/record_rules.h"
#include "platform/Enumerations.h"

namespace orvspc::engine::change {
namespace {

using log::Json;

using RowNames = std::array<std::optional<std::int32_t>, std::size(store::kRowKinds)>;
constexpr std::int32_t kNoItem = -1;  // a name that nothing has

// A change of one record on its way.
struct Edit {
  log::Writing& writing;
  sql::Connection& db;
  StoredRecord& record;
  const ValueChange& change;
  bool is_measured;

  [[noreturn]] void Refuse(const char* code, const char* field, const std::string& value,
                           const std::string& text) const {
    throw Refused(code, field, value, CalledBy(db, record) + ": " + text);
  }
  [[noreturn]] void RefusePiece(const char* code, const std::string& text) const {
    Refuse(code, "tsno", std::to_string(change.tsno), text);
  }
};

double PiecesOf(const StoredRecord& record) {
  const auto is_piece = [](const store::RowKey& key) { return key.Sbno == 0; };
  return static_cast<double>(std::ranges::count_if(record.keys, is_piece));
}

[[noreturn]] void Refuse(sql::Connection& db, const StoredRecord& record,
                         const write::BrokenRule& broken) {
  const std::string field(broken.field);
  throw Refused(broken.code, field, broken.value,
                CalledBy(db, record) + ": " + field + ": " + broken.reason);
}

// Throws for what recording would refuse.
void CheckCounts(sql::Connection& db, const StoredRecord& record) {
  const auto broken =
      write::BrokenRuleOfCounts(TypeOf(db, record.test), record.size, record.values, record.keys);
  if (broken) Refuse(db, record, *broken);
}

// The items that a change names; those of a value that is added may be new.
RowNames NamesOf(const Edit& edit) {
  RowNames names;
  for (const auto& [column, name] : edit.change.names) {
    const auto* const kind = std::ranges::find(store::kRowKinds, column, &store::RowKind::column);
    if (kind == std::end(store::kRowKinds)) {
      edit.Refuse("unknown", column.c_str(), name, "a value has no " + column);
    }
    auto& item = names[static_cast<std::size_t>(kind - std::begin(store::kRowKinds))];
    if (name.empty()) {
      item = 0;
    } else if (edit.change.what == ValueChange::What::Add) {
      if (edit.is_measured && kind->kind == ItemKind::Defect) {
        edit.Refuse("type", "defect", name, "has measured values, which have no defect");
      }
      item = TakeItem(edit.writing, kind->kind, column, name);
    } else {
      item = FindItem(edit.db, kind->kind, name).value_or(kNoItem);
    }
  }
  return names;
}

// A piece that is not numbered is any one.
bool Fits(const store::RowKey& key, const Edit& edit, const RowNames& names) {
  const auto& change = edit.change;
  const bool is_any = edit.is_measured && change.tsno == 0;
  if ((key.Tsno != change.tsno && !is_any) || key.Sbno != change.sbno) return false;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (names[i] && key.*store::kRowKinds[i].member != *names[i]) return false;
  }
  return true;
}

// "piece 3, reading 1", "count of SC of unit 2"
std::string TextOf(const Edit& edit) {
  const auto& change = edit.change;
  std::string text;
  if (edit.is_measured) {
    text = change.tsno == 0 ? "piece with these names" : "piece " + std::to_string(change.tsno);
  } else {
    text = "count";
    const auto defect = change.names.find("defect");
    if (defect != change.names.end()) {
      text += defect->second.empty() ? " without a defect" : " of " + defect->second;
    }
    if (change.tsno != 0) text += " of unit " + std::to_string(change.tsno);
  }
  return text + (change.sbno == 0 ? "" : ", reading " + std::to_string(change.sbno));
}

// Places of the value that is meant. Counts that differ in nothing are one, in parts.
std::vector<std::size_t> PlacesOf(const Edit& edit, const RowNames& names) {
  const auto& keys = edit.record.keys;
  std::vector<std::size_t> places;
  for (std::size_t i = 0; i < keys.size(); ++i) {
    if (Fits(keys[i], edit, names)) places.push_back(i);
  }
  if (places.empty()) edit.RefusePiece("unknown", "there is no " + TextOf(edit));
  const auto differs = [&](std::size_t place) { return keys[place] != keys[places.front()]; };
  if (edit.is_measured && places.size() > 1) {
    std::string list;
    for (const auto place : places) {
      list += (list.empty() ? "" : ", ") + std::to_string(keys[place].Tsno);
    }
    edit.RefusePiece("several", std::to_string(places.size()) + " pieces fit (" + list +
                                    "); name one by --tsno");
  }
  if (std::ranges::any_of(places, differs)) {
    std::string list;
    const auto pieces = CanonicalOf(edit.db, edit.record).pieces;
    for (const auto place : places) {
      const auto& piece = pieces[place];
      list += list.empty() ? "" : ", ";
      std::string called;
      for (const auto* const name : {&piece.defect, &piece.serial, &piece.gage}) {
        if (!name->empty()) called += (called.empty() ? "" : " ") + *name;
      }
      list += called.empty() ? "without names" : called;
    }
    edit.RefusePiece("several", std::to_string(places.size()) + " values fit (" + list +
                                    "); name one by --defect, --serial or --gage");
  }
  return places;
}

void Erase(StoredRecord& record, std::size_t place) {
  record.keys.erase(record.keys.begin() + static_cast<std::ptrdiff_t>(place));
  record.values.erase(record.values.begin() + static_cast<std::ptrdiff_t>(place));
}

void Insert(StoredRecord& record, const store::RowKey& key, double value) {
  const auto order = [](const store::RowKey& each) { return std::tuple(each.Tsno, each.Sbno); };
  const auto next = std::ranges::find_if(
      record.keys, [&](const store::RowKey& each) { return order(each) > order(key); });
  const auto at = next - record.keys.begin();
  record.keys.insert(next, key);
  record.values.insert(record.values.begin() + at, value);
}

// A count of zero without a unit.
bool SaysNothing(const StoredRecord& record, std::size_t place) {
  return record.values[place] == 0.0 && record.keys[place].Tsno == 0;
}

store::RowKey NewKey(const Edit& edit, const RowNames& names) {
  const auto& keys = edit.record.keys;
  store::RowKey key{0, edit.change.tsno, edit.change.sbno, 0, 0};
  for (std::size_t i = 0; i < names.size(); ++i) {
    key.*store::kRowKinds[i].member = names[i].value_or(0);
  }
  std::int64_t tsno = key.Tsno;
  if (edit.is_measured && tsno == 0) {
    for (const auto& each : keys) tsno = std::max<std::int64_t>(tsno, each.Tsno);
    ++tsno;
  }
  if (tsno < 0 || tsno > write::kMaxPiece || key.Sbno < 0) {
    edit.RefusePiece("number", tsno > write::kMaxPiece && key.Tsno == 0
                                   ? "there is no number left after piece " +
                                         std::to_string(tsno - 1) + "; --tsno gives another one"
                                   : "a number of a piece lies between 0 and 1000000000");
  }
  key.Tsno = static_cast<std::int32_t>(tsno);
  for (std::size_t i = 0; i < keys.size(); ++i) {
    const bool is_same = edit.is_measured ? keys[i].Tsno == key.Tsno && keys[i].Sbno == key.Sbno
                                          : keys[i] == key && !SaysNothing(edit.record, i);
    if (is_same) edit.RefusePiece("stored", TextOf(edit) + " is there already");
  }
  return key;
}

// The rows of a measured piece.
struct PieceRows {
  std::optional<std::size_t> own, first_reading;  // places
  std::vector<double> readings;

  double Mean() const { return write::MeanOfReadings(readings.begin(), readings.end()); }
  bool IsMean(const StoredRecord& record) const {
    return own && !readings.empty() && record.values[*own] == Mean();
  }
};
PieceRows RowsOf(const StoredRecord& record, std::int32_t tsno) {
  PieceRows rows;
  for (std::size_t i = 0; i < record.keys.size(); ++i) {
    if (record.keys[i].Tsno != tsno) continue;
    if (record.keys[i].Sbno == 0) {
      rows.own = i;
    } else {
      if (!rows.first_reading) rows.first_reading = i;
      rows.readings.push_back(record.values[i]);
    }
  }
  return rows;
}

// After a change of a reading: the piece has their mean again if it had it before.
void FollowReadings(StoredRecord& record, std::int32_t tsno, bool had_mean) {
  const auto rows = RowsOf(record, tsno);
  if (!rows.own && rows.first_reading) {
    auto key = record.keys[*rows.first_reading];
    key.Sbno = 0;
    key.Def = 0;
    Insert(record, key, rows.Mean());
  } else if (rows.own && had_mean && rows.readings.empty()) {
    Erase(record, *rows.own);
  } else if (rows.own && had_mean) {
    record.values[*rows.own] = rows.Mean();
  }
}

// What follows from the change of a row of a measured piece.
void TidyPiece(const Edit& edit, std::int32_t tsno, bool had_mean) {
  auto& record = edit.record;
  const bool is_removed = edit.change.what == ValueChange::What::Remove;
  if (edit.change.sbno != 0) {
    FollowReadings(record, tsno, had_mean);
  } else if (is_removed) {
    for (std::size_t i = record.keys.size(); i-- > 0;) {
      if (record.keys[i].Tsno == tsno) Erase(record, i);
    }
  }
  if (is_removed && PiecesOf(record) == 0.0) {
    edit.RefusePiece("size", "it is the last value; edit delete takes the record out");
  }
}

// A record without counts has one row.
void TidyCounts(StoredRecord& record) {
  for (std::size_t i = record.keys.size(); i-- > 0;) {
    if (SaysNothing(record, i)) Erase(record, i);
  }
  if (!record.keys.empty()) return;
  record.keys.emplace_back();
  record.values.push_back(0.0);
}

}  // namespace

Json ApplyToPiece(log::Writing& writing, StoredRecord& record, const ValueChange& change) {
  using enum ValueChange::What;
  auto& db = writing.Db();
  const Edit edit{writing, db, record, change, IsMeasured(db, record.test)};
  const bool counts_pieces = record.size == PiecesOf(record);
  if (change.what != Remove) {
    if (const auto broken = write::BrokenRuleOfNumber(change.value)) Refuse(db, record, *broken);
  }
  const auto names = NamesOf(edit);
  auto tsno = change.tsno;
  if (edit.is_measured && tsno == 0 && change.what != Add) {
    tsno = record.keys[PlacesOf(edit, names).front()].Tsno;
  }
  const bool had_mean = RowsOf(record, tsno).IsMean(record);
  if (change.what == Add) {
    const auto key = NewKey(edit, names);
    tsno = key.Tsno;
    Insert(record, key, change.value);
  } else {
    const auto places = PlacesOf(edit, names);
    const auto kept = change.what == Set ? std::size_t{1} : std::size_t{0};
    if (kept != 0) record.values[places.front()] = change.value;
    for (auto i = places.size(); i-- > kept;) Erase(record, places[i]);
  }
  if (edit.is_measured) {
    TidyPiece(edit, tsno, had_mean);
    if (counts_pieces) record.size = PiecesOf(record);
  } else {
    TidyCounts(record);
    CheckCounts(db, record);
  }
  Json after = Json::object();
  if (edit.is_measured || tsno != 0) after["tsno"] = tsno;
  if (change.sbno != 0) after["sbno"] = change.sbno;
  for (const auto& [column, name] : change.names) after[column] = name;
  if (change.what == Remove) {
    after["removed"] = true;
  } else {
    after["value"] = log::Number(change.value);
  }
  return after;
}

void CheckReasonable(log::Writing& writing, const StoredRecord& record,
                     std::span<const double> values, bool force) {
  auto& db = writing.Db();
  const auto& of = record.subgroup;
  const auto limits = write::ReadReasonableLimits(db, of.part, record.test);
  const auto broken = write::BrokenRuleOfLimits(limits, of.time, values);
  if (!broken) return;
  if (!force) Refuse(db, record, *broken);
  EventOf event{of.process, of.part, record.test, of.time};
  event.name = write::kUnreasonable;
  AddEvent(writing, etGeneral, event);
}

void SetSize(sql::Connection& db, StoredRecord& record, double size) {
  const auto refuse = [&](const char* code, const std::string& text) {
    throw Refused(code, "size", write::NumberText(size), CalledBy(db, record) + ": " + text);
  };
  record.size = size;
  if (IsMeasured(db, record.test)) {
    if (size == PiecesOf(record)) return;
    refuse("type",
           "has measured values, and their number is its size; --test names a test that "
           "counts");
  }
  if (size == 0.0) refuse("count", "size: must be more than 0");
  CheckCounts(db, record);
}

}  // namespace orvspc::engine::change
