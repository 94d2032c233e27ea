// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "engine/catalogue/References.h"
#include "engine/chunks/StreamWalk.h"
#include "engine/sql/Connection.h"
#include "engine/store/SqlStore.h"
#include "engine/store/StoreCache.h"
#include "engine/write/import/import_kind.h"
#include "engine/write/last_label.h"
#include "engine/write/record_rules.h"

namespace orvspc::engine::record {

struct KnownItem {
  std::int32_t id = 0;
  bool is_active = true;
  bool was_undone = false;  // not active since its batch was undone: active once it is written
  std::string renamed_to;   // the present name of an item that was found by a former one
};

// What recording asks about a part, process and test.
struct KnownStream {
  std::array<std::string, 3> names;              // of these, as they are called now
  std::int32_t part = 0, process = 0, test = 0;  // identifiers; 0: the database lacks the name
  std::int64_t id = 0;                           // 0: has no values yet
  std::int32_t type = 0;                         // of the test; 0: not settled yet
  bool was_undone = false;                       // one of the names
  std::int32_t subgroup_size = 0;                // pieces that belong to a subgroup; 0: any number
  std::vector<write::ReasonableLimits> limits;   // by effective time
};

// Names of the database, each looked up once until somebody else has written. Inside a transaction;
// functions throw SqlError.
class KnownNames {
 public:
  explicit KnownNames(sql::Connection& db) : db_(db) {}

  // Null for a name that the database lacks. Lives until the next call.
  const KnownItem* Find(ItemKind kind, std::string_view name);
  // Adds a name that is new, as imports do. What was undone is in use again.
  std::int32_t Take(ItemKind kind, std::string_view name);

  // Those that were undone and are in use again since the latest call.
  std::vector<std::pair<ItemKind, std::int32_t>> TakeRevived() {
    return std::exchange(revived_, {});
  }

  // What it is called now; the name itself unless it is a former one.
  std::string Present(ItemKind kind, const std::string& name);

  // The same one for present and former names. Lives until Forget().
  KnownStream& Stream(const std::string& part, const std::string& process, const std::string& test);
  // Whether Settle() has something to do.
  static bool IsSettled(const KnownStream& stream) {
    return stream.id != 0 && stream.type != 0 && !stream.was_undone;
  }
  // Adds what is new: names, the stream, the type of the test.
  void Settle(KnownStream& stream, std::int32_t type);

  std::int32_t ContextId(const store::Context& context);
  std::int32_t DescriptorId(std::string_view group, std::string_view name);

  store::SealedEnds& Ends() { return ends_; }

  // Of part and process, as the database has it; empty: not looked up yet.
  std::optional<std::int64_t>& LastLabel(std::int32_t part, std::int32_t process) {
    return last_labels_[{part, process}];
  }
  // For those without a last label: what is recorded with a number gives them one.
  write::HighestLabels& HighestLabels() { return highest_labels_; }

  // How long to wait for other writers, as of the latest Refresh().
  std::chrono::seconds Patience() const { return patience_; }
  // The value of a setting, else the fallback.
  std::string Setting(std::string_view key, std::string_view fallback);

  // At the begin of a transaction: forgets everything, and says so, if somebody else has written
  // since the latest one, or if it is very much.
  bool Refresh();
  // After what was added here was taken back.
  void Forget();

 private:
  using Ids = std::unordered_map<std::string, KnownItem, import::TextHash, std::equal_to<>>;

  void Read(KnownStream& stream);

  sql::Connection& db_;
  std::array<Ids, kItemKinds> items_;
  std::vector<std::pair<ItemKind, std::int32_t>> revived_;
  std::map<std::array<std::string, 3>, KnownStream> streams_;
  std::map<store::Context, std::int32_t> contexts_;
  std::map<std::string, std::string, std::less<>> settings_;
  std::map<std::pair<std::int32_t, std::int32_t>, std::optional<std::int64_t>> last_labels_;
  write::HighestLabels highest_labels_;
  store::SealedEnds ends_;
  std::chrono::seconds patience_ = store::kPatience;
  std::optional<std::int64_t> data_version_;
};

}  // namespace orvspc::engine::record
