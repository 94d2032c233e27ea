// SPDX-License-Identifier: Apache-2.0
#include "engine/write/copy.h"

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "engine/chunks/StreamWalk.h"
#include "engine/chunks/subgroups.h"
#include "engine/sql/failure.h"
#include "engine/sql/sqlite/SqliteConnection.h"
#include "engine/sql/texts.h"
#include "engine/store/RowBytes.h"
#include "engine/store/SqlStore.h"
#include "engine/store/tables.h"
#include "engine/write/RowSum.h"
#include "engine/write/chunks/MeasurementBuffer.h"
#include "engine/write/chunks/SubgroupWriter.h"
#include "engine/write/log/Json.h"
#include "engine/write/log/Log.h"
#include "engine/write/log/Reading.h"

namespace orvspc::engine::store {
namespace {

// The digest of a database that was just made.
DatabaseDigest DigestOfNew() {
  const auto made = sql::sqlite::OpenFile("", true, [](sql::Connection&) {});
  const sql::Transaction transaction(*made, sql::TransactionKind::Write);
  MakeTablesToFill(*made, "");
  return DigestOf(*made);
}

// A new database has nothing but run rules and their sets. Those are compared, since some may have
// been added to them.
bool IsAsMade(sql::Connection& db) {
  const bool has_only_rules = std::ranges::all_of(Tables(), [&](const Table& table) {
    const bool is_of_rules =
        table.name == "rule" || table.name == "rule_set" || table.name == "rule_set_member";
    return is_of_rules || !sql::Query(db, SelectStored(table)).Step();
  });
  const bool has_first_entry_only =
      sql::Query(db, "SELECT max(seq) FROM log").RunForInt().value_or(0) <= 1;
  return has_only_rules && has_first_entry_only && DigestOf(db) == DigestOfNew();
}

// Tables that are no content but are copied and compared like it.
constexpr Table kLog{
    "log",
    "seq:i at:i who:t system:t station:t operation:t object:t before:t after:t reason:t program:t "
    "hash:t"};
constexpr std::string_view kLogText =
    "SELECT seq, at, who, system, station, operation, object, before, after, reason, program, hash "
    "FROM log ORDER BY seq";
constexpr Table kCounter{"counter", "name:t last:i"};
constexpr std::string_view kCounterText = "SELECT name, last FROM counter";
constexpr std::string_view kSubgroup = "subgroup", kMeasurement = "measurement";

// Sums of rows as they are stored, with their identifiers, which a copy keeps.
class StoredRows {
 public:
  void Add(const sql::Query& query, std::span<const Column> columns, RowSum& sum) {
    row_.Clear();
    for (std::size_t i = 0; i < columns.size(); ++i) {
      const auto column = static_cast<int>(i);
      if (query.IsNull(column)) {
        row_.Null();
      } else if (columns[i].kind == ColumnKind::Real) {
        const auto value = query.Real(column);
        row_.Real(value == 0.0 ? 0.0 : value);  // as sql::Parameters binds it
      } else if (columns[i].kind == ColumnKind::Text) {
        row_.Text(query.Text(column));
      } else {
        row_.Number(query.Int64(column));
      }
    }
    sum.Add(row_.Bytes());
  }
  void Add(const SubgroupFacts& subgroup, RowSum& sum) {
    row_.Clear();
    for (const auto number : {subgroup.id, subgroup.part, subgroup.process, subgroup.time}) {
      row_.Number(number);
    }
    row_.Text(subgroup.label);
    sum.Add(row_.Bytes());
  }
  void Add(std::int64_t stream, const Measurement& record, RowSum& sum) {
    row_.Clear();
    for (const std::int64_t number :
         {stream, std::int64_t{record.time}, std::int64_t{record.subgroup},
          std::int64_t{record.context}, std::int64_t{record.flag}, record.batch, record.entry}) {
      row_.Number(number);
    }
    row_.Real(record.size);
    row_.Number(std::ssize(record.values));
    row_.Append(BytesOf(record.values));
    if (!ArePlain(record.keys)) row_.Append(BytesOf(record.keys));
    sum.Add(row_.Bytes());
  }

 private:
  template <class T>
  static std::string_view BytesOf(std::span<const T> values) {
    static_assert(std::has_unique_object_representations_v<T> || std::is_floating_point_v<T>);
    return {reinterpret_cast<const char*>(values.data()), values.size_bytes()};
  }

  RowBytes row_;
};

// "comment, row 12"; in tables without identifiers by their first number, or by none.
std::string PlaceOf(const Table& table, std::span<const Column> columns, const sql::Query& row) {
  std::string name = "the table " + std::string(table.name);
  for (std::size_t i = 0; i < columns.size(); ++i) {
    const auto kind = columns[i].kind;
    if (kind == ColumnKind::Real || kind == ColumnKind::Text) continue;
    const auto word = kind == ColumnKind::Id ? "row" : std::string(columns[i].name);
    return name + ", " + word + " " + std::to_string(row.Int64(static_cast<int>(i)));
  }
  return name;
}

// Former releases stored such texts in files.
[[noreturn]] void RefuseText(const std::string& place, std::string_view column,
                             std::string_view text) {
  throw std::runtime_error(place + ", " + std::string(column) + ": " + sql::NotStorable(text) +
                           ", and no server holds that; copy to a file, or correct it first "
                           "(orvspc comment edit, orvspc edit)");
}

class Copy {
 public:
  Copy(sql::Connection& from, sql::Connection& to, const std::string& name_of_to,
       const std::optional<std::vector<ChosenStream>>& chosen)
      : from_(from), to_(to), name_of_to_(name_of_to), chosen_(chosen) {
    if (!chosen_) return;
    for (const auto& stream : *chosen_) {
      subgroups_.insert(subgroups_.end(), stream.subgroups.begin(), stream.subgroups.end());
    }
    std::ranges::sort(subgroups_);
    subgroups_.erase(std::unique(subgroups_.begin(), subgroups_.end()), subgroups_.end());
    sql::Query tests(from, "SELECT test, id FROM stream");
    while (tests.Step()) streams_of_test_[tests.Int64(0)].push_back(tests.Int64(1));
    FindAlarmsLeftOut();
  }

  DatabaseDigest Run(const CopyActor& actor, const std::function<void(std::int64_t)>& progress) {
    InTarget([&] {
      if (!IsAsMade(to_)) throw std::runtime_error("the database to copy into holds data already");
      const auto tables = Tables();
      for (auto table = tables.rbegin(); table != tables.rend(); ++table) {
        to_.Execute("DELETE FROM " + std::string(table->name));
      }
    });
    CopyLog();
    for (const auto& table : Tables()) CopyRows(table, SelectStored(table));
    CopySubgroups();
    CopyMeasurements(progress);
    CopyCounters();
    auto digest = InTarget([&] { return Compare(); });
    InTarget([&] { AddEntry(actor, digest); });
    return digest;
  }

 private:
  // Everything that is done in the database to copy into, so that its failures name it.
  template <class Work>
  std::invoke_result_t<Work> InTarget(Work work) {
    try {
      return work();
    } catch (...) {
      sql::RethrowAsExternal(name_of_to_, kHostCall);
    }
  }

  bool Takes(std::int32_t subgroup) const {
    return !chosen_ || std::ranges::binary_search(subgroups_, subgroup);
  }
  bool Takes(std::int64_t stream, std::int32_t subgroup) const {
    if (!chosen_) return true;
    const auto found = std::ranges::lower_bound(*chosen_, stream, {}, &ChosenStream::stream);
    return found != chosen_->end() && found->stream == stream &&
           std::ranges::binary_search(found->subgroups, subgroup);
  }
  bool TakesOf(std::int64_t stream) const {
    return !chosen_ || std::ranges::binary_search(*chosen_, stream, {}, &ChosenStream::stream);
  }
  bool TakesOfTest(std::int64_t test, std::int32_t subgroup) const {
    const auto streams = streams_of_test_.find(test);
    return streams != streams_of_test_.end() &&
           std::ranges::any_of(streams->second,
                               [&](std::int64_t stream) { return Takes(stream, subgroup); });
  }

  // An alarm about a record that is left out is not copied, nor are its event and its messages.
  void FindAlarmsLeftOut() {
    sql::Query alarms(from_, "SELECT event, stream, first_subgroup, last_subgroup FROM alarm");
    while (alarms.Step()) {
      const auto stream = alarms.Int64(1);
      if (Takes(stream, alarms.Int(2)) && Takes(stream, alarms.Int(3))) continue;
      events_left_out_.insert(alarms.Int64(0));
    }
    sql::Query messages(from_, "SELECT id, event FROM outbox");
    while (messages.Step()) {
      if (events_left_out_.contains(messages.Int64(1))) {
        messages_left_out_.insert(messages.Int64(0));
      }
    }
  }
  // Rows that tables of history have of alarms, and of keys of records.
  bool IsLeftOut(const Table& table, const Column& column, std::int64_t value) const {
    if (column.name == "event" || (table.name == "event" && column.kind == ColumnKind::Id)) {
      return events_left_out_.contains(value);
    }
    if (column.name == "outbox") return messages_left_out_.contains(value);
    return table.name == "client_key" && column.name == "subgroup" &&
           !Takes(static_cast<std::int32_t>(value));
  }

  // A row that belongs to a subgroup goes with it, and one that belongs to one of its tests with
  // the values of that test.
  bool Takes(const Table& table, const sql::Query& row, std::span<const Column> columns) const {
    if (!chosen_) return true;
    std::optional<std::int32_t> subgroup;
    std::optional<std::int64_t> test;
    for (std::size_t i = 0; i < columns.size(); ++i) {
      const auto column = static_cast<int>(i);
      if (row.IsNull(column)) continue;
      const bool is_number = columns[i].kind == ColumnKind::Number;
      const bool is_id = columns[i].kind == ColumnKind::Id;
      if ((is_number || is_id) && IsLeftOut(table, columns[i], row.Int64(column))) return false;
      if (columns[i].kind == ColumnKind::Subgroup) subgroup = row.Int(column);
      if (columns[i].table == "test") test = row.Int64(column);
    }
    if (!subgroup) return true;
    return test ? TakesOfTest(*test, *subgroup) : Takes(*subgroup);
  }

  // In place of the entry that says how the other was made, which keeps its identity.
  void CopyLog() {
    InTarget([&] {
      to_.KeepAppendOnly("log", "seq", false);
      to_.Execute("DELETE FROM log");
    });
    CopyRows(kLog, kLogText);
    InTarget([&] { to_.KeepAppendOnly("log", "seq", true); });
  }

  void CopyCounters() {
    InTarget([&] { to_.Execute("DELETE FROM counter"); });
    CopyRows(kCounter, kCounterText);
  }

  // Whose copy this is and of which state.
  void AddEntry(const CopyActor& actor, const DatabaseDigest& digest) {
    const auto head = log::ReadHead(from_);
    log::Json after = {{"uuid", log::IdentityOf(to_)},
                       {"source", head.uuid},
                       {"head", head.hash},
                       {"digest", digest.all}};
    if (chosen_) after["selected"] = digest.measurements;
    log::Writing(to_, actor.actor, actor.reason)
        .Add("copy", "database", {}, log::CanonicalText(after));
  }

  void CopyRows(const Table& table, std::string_view select_text) {
    const auto columns = ColumnsOf(table);
    sql::Query select(from_, select_text);
    const auto rows = InTarget([&] { return to_.InsertMany(RowOf(table), sql::OnConflict::Fail); });
    auto& taken = taken_[table.name];
    while (select.Step()) {
      if (!Takes(table, select, columns)) continue;
      stored_.Add(select, columns, taken);
      for (std::size_t i = 0; i < columns.size(); ++i) {
        const auto column = static_cast<int>(i);
        const auto kind = columns[i].kind;
        if (select.IsNull(column)) {
          rows->BindNull(column + 1);
        } else if (kind == ColumnKind::Real) {
          rows->BindReal(column + 1, select.Real(column));
        } else if (kind == ColumnKind::Text) {
          const auto text = select.Text(column);
          if (!to_.Holds(text)) RefuseText(PlaceOf(table, columns, select), columns[i].name, text);
          rows->BindText(column + 1, text);
        } else {
          rows->BindInt(column + 1, select.Int64(column));
        }
      }
      InTarget([&] { rows->Add(); });
    }
    InTarget([&] { rows->Finish(); });
  }

  void CopySubgroups() {
    auto writer =
        InTarget([&] { return SubgroupWriter(to_, SubgroupWriter::Into::EmptyDatabase); });
    auto& taken = taken_[kSubgroup];
    std::int32_t last = 0;
    ForEachSubgroup(from_, 1, INT32_MAX, [&](const SubgroupFacts& each) {
      if (!Takes(each.id)) return;
      last = each.id;
      stored_.Add(each, taken);
      if (!to_.Holds(each.label)) {
        RefuseText("subgroup #" + std::to_string(each.id), "label", each.label);
      }
      InTarget([&] { writer.Add(each); });
    });
    // All blocks but the last are sealed there.
    if (!chosen_) {  // what is chosen has measurements
      with_rows_ = HotWithoutMeasurements(from_, std::int64_t{BlockOf(last)} * kBlockSize);
    }
    const auto sealed = SealedWithRows(from_);
    with_rows_.insert(with_rows_.end(), sealed.begin(), sealed.end());
    std::ranges::sort(with_rows_);
    std::erase_if(with_rows_, [&](std::int32_t id) { return !Takes(id); });
    InTarget([&] {
      writer.Flush();
      SealWithRows(to_, with_rows_);
    });
  }

  void CopyMeasurements(const std::function<void(std::int64_t)>& progress) {
    constexpr std::int64_t kStep = 50'000;
    std::vector<std::int64_t> streams;
    for (sql::Query query(from_, "SELECT id FROM stream ORDER BY id"); query.Step();) {
      streams.push_back(query.Int64(0));
    }
    auto& taken = taken_[kMeasurement];
    auto buffer = InTarget([&] { return MeasurementBuffer(to_); });
    for (const auto stream : streams) {
      if (!TakesOf(stream)) continue;  // damage in another stream is not met
      ForEachRecord(from_, stream, [&](const RecordView& view) {
        if (!Takes(stream, view.Subgroup())) return;
        const auto record = view.Copy(values_, keys_);
        stored_.Add(stream, record, taken);
        InTarget([&] { buffer.Add(stream, record); });
        if (taken.Rows() % kStep == 0 && progress) progress(taken.Rows());
      });
    }
    InTarget([&] { buffer.Flush(); });
  }

  // Reads the copy as it will be committed. Returns its digest.
  DatabaseDigest Compare() {
    CompareTable(kLog, kLogText);
    for (const auto& table : Tables()) CompareTable(table, SelectStored(table));
    CompareTable(kCounter, kCounterText);
    RowSum subgroups, measurements;
    auto digest = DigestOf(
        to_,
        [&](std::int64_t stream, const auto& take) {
          ForEachRecord(to_, stream, [&](const RecordView& view) {
            const auto record = view.Copy(values_, keys_);
            stored_.Add(stream, record, measurements);
            take(record);
          });
        },
        [&](const auto& take) {
          ForEachSubgroup(to_, 1, INT32_MAX, [&](const SubgroupFacts& each) {
            stored_.Add(each, subgroups);
            take(each);
          });
        });
    CompareSum(kSubgroup, subgroups);
    if (SealedWithRows(to_) != with_rows_)
      FailAt(kSubgroup, "a row that it is found by is missing");
    CompareSum(kMeasurement, measurements);
    return digest;
  }

  void CompareTable(const Table& table, std::string_view select_text) {
    const auto columns = ColumnsOf(table);
    RowSum copied;
    for (sql::Query select(to_, select_text); select.Step();) stored_.Add(select, columns, copied);
    CompareSum(table.name, copied);
  }

  void CompareSum(std::string_view table, const RowSum& copied) {
    const auto& taken = taken_[table];
    if (copied.Rows() != taken.Rows()) {
      FailAt(table,
             std::to_string(copied.Rows()) + " rows in place of " + std::to_string(taken.Rows()));
    }
    if (copied != taken) FailAt(table, "a row has changed");
  }

  [[noreturn]] static void FailAt(std::string_view table, const std::string& difference) {
    throw std::runtime_error("the copy differs from what was copied in table " +
                             std::string(table) + ": " + difference);
  }

  sql::Connection& from_;
  sql::Connection& to_;
  const std::string& name_of_to_;
  const std::optional<std::vector<ChosenStream>>& chosen_;
  ChosenSubgroups subgroups_;  // of all streams
  std::map<std::int64_t, std::vector<std::int64_t>> streams_of_test_;
  std::set<std::int64_t> events_left_out_, messages_left_out_;
  StoredRows stored_;
  std::map<std::string_view, RowSum> taken_;  // by table
  std::vector<std::int32_t> with_rows_;       // sealed subgroups that keep their rows
  std::vector<double> values_;
  std::vector<RowKey> keys_;
};

}  // namespace

DatabaseDigest CopyDatabase(sql::Connection& from, sql::Connection& to,
                            const std::string& name_of_to,
                            const std::optional<std::vector<ChosenStream>>& chosen,
                            const CopyActor& actor,
                            const std::function<void(std::int64_t)>& progress) {
  return Copy(from, to, name_of_to, chosen).Run(actor, progress);
}

}  // namespace orvspc::engine::store
