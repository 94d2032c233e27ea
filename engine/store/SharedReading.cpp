// SPDX-License-Identifier: Apache-2.0
#include "engine/store/SharedReading.h"

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
    return std::unique_ptr<SecondReader>(new SecondReader(first, std::move(connection)));
  } catch (const std::exception&) {
    return nullptr;
  }
}

bool SecondReader::Note() noexcept {
  can_join_ = true;
  try {
    connection_->NoteState();
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

bool SecondReader::Join() {
  if (!can_join_) return false;
  try {
    return connection_->BeginBeside(first_);
  } catch (const sql::SqlError& error) {
    Leave();
    if (error.Which() != sql::SqlError::Kind::Lost) return false;
    can_join_ = false;
    throw;
  } catch (const std::exception&) {
    // The first connection goes on alone.
    Leave();
    return false;
  }
}

bool OtherEnd::Meets(const StreamWalk::Run& run, bool forward) {
  const auto last = run.chunk->Record(forward ? run.end - 1 : run.begin).Key();
  const auto point = PointOf(last.time, last.subgroup);
  (forward ? from_oldest_ : from_newest_) = point;
  return forward ? point >= from_newest_ : point <= from_oldest_;
}

void OtherEnd::Read(const StreamReader& reader, const Stream& stream) noexcept {
  try {
    auto walk = reader.Walk(second_.Get(), stream, forward_);
    while (const auto run = walk.Next()) {
      if (stopped_.load(std::memory_order_relaxed)) return;
      const bool is_first = set_.Count() == 0;
      reader.TakeRun(stream, *run, forward_ ? set_.data : set_.Next());
      if (is_first && set_.Count() > 0) reader.Reserve(set_.data);
      if (Meets(*run, forward_)) return;
    }
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

DataSet Join(DataSet ascending, DescendingRuns descending, std::int64_t limit) {
  auto& newer = descending.data;
  auto& starts = descending.starts;
  if (ascending.subgroups.empty() && starts.size() <= 1) {
    ascending = std::move(newer);
    newer = {};
  }
  const auto last = ascending.subgroups.empty() ? 0 : PointOfLast(ascending);
  if (!ascending.keys.empty()) MakeKeyed(newer);
  if (!newer.subgroups.empty() && !newer.keys.empty()) MakeKeyed(ascending);
  ascending.subgroups.reserve(ascending.subgroups.size() + newer.subgroups.size());
  ascending.values.reserve(ascending.values.size() + newer.values.size());
  auto end = newer.subgroups.size();
  for (; !starts.empty() && end > 0; starts.pop_back()) {
    auto begin = starts.back();
    const auto start = begin;
    const auto point_at = [&](std::size_t i) {
      return PointOf(newer.subgroups[i].Sgtm, newer.subgroups[i].Sgrp);
    };
    while (begin < end && point_at(begin) <= last) ++begin;
    CopySubgroups(newer, begin, end, ascending);
    end = start;
  }
  const auto room = static_cast<std::int64_t>(ascending.subgroups.size()) - limit;
  if (room <= 0) return ascending;
  DataSet newest;
  CopySubgroups(ascending, static_cast<std::size_t>(room), ascending.subgroups.size(), newest);
  return newest;
}

}  // namespace orvspc::engine::store
