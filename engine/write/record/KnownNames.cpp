// SPDX-License-Identifier: Apache-2.0
#include "engine/write/record/KnownNames.h"

#include <charconv>
#include <utility>

#include "engine/write/log/UndoneNames.h"

namespace orvspc::engine::record {
namespace {

// Serial numbers, for one, are new each time.
constexpr std::size_t kMostKept = 100'000;

const import::NewRow& NewItem(ItemKind kind) {
  static const auto rows = [] {
    std::array<import::NewRow, kItemKinds> all;
    for (std::size_t i = 0; i < all.size(); ++i) {
      all[i] = import::InsertNew(catalogue::TableOf(static_cast<ItemKind>(i)) + "(name)");
    }
    return all;
  }();
  return rows[static_cast<std::size_t>(kind)];
}

}  // namespace

const KnownItem* KnownNames::Find(ItemKind kind, std::string_view name) {
  static const auto by_name = catalogue::TextsByKind([](ItemKind each) {
    return "SELECT id, active FROM " + catalogue::TableOf(each) + " WHERE name = ?1";
  });
  static const auto by_alias = catalogue::TextsByKind([](ItemKind each) {
    return "SELECT i.id, i.active, i.name FROM alias a JOIN " + catalogue::TableOf(each) +
           " i ON i.id = a.item WHERE a.kind = ?1 AND a.name = ?2";
  });
  const auto place = static_cast<std::size_t>(kind);
  auto& items = items_[place];
  if (const auto found = items.find(name); found != items.end()) return &found->second;
  KnownItem item;
  {
    sql::Query query(db_, by_name[place], name);
    if (query.Step()) query.Read(item.id, item.is_active);
  }
  if (item.id == 0) {
    sql::Query query(db_, by_alias[place], WordOf(kind), name);
    if (query.Step()) query.Read(item.id, item.is_active, item.renamed_to);
  }
  if (item.id == 0) return nullptr;
  item.was_undone = !item.is_active && log::WasUndone(db_, kind, item.id);
  if (items.size() >= kMostKept) items.clear();
  return &items.emplace(name, std::move(item)).first->second;
}

std::int32_t KnownNames::Take(ItemKind kind, std::string_view name) {
  if (const auto* found = Find(kind, name)) {
    const auto id = found->id;
    if (!found->was_undone) return id;
    if (log::ReviveUndone(db_, kind, id)) revived_.emplace_back(kind, id);
    auto& items = items_[static_cast<std::size_t>(kind)];
    const auto kept = items.find(name);
    if (kept != items.end()) kept->second = {id, true, false, kept->second.renamed_to};
    return id;
  }
  const auto id = static_cast<std::int32_t>(import::Add(db_, NewItem(kind), name));
  items_[static_cast<std::size_t>(kind)].emplace(name, KnownItem{id, true, false, {}});
  return id;
}

std::string KnownNames::Present(ItemKind kind, const std::string& name) {
  const auto* item = Find(kind, name);
  return item == nullptr || item->renamed_to.empty() ? name : item->renamed_to;
}

KnownStream& KnownNames::Stream(const std::string& part, const std::string& process,
                                const std::string& test) {
  const std::array names = {Present(ItemKind::Part, part), Present(ItemKind::Process, process),
                            Present(ItemKind::Test, test)};
  const auto [found, is_new] = streams_.try_emplace(names);
  auto& stream = found->second;
  if (is_new) stream.names = names;
  // One with a new name may have got it from another stream since.
  if (is_new || stream.id == 0) Read(stream);
  return stream;
}

void KnownNames::Read(KnownStream& stream) {
  const auto& [part, process, test] = stream.names;
  const auto id_of = [&](ItemKind kind, const std::string& name) {
    const auto* item = Find(kind, name);
    if (item == nullptr) return 0;
    stream.was_undone |= item->was_undone;
    return item->id;
  };
  stream.was_undone = false;
  stream.part = id_of(ItemKind::Part, part);
  stream.process = id_of(ItemKind::Process, process);
  stream.test = id_of(ItemKind::Test, test);
  stream.type = static_cast<std::int32_t>(
      import::IntOf(db_, "SELECT type FROM test WHERE id = ?1", stream.test).value_or(0));
  stream.id =
      import::IntOf(db_, "SELECT id FROM stream WHERE part = ?1 AND process = ?2 AND test = ?3",
                    stream.part, stream.process, stream.test)
          .value_or(0);
  stream.limits = write::ReadReasonableLimits(db_, stream.part, stream.test);
  const std::string name("subgroup_size");
  const auto text = Setting(name + ":" + part + "/" + process + "/" + test, Setting(name, "0"));
  std::from_chars(text.data(), text.data() + text.size(), stream.subgroup_size);
}

void KnownNames::Settle(KnownStream& stream, std::int32_t type) {
  static const auto insert = import::InsertNew("stream(part, process, test)");
  const auto& [part, process, test] = stream.names;
  stream.part = Take(ItemKind::Part, part);
  stream.process = Take(ItemKind::Process, process);
  stream.test = Take(ItemKind::Test, test);
  stream.was_undone = false;
  if (stream.id == 0) {
    stream.id = import::FindOrAdd(
                    db_, "SELECT id FROM stream WHERE part = ?1 AND process = ?2 AND test = ?3",
                    insert, stream.part, stream.process, stream.test)
                    .id;
  }
  if (stream.type == type) return;
  import::Run(db_, "UPDATE test SET type = ?2 WHERE id = ?1", stream.test, type);
  for (auto& [names, each] : streams_) {
    if (each.test == stream.test) each.type = type;
  }
}

std::int32_t KnownNames::ContextId(const store::Context& context) {
  if (context == store::Context{}) return 0;
  const auto found = contexts_.find(context);
  if (found != contexts_.end()) return found->second;
  static const auto insert = import::InsertNew("context(" + store::ContextColumns() + ")");
  static const std::string select = [] {
    std::string text = "SELECT id FROM context WHERE ";
    for (std::size_t i = 0; i < std::size(store::kContextKinds); ++i) {
      text += (i == 0 ? "" : " AND ") +
              ("coalesce(" + std::string(store::kContextKinds[i].column) + ", 0) = ?") +
              std::to_string(i + 1);
    }
    return text;
  }();
  std::int32_t id = 0;
  if (const auto stored = import::IntOf(db_, select, context)) {
    id = static_cast<std::int32_t>(*stored);
  } else {
    std::array<import::Reference, std::tuple_size_v<store::Context>> names;
    for (std::size_t i = 0; i < names.size(); ++i) names[i] = {context[i]};
    id = static_cast<std::int32_t>(import::Add(db_, insert, names));
  }
  if (contexts_.size() >= kMostKept) contexts_.clear();
  return contexts_[context] = id;
}

std::int32_t KnownNames::DescriptorId(std::string_view group, std::string_view name) {
  static const auto insert_group = import::InsertNew("descriptor_group(name)");
  static const auto insert = import::InsertNew("descriptor(descriptor_group, name)");
  const auto in = import::FindOrAdd(db_, "SELECT id FROM descriptor_group WHERE name = ?1",
                                    insert_group, group);
  return static_cast<std::int32_t>(
      import::FindOrAdd(db_, "SELECT id FROM descriptor WHERE descriptor_group = ?1 AND name = ?2",
                        insert, in.id, name)
          .id);
}

std::string KnownNames::Setting(std::string_view key, std::string_view fallback) {
  auto found = settings_.find(key);
  if (found == settings_.end()) {
    sql::Query query(db_, "SELECT value FROM setting WHERE key = ?1 ORDER BY id DESC LIMIT 1", key);
    found = settings_.emplace(key, query.Step() ? query.Text(0) : std::string_view()).first;
  }
  return found->second.empty() ? std::string(fallback) : found->second;
}

bool KnownNames::Refresh() {
  const auto version = db_.DataVersion();
  if (version == data_version_ && streams_.size() <= kMostKept) return false;
  Forget();
  data_version_ = version;
  patience_ = store::PatienceOf(Setting(store::kPatienceSetting, ""));
  return true;
}

void KnownNames::Forget() {
  for (auto& each : items_) each.clear();
  revived_.clear();
  streams_.clear();
  contexts_.clear();
  settings_.clear();
  last_labels_.clear();
  highest_labels_.Forget();
  ends_.Clear();
}

}  // namespace orvspc::engine::record
