// SPDX-License-Identifier: Apache-2.0
#include "frame/Outside.h"
#include "frame/Trail.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

#include "frame/Failure.h"
#include "tests/fake/FakePlatform.h"

namespace {

// While it is true, every allocation of this program fails.
bool out_of_memory = false;

void* Allocate(std::size_t size) noexcept {
  return out_of_memory ? nullptr : std::malloc(size != 0 ? size : 1);
}

}  // namespace

#if defined(__GNUC__) && !defined(__clang__)
// Once they are inlined, g++ 12 takes these for a mismatched pair.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif

void* operator new(std::size_t size) {
  if (void* memory = Allocate(size)) return memory;
  throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }

namespace orvspc {
namespace {

using Lines = std::vector<std::string>;

TEST(ConstructorLog, WithoutAFailureThereIsNoLogger) {
  fake::FakeScope fake;
  EXPECT_EQ(Constructed("PAProcessing", [] {}), nullptr);
  EXPECT_EQ(fake.log().Lines(), Lines{});
}

TEST(ConstructorLog, AFailureIsLoggedWithFiveArgumentsAndStays) {
  fake::FakeScope fake;
  const auto log = Constructed("PAProcessing",
                               [] { Traced("PAProcessing.Reset", [] { FailMessage("Broken"); }); });
  EXPECT_NE(log, nullptr);
  EXPECT_EQ(fake.log().Lines(),
            (Lines{"MakeErrorLog(orvError6.Error)",
                   "ErrorLog.Log(PAProcessing.Class_Initialize, -2147221504, Broken, "
                   "PAProcessing.Reset|orvSPCAnalysis6, tests)"}));
}

TEST(ConstructorLog, AForeignExceptionIsLoggedAsAFailure) {
  fake::FakeScope fake;
  Constructed("CAResults", [] { throw std::bad_alloc(); });
  EXPECT_EQ(fake.log().Lines().back(),
            "ErrorLog.Log(CAResults.Class_Initialize, 7, Out of memory, orvSPCAnalysis6, tests)");
}

TEST(ConstructorLog, AFailureOfTheLoggerIsIgnored) {
  for (const char* failing : {"MakeErrorLog", "ErrorLog.Log"}) {
    fake::FakeScope fake;
    fake.log().FailOn(failing);
    int reached = 0;
    Constructed("CCProcessing", [&] {
      reached = 1;
      FailMessage("Broken");
      reached = 2;
    });
    EXPECT_EQ(reached, 1) << failing;
    EXPECT_EQ(fake.log().Count(failing), 1);
  }
}

TEST(ConstructorLog, WhenNoMemoryIsLeftForTheNameTheConstructorStillEnds) {
  const fake::FakeScope fake;
  int reached = 0;
  const auto log = Constructed("PAProcessing", [&] {
    reached = 1;
    out_of_memory = true;
    throw std::bad_alloc();
  });
  out_of_memory = false;
  EXPECT_EQ(reached, 1);
  EXPECT_EQ(log, nullptr);
}

TEST(ConstructorLog, WithoutAPlatformTheConstructorStillEnds) {
  EXPECT_EQ(Constructed("CCResults", [] { FailMessage("Broken"); }), nullptr);
}

}  // namespace
}  // namespace orvspc
