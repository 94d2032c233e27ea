// SPDX-License-Identifier: Apache-2.0
#include "engine/write/log/Reading.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <limits>
#include <sstream>

#include "engine/write/log/Json.h"
#include "platform/TimeText.h"
#include "system/system.h"

namespace orvspc::engine::log {
namespace {

constexpr std::int64_t kMillisecondsOfSecond = 1000;

void Read(const sql::Query& query, Entry& entry) {
  query.Read(entry.seq, entry.at, entry.who, entry.system, entry.station, entry.operation,
             entry.object, entry.before, entry.after, entry.reason, entry.program, entry.hash);
}

// A text of an entry; empty where it has none or is no JSON.
std::string TextOf(const std::string& json, const char* key) {
  const auto parsed = TryReadJson(json);
  if (!parsed.is_object()) return {};
  const auto found = parsed.find(key);
  return found != parsed.end() && found->is_string() ? found->get<std::string>() : std::string();
}

// Entries from which on a log is that of a database.
constexpr std::string_view kIdentities =
    "SELECT seq, after FROM log WHERE operation IN ('database', 'copy') ORDER BY seq";

}  // namespace

void AddFind(LogCheck& check, std::string find) {
  constexpr std::size_t kMaxFinds = 20;
  if (check.finds.size() < kMaxFinds) check.finds.push_back(std::move(find));
}

std::vector<Entry> ReadEntries(sql::Connection& db, const LogFilter& filter) {
  constexpr auto kAny = std::numeric_limits<std::int64_t>::max();
  constexpr auto kMaxSeconds = kAny / kMillisecondsOfSecond - 1;
  const auto since = std::clamp(filter.since.value_or(0), -kMaxSeconds, kMaxSeconds);
  const auto until = std::clamp(filter.until.value_or(kMaxSeconds), -kMaxSeconds, kMaxSeconds);
  // What begins with the object and a blank lies between these two.
  const auto first = filter.object + ' ', behind = filter.object + '!';
  sql::Query query(db,
                   "SELECT seq, at, who, system, station, operation, object, before, after, "
                   "reason, program, hash FROM log WHERE "
                   "(?1 = '' OR object = ?1 OR (object >= ?2 AND object < ?3)) AND "
                   "(?4 = '' OR who = ?4) AND (?5 = '' OR operation = ?5) AND "
                   "at >= ?6 AND at <= ?7 ORDER BY seq DESC LIMIT ?8",
                   filter.object, first, behind, filter.by, filter.operation,
                   since * kMillisecondsOfSecond,
                   until * kMillisecondsOfSecond + kMillisecondsOfSecond - 1,
                   filter.max > 0 ? filter.max : kAny);
  std::vector<Entry> entries;
  while (query.Step()) Read(query, entries.emplace_back());
  std::ranges::reverse(entries);
  return entries;
}

LogAnchor ReadHead(sql::Connection& db) {
  LogAnchor head{IdentityOf(db), 0, {}, 0};
  sql::Query newest(db, "SELECT seq, hash, at FROM log ORDER BY seq DESC LIMIT 1");
  if (newest.Step()) newest.Read(head.seq, head.hash, head.at);
  return head;
}

LogCheck CheckChain(sql::Connection& db, const std::function<void(const Entry&)>& visit) {
  LogCheck check;
  std::string before, uuid;
  Entry entry;  // whose storage is used again
  constexpr int kFirst = 100;
  sql::Query query(db, sql::ManyRows{kFirst},
                   "SELECT seq, at, who, system, station, operation, object, before, after, "
                   "reason, program, hash FROM log ORDER BY seq");
  std::int64_t latest = 0;
  while (query.Step()) {
    Read(query, entry);
    ++check.entries;
    const auto name = "entry " + std::to_string(entry.seq);
    if (entry.seq != latest + 1) {
      AddFind(check, latest == 0 ? name + " is the first one"
                                 : name + " follows entry " + std::to_string(latest));
    } else if (HashOf(entry, before) != entry.hash) {
      AddFind(check, entry.seq == 1 ? name + " does not fit its hash"
                                    : name + " does not fit the one before it");
    }
    latest = entry.seq;
    before = entry.hash;
    if (entry.operation == "database" || entry.operation == "copy") {
      uuid = TextOf(entry.after, "uuid");
    }
    if (visit) visit(entry);
  }
  check.head = ReadHead(db);
  if (check.entries == 0) AddFind(check, "there are no entries");
  if (check.entries != 0 && uuid != check.head.uuid) {
    AddFind(check, "it is that of database " + uuid + ", and this is " + check.head.uuid);
  }
  return check;
}

std::string AnchorText(const LogAnchor& head) {
  return head.uuid + " " + std::to_string(head.seq) + " " + head.hash + " " +
         platform::IsoText(head.at / kMillisecondsOfSecond);
}

bool AppendAnchor(const std::string& file, const LogAnchor& head) {
  std::ofstream out(system::PathOf(file), std::ios::binary | std::ios::app);
  out << AnchorText(head) << "\n" << std::flush;
  return out && system::Flush(file);
}

std::optional<std::string> ReadAnchors(const std::string& file) {
  std::ifstream in(system::PathOf(file), std::ios::binary);
  if (!in) return std::nullopt;
  using Bytes = std::istreambuf_iterator<char>;
  return std::string(Bytes(in), Bytes());
}

std::int64_t CheckAnchors(sql::Connection& db, const std::string& text, const std::string& name,
                          LogCheck& check) {
  // Whose the log was, up to which entry.
  std::vector<std::pair<std::string, std::int64_t>> owners;
  for (sql::Query query(db, kIdentities); query.Step();) {
    if (!owners.empty()) owners.back().second = query.Int64(0) - 1;
    owners.emplace_back(TextOf(std::string(query.Text(1)), "uuid"),
                        std::numeric_limits<std::int64_t>::max());
  }
  std::int64_t compared = 0, number = 0;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    const auto place = name + " line " + std::to_string(++number);
    std::istringstream words(line);
    std::string uuid, hash;
    std::int64_t seq = 0;
    if (!(words >> uuid)) continue;
    if (!(words >> seq >> hash)) {
      AddFind(check, place + " is no anchor");
      continue;
    }
    const auto owner =
        std::ranges::find_if(owners, [&](const auto& each) { return each.first == uuid; });
    if (owner == owners.end() || seq > owner->second) continue;
    ++compared;
    const auto entry = "entry " + std::to_string(seq);
    sql::Query stored(db, "SELECT hash FROM log WHERE seq = ?1", seq);
    if (!stored.Step()) {
      AddFind(check, place + ": " + entry + " is missing; the log ends with entry " +
                         std::to_string(check.head.seq));
    } else if (stored.Text(0) != hash) {
      AddFind(check, place + ": " + entry + " has another hash than it had then");
    }
  }
  return compared;
}

}  // namespace orvspc::engine::log
