// SPDX-License-Identifier: Apache-2.0
#include "engine/store/StoreCache.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>

#include "engine/chunks/StreamWalk.h"
#include "engine/sql/counter.h"
#include "engine/store/phases.h"
#include "engine/time/calendar.h"
#include "platform/Enumerations.h"
#include "platform/FixedText.h"
#include "platform/LimitRecords.h"

namespace orvspc::engine::store {
namespace {

void ReadStreams(sql::Connection& db, StoreCache& cache) {
  cache.streams = sql::Query(db,
                             "SELECT s.part, s.process, s.test, t.type, s.id FROM stream s "
                             "JOIN test t ON t.id = s.test ORDER BY s.part, s.process, s.test")
                      .All<Stream>(&Stream::part, &Stream::process, &Stream::test,
                                   &Stream::test_type, &Stream::id);
  cache.highest_subgroup = sql::LastId(db, "subgroup");
}

void ReadContexts(sql::Connection& db, StoreCache& cache) {
  cache.contexts.assign(1, Context{});
  cache.context_ids.assign(1, 0);
  static const auto text = "SELECT id, " + ContextColumns() + " FROM context ORDER BY id";
  sql::Query query(db, text);
  while (query.Step()) {
    auto& id = cache.context_ids.emplace_back();
    query.Read(id, cache.contexts.emplace_back());
    if (id <= 0) {
      throw std::runtime_error("The database is damaged: its table context has a row " +
                               std::to_string(id));
    }
  }
  for (const auto& context : cache.contexts) {
    auto& row = cache.context_rows.emplace_back();
    for (std::size_t i = 0; i < context.size(); ++i) {
      if (const auto member = kContextKinds[i].delivered) row.*member = context[i];
    }
  }
}

// The same rows of one part and test alone: ?1 and ?2.
std::string OfOneStream(std::string text) {
  const auto order = text.find(" ORDER BY");
  const bool has_condition = text.find(" WHERE ") != std::string::npos;
  return text.insert(
      order, has_condition ? " AND part = ?1 AND test = ?2" : " WHERE part = ?1 AND test = ?2");
}

using PartAndTest = std::pair<std::int32_t, std::int32_t>;

sql::Query LimitRows(sql::Connection& db, std::string_view text, const PartAndTest* only) {
  if (only == nullptr) return {db, text};
  return {db, text, only->first, only->second};
}

constexpr auto kEffectiveTime = [](const auto& row) { return catalogue::EffectiveTime(row); };

bool ServeTheSame(const ControlLimit& a, const ControlLimit& b) {
  return catalogue::ShareCharts(a.chart_word, b.chart_word);
}
template <class Row>
bool ServeTheSame(const Row&, const Row&) {
  return true;
}

// Adds a row, whose key is that of a part and test. Of rows with one effective time that serve the
// same charts the newest, which is read last, counts.
template <class Row, class Time = decltype(kEffectiveTime)>
void Append(ByPartAndTest<Row>& all, std::int32_t part, std::int32_t test, const Row& row,
            Time time_of = kEffectiveTime) {
  auto& rows = all[{part, test}];
  auto first = rows.end();
  while (first != rows.begin() && time_of(*std::prev(first)) == time_of(row)) --first;
  const auto replaced = std::remove_if(first, rows.end(), [&](const Row& before) {
    return ServeTheSame(before, row) && catalogue::UntilTime(before) <= catalogue::UntilTime(row);
  });
  rows.erase(replaced, rows.end());
  rows.push_back(row);
}

void ReadSpecLimits(sql::Connection& db, StoreCache& cache, const PartAndTest* only) {
  static const std::string
      all =
          "SELECT id, made, part, test, effective, usl, target, lsl, ugb, lgb, url, lrl, uwp, "
          "lwp, cp, cpk, eflag, aflag, scale, name FROM spec_limit "
          "ORDER BY part, test, effective, id",
      of_one = OfOneStream(all);
  auto query = LimitRows(db, only == nullptr ? all : of_one, only);
  while (query.Step()) {
    API_CCSpecLim row{};
    query.Read(row.Word0, row.Stamp4, row.F_PART, row.F_TEST_, row.Word20, row.F_USL, row.F_TAR,
               row.F_LSL, row.F_UGB, row.F_LGB, row.F_URL, row.F_LRL, row.F_UWP, row.F_LWP,
               row.F_CP, row.F_CPK, row.F_EFLAG, row.F_AFLAG, row.F_SCAL);
    row.Stamp8 = row.Stamp4;
    platform::StoreFixedText(row.Name, query.Text(19));
    Append(cache.spec_limits, row.F_PART, row.F_TEST_, row);
  }
}

void ReadControlLimits(sql::Connection& db, StoreCache& cache, const PartAndTest* only) {
  static const std::string
      all =
          "SELECT id, made, part, process, test, effective, mean, sp, spl, sw, "
          "swl, start, finish, chart_word, until, status, used, rule, " +
          catalogue::LimitFigureColumns() +
          " FROM control_limit WHERE (status IN ('active', 'retired') "
          "OR (status = 'proposed' AND rule <> '')) AND (until IS NULL OR until > effective) "
          "ORDER BY part, test, effective, coalesce(process, 0), id",
      of_one = OfOneStream(all);
  auto query = LimitRows(db, only == nullptr ? all : of_one, only);
  while (query.Step()) {
    ControlLimit limit{};
    auto& row = limit.row;
    std::optional<std::int64_t> until;
    std::string status, rule;
    std::int32_t used = 0;
    query.Read(row.Word0, row.Stamp4, row.F_PART, row.F_PRCS, row.F_TEST_, row.F_EFTM, row.F_MEAN,
               row.F_SP, row.F_SPL, row.F_SW, row.F_SWL, row.F_STTM, row.F_FNTM, limit.chart_word,
               until, status, used, rule);
    row.Stamp8 = row.Stamp4;
    limit.until = until.value_or(catalogue::kNever);
    int column = 18;
    for (const auto& each : catalogue::kLimitFigures) {
      if (!query.IsNull(column)) limit.figures.*each.figure = query.Real(column);
      ++column;
    }
    if (status == kLimitStates[static_cast<std::size_t>(LimitState::Proposed)]) {
      const auto needed = MinimumOf(rule);
      if (used < needed) cache.provisional_limits.push_back({limit, used, needed});
      continue;
    }
    Append(cache.control_limits, row.F_PART, row.F_TEST_, limit,
           [](const ControlLimit& each) { return std::pair(each.row.F_EFTM, each.row.F_PRCS); });
  }
}

void ReadOpportunities(sql::Connection& db, StoreCache& cache, const PartAndTest* only) {
  static const std::string
      all =
          "SELECT id, made, part, test, opportunities, effective FROM opportunity "
          "ORDER BY part, test, effective, id",
      of_one = OfOneStream(all);
  auto query = LimitRows(db, only == nullptr ? all : of_one, only);
  while (query.Step()) {
    API_CCDefOpp row{};
    query.Read(row.Word0, row.Stamp4, row.F_PART, row.F_TEST_, row.F_OPPS, row.Word24);
    row.Stamp8 = row.Stamp4;
    Append(cache.opportunities, row.F_PART, row.F_TEST_, row);
  }
}

void ReadNetContents(sql::Connection& db, StoreCache& cache) {
  sql::Query query(
      db,
      "SELECT id, made, part, test, effective, name, nominal, factor, mavl, mavlp, mavu, "
      "mavup, t1l, t1lp, t1u, t1up, t2l, t2lp, t2u, t2up FROM net_content "
      "ORDER BY part, test, effective, id");
  while (query.Step()) {
    API_CANccLim8 row{};
    query.Read(row.Head[0], row.Head[1], row.Head[3], row.Head[4], row.Head[5]);
    row.Head[2] = row.Head[1];
    char16_t name[std::size(row.Text)];
    platform::StoreFixedText(name, query.Text(5));
    platform::To8Bit(name, row.Text);
    query.ReadFrom(6, row.Lsc, row.Fctr);
    int column = 8;
    for (const auto& figure : catalogue::kNetContentFigures) {
      if (!query.IsNull(column)) {
        row.*figure.field = query.Real(column);
        row.EFlag |= figure.flag;
      }
      ++column;
    }
    row.AFlag = row.EFlag;
    Append(cache.net_contents, row.Head[3], row.Head[4], row);
  }
}

void ReadRules(sql::Connection& db, StoreCache& cache) {
  auto rules = std::make_shared<std::vector<StoredRule>>();
  sql::Query query(db,
                   "SELECT number, priority, kind, k, m, zone, side, text FROM rule "
                   "ORDER BY priority, number");
  while (query.Step()) {
    if (query.Int64(0) < 0 || query.Int64(0) > 31) {
      throw std::runtime_error("The database is damaged: its table rule has a rule " +
                               std::to_string(query.Int64(0)));
    }
    auto& rule = rules->emplace_back();
    query.Read(rule.number, rule.priority, rule.kind, rule.k, rule.m, rule.zone, rule.side,
               rule.text);
  }
  cache.rules = std::move(rules);
  sql::Query sets(db,
                  "SELECT s.name, m.number FROM rule_set s LEFT JOIN rule_set_member m "
                  "ON m.rule_set = s.id ORDER BY s.id, m.number");
  while (sets.Step()) {
    if (cache.rule_sets.empty() || cache.rule_sets.back().first != sets.Text(0)) {
      cache.rule_sets.emplace_back(sets.Text(0), std::vector<std::int32_t>());
    }
    if (!sets.IsNull(1)) cache.rule_sets.back().second.push_back(sets.Int(1));
  }
  cache.alarms =
      sql::Query(db, "SELECT part, process, test, graph, number, is_on FROM rule_alarm ORDER BY id")
          .All<AlarmRow>(&AlarmRow::part, &AlarmRow::process, &AlarmRow::test, &AlarmRow::graph,
                         &AlarmRow::number, &AlarmRow::is_on);
}

void ReadChartOptions(sql::Connection& db, StoreCache& cache) {
  using Row = OptionRow;
  cache.chart_options =
      sql::Query(db,
                 "SELECT id, part, process, test, graph, key, value FROM chart_option ORDER BY id")
          .All<Row>(&Row::id, &Row::part, &Row::process, &Row::test, &Row::graph, &Row::key,
                    &Row::value);
}

void ReadSettings(sql::Connection& db, StoreCache& cache) {
  sql::Query query(db, "SELECT key, value FROM setting ORDER BY id");
  while (query.Step()) {
    cache.settings.insert_or_assign(std::string(query.Text(0)), std::string(query.Text(1)));
  }
  const auto zone = cache.settings.find("time_zone");
  if (zone == cache.settings.end()) return;
  const auto offset = time::ZoneOffset(zone->second);
  if (!offset) {
    throw std::runtime_error("The time zone " + zone->second +
                             " of the database is neither UTC nor a fixed offset");
  }
  cache.zone_offset = *offset;
}

// Reads what is not there yet.
template <class T, class Read>
std::shared_ptr<const T> Kept(std::shared_ptr<const T>& kept, Read read) {
  if (!kept) kept = std::make_shared<const T>(read());
  return kept;
}

// What occurs where: identifiers of one kind beside the subgroup.
struct Occurrence {
  std::int32_t item, subgroup, time;
  friend auto operator<=>(const Occurrence&, const Occurrence&) = default;
};

std::vector<Occurrence> ReadOccurrences(sql::Connection& db, const StoreCache& cache,
                                        catalogue::ItemKind kind) {
  std::vector<Occurrence> found;
  const auto add = [&](std::int32_t item, std::int32_t subgroup, std::int32_t time) {
    const Occurrence next{item, subgroup, time};
    if (item != 0 && (found.empty() || found.back() != next)) found.push_back(next);
  };
  const auto in_context = PlaceInContext(kind);
  const auto* const in_row = std::ranges::find(kRowKinds, kind, &RowKind::kind);
  const bool in_stream = catalogue::IsOfStream(kind);
  if (!in_stream && !in_context && in_row == std::end(kRowKinds)) return found;
  for (const auto& stream : cache.streams) {
    const auto item_of_stream = kind == catalogue::ItemKind::Part      ? stream.part
                                : kind == catalogue::ItemKind::Process ? stream.process
                                                                       : stream.test;
    ForEachRecord(db, stream.id, [&](const RecordView& record) {
      const auto add_item = [&](std::int32_t item) { add(item, record.Subgroup(), record.Time()); };
      if (in_stream) {
        add_item(item_of_stream);
      } else if (in_context) {
        add_item(cache.contexts[cache.PlaceOfContextOf(record)][*in_context]);
      } else if (!record.IsPlain()) {
        for (std::size_t i = 0; i < record.Count(); ++i) add_item(record.Key(i).*in_row->member);
      }
    });
  }
  std::sort(found.begin(), found.end());
  found.erase(std::unique(found.begin(), found.end()), found.end());
  return found;
}

}  // namespace

std::string ContextColumns() {
  std::string columns;
  for (const auto& each : kContextKinds) {
    columns.append(columns.empty() ? "" : ", ").append(each.column);
  }
  return columns;
}

std::size_t StoreCache::PlaceOfContextOf(std::int32_t context, std::int32_t subgroup) const {
  if (context == 0) return 0;
  if (const auto place = PlaceOfContext(context)) return *place;
  throw std::runtime_error("The database is damaged: subgroup " + std::to_string(subgroup) +
                           " refers to context " + std::to_string(context) +
                           ", which is not there");
}

std::size_t StoreCache::PlaceOfContextOf(const RecordView& record) const {
  return PlaceOfContextOf(record.Context(), record.Subgroup());
}

StoreCache::StoreCache(sql::Connection& connection) : connection_(&connection) {
  ReadStreams(connection, *this);
  ReadContexts(connection, *this);
  ReadSpecLimits(connection, *this, nullptr);
  ReadControlLimits(connection, *this, nullptr);
  ReadOpportunities(connection, *this, nullptr);
  ReadNetContents(connection, *this);
  phases = ReadPhases(connection);
  ReadRules(connection, *this);
  ReadSettings(connection, *this);
  ReadChartOptions(connection, *this);
}

StoreCache StoreCache::WithoutStreams(sql::Connection& connection) {
  StoreCache cache;
  cache.connection_ = &connection;
  cache.contexts.assign(1, Context{});
  cache.context_ids.assign(1, 0);
  cache.context_rows.emplace_back();
  cache.phases = ReadPhases(connection);
  ReadRules(connection, cache);
  ReadSettings(connection, cache);
  return cache;
}

void StoreCache::AddLimits(sql::Connection& connection, std::int32_t part, std::int32_t test) {
  const PartAndTest only(part, test);
  spec_limits.erase(only);
  control_limits.erase(only);
  opportunities.erase(only);
  ReadSpecLimits(connection, *this, &only);
  ReadControlLimits(connection, *this, &only);
  ReadOpportunities(connection, *this, &only);
}

const std::unordered_map<std::int32_t, std::string>& StoreCache::Names(catalogue::ItemKind kind) {
  auto& names = names_[static_cast<std::size_t>(kind)];
  if (!names) names = catalogue::ReadNames(*connection_, kind);
  return *names;
}

std::shared_ptr<const catalogue::ItemList> StoreCache::Items(catalogue::ItemKind kind) {
  return Kept(references_.items[static_cast<std::size_t>(kind)],
              [&] { return catalogue::ReadItems(*connection_, kind); });
}

std::shared_ptr<const std::vector<catalogue::ItemGroup>> StoreCache::ItemGroups(
    catalogue::ItemKind kind) {
  return Kept(references_.groups[static_cast<std::size_t>(kind)],
              [&] { return catalogue::ReadGroups(*connection_, kind); });
}

std::shared_ptr<const std::vector<catalogue::ProcessPlace>> StoreCache::Places() {
  return Kept(references_.places, [&] { return catalogue::ReadPlaces(*connection_); });
}

std::shared_ptr<const std::vector<catalogue::Descriptor>> StoreCache::Descriptors() {
  return Kept(references_.descriptors, [&] { return catalogue::ReadDescriptors(*connection_); });
}

std::shared_ptr<const std::vector<catalogue::Item>> StoreCache::DescriptorGroups() {
  return Kept(references_.descriptor_groups,
              [&] { return catalogue::ReadDescriptorGroups(*connection_); });
}

std::unordered_map<std::int32_t, Occurrences> CountOccurrences(sql::Connection& db,
                                                               const StoreCache& cache,
                                                               catalogue::ItemKind kind) {
  std::unordered_map<std::int32_t, Occurrences> counts;
  for (const auto& each : ReadOccurrences(db, cache, kind)) {
    auto& item = counts.try_emplace(each.item, Occurrences{0, each.time, each.time}).first->second;
    item.first = std::min(item.first, each.time);
    item.last = std::max(item.last, each.time);
    ++item.subgroups;
  }
  return counts;
}

}  // namespace orvspc::engine::store
