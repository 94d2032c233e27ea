// SPDX-License-Identifier: Apache-2.0
#include <utility>

#include "tests/fake/libraries.h"

namespace orvspc::fake {
namespace {

// Answers a read with the script's records, which are in order of time: those of the process from
// the given time on, or the latest of any process before it.
class FakeStateLog : public platform::PrcsStateLog {
 public:
  explicit FakeStateLog(std::shared_ptr<World> world) : world_(std::move(world)) {}

  void RowLimit(std::int32_t value) override {
    world_->log.External("PrcsStateLog.RowLimit", value);
  }
  void KeyMode(std::int32_t value) override { world_->log.External("PrcsStateLog.KeyMode", value); }
  void ProcessID(std::int32_t value) override {
    world_->log.External("PrcsStateLog.ProcessID", value);
    process_ = value;
  }
  void QueryType(std::int32_t value) override {
    world_->log.External("PrcsStateLog.QueryType", value);
    query_ = value;
  }
  double Time() override { return Current().time; }
  void Time(double value) override {
    world_->log.External("PrcsStateLog.Time", value);
    time_ = value;
  }
  bool Read(const std::shared_ptr<platform::Database>& database, std::int32_t mode) override {
    world_->log.External("PrcsStateLog.Read", database ? "database" : "null", mode);
    list_.clear();
    at_ = 0;
    for (const auto& record : world_->script.state_log) {
      if (query_ == kForward && record.process == process_ && record.time >= time_)
        list_.push_back(record);
      if (query_ == kLatestBefore && record.time < time_) list_ = {record};
    }
    return !list_.empty();
  }
  void Add(platform::PrcsStateLog& record) override {
    world_->log.External("PrcsStateLog.Add");
    list_.push_back(dynamic_cast<FakeStateLog&>(record).Current());
  }
  bool MoveFirst() override {
    at_ = 0;
    return !list_.empty();
  }
  bool MoveNext() override {
    if (at_ + 1 >= list_.size()) return false;
    ++at_;
    return true;
  }
  std::int32_t Process() override { return Current().process; }
  std::int32_t StateID() override { return Current().state; }
  std::string StateName() override { return Current().name; }
  std::int32_t StateType() override { return Current().type; }

 private:
  const StateRecord& Current() const { return list_.at(at_); }

  std::shared_ptr<World> world_;
  std::vector<StateRecord> list_;
  std::size_t at_ = 0;
  std::int32_t query_ = 0, process_ = 0;
  double time_ = 0.0;
};

}  // namespace

std::shared_ptr<platform::PrcsStateLog> MakeStateLog(std::shared_ptr<World> world) {
  return std::make_shared<FakeStateLog>(std::move(world));
}

}  // namespace orvspc::fake
