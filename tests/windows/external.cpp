// SPDX-License-Identifier: Apache-2.0
// The external objects of the component's platform, over the registered engine:
//
//   external DATABASE.db       prints the last line "external: all claims hold"
//   external --unregistered    the same while no engine is registered
#include <windows.h>
// Needs windows.h before it.
#include <oleauto.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include "frame/Trail.h"
#include "host/windows/com/ComBacked.h"
#include "host/windows/com/Create.h"
#include "host/windows/com/Server.h"
#include "host/windows/com/ServerTable.h"
#include "host/windows/com/identity.h"
#include "host/windows/external/Platform.h"
#include "host/windows/typelib/orvEngine.h"
#include "platform/Platform.h"
#include "platform/TimeStamp.h"

// A program is no server, but failures of COM objects are those of one.
namespace orvspc::windows::com {

const Server kServer{L"external", &GUID_NULL, 0, 0, {}};
void StartServer() {}
void StopServer() noexcept {}

}  // namespace orvspc::windows::com

namespace orvspc::windows::tests {
namespace {

void Check(bool holds, const std::string& claim) {
  if (!holds) throw std::runtime_error(claim);
}

// The failure of the call; number 0 without one.
Failure FailureOf(const std::function<void()>& call) {
  try {
    call();
  } catch (...) {
    return CurrentFailure();
  }
  return {0, "", ""};
}

void CheckFailure(const std::function<void()>& call, std::int32_t number, std::string_view words) {
  const Failure failure = FailureOf(call);
  const std::string found = std::to_string(failure.Number()) + " " + failure.Description();
  Check(failure.Number() == number, found + " is not " + std::to_string(number));
  Check(failure.Description().find(words) != std::string::npos,
        found + " lacks " + std::string(words));
}

// A database of the engine, as a host hands it over, and the COM object.
struct OpenDatabase {
  com::Pointer<IDatabase> object = com::Create<IDatabase>({L"orvEngine.Database"});
  std::shared_ptr<platform::Database> database;

  explicit OpenDatabase(const std::string& path) {
    com::Call(object.Get(), &IDatabase::Open, com::Text(path).Get());
    database = std::dynamic_pointer_cast<platform::Database>(com::ObjectOf(object.Get()));
    Check(database != nullptr, "the engine's database is one");
  }
  std::int32_t Find(std::string_view kind, std::string_view name) const {
    LONG id = 0;
    com::Call(object.Get(), &IDatabase::Find, com::Text(kind).Get(), com::Text(name).Get(), &id);
    Check(id != 0, std::string(name) + " is found");
    return id;
  }
};

void CheckHelpers(platform::Platform& platform) {
  std::u16string text = u"\u00E4\u76F4 \U0001F600  ";
  text.append(2, u'\0');
  platform.MakeTextTrimmer()->TrimFixedString(text);
  Check(text == u"\u00E4\u76F4 \U0001F600", "padding goes, the text stays");
  const auto time = platform.MakeTimeConversion();
  for (const double date : {45000.5, 25569.0, 0.0, 1e9})
    Check(time->DateToTimeStamp(date) == platform::DateToTimeStamp(date), "dates become stamps");
  for (const std::int32_t stamp : {0, 1, 1'700'000'000, INT32_MIN, INT32_MAX})
    Check(time->TimeStampToDate(stamp) == platform::TimeStampToDate(stamp), "stamps become dates");
  const std::string program = platform.Identity();
  Check(program.ends_with("\\external.exe"), program + " is not this program");
}

void CheckLimits(platform::Platform& platform, platform::LimitTable& table,
                 platform::LimitTable& row) {
  const platform::Cell cells[] = {std::int32_t{-7}, 0.1 + 0.2, platform::Date{45000.25},
                                  std::u16string(u"\u00E4 name")};
  Check(!table.MoveFirst(), "a new table is empty");
  for (const int round : {1, 2}) {
    for (std::size_t i = 0; i < std::size(cells); ++i)
      row.Let("Column" + std::to_string(i), cells[i]);
    row.Let("Round", std::int32_t{round});
    table.Add(row);
  }
  Check(table.MoveFirst(), "there are rows");
  for (std::size_t i = 0; i < std::size(cells); ++i)
    Check(table.Get("Column" + std::to_string(i)) == cells[i], "a cell keeps value and type");
  Check(table.Get("Missing") == platform::Cell(std::int32_t{0}), "a missing cell is 0");
  Check(table.MoveNext() && table.Get("Round") == platform::Cell(std::int32_t{2}), "a second row");
  Check(!table.MoveNext(), "and no third one");
  const auto spec = platform.MakeSpecLim();
  const auto ctrl = platform.MakeCtrlLim();
  CheckFailure([&] { spec->Add(*ctrl); }, 13, "Type mismatch");
}

void CheckRules(platform::Platform& platform, const OpenDatabase& open) {
  const auto rules = platform.MakeRuleDef();
  rules->FirstSetting(100);
  rules->SecondSetting(256);
  Check(!rules->MoveFirst(), "a new list of rules is empty");
  Check(rules->Read(open.database, 0) && rules->MoveFirst(), "the database has rules");
  const auto copy = platform.MakeRuleDef();
  copy->Add(*rules);
  Check(copy->Number() == rules->Number() && copy->Text() == rules->Text(), "a rule is copied");
  Check(rules->MoveNext() && !copy->MoveNext(), "one of several");
  CheckFailure([&] { rules->Read(nullptr, 0); }, 91, "Missing object");

  const auto* const backed = dynamic_cast<const com::ComBacked*>(rules.get());
  Check(backed != nullptr && com::Query<IRuleDef>(backed->Dispatch(), IID_IRuleDef),
        "a host gets the object itself");
}

void CheckRecords(platform::Platform& platform, const OpenDatabase& open) {
  using platform::NameRecordKind;
  struct Row {
    NameRecordKind kind;
    const char* word;
    const char* name;
  };
  for (const auto& [kind, word, name] : {Row{NameRecordKind::Part, "part", "Spring water"},
                                         Row{NameRecordKind::Process, "process", "Capper"},
                                         Row{NameRecordKind::Test, "test", "Fill volume"}}) {
    const auto record = platform.MakeNameRecord(kind);
    record->ID(open.Find(word, name));
    record->KeyMode(1);
    Check(record->Read(open.database, 0) && record->Name() == name, "a record is read by its key");
    const auto list = platform.MakeNameRecord(kind);
    Check(!list->MoveFirst(), "a new list is empty");
    list->Add(*record);
    Check(list->MoveFirst() && list->ID() == record->ID() && !list->MoveNext(),
          "it has the record");
    record->ID(999'999);
    Check(!record->Read(open.database, 0), "there is no such record");
  }
  for (const auto kind : {NameRecordKind::SmplReq, NameRecordKind::State}) {
    const auto record = platform.MakeNameRecord(kind);
    record->ID(1);
    Check(record->Read(open.database, 0) && !record->Name().empty(), "the first record is read");
  }
  CheckFailure(
      [&] {
        platform.MakeNameRecord(NameRecordKind::Part)
            ->Add(*platform.MakeNameRecord(NameRecordKind::Test));
      },
      13, "Type mismatch");
}

void CheckStates(platform::Platform& platform, const OpenDatabase& open) {
  const auto log = platform.MakePrcsStateLog();
  log->RowLimit(10'000);
  log->ProcessID(open.Find("process", "Capper"));
  log->KeyMode(1);
  log->Time(45390.0);  // 2024-04-08
  log->QueryType(platform::PrcsStateLog::kForward);
  Check(log->Read(open.database, 0), "there are states");
  const auto list = platform.MakePrcsStateLog();
  list->Add(*log);
  Check(list->MoveFirst() && !list->MoveNext(), "one is copied");
  Check(list->Time() == log->Time() && list->Process() == log->Process() &&
            list->StateID() == log->StateID() && list->StateName() == log->StateName() &&
            list->StateType() == log->StateType() && !log->StateName().empty(),
        "with all that it has");
}

void CheckLogger(platform::Platform& platform) {
  const auto logger = platform.MakeErrorLog("orvError6.Error");
  logger->Log("CAProcessing.Class_Initialize", -2147221504, "w\u00F6rds", "Source", "Application");
  CheckFailure([&] { platform.MakeErrorLog("No.Such"); }, 429, "No.Such");
  // An object of that name that cannot log.
  CheckFailure([&] { platform.MakeErrorLog("orvEngine.RuleDef")->Log("", 0, "", "", ""); }, 438,
               "");
}

bool EngineCanGo() {
  const auto module = GetModuleHandleW(L"orvEngine.dll");
  Check(module != nullptr, "the engine is loaded");
  const auto address = GetProcAddress(module, "DllCanUnloadNow");
  return reinterpret_cast<HRESULT(WINAPI*)()>(reinterpret_cast<void*>(address))() == S_OK;
}

void Run(const std::string& path) {
  auto platform = external::MakePlatform();
  CheckHelpers(*platform);
  CheckLimits(*platform, *platform->MakeSpecLim(), *platform->MakeSpecLim());
  CheckLimits(*platform, *platform->MakeCtrlLim(), *platform->MakeCtrlLim());
  CheckLimits(*platform, *platform->MakeDefOpp(), *platform->MakeDefOpp());
  {
    const OpenDatabase open(path);
    CheckRules(*platform, open);
    CheckRecords(*platform, open);
    CheckStates(*platform, open);
  }
  CheckLogger(*platform);

  const auto kept = platform->MakeTimeConversion();
  Check(!EngineCanGo(), "a helper keeps the engine");
  platform.reset();
  Check(EngineCanGo(), "when the platform has gone it does not");
}

void RunUnregistered() {
  const auto platform = external::MakePlatform();
  CheckFailure([&] { platform->MakeRuleDef(); }, 429, "orvEngine.RuleDef");
  CheckFailure([&] { platform->MakeSpecLim(); }, 429, "orvEngine.SpecLim");
  CheckFailure([&] { platform->MakeTextTrimmer(); }, 429, "orvEngine.TextTrimmer");
  CheckFailure([&] { platform->MakeErrorLog("orvError6.Error"); }, 429, "orvError6.Error");
  CheckFailure([&] { platform->MakeNameRecord(platform::NameRecordKind::State); }, 429,
               "orvEngine.StateCode");
}

}  // namespace
}  // namespace orvspc::windows::tests

int main(int count, char** words) {
  CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  try {
    orvspc::windows::tests::Check(count == 2, "one argument");
    if (std::string_view(words[1]) == "--unregistered") {
      orvspc::windows::tests::RunUnregistered();
    } else {
      orvspc::windows::tests::Run(words[1]);
    }
  } catch (...) {
    std::printf("does not hold: %s\n", orvspc::CurrentFailure().Description().c_str());
    return EXIT_FAILURE;
  }
  CoUninitialize();
  std::puts("external: all claims hold");
  return EXIT_SUCCESS;
}
