// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/Studies.h"
#include "host/cli/Analysis.h"
#include "host/cli/Command.h"
#include "host/cli/study/Signals.h"
#include "host/render/study/StudyDocument.h"

// What the commands "orvspc study WORD" have in common.
namespace orvspc::cli {

// A number inside bounds, which belong to it unless they are open.
struct RealInside : Option {
  double low = 0.0, high = 0.0;
  bool low_is_open = false, high_is_open = false;
};

// Options of a database that hold for a study, by the name of the option: "weight".
using StoredOptions = std::map<std::string, std::string, std::less<>>;

// Options as they are resolved, which documents show: from the command, else the database, else by
// default.
class StudyOptions {
 public:
  explicit StudyOptions(const Arguments& arguments, StoredOptions stored = {})
      : arguments_(arguments), stored_(std::move(stored)) {}

  // Misuse, which names option, value and bounds, for another number. key: "Weight", in documents.
  double Get(const char* key, const RealInside& option, double fallback);
  std::optional<double> Get(const char* key, const RealInside& option);
  // Empty where none is given and the default is no number.
  std::optional<std::int32_t> Get(const char* key, const Number& option);
  bool Get(const char* key, const Option& flag);
  // The word of a Choice.
  template <class Type>
  Type Get(const char* key, const Choice<Type>& option) {
    const auto* const stored = StoredOf(option);
    const auto value = stored == nullptr
                           ? arguments_.Get(option)
                           : static_cast<Type>(ValueOf(option.name, option.words, *stored));
    Add(key, render::WordOf(option.words, static_cast<std::int32_t>(value)), FromOf(option));
    return value;
  }

  // Empty, and not shown, where none is given.
  template <class Type>
  std::optional<Type> GetGiven(const char* key, const Choice<Type>& option) {
    if (!arguments_.Has(option) && StoredOf(option) == nullptr) {
      Add(key, std::monostate(), "default");
      return std::nullopt;
    }
    return Get(key, option);
  }

  // One that a command reads by itself.
  void Add(const char* key, decltype(render::ResolvedOption::value) value, bool given) {
    Add(key, std::move(value), given ? "command" : "default");
  }

  std::vector<render::ResolvedOption> Take() { return std::move(options_); }

 private:
  void Add(const char* key, decltype(render::ResolvedOption::value) value, const char* from);
  // Null where the command gives it, or the database does not.
  const std::string* StoredOf(const Option& option) const;
  const char* FromOf(const Option& option) const;

  const Arguments& arguments_;
  StoredOptions stored_;
  std::vector<render::ResolvedOption> options_;
};

// Those of the study of that word that hold for all of the streams. Misuse where streams differ in
// one that the command does not give. The option that is left aside counts for nothing.
StoredOptions StoredOptionsOf(const Analysis& run, const std::vector<StreamKey>& streams,
                              const std::string& word, std::string_view aside = {});
StoredOptions StoredOptionsOf(const Analysis& run, const studies::StudyData& data,
                              const std::string& word);

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

inline constexpr render::Word kSidedWords[] = {
    {"two", static_cast<std::int32_t>(studies::Sided::Two)},
    {"upper", static_cast<std::int32_t>(studies::Sided::Upper)},
    {"lower", static_cast<std::int32_t>(studies::Sided::Lower)}};
inline constexpr Choice<studies::Sided> kSided{
    {"sided", "WORD", "which signals count", "", false, kSidedWords}};

// Of which tests a study is: what is read says it, or counts where nothing was measured.
enum class StudiedTests { AsRead, MeasuredElseCounted };

// Takes away the stretches that are not shown and their studies. What those say of too few data
// holds for what has its limits from them.
template <class Document>
void HideBases(Document& document) {
  for (std::size_t s = 0; s < document.studies.size(); ++s) {
    auto& stretches = document.data.streams[s].stretches;
    auto& studies = document.studies[s];
    const auto shown = std::ranges::find(stretches, true, &studies::Stretch::is_shown);
    const auto count = static_cast<std::size_t>(shown - stretches.begin());
    for (std::size_t p = count; p < stretches.size(); ++p) {
      auto& of = stretches[p].limits_of;
      if (of >= count) {
        of -= count;
        continue;
      }
      for (const auto& note : studies[of].notes) {
        if (note.code == "too-few" || note.code == "few-data") studies[p].notes.push_back(note);
      }
      of = p - count;
    }
    stretches.erase(stretches.begin(), shown);
    studies.erase(studies.begin(), studies.begin() + static_cast<std::ptrdiff_t>(count));
  }
}

// A study of the selected streams, of measurements or counts, or of tests of these types alone;
// fill(document) makes it of what was read, after prepare(run, document).
template <class Document>
int RunOnStreams(const Arguments& arguments, Console& console, Document document,
                 std::string (*json)(const Document&, const render::Names&),
                 render::StudyView (*view)(const Document&, const render::Names&),
                 const std::function<void(Document&)>& fill, studies::ReadOptions read = {},
                 std::int32_t types = 0,
                 const std::function<void(const Analysis&, Document&)>& prepare = {},
                 StudiedTests tests = StudiedTests::AsRead) {
  if (types == 0) types = read.counts ? kCounts : std::int32_t{ttVariable};
  return RunAnalysis(arguments, console, kDrawn, kStudyMax, types, [&](Analysis& run) -> Outcome {
    run.database.JoinPhases(arguments.Has(kAllPhases));
    document.head.select = run.select;
    document.data = StreamsOf(run, read, document.head.notes);
    if (document.data.Empty() && tests == StudiedTests::MeasuredElseCounted) {
      IncludeTests(*run.select, kCounts);
      read.counts = true;
      std::vector<Note> notes;
      document.data = StreamsOf(run, read, notes);
      // What is read is no longer missing.
      document.head.notes.clear();
      if (!document.data.Empty()) document.head.notes = std::move(notes);
    }
    const bool empty = document.data.Empty();
    const bool takes_both = tests == StudiedTests::MeasuredElseCounted;
    for (const auto type :
         takes_both ? std::vector{std::int32_t{ttVariable}, kCounts} : std::vector{types}) {
      if (!empty || !run.why_empty.empty()) break;
      IncludeTests(*run.select, type);
      NoteEmpty(run, kStudyMax, document.head.notes);
    }
    if (prepare) prepare(run, document);
    fill(document);
    if (read.bases) HideBases(document);
    const int status = SignalStatus(arguments, empty, SignalsOfStreams(document));
    return {FormattedStudy(document, run, json, view), empty, {}, status};
  });
}

// Reads the points of the streams anew, as those of another chart.
template <class Document>
void ReadAnew(const Analysis& run, const studies::ReadOptions& read, Document& document) {
  auto& notes = document.head.notes;
  std::erase_if(notes, [](const Note& note) { return note.code != "brought-forward"; });
  document.data = StreamsOf(run, read, notes);
}

// The same of a study whose options a database may have: take(options) resolves them, once by the
// command alone, for what is misuse without a database, and then for the streams.
template <class Document>
int RunOnStreams(const Arguments& arguments, Console& console, const char* word,
                 std::string (*json)(const Document&, const render::Names&),
                 render::StudyView (*view)(const Document&, const render::Names&),
                 const std::function<void(StudyOptions&)>& take,
                 const std::function<void(Document&)>& fill, const studies::ReadOptions& read = {},
                 StudiedTests tests = StudiedTests::AsRead) {
  StudyOptions given(arguments);
  take(given);
  Document document;
  document.head = {word, {}, {}, {}};
  return RunOnStreams<Document>(
      arguments, console, document, json, view, fill, read, 0,
      [&](const Analysis& run, Document& filled) {
        StudyOptions options(arguments, StoredOptionsOf(run, filled.data, word));
        take(options);
        filled.head.options = options.Take();
      },
      tests);
}

// Every study: "orvspc study WORD". The name of such a command is "study WORD".
std::vector<Command> StudyCommands();

Command AcfStudyCommand();
Command AgreementStudyCommand();
Command Ar1StudyCommand();
Command ArlStudyCommand();
Command BaselineStudyCommand();
Command BiasStudyCommand();
Command CountsStudyCommand();
Command CusumStudyCommand();
Command DesignStudyCommand();
Command EwmaStudyCommand();
Command GStudyCommand();
Command GageStudyCommand();
Command GroupStudyCommand();
Command LaneyStudyCommand();
Command LinearityStudyCommand();
Command MewmaStudyCommand();
Command PlanStudyCommand();
Command T2StudyCommand();
Command ShortRunStudyCommand();
Command StepsStudyCommand();
Command TStudyCommand();
Command ToleranceStudyCommand();
Command Type1StudyCommand();

}  // namespace orvspc::cli
