// SPDX-License-Identifier: Apache-2.0
#include <charconv>
#include <utility>

#include "host/cli/Analysis.h"
#include "host/render/core/PlainText.h"
#include "pareto/PAAnalysis.h"

namespace orvspc::cli {

namespace {

constexpr std::size_t kMaxLevels = 3;

constexpr Number kNewest = MaximumOption("the newest N subgroups or events at most; 0: all", "all");
constexpr Option kLevels{"by",
                         "WORDS",
                         "levels of the bars, the outermost one first, separated by commas",
                         "defect; acc-code of events, state of states",
                         true,
                         render::kBinTypeWords};
constexpr render::Word kFromWords[] = {
    {"subgroups", paSubgroups}, {"events", paProcessEvents}, {"states", paProcessState}};
constexpr Choice<paResourceTypes> kFrom{{"from", "WORD", "", "", false, kFromWords}};
constexpr Number kBins{{"bins", "N", "the first N bars, at least 5", "10"}, 5, 100000};
constexpr render::Word kMeasureWords[] = {
    {"count", paProcessByCount}, {"factor", paProcessByFactor},   {"ppm", paProcessByPPM},
    {"ppt", paProcessByPPT},     {"minutes", paProcessByMinutes}, {"hours", paProcessByHours},
    {"days", paProcessByDays}};
constexpr Choice<paProcessingTypes> kMeasure{
    {"measure", "WORD", "what a value is", "", false, kMeasureWords}};
constexpr render::Word kAccumulateWords[] = {{"value", paAccumulateByValue},
                                             {"hits", paAccumulateByHits},
                                             {"event-time", paAccumulateByEventTime},
                                             {"acc-time", paAccumulateByAccTime},
                                             {"cac-time", paAccumulateByCacTime}};
constexpr Choice<paAccumulationTypes> kAccumulate{
    {"accumulate", "WORD", "what a bar adds up", "", false, kAccumulateWords}};
constexpr Option kEmpty{"empty", nullptr, "also categories in which nothing fell"};
constexpr Option kParetoOptions[] = {kNewest, kLevels, kFrom, kBins, kMeasure, kAccumulate, kEmpty};

// One level of --by.
struct Level {
  paBinTypes type = paBinTypeNone;
  std::int32_t interval = 0;
  paTimePeriods period = paSeconds;
  std::string descriptor;  // the name of its group
};

constexpr render::Word kPeriods[] = {
    {"second", paSeconds}, {"minute", paMinutes}, {"hour", paHours},      {"day", paDays},
    {"week", paWeeks},     {"month", paMonths},   {"quarter", paQuarters}};

// "15m", "1month", "2 weeks", "day"
Level TimeLevel(const std::string& text) {
  Level level{paBinTypeTime, 1, paSeconds, {}};
  const char* const end = text.data() + text.size();
  // Without a number it is one.
  const auto [rest, error] = std::from_chars(text.data(), end, level.interval);
  std::string word(rest, end);
  if (!word.empty() && word.front() == ' ') word.erase(0, 1);
  for (const auto& period : kPeriods) {
    if (error == std::errc::result_out_of_range || level.interval < 1) break;
    const std::string name(period.word);
    // m is that of minutes.
    const bool by_letter = name != "month" && word == name.substr(0, 1);
    if (word != name && word != name + "s" && !by_letter) continue;
    level.period = static_cast<paTimePeriods>(period.value);
    return level;
  }
  throw Misuse(
      "--by time takes a length such as time:15m, time:8h, time:1d, time:1week, "
      "time:1month or time:1quarter, not \"" +
      text + "\"");
}

Level ParseLevel(const std::string& text) {
  const std::size_t colon = text.find(':');
  const std::string word = text.substr(0, colon);
  const std::string rest = colon == std::string::npos ? "" : text.substr(colon + 1);
  Level level;
  level.type = static_cast<paBinTypes>(ValueOf("--by", kLevels.words, word));
  if (level.type == paBinTypeTime) return TimeLevel(rest);
  if (level.type == paBinTypeSgDesc) {
    if (rest.empty()) throw Misuse("--by descriptor takes the descriptor's name, descriptor:NAME");
    level.descriptor = rest;
  } else if (colon != std::string::npos) {
    throw Misuse("--by " + word + " takes nothing behind it, not \"" + rest + "\"");
  }
  return level;
}

// What one would ask for first.
const char* UsualLevel(paResourceTypes resource) {
  if (resource == paProcessEvents) return "acc-code";
  return resource == paProcessState ? "state" : "defect";
}

std::vector<Level> ParseLevels(const Arguments& arguments, paResourceTypes resource) {
  std::vector<std::string> texts = arguments.Values(kLevels);
  if (texts.empty()) texts = {UsualLevel(resource)};
  std::vector<Level> levels;
  for (const std::string& text : texts)
    for (const auto& word : Split(text)) levels.push_back(ParseLevel(word));
  // A level that is none is no level.
  if (std::erase_if(levels, [](const Level& level) { return level.type == paBinTypeNone; }) > 0 &&
      levels.empty())
    levels.emplace_back();
  if (levels.size() > kMaxLevels)
    throw Misuse("--by takes at most 3 levels, not " + std::to_string(levels.size()));
  return levels;
}

std::shared_ptr<PAProcessing> MakeProcessing(const Arguments& arguments,
                                             const std::vector<Level>& levels) {
  auto processing = std::make_shared<PAProcessing>();
  processing->ResourceType(arguments.Get(kFrom));
  processing->ProcessingType(arguments.Get(kMeasure));
  processing->AccumulationType(arguments.Get(kAccumulate));
  processing->BinCount(*arguments.Get(kBins));
  processing->ShowEmptyBins(arguments.Has(kEmpty));
  for (std::size_t i = 0; i < levels.size(); ++i) {
    const auto level = static_cast<std::int32_t>(i);
    processing->BinType(level, levels[i].type);
    processing->BinTimePeriod(level, levels[i].period);
    processing->BinTimeInterval(level, levels[i].interval);
  }
  return processing;
}

void FindDescriptors(const QualityDatabase& database, const std::vector<Level>& levels,
                     PAProcessing& processing) {
  for (std::size_t i = 0; i < levels.size(); ++i) {
    if (levels[i].descriptor.empty()) continue;
    const auto group = database.FindDescriptorGroup(levels[i].descriptor);
    if (!group) throw Refusal("no descriptor group is called \"" + levels[i].descriptor + "\"");
    processing.BinTypeID(static_cast<std::int32_t>(i), *group);
  }
}

// Of the levels that the bins were made with.
QualityDatabase::BinNames NamesOfBins(const QualityDatabase& database,
                                      const PAProcessing& processing) {
  API_PAOptions options{};
  options.ProcessingType = processing.ProcessingType();
  options.AccumulationType = processing.AccumulationType();
  for (std::int32_t level = 0; level < static_cast<std::int32_t>(kMaxLevels); ++level) {
    const auto place = static_cast<std::size_t>(level);
    options.BinType[place] = processing.BinType(level);
    options.BinTypeID[place] = processing.BinTypeID(level);
    options.BinTimePeriod[place] = processing.BinTimePeriod(level);
    options.BinTimeInterval[place] = processing.BinTimeInterval(level);
  }
  return database.BinNamesOf(processing.ResourceType(), options);
}

int RunParetoCommand(const Arguments& arguments, Console& console) {
  const auto levels = ParseLevels(arguments, arguments.Get(kFrom));
  const auto processing = MakeProcessing(arguments, levels);
  return RunAnalysis(
      arguments, console, kDrawnAndStored, kNewest, kAllTests, [&](Analysis& run) -> Outcome {
        FindDescriptors(run.database, levels, *processing);
        const auto note_empty = [&](std::vector<Note>& notes) {
          const auto from = processing->ResourceType();
          NoteEmpty(run, kNewest, notes,
                    {from == paProcessEvents  ? kEvents
                     : from == paProcessState ? kStates
                                              : kSubgroups});
        };
        if (run.format == "xml") {
          auto [results, report] = Analysed<PAAnalysis>(run.database, run.select, processing);
          std::string text = results->GetXML() + "\n";
          const bool empty = results->Bins()->Count() == 0;
          if (empty) note_empty(report.notes);
          return {std::move(text), empty, std::move(report.notes)};
        }
        auto document = RunPareto(run.database, run.select, processing);
        const bool empty = document.pareto.bins.empty();
        if (empty) note_empty(document.notes);
        return {Formatted(document, run), empty};
      });
}

}  // namespace

render::ParetoDocument RunPareto(const QualityDatabase& database,
                                 const std::shared_ptr<DataSelect>& select,
                                 const std::shared_ptr<PAProcessing>& processing) {
  auto [results, report] = Analysed<PAAnalysis>(database, select, processing);
  return {render::ReadPareto(*results, NamesOfBins(database, *results->Processing())),
          std::move(report.notes)};
}

std::string SettingsText(const PAProcessing& processing, const render::TextOptions& options) {
  render::TextWriter text(options);
  const auto line = [&](const char* name, const std::string& value) {
    text.Line(render::Padded(name, 14) + value);
  };
  line("from", render::WordOrNumber(kFromWords, processing.ResourceType()));
  line("bins", std::to_string(processing.BinCount()));
  line("measure", render::WordOrNumber(kMeasureWords, processing.ProcessingType()));
  line("accumulate", render::WordOrNumber(kAccumulateWords, processing.AccumulationType()));
  line("empty bins", processing.ShowEmptyBins() ? "shown" : "left out");
  text.Line("What the levels are binned by is not kept.");
  return text.Take();
}

Command ParetoCommand() {
  return {"pareto",
          "--db FILE [--by WORD[,WORD[,WORD]]] [OPTIONS]",
          "Defects, events or process states ranked in bars of up to three levels",
          "Takes everything selected unless --max says otherwise.\n"
          "--by takes time with a length, time:15m, time:8h, time:1d, time:1week, time:1month, "
          "time:1quarter, and a descriptor with its name, descriptor:NAME; which words go depends "
          "on --from.\n"
          "Formats: text, json, xml, svg, html; orvspc show draws the XML again without a "
          "database.",
          "orvspc pareto --db q.db --by defect,shift --bins 20 -o defects.html",
          Together(SelectionOptions(), kParetoOptions, kPageOptions),
          RunParetoCommand};
}

}  // namespace orvspc::cli
