// SPDX-License-Identifier: Apache-2.0
#include "engine/write/deliver/Delivery.h"

#include <algorithm>
#include <exception>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <utility>

#include "engine/hooks/HookFile.h"
#include "engine/sql/counter.h"
#include "engine/write/log/Json.h"
#include "engine/write/log/Reading.h"
#include "platform/TimeText.h"

namespace orvspc::engine::deliver {
namespace {

using hooks::Answer;
using hooks::Message;
using Milliseconds = std::chrono::milliseconds;

constexpr std::int64_t kDay = 86'400, kMillisecondsOfSecond = 1000;
constexpr std::size_t kMaxError = 200;
// Less time than this is not worth a try.
constexpr Milliseconds kShortest{100};

// Of the outbox; what it says is empty for a text that is no message.
hooks::Subject SubjectOf(std::string_view message) {
  hooks::Subject subject;
  try {
    const auto json = log::ReadJson(message);
    const auto text = [&](const char* key) { return json.value(key, std::string()); };
    subject = {text("what"), text("part"), text("process"), text("test")};
    if (json.contains("alarm")) subject.what = "alarm " + subject.what;
  } catch (const std::exception&) {
    return {};
  }
  return subject;
}

// The newest row that a hook has been given, or passed over.
std::int64_t LastGiven(sql::Connection& db, const std::string& hook) {
  return sql::Query(db, "SELECT outbox FROM delivery WHERE hook = ?1 ORDER BY outbox DESC LIMIT 1",
                    hook)
      .RunForInt()
      .value_or(0);
}

std::int64_t NewestRow(sql::Connection& db) {
  return sql::Query(db, "SELECT coalesce(max(id), 0) FROM outbox").RunForInt().value_or(0);
}

// The head of the log as a message, which is of no event, once a day and where it is a new one.
std::optional<LogAnchor> HeadToTell(sql::Connection& db, std::int64_t now) {
  sql::Query query(db,
                   "SELECT made, revision FROM outbox WHERE event = 0 ORDER BY id DESC LIMIT 1");
  const bool was_told = query.Step();
  const auto day = was_told ? query.Int64(0) / kDay : 0;
  const auto seq = was_told ? query.Int64(1) : 0;
  if (day == now / kDay) return std::nullopt;
  auto head = log::ReadHead(db);
  if (head.seq == seq) return std::nullopt;
  return head;
}

void PutHead(sql::Connection& db, const LogAnchor& head, std::int64_t now) {
  const log::Json message = {{"id", head.uuid + ":0:" + std::to_string(head.seq)},
                             {"what", hooks::kLogHeadWord},
                             {"seq", head.seq},
                             {"hash", head.hash},
                             {"time", platform::IsoText(head.at / kMillisecondsOfSecond) + "Z"},
                             {"anchor", log::AnchorText(head)}};
  sql::Query(db, "INSERT INTO outbox(id, event, revision, made, message) VALUES(?1, 0, ?2, ?3, ?4)",
             sql::TakeIds(db, "outbox"), head.seq, now, log::CanonicalText(message))
      .Run();
}

class Round {
 public:
  Round(store::SqlStore& store, std::span<const Hook> hooks, const DeliveryOptions& options,
        const Outside& outside)
      : store_(store), hooks_(hooks), options_(options), outside_(outside) {
    for (const auto& hook : hooks_) reports_.emplace_back().hook = hook.name;
  }

  std::vector<HookReport> Run() {
    if (options_.again) TryDeadAgain();
    GiveOut();
    std::vector<bool> is_over(hooks_.size());
    // A message of each hook in turn, so that a slow one does not keep the others waiting.
    for (bool any = true; any;) {
      any = false;
      for (std::size_t i = 0; i < hooks_.size() && HasTime(); ++i) {
        if (is_over[i]) continue;
        is_over[i] = !TryNext(i);
        any = any || !is_over[i];
      }
    }
    store_.ReadOrThrow([&](sql::Connection& db) {
      for (auto& report : reports_) Count(db, report);
    });
    return std::move(reports_);
  }

 private:
  struct Claim {
    std::int64_t outbox = 0;
    int tries = 0;  // with the one that begins
    Message message;
  };

  void Write(const std::function<void(sql::Connection&)>& work) {
    std::optional<std::chrono::seconds> patience;
    if (options_.at_most) patience = std::chrono::ceil<std::chrono::seconds>(*options_.at_most);
    store_.Write(work, patience);
  }

  Milliseconds Left() const {
    if (!options_.at_most) return hooks::kCommandLimit;
    return *options_.at_most - (outside_.clock() - begin_);
  }
  bool HasTime() const { return Left() >= kShortest; }

  void TryDeadAgain() {
    Write([&](sql::Connection& db) {
      for (const auto& hook : hooks_) {
        sql::Query(db,
                   "UPDATE delivery SET state = 'waiting', tries = 0, next = ?2 "
                   "WHERE hook = ?1 AND state <> 'done' AND state = 'dead'",
                   hook.name, outside_.now())
            .Run();
      }
    });
  }

  bool WantsHead() const {
    return std::ranges::any_of(hooks_, [](const Hook& hook) {
      return hooks::Wants(hook, {std::string(hooks::kLogHeadWord), "", "", ""});
    });
  }

  // Gives each hook what has come since.
  void GiveOut() {
    const auto now = outside_.now();
    bool is_new = false;
    store_.ReadOrThrow([&](sql::Connection& db) {
      const auto newest = NewestRow(db);
      is_new = std::ranges::any_of(
          hooks_, [&](const Hook& hook) { return LastGiven(db, hook.name) != newest; });
      is_new = is_new || (WantsHead() && HeadToTell(db, now));
    });
    if (!is_new) return;
    Write([&](sql::Connection& db) {
      if (const auto head = WantsHead() ? HeadToTell(db, now) : std::nullopt)
        PutHead(db, *head, now);
      const auto newest = NewestRow(db);
      for (const auto& hook : hooks_) Give(db, hook, newest, now);
    });
  }

  // A row for each message that it wants; and one that is done and was never tried for the newest
  // that it does not want, so that it is not looked at again.
  static void Give(sql::Connection& db, const Hook& hook, std::int64_t newest, std::int64_t now) {
    const auto last = LastGiven(db, hook.name);
    if (last == newest) return;
    const std::int64_t since = last == 0 ? now - kFirstReach : 0;
    std::vector<std::pair<std::int64_t, bool>> rows;  // whether it is wanted
    sql::Query query(db, "SELECT id, message FROM outbox WHERE id > ?1 AND made >= ?2 ORDER BY id",
                     last, since);
    while (query.Step()) {
      rows.emplace_back(query.Int64(0), hooks::Wants(hook, SubjectOf(query.Text(1))));
    }
    if (rows.empty() || rows.back().first != newest) rows.emplace_back(newest, false);
    sql::Query(db,
               "DELETE FROM delivery WHERE outbox = ?1 AND hook = ?2 AND state = 'done' "
               "AND tries = 0",
               last, hook.name)
        .Run();
    for (const auto& [id, is_wanted] : rows) {
      if (!is_wanted && id != newest) continue;
      sql::Query(db,
                 "INSERT INTO delivery(outbox, hook, state, tries, next) "
                 "VALUES(?1, ?2, ?3, 0, ?4)",
                 id, hook.name, is_wanted ? "waiting" : "done", now)
          .Run();
    }
  }

  // False: nothing is due, or nobody answers.
  bool TryNext(std::size_t place) {
    const auto& hook = hooks_[place];
    auto& report = reports_[place];
    bool is_due = false;
    store_.ReadOrThrow([&](sql::Connection& db) { is_due = FindDue(db, hook).has_value(); });
    if (!is_due) return false;
    std::optional<Claim> claim;
    Write([&](sql::Connection& db) { claim = Take(db, hook); });
    if (!claim) return true;  // somebody else was quicker
    const auto answer = outside_.send(hook, claim->message, std::max(Left(), kShortest));
    ++(answer.error.empty() ? report.delivered : report.failed);
    Write([&](sql::Connection& db) { Note(db, hook, *claim, answer); });
    return answer.reach == hooks::Reach::Answered;
  }

  // Those that were tried least first, so that one that a receiver never takes holds up no other.
  std::optional<Claim> FindDue(sql::Connection& db, const Hook& hook) const {
    sql::Query query(db,
                     "SELECT d.outbox, d.tries, o.message FROM delivery d "
                     "JOIN outbox o ON o.id = d.outbox WHERE d.hook = ?1 AND d.state <> 'done' "
                     "AND d.state = 'waiting' AND d.next <= ?2 ORDER BY d.tries, d.outbox LIMIT 1",
                     hook.name, outside_.now());
    if (!query.Step()) return std::nullopt;
    Claim claim;
    query.Read(claim.outbox, claim.tries, claim.message.text);
    const auto json = log::ReadJson(claim.message.text);
    claim.message.id = json.value("id", std::string());
    ++claim.tries;
    return claim;
  }

  std::optional<Claim> Take(sql::Connection& db, const Hook& hook) const {
    auto claim = FindDue(db, hook);
    if (!claim) return claim;
    sql::Query(db, "UPDATE delivery SET tries = ?3, next = ?4 WHERE outbox = ?1 AND hook = ?2",
               claim->outbox, hook.name, claim->tries, outside_.now() + kClaim)
        .Run();
    return claim;
  }

  void Note(sql::Connection& db, const Hook& hook, const Claim& claim, const Answer& answer) const {
    if (answer.error.empty()) {
      sql::Query(db,
                 "UPDATE delivery SET state = 'done', error = '' WHERE outbox = ?1 AND hook = ?2",
                 claim.outbox, hook.name)
          .Run();
      return;
    }
    NoteFailure(db, hook, claim.outbox, claim.tries, claim.tries, answer.error);
    if (answer.reach != hooks::Reach::Absent) return;
    struct Due {
      std::int64_t outbox = 0;
      int tries = 0;
    };
    std::vector<Due> all;
    {
      sql::Query query(db,
                       "SELECT outbox, tries FROM delivery WHERE hook = ?1 AND state <> 'done' "
                       "AND state = 'waiting' AND next <= ?2 ORDER BY outbox",
                       hook.name, outside_.now());
      all = query.All<Due>(&Due::outbox, &Due::tries);
    }
    for (const auto& due : all) {
      NoteFailure(db, hook, due.outbox, due.tries, due.tries + 1, answer.error);
    }
  }

  // Unless somebody else has tried it since.
  void NoteFailure(sql::Connection& db, const Hook& hook, std::int64_t outbox, int tries_before,
                   int tries, const std::string& error) const {
    const bool is_dead = tries >= kMaxTries;
    sql::Query(db,
               "UPDATE delivery SET state = ?4, tries = ?5, next = ?6, error = ?7 "
               "WHERE outbox = ?1 AND hook = ?2 AND state = 'waiting' AND tries = ?3",
               outbox, hook.name, tries_before, is_dead ? "dead" : "waiting", tries,
               outside_.now() + PauseAfter(tries), error.substr(0, kMaxError))
        .Run();
  }

  std::int64_t PauseAfter(int tries) const {
    const auto place = std::min<std::size_t>(static_cast<std::size_t>(tries), std::size(kPauses));
    const auto pause = static_cast<double>(kPauses[place - 1]);
    constexpr double kLeast = 0.8, kRange = 0.4;
    return static_cast<std::int64_t>(pause * (kLeast + kRange * outside_.random()));
  }

  static void Count(sql::Connection& db, HookReport& report) {
    sql::Query query(db,
                     "SELECT state, count(*), min(next) FROM delivery WHERE hook = ?1 "
                     "AND state <> 'done' GROUP BY state",
                     report.hook);
    while (query.Step()) {
      const bool is_dead = query.Text(0) == "dead";
      (is_dead ? report.dead : report.waiting) = query.Int64(1);
      if (!is_dead) report.next = query.Int64(2);
    }
    sql::Query error(db,
                     "SELECT error FROM delivery WHERE hook = ?1 AND state <> 'done' "
                     "AND error <> '' ORDER BY next DESC LIMIT 1",
                     report.hook);
    if (error.Step()) report.error = error.Text(0);
  }

  store::SqlStore& store_;
  std::span<const Hook> hooks_;
  const DeliveryOptions& options_;
  const Outside& outside_;
  const Milliseconds begin_ = outside_.clock();
  std::vector<HookReport> reports_;
};

}  // namespace

Outside RealOutside() {
  return {[] {
            return std::chrono::duration_cast<std::chrono::seconds>(
                       std::chrono::system_clock::now().time_since_epoch())
                .count();
          },
          &hooks::Send,
          [] {
            thread_local std::minstd_rand random(std::random_device{}());
            return std::uniform_real_distribution<double>()(random);
          },
          [] {
            return std::chrono::duration_cast<Milliseconds>(
                std::chrono::steady_clock::now().time_since_epoch());
          }};
}

std::vector<HookReport> Deliver(store::SqlStore& store, std::span<const Hook> hooks,
                                const DeliveryOptions& options, const Outside& outside) {
  return Round(store, hooks, options, outside).Run();
}

}  // namespace orvspc::engine::deliver
