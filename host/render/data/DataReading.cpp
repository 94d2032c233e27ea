// SPDX-License-Identifier: Apache-2.0
#include "host/render/data/DataReading.h"

#include <algorithm>
#include <iterator>
#include <set>
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
void WriteSubgroup(JsonWriter& json, const SubgroupRow& row, const Names& names, bool has_texts) {
  const auto item = [&](const char* key, NameKind kind, std::int32_t id) {
    WriteItem(json, key, names, kind, id);
  };
  json.Member("Sgrp", row.sgrp);
  json.MemberIf(has_texts, "Label", row.label);
  item("Part", NameKind::Part, row.part);
  item("Prcs", NameKind::Process, row.prcs);
  item("Test", NameKind::Test, row.test);
  item("Wkst", NameKind::Workstation, row.wkst);
  item("Job", NameKind::Job, row.job);
  item("Lot", NameKind::Lot, row.lot);
  item("Shft", NameKind::Shift, row.shft);
  item("Ptrv", NameKind::Revision, row.ptrv);
  item("Empl", NameKind::Employee, row.empl);
  json.Members("Sgtm", IsoTime(row.stamp), "Size", row.size, "Flag", row.flag, "GroupIndex",
               row.group_index, "GroupID", row.group_id);
  json.Objects<Spread::None>("Tests", row.tests, [&](const TestRow& test) {
    item("Sn", NameKind::Serial, test.sn);
    json.Members("Tsno", test.tsno, "Sbno", test.sbno);
    item("Def", NameKind::Defect, test.def);
    item("Gage", NameKind::Gage, test.gage);
    json.Member("Val", test.value);
  });
}

// What is beside the values of one subgroup.
void WriteRemarks(JsonWriter& json, const Remarks& remarks, const Names& names, bool is_data,
                  bool has_texts) {
  if (!has_texts && !is_data) {
    for (const char* const key : {"Descriptors", "Comments", "Events"}) json.NullMember(key);
    return;
  }
  json.Objects<Spread::None>("Descriptors", remarks.descriptors, [&](const DescriptorRow& row) {
    json.Members("Dsgp", row.group, "DsgpName", row.group_name, "Desc", row.descriptor, "DescName",
                 row.name, "Tsno", row.tsno);
  });
  json.Objects<Spread::None>("Comments", remarks.comments, [&](const CommentRow& comment) {
    json.MemberIf(has_texts, "ID", comment.id);
    json.Members("Empl", comment.employee, "Note", comment.note, "Test", comment.test, "Tsno",
                 comment.tsno);
    WriteDate(json, "Edtm", comment.edited);
    if (is_data) json.MemberIf(comment.version >= 0, "Version", comment.version);
  });
  if (!has_texts) return json.NullMember("Events");
  json.Objects<Spread::None>("Events", remarks.events,
                             [&](const EventRow& event) { WriteEvent(json, event, names); });
}

const std::string& PhaseOf(const SubgroupsRead& data, std::size_t row) {
  static const std::string none;
  return data.phase_of.empty() ? none : data.phases[static_cast<std::size_t>(data.phase_of[row])];
}

// "10.2", "Scratch x8"
std::string TestText(const TestRow& test, const Names& names) {
  std::string text = Shortest(test.value);
  if (test.def != 0) text = NameOrNumber(names, NameKind::Defect, test.def) + " x" + text;
  if (test.sbno != 0) text = "(" + text + ")";  // a reading inside the piece
  return text;
}

// "Ann, Kim": each once, in the order in which they came.
class Listed {
 public:
  void Add(const std::string& text) {
    if (text.empty() || !known_.insert(text).second) return;
    text_ += (text_.empty() ? "" : ", ") + text;
  }
  const std::string& Text() const { return text_; }

 private:
  std::set<std::string> known_;
  std::string text_;
};

std::string By(const std::string& text, const std::string& who) {
  return text.empty() || who.empty() ? text : text + " (" + who + ")";
}

constexpr std::string_view kItemWords[] = {"workstation", "job",      "lot",  "shift",
                                           "revision",    "employee", "gage", "serials",
                                           "descriptor",  "defects",  "event"};

}  // namespace

const Remarks& RemarksOf(const SubgroupRow& row) {
  static const Remarks none;
  return row.remarks ? *row.remarks : none;
}

std::span<const std::string_view> ItemWords() { return kItemWords; }

SubgroupTexts TextsOf(const SubgroupRow& row, const Names& names) {
  SubgroupTexts texts;
  texts.label = PlainText(row.label);
  const auto& remarks = RemarksOf(row);
  Listed gages, serials, defects, descriptors, events, causes, actions, codes;
  for (const auto& test : row.tests) {
    gages.Add(ShownName(names, NameKind::Gage, test.gage));
    serials.Add(ShownName(names, NameKind::Serial, test.sn));
    defects.Add(ShownName(names, NameKind::Defect, test.def));
  }
  for (const auto& descriptor : remarks.descriptors)
    descriptors.Add(Joined({PlainText(descriptor.group_name), PlainText(descriptor.name)}, " "));
  for (const auto& event : remarks.events) {
    const std::string cause = ShownName(names, NameKind::AccCode, event.acc.code);
    const std::string action = ShownName(names, NameKind::CacCode, event.cac.code);
    events.Add(By(PlainText(event.name), ShownName(names, NameKind::Employee, event.empl)));
    causes.Add(By(cause, ShownName(names, NameKind::Employee, event.acc.employee)));
    actions.Add(By(action, ShownName(names, NameKind::Employee, event.cac.employee)));
    codes.Add(Joined({cause, action}, " / "));
  }
  const std::string given[] = {ShownName(names, NameKind::Workstation, row.wkst),
                               ShownName(names, NameKind::Job, row.job),
                               ShownName(names, NameKind::Lot, row.lot),
                               ShownName(names, NameKind::Shift, row.shft),
                               ShownName(names, NameKind::Revision, row.ptrv),
                               ShownName(names, NameKind::Employee, row.empl),
                               gages.Text(),
                               serials.Text(),
                               descriptors.Text(),
                               defects.Text(),
                               events.Text()};
  for (std::size_t i = 0; i < std::size(given); ++i)
    if (!given[i].empty()) texts.items.emplace_back(kItemWords[i], given[i]);
  for (const auto& comment : remarks.comments)
    texts.comments.push_back(
        {comment.id, By(PlainText(comment.note), PlainText(comment.employee))});
  texts.cause = causes.Text();
  texts.action = actions.Text();
  texts.codes = codes.Text();
  texts.edited = row.edited;
  texts.left_out = PlainText(row.left_out);
  return texts;
}

std::string NumberedText(const CommentText& comment) {
  return (comment.id == 0 ? "" : std::to_string(comment.id) + ": ") + comment.text;
}

std::string TextLine(const SubgroupTexts& texts) {
  std::vector<std::string> pieces;
  for (const auto& [word, text] : texts.items) pieces.push_back(word + " " + text);
  for (const auto& comment : texts.comments)
    pieces.push_back((comment.id == 0 ? "comment: " : "comment ") + NumberedText(comment));
  if (!texts.cause.empty()) pieces.push_back("cause: " + texts.cause);
  if (!texts.action.empty()) pieces.push_back("action: " + texts.action);
  if (texts.edited) pieces.emplace_back("edited");
  if (!texts.left_out.empty()) pieces.push_back("left out of limits: " + texts.left_out);
  return Joined(pieces, "; ");
}

std::string NameOrNumber(const Names& names, NameKind kind, std::int32_t id) {
  const std::string name = PlainText(names(kind, id));
  return name.empty() ? "#" + std::to_string(id) : name;
}

std::string ShownName(const Names& names, NameKind kind, std::int32_t id) {
  return id == 0 ? "" : NameOrNumber(names, kind, id);
}

std::string StreamName(const Names& names, std::int32_t part, std::int32_t process,
                       std::int32_t test) {
  std::string text;
  for (const auto& [kind, id] :
       {std::pair(NameKind::Part, part), std::pair(NameKind::Process, process),
        std::pair(NameKind::Test, test)}) {
    if (id == 0) continue;
    text += (text.empty() ? "" : " / ") + NameOrNumber(names, kind, id);
  }
  return text;
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

void WriteSubgroups(JsonWriter& json, const SubgroupsRead& data, const Names& names, bool is_data) {
  const auto is_left_out = [](const SubgroupRow& row) { return !row.left_out.empty(); };
  const bool some_left_out = std::ranges::any_of(data.rows, is_left_out);
  json.Objects("Subgroups", data.rows, [&](const SubgroupRow& row) {
    WriteSubgroup(json, row, names, data.has_texts);
    if (!data.phase_of.empty()) {
      const auto& phase = PhaseOf(data, static_cast<std::size_t>(&row - data.rows.data()));
      json.MemberIf(!phase.empty(), "Phase", phase);
    }
    WriteRemarks(json, RemarksOf(row), names, is_data, data.has_texts);
    json.MemberIf(data.has_texts, "Edited", row.edited);
    if (some_left_out) json.MemberIf(is_left_out(row), "LeftOut", row.left_out);
    if (is_data) json.MemberIf(row.version >= 0, "Version", row.version);
  });
}

void WriteEvent(JsonWriter& json, const EventRow& event, const Names& names) {
  const auto item = [&](const std::string& key, NameKind kind, std::int32_t id) {
    WriteItem(json, key, names, kind, id);
  };
  const auto time = [&](const std::string& key, std::int64_t stamp) {
    json.MemberIf(stamp != 0, key, IsoTime(stamp));
  };
  const auto code = [&](const std::string& key, NameKind kind, const EventCode& value) {
    item(key, kind, value.code);
    item(key + "Employee", NameKind::Employee, value.employee);
    time(key + "Time", value.time);
  };
  json.Members("Evnt", event.evnt, "EventType", event.type, "Name", event.name);
  item("Empl", NameKind::Employee, event.empl);
  json.Member("EventTime", IsoTime(event.time));
  item("Prcs", NameKind::Process, event.prcs);
  item("Part", NameKind::Part, event.part);
  item("Test", NameKind::Test, event.test);
  time("Sgtm", event.sgtm);
  code("ACC", NameKind::AccCode, event.acc);
  code("CAC", NameKind::CacCode, event.cac);
  json.Member("Flag", event.flag);
}

std::string DataJson(const DataSelect* select, const SubgroupsRead& data, const Names& names,
                     const std::vector<Note>& notes) {
  return JsonDocument([&](JsonWriter& json) {
    ObjectMember(json, "DataSelect", select, WriteDataSelect);
    json.Members("TotalSubgroups", data.total_subgroups, "TotalGroups", data.total_groups,
                 "TotalTests", data.total_tests, "TotalDescriptors", data.total_descriptors);
    WriteSubgroups(json, data, names, true);
    WriteNotes(json, notes);
  });
}

std::string DataText(const SubgroupsRead& data, const Names& names, const TextOptions& options) {
  TextWriter out(options);
  Table table{"", {"@time (UTC)", "part / process / test", "values"}, {}};
  for (const auto& row : data.rows) {
    std::vector<std::string> tests;
    for (const auto& test : row.tests) tests.push_back(TestText(test, names));
    std::string values = Joined(tests, "  ");
    if (row.flag == 1 || row.flag == 2) values += row.flag == 1 ? "  [disabled]" : "  [incomplete]";
    table.rows.push_back(
        {IsoTime(row.stamp), StreamName(names, row.part, row.prcs, row.test), values});
    auto texts = TextsOf(row, names);
    const auto phase = PlainText(PhaseOf(data, static_cast<std::size_t>(&row - data.rows.data())));
    // Beside their counts already.
    std::erase_if(texts.items, [](const auto& item) { return item.first == "defects"; });
    table.details.push_back(Joined({texts.label.empty() ? "" : "subgroup " + texts.label,
                                    phase.empty() ? "" : "phase " + phase, TextLine(texts)},
                                   "; "));
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
