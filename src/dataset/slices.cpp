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
template <class Body>
bool Slice<Row>::Move(std::string_view procedure, Body&& body) {
  return Traced([&] { return std::string(module_) + "." + std::string(procedure); },
                std::forward<Body>(body));
}

template <class Row>
bool Slice<Row>::MoveFirst() {
  return Move("MoveFirst", [&] { return cursor_.MoveFirst(Count()); });
}

template <class Row>
bool Slice<Row>::MoveLast() {
  return Move("MoveLast", [&] { return cursor_.MoveLast(Count()); });
}

template <class Row>
bool Slice<Row>::MoveNext() {
  return Move("MoveNext", [&] { return cursor_.MoveNext(Count()); });
}

template <class Row>
bool Slice<Row>::MovePrev() {
  return Move("MovePrev", [&] { return cursor_.MovePrev(Count()); });
}

template <class Row>
void Slice<Row>::Load(const Friend&, Array<Row> Rows) {
  Traced([&] { return std::string(module_) + ".Load"; },
         [&] {
           rows_ = std::move(Rows);
           cursor_.Reset();
         });
}

template <class Row>
template <class Get>
auto Slice<Row>::Read(std::string_view property, Get&& get) const {
  const auto entry = [&] { return std::string(module_) + "." + std::string(property) + "(g)"; };
  return Traced(entry, [&] {
    using Value = decltype(get(rows_[cursor_.Position()]));
    return Count() == 0 && empty_ == Empty::kAnswersDefault ? Value{}
                                                            : get(rows_[cursor_.Position()]);
  });
}

template class Slice<API_TestData>;
template class Slice<API_DescriptorData>;
template class Slice<API_CommentData>;

// Deliberate: of the three only this one answers without rows.
TestData::TestData(const Friend&) : Slice("TestData", Empty::kAnswersDefault) {}

std::int32_t TestData::Def() const {
  return Read("Def", [](const API_TestData& row) { return row.Def; });
}

std::int32_t TestData::Gage() const {
  return Read("Gage", [](const API_TestData& row) { return row.Gage; });
}

std::int32_t TestData::Sbno() const {
  return Read("Sbno", [](const API_TestData& row) { return row.Sbno; });
}

std::int32_t TestData::Sn() const {
  return Read("Sn", [](const API_TestData& row) { return row.Sn; });
}

std::int32_t TestData::Tsno() const {
  return Read("Tsno", [](const API_TestData& row) { return row.Tsno; });
}

double TestData::Val() const {
  return Read("Val", [](const API_TestData& row) { return static_cast<double>(row.Val); });
}

DescriptorData::DescriptorData(const Friend&) : Slice("DescriptorData", Empty::kFails) {}

std::int32_t DescriptorData::Dsgp() const {
  return Read("Dsgp", [](const API_DescriptorData& row) { return row.Dsgp; });
}

std::int32_t DescriptorData::Desc() const {
  return Read("Desc", [](const API_DescriptorData& row) { return row.Desc; });
}

std::int32_t DescriptorData::Tsno() const {
  return Read("Tsno", [](const API_DescriptorData& row) { return row.Tsno; });
}

CommentData::CommentData(const Friend&) : Slice("CommentData", Empty::kFails) {}

std::string CommentData::Empl() const {
  return Read("Empl",
              [](const API_CommentData& row) { return platform::FixedTextToUtf8(row.Empl); });
}

std::string CommentData::Note() const {
  return Read("Note",
              [](const API_CommentData& row) { return platform::FixedTextToUtf8(row.Note); });
}

std::int32_t CommentData::Test() const {
  return Read("Test", [](const API_CommentData& row) { return row.Test; });
}

double CommentData::Edtm() const {
  // Deliberate: the trail names Test.
  return Read("Test", [](const API_CommentData& row) { return TimeStampToDate(row.Edtm); });
}

std::int32_t CommentData::Tsno() const {
  return Read("Tsno", [](const API_CommentData& row) { return row.Tsno; });
}

}  // namespace orvspc
