// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>
#include <fstream>
#include <map>
#include <sstream>

#include "host/cli/study/Study.h"
#include "host/render/core/Numbers.h"
#include "host/render/study/RunLengths.h"

namespace orvspc::cli {

namespace {

using studies::PointsOf;
using studies::Sided;

enum class Scheme { Cusum, Ewma, Shewhart, CusumOfCounts, Mewma };
constexpr render::Word kSchemeWords[] = {
    {"cusum", static_cast<std::int32_t>(Scheme::Cusum)},
    {"ewma", static_cast<std::int32_t>(Scheme::Ewma)},
    {"shewhart", static_cast<std::int32_t>(Scheme::Shewhart)},
    {"cusum-counts", static_cast<std::int32_t>(Scheme::CusumOfCounts)},
    {"mewma", static_cast<std::int32_t>(Scheme::Mewma)}};
constexpr Choice<Scheme> kScheme{{"scheme", "WORD", "which chart", "", false, kSchemeWords}};
constexpr Option kShifts{"shifts", "X,...",
                         "in sigmas; of counts the proportion, or the defects a unit; "
                         "of several variables the distance",
                         "0,0.25,0.5,0.75,1,1.5,2,3,4; of counts 1 to 3 times the mean"};
constexpr RealInside kReference{
    {"k", "X", "cusum: reference value, in sigmas; of counts a count", "0.5"}, 0.0, 1e6};
constexpr RealInside kDecision{
    {"h", "X", "cusum: decision interval, in sigmas; of counts a count; mewma: the limit",
     "5; of mewma that of --arl0"},
    0.0,
    2000.0,
    true};
constexpr RealInside kHeadStart{
    {"head-start", "X", "cusum: of each arm; below h", "0"}, 0.0, 2000.0};
constexpr RealInside kWeight{
    {"weight", "X", "ewma, mewma: of the newest point", "0.2; of mewma 0.1"}, 0.001, 1.0};
constexpr RealInside kWidth{
    {"width", "X", "ewma, shewhart: half width of the limits in sigmas", "3"}, 0.0, 10.0, true};
enum class LimitsOf { Exact, Asymptotic };
constexpr render::Word kLimitsWords[] = {
    {"exact", static_cast<std::int32_t>(LimitsOf::Exact)},
    {"asymptotic", static_cast<std::int32_t>(LimitsOf::Asymptotic)}};
constexpr Choice<LimitsOf> kLimits{
    {"limits", "WORD",
     "ewma, mewma: of each point, or as they are after many, which mewma takes unless given", "",
     false, kLimitsWords}};
constexpr Number kVariables{{"variables", "P", "mewma: how many", "2"}, 2, 20};
constexpr RealInside kArl0OfLimit{
    {"arl0", "X", "mewma: run length without a shift that the limit is to have", "200"}, 2.0, 1e6};
constexpr RealInside kFir{{"fir", "F", "ewma: fast initial response"}, 0.0, 1.0, true, true};
constexpr Option kRules{"rules", "SET",
                        "shewhart: classic, nelson, western-electric, aiag, public-health, a CSV "
                        "file of rules; with --db a set of the database",
                        "rule 1; with --db the alarms of each stream"};
constexpr render::Word kPointsWords[] = {
    {"measurements", static_cast<std::int32_t>(PointsOf::Measurements)},
    {"defectives", static_cast<std::int32_t>(PointsOf::Defectives)},
    {"defects", static_cast<std::int32_t>(PointsOf::Defects)}};
constexpr Choice<PointsOf> kPoints{
    {"points", "WORD", "shewhart, cusum-counts: what a point is of, there defects unless given", "",
     false, kPointsWords}};
constexpr RealInside kMean{
    {"mean", "X", "of counts: proportion, or defects a unit, without a shift"}, 0.0, 1e6, true};
constexpr RealInside kSize{
    {"size", "N", "pieces, or units, a point; shifts are then of a piece", "1"}, 1.0, 1e6};
constexpr Number kRuns{{"runs", "N", "of a simulation, for each shift", "20000"}, 100, 10'000'000};
constexpr Number kSeed{{"seed", "N", "of a simulation", "20260101"}, 0};
constexpr Number kMaxUsed = MaximumOption("the newest N subgroups at most; 0: all", "all");

std::vector<double> ShiftsOf(const Arguments& arguments, std::vector<double> fallback) {
  if (!arguments.Has(kShifts)) return fallback;
  std::vector<double> shifts;
  for (const auto& word : Split(*arguments.Value(kShifts))) {
    std::istringstream text(word);
    text.imbue(std::locale::classic());
    double value = 0.0;
    if (!(text >> value) || !text.eof() || !std::isfinite(value)) {
      throw Misuse("--shifts takes numbers with commas between them, not \"" + word + "\"");
    }
    shifts.push_back(value);
  }
  constexpr std::size_t kMost = 200;
  if (shifts.empty() || shifts.size() > kMost) {
    throw Misuse("--shifts takes 1 to " + std::to_string(kMost) + " numbers");
  }
  return shifts;
}

std::vector<double> DefaultShifts() { return {0.0, 0.25, 0.5, 0.75, 1.0, 1.5, 2.0, 3.0, 4.0}; }
std::vector<double> DefaultShiftsOfCounts(double mean, PointsOf points) {
  std::vector<double> shifts;
  for (const double factor : {1.0, 1.25, 1.5, 2.0, 2.5, 3.0}) {
    const double rate = mean * factor;
    if (points == PointsOf::Defects || rate < 1.0) shifts.push_back(rate);
  }
  return shifts;
}

std::string ShiftsText(const std::vector<double>& shifts) {
  std::string text;
  for (const double shift : shifts) {
    text += (text.empty() ? "" : ",") + render::Shortest(shift);
  }
  return text;
}

// Rules of a file with the columns of "orvspc import --kind rules"; refused with file, line and
// column.
class RulesFile {
 public:
  explicit RulesFile(const std::string& path) : path_(path) {}

  std::vector<studies::ChartRule> Read() {
    std::istringstream text(ReadFile(path_));
    std::string line;
    while (std::getline(text, line)) {
      ++line_;
      if (!line.empty() && line.back() == '\r') line.pop_back();
      if (line.empty()) continue;
      TakeCells(line);
      if (columns_.empty()) {
        TakeHeadings();
      } else {
        rules_.push_back(RuleOfLine());
        if (const auto wrong = studies::RefusalOf(rules_); !wrong.empty()) Refuse(wrong);
      }
    }
    if (rules_.empty()) throw Refusal(path_ + ": there are no rules");
    return std::move(rules_);
  }

 private:
  [[noreturn]] void Refuse(const std::string& why) const {
    throw Refusal(path_ + " line " + std::to_string(line_) + ": " + why);
  }
  void TakeCells(const std::string& line) {
    cells_.assign(1, "");
    bool quoted = false;
    for (const char c : line) {
      if (c == '"') {
        quoted = !quoted;
      } else if (c == ',' && !quoted) {
        cells_.emplace_back();
      } else {
        cells_.back() += c;
      }
    }
  }
  void TakeHeadings() {
    static const std::vector<std::string> known{"number", "kind",     "k",    "m",  "zone",
                                                "side",   "priority", "text", "set"};
    for (std::size_t i = 0; i < cells_.size(); ++i) {
      if (std::ranges::find(known, cells_[i]) == known.end()) {
        Refuse("there is no column \"" + cells_[i] + "\", only " + Joined(known));
      }
      columns_[cells_[i]] = i;
    }
    for (const auto* const needed : {"number", "kind"}) {
      if (!columns_.contains(needed)) Refuse("column " + std::string(needed) + " is missing");
    }
  }
  std::string Cell(const char* column) const {
    const auto found = columns_.find(column);
    return found == columns_.end() || found->second >= cells_.size() ? "" : cells_[found->second];
  }
  double NumberIn(const char* column, double fallback) const {
    const auto cell = Cell(column);
    if (cell.empty()) return fallback;
    std::istringstream text(cell);
    text.imbue(std::locale::classic());
    double value = 0.0;
    if (!(text >> value) || !text.eof() || !std::isfinite(value)) {
      Refuse("column " + std::string(column) + ": \"" + cell + "\" is no number");
    }
    return value;
  }
  std::int32_t WholeIn(const char* column, std::int32_t fallback) const {
    const double value = NumberIn(column, fallback);
    constexpr double kMost = 1000.0;
    if (value != std::floor(value) || value < 0.0 || value > kMost) {
      Refuse("column " + std::string(column) + ": \"" + Cell(column) +
             "\" is no whole number from 0 to 1000");
    }
    return static_cast<std::int32_t>(value);
  }
  studies::ChartRule RuleOfLine() const {
    studies::ChartRule rule;
    if (Cell("number").empty()) Refuse("column number: is empty");
    rule.number = WholeIn("number", 0);
    rule.kind = Cell("kind");
    rule.k = WholeIn("k", 0);
    rule.m = WholeIn("m", 0);
    if (rule.k == 0) rule.k = rule.m == 0 ? 1 : rule.m;
    if (rule.m == 0) rule.m = rule.k;
    rule.zone = NumberIn("zone", 0.0);
    const bool is_run = rule.kind == "zone" || rule.kind == "trend";
    rule.side = Cell("side").empty() ? (is_run ? "same" : "either") : Cell("side");
    rule.text = Cell("text");
    return rule;
  }

  std::string path_;
  std::size_t line_ = 0;
  std::vector<std::string> cells_;
  std::map<std::string, std::size_t, std::less<>> columns_;
  std::vector<studies::ChartRule> rules_;
};

std::vector<studies::ChartRule> RulesNamed(const std::string& name) {
  auto rules = studies::RulesOfSet(name);
  if (!rules.empty()) return rules;
  if (std::ifstream(name).good()) return RulesFile(name).Read();
  std::vector<std::string> names;
  for (const auto known : studies::NamesOfSets()) names.emplace_back(known);
  names.emplace_back("a CSV file of rules");
  throw Misuse("--rules takes " + Joined(names) + ", not \"" + name + "\"");
}

// Options that only some schemes take: bits of Scheme.
void RefuseOtherSchemes(const Arguments& arguments, Scheme scheme) {
  const auto bit = [](Scheme each) { return 1U << static_cast<unsigned>(each); };
  const unsigned cusums = bit(Scheme::Cusum) | bit(Scheme::CusumOfCounts);
  const unsigned counts = bit(Scheme::Shewhart) | bit(Scheme::CusumOfCounts);
  const unsigned averages = bit(Scheme::Ewma) | bit(Scheme::Mewma);
  const unsigned simulated = bit(Scheme::Shewhart) | bit(Scheme::Mewma);
  const std::pair<Option, unsigned> taken[] = {{kReference, cusums},
                                               {kDecision, cusums | bit(Scheme::Mewma)},
                                               {kHeadStart, cusums},
                                               {kWeight, averages},
                                               {kLimits, averages},
                                               {kFir, bit(Scheme::Ewma)},
                                               {kWidth, bit(Scheme::Ewma) | bit(Scheme::Shewhart)},
                                               {kRules, bit(Scheme::Shewhart)},
                                               {kRuns, simulated},
                                               {kSeed, simulated},
                                               {kSided, ~bit(Scheme::Mewma)},
                                               {kVariables, bit(Scheme::Mewma)},
                                               {kArl0OfLimit, bit(Scheme::Mewma)},
                                               {kPoints, counts},
                                               {kMean, counts},
                                               {kSize, counts}};
  for (const auto& [option, schemes] : taken) {
    if (!arguments.Has(option) || (schemes & bit(scheme)) != 0) continue;
    std::vector<std::string> words;
    for (const auto& word : kSchemeWords) {
      if ((schemes & bit(static_cast<Scheme>(word.value))) != 0) words.emplace_back(word.word);
    }
    throw Misuse("--" + std::string(option.name) + " goes with --scheme " + Joined(words));
  }
}

// A refusal of the study, which begins with the name of its option, is misuse.
template <class Study>
auto Studied(const Arguments& arguments, Study study) {
  try {
    return study();
  } catch (const std::invalid_argument& wrong) {
    const std::string text = wrong.what();
    const auto name = text.substr(0, text.find(' '));
    const auto given = arguments.Value({name.c_str()});
    throw Misuse(given ? "--" + text + ", not " + *given : text);
  }
}

struct Run {
  const Arguments& arguments;
  StudyOptions options;
  render::RunLengthStream stream;

  std::vector<double> Shifts(std::vector<double> fallback) {
    auto shifts = ShiftsOf(arguments, std::move(fallback));
    options.Add("Shifts", ShiftsText(shifts), arguments.Has(kShifts));
    return shifts;
  }
  void Keep(const char* name, studies::RunLengthStudy study) {
    stream.schemes.push_back({name, std::move(study)});
  }
};

void RunCusumScheme(Run& run) {
  studies::CusumRunOptions asked;
  asked.k = run.options.Get("K", kReference, asked.k);
  asked.h = run.options.Get("H", kDecision, asked.h);
  asked.head_start = run.options.Get("HeadStart", kHeadStart, asked.head_start);
  asked.sided = run.options.Get("Sided", kSided);
  const auto shifts = run.Shifts(DefaultShifts());
  run.Keep("cusum", Studied(run.arguments, [&] { return studies::StudyCusumRuns(shifts, asked); }));
}

void RunEwmaScheme(Run& run) {
  studies::EwmaRunOptions asked;
  asked.weight = run.options.Get("Weight", kWeight, asked.weight);
  asked.width = run.options.Get("Width", kWidth, asked.width);
  asked.exact = run.options.Get("Limits", kLimits) == LimitsOf::Exact;
  asked.fir = run.options.Get("FIR", kFir);
  asked.sided = run.options.Get("Sided", kSided);
  const auto shifts = run.Shifts(DefaultShifts());
  run.Keep("EWMA", Studied(run.arguments, [&] { return studies::StudyEwmaRuns(shifts, asked); }));
}

void NeedMean(std::optional<double> mean) {
  if (!mean) throw Misuse("counts need --mean, their proportion or defects a unit");
}

template <class Asked>
void TakeSimulation(const Arguments& arguments, Asked& asked) {
  if (const auto runs = arguments.Get(kRuns)) asked.runs = static_cast<std::size_t>(*runs);
  if (const auto seed = arguments.Get(kSeed)) asked.seed = static_cast<std::uint64_t>(*seed);
}

bool IsSimulated(const render::RunLengthStream& stream) {
  return std::ranges::any_of(stream.schemes,
                             [](const auto& scheme) { return scheme.study.runs > 0; });
}

// Exact run lengths show what was given alone.
template <class Asked>
void ShowSimulation(const Arguments& arguments, StudyOptions& options, const Asked& asked,
                    bool is_simulated) {
  const auto show = [&](const char* key, const Option& option, double value) {
    if (is_simulated || arguments.Has(option)) options.Add(key, value, arguments.Has(option));
  };
  show("Runs", kRuns, static_cast<double>(asked.runs));
  show("Seed", kSeed, static_cast<double>(asked.seed));
}

void RunShewhartScheme(Run& run) {
  studies::ShewhartRunOptions asked;
  asked.width = run.options.Get("Width", kWidth, asked.width);
  const auto set = run.arguments.Value(kRules);
  if (set) asked.rules = RulesNamed(*set);
  run.options.Add("Rules", set.value_or("1"), set.has_value());
  asked.sided = run.options.Get("Sided", kSided);
  asked.points = run.options.Get("Points", kPoints);
  asked.size = run.options.Get("Size", kSize, asked.size);
  run.stream.unit = render::ShiftUnit::Piece;
  const auto mean = run.options.Get("Mean", kMean);
  TakeSimulation(run.arguments, asked);
  auto fallback = DefaultShifts();
  if (asked.points != PointsOf::Measurements) {
    NeedMean(mean);
    asked.mean = *mean;
    fallback = DefaultShiftsOfCounts(*mean, asked.points);
    run.stream.unit = render::ShiftUnit::Rate;
  }
  const auto shifts = run.Shifts(std::move(fallback));
  run.Keep("Shewhart chart",
           Studied(run.arguments, [&] { return studies::StudyShewhartRuns(shifts, asked); }));
  run.stream.schemes[0].rules = asked.rules;
  run.stream.schemes[0].size = asked.size;
  ShowSimulation(run.arguments, run.options, asked, IsSimulated(run.stream));
}

void RunCountScheme(Run& run) {
  studies::CountCusumRunOptions asked;
  if (!run.arguments.Has(kReference) || !run.arguments.Has(kDecision)) {
    throw Misuse("--scheme cusum-counts needs --k and --h");
  }
  asked.k = run.options.Get("K", kReference, asked.k);
  asked.h = run.options.Get("H", kDecision, asked.h);
  asked.head_start = run.options.Get("HeadStart", kHeadStart, asked.head_start);
  const auto sided = run.options.Get("Sided", kSided);
  asked.is_upper = sided != Sided::Lower;
  if (sided == Sided::Two && run.arguments.Has(kSided)) {
    throw Misuse("--sided takes upper or lower with --scheme cusum-counts");
  }
  const bool has_points = run.arguments.Has(kPoints);
  asked.points = has_points ? run.arguments.Get(kPoints) : PointsOf::Defects;
  run.options.Add("Points",
                  std::string(asked.points == PointsOf::Defectives ? "defectives" : "defects"),
                  has_points);
  asked.size = run.options.Get("Size", kSize, asked.size);
  const auto mean = run.options.Get("Mean", kMean);
  if (!run.arguments.Has(kShifts)) NeedMean(mean);
  const auto shifts = run.Shifts(DefaultShiftsOfCounts(mean.value_or(1.0), asked.points));
  run.stream.unit = render::ShiftUnit::Rate;
  run.Keep("cusum of counts",
           Studied(run.arguments, [&] { return studies::StudyCountCusumRuns(shifts, asked); }));
}

void RunMewmaScheme(Run& run) {
  run.stream.unit = render::ShiftUnit::Distance;
  studies::MewmaRunOptions asked;
  const bool has_variables = run.arguments.Has(kVariables);
  if (const auto given = run.arguments.Get(kVariables)) {
    asked.variables = static_cast<std::size_t>(*given);
  }
  run.options.Add("Variables", static_cast<double>(asked.variables), has_variables);
  asked.weight = run.options.Get("Weight", kWeight, asked.weight);
  asked.exact = run.arguments.Has(kLimits) && run.arguments.Get(kLimits) == LimitsOf::Exact;
  run.options.Add("Limits", std::string(asked.exact ? "exact" : "asymptotic"),
                  run.arguments.Has(kLimits));
  if (run.arguments.Has(kDecision)) {
    if (run.arguments.Has(kArl0OfLimit)) throw Misuse("--arl0 does not go with --h");
    asked.h = run.options.Get("H", kDecision, asked.h);
  } else {
    const double arl0 = run.options.Get("ARL0", kArl0OfLimit, 200.0);
    asked.h = Studied(run.arguments,
                      [&] { return studies::MewmaLimit(asked.variables, asked.weight, arl0); });
    run.options.Add("H", asked.h, false);
  }
  TakeSimulation(run.arguments, asked);
  const auto shifts = run.Shifts({0.0, 0.5, 1.0, 1.5, 2.0, 3.0});
  run.Keep("MEWMA", Studied(run.arguments, [&] { return studies::StudyMewmaRuns(shifts, asked); }));
  ShowSimulation(run.arguments, run.options, asked, IsSimulated(run.stream));
}

// A chart as it is in use, and of measurements the usual cusum and EWMA beside it.
render::RunLengthStream StreamOf(studies::ChartInUse chart, const Arguments& arguments,
                                 const studies::ShewhartRunOptions& simulated) {
  render::RunLengthStream stream{chart.part, chart.process, chart.test, {}, {}, chart.interval};
  auto& options = chart.options;
  options.runs = simulated.runs;
  options.seed = simulated.seed;
  const bool counts = options.points != PointsOf::Measurements;
  stream.unit = counts ? render::ShiftUnit::Rate : render::ShiftUnit::Piece;
  const auto shifts = ShiftsOf(
      arguments, counts ? DefaultShiftsOfCounts(options.mean, options.points) : DefaultShifts());
  studies::RunLengthStudy study;
  if (options.rules.empty()) {
    study.shifts = shifts;
    const std::vector<double> none(shifts.size(), platform::kNaN);
    study.arl = study.sdrl = study.p05 = study.median = study.p95 = none;
    study.notes.push_back({"no-rules", "No rule holds for this chart, so it never signals.", {}});
  } else {
    study = Studied(arguments, [&] { return studies::StudyShewhartRuns(shifts, options); });
  }
  study.notes.insert(study.notes.end(), chart.notes.begin(), chart.notes.end());
  stream.schemes.push_back({"in use", std::move(study), options.rules, options.size});
  if (counts) return stream;
  // Theirs are in sigmas of a point.
  std::vector<double> of_points;
  for (const double shift : shifts) of_points.push_back(shift * std::sqrt(options.size));
  if (std::ranges::any_of(of_points, [](double shift) { return std::abs(shift) > 20.0; })) {
    return stream;
  }
  const auto add = [&](const char* name, studies::RunLengthStudy beside) {
    beside.shifts = shifts;
    stream.schemes.push_back({name, std::move(beside)});
  };
  add("EWMA", studies::StudyEwmaRuns(of_points));
  add("cusum", studies::StudyCusumRuns(of_points));
  return stream;
}

int RunInUse(const Arguments& arguments, Console& console) {
  for (const Option& option :
       {Option(kScheme), Option(kReference), Option(kDecision), Option(kHeadStart), Option(kWeight),
        Option(kWidth), Option(kLimits), Option(kFir), Option(kPoints), Option(kMean),
        Option(kSize), Option(kSided), Option(kVariables), Option(kArl0OfLimit)}) {
    if (arguments.Has(option)) {
      throw Misuse("--" + std::string(option.name) +
                   " does not go with --db, which takes the charts in use");
    }
  }
  return RunAnalysis(
      arguments, console, kDrawn, kMaxUsed, kAllTests, [&](Analysis& run) -> Outcome {
        const auto set = arguments.Value(kRules);
        if (set) {
          const auto sets = run.database.RuleSets();
          if (std::ranges::none_of(sets, [&](const auto& each) { return each.name == *set; })) {
            throw Misuse("--rules: the database has no rule set \"" + *set + "\"");
          }
          run.database.UseRuleSet(*set);
        }
        render::RunLengthDocument document;
        document.in_use = true;
        StudyOptions options(arguments);
        options.Add("Rules", set.value_or("those of the alarms"), set.has_value());
        if (arguments.Has(kShifts)) {
          options.Add("Shifts", ShiftsText(ShiftsOf(arguments, {})), true);
        }
        studies::ShewhartRunOptions simulated;
        TakeSimulation(arguments, simulated);
        document.head = {"arl", {}, run.select, {}};
        for (const bool counts : {false, true}) {
          IncludeTests(*run.select, counts ? kCounts : std::int32_t{ttVariable});
          API_DSInfo info{};
          Array<std::int32_t> filter;
          run.select->API_GetData(info, filter);
          studies::ReadOptions read;
          read.counts = counts;
          auto [charts, report] = Reported(run.database, [&](const auto& open) {
            return studies::ReadChartsInUse(*open, info, filter.Elements(), read);
          });
          if (charts.empty()) continue;
          auto& notes = document.head.notes;
          notes.insert(notes.end(), report.notes.begin(), report.notes.end());
          for (auto& chart : charts) {
            document.streams.push_back(StreamOf(std::move(chart), arguments, simulated));
          }
        }
        ShowSimulation(arguments, options, simulated,
                       std::ranges::any_of(document.streams, IsSimulated));
        document.head.options = options.Take();
        IncludeTests(*run.select, kAllTests);
        const bool empty = document.streams.empty();
        if (empty) NoteEmpty(run, kMaxUsed, document.head.notes);
        return {FormattedStudy<render::RunLengthDocument>(document, run, render::RunLengthJson,
                                                          render::MakeRunLengthView),
                empty};
      });
}

int RunArl(const Arguments& arguments, Console& console) {
  if (arguments.Has(kDatabase)) return RunInUse(arguments, console);
  Run run{arguments, StudyOptions(arguments), {}};
  const auto scheme = run.options.Get("Scheme", kScheme);
  if (!arguments.Has(kScheme)) {
    throw Misuse(
        "which chart? --scheme cusum, ewma, shewhart, cusum-counts or mewma, or --db FILE");
  }
  auto of_databases = SelectionOptions();
  of_databases.emplace_back(kMaxUsed);
  for (const auto& option : of_databases) {
    if (arguments.Has(option)) {
      throw Misuse("--" + std::string(option.name) + " goes with --db");
    }
  }
  RefuseOtherSchemes(arguments, scheme);
  constexpr void (*kRun[])(Run&) = {RunCusumScheme, RunEwmaScheme, RunShewhartScheme,
                                    RunCountScheme, RunMewmaScheme};
  kRun[static_cast<std::size_t>(scheme)](run);
  render::RunLengthDocument document{{"arl", run.options.Take(), {}, {}}, false, {run.stream}};
  const Presentation shown{NoNames(), OutputFormat(arguments, kDrawn),
                           TextOptionsOf(arguments, console)};
  Deliver(arguments, console,
          FormattedStudy<render::RunLengthDocument>(document, shown, render::RunLengthJson,
                                                    render::MakeRunLengthView));
  return 0;
}

constexpr RealInside kArl0{{"arl0", "X", "run length without a shift", "370"}, 2.0, 1e6};
constexpr RealInside kShift{{"shift", "X", "to be found, in sigmas of a point", "1"}, 0.05, 10.0};
constexpr RealInside kWanted{
    {"arl", "X",
     "find the least pieces a point of a Shewhart chart with this run length at the "
     "shift, which is then in sigmas of a piece"},
    1.0,
    1e6,
    true};

int RunDesign(const Arguments& arguments, Console& console) {
  StudyOptions options(arguments);
  studies::DesignOptions asked;
  asked.arl0 = options.Get("ARL0", kArl0, asked.arl0);
  asked.shift = options.Get("Shift", kShift, asked.shift);
  asked.exact = options.Get("Limits", kLimits) == LimitsOf::Exact;
  asked.wanted = options.Get("ARL", kWanted).value_or(0.0);
  render::DesignDocument document;
  document.head = {"design", options.Take(), {}, {}};
  document.study = Studied(arguments, [&] { return studies::StudyDesign(asked); });
  const auto& study = document.study;
  std::vector<double> shifts;
  for (const double factor : {0.0, 0.25, 0.5, 0.75, 1.0, 1.25, 1.5, 2.0}) {
    shifts.push_back(asked.shift * factor);
  }
  if (!std::isnan(study.cusum.h)) {
    studies::CusumRunOptions cusum;
    cusum.k = study.cusum.k;
    cusum.h = study.cusum.h;
    document.schemes.push_back({"cusum", studies::StudyCusumRuns(shifts, cusum)});
  }
  if (!std::isnan(study.ewma.width)) {
    studies::EwmaRunOptions ewma;
    ewma.weight = study.ewma.weight;
    ewma.width = study.ewma.width;
    ewma.exact = asked.exact;
    document.schemes.push_back({"EWMA", studies::StudyEwmaRuns(shifts, ewma)});
  }
  studies::ShewhartRunOptions shewhart;
  shewhart.width = study.shewhart.width;
  document.schemes.push_back(
      {"Shewhart", studies::StudyShewhartRuns(shifts, shewhart), shewhart.rules, 1.0});
  const Presentation shown{NoNames(), OutputFormat(arguments, kDrawn),
                           TextOptionsOf(arguments, console)};
  Deliver(arguments, console,
          FormattedStudy<render::DesignDocument>(document, shown, render::DesignJson,
                                                 render::MakeDesignView));
  return 0;
}

}  // namespace

Command ArlStudyCommand() {
  return {
      "study arl",
      "--scheme WORD [OPTIONS] | --db FILE [--part NAME] [OPTIONS]",
      "Run lengths: points that a chart takes to its first signal",
      "Of a cusum, an EWMA of one or of several variables, a Shewhart chart with run rules or a "
      "cusum of counts, with and without a shift. With --db of the charts of a selection, with the "
      "rules that judge them, "
      "their sizes, and of measurements an EWMA and a cusum beside them.\n"
      "Formats: text, json, svg, html.",
      "orvspc study arl --scheme shewhart --rules classic --shifts 0,0.5,1 -o arl.svg",
      Together(std::vector<Option>{kScheme, kShifts, kReference, kDecision, kHeadStart, kWeight,
                                   kWidth, kLimits, kFir, kSided, kRules, kPoints, kMean, kSize,
                                   kVariables, kArl0OfLimit, kRuns, kSeed, kMaxUsed},
               SelectionOptions(), kPageOptions),
      RunArl};
}

Command DesignStudyCommand() {
  return {"study design",
          "[--arl0 X] [--shift X] [OPTIONS]",
          "Parameters of a chart for a run length and a shift",
          "Which cusum, EWMA and Shewhart chart has that run length without a shift, and how soon "
          "each finds the shift.\n"
          "Formats: text, json, svg, html.",
          "orvspc study design --arl0 500 --shift 1 -o design.svg",
          Together(std::vector<Option>{kArl0, kShift, kLimits, kWanted}, kPageOptions),
          RunDesign};
}

}  // namespace orvspc::cli
