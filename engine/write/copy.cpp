// SPDX-License-Identifier: Apache-2.0
#include "engine/write/copy.h"

#include <algorithm>
#include <map>
#include <optional>
#include <span>
#include <stdexcept>
#include <type_traits>
#include <vector>

#include "engine/chunks/StreamWalk.h"
#include "engine/chunks/subgroups.h"
#include "engine/sql/failure.h"
#include "engine/sql/sqlite/SqliteConnection.h"
#include "engine/sql/texts.h"
#include "engine/store/SqlStore.h"
#include "engine/store/tables.h"
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

// "comment, row 12"; in tables without identifiers by their first number, or by none.
std::string PlaceOf(const Table& table, std::span<const Column> columns, const sql::Query& row) {
  const std::string name = "the table " + std::string(table.name);
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
    for (const auto& table : Tables()) CopyTable(table);
    CopySubgroups();
    CopyMeasurements(progress);
    CopyCounters();
    auto digest = Compare();
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
  bool TakesOfTest(std::int64_t test, std::int32_t subgroup) const {
    const auto streams = streams_of_test_.find(test);
    return streams != streams_of_test_.end() &&
           std::ranges::any_of(streams->second,
                               [&](std::int64_t stream) { return Takes(stream, subgroup); });
  }

  // A row that belongs to a subgroup goes with it, and one that belongs to one of its tests with
  // the values of that test.
  bool Takes(const sql::Query& row, std::span<const Column> columns) const {
    if (!chosen_) return true;
    std::optional<std::int32_t> subgroup;
    std::optional<std::int64_t> test;
    for (std::size_t i = 0; i < columns.size(); ++i) {
      const auto column = static_cast<int>(i);
      if (row.IsNull(column)) continue;
      if (columns[i].kind == ColumnKind::Subgroup) subgroup = row.Int(column);
      if (columns[i].table == "test") test = row.Int64(column);
    }
    if (!subgroup) return true;
    return test ? TakesOfTest(*test, *subgroup) : Takes(*subgroup);
  }

  // In place of the entry that says how the other was made, which keeps its identity.
  void CopyLog() {
    constexpr Table kLog{
        "log",
        "seq:i at:i who:t system:t station:t operation:t object:t before:t after:t reason:t "
        "program:t hash:t"};
    InTarget([&] {
      to_.KeepAppendOnly("log", "seq", false);
      to_.Execute("DELETE FROM log");
    });
    CopyRows(kLog,
             "SELECT seq, at, who, system, station, operation, object, before, after, reason, "
             "program, hash FROM log ORDER BY seq");
    InTarget([&] { to_.KeepAppendOnly("log", "seq", true); });
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

  void CopyTable(const Table& table) { CopyRows(table, SelectStored(table)); }

  void CopyRows(const Table& table, std::string_view select_text) {
    const auto columns = ColumnsOf(table);
    sql::Query select(from_, select_text);
    const auto rows = InTarget([&] { return to_.InsertMany(RowOf(table), sql::OnConflict::Fail); });
    while (select.Step()) {
      if (!Takes(select, columns)) continue;
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
    ForEachSubgroup(from_, 1, INT32_MAX, [&](const SubgroupFacts& each) {
      if (!Takes(each.id)) return;
      if (!to_.Holds(each.label)) {
        RefuseText("subgroup #" + std::to_string(each.id), "label", each.label);
      }
      InTarget([&] { writer.Add(each); });
    });
    auto with_rows = SealedWithRows(from_);
    std::erase_if(with_rows, [&](std::int32_t id) { return !Takes(id); });
    InTarget([&] {
      writer.Flush();
      SealWithRows(to_, with_rows);
    });
  }

  void CopyMeasurements(const std::function<void(std::int64_t)>& progress) {
    constexpr std::int64_t kStep = 50'000;
    std::vector<std::int64_t> streams;
    for (sql::Query query(from_, "SELECT id FROM stream ORDER BY id"); query.Step();) {
      streams.push_back(query.Int64(0));
    }
    std::int64_t count = 0;
    auto buffer = InTarget([&] { return MeasurementBuffer(to_); });
    for (const auto stream : streams) {
      ForEachRecord(from_, stream, [&](const RecordView& record) {
        if (!Takes(stream, record.Subgroup())) return;
        InTarget([&] { buffer.Add(stream, record); });
        if (++count % kStep == 0 && progress) progress(count);
      });
    }
    InTarget([&] { buffer.Flush(); });
  }

  void CopyCounters() {
    sql::Query counters(from_, "SELECT name, last FROM counter");
    while (counters.Step()) {
      InTarget([&] {
        sql::Query(to_, "UPDATE counter SET last = ?2 WHERE name = ?1", counters.Text(0),
                   counters.Int64(1))
            .Run();
      });
    }
  }

  DatabaseDigest Compare() {
    std::vector<double> values;
    std::vector<RowKey> keys;
    const auto expected = DigestOf(from_, [&](std::int64_t stream, const auto& take) {
      ForEachRecord(from_, stream, [&](const RecordView& record) {
        if (Takes(stream, record.Subgroup())) take(record.Copy(values, keys));
      });
    });
    return InTarget([&] {
      auto copied = DigestOf(to_);
      // Comments and descriptors of subgroups that are left out make the rest differ.
      const bool is_same = copied.values == expected.values && (chosen_ || copied == expected);
      if (!is_same) throw std::runtime_error("the copy differs from what was copied");
      return copied;
    });
  }

  sql::Connection& from_;
  sql::Connection& to_;
  const std::string& name_of_to_;
  const std::optional<std::vector<ChosenStream>>& chosen_;
  ChosenSubgroups subgroups_;  // of all streams
  std::map<std::int64_t, std::vector<std::int64_t>> streams_of_test_;
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
