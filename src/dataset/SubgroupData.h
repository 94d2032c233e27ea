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
#include "frame/Cursor.h"
#include "platform/Dom.h"
#include "platform/Enumerations.h"
#include "platform/Object.h"
#include "platform/RowRecords.h"

namespace orvspc {

class Friend;

// The subgroups of a selection, a cursor over them, and for the current subgroup its test values,
// descriptors and comments. Rows never change after loading. With no subgroups every Get of a field
// answers 0 and CurrentIndex 1; no move ever fails for being out of range, it returns false and
// the cursor stays.
class SubgroupData : public platform::Object {
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
  std::int32_t CurrentIndex() const { return cursor_.CurrentIndex(); }

  // Fields of the current subgroup; identifiers are 0 where there is none.
  std::int32_t Sgrp() const;
  std::int32_t Part() const;
  std::int32_t Prcs() const;
  std::int32_t Test() const;
  std::int32_t Job() const;
  std::int32_t Lot() const;
  std::int32_t Shft() const;
  std::int32_t Ptrv() const;
  std::int32_t Wkst() const;
  std::int32_t Size() const;
  // Subgroup time as a date, days since 1899-12-30.
  double Sgtm() const;
  std::int32_t Empl() const;
  SubgroupFlags Flag() const;

  // The rows of the current subgroup as an object with a copy of them, which outlives the next
  // move. Kept until a move succeeds, so two reads give the same object. Fail with 9 when there are
  // such rows but no subgroups.
  std::shared_ptr<orvspc::TestData> TestData();
  // Comments of the current subgroup: those of its test and those for the whole subgroup.
  std::shared_ptr<orvspc::CommentData> CommentData();
  std::shared_ptr<orvspc::DescriptorData> DescriptorData();

  // The index counts from 1.
  bool MoveTo(std::int32_t CurrentIndex);
  bool MoveFirst();
  bool MoveLast();
  bool MoveNext();
  bool MovePrev();

  // Whether any row has the field; the answer is kept.
  bool HasNotEnabled() const;
  bool HasJobs() const;
  bool HasLots() const;
  bool HasShifts() const;
  bool HasPartRevisions() const;
  bool HasWorkstations() const;
  bool HasEmployees() const;
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
  // What is derived from the rows on demand; dropped when they are replaced.
  struct Answers;

  std::int32_t Field(std::string_view entry, std::int32_t API_SubgroupData::*field) const;
  bool Has(std::string_view entry, std::int32_t API_SubgroupData::*field, std::int32_t& kept) const;
  const API_SubgroupData& Current() const { return subgroups_[cursor_.Position()]; }

  Array<API_SubgroupData> subgroups_;
  Array<API_TestData> tests_;
  Array<API_DescriptorData> descriptors_;
  Array<API_CommentData> comments_;
  Cursor cursor_;
  Array<std::int32_t> group_start_, group_end_, group_index_, group_ids_;
  mutable std::unique_ptr<Answers> answers_;

  std::shared_ptr<orvspc::TestData> test_slice_;
  std::shared_ptr<orvspc::DescriptorData> descriptor_slice_;
  std::shared_ptr<orvspc::CommentData> comment_slice_;
};

}  // namespace orvspc
