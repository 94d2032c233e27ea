// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "engine/pareto/Findings.h"
#include "engine/pareto/ParetoLibrary.h"
#include "engine/pareto/Ranking.h"
#include "platform/FixedText.h"
#include "tests/engine/store/store_fixture.h"

namespace orvspc::engine::pareto {
using namespace sql;
using namespace catalogue;
using namespace store;
using namespace import;

// Options as the library fills them: one level by defect, count of values.
inline API_PAOptions ParetoOptions(std::vector<std::int32_t> types, std::int32_t bins = 1000) {
  API_PAOptions options{};
  for (std::size_t i = 0; i < types.size(); ++i) options.BinType[i] = types[i];
  options.BinCount = bins;
  return options;
}

inline std::string NameOf(const API_PABin& bin) {
  return platform::ToUtf8(platform::TrimFixedText({bin.Name, 32}));
}

class ParetoTest : public StoreTest {
 protected:
  std::vector<API_PABin> Bins(paResourceTypes resource, API_PAOptions options,
                              FlatSelection& selection) {
    std::vector<API_PABin> bins(static_cast<std::size_t>(std::max(options.BinCount, 0)));
    const platform::ArrayRef ref{bins.data(), sizeof(API_PABin), bins.size(), {}};
    auto filter = selection.Filter();
    platform::Pareto6::Work words{};
    ParetoLibrary library;
    const auto handle = Db().ConnectionHandle();
    result_ = 0;
    TakeNotes();
    if (resource == paSubgroups) {
      result_ = library.VLXPAR_PROC(0, handle, selection.info, filter, ref, options, words);
    } else if (resource == paProcessEvents) {
      result_ = library.VLXPAR_EVENT(0, handle, selection.info, filter, ref, options, words);
    } else {
      result_ = library.VLXPAR_STATE(0, handle, selection.info, filter, ref, options, words);
    }
    if (const auto failure = Db().TakeFailure()) failure_ = failure->description;
    EXPECT_EQ(words, platform::Pareto6::Work{});
    if (result_ <= 0) return {};
    EXPECT_EQ(result_, options.BinCount);
    bins.resize(static_cast<std::size_t>(options.BinCount));
    return bins;
  }
  std::vector<API_PABin> Bins(paResourceTypes resource, const API_PAOptions& options) {
    FlatSelection all;
    return Bins(resource, options, all);
  }
  std::vector<std::string> Names(const std::vector<API_PABin>& bins) {
    std::vector<std::string> names;
    for (const auto& bin : bins) names.push_back(NameOf(bin));
    return names;
  }
  static std::vector<double> Values(const std::vector<API_PABin>& bins) {
    std::vector<double> values;
    for (const auto& bin : bins) values.push_back(bin.Value);
    return values;
  }
  std::string NoteText() {
    std::string text;
    for (const auto& note : TakeNotes()) text += note.code + ": " + note.text + "\n";
    return text;
  }

  std::int32_t result_ = 0;
  std::string failure_;
};

}  // namespace orvspc::engine::pareto
