// SPDX-License-Identifier: Apache-2.0
#include "engine/write/change/Merge.h"

#include <algorithm>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "engine/catalogue/References.h"
#include "engine/chunks/StreamWalk.h"
#include "engine/chunks/subgroups.h"
#include "engine/store/phases.h"
#include "engine/write/change/Items.h"
#include "engine/write/change/StoredRecord.h"
#include "engine/write/change/events.h"
#include "engine/write/change/item_uses.h"
#include "engine/write/change/stream_settings.h"
#include "engine/write/chunks/StreamWriter.h"
#include "engine/write/chunks/SubgroupWriter.h"
#include "engine/write/last_label.h"
#include "engine/write/log/Json.h"
#include "engine/write/log/MovedRecords.h"
#include "platform/TimeText.h"

namespace orvspc::engine::change {
namespace {

constexpr std::size_t kMaxListed = 10;

// Texts of statements by kind; empty for kinds that have none.
template <std::string (*kTextOf)(ItemKind)>
const std::string& TextFor(ItemKind kind) {
  static const auto texts = catalogue::TextsByKind(kTextOf);
  return texts[static_cast<std::size_t>(kind)];
}

struct Two {
  ItemKind kind;
  std::int32_t from = 0, into = 0;
  std::string from_name, into_name;
};

[[noreturn]] void RefuseTwo(const Two& two, const char* code, const std::string& text) {
  throw Refused(code, std::string(WordOf(two.kind)), two.from_name,
                "\"" + two.from_name + "\" and \"" + two.into_name + "\" " + text);
}

std::string Listed(const std::vector<std::string>& all) {
  std::string text;
  for (std::size_t i = 0; i < std::min(all.size(), kMaxListed); ++i) {
    text += (i == 0 ? "" : " ") + all[i];
  }
  return text + (all.size() > kMaxListed ? " ..." : "");
}

std::string Counted(std::size_t subgroups) {
  return std::to_string(subgroups) + (subgroups == 1 ? " subgroup" : " subgroups");
}

// --- What cannot be joined -----------------------------------------------------------------------

struct StreamPair {
  std::int64_t from = 0, into = 0;  // into 0: there is none yet
};

std::string StreamPairsText(ItemKind kind) {
  if (!catalogue::IsOfStream(kind)) return {};
  std::string text = "SELECT a.id, coalesce(b.id, 0) FROM stream a LEFT JOIN stream b ON ";
  for (const auto each : {ItemKind::Part, ItemKind::Process, ItemKind::Test}) {
    const std::string column(WordOf(each));
    text += "b." + column + (each == kind ? " = ?2" : " = a." + column);
    text += each == ItemKind::Test ? "" : " AND ";
  }
  return text + " WHERE a." + std::string(WordOf(kind)) + " = ?1 ORDER BY a.id";
}

std::vector<StreamPair> StreamsOf(sql::Connection& db, const Two& two) {
  return sql::Query(db, TextFor<StreamPairsText>(two.kind), two.from, two.into)
      .All<StreamPair>(&StreamPair::from, &StreamPair::into);
}

// Subgroups of a part or a process.
std::vector<StoredSubgroup> SubgroupsOf(sql::Connection& db, const Two& two) {
  std::vector<StoredSubgroup> all;
  store::ForEachSubgroup(db, 1, INT32_MAX, [&](const store::SubgroupFacts& each) {
    if ((two.kind == ItemKind::Part ? each.part : each.process) != two.from) return;
    auto& one = all.emplace_back(
        StoredSubgroup{each.id, each.part, each.process, each.time, std::string(each.label)});
    (two.kind == ItemKind::Part ? one.part : one.process) = two.into;
  });
  return all;
}

store::SubgroupFacts FactsOf(const StoredSubgroup& subgroup) {
  return {subgroup.id, subgroup.part, subgroup.process, subgroup.time, subgroup.label};
}

void CheckSubgroups(sql::Connection& db, const Two& two, std::vector<StoredSubgroup>& subgroups) {
  std::vector<store::SubgroupFacts> facts;
  std::ranges::transform(subgroups, std::back_inserter(facts), FactsOf);
  const auto there = store::FindSubgroups(db, facts);
  std::vector<store::SubgroupFacts> places;  // of both that meet, as they are stored
  for (std::size_t i = 0; i < there.size(); ++i) {
    if (there[i] == 0) continue;
    places.push_back(facts[i]);
    auto& from = places.emplace_back(facts[i]);
    (two.kind == ItemKind::Part ? from.part : from.process) = two.from;
  }
  const auto measured = store::MeasuredAt(db, places);
  const auto is_empty = [&](std::int32_t id) { return !std::ranges::binary_search(measured, id); };
  std::vector<std::size_t> empty_there;
  std::vector<std::string> both;
  for (std::size_t i = 0; i < there.size(); ++i) {
    if (there[i] == 0) continue;
    const auto id = subgroups[i].id;
    if (is_empty(id)) {
      subgroups[i].label = LabelGivenUp(id);
    } else if (is_empty(there[i])) {
      empty_there.push_back(i);
    } else {
      both.push_back("#" + std::to_string(id) + "=#" + std::to_string(there[i]));
    }
  }
  if (!both.empty()) {
    RefuseTwo(
        two, "stored",
        "have " + Counted(both.size()) + " of the same label and time (" + Listed(both) + ")");
  }
  for (const auto i : empty_there) {
    auto stored = facts[i];
    stored.id = there[i];
    const auto label = LabelGivenUp(stored.id);
    stored.label = label;
    store::ReplaceSubgroup(db, stored);
  }
}

void CheckTests(sql::Connection& db, const Two& two, const std::vector<StreamPair>& streams) {
  const auto type = [&](std::int32_t test) {
    return sql::Query(db, "SELECT type FROM test WHERE id = ?1", test).RunForInt().value_or(0);
  };
  const auto from = type(two.from), into = type(two.into);
  if (from != 0 && into != 0 && from != into) RefuseTwo(two, "type", "differ in type");
  std::vector<std::string> both;
  for (const auto& pair : streams) {
    if (pair.into == 0) continue;
    std::vector<std::int32_t> subgroups;
    store::ForEachRecord(db, pair.from, [&](const store::RecordView& view) {
      subgroups.push_back(view.Subgroup());
    });
    std::ranges::sort(subgroups);
    store::ForEachRecord(db, pair.into, [&](const store::RecordView& view) {
      if (std::ranges::binary_search(subgroups, view.Subgroup())) {
        both.push_back("#" + std::to_string(view.Subgroup()));
      }
    });
  }
  if (both.empty()) return;
  RefuseTwo(two, "stored",
            "both have values in " + Counted(both.size()) + " (" + Listed(both) + ")");
}

// Rows that hold from a time on, each table with the columns that, beside it, set rows apart.
struct Dated {
  const char *table, *what, *time;
  std::vector<const char*> columns;
  const char* only = "";
};
const std::vector<Dated>& DatedTables() {
  static const std::vector<Dated> tables = {
      {"spec_limit", "specification limits", "effective", {"part", "test"}},
      {"control_limit",
       "control limits",
       "effective",
       {"part", "process", "test"},
       " AND a.status IN ('active', 'retired') AND b.status IN ('active', 'retired') "
       "AND (a.until IS NULL OR a.until > a.effective) "
       "AND (b.until IS NULL OR b.until > b.effective)"},
      {"opportunity", "opportunities", "effective", {"part", "test"}},
      {"net_content", "net contents", "effective", {"part", "test"}},
      {"state_log", "states", "time", {"process"}}};
  return tables;
}

// The times that both have in a table; empty for one without a column of the kind.
std::string DatedText(const Dated& table, ItemKind kind) {
  const auto is_of_kind = [&](const char* column) { return column == WordOf(kind); };
  if (std::ranges::none_of(table.columns, is_of_kind)) return {};
  const std::string time(table.time);
  std::string text = "SELECT DISTINCT a." + time + " FROM " + table.table + " a JOIN " +
                     table.table + " b ON b." + time + " = a." + time;
  for (const std::string column : table.columns) {
    text += column == WordOf(kind)
                ? " AND b." + column + " = ?2"
                : " AND coalesce(b." + column + ", 0) = coalesce(a." + column + ", 0)";
  }
  return text + " WHERE a." + std::string(WordOf(kind)) + " = ?1" + table.only + " ORDER BY 1";
}

void CheckDated(sql::Connection& db, const Two& two) {
  static const auto texts = [] {
    std::map<std::pair<const Dated*, ItemKind>, std::string> all;
    for (const auto& table : DatedTables()) {
      for (const auto kind : {ItemKind::Part, ItemKind::Process, ItemKind::Test}) {
        all[{&table, kind}] = DatedText(table, kind);
      }
    }
    return all;
  }();
  for (const auto& table : DatedTables()) {
    const auto found = texts.find({&table, two.kind});
    if (found == texts.end() || found->second.empty()) continue;
    std::vector<std::string> times;
    for (sql::Query query(db, found->second, two.from, two.into); query.Step();) {
      const auto time = query.Int(0);
      times.push_back(time == INT32_MIN ? "since ever" : platform::IsoText(time));
    }
    if (times.empty()) continue;
    RefuseTwo(two, "limits",
              std::string("both have ") + table.what + " of one time (" + Listed(times) + ")");
  }
}

std::int32_t& ItemOf(Phase& phase, ItemKind kind) {
  return kind == ItemKind::Part      ? phase.part
         : kind == ItemKind::Process ? phase.process
                                     : phase.test;
}

// In no stream do phases overlap, nor in those that are joined.
void CheckPhases(sql::Connection& db, const Two& two) {
  auto phases = store::ReadPhases(db);
  std::vector<std::string> both;
  for (auto& phase : phases) {
    if (ItemOf(phase, two.kind) != two.from) continue;
    auto moved = phase;
    ItemOf(moved, two.kind) = two.into;
    for (auto& other : phases) {
      if (ItemOf(other, two.kind) != two.into || !store::Overlap(moved, other)) continue;
      both.push_back("\"" + phase.name + "\" and \"" + other.name + "\"");
    }
  }
  if (both.empty()) return;
  std::string text;
  for (std::size_t i = 0; i < std::min(both.size(), kMaxListed); ++i) {
    text += (i == 0 ? "" : ", ") + both[i];
  }
  RefuseTwo(two, "overlap",
            "both have phases of one time (" + text + (both.size() > kMaxListed ? ", ..." : "") +
                "); end or remove one first");
}

// --- Joining -------------------------------------------------------------------------------------

constexpr std::size_t kAtOnce = 4096;

// Up to so many records of a stream that are wanted, the oldest first.
template <class IsWanted>
std::vector<StoredRecord> Take(sql::Connection& db, std::int64_t stream, IsWanted is_wanted) {
  std::vector<StoredRecord> records;
  store::StreamWalk(db, stream, true, INT32_MIN, INT32_MAX)
      .ForEach([&](const store::RecordView& view) {
        if (is_wanted(view)) records.push_back(StoredRecordOf(view));
        return records.size() < kAtOnce;
      });
  return records;
}

void Put(sql::Connection& db, std::int64_t stream, const std::vector<StoredRecord>& records) {
  std::vector<store::Measurement> views;
  for (const auto& record : records) views.push_back(record.View());
  store::StreamWriter writer(db);
  writer.Write(stream, views);
  writer.Finish();
}

std::string MoveStreamText(ItemKind kind) {
  return catalogue::IsOfStream(kind)
             ? "UPDATE stream SET " + std::string(WordOf(kind)) + " = ?2 WHERE id = ?1"
             : std::string();
}

// The alarms of one stream to another. Where both have one of the same rule that begins with the
// same subgroup, the values of one of them are gone: that one gives way, and its event stays.
void JoinAlarms(log::Writing& writing, const StreamPair& pair) {
  struct Same {
    std::int64_t gone = 0, stays = 0;
    std::string state;
  };
  auto& db = writing.Db();
  const auto same =
      sql::Query(db,
                 "SELECT a.event, b.event, a.state FROM alarm a JOIN alarm b "
                 "ON b.graph = a.graph AND b.rule = a.rule "
                 "AND b.first_subgroup = a.first_subgroup "
                 "WHERE (a.stream = ?1 AND b.stream = ?2 "
                 "AND (a.state = 'withdrawn' OR b.state <> 'withdrawn')) "
                 "OR (a.stream = ?2 AND b.stream = ?1 "
                 "AND a.state = 'withdrawn' AND b.state <> 'withdrawn') ORDER BY a.event",
                 pair.from, pair.into)
          .All<Same>(&Same::gone, &Same::stays, &Same::state);
  for (const auto& each : same) {
    sql::Query(db, "DELETE FROM alarm WHERE event = ?1", each.gone).Run();
    sql::Query(db, "UPDATE event SET flag = 0, finish = coalesce(finish, time) WHERE id = ?1",
               each.gone)
        .Run();
    writing.Add("alarm-merge", "alarm " + std::to_string(each.gone),
                log::CanonicalText({{"state", each.state}}),
                log::CanonicalText({{"into", each.stays}}));
  }
  sql::Query(db, "UPDATE alarm SET stream = ?2 WHERE stream = ?1", pair.from, pair.into).Run();
}

// The values of one stream to those of another; the stream goes.
TouchedStream JoinStreams(log::Writing& writing, const StreamPair& pair) {
  auto& db = writing.Db();
  TouchedStream touched{pair.into, {INT32_MAX, INT32_MAX}, {INT32_MIN, 0}};
  const auto all = [](const store::RecordView&) { return true; };
  for (auto records = Take(db, pair.from, all); !records.empty();
       records = Take(db, pair.from, all)) {
    std::vector<store::RecordKey> keys;
    for (const auto& each : records) keys.push_back({each.subgroup.time, each.subgroup.id});
    touched.first = std::min(touched.first, keys.front());
    touched.last = std::max(touched.last, keys.back());
    store::StreamWriter writer(db);
    writer.Remove(pair.from, keys);
    writer.Finish();
    Put(db, pair.into, records);
  }
  JoinAlarms(writing, pair);
  sql::Query(db, "DELETE FROM alarm_mark WHERE stream = ?1", pair.from).Run();
  sql::Query(db, "DELETE FROM alarm_checkpoint WHERE stream = ?1", pair.from).Run();
  sql::Query(db, "DELETE FROM stream WHERE id = ?1", pair.from).Run();
  return touched;
}

// All of a stream; none without values.
std::optional<TouchedStream> WholeOf(sql::Connection& db, std::int64_t stream) {
  const auto end = [&](bool forward) {
    std::optional<store::RecordKey> key;
    store::StreamWalk(db, stream, forward, INT32_MIN, INT32_MAX)
        .ForEach([&](const store::RecordView& view) {
          key = view.Key();
          return false;
        });
    return key;
  };
  const auto first = end(true), last = end(false);
  return first && last ? std::optional(TouchedStream{stream, *first, *last}) : std::nullopt;
}

std::vector<TouchedStream> JoinStreamsOf(log::Writing& writing, const Two& two,
                                         log::MovedRecords& moved) {
  auto& db = writing.Db();
  const auto streams = StreamsOf(db, two);
  std::vector<StoredSubgroup> subgroups;
  if (two.kind == ItemKind::Test) {
    CheckTests(db, two, streams);
  } else {
    subgroups = SubgroupsOf(db, two);
    CheckSubgroups(db, two, subgroups);
  }
  CheckDated(db, two);
  CheckPhases(db, two);
  for (const auto& each : subgroups) moved.Add(log::MovedRecords::kAnyTest, each.id);
  for (const auto& pair : streams) {
    if (two.kind != ItemKind::Test) break;
    store::ForEachRecord(db, pair.from, [&](const store::RecordView& view) {
      moved.Add(two.into, view.Subgroup());
    });
  }
  std::vector<TouchedStream> touched;
  for (const auto& pair : streams) {
    if (pair.into != 0) {
      touched.push_back(JoinStreams(writing, pair));
    } else {
      sql::Query(db, TextFor<MoveStreamText>(two.kind), pair.from, two.into).Run();
      if (const auto whole = WholeOf(db, pair.from)) touched.push_back(*whole);
    }
  }
  std::erase_if(touched, [](const TouchedStream& each) { return each.last < each.first; });
  for (const auto& each : subgroups) store::ReplaceSubgroup(db, FactsOf(each));
  if (two.kind == ItemKind::Test) {
    sql::Query(db,
               "UPDATE test SET type = (SELECT type FROM test WHERE id = ?1) "
               "WHERE id = ?2 AND type = 0",
               two.from, two.into)
        .Run();
  } else {
    write::JoinLastLabels(db, two.kind, two.from, two.into);
  }
  return touched;
}

std::string ContextsText(ItemKind kind) {
  return store::PlaceInContext(kind)
             ? "SELECT id FROM context WHERE " + std::string(WordOf(kind)) + " = ?1"
             : std::string();
}
std::string MoveContextText(ItemKind kind) {
  return store::PlaceInContext(kind)
             ? "UPDATE context SET " + std::string(WordOf(kind)) + " = ?2 WHERE id = ?1"
             : std::string();
}

// Who and where of values. A context that becomes like another one gives way to it.
void JoinContexts(sql::Connection& db, const Two& two, log::MovedRecords& moved) {
  std::vector<std::int32_t> ids;
  for (sql::Query query(db, TextFor<ContextsText>(two.kind), two.from); query.Step();) {
    ids.push_back(query.Int(0));
  }
  std::ranges::sort(ids);
  struct OfTest {
    std::int64_t stream = 0;
    std::int32_t test = 0;
  };
  const auto streams = sql::Query(db, "SELECT id, test FROM stream ORDER BY id")
                           .All<OfTest>(&OfTest::stream, &OfTest::test);
  for (const auto& [stream, of_test] : streams) {
    if (ids.empty()) return;
    const auto test = of_test;
    store::ForEachRecord(db, stream, [&](const store::RecordView& view) {
      if (std::ranges::binary_search(ids, view.Context())) moved.Add(test, view.Subgroup());
    });
  }
  std::map<std::int32_t, std::int32_t> joined;
  for (const auto id : ids) {
    auto context = ReadContext(db, id);
    context[*store::PlaceInContext(two.kind)] = two.into;
    if (const auto there = FindContext(db, context)) {
      joined[id] = *there;
    } else {
      sql::Query(db, TextFor<MoveContextText>(two.kind), id, two.into).Run();
    }
  }
  if (joined.empty()) return;
  const auto is_wanted = [&](const store::RecordView& view) {
    return joined.contains(view.Context());
  };
  for (const auto& each_stream : streams) {
    const auto stream = each_stream.stream;
    for (auto records = Take(db, stream, is_wanted); !records.empty();
         records = Take(db, stream, is_wanted)) {
      for (auto& each : records) each.context = joined.at(each.context);
      Put(db, stream, records);
    }
  }
  for (const auto& [id, there] : joined) {
    sql::Query(db, "DELETE FROM context WHERE id = ?1", id).Run();
  }
}

// In the order of kItemUses.
const std::vector<std::string>& MoveTexts() {
  static const auto texts = [] {
    std::vector<std::string> all;
    for (const auto& use : kItemUses) {
      const std::string column(use.column);
      all.push_back(std::string("UPDATE ") + use.table + " SET " + column + " = ?2 WHERE " +
                    column + " = ?1");
    }
    return all;
  }();
  return texts;
}

// Finds the rows of the item that gives way which the other one has, too, for the same part,
// process and test, and beside these.
std::string SameRowsText(ItemKind kind, const std::string& table, const std::string& columns,
                         const std::string& beside) {
  if (!catalogue::IsOfStream(kind)) return {};
  std::string text = "SELECT a.id, " + columns + " FROM " + table +
                     " a WHERE EXISTS (SELECT 1 FROM " + table + " b WHERE true" + beside;
  for (const auto each : {ItemKind::Part, ItemKind::Process, ItemKind::Test}) {
    const std::string column(WordOf(each));
    text += each == kind ? " AND b." + column + " = ?2"
                         : " AND coalesce(b." + column + ", 0) = coalesce(a." + column + ", 0)";
  }
  return text + ") AND a." + std::string(WordOf(kind)) + " = ?1 ORDER BY a.id";
}
std::string SamePoliciesText(ItemKind kind) {
  return SameRowsText(kind, "baseline_policy", "a.rule", "");
}
std::string SameRulesText(ItemKind kind) {
  return SameRowsText(kind, "rule_alarm", "coalesce(a.graph, 0), a.number, a.is_on",
                      " AND b.number = a.number AND coalesce(b.graph, 0) = coalesce(a.graph, 0)");
}

std::string SameOptionsText(ItemKind kind) {
  return SameRowsText(kind, "chart_option", "a.graph, a.key, a.value",
                      " AND b.key = a.key AND b.graph = a.graph");
}

// Where both have a policy, that of the item that stays does.
void DropPolicies(log::Writing& writing, const Two& two) {
  struct Policy {
    std::int32_t id = 0;
    std::string rule;
  };
  auto& db = writing.Db();
  const auto policies = sql::Query(db, TextFor<SamePoliciesText>(two.kind), two.from, two.into)
                            .All<Policy>(&Policy::id, &Policy::rule);
  for (const auto& each : policies) {
    sql::Query(db, "DELETE FROM baseline_policy WHERE id = ?1", each.id).Run();
    writing.Add("policy", "policy " + std::to_string(each.id),
                log::CanonicalText({{"rule", each.rule}}), {});
  }
}

// The same of which rules are on: the newest row would hold, whichever item it was given for.
void DropRules(log::Writing& writing, const Two& two) {
  struct Rule {
    std::int32_t id = 0, graph = 0, number = 0;
    bool is_on = false;
  };
  auto& db = writing.Db();
  const auto rules = sql::Query(db, TextFor<SameRulesText>(two.kind), two.from, two.into)
                         .All<Rule>(&Rule::id, &Rule::graph, &Rule::number, &Rule::is_on);
  for (const auto& each : rules) {
    sql::Query(db, "DELETE FROM rule_alarm WHERE id = ?1", each.id).Run();
    writing.Add(
        "rule-alarm", "rule-alarm " + std::to_string(each.id),
        log::CanonicalText({{"graph", each.graph}, {"number", each.number}, {"on", each.is_on}}),
        {});
  }
}

// And of options of charts.
void DropOptions(log::Writing& writing, const Two& two) {
  struct Option {
    std::int32_t id = 0, graph = 0;
    std::string key, value;
  };
  auto& db = writing.Db();
  const auto options = sql::Query(db, TextFor<SameOptionsText>(two.kind), two.from, two.into)
                           .All<Option>(&Option::id, &Option::graph, &Option::key, &Option::value);
  for (const auto& each : options) {
    sql::Query(db, "DELETE FROM chart_option WHERE id = ?1", each.id).Run();
    writing.Add(
        "chart-option", "chart-option " + std::to_string(each.id),
        log::CanonicalText({{"graph", each.graph}, {"key", each.key}, {"value", each.value}}), {});
  }
}

std::string DropText(ItemKind kind) {
  return "DELETE FROM " + catalogue::TableOf(kind) + " WHERE id = ?1";
}

void MoveRows(sql::Connection& db, const Two& two) {
  for (std::size_t i = 0; i < std::size(kItemUses); ++i) {
    if (kItemUses[i].kind == two.kind) sql::Query(db, MoveTexts()[i], two.from, two.into).Run();
  }
  const auto word = WordOf(two.kind);
  sql::Query(db,
             "INSERT INTO item_group_member(item_group, item) SELECT m.item_group, ?3 "
             "FROM item_group_member m JOIN item_group g ON g.id = m.item_group "
             "WHERE g.kind = ?1 AND m.item = ?2 ON CONFLICT DO NOTHING",
             word, two.from, two.into)
      .Run();
  sql::Query(db,
             "DELETE FROM item_group_member WHERE item = ?2 AND item_group IN "
             "(SELECT id FROM item_group WHERE kind = ?1)",
             word, two.from)
      .Run();
  sql::Query(db, "UPDATE alias SET item = ?3 WHERE kind = ?1 AND item = ?2", word, two.from,
             two.into)
      .Run();
  sql::Query(db, TextFor<DropText>(two.kind), two.from).Run();
  AddAlias(db, two.kind, two.from_name, two.into);
}

}  // namespace

std::vector<TouchedStream> Merge(log::Writing& writing, ItemKind kind, std::string_view from,
                                 std::string_view into, std::optional<std::int64_t> expected) {
  auto& db = writing.Db();
  writing.NeedReason();
  const std::string word(WordOf(kind));
  if (!catalogue::IsOfStream(kind) && !store::PlaceInContext(kind)) {
    throw Refused("kind", word, std::string(from),
                  "items of the kind " + word + " cannot be merged; edit rename gives one a name");
  }
  const Two two{kind, NeededNamed(db, kind, from), NeededNamed(db, kind, into), std::string(from),
                std::string(into)};
  CheckItemVersion(db, kind, two.from, from, expected);
  if (two.from == two.into) RefuseTwo(two, "name", "are the same");
  std::vector<TouchedStream> touched;
  log::MovedRecords moved;
  if (catalogue::IsOfStream(kind)) {
    touched = JoinStreamsOf(writing, two, moved);
    DropPolicies(writing, two);
    DropRules(writing, two);
    DropOptions(writing, two);
    MoveStreamSettings(writing, kind, from, into);
  } else {
    JoinContexts(db, two, moved);
  }
  MoveRows(db, two);
  // Before the entry, which is the latest when streams are judged.
  AddItemEvent(writing, kind, two.into);
  writing.Add("merge", word + " " + std::to_string(two.from), log::CanonicalText({{"name", from}}),
              log::CanonicalText({{"into", two.into}, {"name", into}, {"moved", moved.AsJson()}}));
  return touched;
}

}  // namespace orvspc::engine::change
