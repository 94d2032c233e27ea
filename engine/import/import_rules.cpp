// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <map>

#include "engine/import/import_table.h"
#include "engine/store/Store.h"

namespace orvspc::engine::import {
namespace {

constexpr std::string_view kKinds[] = {"limit", "zone",      "within", "outside",
                                       "trend", "alternate", "red",    "yellow2"};
constexpr std::string_view kSides[] = {"same", "either", "both", "upper", "lower"};

template <std::size_t N>
std::string OneOf(const ImportTable& table, std::size_t column, std::string_view cell,
                  const std::string_view (&words)[N]) {
  if (std::find(std::begin(words), std::end(words), cell) != std::end(words)) {
    return std::string(cell);
  }
  std::string list;
  for (const auto word : words) list += (list.empty() ? "" : ", ") + std::string(word);
  table.Refuse(column, "must be one of " + list);
}

bool SameParameters(const store::StoredRule& a, const store::StoredRule& b) {
  return a.priority == b.priority && a.kind == b.kind && a.k == b.k && a.m == b.m &&
         a.zone == b.zone && a.side == b.side && a.text == b.text;
}

class RulesImport {
 public:
  explicit RulesImport(const ImportContext& context)
      : db_(context.db), table_(context.file, kColumns, context.options) {}

  ImportReport Run() {
    sql::Query query(db_, "SELECT number, priority, kind, k, m, zone, side, text FROM rule");
    while (query.Step()) {
      rules_[query.Int(0)] = {
          query.Int(0), query.Int(1),  std::string(query.Text(2)), query.Int(3),
          query.Int(4), query.Real(5), std::string(query.Text(6)), std::string(query.Text(7))};
    }
    while (table_.Next()) TakeLine();
    report_.lines = table_.Lines();
    return report_;
  }

 private:
  enum Column : std::size_t { kNumber, kKind, kK, kM, kZone, kSide, kPriority, kText, kSet };
  static constexpr ColumnSpec kColumns[] = {{"number", true},    {"kind", true},  {"k", false},
                                            {"m", false},        {"zone", false}, {"side", false},
                                            {"priority", false}, {"text", false}, {"set", false}};

  void TakeLine() {
    const auto number = table_.Whole(kNumber, 0, 31);
    const auto found = rules_.find(number);
    if (found == rules_.end()) {
      Add(ReadNew(number));
    } else {
      CheckKnown(found->second);
    }
    TakeSets(number);
  }

  store::StoredRule ReadNew(std::int32_t number) {
    if ((number == 15 && rules_.contains(31)) || (number == 31 && rules_.contains(15))) {
      table_.Refuse(kNumber, "15 and 31 share one bit; a list can hold one of them");
    }
    store::StoredRule rule;
    rule.number = number;
    ReadGiven(rule);
    if (rule.k == 0) rule.k = rule.m == 0 ? 1 : rule.m;
    if (rule.m == 0) rule.m = rule.k;
    if (rule.k > rule.m) table_.Refuse(kK, "must not be above m");
    CheckWindow(rule);
    const bool is_run = rule.kind == "zone" || rule.kind == "trend" || rule.kind == "yellow2";
    if (rule.side.empty()) rule.side = is_run ? "same" : "either";
    if (rule.priority == 0) rule.priority = number;
    if (rule.text.empty()) rule.text = "Rule " + std::to_string(number);
    return rule;
  }

  // What the rule engine could not run is refused here, where the line is known.
  void CheckWindow(const store::StoredRule& rule) {
    const auto least = rule.kind == "trend" ? 2 : rule.kind == "alternate" ? 3 : 1;
    if (rule.kind == "zone") {
      if (rule.k != rule.m && rule.m > 64) {
        table_.Refuse(kM, "must not be above 64 where k differs");
      }
    } else if (rule.k != rule.m) {
      table_.Refuse(kK, "must be equal to m for this kind");
    }
    if (rule.m < least) {
      table_.Refuse(kM, "must be at least " + std::to_string(least) + " for this kind");
    }
    if ((rule.kind == "limit" || rule.kind == "red") && rule.m != 1) {
      table_.Refuse(kM, "must be 1 for this kind, which looks at one point");
    }
    if (rule.zone > 1000.0) table_.Refuse(kZone, "must be a number of sigmas, 0 to 1000");
  }

  // What the line leaves open is as it is.
  void CheckKnown(const store::StoredRule& known) {
    auto rule = known;
    ReadGiven(rule);
    if (!SameParameters(rule, known)) {
      table_.Refuse(kNumber, "the number stands for a rule with other parameters; take a free one");
    }
  }

  void ReadGiven(store::StoredRule& rule) {
    constexpr std::int32_t kLongestWindow = 1000;
    rule.kind = OneOf(table_, kKind, table_.Name(kKind), kKinds);
    rule.k = table_.Whole(kK, 1, kLongestWindow, rule.k);
    rule.m = table_.Whole(kM, 1, kLongestWindow, rule.m);
    rule.zone = table_.OptionalNumber(kZone).value_or(rule.zone);
    if (rule.zone < 0.0) table_.Refuse(kZone, "must not be below 0");
    const auto side = table_.Cell(kSide);
    if (!side.empty()) rule.side = OneOf(table_, kSide, side, kSides);
    rule.priority = table_.Whole(kPriority, 0, INT32_MAX, rule.priority);
    if (!table_.Cell(kText).empty()) rule.text = table_.Cell(kText);
  }

  void Add(const store::StoredRule& rule) {
    sql::Query(db_,
               "INSERT INTO rule(number, priority, kind, k, m, zone, side, text) "
               "VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8)")
        .Bind(1, std::int64_t{rule.number})
        .Bind(2, std::int64_t{rule.priority})
        .Bind(3, std::string_view(rule.kind))
        .Bind(4, std::int64_t{rule.k})
        .Bind(5, std::int64_t{rule.m})
        .Bind(6, rule.zone)
        .Bind(7, std::string_view(rule.side))
        .Bind(8, std::string_view(rule.text))
        .Run();
    rules_[rule.number] = rule;
    ++report_.rows;
  }

  void TakeSets(std::int32_t number) {
    auto text = table_.Cell(kSet);
    while (!text.empty()) {
      const auto stop = std::min(text.find(' '), text.size());
      const auto name = text.substr(0, stop);
      text.remove_prefix(std::min(stop + 1, text.size()));
      if (name.empty()) continue;
      sql::Query(db_, "INSERT INTO rule_set(name) VALUES(?1) ON CONFLICT DO NOTHING")
          .Bind(1, name)
          .Run();
      sql::Query(db_,
                 "INSERT INTO rule_set_member(rule_set, number) "
                 "SELECT id, ?2 FROM rule_set WHERE name = ?1 ON CONFLICT DO NOTHING")
          .Bind(1, name)
          .Bind(2, std::int64_t{number})
          .Run();
    }
  }

  sql::Connection& db_;
  ImportTable table_;
  ImportReport report_;
  std::map<std::int32_t, store::StoredRule> rules_;
};

bool ReadOn(const ImportTable& table, std::size_t column) {
  const auto cell = catalogue::Lower(table.Name(column));
  for (const std::string_view yes : {"1", "yes", "on", "true"}) {
    if (cell == yes) return true;
  }
  for (const std::string_view no : {"0", "no", "off", "false"}) {
    if (cell == no) return false;
  }
  table.Refuse(column, "must be yes or no, on or off, true or false, 1 or 0");
}

}  // namespace

ImportReport ImportRules(const ImportContext& context) { return RulesImport(context).Run(); }

ImportReport ImportAlarms(const ImportContext& context) {
  enum Column : std::size_t { kPart, kProcess, kTest, kGraph, kNumber, kOn };
  static constexpr ColumnSpec kColumns[] = {{"part", false},  {"process", false}, {"test", false},
                                            {"graph", false}, {"number", true},   {"on", true}};
  ImportTable table(context.file, kColumns, context.options);
  ImportNames names(context.db);
  ImportReport report;
  const auto known = [&](std::size_t column, catalogue::ItemKind kind) -> std::int32_t {
    const auto name = table.Cell(column);
    if (name.empty()) return 0;
    const auto id = names.Find(kind, name);
    if (!id) table.Refuse(column, "the database has nothing of this name");
    return *id;
  };
  while (table.Next()) {
    const auto part = known(kPart, catalogue::ItemKind::Part);
    const auto process = known(kProcess, catalogue::ItemKind::Process);
    const auto test = known(kTest, catalogue::ItemKind::Test);
    const auto number = table.Whole(kNumber, 0, 31);
    sql::Query rule(context.db, "SELECT 1 FROM rule WHERE number = ?1");
    rule.Bind(1, std::int64_t{number});
    if (!rule.Step()) table.Refuse(kNumber, "the database has no rule of this number");
    sql::Query(context.db,
               "INSERT INTO rule_alarm(part, process, test, graph, number, is_on, who, made) "
               "VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8)")
        .BindReference(1, part)
        .BindReference(2, process)
        .BindReference(3, test)
        .BindReference(4, table.Whole(kGraph, 1, 3, 0))
        .Bind(5, std::int64_t{number})
        .Bind(6, std::int64_t{ReadOn(table, kOn)})
        .Bind(7, std::string_view(context.who))
        .Bind(8, context.made)
        .Run();
    ++report.rows;
  }
  report.lines = table.Lines();
  return report;
}

ImportReport ImportGroups(const ImportContext& context) {
  enum Column : std::size_t { kKind, kGroup, kName };
  static constexpr ColumnSpec kColumns[] = {{"kind", true}, {"group", true}, {"name", true}};
  ImportTable table(context.file, kColumns, context.options);
  ImportNames names(context.db);
  ImportReport report;
  while (table.Next()) {
    const auto kind = catalogue::ItemKindFromWord(table.Name(kKind));
    if (!kind || *kind == catalogue::ItemKind::Requirement) {
      table.Refuse(kKind, "is nothing that can be grouped");
    }
    // A state without its type would be neither running nor standing.
    if (*kind == catalogue::ItemKind::StateCode && !names.Find(*kind, table.Name(kName))) {
      table.Refuse(kName, "is no state of the database; import state-codes first");
    }
    const auto item = names.Take(*kind, table.Name(kName));
    const auto added = AddToGroup(context.db, *kind, table.Name(kGroup), item);
    report.new_names += added.groups;
    report.rows += added.members;
  }
  report.lines = table.Lines();
  report.new_names += names.Added();
  return report;
}

}  // namespace orvspc::engine::import
