// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <cstdio>
#include <ostream>

#include "engine/QualityDatabase.h"
#include "host/cli/Output.h"
#include "host/cli/SubgroupOptions.h"
#include "host/render/core/Html.h"
#include "host/render/core/Json.h"
#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"

namespace orvspc::cli {

namespace {

constexpr Option kObject{"object", "OBJECT",
                         "entries about #4711, \"limit 12\", \"batch 3\", \"setting NAME\", ..."};
constexpr Option kOnlyBy{"by", "NAME", "entries of this person"};
constexpr Option kSince{"since", "TIME", "not before; a day, or with a time of the day, UTC"};
constexpr Option kUntil{"until", "TIME", "not after; a day counts to its end"};
constexpr Option kOperation{"operation", "WORD", "entries of this kind, such as \"edit-value\""};
constexpr Number kMaxEntries{{"max", "N", "the newest N entries at most", "all"}, 1};
constexpr Option kVerify{"verify", nullptr, "work every hash out again"};
constexpr Option kValuesToo{"data", nullptr,
                            "with --verify: the values, too, against what was stored"};
constexpr Option kHead{"head", nullptr, "the newest entry: UUID, number, hash, time"};
constexpr Option kAnchor{"anchor", "FILE",
                         "append that to FILE, or with --verify compare the log with its lines"};

constexpr std::int64_t kMillisecondsOfSecond = 1000;
constexpr const char* kNoEntries = "no entries";

// "48,112"
std::string Grouped(std::int64_t number) {
  auto text = std::to_string(number);
  constexpr int kGroup = 3;
  for (int at = static_cast<int>(text.size()) - kGroup; at > 0; at -= kGroup) {
    text.insert(static_cast<std::size_t>(at), ",");
  }
  return text;
}

std::string TimeText(const LogEntry& entry) {
  char milliseconds[8];
  std::snprintf(milliseconds, sizeof milliseconds, ".%03dZ",
                static_cast<int>(entry.at % kMillisecondsOfSecond));
  return render::IsoTime(entry.at / kMillisecondsOfSecond) + milliseconds;
}

std::string HeadText(const LogAnchor& head) {
  return head.uuid + " " + std::to_string(head.seq) + " " + head.hash + " " +
         render::IsoTime(head.at / kMillisecondsOfSecond);
}

// The columns that only texts have.
struct TextColumn {
  const char* key;
  std::string LogEntry::*member;
};
constexpr std::array kTexts = {
    TextColumn{"Who", &LogEntry::who},         TextColumn{"System", &LogEntry::system},
    TextColumn{"Station", &LogEntry::station}, TextColumn{"Operation", &LogEntry::operation},
    TextColumn{"Object", &LogEntry::object},   TextColumn{"Before", &LogEntry::before},
    TextColumn{"After", &LogEntry::after},     TextColumn{"Reason", &LogEntry::reason},
    TextColumn{"Program", &LogEntry::program}, TextColumn{"Hash", &LogEntry::hash}};

std::string JsonOf(const std::vector<LogEntry>& entries, const LogAnchor& head) {
  render::JsonWriter json;
  json.BeginObject();
  json.Members("Database", head.uuid, "Entries", head.seq, "Head", head.hash);
  json.Objects("Log", entries, [&](const LogEntry& entry) {
    json.Members("Seq", entry.seq, "At", TimeText(entry));
    for (const auto& [key, member] : kTexts) json.Member(key, entry.*member);
  });
  json.EndObject();
  return json.Text();
}

std::string CsvCell(const std::string& text) {
  if (text.find_first_of("\",\r\n") == std::string::npos) return text;
  std::string cell = "\"";
  for (const char c : text) cell.append(c == '"' ? 2 : 1, c);
  return cell + "\"";
}

std::string CsvOf(const std::vector<LogEntry>& entries) {
  std::string csv =
      "seq,at,who,system,station,operation,object,before,after,reason,program,hash\r\n";
  for (const auto& entry : entries) {
    csv += std::to_string(entry.seq) + "," + TimeText(entry);
    for (const auto& [key, member] : kTexts) csv += "," + CsvCell(entry.*member);
    csv += "\r\n";
  }
  return csv;
}

// What was there before and after lies below each row, or beside it.
enum class Details { Below, Beside };

render::Table TableOf(const std::vector<LogEntry>& entries, Details details) {
  render::Table table{"Log", {"#entry", "@time", "who", "operation", "object", "reason"}};
  if (details == Details::Beside) table.headings.insert(table.headings.end(), {"before", "after"});
  for (const auto& entry : entries) {
    table.rows.push_back({std::to_string(entry.seq),
                          render::IsoTime(entry.at / kMillisecondsOfSecond),
                          render::PlainText(entry.who), render::PlainText(entry.operation),
                          render::PlainText(entry.object), render::PlainText(entry.reason)});
    if (details == Details::Beside) {
      for (const auto& text : {entry.before, entry.after}) {
        table.rows.back().push_back(render::PlainText(text));
      }
      continue;
    }
    std::string detail;
    if (!entry.before.empty()) detail = "before " + entry.before;
    if (!entry.after.empty()) detail += (detail.empty() ? "" : "; ") + ("after " + entry.after);
    table.details.push_back(render::PlainText(detail));
  }
  return table;
}

std::string HtmlOf(const std::vector<LogEntry>& entries, const LogAnchor& head) {
  render::Page page("Log of changes");
  page.Paragraph("sub", "Database " + head.uuid + ", entry " + Grouped(head.seq) +
                            " is the newest, with the hash " + head.hash);
  if (entries.empty()) {
    page.Paragraph("sub", kNoEntries);
  } else {
    page.Write(TableOf(entries, Details::Beside));
  }
  return page.Text();
}

LogFilter FilterOf(const Arguments& arguments) {
  LogFilter filter;
  filter.object = arguments.Value(kObject).value_or("");
  if (filter.object.starts_with("#")) filter.object.erase(0, 1);
  const bool is_number = filter.object.find_first_not_of("0123456789") == std::string::npos;
  if (is_number && !filter.object.empty()) filter.object.insert(0, "subgroup ");
  filter.by = arguments.Value(kOnlyBy).value_or("");
  filter.operation = arguments.Value(kOperation).value_or("");
  if (const auto since = arguments.Value(kSince)) filter.since = StampOf(kSince, *since);
  if (const auto until = arguments.Value(kUntil)) filter.until = StampOf(kUntil, *until, true);
  filter.max = arguments.Get(kMaxEntries).value_or(0);
  return filter;
}

int Verify(const Arguments& arguments, const QualityDatabase& database, Console& console) {
  const auto check = database.VerifyLog(
      {.with_data = arguments.Has(kValuesToo), .anchors = arguments.Value(kAnchor).value_or("")});
  const bool is_whole = check.finds.empty();
  for (const auto& find : check.finds) {
    console.err << "log: " << render::PlainText(find) << "\n";
  }
  render::TextWriter text(TextOptionsOf(arguments, console));
  text.Line(Grouped(check.entries) + (check.entries == 1 ? " entry, " : " entries, ") +
            (is_whole ? "whole" : "not whole") + ", head " + check.head.hash);
  if (arguments.Has(kValuesToo)) {
    text.Line(Grouped(check.batches) + (check.batches == 1 ? " batch and " : " batches and ") +
              Grouped(check.records) + (check.records == 1 ? " record" : " records") + " compared" +
              (is_whole ? ", all as they were stored" : ""));
  }
  for (const auto& note : check.notes) text.Line("note: " + note);
  Deliver(arguments, console, text.Take());
  return is_whole ? 0 : 1;
}

// A check is of the whole log, and its answer a text.
void CheckQuestion(const Arguments& arguments, const std::string& format) {
  if (!arguments.Has(kVerify)) return;
  if (format != "text") throw Misuse("--verify answers in text; there is no --format " + format);
  constexpr std::array<const Option*, 6> kFilters = {&kObject, &kOnlyBy,    &kSince,
                                                     &kUntil,  &kOperation, &kMaxEntries};
  for (const auto* const filter : kFilters) {
    if (!arguments.Has(*filter)) continue;
    throw Misuse("--verify checks the whole log; it goes without --" + std::string(filter->name));
  }
}

int RunLogCommand(const Arguments& arguments, Console& console) {
  const auto format = OutputFormat(arguments, {"text", "json", "csv", "html"});
  CheckQuestion(arguments, format);
  if (arguments.Has(kValuesToo) && !arguments.Has(kVerify))
    throw Misuse("--data goes with --verify");
  if (arguments.Has(kHead) && arguments.Has(kVerify)) {
    throw Misuse("--head and --verify are two questions");
  }
  const auto database = QualityDatabase::Open(arguments.Required(kDatabase));
  if (arguments.Has(kVerify)) return Verify(arguments, database, console);
  if (arguments.Has(kAnchor) || arguments.Has(kHead)) {
    const auto file = arguments.Value(kAnchor);
    console.out << HeadText(file ? database.AnchorLog(*file) : database.LogHead()) << "\n";
    return 0;
  }
  const auto entries = database.Log(FilterOf(arguments));
  if (format == "csv") {
    Deliver(arguments, console, CsvOf(entries));
  } else if (format == "text") {
    render::TextWriter text(TextOptionsOf(arguments, console));
    if (entries.empty()) {
      text.Line(kNoEntries);
    } else {
      text.Write(TableOf(entries, Details::Below));
    }
    Deliver(arguments, console, text.Take());
  } else {
    const auto head = database.LogHead();
    Deliver(arguments, console, format == "json" ? JsonOf(entries, head) : HtmlOf(entries, head));
  }
  return 0;
}

}  // namespace

Command LogCommand() {
  return {"log",
          "--db FILE [OPTIONS]",
          "Who changed what, when and why, and whether that record is whole",
          "Entries are only added; each carries a hash of itself and of the one before.\n"
          "--verify works them out again, with --data also what imports and records stored. A head "
          "that is kept elsewhere, by --anchor or on paper, is what shows that nobody wrote the "
          "whole log anew. See also docs/how-to/log.md.\n"
          "Formats: text, json, csv, html.",
          "orvspc log --db q.db --object '#17' --since 2026-03-01",
          Together(std::vector<Option>{kDatabase, kObject, kOnlyBy, kSince, kUntil, kOperation,
                                       kMaxEntries, kVerify, kValuesToo, kHead, kAnchor},
                   kOutputOptions),
          RunLogCommand};
}

}  // namespace orvspc::cli
