// SPDX-License-Identifier: Apache-2.0
#include "engine/write/alarms/StreamStore.h"

#include <algorithm>
#include <limits>

#include "engine/chunks/StreamWalk.h"
#include "engine/store/alarm_rules.h"
#include "engine/store/stream_reader.h"
#include "platform/Enumerations.h"
#include "platform/ExternalFailure.h"

namespace orvspc::engine::alarms {
namespace {

template <class Row>
std::vector<Row> RowsOf(const store::ByPartAndTest<Row>& all, std::int32_t part,
                        std::int32_t test) {
  const auto found = all.find({part, test});
  return found == all.end() ? std::vector<Row>() : found->second;
}

}  // namespace

const store::Stream* ChartRows::Stream(sql::Connection& db, std::int64_t id) {
  constexpr std::size_t kMaxKept = 10'000;
  if (const auto found = streams_.find(id); found != streams_.end()) return &found->second;
  if (streams_.size() >= kMaxKept) Forget();
  store::Stream stream;
  stream.id = id;
  {
    sql::Query query(db,
                     "SELECT s.part, s.process, s.test, t.type FROM stream s "
                     "JOIN test t ON t.id = s.test WHERE s.id = ?1",
                     id);
    if (!query.Step()) return nullptr;
    query.Read(stream.part, stream.process, stream.test, stream.test_type);
  }
  if (!rows_) rows_ = store::StoreCache::WithoutStreams(db);
  rows_->AddLimits(db, stream.part, stream.test);
  return &streams_.emplace(id, stream).first->second;
}

std::int64_t ChartRows::InUseSince(sql::Connection& db, std::int32_t limit) {
  const auto [found, is_new] = since_.try_emplace(limit, 0);
  if (is_new) {
    found->second =
        sql::Query(db, "SELECT coalesce(approved_at, made) FROM control_limit WHERE id = ?1", limit)
            .RunForInt()
            .value_or(0);
  }
  return found->second;
}

void StreamStore::Read(sql::Connection& db, store::RecordKey first, store::RecordKey last,
                       std::size_t beside) {
  const auto id = Of().id;
  auto start = first;
  {
    std::size_t used = 0;
    store::StreamWalk(db, id, false, INT32_MIN, first.time)
        .ForEach([&](const store::RecordView& view) {
          if (!(view.Key() < first)) return true;
          start = view.Key();
          return view.Flag() != sfEnabled || ++used < beside;
        });
    is_from_start_ = used < beside;
  }
  data_ = {};
  std::size_t used = 0;
  store::StreamWalk(db, id, true, start.time, INT32_MAX)
      .ForEach([&](const store::RecordView& view) {
        if (view.Key() < start) return true;
        if (last < view.Key() && view.Flag() == sfEnabled && used++ == beside) return false;
        Take(view);
        return true;
      });
}

void StreamStore::Take(const store::RecordView& view) {
  const auto first = data_.values.size();
  if (!view.IsPlain()) store::MakeKeyed(data_);
  auto& row = data_.subgroups.emplace_back();
  row.Part = Of().part;
  row.Prcs = Of().process;
  row.Test = Of().test;
  row.Sgtm = view.Time();
  row.Sgrp = view.Subgroup();
  row.Flag = view.Flag();
  row.Size = view.RoundedSize();
  row.Test_Start = static_cast<std::int32_t>(first);
  row.Test_End = static_cast<std::int32_t>(first + view.Count()) - 1;
  const bool is_keyed = !view.IsPlain() || !data_.keys.empty();
  for (std::size_t i = 0; i < view.Count(); ++i) {
    data_.values.push_back(view.Value(i));
    if (is_keyed) data_.keys.push_back(view.IsPlain() ? store::PlainKey(i) : view.Key(i));
  }
  if (!view.HasWholeSize() || !data_.sizes.empty()) data_.AddSize(view.Size());
}

bool StreamStore::Select(API_DSInfo&, std::span<const std::int32_t>, const store::SelectOptions&,
                         store::DataSet& out) {
  out = data_;
  return true;
}

std::int32_t StreamStore::TestType(std::int32_t) { return Of().test_type; }

std::vector<API_CCSpecLim> StreamStore::SpecLimits(std::int32_t part, std::int32_t test) {
  return RowsOf(cache_.spec_limits, part, test);
}

std::vector<catalogue::ControlLimit> StreamStore::ControlLimits(std::int32_t part,
                                                                std::int32_t process,
                                                                std::int32_t test) {
  auto rows = RowsOf(cache_.control_limits, part, test);
  std::erase_if(rows, [&](const catalogue::ControlLimit& limit) {
    return limit.row.F_PRCS != 0 && limit.row.F_PRCS != process;
  });
  return rows;
}

std::vector<API_CCDefOpp> StreamStore::Opportunities(std::int32_t part, std::int32_t test) {
  return RowsOf(cache_.opportunities, part, test);
}

std::uint32_t StreamStore::AlarmBits(std::int32_t part, std::int32_t process, std::int32_t test,
                                     std::int32_t graph) {
  return store::RulesOn(cache_, std::nullopt, part, process, test, graph);
}

std::string StreamStore::Setting(std::string_view key, std::string_view fallback) {
  const auto found = cache_.settings.find(key);
  return found == cache_.settings.end() ? std::string(fallback) : found->second;
}

void StreamStore::Fail(std::int32_t number, std::string description) {
  throw platform::ExternalFailure(number, "Alarms", std::move(description));
}

}  // namespace orvspc::engine::alarms
