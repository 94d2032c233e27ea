// SPDX-License-Identifier: Apache-2.0
#include <cmath>
#include <type_traits>
#include <utility>

#include "engine/QualityDatabase.h"
#include "engine/limits/Compute.h"
#include "engine/limits/Review.h"
#include "engine/limits/StoredLimits.h"
#include "engine/store/SqlStore.h"

// The life of control limits, each call one transaction.
namespace orvspc {

using namespace engine;

namespace {

store::StreamIds IdsOf(const StreamKey& key) { return {key.part, key.process, key.test}; }

// What work(store, writing) returns, in one write transaction.
template <class Work>
auto Change(EmbeddedDatabase& database, const Actor& actor, const std::string& reason, Work work) {
  const auto store = store::SqlStoreOf(database);
  return store::Guarded(*store, [&] {
    using Result = decltype(work(*store, std::declval<log::Writing&>()));
    if constexpr (std::is_void_v<Result>) {
      store->Write(actor, reason, [&](log::Writing& writing) { work(*store, writing); });
    } else {
      Result result{};
      store->Write(actor, reason, [&](log::Writing& writing) { result = work(*store, writing); });
      return result;
    }
  });
}

std::int32_t ProposeIn(store::SqlStore& store, log::Writing& writing, const LimitRequest& request) {
  writing.NeedReason();
  return limits::Propose(writing, request, limits::Compute(store, writing.Db(), request));
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

std::int32_t QualityDatabase::ProposeLimits(const LimitRequest& request, const Actor& actor,
                                            const std::string& reason) {
  return Change(*database_, actor, reason, [&](store::SqlStore& store, log::Writing& writing) {
    return ProposeIn(store, writing, request);
  });
}

void QualityDatabase::ApproveLimits(std::int32_t id, const LimitApproval& approval,
                                    const Actor& actor, const std::string& reason) {
  Change(*database_, actor, reason,
         [&](store::SqlStore&, log::Writing& writing) { limits::Approve(writing, id, approval); });
}

void QualityDatabase::RejectLimits(std::int32_t id, const Actor& actor, const std::string& reason,
                                   std::int64_t expect) {
  Change(*database_, actor, reason,
         [&](store::SqlStore&, log::Writing& writing) { limits::Reject(writing, id, expect); });
}

void QualityDatabase::RetireLimits(std::int32_t id, std::int32_t at, const Actor& actor,
                                   const std::string& reason, std::int64_t expect) {
  Change(*database_, actor, reason,
         [&](store::SqlStore&, log::Writing& writing) { limits::Retire(writing, id, at, expect); });
}

void QualityDatabase::VoidLimits(std::int32_t id, const Actor& actor, const std::string& reason,
                                 std::int64_t expect) {
  Change(*database_, actor, reason,
         [&](store::SqlStore&, log::Writing& writing) { limits::Void(writing, id, expect); });
}

std::int32_t QualityDatabase::FreezeLimits(const LimitRequest& request,
                                           const LimitApproval& approval, const Actor& actor,
                                           const std::string& reason) {
  return Change(*database_, actor, reason, [&](store::SqlStore& store, log::Writing& writing) {
    const auto id = ProposeIn(store, writing, request);
    limits::Approve(writing, id, approval);
    return id;
  });
}

std::vector<ListedLimit> QualityDatabase::ListLimits(const StreamKey& of) const {
  return store::Read(*database_, [&](store::SqlStore&, sql::Connection& db) {
    return limits::ReadLimits(db, IdsOf(of));
  });
}

LimitDetails QualityDatabase::ShowLimits(std::int32_t id) const {
  return store::Read(*database_, [&](store::SqlStore& store, sql::Connection& db) {
    return limits::Details(store, db, id);
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
      request.process = row.process;
      request.test = row.test;
    }
    if (request.chart_word == 0) request.chart_word = row.chart_word;
    return limits::Compare(row, AsRow(limits::Compute(store, db, request).shown));
  });
}

std::vector<BaselinePolicy> QualityDatabase::BaselinePolicies() const {
  return store::Read(
      *database_, [](store::SqlStore&, sql::Connection& db) { return limits::ReadPolicies(db); });
}

std::int32_t QualityDatabase::SetBaselinePolicy(const StreamKey& of, std::string_view preset,
                                                const Actor& actor, const std::string& reason) {
  return Change(*database_, actor, reason, [&](store::SqlStore&, log::Writing& writing) {
    return limits::SetPolicy(writing, IdsOf(of), preset);
  });
}

std::vector<LimitReview> QualityDatabase::ReviewLimits(const StreamKey& of, const Actor& actor,
                                                       const std::string& reason) {
  return Change(*database_, actor, reason, [&](store::SqlStore& store, log::Writing& writing) {
    return limits::Review(store, writing, IdsOf(of));
  });
}

}  // namespace orvspc
