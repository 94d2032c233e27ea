// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "engine/Studies.h"
#include "host/cli/Analysis.h"
#include "host/cli/Command.h"
#include "host/render/study/StudyDocument.h"

// What the commands "orvspc study WORD" have in common.
namespace orvspc::cli {

// A number inside bounds, which belong to it unless they are open.
struct RealInside : Option {
  double low = 0.0, high = 0.0;
  bool low_is_open = false, high_is_open = false;
};

// Options as they are resolved, which documents show.
class StudyOptions {
 public:
  explicit StudyOptions(const Arguments& arguments) : arguments_(arguments) {}

  // Misuse, which names option, value and bounds, for another number. key: "Weight", in documents.
  double Get(const char* key, const RealInside& option, double fallback);
  std::optional<double> Get(const char* key, const RealInside& option);
  bool Get(const char* key, const Option& flag);
  // The word of a Choice.
  template <class Type>
  Type Get(const char* key, const Choice<Type>& option) {
    const auto value = arguments_.Get(option);
    Add(key, render::WordOf(option.words, static_cast<std::int32_t>(value)),
        arguments_.Has(option));
    return value;
  }

  // One that a command reads by itself.
  void Add(const char* key, decltype(render::StudyOption::value) value, bool given);

  std::vector<render::StudyOption> Take() { return std::move(options_); }

 private:
  const Arguments& arguments_;
  std::vector<render::StudyOption> options_;
};

// The streams that the selection of a run has, each cut at its phases.
studies::StudyData StreamsOf(const Analysis& run, const studies::ReadOptions& options,
                             std::vector<Note>& notes);

// A document in the format of the run.
template <class Document>
std::string FormattedStudy(const Document& document, const Presentation& shown,
                           std::string (*json)(const Document&, const render::Names&),
                           render::StudyView (*view)(const Document&, const render::Names&)) {
  if (shown.format == "json") return json(document, shown.names);
  const auto made = view(document, shown.names);
  if (shown.format == "svg") return render::RenderStudySvg(made);
  return shown.format == "html" ? render::RenderStudyHtml(made)
                                : render::RenderStudyText(made, shown.text);
}

inline constexpr Number kStudyMax = MaximumOption("the newest N subgroups at most; 0: all", "all");

// A study of the selected streams, of measurements or counts; fill(document) makes it of what was
// read.
template <class Document>
int RunOnStreams(const Arguments& arguments, Console& console, Document document,
                 std::string (*json)(const Document&, const render::Names&),
                 render::StudyView (*view)(const Document&, const render::Names&),
                 const std::function<void(Document&)>& fill,
                 const studies::ReadOptions& read = {}) {
  const auto types = read.counts ? kCounts : std::int32_t{ttVariable};
  return RunAnalysis(arguments, console, kDrawn, kStudyMax, types, [&](Analysis& run) -> Outcome {
    run.database.JoinPhases(arguments.Has(kAllPhases));
    document.head.select = run.select;
    document.data = StreamsOf(run, read, document.head.notes);
    const bool empty = document.data.Empty();
    if (empty) NoteEmpty(run, kStudyMax, document.head.notes);
    fill(document);
    return {FormattedStudy(document, run, json, view), empty};
  });
}

// Every study: "orvspc study WORD". The name of such a command is "study WORD".
std::vector<Command> StudyCommands();

Command AcfStudyCommand();
Command AgreementStudyCommand();
Command Ar1StudyCommand();
Command ArlStudyCommand();
Command BiasStudyCommand();
Command CountsStudyCommand();
Command CusumStudyCommand();
Command DesignStudyCommand();
Command EwmaStudyCommand();
Command GStudyCommand();
Command GageStudyCommand();
Command LaneyStudyCommand();
Command LinearityStudyCommand();
Command PlanStudyCommand();
Command TStudyCommand();
Command ToleranceStudyCommand();
Command Type1StudyCommand();

}  // namespace orvspc::cli
