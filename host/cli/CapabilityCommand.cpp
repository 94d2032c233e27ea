// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <cfloat>
#include <cmath>
#include <set>
#include <utility>
#include <vector>

#include "capability/CAAnalysis.h"
#include "host/cli/Analysis.h"
#include "host/cli/study/Study.h"
#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"
#include "host/render/study/Laws.h"
#include "host/render/study/Sixpack.h"

namespace orvspc::cli {

namespace {

constexpr Number kLatest = MaximumOption("the newest N subgroups at most; 0: all", "all");
constexpr render::Word kFitWords[] = {{"normal", caFitNormal}, {"johnson", caFitJohnson}};
constexpr Choice<caFitTypes> kFit{
    {"fit", "WORD", "the distribution that expected proportions follow", "", false, kFitWords}};
constexpr render::Word kSigmaWords[] = {{"auto", caShortTermSigmaAuto},
                                        {"range", caShortTermSigmaRange},
                                        {"sd", caShortTermSigmaSD},
                                        {"pooled", caShortTermSigmaPooled}};
constexpr Choice<caShortTermSigmaTypes> kSigma{
    {"short-term-sigma", "WORD", "", "", false, kSigmaWords}};
constexpr Real kUsl{{"usl", "X", "upper specification limit in place of the stored row"}};
constexpr Real kTarget{{"target", "X", "target in place of the stored row"}};
constexpr Real kLsl{{"lsl", "X", "lower specification limit in place of the stored row"}};
constexpr render::Word kNormalizeWords[] = {
    {"none", caNormalizeNone}, {"nominal", caNormalizeNominal}, {"target", caNormalizeTarget}};
constexpr Choice<caNormalizeTypes> kNormalize{
    {"normalize", "WORD", "each value less the middle of its limits or its target", "", false,
     kNormalizeWords}};
constexpr Number kBins{{"bins", "N", "bins of the histogram, at least 5", "21"}, 5, 10000};
constexpr Number kCurve{{"curve", "N", "points of the fitted curve, at least 2", "80"}, 2, 100000};
constexpr render::Word kWindowWords[] = {
    {"sd", caWindowTypeWindowSD}, {"minmax", caWindowTypeMinMax}, {"specs", caWindowTypeSpecs}};
constexpr Choice<caWindowTypes> kWindow{
    {"window", "WORD", "what sets the ends of the histogram", "", false, kWindowWords}};
constexpr Real kWindowSd{
    {"window-sd", "X", "sigmas on either side of the mean", "what shows everything"}};
constexpr Real kWindowMin{{"window-min", "X", "with --window minmax, the lower end"}};
constexpr Real kWindowMax{{"window-max", "X", "with --window minmax, the upper end"}};
enum class LawWord : std::int32_t { Best = 100, All = 101 };
constexpr std::int32_t CodeOf(studies::Law law) { return static_cast<std::int32_t>(law); }
constexpr render::Word kLawWords[] = {{"normal", CodeOf(studies::Law::Normal)},
                                      {"lognormal", CodeOf(studies::Law::Lognormal)},
                                      {"lognormal-3", CodeOf(studies::Law::Lognormal3)},
                                      {"weibull", CodeOf(studies::Law::Weibull)},
                                      {"weibull-3", CodeOf(studies::Law::Weibull3)},
                                      {"gamma", CodeOf(studies::Law::Gamma)},
                                      {"gamma-3", CodeOf(studies::Law::Gamma3)},
                                      {"exponential", CodeOf(studies::Law::Exponential)},
                                      {"exponential-2", CodeOf(studies::Law::Exponential2)},
                                      {"logistic", CodeOf(studies::Law::Logistic)},
                                      {"loglogistic", CodeOf(studies::Law::Loglogistic)},
                                      {"loglogistic-3", CodeOf(studies::Law::Loglogistic3)},
                                      {"largest-extreme", CodeOf(studies::Law::LargestExtreme)},
                                      {"smallest-extreme", CodeOf(studies::Law::SmallestExtreme)},
                                      {"box-cox", CodeOf(studies::Law::BoxCox)},
                                      {"johnson", CodeOf(studies::Law::Johnson)},
                                      {"best", static_cast<std::int32_t>(LawWord::Best)},
                                      {"all", static_cast<std::int32_t>(LawWord::All)}};
constexpr Choice<std::int32_t> kLaw{
    {"law", "WORD", "fits a law, with indices by its quantiles and a probability plot", "", false,
     kLawWords}};
constexpr Option kQuantiles{"quantiles", nullptr,
                            "indices by quantiles of the values, without a law"};
constexpr render::Word kDivisorWords[] = {{"n", 0}, {"n-1", 1}};
constexpr Choice<std::int32_t> kDivisor{
    {"sd", "WORD", "with --law, the divisor of a lognormal law's sigma", "", false, kDivisorWords}};
constexpr Option kRound{"round", nullptr, "with --law box-cox, lambda in halves"};
constexpr render::Word kPositionWords[] = {{"hazen", 0}, {"median-rank", 1}};
constexpr Choice<std::int32_t> kPositions{
    {"positions", "WORD", "with --law, where the plot has its points", "", false, kPositionWords}};
constexpr RealInside kLevel{{"level", "X", "of intervals and bands", "0.95"}, 0.0, 1.0, true, true};
constexpr RealInside kDraws{
    {"draws", "N", "with --law, draws of a simulated P", "1000"}, 99.0, 100000.0};
constexpr RealInside kSeed{
    {"seed", "N", "of these draws, and of resamples", "20260101"}, 0.0, 9007199254740991.0};
constexpr Option kTransform{"transform", nullptr,
                            "with --law box-cox or johnson, short-term indices of the transformed "
                            "values"};
constexpr Option kIntervals{"intervals", nullptr, "confidence intervals of the indices"};
constexpr render::Word kBoundWords[] = {
    {"both", static_cast<std::int32_t>(studies::Bound::Both)},
    {"lower", static_cast<std::int32_t>(studies::Bound::Lower)},
    {"upper", static_cast<std::int32_t>(studies::Bound::Upper)}};
constexpr Choice<studies::Bound> kBound{
    {"bound", "WORD", "with --intervals, both bounds or one with all of the risk", "", false,
     kBoundWords}};
constexpr Option kBetweenWithin{"between-within", nullptr,
                                "indices with the spread between subgroups beside that within"};
constexpr Option kSixpack{"sixpack", nullptr,
                          "chart, pieces, histogram, probability plot and indices in one picture"};
constexpr Option kOfLaws[] = {kDivisor, kRound, kPositions, kDraws, kTransform};
constexpr Option kStudyOptions[] = {kLaw,   kQuantiles,     kDivisor, kRound,     kPositions,
                                    kLevel, kDraws,         kSeed,    kTransform, kIntervals,
                                    kBound, kBetweenWithin, kSixpack};
// Each of them asks for something that the XML document has no place for.
constexpr Option kAsking[] = {kLaw, kQuantiles, kIntervals, kBetweenWithin, kSixpack};
constexpr Option kCapabilityOptions[] = {kLatest,   kFit,       kSigma,     kUsl,   kTarget,
                                         kLsl,      kNormalize, kBins,      kCurve, kWindow,
                                         kWindowSd, kWindowMin, kWindowMax, kPhase, kAllPhases};

void SetWindow(const Arguments& arguments, CAProcessing& processing) {
  const auto least = arguments.Get(kWindowMin), most = arguments.Get(kWindowMax);
  const auto sigmas = arguments.Get(kWindowSd);
  auto window = arguments.Get(kWindow);
  if (!arguments.Has(kWindow) && (least || most)) window = caWindowTypeMinMax;
  const bool edges = window == caWindowTypeMinMax;
  if (edges != (least && most) || edges != (least || most))
    throw Misuse("--window minmax takes --window-min and --window-max, and only it does");
  if (edges && *least >= *most) throw Misuse("--window-min must lie below --window-max");
  if (sigmas && window != caWindowTypeWindowSD) throw Misuse("--window-sd goes with --window sd");
  if (sigmas && *sigmas <= 0.0) throw Misuse("--window-sd must be above 0");
  processing.WindowType(window);
  processing.WindowMinimum(least.value_or(0.0));
  processing.WindowMaximum(most.value_or(0.0));
  processing.WindowSD(sigmas.value_or(0.0));
}

void SetLimits(const Arguments& arguments, CAProcessing& processing) {
  const auto usl = arguments.Get(kUsl), target = arguments.Get(kTarget), lsl = arguments.Get(kLsl);
  if (!usl && !target && !lsl) return;
  if (usl && lsl && *lsl >= *usl) throw Misuse("--lsl must lie below --usl");
  // The three replace the stored row together; 0 would be a limit.
  processing.AllowOverride(true);
  processing.OverrideUSL(usl.value_or(DBL_MAX));
  processing.OverrideTarget(target.value_or(DBL_MAX));
  processing.OverrideLSL(lsl.value_or(-DBL_MAX));
}

std::shared_ptr<CAProcessing> MakeProcessing(const Arguments& arguments) {
  auto processing = std::make_shared<CAProcessing>();
  processing->FitType(arguments.Get(kFit));
  processing->ShortTermSigmaType(arguments.Get(kSigma));
  processing->Normalize(arguments.Get(kNormalize));
  processing->BinCount(*arguments.Get(kBins));
  processing->CurveCount(*arguments.Get(kCurve));
  SetWindow(arguments, *processing);
  SetLimits(arguments, *processing);
  return processing;
}

// What is asked for beside the analysis.
struct Asked {
  std::optional<studies::LawOptions> laws;
  bool quantiles = false, intervals = false, between_within = false, transform = false,
       sixpack = false;
  studies::IndexOptions indices;
  std::vector<render::ResolvedOption> options;

  bool Any() const { return laws || quantiles || intervals || between_within; }
};

double WholeNumber(const Arguments& arguments, const RealInside& option, double value) {
  if (value == std::floor(value)) return value;
  throw Misuse("--" + std::string(option.name) + " takes a whole number, not " +
               *arguments.Value(option));
}

std::uint64_t SeedOf(const Arguments& arguments, StudyOptions& options, std::uint64_t usual) {
  return static_cast<std::uint64_t>(
      WholeNumber(arguments, kSeed, options.Get("Seed", kSeed, static_cast<double>(usual))));
}

void CheckTogether(const Arguments& arguments) {
  const bool has_law = arguments.Has(kLaw), has_quantiles = arguments.Has(kQuantiles),
             has_intervals = arguments.Has(kIntervals);
  if (has_law && arguments.Has(kFit)) throw Misuse("--law goes without --fit");
  if (has_law && has_quantiles) throw Misuse("--quantiles goes without --law");
  if (arguments.Has(kSixpack) && has_quantiles) throw Misuse("--sixpack goes without --quantiles");
  if (arguments.Has(kSixpack) && arguments.Get(kFit) != caFitNormal)
    throw Misuse("--sixpack goes with --fit normal");
  if (has_intervals && arguments.Get(kFit) != caFitNormal)
    throw Misuse("--intervals goes with --fit normal; --law johnson has intervals of its own");
  if (arguments.Has(kBound) && !has_intervals) throw Misuse("--bound goes with --intervals");
}

// has_law: the command or the database names a law.
void CheckWithLaw(const Arguments& arguments, bool has_law) {
  const bool has_intervals = arguments.Has(kIntervals);
  if (const auto given = arguments.FirstOf(kOfLaws); !has_law && !given.empty())
    throw Misuse(given + " goes with --law");
  if (arguments.Has(kLevel) && !has_law && !arguments.Has(kQuantiles) && !has_intervals)
    throw Misuse("--level goes with --law, --quantiles or --intervals");
  if (arguments.Has(kSeed) && !has_law && !has_intervals)
    throw Misuse("--seed goes with --law or --intervals");
}

studies::LawOptions LawOptionsOf(const Arguments& arguments, StudyOptions& options) {
  studies::LawOptions laws;
  const auto word = options.Get("Law", kLaw);
  if (arguments.Has(kTransform) && word != CodeOf(studies::Law::BoxCox) &&
      word != CodeOf(studies::Law::Johnson))
    throw Misuse("--transform goes with --law box-cox or johnson");
  if (word >= static_cast<std::int32_t>(LawWord::Best)) {
    laws.laws = studies::LikelihoodLaws();
  } else {
    laws.laws = {static_cast<studies::Law>(word)};
  }
  laws.lognormal_n_minus_1 = options.Get("Sd", kDivisor) != 0;
  laws.round_lambda = options.Get("Round", kRound);
  laws.median_ranks = options.Get("Positions", kPositions) != 0;
  laws.draws = static_cast<std::int64_t>(WholeNumber(
      arguments, kDraws, options.Get("Draws", kDraws, static_cast<double>(laws.draws))));
  return laws;
}

// stored: options of the database.
Asked AskedOf(const Arguments& arguments, StoredOptions stored) {
  const bool has_law = arguments.Has(kLaw) || stored.contains(kLaw.name);
  CheckWithLaw(arguments, has_law);
  Asked asked;
  StudyOptions options(arguments, std::move(stored));
  asked.sixpack = arguments.Has(kSixpack);
  // The picture has the probability plot of a law.
  if (has_law || asked.sixpack) {
    asked.laws = LawOptionsOf(arguments, options);
    asked.transform = options.Get("Transform", kTransform);
  }
  asked.quantiles = arguments.Has(kQuantiles) && options.Get("Quantiles", kQuantiles);
  asked.intervals = arguments.Has(kIntervals) && options.Get("Intervals", kIntervals);
  asked.between_within =
      arguments.Has(kBetweenWithin) && options.Get("BetweenWithin", kBetweenWithin);
  if (asked.intervals) asked.indices.bound = options.Get("Bound", kBound);
  if (asked.laws || asked.quantiles || asked.intervals)
    asked.indices.level = options.Get("Level", kLevel, asked.indices.level);
  if (asked.laws || asked.intervals)
    asked.indices.seed = SeedOf(arguments, options, asked.indices.seed);
  if (asked.laws) {
    asked.laws->level = asked.indices.level;
    asked.laws->seed = asked.indices.seed;
  }
  asked.options = options.Take();
  return asked;
}

render::LawsDocument StudyOf(const Asked& asked, render::CapabilityDocument capability,
                             const QualityDatabase& database) {
  render::LawsDocument document{std::move(capability), asked.options, {}, {}};
  const auto& read = document.capability.capability;
  auto indices = asked.indices;
  indices.limits = {read.Figure("SpecLim.Lsl"), read.Figure("SpecLim.Usl")};
  indices.target = read.Figure("SpecLim.Tar");
  const auto sample = studies::LatestCapability(*database.Database());
  auto laws = asked.laws.value_or(studies::LawOptions());
  laws.limits = indices.limits;
  const studies::LawFigures* chosen = nullptr;
  if (asked.laws) {
    document.laws = sample.Empty() ? studies::LawsStudy() : studies::StudyLaws(sample.values, laws);
    if (!document.laws->laws.empty()) chosen = &document.laws->laws[document.laws->chosen];
    if (chosen != nullptr && !chosen->Exists()) chosen = nullptr;
  }
  if (asked.quantiles)
    document.quantiles =
        sample.Empty() ? studies::QuantilesStudy()
                       : studies::StudyQuantiles(sample.values, indices.limits, indices.level);
  if (asked.intervals) document.intervals = studies::StudyIndices(sample, indices);
  if (asked.intervals && (chosen != nullptr || asked.quantiles))
    document.quantile_intervals = studies::StudyQuantileIndices(sample, chosen, laws, indices);
  if (asked.between_within)
    document.between_within = studies::StudyBetweenWithin(sample, indices, asked.intervals);
  if (asked.transform && chosen != nullptr)
    document.transformed = studies::StudyTransformed(sample, *chosen, indices);
  return document;
}

std::string FormattedLaws(const render::LawsDocument& document, const Presentation& shown) {
  if (shown.format == "json") return render::LawsJson(document);
  const auto view = render::MakeLawsView(document, shown.names);
  if (shown.format == "svg") return render::RenderCapabilitySvg(view);
  return shown.format == "html" ? render::RenderCapabilityHtml(view)
                                : render::RenderCapabilityText(view, shown.text);
}

std::string FormattedSixpack(render::LawsDocument study, Analysis& run) {
  render::SixpackDocument document{std::move(study), {}, {}};
  if (!document.capability.capability.capability.Empty()) {
    // As the figures beside it, the chart takes sigma without regard to correlated points.
    run.database.UseChartOptions({{"chart.sigma", "usual"}});
    document.chart = RunChart(run.database, run.select, std::make_shared<CCProcessing>());
    document.pieces = StreamsOf(run, {}, document.chart.notes);
  }
  if (run.format == "json") return render::SixpackJson(document);
  const auto view = render::MakeSixpackView(document, run.names);
  return run.format == "svg" ? render::RenderStudySvg(view) : render::RenderStudyHtml(view);
}

// Those that hold for all of the streams selected, which are read where the database has any.
StoredOptions StoredOf(const Analysis& run) {
  const std::string word = "capability";
  if (std::ranges::none_of(run.database.ChartOptions(), [&](const ListedChartOption& option) {
        return option.key.starts_with(word + ".");
      }))
    return {};
  const auto data = Checked(
      run.database, [&](const auto& open) { return run.select->Clone()->GetSubgroupData(open); });
  std::set<std::array<std::int32_t, 3>> found;
  for (bool next = data->MoveFirst(); next; next = data->MoveNext())
    found.insert({data->Part(), data->Prcs(), data->Test()});
  std::vector<StreamKey> streams;
  for (const auto& [part, process, test] : found) streams.push_back({part, process, test});
  // What the command has in place of a law goes before it.
  const bool has_other = run.arguments.Has(kQuantiles) || run.arguments.Has(kFit);
  return StoredOptionsOf(run, streams, word, has_other ? kLaw.name : "");
}

int RunCapabilityCommand(const Arguments& arguments, Console& console) {
  const auto processing = MakeProcessing(arguments);
  CheckTogether(arguments);
  return RunAnalysis(
      arguments, console, kDrawnAndStored, kLatest, ttVariable, [&](Analysis& run) -> Outcome {
        const auto stored = run.format == "xml" ? StoredOptions() : StoredOf(run);
        const auto asked = AskedOf(arguments, stored);
        run.database.JoinPhases(arguments.Has(kAllPhases));
        if (run.format == "xml" && asked.Any())
          throw Misuse("--format xml has no place for " + arguments.FirstOf(kAsking));
        if (run.format == "xml") {
          auto [results, report] = Analysed<CAAnalysis>(run.database, run.select, processing);
          std::string text = results->GetXML() + "\n";
          const bool empty = results->Bins()->Count() == 0;
          if (empty) NoteEmpty(run, kLatest, report.notes);
          return {std::move(text), empty, std::move(report.notes)};
        }
        auto document = RunCapability(run.database, run.select, processing);
        const bool empty = document.capability.bins.empty();
        if (empty) NoteEmpty(run, kLatest, document.notes);
        if (!asked.Any()) return {Formatted(document, run), empty};
        auto study = StudyOf(asked, std::move(document), run.database);
        if (!asked.sixpack || run.format == "text") return {FormattedLaws(study, run), empty};
        return {FormattedSixpack(std::move(study), run), empty};
      });
}

std::string LimitText(double value) {
  return std::abs(value) >= 1e300 ? "none" : render::Shortest(value);
}

}  // namespace

render::CapabilityDocument RunCapability(const QualityDatabase& database,
                                         const std::shared_ptr<DataSelect>& select,
                                         const std::shared_ptr<CAProcessing>& processing) {
  auto [results, report] = Analysed<CAAnalysis>(database, select, processing);
  auto capability = render::ReadCapability(*results, &report.capability);
  return {std::move(capability), std::move(report.capability), std::move(report.notes)};
}

std::string SettingsText(const CAProcessing& processing, const render::TextOptions& options) {
  render::TextWriter text(options);
  const auto line = [&](const char* name, const std::string& value) {
    text.Line(render::Padded(name, 20) + value);
  };
  line("fit", render::WordOrNumber(kFitWords, processing.FitType()));
  line("bins", std::to_string(processing.BinCount()));
  line("curve", std::to_string(processing.CurveCount()));
  line("window", render::WordOrNumber(kWindowWords, processing.WindowType()));
  line("window sigmas", render::Shortest(processing.WindowSD()));
  line("window least", render::Shortest(processing.WindowMinimum()));
  line("window greatest", render::Shortest(processing.WindowMaximum()));
  line("short-term sigma", render::WordOrNumber(kSigmaWords, processing.ShortTermSigmaType()));
  line("normalize", render::WordOrNumber(kNormalizeWords, processing.Normalize()));
  line("limits", processing.AllowOverride() ? "as given here" : "as stored");
  if (!processing.AllowOverride()) return text.Take();
  line("USL", LimitText(processing.OverrideUSL()));
  line("target", LimitText(processing.OverrideTarget()));
  line("LSL", LimitText(processing.OverrideLSL()));
  return text.Take();
}

Command CapabilityCommand() {
  return {
      "capability",
      "--db FILE [--part NAME] [--test NAME] [OPTIONS]",
      "Histogram, fitted curve and capability indices against the limits",
      "Takes every selected subgroup unless --max says otherwise. Limits are the stored "
      "specification limits; with --usl, --target or --lsl only those that are given here "
      "count. Of a stream with phases the newest one is taken. --law, --quantiles, --intervals and "
      "--between-within change none of this: their figures come beside it. --law best fits "
      "fourteen laws and takes the least AIC of those with P 0.05 or more; all shows the same "
      "table.\n"
      "Formats: text, json, xml, svg, html; orvspc show draws the XML again without a "
      "database.",
      "orvspc capability --db q.db --part Ring --test Diameter --fit johnson -o ring.html",
      Together(SelectionOptions(), kCapabilityOptions, kStudyOptions, kPageOptions),
      RunCapabilityCommand};
}

}  // namespace orvspc::cli
