// SPDX-License-Identifier: Apache-2.0
#include "engine/dom/tree.h"

#include <cstring>
#include <limits>
#include <utility>

namespace orvspc::engine::dom {
namespace {

constexpr std::size_t kChunk = 32 * 1024;

}  // namespace

Id Tree::NameOf(std::string_view text) {
  const auto found = numbers_.find(text);
  if (found != numbers_.end()) return found->second;
  std::string start(1, ' ');
  start.append(text).append("=\"");
  names_.push_back(std::make_unique<Name>());
  names_.back()->start = std::move(start);
  const auto id = static_cast<Id>(names_.size());
  numbers_.emplace(names_.back()->Text(), id);
  return id;
}

Id Tree::AddNode(Id name) {
  const Id id = nodes_.Add();
  nodes_[id] = Node{name, 0, 0, 0, 0, 0, 0};
  if (name != 0) plain_size_ += 2 * NameAt(name).start.size() - 1;  // <name></name>
  return id;
}

Id Tree::AddAttribute(Id node, Id name, std::string_view text) {
  if (text.size() > std::numeric_limits<std::uint32_t>::max())
    throw std::length_error("text too long");
  const Id id = attributes_.Add();
  attributes_[id] = Attribute{text.data(), static_cast<std::uint32_t>(text.size()), name, 0};
  Node& owner = nodes_[node];
  if (owner.first_attribute == 0) {
    owner.first_attribute = id;
  } else {
    attributes_[owner.last_attribute].next = id;
  }
  owner.last_attribute = id;
  plain_size_ += text.size() + (name == 0 ? 0 : NameAt(name).start.size() + 1);
  return id;
}

void Tree::Append(Id parent, Id child) {
  Node& above = nodes_[parent];
  nodes_[child].parent = parent;
  if (above.first_child == 0) {
    above.first_child = child;
  } else {
    nodes_[above.last_child].next = child;
  }
  above.last_child = child;
}

void Tree::Detach(Id child) {
  Node& record = nodes_[child];
  if (record.parent == 0) return;
  Node& above = nodes_[record.parent];
  Id before = 0;
  for (Id at = above.first_child; at != child; at = nodes_[at].next) before = at;
  if (before == 0) {
    above.first_child = record.next;
  } else {
    nodes_[before].next = record.next;
  }
  if (above.last_child == child) above.last_child = before;
  record.parent = record.next = 0;
}

std::string_view Tree::Keep(std::string_view text) {
  if (text.empty()) return {};
  char* const memory = Memory(text.size());
  std::memcpy(memory, text.data(), text.size());
  return {memory, text.size()};
}

char* Tree::Memory(std::size_t size) {
  if (size > kChunk / 4) {
    chunks_.push_back(std::make_unique_for_overwrite<char[]>(size));
    return chunks_.back().get();
  }
  if (size > left_) {
    chunks_.push_back(std::make_unique_for_overwrite<char[]>(kChunk));
    free_ = chunks_.back().get();
    left_ = kChunk;
  }
  char* const memory = free_;
  free_ += size;
  left_ -= size;
  return memory;
}

}  // namespace orvspc::engine::dom
