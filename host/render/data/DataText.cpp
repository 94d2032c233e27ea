// SPDX-License-Identifier: Apache-2.0
#include "host/render/data/DataText.h"

#include "host/render/chart/ChartJson.h"
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

// The members of a document's object without its punctuation.
std::string Plain(const std::string& json) {
  std::string text;
  std::size_t start = 0;
  while (start < json.size()) {
    const std::size_t end = json.find('\n', start);
    std::string line = json.substr(start, end - start);
    start = end == std::string::npos ? json.size() : end + 1;
    if (line == "{" || line == "}") continue;
    if (!line.empty() && line.back() == ',') line.pop_back();
    std::erase(line, '"');
    text += line + "\n";
  }
  return text;
}

}  // namespace

std::string DataText(const SubgroupsRead& data, const Names& names) {
  if (data.rows.empty()) return "no data selected\n";
  std::string text = std::to_string(data.total_subgroups) + " subgroups, " +
                     std::to_string(data.total_tests) + " test rows\n\n" +
                     Padded("time (UTC)", 21) + Padded("part / process / test", 40) + "values\n";
  for (const auto& row : data.rows) {
    const std::string stream = ShownName(names, NameKind::Part, row.part) + " / " +
                               ShownName(names, NameKind::Process, row.prcs) + " / " +
                               ShownName(names, NameKind::Test, row.test);
    text +=
        Padded(IsoTime(row.stamp), 21) + (Width(stream) < 40 ? Padded(stream, 40) : stream + "  ");
    for (std::size_t i = 0; i < row.tests.size(); ++i)
      text += (i == 0 ? "" : "  ") + TestText(row.tests[i]);
    if (row.flag == 1 || row.flag == 2) text += std::string("  [") + kFlags[row.flag] + "]";
    text += "\n";
    for (const auto& comment : row.comments)
      text += std::string(21, ' ') + "comment: " + PlainText(comment.note) +
              (comment.employee.empty() ? "" : " (" + PlainText(comment.employee) + ")") + "\n";
  }
  return text;
}

std::string DataSelectText(const DataSelect& select) {
  JsonWriter json;
  json.BeginObject();
  WriteDataSelect(json, select);
  json.EndObject();
  return "DataSelect\n" + Plain(json.Text());
}

std::string ProcessingText(const CCProcessing& processing) {
  JsonWriter json;
  json.BeginObject();
  WriteProcessing(json, processing);
  json.EndObject();
  return "CCProcessing\n" + Plain(json.Text());
}

}  // namespace orvspc::render
