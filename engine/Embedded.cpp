// SPDX-License-Identifier: Apache-2.0
#include "engine/Embedded.h"

#include <algorithm>
#include <atomic>
#include <deque>
#include <mutex>
#include <utility>

#include "engine/capability/CapabilityLibrary.h"
#include "engine/charts/ChartLibrary.h"
#include "engine/compliance/ComplianceLibrary.h"
#include "engine/dom/Dom.h"
#include "engine/pareto/ParetoLibrary.h"
#include "engine/sql/address.h"
#include "engine/store/DatabaseLibrary.h"
#include "engine/store/SqlStore.h"
#include "engine/store/logs.h"
#include "platform/ExternalFailure.h"
#include "platform/FixedText.h"
#include "platform/TimeStamp.h"

namespace orvspc {
namespace engine {
namespace {

constexpr std::int32_t kTypeMismatch = 13, kMissingObject = 91;

// Rows with a cursor, the implementation of the record object Base. While there are none, the
// current row is the one that is being filled.
template <class Base, class Row>
class RowList : public Base {
 public:
  bool MoveFirst() override {
    cursor_ = 0;
    return !rows_.empty();
  }
  bool MoveNext() override {
    if (cursor_ + 1 >= rows_.size()) return false;
    ++cursor_;
    return true;
  }

 protected:
  bool IsEmpty() const { return rows_.empty(); }
  Row& Current() { return rows_.empty() ? single_ : rows_[cursor_]; }
  // Moves the cursor to the new row.
  void Append(Row row) {
    rows_.push_back(std::move(row));
    cursor_ = rows_.size() - 1;
  }
  // Replaces all rows; false when there are none.
  bool Assign(std::vector<Row> rows) {
    rows_ = std::move(rows);
    return MoveFirst();
  }

 private:
  std::vector<Row> rows_;
  Row single_{};
  std::size_t cursor_ = 0;
};

// Cells by column.
using CellRow = std::vector<std::pair<std::string, platform::Cell>>;

// Rows of limits in memory: Base is one of SpecLim, CtrlLim, DefOpp.
template <class Base>
class RowTable final : public RowList<Base, CellRow> {
 public:
  void Let(std::string_view column, const platform::Cell& value) override {
    auto& row = this->Current();
    const auto found = std::ranges::find(row, column, &CellRow::value_type::first);
    if (found == row.end()) {
      row.emplace_back(column, value);
    } else {
      found->second = value;
    }
  }

  platform::Cell Get(std::string_view column) override {
    auto& row = this->Current();
    const auto found = std::ranges::find(row, column, &CellRow::value_type::first);
    return found == row.end() ? std::int32_t{0} : found->second;
  }

  void Add(platform::LimitTable& row) override {
    auto* const other = dynamic_cast<RowTable*>(&row);
    if (other == nullptr)
      throw platform::ExternalFailure(kTypeMismatch, "RowTable", "Type mismatch");
    this->Append(other->Current());
  }
};

platform::Database& Needed(const std::shared_ptr<platform::Database>& database,
                           const char* source) {
  if (database) return *database;
  throw platform::ExternalFailure(kMissingObject, source, "Missing object");
}

struct RuleRow {
  std::int32_t number = 0;
  std::string text;
};

// Run rules in the order of the database's list.
class RuleRecords final : public RowList<platform::RuleDef, RuleRow> {
 public:
  // Both settings are the library's own and change nothing here.
  void FirstSetting(std::int32_t) override {}
  void SecondSetting(std::int32_t) override {}
  bool Read(const std::shared_ptr<platform::Database>& database, std::int32_t) override {
    Assign({});
    const auto store = store::StoreOf(Needed(database, "RuleDef").ConnectionHandle());
    if (!store) return false;
    std::vector<RuleRow> rules;
    for (const auto& rule : store->Rules()) rules.push_back({rule.number, rule.text});
    return Assign(std::move(rules));
  }
  // 0 and empty on an empty list.
  std::int32_t Number() override { return Current().number; }
  std::string Text() override { return Current().text; }
  void Add(platform::RuleDef& other) override { Append({other.Number(), other.Text()}); }
};

struct NameRow {
  std::int32_t id = 0;
  std::string name;
};

// Parts, processes, tests, sampling requirements and process states by their identifiers.
class NameRecords final : public RowList<platform::NameRecord, NameRow> {
 public:
  explicit NameRecords(ItemKind kind) : kind_(kind) {}

  std::int32_t ID() override { return Current().id; }
  void ID(std::int32_t value) override { Current().id = value; }
  void KeyMode(std::int32_t) override {}
  bool Read(const std::shared_ptr<platform::Database>& database, std::int32_t) override {
    return store::Read(Needed(database, "NameRecord"), [&](store::SqlStore& store, auto&) {
      const auto& names = store.Cache().Names(kind_);
      const auto found = names.find(Current().id);
      if (found == names.end()) return false;
      Current().name = found->second;
      return true;
    });
  }
  void Add(platform::NameRecord& record) override { Append({record.ID(), record.Name()}); }
  std::string Name() override { return Current().name; }

 private:
  ItemKind kind_;
};

ItemKind ItemKindOf(platform::NameRecordKind kind) {
  // In the order of NameRecordKind.
  constexpr ItemKind kKinds[] = {ItemKind::Part, ItemKind::Process, ItemKind::Test,
                                 ItemKind::Requirement, ItemKind::StateCode};
  return kKinds[static_cast<std::size_t>(kind)];
}

struct StateRow {
  double time = 0.0;
  std::int32_t process = 0, state = 0, type = 0;
  std::string name;
};

// Records of the log of process states.
//
// kForward      those of one process from a time on, up to the row limit, of which one below 1 is
//               none; none of process 0.
// kLatestBefore the latest one before a time, of any process.
class StateLogRecords final : public RowList<platform::PrcsStateLog, StateRow> {
 public:
  void RowLimit(std::int32_t value) override { row_limit_ = value; }
  void KeyMode(std::int32_t) override {}
  void ProcessID(std::int32_t value) override { process_ = value; }
  void QueryType(std::int32_t value) override { query_ = value; }
  double Time() override { return IsEmpty() ? time_ : Current().time; }
  void Time(double value) override { time_ = value; }
  bool Read(const std::shared_ptr<platform::Database>& database, std::int32_t) override {
    Assign({});
    auto& needed = Needed(database, "PrcsStateLog");
    const store::NotesBelongTo owner(needed.ConnectionHandle());
    return store::Read(needed, [&](store::SqlStore& store, sql::Connection& db) {
      const auto time = platform::DateToTimeStamp(time_);
      std::vector<store::StateLogRow> rows;
      if (query_ == kForward) {
        const std::int64_t limit = row_limit_;
        if (process_ != 0)
          rows = store::ReadStateLog(db, process_, time, INT32_MAX,
                                     limit > 0 ? limit + 1 : store::kEveryRecord);
        if (limit > 0 && std::ssize(rows) > limit) {
          rows.pop_back();
          store::AddNote("states-cut",
                         "The log of states has more records than are read at once; it is "
                         "known up to the " +
                             std::to_string(limit) + "th of them.");
        }
      } else if (query_ == kLatestBefore) {
        if (const auto row = store::LatestStateBefore(db, 0, time)) rows.push_back(*row);
      }
      const auto& names = store.Cache().Names(ItemKind::StateCode);
      std::vector<StateRow> records;
      for (const auto& row : rows) {
        records.push_back({platform::TimeStampToDate(row.time), row.process, row.state, row.type,
                           catalogue::NameOf(names, row.state)});
      }
      return Assign(std::move(records));
    });
  }
  void Add(platform::PrcsStateLog& other) override {
    Append({other.Time(), other.Process(), other.StateID(), other.StateType(), other.StateName()});
  }
  // 0 and empty on an empty list.
  std::int32_t Process() override { return Current().process; }
  std::int32_t StateID() override { return Current().state; }
  std::string StateName() override { return Current().name; }
  std::int32_t StateType() override { return Current().type; }

 private:
  std::int32_t row_limit_ = 0, process_ = 0, query_ = 0;
  double time_ = 0.0;
};

// Failures of all threads, for the process.
struct FailureLog {
  static constexpr std::size_t kKept = 100;
  std::mutex mutex;
  std::deque<LoggedFailure> failures;
};

// Never destroyed: constructors of objects with static life may log after it would have been.
FailureLog& Log() {
  static auto* const log = new FailureLog;
  return *log;
}

class MemoryErrorLog final : public platform::ErrorLog {
 public:
  void Log(const std::string& Procedure, std::int32_t Number, const std::string& Description,
           const std::string& Source, const std::string& Application) override {
    auto& [mutex, failures] = engine::Log();
    const std::lock_guard lock(mutex);
    if (failures.size() == FailureLog::kKept) failures.pop_front();
    failures.push_back({Procedure, Description, Source, Application, Number});
  }
};

class StampConversion final : public platform::TimeConversion {
 public:
  std::int32_t DateToTimeStamp(double date) override { return platform::DateToTimeStamp(date); }
  double TimeStampToDate(std::int32_t stamp) override { return platform::TimeStampToDate(stamp); }
};

class FixedTextTrimmer final : public platform::TextTrimmer {
 public:
  void TrimFixedString(std::u16string& text) override {
    text.resize(platform::TrimFixedText(text).size());
  }
};

class Embedded final : public platform::Platform {
 public:
  platform::DBLib6& DBLib() override { return database_library_; }
  platform::CtrlChrt6& CtrlChrt() override { return chart_library_; }
  platform::CapAna6& CapAna() override { return capability_library_; }
  platform::Pareto6& Pareto() override { return pareto_library_; }
  platform::SReqCompliance& Compliance() override { return compliance_library_; }
  std::string Identity() override { return "orvSPCAnalysis6, embedded engine"; }

  std::shared_ptr<platform::RuleDef> MakeRuleDef() override {
    return std::make_shared<RuleRecords>();
  }
  std::shared_ptr<platform::SpecLim> MakeSpecLim() override {
    return std::make_shared<RowTable<platform::SpecLim>>();
  }
  std::shared_ptr<platform::CtrlLim> MakeCtrlLim() override {
    return std::make_shared<RowTable<platform::CtrlLim>>();
  }
  std::shared_ptr<platform::DefOpp> MakeDefOpp() override {
    return std::make_shared<RowTable<platform::DefOpp>>();
  }
  std::shared_ptr<platform::TimeConversion> MakeTimeConversion() override {
    return std::make_shared<StampConversion>();
  }
  std::shared_ptr<platform::TextTrimmer> MakeTextTrimmer() override {
    return std::make_shared<FixedTextTrimmer>();
  }
  std::shared_ptr<platform::XmlDocument> MakeXmlDocument() override {
    return engine::dom::MakeXmlDocument();
  }
  std::shared_ptr<platform::ErrorLog> MakeErrorLog(std::string_view) override {
    return std::make_shared<MemoryErrorLog>();
  }
  std::shared_ptr<platform::NameRecord> MakeNameRecord(platform::NameRecordKind kind) override {
    return std::make_shared<NameRecords>(ItemKindOf(kind));
  }
  std::shared_ptr<platform::PrcsStateLog> MakePrcsStateLog() override {
    return std::make_shared<StateLogRecords>();
  }

 private:
  store::DatabaseLibrary database_library_;
  charts::ChartLibrary chart_library_;
  capability::CapabilityLibrary capability_library_;
  pareto::ParetoLibrary pareto_library_;
  compliance::ComplianceLibrary compliance_library_;
};

class OpenedDatabase final : public EmbeddedDatabase {
 public:
  explicit OpenedDatabase(std::shared_ptr<store::SqlStore> store)
      : store_(std::move(store)), handle_(store_) {}

  std::int32_t ConnectionHandle() override { return handle_.Number(); }
  std::int32_t DatabaseValue(std::int32_t value) override { return value_.exchange(value); }
  std::optional<Failure> TakeFailure() override {
    auto failure = store_->TakeFailure();
    if (!failure) return std::nullopt;
    return Failure{failure->number, std::move(failure->text)};
  }
  Report TakeReport() override {
    const auto handle = handle_.Number();
    return {store::TakeNotes(handle), charts::ChartLibrary::TakeReport(handle),
            capability::CapabilityLibrary::TakeReport(handle),
            compliance::ComplianceLibrary::TakeReport(handle)};
  }

 private:
  std::shared_ptr<store::SqlStore> store_;
  store::StoreHandle handle_;
  std::atomic<std::int32_t> value_ = 0;
};

}  // namespace
}  // namespace engine

std::shared_ptr<EmbeddedDatabase> OpenDatabase(const std::string& path, bool create) {
  return std::make_shared<engine::OpenedDatabase>(
      std::make_shared<engine::store::SqlStore>(engine::store::OpenConnection(path, create), path));
}

std::string WithoutPasswords(const std::string& path) {
  return engine::sql::WithoutPasswords(path);
}

std::shared_ptr<platform::Platform> EmbeddedPlatform() {
  static const auto platform = std::make_shared<engine::Embedded>();
  return platform;
}

void InstallEmbedded() { platform::Install(EmbeddedPlatform()); }

std::vector<LoggedFailure> LoggedFailures() {
  auto& [mutex, failures] = engine::Log();
  const std::lock_guard lock(mutex);
  return {failures.begin(), failures.end()};
}

}  // namespace orvspc
