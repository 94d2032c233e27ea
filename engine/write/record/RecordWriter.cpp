// SPDX-License-Identifier: Apache-2.0
#include "engine/write/record/RecordWriter.h"

#include <algorithm>
#include <array>
#include <optional>
#include <stdexcept>
#include <string_view>

#include "engine/chunks/StreamWalk.h"
#include "engine/chunks/subgroups.h"
#include "engine/sql/counter.h"
#include "engine/store/batch_digest.h"
#include "engine/write/chunks/StreamWriter.h"
#include "engine/write/chunks/SubgroupWriter.h"
#include "engine/write/last_label.h"
#include "engine/write/log/UndoneNames.h"
#include "engine/write/record_rules.h"
#include "platform/Enumerations.h"

namespace orvspc::engine::record {
namespace {

constexpr std::string_view kDescriptor = "descriptor:";

// Of a subgroup that is placed: with present names, since identifiers may still be missing.
std::string KeyOf(const CheckedRecord& record, std::string_view label) {
  const auto& [part, process, test] = record.stream->names;
  std::string key;
  for (const std::string_view text : {std::string_view(part), std::string_view(process), label}) {
    key.append(text).push_back('\n');  // which no name has
  }
  return key + std::to_string(record.time);
}

Refused StoredRefusal(std::int32_t subgroup) {
  const auto number = subgroup == 0 ? std::string() : "#" + std::to_string(subgroup);
  return {"stored", "test", number,
          "test: this subgroup" + (number.empty() ? "" : ", " + number + ",") +
              " has values of this test (orvspc edit value changes them)"};
}

bool HasRecord(sql::Connection& db, std::int64_t stream, const store::RecordKey& key) {
  if (import::IntOf(db,
                    "SELECT 1 FROM measurement WHERE stream = ?1 AND time = ?2 AND subgroup = ?3",
                    stream, key.time, key.subgroup)) {
    return true;
  }
  const auto first = store::ChunkAtOrBefore(db, stream, key);
  if (!first) return false;
  const auto sealed = store::ReadChunk(db, stream, *first);
  const auto place = sealed.chunk.Find(key);
  return place < sealed.chunk.Count() && sealed.chunk.Record(place).Key() == key;
}

}  // namespace

RecordWriter::Counter& RecordWriter::CounterOf(const KnownStream& stream) {
  const auto [found, is_new] = counters_.try_emplace(Source(stream.names[0], stream.names[1]));
  auto& counter = found->second;
  if (is_new && stream.part != 0 && stream.process != 0) {
    auto& known = known_.LastLabel(stream.part, stream.process);
    if (!known) known = write::LastLabel(db_, stream.part, stream.process);
    counter.is_changed = !known;
    if (!known) known = known_.HighestLabels().Of(db_, stream.part, stream.process);
    counter.last = *known;
  }
  return counter;
}

// One that no subgroup here has, either.
std::string RecordWriter::NextLabel(const CheckedRecord& record) {
  auto& counter = CounterOf(*record.stream);
  counter.is_changed = true;
  for (;;) {
    auto label = std::to_string(++counter.last);
    if (!places_.contains(KeyOf(record, label))) return label;
  }
}

// The next label is greater than a number that was given as a label.
void RecordWriter::PassLabel(const CheckedRecord& record) {
  const auto number = write::NumberOfLabel(record.label);
  if (number == 0) return;
  auto& counter = CounterOf(*record.stream);
  if (number <= counter.last) return;
  counter.last = number;
  counter.is_changed = true;
}

void RecordWriter::Place(std::span<CheckedRecord> records) {
  const auto& first = records.front();
  const bool is_counted = first.label.empty();
  const auto label = is_counted ? NextLabel(first) : first.label;
  const auto [found, is_new] = places_.try_emplace(KeyOf(first, label), subgroups_.size());
  if (is_new) {
    subgroups_.push_back({0, first.time, label, is_counted, &first, {}, true});
    if (!is_counted) PassLabel(first);
  }
  auto& subgroup = subgroups_[found->second];
  const auto before = subgroup.streams.size();
  for (auto& record : records) {
    if (std::ranges::find(subgroup.streams, record.stream) != subgroup.streams.end()) {
      subgroup.streams.resize(before);
      records_.resize(records_.size() - static_cast<std::size_t>(&record - records.data()));
      throw StoredRefusal(0);
    }
    subgroup.streams.push_back(record.stream);
    records_.push_back({&record, found->second});
  }
}

// Those that are stored get their identifiers. A number that was counted is of a new one.
void RecordWriter::FindSubgroups() {
  std::vector<std::size_t> places;
  for (std::size_t i = 0; i < subgroups_.size(); ++i) places.push_back(i);
  while (!places.empty()) {
    std::vector<store::SubgroupFacts> facts;
    std::erase_if(places, [&](std::size_t place) {
      const auto& stream = *subgroups_[place].of->stream;
      return stream.part == 0 || stream.process == 0;
    });
    for (const auto place : places) {
      const auto& subgroup = subgroups_[place];
      facts.push_back({0, subgroup.of->stream->part, subgroup.of->stream->process, subgroup.time,
                       subgroup.label});
    }
    const auto ids = store::FindSubgroups(db_, facts, &known_.Ends());
    std::vector<std::size_t> again;
    for (std::size_t i = 0; i < places.size(); ++i) {
      auto& subgroup = subgroups_[places[i]];
      if (ids[i] == 0) continue;
      if (subgroup.is_counted) {
        subgroup.label = NextLabel(*subgroup.of);
        again.push_back(places[i]);
      } else {
        subgroup.id = ids[i];
        subgroup.is_new = false;
      }
    }
    places = std::move(again);
  }
}

std::vector<std::pair<const NewRecord*, Refused>> RecordWriter::DropStored() {
  FindSubgroups();
  std::vector<std::pair<const NewRecord*, Refused>> dropped;
  std::erase_if(records_, [&](const Placed& placed) {
    const auto& subgroup = subgroups_[placed.subgroup];
    const auto stream = placed.record->stream->id;
    if (subgroup.is_new || stream == 0) return false;
    if (!HasRecord(db_, stream, {subgroup.time, subgroup.id})) return false;
    dropped.emplace_back(placed.record->sent, StoredRefusal(subgroup.id));
    return true;
  });
  return dropped;
}

void RecordWriter::Write(log::Writing& writing, std::int64_t batch) {
  for (const auto& [record, place] : records_) {
    if (!KnownNames::IsSettled(*record->stream)) known_.Settle(*record->stream, record->type);
  }
  WriteLabels();
  WriteSubgroups();
  WriteMeasurements(batch);
  SealSubgroups();
  for (const auto& placed : records_) WriteBeside(writing, placed, batch);
  for (const auto& [kind, id] : known_.TakeRevived()) log::AddActivate(writing, kind, id);
}

void RecordWriter::WriteLabels() {
  for (const auto& [source, counter] : counters_) {
    if (!counter.is_changed) continue;
    const auto* part = known_.Find(ItemKind::Part, source.first);
    if (part == nullptr) continue;
    const auto part_id = part->id;
    const auto* process = known_.Find(ItemKind::Process, source.second);
    if (process == nullptr) continue;
    write::SetLastLabel(db_, part_id, process->id, counter.last);
    known_.LastLabel(part_id, process->id) = counter.last;
  }
}

void RecordWriter::WriteSubgroups() {
  const auto added = std::ranges::count(subgroups_, true, &Subgroup::is_new);
  if (added == 0) return;
  auto next = sql::TakeIds(db_, "subgroup", added);
  store::SubgroupWriter writer(db_);
  for (auto& subgroup : subgroups_) {
    if (!subgroup.is_new) continue;
    if (next > INT32_MAX) throw std::runtime_error("has no identifier left for a subgroup");
    subgroup.id = static_cast<std::int32_t>(next++);
    const auto& stream = *subgroup.of->stream;
    writer.Add({subgroup.id, stream.part, stream.process, subgroup.time, subgroup.label});
  }
  writer.Flush();
}

void RecordWriter::SealSubgroups() {
  const auto added = std::ranges::count(subgroups_, true, &Subgroup::is_new);
  if (added == 0) return;
  const auto first = std::ranges::find(subgroups_, true, &Subgroup::is_new)->id;
  if (store::BeginBlock(first, added)) store::SealSubgroups(db_);
}

std::int32_t RecordWriter::ContextOf(const CheckedRecord& record) {
  const auto& names = record.sent->context;
  if (names.empty()) return 0;
  if (latest_context_.first != nullptr && *latest_context_.first == names) {
    return latest_context_.second;
  }
  store::Context context{};
  for (std::size_t i = 0; i < context.size(); ++i) {
    const auto& kind = store::kContextKinds[i];
    const auto found = names.find(std::string(kind.column));
    if (found != names.end()) context[i] = known_.Take(kind.kind, found->second);
  }
  latest_context_ = {&names, known_.ContextId(context)};
  return latest_context_.second;
}

void RecordWriter::WriteMeasurements(std::int64_t batch) {
  struct Row {
    std::int64_t stream;
    store::Measurement measurement;
    std::string_view label;
  };
  std::vector<Row> rows;
  rows.reserve(records_.size());
  for (const auto& [record, place] : records_) {
    const auto& subgroup = subgroups_[place];
    for (std::size_t i = 0; i < record->keys.size(); ++i) {
      if (record->pieces[i] == CheckedRecord::kNoPiece) continue;
      const auto& piece = record->sent->pieces[record->pieces[i]];
      auto& key = record->keys[i];
      if (!piece.serial.empty()) key.Sn = known_.Take(ItemKind::Serial, piece.serial);
      if (!piece.defect.empty() && key.Sbno == piece.sbno)
        key.Def = known_.Take(ItemKind::Defect, piece.defect);
      if (!piece.gage.empty()) key.Gage = known_.Take(ItemKind::Gage, piece.gage);
    }
    store::Measurement measurement;
    measurement.time = subgroup.time;
    measurement.subgroup = subgroup.id;
    measurement.context = ContextOf(*record);
    measurement.size = record->size;
    measurement.flag = record->flag;
    measurement.batch = batch;
    measurement.values = record->values;
    measurement.keys = record->keys;
    rows.push_back({record->stream->id, measurement, subgroup.label});
  }
  const auto key_of = [](const Row& row) {
    return std::tuple(row.stream, row.measurement.time, row.measurement.subgroup);
  };
  std::ranges::sort(rows, {}, key_of);
  store::StreamWriter writer(db_, store::StreamWriter::kMaxHot, &known_.Ends());
  store::BatchDigest digest(db_);
  std::vector<store::Measurement> of_stream;
  std::vector<std::string_view> labels;
  for (std::size_t begin = 0; begin < rows.size();) {
    of_stream.clear();
    labels.clear();
    auto end = begin;
    for (; end < rows.size() && rows[end].stream == rows[begin].stream; ++end) {
      of_stream.push_back(rows[end].measurement);
      labels.push_back(rows[end].label);
    }
    if (batch != 0) digest.Add(rows[begin].stream, of_stream, labels);
    writer.Write(rows[begin].stream, of_stream);
    begin = end;
  }
  writer.Finish();
  digest_ = digest.Finish(batch);
}

// Comments, descriptors, and the event of a value that should not be.
void RecordWriter::WriteBeside(log::Writing& writing, const Placed& placed, std::int64_t batch) {
  const auto& sent = *placed.record->sent;
  const auto& stream = *placed.record->stream;
  const auto& subgroup = subgroups_[placed.subgroup];
  const auto employee = [&] {
    const auto found = sent.context.find("employee");
    return found == sent.context.end() ? writing.Employee()
                                       : known_.Take(ItemKind::Employee, found->second);
  };
  const auto add_comment = [&](const NewComment& comment) {
    static const auto insert =
        import::InsertNew("comment(subgroup, test, tsno, time, employee, note)");
    import::Add(
        db_, insert, subgroup.id, stream.test, comment.tsno, comment.time.value_or(subgroup.time),
        comment.employee.empty() ? employee() : known_.Take(ItemKind::Employee, comment.employee),
        comment.text);
  };
  for (const auto& comment : sent.comments) add_comment({comment, 0, {}, {}});
  for (const auto& comment : sent.other_comments) add_comment(comment);
  const auto add_descriptor = [&](const NewDescriptor& descriptor) {
    const auto id = known_.DescriptorId(descriptor.group, descriptor.name);
    import::Run(db_,
                "INSERT INTO subgroup_descriptor(subgroup, descriptor, tsno) VALUES(?1, ?2, ?3) "
                "ON CONFLICT DO NOTHING",
                subgroup.id, id, descriptor.tsno);
    import::Run(db_,
                "INSERT INTO descriptor_source(subgroup, descriptor, tsno, batch) "
                "VALUES(?1, ?2, ?3, ?4) ON CONFLICT DO NOTHING",
                subgroup.id, id, descriptor.tsno, batch);
  };
  for (const auto& [column, name] : sent.context) {
    if (!column.starts_with(kDescriptor)) continue;
    add_descriptor({column.substr(kDescriptor.size()), name, 0});
  }
  for (const auto& descriptor : sent.descriptors) add_descriptor(descriptor);
  if (!placed.record->is_unreasonable) return;
  static const auto insert =
      import::InsertNew("event(type, name, time, process, part, test, subgroup_time, employee)");
  import::Add(db_, insert, etGeneral, known_.Take(ItemKind::EventName, write::kUnreasonable),
              writing.Seconds(), stream.process, stream.part, stream.test, subgroup.time,
              employee());
}

log::CanonicalRecord RecordWriter::Described(const Placed& placed) const {
  const auto& record = *placed.record;
  auto all = log::CanonicalOf(*record.sent);
  const auto& subgroup = subgroups_[placed.subgroup];
  std::tie(all.part, all.process, all.test) =
      std::tie(record.stream->names[0], record.stream->names[1], record.stream->names[2]);
  all.label = subgroup.label;
  all.time = subgroup.time;
  for (auto& comment : all.comments) {
    comment.employee = known_.Present(ItemKind::Employee, comment.employee);
  }
  for (const auto& kind : store::kContextKinds) {
    const auto found = all.context.find(std::string(kind.column));
    if (found != all.context.end()) found->second = known_.Present(kind.kind, found->second);
  }
  all.pieces.clear();
  for (std::size_t i = 0; i < record.values.size(); ++i) {
    NewPiece piece;
    const auto key = record.keys.empty() ? store::PlainKey(i) : record.keys[i];
    if (!record.keys.empty() && record.pieces[i] != CheckedRecord::kNoPiece) {
      piece = record.sent->pieces[record.pieces[i]];
      if (key.Sbno != piece.sbno) piece.defect.clear();
      piece.serial = known_.Present(ItemKind::Serial, piece.serial);
      piece.defect = known_.Present(ItemKind::Defect, piece.defect);
      piece.gage = known_.Present(ItemKind::Gage, piece.gage);
    }
    piece.value = record.values[i];
    piece.tsno = key.Tsno;
    piece.sbno = key.Sbno;
    all.pieces.push_back(std::move(piece));
  }
  all.size = record.size;
  LeaveOutUsual(all, record.type == ttVariable);
  return all;
}

}  // namespace orvspc::engine::record
