// SPDX-License-Identifier: Apache-2.0
#include "engine/audit/DataCheck.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

#include "engine/audit/Renamings.h"
#include "engine/chunks/StreamWalk.h"
#include "engine/chunks/subgroups.h"
#include "engine/store/StoreCache.h"
#include "engine/store/batch_digest.h"
#include "engine/write/log/Canonical.h"
#include "engine/write/log/FormerTypes.h"
#include "engine/write/log/Json.h"
#include "platform/Enumerations.h"

namespace orvspc::engine::audit {
namespace {

using catalogue::ItemKind;
using log::Entry;
using log::Json;
using enum catalogue::ItemKind;

// A subgroup and test.
struct Place {
  std::int32_t subgroup = 0, test = 0;
  friend auto operator<=>(const Place&, const Place&) = default;
};

// A record that came by itself.
struct Made {
  Place place;
  std::int64_t seq = 0;
  std::string digest;
  bool is_seen = false;
  bool is_former = false;  // was not there any more when another came to its place
};

// The entry of a record that came by itself; 0: a batch brought it, or it was there before the log.
struct Origin {
  std::int64_t seq = 0;
  std::string digest;
};

// What the log says of a record that was changed.
struct Changed {
  std::int64_t first = 0, last = 0;  // entries
  std::string before;                // of the first; empty: there was none
  std::string digest;                // by the last; empty: it took the record out
  std::int64_t batch = 0;            // that brought the record
  bool is_seen = false;
  std::int32_t test = 0;  // at the time of the first
  Origin origin = {};     // of a former one

  bool IsOut() const { return first != 0 && digest.empty(); }
};

struct Batch {
  std::int64_t seq = 0, records = 0;
  std::string digest;
  bool is_undone = false;
  // Of the stream at hand, by the names that it had then: several, if they were merged since.
  std::map<store::NamesOfStream, store::StreamDigest> of_stream;
  store::StreamDigest* latest = nullptr;  // of these, for records of the same merges
  Renamings::Merges latest_merges = 0;
  // Of the streams before it.
  std::vector<std::pair<store::NamesOfStream, system::Sha256::Digest>> streams;
  std::int64_t count = 0;
};

// A record as a batch brought it, which was changed since.
struct Original {
  std::int64_t stream = 0;
  store::RecordKey key;
  std::int64_t batch = 0;
  store::NamesOfStream names;
  std::string bytes;
};

Json ParseOf(const std::string& text) { return log::TryReadJson(text); }

template <class T>
T ValueOf(const Json& json, const char* key, T fallback) {
  if (!json.is_object()) return fallback;
  const auto found = json.find(key);
  if (found == json.end()) return fallback;
  if constexpr (std::is_same_v<T, std::string>) {
    return found->is_string() ? found->get<std::string>() : fallback;
  } else {
    return found->is_number_integer() ? found->get<T>() : fallback;
  }
}

class Checker {
 public:
  explicit Checker(sql::Connection& db) : db_(db), cache_(db), types_(db) {}

  LogCheck Run() {
    check_ = log::CheckChain(db_, [&](const Entry& entry) { Take(entry); });
    MarkFormer();
    std::ranges::sort(made_, {}, [](const Made& each) { return std::pair(each.place, each.seq); });
    ReadSubgroups();
    TakeOriginals();
    auto original = originals_.begin();
    auto streams = cache_.streams;
    std::ranges::sort(streams, {}, &store::Stream::id);
    for (const auto& stream : streams) CheckStream(stream, original);
    CheckBatches();
    CheckMissing();
    return std::move(check_);
  }

 private:
  // --- The log -----------------------------------------------------------------------------------

  void Take(const Entry& entry) {
    Place place;
    if (std::sscanf(entry.object.c_str(), "subgroup %d test %d", &place.subgroup, &place.test) ==
        2) {
      return TakeChange(entry, place);
    }
    if (entry.operation == "record") return TakeRecords(entry);
    if (entry.object.starts_with("batch ")) return TakeBatch(entry);
    if (entry.operation == "rename") return TakeRenaming(entry);
    if (entry.operation == "merge") return TakeMerge(entry);
    if (entry.operation == "database") {
      had_data_ = had_data_ || ParseOf(entry.after).contains("digest");
    }
    if (entry.operation == "copy" && ParseOf(entry.after).contains("selected")) {
      selected_.push_back(entry.seq);
    }
  }

  // Whether a selected copy was made between two entries, which may have left out what the first
  // one stored.
  bool MayBeLeftOut(std::int64_t stored, std::int64_t until) const {
    const auto copy = std::ranges::upper_bound(selected_, stored);
    return copy != selected_.end() && *copy < until;
  }
  // Whether this batch brought a record anew: after one was taken out, or left out by a copy.
  bool IsAnew(const Changed& changed, std::int64_t number) const {
    const auto batch = batches_.find(number);
    if (batch == batches_.end()) return false;
    const auto seq = batch->second.seq;
    return changed.IsOut() ? seq > changed.last : MayBeLeftOut(changed.last, seq);
  }

  void TakeChange(const Entry& entry, const Place& place) {
    auto& changed = changed_[place];
    // What was taken out, or left out by a copy, is stored again before it is changed again.
    const bool is_former =
        changed.IsOut() || (changed.first != 0 && MayBeLeftOut(changed.last, entry.seq) &&
                            IsAnew(changed, log::BatchOf(ParseOf(entry.before))));
    if (is_former && !entry.before.empty()) MakeFormer(place, std::exchange(changed, {}));
    if (changed.first == 0) {
      changed.first = entry.seq;
      changed.before = entry.before;
      changed.test = place.test;
    }
    changed.last = entry.seq;
    changed.digest = entry.after.empty() ? std::string()
                                         : ValueOf(ParseOf(entry.after), "digest", std::string());
  }

  void TakeRecords(const Entry& entry) {
    Place place;
    if (std::sscanf(entry.object.c_str(), "subgroup %d", &place.subgroup) != 1) return;
    const auto after = ParseOf(entry.after);
    if (!after.is_object() || !after.contains("records")) return;
    for (const auto& each : after["records"]) {
      place.test = ValueOf(each, "test", 0);
      if (const auto found = changed_.find(place); found != changed_.end()) {
        MakeFormer(place, std::move(found->second));
        changed_.erase(found);
      }
      made_.push_back({place, entry.seq, ValueOf(each, "digest", std::string()), false});
    }
  }

  void TakeBatch(const Entry& entry) {
    long long number = 0;
    if (std::sscanf(entry.object.c_str(), "batch %lld", &number) != 1) return;
    auto& batch = batches_[number];
    if (batch.seq != 0) {
      batch.is_undone = batch.is_undone || entry.operation.starts_with("undo");
      return;
    }
    const auto after = ParseOf(entry.after);
    batch.seq = entry.seq;
    batch.digest = ValueOf(after, "digest", std::string());
    if (!batch.digest.empty()) batch.records = ValueOf(after, "records", std::int64_t{0});
  }

  void TakeRenaming(const Entry& entry) {
    const auto kind = ItemKindFromWord(entry.object.substr(0, entry.object.find(' ')));
    if (!kind) return;
    renamings_.Add(entry.seq, *kind, ValueOf(ParseOf(entry.before), "name", std::string()),
                   ValueOf(ParseOf(entry.after), "name", std::string()));
  }

  void TakeMerge(const Entry& entry) {
    const auto blank = entry.object.find(' ');
    const auto kind = ItemKindFromWord(entry.object.substr(0, blank));
    std::int32_t from = 0;
    if (!kind || std::sscanf(entry.object.c_str() + blank, "%d", &from) != 1) return;
    const auto after = ParseOf(entry.after);
    const auto into = ValueOf(after, "into", 0);
    const bool has_moved = after.is_object() && after.contains("moved");
    const log::MovedRecords moved(has_moved ? after["moved"] : Json());
    renamings_.AddMerge(entry.seq, *kind, ValueOf(ParseOf(entry.before), "name", std::string()),
                        ValueOf(after, "name", std::string()), from, into, moved);
    if (*kind == Test) JoinTests(from, into, moved, has_moved ? entry.seq : 0);
  }

  // A record that is not there any more, and to whose place another one comes.
  void MakeFormer(const Place& place, Changed changed) {
    unmarked_[place].push_back(former_.size());
    former_.emplace_back(place, std::move(changed));
  }
  // Finds the entries of former records by the places that they have until tests are merged: each
  // came before its own first change and after those of the ones before it.
  void MarkFormer() {
    if (unmarked_.empty()) return;
    for (auto& made : made_) {
      const auto found = unmarked_.find(made.place);
      if (made.is_former || found == unmarked_.end()) continue;
      const auto former = std::ranges::find_if(
          found->second, [&](std::size_t each) { return made.seq < former_[each].second.first; });
      if (former == found->second.end()) continue;
      made.is_former = true;
      former_[*former].second.origin = {made.seq, made.digest};
    }
    unmarked_.clear();
  }

  // What the log said of records of one test is of another from here on. A record that is not
  // moved, or to whose place one is moved, was not there then.
  //   until   the entry, before which copies may have left records out; 0: it does not say what was
  //           moved
  void JoinTests(std::int32_t from, std::int32_t into, const log::MovedRecords& moved,
                 std::int64_t until) {
    std::vector<std::pair<Place, Changed>> joined;
    const auto is_in_the_way = [&](const Place& place) {
      return place.test == into && moved.Holds(into, place.subgroup);
    };
    const auto is_left_out = [&](const Place& place, std::int64_t stored) {
      const bool is_unmoved = place.test == from && !moved.Holds(into, place.subgroup);
      return (is_unmoved || is_in_the_way(place)) && MayBeLeftOut(stored, until);
    };
    for (auto each = changed_.begin(); each != changed_.end();) {
      const auto place = each->first;
      const bool is_out = (each->second.IsOut() && (place.test == from || is_in_the_way(place))) ||
                          is_left_out(place, each->second.last);
      if (is_out) {
        MakeFormer(place, std::move(each->second));
      } else if (place.test == from) {
        joined.emplace_back(Place{place.subgroup, into}, std::move(each->second));
      } else {
        ++each;
        continue;
      }
      each = changed_.erase(each);
    }
    MarkFormer();
    for (auto& [place, changed] : joined) changed_.insert_or_assign(place, std::move(changed));
    for (auto& made : made_) {
      made.is_former = made.is_former || is_left_out(made.place, made.seq);
      if (made.place.test == from) made.place.test = into;
    }
    for (auto& [place, changed] : former_) {
      if (place.test == from) place.test = into;
    }
  }

  // --- Names -------------------------------------------------------------------------------------

  // The time of an entry, in a record that went through these merges.
  struct AtEntry {
    std::int64_t seq = 0;
    Renamings::Merges merges = 0;
    friend bool operator==(const AtEntry&, const AtEntry&) = default;
  };

  std::string_view NameOf(ItemKind kind, std::int32_t id, const AtEntry& at) {
    const auto& names = cache_.Names(kind);
    const auto found = names.find(id);
    if (found == names.end()) return {};
    return renamings_.NameAt(kind, found->second, at.seq, at.merges);
  }

  store::NameOfItem NamesAt(const AtEntry& at) {
    return [this, at](ItemKind kind, std::int32_t id) { return NameOf(kind, id, at); };
  }

  AtEntry PlaceAt(const Place& place, std::int64_t seq) {
    return {seq, renamings_.MergesOf(place.subgroup, place.test)};
  }

  // The bytes of a context at the time of an entry.
  std::string_view ContextBytes(std::int32_t id, std::int32_t subgroup, const AtEntry& at_entry) {
    const std::tuple key{id, renamings_.EpochOf(at_entry.seq), at_entry.merges};
    if (latest_context_ == key) return latest_bytes_;
    const auto [at, is_new] = contexts_.try_emplace(key);
    if (is_new) {
      store::RowBytes row;
      store::AddContext(row, cache_.contexts[cache_.PlaceOfContextOf(id, subgroup)],
                        NamesAt(at_entry));
      at->second = row.Bytes();
    }
    latest_context_ = key;
    return latest_bytes_ = at->second;
  }

  void ReadSubgroups() {
    store::ForEachSubgroup(db_, 1, INT32_MAX, [&](const store::SubgroupFacts& each) {
      const auto id = static_cast<std::size_t>(each.id);
      if (subgroups_.size() <= id) subgroups_.resize(id + 1);
      subgroups_[id] = {labels_.size(), static_cast<std::uint32_t>(each.label.size()), each.part,
                        each.process};
      labels_ += each.label;
    });
  }

  std::string_view LabelOf(std::int32_t subgroup) const {
    const auto id = static_cast<std::size_t>(subgroup);
    if (id >= subgroups_.size()) return {};
    return std::string_view(labels_).substr(subgroups_[id].label, subgroups_[id].length);
  }

  std::string Called(const Place& place) {
    return "#" + std::to_string(place.subgroup) + " " +
           std::string(NameOf(Test, place.test, {INT64_MAX, 0}));
  }

  // --- Records as they were ----------------------------------------------------------------------

  // What an entry says of the time before it; empty where that is none.
  std::optional<log::CanonicalRecord> BeforeOf(const Changed& changed, std::int64_t& batch) {
    try {
      auto former = log::FormerRecordOf(ParseOf(changed.before));
      batch = former.batch;
      return std::move(former.record);
    } catch (const Refused&) {
      return std::nullopt;
    }
  }

  void TakeOriginals() {
    for (auto& [place, changed] : changed_) TakeOriginal(place, changed);
    for (auto& [place, changed] : former_) TakeOriginal(place, changed);
    std::ranges::sort(originals_, {},
                      [](const Original& each) { return std::pair(each.stream, each.key); });
  }

  void TakeOriginal(const Place& place, Changed& changed) {
    auto& number = changed.batch;
    auto before = BeforeOf(changed, number);
    if (!before || number == 0) return;
    const auto batch = batches_.find(number);
    const auto id = static_cast<std::size_t>(place.subgroup);
    if (batch == batches_.end() || id >= subgroups_.size()) return;
    const auto& subgroup = subgroups_[id];
    const auto test = place.test;
    const auto stream = std::ranges::find_if(cache_.streams, [&](const store::Stream& each) {
      return each.part == subgroup.part && each.process == subgroup.process && each.test == test;
    });
    if (stream == cache_.streams.end()) return;
    const auto time = static_cast<std::int32_t>(before->time.value_or(0));
    auto then = Earlier(*std::move(before), place.subgroup, changed, batch->second.seq);
    store::NamesOfStream names{then.part, then.process, then.test};
    originals_.push_back(
        {stream->id,
         {time, place.subgroup},
         number,
         std::move(names),
         BytesOf(std::move(then), types_.At(changed.test, changed.first) == ttVariable)});
  }

  static std::string BytesOf(log::CanonicalRecord before, bool is_measured) {
    log::PutInUsual(before, is_measured);
    // The names in place of identifiers, which count from 1.
    std::vector<std::string> names;
    const auto id_of = [&](ItemKind, const std::string& name) {
      if (name.empty()) return 0;
      names.push_back(name);
      return static_cast<std::int32_t>(names.size());
    };
    const store::NameOfItem name_of = [&](ItemKind, std::int32_t id) -> std::string_view {
      return names[static_cast<std::size_t>(id) - 1];
    };
    store::Context context{};
    for (std::size_t i = 0; i < context.size(); ++i) {
      const auto& kind = store::kContextKinds[i];
      const auto given = before.context.find(std::string(kind.column));
      if (given != before.context.end()) context[i] = id_of(kind.kind, given->second);
    }
    std::vector<double> values;
    std::vector<store::RowKey> keys;
    for (const auto& piece : before.pieces) {
      values.push_back(piece.value);
      keys.push_back({id_of(Serial, piece.serial), piece.tsno, piece.sbno,
                      id_of(Defect, piece.defect), id_of(Gage, piece.gage)});
    }
    store::RowBytes of_context, row;
    store::AddContext(of_context, context, name_of);
    store::AddRecord(row,
                     {static_cast<std::int32_t>(before.time.value_or(0)), 0, 0, before.size,
                      before.flag, 0, 0, values, keys},
                     before.label, of_context.Bytes(), name_of);
    return std::string(row.Bytes());
  }

  // The digest of a record that is stored, as the entry had it.
  std::string DigestAt(const store::Stream& stream, const store::RecordView& view,
                       std::int64_t seq) {
    const auto name_of = NamesAt(PlaceAt({view.Subgroup(), stream.test}, seq));
    const auto name = [&](ItemKind kind, std::int32_t id) {
      return id == 0 ? std::string() : std::string(name_of(kind, id));
    };
    log::CanonicalRecord all;
    all.part = name(Part, stream.part);
    all.process = name(Process, stream.process);
    all.test = name(Test, stream.test);
    all.label = LabelOf(view.Subgroup());
    all.time = view.Time();
    for (std::size_t row = 0; row < view.Count(); ++row) {
      const auto key = view.Key(row);
      all.pieces.push_back({view.Value(row), key.Tsno, key.Sbno, name(Serial, key.Sn),
                            name(Gage, key.Gage), name(Defect, key.Def)});
    }
    all.size = view.Size();
    all.flag = view.Flag();
    const auto& context = cache_.contexts[cache_.PlaceOfContextOf(view)];
    for (std::size_t i = 0; i < context.size(); ++i) {
      const auto& kind = store::kContextKinds[i];
      if (context[i] != 0) all.context[std::string(kind.column)] = name(kind.kind, context[i]);
    }
    log::LeaveOutUsual(all, types_.Now(stream.test) == ttVariable);
    return log::DigestOf(all);
  }

  // --- What is stored ----------------------------------------------------------------------------

  store::StreamDigest& DigestIn(Batch& batch, const store::NamesOfStream& names) {
    if (batch.of_stream.empty()) of_this_stream_.push_back(&batch);
    return batch.of_stream[names];
  }

  store::StreamDigest& DigestIn(Batch& batch, const store::Stream& stream, const AtEntry& at) {
    if (batch.latest == nullptr || batch.latest_merges != at.merges) {
      const auto name = [&](ItemKind kind, std::int32_t id) {
        return std::string(NameOf(kind, id, at));
      };
      batch.latest = &DigestIn(
          batch, {name(Part, stream.part), name(Process, stream.process), name(Test, stream.test)});
      batch.latest_merges = at.merges;
    }
    return *batch.latest;
  }

  void AddOriginals(std::vector<Original>::iterator& original, const store::Stream& stream,
                    const std::optional<store::RecordKey>& until) {
    while (original != originals_.end() && original->stream == stream.id &&
           (!until || original->key < *until)) {
      DigestIn(batches_[original->batch], original->names).Add(original->key, original->bytes);
      ++original;
    }
  }

  void CheckStream(const store::Stream& stream, std::vector<Original>::iterator& original) {
    of_this_stream_.clear();
    store::ForEachRecord(db_, stream.id, [&](const store::RecordView& view) {
      AddOriginals(original, stream, view.Key());
      CheckRecord(stream, view);
    });
    AddOriginals(original, stream, std::nullopt);
    for (auto* const batch : of_this_stream_) {
      for (auto& [names, digest] : batch->of_stream) {
        batch->count += digest.Count();
        batch->streams.emplace_back(names, digest.Finish());
      }
      batch->of_stream.clear();
      batch->latest = nullptr;
    }
  }

  void CheckRecord(const store::Stream& stream, const store::RecordView& view) {
    const Place place{view.Subgroup(), stream.test};
    const auto entry = view.Entry(), number = view.Batch();
    const auto changed = changed_.empty() ? changed_.end() : changed_.find(place);
    const auto found = batches_.find(number);
    const bool is_anew = entry == 0 && changed != changed_.end() && IsAnew(changed->second, number);
    if ((changed != changed_.end() && !is_anew) || entry != 0) {
      return CheckChanged(place, changed, stream, view);
    }
    if (number == 0) return CheckMade(place, stream, view);
    if (found == batches_.end()) {
      return Find(Called(place) + ": names batch " + std::to_string(number) +
                  ", of which the log has no entry");
    }
    auto& batch = found->second;
    if (batch.is_undone) {
      return Find(Called(place) + ": names batch " + std::to_string(number) + ", which was undone");
    }
    ++check_.records;
    const auto at = PlaceAt(place, batch.seq);
    if (!names_of_batch_ || at_names_ != at) {
      names_of_batch_ = NamesAt(at);
      at_names_ = at;
    }
    DigestIn(batch, stream, at)
        .Add(view.Copy(values_, keys_), LabelOf(place.subgroup),
             ContextBytes(view.Context(), place.subgroup, at), names_of_batch_);
  }

  using ChangedRecords = std::map<Place, Changed>;

  void CheckChanged(const Place& place, ChangedRecords::iterator changed,
                    const store::Stream& stream, const store::RecordView& view) {
    ++check_.records;
    if (changed == changed_.end()) {
      return Find(Called(place) + ": names entry " + std::to_string(view.Entry()) +
                  ", and the log has none about it");
    }
    changed->second.is_seen = true;
    const auto last = changed->second.last;
    const auto name = "entry " + std::to_string(last);
    if (changed->second.digest.empty())
      return Find(Called(place) + ": is there, and " + name + " took it out");
    if (view.Entry() != last) {
      return Find(Called(place) + ": does not name " + name + ", the newest about it");
    }
    if (DigestAt(stream, view, last) != changed->second.digest) {
      Find(Called(place) + ": differs from what " + name + " stored");
    }
  }

  // The newest before an entry that was not taken out.
  Made* FindMade(const Place& place, std::int64_t until) {
    Made* newest = nullptr;
    auto made = std::ranges::lower_bound(made_, place, {}, &Made::place);
    for (; made != made_.end() && made->place == place; ++made) {
      if (!made->is_former && made->seq < until) newest = &*made;
    }
    return newest;
  }

  void CheckMade(const Place& place, const store::Stream& stream, const store::RecordView& view) {
    auto* const made = FindMade(place, INT64_MAX);
    if (made == nullptr) {
      if (!had_data_) {
        return Find(Called(place) + ": is there, and no entry of the log stored it");
      }
      ++check_.unproved;
      return;
    }
    ++check_.records;
    made->is_seen = true;
    if (DigestAt(stream, view, made->seq) != made->digest) {
      Find(Called(place) + ": differs from what entry " + std::to_string(made->seq) + " stored");
    }
  }

  void CheckBatches() {
    std::int64_t undone = 0, left_out = 0;
    for (auto& [number, batch] : batches_) {
      const auto name = "batch " + std::to_string(number);
      if (batch.seq == 0 || (batch.digest.empty() && batch.streams.empty())) continue;
      if (batch.is_undone) {
        ++undone;
        continue;
      }
      if (batch.seq < selected_.back()) {
        ++left_out;
        continue;
      }
      ++check_.batches;
      if (store::DigestOfStreams(std::move(batch.streams)) == batch.digest) continue;
      const auto entry = "entry " + std::to_string(batch.seq);
      Find(name + ": differs from what " + entry + " stored" +
           (batch.count == batch.records ? std::string()
                                         : ", " + std::to_string(batch.count) + " records for " +
                                               std::to_string(batch.records)));
    }
    const auto note = [&](std::int64_t count, const std::string& text) {
      if (count != 0) check_.notes.push_back(std::to_string(count) + " " + text);
    };
    note(undone, undone == 1 ? "batch was undone" : "batches were undone");
    note(left_out, std::string(left_out == 1 ? "batch" : "batches") + " cannot be checked: entry " +
                       std::to_string(selected_.back()) + " copied a selection of their records");
    note(check_.unproved, std::string(check_.unproved == 1 ? "record was" : "records were") +
                              " there before the log, which proves nothing about them");
  }

  // What the log stored, is not there, and was taken out by no entry.
  void CheckMissing() {
    const auto missing = [&](const Place& place, std::int64_t seq) {
      if (seq > selected_.back()) {
        Find(Called(place) + ": is missing; entry " + std::to_string(seq) + " stored it");
      }
    };
    for (const auto& each : made_) {
      if (each.is_seen || each.is_former || changed_.contains(each.place)) continue;
      missing(each.place, each.seq);
    }
    for (const auto& [place, changed] : former_) CheckFirstChange(place, changed, changed.origin);
    for (const auto& [place, changed] : changed_) {
      const auto came_by = batches_.find(changed.batch);
      const bool is_undone = came_by != batches_.end() && came_by->second.is_undone;
      if (!changed.is_seen && !changed.digest.empty() && !is_undone) {
        missing(place, changed.last);
      }
      const auto* const made = FindMade(place, changed.first);
      CheckFirstChange(place, changed,
                       made == nullptr ? Origin() : Origin{made->seq, made->digest});
    }
  }

  // What came by itself is what the first change found.
  void CheckFirstChange(const Place& place, const Changed& changed, const Origin& made) {
    std::int64_t batch = 0;
    auto before = made.seq == 0 ? std::nullopt : BeforeOf(changed, batch);
    if (!before || batch != 0) return;
    const auto then = Earlier(*std::move(before), place.subgroup, changed, made.seq);
    if (log::DigestOf(then) == made.digest) return;
    Find(Called(place) + ": entry " + std::to_string(changed.first) +
         " found something else than entry " + std::to_string(made.seq) + " stored");
  }

  // What the first change found, with the names of an earlier entry.
  log::CanonicalRecord Earlier(log::CanonicalRecord all, std::int32_t subgroup,
                               const Changed& changed, std::int64_t to) {
    const auto from = changed.first;
    const auto merges = renamings_.MergesOf(subgroup, changed.test, from);
    const auto back = [&](ItemKind kind, std::string& name) {
      name = std::string(renamings_.NameAt(kind, name, to, merges, from));
    };
    back(Part, all.part);
    back(Process, all.process);
    back(Test, all.test);
    for (const auto& kind : store::kContextKinds) {
      const auto given = all.context.find(std::string(kind.column));
      if (given != all.context.end()) back(kind.kind, given->second);
    }
    for (auto& piece : all.pieces) {
      back(Serial, piece.serial);
      back(Gage, piece.gage);
      back(Defect, piece.defect);
    }
    return all;
  }

  void Find(std::string text) { log::AddFind(check_, std::move(text)); }

  struct SubgroupPlace {
    std::size_t label = 0;
    std::uint32_t length = 0;
    std::int32_t part = 0, process = 0;
  };

  sql::Connection& db_;
  store::StoreCache cache_;
  LogCheck check_;
  log::FormerTypes types_;
  std::vector<Made> made_;
  ChangedRecords changed_;
  std::vector<std::pair<Place, Changed>> former_;  // taken out before another came to their place
  std::map<Place, std::vector<std::size_t>> unmarked_;  // of these, in the order of the log
  std::unordered_map<std::int64_t, Batch> batches_;
  std::vector<Original> originals_;
  Renamings renamings_;
  std::vector<std::int64_t> selected_{0};  // entries of selected copies, after none
  bool had_data_ = false;                  // before the log
  std::string labels_;
  std::vector<SubgroupPlace> subgroups_;
  std::vector<Batch*> of_this_stream_;
  store::NameOfItem names_of_batch_;
  AtEntry at_names_;
  using ContextAt = std::tuple<std::int32_t, std::int64_t, Renamings::Merges>;
  std::map<ContextAt, std::string> contexts_;
  ContextAt latest_context_{-1, -1, 0};
  std::string_view latest_bytes_;
  std::vector<double> values_;
  std::vector<store::RowKey> keys_;
};

}  // namespace

LogCheck CheckLogAndData(sql::Connection& db) { return Checker(db).Run(); }

}  // namespace orvspc::engine::audit
