// SPDX-License-Identifier: Apache-2.0
#include "host/cli/CapabilityCommand.h"

#include <cfloat>
#include <cmath>
#include <iterator>
#include <limits>
#include <optional>
#include <ostream>
#include <utility>

#include "capability/CAAnalysis.h"
#include "frame/Failure.h"
#include "frame/NumberText.h"
#include "host/cli/Selection.h"
#include "host/cli/words.h"
#include "host/render/capability/CapabilityView.h"
#include "host/render/capability/CapabilityJson.h"
#include "host/render/capability/CapabilityModel.h"
#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"

namespace orvspc::host {

namespace {

constexpr std::int32_t kMostBins = 10000, kMostPoints = 100000;

constexpr Word<caFitTypes> kFits[] = {{"normal", caFitNormal}, {"johnson", caFitJohnson}};
constexpr Word<caWindowTypes> kWindows[] = {
    {"sd", caWindowTypeWindowSD}, {"minmax", caWindowTypeMinMax}, {"specs", caWindowTypeSpecs}};
constexpr Word<caShortTermSigmaTypes> kSigmas[] = {{"auto", caShortTermSigmaAuto},
                                                   {"range", caShortTermSigmaRange},
                                                   {"sd", caShortTermSigmaSD},
                                                   {"pooled", caShortTermSigmaPooled}};
constexpr Word<caNormalizeTypes> kNormalizes[] = {
    {"none", caNormalizeNone}, {"nominal", caNormalizeNominal}, {"target", caNormalizeTarget}};

std::optional<double> Real(const Arguments& arguments, const std::string& option) {
  const auto text = arguments.Value(option);
  if (!text) return std::nullopt;
  double value = std::numeric_limits<double>::quiet_NaN();
  try {
    value = ToDouble(*text);
  } catch (const Failure&) {
  }
  // So far out a limit says that there is none.
  if (!(std::abs(value) < 1e300))
    throw Misuse("--" + option + " takes a number, not \"" + *text + "\"");
  return value;
}

void SetWindow(const Arguments& arguments, CAProcessing& processing) {
  const auto least = Real(arguments, "window-min"), most = Real(arguments, "window-max");
  const auto sigmas = Real(arguments, "window-sd");
  auto window = Chosen(arguments, "window", kWindows);
  if (!arguments.Has("window") && (least || most)) window = caWindowTypeMinMax;
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
  const auto usl = Real(arguments, "usl"), target = Real(arguments, "target"),
             lsl = Real(arguments, "lsl");
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
  processing->FitType(Chosen(arguments, "fit", kFits));
  processing->ShortTermSigmaType(Chosen(arguments, "short-term-sigma", kSigmas));
  processing->Normalize(Chosen(arguments, "normalize", kNormalizes));
  if (const auto bins = arguments.Number("bins", 5, kMostBins)) processing->BinCount(*bins);
  if (const auto points = arguments.Number("curve", 2, kMostPoints))
    processing->CurveCount(*points);
  SetWindow(arguments, *processing);
  SetLimits(arguments, *processing);
  return processing;
}

struct Analysed {
  std::shared_ptr<CAResults> results;
  CapabilityReport fit;
  std::vector<Note> notes;
};

CapabilityDocument Document(Analysed analysed) {
  CapabilityDocument document;
  document.capability = ReadCapability(*analysed.results, &analysed.fit);
  document.fit = std::move(analysed.fit);
  document.notes = std::move(analysed.notes);
  return document;
}

Analysed Analyse(const std::shared_ptr<EmbeddedDatabase>& database,
                 const std::shared_ptr<DataSelect>& select,
                 const std::shared_ptr<CAProcessing>& processing) {
  TakeNotes();  // those of earlier calls are not this analysis's
  Analysed analysed{CAAnalysis().AnalyzeDataSelect(database, select, processing), {}, {}};
  CheckEngine(*database);
  analysed.fit = LatestCapability();
  analysed.notes = TakeNotes();
  return analysed;
}

int Run(const Arguments& arguments, Console& console) {
  const std::string format = OutputFormat(arguments, {"text", "json", "xml", "svg", "html"});
  const auto processing = MakeProcessing(arguments);
  const auto database = OpenQualityDatabase(arguments);
  const auto select = MakeSelection(arguments, *database, INT32_MAX);
  select->IncludeVariableTests(true);
  select->IncludeDefectTests(false);
  select->IncludeDefectiveTests(false);
  Analysed analysed = Analyse(database, select, processing);
  const bool empty = analysed.results->Bins()->Count() == 0;
  if (empty && format != "text") console.err << kNoData << "\n";
  if (format == "xml") {
    PrintNotes(console, analysed.notes);
    Deliver(arguments, console, analysed.results->GetXML() + "\n");
    return 0;
  }
  const CapabilityDocument document = Document(std::move(analysed));
  Deliver(arguments, console,
          CapabilityText(document, NamesOf(database), format, console,
                         console.out_is_terminal && !arguments.Has("output")));
  return 0;
}

std::string LimitText(double value) { return std::abs(value) >= 1e300 ? "none" : Shortest(value); }

std::string SettingsText(const CAProcessing& processing) {
  std::string text;
  const auto line = [&](const char* name, const std::string& value) {
    text += Padded(name, 20) + value + "\n";
  };
  line("fit", WordOf(kFits, processing.FitType()));
  line("bins", std::to_string(processing.BinCount()));
  line("curve", std::to_string(processing.CurveCount()));
  line("window", WordOf(kWindows, processing.WindowType()));
  line("window sigmas", Shortest(processing.WindowSD()));
  line("window least", Shortest(processing.WindowMinimum()));
  line("window greatest", Shortest(processing.WindowMaximum()));
  line("short-term sigma", WordOf(kSigmas, processing.ShortTermSigmaType()));
  line("normalize", WordOf(kNormalizes, processing.Normalize()));
  line("limits", processing.AllowOverride() ? "as given here" : "as stored");
  if (!processing.AllowOverride()) return text;
  line("USL", LimitText(processing.OverrideUSL()));
  line("target", LimitText(processing.OverrideTarget()));
  line("LSL", LimitText(processing.OverrideLSL()));
  return text;
}

}  // namespace

CapabilityDocument RunCapability(const std::shared_ptr<EmbeddedDatabase>& database,
                                 const std::shared_ptr<DataSelect>& select,
                                 const std::shared_ptr<CAProcessing>& processing) {
  return Document(Analyse(database, select, processing));
}

std::string CapabilityText(const CapabilityDocument& document, const Names& names,
                           const std::string& format, const Console& console, bool colour) {
  if (format == "json") return CapabilityJson(document);
  const CapabilityView view = MakeCapabilityView(document, names);
  if (format == "svg") return RenderCapabilitySvg(view);
  if (format == "html") return RenderCapabilityHtml(view);
  return RenderCapabilityText(view, {console.columns, colour});
}

std::string ShowCapability(const std::string& xml, const std::string& format,
                           const Console& console, bool colour) {
  CAResults results;
  results.SetXML(xml);
  if (format == "xml") return results.GetXML() + "\n";
  return CapabilityText({ReadCapability(results), {}, {}}, NoNames(), format, console, colour);
}

std::string ShowCapabilityProcessing(const std::string& xml, const std::string& format) {
  CAProcessing processing;
  processing.SetXML(xml);
  if (format == "xml") return processing.GetXML() + "\n";
  if (format == "text") return SettingsText(processing);
  JsonWriter json;
  json.BeginObject();
  json.Key("Processing");
  json.BeginObject();
  WriteCapabilityProcessing(json, processing);
  json.EndObject();
  json.EndObject();
  return json.Text();
}

Command CapabilityCommand() {
  Command command;
  command.name = "capability";
  command.synopsis = "--db FILE [--part NAME] [--test NAME] [OPTIONS]";
  command.summary = "Histogram, fitted curve and capability indices against the limits";
  command.details =
      "Takes every selected subgroup unless --max says otherwise. Limits are the stored\n"
      "specification limits; with --usl, --target or --lsl only those that are given here count.\n"
      "Formats: text, json, xml, svg, html; orvspc show draws the XML again without a database.\n";
  command.example =
      "orvspc capability --db q.db --part Ring --test Diameter --fit johnson -o ring.html";
  command.options = SelectionOptions("the newest N subgroups at most (default all)");
  command.options.insert(
      command.options.end(),
      {{"fit", "WORD", "normal johnson: the curve that expected shares follow (default normal)"},
       {"short-term-sigma", "WORD", "auto range sd pooled (default auto)"},
       {"usl", "X", "upper specification limit in place of the stored row"},
       {"target", "X", "target in place of the stored row"},
       {"lsl", "X", "lower specification limit in place of the stored row"},
       {"normalize", "WORD",
        "none nominal target: each value less the middle of its limits or its\n"
        "                            target (default none)"},
       {"bins", "N", "bins of the histogram, at least 5 (default 21)"},
       {"curve", "N", "points of the fitted curve, at least 2 (default 80)"},
       {"window", "WORD", "sd minmax specs: what sets the ends of the histogram (default sd)"},
       {"window-sd", "X", "sigmas on either side of the mean (default: what shows everything)"},
       {"window-min", "X", "with --window minmax, the lower end"},
       {"window-max", "X", "with --window minmax, the upper end"}});
  for (const auto& option : OutputOptions()) command.options.push_back(option);
  command.run = Run;
  return command;
}

}  // namespace orvspc::host
