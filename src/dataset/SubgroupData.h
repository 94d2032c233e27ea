// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "dataset/CommentData.h"
#include "dataset/DescriptorData.h"
#include "dataset/TestData.h"
#include "frame/Array.h"
#include "frame/RowSet.h"
#include "platform/Dom.h"
#include "platform/Enumerations.h"
#include "platform/RowRecords.h"

namespace orvspc {

class Friend;

// The subgroups of a selection, a cursor over them, and for the current subgroup its test values,
// descriptors and comments. Rows never change after loading. With no subgroups every Get of a field
// answers 0 and CurrentIndex 1; no move ever fails for being out of range, it returns false and
// the cursor stays.
class SubgroupData : public RowSet {
 public:
  SubgroupData();
  ~SubgroupData() override;

  // Without groups every subgroup counts as a group of its own.
  std::int32_t TotalGroups() const;
  std::int32_t TotalSubgroups() const { return subgroups_.Count(); }
  std::int32_t TotalTests() const { return tests_.Count(); }
  std::int32_t TotalDescriptors() const { return descriptors_.Count(); }
  // The group of the current subgroup, from 1; without groups CurrentIndex.
  std::int32_t GroupIndex() const;
  // 0 without groups.
  std::int32_t GroupID() const;

  // Fields of the current subgroup; identifiers are 0 where there is none.
  std::int32_t Sgrp() const { return Field("Sgrp", &API_SubgroupData::Sgrp); }
  std::int32_t Part() const { return Field("Part", &API_SubgroupData::Part); }
  std::int32_t Prcs() const { return Field("Prcs", &API_SubgroupData::Prcs); }
  std::int32_t Test() const { return Field("Test", &API_SubgroupData::Test); }
  std::int32_t Job() const { return Field("Job", &API_SubgroupData::Job); }
  std::int32_t Lot() const { return Field("Lot", &API_SubgroupData::Lot); }
  std::int32_t Shft() const { return Field("Shft", &API_SubgroupData::Shft); }
  std::int32_t Ptrv() const { return Field("Ptrv", &API_SubgroupData::Ptrv); }
  std::int32_t Wkst() const { return Field("Wkst", &API_SubgroupData::Wkst); }
  std::int32_t Size() const { return Field("Size", &API_SubgroupData::Size); }
  // Subgroup time as a date, days since 1899-12-30.
  double Sgtm() const;
  std::int32_t Empl() const { return Field("Empl", &API_SubgroupData::Empl); }
  SubgroupFlags Flag() const { return SubgroupFlags{Field("Flag", &API_SubgroupData::Flag)}; }

  // The rows of the current subgroup as an object with a copy of them, which outlives the next
  // move. Kept until a move succeeds, so two reads give the same object. Fail with 9 when there are
  // such rows but no subgroups.
  std::shared_ptr<orvspc::TestData> TestData();
  // Comments of the current subgroup: those of its test and those for the whole subgroup.
  std::shared_ptr<orvspc::CommentData> CommentData();
  std::shared_ptr<orvspc::DescriptorData> DescriptorData();

  // Whether any row has the field; the answer is kept.
  bool HasNotEnabled() const { return Has("HasNotEnabled", &API_SubgroupData::Flag, kNotEnabled); }
  bool HasJobs() const { return Has("HasJobs", &API_SubgroupData::Job, kJobs); }
  bool HasLots() const { return Has("HasLots", &API_SubgroupData::Lot, kLots); }
  bool HasShifts() const { return Has("HasShifts", &API_SubgroupData::Shft, kShifts); }
  bool HasPartRevisions() const {
    return Has("HasPartRevisions", &API_SubgroupData::Ptrv, kRevisions);
  }
  bool HasWorkstations() const {
    return Has("HasWorkstations", &API_SubgroupData::Wkst, kWorkstations);
  }
  bool HasEmployees() const { return Has("HasEmployees", &API_SubgroupData::Empl, kEmployees); }
  bool HasSNs() const;

  // Distinct identifiers in order of first appearance. Empty without descriptors; of the tests
  // always an array, one of no elements without subgroups.
  std::optional<std::vector<std::int32_t>> GetDescriptorGroupIDs() const;
  std::optional<std::vector<std::int32_t>> GetTestIDs() const;
  // Whether a row of that test (0: of any test) has defects. Answers are kept by the place in the
  // list of test identifiers, and 0 uses the first place.
  bool HasDefects(std::int32_t TestID = 0) const;

  // Times stay stamps; cursor and groups are not kept. SetXML replaces all rows, and leaves the
  // object as it was when it fails.
  std::string GetXML() const;
  bool SetXML(std::string_view XML);

  // Replaces all rows and forgets cursor, groups and answers. The cached slices stay until a move.
  // Both take the arrays over once nothing can fail any more: after a failure the caller has them.
  void LoadStructures(const Friend&, Array<API_SubgroupData>&& Subgroups,
                      Array<API_TestData>&& Tests, Array<API_DescriptorData>&& Descriptors,
                      Array<API_CommentData>&& Comments);
  void LoadGroupArrays(const Friend&, Array<std::int32_t>&& GroupStart,
                       Array<std::int32_t>&& GroupEnd, Array<std::int32_t>&& GroupIndex,
                       Array<std::int32_t>&& GroupIDs);
  // Gives subgroups and tests back, for a caller that cannot finish the object.
  void ReturnRows(const Friend&, Array<API_SubgroupData>& Subgroups,
                  Array<API_TestData>& Tests) noexcept;
  platform::XmlNode CreateXMLNode(const Friend&, platform::XmlDocument& Document) const;
  bool SetXMLNode(const Friend&, const platform::XmlNode& node);

 private:
  std::int32_t RowCount() const override { return TotalSubgroups(); }
  // What is derived from the rows on demand; dropped when they are replaced.
  struct Answers;

  // The questions whose answers are kept.
  enum Question { kNotEnabled, kJobs, kLots, kShifts, kRevisions, kWorkstations, kEmployees, kSNs };

  void Moved() override;
  std::int32_t Field(std::string_view property, std::int32_t API_SubgroupData::*field) const;
  bool Has(std::string_view procedure, std::int32_t API_SubgroupData::*field, Question asked) const;
  const API_SubgroupData& Current() const { return subgroups_[Position()]; }

  Array<API_SubgroupData> subgroups_;
  Array<API_TestData> tests_;
  Array<API_DescriptorData> descriptors_;
  Array<API_CommentData> comments_;
  Array<std::int32_t> group_start_, group_end_, group_index_, group_ids_;
  mutable std::unique_ptr<Answers> answers_;

  std::shared_ptr<orvspc::TestData> test_slice_;
  std::shared_ptr<orvspc::DescriptorData> descriptor_slice_;
  std::shared_ptr<orvspc::CommentData> comment_slice_;
};

}  // namespace orvspc
