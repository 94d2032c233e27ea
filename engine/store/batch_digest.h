// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "engine/chunks/chunk.h"
#include "engine/sql/Connection.h"
#include "engine/store/RowBytes.h"
#include "system/Sha256.h"

// What a batch of records brought, in one number that can be worked out again from what is stored:
// identifiers that are given anew do not change it.
//
//   record   SHA-256 goes over its label, time, size, flag, context, values and keys, with names in
//            place of identifiers; comments and descriptors live on their own
//   stream   SHA-256 of its records by time and identifier of the subgroup
//   batch    SHA-256 of the names of part, process and test and the digest of each stream, by names
namespace orvspc::engine::store {

// The name of an item.
using NameOfItem = std::function<std::string_view(catalogue::ItemKind kind, std::int32_t id)>;
using NamesOfStream = std::array<std::string, 3>;  // of part, process and test

// The records of one stream of a batch, in their order.
class StreamDigest {
 public:
  // context: the bytes of the names, see AddContext.
  void Add(const Measurement& record, std::string_view label, std::string_view context,
           const NameOfItem& name_of);
  // One of whom only the bytes are at hand.
  void Add(const RecordKey& key, std::string_view bytes);
  std::int64_t Count() const { return count_; }
  // Whether each record came after the one before it.
  bool IsInOrder() const { return is_in_order_; }
  // Begins anew.
  system::Sha256::Digest Finish();

 private:
  void Note(const RecordKey& key);

  system::Sha256 sha_;
  RowBytes bytes_;
  RecordKey last_;
  std::int64_t count_ = 0;
  bool is_in_order_ = true;
};

// The bytes of a record as StreamDigest adds them.
void AddRecord(RowBytes& row, const Measurement& record, std::string_view label,
               std::string_view context, const NameOfItem& name_of);

// Of all streams, in hexadecimal digits; empty without any.
std::string DigestOfStreams(std::vector<std::pair<NamesOfStream, system::Sha256::Digest>> streams);

// The digest of a batch that is being written.
class BatchDigest {
 public:
  explicit BatchDigest(sql::Connection& db) : db_(db) {}

  // Records of a stream, as they are written or will be, with the label of each subgroup.
  void Add(std::int64_t stream, std::span<const Measurement> records,
           std::span<const std::string_view> labels);
  // Once all is written. Streams whose records came in another order are read again, those that
  // name the batch.
  std::string Finish(std::int64_t batch);
  // In the digest, each once.
  std::int64_t Records() const { return records_; }

 private:
  std::string_view NameOf(catalogue::ItemKind kind, std::int32_t id);
  std::string_view ContextOf(std::int32_t id);
  void ReadAgain(std::int64_t batch);

  sql::Connection& db_;
  NameOfItem name_of_ = [this](catalogue::ItemKind kind, std::int32_t id) {
    return NameOf(kind, id);
  };
  std::map<std::int64_t, StreamDigest> streams_;
  std::unordered_map<std::int64_t, std::string> names_;     // by kind and identifier
  std::unordered_map<std::int32_t, std::string> contexts_;  // bytes
  std::pair<std::int32_t, std::string_view> latest_context_{-1, {}};
  std::int32_t lowest_subgroup_ = INT32_MAX;
  std::int64_t records_ = 0;
};

}  // namespace orvspc::engine::store
