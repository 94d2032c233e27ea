// SPDX-License-Identifier: Apache-2.0
#include "host/render/data/DataReading.h"

#include <sstream>

#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"

namespace orvspc::render {

namespace {

std::string TestText(const TestRow& test) {
  std::string text = Shortest(test.value);
  if (test.sbno != 0) text = "(" + text + ")";  // a reading inside the piece
  if (test.def != 0) text += "*" + std::to_string(test.def);
  return text;
}

constexpr const char* kFlags[] = {"", "disabled", "incomplete"};

}  // namespace

std::string DataText(const SubgroupsRead& data, const Names& names, const TextOptions& options) {
  TextWriter out(options);
  Table table{"", {"@time (UTC)", "part / process / test", "values"}, {}};
  for (const auto& row : data.rows) {
    std::string values, comments;
    for (const auto& test : row.tests) values += (values.empty() ? "" : "  ") + TestText(test);
    if (row.flag == 1 || row.flag == 2) values += std::string("  [") + kFlags[row.flag] + "]";
    for (const auto& comment : row.comments)
      comments += (comments.empty() ? "" : "; ") + ("comment: " + PlainText(comment.note)) +
                  (comment.employee.empty() ? "" : " (" + PlainText(comment.employee) + ")");
    table.rows.push_back({IsoTime(row.stamp),
                          ShownName(names, NameKind::Part, row.part) + " / " +
                              ShownName(names, NameKind::Process, row.prcs) + " / " +
                              ShownName(names, NameKind::Test, row.test),
                          values});
    table.details.push_back(comments);
  }
  if (data.rows.empty()) {
    out.Line("no data selected");
  } else {
    out.Line(std::to_string(data.total_subgroups) + " subgroups, " +
             std::to_string(data.total_tests) + " test rows");
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
