// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <utility>

#include "host/cli/study/Readings.h"
#include "host/render/core/Numbers.h"
#include "host/render/study/Agreement.h"
#include "host/render/study/Bias.h"
#include "host/render/study/Gage.h"

namespace orvspc::cli {

namespace {

constexpr double kFar = 1e300;

constexpr RealInside Above0(const char* name, const char* help, const char* fallback = "") {
  return {{name, "X", help, fallback}, 0.0, kFar, true, true};
}
constexpr RealInside AnyNumber(const char* name, const char* help, const char* fallback = "") {
  return {{name, "X", help, fallback}, -kFar, kFar, true, true};
}
constexpr RealInside LevelOption(const char* fallback) {
  return {{"level", "X", "of the intervals", fallback}, 0.0, 1.0, true, true};
}

constexpr render::Word kMethodWords[] = {
    {"anova", static_cast<std::int32_t>(studies::GageMethod::Crossed)},
    {"average-range", static_cast<std::int32_t>(studies::GageMethod::AverageRange)},
    {"nested", static_cast<std::int32_t>(studies::GageMethod::Nested)}};
constexpr Choice<studies::GageMethod> kMethod{
    {"method", "WORD", "nested: each operator has parts of their own", "", false, kMethodWords}};
constexpr auto kTolerance = Above0("tolerance", "the tolerance", "USL - LSL");
constexpr auto kUsl = AnyNumber("usl", "upper specification limit", "that of the database");
constexpr auto kLsl = AnyNumber("lsl", "lower specification limit", "that of the database");
constexpr auto kMultiplier = Above0("multiplier", "standard deviations that are a spread", "6");
constexpr auto kProcessSd = Above0("process-sd", "standard deviation of the running process");
constexpr Option kPool{"pool", "WORD",
                       "when the interaction counts as repeatability: always, never, or its P from "
                       "0 to 1 above which it does",
                       "0.25"};
constexpr auto kGageLevel = LevelOption("0.9"), kLevel = LevelOption("0.95");
constexpr Option kTables{"tables", nullptr,
                         "average-range: constants with the four digits of printed tables"};
constexpr Number kResamples{
    {"resamples", "N", "for the intervals of ndc and % study", "2000"}, 0, 100000};
constexpr Number kSeed{{"seed", "N", "of the resamples", "20260101"}, 0};
constexpr auto kReference = AnyNumber("reference", "what the part really has", "column reference");
constexpr RealInside kPercent{
    {"percent", "K", "of the tolerance that the gauge may take", "20"}, 0.0, 100.0, true};
constexpr Option kStudied{"piece", "NAME",
                          "the part: its name in column part, or the serial number of its pieces"};
constexpr auto kResolution = Above0("resolution", "smallest step of the gauge");

void SetPooling(const Arguments& arguments, StudyOptions& options, studies::GageOptions& asked) {
  const auto text = arguments.Value(kPool);
  if (!text || *text == "always" || *text == "never") {
    if (text) {
      asked.pooling = *text == "always" ? studies::Pooling::Always : studies::Pooling::Never;
      return options.Add("Pool", *text, true);
    }
    return options.Add("Pool", asked.pool_above, false);
  }
  const auto refuse = [&] {
    throw Misuse("--pool takes always, never or a number from 0 to 1, not \"" + *text + "\"");
  };
  double level = render::kNaN;
  try {
    level = arguments.Get(Real{kPool}).value_or(render::kNaN);
  } catch (const Misuse&) {
    refuse();
  }
  if (!(level >= 0.0 && level <= 1.0)) refuse();
  asked.pool_above = level;
  options.Add("Pool", level, true);
}

// Each limit that is given, else the stored one. Misuse where they are the wrong way round.
void TakeLimits(const Readings& readings, const Arguments& arguments,
                std::vector<render::ResolvedOption>& shown, std::optional<double>& lower,
                std::optional<double>& upper) {
  if (arguments.Has(kTolerance)) return;
  const auto take = [&](const char* key, const std::optional<double>& stored,
                        std::optional<double>& limit) {
    if (limit || !stored) return;
    limit = stored;
    for (auto& option : shown) {
      if (option.key == key) option = {key, *stored, "database"};
    }
  };
  take("USL", readings.upper_limit, upper);
  take("LSL", readings.lower_limit, lower);
  const bool is_upper = arguments.Has(kUsl);
  if (!is_upper && !arguments.Has(kLsl)) return;
  if (!lower || !upper || *lower < *upper) return;
  throw Misuse(
      std::string(is_upper ? "--usl must lie above the lower" : "--lsl must lie below the upper") +
      " limit of the database, " + render::Significant(is_upper ? *lower : *upper, 12));
}

void CheckLimits(const std::optional<double>& lower, const std::optional<double>& upper) {
  if (lower && upper && *lower >= *upper) throw Misuse("--lsl must lie below --usl");
}

int RunGage(const Arguments& arguments, Console& console) {
  CheckSource(arguments, true);
  StudyOptions options(arguments);
  studies::GageOptions asked;
  asked.method = options.Get("Method", kMethod);
  asked.tolerance = options.Get("Tolerance", kTolerance);
  asked.upper_limit = options.Get("USL", kUsl);
  asked.lower_limit = options.Get("LSL", kLsl);
  CheckLimits(asked.lower_limit, asked.upper_limit);
  if (asked.tolerance && (asked.upper_limit || asked.lower_limit)) {
    throw Misuse("--tolerance does not go with --usl and --lsl");
  }
  asked.multiplier = options.Get("Multiplier", kMultiplier, asked.multiplier);
  asked.process_sd = options.Get("ProcessSD", kProcessSd);
  const bool crossed = asked.method == studies::GageMethod::Crossed;
  const bool by_ranges = asked.method == studies::GageMethod::AverageRange;
  if (!crossed && arguments.Has(kPool)) throw Misuse("--pool goes with --method anova");
  if (!by_ranges && arguments.Has(kTables))
    throw Misuse("--tables goes with --method average-range");
  if (crossed) SetPooling(arguments, options, asked);
  if (by_ranges) {
    for (const Option& option : {Option(kGageLevel), Option(kResamples), Option(kSeed)}) {
      if (!arguments.Has(option)) continue;
      throw Misuse("--" + std::string(option.name) + " does not go with --method average-range");
    }
    asked.tables = options.Get("Tables", kTables);
  } else {
    asked.level = options.Get("Level", kGageLevel, asked.level);
    asked.resamples = static_cast<std::size_t>(arguments.Get(kResamples).value_or(2000));
    asked.seed = static_cast<std::uint64_t>(arguments.Get(kSeed).value_or(20260101));
    options.Add("Resamples", static_cast<double>(asked.resamples), arguments.Has(kResamples));
    options.Add("Seed", static_cast<double>(asked.seed), arguments.Has(kSeed));
  }
  render::GageDocument document;
  document.head = {"gage", options.Take(), {}, {}};
  return RunOnReadings<render::GageDocument>(
      arguments, console, {true, true, false}, document, render::GageJson, render::MakeGageView,
      [&](render::GageDocument& filled, const Readings& readings) {
        TakeLimits(readings, arguments, filled.head.options, asked.lower_limit, asked.upper_limit);
        for (const auto& row : readings.rows) filled.readings.Add(row.part, row.by, row.value);
        filled.of = readings.of;
        const auto imbalance = studies::ImbalanceOf(filled.readings, asked.method);
        if (!imbalance.empty()) readings.Refuse(imbalance);
        filled.study = studies::StudyGage(filled.readings, asked);
      });
}

std::optional<std::string> PieceOf(const Arguments& arguments, StudyOptions& options) {
  auto piece = arguments.Value(kStudied);
  options.Add("Piece", piece.value_or(""), piece.has_value());
  return piece;
}

// Refusal where the readings, of this reference if it is a number, are of several parts.
void CheckOnePart(const Readings& readings, double reference = render::kNaN) {
  const bool any = std::isnan(reference);
  std::set<std::string> parts;
  for (const auto& row : readings.rows) {
    if (!row.part.empty() && (any || row.reference == reference)) parts.insert(row.part);
  }
  if (parts.size() < 2) return;
  readings.Refuse("there are readings of " + std::to_string(parts.size()) +
                  (readings.file ? " parts" : " serial numbers") +
                  (any ? "" : " with the reference " + render::Significant(reference, 12)) +
                  "; the study takes one part, which --piece chooses");
}

// One reference: that of the option, or the same in every row.
double ReferenceOf(const Arguments& arguments, const Readings& readings,
                   std::vector<render::ResolvedOption>& shown) {
  if (const auto given = arguments.Get(Real{kReference})) return *given;
  if (!readings.HasReferences()) {
    if (readings.rows.empty()) return 0.0;
    readings.Refuse("there is no column \"reference\", and no --reference");
  }
  const auto& rows = readings.rows;
  const double first = rows.front().reference;
  const auto other =
      std::ranges::find_if(rows, [&](const Reading& row) { return !(row.reference == first); });
  if (other != rows.end()) {
    readings.file->Refuse(other->row, readings.file->Column({"reference"}),
                          "differs from the first reading's; the study takes one part");
  }
  for (auto& option : shown) {
    if (option.key == "Reference") option = {"Reference", first, "data"};
  }
  return first;
}

std::vector<double> ValuesOf(const Readings& readings) {
  std::vector<double> values;
  for (const auto& row : readings.rows) values.push_back(row.value);
  return values;
}

int RunType1(const Arguments& arguments, Console& console) {
  CheckSource(arguments, true);
  StudyOptions options(arguments);
  studies::Type1Options asked;
  options.Get("Reference", kReference);
  const auto tolerance = options.Get("Tolerance", kTolerance);
  auto upper = options.Get("USL", kUsl), lower = options.Get("LSL", kLsl);
  CheckLimits(lower, upper);
  asked.percent = options.Get("Percent", kPercent, asked.percent);
  asked.multiplier = options.Get("Multiplier", kMultiplier, asked.multiplier);
  asked.resolution = options.Get("Resolution", kResolution);
  asked.level = options.Get("Level", kLevel, asked.level);
  const auto piece = PieceOf(arguments, options);
  if (tolerance && (upper || lower)) throw Misuse("--tolerance does not go with --usl and --lsl");
  if (arguments.Has(kData) && !tolerance && !(upper && lower)) {
    throw Misuse("--tolerance, or --usl and --lsl, are missing");
  }
  render::Type1Document document;
  document.head = {"type1", options.Take(), {}, {}};
  return RunOnReadings<render::Type1Document>(
      arguments, console, {false, false, false, piece}, document, render::Type1Json,
      render::MakeType1View, [&](render::Type1Document& filled, const Readings& readings) {
        auto& shown = filled.head.options;
        TakeLimits(readings, arguments, shown, lower, upper);
        if (readings.rows.empty()) return;
        CheckOnePart(readings);
        if (!tolerance && !(lower && upper)) {
          throw Refusal("the database has no two limits of the test; --tolerance gives it");
        }
        asked.tolerance = tolerance ? *tolerance : *upper - *lower;
        asked.reference = ReferenceOf(arguments, readings, shown);
        for (auto& option : shown) {
          if (option.key == "Tolerance") option.value = asked.tolerance;
        }
        filled.of = readings.of;
        filled.values = ValuesOf(readings);
        filled.study = studies::StudyType1(filled.values, asked);
      });
}

constexpr auto kMean = AnyNumber("mean", "mean of the readings, in place of a file");
constexpr RealInside kSd{{"sd", "X", "their standard deviation"}, 0.0, kFar, false, true};
constexpr Number kN{{"n", "N", "how many they are"}, 2};

int RunBias(const Arguments& arguments, Console& console) {
  StudyOptions options(arguments);
  studies::BiasOptions asked;
  const auto reference = options.Get("Reference", kReference);
  asked.process_sd = options.Get("ProcessSD", kProcessSd);
  asked.multiplier = options.Get("Multiplier", kMultiplier, asked.multiplier);
  asked.level = options.Get("Level", kLevel, asked.level);
  asked.reference = reference.value_or(0.0);
  const auto piece = PieceOf(arguments, options);
  render::BiasDocument document;
  const bool has_figures = arguments.Has(kMean) || arguments.Has(kSd) || arguments.Has(kN);
  if (has_figures) {
    for (const Option& option : {Option(kData), Option(kDatabase), kStudied}) {
      if (!arguments.Has(option)) continue;
      throw Misuse("--" + std::string(option.name) + " does not go with --mean, --sd and --n");
    }
    const auto mean = options.Get("Mean", kMean), sd = options.Get("SD", kSd);
    const auto count = arguments.Get(kN);
    if (!mean || !sd || !count) throw Misuse("--mean, --sd and --n go together");
    if (!reference) throw Misuse("--reference is missing");
    options.Add("N", static_cast<double>(*count), true);
    document.head = {"bias", options.Take(), {}, {}};
    document.studies = {studies::StudyBiasOf(static_cast<std::size_t>(*count), *mean, *sd, asked)};
    return DeliverStudy(arguments, console, document, render::BiasJson, render::MakeBiasView);
  }
  CheckSource(arguments, true);
  if (arguments.Has(kDatabase) && !reference) throw Misuse("--reference is missing");
  document.head = {"bias", options.Take(), {}, {}};
  return RunOnReadings<render::BiasDocument>(
      arguments, console, {false, false, !reference && arguments.Has(kData), piece}, document,
      render::BiasJson, render::MakeBiasView,
      [&](render::BiasDocument& filled, const Readings& readings) {
        filled.of = readings.of;
        std::map<double, std::vector<double>> by_reference;
        for (const auto& row : readings.rows) {
          by_reference[reference.value_or(row.reference)].push_back(row.value);
        }
        for (auto& [of, values] : by_reference) {
          CheckOnePart(readings, reference ? render::kNaN : of);
          asked.reference = of;
          filled.studies.push_back(studies::StudyBias(values, asked));
          filled.values.push_back(std::move(values));
        }
      });
}

int RunLinearity(const Arguments& arguments, Console& console) {
  CheckSource(arguments, false);
  StudyOptions options(arguments);
  studies::LinearityOptions asked;
  asked.process_sd = options.Get("ProcessSD", kProcessSd);
  asked.multiplier = options.Get("Multiplier", kMultiplier, asked.multiplier);
  asked.level = options.Get("Level", kLevel, asked.level);
  render::LinearityDocument document;
  document.head = {"linearity", options.Take(), {}, {}};
  const auto readings = ReadReadings(arguments.Required(kData), {false, false, true});
  for (const auto& row : readings.rows) {
    document.references.push_back(row.reference);
    document.values.push_back(row.value);
  }
  document.study = studies::StudyLinearity(document.references, document.values, asked);
  return DeliverStudy(arguments, console, document, render::LinearityJson,
                      render::MakeLinearityView);
}

constexpr Option kGood{"good", "WORD", "the rating of a good part: misses and false alarms"};
constexpr Option kOrder{"order", "WORD,WORD,...",
                        "ratings from low to high: Kendall's rank correlation"};

studies::Decisions ReadDecisions(const DataFile& file) {
  const auto part = file.Column({"part"}), by = file.Column({"operator"});
  const auto rating = file.Column({"rating", "value"});
  const auto reference = file.Find({"reference"}), trial = file.Find({"trial", "order"});
  const auto named = file.Find({"trial"});
  std::map<std::tuple<std::string, std::string, std::string>, std::size_t> seen;
  studies::Decisions decisions;
  for (std::size_t row = 0; row < file.Rows(); ++row) {
    const auto &item = file.Name(row, part), &name = file.Name(row, by);
    const std::string standard = reference ? file.Text(row, *reference) : "";
    if (!decisions.IsStandardOf(item, standard)) {
      file.Refuse(row, *reference, "part " + item + " has another reference in an earlier line");
    }
    if (trial && !file.Text(row, *trial).empty() &&
        !seen.insert({{item, name, file.Text(row, *trial)}, row}).second) {
      file.Refuse(row, *trial,
                  "part " + item + " and operator " + name + " have this trial already");
    }
    decisions.Add(item, name, file.Text(row, rating), standard,
                  named ? file.Text(row, *named) : std::string());
  }
  if (file.Rows() == 0) file.Refuse("there are no decisions");
  return decisions;
}

int RunAgreement(const Arguments& arguments, Console& console) {
  CheckSource(arguments, false);
  StudyOptions options(arguments);
  studies::AgreementOptions asked;
  asked.level = options.Get("Level", kLevel, asked.level);
  asked.good = arguments.Value(kGood).value_or("");
  options.Add("Good", asked.good, arguments.Has(kGood));
  const auto order = arguments.Value(kOrder);
  if (order) asked.order = Split(*order);
  options.Add("Order", order.value_or(""), order.has_value());
  const DataFile file(arguments.Required(kData));
  const auto decisions = ReadDecisions(file);
  const auto& known = decisions.categories;
  const auto is_known = [&](const std::string& word) {
    return std::ranges::find(known, word) != known.end();
  };
  if (!asked.good.empty() && !is_known(asked.good)) {
    throw Misuse("--good takes a rating of the file, " + Joined(known) + ", not \"" + asked.good +
                 "\"");
  }
  for (const auto& category : known) {
    if (!order || std::ranges::find(asked.order, category) != asked.order.end()) continue;
    throw Misuse("--order lacks the rating \"" + category + "\"");
  }
  render::AgreementDocument document;
  document.head = {"agreement", options.Take(), {}, {}};
  document.study = studies::StudyAgreement(decisions, asked);
  return DeliverStudy(arguments, console, document, render::AgreementJson,
                      render::MakeAgreementView);
}

constexpr const char* kFormats = "Formats: text, json, svg, html.";

}  // namespace

Command GageStudyCommand() {
  return {"study gage",
          "--data FILE.csv | --db FILE [--part NAME] [--test NAME] [OPTIONS]",
          "Gauge study: repeatability and reproducibility",
          "How much of the spread of readings comes from the gauge and from the operators. Columns "
          "of the file: part, operator, value, and trial if it is known. In a database the serial "
          "number of a piece is the part, and the employee of its subgroup the operator.\n" +
              std::string(kFormats),
          "orvspc study gage --data gage.csv --tolerance 8 -o gage.svg",
          Together(ReadingOptions(true),
                   std::vector<Option>{kMethod, kTolerance, kUsl, kLsl, kMultiplier, kProcessSd,
                                       kPool, kGageLevel, kTables, kResamples, kSeed}),
          RunGage};
}

Command Type1StudyCommand() {
  return {"study type1",
          "--data FILE.csv | --db FILE [--part NAME] [--test NAME] [OPTIONS]",
          "Gauge study of one part: Cg and Cgk",
          "Whether a gauge repeats, and shows what a part of known size has, before operators and "
          "other parts come in. Columns of the file: value, reference if it is not given here, and "
          "part if there are several.\n" +
              std::string(kFormats),
          "orvspc study type1 --data type1.csv --reference -4 --tolerance 15",
          Together(ReadingOptions(true),
                   std::vector<Option>{kReference, kStudied, kTolerance, kUsl, kLsl, kPercent,
                                       kMultiplier, kResolution, kLevel}),
          RunType1};
}

Command BiasStudyCommand() {
  return {
      "study bias",
      "--data FILE.csv | --db FILE --reference X | --mean X --sd X --n N --reference X",
      "Bias of a gauge, with its test",
      "Readings of a part less what it really has. Columns of the file: value, and reference if "
      "it is not given here; each reference is tested by itself, and is that of one part.\n" +
          std::string(kFormats),
      "orvspc study bias --mean 6.021 --sd 0.2048 --n 100 --reference 6.01",
      Together(ReadingOptions(true), std::vector<Option>{kReference, kStudied, kMean, kSd, kN,
                                                         kProcessSd, kMultiplier, kLevel}),
      RunBias};
}

Command LinearityStudyCommand() {
  return {"study linearity",
          "--data FILE.csv [OPTIONS]",
          "Bias of a gauge over its range",
          "Whether the bias is the same for small and large parts, and whether it is none. Columns "
          "of the file: reference, value.\n" +
              std::string(kFormats),
          "orvspc study linearity --data linearity.csv --process-sd 2.5 -o linearity.svg",
          Together(ReadingOptions(false), std::vector<Option>{kProcessSd, kMultiplier, kLevel}),
          RunLinearity};
}

Command AgreementStudyCommand() {
  return {
      "study agreement",
      "--data FILE.csv [OPTIONS]",
      "Agreement of appraisers who sort parts",
      "How far appraisers agree with themselves, with each other and with the standard. Columns "
      "of the file: part, operator, rating, and trial and reference if they are known.\n" +
          std::string(kFormats),
      "orvspc study agreement --data agreement.csv --good Yes -o agreement.svg",
      Together(ReadingOptions(false), std::vector<Option>{kLevel, kGood, kOrder}),
      RunAgreement};
}

}  // namespace orvspc::cli
