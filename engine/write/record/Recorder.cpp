// SPDX-License-Identifier: Apache-2.0
#include "engine/write/record/Recorder.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <map>
#include <utility>

#include "engine/chunks/subgroups.h"
#include "engine/sql/address.h"
#include "engine/sql/counter.h"
#include "engine/sql/failure.h"
#include "engine/time/calendar.h"
#include "engine/write/alarms/Judge.h"
#include "engine/write/log/AddedNames.h"
#include "engine/write/log/Canonical.h"
#include "engine/write/log/Json.h"
#include "engine/write/log/Log.h"
#include "engine/write/record/RecordCheck.h"
#include "engine/write/record/RecordWriter.h"
#include "platform/Actor.h"
#include "system/Sha256.h"

namespace orvspc::engine::record {
namespace {

constexpr std::size_t kMostTogether = 64;

// Of what is sent, before a label or a time is given to it. A record with a number that is none has
// no text: it is refused, and only its place counts.
std::string FingerprintOf(std::span<const NewRecord> records) {
  constexpr std::size_t kDigits = 32;  // the first 16 bytes
  std::string text;
  for (const auto& record : records) {
    if (HasNumbers(record)) text += log::TextOf(log::CanonicalOf(record));
    text += '\n';
  }
  thread_local system::Sha256 sha;
  sha.Add(text);
  return system::HexOf(sha.Finish()).substr(0, kDigits);
}

// --- The alarms and notes of an answer, as they are kept with its key ----------------------------

struct AlarmFigure {
  const char* name;
  std::int32_t Alarm::*figure;
};
constexpr AlarmFigure kAlarmFigures[] = {
    {"event", &Alarm::event},          {"part", &Alarm::part},
    {"process", &Alarm::process},      {"test", &Alarm::test},
    {"graph", &Alarm::graph},          {"rule", &Alarm::rule},
    {"first", &Alarm::first_subgroup}, {"last", &Alarm::last_subgroup},
    {"points", &Alarm::points},        {"time", &Alarm::time},
    {"detected", &Alarm::detected}};

log::Json KeptOf(const Recorded& recorded) {
  auto kept = log::Json::object();
  for (const auto& alarm : recorded.alarms) {
    log::Json json = {{"text", alarm.text}, {"state", alarm.state}, {"late", alarm.is_late}};
    for (const auto& [name, figure] : kAlarmFigures) json[name] = alarm.*figure;
    kept["alarms"].push_back(std::move(json));
  }
  for (const auto& note : recorded.notes) {
    kept["notes"].push_back({{"code", note.code}, {"text", note.text}, {"stream", note.stream}});
  }
  return kept;
}

// Of records, in their order; empty where none has any.
std::string KeptText(const std::vector<const Recorded*>& records) {
  const auto has_none = [](const Recorded* each) {
    return each->alarms.empty() && each->notes.empty();
  };
  if (std::ranges::all_of(records, has_none)) return {};
  auto all = log::Json::array();
  for (const auto* const each : records) all.push_back(KeptOf(*each));
  return log::CanonicalText(all);
}

void TakeKept(const log::Json& kept, std::vector<Alarm>& alarms, std::vector<Note>& notes) {
  for (const auto& json : kept.value("alarms", log::Json::array())) {
    auto& alarm = alarms.emplace_back();
    json.at("text").get_to(alarm.text);
    json.at("state").get_to(alarm.state);
    json.at("late").get_to(alarm.is_late);
    for (const auto& [name, figure] : kAlarmFigures) json.at(name).get_to(alarm.*figure);
  }
  for (const auto& json : kept.value("notes", log::Json::array())) {
    notes.push_back({json.at("code").get<std::string>(), json.at("text").get<std::string>(),
                     json.at("stream").get<std::string>()});
  }
}

Refused OtherValues(const std::string& key, const std::string& where) {
  return {"key", "key", key, "key: \"" + key + "\" was used for other values (" + where + ")"};
}

[[noreturn]] void RefuseDifferent(const char* field) {
  throw Refused("subgroup", field, "",
                std::string(field) + ": differs among the records of one subgroup");
}

// Parts and processes are compared when it is known what they are called now.
void CheckAgreement(std::span<const NewRecord> records) {
  if (records.empty()) throw Refused("subgroup", "record", "", "record: there is nothing to store");
  const auto& first = records.front();
  for (const auto& record : records) {
    if (record.label != first.label) RefuseDifferent("label");
    if (record.key != first.key) RefuseDifferent("key");
    if (record.time != first.time) RefuseDifferent("time");
  }
}

void CheckSources(std::span<const CheckedRecord> records) {
  const auto& names = records.front().stream->names;
  for (const auto& each : records) {
    if (each.stream->names[0] != names[0]) RefuseDifferent("part");
    if (each.stream->names[1] != names[1]) RefuseDifferent("process");
  }
}

// Whether the exception that is handled says that a server did not answer.
bool IsLost() {
  try {
    throw;
  } catch (const sql::SqlError& error) {
    return error.Which() == sql::SqlError::Kind::Lost;
  } catch (...) {
    return false;
  }
}

}  // namespace

Recorder::Recorder(std::string empty_server)
    : empty_server_(std::move(empty_server)), path_(sql::WithoutPasswords(empty_server_)) {}

std::vector<Recorded> Recorder::Record(std::span<const NewRecord> records, const Actor& actor,
                                       NewNames names) {
  CheckAgreement(records);
  Call call{records, actor, names, nullptr, time::Now(), {}, {}, false, false};
  return Await(call).records;
}

BatchRecorded Recorder::RecordBatch(std::span<const NewRecord> records, const Actor& actor,
                                    const BatchOptions& options) {
  Call call{records, actor, options.names, &options, time::Now(), {}, {}, false, false};
  return Await(call);
}

// Whoever comes first serves all that wait, itself among them.
BatchRecorded Recorder::Await(Call& call) {
  if (database_) store::SqlStoreOf(*database_);  // throws where it was closed
  std::unique_lock lock(mutex_);
  waiting_.push_back(&call);
  changed_.wait(lock, [&] { return call.is_done || !is_serving_; });
  if (!call.is_done) {
    is_serving_ = true;
    while (!call.is_done) {
      Calls calls;
      while (!waiting_.empty() && calls.size() < kMostTogether) {
        calls.push_back(waiting_.front());
        waiting_.pop_front();
      }
      lock.unlock();
      Serve(calls);
      lock.lock();
      for (auto* const each : calls) each->is_done = true;
      changed_.notify_all();
    }
    is_serving_ = false;
    changed_.notify_all();
  }
  lock.unlock();
  if (call.failure) std::rethrow_exception(call.failure);
  return std::move(call.answer);
}

// Throws nothing.
void Recorder::Serve(const Calls& calls) {
  const auto serve = [&](const Calls& some) {
    try {
      return ServeTogether(some);
    } catch (...) {
      // A server may have stored what it did not answer.
      const bool is_lost = IsLost();
      try {
        sql::RethrowAsExternal(path_, store::kHostCall);
      } catch (...) {
        for (auto* const each : some) each->failure = std::current_exception();
      }
      return some.size() == 1 || is_lost;
    }
  };
  if (serve(calls)) return;
  // Each by itself, so that a failure is that of one call.
  for (auto* const each : calls) {
    each->answer = {};
    each->failure = nullptr;
    each->has_written = false;
    serve({each});
  }
}

void Recorder::Open() {
  if (connection_) return;
  if (!database_) {
    connection_ = store::OpenToFill(empty_server_);
    known_.emplace(*connection_);
    return;
  }
  const auto store = store::SqlStoreOf(*database_);
  path_ = store->Path();
  connection_ = store::OpenConnection(store->WholePath(), false);
  known_.emplace(*connection_);
  // How long others are to be waited for is a setting.
  sql::Transaction reading(*connection_, sql::TransactionKind::Read);
  known_->Refresh();
  reading.Commit();
}

// One that finds the connection lost is begun once more on a new one.
std::unique_ptr<sql::Transaction> Recorder::Begin() {
  const auto begin = [&] { return store::BeginWrite(*connection_, path_, known_->Patience()); };
  try {
    return begin();
  } catch (const sql::SqlError& error) {
    if (error.Which() != sql::SqlError::Kind::Lost || !connection_->Reconnect()) throw;
  }
  return begin();
}

bool Recorder::ServeTogether(const Calls& calls) {
  Open();
  try {
    const auto transaction = Begin();
    if (!database_) store::MakeTablesToFill(*connection_, empty_server_);
    if (known_->Refresh()) chart_rows_.Forget();
    for (auto* const call : calls) {
      try {
        call->batch == nullptr ? PerformRecord(*call) : PerformBatch(*call);
      } catch (const Refused&) {
        // Found before anything was written; else what was is to be taken back.
        if (call->has_written && calls.size() > 1) {
          Forget();
          return false;
        }
        if (call->has_written) throw;
        call->failure = std::current_exception();
      }
    }
    if (std::ranges::none_of(calls, [](const Call* call) { return call->has_written; })) {
      return true;
    }
    transaction->Commit();
    store::NoteWrite();
    return true;
  } catch (...) {
    Forget();
    throw;
  }
}

void Recorder::Forget() {
  known_->Forget();
  chart_rows_.Forget();
}

void Recorder::PerformRecord(Call& call) {
  auto& db = *connection_;
  const auto& key = call.records.front().key;
  auto& recorded = call.answer.records;
  std::string fingerprint;
  if (!key.empty()) {
    fingerprint = FingerprintOf(call.records);
    if (const auto known = FindKey(key, fingerprint)) {
      recorded.assign(call.records.size(), known->record);
      for (std::size_t i = 0; i < std::min(recorded.size(), known->answers.size()); ++i) {
        TakeKept(known->answers[i], recorded[i].alarms, recorded[i].notes);
      }
      return;
    }
  }
  RecordCheck check(db, *known_);
  std::vector<CheckedRecord> checked;
  for (const auto& record : call.records) {
    checked.push_back(check.Check(record, call.names, call.now));
  }
  CheckSources(checked);
  RecordWriter writer(db, *known_);
  writer.Place(checked);
  if (const auto stored = writer.DropStored(); !stored.empty()) throw stored.front().second;
  log::Writing writing(db, call.actor);

  call.has_written = true;
  writer.Write(writing, 0);
  const auto& subgroup = writer.SubgroupOf(writer.Records().front());
  const auto entry = writing.Next();
  std::string after = R"({"records":[)";
  std::string descriptors, comments;  // lists, a comma after each element
  for (const auto& placed : writer.Records()) {
    const auto described = writer.Described(placed);
    if (!recorded.empty()) after += ',';
    after.append(R"({"test":)").append(std::to_string(placed.record->stream->test));
    after.append(R"(,"digest":")").append(DigestOf(described)).append(R"("})");
    recorded.push_back(
        {subgroup.id, subgroup.label, subgroup.time, entry, false, placed.record->notes});
    if (described.comments.empty() && described.descriptors.empty()) continue;
    const auto all = JsonOf(described);
    if (all.contains("descriptors")) descriptors += log::CanonicalText(all["descriptors"]) + ",";
    if (all.contains("comments")) comments += log::CanonicalText(all["comments"]) + ",";
  }
  after += ']';
  for (auto [name, list] : {std::pair("descriptors", &descriptors), {"comments", &comments}}) {
    if (list->empty()) continue;
    list->back() = ']';
    after.append(",\"").append(name).append("\":[").append(*list);
  }
  if (!key.empty()) {
    after += R"(,"key":)";
    log::AppendText(after, key);
  }
  after += '}';
  writing.Add("record", "subgroup " + std::to_string(subgroup.id), {}, after);
  std::vector<Recorded*> answers;
  for (auto& each : recorded) answers.push_back(&each);
  Judge(writing, writer, answers);
  if (key.empty()) return;
  DropOldKeys(call.now);
  StoreKey(key, fingerprint, subgroup.id, 0, entry, call.now,
           KeptText({answers.begin(), answers.end()}));
}

void Recorder::PerformBatch(Call& call) {
  auto& db = *connection_;
  auto& answer = call.answer;
  const auto records = call.records;
  const auto& key = call.batch->key;
  std::string fingerprint;
  if (!key.empty()) {
    fingerprint = FingerprintOf(records);
    if (const auto known = FindKey(key, fingerprint)) {
      answer.batch = known->batch;
      answer.repeated = true;
      for (const auto& each : known->answers) TakeKept(each, answer.alarms, answer.notes);
      return;
    }
  }
  const auto refuse = [&](std::size_t place, const Refused& refused) {
    if (!call.batch->skip_refused) throw refused;
    answer.refused.emplace(place, refused);
  };
  struct Keyed {
    std::size_t place;  // of the first record with the key
    std::string fingerprint;
  };
  std::map<std::string, Keyed> keys;
  std::vector<std::pair<std::size_t, std::size_t>> repeated;  // and what they repeat
  answer.records.resize(records.size());
  RecordCheck check(db, *known_);
  RecordWriter writer(db, *known_);
  std::vector<CheckedRecord> checked;
  checked.reserve(records.size());  // they stay where they are
  for (std::size_t i = 0; i < records.size(); ++i) {
    try {
      const auto& own_key = records[i].key;
      Keyed keyed{i, {}};
      if (!own_key.empty()) {
        keyed.fingerprint = FingerprintOf(records.subspan(i, 1));
        const auto found = keys.find(own_key);
        if (found != keys.end() && found->second.fingerprint == keyed.fingerprint) {
          repeated.emplace_back(i, found->second.place);
          continue;
        }
        if (found != keys.end()) throw OtherValues(own_key, "this batch");
        if (const auto known = FindKey(own_key, keyed.fingerprint)) {
          auto& again = answer.records[i] = known->record;
          for (const auto& each : known->answers) TakeKept(each, again.alarms, again.notes);
          continue;
        }
      }
      checked.push_back(check.Check(records[i], call.names, call.now));
      writer.Place(std::span(&checked.back(), 1));
      if (!own_key.empty()) keys.emplace(own_key, std::move(keyed));
    } catch (const Refused& refused) {
      refuse(i, refused);
    }
  }
  const auto place_of = [&](const NewRecord* sent) {
    return static_cast<std::size_t>(sent - records.data());
  };
  for (const auto& [sent, refused] : writer.DropStored()) {
    refuse(place_of(sent), refused);
    if (!sent->key.empty()) keys.erase(sent->key);
  }
  if (!writer.Records().empty()) {
    log::Writing writing(db, call.actor);
    call.has_written = true;
    answer.batch = sql::TakeIds(db, "batch");
    const log::AddedNames names(db);
    writer.Write(writing, answer.batch);
    const auto entry = writing.Next();
    for (const auto& placed : writer.Records()) {
      const auto& subgroup = writer.SubgroupOf(placed);
      answer.records[place_of(placed.record->sent)] = {
          subgroup.id, subgroup.label, subgroup.time, entry, false, placed.record->notes};
    }
    AddBatch(writing, writer, answer.batch, records.size(), key, names);
    std::vector<Recorded*> answers;
    for (const auto& placed : writer.Records()) {
      answers.push_back(&answer.records[place_of(placed.record->sent)]);
    }
    Judge(writing, writer, answers);
    if (!key.empty() || !keys.empty()) DropOldKeys(call.now);
    if (!key.empty()) {
      StoreKey(key, fingerprint, 0, answer.batch, entry, call.now,
               KeptText({answers.begin(), answers.end()}));
    }
    for (const auto& [own_key, keyed] : keys) {
      const auto& own = answer.records[keyed.place];
      StoreKey(own_key, keyed.fingerprint, own.subgroup, answer.batch, entry, call.now,
               KeptText({&own}));
    }
  }
  for (const auto& [place, first] : repeated) {
    answer.records[place] = answer.records[first];
    answer.records[place].repeated = true;
    const auto found = answer.refused.find(first);
    if (found != answer.refused.end()) answer.refused.emplace(place, found->second);
  }
}

// Judges what was written. An alarm is given to the answer, one for each record, of its last
// subgroup, else to the last one of its stream; so is the note that a stream has no limits.
void Recorder::Judge(log::Writing& writing, const RecordWriter& writer,
                     const std::vector<Recorded*>& answers) {
  alarms::TouchedStreams touched;
  for (const auto& placed : writer.Records()) {
    const auto& subgroup = writer.SubgroupOf(placed);
    touched.Add(placed.record->stream->id, {subgroup.time, subgroup.id});
  }
  std::vector<std::int64_t> without_limits;
  auto opened = alarms::Judge(writing, touched.All(), chart_rows_, &without_limits);
  for (const auto stream : without_limits) {
    for (auto i = answers.size(); i-- > 0;) {
      if (writer.Records()[i].record->stream->id != stream) continue;
      answers[i]->notes.push_back({alarms::kNoLimitsCode, alarms::kNoLimitsText, {}});
      break;
    }
  }
  if (opened.empty()) return;
  using Place = std::array<std::int32_t, 4>;  // part, process, test, subgroup
  std::map<Place, Recorded*> takers;          // under subgroup 0 the last one of the stream
  for (std::size_t i = 0; i < answers.size(); ++i) {
    const auto& stream = *writer.Records()[i].record->stream;
    for (const auto subgroup : {0, answers[i]->subgroup}) {
      takers[{stream.part, stream.process, stream.test, subgroup}] = answers[i];
    }
  }
  for (auto& alarm : opened) {
    Place place{alarm.part, alarm.process, alarm.test, alarm.last_subgroup};
    auto found = takers.find(place);
    place[3] = 0;
    if (found == takers.end()) found = takers.find(place);
    if (found != takers.end()) found->second->alarms.push_back(std::move(alarm));
  }
}

// The row of a batch and its entry of the log.
void Recorder::AddBatch(log::Writing& writing, const RecordWriter& writer, std::int64_t batch,
                        std::size_t lines, const std::string& key, const log::AddedNames& names) {
  const auto count = writer.Records().size();
  const auto& digest = writer.Digest();
  import::Run(*connection_,
              "INSERT INTO batch(id, kind, source, key, lines, records, digest, state, entry) "
              "VALUES(?1, 'record', '', ?2, ?3, ?4, ?5, 'stored', ?6)",
              batch, key, lines, count, digest, writing.Next());
  log::Json after = {{"kind", "record"}, {"records", count}, {"digest", digest}};
  if (!key.empty()) after["key"] = key;
  names.AddTo(after);
  writing.Add("batch", "batch " + std::to_string(batch), {}, log::CanonicalText(after));
}

void Recorder::DropOldKeys(std::int64_t now) {
  constexpr std::int64_t kHour = 3600, kDay = 86400;
  if (now - keys_dropped_ < kHour) return;
  keys_dropped_ = now;
  const auto days = std::stoll(known_->Setting("key_days", "90"));
  import::Run(*connection_, "DELETE FROM client_key WHERE made < ?1", now - days * kDay);
}

std::optional<Recorder::Known> Recorder::FindKey(const std::string& key,
                                                 const std::string& fingerprint) {
  CheckKey(key);
  Known known;
  auto& record = known.record;
  auto& batch = known.batch;
  {
    sql::Query query(*connection_,
                     "SELECT fingerprint, coalesce(subgroup, 0), coalesce(batch, 0), entry, answer "
                     "FROM client_key WHERE key = ?1",
                     key);
    if (!query.Step()) return std::nullopt;
    std::string of_known, answer;
    query.Read(of_known, record.subgroup, batch, record.version, answer);
    if (of_known != fingerprint) {
      throw OtherValues(key, record.subgroup != 0 ? "#" + std::to_string(record.subgroup)
                                                  : "batch " + std::to_string(batch));
    }
    if (!answer.empty()) known.answers = log::ReadJson(answer).get<std::vector<log::Json>>();
  }
  record.repeated = true;
  store::ForEachSubgroup(*connection_, record.subgroup, record.subgroup, [&](const auto& each) {
    record.label = each.label;
    record.time = each.time;
  });
  return known;
}

void Recorder::StoreKey(const std::string& key, const std::string& fingerprint,
                        std::int32_t subgroup, std::int64_t batch, std::int64_t entry,
                        std::int64_t now, const std::string& answer) {
  import::Run(*connection_,
              "INSERT INTO client_key(key, fingerprint, subgroup, batch, entry, made, answer) "
              "VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7)",
              key, fingerprint, import::Reference{subgroup}, import::Reference{batch}, entry, now,
              answer);
}

}  // namespace orvspc::engine::record
