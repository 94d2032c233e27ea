// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cctype>
#include <sstream>
#include <string_view>
#include <utility>
#include <variant>

#include "engine/QualityDatabase.h"
#include "host/cli/Output.h"
#include "host/render/core/Json.h"
#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"
#include "host/render/core/Text.h"

namespace orvspc::cli {

namespace {

using render::JsonWriter;

struct Time {
  std::int64_t stamp = 0;
};
using Texts = std::vector<std::string>;
// Nothing, a flag, a number, a time, a text, a list of texts.
using Cell = std::variant<std::monostate, bool, std::int64_t, double, Time, std::string, Texts>;

// Columns are words: the key in JSON, after # for numbers, @ for what is never broken, - for JSON
// alone. The heading is the key in small letters, or what follows an equals sign, _ for a blank.
// One list, for text and JSON alike.
struct Listing {
  std::string key;
  std::string columns;
  std::vector<std::vector<Cell>> rows = {};
};

template <class Number>
Cell Given(const std::optional<Number>& number) {
  if (!number) return {};
  return *number;
}
Cell TimeOf(bool given, std::int32_t stamp) {
  if (!given) return {};
  return Time{stamp};
}
Cell EffectiveOf(std::int32_t stamp) { return TimeOf(stamp != kSinceEver, stamp); }

std::string ShownText(const Cell& cell) {
  struct Shown {
    std::string operator()(std::monostate) const { return {}; }
    std::string operator()(bool flag) const { return flag ? "yes" : "no"; }
    std::string operator()(std::int64_t number) const { return std::to_string(number); }
    std::string operator()(double number) const { return render::Shortest(number); }
    std::string operator()(Time time) const { return render::IsoTime(time.stamp); }
    std::string operator()(const std::string& text) const { return render::PlainText(text); }
    std::string operator()(const Texts& texts) const {
      std::string all;
      for (const auto& text : texts) all += (all.empty() ? "" : ", ") + text;
      return render::PlainText(all);
    }
  };
  return std::visit(Shown(), cell);
}

void WriteCell(JsonWriter& json, const Cell& cell) {
  struct Write {
    JsonWriter& json;
    void operator()(std::monostate) const { json.Null(); }
    void operator()(bool flag) const { json.Value(flag); }
    void operator()(std::int64_t number) const { json.Value(number); }
    void operator()(double number) const { json.Value(number); }
    void operator()(Time time) const { json.Value(render::IsoTime(time.stamp)); }
    void operator()(const std::string& text) const { json.Value(std::string_view(text)); }
    void operator()(const Texts& texts) const { json.Value(std::span<const std::string>(texts)); }
  };
  std::visit(Write{json}, cell);
}

struct Column {
  char kind = ' ';  // one of #, @, -, or a blank
  std::string key, heading;
};

std::vector<Column> ColumnsOf(const Listing& listing) {
  std::vector<Column> columns;
  std::istringstream words(listing.columns);
  for (std::string word; words >> word;) {
    Column& column = columns.emplace_back();
    if (std::string_view("#@-").find(word[0]) != std::string_view::npos) {
      column.kind = word[0];
      word.erase(0, 1);
    }
    const auto equals = word.find('=');
    column.key = word.substr(0, equals);
    column.heading = equals == std::string::npos ? word : word.substr(equals + 1);
    for (char& c : column.heading)
      c = c == '_' ? ' ' : static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (column.kind == '#' || column.kind == '@') column.heading.insert(0, 1, column.kind);
  }
  return columns;
}

render::Table TableOf(const Listing& listing) {
  const auto columns = ColumnsOf(listing);
  render::Table table{"", {}};
  for (const auto& column : columns)
    if (column.kind != '-') table.headings.push_back(column.heading);
  for (const auto& row : listing.rows) {
    auto& cells = table.rows.emplace_back();
    for (std::size_t c = 0; c < row.size(); ++c)
      if (columns[c].kind != '-') cells.push_back(ShownText(row[c]));
  }
  if (table.rows.empty()) {
    table.rows.emplace_back(table.headings.size());
    table.rows[0][table.headings[0].starts_with('#') ? 1 : 0] = "(none)";
  }
  return table;
}

void WriteJson(JsonWriter& json, const Listing& listing) {
  const auto columns = ColumnsOf(listing);
  json.Key(listing.key);
  json.BeginArray();
  for (const auto& row : listing.rows) {
    json.BeginObject(true);
    for (std::size_t c = 0; c < row.size(); ++c) {
      json.Key(columns[c].key);
      WriteCell(json, row[c]);
    }
    json.EndObject();
  }
  json.EndArray();
}

Listing Items(const QualityDatabase& database, ItemKind kind) {
  const bool is_test = kind == ItemKind::Test;
  const bool is_code = kind == ItemKind::Defect || kind == ItemKind::AccCode ||
                       kind == ItemKind::CacCode || kind == ItemKind::StateCode;
  const std::string word(WordOf(kind));
  Listing list{word, "#ID Name=" + word + (is_code ? " Text=what_it_means" : "") +
                         (is_test ? " -TestType" : "") +
                         " #Subgroups @First @Last -Factor -Type -Active"};
  for (const auto& item : database.CountedItems(kind)) {
    auto& row = list.rows.emplace_back(std::vector<Cell>{std::int64_t{item.id}, item.name});
    if (is_code) row.emplace_back(item.text);
    if (is_test) row.emplace_back(std::int64_t{item.type});
    for (Cell cell : {Cell(item.subgroups), TimeOf(item.subgroups > 0, item.first),
                      TimeOf(item.subgroups > 0, item.last), Cell(item.factor),
                      Cell(std::int64_t{item.type}), Cell(item.active)})
      row.push_back(std::move(cell));
  }
  return list;
}

Listing Streams(const QualityDatabase& database) {
  Listing list{"stream", "Part Process Test -TestType #Subgroups @First @Last"};
  for (const auto& stream : database.Streams())
    list.rows.push_back({database.Name(ItemKind::Part, stream.part),
                         database.Name(ItemKind::Process, stream.process),
                         database.Name(ItemKind::Test, stream.test), std::int64_t{stream.test_type},
                         stream.subgroups, Time{stream.first}, Time{stream.last}});
  return list;
}

Listing Groups(const QualityDatabase& database) {
  Listing list{"group", "#ID Kind Name=group Members"};
  for (int k = 0; k < kItemKinds; ++k) {
    const auto kind = static_cast<ItemKind>(k);
    for (const auto& group : database.Groups(kind)) {
      Texts members;
      for (const auto member : group.members) members.push_back(database.Name(kind, member));
      list.rows.push_back(
          {std::int64_t{group.id}, std::string(WordOf(kind)), group.name, std::move(members)});
    }
  }
  return list;
}

Listing Descriptors(const QualityDatabase& database) {
  Listing list{"descriptor", "#ID Group=descriptor Name=value"};
  for (const auto& descriptor : database.Descriptors())
    list.rows.push_back({std::int64_t{descriptor.id}, descriptor.group_name, descriptor.name});
  return list;
}

Listing RuleSets(const QualityDatabase& database) {
  Listing list{"rule-set", "Name=rule_set Rules"};
  for (const auto& set : database.RuleSets()) {
    Texts rules;
    for (const auto number : set.numbers) rules.push_back(std::to_string(number));
    list.rows.push_back({set.name, std::move(rules)});
  }
  return list;
}

Listing Settings(const QualityDatabase& database) {
  Listing list{"setting", "Name=setting Value Meaning=what_it_is"};
  for (const auto& setting : SettingKinds())
    list.rows.push_back(
        {std::string(setting.name), database.Setting(setting.name), std::string(setting.meaning)});
  return list;
}

// Every version of the rows of one kind for the streams that have subgroups, with a mark at those
// that are in force now. cells: of a row, for the columns beyond part, test and time.
template <class Row>
Listing Limits(const QualityDatabase& database, const char* key, const char* columns,
               std::vector<Cell> (*cells)(const Row&)) {
  constexpr bool kOfProcess = std::is_same_v<Row, ControlLimits>;
  Listing list{key, "Part Test" + std::string(kOfProcess ? " Process" : "") +
                        " @Effective InForce=in_force " + columns};
  std::vector<StreamKey> done;
  for (StreamKey stream : database.Streams()) {
    if (!kOfProcess) stream.process = 0;
    if (std::find(done.begin(), done.end(), stream) != done.end()) continue;
    done.push_back(stream);
    const auto now = database.InForce<Row>(stream, CurrentTime());
    const auto versions = database.Versions<Row>(stream);
    for (const Row& row : versions) {
      auto& all = list.rows.emplace_back(std::vector<Cell>{
          database.Name(ItemKind::Part, stream.part), database.Name(ItemKind::Test, stream.test)});
      if (kOfProcess) all.emplace_back(database.Name(ItemKind::Process, stream.process));
      all.push_back(EffectiveOf(row.effective));
      all.emplace_back(now && now->effective == row.effective);
      for (auto& cell : cells(row)) all.push_back(std::move(cell));
    }
  }
  return list;
}

Listing SpecificationLimitsList(const QualityDatabase& database) {
  return Limits<SpecificationLimits>(
      database, "limits",
      "#USL #Target #LSL #UGB #LGB #URL #LRL -UWP -LWP -Cp -Cpk -Alarms -Scale -Name",
      [](const SpecificationLimits& row) -> std::vector<Cell> {
        std::vector<Cell> cells;
        for (const auto& limit : {row.usl, row.target, row.lsl, row.ugb, row.lgb, row.url, row.lrl,
                                  row.uwp, row.lwp, row.cp, row.cpk})
          cells.push_back(Given(limit));
        cells.insert(cells.end(), {Cell(row.alarms), Cell(std::int64_t{row.scale}), row.name});
        return cells;
      });
}

Listing ControlLimitsList(const QualityDatabase& database) {
  return Limits<ControlLimits>(database, "control-limits",
                               "#Mean #SP -SPL #SW -SWL -Start -Finish -ChartWord",
                               [](const ControlLimits& row) -> std::vector<Cell> {
                                 return {row.mean,
                                         row.sp,
                                         row.spl,
                                         row.sw,
                                         row.swl,
                                         TimeOf(row.start != 0, row.start),
                                         TimeOf(row.finish != 0, row.finish),
                                         std::int64_t{row.chart_word}};
                               });
}

Listing OpportunitiesList(const QualityDatabase& database) {
  return Limits<Opportunities>(database, "opportunities", "#Opportunities",
                               [](const Opportunities& row) -> std::vector<Cell> {
                                 return {std::int64_t{row.opportunities}};
                               });
}

Listing NetContentsList(const QualityDatabase& database) {
  return Limits<NetContents>(
      database, "net-contents",
      "Class Quantity #Nominal #MAV -MAVL -MAVLP -MAVU -MAVUP -T1L -T1LP -T1U -T1UP -T2L -T2LP "
      "-T2U "
      "-T2UP -Factor -Name",
      [](const NetContents& row) -> std::vector<Cell> {
        std::vector<Cell> cells{row.class_name, row.quantity};
        for (const auto& limit :
             {row.nominal, row.mav, row.mavl, row.mavlp, row.mavu, row.mavup, row.t1l, row.t1lp,
              row.t1u, row.t1up, row.t2l, row.t2lp, row.t2u, row.t2up})
          cells.push_back(Given(limit));
        cells.insert(cells.end(), {Cell(row.factor), row.name});
        return cells;
      });
}

struct List {
  const char* word;
  Listing (*make)(const QualityDatabase&);
};
constexpr List kLists[] = {{"streams", Streams},
                           {"descriptors", Descriptors},
                           {"groups", Groups},
                           {"rule-sets", RuleSets},
                           {"settings", Settings},
                           {"limits", SpecificationLimitsList},
                           {"control-limits", ControlLimitsList},
                           {"opportunities", OpportunitiesList},
                           {"net-contents", NetContentsList}};

std::vector<std::string> ListWords() {
  std::vector<std::string> words;
  for (int k = 0; k < kItemKinds; ++k) words.emplace_back(WordOf(static_cast<ItemKind>(k)));
  for (const auto& list : kLists) words.emplace_back(list.word);
  return words;
}

std::vector<Listing> Listed(const QualityDatabase& database, const std::string& word) {
  if (word.empty())
    return {Items(database, ItemKind::Part), Items(database, ItemKind::Process),
            Items(database, ItemKind::Test)};
  if (const auto kind = ItemKindFromWord(word)) return {Items(database, *kind)};
  for (const auto& list : kLists)
    if (word == list.word) return {list.make(database)};
  return {};
}

bool IsListed(const std::string& word) {
  return word.empty() || ItemKindFromWord(word) ||
         std::any_of(std::begin(kLists), std::end(kLists),
                     [&](const List& list) { return word == list.word; });
}

int Run(const Arguments& arguments, Console& console) {
  const std::string format = OutputFormat(arguments, {"text", "json"});
  const std::string word = arguments.Positional().empty() ? "" : arguments.Positional()[0];
  if (!IsListed(word))
    throw Misuse("nothing called \"" + word + "\" can be listed, only " + Joined(ListWords()));
  const auto listings = Listed(QualityDatabase::Open(arguments.Required(kDatabase)), word);
  if (format == "json") {
    JsonWriter json;
    json.BeginObject();
    for (const auto& listing : listings) WriteJson(json, listing);
    json.EndObject();
    Deliver(arguments, console, json.Text());
    return 0;
  }
  render::TextWriter text(TextOptionsOf(arguments, console));
  for (const auto& listing : listings) {
    if (&listing != &listings.front()) text.Blank();
    text.Write(TableOf(listing));
  }
  Deliver(arguments, console, text.Take());
  return 0;
}

}  // namespace

Command ListCommand() {
  return {"list",
          "--db FILE [WHAT]",
          "What a database holds: names with counts of subgroups and times, settings, limits",
          "WHAT is " + Joined(ListWords()) +
              "; part, process and test without it. Names of kinds are taken in the plural, too. "
              "Limits are those of the streams that have subgroups: every version, and which of "
              "them is in force now.\nFormats: text, json.",
          "orvspc list --db q.db tests",
          Together(std::vector<Option>{kDatabase}, kOutputOptions),
          Run,
          1};
}

}  // namespace orvspc::cli
