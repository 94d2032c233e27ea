// SPDX-License-Identifier: Apache-2.0
// The trail of every procedure: scenarios run through the public operations; each procedure that
// one enters is made to fail at each of its entries, and the whole Source is compared with the
// table.
#ifdef ORVSPC_FAIL_POINTS

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "frame/Failure.h"
#include "frame/Trail.h"
#include "platform/ExternalFailure.h"
#include "select/DataSelect.h"
#include "tests/contract/trail_rows.h"
#include "tests/contract/trail_scenarios.h"
#include "tests/fake/FailureOf.h"

namespace orvspc::contract {
namespace {

constexpr std::int32_t kNumber = -77;
constexpr const char* kTail = "Injected";

class Hooked {
 public:
  explicit Hooked(FailPoint::Hook hook) { FailPoint::Set(std::move(hook)); }
  ~Hooked() { FailPoint::Set({}); }
};

// The argument in a name becomes *.
std::string RowName(std::string_view procedure) {
  for (const std::string_view argument : {"(Attribute=", "(Node="})
    if (const auto at = procedure.find(argument); at != std::string_view::npos)
      return std::string(procedure.substr(0, at + argument.size())) + "*)";
  return std::string(procedure);
}

std::vector<std::string> Split(const std::string& text, char separator) {
  std::vector<std::string> parts;
  std::istringstream in(text);
  for (std::string part; std::getline(in, part, separator);) parts.push_back(part);
  return parts;
}

const std::map<std::string, std::set<std::string>>& Callers() {
  static const auto callers = [] {
    std::map<std::string, std::set<std::string>> map;
    for (const TrailRow& row : kTrailRows) {
      const auto names = Split(row.callers, ' ');
      map[row.name] = {names.begin(), names.end()};
    }
    return map;
  }();
  return callers;
}

bool MayFollow(const std::string& procedure, const std::string& caller) {
  const auto row = Callers().find(procedure);
  return row != Callers().end() && row->second.contains(caller);
}

bool IsConstructor(const std::string& procedure) {
  return MayFollow(procedure, "constructor") || MayFollow(procedure, "constructor-of-parts");
}

// The entries that a scenario makes, in order.
std::vector<std::string> EntriesOf(const Scenario& scenario) {
  fake::FakeScope fake;
  std::vector<std::string> entries;
  const Hooked hook([&](std::string_view procedure) { entries.emplace_back(procedure); });
  scenario.run(fake);
  return entries;
}

// Runs the scenario with its nth entry failing.
Failure FailAt(const Scenario& scenario, fake::FakeScope& fake, std::size_t nth) {
  std::size_t seen = 0;
  const Hooked hook([&](std::string_view) {
    if (seen++ == nth) throw platform::ExternalFailure(kNumber, kTail, "made to fail");
  });
  return fake::FailureOf([&] { scenario.run(fake); });
}

// Adds each name of the trail with the caller that its row has to name.
using Seen = std::set<std::pair<std::string, std::string>>;

void ExpectTrail(const std::string& source, const std::string& procedure, Seen& seen) {
  auto parts = Split(source, '|');
  ASSERT_GE(parts.size(), 2u) << source;
  EXPECT_EQ(parts.back(), kTail) << source;
  parts.pop_back();
  EXPECT_EQ(parts.back(), procedure) << source;
  const std::string head = RowName(parts.front());
  EXPECT_TRUE(MayFollow(head, "host") || MayFollow(head, "library"))
      << head << " begins a trail: " << source;
  seen.insert({head, MayFollow(head, "host") ? "host" : "library"});
  for (std::size_t i = 1; i < parts.size(); ++i) {
    const std::string name = RowName(parts[i]), caller = RowName(parts[i - 1]);
    EXPECT_TRUE(MayFollow(name, caller)) << name << " behind " << caller << ": " << source;
    seen.insert({name, caller});
  }
}

TEST(Trail, TheTableHasEachNameOnce) {
  EXPECT_EQ(Callers().size(), std::size(kTrailRows));
  for (const auto& [name, callers] : Callers())
    for (const auto& caller : callers)
      EXPECT_TRUE(caller == "host" || caller == "library" || caller == "constructor" ||
                  caller == "constructor-of-parts" || Callers().contains(caller))
          << caller << " of " << name;
}

TEST(Trail, EveryRowIsEnteredAndEveryEntryIsARow) {
  std::set<std::string> entered;
  for (int i = 0; i < kScenarioCount; ++i)
    for (const auto& entry : EntriesOf(kScenarios[i])) {
      EXPECT_TRUE(Callers().contains(RowName(entry))) << entry;
      entered.insert(RowName(entry));
    }
  for (const TrailRow& row : kTrailRows) EXPECT_TRUE(entered.contains(row.name)) << row.name;
}

TEST(Trail, EveryFailureLeavesWithTheWholeTrailAndEveryCallerOfTheTableOccurs) {
  Seen seen;
  for (int i = 0; i < kScenarioCount; ++i) {
    const Scenario& scenario = kScenarios[i];
    SCOPED_TRACE(scenario.name);
    const auto entries = EntriesOf(scenario);
    ASSERT_FALSE(entries.empty());
    for (std::size_t nth = 0; nth < entries.size(); ++nth) {
      fake::FakeScope fake;
      const Failure failure = FailAt(scenario, fake, nth);
      if (IsConstructor(entries[nth])) {
        // It keeps its failure and logs it; what fails later is the use of a part that is missing.
        const bool failed = failure.Number() != 0;
        const std::string kind = failed ? "constructor-of-parts" : "constructor";
        EXPECT_TRUE(MayFollow(entries[nth], kind)) << entries[nth] << " as a " << kind;
        seen.insert({entries[nth], kind});
        EXPECT_EQ(failure.Number(), failed ? kMissingObject : 0) << entries[nth];
        EXPECT_EQ(fake.log().LinesOf({"ErrorLog"}),
                  std::vector<std::string>{"ErrorLog.Log(" + entries[nth] +
                                           ", -77, made to fail, Injected, tests)"});
        continue;
      }
      EXPECT_EQ(failure.Number(), kNumber) << entries[nth];
      EXPECT_EQ(failure.Description(), "made to fail") << entries[nth];
      ExpectTrail(failure.Source(), entries[nth], seen);
    }
  }
  for (const auto& [name, callers] : Callers())
    for (const auto& caller : callers)
      EXPECT_TRUE(seen.contains({name, caller})) << caller << " never stands before " << name;
}

// The comment reader and one Get report another name than their own.
TEST(Trail, ProceduresThatReportAWrongName) {
  fake::FakeScope fake;
  fake::FillRows(fake.script(), 1, 1);
  API_CommentData comment{};
  comment.Sgrp = 1;
  fake.script().comments = {comment};

  // The third read of the handle is that of the comment reader.
  fake.log().FailOn("Database.ConnectionHandle", 3);
  EXPECT_EQ(fake::SourceOf([&] { DataSelect().GetSubgroupData(fake.database); }),
            "DataSelect.GetSubgroupData|DataSelect.GetEventData|Outside.Object");
  fake.log().Clear();

  const auto comments = DataSelect().GetSubgroupData(fake.database)->CommentData();
  const Hooked hook(
      [](std::string_view) { throw platform::ExternalFailure(kNumber, kTail, "made to fail"); });
  EXPECT_EQ(fake::SourceOf([&] { comments->Edtm(); }), "CommentData.Test(g)|Injected");
}

TEST(Trail, OperationsWithoutAHandlerLeaveNoEntry) {
  fake::FakeScope fake;
  static std::vector<std::string> entries;
  const Hooked hook([](std::string_view procedure) { entries.emplace_back(procedure); });
  RunOperationsWithoutHandler(fake, [] { entries.clear(); });
  EXPECT_EQ(entries, std::vector<std::string>{});
}

}  // namespace
}  // namespace orvspc::contract

#endif
