// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <charconv>
#include <memory>
#include <utility>

#include "engine/chunks/subgroups.h"
#include "engine/write/change/Comments.h"
#include "engine/write/change/Records.h"
#include "engine/write/import/import_kind.h"
#include "platform/Actor.h"
#include "platform/Enumerations.h"

// Changes of subgroups that are stored, many at a time: each line is what a command changes.
namespace orvspc::engine::import {
namespace {

using catalogue::ItemKind;

constexpr ImportColumn kFlagColumns[] = {
    {"flag", kRequired, "enabled, disabled, incomplete or 0, 1, 2; what the subgroup becomes"},
    {"subgroup", kOptional, "its number, such as #4711; without it the next columns say which"},
    {"part", kOptional, "name"},
    {"process", kOptional, "name"},
    {"label", kOptional, "what the subgroup is called, the column subgroup of values"},
    {"at", kOptional, "time of the subgroup"},
    {"test", kOptional, "name; without it all tests that the subgroup has values of"},
    {"expect", kOptional,
     "the version that you saw; the file is refused where somebody else was quicker"}};

constexpr ImportColumn kCommentColumns[] = {
    {"comment", kRequired, "the text, 1 to 4000 characters"},
    {"subgroup", kOptional, "its number, such as #4711; without it the next columns say which"},
    {"part", kOptional, "name"},
    {"process", kOptional, "name"},
    {"label", kOptional, "what the subgroup is called, the column subgroup of values"},
    {"at", kOptional, "time of the subgroup"},
    {"test", kOptional, "name; without it the comment is of the whole subgroup"},
    {"tsno", kOptional, "number of the piece that it is about; needs test"}};

constexpr catalogue::NamedValue kFlagWords[] = {
    {"enabled", sfEnabled}, {"disabled", sfDisabled}, {"incomplete", sfIncomplete}};

using OfFlags = PlaceIn<kFlagColumns>;
using OfComments = PlaceIn<kCommentColumns>;

// The columns that name a subgroup have the same places in both.
enum Naming : std::size_t { kSubgroup = 1, kPart, kProcess, kLabel, kAt, kTest };
static_assert(OfFlags("subgroup") == kSubgroup && OfComments("subgroup") == kSubgroup);
static_assert(OfFlags("test") == kTest && OfComments("test") == kTest);

// Part, process, time and label of a subgroup, as far as a line gives them.
struct Description {
  std::optional<std::int32_t> part = {}, process = {}, time = {};
  std::optional<std::string_view> label = {};

  bool IsEmpty() const { return !part && !process && !time && !label; }
  bool IsWhole() const { return part && process && time && label; }
  bool Fits(const store::SubgroupFacts& facts) const {
    return (!part || *part == facts.part) && (!process || *process == facts.process) &&
           (!time || *time == facts.time) && (!label || *label == facts.label);
  }
  // Which of them are given.
  std::size_t Mask() const {
    return (part ? 1U : 0U) | (process ? 2U : 0U) | (time ? 4U : 0U) | (label ? 8U : 0U);
  }
};

// The subgroups of the database by whatever lines name them by.
class SubgroupFinder {
 public:
  explicit SubgroupFinder(sql::Connection& db) : db_(db) {}

  // By identifier.
  std::vector<std::int32_t> Find(const Description& wanted) {
    if (wanted.IsWhole()) {
      const store::SubgroupFacts facts{0, *wanted.part, *wanted.process, *wanted.time,
                                       *wanted.label};
      const auto id = store::FindSubgroups(db_, std::span(&facts, 1)).front();
      return id == 0 ? std::vector<std::int32_t>() : std::vector{id};
    }
    std::vector<std::int32_t> found;
    const auto [begin, end] =
        Of(wanted.Mask())
            .equal_range(HashOf(wanted.Mask(), wanted.part.value_or(0), wanted.process.value_or(0),
                                wanted.time.value_or(0),
                                wanted.label.value_or(std::string_view())));
    for (auto each = begin; each != end; ++each) {
      if (Has(each->second, wanted)) found.push_back(each->second);
    }
    std::ranges::sort(found);
    return found;
  }

  bool Has(std::int32_t id, const Description& wanted) {
    bool fits = false;
    store::ForEachSubgroup(db_, id, id, [&](const auto& facts) { fits = wanted.Fits(facts); });
    return fits;
  }

 private:
  using ByHash = std::unordered_multimap<std::size_t, std::int32_t>;

  static std::size_t HashOf(std::size_t mask, std::int32_t part, std::int32_t process,
                            std::int32_t time, std::string_view label) {
    std::size_t hash = (mask & 8U) != 0 ? std::hash<std::string_view>()(label) : 0;
    const auto mix = [&](std::size_t bit, std::int32_t number) {
      if ((mask & bit) != 0) hash = hash * 1'000'003 + static_cast<std::uint32_t>(number);
    };
    mix(1, part);
    mix(2, process);
    mix(4, time);
    return hash;
  }

  // Read once for each set of columns that lines give.
  const ByHash& Of(std::size_t mask) {
    auto& subgroups = by_mask_[mask];
    if (subgroups == nullptr) {
      subgroups = std::make_unique<ByHash>();
      store::ForEachSubgroup(db_, 1, INT32_MAX, [&](const store::SubgroupFacts& each) {
        subgroups->emplace(HashOf(mask, each.part, each.process, each.time, each.label), each.id);
      });
    }
    return *subgroups;
  }

  sql::Connection& db_;
  std::array<std::unique_ptr<ByHash>, 16> by_mask_;
};

// "#12 #57 #90 ..."
std::string Listed(const std::vector<std::int32_t>& ids) {
  constexpr std::size_t kMax = 10;
  std::string text;
  for (std::size_t i = 0; i < std::min(ids.size(), kMax); ++i) {
    text += (i == 0 ? "#" : " #") + std::to_string(ids[i]);
  }
  return text + (ids.size() > kMax ? " ..." : "");
}

std::optional<std::int32_t> KnownItem(ImportFile& file, Naming column, ItemKind kind) {
  const auto name = file.table.Cell(column);
  if (name.empty()) return std::nullopt;
  if (const auto id = file.names.FindUsed(kind, name)) return id;
  file.table.Refuse(column, "is not in the database");
}

Description DescriptionOf(ImportFile& file) {
  Description wanted;
  wanted.part = KnownItem(file, kPart, ItemKind::Part);
  wanted.process = KnownItem(file, kProcess, ItemKind::Process);
  wanted.time = file.table.OptionalStamp(kAt);
  if (const auto label = file.table.Cell(kLabel); !label.empty()) wanted.label = label;
  return wanted;
}

// "#4711". Without its sign only where nothing else names a subgroup: it may be a label.
std::int32_t NumberOf(const ImportTable& table, const Description& wanted) {
  auto cell = table.Cell(kSubgroup);
  const bool has_sign = cell.starts_with('#');
  if (!has_sign && !wanted.IsEmpty()) {
    table.Refuse(kSubgroup,
                 "is no number of a subgroup such as #4711; its label has the column label");
  }
  if (has_sign) cell.remove_prefix(1);
  std::int32_t id = 0;
  const auto* const end = cell.data() + cell.size();
  const auto read = std::from_chars(cell.data(), end, id);
  if (read.ec != std::errc() || read.ptr != end || id < 1) {
    table.Refuse(kSubgroup, "is no subgroup; write it as #4711");
  }
  return id;
}

// The one that the line names. A deleted one leaves its label to others, as it does elsewhere.
std::int32_t SubgroupOf(ImportFile& file, SubgroupFinder& finder) {
  const auto& table = file.table;
  const auto wanted = DescriptionOf(file);
  if (!table.Cell(kSubgroup).empty()) {
    const auto id = NumberOf(table, wanted);
    if (!finder.Has(id, {})) table.Refuse(kSubgroup, "is not in the database");
    if (!finder.Has(id, wanted)) {
      table.Refuse(kSubgroup, "has another part, process, label or time than the line says");
    }
    return id;
  }
  if (wanted.IsEmpty()) {
    table.Refuse(kSubgroup, "which subgroup? #4711, or part, process, label and at");
  }
  auto found = finder.Find(wanted);
  if (found.size() > 1) {
    std::erase_if(found, [&](std::int32_t id) {
      return change::ReadRecords(file.db, change::NeededSubgroup(file.db, id)).empty();
    });
  }
  if (found.size() == 1) return found.front();
  const auto column = wanted.label ? kLabel : wanted.time ? kAt : wanted.part ? kPart : kProcess;
  if (found.empty()) table.Refuse(column, "there is no such subgroup");
  table.Refuse(column,
               std::to_string(found.size()) + " subgroups fit (" + Listed(found) + "); name one");
}

// What a line is refused for names its place in the file.
template <class Work>
auto AtLine(const ImportTable& table, std::size_t column, Work work) {
  try {
    return work();
  } catch (const Refused& refused) {
    if (refused.code == "reason") throw;
    table.Refuse(column, refused.what());
  }
}

LineTaker BeginFlags(ImportFile& file) {
  file.writing.NeedReason();
  const auto finder = std::make_shared<SubgroupFinder>(file.db);
  return [&file, finder] {
    const auto& table = file.table;
    const auto flag = table.OneOf(OfFlags("flag"), kFlagWords);
    change::Which which;
    which.subgroup = SubgroupOf(file, *finder);
    which.test = KnownItem(file, kTest, ItemKind::Test);
    if (!table.Cell(OfFlags("expect")).empty()) {
      which.expected = table.Whole(OfFlags("expect"), 0, INT32_MAX);
    }
    const auto changed = AtLine(table, which.expected ? OfFlags("expect") : OfFlags("flag"),
                                [&] { return change::SetFlag(file.writing, which, flag); });
    for (const auto& each : changed) {
      file.touched.Add(each.stream, {each.subgroup.time, each.subgroup.id});
      ++file.report.rows;
    }
  };
}

LineTaker BeginComments(ImportFile& file) {
  const auto finder = std::make_shared<SubgroupFinder>(file.db);
  return [&file, finder] {
    const auto& table = file.table;
    const auto text = table.Name(OfComments("comment"));
    const auto subgroup = SubgroupOf(file, *finder);
    const auto test = KnownItem(file, kTest, ItemKind::Test);
    const auto piece = table.Whole(OfComments("tsno"), 1, INT32_MAX, 0);
    if (piece != 0 && !test) table.Refuse(OfComments("tsno"), "is a piece of which test?");
    AtLine(table, OfComments("comment"), [&] {
      return change::AddComment(file.writing, subgroup, test.value_or(0), piece, text, {});
    });
    ++file.report.rows;
  };
}

}  // namespace

constinit const KindOfFile kFlagsKind{
    {ImportKind::Flags, "flags", "changes of flags of subgroups that are stored; needs --reason",
     kFlagColumns},
    BeginFlags};
constinit const KindOfFile kCommentsKind{
    {ImportKind::Comments, "comments", "comments of subgroups that are stored", kCommentColumns},
    BeginComments};

}  // namespace orvspc::engine::import
