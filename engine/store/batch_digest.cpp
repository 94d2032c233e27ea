// SPDX-License-Identifier: Apache-2.0
#include "engine/store/batch_digest.h"

#include <algorithm>
#include <array>

#include "engine/catalogue/References.h"
#include "engine/chunks/StreamWalk.h"
#include "engine/chunks/subgroups.h"

namespace orvspc::engine::store {

void AddRecord(RowBytes& row, const Measurement& record, std::string_view label,
               std::string_view context, const NameOfItem& name_of) {
  row.Text(label);
  row.Number(record.time);
  AddContent(
      row, record, [&] { row.Append(context); }, name_of);
}

void StreamDigest::Note(const RecordKey& key) {
  is_in_order_ = is_in_order_ && (count_ == 0 || last_ < key);
  last_ = key;
  ++count_;
}

void StreamDigest::Add(const Measurement& record, std::string_view label, std::string_view context,
                       const NameOfItem& name_of) {
  constexpr std::size_t kMany = 8192;  // in the fastest cache
  Note({record.time, record.subgroup});
  AddRecord(bytes_, record, label, context, name_of);
  if (bytes_.Bytes().size() < kMany) return;
  sha_.Add(bytes_.Bytes());
  bytes_.Clear();
}

void StreamDigest::Add(const RecordKey& key, std::string_view bytes) {
  Note(key);
  bytes_.Append(bytes);
}

system::Sha256::Digest StreamDigest::Finish() {
  sha_.Add(bytes_.Bytes());
  bytes_.Clear();
  count_ = 0;
  is_in_order_ = true;
  return sha_.Finish();
}

std::string DigestOfStreams(std::vector<std::pair<NamesOfStream, system::Sha256::Digest>> streams) {
  if (streams.empty()) return {};
  std::ranges::sort(streams);
  RowBytes row;
  for (const auto& [names, digest] : streams) {
    for (const auto& name : names) row.Text(name);
    row.Text({reinterpret_cast<const char*>(digest.data()), digest.size()});
  }
  system::Sha256 sha;
  sha.Add(row.Bytes());
  return system::HexOf(sha.Finish());
}

std::string_view BatchDigest::NameOf(catalogue::ItemKind kind, std::int32_t id) {
  static const auto texts = catalogue::TextsByKind([](catalogue::ItemKind each) {
    return "SELECT name FROM " + catalogue::TableOf(each) + " WHERE id = ?1";
  });
  constexpr int kIdBits = 32;
  const auto [at, is_new] =
      names_.try_emplace(static_cast<std::int64_t>(kind) << kIdBits | id, std::string());
  if (is_new) {
    sql::Query query(db_, texts[static_cast<std::size_t>(kind)], id);
    if (query.Step()) at->second = query.Text(0);
  }
  return at->second;
}

std::string_view BatchDigest::ContextOf(std::int32_t id) {
  if (id == latest_context_.first) return latest_context_.second;
  const auto [at, is_new] = contexts_.try_emplace(id);
  if (is_new) {
    static const auto text = "SELECT " + ContextColumns() + " FROM context WHERE id = ?1";
    Context context{};
    if (id != 0) {
      sql::Query query(db_, text, id);
      if (query.Step()) query.Read(context);
    }
    RowBytes row;
    AddContext(row, context, name_of_);
    at->second = row.Bytes();
  }
  latest_context_ = {id, at->second};
  return at->second;
}

void BatchDigest::Add(std::int64_t stream, std::span<const Measurement> records,
                      std::span<const std::string_view> labels) {
  auto& digest = streams_[stream];
  for (std::size_t i = 0; i < records.size(); ++i) {
    lowest_subgroup_ = std::min(lowest_subgroup_, records[i].subgroup);
    // Of a stream that is to be read again nothing more is needed.
    if (!digest.IsInOrder()) continue;
    digest.Add(records[i], labels[i], ContextOf(records[i].context), name_of_);
  }
}

void BatchDigest::ReadAgain(std::int64_t batch) {
  std::unordered_map<std::int32_t, std::string> labels;
  for (auto& [id, label] : ReadLabels(db_, lowest_subgroup_, INT32_MAX)) {
    labels.emplace(id, std::move(label));
  }
  std::vector<double> values;
  std::vector<RowKey> keys;
  for (auto& [stream, of_stream] : streams_) {
    auto& digest = of_stream;
    if (digest.IsInOrder()) continue;
    digest.Finish();
    ForEachRecord(db_, stream, [&](const RecordView& record) {
      if (record.Batch() != batch) return;
      digest.Add(record.Copy(values, keys), labels[record.Subgroup()], ContextOf(record.Context()),
                 name_of_);
    });
  }
}

std::string BatchDigest::Finish(std::int64_t batch) {
  if (std::ranges::any_of(streams_, [](const auto& each) { return !each.second.IsInOrder(); })) {
    ReadAgain(batch);
  }
  std::vector<std::pair<NamesOfStream, system::Sha256::Digest>> all;
  records_ = 0;
  for (auto& [stream, digest] : streams_) {
    std::array<std::int32_t, 3> ids{};
    sql::Query query(db_, "SELECT part, process, test FROM stream WHERE id = ?1", stream);
    if (query.Step()) query.Read(ids);
    records_ += digest.Count();
    using enum catalogue::ItemKind;
    all.push_back({{std::string(NameOf(Part, ids[0])), std::string(NameOf(Process, ids[1])),
                    std::string(NameOf(Test, ids[2]))},
                   digest.Finish()});
  }
  streams_.clear();
  return DigestOfStreams(std::move(all));
}

}  // namespace orvspc::engine::store
