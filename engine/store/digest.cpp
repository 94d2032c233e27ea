// SPDX-License-Identifier: Apache-2.0
#include "engine/store/digest.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/catalogue/References.h"
#include "engine/chunks/StreamWalk.h"
#include "engine/store/RowBytes.h"
#include "engine/store/StoreCache.h"
#include "engine/store/tables.h"
#include "system/Sha256.h"

namespace orvspc::engine::store {
namespace {

// A label as a number, never 0: itself and its length where that has room, otherwise the first
// eight bytes of its SHA-256 with the highest bit set, so that the two never meet.
class LabelMarks {
 public:
  std::int64_t Of(std::string_view label) {
    constexpr std::size_t kMaxShort = 7;
    std::uint64_t mark = 0;
    if (label.size() <= kMaxShort) {
      std::memcpy(&mark, label.data(), label.size());
      return static_cast<std::int64_t>(mark | std::uint64_t{label.size() + 1} << 56);
    }
    sha_.Add(label);
    const auto digest = sha_.Finish();
    std::memcpy(&mark, digest.data(), sizeof mark);
    return static_cast<std::int64_t>(mark | std::uint64_t{1} << 63);
  }

 private:
  system::Sha256 sha_;
};

// What a person knows a subgroup by, by identifier.
class SubgroupMarks {
 public:
  explicit SubgroupMarks(const SubgroupSource& source) {
    LabelMarks labels;
    source([&](const SubgroupFacts& each) {
      if (marks_.size() <= static_cast<std::size_t>(each.id)) {
        marks_.resize(static_cast<std::size_t>(each.id) + 1);
        times_.resize(marks_.size());
      }
      marks_[static_cast<std::size_t>(each.id)] = labels.Of(each.label);
      times_[static_cast<std::size_t>(each.id)] = each.time;
    });
  }
  std::int64_t Of(std::int64_t id) const {
    return IsThere(id) ? marks_[static_cast<std::size_t>(id)] : 0;
  }
  std::int64_t TimeOf(std::int64_t id) const {
    return IsThere(id) ? times_[static_cast<std::size_t>(id)] : 0;
  }

 private:
  bool IsThere(std::int64_t id) const {
    return id > 0 && static_cast<std::size_t>(id) < marks_.size();
  }
  std::vector<std::int64_t> marks_;
  std::vector<std::int32_t> times_;
};

class Digester {
 public:
  Digester(sql::Connection& db, const MeasurementSource& source, const SubgroupSource& subgroups)
      : db_(db), source_(source), cache_(db), marks_(subgroups) {}

  DatabaseDigest Run() {
    AddValues();
    system::Sha256 all;
    all.Add(result_.values);
    for (const auto& table : Tables()) AddTable(table, all);
    result_.all = system::HexOf(all.Finish());
    return std::move(result_);
  }

 private:
  struct NamedStream {
    std::array<std::string_view, 3> names;
    std::int64_t id;
    friend auto operator<=>(const NamedStream&, const NamedStream&) = default;
  };

  std::string_view NameOf(catalogue::ItemKind kind, std::int32_t id) {
    const auto& names = cache_.Names(kind);
    const auto found = names.find(id);
    return found == names.end() ? std::string_view() : std::string_view(found->second);
  }

  void AddValues() {
    using enum catalogue::ItemKind;
    std::vector<NamedStream> streams;
    for (const auto& each : cache_.streams) {
      streams.push_back(
          {{NameOf(Part, each.part), NameOf(Process, each.process), NameOf(Test, each.test)},
           each.id});
    }
    std::ranges::sort(streams);
    for (const auto& stream : streams) AddStream(stream);
    result_.values = system::HexOf(sha_.Finish());
  }

  // Records of one time are ordered by what their subgroups are known by.
  void AddStream(const NamedStream& stream) {
    bool is_first = true;
    std::int32_t time = 0;
    std::vector<std::pair<std::int64_t, std::string>> of_time;  // their storage is used again
    std::size_t count = 0;
    const auto flush = [&] {
      const auto rows = std::span(of_time).first(count);
      std::ranges::sort(rows);
      for (const auto& each : rows) sha_.Add(each.second);
      count = 0;
    };
    source_(stream.id, [&](const Measurement& record) {
      if (is_first) {
        row_.Clear();
        for (const auto name : stream.names) row_.Text(name);
        sha_.Add(row_.Bytes());
        is_first = false;
      }
      if (record.time != time) flush();
      time = record.time;
      const auto mark = marks_.Of(record.subgroup);
      AddRecord(record, mark);
      if (count == of_time.size()) of_time.emplace_back();
      auto& [of_subgroup, bytes] = of_time[count++];
      of_subgroup = mark;
      bytes = row_.Bytes();
      ++result_.measurements;
      result_.rows += static_cast<std::int64_t>(record.values.size());
    });
    flush();
  }

  void AddRecord(const Measurement& record, std::int64_t mark) {
    row_.Clear();
    row_.Number(record.time);
    row_.Number(mark);
    const auto name_of = [&](catalogue::ItemKind kind, std::int32_t id) {
      return NameOf(kind, id);
    };
    const auto add_context = [&] {
      AddContext(row_, cache_.contexts[cache_.PlaceOfContextOf(record.context, record.subgroup)],
                 name_of);
    };
    AddContent(row_, record, add_context, name_of);
  }

  void AddTable(const Table& table, system::Sha256& all) {
    if (table.use == TableUse::IdentifierMap || table.use == TableUse::History) return;
    const auto columns = ColumnsOf(table);
    std::vector<std::string> rows;
    sql::Query query(db_, SelectNamed(table));
    while (query.Step()) {
      row_.Clear();
      int place = 0;
      for (const auto& column : columns) {
        if (!column.IsOfRow()) AddCell(query, place++, column.kind);
      }
      rows.emplace_back(row_.Bytes());
    }
    if (table.use != TableUse::Ordered) std::ranges::sort(rows);
    all.Add(table.name);
    for (const auto& row : rows) all.Add(row);
  }

  void AddCell(const sql::Query& query, int place, ColumnKind kind) {
    if (query.IsNull(place)) return row_.Null();
    switch (kind) {
      case ColumnKind::Number:
        return row_.Number(query.Int64(place));
      case ColumnKind::Real:
        return row_.Real(query.Real(place));
      case ColumnKind::Subgroup:
        row_.Number(marks_.Of(query.Int64(place)));
        return row_.Number(marks_.TimeOf(query.Int64(place)));
      default:
        return row_.Text(query.Text(place));
    }
  }

  sql::Connection& db_;
  const MeasurementSource& source_;
  StoreCache cache_;
  SubgroupMarks marks_;
  system::Sha256 sha_;
  RowBytes row_;
  DatabaseDigest result_;
};

}  // namespace

DatabaseDigest DigestOf(sql::Connection& db, const MeasurementSource& source,
                        const SubgroupSource& subgroups) {
  if (subgroups) return Digester(db, source, subgroups).Run();
  return DigestOf(db, source, [&](const auto& take) { ForEachSubgroup(db, 1, INT32_MAX, take); });
}

DatabaseDigest DigestOf(sql::Connection& db) {
  std::vector<double> values;
  std::vector<RowKey> keys;
  return DigestOf(db, [&](std::int64_t stream, const auto& take) {
    ForEachRecord(db, stream, [&](const RecordView& record) { take(record.Copy(values, keys)); });
  });
}

}  // namespace orvspc::engine::store
