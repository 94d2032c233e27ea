// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>
#include <utility>

#include "host/cli/study/Readings.h"
#include "host/cli/study/Study.h"
#include "host/render/study/Tolerance.h"

namespace orvspc::cli {

namespace {

constexpr Option kColumn{"column", "NAME", "with --data, the heading of the values",
                         "value, or the first"};
constexpr RealInside kContent{
    {"content", "X", "share of the pieces between the limits", "0.99"}, 0.0, 1.0, true, true};
constexpr RealInside kConfidence{
    {"confidence", "X", "that the limits hold so many", "0.95"}, 0.0, 1.0, true, true};
constexpr render::Word kSidesWords[] = {
    {"both", static_cast<std::int32_t>(studies::Sides::Both)},
    {"lower", static_cast<std::int32_t>(studies::Sides::Lower)},
    {"upper", static_cast<std::int32_t>(studies::Sides::Upper)}};
constexpr Choice<studies::Sides> kSides{
    {"sides", "WORD", "two limits, or one alone", "", false, kSidesWords}};
constexpr std::int32_t CodeOf(studies::Law law) { return static_cast<std::int32_t>(law); }
constexpr std::int32_t kNoLaw = -1;
constexpr render::Word kLawWords[] = {{"normal", CodeOf(studies::Law::Normal)},
                                      {"lognormal", CodeOf(studies::Law::Lognormal)},
                                      {"box-cox", CodeOf(studies::Law::BoxCox)},
                                      {"johnson", CodeOf(studies::Law::Johnson)},
                                      {"none", kNoLaw}};
constexpr Choice<std::int32_t> kLaw{
    {"law", "WORD", "that the values follow; none: limits are values", "", false, kLawWords}};

// The column of a file as one stream.
void ReadColumn(const Arguments& arguments, render::ToleranceDocument& document) {
  const DataFile file(arguments.Required(kData));
  const auto asked = arguments.Value(kColumn);
  const auto column = asked ? file.Column({*asked}) : file.Find({"value"}).value_or(0);
  document.column = file.Headings()[column];
  studies::Stretch stretch;
  stretch.first_piece.push_back(0);
  for (std::size_t row = 0; row < file.Rows(); ++row) {
    stretch.pieces.push_back(file.Number(row, column));
    stretch.points.push_back(stretch.pieces.back());
    stretch.first_piece.push_back(static_cast<std::uint32_t>(stretch.pieces.size()));
  }
  auto& stream = document.data.streams.emplace_back();
  stream.stretches.push_back(std::move(stretch));
}

int RunTolerance(const Arguments& arguments, Console& console) {
  CheckSource(arguments, true);
  const bool of_file = arguments.Has(kData);
  if (!of_file && arguments.Has(kColumn)) throw Misuse("--column goes with --data");
  for (const auto& option : {Option(kPhase), Option(kAllPhases)}) {
    if (of_file && arguments.Has(option)) {
      throw Misuse("--" + std::string(option.name) + " goes with --db");
    }
  }
  studies::ToleranceOptions asked;
  const auto take = [&](StudyOptions& options) {
    asked = {};
    asked.content = options.Get("Content", kContent, asked.content);
    asked.confidence = options.Get("Confidence", kConfidence, asked.confidence);
    asked.sides = options.Get("Sides", kSides);
    const auto law = options.Get("Law", kLaw);
    asked.law = law == kNoLaw ? std::nullopt : std::optional(static_cast<studies::Law>(law));
  };
  const auto fill = [&](render::ToleranceDocument& filled) {
    filled.options = asked;
    filled.Fill([&](const studies::Stretch& stretch) {
      return studies::StudyTolerance(studies::UsedPieces(stretch), asked);
    });
  };
  if (!of_file) {
    return RunOnStreams<render::ToleranceDocument>(arguments, console, "tolerance",
                                                   render::ToleranceJson, render::MakeToleranceView,
                                                   take, fill);
  }
  StudyOptions options(arguments);
  take(options);
  render::ToleranceDocument document;
  document.head = {"tolerance", options.Take(), {}, {}};
  ReadColumn(arguments, document);
  fill(document);
  return DeliverStudy(arguments, console, document, render::ToleranceJson,
                      render::MakeToleranceView);
}

constexpr RealInside kCountsLevel{{"level", "X", "of the intervals", "0.95"}, 0.0, 1.0, true, true};
constexpr RealInside kOpportunities{
    {"opportunities", "X", "of tests of defects: places in a unit where one may be",
     "those stored, or 1"},
    0.0,
    1e300,
    true,
    true};

// Opportunities in a unit, on the average of the units that count: the row in force at each
// subgroup, as charts have it, and one where none is. Empty: there is no row.
std::optional<double> StoredOpportunities(const std::vector<Opportunities>& rows,
                                          const studies::Stretch& stretch,
                                          std::vector<Note>& notes) {
  double opportunities = 0.0, units = 0.0, least = INFINITY, most = 0.0;
  bool some = false, none = false;
  for (std::size_t i = 0; i < stretch.times.size(); ++i) {
    if (!stretch.IsUsed(i) || !(stretch.sizes[i] > 0.0)) continue;
    double now = 1.0;
    bool known = false;
    for (const auto& row : rows) {
      if (row.effective > stretch.times[i]) break;
      now = row.opportunities;
      known = true;
    }
    (known ? some : none) = true;
    least = std::min(least, now);
    most = std::max(most, now);
    opportunities += now * stretch.sizes[i];
    units += stretch.sizes[i];
  }
  if (!some) return std::nullopt;
  if (none) {
    notes.push_back(
        {"no-opportunities",
         "No opportunities for defects are known at some points; they count as one a unit.",
         {}});
  }
  return least == most ? least : opportunities / units;
}

// Tests of defectives and of defects are read apart: each has charts and figures of its own.
void ReadCounts(Analysis& run, render::CountCapabilityDocument& document) {
  studies::ReadOptions read;
  read.counts = true;
  std::vector<Note> notes;
  for (const auto type : {ttDefectives, ttDefects}) {
    IncludeTests(*run.select, type);
    const auto data = StreamsOf(run, read, notes);
    document.data.streams.insert(document.data.streams.end(), data.streams.begin(),
                                 data.streams.end());
    document.kinds.resize(document.data.streams.size(), {type == ttDefectives, {}});
  }
  IncludeTests(*run.select, kCounts);
  bool is_first = true;
  for (auto& note : notes) {
    // Of the two reads, that all is missing is said of both together.
    if (note.code == "no-data" && (!document.data.Empty() || !std::exchange(is_first, false)))
      continue;
    document.head.notes.push_back(std::move(note));
  }
}

// Those of the command, else those of the database. The option in the document is the one that all
// streams have.
void FindOpportunities(const Analysis& run, render::CountCapabilityDocument& document,
                       const studies::CountCapabilityOptions& asked) {
  auto& option = document.head.options.back();
  const bool given = option.from == "command";
  std::vector<double> stored;
  bool all = true;
  for (std::size_t s = 0; s < document.kinds.size(); ++s) {
    const auto& stream = document.data.streams[s];
    if (document.kinds[s].defectives) continue;
    const auto rows =
        given ? std::vector<Opportunities>()
              : run.database.Versions<Opportunities>({stream.part, stream.process, stream.test});
    for (const auto& stretch : stream.stretches) {
      std::vector<Note> notes;
      const auto found = StoredOpportunities(rows, stretch, notes);
      for (auto& note : notes) {
        note.stream = render::StreamName(run.names, stream.part, stream.process, stream.test);
        document.head.notes.push_back(std::move(note));
      }
      document.kinds[s].opportunities.push_back(found.value_or(asked.opportunities));
      if (found) stored.push_back(*found);
      all = all && found;
    }
  }
  if (stored.empty()) return;
  option.from = "database";
  const bool is_one = all && std::ranges::count(stored, stored.front()) == std::ssize(stored);
  if (is_one) {
    option.value = stored.front();
  } else {
    option.value = std::monostate();
  }
}

int RunCountCapability(const Arguments& arguments, Console& console) {
  studies::CountCapabilityOptions asked;
  const auto take = [&](StudyOptions options) {
    asked = {};
    asked.level = options.Get("Level", kCountsLevel, asked.level);
    asked.opportunities = options.Get("Opportunities", kOpportunities, asked.opportunities);
    return options.Take();
  };
  render::CountCapabilityDocument document;
  document.head = {"counts", take(StudyOptions(arguments)), {}, {}};
  return RunAnalysis(arguments, console, kDrawn, kStudyMax, kCounts, [&](Analysis& run) -> Outcome {
    run.database.JoinPhases(arguments.Has(kAllPhases));
    document.head.select = run.select;
    ReadCounts(run, document);
    document.head.options =
        take(StudyOptions(arguments, StoredOptionsOf(run, document.data, "counts")));
    const bool empty = document.data.Empty();
    if (empty) NoteEmpty(run, kStudyMax, document.head.notes);
    const auto is_of_bad_units = &render::CountKind::defectives;
    if (arguments.Has(kOpportunities) && std::ranges::any_of(document.kinds, is_of_bad_units)) {
      document.head.notes.push_back(
          {"opportunities-unused", "--opportunities counts for tests of defects alone.", {}});
    }
    FindOpportunities(run, document, asked);
    if (!arguments.Has(kOpportunities) && !empty &&
        std::ranges::all_of(document.kinds, is_of_bad_units)) {
      document.head.options.pop_back();  // bad units have none
    }
    for (std::size_t s = 0; s < document.kinds.size(); ++s) {
      const auto& kind = document.kinds[s];
      const auto& stretches = document.data.streams[s].stretches;
      auto& row = document.studies.emplace_back();
      for (std::size_t p = 0; p < stretches.size(); ++p) {
        auto how = asked;
        how.defectives = kind.defectives;
        if (!kind.defectives) how.opportunities = kind.opportunities[p];
        row.push_back(studies::StudyCountCapability(stretches[p], how));
      }
    }
    return {
        FormattedStudy(document, run, render::CountCapabilityJson, render::MakeCountCapabilityView),
        empty};
  });
}

}  // namespace

Command ToleranceStudyCommand() {
  return {"study tolerance",
          "--db FILE [--part NAME] [--test NAME] [OPTIONS] | --data FILE.csv [--column NAME]",
          "Limits that hold a share of all pieces, with a confidence",
          "By mean and standard deviation of a normal law, of a law whose values can be made "
          "normal, or by the values themselves. Each stream and phase has limits of its own.\n"
          "Formats: text, json, svg, html.",
          "orvspc study tolerance --db q.db --part Ring --test Diameter --content 0.99 -o ring.svg",
          Together(ReadingOptions(true), std::vector<Option>{kPhase, kAllPhases, kColumn, kContent,
                                                             kConfidence, kSides, kLaw}),
          RunTolerance};
}

Command CountsStudyCommand() {
  return {"study counts",
          "--db FILE [--part NAME] [--test NAME] [OPTIONS]",
          "Capability of a process whose units are counted: bad ones, or defects",
          "Rate with its interval, parts per million, Z or yield, and whether enough was taken: "
          "the rate of all subgroups up to each must have settled.\n"
          "Formats: text, json, svg, html.",
          "orvspc study counts --db q.db --part Can --test Leaks -o leaks.svg",
          Together(SelectionOptions(),
                   std::vector<Option>{kStudyMax, kCountsLevel, kOpportunities, kPhase, kAllPhases},
                   kPageOptions),
          RunCountCapability};
}

}  // namespace orvspc::cli
