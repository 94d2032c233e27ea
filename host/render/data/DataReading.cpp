// SPDX-License-Identifier: Apache-2.0
#include "host/render/data/DataReading.h"

#include <sstream>

#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"
#include "platform/Enumerations.h"
#include "platform/TimeStamp.h"

namespace orvspc::render {

namespace {

// Fixed fields come with their padding.
std::string Trimmed(const std::string& text) {
  const std::string shown = text.substr(0, text.find('\0'));
  return shown.substr(0, shown.find_last_not_of(' ') + 1);
}

SubgroupRow ReadSubgroup(SubgroupData& data) {
  const auto tests = data.TestData();
  const auto descriptors = data.DescriptorData();
  const auto comments = data.CommentData();
  SubgroupRow row{data.Sgrp(), data.Part(), data.Prcs(),       data.Test(),   data.Wkst(),
                  data.Job(),  data.Lot(),  data.Shft(),       data.Ptrv(),   data.Empl(),
                  data.Size(), data.Flag(), data.GroupIndex(), data.GroupID()};
  row.stamp = platform::DateToTimeStamp(data.Sgtm());
  row.tests = ReadRows(*tests, [&] {
    return TestRow{tests->Sn(),  tests->Tsno(), tests->Sbno(),
                   tests->Def(), tests->Gage(), tests->Val()};
  });
  Remarks remarks;
  remarks.descriptors = ReadRows(*descriptors, [&] {
    return DescriptorRow{descriptors->Dsgp(), descriptors->Desc(), descriptors->Tsno()};
  });
  remarks.comments = ReadRows(*comments, [&] {
    return CommentRow{Trimmed(comments->Empl()), Trimmed(comments->Note()), comments->Test(),
                      comments->Tsno(), comments->Edtm()};
  });
  if (!remarks.descriptors.empty() || !remarks.comments.empty())
    row.remarks = std::make_shared<const Remarks>(std::move(remarks));
  return row;
}

// null for a date that is not given: 0, which lies before the first stamp.
void WriteDate(JsonWriter& json, const char* key, double date) {
  json.MemberIf(date != 0.0, key, IsoTime(platform::DateToTimeStamp(date)));
}

// Members of one subgroup, in an open object.
void WriteSubgroup(JsonWriter& json, const SubgroupRow& row, const Names& names) {
  json.Member("Sgrp", row.sgrp);
  WriteItem(json, "Part", names, NameKind::Part, row.part);
  WriteItem(json, "Prcs", names, NameKind::Process, row.prcs);
  WriteItem(json, "Test", names, NameKind::Test, row.test);
  json.Members("Wkst", row.wkst, "Job", row.job, "Lot", row.lot, "Shft", row.shft, "Ptrv", row.ptrv,
               "Empl", row.empl, "Sgtm", IsoTime(row.stamp), "Size", row.size, "Flag", row.flag,
               "GroupIndex", row.group_index, "GroupID", row.group_id);
  json.Objects<Spread::None>("Tests", row.tests, [&](const TestRow& test) {
    json.Members("Sn", test.sn, "Tsno", test.tsno, "Sbno", test.sbno, "Def", test.def, "Gage",
                 test.gage, "Val", test.value);
  });
}

const Remarks& RemarksOf(const SubgroupRow& row) {
  static const Remarks none;
  return row.remarks ? *row.remarks : none;
}

// Descriptors and comments of one subgroup.
void WriteRemarks(JsonWriter& json, const Remarks& remarks) {
  json.Objects<Spread::None>("Descriptors", remarks.descriptors,
                             [&](const DescriptorRow& descriptor) {
                               json.Members("Dsgp", descriptor.group, "Desc", descriptor.descriptor,
                                            "Tsno", descriptor.tsno);
                             });
  json.Objects<Spread::None>("Comments", remarks.comments, [&](const CommentRow& comment) {
    json.Members("Empl", comment.employee, "Note", comment.note, "Test", comment.test, "Tsno",
                 comment.tsno);
    WriteDate(json, "Edtm", comment.edited);
  });
}

std::string TestText(const TestRow& test) {
  std::string text = Shortest(test.value);
  if (test.sbno != 0) text = "(" + text + ")";  // a reading inside the piece
  if (test.def != 0) text += "*" + std::to_string(test.def);
  return text;
}

}  // namespace

std::string NameOrNumber(const Names& names, NameKind kind, std::int32_t id) {
  const std::string name = PlainText(names(kind, id));
  return name.empty() ? "#" + std::to_string(id) : name;
}

std::string ShownName(const Names& names, NameKind kind, std::int32_t id) {
  return id == 0 ? "" : NameOrNumber(names, kind, id);
}

std::string StreamName(const Names& names, std::int32_t part, std::int32_t process,
                       std::int32_t test) {
  return NameOrNumber(names, NameKind::Part, part) + " / " +
         NameOrNumber(names, NameKind::Process, process) + " / " +
         NameOrNumber(names, NameKind::Test, test);
}

std::string SelectedText(const DataSelect* select, const Names& names) {
  struct Part {
    DescriptorTypes type;
    NameKind kind;
    const char* many;
  };
  static constexpr Part kParts[] = {{dtPart, NameKind::Part, " parts"},
                                    {dtProcess, NameKind::Process, " processes"},
                                    {dtTest, NameKind::Test, " tests"}};
  std::string text;
  for (const Part& part : kParts) {
    const auto descriptor = select ? select->Descriptors()->GetDescriptor(part.type) : nullptr;
    if (!descriptor || descriptor->FilterType() != ftItemList || descriptor->ItemCount() == 0)
      continue;
    const std::int32_t count = descriptor->ItemCount();
    text += (text.empty() ? "" : " / ") + (count == 1
                                               ? ShownName(names, part.kind, descriptor->ItemID(1))
                                               : std::to_string(count) + part.many);
  }
  return text;
}

SubgroupsRead ReadSubgroups(SubgroupData& data) {
  SubgroupsRead read;
  read.total_subgroups = data.TotalSubgroups();
  read.total_groups = data.TotalGroups();
  read.total_tests = data.TotalTests();
  read.total_descriptors = data.TotalDescriptors();
  read.rows = ReadRows(data, [&] { return ReadSubgroup(data); });
  data.MoveFirst();
  return read;
}

void WriteItem(JsonWriter& json, const std::string& key, const Names& names, NameKind kind,
               std::int32_t id) {
  json.Members(key, id, key + "Name", names(kind, id));
}

void WriteDataSelect(JsonWriter& json, const DataSelect& select) {
  json.Members("IncludeEnabled", select.IncludeEnabled(), "IncludeIncomplete",
               select.IncludeIncomplete(), "IncludeDisabled", select.IncludeDisabled(),
               "MaximumItems", select.MaximumItems(), "Tsno", select.Tsno(), "DateRangeTimeType",
               select.DateRangeTimeType(), "DateRangeInterval", select.DateRangeInterval(),
               "DateRangePeriod", select.DateRangePeriod());
  WriteDate(json, "DateRangeStart", select.DateRangeStart());
  WriteDate(json, "DateRangeEnd", select.DateRangeEnd());
  json.Members("IncludeVariableTests", select.IncludeVariableTests(), "IncludeDefectTests",
               select.IncludeDefectTests(), "IncludeDefectiveTests",
               select.IncludeDefectiveTests());
  std::vector<std::shared_ptr<DataSelectDescriptor>> descriptors;
  for (std::int32_t i = 0; i < select.Descriptors()->Count(); ++i)
    descriptors.push_back(select.Descriptors()->Item(i));
  json.Objects("Descriptors", descriptors, [&](const auto& descriptor) {
    json.Members("Type", descriptor->DescriptorType(), "Filter", descriptor->FilterType(), "Group",
                 descriptor->GroupID());
    std::vector<std::int32_t> items;
    for (std::int32_t item = 1; item <= descriptor->ItemCount(); ++item)
      items.push_back(descriptor->ItemID(item));
    json.Member("Items", items);
  });
}

void WriteSubgroups(JsonWriter& json, const std::vector<SubgroupRow>& rows, const Names& names,
                    bool remarks) {
  json.Objects("Subgroups", rows, [&](const SubgroupRow& row) {
    WriteSubgroup(json, row, names);
    if (remarks) WriteRemarks(json, RemarksOf(row));
  });
}

std::string DataJson(const DataSelect* select, const SubgroupsRead& data, const Names& names,
                     const std::vector<Note>& notes) {
  return JsonDocument([&](JsonWriter& json) {
    ObjectMember(json, "DataSelect", select, WriteDataSelect);
    json.Members("TotalSubgroups", data.total_subgroups, "TotalGroups", data.total_groups,
                 "TotalTests", data.total_tests, "TotalDescriptors", data.total_descriptors);
    WriteSubgroups(json, data.rows, names, true);
    WriteNotes(json, notes);
  });
}

std::string DataText(const SubgroupsRead& data, const Names& names, const TextOptions& options) {
  TextWriter out(options);
  Table table{"", {"@time (UTC)", "part / process / test", "values"}, {}};
  for (const auto& row : data.rows) {
    std::vector<std::string> tests, comments;
    for (const auto& test : row.tests) tests.push_back(TestText(test));
    std::string values = Joined(tests, "  ");
    if (row.flag == 1 || row.flag == 2) values += row.flag == 1 ? "  [disabled]" : "  [incomplete]";
    for (const auto& comment : RemarksOf(row).comments)
      comments.push_back(
          "comment: " + PlainText(comment.note) +
          (comment.employee.empty() ? "" : " (" + PlainText(comment.employee) + ")"));
    table.rows.push_back(
        {IsoTime(row.stamp), StreamName(names, row.part, row.prcs, row.test), values});
    table.details.push_back(Joined(comments, "; "));
  }
  if (data.rows.empty()) {
    out.Line("no data selected");
  } else {
    out.Line(Counted(static_cast<std::size_t>(data.total_subgroups), "subgroup") + ", " +
             Counted(static_cast<std::size_t>(data.total_tests), "test row"));
    out.Blank();
    out.Write(table);
  }
  return out.Take();
}

std::string SettingsText(const char* name, const std::string& json, const TextOptions& options) {
  std::istringstream lines(json);
  TextWriter out(options);
  out.Line(name);
  for (std::string line; std::getline(lines, line);) {
    if (line == "{" || line == "}") continue;
    if (line.back() == ',') line.pop_back();
    std::erase(line, '"');
    out.Line(line, 4);
  }
  return out.Take();
}

std::string DataSelectText(const DataSelect& select, const TextOptions& options) {
  return SettingsText("DataSelect",
                      JsonDocument([&](auto& json) { WriteDataSelect(json, select); }), options);
}

}  // namespace orvspc::render
