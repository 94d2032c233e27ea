// SPDX-License-Identifier: Apache-2.0
#include "dataset/SubgroupData.h"

#include <algorithm>
#include <array>
#include <span>
#include <unordered_set>
#include <utility>

#include "frame/Checked.h"
#include "frame/Friend.h"
#include "frame/Outside.h"
#include "frame/Trail.h"

namespace orvspc {
namespace {

// An answer that is kept: not asked yet, yes, no.
constexpr std::int32_t kUnknown = 0;
constexpr std::int32_t kYes = 1;
constexpr std::int32_t kNo = -1;

// Places of rows by their subgroup, each subgroup's in the order of the rows.
class RowsBySubgroup {
 public:
  using Place = std::pair<std::int32_t, std::int32_t>;  // subgroup, index of the row

  template <class Row>
  explicit RowsBySubgroup(std::span<const Row> rows) {
    places_.reserve(rows.size());
    for (const Row& row : rows)
      places_.emplace_back(row.Sgrp, static_cast<std::int32_t>(places_.size()));
    std::sort(places_.begin(), places_.end());
  }

  std::span<const Place> Of(std::int32_t subgroup) const {
    return {std::ranges::lower_bound(places_, subgroup, {}, &Place::first),
            std::ranges::upper_bound(places_, subgroup, {}, &Place::first)};
  }

 private:
  std::vector<Place> places_;
};

// The rows of the subgroup that are wanted, in order; never dimensioned if there are none.
template <class Row, class Wanted>
Array<Row> RowsOf(std::optional<RowsBySubgroup>& index, const Array<Row>& rows,
                  std::int32_t subgroup, Wanted&& wanted) {
  if (!index) index.emplace(rows.Elements());
  std::vector<std::int32_t> found;
  for (const auto& [sgrp, place] : index->Of(subgroup)) {
    if (wanted(rows[place])) found.push_back(place);
  }
  Array<Row> result;
  if (found.empty()) return result;
  result.Dimension(0, static_cast<std::int64_t>(found.size()) - 1);
  std::transform(found.begin(), found.end(), result.Elements().begin(),
                 [&rows](std::int32_t place) { return rows[place]; });
  return result;
}

// The distinct values of a field, in order of first appearance.
template <class Row>
std::vector<std::int32_t> Distinct(const Array<Row>& rows, std::int32_t Row::*field) {
  std::vector<std::int32_t> values;
  std::unordered_set<std::int32_t> seen;
  for (const Row& row : rows.Elements()) {
    const bool repeated = !values.empty() && values.back() == row.*field;
    if (!repeated && seen.insert(row.*field).second) values.push_back(row.*field);
  }
  return values;
}

template <class Row>
bool Any(const Array<Row>& rows, std::int32_t Row::*field, std::int32_t& kept) {
  if (kept == kUnknown) {
    const auto set = [field](const Row& row) { return row.*field != 0; };
    kept = std::ranges::any_of(rows.Elements(), set) ? kYes : kNo;
  }
  return kept == kYes;
}

}  // namespace

struct SubgroupData::Answers {
  std::array<std::int32_t, kSNs + 1> kept = {};  // by Question; kUnknown is 0

  std::vector<std::int32_t> test_ids;
  std::vector<std::int32_t> defects;  // one answer for each place of test_ids

  std::optional<RowsBySubgroup> descriptors, comments;
};

SubgroupData::SubgroupData()
    : RowSet("SubgroupData", Moves::kByMoveTo),
      answers_(Untraced([] { return std::make_unique<Answers>(); })) {}
SubgroupData::~SubgroupData() = default;

void SubgroupData::LoadStructures(const Friend&, Array<API_SubgroupData>&& Subgroups,
                                  Array<API_TestData>&& Tests,
                                  Array<API_DescriptorData>&& Descriptors,
                                  Array<API_CommentData>&& Comments) {
  Traced("SubgroupData.LoadStructures", [&] {
    // Deliberate: the cached slices are not forgotten; only a move forgets them.
    answers_ = std::make_unique<Answers>();
    ResetCursor();
    for (auto* array : {&group_start_, &group_end_, &group_index_, &group_ids_}) array->Erase();
    subgroups_ = std::move(Subgroups);
    tests_ = std::move(Tests);
    descriptors_ = std::move(Descriptors);
    comments_ = std::move(Comments);
  });
}

void SubgroupData::LoadGroupArrays(const Friend&, Array<std::int32_t>&& GroupStart,
                                   Array<std::int32_t>&& GroupEnd, Array<std::int32_t>&& GroupIndex,
                                   Array<std::int32_t>&& GroupIDs) {
  Traced("SubgroupData.LoadGroupArrays", [&] {
    group_start_ = std::move(GroupStart);
    group_end_ = std::move(GroupEnd);
    group_index_ = std::move(GroupIndex);
    group_ids_ = std::move(GroupIDs);
  });
}

void SubgroupData::ReturnRows(const Friend&, Array<API_SubgroupData>& Subgroups,
                              Array<API_TestData>& Tests) noexcept {
  Subgroups = std::move(subgroups_);
  Tests = std::move(tests_);
}

std::int32_t SubgroupData::TotalGroups() const {
  return Traced("SubgroupData.TotalGroups(g)", [&] {
    return group_start_.Count() != 0 ? group_start_.Count() : TotalSubgroups();
  });
}

std::int32_t SubgroupData::GroupIndex() const {
  return Traced("SubgroupData.GroupIndex(g)", [&] {
    return group_start_.Count() != 0 ? checked::Add(group_index_[Position()], 1) : CurrentIndex();
  });
}

std::int32_t SubgroupData::GroupID() const {
  return Traced("SubgroupData.GroupID(g)",
                [&] { return group_start_.Count() != 0 ? group_ids_[Position()] : 0; });
}

std::int32_t SubgroupData::Field(std::string_view property,
                                 std::int32_t API_SubgroupData::*field) const {
  return Traced(ProcedureName{Module(), property, "(g)"},
                [&] { return TotalSubgroups() == 0 ? 0 : Current().*field; });
}

double SubgroupData::Sgtm() const {
  return Traced("SubgroupData.Sgtm(g)",
                [&] { return TotalSubgroups() == 0 ? 0.0 : TimeStampToDate(Current().Sgtm); });
}

std::shared_ptr<orvspc::TestData> SubgroupData::TestData() {
  return Traced("SubgroupData.TestData(g)", [&] {
    if (test_slice_) return test_slice_;
    auto slice = std::make_shared<orvspc::TestData>(Friend{});
    // Deliberate: the tests are the guard, so that tests without subgroups fail with 9.
    if (TotalTests() != 0) {
      const std::int32_t first = Current().Test_Start;
      const std::int32_t last = Current().Test_End;
      // Both ends are looked at first, so that rows from a text cannot ask for any amount of
      // memory.
      static_cast<void>(tests_[first]);
      static_cast<void>(tests_[last]);
      Array<API_TestData> rows;
      rows.Dimension(0, last - first);
      std::copy_n(&tests_[first], rows.Count(), rows.Elements().begin());
      slice->Load(Friend(), std::move(rows));
    }
    return test_slice_ = std::move(slice);
  });
}

std::shared_ptr<orvspc::DescriptorData> SubgroupData::DescriptorData() {
  return Traced("SubgroupData.DescriptorData(g)", [&] {
    if (descriptor_slice_) return descriptor_slice_;
    auto slice = std::make_shared<orvspc::DescriptorData>(Friend{});
    if (TotalDescriptors() != 0) {
      auto rows = RowsOf(answers_->descriptors, descriptors_, Current().Sgrp,
                         [](const API_DescriptorData&) { return true; });
      if (rows.IsDimensioned()) slice->Load(Friend(), std::move(rows));
    }
    return descriptor_slice_ = std::move(slice);
  });
}

std::shared_ptr<orvspc::CommentData> SubgroupData::CommentData() {
  return Traced("SubgroupData.CommentData(g)", [&] {
    if (comment_slice_) return comment_slice_;
    auto slice = std::make_shared<orvspc::CommentData>(Friend{});
    if (comments_.Count() != 0) {
      const std::int32_t test = Current().Test;
      auto rows =
          RowsOf(answers_->comments, comments_, Current().Sgrp,
                 [test](const API_CommentData& row) { return row.Test == 0 || row.Test == test; });
      if (rows.IsDimensioned()) slice->Load(Friend(), std::move(rows));
    }
    return comment_slice_ = std::move(slice);
  });
}

void SubgroupData::Moved() {
  test_slice_.reset();
  descriptor_slice_.reset();
  comment_slice_.reset();
}

bool SubgroupData::Has(std::string_view procedure, std::int32_t API_SubgroupData::*field,
                       Question asked) const {
  return Traced(ProcedureName{Module(), procedure},
                [&] { return Any(subgroups_, field, answers_->kept[asked]); });
}

bool SubgroupData::HasSNs() const {
  return Traced("SubgroupData.HasSNs",
                [&] { return Any(tests_, &API_TestData::Sn, answers_->kept[kSNs]); });
}

std::optional<std::vector<std::int32_t>> SubgroupData::GetDescriptorGroupIDs() const {
  using Result = std::optional<std::vector<std::int32_t>>;
  return Traced("SubgroupData.GetDescriptorGroupIDs", [&] {
    if (TotalDescriptors() == 0) return Result();
    return Result(Distinct(descriptors_, &API_DescriptorData::Dsgp));
  });
}

std::optional<std::vector<std::int32_t>> SubgroupData::GetTestIDs() const {
  return Traced("SubgroupData.GetTestIDs", [&] {
    Answers& kept = *answers_;
    if (kept.test_ids.empty()) {
      auto test_ids = Distinct(subgroups_, &API_SubgroupData::Test);
      // First, so that a list without states never stays behind when the memory ends.
      kept.defects.assign(test_ids.size(), kUnknown);
      kept.test_ids = std::move(test_ids);
    }
    return std::optional(kept.test_ids);
  });
}

bool SubgroupData::HasDefects(std::int32_t TestID) const {
  return Traced("SubgroupData.HasDefects", [&] {
    if (TotalSubgroups() == 0) return false;
    if (answers_->test_ids.empty()) GetTestIDs();

    const auto has_defect = [&](const API_SubgroupData& subgroup) {
      for (std::int64_t row = subgroup.Test_Start; row <= subgroup.Test_End; ++row) {
        if (tests_[row].Def != 0) return true;
      }
      return false;
    };
    bool walked = false;
    for (std::size_t place = 0; place < answers_->test_ids.size(); ++place) {
      if (TestID != 0 && answers_->test_ids[place] != TestID) continue;
      // Deliberate: the answer is kept by the place in the list, so that "any test" (0) reads and
      // writes the answer of the first test.
      std::int32_t& kept = answers_->defects[place];
      if (kept != kUnknown) return kept == kYes;
      kept = kNo;
      if (walked) continue;  // for 0 each further place would walk the same rows in vain
      for (const API_SubgroupData& subgroup : subgroups_.Elements()) {
        if ((TestID == 0 || subgroup.Test == TestID) && has_defect(subgroup)) {
          kept = kYes;
          return true;
        }
      }
      walked = true;
    }
    return false;
  });
}

}  // namespace orvspc
