// SPDX-License-Identifier: Apache-2.0
#include "engine/catalogue/words.h"
#include "engine/import/import_table.h"

namespace orvspc::engine::import {
namespace {

class EventsImport {
 public:
  explicit EventsImport(const ImportContext& context)
      : db_(context.db), table_(context.file, kColumns, context.options), names_(context.db) {}

  ImportReport Run() {
    while (table_.Next()) TakeLine();
    report_.lines = table_.Lines();
    report_.new_names = names_.Added();
    return report_;
  }

 private:
  enum Column : std::size_t {
    kType,
    kTime,
    kName,
    kEnd,
    kProcess,
    kPart,
    kTest,
    kSubgroupTime,
    kEmployee,
    kAcc,
    kAccEmployee,
    kAccTime,
    kCac,
    kCacEmployee,
    kCacTime,
    kOpen
  };
  static constexpr ColumnSpec kColumns[] = {
      {"type", true},  {"time", true},           {"name", false},
      {"end", false},  {"process", false},       {"part", false},
      {"test", false}, {"subgroup-time", false}, {"employee", false},
      {"acc", false},  {"acc-employee", false},  {"acc-time", false},
      {"cac", false},  {"cac-employee", false},  {"cac-time", false},
      {"open", false}};
  static_assert(std::size(kColumns) == kOpen + 1);

  void TakeLine() {
    const auto type = table_.OneOf(kType, catalogue::kEventTypes);
    const auto time = table_.Stamp(kTime);
    const auto name = Item(kName, catalogue::ItemKind::EventName);
    const auto process = Item(kProcess, catalogue::ItemKind::Process);
    const auto part = Item(kPart, catalogue::ItemKind::Part);
    const auto test = Item(kTest, catalogue::ItemKind::Test);
    sql::Query stored(db_,
                      "SELECT 1 FROM event WHERE time = ?1 AND type = ?2 AND name IS ?3 "
                      "AND process IS ?4 AND part IS ?5 AND test IS ?6");
    stored.Bind(1, std::int64_t{time}).Bind(2, std::int64_t{type});
    stored.BindReference(3, name).BindReference(4, process);
    stored.BindReference(5, part).BindReference(6, test);
    if (stored.Step()) table_.Refuse(kTime, "the event is already stored");
    sql::Query insert(
        db_,
        "INSERT INTO event(time, type, name, process, part, test, employee, acc, "
        "acc_employee, cac, cac_employee, finish, acc_time, cac_time, subgroup_time, flag) "
        "VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13, ?14, ?15, ?16)");
    insert.Bind(1, std::int64_t{time})
        .Bind(2, std::int64_t{type})
        .BindReference(3, name)
        .BindReference(4, process)
        .BindReference(5, part)
        .BindReference(6, test)
        .BindReference(7, Item(kEmployee, catalogue::ItemKind::Employee))
        .BindReference(8, Item(kAcc, catalogue::ItemKind::AccCode))
        .BindReference(9, Item(kAccEmployee, catalogue::ItemKind::Employee))
        .BindReference(10, Item(kCac, catalogue::ItemKind::CacCode))
        .BindReference(11, Item(kCacEmployee, catalogue::ItemKind::Employee))
        .Bind(16, std::int64_t{OpenFlags()});
    int place = 12;
    for (const auto column : {kEnd, kAccTime, kCacTime}) BindStamp(insert, place++, column, time);
    BindStamp(insert, place, kSubgroupTime, INT32_MIN);
    insert.Run();
    ++report_.rows;
  }

  std::int32_t Item(std::size_t column, catalogue::ItemKind kind) {
    const auto cell = table_.Cell(column);
    return cell.empty() ? 0 : names_.Take(kind, cell);
  }

  void BindStamp(sql::Query& query, int place, std::size_t column, std::int32_t earliest) {
    if (table_.Cell(column).empty()) {
      query.BindNull(place);
      return;
    }
    const auto stamp = table_.Stamp(column);
    if (stamp < earliest) table_.Refuse(column, "lies before the time of the event");
    query.Bind(place, std::int64_t{stamp});
  }

  std::int32_t OpenFlags() const {
    const auto flags = OpenWord();
    if ((flags & efOpenACC) != 0 && !table_.Cell(kAcc).empty()) {
      table_.Refuse(kOpen, "must not name acc, which the line gives");
    }
    if ((flags & efOpenCAC) != 0 && !table_.Cell(kCac).empty()) {
      table_.Refuse(kOpen, "must not name cac, which the line gives");
    }
    return flags;
  }

  std::int32_t OpenWord() const {
    const auto cell = catalogue::Lower(table_.Cell(kOpen));
    if (cell.empty() || cell == "none") return 0;
    if (cell == "acc") return efOpenACC;
    if (cell == "cac") return efOpenCAC;
    if (cell == "acc cac" || cell == "cac acc") return efOpenACC | efOpenCAC;
    table_.Refuse(kOpen, "must be acc, cac, both with a blank between them, or none");
  }

  sql::Connection& db_;
  ImportTable table_;
  ImportNames names_;
  ImportReport report_;
};

}  // namespace

ImportReport ImportEvents(const ImportContext& context) { return EventsImport(context).Run(); }

ImportReport ImportStates(const ImportContext& context) {
  enum Column : std::size_t { kProcess, kTime, kState, kType };
  static constexpr ColumnSpec kColumns[] = {
      {"process", true}, {"time", true}, {"state", true}, {"type", false}};
  static_assert(std::size(kColumns) == kType + 1);
  ImportTable table(context.file, kColumns, context.options);
  ImportNames names(context.db);
  ImportReport report;
  while (table.Next()) {
    const auto process = names.Take(catalogue::ItemKind::Process, table.Name(kProcess));
    const auto time = table.Stamp(kTime);
    auto state = names.Find(catalogue::ItemKind::StateCode, table.Name(kState));
    if (!state) {
      if (table.Cell(kType).empty()) {
        table.Refuse(kState,
                     "is no state of the database; import state-codes first, or give its type");
      }
      state = names.Take(catalogue::ItemKind::StateCode, table.Cell(kState));
      sql::Query(context.db, "UPDATE state_code SET type = ?2 WHERE id = ?1")
          .Bind(1, std::int64_t{*state})
          .Bind(2, std::int64_t{table.OneOf(kType, catalogue::kStateTypes)})
          .Run();
    } else if (!table.Cell(kType).empty()) {
      sql::Query known(context.db, "SELECT type FROM state_code WHERE id = ?1");
      known.Bind(1, std::int64_t{*state});
      if (known.Step() && known.Int(0) != table.OneOf(kType, catalogue::kStateTypes)) {
        table.Refuse(kType, "differs from the type that the state has");
      }
    }
    sql::Query stored(context.db, "SELECT 1 FROM state_log WHERE process = ?1 AND time = ?2");
    stored.Bind(1, std::int64_t{process}).Bind(2, std::int64_t{time});
    if (stored.Step()) table.Refuse(kTime, "the process has a state of this time already");
    sql::Query(context.db, "INSERT INTO state_log(process, time, state_code) VALUES(?1, ?2, ?3)")
        .Bind(1, std::int64_t{process})
        .Bind(2, std::int64_t{time})
        .Bind(3, std::int64_t{*state})
        .Run();
    ++report.rows;
  }
  report.lines = table.Lines();
  report.new_names = names.Added();
  return report;
}

}  // namespace orvspc::engine::import
