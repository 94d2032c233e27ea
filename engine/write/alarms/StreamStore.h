// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "engine/chunks/chunk.h"
#include "engine/store/Store.h"
#include "engine/store/StoreCache.h"
#include "engine/store/phases.h"

namespace orvspc::engine::alarms {

// What charts of streams ask of a database beside values, each read once: until Forget(), which is
// due when another connection has written. Inside a transaction.
class ChartRows {
 public:
  // Null: there is no such stream. Lives until the next call.
  const store::Stream* Stream(sql::Connection& db, std::int64_t id);
  // With the limits of these streams.
  const store::StoreCache& Rows() const { return *rows_; }
  // When a row of limits was stored or approved.
  std::int64_t InUseSince(sql::Connection& db, std::int32_t limit);
  void Forget() { *this = {}; }

 private:
  std::optional<store::StoreCache> rows_;
  std::map<std::int64_t, store::Stream> streams_;
  std::map<std::int32_t, std::int64_t> since_;
};

// The newest records of one stream, with all that a chart of them asks of a store, inside the
// transaction that writes them.
class StreamStore final : public store::Store {
 public:
  // Both live as long as this.
  StreamStore(const ChartRows& rows, const store::Stream& stream)
      : cache_(rows.Rows()), stream_(stream) {}

  // Reads the records from first to last, and so many enabled ones on each side.
  void Read(sql::Connection& db, store::RecordKey first, store::RecordKey last, std::size_t beside);

  const store::Stream& Of() const { return stream_; }
  const store::StoreCache& Rows() const { return cache_; }
  const store::DataSet& Data() const { return data_; }

  // Whatever is selected, it is these records.
  bool Select(API_DSInfo& info, std::span<const std::int32_t> filter,
              const store::SelectOptions& options, store::DataSet& out) override;
  std::int32_t TestType(std::int32_t test) override;
  std::vector<API_CCSpecLim> SpecLimits(std::int32_t part, std::int32_t test) override;
  std::vector<catalogue::ControlLimit> ControlLimits(std::int32_t part, std::int32_t process,
                                                     std::int32_t test) override;
  std::vector<Phase> Phases(std::int32_t part, std::int32_t process, std::int32_t test) override {
    return store::PhasesOf(cache_.phases, part, process, test);
  }
  std::vector<API_CCDefOpp> Opportunities(std::int32_t part, std::int32_t test) override;
  const std::vector<catalogue::StoredRule>& Rules() override { return *cache_.rules; }
  std::uint32_t AlarmBits(std::int32_t part, std::int32_t process, std::int32_t test,
                          std::int32_t graph) override;
  std::string Setting(std::string_view key, std::string_view fallback) override;
  // Notes of this chart are nobody's.
  std::string StreamName(std::int32_t, std::int32_t, std::int32_t) override { return {}; }
  void Fail(std::int32_t number, std::string description) override;

 private:
  void Take(const store::RecordView& view);

  const store::StoreCache& cache_;
  const store::Stream& stream_;
  store::DataSet data_;
};

}  // namespace orvspc::engine::alarms
