// SPDX-License-Identifier: Apache-2.0
#include "engine/write/change/UndoneBatch.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "engine/write/log/Json.h"
#include "platform/Actor.h"

namespace orvspc::engine::change {
namespace {

// "4,120"
std::string Grouped(std::int64_t number) {
  constexpr std::size_t kGroup = 3;
  auto text = std::to_string(number);
  for (auto at = text.size(); at > kGroup; at -= kGroup) text.insert(at - kGroup, 1, ',');
  return text;
}

// What an entry about a record found.
struct FoundByEntry {
  std::int64_t entry = 0;
  log::CanonicalRecord record;
};

// Of the entry after the last one; each names the one before it.
std::optional<FoundByEntry> FoundAfter(sql::Connection& db, const StoredRecord& now,
                                       std::int64_t last) {
  for (auto entry = now.entry; entry > last;) {
    sql::Query query(db, "SELECT before, after FROM log WHERE seq = ?1", entry);
    if (!query.Step()) break;
    std::int64_t earlier = 0;
    if (query.Text(0).empty()) {
      // It brought back what another one had found.
      earlier = log::ReadJson(query.Text(1)).value("entry", std::int64_t{0});
      if (earlier == 0) break;
    } else {
      auto former = log::FormerRecordOf(log::ReadJson(query.Text(0)));
      if (former.batch != now.batch) break;
      if (former.entry == last) return FoundByEntry{entry, std::move(former.record)};
      earlier = former.entry;
    }
    if (earlier >= entry) break;
    entry = earlier;
  }
  return std::nullopt;
}

bool IsSame(sql::Connection& db, const StoredRecord& now, FoundByEntry found,
            const LaterNames& names) {
  using enum catalogue::ItemKind;
  auto& then = found.record;
  log::PutInUsual(then, IsMeasured(db, now.test));
  const auto is = [&](catalogue::ItemKind kind, const std::string& name, std::int32_t id) {
    return name.empty() ? id == 0 : names.Find(kind, name, found.entry) == id;
  };
  const auto& of = now.subgroup;
  if (then.label != of.label || then.time != of.time || then.flag != now.flag ||
      then.size != now.size || then.pieces.size() != now.values.size() ||
      !is(Part, then.part, of.part) || !is(Process, then.process, of.process) ||
      !is(Test, then.test, now.test)) {
    return false;
  }
  for (std::size_t i = 0; i < now.values.size(); ++i) {
    const auto& piece = then.pieces[i];
    const auto& key = now.keys[i];
    if (piece.value != now.values[i] || piece.tsno != key.Tsno || piece.sbno != key.Sbno ||
        !is(Serial, piece.serial, key.Sn) || !is(Gage, piece.gage, key.Gage) ||
        !is(Defect, piece.defect, key.Def)) {
      return false;
    }
  }
  const auto context = ReadContext(db, now.context);
  for (std::size_t i = 0; i < context.size(); ++i) {
    const auto& kind = store::kContextKinds[i];
    const auto given = then.context.find(std::string(kind.column));
    if (!is(kind.kind, given == then.context.end() ? std::string() : given->second, context[i])) {
      return false;
    }
  }
  return true;
}

}  // namespace

void RefuseBatch(const Batch& batch, const char* code, const std::string& text) {
  throw Refused(code, "batch", std::to_string(batch.id), batch.Object() + text);
}

void CheckChanged(const Batch& batch, std::vector<std::int64_t> entries, bool keep_changed,
                  bool others_left) {
  if (entries.empty() || (keep_changed && others_left)) return;
  constexpr std::size_t kMax = 10;
  std::ranges::sort(entries);
  const auto count = static_cast<std::int64_t>(entries.size());
  entries.erase(std::unique(entries.begin(), entries.end()), entries.end());
  std::string list;
  for (std::size_t i = 0; i < std::min(entries.size(), kMax); ++i) {
    list += (i == 0 ? "" : ", ") + std::to_string(entries[i]);
  }
  if (entries.size() > kMax) list += ", ...";
  RefuseBatch(batch, "changed",
              ": " + Grouped(count) + " of " + Grouped(batch.records) +
                  (batch.records == 1 ? " record was" : " records were") +
                  " changed since (entries " + list + "); " +
                  (others_left ? "--keep-changed leaves these" : "no other is left to undo"));
}

bool IsAsLeft(sql::Connection& db, const StoredRecord& now, std::int64_t last,
              const LaterNames& names) {
  if (now.entry == last) return true;
  auto found = FoundAfter(db, now, last);
  return found && IsSame(db, now, *std::move(found), names);
}

}  // namespace orvspc::engine::change
