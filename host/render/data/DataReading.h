// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "dataset/SubgroupData.h"
#include "host/render/core/Json.h"
#include "host/render/core/Text.h"
#include "platform/ItemKind.h"
#include "select/DataSelect.h"

// Subgroups as plain values, read once, so that pictures and documents need no cursor; the names
// behind their identifiers, and settings as documents have them.
namespace orvspc::render {

using NameKind = ItemKind;
// Name for an identifier; empty when it has none.
using Names = std::function<std::string(NameKind, std::int32_t)>;
// For people: the name, else "#12".
std::string NameOrNumber(const Names& names, NameKind kind, std::int32_t id);
// The same; empty for identifier 0.
std::string ShownName(const Names& names, NameKind kind, std::int32_t id);
// "Ring / Press 1 / Diameter"; an identifier of 0 is left out.
std::string StreamName(const Names& names, std::int32_t part, std::int32_t process,
                       std::int32_t test);

// "Ring / 2 processes / Diameter": what the selection names; empty when it names nothing.
std::string SelectedText(const DataSelect* select, const Names& names);

// What make() reads at each row of a cursor, from the first to the last.
template <class Cursor, class Make>
auto ReadRows(Cursor& cursor, Make make) {
  std::vector<decltype(make())> rows;
  if constexpr (requires { cursor.TotalSubgroups(); })
    rows.reserve(static_cast<std::size_t>(cursor.TotalSubgroups()));
  else if constexpr (requires { cursor.Count(); })
    rows.reserve(static_cast<std::size_t>(cursor.Count()));
  for (bool found = cursor.MoveFirst(); found; found = cursor.MoveNext()) rows.push_back(make());
  return rows;
}

struct TestRow {
  std::int32_t sn = 0, tsno = 0, sbno = 0, def = 0, gage = 0;
  double value = 0.0;
};
struct DescriptorRow {
  std::int32_t group = 0, descriptor = 0, tsno = 0;
  std::string group_name = {}, name = {};  // empty where they are not known
};
struct CommentRow {
  std::string employee, note;
  std::int32_t test = 0, tsno = 0;
  double edited = 0.0;                // date
  std::int64_t id = 0, version = -1;  // 0 and below: not known
};

// An assignable cause or a corrective action: identifiers, and a stamp that is 0 without a time.
struct EventCode {
  std::int32_t code = 0, employee = 0;
  std::int64_t time = 0;
};
struct EventRow {
  std::int32_t evnt = 0, type = 0, empl = 0, prcs = 0, part = 0, test = 0, flag = 0;
  std::string name;
  std::int64_t time = 0, sgtm = 0;  // stamps; that of the subgroup is 0 without one
  EventCode acc, cac;
};

struct Remarks {
  std::vector<DescriptorRow> descriptors = {};
  std::vector<CommentRow> comments = {};
  std::vector<EventRow> events = {};  // that name the time, part, process and test of the subgroup
};

struct SubgroupRow {
  std::int32_t sgrp = 0, part = 0, prcs = 0, test = 0, wkst = 0, job = 0, lot = 0, shft = 0,
               ptrv = 0, empl = 0, size = 0, flag = 0, group_index = 0, group_id = 0;
  std::int64_t stamp = 0;
  std::vector<TestRow> tests = {};
  std::string left_out = {};  // why control limits were made without it; empty: they were not
  std::shared_ptr<const Remarks> remarks = {};  // null: none
  std::string label = {};
  bool edited = false;        // changed since it was stored
  std::int64_t version = -1;  // of the record in the log; below 0: not known
};

const Remarks& RemarksOf(const SubgroupRow& row);

struct SubgroupsRead {
  std::int32_t total_subgroups = 0, total_groups = 0, total_tests = 0, total_descriptors = 0;
  std::vector<SubgroupRow> rows;
  // The phase of each row among these names, of which an empty one is none; empty: not known.
  std::vector<std::int32_t> phase_of;
  std::vector<std::string> phases;
  // Whether labels, descriptors, events, whole comments and changes came from a database: no result
  // has them all.
  bool has_texts = false;
};
SubgroupsRead ReadSubgroups(SubgroupData& data);

struct CommentText {
  std::int64_t id = 0;  // its number; 0: not known
  std::string text;     // "new coil (Kim)"
};

// Everything of a subgroup that is a text, by name, for people.
struct SubgroupTexts {
  std::string label;
  std::vector<std::pair<std::string, std::string>> items;  // "lot", "L1": those given
  std::vector<CommentText> comments;
  std::string cause, action;  // "Worn tool (Ann)"
  std::string codes;          // "Worn tool / Reset": without names
  bool edited = false;
  std::string left_out;  // "tool broke"
};
SubgroupTexts TextsOf(const SubgroupRow& row, const Names& names);
// The names of items, in their order.
std::span<const std::string_view> ItemWords();
// "9: new coil (Kim)", or without its number.
std::string NumberedText(const CommentText& comment);
// "lot L1; shift early; comment 9: new coil (Kim)", for one line; the label is not in it.
std::string TextLine(const SubgroupTexts& texts);

// select may be null: rows whose selection is not known.
std::string DataJson(const DataSelect* select, const SubgroupsRead& data, const Names& names,
                     const std::vector<Note>& notes);

// Members of an open object.
void WriteDataSelect(JsonWriter& json, const DataSelect& select);
// "Subgroups". is_data: with versions, and with the descriptors and comments of a stored result,
// which charts do not have.
void WriteSubgroups(JsonWriter& json, const SubgroupsRead& data, const Names& names,
                    bool is_data = false);
// Members of one event, in an open object.
void WriteEvent(JsonWriter& json, const EventRow& event, const Names& names);
// The identifier as key, and its name as "...Name".
void WriteItem(JsonWriter& json, const std::string& key, const Names& names, NameKind kind,
               std::int32_t id);

// A table of subgroups for people: identifiers by name, values in the order of their pieces.
std::string DataText(const SubgroupsRead& data, const Names& names,
                     const TextOptions& options = {});

// The members of an object's document without its punctuation, one setting a line.
std::string SettingsText(const char* name, const std::string& json, const TextOptions& options);
std::string DataSelectText(const DataSelect& select, const TextOptions& options = {});

}  // namespace orvspc::render
