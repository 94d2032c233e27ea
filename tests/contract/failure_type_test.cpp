// SPDX-License-Identifier: Apache-2.0
// Whatever fails outside the library, a host sees Failure: in procedures without an entry in the
// trail too.
#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <new>

#include "capability/CAProcessing.h"
#include "chart/CCProcessing.h"
#include "engine/store/Store.h"
#include "frame/Friend.h"
#include "pareto/PABins.h"
#include "pareto/PAProcessing.h"
#include "platform/ExternalFailure.h"
#include "select/DataSelectDescriptor.h"
#include "summary/SCResults.h"
#include "tests/fake/FakePlatform.h"

namespace {

// While it is true, every allocation of this thread fails; with a number, the one so many from now.
thread_local bool out_of_memory = false;
thread_local int allocations_to_failure = 0;

void* Allocate(std::size_t size) noexcept {
  const bool fails = allocations_to_failure > 0 && --allocations_to_failure == 0;
  return fails || out_of_memory ? nullptr : std::malloc(size != 0 ? size : 1);
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

// Number and source of the Failure that the call raises; another exception is one too, of number
// -1.
template <class Call>
std::pair<std::int32_t, std::string> RaisedBy(Call&& call, bool without_memory = false) {
  std::int32_t number = 0;
  char source[64] = "";
  out_of_memory = without_memory;
  try {
    call();
  } catch (const Failure& failure) {
    number = failure.Number();
    failure.Source().copy(source, sizeof source - 1);
  } catch (...) {
    number = -1;
  }
  out_of_memory = false;
  return {number, source};
}

using Raised = std::pair<std::int32_t, std::string>;

// A platform whose converters fail.
class BrokenPlatform : public fake::FakePlatform {
 public:
  struct Trimmer : platform::TextTrimmer {
    void TrimFixedString(std::u16string&) override {
      throw platform::ExternalFailure(-7, "Text.Trim", "broken");
    }
  };
  struct Conversion : platform::TimeConversion {
    std::int32_t DateToTimeStamp(double) override { return 0; }
    double TimeStampToDate(std::int32_t) override {
      throw platform::ExternalFailure(-8, "Time.Convert", "broken");
    }
  };
  std::shared_ptr<platform::TextTrimmer> MakeTextTrimmer() override {
    return std::make_shared<Trimmer>();
  }
  std::shared_ptr<platform::TimeConversion> MakeTimeConversion() override {
    return std::make_shared<Conversion>();
  }
};

TEST(FailureType, OfAnExternalObjectInAGetWithoutATrailIsFailure) {
  const auto broken = std::make_shared<BrokenPlatform>();
  const platform::Scope scope(broken);

  PABins bins(Friend{});
  Array<API_PABin> bin;
  bin.Dimension(0, 0);
  bins.Load(Friend{}, std::move(bin));
  EXPECT_EQ(RaisedBy([&] { bins.Name(); }), Raised(-7, "Text.Trim"));

  SCResults results;
  Array<API_SCRow> rows;
  Array<SCNames> names;
  rows.Dimension(0, 0);
  names.Dimension(0, 0);
  results.Load(Friend{}, rows, names);
  EXPECT_EQ(RaisedBy([&] { results.StartTime(); }), Raised(-8, "Time.Convert"));
}

TEST(FailureType, OfTheMemoryInAProcedureWithoutATrailIsFailure) {
  const fake::FakeScope fake;
  SCResults results;
  Array<API_SCRow> rows;
  Array<SCNames> names;
  rows.Dimension(0, 0);
  names.Dimension(0, 0);
  names[0] = {std::string(99, 'p'), std::string(99, 'q'), std::string(99, 't'),
              std::string(99, 's'), std::string(99, 'r')};
  results.Load(Friend{}, rows, names);
  DataSelectDescriptor descriptor;
  descriptor.AddItemID(1);
  const CCProcessing chart;
  const CAProcessing capability;
  const PAProcessing pareto;

  struct Row {
    const char* procedure;
    std::function<void()> call;
  };
  for (const Row& row : {
           Row{"CCProcessing.Clone", [&] { chart.Clone(); }},
           Row{"CAProcessing.Clone", [&] { capability.Clone(); }},
           Row{"PAProcessing.Clone", [&] { pareto.Clone(); }},
           Row{"DataSelectDescriptor.ItemIDs", [&] { descriptor.ItemIDs(); }},
           Row{"SCResults.Part", [&] { results.Part(); }},
           Row{"SCResults.Process", [&] { results.Process(); }},
           Row{"SCResults.Test", [&] { results.Test(); }},
           Row{"SCResults.State", [&] { results.State(); }},
           Row{"SCResults.SmplReq", [&] { results.SmplReq(); }},
           Row{"SubgroupData", [] { SubgroupData(); }},
       }) {
    EXPECT_EQ(RaisedBy(row.call), Raised(0, "")) << row.procedure;
    EXPECT_EQ(RaisedBy(row.call, true), Raised(7, "orvSPCAnalysis6")) << row.procedure;
  }
}

// Of the notes that an engine keeps for a host, wherever memory runs out while the oldest half
// goes.
TEST(FailureType, NoNoteIsLostWhereMemoryRunsOut) {
  using namespace engine::store;
  constexpr std::size_t kHalf = kMaxNotes / 2;
  int failures = 0;
  for (bool fails = true; fails;) {
    TakeNotes();
    for (std::size_t i = 0; i < kMaxNotes; ++i) AddNote("code", std::to_string(i));
    allocations_to_failure = failures + 1;
    fails = false;
    try {
      AddNote("code", "new");
    } catch (const std::bad_alloc&) {
      fails = true;
    }
    allocations_to_failure = 0;
    failures += fails ? 1 : 0;

    const auto notes = TakeNotes();
    const auto kept = notes.size() - (fails ? 0 : 1);
    ASSERT_TRUE(kept == kMaxNotes || kept == kHalf + 1) << kept;
    for (std::size_t i = 0; i < kHalf; ++i)
      ASSERT_EQ(notes[kept - kHalf + i].text, std::to_string(kHalf + i)) << failures;
    EXPECT_EQ(notes[0].code, kept == kMaxNotes ? "code" : "notes-cut") << failures;
  }
  EXPECT_GT(failures, 1);
}

}  // namespace
}  // namespace orvspc
