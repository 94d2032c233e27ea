// SPDX-License-Identifier: Apache-2.0
#include "engine/write/import/import_kind.h"

#include <algorithm>
#include <utility>

#include "engine/catalogue/nearest.h"
#include "engine/write/change/Items.h"
#include "engine/write/log/UndoneNames.h"

namespace orvspc::engine::import {

std::string InsertInto(std::string_view row) {
  std::string text = "INSERT INTO " + std::string(row) + " VALUES(?1";
  const auto commas = std::ranges::count(row, ',');
  for (std::ptrdiff_t i = 0; i < commas; ++i) text += ", ?" + std::to_string(i + 2);
  return text + ")";
}

NewRow InsertNew(std::string_view row) {
  const auto bracket = row.find('(');
  const std::string table(row.substr(0, bracket));
  return {table, InsertInto(table + "(id, " + std::string(row.substr(bracket + 1)))};
}

std::vector<std::string_view> WordsOf(std::string_view text) {
  std::vector<std::string_view> words;
  while (!text.empty()) {
    const auto stop = std::min(text.find(' '), text.size());
    if (stop > 0) words.push_back(text.substr(0, stop));
    text.remove_prefix(std::min(stop + 1, text.size()));
  }
  return words;
}

ImportNames::Table& ImportNames::Of(catalogue::ItemKind kind) {
  static const auto select = catalogue::TextsByKind([](catalogue::ItemKind each) {
    return "SELECT name, id, active FROM " + catalogue::TableOf(each);
  });
  static const auto select_former = catalogue::TextsByKind([](catalogue::ItemKind each) {
    return "SELECT a.name, i.id, i.name FROM alias a JOIN " + catalogue::TableOf(each) +
           " i ON i.id = a.item WHERE a.kind = ?1";
  });
  const auto place = static_cast<std::size_t>(kind);
  auto& table = tables_[place];
  if (!table.read) {
    sql::Query query(db_, select[place]);
    while (query.Step()) {
      table.ids.emplace(query.Text(0), query.Int(1));
      table.last = std::max(table.last, query.Int(1));
      if (query.Int(2) == 0) table.inactive.insert(query.Int(1));
    }
    sql::Query former(db_, select_former[place], catalogue::WordOf(kind));
    while (former.Step()) {
      // A name that an item has now is that of this item.
      if (!table.ids.emplace(former.Text(0), former.Int(1)).second) continue;
      table.former.emplace(former.Text(0), former.Text(2));
    }
    table.read = true;
  }
  return table;
}

std::optional<std::int32_t> ImportNames::Find(catalogue::ItemKind kind, std::string_view name) {
  const auto& table = Of(kind);
  const auto found = table.ids.find(name);
  if (found == table.ids.end()) return std::nullopt;
  if (!table.former.empty()) {
    const auto former = table.former.find(name);
    if (former != table.former.end()) renamed_.insert(*former);
  }
  return found->second;
}

bool ImportNames::WasUndone(catalogue::ItemKind kind, std::int32_t id) {
  return Of(kind).inactive.contains(id) && log::WasUndone(db_, kind, id);
}

std::optional<std::int32_t> ImportNames::FindUsed(catalogue::ItemKind kind, std::string_view name) {
  const auto id = Find(kind, name);
  return id && WasUndone(kind, *id) ? std::nullopt : id;
}

std::vector<std::pair<catalogue::ItemKind, std::int32_t>> ImportNames::Revived() const {
  std::vector<std::pair<catalogue::ItemKind, std::int32_t>> all;
  for (std::size_t i = 0; i < tables_.size(); ++i) {
    for (const auto id : tables_[i].new_again) {
      all.emplace_back(static_cast<catalogue::ItemKind>(i), id);
    }
  }
  return all;
}

std::vector<Note> ImportNames::Notes() const {
  auto notes = inactive_;
  for (const auto& [former, name] : renamed_) {
    notes.push_back({"former-name", "\"" + former + "\" is now called \"" + name + "\"", {}});
  }
  return notes;
}

std::int32_t ImportNames::Take(catalogue::ItemKind kind, std::string_view name) {
  if (const auto id = Find(kind, name)) {
    auto& table = Of(kind);
    if (table.inactive.erase(*id) == 0) return *id;
    if (log::ReviveUndone(db_, kind, *id)) {
      table.new_again.insert(*id);
      KeepNew(kind, name);
      ++added_;
    } else {
      inactive_.push_back({"inactive",
                           change::InactiveText(db_, kind, *id, std::string(name)) +
                               "; orvspc edit activate " + std::string(WordOf(kind)) +
                               " takes it back",
                           {}});
    }
    return *id;
  }
  static const auto rows = [] {
    std::array<NewRow, catalogue::kItemKinds> all;
    for (std::size_t i = 0; i < all.size(); ++i) {
      all[i] = InsertNew(catalogue::TableOf(static_cast<catalogue::ItemKind>(i)) + "(name)");
    }
    return all;
  }();
  KeepNew(kind, name);
  const auto id = static_cast<std::int32_t>(Add(db_, rows[static_cast<std::size_t>(kind)], name));
  Of(kind).ids.emplace(name, id);
  ++added_;
  return id;
}

void ImportNames::KeepNew(catalogue::ItemKind kind, std::string_view name) {
  constexpr std::size_t kMaxKept = 10;
  if (!catalogue::IsOfStream(kind) || new_items_.size() == kMaxKept) return;
  NewItem item{kind, std::string(name), {}};
  const auto& table = Of(kind);
  for (const auto& [other, id] : table.ids) {
    if (id > table.last || table.new_again.contains(id)) continue;
    if (catalogue::EditDistance(name, other) > 1 || WasUndone(kind, id)) continue;
    if (item.similar.empty() || other < item.similar) item.similar = other;
  }
  new_items_.push_back(std::move(item));
}

std::int32_t ImportFile::Take(std::size_t column, catalogue::ItemKind kind, std::string_view name) {
  if (refuse_new_items && catalogue::IsOfStream(kind) && !names.FindUsed(kind, name)) {
    table.Refuse(column, catalogue::NoSuchItem(db, kind, name));
  }
  return names.Take(kind, name);
}

std::array<std::int32_t, 3> ImportFile::Version(std::size_t part, std::size_t test,
                                                std::size_t effective, Reference process) {
  const std::array version{Item(part, catalogue::ItemKind::Part),
                           Item(test, catalogue::ItemKind::Test),
                           table.OptionalStamp(effective).value_or(time::kNoStamp)};
  const auto of = static_cast<std::int32_t>(process.id);
  if (!versions.insert({version[0], version[1], version[2], of}).second) {
    table.Refuse(test, "the file has a line for the same time already");
  }
  return version;
}

bool ImportFile::AddToGroup(catalogue::ItemKind kind, std::string_view group, std::int32_t item) {
  static const auto insert = InsertNew("item_group(kind, name)");
  const auto [id, is_new] = FindOrAdd(db, "SELECT id FROM item_group WHERE kind = ?1 AND name = ?2",
                                      insert, catalogue::WordOf(kind), group);
  if (is_new) ++report.new_names;
  return Run(db,
             "INSERT INTO item_group_member(item_group, item) VALUES(?1, ?2) "
             "ON CONFLICT DO NOTHING",
             id, item) != 0;
}

}  // namespace orvspc::engine::import
