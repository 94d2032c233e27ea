// SPDX-License-Identifier: Apache-2.0
#include "frame/Trail.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

#include "platform/ExternalFailure.h"
#include "tests/fake/FailureOf.h"

namespace orvspc {
namespace {

using fake::FailureOf;

TEST(Trail, EachLevelPutsItselfInFront) {
  const auto failure = FailureOf([] {
    Traced("A.One",
           [] { Traced("B.Two", [] { Traced("C.Three(l)", [] { FailMessage("No"); }); }); });
  });
  EXPECT_EQ(failure.Source(), "A.One|B.Two|C.Three(l)|orvSPCAnalysis6");
  EXPECT_EQ(failure.Number(), -2147221504);
  EXPECT_EQ(failure.Description(), "No");
}

TEST(Trail, ANameMayHoldAnArgument) {
  const std::string argument = "Tsno";
  EXPECT_EQ(fake::SourceOf([&] {
              Traced([&] { return "M.P(Attribute=" + argument + ")"; }, [] { FailSubscript(); });
            }),
            "M.P(Attribute=Tsno)|orvSPCAnalysis6");
}

TEST(Trail, AnExternalObjectBringsItsOwnSource) {
  const auto failure = FailureOf(
      [] { Traced("A.One", [] { throw platform::ExternalFailure(-5, "Db.Open", "gone"); }); });
  EXPECT_EQ(failure.Number(), -5);
  EXPECT_EQ(failure.Source(), "A.One|Db.Open");
  EXPECT_EQ(failure.Description(), "gone");
}

TEST(Trail, ForeignExceptionsBecomeFailures) {
  const auto memory = FailureOf([] { Traced("A.One", [] { throw std::bad_alloc(); }); });
  EXPECT_EQ(memory.Number(), 7);
  EXPECT_EQ(memory.Description(), "Out of memory");
  EXPECT_EQ(memory.Source(), "A.One|orvSPCAnalysis6");
  EXPECT_EQ(fake::NumberOf([] { Traced("A.One", [] { throw std::length_error("x"); }); }), 7);
  const auto other = FailureOf([] { Traced("A.One", [] { throw std::logic_error("odd"); }); });
  EXPECT_EQ(other.Number(), -2147467259);
  EXPECT_EQ(other.Description(), "odd");
  EXPECT_EQ(fake::NumberOf([] { Traced("A.One", [] { throw 5; }); }), -2147467259);
}

TEST(Trail, NumbersHaveTheirWords) {
  struct Row {
    void (*fail)();
    std::int32_t number;
    const char* description;
  };
  const Row rows[] = {
      {[] { FailOverflow(); }, 6, "Overflow"},
      {[] { FailSubscript(); }, 9, "Subscript out of range"},
      {[] { FailTypeMismatch(); }, 13, "Type mismatch"},
      {[] { FailMissingObject(); }, 91, "Missing object"},
      {[] { Needed(static_cast<int*>(nullptr)); }, 91, "Missing object"},
  };
  for (const Row& row : rows) {
    const auto failure = FailureOf(row.fail);
    EXPECT_EQ(failure.Number(), row.number);
    EXPECT_EQ(failure.Description(), row.description);
    EXPECT_EQ(failure.Source(), "orvSPCAnalysis6");
  }
}

TEST(Trail, TheResultOfTheBodyPasses) {
  int value = 3;
  EXPECT_EQ(Traced("A.One", [] { return 5; }), 5);
  int& same = Traced("A.One", [&]() -> int& { return value; });
  EXPECT_EQ(&same, &value);
}

}  // namespace
}  // namespace orvspc
