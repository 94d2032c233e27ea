// SPDX-License-Identifier: Apache-2.0
#include <cmath>
#include <utility>

#include "engine/QualityDatabase.h"
#include "engine/change_once.h"
#include "engine/review_imports.h"
#include "engine/store/SqlStore.h"
#include "engine/write/alarms/Judge.h"
#include "engine/write/change/version.h"
#include "engine/write/limits/ChangedData.h"
#include "engine/write/limits/Compute.h"
#include "engine/write/limits/Review.h"
#include "engine/write/limits/StoredLimits.h"

// The life of control limits, each call one transaction.
namespace orvspc {

using namespace engine;

namespace {

constexpr const char* kReviewReason = "review of the baseline";

store::StreamIds IdsOf(const StreamKey& key) { return {key.part, key.process, key.test}; }

// What work(store, writing) returns.
template <class Work>
auto ChangeAnd(EmbeddedDatabase& database, const ChangeOptions& options, Work work) {
  const auto store = store::SqlStoreOf(database);
  decltype(work(*store, std::declval<log::Writing&>())) result{};
  Change(database, options, [&](log::Writing& writing) { result = work(*store, writing); });
  return result;
}

// A step in the life of a row has changed what holds from a time on: alarms are judged anew.
void JudgeAfter(log::Writing& writing, std::int32_t id, std::int32_t from) {
  auto& db = writing.Db();
  const auto row = limits::NeedLimit(db, id);
  alarms::JudgeFrom(writing, {row.part, row.process, row.test}, from,
                    change::VersionOf(db, "limit " + std::to_string(id)));
}

void ApproveIn(log::Writing& writing, std::int32_t id, const LimitApproval& approval,
               std::optional<std::int64_t> expected) {
  limits::Approve(writing, id, approval, expected);
  JudgeAfter(writing, id, limits::NeedLimit(writing.Db(), id).effective);
}

std::int32_t ProposeIn(store::SqlStore& store, log::Writing& writing, const LimitRequest& request) {
  writing.NeedReason();
  const auto computed = limits::Compute(store, writing.Db(), request);
  const auto id = limits::Propose(writing, request, computed);
  for (const auto& each : computed.shown.warnings) {
    store::AddNote("limits", each, store.StreamName(request.part, request.process, request.test));
  }
  return id;
}

ListedLimit AsRow(const LimitProposal& computed) {
  ListedLimit row;
  row.chart_word = computed.chart_word;
  row.mean = computed.mean;
  row.sp = std::isnan(computed.sp) ? 0.0 : computed.sp;
  row.used = computed.used;
  row.average_size = computed.average_size;
  row.estimator = computed.estimator;
  return row;
}

}  // namespace

LimitProposal QualityDatabase::ComputeLimits(const LimitRequest& request) const {
  return store::Read(*database_, [&](store::SqlStore& store, sql::Connection& db) {
    return limits::Compute(store, db, request).shown;
  });
}

std::int32_t QualityDatabase::ProposeLimits(const LimitRequest& request,
                                            const ChangeOptions& options) {
  return ChangeAnd(*database_, options, [&](store::SqlStore& store, log::Writing& writing) {
    return ProposeIn(store, writing, request);
  });
}

void QualityDatabase::ApproveLimits(std::int32_t id, const LimitApproval& approval,
                                    const ChangeOptions& options) {
  Change(*database_, options,
         [&](log::Writing& writing) { ApproveIn(writing, id, approval, options.expected); });
}

void QualityDatabase::RejectLimits(std::int32_t id, const ChangeOptions& options) {
  Change(*database_, options,
         [&](log::Writing& writing) { limits::Reject(writing, id, options.expected); });
}

void QualityDatabase::RetireLimits(std::int32_t id, std::int32_t at, const ChangeOptions& options) {
  Change(*database_, options, [&](log::Writing& writing) {
    limits::Retire(writing, id, at, options.expected);
    JudgeAfter(writing, id, at);
  });
}

void QualityDatabase::VoidLimits(std::int32_t id, const ChangeOptions& options) {
  Change(*database_, options, [&](log::Writing& writing) {
    limits::Void(writing, id, options.expected);
    JudgeAfter(writing, id, limits::NeedLimit(writing.Db(), id).effective);
  });
}

std::int32_t QualityDatabase::FreezeLimits(const LimitRequest& request,
                                           const LimitApproval& approval,
                                           const ChangeOptions& options) {
  return ChangeAnd(*database_, options, [&](store::SqlStore& store, log::Writing& writing) {
    const auto id = ProposeIn(store, writing, request);
    ApproveIn(writing, id, approval, {});
    return id;
  });
}

std::vector<ListedLimit> QualityDatabase::ListLimits(const StreamKey& of) const {
  return store::Read(*database_, [&](store::SqlStore&, sql::Connection& db) {
    auto rows = limits::ReadLimits(db, IdsOf(of));
    for (auto& each : rows)
      each.version = change::VersionOf(db, "limit " + std::to_string(each.id));
    return rows;
  });
}

LimitDetails QualityDatabase::ShowLimits(std::int32_t id) const {
  return store::Read(*database_, [&](store::SqlStore& store, sql::Connection& db) {
    return limits::Details(store, db, id);
  });
}

ChangedValues QualityDatabase::ChangedSinceLimits(std::int32_t id) const {
  return store::Read(*database_, [&](store::SqlStore& store, sql::Connection& db) {
    return limits::ChangedSince(store, db, id);
  });
}

LimitComparison QualityDatabase::CompareLimits(std::int32_t first, std::int32_t second) const {
  return store::Read(*database_, [&](store::SqlStore&, sql::Connection& db) {
    return limits::Compare(limits::NeedLimit(db, first), limits::NeedLimit(db, second));
  });
}

LimitComparison QualityDatabase::CompareLimits(std::int32_t first,
                                               const LimitRequest& window) const {
  return store::Read(*database_, [&](store::SqlStore& store, sql::Connection& db) {
    const auto row = limits::NeedLimit(db, first);
    // The same kind of chart of the same stream, unless the window says otherwise.
    auto request = window;
    if (request.part == 0) {
      request.part = row.part;
      request.test = row.test;
      if (request.process == 0) request.process = row.process;
    }
    if (request.chart_word == 0) request.chart_word = row.chart_word;
    return limits::Compare(row, AsRow(limits::Compute(store, db, request).shown));
  });
}

std::vector<LimitExclusion> QualityDatabase::LeftOutOfLimits(const StreamKey& stream) const {
  return store::Read(*database_, [&](store::SqlStore&, sql::Connection& db) {
    return limits::LeftOut(db, IdsOf(stream));
  });
}

std::vector<BaselinePolicy> QualityDatabase::BaselinePolicies() const {
  return store::Read(
      *database_, [](store::SqlStore&, sql::Connection& db) { return limits::ReadPolicies(db); });
}

std::int32_t QualityDatabase::SetBaselinePolicy(const StreamKey& of, std::string_view preset,
                                                const ChangeOptions& options) {
  return ChangeAnd(*database_, options, [&](store::SqlStore&, log::Writing& writing) {
    return limits::SetPolicy(writing, IdsOf(of), preset);
  });
}

std::vector<LimitReview> QualityDatabase::ReviewLimits(const StreamKey& of,
                                                       const ChangeOptions& options) {
  auto with_reason = options;
  if (with_reason.reason.empty()) with_reason.reason = kReviewReason;
  return ChangeAnd(*database_, with_reason, [&](store::SqlStore& store, log::Writing& writing) {
    return limits::Review(store, writing, IdsOf(of));
  });
}

void ReviewAfterImport(EmbeddedDatabase& database, const ImportOptions& options,
                       ImportReport& report) {
  if (report.streams.empty()) return;
  try {
    const bool have = store::Read(database, [&](store::SqlStore& store, sql::Connection& db) {
      return limits::HavePolicy(store, db, report.streams);
    });
    if (!have) return;
    ChangeOptions review;
    review.actor = options.actor;
    review.reason = kReviewReason;
    const auto found =
        ChangeAnd(database, review, [&](store::SqlStore& store, log::Writing& writing) {
          return limits::Review(store, writing, report.streams);
        });
    for (const auto& each : found) {
      // A review that somebody asks for says that.
      if (each.code == "no-limits") continue;
      report.notes.push_back({"limits-" + each.code, each.text, {}});
    }
  } catch (const std::exception& failure) {
    report.notes.push_back(
        {"limits-review", std::string("the limits were not reviewed: ") + failure.what(), {}});
  }
}

}  // namespace orvspc
