// SPDX-License-Identifier: Apache-2.0
#include <cmath>

#include "host/cli/study/DataFile.h"
#include "host/cli/study/Study.h"
#include "host/render/study/RareEvents.h"

namespace orvspc::cli {

namespace {

constexpr Option kData{"data", "FILE", "CSV file, a row an event, oldest first", "", false};
constexpr Option kColumn{"column", "NAME", "heading of the column", "the first"};
constexpr RealInside kAlpha{
    {"alpha", "X", "chance of a false signal, of both sides together", "0.0027"}, 0.0001, 0.1};
constexpr render::Word kRunWords[] = {{"9", 2}, {"8", 9}, {"7", 10}, {"none", 0}};
constexpr Choice<std::int32_t> kRun{{"run", "N",
                                     "points in a row on one side of the median that are a signal",
                                     "", false, kRunWords}};
enum class GLimits { Probability, Sigma };
constexpr render::Word kLimitsWords[] = {
    {"probability", static_cast<std::int32_t>(GLimits::Probability)},
    {"sigma", static_cast<std::int32_t>(GLimits::Sigma)}};
constexpr Choice<GLimits> kLimits{
    {"limits", "WORD", "quantiles, or three sigmas about the mean", "", false, kLimitsWords}};
enum class GEstimator { Unbiased, Likelihood };
constexpr render::Word kEstimatorWords[] = {
    {"unbiased", static_cast<std::int32_t>(GEstimator::Unbiased)},
    {"ml", static_cast<std::int32_t>(GEstimator::Likelihood)}};
constexpr Choice<GEstimator> kEstimator{
    {"estimator", "WORD", "of the chance of an event", "", false, kEstimatorWords}};
constexpr render::Word kLawWords[] = {
    {"weibull", static_cast<std::int32_t>(studies::TimeLaw::Weibull)},
    {"exponential", static_cast<std::int32_t>(studies::TimeLaw::Exponential)},
    {"power", static_cast<std::int32_t>(studies::TimeLaw::Power)}};
constexpr Choice<studies::TimeLaw> kLaw{
    {"law", "WORD", "distribution of the times", "", false, kLawWords}};
constexpr RealInside kResolution{
    {"resolution", "X", "of the times: one of 0 counts as half of it", "1"},
    0.0,
    1e300,
    true,
    true};
constexpr RealInside kOpen{
    {"open", "X", "time since the last event, drawn hollow", "none"}, 0.0, 1e300, false, true};

// Fills in column and points.
template <class Document>
void ReadGaps(const Arguments& arguments, bool whole, Document& document) {
  const DataFile file(arguments.Required(kData));
  const auto asked = arguments.Value(kColumn);
  const auto column = asked ? file.Column({*asked}) : 0;
  document.column = file.Headings()[column];
  for (std::size_t row = 0; row < file.Rows(); ++row) {
    const double value = file.Number(row, column);
    if (value < 0.0) file.Refuse(row, column, "is below 0");
    if (whole && std::floor(value) != value) file.Refuse(row, column, "is not a whole number");
    document.points.push_back(value);
  }
}

void TakeShared(StudyOptions& options, studies::GapOptions& asked) {
  asked.alpha = options.Get("Alpha", kAlpha, asked.alpha);
  asked.run_rule = options.Get("Run", kRun);
}

template <class Document>
void Write(const Arguments& arguments, Console& console, const Document& document,
           std::string (*json)(const Document&, const render::Names&),
           render::StudyView (*view)(const Document&, const render::Names&)) {
  const Presentation shown{NoNames(), OutputFormat(arguments, kDrawn),
                           TextOptionsOf(arguments, console)};
  Deliver(arguments, console, FormattedStudy<Document>(document, shown, json, view));
}

int RunG(const Arguments& arguments, Console& console) {
  StudyOptions options(arguments);
  studies::GOptions asked;
  TakeShared(options, asked);
  asked.probability = options.Get("Limits", kLimits) == GLimits::Probability;
  asked.unbiased = options.Get("Estimator", kEstimator) == GEstimator::Unbiased;
  if (!asked.probability && arguments.Has(kAlpha)) {
    throw Misuse("--alpha goes with --limits probability");
  }
  render::GDocument document;
  ReadGaps(arguments, true, document);
  document.head = {"g", options.Take(), {}, {}};
  document.study = studies::StudyG(document.points, asked);
  Write(arguments, console, document, render::GJson, render::MakeGView);
  return 0;
}

int RunT(const Arguments& arguments, Console& console) {
  StudyOptions options(arguments);
  studies::TOptions asked;
  TakeShared(options, asked);
  asked.law = options.Get("Law", kLaw);
  asked.resolution = options.Get("Resolution", kResolution, asked.resolution);
  asked.open = options.Get("Open", kOpen);
  if (asked.law == studies::TimeLaw::Power && arguments.Has(kAlpha)) {
    throw Misuse("--alpha goes with --law weibull or exponential");
  }
  render::TDocument document;
  ReadGaps(arguments, false, document);
  document.head = {"t", options.Take(), {}, {}};
  document.open = asked.open;
  document.study = studies::StudyT(document.points, asked);
  Write(arguments, console, document, render::TJson, render::MakeTView);
  return 0;
}

constexpr Option kShared[] = {kData, kColumn, kAlpha, kRun};

}  // namespace

Command GStudyCommand() {
  return {"study g",
          "--data FILE [--column NAME] [OPTIONS]",
          "g chart of how many units, patients or days lie between rare events",
          "For events so rare that most points of a p or c chart are 0. A point above the upper "
          "limit is good news.\n"
          "Formats: text, json, svg, html.",
          "orvspc study g --data between.csv --column units -o g.svg",
          Together(kShared, std::vector<Option>{kLimits, kEstimator}, kPageOptions),
          RunG};
}

Command TStudyCommand() {
  return {"study t",
          "--data FILE [--column NAME] [OPTIONS]",
          "t chart of the times between rare events",
          "Times between failures, accidents or complaints, with limits by a distribution of "
          "times.\n"
          "Formats: text, json, svg, html.",
          "orvspc study t --data failures.csv --column hours --open 4000 -o t.svg",
          Together(kShared, std::vector<Option>{kLaw, kResolution, kOpen}, kPageOptions),
          RunT};
}

}  // namespace orvspc::cli
