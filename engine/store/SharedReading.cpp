// SPDX-License-Identifier: Apache-2.0
#include "engine/store/SharedReading.h"

#include <algorithm>
#include <exception>
#include <system_error>
#include <utility>

namespace orvspc::engine::store {
namespace {

// Time and subgroup in one order-preserving word; 0 sorts before every subgroup.
std::uint64_t PointOf(std::int32_t time, std::int32_t subgroup) {
  constexpr std::uint32_t kSign = 0x80000000u;
  return (std::uint64_t{static_cast<std::uint32_t>(time) ^ kSign} << 32) |
         (static_cast<std::uint32_t>(subgroup) ^ kSign);
}

std::uint64_t PointOfLast(const DataSet& set) {
  return PointOf(set.subgroups.back().Sgtm, set.subgroups.back().Sgrp);
}

}  // namespace

std::unique_ptr<SecondReader> SecondReader::Open(sql::Connection& first) noexcept {
  try {
    auto connection = first.OpenReader();
    if (connection == nullptr) return nullptr;
    return std::unique_ptr<SecondReader>(new SecondReader(std::move(connection)));
  } catch (const std::exception&) {
    return nullptr;
  }
}

bool SecondReader::Note() noexcept {
  try {
    noted_ = connection_->DataVersion();
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

bool SecondReader::Join() noexcept {
  try {
    reading_.emplace(*connection_, sql::TransactionKind::Read);
    if (connection_->DataVersion() == noted_) return true;
  } catch (const std::exception&) {
    // The first connection goes on alone.
  }
  Leave();
  return false;
}

bool OtherEnd::Meets(const RecordView& record, bool forward, Progress& progress) {
  const auto point = PointOf(record.Time(), record.Subgroup());
  if (progress.steps++ % stride_ == 0) {
    (forward ? from_oldest_ : from_newest_) = point;
    progress.other = forward ? from_newest_ : from_oldest_;
  }
  return forward ? point >= progress.other : point <= progress.other;
}

void OtherEnd::Read(const StreamReader& reader, const Stream& stream) noexcept {
  try {
    reader.Walk(second_.Get(), stream, forward_, [&](const RecordView& record) {
      if (stopped_.load(std::memory_order_relaxed)) return false;
      if (reader.Take(stream, record, set_) && set_.subgroups.size() == 1) {
        reader.Reserve(set_);
      }
      return !Meets(record, forward_, second_progress_);
    });
  } catch (...) {
    failure_ = std::current_exception();
  }
}

std::unique_ptr<OtherEnd> Share(const StreamReader& reader, const Stream& stream, bool forward,
                                TwoThreads& threads) {
  if (!threads.second->Join()) return nullptr;
  try {
    auto other = std::make_unique<OtherEnd>(reader, stream, forward, threads);
    threads.used = true;
    return other;
  } catch (const std::system_error&) {
    threads.second->Leave();
    return nullptr;
  } catch (...) {
    threads.second->Leave();
    throw;
  }
}

DataSet Join(DataSet ascending, DataSet descending, std::int64_t limit) {
  if (!ascending.subgroups.empty()) {
    const auto last = PointOfLast(ascending);
    while (!descending.subgroups.empty() && PointOfLast(descending) <= last) {
      descending.subgroups.pop_back();
      if (!descending.sizes.empty()) descending.sizes.pop_back();
    }
  }
  if (!ascending.keys.empty()) MakeKeyed(descending);
  if (!descending.subgroups.empty() && !descending.keys.empty()) MakeKeyed(ascending);
  const auto room = static_cast<std::int64_t>(ascending.subgroups.size()) +
                    static_cast<std::int64_t>(descending.subgroups.size()) - limit;
  if (room > 0) {
    DataSet newest;
    for (auto i = static_cast<std::size_t>(room); i < ascending.subgroups.size(); ++i) {
      CopySubgroup(ascending, i, newest);
    }
    ascending = std::move(newest);
  }
  ascending.subgroups.reserve(ascending.subgroups.size() + descending.subgroups.size());
  ascending.values.reserve(ascending.values.size() + descending.values.size());
  for (auto i = descending.subgroups.size(); i-- > 0;) CopySubgroup(descending, i, ascending);
  return ascending;
}

}  // namespace orvspc::engine::store
