// SPDX-License-Identifier: Apache-2.0
#include <string>
#include <utility>

#include "dataset/CommentData.h"
#include "dataset/DescriptorData.h"
#include "dataset/TestData.h"
#include "frame/Outside.h"
#include "frame/Trail.h"
#include "platform/FixedText.h"

namespace orvspc {

template <class Row>
void Slice<Row>::Load(const Friend&, Array<Row> Rows) {
  Traced(ProcedureName{Module(), "Load"}, [&] {
    rows_ = std::move(Rows);
    ResetCursor();
  });
}

template <class Row>
template <class Get>
auto Slice<Row>::Read(std::string_view property, Get&& get) const {
  return Traced(ProcedureName{Module(), property, "(g)"}, [&] {
    using Value = decltype(get(rows_[Position()]));
    return Count() == 0 && empty_ == Empty::kAnswersDefault ? Value{} : get(rows_[Position()]);
  });
}

template <class Row>
std::int32_t Slice<Row>::Field(std::string_view property, std::int32_t Row::*field) const {
  return Read(property, [field](const Row& row) { return row.*field; });
}

template class Slice<API_TestData>;
template class Slice<API_DescriptorData>;
template class Slice<API_CommentData>;

// Deliberate: of the three only this one answers without rows.
TestData::TestData(const Friend&) : Slice("TestData", Empty::kAnswersDefault) {}

double TestData::Val() const {
  return Read("Val", [](const API_TestData& row) { return static_cast<double>(row.Val); });
}

DescriptorData::DescriptorData(const Friend&) : Slice("DescriptorData", Empty::kFails) {}

CommentData::CommentData(const Friend&) : Slice("CommentData", Empty::kFails) {}

std::string CommentData::Empl() const {
  return Read("Empl",
              [](const API_CommentData& row) { return platform::FixedTextToUtf8(row.Empl); });
}

std::string CommentData::Note() const {
  return Read("Note",
              [](const API_CommentData& row) { return platform::FixedTextToUtf8(row.Note); });
}

double CommentData::Edtm() const {
  // Deliberate: the trail names Test.
  return Read("Test", [](const API_CommentData& row) { return TimeStampToDate(row.Edtm); });
}

}  // namespace orvspc
