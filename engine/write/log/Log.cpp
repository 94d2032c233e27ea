// SPDX-License-Identifier: Apache-2.0
#include "engine/write/log/Log.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <random>
#include <utility>

#include "engine/schema/schema.h"
#include "engine/sql/texts.h"
#include "engine/write/log/Json.h"
#include "engine/write/log/texts.h"
#include "system/Sha256.h"
#include "system/system.h"

namespace orvspc::engine::log {
namespace {

constexpr std::string_view kProgram = "orvSPCAnalysis6 " ORVSPC_VERSION;
constexpr std::int64_t kMillisecondsOfSecond = 1000;

std::int64_t ClockMilliseconds() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

// Looked up once, since each entry has it.
const std::string& SystemText() {
  static const auto text = sql::MadeStorable(system::UserName() + "@" + system::HostName());
  return text;
}

// Version 4: random but for the six bits that say so.
std::string NewUuid() {
  std::random_device random;
  std::array<std::uint8_t, 16> bytes{};
  for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
  bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);
  bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    text += kDigits[bytes[i] >> 4];
    text += kDigits[bytes[i] & 0x0F];
  }
  return text;
}

void Insert(sql::Connection& db, const Entry& entry) {
  sql::Query(db,
             "INSERT INTO log(seq, at, who, system, station, operation, object, before, after, "
             "reason, program, hash) VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12)",
             entry.seq, entry.at, entry.who, entry.system, entry.station, entry.operation,
             entry.object, entry.before, entry.after, entry.reason, entry.program, entry.hash)
      .Run();
}

}  // namespace

std::string HashOf(const Entry& entry, std::string_view before) {
  const auto seq = std::to_string(entry.seq), at = std::to_string(entry.at);
  thread_local std::string bytes;  // keeps its room
  bytes = "orvspc-log-1";
  bytes += before;
  for (const std::string_view column :
       {std::string_view(seq), std::string_view(at), std::string_view(entry.who),
        std::string_view(entry.system), std::string_view(entry.station),
        std::string_view(entry.operation), std::string_view(entry.object),
        std::string_view(entry.before), std::string_view(entry.after),
        std::string_view(entry.reason), std::string_view(entry.program)}) {
    std::array<char, 8> length{};
    for (std::size_t i = 0; i < length.size(); ++i) {
      length[i] = static_cast<char>(column.size() >> (8 * i));
    }
    bytes.append(length.data(), length.size()).append(column);
  }
  thread_local system::Sha256 sha;
  sha.Add(bytes);
  return system::HexOf(sha.Finish());
}

void BeginLog(sql::Connection& db, std::string_view digest) {
  const auto uuid = NewUuid();
  sql::Query(db, "INSERT INTO identity(id, uuid) VALUES(1, ?1)", uuid).Run();
  Json after = {{"uuid", uuid}, {"schema", schema::kSchemaVersion}};
  if (!digest.empty()) after["digest"] = digest;
  Writing(db, {}).Add("database", "database", {}, CanonicalText(after));
}

std::string IdentityOf(sql::Connection& db) {
  sql::Query query(db, "SELECT uuid FROM identity");
  return query.Step() ? std::string(query.Text(0)) : std::string();
}

void BecomeAnother(Writing& writing) {
  const auto before = IdentityOf(writing.Db()), after = NewUuid();
  sql::Query(writing.Db(), "UPDATE identity SET uuid = ?1", after).Run();
  writing.Add("copy", "database", CanonicalText({{"uuid", before}}),
              CanonicalText({{"uuid", after}}));
}

Writing::Writing(sql::Connection& db, Actor actor, std::string reason)
    : db_(db), actor_(std::move(actor)), reason_(std::move(reason)) {
  if (actor_.by.empty()) {
    sql::Query required(db, "SELECT value FROM setting WHERE key = 'require_by' ORDER BY id DESC");
    if (required.Step() && required.Text(0) == "yes") {
      throw Refused("by", "by", "", "--by: who does this must be named");
    }
  }
  who_ = actor_.by.empty() ? sql::MadeStorable(system::UserName()) : actor_.by;
  if (!actor_.by.empty()) NeedName("by", actor_.by);
  NeedText("station", actor_.station);
  NeedText("reason", reason_);
  constexpr std::size_t kMinReason = 3, kMaxReason = 500;
  const bool is_short = CharactersOf(Trimmed(reason_)) < kMinReason;
  if (!reason_.empty() && (is_short || CharactersOf(reason_) > kMaxReason)) {
    throw Refused("reason", "reason", reason_, "--reason: say why, in 3 to 500 characters");
  }
  now_ = ClockMilliseconds();
  sql::Query head(db, "SELECT seq, at, hash FROM log ORDER BY seq DESC LIMIT 1");
  if (!head.Step()) return;
  head_seq_ = head.Int64(0);
  clock_went_back_ = head.Int64(1) > now_;
  now_ = std::max(now_, head.Int64(1));
  head_hash_ = head.Text(2);
}

std::int32_t Writing::Seconds() const {
  return static_cast<std::int32_t>(now_ / kMillisecondsOfSecond);
}

void Writing::NeedReason() const {
  if (reason_.empty()) {
    throw Refused("reason", "reason", "", "--reason: say why, in 3 to 500 characters");
  }
}

std::int64_t Writing::Add(std::string_view operation, std::string_view object,
                          std::string_view before, std::string_view after) {
  Entry entry;
  entry.seq = Next();
  entry.at = now_;
  entry.who = who_;
  entry.system = SystemText();
  entry.station = actor_.station;
  entry.operation = operation;
  entry.object = object;
  entry.before = before;
  entry.after = after;
  if (clock_went_back_) {
    auto json = ReadJson(entry.after);
    json["clock"] = 1;
    entry.after = CanonicalText(json);
  }
  entry.reason = reason_;
  entry.program = kProgram;
  entry.hash = head_hash_ = HashOf(entry, head_hash_);
  Insert(db_, entry);
  return head_seq_ = entry.seq;
}

}  // namespace orvspc::engine::log
