// SPDX-License-Identifier: Apache-2.0
#include "engine/store/check.h"

#include <algorithm>
#include <map>
#include <optional>
#include <span>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "engine/catalogue/References.h"
#include "engine/catalogue/limits.h"
#include "engine/chunks/StreamWalk.h"
#include "engine/chunks/chunk.h"
#include "engine/chunks/subgroups.h"
#include "engine/sql/sqlite/pages.h"
#include "engine/store/tables.h"
#include "platform/TimeText.h"

namespace orvspc::engine::store {
namespace {

constexpr std::size_t kMaxFinds = 1000, kMaxOfPages = 100;

// A reference from a column of a table to a row of another.
struct Link {
  std::string_view table, column, to, key = "id", none = "NULL";  // none: what names nothing
};
// Those that the list of tables does not have.
constexpr Link kMoreLinks[] = {
    {"subgroup", "part", "part"},
    {"subgroup", "process", "process"},
    {"control_limit", "replaced_by", "control_limit"},
    {"rule_set_member", "number", "rule", "number"},
    {"rule_alarm", "number", "rule", "number"},
    {"limit_exclusion", "limit_row", "control_limit"},
    {"alarm", "event", "event"},
    {"sampling_mark", "requirement", "requirement"},
    {"missed_sample", "event", "event"},
    {"missed_sample", "requirement", "requirement"},
    {"delivery", "outbox", "outbox"},
    {"descriptor_source", "batch", "batch", "id", "0"},
};

// Rows of limits that serve the same charts; the third and fourth columns are their chart words.
bool ShareCharts(const sql::Query& query) {
  return catalogue::ShareCharts(query.Int(2), query.Int(3));
}

// What rows say about times that contradict each other: a query for the row and another one.
struct TimeRule {
  std::string_view table, sql, reason;
  bool names_other = false;
  bool (*applies)(const sql::Query& query) = nullptr;  // to a row that was found; null: to each
};
constexpr TimeRule kTimeRules[] = {
    {"control_limit",
     "SELECT id, 0 FROM control_limit WHERE until < effective OR "
     "(until = effective AND status = 'active') ORDER BY id",
     "ends before it begins"},
    // Deliberate: rows of older releases are left alone, since of those the newer one holds.
    {"control_limit",
     "SELECT b.id, a.id, a.chart_word, b.chart_word "
     "FROM control_limit a JOIN control_limit b ON a.part = b.part "
     "AND a.test = b.test AND a.effective = b.effective AND a.id < b.id "
     "WHERE a.status = 'active' AND b.status = 'active' "
     "AND coalesce(a.process, 0) = coalesce(b.process, 0) "
     "AND (a.state_at IS NOT NULL OR b.state_at IS NOT NULL) ORDER BY 1, 2",
     "is active from the same time on as row ", true, ShareCharts},
    {"phase", "SELECT id, 0 FROM phase WHERE finish <= start ORDER BY id", "ends before it begins"},
    {"phase",
     "SELECT b.id, a.id FROM phase a JOIN phase b ON a.id < b.id "
     "AND (a.finish IS NULL OR b.start < a.finish) AND (b.finish IS NULL OR a.start < b.finish) "
     "WHERE EXISTS (SELECT 1 FROM stream s WHERE s.part = coalesce(a.part, b.part, s.part) "
     "AND s.part = coalesce(b.part, s.part) "
     "AND s.process = coalesce(a.process, b.process, s.process) "
     "AND s.process = coalesce(b.process, s.process) "
     "AND s.test = coalesce(a.test, b.test, s.test) AND s.test = coalesce(b.test, s.test)) "
     "ORDER BY 1, 2",
     "overlaps row ", true},
};

// How a row is called: by its identifier, or by what it says first.
std::string_view KeyOf(std::string_view table) {
  for (const auto& each : Tables()) {
    if (each.name == table) return each.columns.substr(0, each.columns.find_first_of(" :>#*"));
  }
  return "id";
}

struct LinkQuery {
  std::string_view table, to;
  std::string_view column;
  std::string text;  // selects row and what it refers to where that is missing
};

// Texts of statements must live as long as connections.
const std::vector<LinkQuery>& LinkQueries() {
  static const auto queries = [] {
    std::vector<Link> links(std::begin(kMoreLinks), std::end(kMoreLinks));
    for (const auto& table : Tables()) {
      for (const auto& column : ColumnsOf(table)) {
        if (column.kind != ColumnKind::Reference) continue;
        links.push_back({table.name, column.name, column.table});
      }
    }
    std::vector<LinkQuery> all;
    for (const auto& link : links) {
      const std::string column = "x." + std::string(link.column);
      all.push_back({link.table, link.to, link.column,
                     "SELECT x." + std::string(KeyOf(link.table)) + ", " + column + " FROM " +
                         std::string(link.table) + " x WHERE nullif(" + column + ", " +
                         std::string(link.none) + ") IS NOT NULL AND NOT EXISTS (SELECT 1 FROM " +
                         std::string(link.to) + " n WHERE n." + std::string(link.key) + " = " +
                         column + ") ORDER BY 1, 2"});
    }
    return all;
  }();
  return queries;
}

// Of each table with identifiers: its name, and its row of counter beside its highest identifier.
const std::vector<std::pair<std::string_view, std::string>>& CounterQueries() {
  static const auto queries = [] {
    std::vector<std::pair<std::string_view, std::string>> all;
    for (const auto& table : Tables()) {
      const auto columns = ColumnsOf(table);
      if (columns.front().kind != ColumnKind::Id) continue;
      const std::string name(table.name);
      all.emplace_back(table.name, "SELECT coalesce((SELECT last FROM counter WHERE name = '" +
                                       name + "'), 0), coalesce((SELECT max(id) FROM " + name +
                                       "), 0)");
    }
    return all;
  }();
  return queries;
}

// Of each table with subgroups: row and subgroup.
const std::vector<std::pair<std::string_view, std::string>>& SubgroupQueries() {
  static const auto queries = [] {
    std::vector<std::pair<std::string_view, std::string>> all;
    for (const auto& table : Tables()) {
      for (const auto& column : ColumnsOf(table)) {
        if (column.kind != ColumnKind::Subgroup) continue;
        const std::string name(column.name);
        all.emplace_back(table.name, "SELECT " + std::string(KeyOf(table.name)) + ", " + name +
                                         " FROM " + std::string(table.name) + " ORDER BY 1, 2");
      }
    }
    return all;
  }();
  return queries;
}

std::string RowText(std::string_view table, std::int64_t row) {
  return std::string(table) + " " + std::to_string(row);
}

std::string MissingText(std::string_view what, std::int64_t id) {
  return "its " + std::string(what) + " " + std::to_string(id) + " is missing";
}

std::string SubgroupText(std::int64_t id) { return "#" + std::to_string(id); }

class Checker {
 public:
  Checker(sql::Connection& db, Medium medium, const std::function<void(std::int64_t)>& progress)
      : db_(db), medium_(medium), progress_(progress) {}

  CheckResult Run() {
    if (medium_ == Medium::File) CheckFile();
    CheckLinks();
    CheckSubgroups();
    CheckSubgroupLinks();
    CheckItems("item_group",
               "SELECT g.name, g.kind, m.item FROM item_group_member m "
               "JOIN item_group g ON g.id = m.item_group ORDER BY g.id, m.item");
    CheckItems("alias", "SELECT name, kind, item FROM alias ORDER BY name, kind");
    CheckStreams();
    CheckCounters();
    CheckTimes();
    result_.subgroups = static_cast<std::int64_t>(subgroups_.size());
    return std::move(result_);
  }

 private:
  struct Subgroup {
    std::int32_t id, part, process, time;
    friend bool operator==(const Subgroup&, const Subgroup&) = default;
  };
  struct Stream {
    std::int64_t id;
    std::int32_t part, process, test;
    std::string name, test_name;
  };
  using Ids = std::vector<std::int32_t>;  // ascending

  void Add(std::string place, std::string reason) {
    if (result_.finds.size() == kMaxFinds) {
      ++result_.left_out;
      return;
    }
    result_.finds.push_back({std::move(place), std::move(reason)});
  }

  // False, with a find, when what work reads is damaged.
  template <class Work>
  bool Reads(const std::string& place, Work work) {
    try {
      work();
      return true;
    } catch (const sql::SqlError& error) {
      // A server's transaction is over.
      if (error.Which() != sql::SqlError::Kind::Damaged || medium_ == Medium::Server) throw;
      Add(place, std::string("cannot be read: ") + error.what());
    }
    // SQLite ends it. What others wrote meanwhile is seen from here on.
    if (!db_.InTransaction()) db_.Begin(sql::TransactionKind::Read);
    return false;
  }

  void CheckFile() {
    const auto pages = sql::sqlite::DamagedPages(db_, kMaxOfPages);
    for (const auto& text : pages) Add("file", text);
    // It would say once more what cannot be read.
    if (!pages.empty()) return;
    Reads("file", [&] {
      for (const auto& text : sql::sqlite::DamagedStructure(db_, kMaxOfPages)) Add("file", text);
    });
  }

  void CheckLinks() {
    for (const auto& link : LinkQueries()) {
      Reads("table " + std::string(link.table), [&] {
        sql::Query query(db_, link.text);
        while (query.Step()) {
          Add(RowText(link.table, query.Int64(0)), MissingText(link.column, query.Int64(1)));
        }
      });
    }
  }

  // --- Subgroups ---------------------------------------------------------------------------------

  void CheckSubgroups() {
    std::vector<std::int32_t> blocks;
    Reads("table subgroup_block", [&] {
      sql::Query query(db_,
                       "SELECT block FROM subgroup_block UNION "
                       "SELECT id / 256 FROM subgroup ORDER BY 1");
      while (query.Step()) blocks.push_back(query.Int(0));
    });
    const auto &parts = IdsOf("part"), &processes = IdsOf("process");
    for (const auto block : blocks) {
      const std::int32_t first = block * kBlockSize;
      const auto place = "subgroups from " + SubgroupText(std::max(first, 1)) + " on";
      bool is_whole = false;
      try {
        is_whole = Reads(place, [&] {
          ForEachSubgroup(db_, first, first + kBlockSize - 1, [&](const SubgroupFacts& each) {
            subgroups_.push_back({each.id, each.part, each.process, each.time});
            const auto named = SubgroupText(each.id);
            if (!Has(parts, each.part)) Add(named, MissingText("part", each.part));
            if (!Has(processes, each.process)) Add(named, MissingText("process", each.process));
          });
        });
      } catch (const sql::SqlError&) {
        throw;
      } catch (const std::runtime_error&) {
        Add(place, "the packed names do not fit their checksum");
      }
      if (!is_whole) unread_blocks_.push_back(block);
    }
    std::ranges::sort(subgroups_, {}, &Subgroup::id);
    // Those without measurements keep their rows when they are sealed.
    Reads("table subgroup", [&] {
      sql::Query query(db_,
                       "SELECT id, part, process, time FROM subgroup "
                       "WHERE id / 256 IN (SELECT block FROM subgroup_block) ORDER BY id");
      while (query.Step()) {
        Subgroup row{};
        query.Read(row.id, row.part, row.process, row.time);
        const auto* const packed = Find(row.id);
        if (packed == nullptr ? IsMissing(row.id) : *packed != row) {
          Add(SubgroupText(row.id), "its row and what is packed differ");
        }
      }
    });
  }

  // Null where it is missing.
  const Subgroup* Find(std::int32_t id) const {
    if (subgroups_.empty()) return nullptr;
    // Without gaps it is so far behind the first.
    const auto place = static_cast<std::size_t>(
        std::max<std::int64_t>(std::int64_t{id} - subgroups_.front().id, 0));
    if (place < subgroups_.size() && subgroups_[place].id == id) return &subgroups_[place];
    const auto found = std::ranges::lower_bound(subgroups_, id, {}, &Subgroup::id);
    return found == subgroups_.end() || found->id != id ? nullptr : &*found;
  }
  // Whether it is, or could be in a block that cannot be read.
  bool IsMissing(std::int32_t id) const {
    return Find(id) == nullptr && !std::ranges::binary_search(unread_blocks_, id >> 8);
  }

  void CheckSubgroupLinks() {
    for (const auto& [table, text] : SubgroupQueries()) {
      Reads("table " + std::string(table), [&, table = table, text = std::string_view(text)] {
        sql::Query query(db_, text);
        while (query.Step()) {
          if (!IsMissing(query.Int(1))) continue;
          Add(RowText(table, query.Int64(0)), MissingText("subgroup", query.Int64(1)));
        }
      });
    }
  }

  // Items whose kind is that of the row.
  void CheckItems(std::string_view table, std::string_view text) {
    Reads("table " + std::string(table), [&] {
      sql::Query query(db_, text);
      while (query.Step()) {
        const auto kind = catalogue::ItemKindFromWord(query.Text(1));
        if (kind && Has(IdsOf(catalogue::TableOf(*kind)), query.Int(2))) continue;
        Add(std::string(table) + " " + std::string(query.Text(0)),
            MissingText("item", query.Int64(2)));
      }
    });
  }

  // --- Identifiers -------------------------------------------------------------------------------

  // Those of a table; empty when they cannot be read.
  const std::optional<Ids>& IdsOf(const std::string& table) {
    static const auto texts = [] {
      std::map<std::string, std::string, std::less<>> all;
      for (const auto& each : Tables()) {
        const std::string name(each.name);
        all[name] = "SELECT id FROM " + name + " ORDER BY id";
      }
      return all;
    }();
    const auto found = ids_.find(table);
    if (found != ids_.end()) return found->second;
    std::optional<Ids> ids(std::in_place);
    const bool is_read = Reads("table " + table, [&] {
      sql::Query query(db_, texts.at(table));
      while (query.Step()) ids->push_back(query.Int(0));
    });
    if (!is_read) ids.reset();
    return ids_.emplace(table, std::move(ids)).first->second;
  }
  static bool Has(const std::optional<Ids>& ids, std::int32_t id) {
    return !ids || std::ranges::binary_search(*ids, id);
  }

  // --- Values ------------------------------------------------------------------------------------

  std::vector<Stream> ReadStreams() {
    std::vector<Stream> streams;
    Reads("table stream", [&] {
      sql::Query query(db_,
                       "SELECT a.stream, coalesce(s.part, 0), coalesce(s.process, 0), "
                       "coalesce(s.test, 0), s.id, t.name FROM (SELECT id AS stream FROM stream "
                       "UNION SELECT stream FROM measurement_chunk "
                       "UNION SELECT stream FROM measurement) a "
                       "LEFT JOIN stream s ON s.id = a.stream LEFT JOIN test t ON t.id = s.test "
                       "ORDER BY 1");
      while (query.Step()) {
        Stream stream{query.Int64(0), query.Int(1), query.Int(2), query.Int(3), {}, {}};
        const auto number = "stream " + std::to_string(stream.id);
        if (query.IsNull(4)) Add(number, "has values, but is missing");
        stream.test_name = query.IsNull(5) ? number : std::string(query.Text(5));
        streams.push_back(std::move(stream));
      }
    });
    for (auto& stream : streams) {
      stream.name = "stream " + std::to_string(stream.id);
      Reads(stream.name, [&] { stream.name = StreamText(db_, stream.id); });
    }
    return streams;
  }

  void CheckStreams() {
    for (const auto& stream : ReadStreams()) {
      Reads(stream.name, [&] {
        const auto hot = CheckHot(stream);
        CheckChunks(stream, hot);
      });
    }
  }

  // Returns their keys.
  std::vector<RecordKey> CheckHot(const Stream& stream) {
    std::vector<RecordKey> keys;
    sql::Query query(db_,
                     "SELECT time, subgroup, packed FROM measurement WHERE stream = ?1 "
                     "ORDER BY time, subgroup",
                     stream.id);
    while (query.Step()) {
      RecordKey key;
      query.Read(key.time, key.subgroup);
      keys.push_back(key);
      const auto place = PlaceOf(stream, key.subgroup);
      if (!chunk_.Decode(query.Blob(2), stream.id)) {
        Add(place, "the packed values do not fit their checksum");
      } else if (chunk_.Count() != 1 || chunk_.First() != key) {
        Add(place, "the packed time, subgroup or number of records is not that of their row");
      } else {
        CheckRecord(stream, chunk_.Record(0));
      }
    }
    return keys;
  }

  void CheckChunks(const Stream& stream, std::span<const RecordKey> hot) {
    sql::Query query(db_,
                     "SELECT packed, first_time, first_subgroup, last_time, last_subgroup, count "
                     "FROM measurement_chunk WHERE stream = ?1 ORDER BY first_time, first_subgroup",
                     stream.id);
    std::optional<RecordKey> end;
    while (query.Step()) {
      RecordKey first, last;
      std::size_t count = 0;
      query.ReadFrom(1, first.time, first.subgroup, last.time, last.subgroup, count);
      const auto place = stream.name + ", " + platform::IsoText(first.time) + " to " +
                         platform::IsoText(last.time);
      if (!chunk_.Decode(query.Blob(0), stream.id)) {
        Add(place, "the packed values do not fit their checksum");
        end = std::max(end.value_or(last), last);
        continue;
      }
      if (chunk_.First() != first || chunk_.Last() != last) {
        Add(place, "the packed times or subgroups are not those of their row");
      }
      if (chunk_.Count() != count) {
        Add(place, std::to_string(chunk_.Count()) + " records are packed and " +
                       std::to_string(count) + " counted");
      }
      if (end && first <= *end) Add(place, "overlaps the values before");
      end = std::max(end.value_or(chunk_.Last()), chunk_.Last());
      for (std::size_t i = 0; i < chunk_.Count(); ++i) CheckRecord(stream, chunk_.Record(i));
      for (auto key = std::ranges::lower_bound(hot, chunk_.First());
           key != hot.end() && *key <= chunk_.Last(); ++key) {
        const auto found = chunk_.Find(*key);
        if (found < chunk_.Count() && chunk_.Record(found).Key() == *key) {
          Add(PlaceOf(stream, key->subgroup), "is stored twice");
        }
      }
    }
  }

  void CheckRecord(const Stream& stream, const RecordView& record) {
    constexpr std::int64_t kStep = 50'000;
    if (++records_ % kStep == 0 && progress_) progress_(records_);
    const auto add = [&](std::string reason) {
      Add(PlaceOf(stream, record.Subgroup()), std::move(reason));
    };
    if (const auto* const subgroup = Find(record.Subgroup())) {
      if (subgroup->time != record.Time()) add("its time is not that of its subgroup");
      if (subgroup->part != stream.part || subgroup->process != stream.process) {
        add("its part or process is not that of its subgroup");
      }
    } else if (IsMissing(record.Subgroup())) {
      add("its subgroup is missing");
    }
    if (record.Context() != 0 && !Has(IdsOf("context"), record.Context())) {
      add(MissingText("context", record.Context()));
    }
    if (record.Batch() != 0 && !Has(IdsOf("batch"), static_cast<std::int32_t>(record.Batch()))) {
      add(MissingText("import", record.Batch()));
    }
    for (std::size_t row = 0; row < record.Count() && !record.IsPlain(); ++row) {
      const auto key = record.Key(row);
      for (const auto& kind : kRowKinds) {
        const auto id = key.*kind.member;
        if (id != 0 && !Has(IdsOf(catalogue::TableOf(kind.kind)), id)) {
          add(MissingText(kind.column, id));
        }
      }
    }
  }

  static std::string PlaceOf(const Stream& stream, std::int32_t subgroup) {
    return SubgroupText(subgroup) + " " + stream.test_name;
  }

  // --- Counters ----------------------------------------------------------------------------------

  void CheckCounters() {
    Reads("table counter", [&] {
      const auto check = [&](std::string_view table, std::int64_t last, std::int64_t highest) {
        if (last >= highest) return;
        Add("counter of " + std::string(table), "the last identifier given is " +
                                                    std::to_string(last) + ", but " +
                                                    std::to_string(highest) + " is there");
      };
      for (const auto& [table, text] : CounterQueries()) {
        sql::Query query(db_, text);
        query.Step();
        check(table, query.Int64(0), query.Int64(1));
      }
      const auto last =
          sql::Query(db_, "SELECT last FROM counter WHERE name = 'subgroup'").RunForInt();
      check("subgroup", last.value_or(0), subgroups_.empty() ? 0 : subgroups_.back().id);
    });
  }

  void CheckTimes() {
    for (const auto& rule : kTimeRules) {
      Reads("table " + std::string(rule.table), [&] {
        sql::Query query(db_, rule.sql);
        while (query.Step()) {
          if (rule.applies != nullptr && !rule.applies(query)) continue;
          Add(RowText(rule.table, query.Int64(0)),
              std::string(rule.reason) + (rule.names_other ? std::to_string(query.Int64(1)) : ""));
        }
      });
    }
  }

  sql::Connection& db_;
  Medium medium_;
  const std::function<void(std::int64_t)>& progress_;
  CheckResult result_;
  std::vector<Subgroup> subgroups_;          // by identifier
  std::vector<std::int32_t> unread_blocks_;  // ascending
  std::map<std::string, std::optional<Ids>, std::less<>> ids_;
  Chunk chunk_;
  std::int64_t records_ = 0;
};

}  // namespace

CheckResult QuickCheck(sql::Connection& db, Medium medium,
                       const std::function<void(std::int64_t)>& progress) {
  return Checker(db, medium, progress).Run();
}

void CheckPacked(sql::Connection& db) {
  std::vector<std::int64_t> streams;
  for (sql::Query query(db,
                        "SELECT id FROM stream UNION SELECT stream FROM measurement_chunk "
                        "UNION SELECT stream FROM measurement ORDER BY 1");
       query.Step();) {
    streams.push_back(query.Int64(0));
  }
  for (const auto stream : streams) ForEachRecord(db, stream, [](const RecordView&) {});
  ForEachSubgroup(db, 1, INT32_MAX, [](const SubgroupFacts&) {});
}

}  // namespace orvspc::engine::store
