// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <cctype>
#include <functional>
#include <iterator>
#include <map>
#include <set>
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

using Texts = std::vector<std::string>;
// Nothing, a flag, a number, a text, a list of texts.
using Cell = std::variant<std::monostate, bool, std::int64_t, double, std::string, Texts>;
using Row = std::vector<Cell>;

// Columns are words: the key in JSON, after # for numbers, @ for what is never broken, - for JSON
// alone. The heading is the key in small letters, or what follows an equals sign, _ for a blank.
// One list, for text and JSON alike.
struct Listing {
  std::string key;
  std::string columns;
  std::vector<Row> rows;
  std::string note = {};  // what is missing, and why
};

template <class Value>
Cell CellOf(const Value& value) {
  return value;
}
Cell CellOf(std::string_view text) { return std::string(text); }
Cell CellOf(const std::optional<double>& number) { return number ? Cell(*number) : Cell(); }
Cell CellOf(const std::vector<std::int32_t>& numbers) {
  Texts texts;
  for (const auto number : numbers) texts.push_back(std::to_string(number));
  return texts;
}
Cell TimeOf(bool given, std::int32_t stamp) {
  return given ? Cell(render::IsoTime(stamp)) : Cell();
}

template <class... Values>
Row RowOf(const Values&... values) {
  return {CellOf(values)...};
}

template <class Items, class MakeRow>
std::vector<Row> RowsOf(const Items& items, MakeRow make) {
  std::vector<Row> rows;
  for (const auto& item : items) rows.push_back(make(item));
  return rows;
}

std::string ShownText(const Cell& cell) {
  struct Shown {
    std::string operator()(std::monostate) const { return {}; }
    std::string operator()(bool flag) const { return flag ? "yes" : "no"; }
    std::string operator()(std::int64_t number) const { return std::to_string(number); }
    std::string operator()(double number) const { return render::Shortest(number); }
    std::string operator()(const std::string& text) const { return render::PlainText(text); }
    std::string operator()(const Texts& texts) const {
      std::string all;
      for (const auto& text : texts) all += (all.empty() ? "" : ", ") + text;
      return render::PlainText(all);
    }
  };
  return std::visit(Shown(), cell);
}

struct Column {
  std::string key, heading;
  bool is_shown = true;  // in text
};

std::vector<Column> ColumnsOf(const Listing& listing) {
  std::vector<Column> columns;
  std::istringstream words(listing.columns);
  for (std::string word; words >> word;) {
    const std::string mark = word.substr(0, word.find_first_not_of("#@-"));
    word.erase(0, mark.size());
    const auto equals = word.find('=');
    std::string heading = equals == std::string::npos ? word : word.substr(equals + 1);
    for (char& c : heading)
      c = c == '_' ? ' ' : static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    columns.push_back({word.substr(0, equals), mark + heading, mark != "-"});
  }
  return columns;
}

render::Table TableOf(const Listing& listing) {
  const auto columns = ColumnsOf(listing);
  render::Table table{"", {}};
  for (const auto& column : columns)
    if (column.is_shown) table.headings.push_back(column.heading);
  for (const auto& row : listing.rows) {
    auto& cells = table.rows.emplace_back();
    for (std::size_t c = 0; c < row.size(); ++c)
      if (columns[c].is_shown) cells.push_back(ShownText(row[c]));
  }
  if (table.rows.empty()) {
    table.rows.emplace_back(table.headings.size());
    table.rows[0][table.headings[0].starts_with('#') ? 1 : 0] = "(none)";
  }
  return table;
}

void WriteJson(render::JsonWriter& json, const Listing& listing) {
  const auto columns = ColumnsOf(listing);
  const auto write = [&](const auto& value) {
    using Type = std::decay_t<decltype(value)>;
    if constexpr (std::is_same_v<Type, std::monostate>) {
      json.Null();
    } else if constexpr (std::is_same_v<Type, Texts>) {
      json.Value(std::span<const std::string>(value));
    } else {
      json.Value(value);
    }
  };
  json.Objects(listing.key, listing.rows, [&](const Row& row) {
    for (std::size_t c = 0; c < row.size(); ++c) {
      json.Key(columns[c].key);
      std::visit(write, row[c]);
    }
  });
}

Listing Items(const QualityDatabase& database, ItemKind kind) {
  const bool is_test = kind == ItemKind::Test;
  const bool is_code = kind == ItemKind::Defect || kind == ItemKind::AccCode ||
                       kind == ItemKind::CacCode || kind == ItemKind::StateCode;
  const std::string word(WordOf(kind));
  const char* const more = is_code ? " Text=what_it_means" : is_test ? " -TestType" : "";
  Listing listing{
      word,
      "#ID Name=" + word + more + " #Subgroups @First @Last -Factor -Type -Active -Version",
      {}};
  const auto row_of = [&](const ListedItem& item, const Cell& subgroups, const Cell& first,
                          const Cell& last) {
    Row row{std::int64_t{item.id}, item.name, subgroups, first, last};
    std::ranges::move(RowOf(item.factor, item.type, item.active, item.version),
                      std::back_inserter(row));
    if (is_code) row.emplace(row.begin() + 2, item.text);
    if (is_test) row.emplace(row.begin() + 2, std::int64_t{item.type});
    return row;
  };
  try {
    listing.rows = RowsOf(database.CountedItems(kind), [&](const CountedItem& item) {
      const bool occurs = item.subgroups > 0;
      return row_of(item, item.subgroups, TimeOf(occurs, item.first), TimeOf(occurs, item.last));
    });
  } catch (const platform::ExternalFailure& failure) {
    // Names are read also where values are damaged.
    auto items = database.Items(kind);
    std::ranges::sort(items, {}, &ListedItem::name);
    listing.rows = RowsOf(items, [&](const ListedItem& item) { return row_of(item, {}, {}, {}); });
    listing.note = "subgroups of the kind " + word + " are not counted: " + failure.Description();
  }
  return listing;
}

std::vector<Row> Groups(const QualityDatabase& database) {
  std::vector<Row> rows;
  for (int k = 0; k < kItemKinds; ++k) {
    const auto kind = static_cast<ItemKind>(k);
    for (const auto& group : database.Groups(kind)) {
      Texts members;
      for (const auto member : group.members) members.push_back(database.Name(kind, member));
      rows.push_back(RowOf(group.id, WordOf(kind), group.name, members));
    }
  }
  return rows;
}

// The columns of limits beyond part, test, process and time.
Row CellsOf(const SpecificationLimits& row) {
  return RowOf(row.usl, row.target, row.lsl, row.ugb, row.lgb, row.url, row.lrl, row.uwp, row.lwp,
               row.cp, row.cpk, row.alarms, row.scale, row.name);
}
Row CellsOf(const ControlLimits& row) {
  // 0: the row has none.
  const auto sigma = [](double value) { return value == 0.0 ? Cell() : Cell(value); };
  return RowOf(row.mean, sigma(row.sp), sigma(row.spl), sigma(row.sw), sigma(row.swl),
               TimeOf(row.start != 0, row.start), TimeOf(row.finish != 0, row.finish),
               row.chart_word);
}
Row CellsOf(const Opportunities& row) { return RowOf(row.opportunities); }
Row CellsOf(const NetContents& row) {
  return RowOf(row.class_name, row.quantity, row.nominal, row.mav, row.mavl, row.mavlp, row.mavu,
               row.mavup, row.t1l, row.t1lp, row.t1u, row.t1up, row.t2l, row.t2lp, row.t2u,
               row.t2up, row.factor, row.name);
}

// 0: any.
template <class Limits>
std::int32_t ProcessOf(const Limits& limits) {
  if constexpr (std::is_same_v<Limits, ControlLimits>) return limits.process;
  return 0;
}

// Every version of the rows of one kind for the streams that have subgroups, each once, with a mark
// at those that are in force now for at least one of them.
template <class Limits>
std::vector<Row> LimitsOf(const QualityDatabase& database) {
  constexpr bool kOfProcess = std::is_same_v<Limits, ControlLimits>;
  std::vector<Row> rows;
  const auto key_of = [](const Limits& limits) {
    return std::array{limits.part, limits.test, ProcessOf(limits), limits.effective};
  };
  struct Place {
    std::size_t row, in_force;
  };
  std::map<std::array<std::int32_t, 4>, Place> listed;
  std::set<std::pair<std::int32_t, std::int32_t>> read;  // parts and tests
  for (const auto& stream : database.Streams()) {
    if (!read.emplace(stream.part, stream.test).second && !kOfProcess) continue;
    const auto now = database.InForce<Limits>(stream, CurrentTime());
    for (const auto& limits : database.Versions<Limits>(stream)) {
      const auto [at, is_new] = listed.try_emplace(key_of(limits), Place{rows.size(), 0});
      if (is_new) {
        auto& row = rows.emplace_back(RowOf(database.Name(ItemKind::Part, limits.part),
                                            database.Name(ItemKind::Test, limits.test)));
        const auto process = ProcessOf(limits);
        if (kOfProcess)
          row.push_back(process == 0 ? Cell() : database.Name(ItemKind::Process, process));
        row.push_back(TimeOf(limits.effective != kSinceEver, limits.effective));
        at->second.in_force = row.size();
        row.emplace_back(false);
        std::ranges::move(CellsOf(limits), std::back_inserter(row));
      }
      if (now && key_of(*now) == at->first) rows[at->second.row][at->second.in_force] = true;
    }
  }
  return rows;
}

struct List {
  const char* word;
  const char* key;
  const char* columns;
  std::vector<Row> (*rows)(const QualityDatabase&);
};
constexpr List kLists[] = {
    {"streams", "stream",
     "Part Process Test -TestType #Subgroups @First @Last #Limits #OpenAlarms=alarms",
     [](const QualityDatabase& database) {
       return RowsOf(database.Streams(), [&](const auto& stream) {
         return RowOf(database.Name(ItemKind::Part, stream.part),
                      database.Name(ItemKind::Process, stream.process),
                      database.Name(ItemKind::Test, stream.test), stream.test_type,
                      stream.subgroups, TimeOf(true, stream.first), TimeOf(true, stream.last),
                      stream.limits == 0 ? Cell() : Cell(std::int64_t{stream.limits}),
                      stream.open_alarms);
       });
     }},
    {"descriptors", "descriptor", "#ID Group=descriptor Name=value",
     [](const QualityDatabase& database) {
       return RowsOf(database.Descriptors(), [](const auto& descriptor) {
         return RowOf(descriptor.id, descriptor.group_name, descriptor.name);
       });
     }},
    {"groups", "group", "#ID Kind Name=group Members", Groups},
    {"rule-sets", "rule-set", "Name=rule_set Rules",
     [](const QualityDatabase& database) {
       return RowsOf(database.RuleSets(),
                     [](const auto& set) { return RowOf(set.name, set.numbers); });
     }},
    {"settings", "setting", "Name=setting Value Meaning=what_it_is -Version",
     [](const QualityDatabase& database) {
       return RowsOf(database.SettingNames(), [&](const auto& name) {
         return RowOf(name, database.Setting(name), FindSettingKind(name)->meaning,
                      database.SettingVersion(name));
       });
     }},
    {"chart-options", "chart-option", "#ID Part Process Test #Graph Name=option Value -Version",
     [](const QualityDatabase& database) {
       const auto name = [&](ItemKind kind, std::int32_t id) {
         return id == 0 ? Cell() : Cell(database.Name(kind, id));
       };
       return RowsOf(database.ChartOptions(), [&](const auto& option) {
         return RowOf(option.id, name(ItemKind::Part, option.part),
                      name(ItemKind::Process, option.process), name(ItemKind::Test, option.test),
                      option.graph, option.key, option.value, option.version);
       });
     }},
    {"limits", "limits",
     "Part Test @Effective InForce=in_force #USL #Target #LSL #UGB #LGB #URL #LRL -UWP -LWP -Cp "
     "-Cpk -Alarms -Scale -Name",
     LimitsOf<SpecificationLimits>},
    {"control-limits", "control-limits",
     "Part Test Process @Effective InForce=in_force #Mean #SP -SPL #SW -SWL -Start -Finish "
     "-ChartWord",
     LimitsOf<ControlLimits>},
    {"opportunities", "opportunities", "Part Test @Effective InForce=in_force #Opportunities",
     LimitsOf<Opportunities>},
    {"net-contents", "net-contents",
     "Part Test @Effective InForce=in_force Class Quantity #Nominal #MAV -MAVL -MAVLP -MAVU -MAVUP "
     "-T1L -T1LP -T1U -T1UP -T2L -T2LP -T2U -T2UP -Factor -Name",
     LimitsOf<NetContents>},
};

std::string ListWords() {
  Texts words;
  for (int k = 0; k < kItemKinds; ++k) words.emplace_back(WordOf(static_cast<ItemKind>(k)));
  for (const auto& list : kLists) words.emplace_back(list.word);
  return Joined(words);
}

using MakeListing = std::function<Listing(const QualityDatabase&)>;

MakeListing MakerOf(const std::string& word) {
  if (const auto kind = ItemKindFromWord(word))
    return [kind](const QualityDatabase& database) { return Items(database, *kind); };
  for (const auto& list : kLists)
    if (word == list.word)
      return [&list](const QualityDatabase& database) {
        return Listing{list.key, list.columns, list.rows(database)};
      };
  throw Misuse("nothing called \"" + word + "\" can be listed, only " + ListWords());
}

int RunListCommand(const Arguments& arguments, Console& console) {
  const std::string format = OutputFormat(arguments, {"text", "json"});
  Texts words = arguments.Positional();  // at most one
  if (words.empty()) words = {"part", "process", "test"};
  std::vector<MakeListing> makers;
  for (const auto& word : words) makers.push_back(MakerOf(word));
  const auto database = QualityDatabase::Open(arguments.Required(kDatabase));
  render::JsonWriter json;
  render::TextWriter text(TextOptionsOf(arguments, console));
  json.BeginObject();
  int status = 0;
  for (const auto& make : makers) {
    const Listing listing = make(database);
    if (!listing.note.empty()) {
      status = 1;
      console.err << render::PlainText("note: " + listing.note) << "\n";
    }
    if (&make != &makers.front()) text.Blank();
    format == "json" ? WriteJson(json, listing) : text.Write(TableOf(listing));
  }
  json.EndObject();
  Deliver(arguments, console, format == "json" ? json.Text() : text.Take());
  return status;
}

}  // namespace

Command ListCommand() {
  return {"list",
          "--db FILE [WHAT]",
          "What a database holds: names with counts of subgroups and times, settings, limits",
          "WHAT is " + ListWords() +
              "; part, process and test without it. Names of kinds are taken in the plural, too. "
              "Limits are those of the streams that have subgroups: every version, and which of "
              "them is in force now.\nFormats: text, json.",
          "orvspc list --db q.db tests",
          Together(std::vector<Option>{kDatabase}, kOutputOptions),
          RunListCommand,
          1};
}

}  // namespace orvspc::cli
