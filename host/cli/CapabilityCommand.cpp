// SPDX-License-Identifier: Apache-2.0
#include <cfloat>
#include <cmath>
#include <utility>

#include "capability/CAAnalysis.h"
#include "host/cli/Analysis.h"
#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"

namespace orvspc::cli {

namespace {

constexpr Number kMax = MaximumOption("the newest N subgroups at most; 0: all", "all");
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
constexpr Option kOptions[] = {kMax,      kFit,       kSigma,     kUsl,   kTarget,
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

int Run(const Arguments& arguments, Console& console) {
  const auto processing = MakeProcessing(arguments);
  return RunAnalysis(
      arguments, console, kDrawnAndStored, kMax, ttVariable, [&](Analysis& run) -> Outcome {
        run.database.JoinPhases(arguments.Has(kAllPhases));
        if (run.format == "xml") {
          auto [results, report] = Analysed<CAAnalysis>(run.database, run.select, processing);
          std::string text = results->GetXML() + "\n";
          const bool empty = results->Bins()->Count() == 0;
          if (empty) NoteEmpty(run, kMax, report.notes);
          return {std::move(text), empty, std::move(report.notes)};
        }
        auto document = RunCapability(run.database, run.select, processing);
        const bool empty = document.capability.bins.empty();
        if (empty) NoteEmpty(run, kMax, document.notes);
        return {Formatted(document, run), empty};
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
  return {"capability",
          "--db FILE [--part NAME] [--test NAME] [OPTIONS]",
          "Histogram, fitted curve and capability indices against the limits",
          "Takes every selected subgroup unless --max says otherwise. Limits are the stored "
          "specification limits; with --usl, --target or --lsl only those that are given here "
          "count. Of a stream with phases the newest one is taken.\n"
          "Formats: text, json, xml, svg, html; orvspc show draws the XML again without a "
          "database.",
          "orvspc capability --db q.db --part Ring --test Diameter --fit johnson -o ring.html",
          Together(SelectionOptions(), kOptions, kPageOptions),
          Run};
}

}  // namespace orvspc::cli
