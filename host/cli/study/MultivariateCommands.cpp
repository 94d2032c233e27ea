// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "frame/Failure.h"
#include "frame/NumberText.h"
#include "host/cli/study/Readings.h"
#include "host/render/core/PlainText.h"
#include "host/render/study/Multivariate.h"

namespace orvspc::cli {

namespace {

constexpr Option kColumns{"columns", "NAME,NAME,...", "of the file: a variable each"};
constexpr Option kSubgroup{"subgroup", "NAME",
                           "column of the file that says to which one a row "
                           "belongs",
                           "a row each"};
constexpr Option kTest{"test"};
constexpr render::Word kCovarianceWords[] = {
    {"sample", static_cast<std::int32_t>(studies::VectorCovariance::Sample)},
    {"successive", static_cast<std::int32_t>(studies::VectorCovariance::Successive)}};
constexpr Choice<studies::VectorCovariance> kCovariance{
    {"covariance", "WORD", "of single vectors: from all, or from differences of neighbours", "",
     false, kCovarianceWords}};
constexpr Number kBase{
    {"base", "N", "mean and covariance are those of the first N subgroups", "all"}, 2};
constexpr Option kMean{"mean", "X,X,...", "known means, with --matrix"};
constexpr Option kMatrix{"matrix", "X,X,...", "known covariance matrix, row after row"};
constexpr RealInside kAlpha{{"alpha", "X", "chance of a false signal", "0.0027"}, 1e-6, 0.5};
constexpr Option kPerVariable{"per-variable", nullptr,
                              "alpha is that of one variable: 1 - (1 - alpha)^p in its place"};
constexpr Option kOrders{"orders", nullptr,
                         "signals taken apart in every order of the variables, which are 2 to 6"};
constexpr RealInside kWeight{{"weight", "X", "of the newest point", "0.1"}, 0.01, 1.0};
constexpr RealInside kLimit{{"h", "X", "the limit", "that of --arl0"}, 0.0, 1000.0, true};
constexpr RealInside kArl0{{"arl0", "X", "mean points to a false signal", "200"}, 2.0, 1e6};
enum class LimitsOf { Asymptotic, Exact };
constexpr render::Word kLimitsWords[] = {
    {"asymptotic", static_cast<std::int32_t>(LimitsOf::Asymptotic)},
    {"exact", static_cast<std::int32_t>(LimitsOf::Exact)}};
constexpr Choice<LimitsOf> kLimits{{"limits", "WORD",
                                    "covariance as it is after many points, or of each point", "",
                                    false, kLimitsWords}};

// Empty where the option is not given.
std::vector<double> NumbersOf(const Arguments& arguments, const Option& option) {
  std::vector<double> numbers;
  if (!arguments.Has(option)) return numbers;
  for (const auto& word : Split(*arguments.Value(option))) {
    double value = render::kNaN;
    try {
      value = ToDouble(word);
    } catch (const Failure&) {
    }
    if (!std::isfinite(value)) {
      throw Misuse("--" + std::string(option.name) +
                   " takes numbers with commas between them, not \"" + word + "\"");
    }
    numbers.push_back(value);
  }
  return numbers;
}

std::vector<std::string> ColumnsOf(const Arguments& arguments) {
  auto names = Split(arguments.Required(kColumns));
  if (names.size() < studies::kLeastVariables || names.size() > studies::kMostVariables) {
    throw Misuse("--columns takes 2 to 20 names, not " + std::to_string(names.size()));
  }
  for (auto name = names.begin(); name != names.end(); ++name) {
    if (std::find(names.begin(), name, *name) != name) {
      throw Misuse("--columns takes each name once, not \"" + *name + "\" twice");
    }
  }
  return names;
}

std::string Lowered(std::string text) {
  for (char& c : text)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + ('a' - 'A'));
  return text;
}

void CheckVectorSource(const Arguments& arguments) {
  CheckSource(arguments, true);
  const bool has_file = arguments.Has(kData);
  for (const auto& option : {kColumns, kSubgroup}) {
    if (has_file || !arguments.Has(option)) continue;
    throw Misuse("--" + std::string(option.name) + " goes with --data");
  }
  for (const auto& option : {kPhase, kAllPhases}) {
    if (!has_file || !arguments.Has(option)) continue;
    throw Misuse("--" + std::string(option.name) + " goes with --db");
  }
}

void TakeShared(const Arguments& arguments, StudyOptions& options, studies::VectorOptions& asked) {
  asked.covariance = options.Get("Covariance", kCovariance);
  const auto base = arguments.Get(kBase);
  if (base) asked.base = static_cast<std::size_t>(*base);
  options.Add(
      "Base",
      base ? decltype(render::ResolvedOption::value)(static_cast<double>(*base)) : std::monostate(),
      base.has_value());
  for (const auto& [key, option] : {std::pair("Mean", kMean), std::pair("Matrix", kMatrix)}) {
    options.Add(key, arguments.Value(option).value_or(""), arguments.Has(option));
  }
  if (arguments.Has(kMean) != arguments.Has(kMatrix)) {
    throw Misuse("--mean and --matrix go together");
  }
  if (!arguments.Has(kMean)) return;
  if (base) throw Misuse("--base does not go with --mean and --matrix");
  if (arguments.Has(kCovariance)) {
    throw Misuse("--covariance does not go with --mean and --matrix");
  }
  asked.known =
      studies::VectorParameters{NumbersOf(arguments, kMean), NumbersOf(arguments, kMatrix)};
}

// Vectors of a file as the one stretch of a stream.
template <class Document>
void ReadFile(const Arguments& arguments, Document& document) {
  const auto path = arguments.Required(kData);
  const auto names = ColumnsOf(arguments);
  const DataFile file(path);
  std::vector<std::size_t> columns;
  for (const auto& name : names) columns.push_back(file.Column({Lowered(name)}));
  const auto by = arguments.Value(kSubgroup);
  const auto group = by ? file.Column({Lowered(*by)}) : 0;
  if (file.Rows() == 0) file.Refuse("there are no rows");
  std::map<std::string, std::size_t> places;
  std::vector<std::vector<double>> subgroups;
  for (std::size_t row = 0; row < file.Rows(); ++row) {
    const auto label = by ? file.Name(row, group) : std::to_string(row + 1);
    const auto [place, is_new] = places.try_emplace(label, subgroups.size());
    if (is_new) {
      subgroups.emplace_back();
      document.labels.push_back(label);
    }
    for (const auto column : columns) {
      subgroups[place->second].push_back(file.NumberOrNone(row, column));
    }
  }
  studies::Stretch stretch;
  stretch.first_piece.push_back(0);
  for (const auto& subgroup : subgroups) {
    stretch.pieces.insert(stretch.pieces.end(), subgroup.begin(), subgroup.end());
    stretch.first_piece.push_back(static_cast<std::uint32_t>(stretch.pieces.size()));
    stretch.points.push_back(render::kNaN);
    const std::size_t vectors = subgroup.size() / names.size();
    stretch.sizes.push_back(static_cast<double>(vectors));
  }
  document.data.streams.push_back({0, 0, 0, {std::move(stretch)}});
  document.variables.push_back(names);
  const auto folder = path.find_last_of("/\\");
  document.titles.push_back(folder == path.npos ? path : path.substr(folder + 1));
}

std::string TextOf(const studies::LeftOfJoin& left) {
  if (left.tests < studies::kLeastVariables) {
    return "Only one test has values; vectors take two or more.";
  }
  if (left.tests > studies::kMostVariables) {
    return std::to_string(left.tests) +
           " tests are more than the 20 that vectors take; --test "
           "chooses them.";
  }
  const auto count = left.times.size();
  return render::Counted(count, "subgroup lacks", "subgroups lack") +
         " a value of one of the tests and " + (count == 1 ? "is" : "are") + " left out.";
}

// Vectors of the selected tests, a stream for each part and process.
template <class Document>
void ReadSelection(Analysis& run, Document& document) {
  run.database.JoinPhases(run.arguments.Has(kAllPhases));
  std::vector<std::int32_t> order;
  for (const auto& name : run.arguments.Values(kTest)) {
    if (const auto id = run.database.Find(render::NameKind::Test, name)) order.push_back(*id);
  }
  API_DSInfo info{};
  Array<std::int32_t> filter;
  run.select->API_GetData(info, filter);
  auto [joined, report] = Reported(run.database, [&](const auto& open) {
    return studies::ReadJoinedTests(*open, info, filter.Elements(), order);
  });
  auto& notes = document.head.notes;
  notes.insert(notes.end(), report.notes.begin(), report.notes.end());
  const auto title = [&](std::int32_t part, std::int32_t process) {
    return render::NameOrNumber(run.names, render::NameKind::Part, part) + " / " +
           render::NameOrNumber(run.names, render::NameKind::Process, process);
  };
  for (const auto& left : joined.left) {
    notes.push_back({left.tests < studies::kLeastVariables ? "one-test" : "incomplete",
                     TextOf(left), title(left.part, left.process)});
  }
  if (joined.data.Empty() && !joined.left.empty()) run.why_empty = TextOf(joined.left.front());
  for (const auto& stream : joined.data.streams) {
    document.titles.push_back(title(stream.part, stream.process));
  }
  for (const auto& tests : joined.tests) {
    auto& names = document.variables.emplace_back();
    for (const auto test : tests) names.push_back(run.names(render::NameKind::Test, test));
  }
  document.data = std::move(joined.data);
}

// The estimator of single vectors is no option where there are none.
template <class Document>
void ResolveCovariance(Document& document) {
  for (const auto& row : document.studies) {
    for (const auto& study : row) {
      if (study.estimates.estimator == "sample" || study.estimates.estimator == "successive")
        return;
    }
  }
  for (auto& option : document.head.options) {
    if (option.key != "Covariance") continue;
    option.value = std::monostate();
    if (option.from != "command") continue;
    document.head.notes.push_back(
        {"pooled", "The covariance is not that of single vectors; --covariance has no say.", {}});
  }
}

// study(stretch, variables, limits_of) is that of a stretch.
template <class Document, class Study>
void Fill(Document& document, const studies::VectorOptions& asked, Study study) {
  for (std::size_t s = 0; s < document.data.streams.size(); ++s) {
    const auto& variables = document.variables[s];
    const auto p = variables.size();
    if (asked.known) {
      const auto check = [&](const char* option, std::size_t count, std::size_t needed) {
        if (count == needed) return;
        throw Misuse("--" + std::string(option) + " takes " + std::to_string(needed) +
                     " numbers for " + std::to_string(p) + " variables, not " +
                     std::to_string(count));
      };
      check("mean", asked.known->centre.size(), p);
      check("matrix", asked.known->covariance.size(), p * p);
    }
    auto& row = document.studies.emplace_back();
    const auto& stretches = document.data.streams[s].stretches;
    for (const auto& stretch : stretches) {
      try {
        row.push_back(study(stretch, variables, &stretches[stretch.limits_of]));
      } catch (const std::invalid_argument& refused) {
        throw Misuse("--" + std::string(refused.what()));
      }
      for (auto& note : row.back().notes) note.stream = document.titles[s];
    }
  }
  HideBases(document);
  ResolveCovariance(document);
}

template <class Document, class Study>
int RunOnVectors(const Arguments& arguments, Console& console, Document document,
                 const studies::VectorOptions& asked,
                 const std::function<void(StudyOptions&)>& take,
                 std::string (*json)(const Document&, const render::Names&),
                 render::StudyView (*view)(const Document&, const render::Names&), Study study) {
  StudyOptions given(arguments);
  take(given);
  if (arguments.Has(kData)) {
    document.head.options = given.Take();
    document.shows_terms = OutputFormat(arguments, kDrawn) == "html";
    ReadFile(arguments, document);
    Fill(document, asked, study);
    const int status = SignalStatus(arguments, false, SignalsOfStreams(document));
    DeliverStudy(arguments, console, document, json, view);
    return status;
  }
  return RunAnalysis(
      arguments, console, kDrawn, kMostSubgroups, ttVariable, [&](Analysis& run) -> Outcome {
        document.head.select = run.select;
        document.shows_terms = run.format == "html";
        ReadSelection(run, document);
        StudyOptions options(arguments, StoredOptionsOf(run, document.data, document.head.word));
        take(options);
        document.head.options = options.Take();
        const bool empty = document.data.Empty();
        if (empty && run.why_empty.empty()) NoteEmpty(run, kMostSubgroups, document.head.notes);
        Fill(document, asked, study);
        const int status = SignalStatus(arguments, empty, SignalsOfStreams(document));
        return {FormattedStudy(document, run, json, view), empty, {}, status};
      });
}

int RunT2(const Arguments& arguments, Console& console) {
  CheckVectorSource(arguments);
  studies::T2Options asked;
  const auto take = [&](StudyOptions& options) {
    asked = {};
    asked.alpha = options.Get("Alpha", kAlpha, asked.alpha);
    asked.per_variable = options.Get("PerVariable", kPerVariable);
    TakeShared(arguments, options, asked);
    options.Get("Orders", kOrders);
  };
  render::T2Document document;
  document.head = {"t2", {}, {}, {}};
  document.shows_orders = arguments.Has(kOrders);
  return RunOnVectors(
      arguments, console, document, asked, take, render::T2Json, render::MakeT2View,
      [&](const studies::Stretch& stretch, const std::vector<std::string>& names,
          const studies::Stretch* limits_of) {
        if (arguments.Has(kOrders) && names.size() > studies::kMostOrdered) {
          throw Misuse("--orders takes 2 to 6 variables, not " + std::to_string(names.size()));
        }
        return studies::StudyT2(stretch, names, asked, limits_of);
      });
}

int RunMewma(const Arguments& arguments, Console& console) {
  CheckVectorSource(arguments);
  studies::MewmaOptions asked;
  const auto take = [&](StudyOptions& options) {
    asked = {};
    asked.weight = options.Get("Weight", kWeight, asked.weight);
    asked.h = options.Get("H", kLimit);
    if (asked.h && arguments.Has(kArl0)) throw Misuse("--arl0 does not go with --h");
    if (!asked.h) asked.arl0 = options.Get("ARL0", kArl0, asked.arl0);
    asked.exact = options.Get("Limits", kLimits) == LimitsOf::Exact;
    TakeShared(arguments, options, asked);
  };
  render::MewmaDocument document;
  document.head = {"mewma", {}, {}, {}};
  return RunOnVectors(arguments, console, document, asked, take, render::MewmaJson,
                      render::MakeMewmaView,
                      [&](const studies::Stretch& stretch, const std::vector<std::string>& names,
                          const studies::Stretch* limits_of) {
                        return studies::StudyMewma(stretch, names, asked, limits_of);
                      });
}

constexpr Option kShared[] = {kColumns, kSubgroup, kPhase,  kAllPhases, kCovariance,
                              kBase,    kMean,     kMatrix, kSignalExit};
constexpr const char* kSynopsis =
    "--data FILE.csv --columns NAME,NAME,... [--subgroup NAME] | --db FILE [--part NAME] [OPTIONS]";

}  // namespace

Command T2StudyCommand() {
  return {
      "study t2",
      kSynopsis,
      "T2 chart of several variables, and which of them caused a signal",
      "Finds points that are unusual as a whole, although each variable may be inside its own "
      "limits. Values of tests of one part and process at the same subgroup and piece belong "
      "together; of a file those in a line.\n"
      "Formats: text, json, svg, html.",
      "orvspc study t2 --db q.db --part Ring --test Diameter --test Width -o t2.html",
      Together(ReadingOptions(true), kShared, std::vector<Option>{kAlpha, kPerVariable, kOrders}),
      RunT2};
}

Command MewmaStudyCommand() {
  return {
      "study mewma",
      kSynopsis,
      "Exponentially weighted moving average of several variables",
      "Finds small shifts of the means of several variables that last. The limit follows from "
      "how often it may signal without one.\n"
      "Formats: text, json, svg, html.",
      "orvspc study mewma --data coating.csv --columns thickness,hardness -o mewma.svg",
      Together(ReadingOptions(true), kShared, std::vector<Option>{kWeight, kLimit, kArl0, kLimits}),
      RunMewma};
}

}  // namespace orvspc::cli
