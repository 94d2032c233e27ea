// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <charconv>
#include <iterator>

#include "engine/QualityDatabase.h"
#include "host/cli/Output.h"
#include "host/render/core/Json.h"
#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"
#include "platform/TimeText.h"

namespace orvspc::cli {

namespace {

constexpr Option kPart{"part", "NAME", "the part that it holds for", "any"};
constexpr Option kProcess{"process", "NAME", "the process that it holds for", "any"};
constexpr Option kTest{"test", "NAME", "the test that it holds for", "any"};
constexpr Option kName{"name", "TEXT", "what the phase is called"};
constexpr Option kStart{"start", "TIME", "its first second; a day begins at midnight UTC"};
constexpr Option kEnd{"end", "TIME", "the second after its last one",
                      "none when added, now for \"end\""};
constexpr render::Word kKindWords[] = {
    {"stage", static_cast<std::int32_t>(PhaseKind::Stage)},
    {"trial", static_cast<std::int32_t>(PhaseKind::Trial)},
    {"excluded", static_cast<std::int32_t>(PhaseKind::Excluded)}};
constexpr Choice<PhaseKind> kKind{
    {"kind", "WORD", "excluded: drawn, and counted in nothing", "", false, kKindWords}};
constexpr Number kFreezeAfter{
    {"freeze-after", "N", "calculated limits are those of the first N points", "all points"}, 2};

struct Scope {
  const Option& option;
  ItemKind kind;
  std::int32_t Phase::*item;
};
constexpr Scope kScopes[] = {{kPart, ItemKind::Part, &Phase::part},
                             {kProcess, ItemKind::Process, &Phase::process},
                             {kTest, ItemKind::Test, &Phase::test}};

std::string Quoted(const std::string& text) { return "\"" + text + "\""; }

// Days alone at midnight.
std::string TimeText(std::int32_t stamp) {
  const auto clock = render::ClockText(stamp);
  return render::DayText(stamp) + (clock == "00:00" ? "" : " " + clock);
}

std::int32_t TimeOf(const Option& option, const std::string& text) {
  const auto stamp = ParseTime(text);
  if (!stamp || *stamp < INT32_MIN || *stamp > INT32_MAX) {
    throw Misuse(std::string("--") + option.name + ": " + Quoted(text) + " " +
                 std::string(stamp ? platform::kTimeOutOfRange : platform::kNoTime));
  }
  return static_cast<std::int32_t>(*stamp);
}

// Part, process and test of the options; 0 where they name none.
Phase ScopeOf(const Arguments& arguments, const QualityDatabase& database) {
  Phase phase;
  for (const auto& scope : kScopes) {
    const auto name = arguments.Value(scope.option);
    if (!name) continue;
    const auto id = database.Find(scope.kind, *name);
    if (!id) {
      throw Refusal("no " + std::string(WordOf(scope.kind)) + " is called " + Quoted(*name));
    }
    phase.*scope.item = *id;
  }
  return phase;
}

// Each returns the number of the phase that it changes.
std::int32_t Add(const Arguments& arguments, QualityDatabase& database) {
  auto phase = ScopeOf(arguments, database);
  phase.name = arguments.Required(kName);
  phase.start = TimeOf(kStart, arguments.Required(kStart));
  if (const auto end = arguments.Value(kEnd)) phase.finish = TimeOf(kEnd, *end);
  phase.kind = arguments.Get(kKind);
  phase.freeze_after = arguments.Get(kFreezeAfter).value_or(0);
  return database.AddPhase(phase, ChangeOptionsOf(arguments)).id;
}

// By identifier, or by a name that one phase alone has in the streams that are named.
Phase Named(const Arguments& arguments, const QualityDatabase& database) {
  const auto& words = arguments.Positional();
  if (words.size() < 2) throw Misuse("which phase? its number or name follows");
  const auto& word = words[1];
  std::int32_t id = 0;
  const auto read = std::from_chars(word.data(), word.data() + word.size(), id);
  const bool is_number = read.ec == std::errc() && read.ptr == word.data() + word.size();
  const auto scope = ScopeOf(arguments, database);
  std::vector<Phase> found;
  std::ranges::copy_if(database.Phases(), std::back_inserter(found), [&](const Phase& phase) {
    if (is_number && phase.id == id) return true;
    return phase.name == word && std::ranges::all_of(kScopes, [&](const Scope& each) {
             return scope.*each.item == 0 || phase.*each.item == scope.*each.item;
           });
  });
  if (found.size() == 1) return found[0];
  if (found.empty()) {
    throw Refusal("there is no phase " + Quoted(word) + "; \"orvspc phase list\" shows them");
  }
  throw Refusal(std::to_string(found.size()) + " phases are called " + Quoted(word) +
                "; \"orvspc phase list\" shows their numbers");
}

std::int32_t End(const Arguments& arguments, QualityDatabase& database) {
  const auto end = arguments.Value(kEnd);
  const auto time = end ? TimeOf(kEnd, *end) : static_cast<std::int32_t>(CurrentTime());
  const auto phase = Named(arguments, database);
  if (!end && phase.finish && *phase.finish <= time) {
    throw Refusal("phase " + Quoted(phase.name) + " ended " + TimeText(*phase.finish) +
                  "; --end changes that");
  }
  database.EndPhase(phase.id, time, ChangeOptionsOf(arguments));
  return phase.id;
}

std::int32_t Remove(const Arguments& arguments, QualityDatabase& database) {
  const auto id = Named(arguments, database).id;
  database.RemovePhase(id, ChangeOptionsOf(arguments));
  return id;
}

std::vector<Phase> Listed(const Arguments& arguments, const QualityDatabase& database) {
  auto phases = database.Phases();
  const auto scope = ScopeOf(arguments, database);
  std::erase_if(phases, [&](const Phase& phase) {
    return std::ranges::any_of(kScopes, [&](const Scope& each) {
      return scope.*each.item != 0 && phase.*each.item != 0 && phase.*each.item != scope.*each.item;
    });
  });
  return phases;
}

std::string JsonOf(const std::vector<Phase>& phases, const QualityDatabase& database) {
  render::JsonWriter json;
  json.BeginObject();
  json.Objects("phase", phases, [&](const Phase& phase) {
    json.Member("ID", phase.id);
    json.Member("Name", phase.name);
    const char* const keys[] = {"Part", "Process", "Test"};
    for (std::size_t i = 0; i < std::size(kScopes); ++i) {
      const auto id = phase.*kScopes[i].item;
      if (id == 0) {
        json.NullMember(keys[i]);
      } else {
        json.Member(keys[i], database.Name(kScopes[i].kind, id));
      }
    }
    json.Member("Start", render::IsoTime(phase.start));
    if (phase.finish) {
      json.Member("End", render::IsoTime(*phase.finish));
    } else {
      json.NullMember("End");
    }
    json.Members("Kind", WordOf(phase.kind), "FreezeAfter", phase.freeze_after, "Reason",
                 phase.reason, "Who", phase.who, "Made", render::IsoTime(phase.made), "Version",
                 database.PhaseVersion(phase.id));
  });
  json.EndObject();
  return json.Text();
}

render::Table TableOf(const std::vector<Phase>& phases, const QualityDatabase& database) {
  render::Table table{
      "", {"#id", "phase", "part", "process", "test", "@start", "@end", "kind", "#frozen"}};
  for (const auto& phase : phases) {
    std::vector<std::string> row{std::to_string(phase.id), render::PlainText(phase.name)};
    for (const auto& scope : kScopes) {
      const auto id = phase.*scope.item;
      row.push_back(id == 0 ? "any" : render::PlainText(database.Name(scope.kind, id)));
    }
    row.push_back(TimeText(phase.start));
    row.push_back(phase.finish ? TimeText(*phase.finish) : "");
    row.emplace_back(WordOf(phase.kind));
    row.push_back(phase.freeze_after == 0 ? "" : std::to_string(phase.freeze_after));
    table.rows.push_back(std::move(row));
  }
  if (phases.empty()) {
    table.rows.emplace_back(table.headings.size());
    table.rows[0][1] = "(none)";
  }
  return table;
}

struct Verb {
  const char* word;
  std::size_t words;                                           // that it takes, itself among them
  const char* done;                                            // to the phase
  std::int32_t (*change)(const Arguments&, QualityDatabase&);  // null: it lists
};
constexpr Verb kVerbs[] = {{"add", 1, "added", Add},
                           {"end", 2, "ended", End},
                           {"list", 1, "", nullptr},
                           {"remove", 2, "removed", Remove}};

int RunPhaseCommand(const Arguments& arguments, Console& console) {
  std::vector<std::string> verbs;
  for (const auto& verb : kVerbs) verbs.emplace_back(verb.word);
  const auto& words = arguments.Positional();
  if (words.empty()) throw Misuse("what to do? " + Joined(verbs) + " follows");
  const auto* const verb =
      std::ranges::find_if(kVerbs, [&](const Verb& each) { return each.word == words[0]; });
  if (verb == std::end(kVerbs)) {
    throw Misuse("there is no \"" + words[0] + "\", only " + Joined(verbs));
  }
  if (words.size() > verb->words) {
    throw Misuse("\"" + words[verb->words] + "\" is one word too many");
  }
  const auto format = OutputFormat(arguments, {"text", "json"});
  auto database = QualityDatabase::Open(arguments.Required(kDatabase));
  if (verb->change != nullptr) {
    const auto id = verb->change(arguments, database);
    if (arguments.Has(kDryRun)) {
      console.out << "phase " << id << " would be " << verb->done << "\n";
    }
    return 0;
  }
  const auto phases = Listed(arguments, database);
  if (format == "json") {
    Deliver(arguments, console, JsonOf(phases, database));
    return 0;
  }
  render::TextWriter text(TextOptionsOf(arguments, console));
  text.Write(TableOf(phases, database));
  Deliver(arguments, console, text.Take());
  return 0;
}

}  // namespace

Command PhaseCommand() {
  return {
      "phase",
      "--db FILE add|end|list|remove [PHASE] [OPTIONS]",
      "Phases of a process, each with limits of its own",
      "add     needs --name, --start and --reason; without --end the phase goes on\n"
      "end     gives PHASE, its number or name, an end\n"
      "list    shows phases, with --part, --process and --test those of these streams\n"
      "remove  takes PHASE away; the values stay\n"
      "A phase holds for every stream that fits its part, process and test. Two phases of a "
      "stream never overlap. Between phases no phase holds: charts begin anew there, with the "
      "limits of the phase before.\n"
      "Formats of the list: text, json.",
      "orvspc phase --db q.db add --part Ring --test Diameter --name \"Tool B\" "
      "--start 2024-02-01 --reason \"new tool\"",
      Together(std::vector<Option>{kDatabase, kPart, kProcess, kTest, kName, kStart, kEnd, kKind,
                                   kFreezeAfter, kBy, kStation, kReason, kExpect, kDryRun},
               kOutputOptions),
      RunPhaseCommand,
      2,
      nullptr,
      [](const Arguments& arguments) { return arguments.Positional()[0] != "list"; }};
}

}  // namespace orvspc::cli
