// SPDX-License-Identifier: Apache-2.0
#include "engine/QualityDatabase.h"
#include "host/cli/Output.h"
#include "host/render/core/Json.h"
#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"
#include "host/render/core/Text.h"

namespace orvspc::cli {

namespace {

std::string JsonOf(const std::vector<ListedImport>& imports) {
  render::JsonWriter json;
  json.BeginObject();
  json.Objects("imports", imports, [&](const ListedImport& each) {
    json.Members("ID", each.id, "Time", render::IsoTime(each.made), "Who", each.who, "Kind",
                 each.kind, "Source", each.source, "Lines", each.lines, "Records", each.records,
                 "State", each.state, "Version", each.version);
  });
  json.EndObject();
  return json.Text();
}

render::Table TableOf(const std::vector<ListedImport>& imports) {
  render::Table table{"", {"#id", "@time", "who", "kind", "source", "#lines", "#records", "state"}};
  for (const auto& each : imports) {
    table.rows.push_back({std::to_string(each.id), render::IsoTime(each.made),
                          render::PlainText(each.who), each.kind, render::PlainText(each.source),
                          std::to_string(each.lines), std::to_string(each.records), each.state});
  }
  if (table.rows.empty()) {
    table.rows.emplace_back(table.headings.size());
    table.rows[0][1] = "(none)";
  }
  return table;
}

int RunImportsCommand(const Arguments& arguments, Console& console) {
  const std::string format = OutputFormat(arguments, {"text", "json"});
  const auto imports = QualityDatabase::Open(arguments.Required(kDatabase)).Imports();
  if (format == "json") {
    Deliver(arguments, console, JsonOf(imports));
    return 0;
  }
  render::TextWriter text(TextOptionsOf(arguments, console));
  text.Write(TableOf(imports));
  Deliver(arguments, console, text.Take());
  return 0;
}

}  // namespace

Command ImportsCommand() {
  return {"imports",
          "--db FILE",
          "Lists imports and batches of records, the newest first",
          "ID is what \"orvspc edit undo-import\" takes.\nFormats: text, json.",
          "orvspc imports --db q.db",
          Together(std::vector<Option>{kDatabase}, kOutputOptions),
          RunImportsCommand};
}

}  // namespace orvspc::cli
