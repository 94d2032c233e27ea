// SPDX-License-Identifier: Apache-2.0
#include "host/cli/ParetoCommand.h"

#include <charconv>
#include <optional>
#include <ostream>
#include <utility>

#include "engine/pareto/BinNames.h"
#include "engine/store/Catalogue.h"
#include "frame/XMLSupport.h"
#include "host/cli/Selection.h"
#include "host/cli/words.h"
#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"
#include "host/render/pareto/ParetoView.h"
#include "host/render/pareto/ParetoJson.h"
#include "host/render/pareto/ParetoModel.h"
#include "pareto/PAAnalysis.h"

namespace orvspc::host {

namespace {

constexpr std::int32_t kMostBins = 100000;
constexpr std::size_t kMostLevels = 3;

constexpr Word<paResourceTypes> kResources[] = {
    {"subgroups", paSubgroups}, {"events", paProcessEvents}, {"states", paProcessState}};
constexpr Word<paProcessingTypes> kMeasures[] = {
    {"count", paProcessByCount}, {"factor", paProcessByFactor},   {"ppm", paProcessByPPM},
    {"ppt", paProcessByPPT},     {"minutes", paProcessByMinutes}, {"hours", paProcessByHours},
    {"days", paProcessByDays}};
constexpr Word<paAccumulationTypes> kAccumulations[] = {{"value", paAccumulateByValue},
                                                        {"hits", paAccumulateByHits},
                                                        {"event-time", paAccumulateByEventTime},
                                                        {"acc-time", paAccumulateByAccTime},
                                                        {"cac-time", paAccumulateByCacTime}};

// One level of --by.
struct Level {
  paBinTypes type = paBinTypeNone;
  std::int32_t interval = 0;
  paTimePeriods period = paSeconds;
  std::string descriptor;  // the name of its group
};

struct Period {
  const char* word;
  const char* letter;  // null: none
  paTimePeriods value;
};
constexpr Period kPeriods[] = {{"second", "s", paSeconds},  {"minute", "m", paMinutes},
                               {"hour", "h", paHours},      {"day", "d", paDays},
                               {"week", "w", paWeeks},      {"month", nullptr, paMonths},
                               {"quarter", "q", paQuarters}};

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
    if (word != period.word && word != std::string(period.word) + "s" &&
        (!period.letter || word != period.letter))
      continue;
    level.period = period.value;
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
  if (!BinTypeOf(word, level.type))
    throw Misuse("--by takes " + BinTypeWords() + ", not \"" + word + "\"");
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
  std::vector<std::string> texts = arguments.Values("by");
  if (texts.empty()) texts = {UsualLevel(resource)};
  std::vector<Level> levels;
  for (const std::string& text : texts)
    for (std::size_t start = 0; start <= text.size();) {
      const std::size_t end = std::min(text.find(',', start), text.size());
      levels.push_back(ParseLevel(text.substr(start, end - start)));
      start = end + 1;
    }
  // A level that is none is no level.
  if (std::erase_if(levels, [](const Level& level) { return level.type == paBinTypeNone; }) > 0 &&
      levels.empty())
    levels.emplace_back();
  if (levels.size() > kMostLevels)
    throw Misuse("--by takes at most 3 levels, not " + std::to_string(levels.size()));
  return levels;
}

std::shared_ptr<PAProcessing> MakeProcessing(const Arguments& arguments,
                                             const std::vector<Level>& levels) {
  auto processing = std::make_shared<PAProcessing>();
  processing->ResourceType(Chosen(arguments, "from", kResources));
  processing->ProcessingType(Chosen(arguments, "measure", kMeasures));
  processing->AccumulationType(Chosen(arguments, "accumulate", kAccumulations));
  if (const auto bins = arguments.Number("bins", 5, kMostBins)) processing->BinCount(*bins);
  processing->ShowEmptyBins(arguments.Has("empty"));
  for (std::size_t i = 0; i < levels.size(); ++i) {
    const auto level = static_cast<std::int32_t>(i);
    processing->BinType(level, levels[i].type);
    processing->BinTimePeriod(level, levels[i].period);
    processing->BinTimeInterval(level, levels[i].interval);
  }
  return processing;
}

void FindDescriptors(EmbeddedDatabase& database, const std::vector<Level>& levels,
                     PAProcessing& processing) {
  for (std::size_t i = 0; i < levels.size(); ++i) {
    if (levels[i].descriptor.empty()) continue;
    const auto group = engine::store::FindDescriptorGroup(database, levels[i].descriptor);
    if (!group) throw Refusal("no descriptor group is called \"" + levels[i].descriptor + "\"");
    processing.BinTypeID(static_cast<std::int32_t>(i), *group);
  }
}

// Of the levels that the bins were made with.
BinNames NamesOfBins(const std::shared_ptr<EmbeddedDatabase>& database,
                     const PAProcessing& processing) {
  API_PAOptions options{};
  options.ProcessingType = processing.ProcessingType();
  options.AccumulationType = processing.AccumulationType();
  for (std::int32_t level = 0; level < static_cast<std::int32_t>(kMostLevels); ++level) {
    const auto place = static_cast<std::size_t>(level);
    options.BinType[place] = processing.BinType(level);
    options.BinTypeID[place] = processing.BinTypeID(level);
    options.BinTimePeriod[place] = processing.BinTimePeriod(level);
    options.BinTimeInterval[place] = processing.BinTimeInterval(level);
  }
  const auto names =
      std::make_shared<engine::pareto::BinNames>(*database, processing.ResourceType(), options);
  return [database, names](std::size_t level, std::int32_t id) { return names->NameOf(level, id); };
}

struct Analysed {
  std::shared_ptr<PAResults> results;
  std::vector<Note> notes;
};

Analysed Analyse(const std::shared_ptr<EmbeddedDatabase>& database,
                 const std::shared_ptr<DataSelect>& select,
                 const std::shared_ptr<PAProcessing>& processing) {
  TakeNotes();  // those of earlier calls are not this analysis's
  Analysed analysed{PAAnalysis().AnalyzeDataSelect(database, select, processing), {}};
  CheckEngine(*database);
  analysed.notes = TakeNotes();
  return analysed;
}

ParetoDocument Read(const std::shared_ptr<EmbeddedDatabase>& database, Analysed&& analysed) {
  const auto names = NamesOfBins(database, *analysed.results->Processing());
  return {ReadPareto(*analysed.results, names), std::move(analysed.notes)};
}

int Run(const Arguments& arguments, Console& console) {
  const std::string format = OutputFormat(arguments, {"text", "json", "xml", "svg", "html"});
  const auto levels = ParseLevels(arguments, Chosen(arguments, "from", kResources));
  const auto processing = MakeProcessing(arguments, levels);
  const auto database = OpenQualityDatabase(arguments);
  FindDescriptors(*database, levels, *processing);
  const auto select = MakeSelection(arguments, *database, INT32_MAX);
  select->IncludeVariableTests(true);
  select->IncludeDefectTests(true);
  select->IncludeDefectiveTests(true);
  Analysed analysed = Analyse(database, select, processing);
  const bool empty = analysed.results->Bins()->Count() == 0;
  if (empty && format != "text") console.err << kNoData << "\n";
  if (format == "xml") {
    PrintNotes(console, analysed.notes);
    Deliver(arguments, console, analysed.results->GetXML() + "\n");
    return 0;
  }
  Deliver(arguments, console,
          ParetoText(Read(database, std::move(analysed)), NamesOf(database), format, console,
                     console.out_is_terminal && !arguments.Has("output")));
  return 0;
}

// A stored text again. The objects would write it without what they do not read: the levels, the
// bins of a result.
std::string Again(const std::string& xml, const char* root) {
  const auto found = XMLSupport::GetXMLSingleNode(xml, root);
  return found.document->Xml(found.node) + "\n";
}

std::string SettingsText(const PAProcessing& processing) {
  std::string text;
  const auto line = [&](const char* name, const std::string& value) {
    text += Padded(name, 14) + value + "\n";
  };
  line("from", WordOf(kResources, processing.ResourceType()));
  line("bins", std::to_string(processing.BinCount()));
  line("measure", WordOf(kMeasures, processing.ProcessingType()));
  line("accumulate", WordOf(kAccumulations, processing.AccumulationType()));
  line("empty bins", processing.ShowEmptyBins() ? "shown" : "left out");
  return text + "What the levels are binned by is not kept.\n";
}

}  // namespace

ParetoDocument RunPareto(const std::shared_ptr<EmbeddedDatabase>& database,
                         const std::shared_ptr<DataSelect>& select,
                         const std::shared_ptr<PAProcessing>& processing) {
  return Read(database, Analyse(database, select, processing));
}

std::string ParetoText(const ParetoDocument& document, const Names& names,
                       const std::string& format, const Console& console, bool colour) {
  if (format == "json") return ParetoJson(document);
  const ParetoView view = MakeParetoView(document, names);
  if (format == "svg") return RenderParetoSvg(view);
  if (format == "html") return RenderParetoHtml(view);
  return RenderParetoText(view, {console.columns, colour});
}

std::string ShowPareto(const std::string& xml, const std::string& format, const Console& console,
                       bool colour) {
  const ParetoDocument document{ReadStoredPareto(xml), {}};
  if (format == "xml") return Again(xml, "PAResults");
  return ParetoText(document, NoNames(), format, console, colour);
}

std::string ShowParetoBins(const std::string& xml, const std::string& format,
                           const Console& console, bool colour) {
  const ParetoDocument document{ReadStoredBins(xml), {}};
  if (format == "xml") return Again(xml, "PABins");
  return ParetoText(document, NoNames(), format, console, colour);
}

std::string ShowParetoProcessing(const std::string& xml, const std::string& format) {
  PAProcessing processing;
  processing.SetXML(xml);
  if (format == "xml") return Again(xml, "PAProcessing");
  if (format == "text") return SettingsText(processing);
  JsonWriter json;
  json.BeginObject();
  json.Key("Processing");
  json.BeginObject();
  WriteParetoProcessing(json, processing, false);
  json.EndObject();
  json.EndObject();
  return json.Text();
}

Command ParetoCommand() {
  Command command;
  command.name = "pareto";
  command.synopsis = "--db FILE [--by WORD[,WORD[,WORD]]] [OPTIONS]";
  command.summary = "Defects, events or process states ranked in bins of up to three levels";
  command.details =
      "Takes everything selected unless --max says otherwise. --by takes\n  " + BinTypeWords() +
      "\n"
      "with time:15m, time:8h, time:1d, time:1week, time:1month, time:1quarter and\n"
      "descriptor:NAME; which of them go depends on --from.\n"
      "Formats: text, json, xml, svg, html; orvspc show draws the XML again without a database.\n";
  command.example = "orvspc pareto --db q.db --by defect,shift --bins 20 -o defects.html";
  command.options = SelectionOptions("the newest N subgroups or events at most (default all)");
  command.options.insert(
      command.options.end(),
      {{"by", "WORDS",
        "levels of the bins, the first one outermost (default defect; acc-code of\n"
        "                            events, state of states)",
        true},
       {"from", "WORD", "subgroups events states (default subgroups)"},
       {"bins", "N", "the first N bins, at least 5 (default 10)"},
       {"measure", "WORD",
        "count factor ppm ppt minutes hours days: what a value is (default count)"},
       {"accumulate", "WORD",
        "value hits event-time acc-time cac-time: what a bin adds up (default value)"},
       {"empty", nullptr, "also bins in which nothing fell"}});
  for (const auto& option : OutputOptions()) command.options.push_back(option);
  command.run = Run;
  return command;
}

}  // namespace orvspc::host
