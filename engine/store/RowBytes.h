// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

#include "engine/chunks/chunk.h"
#include "engine/store/StoreCache.h"

// What digests are made of.
namespace orvspc::engine::store {

// Values one after the other, each with its kind, so that no two rows read alike.
class RowBytes {
 public:
  void Null() { *Next(1) = 'n'; }
  void Number(std::int64_t value) { Fixed('i', value); }
  void Real(double value) { Fixed('r', value); }
  void Text(std::string_view text) {
    Fixed('t', static_cast<std::int64_t>(text.size()));
    Append(text);
  }
  // What another one has.
  void Append(std::string_view bytes) { std::ranges::copy(bytes, Next(bytes.size())); }
  std::string_view Bytes() const { return {bytes_.data(), used_}; }
  void Clear() { used_ = 0; }

 private:
  template <class T>
  void Fixed(char kind, T value) {
    char* const at = Next(1 + sizeof value);
    *at = kind;
    std::memcpy(at + 1, &value, sizeof value);
  }
  // Room for so many more.
  char* Next(std::size_t count) {
    used_ += count;
    if (used_ > bytes_.size()) bytes_.resize(2 * used_);
    return bytes_.data() + used_ - count;
  }
  std::vector<char> bytes_;
  std::size_t used_ = 0;
};

// Something by its name, which name_of(kind, id) gives.
template <class NameOf>
void AddName(RowBytes& row, catalogue::ItemKind kind, std::int32_t id, const NameOf& name_of) {
  id == 0 ? row.Null() : row.Text(name_of(kind, id));
}

template <class NameOf>
void AddContext(RowBytes& row, const Context& context, const NameOf& name_of) {
  for (std::size_t i = 0; i < context.size(); ++i) {
    AddName(row, kContextKinds[i].kind, context[i], name_of);
  }
}

// What a record holds, without its time and subgroup. add_context() adds the context.
template <class AddContextNames, class NameOf>
void AddContent(RowBytes& row, const Measurement& record, const AddContextNames& add_context,
                const NameOf& name_of) {
  row.Real(record.size);
  row.Number(record.flag);
  add_context();
  row.Number(static_cast<std::int64_t>(record.values.size()));
  for (const auto value : record.values) row.Real(value);
  if (ArePlain(record.keys)) return;
  for (const auto& key : record.keys) {
    row.Number(key.Tsno);
    row.Number(key.Sbno);
    for (const auto& kind : kRowKinds) AddName(row, kind.kind, key.*kind.member, name_of);
  }
}

}  // namespace orvspc::engine::store
